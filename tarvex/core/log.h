// The process-wide log: one text file in code page 1251, written by all
// threads, with a host callback beside it; and the helpers that write errors
// and component messages into it.
//
// Each line is "dd.mm.yyyy hh:mm:ss> text\r\n". Files are "Tarvex1.log" to
// "Tarvex19.log" in the LOG folder of the user data folder; a running process
// holds its file under an exclusive lock, so the next process takes the next
// number. The host chooses the mode:
//   0  nothing is written, no file or folder is touched (the default);
//   1  every line goes to the file;
//   2  as 1, and errors also go to the callback;
//   3+ as 1, and every line also goes to the callback, inside the log's lock,
//      so a callback must not log at these modes.
#pragma once

#include <atomic>
#include <cstdint>

#include "tarvex/core/object.h"
#include "tarvex/platform/critsec.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/hresult.h"

class CTXLog : public CTarvexObject {
public:
    using OutputCallback = void (*)(const char16_t* text);

    // The one instance is a global of the library; nothing else creates one.
    constexpr CTXLog() noexcept = default;
    CTXLog(const CTXLog&) = delete;
    CTXLog& operator=(const CTXLog&) = delete;
    ~CTXLog() override;

    static void SetLoggingMode(std::int32_t mode);
    static bool IsEnabled();
    // The host's callback; null removes it. Read without the lock.
    static void SetGlobalOutputCallback(OutputCallback callback);

    static void Line(const char16_t* text);
    template <class... Args>
    static void FormatLine(const char16_t* format, const Args&... args) {
        if (!IsEnabled()) return;
        CString text;
        text.Format(format, args...);
        Line(text);
    }

    // Errors: "=E \"text\" at place", or "=E \"text\"" without a place. A null
    // or empty place counts as none.
    static void Error(const char16_t* text);
    static void Error(const char* text); // UTF-8
    static void Error(const char16_t* place, const char16_t* text);
    template <class... Args>
    static void FormatError(const char16_t* format, const Args&... args) {
        if (!IsEnabled()) return;
        CString text;
        text.Format(format, args...);
        Error(text);
    }

    static void CommandWillStart(const char16_t* name);
    static void CommandEnded(const char16_t* name);
    static void CommandFailed(const char16_t* name);
    static void CommandCancelled(const char16_t* name);

    // To the callback only, whatever the mode; never to the file.
    static void PrintLine(const char16_t* text);

    // The next line opens a file again (the lowest free number) with a new
    // header.
    static void CloseFile();

private:
    static CTXLog& Instance() noexcept;
    static void Command(const char16_t* format, const char16_t* name);

    bool AssertOpen();
    void WriteLine(const char16_t* text);
    void Close();

    CRITICAL_SECTION m_section;
    int m_hFile = -1;
    std::atomic<std::int32_t> m_nLoggingMode{0};
};

// Writes "+++title" on entry to a scope and "---title" on leaving it.
class CTXScopeLog : public CTarvexObject {
public:
    explicit CTXScopeLog(const char16_t* title);
    CTXScopeLog(const CTXScopeLog&) = delete;
    CTXScopeLog& operator=(const CTXScopeLog&) = delete;
    ~CTXScopeLog() override;

private:
    CString m_strTitle;
};

class CKVErrorHelper {
public:
    CKVErrorHelper() = delete;

    // The error "prefix" + "detail", at `place`.
    static void LogErrorMessage(const char16_t* prefix, const char16_t* detail,
                                const char16_t* place);
    static void LogErrorMessage(const char16_t* text, const char16_t* place);
    // The text of `code` (see GetLastErrorMessage), as "prefix {text}" when a
    // prefix is given.
    static void LogErrorMessage(HRESULT code, const char16_t* place,
                                const char16_t* prefix = nullptr);

    // The text for `code`: a fixed text for the Direct3D codes 0x80040901 to
    // 0x80040909, else the description of the thread's error object, else the
    // system text and "Error code 0x%x.". Takes the thread's error object in
    // every case.
    static void GetLastErrorMessage(HRESULT code, CString& out);

    // A component message as a log line that carries its own time stamp:
    // "[time][RDXComponent.tag] text \r\n", or "[time][RDXComponent] text \r\n"
    // with a null or empty tag.
    static void LogMessage(const char16_t* text, const char16_t* tag = nullptr);
    // Formats into at most 4095 characters, then as LogMessage.
    template <class... Args>
    static void LogMessageFmt(const char16_t* format, const char16_t* tag, const Args&... args) {
        if (!CTXLog::IsEnabled()) return;
        CString text;
        text.Format(format, args...);
        if (text.GetLength() > kMessageLimit) text = text.Left(kMessageLimit);
        LogMessage(text, tag);
    }

private:
    static constexpr int kMessageLimit = 4095;
};

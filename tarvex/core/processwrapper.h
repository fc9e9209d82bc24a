// Runs a child process with its standard input fed from a file and its
// standard output (and standard error) collected into a file.
//
// The command line is one string, the application and the arguments, as a
// desktop host would write it. No shell sees it: it is split into words by
// the Windows C runtime's rules, so hosts quote the same way everywhere.
// Blanks and tabs separate words; double quotes group them; 2n backslashes
// before a quote give n backslashes and the quote groups, 2n+1 give n
// backslashes and a literal quote; other backslashes are literal; "" inside
// quotes is a literal quote. The first word, the program, takes quotes only
// as grouping. A program without a '/' is looked for along PATH; a relative
// path is taken from the caller's current folder, wherever the child runs.
//
// A run blocks its caller throughout: all input is written first, the output
// is read only afterwards, so a child that fills its output pipe (64 KiB)
// before it has read all its input stalls the run. Within the wait time a
// finished child is reaped; one still running when the time is up is left
// running and reaped by a later run or a wrapper's destruction, so no zombie
// outlives the wrappers for long.
//
// Nothing is thrown: the operations return 0 or an errno value, and keep the
// text "<step> failed with error <code>: <system text>" of the last failure.
#pragma once

#include <sys/types.h>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"

class CProcessWrapper : public CTarvexObject {
public:
    static constexpr DWORD kInfinite = 0xFFFFFFFF;

    CProcessWrapper() = default;
    CProcessWrapper(const CProcessWrapper&) = delete;
    CProcessWrapper& operator=(const CProcessWrapper&) = delete;
    ~CProcessWrapper() override;

    // The file the child reads; empty: the caller's own standard input. It
    // must exist, and is locked against every other opener for the run.
    void SetInputFile(const char16_t* name) { m_strInputFile = name; }
    // The file the child's output replaces; empty: the caller's own standard
    // output. Created when missing, locked, and then emptied.
    void SetOutputFile(const char16_t* name) { m_strOutputFile = name; }
    // How long to wait for the child once its output has ended, in
    // milliseconds; kInfinite (the default) waits without limit.
    void SetWaitTimeout(DWORD milliseconds) { m_dwWaitTime = milliseconds; }

    // Runs `application` with `arguments` in `folder` (null or empty: the
    // current folder) through pipes, feeding the input, collecting the output
    // and waiting. The child's exit status is not examined. 0 on success.
    DWORD Execute(const char16_t* application, const char16_t* arguments, const char16_t* folder);
    // Starts the child with the caller's own standard streams and does not
    // wait for it. There are no pipes to feed, so the result is always the
    // failure to close the missing input pipe (EBADF), with the child left
    // running; other failures return their own codes.
    DWORD CreateProcessW(const char16_t* application, const char16_t* arguments,
                         const char16_t* folder);

    // The text of the last failure; emptied when a run starts.
    const CString& GetLastErrorText() const { return m_strLastError; }
    // The id of the last child started, 0 before the first.
    DWORD GetProcessId() const { return m_dwProcessId; }

private:
    DWORD StartChild(const char16_t* application, const char16_t* arguments, const char16_t* folder,
                     bool redirect);
    DWORD WriteToPipe();
    DWORD ReadFromPipe();
    void WaitForChild();
    void CloseProcessHandle();
    void CleanUp();
    DWORD ErrorExit(const char16_t* text);

    // The child's standard input pipe (it reads, we write) and standard
    // output pipe (it writes, we read); -1 when closed.
    int m_hChildStd_IN_Rd = -1;
    int m_hChildStd_IN_Wr = -1;
    int m_hChildStd_OUT_Rd = -1;
    int m_hChildStd_OUT_Wr = -1;
    int m_hOutputFile = -1;
    int m_hInputFile = -1;
    // The child until it is reaped or handed to the reaper; 0 when none.
    pid_t m_hProcess = 0;
    DWORD m_dwProcessId = 0;
    DWORD m_dwThreadId = 0; // its main thread, whose id is the process id
    DWORD m_dwWaitTime = kInfinite;
    CString m_strInputFile;
    CString m_strOutputFile;
    CString m_strLastError;
};

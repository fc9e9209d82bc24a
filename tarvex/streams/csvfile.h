// CCSVFile: delimited text, one line buffered at a time.
//
// Quoting starts at the first character of a field that needs it, by
// inserting a quote where the field began. Every field ends with the
// divider, the last of a line too. Encodings: 0 ANSI (1251), 1 UTF-16LE,
// 2 UTF-8, 3 OEM (866). A line whose converted bytes outgrow its character
// count plus one is dropped without a report: the fixed-size conversion is
// part of the format's history, and only UTF-8 lines of mostly non-ASCII
// text meet it.
#pragma once
#include <cstdint>
#include <string>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"

class CCSVFile : public CTarvexObject {
public:
    CCSVFile() = default;
    CCSVFile(const CCSVFile&) = delete;
    CCSVFile& operator=(const CCSVFile&) = delete;
    ~CCSVFile() override;

    // Creates or truncates the file. On failure the system's text goes to
    // `error` (at most 512 characters) when it is not null.
    bool Open(const char16_t* path, CString* error);
    // Flushes the open line without a line end and closes.
    void Close();

    void SetDivider(char16_t divider) { this->divider = divider; }
    void SetEncoding(int encoding) { this->encoding = encoding; }

    void WriteDivider() { line.push_back(divider); }
    void NewLine();
    void WriteData(const char16_t* text);
    void WriteData(int value);
    void WriteData(double value);
    void WriteField(const char16_t* text) { WriteData(text), WriteDivider(); }
    void WriteField(int value) { WriteData(value), WriteDivider(); }
    void WriteField(double value) { WriteData(value), WriteDivider(); }
    void WriteLastField(const char16_t* text) { WriteField(text), NewLine(); }

private:
    void FlushLine();

    int fd = -1;
    char16_t divider = u';';
    int encoding = 0;
    std::u16string line;
    std::string converted;
};

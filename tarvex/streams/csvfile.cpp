#include "tarvex/streams/csvfile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tarvex/core/numbertext.h"
#include "tarvex/platform/codepage.h"

CCSVFile::~CCSVFile() {
    Close();
}

bool CCSVFile::Open(const char16_t* path, CString* error) {
    Close();
    line.clear();
    line.reserve(255);
    std::string name = path != nullptr ? tarvex::ToUtf8(std::u16string_view(path)) : std::string();
    fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0 && error != nullptr) {
        char text[512];
        const char* message = strerror_r(errno, text, sizeof text);
        CString wide = tarvex::FromUtf8(message);
        *error = wide.Left(512);
    }
    return fd >= 0;
}

void CCSVFile::Close() {
    if (fd < 0) return;
    FlushLine();
    ::close(fd);
    fd = -1;
}

void CCSVFile::NewLine() {
    line.push_back(u'\r');
    line.push_back(u'\n');
    FlushLine();
}

void CCSVFile::WriteData(const char16_t* text) {
    if (text == nullptr || *text == 0) return;
    const std::size_t fieldStart = line.size();
    bool quoted = false;
    for (const char16_t* p = text; *p != 0; ++p) {
        char16_t ch = *p;
        if (!quoted && (ch == divider || ch == u'\n' || ch == u'\r' || ch == u'"')) {
            line.insert(line.begin() + static_cast<std::ptrdiff_t>(fieldStart), u'"');
            quoted = true;
        }
        if (!quoted) {
            line.push_back(ch);
        } else if (ch == u'"') {
            line.append(u"\"\"");
        } else if (ch == u'\r') {
            // The carriage return is dropped and the next character copied
            // untested; a text ending in CR has nothing to copy.
            if (p[1] == 0) break;
            line.push_back(*++p);
        } else {
            line.push_back(ch);
        }
    }
    if (quoted) line.push_back(u'"');
}

void CCSVFile::WriteData(int value) {
    CString text;
    text.Format(u"%d", value);
    WriteData(text.GetString());
}

void CCSVFile::WriteData(double value) {
    WriteData(tarvex::DblToString(value, 12).GetString());
}

void CCSVFile::FlushLine() {
    if (fd < 0 || line.empty()) {
        line.clear();
        return;
    }
    const char* bytes = nullptr;
    std::size_t count = 0;
    if (encoding == 1) {
        bytes = reinterpret_cast<const char*>(line.data());
        count = line.size() * 2;
    } else {
        UINT page = encoding == 2 ? CP_UTF8 : encoding == 3 ? CP_OEMCP : CP_ACP;
        converted.resize(line.size() + 1);
        int n =
            WideCharToMultiByte(page, 0, line.data(), static_cast<int>(line.size()),
                                converted.data(), static_cast<int>(converted.size()), "?", nullptr);
        bytes = converted.data();
        count = n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    while (count > 0) {
        ssize_t n = ::write(fd, bytes, count);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        bytes += n;
        count -= static_cast<std::size_t>(n);
    }
    line.clear();
}

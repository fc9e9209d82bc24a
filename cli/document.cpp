#include "document.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "clierror.h"
#include "elementpath.h"
#include "jsonwriter.h"
#include "tarvex/tarvex.h"

namespace tarvex::cli {
namespace {

constexpr size_t kSniffBytes = 4096;

bool IsBlank(char16_t ch) {
    return ch == u' ' || ch == u'\t' || ch == u'\r' || ch == u'\n';
}

std::optional<DocumentFormat> FormatOfFirstCharacter(char16_t ch) {
    if (ch == u'<') return DocumentFormat::Xml;
    if (ch == u'{') return DocumentFormat::Json;
    return std::nullopt;
}

enum class Encoding { Utf8, Utf16LE, Utf16BE };

// The encoding and how many bytes of mark to skip.
Encoding EncodingOf(std::string_view head, size_t& markLength) {
    auto byte = [&](size_t i) {
        return i < head.size() ? static_cast<unsigned char>(head[i]) : -1;
    };
    markLength = 0;
    if (byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF) {
        markLength = 3;
        return Encoding::Utf8;
    }
    if (byte(0) == 0xFF && byte(1) == 0xFE) {
        markLength = 2;
        return Encoding::Utf16LE;
    }
    if (byte(0) == 0xFE && byte(1) == 0xFF) {
        markLength = 2;
        return Encoding::Utf16BE;
    }
    // Without a mark, ASCII in UTF-16 puts a zero in every other byte.
    if (head.size() >= 2 && byte(0) != 0 && byte(1) == 0) return Encoding::Utf16LE;
    if (head.size() >= 2 && byte(0) == 0 && byte(1) != 0) return Encoding::Utf16BE;
    return Encoding::Utf8;
}

std::string SystemError(const std::string& path) {
    return "cannot open '" + path + "': " + std::strerror(errno);
}

std::string ReadAll(const std::string& path, size_t limit) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw CliError{kExitTrouble, SystemError(path)};
    std::string bytes;
    if (limit == std::string::npos) {
        bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    } else {
        bytes.resize(limit);
        file.read(bytes.data(), static_cast<std::streamsize>(limit));
        bytes.resize(static_cast<size_t>(file.gcount()));
    }
    if (file.bad()) throw CliError{kExitTrouble, "cannot read '" + path + "'"};
    return bytes;
}

// The XML reader refuses a document without a declaration, which hand-made
// files often lack: worth saying when that is the likely cause.
bool LacksDeclaration(std::string_view head) {
    size_t markLength = 0;
    if (EncodingOf(head, markLength) != Encoding::Utf8) return false;
    size_t start = head.find_first_not_of(" \t\r\n", markLength);
    return start == std::string_view::npos || head.compare(start, 5, "<?xml") != 0;
}

[[noreturn]] void Refused(const std::string& path, DocumentFormat format, const CElement& partial,
                          std::string_view head) {
    // The readers answer only yes or no; how far they got is the one thing
    // more that can be told.
    int64_t read = 0;
    ForEachElement(partial, [&](const CElement&) { ++read; });
    std::string message = "'" + path + "' is not a valid " + FormatName(format) +
                          " element document: the reader stopped";
    if (read > 1 || partial.GetParamsCount() || partial.GetName()[0])
        message += " after " + std::to_string(read) + (read == 1 ? " element" : " elements");
    else
        message += " at the start";
    if (format == DocumentFormat::Xml && LacksDeclaration(head))
        message += " (it has no <?xml ...?> declaration)";
    throw CliError{kExitTrouble, message};
}

void LoadJson(const std::string& path, std::string_view head, CElement& root) {
    size_t markLength = 0;
    Encoding encoding = EncodingOf(head, markLength);
    CJsonInStream stream;
    int opened = 0;
    if (encoding == Encoding::Utf16LE) {
        // The reader takes the file's bytes as UTF-16 in memory order.
        opened = stream.Open(FromUtf8(path));
    } else if (encoding == Encoding::Utf8) {
        // JSON from other tools is mostly UTF-8: widen it here.
        std::string bytes = ReadAll(path, std::string::npos);
        CString text = FromUtf8(std::string_view(bytes).substr(markLength));
        opened = stream.Open(text.GetString(), text.GetLength() * 2);
    } else {
        throw CliError{kExitTrouble, "'" + path + "': big-endian UTF-16 is not supported"};
    }
    if (!opened) throw CliError{kExitTrouble, SystemError(path)};
    CElementJsonInStream reader(stream);
    if (!reader.Read(root)) Refused(path, DocumentFormat::Json, root, head);
}

} // namespace

const char* FormatName(DocumentFormat format) {
    return format == DocumentFormat::Xml ? "XML" : "JSON";
}

std::optional<DocumentFormat> SniffFormat(std::string_view head) {
    size_t at = 0;
    Encoding encoding = EncodingOf(head, at);
    if (encoding == Encoding::Utf8) {
        while (at < head.size() && IsBlank(static_cast<char16_t>(head[at]))) ++at;
        return at < head.size() ? FormatOfFirstCharacter(static_cast<char16_t>(head[at]))
                                : std::nullopt;
    }
    for (; at + 1 < head.size(); at += 2) {
        auto low = static_cast<unsigned char>(head[at]);
        auto high = static_cast<unsigned char>(head[at + 1]);
        if (encoding == Encoding::Utf16BE) std::swap(low, high);
        char16_t ch = static_cast<char16_t>(low | high << 8);
        if (!IsBlank(ch)) return FormatOfFirstCharacter(ch);
    }
    return std::nullopt;
}

std::optional<DocumentFormat> FormatOfExtension(const std::string& path) {
    size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return std::nullopt;
    std::string extension = path.substr(dot + 1);
    for (char& ch : extension) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    if (extension == "xml") return DocumentFormat::Xml;
    if (extension == "json") return DocumentFormat::Json;
    return std::nullopt;
}

DocumentFormat LoadDocument(const std::string& path, CElement& root) {
    std::string head = ReadAll(path, kSniffBytes);
    std::optional<DocumentFormat> format = SniffFormat(head);
    if (!format)
        throw CliError{kExitTrouble,
                       "'" + path + "' is not an element document (neither XML nor JSON)"};
    if (*format == DocumentFormat::Xml) {
        if (!root.ReadFromFile(FromUtf8(path))) Refused(path, *format, root, head);
    } else {
        LoadJson(path, head, root);
    }
    return *format;
}

namespace {

// The writers put a temporary file in place by renaming it over the target,
// which would replace a device or a pipe (as /dev/null) by a plain file, and
// a symbolic link by the file instead of writing where it points.
std::string WritableTarget(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path target = path;
    if (fs::is_symlink(fs::symlink_status(target, error))) {
        target = fs::canonical(target, error);
        if (error) throw CliError{kExitTrouble, "cannot write '" + path + "': " + error.message()};
    }
    fs::file_status status = fs::status(target, error);
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw CliError{kExitTrouble, "cannot write '" + path + "': not a regular file"};
    return target.string();
}

void WriteToStandardOutput(const CElement& root, DocumentFormat format) {
    bool written = false;
    if (format == DocumentFormat::Xml) {
        CString document;
        written = root.WriteToXML(document);
        if (written) {
            std::string bytes = ToUtf8(document.View());
            std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        }
    } else {
        CStringBuilderStream text;
        text.setEncoding(COutStream::eEncodingUnicode);
        written = WriteElementJson(root, text);
        if (written) std::fwrite(text.GetBuffer(), 1, text.GetByteLength(), stdout);
    }
    if (!written || std::fflush(stdout) != 0)
        throw CliError{kExitTrouble, "cannot write the document to standard output"};
}

} // namespace

void SaveDocument(const CElement& root, const std::string& requested, DocumentFormat format) {
    if (requested == "-") return WriteToStandardOutput(root, format);
    const std::string path = WritableTarget(requested);
    const CString widePath = FromUtf8(path);
    bool written = false;
    if (format == DocumentFormat::Xml) {
        written = root.WriteToFile(widePath);
    } else {
        try {
            CFileOutStream file(widePath, COutStream::eEncodingUnicode);
            file.setXMLSymbols(false);
            if (WriteElementJson(root, file)) {
                file.Close();
                written = true;
            } else {
                file.Abandon();
            }
        } catch (const CKVException&) {
            written = false;
        }
    }
    if (!written) throw CliError{kExitTrouble, "cannot write '" + requested + "'"};
}

} // namespace tarvex::cli

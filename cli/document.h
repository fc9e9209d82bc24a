// Element documents on disk, as the command-line host sees them: the format
// is told by the content, and a write goes through the library's atomic file
// writers, so a failed command never leaves half a document behind.
#pragma once
#include <optional>
#include <string>
#include <string_view>

class CElement;

namespace tarvex::cli {

enum class DocumentFormat { Xml, Json };

const char* FormatName(DocumentFormat format);

// What the first bytes of a file say it is: a byte order mark (UTF-8 or
// UTF-16), then white space, then '<' for XML or '{' for JSON. UTF-16
// without a mark is recognised by its zero bytes. Nothing for anything else.
std::optional<DocumentFormat> SniffFormat(std::string_view head);

// The format the extension of `path` names (".xml", ".json", any case), if
// it names one.
std::optional<DocumentFormat> FormatOfExtension(const std::string& path);

// Reads the tree in `path` into `root`, and answers the format it found.
// Throws CliError for a file that cannot be opened, is not an element
// document, or that the reader refuses.
DocumentFormat LoadDocument(const std::string& path, CElement& root);

// Writes the tree; XML as UTF-8, JSON as UTF-16LE (what the library's JSON
// reader takes). Throws CliError when the file cannot be written, in which
// case a file already at `path` is left as it was.
void SaveDocument(const CElement& root, const std::string& path, DocumentFormat format);

} // namespace tarvex::cli

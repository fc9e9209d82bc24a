// JSON element documents that read back exactly.
//
// The library's JSON printer keeps a fixed, lossy quoting: every UTF-16
// unit whose low byte is below 32 becomes a lone backslash, and that takes
// the Cyrillic capitals А to П and Ё with it, so "Масса" would come back
// as "асса". A command-line conversion must not lose names, so the tree
// built by the library's element writer is printed in its exact form,
// which quotes such units as \uXXXX. A text with none of them prints byte
// for byte as the library's fixed form.
#pragma once

class CElement;
class COutStream;

namespace tarvex::cli {

// False when the tree is deeper than the element writer allows.
bool WriteElementJson(const CElement& root, COutStream& stream);

} // namespace tarvex::cli

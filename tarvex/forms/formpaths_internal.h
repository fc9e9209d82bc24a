// Path and file helpers shared by the form and library-file classes.
//
// Paths stored in documents may use '\' as well as '/', so the last
// separator is either; joins use '/'.
#pragma once
#include <cstdint>
#include <string>

#include "tarvex/platform/cstring.h"

namespace FormFiles {

// Index of the last '/' or '\', or -1.
int LastSeparator(const CString& path);
// "<folder>/<name>", without doubling a separator the folder ends in.
CString Join(const CString& folder, const char16_t* name);
// The whole file, or false when it cannot be opened or read.
bool ReadAll(const char16_t* path, std::string& bytes);
// Replaces the file atomically; throws CKVSysException on failure.
void WriteAll(const char16_t* path, const void* data, std::uint64_t size);

} // namespace FormFiles

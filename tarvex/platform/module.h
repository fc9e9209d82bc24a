// Module handles: the file a piece of code was loaded from.
#pragma once

#include "tarvex/platform/types.h"

using HMODULE = void*;
using HINSTANCE = void*;

// The path of the module containing `module` (any address inside it), or of
// the executable for null; truncated to `size` - 1 characters as the
// familiar call does. Returns the length written, 0 on failure.
DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) noexcept;

namespace tarvex {

// An address inside this library, usable as its module handle.
HMODULE GetLibraryModule() noexcept;

} // namespace tarvex

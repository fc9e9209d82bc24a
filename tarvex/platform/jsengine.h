// The script engine behind the Active Scripting interfaces: JavaScript, run
// by the system's Duktape. It is registered in the class registry under the
// ProgIDs "JavaScript" and "JScript" on the first call of
// RegisterScriptEngines, never by a static initialiser (a static link would
// drop one).
//
// The engine has no time limit: a script that never ends (an endless loop, or
// an endless tail call, which the engine runs as a loop) hangs its caller.
// Recursion in scripts is bounded by the engine and ends in a reported
// RangeError.
#pragma once

#include "tarvex/platform/guid.h"
#include "tarvex/platform/hresult.h"

inline constexpr CLSID CLSID_TarvexJavaScript = {
    0x6F3E2A41, 0x8C1D, 0x4B7E, {0x9A, 0x52, 0x3D, 0x0C, 0x71, 0xE4, 0x28, 0xB5}};

// Registers the engines once per process; later calls do nothing. Safe from
// any thread.
HRESULT RegisterScriptEngines() noexcept;

// The numbered messages of the formula language (ids 101 to 161).
//
// They live in core because the element side quotes some of them too (121
// marks differing values). The table is registered for Russian and English
// alike, so that the texts read the same whatever the user's language.
#pragma once

#include "tarvex/platform/cstring.h"

namespace tarvex {

// Registers the table once per process; later calls do nothing. Called by
// every reader below, so hosts never need to call it themselves.
void RegisterFormulaMessages();

// The text of message `id`, empty for an id outside the table.
CString FormulaMessage(unsigned id);

} // namespace tarvex

// The library's containers: growable value and pointer arrays, their sorted
// forms, and the key-value record that sorted maps are built from.
#pragma once

#include "tarvex/core/arraytemplate.h"
#include "tarvex/core/indexrecord.h"
#include "tarvex/core/indirectarray.h"
#include "tarvex/core/object.h"
#include "tarvex/core/sortedarray.h"

// Every public header of the library.
#pragma once

#include "tarvex/version.h"

#include "tarvex/platform/casemap.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/hresult.h"
#include "tarvex/platform/types.h"
#include "tarvex/platform/wide.h"

#include "tarvex/core/containers.h"
#include "tarvex/core/object.h"

#include "tarvex/element/accolor.h"
#include "tarvex/element/param.h"

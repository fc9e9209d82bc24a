// The geometry value types: points, vectors, matrices, rectangles, extents,
// segments and point arrays in two and three dimensions.
#pragma once

#include "tarvex/geometry/extents.h"
#include "tarvex/geometry/lineseg.h"
#include "tarvex/geometry/matrix2d.h"
#include "tarvex/geometry/matrix3d.h"
#include "tarvex/geometry/pointarray.h"
#include "tarvex/geometry/rect2d.h"
#include "tarvex/geometry/tolerances.h"
#include "tarvex/geometry/vector2d.h"
#include "tarvex/geometry/vector3d.h"

// The fixed tolerances of the geometry value types.
//
// Each operation uses the one constant named for it and none is
// configurable: callers rely on the exact thresholds, including the two that
// were once single-precision literals and keep their widened float values.
#pragma once

namespace tarvex {

// Point equality and ordering, 2d zero length, segment parameters, the Z-axis
// test of a rotation. The float 1e-8 widened: 9.99999993922529e-9.
inline constexpr double kPointTol = static_cast<double>(1e-8f);

// Compared with a squared length: 3d zero length, parallelism, collinearity
// on a segment, a null rotation axis. The float 1e-4 widened:
// 9.999999747378752e-5.
inline constexpr double kZeroLenSqr = static_cast<double>(1e-4f);

// Coordinates this close to 0 or 1 print as "0.0" or "1.0".
inline constexpr double kTextZero = 1e-10;

// CTXVector3d::normalize leaves lengths this close to 0 or 1 alone.
inline constexpr double kNormTol = 1e-12;

// Shorter vectors make angleTo and slope answer 0.
inline constexpr double kAngleLen = 1e-5;

// A normal this close to the Z axis takes its in-plane axis from X, not Z.
inline constexpr double kArbitraryAxis = 0.015625;

// The slack of the two CTXExtents2d::intersects.
inline constexpr double kExtentsTol = 0.001;

} // namespace tarvex

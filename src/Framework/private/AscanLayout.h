#pragma once

#include "Array/Array2D.h"

namespace TZM {

// A-scans side by side, for work along them whose steps wait for each other.

/// lanes[kRowLanes * s + y] = ascans(s, y) for at most kRowLanes A-scans; 0 where there are fewer.
void ToLanes(const IPP::Array2D<float>& ascans, float* lanes);

/// ascans(s, y) = lanes[kRowLanes * s + y] over all of at most kRowLanes A-scans.
void FromLanes(const float* lanes, const IPP::Array2D<float>& ascans);

} // namespace TZM

#pragma once

#include <array>
#include <vector>

#include "Algorithms/Background/DepthRows.h"
#include "Array/Array.h"

namespace TZM {

// The levels of the simple procedures: what each depth row loses.

/// The median of each row, or its mean; that of a row of one column is the same.
std::vector<float> RowLevels(const DepthRows<const float>& rows, bool useMedian);

/// mask[r] times the mean of row r, for as many rows as the mask has.
std::vector<float> SurfaceLevels(const DepthRows<const float>& rows, const IPP::Array<float>& mask);

/// Butterworth high-pass of the first order with its cut-off at a period of 200 A-scans: b[0], b[1], a[0], a[1].
std::array<double, 4> HighPassTaps();

} // namespace TZM

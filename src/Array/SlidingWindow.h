#pragma once

namespace IPP {

// Reductions over windows of neighbours in a sequence of `count` items, each `width` floats in a row, which are treated
// alike. A window begins at an item and holds `length` of them; there is a result for the first count - length + 1
// items. Windows double in length from step to step, so that a result costs the logarithm of the length, and none owes
// anything to what lies outside its window.

/// The sums over the windows, which stand where values or where work stood afterwards; both have `count` items and are
/// overwritten.
float* WindowSums(float* values, float* work, int count, int width, int length);

/// values = what has the largest magnitude in each window, with its sign, the first of equal ones.
void WindowPeaks(float* values, int count, int width, int length);

} // namespace IPP

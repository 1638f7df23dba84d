#include "Array/SlidingWindow.h"

#include <algorithm>

#include "Array/Simd/Dispatch.h"

namespace IPP {

namespace {

/// An operation on all items that have one `apart` items behind them; in place where dst is a, since that one is read
/// before it is written.
template <class Operation>
void Pair(Operation operation, const float* a, const float* b, int apart, float* dst, int items, int width) {
    if (items > 0) operation(a, b + std::ptrdiff_t{apart} * width, dst, items * width);
}

} // namespace

void WindowSums(float* values, int count, int width, int length, float* sums) {
    const auto add = Simd::Active().add;
    int summed = 0;
    for (int power = 1;; power *= 2) { // values holds the sums over windows of `power` items
        if (length & power) {
            if (summed == 0)
                std::copy_n(values, std::ptrdiff_t{count} * width, sums);
            else
                Pair(add, sums, values, summed, sums, count - summed - power + 1, width);
            summed += power;
        }
        if (summed == length) return;
        Pair(add, values, values, power, values, count - 2 * power + 1, width);
    }
}

void WindowPeaks(float* values, int count, int width, int length) {
    const auto larger = Simd::Active().larger;
    int power = 1;
    for (; 2 * power <= length; power *= 2) Pair(larger, values, values, power, values, count - 2 * power + 1, width);
    Pair(larger, values, values, length - power, values, count - length + 1, width); // windows may overlap
}

} // namespace IPP

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

float* WindowSums(float* values, float* work, int count, int width, int length) {
    const auto add = Simd::Active().add;
    float *powers = values, *sums = nullptr;
    int summed = 0;
    for (int power = 1;; power *= 2) { // powers holds the sums over windows of `power` items
        float* doubled = powers;
        if (length & power) {
            if (sums)
                Pair(add, sums, powers, summed, sums, count - summed - power + 1, width);
            else
                sums = powers, doubled = work;
            summed += power;
        }
        if (summed == length) return sums;
        Pair(add, powers, powers, power, doubled, count - 2 * power + 1, width);
        powers = doubled;
    }
}

void WindowPeaks(float* values, int count, int width, int length) {
    const auto larger = Simd::Active().larger;
    int power = 1;
    for (; 2 * power <= length; power *= 2) Pair(larger, values, values, power, values, count - 2 * power + 1, width);
    Pair(larger, values, values, length - power, values, count - length + 1, width); // windows may overlap
}

} // namespace IPP

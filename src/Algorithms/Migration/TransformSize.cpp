#include "Algorithms/Migration/TransformSize.h"

#include "Array/Primitives/FftPlan.h"

namespace TZM {

int CeilLog2(int n) {
    int order = 0;
    while (order < 31 && (1LL << order) < n) ++order;
    return order;
}

std::int64_t FastLength(std::int64_t n) {
    std::int64_t step = 2;
    while (64 * step <= n) step *= 2;
    std::int64_t best = (n + step - 1) / step * step;
    for (std::int64_t length = best; length <= n + n / 8; length += step)
        if (IPP::FftPlan::Cost(length) < IPP::FftPlan::Cost(best)) best = length;
    return best;
}

} // namespace TZM

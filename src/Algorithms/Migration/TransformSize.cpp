#include "Algorithms/Migration/TransformSize.h"

namespace TZM {

int CeilLog2(int n) {
    int order = 0;
    while (order < 31 && (1LL << order) < n) ++order;
    return order;
}

} // namespace TZM

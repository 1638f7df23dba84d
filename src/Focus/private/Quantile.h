#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace TZM {

/// The value that a share of the others lies below: 0.5 for the upper median. There is at least one value.
inline double Quantile(std::vector<double> values, double share) {
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size()));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

} // namespace TZM

#include "Algorithms/Background/PaneSplitter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace TZM {

namespace {

int CeilEps(double v) {
    const double whole = std::floor(v);
    return static_cast<int>(v - whole <= std::numeric_limits<double>::epsilon() ? whole : whole + 1.);
}

} // namespace

PaneSplitter::PaneSplitter(int ascanCount, double wantedPanes, int overlapPercentage) : ascans(ascanCount) {
    count = static_cast<int>(std::max(1., std::min<double>(ascans / 100, wantedPanes)));
    const double overlap = std::clamp(overlapPercentage, 0, 50);
    const double exactWidth = ascans * 100. / ((100. - overlap) * count + overlap);
    fullWidth = CeilEps(exactWidth);
    step = CeilEps((1. - overlap / 100.) * exactWidth);
    NextPane();
}

bool PaneSplitter::NextPane() {
    if (index >= count - 1 || std::int64_t{index} * step + fullWidth >= ascans) return false;
    ++index;
    width = std::min(ascans - First(), fullWidth);
    return true;
}

int PaneSplitter::Overlap() const { return index > 0 ? std::min(width, fullWidth - step) : 0; }

float PaneSplitter::Weight(int j) const {
    return j < Overlap() ? static_cast<float>(j + 1) / static_cast<float>(Overlap()) : 1.f;
}

} // namespace TZM

#include "Framework/private/AscanLayout.h"

#include <algorithm>
#include <cstddef>

#include "Array/Simd/Dispatch.h"

namespace TZM {

using IPP::Simd::kRowLanes;

void ToLanes(const IPP::Array2D<float>& ascans, float* lanes) {
    const auto& fft = IPP::Simd::ActiveFft();
    const std::ptrdiff_t step = std::ptrdiff_t{ascans.dim0} * sizeof(float);
    for (int first = 0; first < kRowLanes; first += fft.lanes) {
        const int count = std::clamp(ascans.dim1 - first, 0, fft.lanes);
        fft.loadRows(&ascans.At(0, std::min(first, ascans.dim1 - 1)), step, count, ascans.dim0, lanes + first,
                     kRowLanes);
    }
}

void FromLanes(const float* lanes, const IPP::Array2D<float>& ascans) {
    const auto& fft = IPP::Simd::ActiveFft();
    const std::ptrdiff_t step = std::ptrdiff_t{ascans.dim0} * sizeof(float);
    for (int first = 0; first < ascans.dim1; first += fft.lanes)
        fft.storeRows(lanes + first, kRowLanes, std::min(ascans.dim1 - first, fft.lanes), ascans.dim0,
                      &ascans.At(0, first), step);
}

} // namespace TZM

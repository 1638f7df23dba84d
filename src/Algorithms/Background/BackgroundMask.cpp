#include "Algorithms/Background/BackgroundMask.h"

#include <algorithm>
#include <cmath>

namespace TZM {

void GenerateBackgroundMask(const IPP::Array<float>& mask, int bgrLen, int taperLen) {
    bgrLen = std::clamp(bgrLen, 0, mask.size);
    taperLen = std::clamp(taperLen, 0, mask.size - bgrLen);
    std::fill_n(mask.data, mask.size, 0.f);
    std::fill_n(mask.data, bgrLen, 1.f);
    constexpr float kPi = 3.1415927410125732f;
    for (int k = 0; k < taperLen; ++k) {
        const float t = static_cast<float>(k) / static_cast<float>(taperLen) * kPi;
        mask[bgrLen + k] = (std::cos(t) + 1.f) * 0.5f;
    }
}

BackgroundZone::BackgroundZone(int wantedBgrLen, int wantedTaperLen, int samples)
    : bgrLen(std::clamp(wantedBgrLen, 0, samples)), taperLen(std::clamp(wantedTaperLen, 0, samples - bgrLen)) {}

} // namespace TZM

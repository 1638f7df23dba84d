#include "Algorithms/Migration/RmsSpeed.h"

#include <algorithm>
#include <cmath>

namespace TZM {

void RmsSpeed(const std::vector<AlgoBase::Overlay>& layers, float permittivity, float deltaT,
              IPP::Array<float>& velocity) {
    const auto speed = [](float relative) { return 3e8 / std::sqrt(double(std::max(relative, 1.f))); };
    const auto samplesOf = [&](const AlgoBase::Overlay& layer) {
        return std::trunc(layer.Thickness / speed(layer.Permittivity) / deltaT + 0.5);
    };
    const int n = velocity.size;
    IPP::Array<float> interval(n);
    auto layer = layers.begin();
    double boundary = layer == layers.end() ? -1. : samplesOf(*layer);
    double current = layer == layers.end() ? speed(permittivity) : speed(layer->Permittivity);
    for (int i = 0; i < n; ++i) {
        if (i == boundary) {
            ++layer;
            if (layer != layers.end() && samplesOf(*layer) > 0.) {
                boundary += samplesOf(*layer);
                current = speed(layer->Permittivity);
            } else {
                boundary = n;
                current = speed(permittivity);
            }
        }
        interval[i] = static_cast<float>(current);
    }
    velocity.RootMeanSquare(interval, deltaT);
}

} // namespace TZM

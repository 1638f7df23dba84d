#include "Array/Resampling.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace TZM {

namespace {

constexpr int kCrossings = 16, kLanes = 8; // the lanes of the sum: an order of additions that vector units share
constexpr double kBeta = 9;                // of the window: 90 dB

double BesselI0(double x) {
    double sum = 1, term = 1;
    for (int k = 1; term > 1e-17 * sum; ++k) sum += term *= x * x / (4. * k * k);
    return sum;
}

double Weight(double t) { // t in zero crossings
    if (std::abs(t) >= kCrossings) return 0;
    const double x = t / kCrossings, kaiser = BesselI0(kBeta * std::sqrt(1 - x * x));
    return (t == 0 ? 1 : std::sin(M_PI * t) / (M_PI * t)) * kaiser;
}

} // namespace

int Resampling::OutputSamples(int samples, double ratio) {
    const double count = std::floor((samples - 1) / ratio * (1 + 1e-12)) + 1;
    if (samples < 1 || !(ratio > 0) || !(count <= std::numeric_limits<int>::max()))
        throw std::invalid_argument("samples and the ratio of intervals must be above 0, and the output countable");
    return static_cast<int>(count);
}

Resampling::Resampling(int samples, double ratio) : Resampling(samples, ratio, 0, OutputSamples(samples, ratio)) {}

Resampling::Resampling(int samples, double ratio, double start, int count) {
    if (count < 1 || OutputSamples(samples, ratio) < 1) throw std::invalid_argument("there are no output samples");
    const double scale = std::min(1., 1 / ratio), reach = kCrossings / scale;
    const int wanted = static_cast<int>(std::min(std::ceil(2 * reach) + 1, double(samples)));
    taps = std::min(samples, (wanted + kLanes - 1) / kLanes * kLanes);
    begins.resize(static_cast<std::size_t>(count));
    weights.resize(static_cast<std::size_t>(count) * static_cast<std::size_t>(taps));
    std::vector<double> row(static_cast<std::size_t>(taps));
    for (int j = 0; j < count; ++j) {
        const double at = start + j * ratio;
        const int first = static_cast<int>(std::ceil(at - reach)), last = static_cast<int>(std::floor(at + reach));
        const int begin = std::clamp(first, 0, samples - taps);
        begins[static_cast<std::size_t>(j)] = begin;
        std::fill(row.begin(), row.end(), 0.);
        double sum = 0;
        for (int k = first; k <= last; ++k) {
            const double weight = Weight(scale * (at - k));
            row[static_cast<std::size_t>(std::clamp(k, 0, samples - 1) - begin)] += weight;
            sum += weight;
        }
        for (int i = 0; i < taps; ++i)
            weights[static_cast<std::size_t>(j) * row.size() + static_cast<std::size_t>(i)] =
                static_cast<float>(row[static_cast<std::size_t>(i)] / sum);
    }
}

void Resampling::Apply(const float* in, float* out) const {
    const float* weight = weights.data();
    for (std::size_t j = 0; j < begins.size(); ++j, weight += taps) {
        const float* from = in + begins[j];
        float lanes[kLanes] = {};
        int i = 0;
        for (; i + kLanes <= taps; i += kLanes)
            for (int l = 0; l < kLanes; ++l) lanes[l] += weight[i + l] * from[i + l];
        for (; i < taps; ++i) lanes[i % kLanes] += weight[i] * from[i];
        out[j] = ((lanes[0] + lanes[4]) + (lanes[1] + lanes[5])) + ((lanes[2] + lanes[6]) + (lanes[3] + lanes[7]));
    }
}

void Resampling::ApplyToRows(const float* in, int length, float* out) const {
    constexpr int kStrip = 256;
    double sums[kStrip];
    const float* weight = weights.data();
    for (std::size_t j = 0; j < begins.size(); ++j, weight += taps, out += length)
        for (int first = 0; first < length; first += kStrip) {
            const int count = std::min(kStrip, length - first);
            std::fill_n(sums, count, 0.);
            for (int k = 0; k < taps; ++k) {
                if (weight[k] == 0) continue;
                const float* from = in + (std::ptrdiff_t{begins[j]} + k) * length + first;
                const double factor = weight[k];
                for (int i = 0; i < count; ++i) sums[i] += factor * from[i];
            }
            for (int i = 0; i < count; ++i) out[first + i] = static_cast<float>(sums[i]);
        }
}

} // namespace TZM

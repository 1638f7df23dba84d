#include "Focus/private/FirstBreak.h"

#include <algorithm>
#include <cmath>

#include "Focus/private/Quantile.h"

namespace TZM {

namespace {

constexpr double kLeastRatio = 10;        // of the energies in which a direct wave begins
constexpr double kAgreeing = 0.6;         // of the A-scans
constexpr double kLow = 0.2, kHigh = 0.6; // of the first lobe: where its flank is read
constexpr int kMostAscans = 512;

/// Samples in a period of the mean frequency, from the energies of an A-scan and of its slope.
double MeanPeriod(const std::vector<double>& ascan) {
    double energy = 0, slope = 0;
    for (std::size_t s = 1; s < ascan.size(); ++s)
        energy += ascan[s] * ascan[s], slope += std::pow(ascan[s] - ascan[s - 1], 2);
    return slope > 0 ? 2 * M_PI * std::sqrt(energy / slope) : static_cast<double>(ascan.size());
}

struct Pick {
    double sample, period;
    int index;
};

/// The break of one A-scan, whose mean is 0.
std::optional<Pick> PickOf(const std::vector<double>& ascan) {
    const int samples = static_cast<int>(ascan.size());
    const double period = MeanPeriod(ascan);
    const int near = std::clamp(static_cast<int>(period / 4), 2, samples / 8);
    const int far = std::clamp(static_cast<int>(2 * period), 2 * near, samples / 2);
    double level = 0; // ahead of the direct wave
    for (int s = 0; s < near; ++s) level += ascan[s] / near;
    std::vector<double> sums(ascan.size() + 1);
    for (int s = 0; s < samples; ++s) sums[s + 1] = sums[s] + std::pow(ascan[s] - level, 2);
    const double least = 1e-6 * sums.back() / samples;
    int best = 0;
    double ratio = 0;
    for (int s = near; s + near <= samples / 2; ++s) {
        const int begin = std::max(0, s - far);
        const double here = (sums[s + near] - sums[s]) / near, ahead = (sums[s] - sums[begin]) / (s - begin) + least;
        if (here > ratio * ahead) ratio = here / ahead, best = s;
    }
    if (!(ratio > kLeastRatio)) return std::nullopt;

    // The first lobe, its flank, and the zero behind it.
    double base = 0;
    const int begin = std::max(0, best - near);
    for (int s = begin; s < best; ++s) base += ascan[s] / (best - begin);
    const double sign = ascan[best + near - 1] > base ? 1 : -1;
    const auto height = [&](int s) { return sign * (ascan[s] - base); };
    int top = best + near - 1;
    while (top + 1 < samples && height(top + 1) > height(top)) ++top;
    int end = top;
    while (end + 1 < samples && height(end) > 0) ++end;
    const auto crossing = [&](double share) {
        int s = top;
        while (s > 0 && height(s - 1) > share * height(top)) --s;
        if (s == 0) return 0.;
        const double low = height(s - 1), high = height(s);
        return s - 1 + (high > low ? (share * height(top) - low) / (high - low) : 0.);
    };
    const double low = crossing(kLow), high = crossing(kHigh);
    const double foot = std::max(0., low - (high - low) * kLow / (kHigh - kLow));
    return Pick{foot, 2 * (end - foot), best};
}

} // namespace

std::optional<FirstBreak> FirstBreakOf(const Recording& recording, const std::vector<LinePiece>& pieces) {
    const int samples = recording.size.samples;
    std::vector<double> breaks, periods;
    int looked = 0;
    for (const LinePiece& piece : pieces) {
        const int step = std::max(1, static_cast<int>(pieces.size()) * piece.ascans / kMostAscans);
        for (int y = 0; y < piece.ascans; y += step, ++looked) {
            const float* from = recording.Bscan(piece.bscan) + std::int64_t{piece.firstAscan + y} * samples;
            std::vector<double> ascan(from, from + samples);
            double mean = 0;
            for (const double value : ascan) mean += value / samples;
            for (double& value : ascan) value -= mean;
            if (const auto pick = PickOf(ascan)) breaks.push_back(pick->sample), periods.push_back(pick->period);
        }
    }
    if (breaks.empty()) return std::nullopt;
    FirstBreak found{Quantile(breaks, 0.5), 0, Quantile(periods, 0.5)};
    std::vector<double> distances;
    for (const double sample : breaks) distances.push_back(std::abs(sample - found.sample));
    found.spread = 1.4826 * Quantile(distances, 0.5);
    const auto agree =
        std::count_if(distances.begin(), distances.end(), [&](double d) { return d < found.period / 4; });
    if (static_cast<double>(agree) < kAgreeing * looked) return std::nullopt;
    return found;
}

} // namespace TZM

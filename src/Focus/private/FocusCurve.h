#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Focus/FindPermittivity.h"
#include "Focus/private/FocusScan.h"

namespace TZM {

/// Lines that are migrated together.
using FocusScans = std::vector<std::unique_ptr<FocusScan>>;

/// Samples that the direct wave takes between the antennas in air, where the recording knows their distance.
std::optional<double> AntennaDelayOf(const Recording& recording);

/// The lines of a recording that can focus. \param firstSample of a piece, from which on it is taken.
FocusScans ScansOf(const Recording& recording, const std::vector<LinePiece>& pieces,
                   const std::function<int(const LinePiece&)>& firstSample, double to);

/// Permittivities evenly spaced by their ratio.
std::vector<double> RatioGrid(double from, double to, int count);

/// How much every window focuses with every permittivity and time zero. What moves the focus of a window away from the
/// permittivity of the ground (FocusScan::Lean) is taken out.
class FocusTable {
public:
    /// \param trials how many time zeros are tried.
    FocusTable(const FocusScans& scans, std::vector<double> permittivities, int trials);

    int Windows() const { return windows; }

    /// Of all windows, one after the other, to be filled in; then Finish.
    WindowSums* Sums(int permittivity, int trial) { return &sums[Index(permittivity, trial)]; }
    void Finish(const FocusScans& scans);

    /// Where the middle of a window lies between time zero, 0, and the end of the record, 1.
    double Time(int window) const { return times[static_cast<std::size_t>(window)]; }

    /// The curves of one window.
    std::vector<double> Focus(int trial, int window) const { return Own(focus, trial, window); }
    double Focus(int permittivity, int trial, int window) const {
        return focus[Index(permittivity, trial) + static_cast<std::size_t>(window)];
    }

    /// Share of each window in the diffracted energy.
    std::vector<double> Weights() const;

    /// The curves over the permittivities for one time zero. \param weights of the windows.
    std::vector<double> Focus(int trial, const std::vector<double>& weights) const {
        return Weighted(focus, trial, weights);
    }
    std::vector<double> Entropy(int trial, const std::vector<double>& weights) const {
        return Weighted(entropy, trial, weights);
    }

private:
    std::size_t Index(int permittivity, int trial) const {
        return (static_cast<std::size_t>(permittivity) * trials + trial) * windows;
    }
    std::vector<double> Own(const std::vector<double>& values, int trial, int window) const;
    std::vector<double> Weighted(const std::vector<double>& values, int trial,
                                 const std::vector<double>& weights) const;

    std::vector<double> permittivities;
    int trials;
    int windows = 0;
    std::vector<WindowSums> sums;
    std::vector<double> focus, entropy, times;
};

/// The migrations of a search, which share what a permittivity asks for.
struct FocusTables {
    FocusTable record;
    FocusTable backwards; ///< the record played backwards: with every second permittivity, chance needs no fine grid
};

/// \param ahead the trials of time zero: samples by which it lies behind the start of the lines. \param chance whether
/// the record is played backwards, too. \param progress hears of the share that is done; false ends it.
FocusTables Migrate(const FocusScans& scans, const std::vector<double>& permittivities,
                    const std::vector<double>& ahead, bool chance, const std::function<bool(double)>& progress);

/// A peak of a curve.
struct CurvePeak {
    int index;        ///< of the highest point
    double place;     ///< of the parabola's vertex, in points
    double height;    ///< of the vertex
    double curvature; ///< second difference, below 0; 0 at an end of the curve
};

CurvePeak HighestPeak(const std::vector<double>& curve, int begin, int end);

/// The points of a curve.
struct FocusScale {
    FocusScale(double lowest, double highest, int points)
        : from(lowest), count(points), step(std::log(highest / lowest) / (points - 1)) {}
    double At(double place) const { return from * std::exp(step * place); }
    /// Points around a peak, within 35 %.
    std::pair<int, int> Around(const CurvePeak& peak) const {
        const int reach = std::max(3, static_cast<int>(0.35 / step));
        return {std::max(0, peak.index - reach), std::min(count, peak.index + reach + 1)};
    }
    double from;
    int count;
    double step; ///< of the logarithm
};

/// The shares of the windows times the root of what their own peaks, near the common one, stand out by, and times the
/// time of their middles: what is wrong with time zero and with wavelets that lag moves a peak by so much less.
std::vector<double> FocusingWeights(const FocusTable& table, int trial, const std::vector<double>& shares,
                                    const CurvePeak& common, const FocusScale& scale);

inline constexpr int kResamplings = 400;

/// Small numbers that look random: SplitMix64 (Steele, Lea and Flood, OOPSLA 2014).
class WindowDice {
public:
    int Below(int count) {
        std::uint64_t z = state += 0x9e3779b97f4a7c15;
        z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9;
        z = (z ^ z >> 27) * 0x94d049bb133111eb;
        return static_cast<int>((z ^ z >> 31) % static_cast<std::uint64_t>(count));
    }

private:
    std::uint64_t state = 1;
};

/// The progress of a part of a search, which begins at `from` and makes up `share` of it.
std::function<bool(double)> PartOf(const FocusOptions& options, double from, double share);

/// Refusal for options out of range.
void RequireInRange(const Recording& recording, const FocusOptions& options);

} // namespace TZM

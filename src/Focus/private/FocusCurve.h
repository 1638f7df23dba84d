#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "Focus/FindPermittivity.h"
#include "Focus/private/FocusScan.h"

namespace TZM {

/// Lines that are migrated together.
using FocusScans = std::vector<std::unique_ptr<FocusScan>>;

/// The lines of a recording that can focus. \param firstSample of a piece, from which on it is taken.
FocusScans ScansOf(const Recording& recording, const std::vector<LinePiece>& pieces,
                   const std::function<int(const LinePiece&)>& firstSample, double to);

/// Permittivities evenly spaced by their ratio.
std::vector<double> RatioGrid(double from, double to, int count);

/// How much every window focuses with every trial.
class FocusTable {
public:
    /// \param ahead trials of time zero for each permittivity: samples by which it lies behind the start of the lines.
    /// \param progress hears of the share that is done; false ends it.
    FocusTable(const FocusScans& scans, const std::vector<double>& permittivities, const std::vector<double>& ahead,
               bool backwards, const std::function<bool(double)>& progress);

    int Windows() const { return windows; }
    const WindowSums& At(int permittivity, int ahead, int window) const {
        return sums[static_cast<std::size_t>((permittivity * aheads + ahead) * windows + window)];
    }

    /// Where the middle of a window lies between time zero, 0, and the end of the record, 1.
    double Time(int window) const { return times[static_cast<std::size_t>(window)]; }

    /// The curve of one window.
    std::vector<double> Own(int ahead, int window) const;

    /// Share of each window in the diffracted energy.
    std::vector<double> Weights() const;

    /// The curve over the permittivities for one time zero. \param weights of the windows.
    std::vector<double> Curve(int ahead, const std::vector<double>& weights,
                              double (WindowSums::*measure)() const) const;

private:
    int windows = 0, trials, aheads;
    std::vector<WindowSums> sums;
    std::vector<double> times;
};

/// A peak of a curve.
struct CurvePeak {
    int index;        ///< of the highest point
    double place;     ///< of the parabola's vertex, in points
    double height;    ///< of the vertex
    double curvature; ///< second difference, below 0; 0 at an end of the curve
};

CurvePeak HighestPeak(const std::vector<double>& curve, int begin, int end);

/// What a curve's peaks stand out of: two peaks would lift a median.
double LowerQuartile(std::vector<double> values);

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

/// The shares of the windows times the square of what their own peaks, near the common one, stand out by, and times the
/// time of their middles: what is wrong with time zero and with wavelets that lag moves a peak by so much less.
std::vector<double> FocusingWeights(const FocusTable& table, int ahead, const std::vector<double>& shares,
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

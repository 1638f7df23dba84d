#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

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

    /// Share of each window in the diffracted energy.
    std::vector<double> Weights() const;

    /// The curve over the permittivities for one time zero. \param weights of the windows.
    std::vector<double> Curve(int ahead, const std::vector<double>& weights,
                              double (WindowSums::*measure)() const) const;

private:
    int windows = 0, trials, aheads;
    std::vector<WindowSums> sums;
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

} // namespace TZM

#include "Focus/private/FocusCurve.h"

#include <algorithm>
#include <cmath>

#include "Framework/private/LoopWatch.h"
#include "Framework/private/ParallelFor.h"
#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

constexpr double kSpeedOfLight = 0.3; // m/ns
constexpr double kNoContrast = 0.1;   // of the curve of a window that holds noise

} // namespace

FocusScans ScansOf(const Recording& recording, const std::vector<LinePiece>& pieces,
                   const std::function<int(const LinePiece&)>& firstSample, double to) {
    const double slowest = 0.9 * kSpeedOfLight / 2 / std::sqrt(to);
    FocusScans scans;
    for (const LinePiece& piece : pieces) {
        const DiffractedLine line(recording, piece, firstSample(piece), slowest);
        scans.push_back(std::make_unique<FocusScan>(line, recording.deltaT, recording.deltaX));
    }
    return scans;
}

std::vector<double> RatioGrid(double from, double to, int count) {
    std::vector<double> grid;
    for (int i = 0; i < count; ++i) grid.push_back(from * std::pow(to / from, double(i) / (count - 1)));
    return grid;
}

FocusTable::FocusTable(const FocusScans& scans, const std::vector<double>& permittivities,
                       const std::vector<double>& ahead, bool backwards, const std::function<bool(double)>& progress)
    : trials(static_cast<int>(permittivities.size())), aheads(static_cast<int>(ahead.size())) {
    for (const auto& scan : scans) windows += scan->Cuts().Count();
    sums.resize(static_cast<std::size_t>(trials) * aheads * windows);
    int first = 0;
    for (std::size_t i = 0; i < scans.size(); ++i) {
        const FocusScan& scan = *scans[i];
        const LoopWatch watch([&](double share) {
            return !progress || progress((static_cast<double>(i) + share) / static_cast<double>(scans.size()));
        });
        ParallelFor(
            trials, [&] { return FocusScan::Work(scan); },
            [&](int p, FocusScan::Work& work) {
                const StoltTables tables = scan.Tables(permittivities[static_cast<std::size_t>(p)]);
                for (int a = 0; a < aheads; ++a)
                    scan.Migrate(tables, ahead[static_cast<std::size_t>(a)], backwards, work,
                                 &sums[static_cast<std::size_t>((p * aheads + a) * windows + first)]);
            });
        const std::vector<int>& depths = scan.Cuts().depths;
        for (int w = 0, down = static_cast<int>(depths.size()) - 1; w < scan.Cuts().Count(); ++w)
            times.push_back((depths[w % down] + depths[w % down + 1]) / 2. / depths.back());
        first += scan.Cuts().Count();
    }
}

std::vector<double> FocusTable::Own(int ahead, int window) const {
    std::vector<double> curve;
    for (int p = 0; p < trials; ++p) curve.push_back(At(p, ahead, window).Focus());
    return curve;
}

std::vector<double> FocusTable::Weights() const {
    std::vector<double> weights(static_cast<std::size_t>(windows));
    double all = 0;
    for (int w = 0; w < windows; ++w)
        for (int p = 0; p < trials; ++p) weights[w] += At(p, aheads / 2, w).energy, all += At(p, aheads / 2, w).energy;
    for (double& weight : weights) weight = all > 0 ? weight / all : 1. / windows;
    return weights;
}

std::vector<double> FocusTable::Curve(int ahead, const std::vector<double>& weights,
                                      double (WindowSums::*measure)() const) const {
    std::vector<double> curve(static_cast<std::size_t>(trials));
    for (int p = 0; p < trials; ++p)
        for (int w = 0; w < windows; ++w)
            if (weights[w] > 0) curve[p] += weights[w] * (At(p, ahead, w).*measure)();
    return curve;
}

CurvePeak HighestPeak(const std::vector<double>& curve, int begin, int end) {
    const int i = static_cast<int>(std::max_element(curve.begin() + begin, curve.begin() + end) - curve.begin());
    CurvePeak peak{i, double(i), curve[i], 0};
    if (i == 0 || i + 1 == static_cast<int>(curve.size())) return peak;
    const double slope = (curve[i + 1] - curve[i - 1]) / 2, bend = curve[i + 1] - 2 * curve[i] + curve[i - 1];
    if (!(bend < 0)) return peak;
    peak.place -= std::clamp(slope / bend, -1., 1.);
    peak.height -= slope * slope / (2 * bend);
    peak.curvature = bend;
    return peak;
}

double LowerQuartile(std::vector<double> values) {
    const auto quarter = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 4);
    std::nth_element(values.begin(), quarter, values.end());
    return *quarter;
}

std::vector<double> FocusingWeights(const FocusTable& table, int ahead, const std::vector<double>& shares,
                                    const CurvePeak& common, const FocusScale& scale) {
    const auto [from, to] = scale.Around(common);
    std::vector<double> weights = shares;
    double all = 0;
    for (int w = 0; w < table.Windows(); ++w) {
        const std::vector<double> own = table.Own(ahead, w);
        const CurvePeak peak = HighestPeak(own, from, to);
        const bool inside = peak.index > from && peak.index + 1 < to;
        const double above = std::max(0., peak.height - LowerQuartile(own) - kNoContrast);
        weights[w] *= inside ? table.Time(w) * above * above : 0;
        all += weights[w];
    }
    if (!(all > 0)) return shares;
    for (double& weight : weights) weight /= all;
    return weights;
}

std::function<bool(double)> PartOf(const FocusOptions& options, double from, double share) {
    return [&options, from, share](double done) { return !options.progress || options.progress(from + share * done); };
}

void RequireInRange(const Recording& recording, const FocusOptions& o) {
    if (!(o.from >= 1 && o.to > o.from && o.to <= 100))
        throw Refusal("permittivities are searched from 1 to 100, and not from " + Number(o.from) + " to " +
                      Number(o.to));
    if (o.count < 8 || o.count > 1000)
        throw Refusal("8 to 1000 permittivities are tried, and not " + std::to_string(o.count));
    if (o.timeZero && !(*o.timeZero >= 0 && *o.timeZero < recording.size.samples))
        throw Refusal("time zero " + Number(*o.timeZero) + " isn't one of the samples 0 to " +
                      std::to_string(recording.size.samples - 1));
}

} // namespace TZM

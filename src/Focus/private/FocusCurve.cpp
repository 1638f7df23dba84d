#include "Focus/private/FocusCurve.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "Focus/private/Quantile.h"
#include "Framework/private/LoopWatch.h"
#include "Framework/private/ParallelFor.h"
#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

constexpr double kSpeedOfLight = 0.3; // m/ns
constexpr double kNoContrast = 0.1;   // of the curve of a window that holds noise

/// A measure between three neighbours, f behind the middle one.
double ByParabola(const WindowSums* const around[3], double (WindowSums::*measure)() const, double f) {
    const double a = (around[0]->*measure)(), b = (around[1]->*measure)(), c = (around[2]->*measure)();
    return b + f * (c - a) / 2 + f * f * (c - 2 * b + a) / 2;
}

} // namespace

std::optional<double> AntennaDelayOf(const Recording& recording) {
    if (!recording.antennaOffset || !(recording.oneAntennaPair || recording.size.bscans == 1)) return std::nullopt;
    return *recording.antennaOffset / (1e9 * kSpeedOfLight) / recording.deltaT;
}

FocusScans ScansOf(const Recording& recording, const std::vector<LinePiece>& pieces,
                   const std::function<int(const LinePiece&)>& firstSample, double to) {
    const double slowest = 0.9 * kSpeedOfLight / 2 / std::sqrt(to);
    const std::optional<double> delay = AntennaDelayOf(recording);
    FocusScans scans;
    for (const LinePiece& piece : pieces) {
        const DiffractedLine line(recording, piece, firstSample(piece), slowest);
        scans.push_back(std::make_unique<FocusScan>(line, recording.deltaT, recording.deltaX, delay));
    }
    return scans;
}

std::vector<double> RatioGrid(double from, double to, int count) {
    std::vector<double> grid;
    for (int i = 0; i < count; ++i) grid.push_back(from * std::pow(to / from, double(i) / (count - 1)));
    return grid;
}

FocusTable::FocusTable(const FocusScans& scans, std::vector<double> grid, int timeZeros)
    : permittivities(std::move(grid)), trials(timeZeros) {
    for (const auto& scan : scans) {
        const double depths = scan->Cuts().depths.back() * scan->SamplesPerDepth();
        for (int w = 0; w < scan->Cuts().Count(); ++w) times.push_back(scan->Time(w) / depths);
    }
    windows = static_cast<int>(times.size());
    sums.resize(permittivities.size() * static_cast<std::size_t>(trials) * times.size());
}

void FocusTable::Finish(const FocusScans& scans) {
    const int count = static_cast<int>(permittivities.size());
    const double step = std::log(permittivities[1] / permittivities[0]);
    focus.reserve(sums.size());
    entropy.reserve(sums.size());
    for (int p = 0; p < count; ++p)
        for (int t = 0; t < trials; ++t) {
            std::size_t window = 0;
            for (const auto& scan : scans)
                for (int w = 0; w < scan->Cuts().Count(); ++w, ++window) {
                    const double place = p + scan->Lean(w, permittivities[static_cast<std::size_t>(p)]) / step;
                    const int i = std::clamp(static_cast<int>(std::lround(place)), 1, count - 2);
                    const WindowSums* const around[] = {&sums[Index(i - 1, t) + window], &sums[Index(i, t) + window],
                                                        &sums[Index(i + 1, t) + window]};
                    const double f = std::clamp(place - i, -1., 1.);
                    focus.push_back(ByParabola(around, &WindowSums::Focus, f));
                    entropy.push_back(ByParabola(around, &WindowSums::Entropy, f));
                }
        }
}

FocusTables Migrate(const FocusScans& scans, const std::vector<double>& permittivities,
                    const std::vector<double>& ahead, bool chance, const std::function<bool(double)>& progress) {
    std::vector<double> coarse;
    for (std::size_t p = 0; chance && p < permittivities.size(); p += 2) coarse.push_back(permittivities[p]);
    FocusTables tables{{scans, permittivities, static_cast<int>(ahead.size())}, {scans, coarse, 1}};
    int first = 0;
    for (std::size_t i = 0; i < scans.size(); ++i) {
        const FocusScan& scan = *scans[i];
        const LoopWatch watch([&](double share) {
            return !progress || progress((static_cast<double>(i) + share) / static_cast<double>(scans.size()));
        });
        ParallelFor(
            static_cast<int>(permittivities.size()), [&] { return FocusScan::Work(scan); },
            [&](int p, FocusScan::Work& work) {
                const StoltTables mapping = scan.Tables(permittivities[static_cast<std::size_t>(p)]);
                for (std::size_t t = 0; t < ahead.size(); ++t)
                    scan.Migrate(mapping, ahead[t], false, work, tables.record.Sums(p, static_cast<int>(t)) + first);
                if (chance && p % 2 == 0) scan.Migrate(mapping, 0, true, work, tables.backwards.Sums(p / 2, 0) + first);
            });
        first += scan.Cuts().Count();
    }
    tables.record.Finish(scans);
    if (chance) tables.backwards.Finish(scans);
    return tables;
}

std::vector<double> FocusTable::Own(const std::vector<double>& values, int trial, int window) const {
    std::vector<double> curve;
    for (int p = 0; p < static_cast<int>(permittivities.size()); ++p)
        curve.push_back(values[Index(p, trial) + static_cast<std::size_t>(window)]);
    return curve;
}

std::vector<double> FocusTable::Weights() const {
    std::vector<double> weights(times.size());
    double all = 0;
    for (int p = 0; p < static_cast<int>(permittivities.size()); ++p)
        for (std::size_t w = 0; w < weights.size(); ++w) {
            const double energy = sums[Index(p, trials / 2) + w].energy;
            weights[w] += energy, all += energy;
        }
    for (double& weight : weights) weight = all > 0 ? weight / all : 1. / windows;
    return weights;
}

std::vector<double> FocusTable::Weighted(const std::vector<double>& values, int trial,
                                         const std::vector<double>& weights) const {
    std::vector<double> curve(permittivities.size());
    for (int p = 0; p < static_cast<int>(curve.size()); ++p)
        curve[p] = std::inner_product(weights.begin(), weights.end(), values.begin() + Index(p, trial), 0.);
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

std::vector<double> FocusingWeights(const FocusTable& table, int trial, const std::vector<double>& shares,
                                    const CurvePeak& common, const FocusScale& scale) {
    const auto [from, to] = scale.Around(common);
    std::vector<double> weights = shares;
    double all = 0;
    for (int w = 0; w < table.Windows(); ++w) {
        const std::vector<double> own = table.Focus(trial, w);
        const CurvePeak peak = HighestPeak(own, from, to);
        const bool inside = peak.index > from && peak.index + 1 < to;
        // Two peaks would lift a median.
        const double above = std::max(0., peak.height - Quantile(own, 0.25) - kNoContrast);
        weights[w] *= inside ? table.Time(w) * std::sqrt(above) : 0;
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

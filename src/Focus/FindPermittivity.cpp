#include "Focus/FindPermittivity.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Focus/private/FocusCurve.h"
#include "Focus/private/Quantile.h"
#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

namespace TZM {

const char* WordOf(FocusVerdict verdict) {
    return verdict == FocusVerdict::Found ? "found" : verdict == FocusVerdict::Ambiguous ? "ambiguous" : "nothing";
}

namespace {

constexpr double kLeastContrast = 0.15, kAboveChance = 2; // of a peak that isn't chance
constexpr double kOwnContrast = 0.25;                     // of a window that focuses by itself
constexpr double kSecondPeak = 0.2, kLeastSecond = 0.04;  // share of the highest peak, and height, of a second one
constexpr double kApart = 0.1;                            // share by which it differs at least
constexpr double kModelError = 0.003;                     // share: what the windows have in common

std::vector<FocusWindow> WindowsOf(const FocusScans& scans, const std::vector<LinePiece>& pieces,
                                   const FocusTable& table, const std::vector<double>& weights,
                                   const FocusScale& scale) {
    std::vector<FocusWindow> all;
    for (std::size_t i = 0; i < scans.size(); ++i) {
        const FocusScan::Windows& cuts = scans[i]->Cuts();
        const LinePiece& piece = pieces[i];
        const auto sample = [&](int depth) {
            return static_cast<int>(piece.timeZero + depth * scans[i]->SamplesPerDepth());
        };
        for (std::size_t x = 0; x + 1 < cuts.ascans.size(); ++x)
            for (std::size_t d = 0; d + 1 < cuts.depths.size(); ++d) {
                const int w = static_cast<int>(all.size());
                all.push_back({piece.bscan, piece.firstAscan + cuts.ascans[x], piece.firstAscan + cuts.ascans[x + 1],
                               sample(cuts.depths[d]), sample(cuts.depths[d + 1]), weights[w], std::nullopt});
                const std::vector<double> own = table.Focus(0, w);
                const CurvePeak peak = HighestPeak(own, 0, scale.count);
                if (peak.curvature < 0 && peak.height - Quantile(own, 0.25) > kOwnContrast)
                    all.back().permittivity = scale.At(peak.place);
            }
    }
    return all;
}

/// How far the most prominent peak within a curve stands above the higher one of the valleys beside it.
double Prominence(const std::vector<double>& curve) {
    double most = 0;
    for (std::size_t i = 1; i + 1 < curve.size(); ++i) {
        const auto valley = [&](int step) {
            double lowest = curve[i];
            for (std::size_t k = i + step; k < curve.size() && curve[k] <= curve[i]; k += step)
                lowest = std::min(lowest, curve[k]);
            return lowest;
        };
        most = std::max(most, curve[i] - std::max(valley(-1), valley(1)));
    }
    return most;
}

/// The highest other peak, at least so many points from the highest one, that stands out of the valley between them by
/// a good share of what the highest one does.
std::optional<double> SecondAnswer(const std::vector<double>& curve, const CurvePeak& peak, int apart) {
    std::optional<double> second;
    double height = -HUGE_VAL;
    for (const int step : {-1, 1}) {
        double valley = peak.height;
        for (int i = peak.index + step; i > 0 && i + 1 < static_cast<int>(curve.size()); i += step) {
            valley = std::min(valley, curve[i]);
            const bool top = curve[i] > curve[i - 1] && curve[i] >= curve[i + 1];
            const double above = curve[i] - valley;
            if (top && std::abs(i - peak.index) >= apart && curve[i] > height && above > kLeastSecond &&
                above > kSecondPeak * (peak.height - valley)) {
                second = HighestPeak(curve, i, i + 1).place;
                height = curve[i];
            }
        }
    }
    return second;
}

/// The standard deviation, in points of the curve, of its peak when the windows are drawn anew with replacement.
double SpreadOfResampled(const FocusTable& table, const std::vector<double>& weights, std::pair<int, int> range) {
    const auto [from, to] = range;
    const int windows = table.Windows();
    std::vector<std::vector<double>> shares; // of the windows in the points around the peak
    for (int w = 0; w < windows; ++w) {
        shares.emplace_back();
        for (int p = from; p < to; ++p) shares.back().push_back(weights[w] * table.Focus(p, 0, w));
    }
    WindowDice dice;
    double sum = 0, squares = 0;
    for (int i = 0; i < kResamplings; ++i) {
        std::vector<double> curve(static_cast<std::size_t>(to - from));
        double all = 0;
        for (int k = 0; k < windows; ++k) {
            const int w = dice.Below(windows);
            all += weights[w];
            for (std::size_t p = 0; p < curve.size(); ++p) curve[p] += shares[w][p];
        }
        for (double& value : curve) value /= all;
        const double place = HighestPeak(curve, 0, to - from).place;
        sum += place, squares += place * place;
    }
    return std::sqrt(std::max(0., squares / kResamplings - std::pow(sum / kResamplings, 2)));
}

/// The same from the slopes of the windows at the peak and the curvature of their sum.
double SpreadOfSlopes(const FocusTable& table, const std::vector<double>& weights, const CurvePeak& peak) {
    if (!(peak.curvature < 0)) return 0;
    double squares = 0, mean = 0;
    const auto slope = [&](int w) {
        return (table.Focus(peak.index + 1, 0, w) - table.Focus(peak.index - 1, 0, w)) / 2;
    };
    for (int w = 0; w < table.Windows(); ++w) mean += weights[w] * slope(w);
    for (int w = 0; w < table.Windows(); ++w) squares += std::pow(weights[w] * (slope(w) - mean), 2);
    return std::sqrt(squares) / -peak.curvature;
}

} // namespace

PermittivityFocus FindPermittivity(const Recording& recording, const FocusOptions& options) {
    RequireInRange(recording, options);
    PermittivityFocus result;
    result.timeZero = options.timeZero.value_or(recording.timeZero.value_or(0));
    const auto nothing = [&](const std::string& reason) {
        result.verdict = FocusVerdict::Nothing;
        result.reason = reason;
        return result;
    };
    if (!recording.knowsDeltaX) return nothing("the distance between A-scans isn't known, and with it no speed");
    const auto firstSample = [](const LinePiece& piece) { return static_cast<int>(piece.timeZero); };
    std::vector<LinePiece> pieces;
    for (const LinePiece& piece : PiecesOf(recording, options.timeZero))
        if (recording.size.samples - firstSample(piece) >= kFewestFocusSamples) pieces.push_back(piece);
    if (pieces.empty())
        return nothing("no line has " + std::to_string(kFewestAscans) + " A-scans and " +
                       std::to_string(kFewestFocusSamples) + " samples behind time zero");

    const FocusScans scans = ScansOf(recording, pieces, firstSample, options.to);
    const std::vector<double> grid = RatioGrid(options.from, options.to, options.count);
    const std::vector<double> rest{result.timeZero - std::floor(result.timeZero)};
    const FocusTables tables = Migrate(scans, grid, rest, true, options.progress);
    const FocusTable &table = tables.record, &played = tables.backwards;

    const std::vector<double> shares = table.Weights(), curve = table.Focus(0, shares),
                              back = played.Focus(0, played.Weights());
    const FocusScale scale{options.from, options.to, options.count};
    const CurvePeak rough = HighestPeak(curve, 0, options.count);
    result.contrast = Prominence(curve);
    result.chance = Prominence(back);
    const bool focuses = result.contrast > kLeastContrast && result.contrast > kAboveChance * result.chance;

    const std::vector<double> weights = focuses ? FocusingWeights(table, 0, shares, rough, scale) : shares;
    const std::vector<double> focus = table.Focus(0, weights), entropy = table.Entropy(0, weights);
    for (std::size_t i = 0; i < grid.size(); ++i) result.curve.push_back({grid[i], focus[i], entropy[i]});
    result.windows = WindowsOf(scans, pieces, table, weights, scale);
    if (!focuses) return nothing("nothing focuses: no diffraction stands out of layers and noise");
    const CurvePeak peak = HighestPeak(focus, 0, options.count);
    if (!(rough.curvature < 0 && peak.curvature < 0))
        return nothing("the image goes on focusing beyond " + Number(grid[static_cast<std::size_t>(rough.index)], 3));

    const double spread =
        (SpreadOfResampled(table, weights, scale.Around(peak)) + SpreadOfSlopes(table, weights, peak)) / 2;
    const double relative = std::hypot(scale.step * spread, kModelError);
    result.verdict = FocusVerdict::Found;
    result.permittivity = scale.At(peak.place);
    result.error = *result.permittivity * relative;
    result.byEntropy = scale.At(HighestPeak(entropy, 0, options.count).place);
    result.other = SecondAnswer(curve, rough, static_cast<int>(std::max(kApart, 3 * relative) / scale.step));
    if (result.other) {
        result.other = scale.At(*result.other);
        result.verdict = FocusVerdict::Ambiguous;
        result.reason = "the image focuses with a permittivity of " + Number(*result.other, 3) + ", too";
    }
    return result;
}

} // namespace TZM

#include "Focus/FindTimeZero.h"

#include <algorithm>
#include <cmath>

#include "Focus/private/FirstBreak.h"
#include "Focus/private/FocusCurve.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

constexpr double kDelaySpread = 0.1;                 // periods, of a pair whose distance isn't known
constexpr double kMiddle = 0.6, kMiddleSpread = 0.2; // periods from a break to the wavelet's middle
constexpr double kModelError = 0.1;                  // periods: what antennas apart and attenuation do to the focus
constexpr int kTimeZeros = 13, kPermittivities = 24;
constexpr double kReach = 2.5; // standard deviations of what the break says

/// A number with its standard deviation.
struct Estimate {
    double value, error;
};

Estimate Joined(const Estimate& a, const Estimate& b) {
    const double wa = 1 / (a.error * a.error), wb = 1 / (b.error * b.error);
    return {(a.value * wa + b.value * wb) / (wa + wb), 1 / std::sqrt(wa + wb)};
}

/// Where a wave without a way would have its middle, by the break of the direct wave.
Estimate ByBreak(const Recording& recording, const FirstBreak& found) {
    const std::optional<double> known = AntennaDelayOf(recording);
    const double delay = known.value_or(kUsualAntennaDelay * found.period);
    const double spread = std::hypot(kMiddleSpread, known ? 0 : kDelaySpread) * found.period;
    return {found.sample - delay + kMiddle * found.period, std::hypot(spread, found.spread)};
}

/// What the focus says of time zero.
struct Ridge {
    std::optional<Estimate> peak; ///< sample behind the first trial; none if it isn't within the trials
    double slope = 0;             ///< of the logarithm of the permittivity over the time zero, per sample
};

/// Follows the highest focus over the time zeros, for the windows with such weights.
std::vector<CurvePeak> PeaksOf(const FocusTable& table, const std::vector<double>& weights, const FocusScale& scale) {
    std::vector<CurvePeak> peaks;
    for (int a = 0; a < kTimeZeros; ++a) peaks.push_back(HighestPeak(table.Focus(a, weights), 0, scale.count));
    return peaks;
}

CurvePeak TopOf(const std::vector<CurvePeak>& ridge) {
    std::vector<double> heights;
    for (const CurvePeak& peak : ridge) heights.push_back(peak.height);
    return HighestPeak(heights, 0, kTimeZeros);
}

/// \param step of the time zeros, and \param modelError of theirs, in samples.
Ridge Follow(const FocusTable& table, const FocusScale& scale, double step, double modelError) {
    const std::vector<double> shares = table.Weights();
    const int middle = kTimeZeros / 2;
    const CurvePeak rough = HighestPeak(table.Focus(middle, shares), 0, scale.count);
    const std::vector<double> weights = FocusingWeights(table, middle, shares, rough, scale);
    const std::vector<CurvePeak> ridge = PeaksOf(table, weights, scale);
    Ridge result;
    result.slope = scale.step * (ridge.back().place - ridge.front().place) / (step * (kTimeZeros - 1));
    const CurvePeak top = TopOf(ridge);
    if (!(top.curvature < 0)) return result;

    WindowDice dice;
    double sum = 0, squares = 0;
    for (int i = 0; i < kResamplings / 4; ++i) {
        std::vector<double> drawn(weights.size());
        double all = 0;
        for (std::size_t k = 0; k < weights.size(); ++k) {
            const int w = dice.Below(static_cast<int>(weights.size()));
            drawn[w] += weights[w], all += weights[w];
        }
        if (!(all > 0)) continue;
        for (double& weight : drawn) weight /= all;
        const double place = TopOf(PeaksOf(table, drawn, scale)).place - top.place;
        sum += place, squares += place * place;
    }
    const double count = kResamplings / 4;
    const double spread = std::sqrt(std::max(0., squares / count - std::pow(sum / count, 2)));
    result.peak = Estimate{step * top.place, std::hypot(step * spread, 0.5 * step, modelError)};
    return result;
}

} // namespace

TimeZeroFocus FindTimeZero(const Recording& recording, const FocusOptions& options) {
    RequireInRange(recording, options);
    TimeZeroFocus result;
    RequireFinite(recording, "the recording");
    const std::vector<LinePiece> pieces = PiecesOf(recording, 0.);
    const std::optional<FirstBreak> found = FirstBreakOf(recording, pieces);
    if (!found) {
        result.reason = pieces.empty() ? "no line has " + std::to_string(kFewestAscans) + " A-scans"
                                       : "no direct wave begins in most A-scans";
        return result;
    }
    result.firstBreak = found->sample;
    result.breakSpread = found->spread;
    const int samples = recording.size.samples;
    const auto inside = [&](double sample) { return std::clamp(sample, 0., samples - 1.); };
    const Estimate guess = ByBreak(recording, *found);
    Estimate joined{inside(guess.value), guess.error};

    FocusOptions at = options;
    at.timeZero = joined.value;
    at.progress = PartOf(options, 0, 0.2);
    result.permittivity = FindPermittivity(recording, at);
    double slope = 0;
    const double first = inside(std::floor(guess.value - kReach * guess.error));
    const double last = std::min(guess.value + kReach * guess.error, samples - double(kFewestFocusSamples));
    if (result.permittivity.verdict == FocusVerdict::Found && last > first) {
        const double step = (last - first) / (kTimeZeros - 1);
        std::vector<double> trials;
        for (int a = 0; a < kTimeZeros; ++a) trials.push_back(a * step);
        const FocusScans scans = ScansOf(
            recording, pieces, [&](const LinePiece&) { return static_cast<int>(first); }, options.to);
        const FocusScale scale(options.from, options.to, kPermittivities);
        const FocusTables tables = Migrate(scans, RatioGrid(options.from, options.to, kPermittivities), trials, false,
                                           PartOf(options, 0.2, 0.6));
        const Ridge ridge = Follow(tables.record, scale, step, kModelError * found->period);
        slope = ridge.slope;
        if (ridge.peak) {
            joined = Joined(joined, {first + ridge.peak->value, ridge.peak->error});
            result.focused = true;
        }
    }
    if (result.focused) { // else the time zero is that of before
        at.timeZero = joined.value;
        at.progress = PartOf(options, 0.8, 0.2);
        result.permittivity = FindPermittivity(recording, at);
    }
    if (result.permittivity.error) {
        const double own = *result.permittivity.error,
                     turned = *result.permittivity.permittivity * slope * joined.error;
        result.permittivity.error = std::hypot(own, turned);
        result.correlation = turned / *result.permittivity.error;
    }
    result.verdict = FocusVerdict::Found;
    result.timeZero = joined.value;
    result.error = joined.error;
    result.reason = "the direct wave begins at sample " + Number(*result.firstBreak, 4) +
                    (result.focused ? ", and the depths focus together" : "");
    return result;
}

} // namespace TZM

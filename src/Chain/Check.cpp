#include <cmath>

#include "Chain/Chain.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

constexpr int kFewestSamples = 16; // of which a migration makes something

/// What is refused and what is warned of in a number that must be above 0.
struct Plausible {
    double least, low, high, most;
    const char *unit, *question;
};

void RequirePlausible(double value, const std::string& what, const Plausible& range,
                      std::vector<std::string>& warnings) {
    const std::string told = what + " is " + Number(value) + " " + range.unit;
    if (!(value >= range.least && value <= range.most))
        throw ChainError(told + ", which can't be meant; " + range.question);
    if (value < range.low || value > range.high) warnings.push_back(told + ", which is odd; " + range.question);
}

void RequirePermittivity(const Step& step, std::vector<std::string>& warnings) {
    if (!step.Info().Find("permittivity")) return;
    const std::string name = step.Info().name;
    const double value = step.Get("permittivity").asDouble();
    if (!(value > 0) || !std::isfinite(value))
        throw ChainError(name + " needs a permittivity above 0, and this is " + Number(value), name, "permittivity",
                         -10);
    const ParameterInfo& info = *step.Info().Find("permittivity");
    if (value < info.low || value > info.high)
        warnings.push_back(name + " works with a permittivity of " + Number(value) + "; that of air is 1, of water 81");
}

} // namespace

std::vector<std::string> Chain::Check(const Recording& recording) const {
    std::vector<std::string> warnings;
    RequirePlausible(recording.deltaT, "the time between samples", {1e-14, 1e-12, 5e-9, 1e-6, "s", "is it in seconds?"},
                     warnings);
    RequirePlausible(recording.deltaX, "the distance between A-scans", {1e-6, 1e-4, 10, 1e3, "m", "is it in metres?"},
                     warnings);
    ImageProps props = recording.Props();
    for (const Step& step : steps) {
        const AlgorithmInfo& info = step.Info();
        if (info.tellsChannels && props.bscanCount != 1 && props.bscanCount % 5 != 0 && props.bscanCount % 7 != 0)
            throw ChainError(info.name + " refuses " + std::to_string(props.bscanCount) +
                                 " B-scans, since neither 5 nor 7 channels divide them",
                             info.name, "", -11);
        if (props.samplesPerAscan > info.mostSamples)
            throw ChainError(info.name + " takes A-scans of up to " + std::to_string(info.mostSamples) +
                                 " samples, and these have " + std::to_string(props.samplesPerAscan),
                             info.name);
        RequirePermittivity(step, warnings);
        const int before = props.samplesPerAscan;
        props = step.Algorithm().GetAdjustedImageDimensions(props);
        if (props.samplesPerAscan > before || props.samplesPerAscan < 1)
            throw ChainError(info.name + ": timeZero " + std::to_string(std::int64_t{before} - props.samplesPerAscan) +
                                 " isn't one of the samples 0 to " + std::to_string(before - 1),
                             info.name, "timeZero");
        if (props.samplesPerAscan < before && props.samplesPerAscan < kFewestSamples)
            throw ChainError(info.name + " leaves " + std::to_string(props.samplesPerAscan) + " of " +
                                 std::to_string(before) + " samples behind time zero; at least " +
                                 std::to_string(kFewestSamples) + " are needed",
                             info.name, "timeZero");
    }
    return warnings;
}

} // namespace TZM

#include <cmath>

#include "Chain/Chain.h"
#include "Chain/private/StepRun.h"
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

void RequireElevations(const Step& step, const Dimensions& size) {
    if (!step.Info().Find("elevations")) return;
    const std::string name = step.Info().name;
    const auto count = static_cast<std::int64_t>(step.Get("elevations").size());
    if (count == 0)
        throw ChainError(name + " needs elevations: the recording tells no heights, and nobody gives a table", name,
                         "elevations", -13);
    if (count > size.ascans && count != std::int64_t{size.ascans} * size.bscans)
        throw ChainError(name + " has " + std::to_string(count) + " elevations for " + size.Text() +
                             " samples; it takes one for each A-scan of the block, or up to " +
                             std::to_string(size.ascans) + " that spread along every line",
                         name, "elevations", -13);
}

/// Refuses what is given and no number, and warns of one beyond what makes sense.
void RequireNumbers(const Step& step, std::vector<std::string>& warnings) {
    for (const ParameterInfo& parameter : step.Info().parameters) {
        const bool isNumber = parameter.type == ValueType::Number || parameter.type == ValueType::Integer;
        if (!isNumber || step.given.count(parameter.name) == 0 || parameter.name == "timeZero" ||
            parameter.name == "permittivity")
            continue; // told elsewhere
        const double value = step.Get(parameter.name).asDouble();
        std::string told = step.Info().name + ": " + parameter.name + " is " + Number(value);
        if (!std::isfinite(value)) throw ChainError(told, step.Info().name, parameter.name);
        if (!parameter.unit.empty()) told += " " + parameter.unit;
        if (value < parameter.low) warnings.push_back(told + ", which is below " + Number(parameter.low));
        if (value > parameter.high) warnings.push_back(told + ", which is above " + Number(parameter.high));
    }
}

} // namespace

std::vector<std::string> Chain::Check(const Recording& recording) const {
    std::vector<std::string> warnings;
    RequirePlausible(recording.deltaT, "the time between samples", {1e-14, 1e-12, 5e-9, 1e-6, "s", "is it in seconds?"},
                     warnings);
    RequirePlausible(recording.deltaX, "the distance between A-scans", {1e-6, 1e-4, 10, 1e3, "m", "is it in metres?"},
                     warnings);
    Recording at = recording.About();
    for (const Step& step : steps) {
        const AlgorithmInfo& info = step.Info();
        const Dimensions before = at.size;
        if (info.tellsChannels && before.bscans != 1 && before.bscans % 5 != 0 && before.bscans % 7 != 0)
            throw ChainError(info.name + " refuses " + std::to_string(before.bscans) +
                                 " B-scans, since neither 5 nor 7 channels divide them",
                             info.name, "", -11);
        if (before.samples > info.mostSamples)
            throw ChainError(info.name + " takes A-scans of up to " + std::to_string(info.mostSamples) +
                                 " samples, and these have " + std::to_string(before.samples),
                             info.name);
        RequirePermittivity(step, warnings);
        RequireNumbers(step, warnings);
        RequireElevations(step, before);
        at = Outcome(step, at);
        if (!info.regrids && at.size.samples < before.samples && at.size.samples < kFewestSamples)
            throw ChainError(info.name + " leaves " + std::to_string(at.size.samples) + " of " +
                                 std::to_string(before.samples) + " samples behind time zero; at least " +
                                 std::to_string(kFewestSamples) + " are needed",
                             info.name, "timeZero");
    }
    return warnings;
}

} // namespace TZM

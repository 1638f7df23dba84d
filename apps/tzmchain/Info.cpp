#include "Info.h"

#include "Recording/private/Text.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tzmchain {

using namespace TZM;

namespace {

/// Range and mean of the finite samples.
struct Values {
    explicit Values(const Recording& recording) {
        for (std::int64_t i = 0; i < recording.size.Count(); ++i) {
            const float x = recording.data[i];
            if (!std::isfinite(x)) continue;
            sum += x, low = std::min(low, x), high = std::max(high, x), ++finite;
        }
    }
    double sum = 0;
    float low = std::numeric_limits<float>::infinity(), high = -low;
    std::int64_t finite = 0;
};

template <class T>
Json::Value OrNull(const std::optional<T>& value) {
    return value ? Json::Value(*value) : Json::Value();
}

} // namespace

std::string InfoText(const Recording& recording) {
    std::string text;
    const auto line = [&text](std::string name, const std::string& told) {
        name.resize(std::max<std::size_t>(name.size(), 18), ' ');
        text += name + " " + told + "\n";
    };
    const Dimensions& size = recording.size;
    line("file", recording.file.string());
    line("format", recording.format);
    line("sha256", recording.checksum);
    line("samples", std::to_string(size.samples) + " per A-scan, " + Number(recording.deltaT * 1e9, 7) +
                        " ns apart: " + Number(size.samples * recording.deltaT * 1e9, 6) + " ns");
    line("A-scans", std::to_string(size.ascans) + " per B-scan, " +
                        (recording.knowsDeltaX ? Number(recording.deltaX, 7) +
                                                     " m apart: " + Number(size.ascans * recording.deltaX, 6) + " m"
                                               : "recorded over time"));
    line("B-scans", std::to_string(size.bscans) +
                        (recording.lineSpacing ? ", " + Number(*recording.lineSpacing, 7) + " m apart" : ""));
    if (!recording.channels.empty()) line("channels", Joined(recording.channels));
    if (recording.bits) line("bits", std::to_string(*recording.bits));
    if (recording.timeZero) line("time zero", "sample " + std::to_string(*recording.timeZero));
    if (recording.permittivity) line("permittivity", Number(*recording.permittivity));
    if (recording.antennaOffset) line("antenna offset", Number(*recording.antennaOffset) + " m");
    if (recording.oneAntennaPair) line("antennas", "one pair recorded all channels");
    if (!recording.positions.empty())
        line("positions", std::to_string(recording.positions.size()) + ", " + recording.coordinates);
    const Values values(recording);
    const std::int64_t count = size.Count(), finite = values.finite;
    if (finite > 0)
        line("values", Number(values.low, 7) + " to " + Number(values.high, 7) + ", mean " +
                           Number(values.sum / static_cast<double>(finite), 7));
    line("finite",
         finite == count ? "all" : std::to_string(count - finite) + " of " + std::to_string(count) + " aren't");
    for (const std::string& note : recording.notes) line("note", note);
    return text;
}

Json::Value InfoJson(const Recording& recording) {
    Json::Value info;
    info["format"] = recording.format;
    info["samples"] = recording.size.samples;
    info["ascans"] = recording.size.ascans;
    info["bscans"] = recording.size.bscans;
    info["channels"] = Json::Value(Json::arrayValue);
    for (const std::string& name : recording.channels) info["channels"].append(name);
    info["bits"] = OrNull(recording.bits);
    info["delta_t"] = recording.deltaT;
    info["delta_x"] = recording.knowsDeltaX ? Json::Value(recording.deltaX) : Json::Value();
    info["line_spacing"] = OrNull(recording.lineSpacing);
    info["time_zero"] = OrNull(recording.timeZero);
    info["permittivity"] = OrNull(recording.permittivity);
    info["antenna_offset"] = OrNull(recording.antennaOffset);
    info["positions"] = static_cast<Json::Int64>(recording.positions.size());
    info["notes"] = Json::Value(Json::arrayValue);
    for (const std::string& note : recording.notes) info["notes"].append(note);
    return info;
}

} // namespace tzmchain

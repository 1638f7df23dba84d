#include "Formats/Sensible.h"

#include <algorithm>
#include <cmath>

#include "Recording/Refusal.h"
#include "Recording/Track.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

bool IsPositive(double value) {
    const auto narrow = static_cast<float>(value);
    return narrow > 0 && std::isfinite(narrow);
}

void DropUnlessPositive(Recording& recording, std::optional<double>& value, const char* what) {
    if (!value || IsPositive(*value)) return;
    recording.notes.push_back(recording.file.string() + " tells a " + what + " of " + Number(*value) +
                              ", which is passed over");
    value.reset();
}

} // namespace

Recording Sensible(Recording recording) {
    const auto require = [&](double value, const char* what) {
        if (!IsPositive(value))
            throw FormatError(recording.file.string() + " tells " + Number(value) + " " + what +
                              "; a number above 0 is expected");
    };
    require(recording.deltaT, "s between samples");
    require(recording.deltaX, "m between A-scans");
    const Dimensions& size = recording.size;
    std::int64_t bytes = std::int64_t{size.samples} * size.ascans;
    if (__builtin_mul_overflow(bytes, std::int64_t{size.bscans} * 4, &bytes))
        throw FormatError(recording.file.string() + ": a block of " + size.Text() + " is beyond any memory");
    DropUnlessPositive(recording, recording.permittivity, "permittivity");
    DropUnlessPositive(recording, recording.antennaOffset, "distance of antennas");
    DropUnlessPositive(recording, recording.lineSpacing, "distance of lines");
    const bool inDegrees = InDegrees(recording);
    const auto nowhere = [inDegrees](const Position& p) {
        return !std::isfinite(p.east) || !std::isfinite(p.north) ||
               (inDegrees && (std::abs(p.east) > 180 || std::abs(p.north) > 90));
    };
    auto& positions = recording.positions;
    const auto end = std::remove_if(positions.begin(), positions.end(), nowhere);
    if (end != positions.end())
        recording.notes.push_back(std::to_string(positions.end() - end) + " positions of " + recording.file.string() +
                                  " lie nowhere on earth and are passed over");
    positions.erase(end, positions.end());
    for (Position& position : positions)
        if (!std::isfinite(position.height)) position.height = 0;
    return recording;
}

std::optional<int> SampleAt(double place, int samples) {
    if (!(place >= 0 && place < samples)) return std::nullopt;
    return std::min(static_cast<int>(std::lround(place)), samples - 1);
}

} // namespace TZM

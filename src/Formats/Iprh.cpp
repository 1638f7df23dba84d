// NAME.iprb, samples of 16 or 32 bits and nothing else, and NAME.iprh, which tells the rest. One file is one channel.
#include <cmath>

#include "Formats/ChannelFile.h"
#include "Formats/Formats.h"
#include "Formats/Sensible.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

namespace fs = std::filesystem;

std::unique_ptr<RecordingSource> Open(const fs::path& input, const ReadOptions&) {
    const fs::path header = RequiredPartner(input, ".iprh");
    const double bits = TextHeader(header, ':').Number("DATA VERSION").value_or(16);
    if (bits != 16 && bits != 32)
        throw FormatError(header.string() + ": DATA VERSION is " + Number(bits) + "; 16 or 32 is expected");
    ChannelFile channel(RequiredPartner(input, ".iprb"), header, bits == 32 ? Word::I32 : Word::I16);
    const TextHeader& text = channel.header;
    const int samples = text.Count("SAMPLES", 1, 1 << 20);
    channel.Open("iprh", samples);
    Recording& recording = channel.recording;
    constexpr double kNanosecond = 1e-9, kLight = 300; // m/us
    recording.deltaT = text.RequiredPositive("TIMEWINDOW") * kNanosecond / samples;
    channel.TakeSpacing("DISTANCE INTERVAL");
    channel.TakeSpacing("USER DISTANCE INTERVAL");
    if (const auto zero = text.Positive("ZERO LEVEL")) recording.timeZero = SampleAt(*zero, samples);
    if (const auto speed = text.Positive("SOIL VELOCITY"); speed && *speed <= kLight)
        recording.permittivity = std::pow(kLight / *speed, 2);
    if (const auto frequency = text.Positive("FREQUENCY")) recording.channels = {Number(*frequency) + " MHz"};
    return channel.Source();
}

} // namespace

Format IprhFormat() { return {"iprh", "NAME.iprb (with NAME.iprh)", {".iprb", ".iprh"}, {}, Open, {}}; }

} // namespace TZM

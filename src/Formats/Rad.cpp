// NAME.rd3 or NAME.rd7, samples of 16 or 32 bits and nothing else, and NAME.rad, which tells the rest. One file is one
// channel.
#include <cmath>

#include "Formats/ChannelFile.h"
#include "Formats/Formats.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

namespace fs = std::filesystem;

std::unique_ptr<RecordingSource> Open(const fs::path& input, const ReadOptions&) {
    const fs::path header = RequiredPartner(input, ".rad"), narrow = Partner(input, ".rd3"),
                   wide = Partner(input, ".rd7");
    const bool isWide = HasExtension(input, ".rd7") || narrow.empty();
    if (narrow.empty() && wide.empty())
        throw FormatError("can't read " + input.string() + ": there is neither a .rd3 nor a .rd7 beside it");
    ChannelFile channel(isWide ? wide : narrow, header, isWide ? Word::I32 : Word::I16);
    const TextHeader& text = channel.header;
    const int samples = text.Count("SAMPLES", 1, 1 << 20);
    channel.Open("rad", samples);
    constexpr double kMegahertz = 1e6; // FREQUENCY is that of the samples
    channel.recording.deltaT = 1 / (text.RequiredPositive("FREQUENCY") * kMegahertz);
    if (const double window = text.Positive("TIMEWINDOW").value_or(0), made = samples * channel.recording.deltaT * 1e9;
        window > 0 && std::abs(window - made) > 0.01 * made)
        channel.recording.notes.push_back(header.string() + " tells a TIMEWINDOW of " + Number(window) +
                                          " ns; SAMPLES and FREQUENCY make it " + Number(made) + ", which is taken");
    channel.TakeSpacing("DISTANCE INTERVAL");
    if (const auto antenna = text.Text("ANTENNAS")) channel.recording.channels = {*antenna};
    return channel.Source();
}

} // namespace

Format RadFormat() { return {"rad", "NAME.rd3 or NAME.rd7 (with NAME.rad)", {".rd3", ".rd7", ".rad"}, {}, Open, {}}; }

} // namespace TZM

#include "Formats/ChannelFile.h"

#include "Formats/Positions.h"
#include "Recording/private/Text.h"

namespace TZM {

ChannelFile::ChannelFile(const std::filesystem::path& data, const std::filesystem::path& headerFile, Word word)
    : header(headerFile, ':'), file(std::make_unique<ByteReader>(data)) {
    layout.word = word;
}

void ChannelFile::Open(const std::string& format, int samples) {
    const std::filesystem::path& data = file->File();
    layout.ascanStep = std::int64_t{SizeOf(layout.word)} * samples;
    const std::int64_t ascans = file->Size() / layout.ascanStep;
    if (ascans < 1)
        throw FormatError(data.string() + " has " + std::to_string(file->Size()) + " bytes, fewer than one A-scan of " +
                          std::to_string(samples) + " samples");
    recording.format = format;
    recording.file = data;
    recording.size = {samples, CheckedCount(data, ascans, "A-scans"), 1};
    recording.bits = layout.word == Word::I16 ? 16 : 32;
    if (const auto last = header.Number("LAST TRACE");
        (last && *last != static_cast<double>(ascans)) || file->Size() % layout.ascanStep != 0)
        recording.notes.push_back(header.File().string() + " tells " + (last ? Number(*last, 12) : "no number of") +
                                  " A-scans; the size of " + data.filename().string() + " makes them " +
                                  std::to_string(ascans));
    if (const auto separation = header.Positive("ANTENNA SEPARATION")) recording.antennaOffset = *separation;
    if (const auto track = Partner(data, ".cor"); !track.empty())
        TakePositions(recording, track, CorPositions(ReadText(track)));
}

void ChannelFile::TakeSpacing(const std::string& name) {
    if (const auto spacing = header.Positive(name)) recording.deltaX = *spacing, recording.knowsDeltaX = true;
}

std::unique_ptr<RecordingSource> ChannelFile::Source() {
    return std::make_unique<WordSource>(std::move(recording), std::move(file), layout);
}

} // namespace TZM

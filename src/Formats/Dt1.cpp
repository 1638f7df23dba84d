// NAME.DT1, A-scans with 128 bytes of header each, and NAME.HD, which tells the rest. One file is one line.
#include <cmath>

#include "Formats/Formats.h"
#include "Formats/Positions.h"
#include "Formats/Sensible.h"
#include "Formats/TextHeader.h"
#include "Formats/WordSource.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kAscanHeader = 128;
constexpr double kNanosecond = 1e-9, kFoot = 0.3048;

/// Bytes of a sample: the header of an A-scan tells them, but the size of the file decides.
int WordSize(const ByteReader& file, int samples, int ascansTold) {
    const auto fits = [&](int bytes) { return file.Size() % (kAscanHeader + std::int64_t{bytes} * samples) == 0; };
    const auto holds = [&](int bytes) { return file.Size() / (kAscanHeader + std::int64_t{bytes} * samples); };
    for (const int bytes : {2, 4})
        if (fits(bytes) && holds(bytes) == ascansTold) return bytes;
    const float told = file.F32(20);
    for (const int bytes : {told == 4 ? 4 : 2, told == 4 ? 2 : 4})
        if (fits(bytes)) return bytes;
    return told == 4 ? 4 : 2;
}

/// "Trace #17 at position 1.60": the A-scan ahead of its position.
int AscanOfLine(const std::string& line) {
    if (line.rfind("Trace #", 0) != 0) return -1;
    const long number = std::strtol(line.c_str() + 7, nullptr, 10);
    return number >= 1 && number < 2147483647 ? static_cast<int>(number) - 1 : -1;
}

/// Positions along the line in the headers of A-scans, in metres; none unless they rise or fall all along.
std::vector<std::pair<int, double>> WayOf(const ByteReader& file, const WordLayout& layout, std::int64_t ascans,
                                          double unit) {
    std::vector<std::pair<int, double>> way;
    double sign = 0;
    for (std::int64_t a = 0; a < ascans; ++a) {
        const double place = double{file.F32(a * layout.ascanStep + 4)} * unit;
        if (a == 1) sign = place < way[0].second ? -1 : 1;
        if (!std::isfinite(place) || (a > 0 && !((place - way.back().second) * sign > 0))) return {};
        way.emplace_back(static_cast<int>(a), place);
    }
    return way;
}

std::unique_ptr<RecordingSource> Open(const fs::path& input, const ReadOptions&) {
    const fs::path dataFile = HasExtension(input, ".hd") ? RequiredPartner(input, ".dt1") : input;
    const TextHeader header(RequiredPartner(dataFile, ".hd"), '=');
    auto file = std::make_unique<ByteReader>(dataFile);
    const int samples = header.Count("NUMBER OF PTS/TRC", 1, 1 << 20);
    const int told = header.Count("NUMBER OF TRACES", 0, 2147483647);
    const double window = header.RequiredPositive("TOTAL TIME WINDOW");
    if (file->Size() < kAscanHeader + 2 * std::int64_t{samples})
        throw FormatError(dataFile.string() + " has " + std::to_string(file->Size()) +
                          " bytes, fewer than one A-scan of " + std::to_string(samples) + " samples");
    WordLayout layout;
    layout.word = WordSize(*file, samples, told) == 2 ? Word::I16 : Word::F32;
    layout.begin = kAscanHeader;
    layout.ascanStep = kAscanHeader + std::int64_t{SizeOf(layout.word)} * samples;
    const std::int64_t ascans = file->Size() / layout.ascanStep;
    if (ascans < 1) throw FormatError(dataFile.string() + " is shorter than one A-scan");

    Recording recording;
    recording.format = "dt1";
    recording.file = dataFile;
    recording.size = {samples, CheckedCount(dataFile, ascans, "A-scans"), 1};
    recording.deltaT = window * kNanosecond / samples;
    if (layout.word == Word::I16) recording.bits = 16;
    if (ascans != told || file->Size() % layout.ascanStep != 0)
        recording.notes.push_back(header.File().string() + " tells " + std::to_string(told) + " A-scans; the size of " +
                                  dataFile.filename().string() + " makes them " + std::to_string(ascans));
    if (const auto sample = header.Positive("TIMEZERO AT POINT")) recording.timeZero = SampleAt(*sample, samples);
    const std::string units = header.Text("POSITION UNITS").value_or("m");
    const double unit = units.rfind("f", 0) == 0 || units.rfind("F", 0) == 0 ? kFoot : 1;
    const auto step = header.Number("STEP SIZE USED"), start = header.Number("STARTING POSITION"),
               end = header.Number("FINAL POSITION");
    if (step && *step != 0) recording.deltaX = std::abs(*step) * unit, recording.knowsDeltaX = true;
    if (start) recording.startX = *start * unit;
    recording.backwards = start && end && *end < *start;
    if (const auto separation = header.Positive("ANTENNA SEPARATION")) recording.antennaOffset = *separation * unit;
    if (const auto frequency = header.Text("NOMINAL FREQUENCY"))
        recording.channels = {Number(std::strtod(frequency->c_str(), nullptr)) + " MHz"};
    if (const fs::path track = Partner(dataFile, ".gps"); !track.empty())
        TakePositions(recording, track, GgaPositions(ReadText(track), AscanOfLine));
    if (!recording.knowsDeltaX) TakeWay(recording, WayOf(*file, layout, ascans, unit), "their headers");
    return std::make_unique<WordSource>(std::move(recording), std::move(file), layout);
}

/// The first floats of an A-scan's header are whole numbers, those of bytes and samples within their ranges.
bool Recognises(const std::string& head) {
    if (head.size() < kAscanHeader) return false;
    const auto whole = [&](std::size_t at, float low, float high) {
        float value = 0;
        std::memcpy(&value, head.data() + at, sizeof value);
        return value >= low && value <= high && value == std::floor(value);
    };
    return whole(0, 0, 16777216) && whole(8, 1, 65536) && whole(20, 2, 4) && whole(28, 0, 65536);
}

} // namespace

Format Dt1Format() { return {"dt1", "NAME.DT1 (with NAME.HD)", {".dt1", ".hd"}, Recognises, Open, {}}; }

} // namespace TZM

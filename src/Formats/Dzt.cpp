// NAME.DZT: 1024 bytes of header for each channel, then for each position the A-scans of all channels.
#include <charconv>
#include <cmath>
#include <string_view>

#include "Formats/Formats.h"
#include "Formats/Positions.h"
#include "Formats/Sensible.h"
#include "Formats/TextHeader.h"
#include "Formats/WordSource.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kHeader = 1024;
constexpr double kNanosecond = 1e-9;

struct Header {
    explicit Header(const ByteReader& file)
        : samples(file.U16(4).Between(1, 65535, "samples per A-scan")),
          bits(file.U16(6).OneOf({8, 16, 32}, "bits per sample")), channels(file.U16(52).Between(1, 64, "channels")),
          ascansPerMetre(file.F32(14)), metresPerMark(file.F32(18)), position(file.F32(22)),
          range(file.F32(26).Between(1e-3f, 1e7f, "ns of time window")), permittivity(file.F32(54)) {
        const int blocks = file.U16(2);
        begin = kHeader * (blocks > 0 && blocks < kHeader ? blocks : channels);
        ownBlocks = static_cast<int>(std::min<std::int64_t>(channels, std::min(begin, file.Size()) / kHeader));
    }

    /// Sample of time zero, where the first one lies ahead of it.
    std::optional<int> TimeZero(float first) const {
        return first < 0 ? SampleAt(-double{first} / range * samples, samples) : std::nullopt;
    }

    int samples, bits, channels;
    float ascansPerMetre; ///< 0: recorded over time
    float metresPerMark;
    float position; ///< of the first sample, ns
    float range;    ///< ns
    float permittivity;
    std::int64_t begin; ///< of the data
    int ownBlocks;      ///< channels that have a header block
};

/// What the channels are called: the antennas' names, told apart by numbers where they are alike; none if nobody says.
std::vector<std::string> ChannelNames(const ByteReader& file, const Header& header) {
    const int channels = header.channels;
    std::vector<std::string> names;
    bool any = false;
    for (int c = 0; c < channels; ++c) {
        std::string name = c < header.ownBlocks ? file.Text(kHeader * c + 98, 14) : "";
        any = any || !name.empty();
        names.push_back(name.empty() ? "channel" : name);
    }
    if (!any) return {};
    const std::vector<std::string> given = names;
    for (int c = 0; c < channels; ++c)
        if (std::count(given.begin(), given.end(), given[c]) > 1) names[c] += " " + std::to_string(c + 1);
    return names;
}

/// What the header blocks of further channels tell otherwise.
void TakeChannelHeaders(const ByteReader& file, const Header& header, Recording& recording) {
    std::vector<int> timeZeros;
    if (recording.timeZero) timeZeros.push_back(*recording.timeZero);
    for (int c = 1; c < header.ownBlocks; ++c) {
        if (const float range = file.F32(kHeader * c + 26); range > 0 && range != header.range)
            recording.notes.push_back(file.File().string() + ": channel " + std::to_string(c + 1) +
                                      " tells a time window of " + Number(range) + " ns; that of the first, " +
                                      Number(header.range) + " ns, is taken for all");
        if (const auto own = header.TimeZero(file.F32(kHeader * c + 22))) timeZeros.push_back(*own);
    }
    if (timeZeros.size() == static_cast<std::size_t>(header.channels) &&
        std::count(timeZeros.begin(), timeZeros.end(), timeZeros[0]) != header.channels)
        recording.timeZeros = timeZeros;
}

/// "$GSSIS,17,...": the A-scan ahead of its position.
int AscanOfLine(const std::string& line) {
    constexpr std::string_view kMark = "$GSSIS,";
    int ascan = -1;
    if (line.rfind(kMark, 0) == 0) std::from_chars(line.data() + kMark.size(), line.data() + line.size(), ascan);
    return ascan;
}

/// A-scans at which the user set a mark: <scan>17</scan><mark>User</mark> of each <WayPt>...</WayPt>, rising.
std::vector<int> MarkedAscans(const std::string& xml, int ascans) {
    std::vector<int> marked;
    for (auto at = xml.find("<WayPt"); at != std::string::npos; at = xml.find("<WayPt", at + 1)) {
        const std::string point = xml.substr(at, xml.find("</WayPt>", at) - at);
        const auto scan = point.find("<scan>"), mark = point.find("<mark>");
        if (scan == std::string::npos || mark == std::string::npos || point.compare(mark + 6, 1, "<") == 0) continue;
        int ascan = -1;
        std::from_chars(point.data() + scan + 6, point.data() + point.size(), ascan);
        if (ascan >= 0 && ascan < ascans && (marked.empty() || ascan > marked.back())) marked.push_back(ascan);
    }
    return marked;
}

/// The number in <name>...</name>.
std::optional<double> XmlNumber(const std::string& text, const std::string& name) {
    const auto at = text.find("<" + name + ">");
    if (at == std::string::npos) return std::nullopt;
    const double value = std::strtod(text.c_str() + at + name.size() + 2, nullptr);
    return value > 0 && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

std::unique_ptr<RecordingSource> Open(const fs::path& input, const ReadOptions& options) {
    auto file = std::make_unique<ByteReader>(input);
    const Header header(*file);
    WordLayout layout;
    layout.word = header.bits == 8 ? Word::U8 : header.bits == 16 ? Word::U16 : Word::I32;
    layout.begin = header.begin;
    layout.channelStep = std::int64_t{header.samples} * SizeOf(layout.word);
    layout.ascanStep = layout.channelStep * header.channels;
    const std::int64_t data = file->Size() - header.begin, ascans = data / layout.ascanStep;
    if (data < layout.ascanStep)
        throw FormatError(input.string() + " has " + std::to_string(file->Size()) +
                          " bytes, and the first position of " + std::to_string(header.channels) +
                          " channels ends at byte " + std::to_string(header.begin + layout.ascanStep));

    Recording recording;
    recording.format = "dzt";
    recording.file = input;
    recording.size = {header.samples, CheckedCount(input, ascans, "A-scans"), header.channels};
    recording.bits = header.bits;
    recording.deltaT = header.range * kNanosecond / header.samples;
    recording.channels = ChannelNames(*file, header);
    if (data % layout.ascanStep != 0)
        recording.notes.push_back(input.string() + " ends within a position, which is left out");
    recording.timeZero = header.TimeZero(header.position);
    TakeChannelHeaders(*file, header, recording);
    if (header.permittivity >= 1 && header.permittivity <= 100) recording.permittivity = double{header.permittivity};
    std::vector<std::pair<int, double>> way;
    if (const fs::path xml = Partner(input, ".dzx"); !xml.empty()) {
        const std::string text = ReadText(xml);
        if (const auto spacing = XmlNumber(text, "unitsPerScan"))
            recording.deltaX = *spacing, recording.knowsDeltaX = true;
        if (const auto dielectric = XmlNumber(text, "dielectric"); dielectric && !recording.permittivity)
            recording.permittivity = *dielectric;
        if (header.metresPerMark > 0 && std::isfinite(header.metresPerMark))
            for (const int ascan : MarkedAscans(text, recording.size.ascans))
                way.emplace_back(ascan, static_cast<double>(way.size()) * header.metresPerMark);
    }
    if (header.ascansPerMetre > 0 && std::isfinite(header.ascansPerMetre))
        recording.deltaX = 1 / double{header.ascansPerMetre}, recording.knowsDeltaX = true;
    if (const fs::path track = Partner(input, ".dzg"); !track.empty())
        TakePositions(recording, track, GgaPositions(ReadText(track), AscanOfLine));
    TakeWay(recording, way, "marks");
    int marks = 0;
    if (header.bits != 8 && !options.keepMarks) {
        marks = CountMarks(*file, layout, header.samples, recording.size.ascans);
        if (marks > 0)
            recording.notes.push_back("the first " + std::string(marks == 1 ? "word" : "two words") +
                                      " of every A-scan are marks, no data; the next sample takes their places");
    }
    return std::make_unique<WordSource>(std::move(recording), std::move(file), layout, marks);
}

/// The tag alone proves nothing: sizes that fit each other do.
bool Recognises(const std::string& head) {
    if (head.size() < 128) return false;
    const auto u16 = [&](std::size_t at) {
        return static_cast<unsigned char>(head[at]) + 256 * static_cast<unsigned char>(head[at + 1]);
    };
    const int tag = u16(0), bits = u16(6), channels = u16(52);
    return (tag == 0x00ff || tag == 0x07ff || tag == 0x0700) && u16(4) > 0 && (bits == 8 || bits == 16 || bits == 32) &&
           channels > 0 && channels <= 64;
}

} // namespace

Format DztFormat() { return {"dzt", "NAME.DZT", {".dzt"}, Recognises, Open, {}}; }

} // namespace TZM

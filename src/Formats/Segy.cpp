// NAME.sgy: 3600 bytes of header, then the A-scans, each behind 240 bytes of its own.
#include <segyio/segy.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "Formats/ByteReader.h"
#include "Formats/Formats.h"
#include "Formats/Sensible.h"
#include "Recording/Track.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

namespace fs = std::filesystem;

constexpr double kPicosecond = 1e-12, kArcSeconds = 3600;
constexpr int kMostSamples = 65535, kTextLine = 80, kDegreeScale = 1000, kMetreScale = 100;
constexpr const char* kGrid = "GRID"; ///< coordinates along and across the lines, of a recording without positions
constexpr int kDead = 2;              ///< of the A-scans' kinds: it holds no data

struct Closer {
    void operator()(segy_file* file) const { segy_close(file); }
};
using File = std::unique_ptr<segy_file, Closer>;

/// Lines "C 4 TZM NAME VALUE" of the text ahead of the data: what no field holds, or not exactly.
std::map<std::string, std::string> OwnLines(const std::string& text) {
    std::map<std::string, std::string> lines;
    for (std::size_t at = 0; at + kTextLine <= text.size(); at += kTextLine) {
        std::istringstream words(text.substr(at + 3, kTextLine - 3));
        std::string mark, name, value;
        if (words >> mark >> name && mark == "TZM" && std::getline(words >> std::ws, value))
            lines[name] = value.substr(0, value.find_last_not_of(' ') + 1);
    }
    return lines;
}

/// What the headers tell; every number is held against the file.
struct Headers {
    Headers(ByteReader& file, const File& library) {
        file.BigEndian(true);
        bigEndian = file.U16(3224) >= 1 && file.U16(3224) <= 16;
        file.BigEndian(bigEndian);
        format = file.U16(3224).OneOf({1, 2, 3, 5, 8}, "as format of the samples");
        samples = file.U16(3220);
        begin = 3600 + 3200 * std::int64_t{file.I16(3504).Between(0, 1000, "further headers of text")};
        if (samples == 0) samples = file.U16(begin + 114).Between(1, kMostSamples, "samples per A-scan");
        ascanBytes = segy_trsize(format, samples);
        step = 240 + ascanBytes;
        ascans = (file.Size() - begin) / step;
        if (ascans < 1)
            throw FormatError(file.File().string() + " has " + std::to_string(file.Size()) +
                              " bytes, and the first A-scan of " + std::to_string(samples) + " samples ends at byte " +
                              std::to_string(begin + step));
        interval = file.U16(3216) != 0 ? file.U16(3216) : file.U16(begin + 116);
        std::string text(static_cast<std::size_t>(segy_textheader_size()), ' ');
        if (segy_read_textheader(library.get(), text.data()) == SEGY_OK) own = OwnLines(text);
    }

    bool bigEndian;
    int format, samples, ascanBytes;
    std::int64_t begin, step, ascans;
    HeaderField<std::uint16_t> interval{};
    std::map<std::string, std::string> own;
};

class SegySource final : public RecordingSource {
public:
    SegySource(Recording recording, File opened, const Headers& of, std::vector<std::int64_t> beginsOfLines)
        : RecordingSource(Sensible(std::move(recording))), file(std::move(opened)), headers(of),
          begins(std::move(beginsOfLines)) {
        segy_set_format(file.get(), headers.format | (headers.bigEndian ? SEGY_MSB : SEGY_LSB));
    }

    void Read(int firstBscan, int bscans, float* out) override {
        const std::int64_t samples = about.size.samples, bscan = samples * about.size.ascans;
        for (int i = firstBscan; i < firstBscan + bscans; ++i, out += bscan) {
            const auto at = static_cast<std::size_t>(i);
            const std::int64_t count = begins[at + 1] - begins[at];
            std::fill(out + count * samples, out + bscan, 0.f);
            for (std::int64_t a = 0; a < count; ++a) ReadAscan(static_cast<int>(begins[at] + a), out + a * samples);
        }
    }

private:
    void ReadAscan(int ascan, float* out) {
        const int samples = about.size.samples;
        words.resize(static_cast<std::size_t>(samples) * 4);
        if (segy_readtrace(file.get(), ascan, words.data(), static_cast<long>(headers.begin), headers.ascanBytes) !=
                SEGY_OK ||
            segy_to_native(headers.format, samples, words.data()) != SEGY_OK)
            throw FormatError("can't read A-scan " + std::to_string(ascan) + " of " + about.file.string());
        switch (headers.format) {
        case SEGY_SIGNED_INTEGER_4_BYTE: return Widen<std::int32_t>(out);
        case SEGY_SIGNED_SHORT_2_BYTE: return Widen<std::int16_t>(out);
        case SEGY_SIGNED_CHAR_1_BYTE: return Widen<std::int8_t>(out);
        default: return Widen<float>(out);
        }
    }

    template <class T>
    void Widen(float* out) const {
        for (int s = 0; s < about.size.samples; ++s) {
            T word;
            std::memcpy(&word, words.data() + sizeof(T) * static_cast<std::size_t>(s), sizeof(T));
            out[s] = static_cast<float>(word);
        }
    }

    File file;
    Headers headers;
    std::vector<std::int64_t> begins; ///< of the B-scans, as numbers of A-scans, and the end of the last
    std::vector<char> words;
};

/// The header of one A-scan, read at once.
class AscanHeader {
public:
    AscanHeader(const ByteReader& file, const Headers& headers, std::int64_t ascan)
        : begin(headers.begin + ascan * headers.step), bigEndian(headers.bigEndian) {
        file.Read(begin, sizeof bytes, bytes);
    }

    std::int32_t I32(int at) const {
        const std::uint32_t pairs[] = {Pair(at), Pair(at + 2)};
        return static_cast<std::int32_t>(pairs[!bigEndian] << 16 | pairs[bigEndian]);
    }
    std::int16_t I16(int at) const { return static_cast<std::int16_t>(Pair(at)); }
    std::uint16_t U16(int at) const { return static_cast<std::uint16_t>(Pair(at)); }

    const std::int64_t begin;

private:
    std::uint32_t Pair(int at) const { return std::uint32_t{bytes[at + !bigEndian]} << 8 | bytes[at + bigEndian]; }

    const bool bigEndian;
    unsigned char bytes[SEGY_TRACE_HEADER_SIZE];
};

/// Where B-scans begin: where the number of the line changes. A number that changes with every A-scan is no line's.
std::vector<std::int64_t> Lines(const ByteReader& file, const Headers& headers) {
    std::vector<std::int64_t> begins{0};
    std::int32_t line = 0;
    for (std::int64_t a = 0; a < headers.ascans; ++a) {
        const AscanHeader ascan(file, headers, a);
        if (const int told = ascan.U16(114); told != 0 && told != headers.samples)
            throw FormatError(file.File().string() + ", byte " + std::to_string(ascan.begin + 114) + ": A-scan " +
                              std::to_string(a) + " has " + std::to_string(told) + " samples; " +
                              std::to_string(headers.samples) + ", as the others, are expected");
        const std::int32_t number = ascan.I32(188);
        if (a > 0 && number != line) begins.push_back(a);
        line = number;
    }
    if (static_cast<std::int64_t>(begins.size()) == headers.ascans && !headers.own.count("ASCANS")) begins = {0};
    begins.push_back(headers.ascans);
    return begins;
}

/// Middle between source and receiver, else the common depth point; of every A-scan that tells one.
void TakePlaces(const ByteReader& file, const Headers& headers, const std::vector<std::int64_t>& begins,
                Recording& recording) {
    for (std::size_t z = 0; z + 1 < begins.size(); ++z)
        for (std::int64_t a = begins[z]; a < begins[z + 1]; ++a) {
            const AscanHeader ascan(file, headers, a);
            const double told = ascan.I16(70), scale = told < 0 ? -1 / told : told > 0 ? told : 1;
            const auto middle = [&](int offset) {
                const double source = ascan.I32(offset), receiver = ascan.I32(offset + 8);
                return source == 0 ? receiver : receiver == 0 ? source : (source + receiver) / 2;
            };
            double x = middle(72), y = middle(76);
            if (x == 0 && y == 0) x = ascan.I32(180), y = ascan.I32(184);
            if (x == 0 && y == 0) continue;
            const int unit = ascan.I16(88);
            const double degrees = unit == 2 ? scale / kArcSeconds : scale;
            if (unit == 2 || unit == 3) recording.coordinates = "EPSG:4326";
            const double heightScale = ascan.I16(68) < 0 ? -1. / ascan.I16(68) : std::max<double>(1, ascan.I16(68));
            recording.positions.push_back({static_cast<int>(z), static_cast<int>(a - begins[z]), x * degrees,
                                           y * degrees, ascan.I32(40) * heightScale});
        }
    if (const auto own = headers.own.find("COORDINATES"); own != headers.own.end()) recording.coordinates = own->second;
}

/// What A-scans of this program's own files tell: which of them hold data, and the time zero of their line.
void TakeLines(const ByteReader& file, const Headers& headers, const std::vector<std::int64_t>& begins,
               Recording& recording) {
    for (std::size_t z = 0; z + 1 < begins.size(); ++z) {
        BscanInfo valid{0, 0};
        for (std::int64_t a = begins[z]; a < begins[z + 1]; ++a) {
            const AscanHeader ascan(file, headers, a);
            if (a == begins[z])
                if (const auto sample = SampleAt(ascan.I32(232) - 1, headers.samples))
                    recording.timeZeros.push_back(*sample);
            if (ascan.I16(28) == kDead) continue;
            if (valid.validLen == 0) valid.firstValidIdx = static_cast<int>(a - begins[z]);
            valid.validLen = static_cast<int>(a - begins[z]) - valid.firstValidIdx + 1;
        }
        recording.validRanges.push_back(valid);
    }
    if (static_cast<int>(recording.timeZeros.size()) != recording.size.bscans) recording.timeZeros.clear();
    if (std::all_of(recording.validRanges.begin(), recording.validRanges.end(),
                    [&](const BscanInfo& range) { return range.validLen == recording.size.ascans; }))
        recording.validRanges.clear();
}

std::optional<double> OwnNumber(const Headers& headers, const std::string& name) {
    const auto own = headers.own.find(name);
    if (own == headers.own.end()) return std::nullopt;
    const double value = std::strtod(own->second.c_str(), nullptr);
    return std::isfinite(value) && value > 0 ? std::optional(value) : std::nullopt;
}

std::unique_ptr<RecordingSource> Open(const fs::path& input, const ReadOptions& options) {
    ByteReader bytes(input);
    File file(segy_open(input.c_str(), "rb"));
    if (!file) throw FormatError("can't read " + input.string());
    const Headers headers(bytes, file);
    CheckedCount(input, headers.ascans, "A-scans");
    const std::vector<std::int64_t> begins = Lines(bytes, headers);
    Recording recording;
    recording.format = "segy";
    recording.file = input;
    const int bscans = static_cast<int>(begins.size()) - 1;
    std::int64_t longest = 0;
    for (std::size_t z = 0; z + 1 < begins.size(); ++z) longest = std::max(longest, begins[z + 1] - begins[z]);
    recording.size = {headers.samples, static_cast<int>(longest), bscans};
    if (longest * bscans >
        4 * headers.ascans) // some A-scans of few lines and many of one line would need memory for all
        throw FormatError(input.string() + " has " + std::to_string(bscans) + " lines of up to " +
                          std::to_string(longest) + " A-scans, and only " + std::to_string(headers.ascans) +
                          " A-scans: the numbers of lines at byte " + "188 of the A-scans can't be meant");
    if (headers.own.count("ASCANS"))
        TakeLines(bytes, headers, begins, recording);
    else if (longest * bscans != headers.ascans)
        for (std::size_t z = 0; z + 1 < begins.size(); ++z)
            recording.validRanges.push_back({0, static_cast<int>(begins[z + 1] - begins[z])});
    if ((bytes.Size() - headers.begin) % headers.step != 0)
        recording.notes.push_back(input.string() + " ends within an A-scan, which is left out");
    if (headers.format == 3) recording.bits = 16;
    if (headers.format == 8) recording.bits = 8;
    if (const auto bits = OwnNumber(headers, "BITS"); bits && *bits <= 64) recording.bits = static_cast<int>(*bits);
    recording.oneAntennaPair = headers.own.count("ONE_ANTENNA_PAIR") > 0;

    if (const auto exact = OwnNumber(headers, "DELTA_T")) {
        recording.deltaT = *exact;
    } else {
        const int interval = headers.interval.Between(1, 65535, "as interval of the samples");
        recording.deltaT = interval * options.intervalUnit.value_or(kPicosecond);
        if (!options.intervalUnit)
            recording.notes.push_back("the interval of the samples, " + std::to_string(interval) +
                                      ", is taken as picoseconds; --interval-unit tells another unit");
    }
    if (const auto own = headers.own.find("COORDINATES"); own == headers.own.end() || own->second != kGrid)
        TakePlaces(bytes, headers, begins, recording);
    if (const auto exact = OwnNumber(headers, "DELTA_X")) {
        recording.deltaX = *exact, recording.knowsDeltaX = true;
    } else if (const auto track = TrackOf(recording, 0); !track.empty()) {
        const double length = DistancesAlong(track, InDegrees(recording)).back();
        if (length > 0) recording.deltaX = length / static_cast<double>(track.size() - 1), recording.knowsDeltaX = true;
    }
    recording.lineSpacing = OwnNumber(headers, "LINE_SPACING");
    recording.permittivity = OwnNumber(headers, "PERMITTIVITY");
    recording.antennaOffset = OwnNumber(headers, "ANTENNA_OFFSET");
    if (const auto sample = headers.own.find("TIME_ZERO"); sample != headers.own.end())
        if (const int s = std::atoi(sample->second.c_str()); s >= 0 && s < headers.samples) recording.timeZero = s;
    if (const auto names = headers.own.find("CHANNELS"); names != headers.own.end()) {
        std::istringstream list(names->second);
        for (std::string name; std::getline(list >> std::ws, name, ',');) recording.channels.push_back(name);
        if (recording.channels.empty() || bscans % static_cast<int>(recording.channels.size()) != 0)
            recording.channels.clear();
    } else if (!headers.own.count("ASCANS")) {
        recording.channels = {"channel 1"}; // lines, however many, are none of an array
    }
    return std::make_unique<SegySource>(std::move(recording), std::move(file), headers, begins);
}

/// The 40 lines of text, with what no field holds.
std::string TextOf(const Recording& recording) {
    std::vector<std::string> lines{"GROUND-PENETRATING RADAR, INTERVALS IN PICOSECONDS",
                                   "LINES: B-SCANS (INLINE), A-SCANS (CROSSLINE); SAMPLES: IEEE FLOATS"};
    const auto add = [&](const std::string& name, const std::string& value) {
        if (value.size() + name.size() < 70) lines.push_back("TZM " + name + " " + value);
    };
    add("ASCANS", std::to_string(recording.size.ascans));
    add("DELTA_T", Number(recording.deltaT, 17));
    if (recording.knowsDeltaX) add("DELTA_X", Number(recording.deltaX, 17));
    if (recording.lineSpacing) add("LINE_SPACING", Number(*recording.lineSpacing, 17));
    if (recording.timeZero) add("TIME_ZERO", std::to_string(*recording.timeZero));
    if (recording.permittivity) add("PERMITTIVITY", Number(*recording.permittivity, 17));
    if (recording.antennaOffset) add("ANTENNA_OFFSET", Number(*recording.antennaOffset, 17));
    if (!recording.channels.empty()) add("CHANNELS", Joined(recording.channels));
    if (recording.bits) add("BITS", std::to_string(*recording.bits));
    if (recording.oneAntennaPair) add("ONE_ANTENNA_PAIR", "yes");
    add("COORDINATES", recording.positions.empty() ? kGrid : recording.coordinates);
    std::string text;
    for (int i = 0; i < 40; ++i) {
        std::string line = (i < 9 ? "C " : "C") + std::to_string(i + 1) + ' ';
        if (i < static_cast<int>(lines.size())) line += lines[static_cast<std::size_t>(i)];
        line.resize(kTextLine, ' ');
        text += line;
    }
    return text;
}

/// Of every A-scan whose place is known.
void PutPlace(char* header, const Position& place, bool inDegrees) {
    const double scale = inDegrees ? kArcSeconds * kDegreeScale : kMetreScale;
    const auto put = [&](int field, double value) {
        segy_set_field(header, field,
                       static_cast<std::int32_t>(std::clamp(std::round(value), -2147483647., 2147483647.)));
    };
    put(SEGY_TR_SOURCE_GROUP_SCALAR, inDegrees ? -kDegreeScale : -kMetreScale);
    put(SEGY_TR_COORD_UNITS, inDegrees ? 2 : 1);
    for (const int field : {SEGY_TR_SOURCE_X, SEGY_TR_GROUP_X, SEGY_TR_CDP_X}) put(field, place.east * scale);
    for (const int field : {SEGY_TR_SOURCE_Y, SEGY_TR_GROUP_Y, SEGY_TR_CDP_Y}) put(field, place.north * scale);
    put(SEGY_TR_ELEV_SCALAR, -kMetreScale);
    put(SEGY_TR_RECV_GROUP_ELEV, place.height * kMetreScale);
}

/// Places of the A-scans of a B-scan; along and across the lines if there are no positions.
std::vector<Position> Places(const Recording& recording, int bscan) {
    if (!recording.positions.empty()) return TrackOf(recording, bscan);
    std::vector<Position> places;
    for (int a = 0; a < recording.size.ascans; ++a)
        places.push_back(
            {bscan, a, recording.startX + a * recording.deltaX, bscan * recording.lineSpacing.value_or(1), 0});
    return places;
}

void Write(Recording& recording, const fs::path& to) {
    const Dimensions& size = recording.size;
    const double interval = std::max(1., std::round(recording.deltaT / kPicosecond));
    if (size.samples > kMostSamples || interval > kMostSamples)
        throw Refusal("can't write " + to.string() +
                      ": the form holds up to 65535 samples per A-scan, 65535 ps apart, "
                      "and these are " +
                      std::to_string(size.samples) + ", " + Number(interval) + " ps apart");
    if (size.Count() / size.samples > std::numeric_limits<int>::max())
        throw Refusal("can't write " + to.string() + ": the form holds up to 2147483647 A-scans");
    File file(segy_open(to.c_str(), "w+b"));
    if (!file) throw CantWrite(to);
    const auto require = [&](int code) {
        if (code != SEGY_OK) throw CantWrite(to);
    };
    std::vector<char> head(static_cast<std::size_t>(segy_binheader_size()));
    for (const auto& [field, value] : {std::pair<int, int>{SEGY_BIN_INTERVAL, interval},
                                       {SEGY_BIN_SAMPLES, size.samples},
                                       {SEGY_BIN_FORMAT, SEGY_IEEE_FLOAT_4_BYTE},
                                       {SEGY_BIN_SEGY_REVISION, 0x100},
                                       {SEGY_BIN_TRACE_FLAG, 1},
                                       {SEGY_BIN_MEASUREMENT_SYSTEM, 1}})
        require(segy_set_bfield(head.data(), field, value));
    require(segy_write_textheader(file.get(), 0, TextOf(recording).c_str()));
    require(segy_write_binheader(file.get(), head.data()));
    const int bytes = segy_trsize(SEGY_IEEE_FLOAT_4_BYTE, size.samples);
    std::vector<float> words(static_cast<std::size_t>(size.samples));
    int ascan = 0;
    for (int z = 0; z < size.bscans; ++z) {
        const std::vector<Position> track = Places(recording, z);
        const BscanInfo valid = recording.validRanges.empty() ? BscanInfo{0, size.ascans}
                                                              : recording.validRanges[static_cast<std::size_t>(z)];
        const int timeZero = recording.timeZeros.empty() ? -1 : recording.timeZeros[static_cast<std::size_t>(z)];
        for (int a = 0; a < size.ascans; ++a, ++ascan) {
            const bool live = a >= valid.firstValidIdx && a - valid.firstValidIdx < valid.validLen;
            char header[SEGY_TRACE_HEADER_SIZE] = {};
            for (const auto& [field, value] : {std::pair<int, int>{SEGY_TR_SEQ_LINE, a + 1},
                                               {SEGY_TR_SEQ_FILE, ascan + 1},
                                               {SEGY_TR_TRACE_ID, live ? 1 : kDead},
                                               {SEGY_TR_UNASSIGNED1, timeZero + 1},
                                               {SEGY_TR_SAMPLE_COUNT, size.samples},
                                               {SEGY_TR_SAMPLE_INTER, interval},
                                               {SEGY_TR_INLINE, z + 1},
                                               {SEGY_TR_CROSSLINE, a + 1}})
                require(segy_set_field(header, field, value));
            if (!track.empty()) PutPlace(header, track[static_cast<std::size_t>(a)], InDegrees(recording));
            const float* from = recording.Bscan(z) + std::int64_t{a} * size.samples;
            std::copy_n(from, size.samples, words.begin());
            require(segy_from_native(SEGY_IEEE_FLOAT_4_BYTE, size.samples, words.data()));
            require(segy_write_traceheader(file.get(), ascan, header, 3600, bytes));
            require(segy_writetrace(file.get(), ascan, words.data(), 3600, bytes));
        }
    }
    require(segy_close(file.release()));
    std::error_code error;
    if (fs::file_size(to, error) != 3600u + static_cast<std::uintmax_t>(ascan) * static_cast<unsigned>(240 + bytes))
        throw CantWrite(to);
    recording.file = to;
    recording.checksum = ChecksumOf(to);
}

/// Text begins with C in one of two alphabets, and the format of the samples is a known one.
bool Recognises(const std::string& head) {
    if (head.size() < 3600) return false;
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(head[at]); };
    const auto known = [](int format) {
        return format == 1 || format == 2 || format == 3 || format == 5 || format == 8;
    };
    const int big = byte(3224) * 256 + byte(3225), little = byte(3225) * 256 + byte(3224);
    return (byte(0) == 'C' || byte(0) == 0xC3) && (known(big) || known(little));
}

} // namespace

Format SegyFormat() { return {"segy", "NAME.sgy", {".sgy", ".segy"}, Recognises, Open, Write}; }

} // namespace TZM

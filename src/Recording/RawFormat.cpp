#include "Recording/private/RawFormat.h"

#include <cmath>
#include <fstream>
#include <map>

#include "Recording/Refusal.h"
#include "Recording/private/BscanFile.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace fs = std::filesystem;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "raw blocks are little-endian and are read as they are");

namespace {

/// The members of a sidecar, read by name; a flaw is a Refusal that tells file and member.
class Sidecar {
public:
    explicit Sidecar(const fs::path& name) : file(name), root(ParseJson(ReadText(name), name.string())) {
        if (!root.isObject()) throw FormatError(name.string() + " isn't a JSON object");
    }

    int Size(const char* key) const {
        const Json::Value& value = root[key];
        if (value.isInt() && value.type() != Json::realValue && value.asInt() > 0) return value.asInt();
        throw Wrong(key, "a whole number from 1 to 2147483647");
    }

    /// A number above 0 that stays so as a 32-bit float, which is what the algorithms take.
    double Positive(const char* key) const {
        const double value = root[key].isNumeric() ? root[key].asDouble() : 0;
        if (const float narrow = static_cast<float>(value); narrow > 0 && std::isfinite(narrow)) return value;
        throw Wrong(key, "a number above 0");
    }

    std::optional<double> OptionalPositive(const char* key) const {
        return root.isMember(key) ? std::optional(Positive(key)) : std::nullopt;
    }

    /// The sample of time zero: one number, or one for each B-scan, of which the mean is taken.
    void ReadTimeZero(Recording& recording) const {
        const char *one = "time_zero_sample", *each = "time_zero_sample_per_bscan";
        if (root.isMember(each)) {
            if (!root[each].isArray() || static_cast<int>(root[each].size()) != recording.size.bscans)
                throw Wrong(each, "one number per B-scan");
            double sum = 0;
            for (const Json::Value& value : root[each]) {
                recording.timeZeros.push_back(SampleOf(value, each, recording.size));
                sum += value.asDouble();
            }
            recording.timeZero = static_cast<int>(std::lround(sum / recording.size.bscans));
        }
        if (root.isMember(one)) {
            recording.timeZero = SampleOf(root[one], one, recording.size);
            recording.timeZeros.clear();
        }
    }

    /// A list of [first valid A-scan, number of valid A-scans], one per B-scan.
    std::vector<BscanInfo> ValidRanges(const Dimensions& size) const {
        const char *key = "valid_ascans", *wanted = "a list of [first, count] within the A-scans, one per B-scan";
        std::vector<BscanInfo> ranges;
        if (!root.isMember(key)) return ranges;
        if (!root[key].isArray() || static_cast<int>(root[key].size()) != size.bscans) throw Wrong(key, wanted);
        for (const Json::Value& range : root[key]) {
            if (!range.isArray() || range.size() != 2 || !range[0].isInt() || !range[1].isInt())
                throw Wrong(key, wanted);
            const int first = range[0].asInt(), count = range[1].asInt();
            if (first < 0 || count < 0 || first > size.ascans - count) throw Wrong(key, wanted);
            ranges.push_back({first, count});
        }
        return ranges;
    }

    /// Elevation of time zero.
    std::optional<double> Datum() const {
        if (!root.isMember("datum")) return std::nullopt;
        if (!root["datum"].isNumeric() || !std::isfinite(root["datum"].asDouble())) throw Wrong("datum", "a number");
        return root["datum"].asDouble();
    }

    /// Width of a sample of the digitiser.
    std::optional<int> Bits() const {
        if (!root.isMember("bits")) return std::nullopt;
        const int bits = Size("bits");
        if (bits > 64) throw Wrong("bits", "a whole number from 1 to 64");
        return bits;
    }

    /// A line for every member that is passed over but looks like a known one and holds a value of its kind.
    std::vector<std::string> Suspicions() const {
        static const std::map<std::string, Json::Value> known = {{"samples", 1},
                                                                 {"ascans", 1},
                                                                 {"bscans", 1},
                                                                 {"delta_t", 1.5},
                                                                 {"delta_x", 1.5},
                                                                 {"line_spacing", 1.5},
                                                                 {"time_zero_sample", 1.5},
                                                                 {"time_zero_sample_per_bscan", Json::arrayValue},
                                                                 {"datum", 1.5},
                                                                 {"permittivity", 1.5},
                                                                 {"antenna_offset", 1.5},
                                                                 {"pseudo_channels", true},
                                                                 {"channel_names", Json::arrayValue},
                                                                 {"valid_ascans", Json::arrayValue},
                                                                 {"bits", 1},
                                                                 {"sha256", ""},
                                                                 {"dtype", ""},
                                                                 {"layout", ""}};
        std::vector<std::string> lines;
        for (const std::string& member : root.getMemberNames()) {
            if (known.count(member)) continue;
            const Json::Value& value = root[member];
            for (const auto& [name, example] : known) {
                const bool sameKind = example.isNumeric() ? value.isNumeric() : example.type() == value.type();
                if (!sameKind || root.isMember(name) || !LooksLike(member, name)) continue;
                lines.push_back(file.string() + ": \"" + OneLine(member) + "\" is passed over; is \"" + name +
                                "\" meant?");
                break;
            }
        }
        return lines;
    }

    bool Flag(const char* key) const {
        if (!root.isMember(key)) return false;
        if (!root[key].isBool()) throw Wrong(key, "true or false");
        return root[key].asBool();
    }

    std::vector<std::string> Names(const char* key, int bscans) const {
        std::vector<std::string> names;
        if (!root.isMember(key)) return names;
        const std::string wanted = "a list of names whose number divides that of the B-scans";
        if (!root[key].isArray() || root[key].empty() || static_cast<unsigned>(bscans) % root[key].size() != 0)
            throw Wrong(key, wanted);
        for (const Json::Value& name : root[key]) {
            if (!name.isString() || OneLine(name.asString()).empty()) throw Wrong(key, wanted);
            names.push_back(OneLine(name.asString()));
        }
        return names;
    }

    /// Members that a file may leave out, but that must say this if they are there.
    void RequireText(const char* key, const char* text) const {
        if (root.isMember(key) && root[key] != text) throw Wrong(key, '"' + std::string(text) + '"');
    }

    std::string Checksum() const {
        if (!root.isMember("sha256")) return {};
        if (!root["sha256"].isString()) throw Wrong("sha256", "a string");
        return root["sha256"].asString();
    }

private:
    int SampleOf(const Json::Value& value, const char* key, const Dimensions& size) const {
        if (!value.isNumeric()) throw Wrong(key, "made of numbers");
        const double sample = std::round(value.asDouble());
        if (!(sample >= 0 && sample < size.samples)) throw Wrong(key, "a sample of the A-scan");
        return static_cast<int>(sample);
    }

    FormatError Wrong(const std::string& key, const std::string& wanted) const {
        return FormatError(file.string() + ": \"" + key + "\" must be " + wanted);
    }

    fs::path file;
    Json::Value root;
};

class RawSource final : public RecordingSource {
public:
    RawSource(Recording recording, std::string checksum, fs::path sidecar)
        : RecordingSource(std::move(recording)), wanted(std::move(checksum)), sidecarFile(std::move(sidecar)),
          in(about.file, std::ios::binary) {}

    void Read(int firstBscan, int bscans, float* out) override {
        const std::int64_t bscan = std::int64_t{about.size.samples} * about.size.ascans * sizeof(float);
        in.clear();
        if (!in.seekg(firstBscan * bscan) || !in.read(reinterpret_cast<char*>(out), bscans * bscan))
            throw FormatError("can't read " + about.file.string());
    }

    void RequireChecksum(const std::string& checksum) const override {
        if (!wanted.empty() && wanted != checksum)
            throw FormatError(about.file.string() + " has another sha256 than " + sidecarFile.string() + " tells");
    }

private:
    const std::string wanted;
    const fs::path sidecarFile;
    std::ifstream in;
};

std::unique_ptr<RecordingSource> Open(const fs::path& input, const ReadOptions&) {
    Recording recording;
    recording.format = "raw";
    recording.file = fs::path(input).replace_extension(".f32");
    const fs::path sidecarFile = fs::path(input).replace_extension(".json");
    std::error_code error;
    for (const fs::path& file : {recording.file, sidecarFile})
        if (!fs::is_regular_file(file, error))
            throw FormatError("can't read " + file.string() + ": a raw block is NAME.f32 with NAME.json beside it");
    const Sidecar sidecar(sidecarFile);
    recording.size = {sidecar.Size("samples"), sidecar.Size("ascans"), sidecar.Size("bscans")};
    recording.deltaT = sidecar.Positive("delta_t");
    recording.deltaX = sidecar.Positive("delta_x");
    recording.knowsDeltaX = true;
    recording.lineSpacing = sidecar.OptionalPositive("line_spacing");
    recording.permittivity = sidecar.OptionalPositive("permittivity");
    sidecar.ReadTimeZero(recording);
    recording.datum = sidecar.Datum();
    recording.antennaOffset = sidecar.OptionalPositive("antenna_offset");
    recording.oneAntennaPair = sidecar.Flag("pseudo_channels");
    recording.channels = sidecar.Names("channel_names", recording.size.bscans);
    recording.validRanges = sidecar.ValidRanges(recording.size);
    recording.bits = sidecar.Bits();
    recording.notes = sidecar.Suspicions();
    sidecar.RequireText("dtype", "float32 little-endian");
    sidecar.RequireText("layout", "sample fastest");

    const Dimensions& size = recording.size;
    std::int64_t bytes = std::int64_t{size.samples} * size.ascans; // two 31-bit numbers
    if (__builtin_mul_overflow(bytes, std::int64_t{size.bscans} * 4, &bytes))
        throw FormatError(sidecarFile.string() + ": a block of " + size.Text() + " is beyond any file");
    const auto found = fs::file_size(recording.file, error);
    if (error) throw FormatError("can't read " + recording.file.string() + ": " + error.message());
    if (found != static_cast<std::uintmax_t>(bytes))
        throw FormatError(recording.file.string() + " has " + std::to_string(found) + " bytes, but " + size.Text() +
                          " samples are " + std::to_string(bytes));
    return std::make_unique<RawSource>(std::move(recording), sidecar.Checksum(), sidecarFile);
}

/// The sidecar of a recording whose samples stand in `file`.
std::string SidecarOf(const Recording& recording, const fs::path& file, const std::string& checksum) {
    Json::Value root;
    root["file"] = file.filename().string();
    root["dtype"] = "float32 little-endian";
    root["layout"] = "sample fastest";
    root["element"] = "(z*ascans+y)*samples+s";
    root["sha256"] = checksum;
    root["samples"] = recording.size.samples;
    root["ascans"] = recording.size.ascans;
    root["bscans"] = recording.size.bscans;
    root["delta_t"] = recording.deltaT;
    root["delta_x"] = recording.deltaX;
    if (recording.lineSpacing) root["line_spacing"] = *recording.lineSpacing;
    if (recording.timeZero && recording.timeZeros.empty()) root["time_zero_sample"] = *recording.timeZero;
    for (const int sample : recording.timeZeros) root["time_zero_sample_per_bscan"].append(sample);
    if (recording.datum) root["datum"] = *recording.datum;
    if (recording.permittivity) root["permittivity"] = *recording.permittivity;
    if (recording.antennaOffset) root["antenna_offset"] = *recording.antennaOffset;
    if (recording.oneAntennaPair) root["pseudo_channels"] = true;
    if (recording.bits) root["bits"] = *recording.bits;
    for (const std::string& name : recording.channels) root["channel_names"].append(name);
    for (const BscanInfo& range : recording.validRanges) {
        Json::Value pair(Json::arrayValue);
        pair.append(range.firstValidIdx);
        pair.append(range.validLen);
        root["valid_ascans"].append(pair);
    }
    return JsonText(root);
}

class RawSink final : public RecordingSink {
public:
    explicit RawSink(const fs::path& to)
        : file(fs::path(to).replace_extension(".f32")), sidecarFile(fs::path(to).replace_extension(".json")) {}

    void Begin(const Recording& recording) override {
        about = recording.About();
        out.emplace(file);
        out->Begin(nullptr, 0, about.size);
    }
    void Write(int firstBscan, int bscans, const float* samples) override { out->Write(firstBscan, bscans, samples); }
    void Read(int firstBscan, int bscans, float* samples) override { out->Read(firstBscan, bscans, samples); }
    void End() override {
        out->End(nullptr, 0);
        const std::string text = SidecarOf(about, file, ChecksumOf(file));
        WriteBytes(sidecarFile, text.data(), text.size());
    }

    const fs::path file, sidecarFile;

private:
    Recording about;
    std::optional<BscanFile> out;
};

void Write(Recording& recording, const fs::path& to) {
    const auto bytes = static_cast<std::size_t>(recording.size.Count()) * sizeof(float);
    const fs::path file = fs::path(to).replace_extension(".f32");
    const std::string checksum = ChecksumOf(recording.data.get(), bytes);
    WriteBytes(file, recording.data.get(), bytes);
    const std::string text = SidecarOf(recording, file, checksum);
    WriteBytes(fs::path(to).replace_extension(".json"), text.data(), text.size());
    recording.file = file;
    recording.checksum = checksum;
}

} // namespace

Format RawFormat() {
    return {"raw",
            "NAME.f32 or NAME.json (a raw block and its sidecar)",
            {".f32", ".json"},
            {},
            Open,
            Write,
            [](const fs::path& file) { return std::make_unique<RawSink>(file); }};
}

} // namespace TZM

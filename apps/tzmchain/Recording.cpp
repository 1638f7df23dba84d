#include "Recording.h"

#include "Checksum.h"
#include "Refusal.h"
#include "Text.h"
#include "VtkFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <new>
#include <numeric>

namespace tzmchain {

namespace fs = std::filesystem;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "raw blocks are little-endian and are read as they are");

namespace {

/// The members of a sidecar, read by name; a flaw is a Refusal that tells file and member.
class Sidecar {
public:
    explicit Sidecar(const fs::path& name) : file(name), root(ParseJson(ReadText(name), name.string())) {
        if (!root.isObject()) throw Refusal(name.string() + " isn't a JSON object");
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
    std::optional<int> TimeZero(const Dimensions& size) const {
        const char* key = root.isMember("time_zero_sample") ? "time_zero_sample" : "time_zero_sample_per_bscan";
        if (!root.isMember(key)) return std::nullopt;
        const bool perBscan = root[key].isArray();
        double sum = 0;
        for (const Json::Value& value : perBscan ? root[key] : Json::Value(Json::arrayValue)) {
            if (!value.isNumeric()) throw Wrong(key, "made of numbers");
            sum += value.asDouble();
        }
        if (perBscan && static_cast<int>(root[key].size()) != size.bscans) throw Wrong(key, "one number per B-scan");
        if (!perBscan && !root[key].isNumeric()) throw Wrong(key, "a number");
        const double sample = std::round(perBscan ? sum / size.bscans : root[key].asDouble());
        if (!(sample >= 0 && sample < size.samples)) throw Wrong(key, "a sample of the A-scan");
        return static_cast<int>(sample);
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
    Refusal Wrong(const std::string& key, const std::string& wanted) const {
        return Refusal(file.string() + ": \"" + key + "\" must be " + wanted);
    }

    fs::path file;
    Json::Value root;
};

Recording ReadRaw(const fs::path& input) {
    const fs::path sidecarFile = fs::path(input).replace_extension(".json");
    const Sidecar sidecar(sidecarFile);
    Recording recording;
    recording.file = fs::path(input).replace_extension(".f32");
    recording.size = {sidecar.Size("samples"), sidecar.Size("ascans"), sidecar.Size("bscans")};
    recording.deltaT = sidecar.Positive("delta_t");
    recording.deltaX = sidecar.Positive("delta_x");
    recording.lineSpacing = sidecar.OptionalPositive("line_spacing");
    recording.permittivity = sidecar.OptionalPositive("permittivity");
    recording.timeZero = sidecar.TimeZero(recording.size);
    recording.antennaOffset = sidecar.OptionalPositive("antenna_offset");
    recording.oneAntennaPair = sidecar.Flag("pseudo_channels");
    recording.channels = sidecar.Names("channel_names", recording.size.bscans);
    sidecar.RequireText("dtype", "float32 little-endian");
    sidecar.RequireText("layout", "sample fastest");

    const Dimensions& size = recording.size;
    std::int64_t bytes = std::int64_t{size.samples} * size.ascans; // two 31-bit numbers
    if (__builtin_mul_overflow(bytes, std::int64_t{size.bscans} * 4, &bytes))
        throw Refusal(sidecarFile.string() + ": a block of " + size.Text() + " is beyond any file");
    std::error_code error;
    const bool regular = fs::is_regular_file(recording.file, error);
    const auto found = regular ? fs::file_size(recording.file, error) : 0;
    if (!regular || error) throw Refusal("can't read " + recording.file.string());
    if (found != static_cast<std::uintmax_t>(bytes))
        throw Refusal(recording.file.string() + " has " + std::to_string(found) + " bytes, but " + size.Text() +
                      " samples are " + std::to_string(bytes));

    recording.data = AllocateSamples(size.Count());
    std::ifstream in(recording.file, std::ios::binary);
    if (!in.read(reinterpret_cast<char*>(recording.data.get()), bytes))
        throw Refusal("can't read " + recording.file.string());
    recording.checksum = ChecksumOf(recording.data.get(), static_cast<std::size_t>(bytes));
    const std::string wanted = sidecar.Checksum();
    if (!wanted.empty() && wanted != recording.checksum)
        throw Refusal(recording.file.string() + " has another sha256 than " + sidecarFile.string() + " tells");
    return recording;
}

} // namespace

std::string Dimensions::Text() const { return Sizes(samples, ascans, bscans); }

Samples AllocateSamples(std::int64_t count) {
    constexpr std::size_t kHugePage = std::size_t{1} << 21;
    const auto bytes = (static_cast<std::size_t>(count) * sizeof(float) + kHugePage - 1) / kHugePage * kHugePage;
    // A system that promises more than it has would end the program when the memory is touched.
    const double physical = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    if (count < 1 || static_cast<double>(count) * sizeof(float) > physical) throw std::bad_alloc();
    const auto memory = static_cast<float*>(std::aligned_alloc(kHugePage, bytes));
    if (!memory) throw std::bad_alloc();
    madvise(memory, bytes, MADV_HUGEPAGE); // only a hint: a system without huge pages gives small ones
    return Samples(memory, [](float* p) { std::free(p); });
}

Recording ReadRecording(const fs::path& input) {
    const std::string extension = input.extension().string();
    if (extension == ".vti") return ReadVti(input);
    if (extension == ".f32" || extension == ".json") return ReadRaw(input);
    throw Refusal(input.string() + " is neither NAME.f32 nor NAME.json nor NAME.vti");
}

void WriteRecording(Recording& recording, const fs::path& stem) {
    const auto bytes = static_cast<std::size_t>(recording.size.Count()) * sizeof(float);
    recording.file = fs::path(stem).concat(".f32");
    recording.checksum = ChecksumOf(recording.data.get(), bytes);
    Json::Value root;
    root["file"] = recording.file.filename().string();
    root["dtype"] = "float32 little-endian";
    root["layout"] = "sample fastest";
    root["element"] = "(z*ascans+y)*samples+s";
    root["sha256"] = recording.checksum;
    root["samples"] = recording.size.samples;
    root["ascans"] = recording.size.ascans;
    root["bscans"] = recording.size.bscans;
    root["delta_t"] = recording.deltaT;
    root["delta_x"] = recording.deltaX;
    if (recording.lineSpacing) root["line_spacing"] = *recording.lineSpacing;
    if (recording.timeZero) root["time_zero_sample"] = *recording.timeZero;
    if (recording.permittivity) root["permittivity"] = *recording.permittivity;
    if (recording.antennaOffset) root["antenna_offset"] = *recording.antennaOffset;
    if (recording.oneAntennaPair) root["pseudo_channels"] = true;
    for (const std::string& name : recording.channels) root["channel_names"].append(name);
    WriteBytes(recording.file, recording.data.get(), bytes);
    const std::string text = JsonText(root);
    WriteBytes(fs::path(stem).concat(".json"), text.data(), text.size());
}

std::int64_t FirstNotFinite(const Recording& recording) {
    const std::int64_t count = recording.size.Count();
    const float* x = recording.data.get();
    constexpr std::int64_t kPiece = 4096; // a piece's sum of x * 0 is NaN if one of its elements isn't finite
    for (std::int64_t begin = 0; begin < count; begin += kPiece) {
        const std::int64_t end = std::min(count, begin + kPiece);
        float sum = 0;
        for (std::int64_t i = begin; i < end; ++i) sum += x[i] * 0.0f;
        for (std::int64_t i = begin; sum != 0 && i < end; ++i)
            if (!std::isfinite(x[i])) return i;
    }
    return -1;
}

void RequireFinite(const Recording& recording, const std::string& name) {
    const std::int64_t i = FirstNotFinite(recording);
    if (i < 0) return;
    const std::int64_t ascan = i / recording.size.samples;
    throw Refusal(name + " holds " + (std::isnan(recording.data[i]) ? "NaN" : "infinity") + " at sample " +
                  std::to_string(i % recording.size.samples) + " of A-scan " +
                  std::to_string(ascan % recording.size.ascans) + " of B-scan " +
                  std::to_string(ascan / recording.size.ascans));
}

} // namespace tzmchain

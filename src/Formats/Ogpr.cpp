// NAME.ogpr: a line "ogpr", a checksum, a size, a JSON object that describes the blocks of the file, and the blocks:
// for each slice the A-scans of all channels, and where they were recorded.
#include <cmath>
#include <sstream>
#include <vector>

#include "Formats/Formats.h"
#include "Formats/WordSource.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

namespace fs = std::filesystem;

/// Notes the size that the line ahead of a JSON object tells, if neither as a hexadecimal nor as a decimal number the
/// object has room in it.
void CheckSize(const std::string& ahead, std::size_t bytes, std::vector<std::string>& notes) {
    std::istringstream lines(ahead);
    std::string word;
    for (int i = 0; i < 3; ++i) word.clear(), lines >> word;
    for (const int base : {16, 10})
        if (std::strtoull(word.c_str(), nullptr, base) >= bytes) return;
    notes.push_back("\"" + OneLine(word.substr(0, 32)) + "\" is told as the size of the JSON object, which has " +
                    std::to_string(bytes) + " bytes; the object is taken");
}

/// The JSON object of the file's head, brace by brace.
Json::Value Description(const ByteReader& file, std::vector<std::string>& notes) {
    constexpr std::int64_t kMost = 1 << 24;
    std::string text(static_cast<std::size_t>(std::min(file.Size(), kMost)), '\0');
    file.Read(0, static_cast<std::int64_t>(text.size()), text.data());
    const auto begin = text.find('{');
    int depth = 0;
    bool quoted = false;
    for (std::size_t i = begin; i < text.size(); ++i) {
        if (quoted) {
            if (text[i] == '\\')
                ++i;
            else if (text[i] == '"')
                quoted = false;
        } else if (text[i] == '"') {
            quoted = true;
        } else if (text[i] == '{') {
            ++depth;
        } else if (text[i] == '}' && --depth == 0) {
            CheckSize(text.substr(0, begin), i + 1 - begin, notes);
            return ParseJson(text.substr(begin, i + 1 - begin), file.File().string());
        }
    }
    throw FormatError(file.File().string() + " holds no whole JSON object at its head");
}

/// Members of the description, by name; a flaw is a FormatError that tells file and member.
class Members {
public:
    Members(const fs::path& of, const Json::Value& value, std::string where)
        : file(of), object(value), path(std::move(where)) {
        if (!object.isObject()) throw Wrong("", "an object");
    }
    int Count(const char* key) const {
        if (object[key].isInt() && object[key].type() != Json::realValue && object[key].asInt() > 0)
            return object[key].asInt();
        throw Wrong(key, "a whole number from 1 on");
    }
    double Positive(const char* key) const {
        if (object[key].isNumeric() && object[key].asDouble() > 0 && std::isfinite(object[key].asDouble()))
            return object[key].asDouble();
        throw Wrong(key, "a number above 0");
    }
    std::int64_t Place(const char* key) const {
        if (object[key].isInt64() && object[key].type() != Json::realValue && object[key].asInt64() >= 0)
            return object[key].asInt64();
        throw Wrong(key, "a whole number from 0 on");
    }
    std::string Text(const char* key) const { return object[key].isString() ? object[key].asString() : ""; }
    const Json::Value& operator[](const char* key) const { return object[key]; }
    FormatError Wrong(const std::string& key, const std::string& wanted) const {
        return FormatError(file.string() + ": \"" + path + (key.empty() || path.empty() ? "" : ".") + key +
                           "\" must be " + wanted);
    }

private:
    fs::path file;
    Json::Value object;
    std::string path;
};

/// Where a block stands. FormatError unless it lies within the file and has the bytes that it needs.
std::int64_t BlockBegin(const ByteReader& file, const Members& block, std::int64_t needed) {
    const std::int64_t begin = block.Place("byteOffset"), bytes = block.Place("byteSize");
    if (bytes < needed)
        throw block.Wrong("byteSize", std::to_string(needed) + " or more, as the sizes of the volume tell");
    if (begin > file.Size() || bytes > file.Size() - begin)
        throw FormatError(file.File().string() + " ends at byte " + std::to_string(file.Size()) + ", and its block \"" +
                          OneLine(block.Text("type")) + "\" at byte " + std::to_string(begin) + " has " +
                          std::to_string(bytes));
    return begin;
}

/// Easting, northing and height of every slice and channel, at least three numbers each.
void TakeLocations(const ByteReader& file, const Members& block, Recording& recording) {
    const std::int64_t count = std::int64_t{recording.size.ascans} * recording.size.bscans;
    const std::int64_t begin = BlockBegin(file, block, 24 * count), step = block.Place("byteSize") / 8 / count;
    std::vector<double> slice(static_cast<std::size_t>(step * recording.size.bscans));
    for (int a = 0; a < recording.size.ascans; ++a) {
        file.Read(begin + std::int64_t{a} * static_cast<std::int64_t>(slice.size()) * 8,
                  static_cast<std::int64_t>(slice.size()) * 8, slice.data());
        for (int c = 0; c < recording.size.bscans; ++c) {
            const double* place = slice.data() + step * c;
            if (std::isfinite(place[0]) && std::isfinite(place[1]))
                recording.positions.push_back({c, a, place[0], place[1], place[2]});
        }
    }
    std::stable_sort(recording.positions.begin(), recording.positions.end(),
                     [](const Position& p, const Position& q) { return p.bscan < q.bscan; });
    const Json::Value& srs = block["srs"];
    if (srs.isObject() && srs["value"].isConvertibleTo(Json::stringValue))
        recording.coordinates = OneLine(srs["value"].asString());
    if (!recording.coordinates.empty() && recording.coordinates.find(':') == std::string::npos)
        recording.coordinates.insert(0, "EPSG:");
}

std::unique_ptr<RecordingSource> Open(const fs::path& input, const ReadOptions&) {
    auto file = std::make_unique<ByteReader>(input);
    Recording recording;
    const Json::Value root = Description(*file, recording.notes);
    if (!root.isObject()) throw FormatError(input.string() + " holds no JSON object at its head");
    const Members main(input, root["mainDescriptor"], "mainDescriptor");
    recording.format = "ogpr";
    recording.file = input;
    recording.size = {main.Count("samplesCount"), main.Count("slicesCount"), main.Count("channelsCount")};
    std::unique_ptr<Members> volume, locations;
    for (const Json::Value& block : root["dataBlockDescriptors"]) {
        auto members = std::make_unique<Members>(input, block, "dataBlockDescriptors");
        if (members->Text("type") == "Radar Volume")
            volume = std::move(members);
        else if (members->Text("type") == "Sample Geolocations")
            locations = std::move(members);
    }
    if (!volume) throw FormatError(input.string() + " tells no block \"Radar Volume\"");

    const std::string type = volume->Text("valueType");
    WordLayout layout;
    layout.word = type.rfind("int", 0) == 0 ? Word::I16 : Word::F32;
    if (!type.empty() && type != "float" && type != "int" && type != "int16")
        throw volume->Wrong("valueType", "\"float\", \"int\" or \"int16\"");
    layout.channelStep = std::int64_t{SizeOf(layout.word)} * recording.size.samples;
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(layout.channelStep, std::int64_t{recording.size.bscans}, &layout.ascanStep) ||
        __builtin_mul_overflow(layout.ascanStep, std::int64_t{recording.size.ascans}, &bytes))
        throw FormatError(input.string() + ": a block of " + recording.size.Text() + " is beyond any file");
    layout.begin = BlockBegin(*file, *volume, bytes);
    if (layout.word == Word::I16) recording.bits = 16;

    const Members radar(input, (*volume)["radar"], "radar");
    constexpr double kNanosecond = 1e-9, kLight = 3e8;
    recording.deltaT = radar.Positive("samplingTime_ns") * kNanosecond;
    recording.deltaX = radar.Positive("samplingStep_m");
    recording.knowsDeltaX = true;
    if (const Json::Value& speed = radar["propagationVelocity_mPerSec"];
        speed.isNumeric() && speed.asDouble() > 0 && speed.asDouble() <= kLight)
        recording.permittivity = std::pow(kLight / speed.asDouble(), 2);
    for (const char* key : {"frequency_MHz", "fequency_MHz"})
        if (const Json::Value& frequency = (*volume)["radar"][key];
            recording.channels.empty() && frequency.isNumeric() && frequency.asDouble() > 0)
            for (int c = 0; c < recording.size.bscans; ++c)
                recording.channels.push_back(Number(frequency.asDouble()) + " MHz " + std::to_string(c + 1));
    if (locations) TakeLocations(*file, *locations, recording);
    return std::make_unique<WordSource>(std::move(recording), std::move(file), layout);
}

bool Recognises(const std::string& head) { return head.rfind("ogpr", 0) == 0; }

} // namespace

Format OgprFormat() { return {"ogpr", "NAME.ogpr", {".ogpr"}, Recognises, Open, {}}; }

} // namespace TZM

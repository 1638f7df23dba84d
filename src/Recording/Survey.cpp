#include "Recording/Survey.h"

#include <glob.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <set>

#include "Recording/Refusal.h"
#include "Recording/Resampled.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace fs = std::filesystem;

namespace {

/// A file of a survey, and what is taken of it.
struct Piece {
    explicit Piece(fs::path name) : file(std::move(name)) {}

    fs::path file;
    std::optional<bool> reverse; ///< nothing: as the positions say
    int first = 0;               ///< A-scan
    int count = 0;               ///< A-scans; 0: all that follow
    int lane = -1;               ///< of a document that puts channels together; else as their names say
    std::unique_ptr<RecordingSource> source;

    int Ascans() const { return count > 0 ? count : source->About().size.ascans - first; }
};

/// LINE2 ahead of LINE10: runs of digits count as numbers.
bool NaturallyBefore(const fs::path& left, const fs::path& right) {
    const std::string a = left.filename().string(), b = right.filename().string();
    const auto digit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
    for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
        if (digit(a[i]) && digit(b[j])) {
            const auto number = [&](const std::string& text, std::size_t& at) {
                while (at + 1 < text.size() && text[at] == '0' && digit(text[at + 1])) ++at;
                const std::size_t begin = at;
                while (at < text.size() && digit(text[at])) ++at;
                return text.substr(begin, at - begin);
            };
            const std::string x = number(a, i), y = number(b, j);
            if (x != y) return x.size() != y.size() ? x.size() < y.size() : x < y;
        } else if (a[i] != b[j]) {
            return a[i] < b[j];
        } else {
            ++i, ++j;
        }
    }
    return a.size() < b.size() || (a.size() == b.size() && a < b);
}

/// The name without the channel's number, and the number; 0 if it has none.
std::pair<std::string, int> ArrayName(const fs::path& file) {
    const std::string stem = file.stem().string();
    const auto at = stem.rfind("_A");
    if (at == std::string::npos || stem.size() - at < 4 || stem.size() - at > 5 ||
        stem.find_first_not_of("0123456789", at + 2) != std::string::npos)
        return {(file.parent_path() / stem).string(), 0};
    return {(file.parent_path() / stem.substr(0, at)).string(), std::stoi(stem.substr(at + 2))};
}

/// Those of some files that may be recordings by their extensions, in the order of their names. A .json alone is a
/// recipe or another document.
std::vector<Piece> Recordings(std::vector<fs::path> files) {
    std::set<std::string> extensions;
    for (const Format& format : Formats()) extensions.insert(format.extensions.begin(), format.extensions.end());
    std::sort(files.begin(), files.end(), NaturallyBefore);
    std::vector<Piece> pieces;
    std::error_code error;
    for (const fs::path& file : files) {
        std::string extension = file.extension().string();
        for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (!extensions.count(extension) || !fs::is_regular_file(file, error)) continue;
        if (extension == ".json" && !fs::exists(fs::path(file).replace_extension(".f32"), error)) continue;
        pieces.emplace_back(file);
    }
    return pieces;
}

std::vector<Piece> PiecesOfFolder(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> files;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        files.push_back(entry->path());
    if (error) throw FormatError("can't read " + folder.string() + ": " + error.message());
    std::vector<Piece> pieces = Recordings(std::move(files));
    if (pieces.empty()) throw FormatError(folder.string() + " holds no recording of a known form");
    return pieces;
}

std::vector<Piece> PiecesOfPattern(const std::string& pattern) {
    glob_t found{};
    const bool any = glob(pattern.c_str(), 0, nullptr, &found) == 0;
    const std::vector<fs::path> files(found.gl_pathv, found.gl_pathv + (any ? found.gl_pathc : 0));
    globfree(&found);
    if (files.empty()) throw FormatError("no file is named like " + pattern);
    std::vector<Piece> pieces = Recordings(files);
    for (const fs::path& file : files) // who names one file by a pattern may have named it oddly
        if (pieces.empty()) pieces.emplace_back(file);
    return pieces;
}

/// What a survey document says beside its files.
struct Document {
    std::optional<double> lineSpacing, deltaX;
    std::vector<std::string> channels;
    std::vector<int> chosen; ///< channels that are taken, from 0 on; none: all

    bool TellsMore() const { return lineSpacing || deltaX || !channels.empty() || !chosen.empty(); }
};

int Index(const fs::path& document, const Json::Value& entry, const char* key, int least) {
    if (!entry.isMember(key)) return 0;
    if (entry[key].isInt() && entry[key].type() != Json::realValue && entry[key].asInt() >= least)
        return entry[key].asInt();
    throw FormatError(document.string() + ": \"" + key + "\" must be a whole number from " + std::to_string(least) +
                      " on");
}

std::vector<Piece> PiecesOfDocument(const fs::path& document, const Json::Value& root, Document& about) {
    const auto wrong = [&](const std::string& what) { return FormatError(document.string() + ": " + what); };
    for (const std::string& member : root.getMemberNames())
        if (member != "files" && member != "channels" && member != "line_spacing" && member != "delta_x" &&
            member != "channel_names")
            throw wrong("unknown member \"" + OneLine(member) + "\"");
    if (!root["files"].isArray() || root["files"].empty()) throw wrong("\"files\" must be a list of files");
    std::vector<Piece> pieces;
    const auto add = [&](const Json::Value& entry, int lane) {
        const bool object = entry.isObject();
        if (!(object ? entry["file"] : entry).isString())
            throw wrong("a file must be a name, or an object with one as \"file\"");
        Piece piece(document.parent_path() / (object ? entry["file"] : entry).asString());
        if (object) {
            for (const std::string& member : entry.getMemberNames())
                if (member != "file" && member != "reverse" && member != "first" && member != "count")
                    throw wrong("unknown member \"" + OneLine(member) + "\" of a file");
            if (entry.isMember("reverse")) {
                if (!entry["reverse"].isBool()) throw wrong("\"reverse\" must be true or false");
                piece.reverse = entry["reverse"].asBool();
            }
            piece.first = Index(document, entry, "first", 0);
            piece.count = Index(document, entry, "count", 1);
        }
        piece.lane = lane;
        pieces.push_back(std::move(piece));
    };
    int lane = 0;
    for (const Json::Value& entry : root["files"]) {
        if (entry.isArray() && entry.empty()) throw wrong("a list of channels must hold files");
        for (const Json::Value& channel : entry.isArray() ? entry : Json::Value(Json::arrayValue)) add(channel, lane);
        if (!entry.isArray()) add(entry, -1);
        ++lane;
    }
    for (const auto& [key, value] :
         {std::pair("line_spacing", &about.lineSpacing), std::pair("delta_x", &about.deltaX)})
        if (root.isMember(key)) {
            const float narrow = root[key].isNumeric() ? root[key].asFloat() : 0;
            if (!(narrow > 0) || !std::isfinite(narrow))
                throw wrong("\"" + std::string(key) + "\" must be a number above 0");
            *value = root[key].asDouble();
        }
    for (const char* key : {"channel_names", "channels"})
        if (root.isMember(key) && (!root[key].isArray() || root[key].empty()))
            throw wrong("\"" + std::string(key) + "\" must be a list");
    for (const Json::Value& name : root["channel_names"]) {
        if (!name.isString()) throw wrong("\"channel_names\" must be a list of names");
        about.channels.push_back(OneLine(name.asString()));
    }
    for (const Json::Value& channel : root["channels"]) {
        if (!channel.isInt() || channel.type() == Json::realValue || channel.asInt() < 1)
            throw wrong("\"channels\" must be a list of whole numbers from 1 on");
        about.chosen.push_back(channel.asInt() - 1);
    }
    return pieces;
}

/// Whether two intervals are one but for a part that rounding explains.
bool Near(double x, double y, double part) { return std::abs(x - y) <= part * std::abs(x); }
constexpr double kSameInterval = 1e-6, kSameSpacing = 1e-3;

/// Brings the pieces to the finest of their intervals.
void Resample(std::vector<Piece>& pieces) {
    double deltaT = pieces.front().source->About().deltaT, deltaX = 0;
    for (const Piece& piece : pieces) {
        const Recording& about = piece.source->About();
        deltaT = std::min(deltaT, about.deltaT);
        if (about.knowsDeltaX) deltaX = deltaX > 0 ? std::min(deltaX, about.deltaX) : about.deltaX;
    }
    for (Piece& piece : pieces) {
        if (!Near(deltaT, piece.source->About().deltaT, kSameInterval)) {
            const std::string was = Number(piece.source->About().deltaT, 9);
            piece.source = WithInterval(std::move(piece.source), deltaT);
            piece.source->Note("samples lie " + was + " s apart; they are resampled to " + Number(deltaT, 9) + " s");
        }
        const Recording& about = piece.source->About();
        const bool whole = piece.first == 0 && piece.count == 0; // else A-scans are told by their numbers
        if (whole && about.knowsDeltaX && !Near(deltaX, about.deltaX, kSameSpacing))
            piece.source = WithSpacing(std::move(piece.source), deltaX);
    }
}

/// The way from the first to the last position of a channel; nothing without two of them.
std::optional<std::pair<double, double>> Way(const Recording& recording) {
    const auto first = std::find_if(recording.positions.begin(), recording.positions.end(),
                                    [](const Position& p) { return p.bscan == 0; });
    const auto last = std::find_if(recording.positions.rbegin(), recording.positions.rend(),
                                   [](const Position& p) { return p.bscan == 0; });
    if (first == recording.positions.end() || first->ascan == last->ascan) return std::nullopt;
    return std::pair(last->east - first->east, last->north - first->north);
}

/// Gives channels the names of a document, if it tells some.
void NameChannels(Recording& about, const Document& document) {
    if (document.channels.empty()) return;
    if (about.size.bscans % static_cast<int>(document.channels.size()) != 0)
        throw FormatError("\"channel_names\" holds " + std::to_string(document.channels.size()) + " names for " +
                          std::to_string(about.size.bscans) + " B-scans");
    about.channels = document.channels;
}

/// Lanes of pieces, as one recording.
class SurveySource final : public RecordingSource {
public:
    /// \param resampled A-scans of fewer samples are filled up with zeros.
    SurveySource(std::vector<std::vector<Piece>> ofLanes, const Document& document, bool resampled)
        : RecordingSource(ofLanes.front().front().source->About()), lanes(std::move(ofLanes)), fillsUp(resampled),
          spacingTold(document.deltaX) {
        channels = 0;
        for (const Piece& piece : lanes.front()) channels += piece.source->About().size.bscans;
        Settle();
        about.lineSpacing = document.lineSpacing ? document.lineSpacing : about.lineSpacing;
        if (spacingTold) about.deltaX = *spacingTold, about.knowsDeltaX = true;
        if (document.chosen.empty()) NameChannels(about, document);
    }

    int Channels() const { return channels; }

    void Read(int firstBscan, int bscans, float* out) override {
        const std::int64_t samples = about.size.samples, bscan = samples * about.size.ascans;
        std::vector<float> whole;
        for (int i = firstBscan; i < firstBscan + bscans; ++i, out += bscan) {
            int channel = i % channels;
            auto& lane = lanes[static_cast<std::size_t>(i / channels)];
            auto piece = lane.begin();
            while (channel >= piece->source->About().size.bscans) channel -= (piece++)->source->About().size.bscans;
            const std::int64_t own = piece->source->About().size.samples;
            const int there = piece->source->About().size.ascans, taken = piece->Ascans();
            if (own == samples && taken == there && there == about.size.ascans && !*piece->reverse) {
                const int count = std::min(piece->source->About().size.bscans - channel, firstBscan + bscans - i);
                piece->source->Read(channel, count, out); // of interleaved channels all in one pass
                i += count - 1, out += bscan * (count - 1);
                continue;
            }
            whole.resize(static_cast<std::size_t>(own * there));
            piece->source->Read(channel, 1, whole.data());
            std::fill(out, out + bscan, 0.f);
            for (int a = 0; a < taken; ++a) {
                const int from = piece->first + (*piece->reverse ? taken - 1 - a : a);
                std::copy_n(whole.data() + own * from, own, out + samples * a);
            }
        }
    }

    std::string Checksum() const override {
        std::string all;
        for (const auto& lane : lanes)
            for (const Piece& piece : lane) {
                const std::string one = piece.source->Checksum();
                piece.source->RequireChecksum(one);
                all += one;
            }
        return ChecksumOf(all.data(), all.size());
    }

private:
    /// Puts together what the pieces tell, and refuses those that don't fit.
    void Settle() {
        const Piece& model = lanes.front().front();
        about.timeZeros.clear();
        about.positions.clear();
        about.validRanges.clear();
        about.notes.clear();
        about.channels.clear();
        const auto way = Way(model.source->About());
        std::vector<int> timeZeros;
        int ascans = 0;
        for (std::size_t l = 0; l < lanes.size(); ++l) {
            int bscan = static_cast<int>(l) * channels;
            for (Piece& piece : lanes[l]) {
                const Recording& part = piece.source->About();
                RequireFit(model, piece);
                about.size.samples = std::max(about.size.samples, part.size.samples);
                const auto ownWay = Way(part);
                if (!piece.reverse) {
                    piece.reverse = way && ownWay ? way->first * ownWay->first + way->second * ownWay->second < 0
                                                  : part.backwards && !(way || ownWay);
                    if (*piece.reverse) about.notes.push_back(part.file.string() + " was run backwards and is turned");
                }
                ascans = std::max(ascans, piece.Ascans());
                for (const std::string& note : part.notes)
                    about.notes.push_back(note.find(part.file.filename().string()) == std::string::npos
                                              ? part.file.string() + ": " + note
                                              : note);
                TakeGeometry(part);
                for (int c = 0; c < part.size.bscans; ++c) {
                    about.validRanges.push_back(ValidRange(piece, c));
                    if (!part.timeZeros.empty())
                        timeZeros.push_back(part.timeZeros[static_cast<std::size_t>(c)]);
                    else if (part.timeZero)
                        timeZeros.push_back(*part.timeZero);
                    if (l == 0)
                        about.channels.push_back(
                            part.channels.empty() ? "channel " + std::to_string(about.channels.size() + 1)
                                                  : part.channels[static_cast<std::size_t>(c) % part.channels.size()]);
                }
                if (!part.positions.empty() && part.coordinates != about.coordinates)
                    about.notes.push_back(part.file.string() + " tells its positions in \"" + part.coordinates +
                                          "\", others in \"" + about.coordinates + "\"; they are passed over");
                for (Position position : part.positions) {
                    if (part.coordinates != about.coordinates) break;
                    position.bscan += bscan;
                    position.ascan -= piece.first;
                    if (position.ascan < 0 || position.ascan >= piece.Ascans()) continue;
                    if (*piece.reverse) position.ascan = piece.Ascans() - 1 - position.ascan;
                    about.positions.push_back(position);
                }
                bscan += part.size.bscans;
            }
            if (bscan != static_cast<int>(l + 1) * channels)
                throw FormatError(lanes[l].front().file.string() + " has " +
                                  std::to_string(bscan - static_cast<int>(l) * channels) + " channels, and " +
                                  model.file.string() + " has " + std::to_string(channels));
        }
        std::stable_sort(about.positions.begin(), about.positions.end(), [](const Position& a, const Position& b) {
            return std::pair(a.bscan, a.ascan) < std::pair(b.bscan, b.ascan);
        });
        const std::int64_t bscans = static_cast<std::int64_t>(lanes.size()) * channels;
        about.size.ascans = ascans;
        about.size.bscans = CheckedCount(model.file, bscans, "B-scans");
        if (std::all_of(about.validRanges.begin(), about.validRanges.end(),
                        [&](const BscanInfo& range) { return range.firstValidIdx == 0 && range.validLen == ascans; }))
            about.validRanges.clear();
        about.timeZero.reset();
        if (timeZeros.size() == static_cast<std::size_t>(bscans)) {
            about.timeZero = timeZeros.front();
            if (std::count(timeZeros.begin(), timeZeros.end(), timeZeros.front()) != bscans)
                about.timeZeros = timeZeros;
        }
        std::set<std::string> names(about.channels.begin(), about.channels.end());
        if (names.size() != about.channels.size()) // told apart by their numbers
            for (std::size_t c = 0; c < about.channels.size(); ++c) about.channels[c] += " " + std::to_string(c + 1);
    }

    /// What the first piece that knows it tells for all.
    void TakeGeometry(const Recording& part) {
        if (!about.knowsDeltaX && part.knowsDeltaX) about.deltaX = part.deltaX, about.knowsDeltaX = true;
        if (about.positions.empty()) about.coordinates = part.positions.empty() ? "" : part.coordinates;
    }

    /// The valid A-scans of a channel, cut and turned as its piece.
    static BscanInfo ValidRange(const Piece& piece, int channel) {
        const Recording& part = piece.source->About();
        const int taken = piece.Ascans();
        const BscanInfo own = part.validRanges.empty() ? BscanInfo{0, part.size.ascans}
                                                       : part.validRanges[static_cast<std::size_t>(channel)];
        const int begin = std::clamp(own.firstValidIdx - piece.first, 0, taken),
                  end = std::clamp(own.firstValidIdx + own.validLen - piece.first, begin, taken);
        return {*piece.reverse ? taken - end : begin, end - begin};
    }

    void RequireFit(const Piece& model, const Piece& piece) const {
        const Recording &a = model.source->About(), &b = piece.source->About();
        if (a.format != b.format)
            throw FormatError(piece.file.string() + " is of the form " + b.format + ", and " + model.file.string() +
                              " of " + a.format + "; the files of one recording must be of one");
        const auto refuse = [&](const std::string& what, const std::string& first, const std::string& second) {
            throw FormatError(piece.file.string() + " has " + second + " " + what + ", and " + model.file.string() +
                              " has " + first);
        };
        if (a.size.samples != b.size.samples && !fillsUp)
            refuse("samples per A-scan", std::to_string(a.size.samples), std::to_string(b.size.samples));
        if (!Near(a.deltaT, b.deltaT, kSameInterval))
            refuse("s between samples", Number(a.deltaT, 9), Number(b.deltaT, 9));
        if (!spacingTold && a.knowsDeltaX && b.knowsDeltaX && !Near(a.deltaX, b.deltaX, kSameSpacing))
            refuse("m between A-scans", Number(a.deltaX, 9), Number(b.deltaX, 9));
        if (piece.first >= b.size.ascans || piece.count > b.size.ascans - piece.first)
            refuse("A-scans, of which some that aren't there are asked for", std::to_string(a.size.ascans),
                   std::to_string(b.size.ascans));
    }

    std::vector<std::vector<Piece>> lanes;
    int channels;
    bool fillsUp;
    std::optional<double> spacingTold;
};

/// Some of the channels of every lane.
class ChosenChannels final : public RecordingSource {
public:
    ChosenChannels(std::unique_ptr<SurveySource> of, const Document& document)
        : RecordingSource(of->About()), source(std::move(of)), chosen(document.chosen) {
        const Recording& all = source->About();
        for (const int channel : chosen)
            if (channel >= source->Channels())
                throw FormatError("channel " + std::to_string(channel + 1) + " is asked for, and " + all.file.string() +
                                  " has " + std::to_string(source->Channels()));
        about.size.bscans = CheckedCount(
            all.file, static_cast<std::int64_t>(chosen.size()) * (all.size.bscans / source->Channels()), "B-scans");
        about.positions.clear();
        about.channels.clear();
        Pick(about.validRanges);
        Pick(about.timeZeros);
        for (const int channel : chosen)
            if (!all.channels.empty())
                about.channels.push_back(all.channels[static_cast<std::size_t>(channel) % all.channels.size()]);
        std::multimap<int, int> places; // from B-scans to those that are taken
        for (int i = 0; i < about.size.bscans; ++i) places.emplace(Of(i), i);
        for (Position position : all.positions)
            for (auto [at, end] = places.equal_range(position.bscan); at != end; ++at) {
                position.bscan = at->second;
                about.positions.push_back(position);
            }
        std::stable_sort(about.positions.begin(), about.positions.end(),
                         [](const Position& a, const Position& b) { return a.bscan < b.bscan; });
        NameChannels(about, document);
    }

    void Read(int firstBscan, int bscans, float* out) override {
        for (int i = firstBscan; i < firstBscan + bscans;
             ++i, out += std::int64_t{about.size.samples} * about.size.ascans)
            source->Read(Of(i), 1, out);
    }
    std::string Checksum() const override { return source->Checksum(); }

private:
    /// The B-scan of the survey that is B-scan `i` here.
    int Of(int i) const {
        const int count = static_cast<int>(chosen.size());
        return i / count * source->Channels() + chosen[static_cast<std::size_t>(i % count)];
    }
    template <class T>
    void Pick(std::vector<T>& ofBscans) const {
        std::vector<T> all;
        all.swap(ofBscans);
        for (int i = 0; i < about.size.bscans && !all.empty(); ++i)
            ofBscans.push_back(all[static_cast<std::size_t>(Of(i))]);
    }

    std::unique_ptr<SurveySource> source;
    std::vector<int> chosen;
};

/// The files that one input names.
std::vector<Piece> PiecesOf(const fs::path& input) {
    std::error_code ignored;
    if (fs::is_directory(input, ignored)) return PiecesOfFolder(input);
    if (!fs::exists(input, ignored) && input.string().find_first_of("*?[") != std::string::npos)
        return PiecesOfPattern(input.string());
    std::vector<Piece> one;
    one.emplace_back(input);
    return one;
}

/// A header and its data, both named, are one recording, which is taken once.
void DropTwins(std::vector<Piece>& pieces) {
    std::map<fs::path, std::size_t> known;
    std::vector<Piece> kept;
    for (Piece& piece : pieces) {
        const fs::path data = piece.source->About().file.lexically_normal();
        const auto [twin, isNew] = known.emplace(data, kept.size());
        if (isNew)
            kept.push_back(std::move(piece));
        else if (kept[twin->second].file == piece.file)
            kept[twin->second].source->Note(piece.file.string() + " is named twice and is taken once");
    }
    pieces = std::move(kept);
}

std::unique_ptr<RecordingSource> Together(const std::vector<fs::path>& inputs, const ReadOptions& options) {
    std::error_code ignored;
    std::vector<Piece> pieces;
    Document document;
    bool documented = false;
    if (inputs.size() == 1 && inputs.front().extension() == ".json" && fs::exists(inputs.front(), ignored)) {
        const Json::Value root = ParseJson(ReadText(inputs.front()), inputs.front().string());
        documented = root.isObject() && root.isMember("files");
        if (documented) pieces = PiecesOfDocument(inputs.front(), root, document);
    }
    for (const fs::path& input : inputs)
        for (Piece& piece : documented ? std::vector<Piece>() : PiecesOf(input)) pieces.push_back(std::move(piece));
    if (pieces.empty()) throw FormatError("there is nothing to read");
    for (Piece& piece : pieces) piece.source = OpenRecording(piece.file, options);
    if (!documented) DropTwins(pieces);
    if (options.resample) Resample(pieces);
    std::vector<std::vector<Piece>> lanes;
    std::map<std::string, std::size_t> arrays; // lanes by the name that their channels share
    for (Piece& piece : pieces) {
        auto [name, channel] = ArrayName(piece.file);
        if (piece.lane >= 0) name = "/lane " + std::to_string(piece.lane), channel = 1;
        const auto known = arrays.find(name);
        if (channel > 0 && known != arrays.end()) {
            lanes[known->second].push_back(std::move(piece));
        } else {
            if (channel > 0) arrays.emplace(name, lanes.size());
            lanes.emplace_back();
            lanes.back().push_back(std::move(piece));
        }
    }
    if (lanes.size() == 1 && lanes[0].size() == 1 && lanes[0][0].first == 0 && lanes[0][0].count == 0 &&
        !lanes[0][0].reverse.value_or(false) && !document.TellsMore())
        return std::move(lanes[0][0].source);
    for (auto& lane : lanes)
        std::stable_sort(lane.begin(), lane.end(), [](const Piece& a, const Piece& b) {
            return a.lane < 0 && ArrayName(a.file).second < ArrayName(b.file).second;
        });
    auto survey = std::make_unique<SurveySource>(std::move(lanes), document, options.resample);
    if (document.chosen.empty()) return survey;
    return std::make_unique<ChosenChannels>(std::move(survey), document);
}

} // namespace

std::unique_ptr<RecordingSource> OpenSurvey(const std::vector<fs::path>& inputs, const ReadOptions& options) {
    std::unique_ptr<RecordingSource> source = Together(inputs, options);
    return options.deltaX ? WithSpacing(std::move(source), *options.deltaX) : std::move(source);
}

} // namespace TZM

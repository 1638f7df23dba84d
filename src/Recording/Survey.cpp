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
    fs::path file;
    std::optional<bool> reverse; ///< nothing: as the positions say
    int first = 0;               ///< A-scan
    int count = 0;               ///< A-scans; 0: all that follow
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

/// The recordings of a folder, one file of each name.
std::vector<Piece> PiecesOfFolder(const fs::path& folder) {
    std::set<std::string> extensions;
    for (const Format& format : Formats()) extensions.insert(format.extensions.begin(), format.extensions.end());
    std::map<std::string, fs::path> files; // by folder and stem: a header and its data are one
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::string extension = entry.path().extension().string();
        for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (entry.is_regular_file() && extensions.count(extension)) {
            fs::path& known = files[entry.path().stem().string()];
            if (known.empty() || entry.path() < known) known = entry.path();
        }
    }
    if (files.empty()) throw FormatError(folder.string() + " holds no recording of a known form");
    std::vector<Piece> pieces;
    for (const auto& [stem, file] : files) pieces.push_back({file, {}, 0, 0, nullptr});
    std::sort(pieces.begin(), pieces.end(),
              [](const Piece& a, const Piece& b) { return NaturallyBefore(a.file, b.file); });
    return pieces;
}

std::vector<Piece> PiecesOfPattern(const std::string& pattern) {
    glob_t found{};
    const bool any = glob(pattern.c_str(), 0, nullptr, &found) == 0;
    std::vector<Piece> pieces;
    for (std::size_t i = 0; any && i < found.gl_pathc; ++i) pieces.push_back({found.gl_pathv[i], {}, 0, 0, nullptr});
    globfree(&found);
    if (pieces.empty()) throw FormatError("no file is named like " + pattern);
    std::sort(pieces.begin(), pieces.end(),
              [](const Piece& a, const Piece& b) { return NaturallyBefore(a.file, b.file); });
    return pieces;
}

/// What a survey document says beside its files.
struct Document {
    std::optional<double> lineSpacing;
    std::vector<std::string> channels;
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
        if (member != "files" && member != "line_spacing" && member != "channel_names")
            throw wrong("unknown member \"" + OneLine(member) + "\"");
    if (!root["files"].isArray() || root["files"].empty()) throw wrong("\"files\" must be a list of files");
    std::vector<Piece> pieces;
    for (const Json::Value& entry : root["files"]) {
        const bool object = entry.isObject();
        if (!(object ? entry["file"] : entry).isString())
            throw wrong("a file must be a name, or an object with one as \"file\"");
        Piece piece{document.parent_path() / (object ? entry["file"] : entry).asString(), {}, 0, 0, nullptr};
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
        pieces.push_back(std::move(piece));
    }
    if (const Json::Value& spacing = root["line_spacing"]; !spacing.isNull()) {
        if (!spacing.isNumeric() || !(spacing.asDouble() > 0)) throw wrong("\"line_spacing\" must be a number above 0");
        about.lineSpacing = spacing.asDouble();
    }
    for (const Json::Value& name : root["channel_names"]) {
        if (!name.isString()) throw wrong("\"channel_names\" must be a list of names");
        about.channels.push_back(OneLine(name.asString()));
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

/// Lanes of pieces, as one recording.
class SurveySource final : public RecordingSource {
public:
    /// \param resampled A-scans of fewer samples are filled up with zeros.
    SurveySource(std::vector<std::vector<Piece>> ofLanes, const Document& document, bool resampled)
        : RecordingSource(ofLanes.front().front().source->About()), lanes(std::move(ofLanes)), fillsUp(resampled) {
        channels = 0;
        for (const Piece& piece : lanes.front()) channels += piece.source->About().size.bscans;
        Settle();
        about.lineSpacing = document.lineSpacing ? document.lineSpacing : about.lineSpacing;
        if (!document.channels.empty()) about.channels = document.channels;
        if (!about.channels.empty() && about.size.bscans % static_cast<int>(about.channels.size()) != 0)
            throw FormatError("\"channel_names\" holds " + std::to_string(about.channels.size()) + " names for " +
                              std::to_string(about.size.bscans) + " B-scans");
    }

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
                    piece.reverse = way && ownWay && way->first * ownWay->first + way->second * ownWay->second < 0;
                    if (*piece.reverse) about.notes.push_back(part.file.string() + " was run backwards and is turned");
                }
                ascans = std::max(ascans, piece.Ascans());
                for (const std::string& note : part.notes)
                    about.notes.push_back(note.find(part.file.filename().string()) == std::string::npos
                                              ? part.file.string() + ": " + note
                                              : note);
                for (int c = 0; c < part.size.bscans; ++c) {
                    about.validRanges.push_back({0, piece.Ascans()});
                    if (part.timeZero) timeZeros.push_back(*part.timeZero);
                    if (l == 0)
                        about.channels.push_back(
                            part.channels.empty() ? "channel " + std::to_string(about.channels.size() + 1)
                                                  : part.channels[static_cast<std::size_t>(c) % part.channels.size()]);
                }
                for (Position position : part.positions) {
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
                        [&](const BscanInfo& range) { return range.validLen == ascans; }))
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

    void RequireFit(const Piece& model, const Piece& piece) const {
        const Recording &a = model.source->About(), &b = piece.source->About();
        const auto refuse = [&](const std::string& what, const std::string& first, const std::string& second) {
            throw FormatError(piece.file.string() + " has " + second + " " + what + ", and " + model.file.string() +
                              " has " + first);
        };
        if (a.size.samples != b.size.samples && !fillsUp)
            refuse("samples per A-scan", std::to_string(a.size.samples), std::to_string(b.size.samples));
        if (!Near(a.deltaT, b.deltaT, kSameInterval))
            refuse("s between samples", Number(a.deltaT, 9), Number(b.deltaT, 9));
        if (a.knowsDeltaX && b.knowsDeltaX && !Near(a.deltaX, b.deltaX, kSameSpacing))
            refuse("m between A-scans", Number(a.deltaX, 9), Number(b.deltaX, 9));
        if (piece.first >= b.size.ascans || piece.count > b.size.ascans - piece.first)
            refuse("A-scans, of which some that aren't there are asked for", std::to_string(a.size.ascans),
                   std::to_string(b.size.ascans));
    }

    std::vector<std::vector<Piece>> lanes;
    int channels;
    bool fillsUp;
};

std::unique_ptr<RecordingSource> Together(const std::vector<fs::path>& inputs, const ReadOptions& options) {
    std::error_code ignored;
    std::vector<Piece> pieces;
    Document document;
    if (inputs.size() == 1) {
        const fs::path& input = inputs.front();
        const bool exists = fs::exists(input, ignored);
        if (fs::is_directory(input, ignored)) {
            pieces = PiecesOfFolder(input);
        } else if (!exists && input.string().find_first_of("*?") != std::string::npos) {
            pieces = PiecesOfPattern(input.string());
        } else if (exists && input.extension() == ".json") {
            const Json::Value root = ParseJson(ReadText(input), input.string());
            if (root.isObject() && root.isMember("files")) pieces = PiecesOfDocument(input, root, document);
        }
        if (pieces.empty()) return OpenRecording(input, options);
    } else {
        for (const fs::path& input : inputs) pieces.push_back({input, {}, 0, 0, nullptr});
    }
    if (pieces.empty()) throw FormatError("there is nothing to read");
    for (Piece& piece : pieces) piece.source = OpenRecording(piece.file, options);
    if (options.resample) Resample(pieces);
    std::vector<std::vector<Piece>> lanes;
    std::map<std::string, std::size_t> arrays; // lanes by the name that their channels share
    for (Piece& piece : pieces) {
        const auto [name, channel] = ArrayName(piece.file);
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
        !lanes[0][0].reverse.value_or(false) && document.channels.empty() && !document.lineSpacing)
        return std::move(lanes[0][0].source);
    for (auto& lane : lanes)
        std::stable_sort(lane.begin(), lane.end(), [](const Piece& a, const Piece& b) {
            return ArrayName(a.file).second < ArrayName(b.file).second;
        });
    return std::make_unique<SurveySource>(std::move(lanes), document, options.resample);
}

} // namespace

std::unique_ptr<RecordingSource> OpenSurvey(const std::vector<fs::path>& inputs, const ReadOptions& options) {
    std::unique_ptr<RecordingSource> source = Together(inputs, options);
    return options.deltaX ? WithSpacing(std::move(source), *options.deltaX) : std::move(source);
}

} // namespace TZM

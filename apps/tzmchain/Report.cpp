#include "Report.h"

#include "Picture.h"
#include "ReportPage.h"
#include "Views.h"

#include "Formats/Projection.h"
#include "Framework/private/ParallelFor.h"
#include "Imaging/Vti/VtiFormat.h"
#include "Recording/Format.h"
#include "Recording/Refusal.h"
#include "Recording/Survey.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/Text.h"

#include <json/writer.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>

namespace tzmchain {

using namespace TZM;
namespace fs = std::filesystem;

namespace {

constexpr double kNanosecond = 1e-9;
constexpr char kGenerator[] = "tzmchain report";
constexpr int kMostPointsOfTrack = 200;

std::string Base64(const unsigned char* bytes, std::size_t count) {
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text((count + 2) / 3 * 4, '=');
    char* out = text.data();
    for (std::size_t i = 0; i < count; i += 3, out += 4) {
        const std::size_t held = std::min<std::size_t>(3, count - i);
        const std::uint32_t bits = std::uint32_t{bytes[i]} << 16 | (held > 1 ? std::uint32_t{bytes[i + 1]} << 8 : 0) |
                                   (held > 2 ? std::uint32_t{bytes[i + 2]} : 0);
        for (std::size_t k = 0; k <= held; ++k) out[k] = kDigits[bits >> (18 - 6 * k) & 63];
    }
    return text;
}

/// In zlib's format. Differences of levels are noise of a few bits and runs of zeros: run lengths are all that is to be
/// found, in half of the time.
std::vector<unsigned char> Deflated(std::vector<unsigned char>& bytes) {
    constexpr int kFast = 1, kWindow = 15, kMemory = 9;
    z_stream stream{};
    if (deflateInit2(&stream, kFast, Z_DEFLATED, kWindow, kMemory, Z_RLE) != Z_OK) throw std::bad_alloc();
    std::vector<unsigned char> packed(deflateBound(&stream, static_cast<uLong>(bytes.size())));
    stream.next_in = bytes.data();
    stream.avail_in = static_cast<uInt>(bytes.size()); // at most 2^30 cells
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

/// Text for HTML, within attributes, too.
std::string Escaped(const std::string& text) {
    std::string safe;
    for (const char c : text) switch (c) {
        case '&': safe += "&amp;"; break;
        case '<': safe += "&lt;"; break;
        case '>': safe += "&gt;"; break;
        case '"': safe += "&quot;"; break;
        case '\'': safe += "&#39;"; break;
        default: safe += c;
        }
    return safe;
}

/// JSON that nothing of HTML can end.
std::string ScriptJson(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    writer["precision"] = 15;
    std::string safe;
    for (const char c : Json::writeString(writer, value)) {
        if (c == '<')
            safe += "\\u003c";
        else
            safe += c;
    }
    return safe;
}

/// 'sha256-...' of a script or a style, as a policy names it.
std::string SourceHash(const std::string& text) {
    const std::string hex = ChecksumOf(text.data(), text.size());
    std::array<unsigned char, 32> digest;
    for (std::size_t i = 0; i < digest.size(); ++i)
        digest[i] = static_cast<unsigned char>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
    return "'sha256-" + Base64(digest.data(), digest.size()) + "'";
}

/// Puts texts in place of {{name}}; what they hold isn't looked at again.
std::string Filled(const std::string& page, const std::vector<std::pair<std::string, std::string>>& texts) {
    std::string filled;
    std::size_t size = page.size();
    for (const auto& [name, text] : texts) size += text.size();
    filled.reserve(size);
    for (std::size_t at = 0; at < page.size();) {
        const std::size_t open = page.find("{{", at), close = page.find("}}", open);
        filled.append(page, at, open - at);
        if (close == std::string::npos) break;
        const std::string name = page.substr(open + 2, close - open - 2);
        for (const auto& [key, text] : texts)
            if (key == name) filled += text;
        at = close + 2;
    }
    return filled;
}

Json::Value AxisJson(const Axis& axis) {
    Json::Value told;
    told["label"] = axis.label;
    told["unit"] = axis.unit;
    told["origin"] = axis.origin;
    told["step"] = axis.step;
    return told;
}

/// Tracks of the lines in degrees, thinned; none where positions aren't known or can't be projected.
Json::Value Tracks(const Recording& recording) {
    Json::Value tracks(Json::arrayValue);
    if (recording.positions.empty()) return tracks;
    try {
        const Json::Value document = TrackGeoJson(recording);
        for (const Json::Value& feature : document["features"]) {
            const Json::Value& ascans = feature["properties"]["ascans"];
            const Json::Value& places = feature["geometry"]["coordinates"];
            Json::Value track;
            track["line"] = feature["properties"]["bscan"];
            const Json::ArrayIndex count = ascans.size(), step = (count + kMostPointsOfTrack - 1) / kMostPointsOfTrack;
            for (Json::ArrayIndex i = 0; i < count; ++i)
                if (i % step == 0 || i + 1 == count) {
                    track["ascans"].append(ascans[i]);
                    track["coordinates"].append(count > 1 ? places[i] : places);
                }
            tracks.append(track);
        }
    } catch (const Refusal&) { // track.geojson isn't written either, which a note tells
        return Json::Value(Json::arrayValue);
    }
    return tracks;
}

/// What the page must know of the blocks.
Json::Value AboutJson(const ReportBlock& image, const std::optional<ReportBlock>& input, const ReportTexts& texts) {
    const Recording& about = image.About();
    const Panel panel = BscanPanel(about, 0, "");
    Json::Value root;
    root["image"] = image.Describe(texts.unit);
    root["axes"]["ascan"] = AxisJson(panel.across);
    root["axes"]["sample"] = AxisJson(panel.down);
    root["axes"]["line"] = AxisJson(LineAxis(about));
    root["depth"] = Json::Value();
    if (!panel.secondLabel.empty()) {
        root["depth"]["name"] = panel.secondFactor < 0 ? "elevation" : "depth";
        root["depth"]["origin"] = panel.secondOrigin;
        root["depth"]["label"] = panel.secondLabel;
        root["depth"]["factor"] = panel.secondFactor;
    }
    root["input"] = Json::Value();
    root["inputAxes"] = Json::Value();
    root["inputTimeZeros"] = Json::Value(Json::arrayValue);
    if (input) {
        Recording recorded = input->About();
        if (!texts.inputTimeZeros.empty()) { // counted from the sample that was recorded first
            recorded.timeZero.reset();
            recorded.startTime = 0;
            recorded.firstSample = 0;
        }
        const Panel before = BscanPanel(recorded, 0, "");
        root["input"] = input->Describe("counts");
        root["inputAxes"]["ascan"] = AxisJson(before.across);
        root["inputAxes"]["sample"] = AxisJson(before.down);
        root["inputAxes"]["sample"]["label"] = panel.down.label;
        for (const double zero : texts.inputTimeZeros) root["inputTimeZeros"].append(zero);
    }
    const std::vector<std::string> channels = ChannelNames(about);
    root["channels"] = root["lineNames"] = Json::Value(Json::arrayValue);
    for (const std::string& name : channels) root["channels"].append(name);
    if (!channels.empty())
        for (int z = 0; z < about.size.bscans; ++z)
            root["lineNames"].append(channels[static_cast<std::size_t>(z) % channels.size()]);
    for (const auto& [name, isSigned, colours] :
         {std::tuple("heat", false, Colours::Grey), std::tuple("grey", true, Colours::Grey),
          std::tuple("seismic", true, Colours::Seismic)})
        root["palettes"][name] = Palette(isSigned, colours);
    root["clip"] = root["image"]["signed"].asBool() ? 97 : 99.5;
    root["tracks"] = Tracks(input ? input->About() : about);
    return root;
}

std::string Row(const std::string& name, const std::string& text) {
    return "<tr><th scope=\"row\">" + Escaped(name) + "</th><td>" + Escaped(text) + "</td></tr>\n";
}

/// A value on one line: a list by its members, an object by "name: value".
std::string ValueText(const Json::Value& value) {
    std::string text;
    for (auto member = value.begin(); member != value.end(); ++member)
        text += (text.empty() ? "" : ", ") + (value.isObject() ? member.name() + ": " : "") + ValueText(*member);
    if (value.isObject() || value.isArray()) return text;
    return value.isDouble() ? Number(value.asDouble(), 6) : value.asString();
}

std::string Table(const Json::Value& object) {
    std::string rows;
    for (auto member = object.begin(); member != object.end(); ++member)
        if (!member->empty() || !(member->isObject() || member->isArray()))
            rows += Row(member.name(), ValueText(*member));
    return "<table>" + rows + "</table>\n";
}

/// The recipe as a page's section.
std::string RecipeHtml(const Json::Value& recipe) {
    if (recipe.isNull()) return "<h2>Recipe</h2><p>No recipe.json stands beside the image.</p>";
    std::string html;
    if (!recipe["warnings"].empty()) {
        html += "<h2>Warnings</h2><ul>";
        for (const Json::Value& warning : recipe["warnings"]) html += "<li>" + Escaped(warning.asString()) + "</li>";
        html += "</ul>\n";
    }
    html += "<h2>Chain</h2>\n<table><tr><th scope=\"col\">Step</th><th scope=\"col\">Parameters</th><th "
            "scope=\"col\">Gives</th>"
            "<th scope=\"col\">Told</th></tr>\n";
    for (Json::ArrayIndex i = 0; i < recipe["chain"].size(); ++i) {
        const Json::Value &step = recipe["chain"][i], &report = recipe["steps"].get(i, Json::Value());
        html += "<tr><th scope=\"row\">" + Escaped(ValueText(step["algorithm"])) + "</th><td>" +
                Escaped(ValueText(step["parameters"])) + "</td><td>" + Escaped(ValueText(report["output"])) +
                "</td><td>" + Escaped(ValueText(report["notes"])) + "</td></tr>\n";
    }
    html += "</table>\n<h2>Input</h2>\n" + Table(recipe["input"]) + "<h2>Image</h2>\n" + Table(recipe["image"]) +
            "<h2>Made with</h2>\n" + Table(recipe["versions"]) + "<p>" + Escaped(ValueText(recipe["created"])) +
            "</p>\n" + "<details><summary>The recipe as a document</summary><pre>" + Escaped(JsonText(recipe)) +
            "</pre></details>\n";
    return html;
}

/// "image of 472 x 300 x 35; values of 2 x 2 x 1 elements shown as one, that of the largest magnitude"
std::string Subtitle(const ReportBlock& image, const ReportTexts& texts) {
    std::string text = "Image of " + image.About().size.Text() + " (samples, A-scans, lines)";
    if (texts.recipe.isMember("created")) text += ", made " + ValueText(texts.recipe["created"]);
    const Json::Value block = image.Describe("");
    std::string cell;
    int merged = 1;
    for (const Json::Value& factor : block["factors"]) {
        cell += (cell.empty() ? "" : " x ") + factor.asString();
        merged *= factor.asInt();
    }
    if (merged > 1) text += "; " + cell + " of them are shown as one, that of the largest magnitude";
    return text + "; 8 bits, values beyond " + Number(block["high"].asDouble(), 3) + " are shown as that";
}

} // namespace

ReportBlock::ReportBlock(const Recording& recording, std::int64_t mostCells) : about(recording.About()) {
    const int length[3] = {about.size.samples, about.size.ascans, about.size.bscans};
    const auto cellsAlong = [&](int i) { return (length[i] + factors[i] - 1) / factors[i]; };
    const auto held = [&] { return std::int64_t{cellsAlong(0)} * cellsAlong(1) * cellsAlong(2); };
    while (held() > std::max<std::int64_t>(mostCells, 1)) // lines are few and far apart: they go last
        ++factors[cellsAlong(0) >= cellsAlong(1) && cellsAlong(0) > 64 ? 0
                  : cellsAlong(1) > 64                                 ? 1
                  : cellsAlong(2) > 1                                  ? 2
                                                                       : 0];
    size = {cellsAlong(0), cellsAlong(1), cellsAlong(2)};
    cells = AllocateSamples(size.Count());
    std::fill_n(cells.get(), size.Count(), 0.0f);
}

void ReportBlock::Take(int firstBscan, const Recording& part) {
    const auto [fs, fa, fb] = factors;
    const int firstLine = firstBscan / fb, endBscan = firstBscan + part.size.bscans;
    ParallelFor((endBscan - 1) / fb + 1 - firstLine, [&, fs = fs, fa = fa, fb = fb](int l) {
        const int line = firstLine + l;
        for (int z = std::max(line * fb, firstBscan); z < std::min((line + 1) * fb, endBscan); ++z)
            for (int a = 0; a < part.size.ascans; ++a) {
                const float* ascan = part.Bscan(z - firstBscan) + std::int64_t{a} * part.size.samples;
                float* cell = cells.get() + (std::int64_t{line} * size.ascans + a / fa) * size.samples;
                if (fs * fa * fb == 1)
                    std::copy_n(ascan, part.size.samples, cell);
                else
                    for (int c = 0; c < size.samples; ++c) {
                        float low = cell[c], high = low; // the first cell's zeros give way to any value
                        for (int s = c * fs; s < std::min((c + 1) * fs, part.size.samples); ++s)
                            low = std::min(low, ascan[s]), high = std::max(high, ascan[s]);
                        cell[c] = high >= -low ? high : low;
                    }
            }
    });
}

const ReportBlock::Levels& ReportBlock::Scale() const {
    if (scale) return *scale;
    constexpr std::int64_t kEnough = 300000; // values that settle a percentile
    constexpr double kToldApart = 0.9999;    // of them
    const std::int64_t count = size.Count(), stride = (count + kEnough - 1) / kEnough | 1;
    std::vector<float> values;
    for (std::int64_t i = 0; i < count; i += stride) values.push_back(cells[i]);
    const auto percentile = [&](double part) {
        const auto place = values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), place, values.end());
        return *place;
    };
    const auto [lowest, highest] = std::minmax_element(cells.get(), cells.get() + count);
    const bool isSigned = *lowest < -1e-6f * *highest; // rounding leaves a normalised image a hair below 0
    const float middle = isSigned ? percentile(0.5) : 0.0f;
    for (float& value : values) value = std::abs(value - middle);
    float high = percentile(kToldApart);
    if (!(high > 0)) high = std::max(std::abs(*highest - middle), std::abs(*lowest - middle));
    scale = {isSigned, middle, std::max(high, std::numeric_limits<float>::min())};
    return *scale;
}

Json::Value ReportBlock::Describe(const std::string& unit) const {
    const Levels& levels = Scale();
    Json::Value block;
    block["samples"] = about.size.samples;
    block["ascans"] = about.size.ascans;
    block["lines"] = about.size.bscans;
    for (const int factor : factors) block["factors"].append(factor);
    block["signed"] = levels.isSigned;
    block["middle"] = levels.middle;
    block["high"] = levels.high;
    block["unit"] = unit;
    return block;
}

std::string ReportBlock::Packed() const {
    const auto [isSigned, middle, high] = Scale();
    const auto count = static_cast<std::size_t>(size.Count());
    std::vector<unsigned char> levels(count);
    const float* value = cells.get();
    if (isSigned)
        for (std::size_t i = 0; i < count; ++i) {
            const float part = (value[i] - middle) / high;
            levels[i] = static_cast<unsigned char>(
                128.5f + std::copysign(127 * std::sqrt(std::min(std::abs(part), 1.0f)), part));
        }
    else
        for (std::size_t i = 0; i < count; ++i)
            levels[i] =
                static_cast<unsigned char>(0.5f + 255 * std::sqrt(std::min(std::max(value[i], 0.0f) / high, 1.0f)));
    for (std::size_t i = count; i-- > 1;) levels[i] = static_cast<unsigned char>(levels[i] - levels[i - 1]);
    const std::vector<unsigned char> packed = Deflated(levels);
    return Base64(packed.data(), packed.size());
}

std::int64_t ReportCells(std::uint64_t bytes) {
    constexpr double kTextPerByte = 4.0 / 3, kBlocks = 2; // base64, of levels that may not pack at all
    return static_cast<std::int64_t>(static_cast<double>(std::min<std::uint64_t>(bytes, std::uint64_t{1} << 31)) /
                                     kTextPerByte / kBlocks);
}

void WriteReport(const fs::path& file, const ReportBlock& image, const std::optional<ReportBlock>& input,
                 const ReportTexts& texts) {
    std::string picture;
    const std::string title = image.About().file.filename().string();
    if (!texts.picture.empty()) {
        const std::string png = ReadText(texts.picture);
        picture = "<img alt=\"B-scan of " + Escaped(title) +
                  " as recorded and as imaged\" src=\"data:image/png;base64," +
                  Base64(reinterpret_cast<const unsigned char*>(png.data()), png.size()) + "\">";
    }
    const std::string style = kReportStyle, script = kReportScript;
    const std::string page = Filled(
        kReportHtml, {{"policy", "default-src 'none'; img-src data: blob:; style-src " + SourceHash(style) +
                                     "; script-src " + SourceHash(script) + "; base-uri 'none'; form-action 'none'"},
                      {"generator", std::string(kGenerator) + " " + TZM_VERSION},
                      {"title", Escaped(title.empty() ? "Image" : title)},
                      {"subtitle", Escaped(Subtitle(image, texts))},
                      {"style", style},
                      {"script", script},
                      {"picture", picture},
                      {"recipe", RecipeHtml(texts.recipe)},
                      {"about", ScriptJson(AboutJson(image, input, texts))},
                      {"image", image.Packed()},
                      {"input", input ? input->Packed() : ""}});
    WriteBytes(file, page.data(), page.size());
}

namespace {

/// Takes over what a recipe tells of an image.
void Describe(Recording& image, const Json::Value& told) {
    if (told["time_zero_sample"].isInt()) image.timeZero = told["time_zero_sample"].asInt();
    if (told["permittivity"].isNumeric()) image.permittivity = told["permittivity"].asDouble();
    if (told["line_spacing"].isNumeric()) image.lineSpacing = told["line_spacing"].asDouble();
}

/// The recipe that names an image as its output; null if there is none.
Json::Value RecipeOfImage(const fs::path& image) {
    const fs::path file = image.parent_path() / "recipe.json";
    if (!fs::exists(file)) return {};
    const Json::Value recipe = ParseJson(ReadText(file), file.string());
    if (recipe.isObject() && recipe["outputs"].isArray())
        for (const Json::Value& name : recipe["outputs"])
            if (name.isString() && name.asString() == image.filename()) return recipe;
    return {};
}

ReportBlock Gathered(const Recording& recording, std::int64_t cells) {
    ReportBlock block(recording.About(), cells);
    block.Take(0, recording);
    return block;
}

} // namespace

fs::path View(const ViewOptions& options) {
    const fs::path out = options.out.empty() ? options.image.parent_path() / "report.html" : options.out;
    if (fs::exists(out) && ReadText(out).find(std::string("content=\"") + kGenerator) == std::string::npos)
        throw Refusal(out.string() + " exists and is no report; choose another name with --out");
    Recording image = ReadRecording(options.image);
    RequireFinite(image, options.image.string());
    ReportTexts texts;
    texts.recipe = RecipeOfImage(options.image);
    Describe(image, texts.recipe["image"]);
    std::optional<ReportBlock> input;
    if (!options.inputs.empty()) {
        Recording recording = ReadRecording(*OpenSurvey(options.inputs, {}));
        if (recording.size.bscans != image.size.bscans)
            throw Refusal("the recording has " + std::to_string(recording.size.bscans) + " B-scans, the image " +
                          std::to_string(image.size.bscans));
        Describe(recording, texts.recipe["input"]);
        if (image.channels.empty()) image.channels = recording.channels;
        image.positions = recording.positions;
        image.coordinates = recording.coordinates;
        std::vector<int> shifts;
        for (const Json::Value& step : texts.recipe["steps"])
            for (const Json::Value& shift : step["shifts"])
                if (shift.isInt()) shifts.push_back(shift.asInt());
        texts.inputTimeZeros = InputTimeZeros(recording, shifts);
        input = Gathered(recording, ReportCells(options.bytes));
    }
    const Choice choice = ChooseBscans(image);
    Stage stage("image", image.About(), choice);
    stage.Take(0, image);
    const fs::path scratch = out.parent_path() / ("." + out.filename().string() + "." + std::to_string(getpid()));
    struct Removed {
        fs::path file;
        ~Removed() {
            std::error_code ignored;
            fs::remove(file, ignored);
        }
    } still{fs::path(scratch).concat(".png")}, page{fs::path(scratch).concat(".html")};
    DrawPicture(still.file, image.file.filename().string(), {StagePanel(stage, 0)}, 1, {});
    texts.picture = still.file;
    WriteReport(page.file, Gathered(image, ReportCells(options.bytes)), input, texts);
    fs::rename(page.file, out);
    return out;
}

} // namespace tzmchain

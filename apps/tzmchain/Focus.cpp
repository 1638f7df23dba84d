#include "Focus.h"

#include "OutputFolder.h"
#include "Views.h"

#include "Focus/FindPermittivity.h"
#include "Focus/FindTimeZero.h"
#include "Recording/Refusal.h"
#include "Recording/Survey.h"
#include "Recording/private/Text.h"

#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tzmchain {

using namespace TZM;
namespace fs = std::filesystem;

namespace {

constexpr char kJson[] = "focus.json", kPicture[] = "focus.png", kRecipe[] = "recipe.json";
constexpr std::int64_t kMostSamples = std::int64_t{1} << 26; // that are looked at
constexpr double kBeside = 1.3;                              // factor of the permittivities below and above
constexpr double kDisagreement = 3;                          // standard deviations

/// A recording, or whole lanes from its middle, with samples.
Recording Looked(const Recording& recording, RecordingSource* source) {
    Recording some = recording;
    if (source) {
        const Dimensions& size = recording.size;
        const std::int64_t bscan = std::int64_t{size.samples} * size.ascans;
        const int group = size.bscans % 5 == 0 ? 5 : size.bscans % 7 == 0 ? 7 : 1;
        const auto groups = std::clamp<std::int64_t>(kMostSamples / (bscan * group), 1, size.bscans / group);
        const int count = static_cast<int>(groups) * group,
                  first = (size.bscans / group - static_cast<int>(groups)) / 2 * group;
        some.size.bscans = count;
        some.data = AllocateSamples(some.size.Count());
        source->Read(first, count, some.data.get());
        const auto cut = [&](auto& list) {
            if (!list.empty()) list = {list.begin() + first, list.begin() + first + count};
        };
        cut(some.timeZeros);
        cut(some.validRanges);
    }
    RequireFinite(some, recording.file.string());
    return some;
}

std::string WithError(double value, double error) { return Number(value, 4) + " +- " + Number(error, 2); }

/// Permittivity and, if nobody tells it, time zero.
struct Numbers {
    Numbers(const Recording& recording, std::optional<double> timeZero, const FocusOptions& search) {
        FocusOptions options = search;
        if (timeZero) {
            options.timeZero = timeZero;
            permittivity = FindPermittivity(recording, options);
            return;
        }
        zero = FindTimeZero(recording, options);
        permittivity = zero->verdict == FocusVerdict::Found ? zero->permittivity : FindPermittivity(recording, options);
    }

    Json::Value Json() const {
        const auto orNull = [](const std::optional<double>& x) { return x ? Json::Value(*x) : Json::Value(); };
        Json::Value json;
        json["verdict"] = WordOf(permittivity.verdict);
        json["reason"] = permittivity.reason;
        json["permittivity"] = orNull(permittivity.permittivity);
        json["permittivity_error"] = orNull(permittivity.error);
        json["other_permittivity"] = orNull(permittivity.other);
        json["permittivity_by_entropy"] = orNull(permittivity.byEntropy);
        json["contrast"] = permittivity.contrast;
        json["chance"] = permittivity.chance;
        json["time_zero"] = zero ? orNull(zero->timeZero) : Json::Value(permittivity.timeZero);
        json["time_zero_error"] = zero ? orNull(zero->error) : Json::Value();
        if (zero) {
            json["first_break"] = orNull(zero->firstBreak);
            json["time_zero_reason"] = zero->reason;
            json["correlation"] = zero->correlation;
        }
        return json;
    }

    PermittivityFocus permittivity;
    std::optional<TimeZeroFocus> zero; ///< if it was searched
};

/// The image of a B-scan with a permittivity.
Recording ImageOf(const Recording& recording, int bscan, int timeZero, double permittivity) {
    Recording line = recording;
    line.size.bscans = 1;
    line.data = AllocateSamples(line.size.Count());
    std::copy_n(recording.Bscan(bscan), line.size.Count(), line.data.get());
    line.timeZero = timeZero;
    line.timeZeros.clear();
    line.channels.clear();
    line.validRanges.clear();
    line.positions.clear();
    line.permittivity = permittivity;
    Chain chain;
    chain.Add("OffsetRemoval");
    chain.Add("SlidingBackground").Set("window", std::max(4 * line.deltaX, 0.25 * line.size.ascans * line.deltaX));
    chain.Add("FkMigration").Set("timeZero", timeZero);
    chain.steps.back().Set("permittivity", permittivity);
    chain.Add("Mig2Post");
    return chain.Run(line).image;
}

/// Images below, at and above a permittivity, with the map of the windows, and the curve above them.
void DrawFocus(const Recording& recording, const PermittivityFocus& focus, const std::string& title,
               const fs::path& file) {
    const auto heaviest =
        std::max_element(focus.windows.begin(), focus.windows.end(),
                         [](const FocusWindow& a, const FocusWindow& b) { return a.weight < b.weight; });
    const int bscan = heaviest == focus.windows.end() ? 0 : heaviest->bscan;
    const int timeZero = static_cast<int>(std::lround(focus.timeZero));
    const double at = focus.permittivity.value_or(6);
    std::vector<Recording> images;
    std::vector<Panel> panels;
    for (const double permittivity : {at / kBeside, at, at * kBeside})
        images.push_back(ImageOf(recording, bscan, timeZero, permittivity));
    for (const Recording& image : images)
        panels.push_back(BscanPanel(image, 0, "envelope with permittivity " + Number(*image.permittivity, 3)));
    const Dimensions size = images.front().size;
    std::vector<float> map(static_cast<std::size_t>(size.samples) * size.ascans);
    for (const FocusWindow& window : focus.windows)
        if (window.bscan == bscan && window.permittivity)
            for (int y = window.ascanBegin; y < window.ascanEnd; ++y)
                for (int s = std::max(0, window.sampleBegin - timeZero);
                     s < std::min(size.samples, window.sampleEnd - timeZero); ++s)
                    map[static_cast<std::size_t>(y) * size.samples + s] = static_cast<float>(*window.permittivity);
    Panel panel = panels.front();
    panel.title = "permittivity with which each window focuses by itself; 0 where it doesn't";
    panel.data = map.data();
    panel.columnStep = size.samples;
    panel.rowStep = 1;
    panel.blend = false;
    panel.secondLabel.clear();
    panels.push_back(panel);
    Curve curve{"focus: logarithm of the normalised fourth moment, over the relative permittivity", {}, {}, {}};
    for (const FocusPoint& point : focus.curve) curve.points.push_back({point.permittivity, point.focus});
    if (focus.permittivity) {
        curve.band = {*focus.permittivity - *focus.error, *focus.permittivity + *focus.error};
        curve.marks = {*focus.permittivity};
        if (focus.other) curve.marks.push_back(*focus.other);
    }
    DrawPicture(file, title, panels, 1, Style{}, &curve);
}

} // namespace

FoundNumbers FindNumbers(const Recording& recording, RecordingSource* source, const WantedNumbers& wanted,
                         GivenNumbers& numbers, Progress& progress) {
    FoundNumbers found;
    if (!wanted.timeZero && !wanted.permittivity) return found;
    FocusOptions options;
    options.progress = [&](double share) { return progress.Share(share), true; };
    std::optional<double> known;
    if (!wanted.timeZero && numbers.timeZero) known = *numbers.timeZero;
    if (!wanted.timeZero && !known && recording.timeZero) known = *recording.timeZero;
    const Recording looked = Looked(recording, recording.data ? nullptr : source);
    const Numbers result(looked, known, options);
    const PermittivityFocus& focus = result.permittivity;
    found.json = result.Json();
    if (wanted.timeZero) {
        if (const auto& zero = *result.zero; zero.timeZero) {
            numbers.timeZero = static_cast<int>(std::lround(*zero.timeZero));
            found.lines.push_back("time zero, which isn't known, was found at sample " +
                                  WithError(*zero.timeZero, *zero.error) + ": " + zero.reason);
        } else {
            found.missing.push_back("time zero wasn't found: " + zero.reason);
        }
    }
    if (wanted.permittivity && focus.permittivity) numbers.permittivity = *focus.permittivity;
    const std::string word = focus.permittivity ? WithError(*focus.permittivity, *focus.error) : "";
    if (wanted.permittivity && focus.permittivity)
        found.lines.push_back("the permittivity, which isn't known, was found: the image focuses best with " + word +
                              (focus.reason.empty() ? "" : "; " + focus.reason));
    else if (wanted.permittivity)
        found.missing.push_back("the permittivity wasn't found: " + focus.reason);
    else if (const auto told = numbers.permittivity ? numbers.permittivity : recording.permittivity;
             told && focus.verdict == FocusVerdict::Found &&
             std::abs(*told - *focus.permittivity) > kDisagreement * *focus.error)
        found.lines.push_back("the image focuses best with a permittivity of " + word + ", and " + Number(*told) +
                              " is told; --permittivity auto takes the former");
    return found;
}

void Focus(const FocusJob& job) {
    Progress progress(job.quiet, isatty(STDERR_FILENO) != 0);
    if (job.threads > 0) omp_set_num_threads(job.threads);
    OutputFolder folder(job.out);
    for (const char* name : {kJson, kPicture, kRecipe}) folder.Claim(name, job.inputs);
    const auto source = OpenSurvey(job.inputs, job.reading);
    const Recording& about = source->About();
    const auto samples = static_cast<double>(std::min(about.size.Count(), kMostSamples));
    progress.Plan("read", samples);
    progress.Plan("focus", 100 * samples);
    progress.Plan("picture", 10 * samples);
    Recording recording;
    progress.Do("read", "", [&] { recording = Looked(about, source.get()); });
    std::optional<double> timeZero;
    if (job.timeZero)
        timeZero = *job.timeZero;
    else if (recording.timeZero && !job.searchTimeZero)
        timeZero = *recording.timeZero;
    FocusOptions options;
    options.from = job.lowest, options.to = job.highest;
    options.progress = [&](double share) { return progress.Share(share), true; };
    std::optional<Numbers> found;
    progress.Do("focus", "", [&] { found.emplace(recording, timeZero, options); });

    const PermittivityFocus& focus = found->permittivity;
    std::string title =
        std::string(WordOf(focus.verdict)) + ": " +
        (focus.permittivity ? "permittivity " + WithError(*focus.permittivity, *focus.error) : focus.reason);
    const auto& zero = found->zero;
    title += ", time zero at sample " +
             (zero && zero->timeZero ? WithError(*zero->timeZero, *zero->error) : Number(focus.timeZero, 4));
    Json::Value json = found->Json();
    json["curve"] = Json::Value(Json::arrayValue);
    for (const FocusPoint& point : focus.curve) {
        Json::Value pair(Json::arrayValue);
        pair.append(point.permittivity);
        pair.append(point.focus);
        json["curve"].append(pair);
    }
    for (const FocusWindow& window : focus.windows)
        if (window.permittivity) {
            Json::Value entry;
            entry["bscan"] = window.bscan;
            for (const int y : {window.ascanBegin, window.ascanEnd}) entry["ascans"].append(y);
            for (const int s : {window.sampleBegin, window.sampleEnd}) entry["samples"].append(s);
            entry["permittivity"] = *window.permittivity;
            entry["weight"] = window.weight;
            json["windows"].append(entry);
        }
    const auto write = [&](const char* name, const Json::Value& value) {
        const std::string text = JsonText(value);
        WriteBytes(folder.Path() / name, text.data(), text.size());
    };
    if (!focus.curve.empty())
        progress.Do("picture", "", [&] { DrawFocus(recording, focus, title, folder.Path() / kPicture); });
    write(kJson, json);
    Json::Value recipe;
    recipe["program"] = "tzmchain";
    recipe["command"] = "focus";
    recipe["input"]["file"] = about.file.filename().string();
    for (const char* name : {kJson, kPicture, kRecipe})
        if (std::string(name) != kPicture || !focus.curve.empty()) recipe["outputs"].append(name);
    write(kRecipe, recipe);
    folder.Commit();

    std::printf("%-18s %s\n", "verdict", WordOf(focus.verdict));
    if (focus.permittivity)
        std::printf("%-18s %s\n", "permittivity", WithError(*focus.permittivity, *focus.error).c_str());
    if (focus.other) std::printf("%-18s %s\n", "or", Number(*focus.other, 4).c_str());
    if (zero && zero->timeZero)
        std::printf("%-18s sample %s\n", "time zero", WithError(*zero->timeZero, *zero->error).c_str());
    else
        std::printf("%-18s sample %s%s\n", "time zero", Number(focus.timeZero, 4).c_str(),
                    zero ? ", since none was found" : "");
    for (const std::string& reason : {focus.reason, zero ? zero->reason : ""})
        if (!reason.empty()) std::printf("%-18s %s\n", "note", reason.c_str());
    progress.Note("written to " + job.out.string());
}

} // namespace tzmchain

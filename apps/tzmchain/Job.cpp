#include "Job.h"

#include "Chain.h"
#include "OutputFolder.h"
#include "Progress.h"
#include "Recipe.h"
#include "Refusal.h"
#include "Text.h"
#include "Views.h"
#include "VtkLog.h"

#include "Framework/Logger.h"

#include <omp.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vtkImageData.h>
#include <vtkNew.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>

namespace tzmchain {

namespace fs = std::filesystem;

namespace {

constexpr char kImage[] = "image.vti", kRecipe[] = "recipe.json", kScene[] = "scene";

// Rough times per sample of the tasks beside the chain, on the scale of the rows of Algorithms().
constexpr double kReadCost = 14, kWriteCost = 6, kPictureCost = 24;

/// Refusal with what the library put into its error list while it took over a document.
void RequireAccepted(bool accepted, const fs::path& file) {
    std::string told;
    for (const std::string& error : TZM::Logger::GetInstance()->GetErrorList()) told += error + " ";
    TZM::Logger::GetInstance()->ClearErrorList();
    if (!accepted) throw Refusal(file.string() + (told.empty() ? " is empty or can't be read" : ": " + OneLine(told)));
}

/// What counts without a configuration document. The migration is periodic in time: without room below, the surface
/// would come back at the bottom of the image.
constexpr char kConfiguration[] = R"({"FkMigration": {"DepthSpectrumSizeExtension": 1}})";

/// Gives the library its documents, and the terminal a line for every key that it will skip.
void LoadDocuments(const JobOptions& options, Progress& progress) {
    const VtkLog silence([](const std::string&) {}); // what is told is told in one line
    if (!options.configuration.empty()) {
        ReadText(options.configuration); // tells a folder or a missing file apart
        RequireAccepted(TZM::AlgoBase::LoadConfigFile(options.configuration.string()), options.configuration);
        Json::Value root;
        try {
            root = ParseJson(TZM::AlgoBase::GetConfigString(), "");
        } catch (const Refusal&) { // a key twice or text behind the end, which the library lets pass
        }
        for (const std::string& line : SkippedKeys(root)) progress.Note("configuration: " + line);
    } else {
        RequireAccepted(TZM::AlgoBase::SetConfigString(kConfiguration), "the default configuration");
    }
    if (!options.calibration.empty())
        RequireAccepted(TZM::AlgoBase::SetCalibrationString(ReadText(options.calibration)), options.calibration);
}

std::optional<Chain> GivenChain(const fs::path& file) {
    if (file.empty()) return std::nullopt;
    return Chain::FromDocument(ParseJson(ReadText(file), file.string()), file.string());
}

/// Settles a number between command line, chain, recording and default. The recording gets what the chain works with,
/// so that axes and depths belong to it.
template <class T>
void Settle(Chain& chain, const char* parameter, const std::string& words, const std::string& option,
            const std::optional<T>& commanded, std::optional<T>& known, Progress& progress) {
    const Chain::Use use = chain.Find(parameter);
    if (use.given)
        known = static_cast<T>(use.value.asDouble());
    else if (commanded)
        known = commanded;
    else if (!use.value.isNull() && !known)
        progress.Note("note: the " + words + " isn't known, " + Number(use.value.asDouble()) +
                      " is taken; give it with " + option);
}

void Settle(Chain& chain, Recording& recording, const JobOptions& options, Progress& progress) {
    if (options.timeZero) chain.Set("timeZero", *options.timeZero, true);
    if (options.permittivity) chain.Set("permittivity", *options.permittivity, true);
    if (options.antennaOffset) chain.Set("antennaOffset", *options.antennaOffset, true);
    chain.BeginAtDetectedTimeZero();
    if (recording.timeZero) chain.Set("timeZero", *recording.timeZero, false);
    if (recording.permittivity) chain.Set("permittivity", *recording.permittivity, false);
    if (recording.antennaOffset) chain.Set("antennaOffset", *recording.antennaOffset, false);
    chain.ReadConfiguration();
    Settle(chain, "timeZero", "sample of time zero", "--time-zero", options.timeZero, recording.timeZero, progress);
    Settle(chain, "permittivity", "permittivity", "--permittivity", options.permittivity, recording.permittivity,
           progress);
    Settle(chain, "antennaOffset", "antenna offset in metres", "--antenna-offset", options.antennaOffset,
           recording.antennaOffset, progress);
    std::set<Json::Value> permittivities; // one of them may come from a key that the other steps don't have
    for (Step& step : chain.steps)
        if (const Parameter* permittivity = step.Find("permittivity")) permittivities.insert(permittivity->get());
    if (permittivities.size() > 1) progress.Note("note: the steps work with different permittivities");
}

void WriteText(const fs::path& file, const std::string& text) { WriteBytes(file, text.data(), text.size()); }

std::pair<float, float> RangeOf(const Recording& recording) {
    const float* begin = recording.data.get();
    const auto [low, high] = std::minmax_element(begin, begin + recording.size.Count());
    return {*low, *high};
}

Recording WithoutSamples(const Recording& recording) {
    Recording bare = recording;
    bare.data.reset();
    return bare;
}

/// The most memory that the program has held.
std::int64_t PeakBytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return std::int64_t{usage.ru_maxrss} * 1024;
}

/// "after OffsetRemoval, FkMigration, Mig2Post", of the steps from `begin` up to `end`.
std::string TitleOf(const Chain& chain, std::size_t begin, std::size_t end) {
    std::string title = "after ";
    for (std::size_t i = begin; i < end; ++i) title += (i == begin ? "" : ", ") + chain.steps[i].row->name;
    constexpr std::size_t kFits = 120;
    return title.size() <= kFits ? title : "after " + std::to_string(end - begin) + " algorithms";
}

/// Keeps what the pictures show of the chain's run: input, the prepared block ahead of a migration if more than one
/// step prepared it, and the image.
class Stages {
public:
    Stages(const Chain& of, const Recording& recording)
        : chain(of), choice(ChooseBscans(recording)), all{Stage("input", recording, choice)} {}

    void Observe(const Step& next, const Recording& block) {
        const auto done = static_cast<std::size_t>(&next - chain.steps.data());
        if (!next.row->migrates || done < 2 || all.size() > 1) return;
        all.emplace_back(TitleOf(chain, 0, done), block, choice);
        shown = done;
    }

    std::vector<std::string> Draw(const Recording& image, const fs::path& folder, const Style& style) {
        all.emplace_back(TitleOf(chain, shown, chain.steps.size()), image, choice);
        for (const StepReport& report : chain.reports) // the input counts from the time zero that was found in it
            if (!report.shifts.empty() && report.input.samples == all.front().bscans.size.samples)
                for (std::size_t i = 0; i < choice.indices.size(); ++i)
                    all.front().timeZero[i] = report.shifts[static_cast<std::size_t>(choice.indices[i])];
        std::vector<std::string> files = DrawBscans(choice, all, folder, style);
        for (const std::string& file : DrawAcross(all, folder, style)) files.push_back(file);
        return files;
    }

private:
    const Chain& chain;
    const Choice choice;
    std::vector<Stage> all;
    std::size_t shown = 0; // steps that came before the last of these
};

/// The job after the recording was told how to come: `read` gives it and may put files into the output folder.
void Work(const JobOptions& options, const std::string& readTask, double bytesHint,
          const std::function<Recording(OutputFolder&)>& read) {
    Progress progress(options.quiet, isatty(STDERR_FILENO) != 0);
    if (options.threads > 0) omp_set_num_threads(options.threads);
    LoadDocuments(options, progress);
    std::optional<Chain> givenChain = GivenChain(options.chain);
    OutputFolder folder(options.out);
    for (const char* name : {kImage, kRecipe}) folder.Claim(name, options.input);

    const double samples = bytesHint / sizeof(float);
    progress.Plan(readTask, samples * kReadCost);
    const VtkLog log([&progress](const std::string& line) { progress.Note(line); });
    Recipe recipe;
    Recording recording;
    Chain chain;
    const vtkNew<RecordingReader> reader;
    reader->SetRead([&] { return read(folder); });
    recipe.seconds.emplace_back(readTask, progress.Do(readTask, "", [&] {
        Update(reader, "", progress);
        recording = RecordingOf(reader->GetOutput(), reader->About());
        recording.size = reader->About().size; // the first of the copies of a single line
        // Who gives the time zero doesn't want it detected.
        chain = givenChain         ? std::move(*givenChain)
                : options.timeZero ? Chain::Standard(options.choice)
                                   : Chain::StandardFor(recording, options.choice);
        for (const Step& step : chain.steps) progress.Plan(step.row->name, samples * step.row->cost);
        progress.Plan("pictures", samples * kPictureCost);
        progress.Plan("image", samples * kWriteCost);
    }));
    RequireFinite(recording, recording.file.string());
    Settle(chain, recording, options, progress);
    if (recording.size.bscans == 1)
        progress.Note("note: the single line is handed to the chain as five equal B-scans; the first is kept");
    Stages stages(chain, recording);
    recording.data.reset(); // the reader releases them
    recipe.input = recording;

    const Recording image = chain.Run(reader, recording, progress, [&stages](const Step& next, const Recording& block) {
        stages.Observe(next, block);
    });
    recipe.imageRange = RangeOf(image);
    recipe.image = WithoutSamples(image);
    recipe.seconds.emplace_back("pictures", progress.Do("pictures", "", [&] {
        recipe.outputs = stages.Draw(image, folder.Path(), options.style);
        const auto slices = DrawDepthSlices(image, folder.Path(), options.style);
        recipe.outputs.insert(recipe.outputs.end(), slices.begin(), slices.end());
    }));
    recipe.seconds.emplace_back("image", progress.Do("image", image.size.Text(), [&] {
        WriteVti(chain.Output(), folder.Path() / kImage, progress);
    }));

    recipe.peakBytes = PeakBytes();
    recipe.threads = omp_get_max_threads();
    recipe.configuration = TZM::AlgoBase::GetConfigString();
    recipe.calibration = TZM::AlgoBase::GetCalibrationString();
    recipe.outputs.insert(recipe.outputs.end(), {kImage, kRecipe});
    if (fs::exists(folder.Path() / fs::path(kScene).concat(".f32")))
        for (const char* extension : {".f32", ".json"}) recipe.outputs.push_back(std::string(kScene) + extension);
    WriteText(folder.Path() / kRecipe, RecipeText(recipe, chain));
    folder.Commit();
    progress.Note("written to " + options.out.string());
}

} // namespace

void Run(const JobOptions& options) {
    std::error_code ignored;
    const auto bytes = fs::file_size(
        options.input.extension() == ".json" ? fs::path(options.input).replace_extension(".f32") : options.input,
        ignored);
    Work(options, "read", ignored ? 0 : static_cast<double>(bytes),
         [&](OutputFolder&) { return ReadRecording(options.input); });
}

void Demo(const JobOptions& options, const Scene& scene) {
    const double bytes = 4.0 * scene.samples * scene.ascans * scene.lanes * static_cast<double>(kPairs.size());
    Work(options, "scene", bytes, [&](OutputFolder& folder) {
        for (const char* extension : {".f32", ".json"}) folder.Claim(std::string(kScene) + extension);
        Recording recording = Record(scene);
        WriteRecording(recording, folder.Path() / kScene);
        return recording;
    });
}

} // namespace tzmchain

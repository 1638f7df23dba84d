#include "Job.h"

#include "Chain.h"
#include "OutputFolder.h"
#include "Progress.h"
#include "Recipe.h"
#include "Refusal.h"
#include "Text.h"
#include "Views.h"
#include "VtkFile.h"
#include "VtkLog.h"

#include "Framework/Logger.h"

#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <functional>

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
    }
    if (!options.calibration.empty())
        RequireAccepted(TZM::AlgoBase::SetCalibrationString(ReadText(options.calibration)), options.calibration);
}

Chain MakeChain(const JobOptions& options) {
    Chain chain =
        options.chain.empty()
            ? Chain::Standard()
            : Chain::FromDocument(ParseJson(ReadText(options.chain), options.chain.string()), options.chain.string());
    if (options.timeZero) chain.Set("timeZero", *options.timeZero, true);
    if (options.permittivity) chain.Set("permittivity", *options.permittivity, true);
    return chain;
}

/// Settles time zero and permittivity between the recording and the chain: what the command line or the chain document
/// gave counts for both, and what only the recording knows goes to the chain.
void Settle(Chain& chain, Recording& recording, const JobOptions& options, Progress& progress) {
    if (recording.timeZero) chain.Set("timeZero", *recording.timeZero, false);
    if (recording.permittivity) chain.Set("permittivity", *recording.permittivity, false);
    chain.ReadConfiguration();
    const auto timeZero = chain.Given("timeZero"), permittivity = chain.Given("permittivity");
    if (timeZero)
        recording.timeZero = timeZero->asInt();
    else if (options.timeZero)
        recording.timeZero = options.timeZero;
    else if (chain.Find("timeZero") && !recording.timeZero)
        progress.Note("note: time zero isn't known, " + std::to_string(chain.Find("timeZero")->get().asInt()) +
                      " is taken; give it with --time-zero");
    if (permittivity)
        recording.permittivity = permittivity->asDouble();
    else if (options.permittivity)
        recording.permittivity = options.permittivity;
    else if (chain.Find("permittivity") && !recording.permittivity)
        progress.Note("note: the permittivity isn't known, " + Number(chain.Find("permittivity")->get().asDouble()) +
                      " is taken; give it with --permittivity");
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

/// "after OffsetRemoval, FkMigration, Mig2Post"
std::string ResultTitle(const Chain& chain) {
    std::string title = "after ";
    for (const Step& step : chain.steps) title += (&step == &chain.steps.front() ? "" : ", ") + step.row->name;
    constexpr std::size_t kFits = 120;
    return title.size() <= kFits ? title : "after " + std::to_string(chain.steps.size()) + " algorithms";
}

/// The job after the recording was told how to come: `read` gives it and may put files into the output folder.
void Work(const JobOptions& options, const std::string& readTask, double bytesHint,
          const std::function<Recording(OutputFolder&)>& read) {
    Progress progress(options.quiet, isatty(STDERR_FILENO) != 0);
    if (options.threads > 0) omp_set_num_threads(options.threads);
    LoadDocuments(options, progress);
    Chain chain = MakeChain(options);
    OutputFolder folder(options.out);
    for (const char* name : {kImage, kRecipe}) folder.Claim(name, options.input);

    const double samples = bytesHint / sizeof(float);
    progress.Plan(readTask, samples * kReadCost);
    for (const Step& step : chain.steps) progress.Plan(step.row->name, samples * step.row->cost);
    progress.Plan("pictures", samples * kPictureCost);
    progress.Plan("image", samples * kWriteCost);

    const VtkLog log([&progress](const std::string& line) { progress.Note(line); });
    Recipe recipe;
    Recording recording;
    recipe.seconds.emplace_back(readTask, progress.Do(readTask, "", [&] { recording = read(folder); }));
    RequireFinite(recording, recording.file.string());
    Settle(chain, recording, options, progress);
    recipe.input = WithoutSamples(recording);
    if (recording.size.bscans == 1)
        progress.Note("note: the single line is handed to the chain as five equal B-scans; the first is kept");

    const Excerpt excerpt = ChooseBscans(recording);
    const Recording image = chain.Run(std::move(recording), progress);
    recipe.imageRange = RangeOf(image);
    recipe.image = WithoutSamples(image);
    recipe.seconds.emplace_back("pictures", progress.Do("pictures", "", [&] {
        recipe.outputs = DrawBscans(excerpt, image, ResultTitle(chain), folder.Path(), options.style);
        const auto slices = DrawDepthSlices(image, folder.Path(), options.style);
        recipe.outputs.insert(recipe.outputs.end(), slices.begin(), slices.end());
    }));
    recipe.seconds.emplace_back(
        "image", progress.Do("image", image.size.Text(), [&] { WriteVti(image, folder.Path() / kImage); }));

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

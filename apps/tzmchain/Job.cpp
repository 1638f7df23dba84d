#include "Job.h"

#include "Focus.h"
#include "OutputFolder.h"
#include "Progress.h"
#include "Report.h"
#include "Views.h"

#include "Chain/Recipe.h"
#include "Formats/Projection.h"
#include "Framework/Logger.h"
#include "Imaging/Vti/VtiFormat.h"
#include "Imaging/Vti/VtkLog.h"
#include "Recording/Format.h"
#include "Recording/Refusal.h"
#include "Recording/Survey.h"
#include "Recording/private/Text.h"

#include <cairo.h>
#include <omp.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vtkImageData.h>
#include <vtkVersion.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <map>
#include <set>

namespace tzmchain {

using namespace TZM;
namespace fs = std::filesystem;

namespace {

constexpr char kImage[] = "image.vti", kRecipe[] = "recipe.json", kScene[] = "scene", kTrack[] = "track.geojson",
               kReport[] = "report.html";

// Rough times per sample of the tasks beside the chain, on the scale of the rows of Algorithms().
constexpr double kFocusCost = 400, kReadCost = 14, kWriteCost = 6, kPictureCost = 24, kReportCost = 60;

const std::map<std::string, std::string> kOptions = {{"timeZero", "--time-zero"},
                                                     {"permittivity", "--permittivity"},
                                                     {"antennaOffset", "--antenna-offset"},
                                                     {"lineSpacing", "--line-spacing"}};

/// Refusal with what the library put into its error list while it took over a document.
void RequireAccepted(bool accepted, const fs::path& file) {
    std::string told;
    for (const std::string& error : Logger::GetInstance()->GetErrorList()) told += error + " ";
    Logger::GetInstance()->ClearErrorList();
    if (!accepted) throw Refusal(file.string() + (told.empty() ? " is empty or can't be read" : ": " + OneLine(told)));
}

/// The program's own tuning: the migration is periodic in time, and without room below, the surface would come back at
/// the bottom of the image. The user's keys win.
void AddOwnKeys(Json::Value& configuration) {
    for (const char* name : {"FkMigration", "FkMigration3D"}) {
        Json::Value& section = configuration[name];
        if (!section.isNull() && !section.isObject()) continue;
        if (!section.isMember("DepthSpectrumSizeExtension")) section["DepthSpectrumSizeExtension"] = 1;
    }
}

/// Gives the library its documents, and the terminal a line for every key that it will skip.
void LoadDocuments(const JobOptions& options, Progress& progress) {
    const VtkLog silence([](const std::string&) {}); // what is told is told in one line
    Json::Value configuration(Json::objectValue);
    if (!options.configuration.empty()) {
        ReadText(options.configuration); // tells a folder or a missing file apart
        RequireAccepted(AlgoBase::LoadConfigFile(options.configuration.string()), options.configuration);
        try {
            configuration = ParseJson(AlgoBase::GetConfigString(), "");
        } catch (const Refusal& refusal) { // a key twice or text behind the end, which the library lets pass
            progress.Note("note: " + options.configuration.string() + refusal.what() +
                          "; the program's own keys aren't added to it");
            configuration = Json::Value();
        }
        for (const std::string& line : SkippedKeys(configuration)) progress.Note("configuration: " + line);
    }
    if (configuration.isObject()) {
        AddOwnKeys(configuration);
        RequireAccepted(AlgoBase::SetConfigString(JsonText(configuration)), "the configuration");
    }
    if (!options.calibration.empty())
        RequireAccepted(AlgoBase::SetCalibrationString(ReadText(options.calibration)), options.calibration);
}

/// The chain that is asked for. Options that it would ignore are refused.
Chain ChosenChain(const JobOptions& options, const Recording& recording) {
    if (options.chain.empty())
        return Chain::Standard(recording,
                               {options.background, options.migration.value_or(""), options.numbers.timeZero,
                                options.frequency, options.preset, options.signedImage, options.numbers.lineSpacing});
    if (options.background)
        throw Refusal("--background is of the standard chains; name a BgRemoval in the chain document");
    if (options.migration) throw Refusal("--migration is of the standard chains; name one in the chain document");
    if (options.preset) throw Refusal("--preset is of the standard chains; leave out --chain");
    if (options.signedImage) throw Refusal("--image is of the standard chains; leave out --chain");
    if (options.frequency) throw Refusal("--frequency is of the standard chains; set the band in the chain document");
    Chain chain =
        Chain::FromDocument(ParseJson(ReadText(options.chain), options.chain.string()), options.chain.string());
    for (const Step& step : chain.steps)
        if (options.numbers.timeZero && step.Info().findsTimeZero)
            throw Refusal("--time-zero would have no effect: the chain of " + options.chain.string() + " detects it (" +
                          step.Info().name + ")");
    return chain;
}

/// Refuses options that no step of the chain heeds.
void RequireHeeded(const Chain& chain, const JobOptions& options) {
    const auto refuse = [&](bool given, const char* option, const std::vector<std::string>& parameters) {
        const auto heeds = [&](const Step& step) {
            return std::any_of(parameters.begin(), parameters.end(),
                               [&](const std::string& name) { return step.Info().Find(name) != nullptr; });
        };
        if (given && std::none_of(chain.steps.begin(), chain.steps.end(), heeds))
            throw Refusal(std::string(option) + " would have no effect: no step of the chain heeds it");
    };
    refuse(options.numbers.antennaOffset.has_value(), "--antenna-offset", {"antennaOffset", "antennaOffsetBi"});
    refuse(options.numbers.lineSpacing.has_value(), "--line-spacing", {"lineSpacing"});
    refuse(!options.calibration.empty(), "--calibration", {"IgnoreCalibration"});
}

/// What the chain will need and nobody tells, or what is to be searched anyway.
WantedNumbers Wanted(const JobOptions& options, const Recording& recording) {
    WantedNumbers wanted{options.searchTimeZero, options.searchPermittivity};
    Chain chain = ChosenChain(options, recording);
    Recording about = recording.About();
    for (const AssumedNumber& assumed : chain.Settle(about, options.numbers)) {
        if (assumed.parameter == "timeZero") wanted.timeZero = true;
        if (assumed.parameter == "permittivity") wanted.permittivity = true;
    }
    for (const Step& step : chain.steps)
        if (step.Info().findsTimeZero) wanted.timeZero = false;
    return wanted;
}

/// Settles and checks a chain for a recording whose samples may not have been read yet. Gives the warnings.
std::vector<std::string> Prepare(Chain& chain, Recording& recording, const JobOptions& options) {
    std::vector<std::string> warnings;
    RequireHeeded(chain, options);
    if (!recording.knowsDeltaX)
        warnings.push_back("the distance between A-scans isn't known, " + Number(recording.deltaX) + " m is taken");
    for (const AssumedNumber& assumed : chain.Settle(recording, options.numbers))
        warnings.push_back(assumed.Text() + "; give it with " + kOptions.at(assumed.parameter));
    for (const std::string& warning : chain.Check(recording)) warnings.push_back(warning);
    std::set<Json::Value> permittivities; // one of them may come from a key that the other steps don't have
    for (const Step& step : chain.steps)
        if (step.Info().Find("permittivity")) permittivities.insert(step.Get("permittivity"));
    if (permittivities.size() > 1) warnings.push_back("the steps work with different permittivities");
    return warnings;
}

/// Positions of the input, as the recipe tells them.
Json::Value PositionsOf(const Recording& recording) {
    Json::Value told;
    const auto ends = [](const std::vector<Position>& positions) {
        Json::Value both;
        for (const auto& [name, p] : {std::pair("first", positions.front()), std::pair("last", positions.back())})
            for (const double number : {p.east, p.north, p.height}) both[name].append(number);
        return both;
    };
    told = ends(recording.positions);
    told["count"] = Json::Int64(recording.positions.size());
    told["coordinates"] = recording.coordinates;
    std::string system;
    const std::vector<Position> metres = PositionsInMetres(recording, system);
    if (system == recording.coordinates) return told;
    told["metres"] = ends(metres);
    told["metres"]["coordinates"] = system;
    return told;
}

/// Writes the track of a recording that has positions, and tells them in the recipe; a note if that can't be done.
void WriteTrack(const Recording& recording, const fs::path& folder, Json::Value& recipe, Progress& progress,
                std::vector<std::string>& outputs) {
    if (recording.positions.empty()) return;
    try {
        recipe["input"]["positions"] = PositionsOf(recording);
        const std::string text = JsonText(TrackGeoJson(recording));
        WriteBytes(folder / kTrack, text.data(), text.size());
        outputs.push_back(kTrack);
    } catch (const Refusal& refusal) {
        progress.Note(std::string("note: no track is written: ") + refusal.what());
    }
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
    for (std::size_t i = begin; i < end; ++i) title += (i == begin ? "" : ", ") + chain.steps[i].Info().name;
    constexpr std::size_t kFits = 120;
    return title.size() <= kFits ? title : "after " + std::to_string(end - begin) + " algorithms";
}

/// "2026-11-24: OffsetRemoval, FkMigration, Mig2Post"
std::string MadeBy(const Chain& chain) {
    const std::time_t now = std::time(nullptr);
    char date[16];
    std::strftime(date, sizeof date, "%Y-%m-%d", std::localtime(&now));
    std::vector<std::string> names;
    for (const Step& step : chain.steps) names.push_back(step.Info().name);
    return std::string(date) + ": " + Joined(names);
}

/// Keeps what the pictures show of the chain's run: input, the prepared block ahead of a migration if more than one
/// step prepared it, and the image.
class Stages {
public:
    /// \param reportCells that each block of a report may have; 0: there is none.
    Stages(const Chain& of, const Recording& recording, const Lines& lines, std::int64_t reportCells)
        : chain(of), choice(ChooseBscans(recording, lines)), cells(reportCells) {
        for (std::size_t i = 2; i < chain.steps.size() && prepared == 0; ++i)
            if (chain.steps[i].Info().migrates) prepared = i;
    }

    /// B-scans of the block that a step gets; of the image, behind the last step.
    void Observe(std::size_t step, const Recording& part, int firstBscan, int bscans) {
        const bool image = step == chain.steps.size();
        if (step != 0 && step != prepared && !image) return;
        if (firstBscan == 0) {
            Recording about = part.About();
            about.size.bscans = bscans;
            all.insert_or_assign(step, Stage(step == 0 ? "input" : TitleOf(chain, image ? prepared : 0, step), about,
                                             choice, image ? "relative magnitude" : "counts"));
            if (image) slabs = DepthSlabs(about);
            if (cells > 0 && (image || step == 0)) (image ? reportImage : reportInput).emplace(about, cells);
        }
        all.at(step).Take(firstBscan, part);
        if (image) slabs.Take(firstBscan, part);
        if (cells > 0 && (image || step == 0)) (image ? reportImage : reportInput)->Take(firstBscan, part);
    }

    /// The report of the run, with the first of the pictures in it.
    void Report(const RunResult& result, const Json::Value& recipe, const fs::path& folder,
                const std::string& picture) const {
        const Recording& input = reportInput->About();
        ReportTexts texts{recipe, {}, {}};
        if (fs::path(picture).extension() == ".png") texts.picture = folder / picture;
        std::vector<int> shifts;
        for (const StepReport& report : result.steps)
            if (report.input.samples == input.size.samples)
                shifts.insert(shifts.end(), report.shifts.begin(), report.shifts.end());
        texts.inputTimeZeros = InputTimeZeros(input, shifts);
        WriteReport(folder / kReport, *reportImage, reportInput, texts);
    }

    std::vector<std::string> Draw(const RunResult& result, const fs::path& folder, const Style& style) {
        std::vector<Stage> stages;
        for (auto& [step, stage] : all) stages.push_back(std::move(stage));
        for (const StepReport& report : result.steps) // the input counts from the time zero that was found in it
            if (!report.shifts.empty() && report.input.samples == stages.front().bscans.size.samples)
                stages.front().CountFrom(report.shifts);
        std::vector<std::string> files = DrawBscans(choice, stages, folder, style);
        for (const std::string& file : DrawAcross(stages, folder, style)) files.push_back(file);
        for (const std::string& file : slabs.Draw(folder, style)) files.push_back(file);
        return files;
    }

private:
    const Chain& chain;
    const Choice choice;
    std::map<std::size_t, Stage> all; // by the step ahead of which they are taken
    DepthSlabs slabs;
    const std::int64_t cells;
    std::optional<ReportBlock> reportInput, reportImage;
    std::size_t prepared = 0; // steps that prepare the block ahead of the migration; 0: it isn't shown
};

/// Where a job's recording comes from. What `open` gives has no samples if `source` is there to fetch them.
struct Input {
    std::string task;
    double samples; // of a recording that comes with them
    std::function<Recording(OutputFolder&)> open;
    std::unique_ptr<RecordingSource> source;
};

/// Shows the pictures what they keep.
void Show(RunOptions& run, Stages& stages) {
    run.observe = [&](std::size_t step, const Recording& part, int first, int bscans) {
        stages.Observe(step, part, first, bscans);
    };
}

RunResult RunWatched(const Chain& chain, Recording recording, Stages& stages, Progress& progress) {
    RunOptions run;
    Show(run, stages);
    run.progress = [&](std::size_t i, double share) {
        if (share == 0) progress.Begin(chain.steps[i].Info().name);
        progress.Share(share);
        return true;
    };
    run.done = [&](std::size_t, const StepReport& report) {
        progress.End(report.input.Text() + " to " + report.output.Text());
        for (const std::string& note : report.notes) progress.Note(note);
    };
    try {
        return chain.Run(std::move(recording), run);
    } catch (...) {
        progress.Abandon();
        throw;
    }
}

/// Bytes that blocks may take: what is told, else half of what is free now.
std::int64_t MemoryLimit(const JobOptions& options) {
    if (options.memory > 0) return static_cast<std::int64_t>(std::min(options.memory, std::uint64_t{1} << 62));
    std::ifstream info("/proc/meminfo");
    std::int64_t kilobytes = std::int64_t{1} << 21; // if the system doesn't tell
    for (std::string line; std::getline(info, line);)
        if (line.rfind("MemAvailable:", 0) == 0) kilobytes = std::strtoll(line.c_str() + 13, nullptr, 10);
    std::int64_t bytes = kilobytes * 1024;
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
        bytes = std::min(bytes, static_cast<std::int64_t>(limit.rlim_cur));
    return bytes / 2;
}

/// Whether input and result together take more memory than they may. A single B-scan is worked on as a whole.
bool TooLarge(const Recording& recording, const JobOptions& options) {
    constexpr double kBlocks = 2.6; // at the peak of a run on the whole block
    const double bytes = double(recording.size.Count()) * sizeof(float);
    return recording.size.bscans > 1 && (kBlocks * bytes > double(MemoryLimit(options)) ||
                                         recording.size.Count() > std::numeric_limits<std::int32_t>::max());
}

/// Bytes of the blocks of a run in chunks, unless the user tells them.
constexpr std::int64_t kChunkMemory = std::int64_t{1} << 29;

/// Whether a recording goes in chunks that memory would hold whole: few blocks that serve again and again are faster
/// than new memory, and reading, work and writing overlap. Not where chunks would work on many lines of each other.
bool GainsByChunks(const Chain& chain, const Recording& recording, const JobOptions& options) {
    const bool large = recording.size.Count() * std::int64_t{sizeof(float)} > kChunkMemory / 2;
    return large && options.memory == 0 && recording.size.bscans > 5 &&
           std::all_of(chain.steps.begin(), chain.steps.end(), [](const Step& step) {
               return step.WorksInParts() && step.CouplingNow().neighbours < Coupling::kAsFarAsItReaches;
           });
}

/// Runs a chain from file to file.
RunResult RunInChunks(const Chain& chain, RecordingSource& source, const fs::path& image, const JobOptions& options,
                      Stages& stages, Progress& progress) {
    StreamOptions run;
    run.memory = MemoryLimit(options);
    if (options.memory == 0) run.memory = std::min(run.memory, kChunkMemory);
    run.threads = options.threads;
    run.scratch = image.parent_path();
    Show(run, stages);
    run.progress = [&](std::size_t, double share) {
        progress.Share(share);
        return true;
    };
    std::vector<std::string> lines;
    run.done = [&](std::size_t i, const StepReport& report) {
        char line[256];
        std::snprintf(line, sizeof line, "      %-18s %-34s %8.2f s", chain.steps[i].Info().name.c_str(),
                      (report.input.Text() + " to " + report.output.Text()).c_str(), report.seconds);
        lines.push_back(line);
        lines.insert(lines.end(), report.notes.begin(), report.notes.end());
    };
    RunResult result;
    progress.Do("chain", source.About().size.Text() + " in chunks",
                [&] { result = chain.Stream(source, *OpenSink(image), run); });
    for (const std::string& line : lines) progress.Note(line);
    return result;
}

/// A recording with something of what the chain settled for it, as a source of its samples.
class Settled final : public RecordingSource {
public:
    Settled(RecordingSource& of, const Recording& recording) : RecordingSource(recording.About()), source(of) {}
    void Read(int firstBscan, int bscans, float* out) override { source.Read(firstBscan, bscans, out); }

private:
    RecordingSource& source;
};

void Work(JobOptions options, const Input& input) {
    Progress progress(options.quiet, isatty(STDERR_FILENO) != 0);
    if (options.threads > 0) omp_set_num_threads(options.threads);
    LoadDocuments(options, progress);
    OutputFolder folder(options.out);
    for (const char* name : {kImage, kRecipe, kTrack, kReport}) folder.Claim(name, options.inputs);
    const VtkLog log([&progress](const std::string& line) { progress.Note(line); });

    Json::Value recipe;
    Recording recording;
    const auto timed = [&](const std::string& task, const std::string& detail, const std::function<void()>& work) {
        recipe["seconds"][task] = progress.Do(task, detail, work);
    };
    Chain chain;
    std::vector<std::string> warnings;
    bool chunks = false;
    FoundNumbers found;
    const auto prepare = [&] {
        const WantedNumbers wanted = Wanted(options, recording);
        const auto find = [&] {
            found = FindNumbers(recording, input.source.get(), wanted, options.numbers, progress);
        };
        if (wanted.timeZero || wanted.permittivity) {
            chain = ChosenChain(options, recording); // what can be refused is refused ahead of it
            Recording about = recording.About();
            Prepare(chain, about, options);
            if (input.source) {
                progress.Plan("focus", static_cast<double>(recording.size.Count()) * kFocusCost);
                timed("focus", "", find);
            } else {
                find();
            }
        }
        chain = ChosenChain(options, recording);
        warnings = Prepare(chain, recording, options);
        const auto samples = static_cast<double>(recording.size.Count());
        chunks = input.source && (TooLarge(recording, options) || GainsByChunks(chain, recording, options));
        if (input.source && !chunks) progress.Plan(input.task, samples * kReadCost);
        double cost = 0;
        for (const Step& step : chain.steps) {
            if (!chunks) progress.Plan(step.Info().name, samples * step.Info().cost);
            cost += step.Info().cost;
        }
        if (chunks) progress.Plan("chain", samples * (cost + kReadCost + kWriteCost));
        progress.Plan("pictures", samples * (chunks ? 0 : kPictureCost));
        if (!chunks) progress.Plan("image", samples * kWriteCost);
        if (options.report)
            progress.Plan("report", std::min(samples, double(ReportCells(options.reportBytes))) * kReportCost);
    };
    if (input.source) { // what can be refused is refused ahead of it
        recording = input.open(folder);
        prepare();
        if (!chunks)
            timed(input.task, "", [&] {
                const Recording read = ReadRecording(*input.source);
                recording.data = read.data;
                recording.checksum = read.checksum;
            });
    } else {
        progress.Plan(input.task, input.samples * kReadCost);
        timed(input.task, "", [&] {
            recording = input.open(folder);
            prepare();
        });
    }
    if (!chunks) RequireFinite(recording, recording.file.string());
    for (const std::string& note : recording.notes) progress.Note("note: " + note);
    for (const auto* list : {&found.lines, &found.missing})
        for (const std::string& line : *list) progress.Note("note: " + line);
    for (const std::string& warning : warnings) progress.Note("warning: " + warning);

    if (options.place) recording.placement = PlacementOf(recording);
    Stages stages(chain, recording, options.lines, options.report ? ReportCells(options.reportBytes) : 0);
    Recording about = recording.About();
    RunResult result;
    if (chunks) {
        std::future<std::string> checksum =
            std::async(options.threads == 1 ? std::launch::deferred : std::launch::async,
                       [&] { return input.source->Checksum(); });
        Settled source(*input.source, recording);
        result = RunInChunks(chain, source, folder.Path() / kImage, options, stages, progress);
        about.checksum = checksum.get();
        input.source->RequireChecksum(about.checksum);
    } else {
        result = RunWatched(chain, std::move(recording), stages, progress);
    }
    Style style = options.style;
    style.caption = found.lines;
    style.caption.insert(style.caption.end(), warnings.begin(), warnings.end());
    style.caption.insert(style.caption.begin(), MadeBy(chain));
    std::vector<std::string> outputs;
    timed("pictures", "", [&] { outputs = stages.Draw(result, folder.Path(), style); });
    if (!chunks)
        timed("image", result.image.size.Text(), [&] {
            const auto sink = OpenSink(folder.Path() / kImage);
            sink->Begin(result.image);
            sink->Write(0, result.image.size.bscans, result.image.data.get());
            sink->End();
        });

    const Json::Value seconds = recipe["seconds"];
    recipe = RecipeOf(chain, about, result, warnings);
    recipe["seconds"] = seconds;
    if (!found.json.isNull()) recipe["focus"] = found.json;
    WriteTrack(about, folder.Path(), recipe, progress, outputs);
    recipe["versions"]["vtk"] = vtkVersion::GetVTKVersion();
    recipe["versions"]["cairo"] = cairo_version_string();
    recipe["threads"] = omp_get_max_threads();
    recipe["peak_memory_bytes"] = Json::Int64{PeakBytes()};
    outputs.insert(outputs.end(), {kImage, kRecipe});
    if (fs::exists(folder.Path() / fs::path(kScene).concat(".f32")))
        for (const char* extension : {".f32", ".json"}) outputs.push_back(std::string(kScene) + extension);
    const std::string picture = outputs.front();
    if (options.report) outputs.push_back(kReport);
    for (const std::string& name : outputs) recipe["outputs"].append(name);
    if (options.report) timed("report", "", [&] { stages.Report(result, recipe, folder.Path(), picture); });
    const std::string text = JsonText(recipe);
    WriteBytes(folder.Path() / kRecipe, text.data(), text.size());
    folder.Commit();
    progress.Note("written to " + options.out.string());
}

} // namespace

void Run(const JobOptions& options) {
    Input input{"read", 0, {}, OpenSurvey(options.inputs, options.reading)};
    input.open = [&](OutputFolder&) { return input.source->About(); };
    Work(options, input);
}

void Demo(const JobOptions& options, const Scene& scene) {
    Work(options, {"scene",
                   double(kPairs.size()) * scene.samples * scene.ascans * scene.lanes,
                   [&](OutputFolder& folder) {
                       for (const char* extension : {".f32", ".json"}) folder.Claim(std::string(kScene) + extension);
                       Recording recording = Record(scene);
                       WriteRecording(recording, folder.Path() / fs::path(kScene).concat(".f32"));
                       return recording;
                   },
                   {}});
}

} // namespace tzmchain

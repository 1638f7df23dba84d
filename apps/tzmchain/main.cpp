#include "Diff.h"
#include "Focus.h"
#include "Info.h"
#include "Job.h"
#include "Manual.h"
#include "OutputFolder.h"
#include "Report.h"

#include "Chain/AlgorithmInfo.h"
#include "Chain/Schema.h"
#include "Formats/Formats.h"
#include "Recording/Format.h"
#include "Recording/Refusal.h"
#include "Recording/Survey.h"
#include "Recording/private/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <limits>
#include <new>
#include <sstream>

namespace {

using namespace tzmchain;
using namespace TZM;

constexpr int kRefused = 2, kFailed = 1, kDiffer = 1;

void List() {
    const auto plain = [](const Json::Value& value) { return OneLine(JsonText(value)); };
    for (const AlgorithmInfo& row : Algorithms()) {
        std::printf("%s: %s\n", row.name.c_str(), row.summary.c_str());
        for (const ParameterInfo& parameter : row.parameters)
            std::printf("    parameter %-46s %-15s %s\n", parameter.name.c_str(), parameter.TypeText().c_str(),
                        plain(parameter.defaultValue).c_str());
        for (const Key& key : row.keys)
            std::printf("    key       %-46s %-15s %s%s\n", key.FullName().c_str(), key.TypeName(),
                        key.defaultValue.c_str(), key.Limits().empty() ? "" : (", " + key.Limits()).c_str());
    }
}

/// The keys of all algorithms as tables of docs/configuration.md.
void ListKeys() {
    for (const AlgorithmInfo& row : Algorithms()) {
        if (row.keys.empty()) continue;
        std::printf("### %s\n\n| Key | JSON type | Default | Limits |\n|---|---|---|---|\n", row.name.c_str());
        for (const Key& key : row.keys) {
            const std::string value = key.defaultValue.empty() ? "" : "`" + key.defaultValue + "`";
            std::printf("| \"%s\" | %s | %s | %s |\n", key.FullName().c_str(), key.TypeName(), value.c_str(),
                        key.Limits().c_str());
        }
        std::printf("\n");
    }
}

/// Tells how two images differ; whether they agree.
bool Compare(const DiffOptions& options) {
    const Difference difference = Diff(options);
    const auto line = [](const char* name, double value) { std::printf("%-18s %s\n", name, Number(value, 7).c_str()); };
    std::printf("%-18s %s, %s\n", "images", difference.kind.c_str(), difference.agree ? "agree" : "differ");
    line("threshold", options.threshold);
    if (difference.largest >= 0) line("largest", difference.largest);
    line("sum", difference.sum);
    line("beyond threshold", difference.beyond);
    return difference.agree;
}

/// An option that takes one of some words, each of which stands for a value.
template <class Target, class Value>
void AddWords(CLI::App& command, const std::string& name, Target& target, const std::string& meaning,
              const std::vector<std::pair<std::string, Value>>& words) {
    std::vector<std::string> known;
    for (const auto& [word, value] : words) known.push_back(word);
    const std::string list = Joined(known);
    command
        .add_option_function<std::string>(
            name,
            [&target, words, name, list](const std::string& given) {
                for (const auto& [word, value] : words)
                    if (word == given) return void(target = value);
                throw CLI::ValidationError(name, given + " isn't one of " + list);
            },
            meaning + ": " + list)
        ->type_name("WORD");
}

/// Words that stand for themselves.
std::vector<std::pair<std::string, std::string>> Words(const std::vector<std::string>& words) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string& word : words) pairs.emplace_back(word, word);
    return pairs;
}

/// "all", or numbers from 1 on.
Lines LinesOf(const std::vector<std::string>& words) {
    if (words == std::vector<std::string>{"all"}) return {{}, true};
    Lines lines;
    for (const std::string& word : words) {
        const bool digits =
            !word.empty() && word.size() < 8 && word.find_first_not_of("0123456789") == std::string::npos;
        if (!digits) throw CLI::ValidationError("--lines", word + " isn't a number of a line, nor all");
        const int number = std::stoi(word);
        if (std::count(lines.numbers.begin(), lines.numbers.end(), number) == 0) lines.numbers.push_back(number);
    }
    return lines;
}

void AddReportSize(CLI::App& command, std::uint64_t& bytes) {
    command.add_option("--report-size", bytes, "Most bytes of the report, such as 8M; larger blocks are shown coarser")
        ->transform(CLI::AsSizeValue(false));
}

/// An option that takes a number, or "auto" for one that is searched.
template <class T>
void AddNumberOrAuto(CLI::App& command, const std::string& name, std::optional<T>& number, bool& search,
                     const std::string& meaning) {
    command
        .add_option_function<std::string>(
            name,
            [&number, &search, name](const std::string& given) {
                T value{};
                if (given == "auto") return void(search = true);
                if (!CLI::detail::lexical_cast(given, value))
                    throw CLI::ValidationError(name, given + " is neither a number nor auto");
                number = value;
            },
            meaning)
        ->type_name("NUMBER|auto");
}

/// The options that `run` and `demo` share.
void AddJobOptions(CLI::App& command, JobOptions& options) {
    command.add_option("--out", options.out, "Folder for image.vti, pictures and recipe.json")->required();
    command.add_option("--chain", options.chain, "JSON document that names the algorithms; or a recipe.json");
    command.add_option("--config", options.configuration, "Configuration document of the algorithms");
    command.add_option("--calibration", options.calibration, "Calibration document of the algorithms");
    AddNumberOrAuto(
        command, "--time-zero", options.numbers.timeZero, options.searchTimeZero,
        "Sample of time zero, for every step that has one; auto: found in the image, as it is where nobody tells it");
    AddNumberOrAuto(command, "--permittivity", options.numbers.permittivity, options.searchPermittivity,
                    "Relative permittivity of the ground, likewise");
    command.add_option("--antenna-offset", options.numbers.antennaOffset,
                       "Metres between transmitter and receiver of a bistatic channel, likewise");
    command.add_option("--line-spacing", options.numbers.lineSpacing, "Metres between neighbouring lines, likewise");
    AddWords(command, "--background", options.background, "Background removal of the standard chain",
             Words(FindAlgorithm("BgRemoval")->Find("algorithm")->words));
    AddWords(command, "--migration", options.migration, "Migration of the standard chain",
             std::vector<std::pair<std::string, std::string>>{{"array", "ArrayMigration"},
                                                              {"fk3d", "FkMigration3D"},
                                                              {"fk", "FkMigration"},
                                                              {"kirchhoff", "KirchhoffMigration"},
                                                              {"gazdag", "GazdagMigration"}});
    std::vector<std::string> presets;
    for (const ChainPreset& preset : ChainPresets()) presets.push_back(preset.name);
    AddWords(command, "--preset", options.preset, "Figures of the standard chain for what is in the ground",
             Words(presets));
    AddWords(command, "--image", options.signedImage, "What the standard chain ends in",
             std::vector<std::pair<std::string, bool>>{{"envelope", false}, {"signed", true}});
    command.add_flag_callback(
        "--no-envelope", [&options] { options.signedImage = true; }, "The same as --image signed");
    command
        .add_option("--frequency", options.frequency, "Nominal frequency of the antenna in MHz, for the standard chain")
        ->check(CLI::Range(1.0, 1e5));
    command.add_option("--threads", options.threads, "Number of threads")->check(CLI::Range(1, 1024));
    AddWords(command, "--colours", options.style.colours, "Colours of signed values",
             std::vector<std::pair<std::string, Colours>>{{"grey", Colours::Grey}, {"seismic", Colours::Seismic}});
    command.add_option("--decibels", options.style.decibels, "Draw envelopes on a dB scale of so many dB")
        ->check(CLI::Range(1.0, 200.0));
    AddWords(command, "--display", options.style.display, "How signed values are drawn",
             std::vector<std::pair<std::string, Display>>{{"map", Display::Map}, {"wiggle", Display::Wiggles}});
    AddWords(command, "--scale", options.style.scaleEach,
             "Scale of colours of the depth slices: one for all or each its own",
             std::vector<std::pair<std::string, bool>>{{"one", false}, {"each", true}});
    AddWords(command, "--pictures", options.style.form, "Form of the pictures",
             std::vector<std::pair<std::string, PictureForm>>{
                 {"png", PictureForm::Png}, {"svg", PictureForm::Svg}, {"pdf", PictureForm::Pdf}});
    command.add_option("--dpi", options.style.dpi, "Dots per inch of a PNG; plots are some 10 inches wide")
        ->check(CLI::Range(24.0, 1200.0));
    command.add_option("--aspect", options.style.aspect, "Vertical exaggeration of B-scans whose depths are known")
        ->check(CLI::Range(0.01, 100.0));
    command
        .add_option_function<std::vector<std::string>>(
            "--lines", [&options](const std::vector<std::string>& words) { options.lines = LinesOf(words); },
            "Lines that are drawn, such as 3,7, counted from 1, or all; the middle ones of each channel unless told")
        ->delimiter(',')
        ->type_name("LINES");
    command.add_flag("--report,!--no-report", options.report,
                     "Write report.html, which turns through the volume in a browser");
    AddReportSize(command, options.reportBytes);
    command.add_flag("--quiet", options.quiet, "Tell nothing but failures");
}

void AddReadOptions(CLI::App& command, ReadOptions& reading) {
    command.add_flag("--keep-marks", reading.keepMarks,
                     "Leave words at the head of A-scans that are marks, no data, where they are");
    AddWords(command, "--interval-unit", reading.intervalUnit, "Unit of the interval in a SEG-Y file",
             std::vector<std::pair<std::string, double>>{{"ps", 1e-12}, {"10ps", 1e-11}, {"ns", 1e-9}, {"us", 1e-6}});
    command.add_option("--component", reading.component, "Component of the field in a model's file: Ez unless told");
    command.add_flag("--resample", reading.resample, "Bring files of several intervals to the finest of them");
    command.add_option("--delta-x", reading.deltaX, "Resample A-scans to so many metres along the scan")
        ->check(CLI::Range(1e-6, 1e3));
}

/// What is known of a recording and wasn't kept in the form that it was written in.
std::vector<std::string> Lost(const Recording& in, const Recording& kept) {
    std::vector<std::string> lost;
    const auto check = [&lost](bool there, const char* what) {
        if (!there) lost.push_back(what);
    };
    check(in.timeZero == kept.timeZero && in.timeZeros == kept.timeZeros, "time zero");
    check(in.permittivity == kept.permittivity, "permittivity");
    check(in.antennaOffset == kept.antennaOffset, "antenna offset");
    check(in.oneAntennaPair == kept.oneAntennaPair, "one pair of antennas");
    check(in.channels == kept.channels, "names of channels");
    check(in.bits == kept.bits, "bits");
    check(in.validRanges.size() == kept.validRanges.size(), "valid ranges");
    check(in.positions.empty() || !kept.positions.empty(), "positions");
    return lost;
}

/// Writes a recording in the form that the name of the new file tells, which must not exist yet.
void Convert(const std::vector<std::filesystem::path>& inputs, const std::filesystem::path& out,
             const ReadOptions& reading) {
    std::vector<std::filesystem::path> files{out};
    for (const char* raw : {".f32", ".F32", ".json"})
        if (out.extension() == raw)
            for (const char* extension : {".f32", ".json"})
                files.push_back(std::filesystem::path(out).replace_extension(extension));
    for (const auto& file : files)
        if (std::filesystem::exists(file)) throw Refusal(file.string() + " exists; choose another name");
    Recording recording = ReadRecording(*OpenSurvey(inputs, reading));
    for (const std::string& note : recording.notes) std::fprintf(stderr, "note: %s\n", note.c_str());
    try {
        WriteRecording(recording, out);
    } catch (...) { // half a file is none
        std::error_code ignored;
        for (const auto& file : files) std::filesystem::remove(file, ignored);
        throw;
    }
    if (const auto lost = Lost(recording, OpenRecording(recording.file)->About()); !lost.empty())
        std::fprintf(stderr, "note: %s doesn't keep %s\n", recording.file.c_str(), Joined(lost).c_str());
}

/// A first word that is no option must be a command.
void RequireKnownCommand(const CLI::App& app, int argc, char** argv) {
    const std::string word = argc > 1 ? argv[1] : "-";
    std::vector<std::string> known;
    for (const CLI::App* command : app.get_subcommands({})) known.push_back(command->get_name());
    if (word[0] != '-' && std::find(known.begin(), known.end(), word) == known.end())
        throw Refusal("unknown command \"" + word + "\"; known are " + Joined(known));
}

/// Refusal if what was printed didn't arrive: on a full disk, for one. All of it goes out here.
void RequireWritten() {
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) throw CantWrite("to the standard output");
}

int Main(int argc, char** argv) {
    static char printed[std::size_t{1} << 20]; // goes out at the end, so that a failure to write comes with its reason
    std::setvbuf(stdout, printed, _IOFBF, sizeof printed);
    CLI::App app("Turns recordings of a ground-penetrating radar into images", "tzmchain");
    app.set_version_flag("--version", TZM_VERSION);
    app.require_subcommand(1);
    JobOptions options;
    std::vector<std::filesystem::path> inputs;
    Scene scene;

    CLI::App* run = app.add_subcommand("run", "Run a chain of algorithms on a recording");
    run->add_option("INPUT", options.inputs,
                    "A recording of any form that is known (DZT, DT1, RD3, RD7, IPRB, OGPR, SEG-Y, HDF5, a raw block, "
                    "a VTK image); "
                    "several files, a folder, a pattern or a survey document for several lines or channels")
        ->required();
    AddJobOptions(*run, options);
    run->add_option("--memory", options.memory,
                    "Memory that blocks may take, such as 2G; a larger recording goes in chunks")
        ->transform(CLI::AsSizeValue(false));
    run->add_flag("--place", options.place, "Place image.vti where the recording's positions are");
    CLI::App* demo = app.add_subcommand("demo", "Make the recording of a reinforced slab and run the chain on it");
    AddJobOptions(*demo, options);
    demo->add_option("--samples", scene.samples, "Samples per A-scan")->check(CLI::Range(64, 1 << 16));
    demo->add_option("--ascans", scene.ascans, "A-scans per B-scan")->check(CLI::Range(1, 1 << 20));
    demo->add_option("--lanes", scene.lanes, "Lanes of five B-scans")->check(CLI::Range(1, 1 << 12));
    demo->add_option("--seed", scene.seed, "Seed of the noise");
    bool mesh = false;
    demo->add_flag("--mesh", mesh, "A slab under a mesh of 10 cm, with its background classified");
    CLI::App* info = app.add_subcommand("info", "Tell what a recording holds");
    info->add_option("INPUT", inputs, "As for run")->required();
    bool json = false;
    info->add_flag("--json", json, "As a JSON object, for programs");
    ReadOptions reading;
    std::filesystem::path converted;
    CLI::App* convert = app.add_subcommand("convert", "Write a recording in another form");
    convert->add_option("INPUT", inputs, "As for run")->required();
    convert->add_option("--out", converted, "NAME.f32 (with NAME.json), NAME.vti, NAME.sgy or NAME.h5")->required();
    FocusJob focusJob;
    CLI::App* focus = app.add_subcommand("focus", "Find permittivity and time zero with which a recording focuses");
    focus->add_option("INPUT", inputs, "As for run")->required();
    focus->add_option("--out", focusJob.out, "Folder for focus.json and focus.png")->required();
    AddNumberOrAuto(*focus, "--time-zero", focusJob.timeZero, focusJob.searchTimeZero,
                    "Sample of time zero; auto: found in the image, as it is where the recording doesn't tell it");
    focus->add_option("--from", focusJob.lowest, "Lowest relative permittivity");
    focus->add_option("--to", focusJob.highest, "Highest one");
    focus->add_option("--threads", focusJob.threads, "Number of threads")->check(CLI::Range(1, 1024));
    focus->add_flag("--quiet", focusJob.quiet, "Tell nothing but the result and failures");
    for (CLI::App* reader : {run, focus, info, convert}) AddReadOptions(*reader, reading);
    DiffOptions diffOptions;
    CLI::App* diff = app.add_subcommand("diff", "Compare two .vti point by point: exit code 0 if they agree, 1 if not");
    diff->add_option("A", diffOptions.first, "Image of floats or unsigned 16-bit integers")->required();
    diff->add_option("B", diffOptions.second, "Image to compare with")->required();
    diff->add_flag("--relative", diffOptions.relative, "Compare floats against the larger magnitude");
    diff->add_option("--threshold", diffOptions.threshold, "Difference that a point may have");
    diff->add_option("--out", diffOptions.out, "Write the differences beyond the threshold to this .vti");
    ViewOptions viewOptions;
    viewOptions.bytes = kReportBytes;
    CLI::App* view = app.add_subcommand("view", "Write the report of an image that stands");
    view->add_option("IMAGE", viewOptions.image, "The image, such as image.vti of a run")->required();
    view->add_option("INPUT", viewOptions.inputs, "The recording from which it was made, to be seen beside it");
    view->add_option("--out", viewOptions.out, "The report: report.html beside the image unless told");
    AddReportSize(*view, viewOptions.bytes);
    CLI::App* list = app.add_subcommand("list", "List the algorithms with parameters, defaults and keys");
    bool markdown = false;
    list->add_flag("--markdown", markdown, "The keys alone, as the tables of the documentation");
    CLI::App* schema = app.add_subcommand("schema", "Print the JSON Schema of the chain or the configuration document");
    std::string document;
    schema->add_option("DOCUMENT", document, "chain or configuration")
        ->required()
        ->check([](const std::string& word) {
            return word == "chain" || word == "configuration" ? "" : word + " isn't chain or configuration";
        })
        ->type_name("WORD");
    CLI::App* manual =
        app.add_subcommand("manual", "Print the manual page, or a script for a shell that completes commands");
    std::string shell;
    AddWords(*manual, "--completion", shell, "The script, of", Words({"bash", "zsh"}));

    try {
        RegisterInstrumentFormats();
        RequireKnownCommand(app, argc, argv);
        try {
            app.parse(argc, argv);
        } catch (const CLI::Success& asked) { // help or version
            std::ostringstream text;
            app.exit(asked, text);
            std::fputs(text.str().c_str(), stdout);
            RequireWritten();
            return 0;
        }
        options.reading = reading;
        if (*run) Run(options);
        focusJob.inputs = inputs;
        focusJob.reading = reading;
        if (*focus) Focus(focusJob);
        if (mesh) {
            scene.bars = kMeshBars;
            if (!options.background) options.background = "classify";
        }
        if (*demo) Demo(options, scene);
        if (*info && json) std::fputs(JsonText(InfoJson(OpenSurvey(inputs, reading)->About())).c_str(), stdout);
        if (*info && !json) std::fputs(InfoText(ReadRecording(*OpenSurvey(inputs, reading))).c_str(), stdout);
        if (*convert) Convert(inputs, converted, reading);
        if (*view) std::printf("%s\n", View(viewOptions).c_str());
        if (*manual) std::fputs((shell.empty() ? ManualPage(app) : Completion(app, shell)).c_str(), stdout);
        if (*list) markdown ? ListKeys() : List();
        if (*schema) std::fputs(JsonText(document == "chain" ? ChainSchema() : ConfigurationSchema()).c_str(), stdout);
        const int code = *diff && !Compare(diffOptions) ? kDiffer : 0;
        RequireWritten();
        return code;
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "tzmchain: %s (tzmchain --help tells more)\n", OneLine(error.what()).c_str());
        return kRefused;
    } catch (const Refusal& refusal) {
        std::fprintf(stderr, "tzmchain: %s\n", OneLine(refusal.what()).c_str());
        return kRefused;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "tzmchain: not enough memory for a block of this size\n");
        return kRefused;
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        OutputFolder::CleanUpOnSignals();
        return Main(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tzmchain: %s\n", OneLine(error.what()).c_str());
        return kFailed;
    }
}

#include "Chain.h"
#include "Diff.h"
#include "Job.h"
#include "OutputFolder.h"
#include "Recording.h"
#include "Refusal.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <limits>
#include <new>

namespace {

using namespace tzmchain;

constexpr int kRefused = 2, kFailed = 1, kDiffer = 1;

void Info(const std::filesystem::path& input) {
    const Recording recording = ReadRecording(input);
    const std::int64_t count = recording.size.Count();
    double sum = 0;
    float low = std::numeric_limits<float>::infinity(), high = -low;
    std::int64_t finite = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        const float x = recording.data[i];
        if (!std::isfinite(x)) continue;
        sum += x, low = std::min(low, x), high = std::max(high, x), ++finite;
    }
    const auto line = [](const char* name, const std::string& text) { std::printf("%-18s %s\n", name, text.c_str()); };
    line("file", recording.file.string());
    line("sha256", recording.checksum);
    line("samples", std::to_string(recording.size.samples) + " per A-scan, " + Number(recording.deltaT * 1e9, 7) +
                        " ns apart: " + Number(recording.size.samples * recording.deltaT * 1e9, 6) + " ns");
    line("A-scans", std::to_string(recording.size.ascans) + " per B-scan, " + Number(recording.deltaX, 7) +
                        " m apart: " + Number(recording.size.ascans * recording.deltaX, 6) + " m");
    line("B-scans", std::to_string(recording.size.bscans) +
                        (recording.lineSpacing ? ", " + Number(*recording.lineSpacing, 7) + " m apart" : ""));
    std::string channels;
    for (const std::string& name : recording.channels) channels += (channels.empty() ? "" : ", ") + name;
    if (!channels.empty()) line("channels", channels);
    if (recording.timeZero) line("time zero", "sample " + std::to_string(*recording.timeZero));
    if (recording.permittivity) line("permittivity", Number(*recording.permittivity));
    if (recording.antennaOffset) line("antenna offset", Number(*recording.antennaOffset) + " m");
    if (recording.oneAntennaPair) line("antennas", "one pair recorded all channels");
    if (finite > 0)
        line("values",
             Number(low, 7) + " to " + Number(high, 7) + ", mean " + Number(sum / static_cast<double>(finite), 7));
    line("finite",
         finite == count ? "all" : std::to_string(count - finite) + " of " + std::to_string(count) + " aren't");
}

void List() {
    const auto plain = [](const Json::Value& value) { return OneLine(JsonText(value)); };
    for (const AlgorithmRow& row : Algorithms()) {
        std::printf("%s: %s\n", row.name.c_str(), row.summary.c_str());
        for (const Parameter& parameter : Step(row).parameters)
            std::printf("    parameter %-46s %-15s %s\n", parameter.name.c_str(), parameter.type.c_str(),
                        plain(parameter.get()).c_str());
        for (const Key& key : row.keys)
            std::printf("    key       %-46s %-15s %s%s\n", key.FullName().c_str(), key.TypeName(),
                        key.defaultValue.c_str(), key.Limits().empty() ? "" : (", " + key.Limits()).c_str());
    }
}

/// The keys of all algorithms as tables of docs/configuration.md.
void ListKeys() {
    for (const AlgorithmRow& row : Algorithms()) {
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

/// The options that `run` and `demo` share.
void AddJobOptions(CLI::App& command, JobOptions& options) {
    command.add_option("--out", options.out, "Folder for image.vti, pictures and recipe.json")->required();
    command.add_option("--chain", options.chain, "JSON document that names the algorithms; or a recipe.json");
    command.add_option("--config", options.configuration, "Configuration document of the algorithms");
    command.add_option("--calibration", options.calibration, "Calibration document of the algorithms");
    command.add_option("--time-zero", options.timeZero, "Sample of time zero, for every step that has one");
    command.add_option("--permittivity", options.permittivity, "Relative permittivity of the ground, likewise");
    command.add_option("--antenna-offset", options.antennaOffset,
                       "Metres between transmitter and receiver of a bistatic channel, likewise");
    command
        .add_option("--background", options.choice.background,
                    "Background removal of the standard chain: none, median, classify, highpass or surface")
        ->check(CLI::IsMember({"none", "median", "classify", "highpass", "surface"}));
    command
        .add_option("--migration", options.choice.migration, "Migration of the standard chain: fk, kirchhoff or gazdag")
        ->transform(CLI::CheckedTransformer(std::map<std::string, std::string>{
            {"fk", "FkMigration"}, {"kirchhoff", "KirchhoffMigration"}, {"gazdag", "GazdagMigration"}}));
    command.add_option("--threads", options.threads, "Number of threads")->check(CLI::Range(1, 1024));
    command.add_option("--colours", options.style.colours, "Colours of signed values: grey or seismic")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, Colours>{{"grey", Colours::Grey}, {"seismic", Colours::Seismic}}));
    command.add_option("--decibels", options.style.decibels, "Draw envelopes on a dB scale of so many dB")
        ->check(CLI::Range(1.0, 200.0));
    command.add_flag("--quiet", options.quiet, "Tell nothing but failures");
}

int Main(int argc, char** argv) {
    CLI::App app("Turns recordings of a ground-penetrating radar into images", "tzmchain");
    app.set_version_flag("--version", TZM_VERSION);
    app.require_subcommand(1);
    JobOptions options;
    std::filesystem::path input;
    Scene scene;

    CLI::App* run = app.add_subcommand("run", "Run a chain of algorithms on a recording");
    run->add_option("INPUT", options.input, "NAME.f32 or NAME.json (a raw block and its sidecar), or NAME.vti")
        ->required();
    AddJobOptions(*run, options);
    CLI::App* demo = app.add_subcommand("demo", "Make the recording of a reinforced slab and run the chain on it");
    AddJobOptions(*demo, options);
    demo->add_option("--samples", scene.samples, "Samples per A-scan")->check(CLI::Range(64, 1 << 16));
    demo->add_option("--ascans", scene.ascans, "A-scans per B-scan")->check(CLI::Range(1, 1 << 20));
    demo->add_option("--lanes", scene.lanes, "Lanes of five B-scans")->check(CLI::Range(1, 1 << 12));
    demo->add_option("--seed", scene.seed, "Seed of the noise");
    demo->add_flag("--mesh", "A slab under a mesh of 10 cm, with its background classified")
        ->each([&](const std::string&) {
            scene.bars = kMeshBars;
            if (!options.choice.background) options.choice.background = "classify";
        });
    CLI::App* info = app.add_subcommand("info", "Tell what a recording holds");
    info->add_option("INPUT", input, "As for run")->required();
    DiffOptions diffOptions;
    CLI::App* diff = app.add_subcommand("diff", "Compare two .vti point by point: exit code 0 if they agree, 1 if not");
    diff->add_option("A", diffOptions.first, "Image of floats or unsigned 16-bit integers")->required();
    diff->add_option("B", diffOptions.second, "Image to compare with")->required();
    diff->add_flag("--relative", diffOptions.relative, "Compare floats against the larger magnitude");
    diff->add_option("--threshold", diffOptions.threshold, "Difference that a point may have");
    diff->add_option("--out", diffOptions.out, "Write the differences beyond the threshold to this .vti");
    CLI::App* list = app.add_subcommand("list", "List the algorithms with parameters, defaults and keys");
    bool markdown = false;
    list->add_flag("--markdown", markdown, "The keys alone, as the tables of the documentation");

    try {
        app.parse(argc, argv);
        if (*run) Run(options);
        if (*demo) Demo(options, scene);
        if (*info) Info(input);
        if (*list) markdown ? ListKeys() : List();
        if (*diff) return Compare(diffOptions) ? 0 : kDiffer;
        return 0;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error); // help or version was asked for
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
        tzmchain::OutputFolder::CleanUpOnSignals();
        return Main(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tzmchain: %s\n", tzmchain::OneLine(error.what()).c_str());
        return kFailed;
    }
}

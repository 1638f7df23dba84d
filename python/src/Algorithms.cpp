// Algorithms and chains: the rows of the library's list, objects of them, and runs.
#include <pybind11/stl.h>

#include "Block.h"
#include "Chain/Recipe.h"
#include "Chain/private/StepRun.h"
#include "Framework/private/LoopWatch.h"
#include "Json.h"
#include "Recording/private/Text.h"
#include "Run.h"
#include "Steps.h"

namespace tzmpy {

namespace py = pybind11;
using namespace TZM;

namespace {

const AlgorithmInfo& Known(const std::string& name) {
    const AlgorithmInfo* info = FindAlgorithm(name);
    if (!info) throw py::value_error("unknown algorithm \"" + name + "\"");
    return *info;
}

/// What becomes of the axes, in words.
std::string ShapeText(const AlgorithmInfo& info, AlgoBase& algorithm) {
    if (info.findsTimeZero) return "Of shape (bscans, ascans, samples left behind the time zeros in all B-scans).";
    const ImageProps before(64, 16, 35);
    if (const ParameterInfo* timeZero = info.Find("timeZero")) timeZero->set(algorithm, 2);
    const ImageProps after = info.OutputProps(algorithm, before);
    if (after.samplesPerAscan == before.samplesPerAscan - 2) return "Of shape (bscans, ascans, samples - time_zero).";
    const bool same = after.samplesPerAscan == before.samplesPerAscan &&
                      after.ascansPerBscan == before.ascansPerBscan && after.bscanCount == before.bscanCount;
    return same ? "Of the block's shape." : "Of another shape than the block.";
}

py::dict RowOf(const AlgorithmInfo& info) {
    const std::unique_ptr<AlgoBase> algorithm = info.make();
    const std::string coupling = Step(info).CouplingNow().Text();
    py::list parameters, keys;
    for (const ParameterInfo& p : info.parameters)
        parameters.append(py::dict(py::arg("name") = p.name, py::arg("type") = p.TypeText(),
                                   py::arg("kind") = static_cast<int>(p.type), py::arg("words") = p.words,
                                   py::arg("unit") = p.unit, py::arg("low") = p.low, py::arg("high") = p.high,
                                   py::arg("meaning") = p.meaning, py::arg("default") = FromJson(p.defaultValue)));
    for (const Key& k : info.keys)
        keys.append(py::dict(py::arg("name") = k.FullName(), py::arg("type") = k.TypeName(),
                             py::arg("default") = k.defaultValue, py::arg("limits") = k.Limits()));
    return py::dict(py::arg("name") = info.name, py::arg("summary") = info.summary, py::arg("page") = info.page,
                    py::arg("coupling") = coupling, py::arg("shape") = ShapeText(info, *algorithm),
                    py::arg("tells_channels") = info.tellsChannels, py::arg("most_samples") = info.mostSamples,
                    py::arg("parameters") = parameters, py::arg("keys") = keys);
}

py::list Rows() {
    py::list rows;
    for (const AlgorithmInfo& info : Algorithms()) rows.append(RowOf(info));
    return rows;
}

void Tell(std::vector<std::string>& lines, const std::vector<std::string>& more, const char* prefix = "") {
    for (const std::string& line : more) lines.push_back(prefix + line);
}

} // namespace

Step Copied(const Step& step) {
    Step copy(step.Info());
    for (const std::string& parameter : step.given) copy.Set(parameter, step.Get(parameter));
    return copy;
}

Chain ChainOf(const std::vector<const Step*>& steps) {
    Chain chain;
    for (const Step* step : steps) chain.steps.push_back(Copied(*step));
    return chain;
}

std::vector<std::string> Prepare(Chain& chain, Recording& recording, const GivenNumbers& numbers) {
    std::vector<std::string> warnings;
    if (!recording.knowsDeltaX)
        warnings.push_back("the distance between A-scans isn't known, " + Number(recording.deltaX) + " m is taken");
    for (const AssumedNumber& assumed : chain.Settle(recording, numbers)) warnings.push_back(assumed.Text());
    Tell(warnings, chain.Check(recording));
    if (!AlgoBase::GetConfigString().empty())
        Tell(warnings, SkippedKeys(ParseJson(AlgoBase::GetConfigString(), "config")));
    return warnings;
}

namespace {

Block RunChain(const std::vector<const Step*>& steps, const Block& block, const py::object& config,
               const py::object& calibration, std::optional<int> timeZero, std::optional<double> permittivity,
               std::optional<double> antennaOffset, std::optional<double> lineSpacing, int threads,
               py::object progress) {
    const Turn turn;
    const Documents documents(config, calibration);
    Watch watch(std::move(progress));
    Block image;
    Released(watch, [&] {
        Recording recording = block;
        Chain chain = ChainOf(steps);
        const std::vector<std::string> warnings =
            Prepare(chain, recording, {timeZero, permittivity, antennaOffset, lineSpacing});
        RequireFinite(recording, recording.file.empty() ? "the recording" : recording.file.string());
        RunOptions options;
        options.threads = threads;
        options.progress = [&](std::size_t step, double fraction) { return watch(step, fraction); };
        RunResult result = chain.Run(recording, options);
        static_cast<Recording&>(image) = std::move(result.image);
        image.recipe = JsonText(RecipeOf(chain, recording, result, warnings));
        Tell(image.report, warnings, "warning: ");
        for (const StepReport& report : result.steps) Tell(image.report, report.notes);
    });
    PassLogOn();
    return image;
}

/// One algorithm on an array, about which nothing is known but what is told. Not a number passes.
py::object RunOnArray(const Step& step, const py::object& block, double deltaT, double deltaX, const py::object& config,
                      int threads) {
    Input input = InputOf(block);
    const Turn turn;
    const Documents documents(config, py::none());
    Watch watch{py::none()};
    Recording recording;
    recording.size = input.size;
    recording.data = std::move(input.samples);
    recording.deltaT = deltaT;
    recording.deltaX = deltaX;
    Released(watch, [&] {
        std::optional<Chain> chain;
        if (!AlgoBase::GetConfigString().empty()) {
            chain = ChainOf({&step});
            chain->Settle(recording, {});
        }
        const Setting setting(recording, threads);
        const LoopWatch listening([&](double share) { return watch(0, share); });
        StepReport report;
        recording = RunStep(chain ? chain->steps.front() : step, std::move(recording), report);
    });
    PassLogOn();
    return ArrayOf(recording, static_cast<int>(input.array.ndim()));
}

/// A chain as a document that holds what somebody set.
Json::Value DocumentOf(const Chain& chain) {
    Json::Value list(Json::arrayValue);
    for (const Step& step : chain.steps) {
        Json::Value entry;
        entry["algorithm"] = step.Info().name;
        entry["parameters"] = Json::Value(Json::objectValue);
        for (const std::string& parameter : step.given) entry["parameters"][parameter] = step.Get(parameter);
        list.append(entry);
    }
    Json::Value document;
    document["chain"] = list;
    return document;
}

py::object StandardChain(const Block& block, std::optional<std::string> background,
                         const std::optional<std::string>& migration, std::optional<int> timeZero,
                         std::optional<double> frequency, std::optional<std::string> preset,
                         std::optional<bool> signedImage, std::optional<double> lineSpacing) {
    ChainChoice choice;
    choice.background = std::move(background);
    if (migration) choice.migration = *migration;
    choice.timeZero = timeZero;
    choice.frequency = frequency;
    choice.preset = std::move(preset);
    choice.signedImage = signedImage;
    choice.lineSpacing = lineSpacing;
    return FromJson(DocumentOf(Chain::Standard(block, choice)));
}

} // namespace

void BindRun(py::module_& module) {
    py::class_<Step>(module, "Algorithm")
        .def(py::init([](const std::string& name) { return Step(Known(name)); }))
        .def_property_readonly("name", [](const Step& step) { return step.Info().name; })
        .def("_get", [](const Step& step, const std::string& name) { return FromJson(step.Get(name)); })
        .def("_set", [](Step& step, const std::string& name,
                        const py::object& value) { step.Set(name, ToJson(value, name.c_str())); })
        .def("_given", [](const Step& step) { return step.given; })
        .def("_run_on_array", &RunOnArray, py::arg("block"), py::arg("delta_t"), py::arg("delta_x"), py::arg("config"),
             py::arg("threads"));
    module.attr("DELTA_T") = double(Shortest(AlgoGlobalSettings().delta_t));
    module.attr("DELTA_X") = double(Shortest(AlgoGlobalSettings().delta_x));
    module.def("rows", &Rows);
    module.def("run_chain", &RunChain, py::arg("steps"), py::arg("recording"), py::arg("config"),
               py::arg("calibration"), py::arg("time_zero"), py::arg("permittivity"), py::arg("antenna_offset"),
               py::arg("line_spacing"), py::arg("threads"), py::arg("progress"));
    module.def("standard_chain", &StandardChain, py::arg("recording"), py::arg("background"), py::arg("migration"),
               py::arg("time_zero"), py::arg("frequency"), py::arg("preset"), py::arg("signed_image"),
               py::arg("line_spacing"));
    py::dict presets;
    for (const ChainPreset& preset : ChainPresets()) presets[py::str(preset.name)] = preset.meaning;
    module.attr("PRESETS") = presets;
    module.def("validate_chain",
               [](const py::object& document) { Chain::FromDocument(ToJson(document, "chain"), "chain"); });
    module.def("parse_json", [](const std::string& text, const std::string& name) {
        return FromJson(ParseJson(text, name)); // with comments, as everywhere
    });
}

} // namespace tzmpy

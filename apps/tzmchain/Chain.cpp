#include "Chain.h"

#include "Progress.h"
#include "Refusal.h"
#include "Text.h"

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Gain/AlgoAutoGain.h"
#include "Algorithms/Gain/AlgoDepthGaining.h"
#include "Algorithms/Gain/AlgoEnergyCorrection.h"
#include "Algorithms/Gain/AlgoNormalizationBscan.h"
#include "Algorithms/Gain/AlgoNormalizationCscan.h"
#include "Algorithms/Gain/AlgoSetContrastBscan.h"
#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/AlgoGazdagMigration.h"
#include "Algorithms/Migration/AlgoKirchhoffMigration.h"
#include "Algorithms/Migration/AlgoMig2Post.h"
#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"
#include "Algorithms/Preparation/AlgoBistaticCorrection.h"
#include "Algorithms/Preparation/AlgoBistaticReplacement.h"
#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Algorithms/Reduction/AlgoBorderClearing.h"
#include "Algorithms/Reduction/AlgoHorizontalSumUp.h"
#include "Algorithms/Reduction/AlgoVerticalSumUp.h"

#include <vtkExtractVOI.h>
#include <vtkImageData.h>
#include <vtkIntArray.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <map>
#include <type_traits>

namespace tzmchain {

namespace {

// How a value of each type looks in JSON, and what it is called.

using Removal = TZM::AlgoParamBgRemoval::AlgoType;

constexpr std::pair<const char*, Removal> kRemovals[] = {{"none", Removal::None},
                                                         {"median", Removal::Median},
                                                         {"classify", Removal::Classify},
                                                         {"highpass", Removal::HighPass},
                                                         {"surface", Removal::Surface}};

constexpr std::pair<const char*, unsigned TZM::BorderWidths::*> kBorders[] = {
    {"LowerX", &TZM::BorderWidths::LowerX}, {"UpperX", &TZM::BorderWidths::UpperX},
    {"LowerY", &TZM::BorderWidths::LowerY}, {"UpperY", &TZM::BorderWidths::UpperY},
    {"LowerZ", &TZM::BorderWidths::LowerZ}, {"UpperZ", &TZM::BorderWidths::UpperZ}};

const char* TypeName(int) { return "a whole number"; }
const char* TypeName(float) { return "a number"; }
const char* TypeName(bool) { return "true or false"; }
const char* TypeName(const std::string&) { return "text"; }
const char* TypeName(Removal) { return "\"none\", \"median\", \"classify\", \"highpass\" or \"surface\""; }
const char* TypeName(const TZM::BorderWidths&) { return "an object of widths, from 0 on: LowerX, UpperX, ... UpperZ"; }

Json::Value ToJson(int value) { return value; }
Json::Value ToJson(float value) { return Shortest(value); }
Json::Value ToJson(bool value) { return value; }
Json::Value ToJson(const std::string& value) { return value; }
Json::Value ToJson(Removal value) {
    for (const auto& [name, removal] : kRemovals)
        if (value == removal) return name;
    return Json::Value();
}
Json::Value ToJson(const TZM::BorderWidths& value) {
    Json::Value object(Json::objectValue);
    for (const auto& [name, width] : kBorders) object[name] = value.*width;
    return object;
}

std::optional<int> FromJson(const Json::Value& value, int) {
    return value.type() != Json::realValue && value.isInt() ? std::optional(value.asInt()) : std::nullopt;
}
std::optional<float> FromJson(const Json::Value& value, float) {
    if (!value.isNumeric() || std::abs(value.asDouble()) > std::numeric_limits<float>::max()) return std::nullopt;
    return static_cast<float>(value.asDouble());
}
std::optional<bool> FromJson(const Json::Value& value, bool) {
    return value.isBool() ? std::optional(value.asBool()) : std::nullopt;
}
std::optional<std::string> FromJson(const Json::Value& value, const std::string&) {
    return value.isString() ? std::optional(value.asString()) : std::nullopt;
}
std::optional<Removal> FromJson(const Json::Value& value, Removal) {
    for (const auto& [name, removal] : kRemovals)
        if (value.isString() && value.asString() == name) return removal;
    return std::nullopt;
}
std::optional<TZM::BorderWidths> FromJson(const Json::Value& value, const TZM::BorderWidths&) {
    TZM::BorderWidths widths;
    if (!value.isObject()) return std::nullopt;
    for (const std::string& member : value.getMemberNames()) {
        const auto found = std::find_if(std::begin(kBorders), std::end(kBorders),
                                        [&](const auto& border) { return member == border.first; });
        if (found == std::end(kBorders) || value[member].type() == Json::realValue || !value[member].isUInt())
            return std::nullopt;
        widths.*found->second = value[member].asUInt();
    }
    return widths;
}

template <class T>
const T& Plain(const T& value) {
    return value;
}
template <class T>
const T& Plain(const TZM::Prm<T>& parameter) {
    return parameter.value;
}

template <class Owner, class Field>
Parameter Bind(const char* name, Owner& owner, Field Owner::*field) {
    Field& place = owner.*field;
    return {name, TypeName(Plain(place)), [&place] { return ToJson(Plain(place)); },
            [&place](const Json::Value& json) {
                const auto value = FromJson(json, Plain(place));
                if (value) place = *value;
                return value.has_value();
            }};
}

/// A parameter's name and its field in a struct P or in a base of P.
template <class P>
struct Field {
    template <class Base, class Type>
    Field(const char* name, Type Base::*field)
        : bind([name, field](P& params) { return Bind(name, static_cast<Base&>(params), field); }) {}
    std::function<Parameter(P&)> bind;
};

template <class A>
using ParamsOf = std::decay_t<decltype(std::declval<A&>().GetParams())>;

template <class A>
auto KeysOf(const A& algorithm, int) -> decltype(algorithm.DescribeKeys()) {
    return algorithm.DescribeKeys();
}
template <class A>
std::vector<TZM::JsonKeyInfo> KeysOf(const A&, long) {
    return {}; // it reads none
}

/// The row of algorithm class A; `remarks` are those of keys by name. Every algorithm has the two parameters of the log
/// beside its own.
template <class A>
AlgorithmRow Row(const std::string& summary, double cost, std::vector<Field<ParamsOf<A>>> fields = {},
                 const std::map<std::string, std::string>& remarks = {}) {
    fields.push_back({"enableLogging", &TZM::AlgoParamBase::enableLogging});
    fields.push_back({"loggingLevel", &TZM::AlgoParamBase::loggingLevel});
    std::vector<Key> keys;
    for (const TZM::JsonKeyInfo& info : KeysOf(A(), 0)) {
        const auto remark = remarks.find(info.key);
        keys.push_back({info, remark == remarks.end() ? "" : remark->second});
    }
    return {A().GetLogPrefix(),
            summary,
            cost,
            keys,
            std::is_same_v<A, TZM::AlgoTimeZeroDetection>,
            std::is_base_of_v<TZM::AlgoParamMigrationBase, ParamsOf<A>>,
            [] { return vtkSmartPointer<AlgorithmFilter>::Take(FilterOf<A>::New()); },
            [fields](AlgorithmFilter& filter) {
                auto& params = static_cast<FilterOf<A>&>(filter).Algorithm().GetParams();
                std::vector<Parameter> all;
                for (const auto& field : fields) all.push_back(field.bind(params));
                return all;
            }};
}

const AlgorithmRow* FindRow(const std::string& name) {
    for (const AlgorithmRow& row : Algorithms())
        if (row.name == name) return &row;
    return nullptr;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

} // namespace

const std::vector<AlgorithmRow>& Algorithms() {
    using namespace TZM;
    static const std::vector<AlgorithmRow> rows = {
        Row<AlgoAscanOffsetRemoval>("takes the mean off every A-scan", 4),
        Row<AlgoTimeZeroDetection>("moves the direct wave of every B-scan to sample 0", 3),
        Row<AlgoEnergyCorrection>("levels bistatic B-scans against the monostatic ones beside them", 4),
        Row<AlgoBistaticCorrection>("moves bistatic echoes to the times of one antenna; needs time zero at sample 0", 4,
                                    {{"timeZero", &AlgoParamBistaticCorrection::timeZero},
                                     {"permittivity", &AlgoParamBistaticCorrection::permittivity},
                                     {"antennaOffset", &AlgoParamBistaticCorrection::antennaOffset}}),
        Row<AlgoBistaticReplacement>("replaces the first samples of bistatic B-scans by those of their neighbours", 3,
                                     {{"replaceHeight", &AlgoParamBistaticReplacement::replaceHeight},
                                      {"crossfadeLen", &AlgoParamBistaticReplacement::crossfadeLen},
                                      {"enabled", &AlgoParamBistaticReplacement::enabled}}),
        Row<AlgoBgRemoval>("takes out what is the same along the scan: ringing, the direct wave", 8,
                           {{"timeZero", &AlgoParamBgRemoval::timeZero}, {"algorithm", &AlgoParamBgRemoval::algorithm}},
                           {{"Algorithm", "\"median\", \"classify\", \"highpass\" or \"surface\""},
                            {"ClsFilterOrder", "1 to 12"},
                            {"PaneOverlapPercentage", "0 to 50"}}),
        Row<AlgoFkMigration>("moves energy back to its reflector with one speed (Stolt)", 6,
                             {{"timeZero", &AlgoParamFkMigration::timeZero},
                              {"permittivity", &AlgoParamFkMigration::permittivity},
                              {"overlays", &AlgoParamFkMigration::overlays}},
                             {{"DipMax", "0 to 90 degrees"},
                              {"DipWidth", "at most 90 - DipMax"},
                              {"InterpolationMethod", "1 windowed sinc, other values linear"},
                              {"MaxMigFreqRel", "0.01 to 1"},
                              {"HarlanThreshold", "0.01 to 10"}}),
        Row<AlgoKirchhoffMigration>("sums along the travel times of points, under layers and within an aperture", 20,
                                    {{"timeZero", &AlgoParamKirchhoffMigration::timeZero},
                                     {"permittivity", &AlgoParamKirchhoffMigration::permittivity},
                                     {"overlays", &AlgoParamKirchhoffMigration::overlays}}),
        Row<AlgoGazdagMigration>("steps down by phase shift, with a speed that falls near the surface", 20,
                                 {{"timeZero", &AlgoParamGazdagMigration::timeZero},
                                  {"permittivity", &AlgoParamGazdagMigration::permittivity},
                                  {"overlays", &AlgoParamGazdagMigration::overlays},
                                  {"useFFT", &AlgoParamGazdagMigration::useFFT},
                                  {"useTaper", &AlgoParamGazdagMigration::useTaper}}),
        Row<AlgoMig2Post>("replaces every A-scan by its envelope", 2),
        Row<AlgoAutoGain>("lifts the late part of A-scans and levels them by their envelopes", 6,
                          {{"MaxAmp", &AlgoParamAutoGain::MaxAmp},
                           {"HalfLenTriangle", &AlgoParamAutoGain::HalfLenTriangle},
                           {"UseProgressiveGain", &AlgoParamAutoGain::UseProgressiveGain}}),
        Row<AlgoDepthGaining>("multiplies every A-scan by a gain in two straight lines", 3,
                              {{"Start", &AlgoParamDepthGaining::Start},
                               {"Apex", &AlgoParamDepthGaining::Apex},
                               {"End", &AlgoParamDepthGaining::End},
                               {"StartGain", &AlgoParamDepthGaining::StartGain},
                               {"ApexGain", &AlgoParamDepthGaining::ApexGain},
                               {"EndGain", &AlgoParamDepthGaining::EndGain}}),
        Row<AlgoSetContrastBscan>("takes the mean near the surface off and scales B-scans for display", 4,
                                  {{"ContrastValue", &AlgoParamSetContrastBscan::ContrastValue}}),
        Row<AlgoNormalizationBscan>("scales every B-scan by its calibration, or by its own range", 4,
                                    {{"Min", &AlgoParamNormalizationBscan::Min},
                                     {"Max", &AlgoParamNormalizationBscan::Max},
                                     {"IgnoreCalibration", &AlgoParamNormalizationBscan::IgnoreCalibration}}),
        Row<AlgoNormalizationCscan>(
            "stretches the block to a range with one scale", 4,
            {{"Min", &AlgoParamNormalizationCscan::Min}, {"Max", &AlgoParamNormalizationCscan::Max}}),
        Row<AlgoHorizontalSumUp>(
            "merges neighbouring B-scans: strongest value or root mean square", 5,
            {{"Thickness", &AlgoParamHorizontalSumUp::Thickness}, {"UseMax", &AlgoParamHorizontalSumUp::UseMax}}),
        Row<AlgoVerticalSumUp>(
            "merges each sample with those below it: strongest value or root mean square", 5,
            {{"Thickness", &AlgoParamVerticalSumUp::Thickness}, {"UseMax", &AlgoParamVerticalSumUp::UseMax}}),
        Row<AlgoBorderClearing>(
            "keeps a box of the block and clears the rest", 3,
            {{"borders", &AlgoParamBorderClearing::borders}, {"ClearValue", &AlgoParamBorderClearing::ClearValue}}),
    };
    return rows;
}

const char* Key::TypeName() const {
    switch (kind) {
    case TZM::JsonKind::Boolean: return "boolean";
    case TZM::JsonKind::Integer: return "integer";
    case TZM::JsonKind::Integral: return "integer >= 0";
    case TZM::JsonKind::NonNegative: return "integer >= 0";
    case TZM::JsonKind::Real: return "real";
    case TZM::JsonKind::Numeric: return "number";
    case TZM::JsonKind::String: return "string";
    case TZM::JsonKind::Array: break;
    }
    return "array";
}

bool Key::Takes(const Json::Value& value) const {
    const Json::ValueType type = value.type();
    switch (kind) {
    case TZM::JsonKind::Boolean: return type == Json::booleanValue;
    case TZM::JsonKind::Integer: return type == Json::intValue;
    case TZM::JsonKind::Integral:
        return type == Json::uintValue || type == Json::booleanValue ||
               (type == Json::intValue && value.asInt64() >= 0);
    case TZM::JsonKind::NonNegative: return type == Json::uintValue || (type == Json::intValue && value.asInt64() >= 0);
    case TZM::JsonKind::Real: return type == Json::realValue;
    case TZM::JsonKind::Numeric: return type == Json::booleanValue || value.isNumeric();
    case TZM::JsonKind::String: return type == Json::stringValue;
    case TZM::JsonKind::Array: break;
    }
    return type == Json::arrayValue || type == Json::nullValue;
}

std::string Key::FullName() const { return path + "." + key; }

std::string Key::Limits() const {
    if (!remark.empty()) return remark;
    if (std::isinf(low) && std::isinf(high)) return "";
    if (std::isinf(high)) return "at least " + Number(low);
    return std::isinf(low) ? "at most " + Number(high) : Number(low) + " to " + Number(high);
}

Step::Step(const AlgorithmRow& kind) : row(&kind), filter(kind.make()), parameters(kind.parameters(*filter)) {}

Parameter* Step::Find(const std::string& parameterName) {
    for (Parameter& parameter : parameters)
        if (parameter.name == parameterName) return &parameter;
    return nullptr;
}

namespace {

/// The chain of these algorithms, and of a background removal ahead of the migration if one is wanted.
Chain Of(std::initializer_list<const char*> preparation, const ChainChoice& choice, const std::string& ownBackground) {
    const std::string background = choice.background.value_or(ownBackground);
    Chain chain;
    const auto add = [&chain](const std::string& name) { chain.steps.emplace_back(*FindRow(name)); };
    for (const char* name : preparation) add(name);
    if (background != "none") add("BgRemoval");
    add(choice.migration);
    for (const char* name : {"Mig2Post", "DepthGaining", "NormalizationCscan"}) add(name);
    const auto set = [&chain](const char* parameter, const Json::Value& value) {
        for (Step& step : chain.steps)
            if (Parameter* found = step.Find(parameter)) found->set(value);
    };
    set("algorithm", background);
    set("Apex", -1); // four times the gain at the last sample
    set("End", -1);
    set("ApexGain", 4.0);
    return chain;
}

} // namespace

Chain Chain::Standard(const ChainChoice& choice) { return Of({"OffsetRemoval"}, choice, "none"); }

// Offsets go first, since the detection compares counts with a threshold. Levels come ahead of the bistatic correction:
// that crushes the direct wave of the bistatic channels, so that behind it the energy of traces with a direct wave
// would be compared with that of traces without. Only the surface is taken out for background: a median would take bars
// along the scan with it.
Chain Chain::StandardFor(const Recording& recording, const ChainChoice& choice) {
    const int bscans = recording.size.bscans;
    if (bscans % 5 != 0 && bscans % 7 != 0) return Standard(choice);
    if (recording.oneAntennaPair) return Of({"OffsetRemoval", "TimeZeroDetection"}, choice, "none");
    return Of({"OffsetRemoval", "TimeZeroDetection", "EnergyCorrection", "BistaticCorrection"}, choice, "surface");
}

Chain Chain::FromDocument(const Json::Value& document, const std::string& name) {
    const auto refuse = [&name](const std::string& text) { throw Refusal(name + ": " + text); };
    if (!document.isObject() || !document["chain"].isArray() || document["chain"].empty())
        refuse("needs a member \"chain\", a list of algorithms");
    for (const std::string& member : document.getMemberNames())
        if (member != "chain" && document["program"] != "tzmchain") refuse("unknown member \"" + member + "\"");

    Chain chain;
    for (const Json::Value& entry : document["chain"]) {
        if (!entry.isObject() || !entry["algorithm"].isString())
            refuse("every step of the chain needs a member \"algorithm\", the name of one");
        const std::string algorithm = OneLine(entry["algorithm"].asString());
        for (const std::string& member : entry.getMemberNames())
            if (member != "algorithm" && member != "parameters")
                refuse(algorithm + ": unknown member \"" + member + "\"");
        const AlgorithmRow* row = FindRow(algorithm);
        if (!row) {
            std::vector<std::string> known;
            for (const AlgorithmRow& other : Algorithms()) known.push_back(other.name);
            refuse("unknown algorithm \"" + algorithm + "\"; known are " + Joined(known));
        }
        Step step(*row);
        const Json::Value& parameters = entry["parameters"];
        if (!parameters.isNull() && !parameters.isObject()) refuse(algorithm + ": \"parameters\" must be an object");
        for (const std::string& member : parameters.getMemberNames()) {
            Parameter* parameter = step.Find(member);
            if (!parameter) {
                std::vector<std::string> known;
                for (const Parameter& other : step.parameters) known.push_back(other.name);
                refuse(algorithm + ": unknown parameter \"" + OneLine(member) + "\"; known are " + Joined(known));
            }
            if (!parameter->set(parameters[member]))
                refuse(algorithm + ": parameter \"" + member + "\" must be " + parameter->type);
            step.given.insert(member);
        }
        chain.steps.push_back(std::move(step));
    }
    return chain;
}

void Chain::Set(const std::string& parameter, const Json::Value& value, bool overrule) {
    for (Step& step : steps) {
        Parameter* found = step.Find(parameter);
        if (!found || (!overrule && step.given.count(parameter))) continue;
        if (!found->set(value)) throw Refusal(step.row->name + ": \"" + parameter + "\" must be " + found->type);
        step.given.insert(parameter);
    }
}

void Chain::BeginAtDetectedTimeZero() {
    bool detected = false;
    for (Step& step : steps) {
        Parameter* timeZero = step.Find("timeZero");
        if (detected && timeZero && step.given.insert("timeZero").second) timeZero->set(0);
        detected = detected || step.row->findsTimeZero;
    }
}

void Chain::ReadConfiguration() {
    for (Step& step : steps) {
        std::vector<Json::Value> before;
        for (const Parameter& parameter : step.parameters) before.push_back(parameter.get());
        step.filter->Algorithm().ParseParamsFromJsonConfig();
        for (std::size_t i = 0; i < before.size(); ++i)
            if (step.parameters[i].get() != before[i]) step.given.insert(step.parameters[i].name);
    }
}

Chain::Use Chain::Find(const std::string& parameter) const {
    Use use{Json::Value(), false};
    for (const Step& step : steps) {
        if (step.row->findsTimeZero && parameter == "timeZero") break;
        for (const Parameter& found : step.parameters)
            if (found.name == parameter) use = {found.get(), step.given.count(parameter) != 0};
    }
    return use;
}

namespace {

/// Cuts a block down to its first samples and B-scans.
vtkSmartPointer<vtkImageAlgorithm> CropOf(vtkAlgorithmOutput* port, const Dimensions& size) {
    const auto crop = vtkSmartPointer<vtkExtractVOI>::New();
    crop->SetInputConnection(port);
    crop->SetVOI(0, size.samples - 1, 0, size.ascans - 1, 0, size.bscans - 1);
    return crop;
}

/// Every A-scan is valid.
void SetValidRanges(AlgorithmFilter& filter, const Dimensions& size) {
    for (const auto& [array, value] :
         {std::pair(filter.GetBscanInfoFirstValidIdx(), 0), std::pair(filter.GetBscanInfoValidLen(), size.ascans)}) {
        array->SetNumberOfValues(size.bscans);
        array->Fill(value);
    }
}

std::string TextOf(const StepReport& report) {
    const auto [low, high] = std::minmax_element(report.shifts.begin(), report.shifts.end());
    return "note: time zero was found at " +
           (*low == *high ? "sample " + std::to_string(*low)
                          : "samples " + std::to_string(*low) + " to " + std::to_string(*high)) +
           "; " + std::to_string(report.output.samples) + " samples are left";
}

} // namespace

Recording Chain::Run(RecordingReader* reader, const Recording& recording, Progress& progress, const Observer& observe) {
    vtkTZMSimpleImageToImageFilter::GetOptions().SetDelta_t(static_cast<float>(recording.deltaT));
    vtkTZMSimpleImageToImageFilter::GetOptions().SetDelta_x(static_cast<float>(recording.deltaX));
    reports.clear();
    parts = {reader};
    const auto connect = [this](const vtkSmartPointer<vtkImageAlgorithm>& part) {
        part->SetInputConnection(Output());
        part->ReleaseDataFlagOff();
        part->Modified(); // parameters aren't told to VTK
        parts.back()->ReleaseDataFlagOn();
        parts.push_back(part);
    };

    Recording block = recording;
    for (Step& step : steps) {
        block = RecordingOf(parts.back()->GetOutput(), block);
        const Dimensions before = block.size;
        if (observe) observe(step, block);
        block.data.reset();
        const TZM::ImageProps adjusted =
            step.filter->Algorithm().GetAdjustedImageDimensions({before.samples, before.ascans, before.bscans});
        const Dimensions after{adjusted.samplesPerAscan, adjusted.ascansPerBscan, adjusted.bscanCount};
        SetValidRanges(*step.filter, before);
        connect(step.filter);
        StepReport report{step.row->name, before, after, 0, {}};
        report.seconds = progress.Do(step.row->name, before.Text() + " to " + after.Text(), [&] {
            Update(step.filter, step.row->name, progress);
            report.shifts = step.filter->Shifts();
            report.output.samples = step.filter->UsableSamples();
            if (report.output.samples < 1) throw Refusal(step.row->name + " leaves no samples");
            if (report.output == after) return;
            connect(CropOf(Output(), report.output));
            Update(parts.back(), step.row->name, progress);
        });
        if (!report.shifts.empty())
            progress.Note(TextOf(report) + (block.timeZero && step.row->findsTimeZero
                                                ? "; the recording says sample " + std::to_string(*block.timeZero)
                                                : ""));
        if (step.row->findsTimeZero || step.row->migrates) block.timeZero = 0;
        reports.push_back(report);
    }
    if (recording.size.bscans == 1) {
        Dimensions first = reports.back().output;
        first.bscans = 1;
        connect(CropOf(Output(), first));
        Update(parts.back(), "", progress);
    }
    block = RecordingOf(parts.back()->GetOutput(), block);
    RequireFinite(block, "the image");
    return block;
}

Json::Value Chain::Document() const {
    Json::Value list(Json::arrayValue);
    for (const Step& step : steps) {
        Json::Value entry;
        entry["algorithm"] = step.row->name;
        entry["parameters"] = Json::Value(Json::objectValue);
        for (const Parameter& parameter : step.parameters) entry["parameters"][parameter.name] = parameter.get();
        list.append(entry);
    }
    return list;
}

std::vector<std::string> SkippedKeys(const Json::Value& configuration) {
    std::map<std::string, const Key*> known; // by full name
    std::set<std::string> objects;           // in which keys stand
    for (const AlgorithmRow& row : Algorithms()) {
        objects.insert(row.name);
        for (const Key& key : row.keys) {
            known[key.FullName()] = &key;
            for (auto dot = key.path.find('.'); dot != std::string::npos; dot = key.path.find('.', dot + 1))
                objects.insert(key.path.substr(0, dot));
            objects.insert(key.path);
        }
    }
    std::vector<std::string> lines;
    const std::function<void(const Json::Value&, const std::string&)> walk = [&](const Json::Value& object,
                                                                                 const std::string& path) {
        if (!object.isObject()) return;
        for (const std::string& member : object.getMemberNames()) {
            const std::string name = path.empty() ? member : path + "." + member;
            const auto key = known.find(name);
            if (objects.count(name))
                walk(object[member], name);
            else if (key == known.end()) {
                // The rest of the document may be meant for others.
                if (!path.empty() && path != "Global")
                    lines.push_back(name + " is no key of the algorithm and is skipped");
            } else if (!key->second->Takes(object[member])) {
                lines.push_back(name + " is skipped: it must be written like " + key->second->defaultValue);
            }
        }
    };
    walk(configuration, "");
    return lines;
}

} // namespace tzmchain

#include "AlgorithmTable.h"

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

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
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

const AlgorithmRow* FindRow(const std::string& name) {
    for (const AlgorithmRow& row : Algorithms())
        if (row.name == name) return &row;
    return nullptr;
}

} // namespace tzmchain

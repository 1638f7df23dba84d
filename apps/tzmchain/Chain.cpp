#include "Chain.h"

#include "Progress.h"
#include "Refusal.h"
#include "Text.h"

#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/AlgoMig2Post.h"
#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"
#include "Framework/CalcError.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tzmchain {

namespace {

// How a value of each type looks in JSON, and what it is called.

const char* TypeName(int) { return "a whole number"; }
const char* TypeName(float) { return "a number"; }
const char* TypeName(bool) { return "true or false"; }
const char* TypeName(const std::string&) { return "text"; }

Json::Value ToJson(int value) { return value; }
Json::Value ToJson(float value) { return Shortest(value); }
Json::Value ToJson(bool value) { return value; }
Json::Value ToJson(const std::string& value) { return value; }

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

/// The row of algorithm class A. Every algorithm has the two parameters of the log beside its own.
template <class A>
AlgorithmRow Row(const std::string& summary, double cost, const std::vector<Field<ParamsOf<A>>>& fields,
                 const std::vector<Key>& keys) {
    return {A().GetLogPrefix(),
            summary,
            cost,
            keys,
            [] { return std::make_unique<A>(); },
            [fields](TZM::AlgoBase& algorithm) {
                auto& params = static_cast<A&>(algorithm).GetParams();
                std::vector<Parameter> all;
                for (const auto& field : fields) all.push_back(field.bind(params));
                all.push_back(Bind("enableLogging", static_cast<TZM::AlgoParamBase&>(params),
                                   &TZM::AlgoParamBase::enableLogging));
                all.push_back(
                    Bind("loggingLevel", static_cast<TZM::AlgoParamBase&>(params), &TZM::AlgoParamBase::loggingLevel));
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

TZM::ImageProps Props(const Dimensions& size) { return {size.samples, size.ascans, size.bscans}; }

/// What a failure of an algorithm means to the user.
std::string Explain(const TZM::Exception::CalcError& error, const Dimensions& size) {
    const std::string code = " (code " + std::to_string(error.GetCode()) + ": " + error.GetMessage() + ")";
    if (error.GetCode() == -10) return "needs a permittivity above 0" + code;
    if (error.GetCode() == -11)
        return "refuses " + std::to_string(size.bscans) + " B-scans, since neither 5 nor 7 channels divide them" + code;
    return "can't work on " + size.Text() + " samples" + code;
}

Recording FiveTimes(const Recording& line) {
    Recording block = line;
    block.size.bscans = kCopiesOfSingleLine;
    block.data = AllocateSamples(block.size.Count());
    for (int z = 0; z < kCopiesOfSingleLine; ++z) std::copy_n(line.data.get(), line.size.Count(), block.Bscan(z));
    return block;
}

} // namespace

const std::vector<AlgorithmRow>& Algorithms() {
    using namespace TZM;
    using Fk = AlgoFkMigration;
    static const std::vector<AlgorithmRow> rows = {
        Row<AlgoAscanOffsetRemoval>("takes the mean off every A-scan", 4, {}, {}),
        Row<Fk>("moves energy back to its reflector with one speed (Stolt)", 6,
                {{"timeZero", &AlgoParamFkMigration::timeZero},
                 {"permittivity", &AlgoParamFkMigration::permittivity},
                 {"overlays", &AlgoParamFkMigration::overlays}},
                {{"DepthSpectrumSizeExtension", Fk::defDepthSpectrumSizeExtension, ""},
                 {"UseFrequencyMask", true, ""},
                 {"UseDipMask", true, ""},
                 {"DipMax", Shortest(Fk::defDipMax), "0 to 90 degrees"},
                 {"DipWidth", Shortest(Fk::defDipWidth), "at most 90 - DipMax"},
                 {"InterpolationMethod", Fk::defInterpolationMethod, "1 windowed sinc, other values linear"},
                 {"MaxMigFreqRel", Shortest(Fk::defMaxMigFreqRel), "0.01 to 1"},
                 {"HarlanThreshold", Shortest(Fk::defHarlanThreshold), "0.01 to 10"}}),
        Row<AlgoMig2Post>("replaces every A-scan by its envelope", 2, {}, {}),
    };
    return rows;
}

const char* Key::TypeName() const {
    if (standard.isBool()) return "boolean";
    if (standard.isString()) return "string";
    if (standard.isArray()) return "array";
    return standard.type() == Json::realValue ? "real" : "integer";
}

Step::Step(const AlgorithmRow& kind) : row(&kind), algorithm(kind.make()), parameters(kind.parameters(*algorithm)) {}

Parameter* Step::Find(const std::string& parameterName) {
    for (Parameter& parameter : parameters)
        if (parameter.name == parameterName) return &parameter;
    return nullptr;
}

Chain Chain::Standard() {
    Chain chain;
    for (const char* name : {"OffsetRemoval", "FkMigration", "Mig2Post"}) chain.steps.emplace_back(*FindRow(name));
    return chain;
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

Parameter* Chain::Find(const std::string& parameter) {
    for (Step& step : steps)
        if (Parameter* found = step.Find(parameter)) return found;
    return nullptr;
}

void Chain::ReadConfiguration() {
    for (Step& step : steps) {
        std::vector<Json::Value> before;
        for (const Parameter& parameter : step.parameters) before.push_back(parameter.get());
        step.algorithm->ParseParamsFromJsonConfig();
        for (std::size_t i = 0; i < before.size(); ++i)
            if (step.parameters[i].get() != before[i]) step.given.insert(step.parameters[i].name);
    }
}

std::optional<Json::Value> Chain::Given(const std::string& parameter) const {
    for (const Step& step : steps)
        for (const Parameter& found : step.parameters)
            if (found.name == parameter && step.given.count(parameter)) return found.get();
    return std::nullopt;
}

Recording Chain::Run(Recording recording, Progress& progress) {
    TZM::AlgoGlobalSettings& settings = TZM::AlgoBase::GetGlobalSettings();
    settings.delta_t = static_cast<float>(recording.deltaT);
    settings.delta_x = static_cast<float>(recording.deltaX);
    reports.clear();

    const bool singleLine = recording.size.bscans == 1;
    Recording block = singleLine ? FiveTimes(recording) : recording;
    recording.data.reset();
    TZM::ImageProps props = Props(block.size);
    for (Step& step : steps) {
        const std::string& name = step.row->name;
        if (Parameter* timeZero = step.Find("timeZero")) {
            const int dropped = timeZero->get().asInt();
            if (dropped < 0 || dropped >= block.size.samples)
                throw Refusal(name + ": timeZero " + std::to_string(dropped) + " isn't one of the samples 0 to " +
                              std::to_string(block.size.samples - 1));
        }
        const TZM::ImageProps outProps = step.algorithm->GetAdjustedImageDimensions(props);
        Recording out = block;
        out.size = {outProps.samplesPerAscan, outProps.ascansPerBscan, outProps.bscanCount};
        if (out.size.samples < 1 || out.size.ascans < 1 || out.size.bscans < 1)
            throw Refusal(name + " leaves an empty result of " + out.size.Text() + " samples");
        out.startTime += (block.size.samples - out.size.samples) * block.deltaT;
        const double seconds = progress.Do(name, block.size.Text() + " to " + out.size.Text(), [&] {
            try {
                out.data = AllocateSamples(out.size.Count());
                step.algorithm->Execute(block.data.get(), props, out.data.get(), outProps);
            } catch (const TZM::Exception::CalcError& error) {
                throw Refusal(name + " " + Explain(error, block.size));
            }
        });
        reports.push_back({name, block.size, out.size, seconds});
        block = std::move(out); // releases the step's input
        props = outProps;
    }
    if (singleLine) block.size.bscans = 1;
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
    std::vector<std::string> lines;
    if (!configuration.isObject()) return lines;
    for (const AlgorithmRow& row : Algorithms()) {
        const Json::Value& section = configuration[row.name];
        if (!section.isObject()) continue;
        for (const std::string& member : section.getMemberNames()) {
            const auto key =
                std::find_if(row.keys.begin(), row.keys.end(), [&](const Key& k) { return k.name == member; });
            if (key == row.keys.end())
                lines.push_back(row.name + "." + member + " is no key of the algorithm and is skipped");
            else if (section[member].type() != key->standard.type())
                lines.push_back(row.name + "." + member + " is skipped: it must be written like " +
                                OneLine(JsonText(key->standard)));
        }
    }
    return lines;
}

} // namespace tzmchain

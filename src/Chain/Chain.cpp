#include "Chain/Chain.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

#include "Framework/private/JsonDocument.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

std::string NamesOf(const std::vector<ParameterInfo>& parameters) {
    std::vector<std::string> names;
    for (const ParameterInfo& parameter : parameters) names.push_back(parameter.name);
    return Joined(names);
}

const AlgorithmInfo& Known(const std::string& name) {
    if (const AlgorithmInfo* info = FindAlgorithm(name)) return *info;
    std::vector<std::string> known;
    for (const AlgorithmInfo& other : Algorithms()) known.push_back(other.name);
    throw ChainError("unknown algorithm \"" + OneLine(name) + "\"; known are " + Joined(known));
}

} // namespace

Step::Step(const AlgorithmInfo& kind) : info(&kind), algorithm(kind.make()) {}

Json::Value Step::Get(const std::string& parameter) const {
    const ParameterInfo* known = info->Find(parameter);
    return known ? known->get(*algorithm) : Json::Value();
}

void Step::Set(const std::string& parameter, const Json::Value& value) {
    const ParameterInfo* known = info->Find(parameter);
    if (!known)
        throw ChainError(info->name + ": unknown parameter \"" + OneLine(parameter) + "\"; known are " +
                             NamesOf(info->parameters),
                         info->name, parameter);
    if (!known->set(*algorithm, value))
        throw ChainError(info->name + ": parameter \"" + parameter + "\" must be " + known->TypeText(), info->name,
                         parameter);
    given.insert(parameter);
}

std::string AssumedNumber::Text() const { return "the " + words + " isn't known, " + Number(value) + " is taken"; }

Step& Chain::Add(const std::string& algorithm, const Json::Value& parameters) {
    Step step(Known(algorithm));
    for (const std::string& member : parameters.getMemberNames()) step.Set(member, parameters[member]);
    steps.push_back(std::move(step));
    return steps.back();
}

Chain Chain::FromDocument(const Json::Value& document, const std::string& name) {
    Chain chain;
    try {
        chain.Read(document);
    } catch (const ChainError& error) {
        throw ChainError(name + ": " + error.what(), error.step, error.parameter);
    }
    return chain;
}

void Chain::Read(const Json::Value& document) {
    if (!document.isObject() || !document["chain"].isArray() || document["chain"].empty())
        throw ChainError("needs a member \"chain\", a list of algorithms");
    for (const std::string& member : document.getMemberNames())
        if (member != "chain" && document["program"] != "tzmchain")
            throw ChainError("unknown member \"" + OneLine(member) + "\"");
    for (const Json::Value& entry : document["chain"]) {
        if (!entry.isObject() || !entry["algorithm"].isString())
            throw ChainError("every step of the chain needs a member \"algorithm\", the name of one");
        const std::string algorithm = OneLine(entry["algorithm"].asString());
        for (const std::string& member : entry.getMemberNames())
            if (member != "algorithm" && member != "parameters")
                throw ChainError(algorithm + ": unknown member \"" + OneLine(member) + "\"", algorithm);
        const Json::Value& parameters = entry["parameters"];
        if (!parameters.isNull() && !parameters.isObject())
            throw ChainError(algorithm + ": \"parameters\" must be an object", algorithm);
        Add(algorithm, parameters);
    }
}

void Chain::Set(const std::string& parameter, const Json::Value& value, bool overrule) {
    for (Step& step : steps)
        if (step.Info().Find(parameter) && (overrule || !step.given.count(parameter))) step.Set(parameter, value);
}

namespace {

/// Whether a document holds one of the keys.
bool Holds(const Json::Value& document, const std::vector<Key>& keys) {
    return std::any_of(keys.begin(), keys.end(), [&](const Key& key) {
        const Json::Value* place = &document;
        std::istringstream path(key.FullName());
        for (std::string name; std::getline(path, name, '.');) {
            if (!place->isObject() || !place->isMember(name)) return false;
            place = &(*place)[name];
        }
        return true;
    });
}

/// What is known of a block behind a step that changes its grid.
void Regrid(const Step& step, Recording& block) {
    if (step.Info().regrids) step.Info().regrids(step.Algorithm(), block);
}

/// Whether time zero is sample 0 behind it: a migration drops the samples ahead of it.
bool MovesTimeZero(const Step& step) { return step.Info().setsTimeZero || step.Info().migrates; }

} // namespace

void Chain::ReadConfiguration(const Recording& recording) {
    Json::Value document;
    if (!ParseJsonDocument(AlgoBase::GetConfigString(), document)) return;
    bool moved = false;
    for (std::size_t s = 0; s < steps.size(); ++s) {
        Step& step = steps[s];
        const bool behind = std::exchange(moved, moved || MovesTimeZero(step));
        if (!Holds(document, step.Info().keys)) continue; // the clipper would take what isn't there for 0
        std::vector<Json::Value> before;
        for (const ParameterInfo& parameter : step.Info().parameters) before.push_back(step.Get(parameter.name));
        step.Algorithm().ParseParamsFromJsonConfig();
        for (std::size_t i = 0; i < before.size(); ++i) {
            const std::string& name = step.Info().parameters[i].name;
            if (step.Get(name) == before[i]) continue;
            if (behind && name == "timeZero") { // the document tells the recording's, which isn't here any more
                step.Info().Find(name)->set(step.Algorithm(), before[i]);
                continue;
            }
            if (name == "timeZero") {
                Recording at = recording.About();
                at.timeZero = step.Get(name).asInt();
                for (std::size_t k = 0; k < s; ++k) Regrid(steps[k], at);
                step.Info().Find(name)->set(step.Algorithm(), *at.timeZero);
            }
            step.given.insert(name);
        }
    }
}

namespace {

/// What the steps make of a number of the recording. Behind a step that moves time zero the samples are no more the
/// recording's; a time zero that is detected is nobody's to give.
struct Use {
    Use(const Chain& chain, const std::string& parameter, const Recording& recording) {
        Recording at = recording.About();
        for (const Step& step : chain.steps) {
            if (step.Info().findsTimeZero && parameter == "timeZero") break;
            if (step.Info().Find(parameter)) {
                value = step.Get(parameter), given = step.given.count(parameter) != 0;
                unit = parameter == "timeZero" ? at.deltaT / recording.deltaT : 1;
            }
            if (MovesTimeZero(step) && parameter == "timeZero") break;
            Regrid(step, at);
        }
    }
    Json::Value value; ///< of the last step that has the parameter, since a migration decides on the depth; or null
    bool given = false;
    double unit = 1; ///< in units of the recording: samples have another interval behind a step that changes it
};

Json::Value ListOf(const std::vector<int>& numbers) {
    Json::Value list(Json::arrayValue);
    for (const int number : numbers) list.append(number);
    return list;
}

template <class T>
void SettleNumber(const Chain& chain, const std::string& parameter, const std::string& words,
                  const std::optional<T>& given, Recording& recording, std::optional<T> Recording::*member,
                  std::vector<AssumedNumber>& assumed) {
    const Use use(chain, parameter, recording);
    std::optional<T>& known = recording.*member;
    if (use.given && use.unit == 1)
        known = static_cast<T>(use.value.asDouble());
    else if (use.given && !(known && std::lround(*known / use.unit) == use.value.asInt64()))
        known = static_cast<T>(std::lround(use.value.asDouble() * use.unit));
    else if (use.given)
        return;
    else if (given)
        known = given;
    else if (!use.value.isNull() && !known)
        assumed.push_back({parameter, words, use.value.asDouble()});
}

} // namespace

std::vector<AssumedNumber> Chain::Settle(Recording& recording, const GivenNumbers& numbers) {
    bool moved = false;
    Recording at = recording.About(); // ahead of each step, as far as intervals and places go
    if (numbers.timeZero) at.timeZero = numbers.timeZero;
    for (Step& step : steps) {
        const bool free = !step.given.count("timeZero");
        if (!step.Info().Find("timeZero")) {
        } else if (moved) {
            if (free) step.Set("timeZero", 0);
        } else if (numbers.timeZero) {
            step.Set("timeZero", *at.timeZero);
        } else if (at.timeZero && free) {
            step.Set("timeZero", *at.timeZero);
            if (step.Info().Find("timeZeros") && !step.given.count("timeZeros") && !at.timeZeros.empty())
                step.Set("timeZeros", ListOf(at.timeZeros));
        }
        for (const ParameterInfo& parameter : step.Info().parameters)
            if (parameter.told && !step.given.count(parameter.name))
                if (const Json::Value value = parameter.told(at); !value.isNull()) step.Set(parameter.name, value);
        moved = moved || MovesTimeZero(step);
        Regrid(step, at);
    }
    if (numbers.permittivity) Set("permittivity", *numbers.permittivity, true);
    if (numbers.antennaOffset) Set("antennaOffset", *numbers.antennaOffset, true);
    if (numbers.lineSpacing) Set("lineSpacing", *numbers.lineSpacing, true);
    if (recording.permittivity) Set("permittivity", *recording.permittivity, false);
    if (recording.antennaOffset) Set("antennaOffset", *recording.antennaOffset, false);
    if (recording.lineSpacing) Set("lineSpacing", *recording.lineSpacing, false);
    SettleAntennas(recording, numbers);
    ReadConfiguration(recording);
    std::vector<AssumedNumber> assumed;
    SettleNumber(*this, "timeZero", "sample of time zero", numbers.timeZero, recording, &Recording::timeZero, assumed);
    SettleNumber(*this, "permittivity", "permittivity", numbers.permittivity, recording, &Recording::permittivity,
                 assumed);
    SettleNumber(*this, "antennaOffset", "antenna offset in metres", numbers.antennaOffset, recording,
                 &Recording::antennaOffset, assumed);
    SettleNumber(*this, "lineSpacing", "distance between lines in metres", numbers.lineSpacing, recording,
                 &Recording::lineSpacing, assumed);
    return assumed;
}

// Behind a bistatic correction the times are those of one antenna; channels of one pair of antennas are all alike.
void Chain::SettleAntennas(const Recording& recording, const GivenNumbers& numbers) {
    bool corrected = false;
    for (Step& step : steps) {
        corrected = corrected || step.Info().Find("antennaOffset");
        if (!step.Info().Find("antennaOffsetBi")) continue;
        const auto set = [&](const char* parameter, const Json::Value& value) {
            if (!step.given.count(parameter)) step.Set(parameter, value);
        };
        const auto offset = numbers.antennaOffset ? numbers.antennaOffset : recording.antennaOffset;
        if (recording.oneAntennaPair) {
            set("bistaticAcross", false);
            set("antennaOffsetBi", step.Get("antennaOffsetMono"));
        } else if (corrected) {
            set("antennaOffsetBi", 0.);
        } else if (offset) {
            set("antennaOffsetBi", *offset);
        }
    }
}

Json::Value Chain::Document() const {
    Json::Value list(Json::arrayValue);
    for (const Step& step : steps) {
        Json::Value entry;
        entry["algorithm"] = step.Info().name;
        entry["parameters"] = Json::Value(Json::objectValue);
        for (const ParameterInfo& parameter : step.Info().parameters)
            entry["parameters"][parameter.name] = step.Get(parameter.name);
        list.append(entry);
    }
    return list;
}

} // namespace TZM

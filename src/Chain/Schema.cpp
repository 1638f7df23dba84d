#include "Chain/Schema.h"

#include <cmath>

#include "Chain/AlgorithmInfo.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

Json::Value Begin(const char* title) {
    Json::Value schema;
    schema["$schema"] = "https://json-schema.org/draft/2020-12/schema";
    schema["title"] = title;
    schema["type"] = "object";
    return schema;
}

Json::Value TypeOf(const ParameterInfo& parameter) {
    Json::Value type;
    switch (parameter.type) {
    case ValueType::Integer: type["type"] = "integer"; break;
    case ValueType::Number: type["type"] = "number"; break;
    case ValueType::Flag: type["type"] = "boolean"; break;
    case ValueType::Text: type["type"] = "string"; break;
    case ValueType::Word:
        for (const std::string& word : parameter.words) type["enum"].append(word);
        break;
    case ValueType::Integers:
        type["type"] = "array";
        type["items"]["type"] = "integer";
        break;
    case ValueType::Numbers:
        type["type"] = "array";
        type["items"]["type"] = "number";
        break;
    case ValueType::Widths:
        type["type"] = "object";
        type["additionalProperties"] = false;
        for (const std::string& word : parameter.words) {
            type["properties"][word]["type"] = "integer";
            type["properties"][word]["minimum"] = 0;
        }
        break;
    }
    return type;
}

/// "samples at the head that are dropped, in samples; sensible from 0 on"
std::string DescriptionOf(const ParameterInfo& parameter) {
    std::string text = parameter.meaning;
    if (!parameter.unit.empty()) text += " (" + parameter.unit + ")";
    const bool low = std::isfinite(parameter.low), high = std::isfinite(parameter.high);
    if (low && high) return text + "; sensible from " + Number(parameter.low) + " to " + Number(parameter.high);
    if (low) return text + "; sensible from " + Number(parameter.low) + " on";
    return text;
}

/// What a key takes. A schema can't tell 5 from 5.0: the algorithms do, and skip a whole number for a real one.
Json::Value TypeOf(const Key& key) {
    Json::Value type;
    switch (key.kind) {
    case JsonKind::Boolean: type["type"] = "boolean"; break;
    case JsonKind::Integer: type["type"] = "integer"; break;
    case JsonKind::Integral:
        type["type"].append("integer");
        type["type"].append("boolean");
        type["minimum"] = 0;
        break;
    case JsonKind::NonNegative:
        type["type"] = "integer";
        type["minimum"] = 0;
        break;
    case JsonKind::Real: type["type"] = "number"; break;
    case JsonKind::Numeric:
        type["type"].append("number");
        type["type"].append("boolean");
        break;
    case JsonKind::String: type["type"] = "string"; break;
    case JsonKind::Array:
        type["type"].append("array");
        type["type"].append("null");
        break;
    }
    if (!key.defaultValue.empty()) type["default"] = ParseJson(key.defaultValue, key.key);
    std::string text = key.kind == JsonKind::Real ? "written with a point or an exponent" : "";
    if (!key.Limits().empty()) text += (text.empty() ? "" : "; ") + key.Limits();
    if (!text.empty()) type["description"] = text;
    return type;
}

} // namespace

Json::Value ChainSchema() {
    Json::Value schema = Begin("Chain of algorithms for recordings of a ground-penetrating radar");
    schema["required"].append("chain");
    Json::Value& chain = schema["properties"]["chain"];
    chain["type"] = "array";
    chain["minItems"] = 1;
    Json::Value& kinds = chain["items"]["oneOf"];
    for (const AlgorithmInfo& info : Algorithms()) {
        Json::Value kind;
        kind["type"] = "object";
        kind["description"] = info.summary;
        kind["additionalProperties"] = false;
        kind["required"].append("algorithm");
        kind["properties"]["algorithm"]["const"] = info.name;
        Json::Value& parameters = kind["properties"]["parameters"];
        parameters["type"].append("object");
        parameters["type"].append("null");
        parameters["additionalProperties"] = false;
        for (const ParameterInfo& parameter : info.parameters) {
            Json::Value type = TypeOf(parameter);
            type["description"] = DescriptionOf(parameter);
            type["default"] = parameter.defaultValue;
            parameters["properties"][parameter.name] = type;
        }
        kinds.append(kind);
    }
    // A recipe is a chain document with the protocol of its run beside the chain.
    schema["if"]["required"].append("program");
    schema["if"]["properties"]["program"]["const"] = "tzmchain";
    schema["else"]["properties"]["chain"] = true;
    schema["else"]["additionalProperties"] = false;
    return schema;
}

Json::Value ConfigurationSchema() {
    Json::Value schema = Begin("Configuration of the algorithms");
    for (const AlgorithmInfo& info : Algorithms())
        for (const Key& key : info.keys) {
            Json::Value* section = &schema;
            for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
                end = key.path.find('.', begin);
                const std::string name = key.path.substr(begin, end - begin);
                const bool global = section == &schema && name == "Global"; // others may have members there
                section = &(*section)["properties"][name];
                (*section)["type"] = "object";
                if (!global) (*section)["additionalProperties"] = false;
            }
            (*section)["properties"][key.key] = TypeOf(key);
        }
    return schema;
}

} // namespace TZM

#include "Chain/AlgorithmInfo.h"

#include <cmath>
#include <map>
#include <set>

#include "Recording/private/Text.h"

namespace TZM {

std::string ParameterInfo::TypeText() const {
    switch (type) {
    case ValueType::Integer: return "a whole number";
    case ValueType::Number: return "a number";
    case ValueType::Flag: return "true or false";
    case ValueType::Text: return "text";
    case ValueType::Integers: return "a list of whole numbers";
    case ValueType::Numbers: return "a list of numbers";
    case ValueType::Widths: return "an object of widths, from 0 on: LowerX, UpperX, ... UpperZ";
    case ValueType::Word: break;
    }
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i)
        text += (i == 0 ? "\"" : i + 1 < words.size() ? ", \"" : " or \"") + words[i] + "\"";
    return text;
}

const ParameterInfo* AlgorithmInfo::Find(const std::string& parameter) const {
    for (const ParameterInfo& known : parameters)
        if (known.name == parameter) return &known;
    return nullptr;
}

std::string Coupling::Text() const {
    switch (scope) {
    case Ascan: return "one A-scan";
    case Bscan: return "one B-scan";
    case Lane: return "the B-scans of a lane";
    case Neighbours:
        if (neighbours == kAsFarAsItReaches) return "a B-scan and those on each side that it reaches";
        return "a B-scan and " + std::to_string(neighbours) + " on each side";
    case Block: break;
    }
    return throughFindings ? "the block, through some numbers" : "the block";
}

const char* Key::TypeName() const {
    switch (kind) {
    case JsonKind::Boolean: return "boolean";
    case JsonKind::Integer: return "integer";
    case JsonKind::Integral: return "integer >= 0";
    case JsonKind::NonNegative: return "integer >= 0";
    case JsonKind::Real: return "real";
    case JsonKind::Numeric: return "number";
    case JsonKind::String: return "string";
    case JsonKind::Array: break;
    }
    return "array";
}

bool Key::Takes(const Json::Value& value) const {
    const Json::ValueType type = value.type();
    switch (kind) {
    case JsonKind::Boolean: return type == Json::booleanValue;
    case JsonKind::Integer: return type == Json::intValue;
    case JsonKind::Integral:
        return type == Json::uintValue || type == Json::booleanValue ||
               (type == Json::intValue && value.asInt64() >= 0);
    case JsonKind::NonNegative: return type == Json::uintValue || (type == Json::intValue && value.asInt64() >= 0);
    case JsonKind::Real: return type == Json::realValue;
    case JsonKind::Numeric: return type == Json::booleanValue || value.isNumeric();
    case JsonKind::String: return type == Json::stringValue;
    case JsonKind::Array: break;
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

std::vector<std::string> SkippedKeys(const Json::Value& configuration) {
    std::map<std::string, const Key*> known; // by full name
    std::set<std::string> objects;           // in which keys stand
    for (const AlgorithmInfo& row : Algorithms()) {
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

} // namespace TZM

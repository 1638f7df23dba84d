#pragma once

#include <json/value.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Filter/AlgoEnvelope.h"
#include "Algorithms/Migration/AlgoArrayMigration.h"
#include "Algorithms/Reduction/AlgoBorderClearing.h"
#include "Chain/AlgorithmInfo.h"
#include "Recording/private/Text.h"

// How the value of a parameter of each type looks in JSON.

namespace TZM {

template <class T>
struct ValueOf;

template <>
struct ValueOf<int> {
    static constexpr ValueType type = ValueType::Integer;
    static std::vector<std::string> Words() { return {}; }
    static Json::Value ToJson(int value) { return value; }
    static std::optional<int> FromJson(const Json::Value& json) {
        return json.type() != Json::realValue && json.isInt() ? std::optional(json.asInt()) : std::nullopt;
    }
};

template <>
struct ValueOf<float> {
    static constexpr ValueType type = ValueType::Number;
    static std::vector<std::string> Words() { return {}; }
    static Json::Value ToJson(float value) { return Shortest(value); }
    static std::optional<float> FromJson(const Json::Value& json) {
        if (!json.isNumeric() || std::abs(json.asDouble()) > std::numeric_limits<float>::max()) return std::nullopt;
        return static_cast<float>(json.asDouble());
    }
};

template <>
struct ValueOf<bool> {
    static constexpr ValueType type = ValueType::Flag;
    static std::vector<std::string> Words() { return {}; }
    static Json::Value ToJson(bool value) { return value; }
    static std::optional<bool> FromJson(const Json::Value& json) {
        return json.isBool() ? std::optional(json.asBool()) : std::nullopt;
    }
};

template <>
struct ValueOf<std::string> {
    static constexpr ValueType type = ValueType::Text;
    static std::vector<std::string> Words() { return {}; }
    static Json::Value ToJson(const std::string& value) { return value; }
    static std::optional<std::string> FromJson(const Json::Value& json) {
        return json.isString() ? std::optional(json.asString()) : std::nullopt;
    }
};

template <class T>
struct ValueOf<std::vector<T>> {
    static constexpr ValueType type = std::is_integral_v<T> ? ValueType::Integers : ValueType::Numbers;
    static std::vector<std::string> Words() { return {}; }
    static Json::Value ToJson(const std::vector<T>& value) {
        Json::Value list(Json::arrayValue);
        for (const T element : value) list.append(ValueOf<T>::ToJson(element));
        return list;
    }
    static std::optional<std::vector<T>> FromJson(const Json::Value& json) {
        if (!json.isArray()) return std::nullopt;
        std::vector<T> value;
        for (const Json::Value& element : json) {
            const auto number = ValueOf<T>::FromJson(element);
            if (!number) return std::nullopt;
            value.push_back(*number);
        }
        return value;
    }
};

/// A type whose values have names: kNames is a list of pairs of name and value.
template <class T, const auto& kNames>
struct ValueOfWord {
    static constexpr ValueType type = ValueType::Word;
    static std::vector<std::string> Words() {
        std::vector<std::string> words;
        for (const auto& [name, value] : kNames) words.push_back(name);
        return words;
    }
    static Json::Value ToJson(T value) {
        for (const auto& [name, named] : kNames)
            if (value == named) return name;
        return Json::Value();
    }
    static std::optional<T> FromJson(const Json::Value& json) {
        for (const auto& [name, named] : kNames)
            if (json.isString() && json.asString() == name) return named;
        return std::nullopt;
    }
};

using Removal = AlgoParamBgRemoval::AlgoType;
inline constexpr std::pair<const char*, Removal> kRemovals[] = {{"none", Removal::None},
                                                                {"median", Removal::Median},
                                                                {"classify", Removal::Classify},
                                                                {"highpass", Removal::HighPass},
                                                                {"surface", Removal::Surface}};
template <>
struct ValueOf<Removal> : ValueOfWord<Removal, kRemovals> {};

using Wavelet = AlgoParamArrayMigration::Wavelet;
inline constexpr std::pair<const char*, Wavelet> kWavelets[] = {{"raw", Wavelet::Raw},
                                                                {"corrected", Wavelet::Corrected}};
template <>
struct ValueOf<Wavelet> : ValueOfWord<Wavelet, kWavelets> {};

inline constexpr std::pair<const char*, AlgoParamEnvelope::Kind> kEnvelopeKinds[] = {
    {"magnitude", AlgoParamEnvelope::Magnitude},
    {"phase", AlgoParamEnvelope::Phase},
    {"frequency", AlgoParamEnvelope::Frequency}};
template <>
struct ValueOf<AlgoParamEnvelope::Kind> : ValueOfWord<AlgoParamEnvelope::Kind, kEnvelopeKinds> {};

inline constexpr std::pair<const char*, unsigned BorderWidths::*> kBorders[] = {
    {"LowerX", &BorderWidths::LowerX}, {"UpperX", &BorderWidths::UpperX}, {"LowerY", &BorderWidths::LowerY},
    {"UpperY", &BorderWidths::UpperY}, {"LowerZ", &BorderWidths::LowerZ}, {"UpperZ", &BorderWidths::UpperZ}};
template <>
struct ValueOf<BorderWidths> {
    static constexpr ValueType type = ValueType::Widths;
    static std::vector<std::string> Words() {
        std::vector<std::string> words;
        for (const auto& [name, width] : kBorders) words.push_back(name);
        return words;
    }
    static Json::Value ToJson(const BorderWidths& value) {
        Json::Value object(Json::objectValue);
        for (const auto& [name, width] : kBorders) object[name] = value.*width;
        return object;
    }
    static std::optional<BorderWidths> FromJson(const Json::Value& json) {
        BorderWidths widths;
        if (!json.isObject()) return std::nullopt;
        for (const std::string& member : json.getMemberNames()) {
            const auto found = std::find_if(std::begin(kBorders), std::end(kBorders),
                                            [&](const auto& border) { return member == border.first; });
            if (found == std::end(kBorders) || json[member].type() == Json::realValue || !json[member].isUInt())
                return std::nullopt;
            widths.*found->second = json[member].asUInt();
        }
        return widths;
    }
};

} // namespace TZM

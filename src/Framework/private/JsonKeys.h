#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "Framework/JsonKeyInfo.h"
#include "Framework/Prm.h"
#include "Framework/private/JsonDocument.h"

namespace TZM {

/// Where a key's value goes: a field, plain or observed, or an operation that takes the value apart.
template <class P>
using JsonTarget =
    std::variant<bool P::*, int P::*, unsigned P::*, float P::*, double P::*, std::string P::*, Prm<bool> P::*,
                 Prm<int> P::*, Prm<float> P::*, Prm<std::string> P::*, void (*)(P&, const Json::Value&)>;

/// A row of a class's table of keys.
template <class P>
struct JsonKey {
    JsonKind kind;
    const char* key;
    JsonTarget<P> target;
    double low;
    double high;
};

/// The keys of one object of the document, in the order in which they are read.
template <class P>
struct JsonSection {
    std::vector<std::string> path; ///< from the root down; an empty name stands for the algorithm's
    std::vector<JsonKey<P>> keys;
};

/// The algorithm's own section, in a path.
constexpr const char* kOwnSection = "";

/// A row whose class isn't known yet: the field may belong to a base of it.
template <class Target>
struct JsonRow {
    JsonKind kind;
    const char* key;
    Target target;
    double low = -std::numeric_limits<double>::infinity();
    double high = std::numeric_limits<double>::infinity();

    template <class P>
    operator JsonKey<P>() const {
        return {kind, key, JsonTarget<P>(target), low, high};
    }
};

template <class Field>
struct PlainType {
    using Type = Field;
};
template <class T>
struct PlainType<Prm<T>> {
    using Type = T;
};
template <class Field, class T>
constexpr bool kHolds = std::is_same_v<typename PlainType<Field>::Type, T>;

template <class Owner, class Field>
JsonRow<Field Owner::*> Boolean(const char* key, Field Owner::*field) {
    static_assert(kHolds<Field, bool>);
    return {JsonKind::Boolean, key, field};
}

template <class Owner, class Field>
JsonRow<Field Owner::*> Integer(const char* key, Field Owner::*field) {
    static_assert(kHolds<Field, int>);
    return {JsonKind::Integer, key, field};
}

/// With a range, to which the value is limited.
template <class Owner, class Field>
JsonRow<Field Owner::*> Integer(const char* key, Field Owner::*field, int low, int high) {
    static_assert(kHolds<Field, int>);
    return {JsonKind::Integer, key, field, double(low), double(high)};
}

template <class Owner, class Field>
JsonRow<Field Owner::*> Integral(const char* key, Field Owner::*field) {
    static_assert(kHolds<Field, int> || kHolds<Field, unsigned>);
    return {JsonKind::Integral, key, field};
}

template <class Owner, class Field>
JsonRow<Field Owner::*> Real(const char* key, Field Owner::*field) {
    static_assert(kHolds<Field, float> || kHolds<Field, double>);
    return {JsonKind::Real, key, field};
}

template <class Owner, class Field>
JsonRow<Field Owner::*> Real(const char* key, Field Owner::*field, double low, double high) {
    static_assert(kHolds<Field, float> || kHolds<Field, double>);
    return {JsonKind::Real, key, field, low, high};
}

template <class Owner, class Field>
JsonRow<Field Owner::*> Numeric(const char* key, Field Owner::*field) {
    static_assert(kHolds<Field, float> || kHolds<Field, double>);
    return {JsonKind::Numeric, key, field};
}

template <class Owner, class Field>
JsonRow<Field Owner::*> String(const char* key, Field Owner::*field) {
    static_assert(kHolds<Field, std::string>);
    return {JsonKind::String, key, field};
}

/// A text that stands for something. \param read takes it apart: void(P&, const Json::Value&), without captures.
template <class Read>
JsonRow<Read> Keyword(const char* key, Read read) {
    return {JsonKind::String, key, read};
}

/// A number of things. \param read as above.
template <class Read>
JsonRow<Read> NonNegative(const char* key, Read read) {
    return {JsonKind::NonNegative, key, read};
}

/// \param read takes the array, or null, apart, in the same way.
template <class Read>
JsonRow<Read> Array(const char* key, Read read) {
    return {JsonKind::Array, key, read};
}

/// Whether the value has a type that counts for the kind.
bool IsOfKind(const Json::Value& value, JsonKind kind);

/// The value as a T, limited to the range; std::runtime_error if it can't be converted.
template <class T, class P>
T ConvertTo(const Json::Value& value, const JsonKey<P>& row) {
    if constexpr (std::is_same_v<T, std::string>) {
        return AsString(&value);
    } else if constexpr (std::is_same_v<T, bool>) {
        return AsInt(&value) != 0;
    } else { // a double holds every int and unsigned
        double number = row.kind == JsonKind::Real || row.kind == JsonKind::Numeric ? AsDouble(&value)
                        : row.kind == JsonKind::Integral                            ? double(AsUInt(&value))
                                                                                    : double(AsInt(&value));
        number = std::clamp(number, row.low, row.high);
        if constexpr (std::is_floating_point_v<T>)
            return static_cast<T>(number);
        else
            return static_cast<T>(static_cast<std::int64_t>(number));
    }
}

/// Reads the keys that section has in the right type, in the order of the table, into their fields. An observed field
/// notifies if its value changes. std::runtime_error ends the reading; what was read before it stays.
template <class Keys, class P>
void ReadKeys(const Json::Value& section, const Keys& keys, P& object) {
    for (const JsonKey<P>& row : keys) {
        const Json::Value* value = FindValue(section, row.key);
        if (!value || !IsOfKind(*value, row.kind)) continue;
        std::visit(
            [&](auto target) {
                if constexpr (std::is_member_pointer_v<decltype(target)>) {
                    using Field = std::remove_reference_t<decltype(object.*target)>;
                    object.*target = ConvertTo<typename PlainType<Field>::Type>(*value, row);
                } else {
                    target(object, *value);
                }
            },
            row.target);
    }
}

/// Reads all sections of a class, in their order, for an algorithm of that name.
template <class P>
void ReadSections(const Json::Value& root, const std::string& algoName, const std::vector<JsonSection<P>>& sections,
                  P& object) {
    for (const JsonSection<P>& section : sections) {
        const Json::Value* place = &root;
        for (const std::string& step : section.path) place = &Member(*place, step.empty() ? algoName : step);
        ReadKeys(*place, section.keys, object);
    }
}

// A value as JSON text.
std::string JsonText(bool value);
std::string JsonText(int value);
std::string JsonText(unsigned value);
std::string JsonText(float value);
std::string JsonText(double value);
std::string JsonText(const std::string& value);

/// What the tables tell of every key, for lists and documentation; defaults holds the values without a document.
template <class P>
std::vector<JsonKeyInfo> DescribeKeys(const std::string& algoName, const std::vector<JsonSection<P>>& sections,
                                      const P& defaults) {
    std::vector<JsonKeyInfo> infos;
    for (const JsonSection<P>& section : sections) {
        std::string path;
        for (const std::string& step : section.path)
            path += (path.empty() ? "" : ".") + (step.empty() ? algoName : step);
        for (const JsonKey<P>& row : section.keys) {
            const std::string text = std::visit(
                [&](auto target) -> std::string {
                    if constexpr (std::is_member_pointer_v<decltype(target)>) {
                        using Field = std::decay_t<decltype(defaults.*target)>;
                        return JsonText(static_cast<const typename PlainType<Field>::Type&>(defaults.*target));
                    } else {
                        return {};
                    }
                },
                row.target);
            infos.push_back({path, row.key, row.kind, row.low, row.high, text});
        }
    }
    return infos;
}

/// The keys of an algorithm that has some for its parameters and some for its tuning values.
template <class P, class Internal>
std::vector<JsonKeyInfo>
DescribeKeysOf(const std::string& algoName, const std::vector<JsonSection<P>>& paramSections, const P& paramDefaults,
               const std::vector<JsonSection<Internal>>& internalSections, const Internal& internalDefaults) {
    std::vector<JsonKeyInfo> keys = DescribeKeys(algoName, paramSections, paramDefaults);
    const auto more = DescribeKeys(algoName, internalSections, internalDefaults);
    keys.insert(keys.end(), more.begin(), more.end());
    return keys;
}

} // namespace TZM

#include "Framework/private/JsonDocument.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <locale>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <vector>

#include <json/reader.h>
#include <json/writer.h>

#include "Framework/AlgoBase.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/RegionLog.h"

namespace TZM {

namespace {

/// Decimal points and no grouping for as long as it lives. jsoncpp reads numbers through a stream, which follows the
/// global locale of C++, and writes them through printf, which follows LC_NUMERIC. Both belong to the process, so only
/// one thread at a time changes them, and only where they aren't plain already.
class PlainNumbers {
public:
    PlainNumbers() : lock(Mutex()) {
        const std::locale global;
        const auto& numbers = std::use_facet<std::numpunct<char>>(global);
        const bool cppIsPlain = numbers.decimal_point() == '.' && numbers.grouping().empty();
        if (cppIsPlain && std::strcmp(std::setlocale(LC_NUMERIC, nullptr), "C") == 0) return;
        // Whatever may fail comes before the first change. All categories of the C locale are kept, since making a
        // named C++ locale global again sets them from its name.
        cLocale = std::setlocale(LC_ALL, nullptr);
        const std::locale plain(global, new std::numpunct<char>); // has no name: leaves the C locale alone
        cppLocale = global;
        std::setlocale(LC_NUMERIC, "C");
        std::locale::global(plain);
    }

    ~PlainNumbers() {
        if (!cppLocale) return;
        try {
            std::locale::global(*cppLocale);
        } catch (const std::bad_alloc&) { // it is global all the same; the C locale is set below
        }
        std::setlocale(LC_ALL, cLocale.c_str());
    }

    PlainNumbers(const PlainNumbers&) = delete;
    PlainNumbers& operator=(const PlainNumbers&) = delete;

private:
    static std::mutex& Mutex() {
        static std::mutex mutex;
        return mutex;
    }

    std::lock_guard<std::mutex> lock;
    std::string cLocale;
    std::optional<std::locale> cppLocale;
};

} // namespace

namespace {

// The reader makes a real number of a whole one beyond 64 bits. It counts as an integer all the same: as the farthest
// one, which every conversion refuses.
void RestoreHugeIntegers(const std::string& text, Json::Value& value) {
    if (value.isArray() || value.isObject()) {
        for (Json::Value& element : value) RestoreHugeIntegers(text, element);
    } else if (value.type() == Json::realValue) {
        const auto start = static_cast<std::size_t>(value.getOffsetStart());
        const std::string token = text.substr(start, static_cast<std::size_t>(value.getOffsetLimit()) - start);
        if (token.find_first_of(".eE+") != std::string::npos) return;
        value =
            token.front() == '-' ? Json::Value(Json::Value::minLargestInt) : Json::Value(Json::Value::maxLargestUInt);
    }
}

} // namespace

// The reader with its successor's interface behind it words its messages differently and takes other defaults.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

// The reader takes numbers from a stream, which keeps std::bad_alloc to itself and gives no number.
bool RefusesAPlainNumber(const std::string& text, const std::vector<Json::Reader::StructuredError>& errors) {
    for (const auto& error : errors) {
        if (error.message.find("is not a number") == std::string::npos) continue;
        const auto start = static_cast<std::size_t>(error.offset_start);
        const std::string token = text.substr(start, static_cast<std::size_t>(error.offset_limit) - start);
        char* end = nullptr;
        const double number = std::strtod(token.c_str(), &end);
        if (!token.empty() && *end == '\0' && std::isfinite(number)) return true;
    }
    return false;
}

} // namespace

bool ReadJson(const std::string& text, Json::Value& root, std::string* errors) {
    try {
        const PlainNumbers plain;
        Json::Reader reader;
        const bool parsed = reader.parse(text, root);
        if (!parsed && RefusesAPlainNumber(text, reader.getStructuredErrors())) throw std::bad_alloc();
        if (!parsed && errors) *errors = reader.getFormattedErrorMessages();
        if (parsed) RestoreHugeIntegers(text, root);
        return parsed;
    } catch (const Json::Exception& failure) { // which isn't a std::runtime_error
        throw std::runtime_error(failure.what());
    }
}

std::string WriteJson(const Json::Value& value) {
    const PlainNumbers plain;
    return Json::FastWriter().write(value);
}

#pragma GCC diagnostic pop

bool ParseJsonDocument(const std::string& text, Json::Value& root) {
    try {
        return ReadJson(text, root);
    } catch (const std::runtime_error&) {
        return false;
    }
}

void ReadDocument(const char* operation, const std::function<void(const Json::Value& root)>& read) {
    Json::Value root;
    if (!ParseJsonDocument(AlgoBase::GetConfigString(), root)) return;
    const auto log = [&](const std::exception& failure) {
        LogErrorFromRegion(std::string(operation) + ": JSON Exception - " + failure.what());
    };
    try {
        read(root);
    } catch (const std::runtime_error& failure) {
        log(failure);
    } catch (const Json::Exception& failure) { // of a row that takes a value apart by itself
        log(failure);
    }
}

const Json::Value* FindValue(const Json::Value& parent, const std::string& name) {
    if (parent.type() != Json::objectValue) return nullptr;
    return parent.find(name.data(), name.data() + name.size());
}

const Json::Value& Member(const Json::Value& parent, const std::string& name) {
    static const Json::Value none(Json::objectValue);
    const Json::Value* member = FindValue(parent, name);
    return member && member->type() == Json::objectValue ? *member : none;
}

std::string AsString(const Json::Value* value) {
    switch (value ? value->type() : Json::nullValue) {
    case Json::nullValue: return {};
    case Json::stringValue: return value->asString();
    case Json::booleanValue: return value->asBool() ? "true" : "false";
    default: throw std::runtime_error("Type is not convertible to string");
    }
}

double AsDouble(const Json::Value* value) {
    switch (value ? value->type() : Json::nullValue) {
    case Json::nullValue: return 0.0;
    case Json::intValue:
    case Json::uintValue:
    case Json::realValue:
    case Json::booleanValue: return value->asDouble();
    default: throw std::runtime_error("Type is not convertible to double");
    }
}

int AsInt(const Json::Value* value) {
    constexpr double low = std::numeric_limits<int>::min(), high = std::numeric_limits<int>::max();
    const Json::ValueType type = value ? value->type() : Json::nullValue;
    if (type == Json::stringValue || type == Json::arrayValue || type == Json::objectValue)
        throw std::runtime_error("Type is not convertible to int");
    const double number = AsDouble(value); // exact within the range
    if (number >= low && number <= high) return static_cast<int>(number);
    throw std::runtime_error(type == Json::realValue ? "Real out of signed integer range"
                                                     : "integer out of signed integer range");
}

unsigned AsUInt(const Json::Value* value) {
    constexpr double high = std::numeric_limits<unsigned>::max();
    const Json::ValueType type = value ? value->type() : Json::nullValue;
    if (type == Json::stringValue || type == Json::arrayValue || type == Json::objectValue)
        throw std::runtime_error("Type is not convertible to uint");
    const double number = AsDouble(value); // exact within the range
    if (type == Json::intValue && number < 0)
        throw std::runtime_error("Negative integer can not be converted to unsigned integer");
    if (number >= 0 && number <= high) return static_cast<unsigned>(number);
    throw std::runtime_error("Real out of unsigned integer range"); // integers beyond 32 bits, too
}

bool IsOfKind(const Json::Value& value, JsonKind kind) {
    const Json::ValueType type = value.type();
    switch (kind) {
    case JsonKind::Boolean: return type == Json::booleanValue;
    case JsonKind::Integer: return type == Json::intValue;
    case JsonKind::Integral: return type == Json::intValue || type == Json::uintValue || type == Json::booleanValue;
    case JsonKind::NonNegative: return type == Json::uintValue || (type == Json::intValue && value.asInt64() >= 0);
    case JsonKind::Real: return type == Json::realValue;
    case JsonKind::Numeric: return type == Json::booleanValue || value.isNumeric();
    case JsonKind::String: return type == Json::stringValue;
    case JsonKind::Array: return type == Json::arrayValue || type == Json::nullValue;
    }
    return false;
}

namespace {

/// The shortest text that reads back as the same number, in the form of a real one.
template <class T>
std::string RealText(T value) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    std::string text(digits, end);
    if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
    return text;
}

} // namespace

std::string JsonText(bool value) { return value ? "true" : "false"; }
std::string JsonText(int value) { return std::to_string(value); }
std::string JsonText(unsigned value) { return std::to_string(value); }
std::string JsonText(float value) { return RealText(value); }
std::string JsonText(double value) { return RealText(value); }
std::string JsonText(const std::string& value) { return Json::valueToQuotedString(value.c_str()); }

} // namespace TZM

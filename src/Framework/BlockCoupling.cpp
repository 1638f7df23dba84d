#include "Framework/BlockCoupling.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "Framework/private/JsonDocument.h"

namespace TZM {

ImageProps PropsOfPart(const ImageProps& block, int firstBscan, int bscans) {
    ImageProps part(block.samplesPerAscan, block.ascansPerBscan, 0);
    part.bscanCount = bscans;
    const auto told = static_cast<std::int64_t>(block.bscanInfo.size());
    const auto begin = std::clamp<std::int64_t>(firstBscan, 0, told);
    const auto end = std::clamp<std::int64_t>(std::int64_t{firstBscan} + bscans, begin, told);
    part.bscanInfo.assign(block.bscanInfo.begin() + begin, block.bscanInfo.begin() + end);
    return part;
}

namespace {

using Kind = BlockFindings::Kind;

[[noreturn]] void Refuse(const BlockFindings::Table& table, const std::string& text) {
    throw std::invalid_argument("Findings of " + table.algorithm + ": " + text);
}

constexpr int kBitDigits = 8;

std::string BitsOf(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    char digits[kBitDigits + 1];
    std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(bits));
    return digits;
}

/// The number behind the digits, finite if they aren't eight hexadecimal ones.
float FromBits(const std::string& digits) {
    if (digits.size() != kBitDigits || digits.find_first_not_of("0123456789abcdef") != std::string::npos) return 0.f;
    const auto bits = static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16));
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

Json::Value JsonOf(double number, Kind kind) {
    if (kind == Kind::Flag) return number != 0.;
    if (kind == Kind::Integer) return static_cast<Json::Int>(number);
    if (std::isfinite(number)) return number;
    return BitsOf(static_cast<float>(number));
}

bool IsOfKind(double number, Kind kind) {
    if (kind == Kind::Flag) return number == 0. || number == 1.;
    if (kind == Kind::Integer)
        return number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max() &&
               number == std::trunc(number);
    return !std::isfinite(number) || std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max());
}

/// Reads a number of that kind; false for any other value.
bool ReadNumber(const Json::Value* json, Kind kind, double& number) {
    if (!json) return false;
    if (kind == Kind::Flag) {
        if (!json->isBool()) return false;
        number = json->asBool() ? 1. : 0.;
        return true;
    }
    if (kind == Kind::Float && json->isString()) { // only what a number can't say
        number = static_cast<double>(FromBits(json->asString()));
        return !std::isfinite(number);
    }
    if (!json->isNumeric()) return false;
    number = json->asDouble();
    return std::isfinite(number) && IsOfKind(number, kind);
}

std::string PlaceOf(int bscan) { return "B-scan " + std::to_string(bscan); }

[[noreturn]] void RefuseNumber(const BlockFindings::Table& table, const BlockFindings::Column& column, int bscan) {
    const char* const kind = column.kind == Kind::Flag      ? "boolean"
                             : column.kind == Kind::Integer ? "whole number"
                                                            : "number of 32 bits";
    Refuse(table, "\"" + column.name + "\" of " + PlaceOf(bscan) + " must be a " + kind);
}

/// A member that is a whole number from 0 on.
int ReadCount(const BlockFindings::Table& table, const Json::Value& object, const char* name) {
    double number = -1.;
    if (!ReadNumber(FindValue(object, name), Kind::Integer, number) || number < 0.)
        Refuse(table, std::string("\"") + name + "\" must be a whole number from 0 on");
    return static_cast<int>(number);
}

bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

} // namespace

BlockFindings::BlockFindings(const Table& findingsTable, int blockBscans)
    : table(&findingsTable), bscanCount(std::max(blockBscans, 0)) {}

BlockFindings::BlockFindings(const Table& findingsTable, const Json::Value& json) : table(&findingsTable) {
    const Json::Value* const algorithm = FindValue(json, "Algorithm");
    if (!algorithm || !algorithm->isString() || algorithm->asString() != table->algorithm)
        Refuse(*table, "\"Algorithm\" must be its name");
    bscanCount = ReadCount(*table, json, "BlockBscans");
    const Json::Value* const list = FindValue(json, "Bscans");
    if (!list || !list->isArray()) Refuse(*table, "\"Bscans\" must be an array");
    std::vector<double> numbers(table->columns.size());
    for (const Json::Value& row : *list) {
        const int bscan = ReadCount(*table, row, "Bscan");
        for (std::size_t c = 0; c < numbers.size(); ++c) {
            const Column& column = table->columns[c];
            if (!ReadNumber(FindValue(row, column.name), column.kind, numbers[c])) RefuseNumber(*table, column, bscan);
        }
        if (rows.count(bscan) > 0) Refuse(*table, PlaceOf(bscan) + " is told twice");
        Put(bscan, numbers);
    }
}

Json::Value BlockFindings::ToJson() const {
    Json::Value json(Json::objectValue);
    json["Algorithm"] = table ? table->algorithm : "";
    json["BlockBscans"] = bscanCount;
    Json::Value& list = json["Bscans"] = Json::Value(Json::arrayValue);
    for (const auto& [bscan, numbers] : rows) {
        Json::Value& row = list.append(Json::Value(Json::objectValue));
        row["Bscan"] = bscan;
        for (std::size_t c = 0; c < numbers.size(); ++c)
            row[table->columns[c].name] = JsonOf(numbers[c], table->columns[c].kind);
    }
    return json;
}

void BlockFindings::Put(int bscan, std::vector<double> numbers) {
    if (!table) throw std::invalid_argument("Findings of nothing have no rows");
    if (bscan < 0 || bscan >= bscanCount) Refuse(*table, PlaceOf(bscan) + " lies outside the block");
    if (numbers.size() != table->columns.size()) Refuse(*table, "another count of numbers for " + PlaceOf(bscan));
    for (std::size_t c = 0; c < numbers.size(); ++c) {
        const Column& column = table->columns[c];
        if (!IsOfKind(numbers[c], column.kind)) RefuseNumber(*table, column, bscan);
        if (column.kind == Kind::Float) numbers[c] = static_cast<double>(static_cast<float>(numbers[c]));
    }
    rows[bscan] = std::move(numbers);
}

double BlockFindings::Number(int bscan, const std::string& column) const {
    const std::vector<double>& numbers = Row(bscan);
    for (std::size_t c = 0; c < numbers.size(); ++c)
        if (table->columns[c].name == column) return numbers[c];
    throw std::out_of_range("Findings have no column \"" + column + "\"");
}

void BlockFindings::Merge(const BlockFindings& other) {
    if (table != other.table || bscanCount != other.bscanCount)
        throw std::invalid_argument("Findings of different algorithms or blocks don't merge");
    for (const auto& [bscan, numbers] : other.rows) {
        const auto here = rows.find(bscan);
        if (here != rows.end() && !SameBits(here->second, numbers))
            Refuse(*table, "two looks at " + PlaceOf(bscan) + " differ");
    }
    rows.insert(other.rows.begin(), other.rows.end());
}

void BlockFindings::RequireAll(const Table& findingsTable, int blockBscans) const {
    if (table != &findingsTable) Refuse(findingsTable, "those of another algorithm are given");
    if (bscanCount != blockBscans) Refuse(findingsTable, "those of a block of another size are given");
    if (!IsComplete()) Refuse(findingsTable, "parts of the block are missing");
}

CouplesBlock::~CouplesBlock() = default;
CountsBscans::~CountsBscans() = default;

int CouplesBlock::UsableSamples(const BlockFindings& all, int samples) const {
    all.RequireAll(FindingsTable(), all.BlockBscans());
    return samples;
}

} // namespace TZM

#include "Formats/Positions.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <sstream>

#include "Recording/Track.h"

namespace TZM {

namespace {

std::optional<double> NumberOf(const std::string& text) {
    double value = 0;
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return std::nullopt;
    const auto [end, error] = std::from_chars(text.data() + first, text.data() + text.size(), value);
    return error == std::errc() && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

std::vector<std::string> Fields(const std::string& line, const char* separators) {
    std::vector<std::string> fields;
    for (std::size_t begin = 0;;) {
        const std::size_t end = line.find_first_of(separators, begin);
        fields.push_back(line.substr(begin, end - begin));
        if (end == std::string::npos) return fields;
        begin = end + 1;
    }
}

template <class Body>
void ForEachLine(const std::string& text, const Body& body) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) body(line);
}

/// ddmm.mmmm as degrees.
std::optional<double> Degrees(const std::string& field, const std::string& hemisphere, char negative) {
    const auto value = NumberOf(field);
    if (!value || hemisphere.empty()) return std::nullopt;
    const double degrees = std::floor(*value / 100);
    return (hemisphere[0] == negative ? -1 : 1) * (degrees + (*value - 100 * degrees) / 60);
}

std::optional<Position> GgaPosition(const std::string& line) {
    const auto begin = line.find('$');
    if (begin == std::string::npos || line.compare(std::min(begin + 3, line.size()), 4, "GGA,") != 0)
        return std::nullopt;
    const std::vector<std::string> f = Fields(line.substr(begin), ",");
    if (f.size() < 10) return std::nullopt;
    const auto north = Degrees(f[2], f[3], 'S'), east = Degrees(f[4], f[5], 'W'), quality = NumberOf(f[6]);
    if (!north || !east || !quality || *quality == 0) return std::nullopt;
    return Position{0, 0, *east, *north, NumberOf(f[9]).value_or(0)};
}

} // namespace

std::vector<Position> GgaPositions(const std::string& text, int (*ascanOf)(const std::string&)) {
    std::vector<Position> positions;
    int ascan = -1;
    ForEachLine(text, [&](const std::string& line) {
        if (auto position = GgaPosition(line); position && ascan >= 0) {
            position->ascan = ascan;
            positions.push_back(*position);
            ascan = -1;
        } else if (const int told = ascanOf(line); told >= 0) {
            ascan = told;
        }
    });
    return positions;
}

std::vector<Position> CorPositions(const std::string& text) {
    std::vector<Position> positions;
    ForEachLine(text, [&](const std::string& line) {
        const std::vector<std::string> f = Fields(line, "\t,");
        if (f.size() < 8) return;
        const auto ascan = NumberOf(f[0]), north = NumberOf(f[3]), east = NumberOf(f[5]);
        if (!ascan || !north || !east || !(*ascan >= 1 && *ascan < 2147483647)) return;
        const auto sign = [](const std::string& side, char negative) {
            return side.find(negative) != std::string::npos ? -1 : 1;
        };
        positions.push_back({0, static_cast<int>(*ascan) - 1, sign(f[6], 'W') * *east, sign(f[4], 'S') * *north,
                             NumberOf(f[7]).value_or(0)});
    });
    return positions;
}

void TakeWay(Recording& recording, const std::vector<std::pair<int, double>>& way, const char* source) {
    if (way.size() < 2 || recording.knowsDeltaX || !recording.positions.empty()) return;
    for (int z = 0; z < recording.size.bscans; ++z)
        for (const auto& [ascan, metres] : way) recording.positions.push_back({z, ascan, metres, 0, 0});
    recording.coordinates = kAlongTheLine;
    recording.notes.push_back(recording.file.string() + " was recorded over time, and " + source +
                              " tell where A-scans lie; --delta-x makes their distance even");
}

void TakePositions(Recording& recording, const std::filesystem::path& file, std::vector<Position> positions) {
    const auto beyond = std::remove_if(positions.begin(), positions.end(),
                                       [&](const Position& p) { return p.ascan >= recording.size.ascans; });
    if (beyond != positions.end())
        recording.notes.push_back(file.string() + " tells " + std::to_string(positions.end() - beyond) +
                                  " positions of A-scans that aren't there");
    positions.erase(beyond, positions.end());
    std::stable_sort(positions.begin(), positions.end(),
                     [](const Position& a, const Position& b) { return a.ascan < b.ascan; });
    recording.positions = std::move(positions);
    if (!recording.positions.empty()) recording.coordinates = "EPSG:4326";
}

} // namespace TZM

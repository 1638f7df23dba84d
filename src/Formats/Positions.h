#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Recording/Recording.h"

namespace TZM {

/// Positions of a text in which a line that tells an A-scan is followed by a $..GGA line of a satellite receiver; those
/// of fix quality 0 don't count. \param ascanOf the A-scan that a line tells, or -1. Degrees, "EPSG:4326".
std::vector<Position> GgaPositions(const std::string& text, int (*ascanOf)(const std::string& line));

/// Positions of a table of A-scan (from 1), date, time, latitude, N or S, longitude, E or W, height, M, quality,
/// between tabs or commas; lines of another form are passed over. Degrees, "EPSG:4326".
std::vector<Position> CorPositions(const std::string& text);

/// Takes metres along the line where nothing tells places and distances: from A-scan to metres. With a note.
void TakeWay(Recording& recording, const std::vector<std::pair<int, double>>& way, const char* source);

/// Takes the positions of a file beside a recording, if there is one; notes those that are beyond the A-scans.
void TakePositions(Recording& recording, const std::filesystem::path& file, std::vector<Position> positions);

} // namespace TZM

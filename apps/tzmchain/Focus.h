#pragma once

#include "Progress.h"

#include "Chain/Chain.h"
#include "Recording/Format.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tzmchain {

/// What the command `focus` is told on the command line.
struct FocusJob {
    std::vector<std::filesystem::path> inputs;
    std::filesystem::path out;
    TZM::ReadOptions reading;
    std::optional<int> timeZero;     ///< sample; else the recording's unless it is searched
    bool searchTimeZero = false;     ///< whatever the recording tells
    double lowest = 3, highest = 20; ///< permittivities
    int threads = 0;                 ///< 0: as many as the OpenMP runtime takes
    bool quiet = false;
};

/// Finds permittivity and time zero of a recording, prints them, and writes focus.json and focus.png.
void Focus(const FocusJob& job);

/// Numbers that a chain needs and nobody tells.
struct WantedNumbers {
    bool timeZero = false, permittivity = false;
};

/// How numbers were found.
struct FoundNumbers {
    std::vector<std::string> lines;   ///< for the user: what was found
    std::vector<std::string> missing; ///< why a number wasn't
    Json::Value json;                 ///< for the recipe
};

/// Finds what is wanted in a recording and takes it into `numbers`; what isn't found stays open, and a line says why.
/// \param recording its samples may be missing if `source` is there to fetch them.
FoundNumbers FindNumbers(const TZM::Recording& recording, TZM::RecordingSource* source, const WantedNumbers& wanted,
                         TZM::GivenNumbers& numbers, Progress& progress);

} // namespace tzmchain

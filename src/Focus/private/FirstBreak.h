#pragma once

#include <optional>
#include <vector>

#include "Focus/private/DiffractedLine.h"

namespace TZM {

/// The beginning of the direct wave.
struct FirstBreak {
    double sample; ///< of the recording
    double spread; ///< of the A-scans, a standard deviation as the median distance tells it
    double period; ///< of the direct wave, in samples
};

/// Of the A-scans of some pieces of a recording; nothing if there is none in which most of them agree.
std::optional<FirstBreak> FirstBreakOf(const Recording& recording, const std::vector<LinePiece>& pieces);

} // namespace TZM

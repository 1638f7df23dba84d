#pragma once

#include <optional>

#include "Recording/Recording.h"

namespace TZM {

/// A recording as a header told it, without what can't be meant, each with a note: permittivity, antenna offset and
/// line spacing that are no numbers above 0, positions that aren't finite or lie beyond the poles. FormatError if the
/// intervals aren't above 0 as 32-bit floats, which algorithms take, or if the block is beyond any memory.
Recording Sensible(Recording recording);

/// The nearest sample of an A-scan; nothing if the place lies ahead of it, behind it, or nowhere.
std::optional<int> SampleAt(double place, int samples);

} // namespace TZM

#pragma once

#include "Array/Export.h"

namespace TZM {

/// Channels of a block: the first of 5 and 7 that divides the number of B-scans. B-scan i belongs to channel position
/// i mod n; the odd positions are bistatic, the even ones monostatic.
/// Throws CalcError -11 if neither divides it.
TZM_EXPORT int GetChannelCount(int bscanCount);

/// Whether a B-scan is of a bistatic channel. Its neighbours on both sides then exist and are monostatic, since the
/// channel counts are odd.
inline bool IsBistatic(int bscan, int channelCount) { return bscan % channelCount % 2 == 1; }

} // namespace TZM

#pragma once

#include <cmath>

#include "Framework/CalcError.h"

namespace TZM {

/// Neighbours on each side of a window of a length, at least 1, but at most `most`; length and interval in one unit.
inline int HalfWindow(double length, double interval, int most) {
    const double half = std::round(0.5 * length / interval);
    return half >= most ? most : half > 1 ? static_cast<int>(half) : 1; // 1 where there is no interval
}

/// CalcError -9 for a window, or another number, that isn't above 0.
inline void RequireAboveZero(float value) {
    if (!(value > 0.f)) throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZero");
}

/// CalcError -8 for a number that isn't one from 0 on.
inline void RequireFromZero(float value) {
    if (!(value >= 0.f)) throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
}

} // namespace TZM

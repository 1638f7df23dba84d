#pragma once

#include <array>

namespace tzmchain {

struct Rgb {
    double r, g, b;
};

// Colours of pictures, at even distances from the low end of the range to the high one.

inline constexpr std::array<Rgb, 2> kGrey = {{{0, 0, 0}, {1, 1, 1}}};
inline constexpr std::array<Rgb, 5> kSeismic = {
    {{0.05, 0.10, 0.40}, {0.20, 0.40, 0.90}, {1, 1, 1}, {0.90, 0.25, 0.20}, {0.40, 0.02, 0.05}}};
/// Of values that are never negative: lightness rises evenly.
inline constexpr std::array<Rgb, 7> kHeat = {{{0.01, 0.01, 0.05},
                                              {0.22, 0.06, 0.37},
                                              {0.51, 0.15, 0.43},
                                              {0.79, 0.27, 0.33},
                                              {0.96, 0.49, 0.17},
                                              {0.98, 0.75, 0.20},
                                              {0.99, 0.99, 0.80}}};

} // namespace tzmchain

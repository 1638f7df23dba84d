#pragma once

#include <charconv>
#include <cstdlib>

namespace TZM {

/// The shortest decimal number that reads back as `value`: 0.1 for 0.1f, not 0.100000001.
inline double Shortest(float value) {
    char text[32] = {};
    std::to_chars(text, text + sizeof text - 1, value);
    return std::strtod(text, nullptr);
}

} // namespace TZM

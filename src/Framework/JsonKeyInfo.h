#pragma once

#include <limits>
#include <string>

#include "Array/Export.h"

namespace TZM {

/// The JSON type that a value must have to count, as the reader assigned it. A number counts as a real one only if it
/// was written with a point or an exponent: 5.0, not 5. Whole numbers up to 2147483647 are signed, larger ones
/// unsigned.
enum class JsonKind {
    Boolean,
    Integer,     ///< signed
    Integral,    ///< signed, unsigned or boolean, taken as an unsigned number: true is 1, a negative one fails
    NonNegative, ///< signed or unsigned, from 0 on
    Real,
    Numeric, ///< any number or boolean
    String,
    Array ///< or null
};

/// What a reader of the configuration may know of a key.
struct TZM_EXPORT JsonKeyInfo {
    std::string path; ///< objects from the root down, joined by dots; the algorithm's own section by its name
    std::string key;
    JsonKind kind;
    double low = -std::numeric_limits<double>::infinity(); ///< smaller values become this one
    double high = std::numeric_limits<double>::infinity(); ///< larger values become this one
    std::string defaultValue;                              ///< as JSON text; empty for an array or a keyword
};

} // namespace TZM

#pragma once

#include <filesystem>
#include <string>

namespace tzmchain {

/// What the command `diff` is told.
struct DiffOptions {
    std::filesystem::path first, second; ///< images of floats, or of unsigned 16-bit integers
    bool relative = false;               ///< against the larger magnitude; of floats only
    double threshold = 0;                ///< what a point's difference may reach
    std::filesystem::path out;           ///< image of the differences beyond the threshold, if any
};

struct Difference {
    bool agree;       ///< no point beyond the threshold
    double sum;       ///< over all points; of integers, with full scale as 1
    double beyond;    ///< sum of what exceeds the threshold
    double largest;   ///< at a point, before the threshold; below 0 where that isn't told
    std::string kind; ///< "float" or "unsigned short"
};

/// Compares two .vti. Refusal if one can't be read or they can't be compared.
Difference Diff(const DiffOptions& options);

} // namespace tzmchain

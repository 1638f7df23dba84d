#pragma once

#include <map>

#include "Array/Array.h"

namespace Json {
class Value;
}

namespace TZM {

/// A gain curve along the A-scan: gains in dB at sample indices, counted from 0.
struct TZM_EXPORT GainProgression : std::map<int, double> {
    /// Takes the curve from an array of pairs [position, gain in dB], with positions counted from 1; what is below
    /// counts as 1, and the later one of equal positions wins. The first entry that isn't a pair ends the curve;
    /// anything but an array is an empty one. std::runtime_error for a pair that doesn't hold numbers.
    void FromJson(const Json::Value& pairs);

    /// Fills factors with 10^(dB / 20), sample by sample. Between two points the gain runs linearly in dB, behind the
    /// last one it stays. Ahead of a first point that isn't sample 0 it runs up from 1 dB at sample 0. An empty curve
    /// gives 1.
    void FillFactors(IPP::Array<float, int>& factors) const;
};

} // namespace TZM

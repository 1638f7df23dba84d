#pragma once

#include "Array/Array.h"

namespace TZM {

/// An edge taper: a row of weights that rises at its head, falls at its tail and is 1 between.
struct TZM_EXPORT TaperWindow {
    enum Type : int { Hamming = 0, Bartlett = 1, Blackman = 2, Hann = 3, Kaiser = 4 }; ///< any other: all ones

    int taperLength = 0; ///< elements at each end; below 2 there is no taper
    int windowType = Hamming;
    float windowParameter = 1.0f; ///< alpha of the Blackman and Kaiser windows

    /// Fills a with the weights: with t = min(taperLength, size / 2), a[i] and a[size - 1 - i] are element i of the
    /// window of 2 t elements, for i below t; the rest is 1. A complex array gets imaginary parts of 0.
    void Apply(IPP::Array<float>& a) const;
    void Apply(IPP::Array<IPP::Ipp32fc>& a) const;
};

} // namespace TZM

#pragma once

#include "Array/Array.h"

namespace TZM {

/// Weights of a surface removal over depth: 1 over the first bgrLen samples, then a falling cosine,
///     w[bgrLen + k] = (cos(pi k / taperLen) + 1) / 2   for k < taperLen,
/// that begins at 1 and stays above 0, and 0 behind it. bgrLen + taperLen is at most the size of the mask; a length
/// below 0 counts as 0.
void GenerateBackgroundMask(const IPP::Array<float>& mask, int bgrLen, int taperLen);

/// How far down the removal reaches in A-scans of that many samples.
struct BackgroundZone {
    int bgrLen;   ///< limited to 0 .. samples
    int taperLen; ///< limited to 0 .. samples - bgrLen

    BackgroundZone(int wantedBgrLen, int wantedTaperLen, int samples);
    int Length() const { return bgrLen + taperLen; }
};

} // namespace TZM

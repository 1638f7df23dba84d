#pragma once

#include "Array/Primitives/Ipps.h"
#include "Array/Simd/FftKernels.h"

namespace IPP {

using Simd::Index;

/// Floats of work memory of HilbertEnvelopes; each thread makes its own area once, best aligned to 64 bytes.
TZM_EXPORT Index HilbertEnvelopesWorkSize(const IppsHilbertSpec_32f32fc* state);

/// The envelopes of `rows` rows of the state's length: dst[r][i] = |analytic signal of src[r]|[i]. Steps between rows
/// in floats; src may equal dst. Many rows ride at a time, two of them as real and imaginary part of one transform,
/// each brought near magnitude 1 by a power of two of its own: a weak row isn't touched by the rounding of a strong
/// one, and squares neither overflow nor vanish. A row of zeros gives zeros; a row with a NaN or an infinity gives NaN
/// throughout and leaves the others alone. Status -8, -6 (no row, or more than 65536 samples) or -17 as a primitive;
/// the range of the input isn't checked, but `largest`, if not null, receives the largest magnitude of every row, NaN
/// if one is in it.
TZM_EXPORT IppStatus HilbertEnvelopes(const float* src, Index srcStep, float* dst, Index dstStep, int rows,
                                      const IppsHilbertSpec_32f32fc* state, float* work, float* largest = nullptr);

/// The peaks alone: peaks[r] = the largest of the envelope of src[r].
IppStatus HilbertEnvelopePeaks(const float* src, Index srcStep, float* peaks, int rows,
                               const IppsHilbertSpec_32f32fc* state, float* work, float* largest = nullptr);

} // namespace IPP

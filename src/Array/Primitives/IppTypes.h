#pragma once

#include "Array/Export.h"

/// Element types, statuses and constants of the array layer's primitives.

namespace IPP {

using Ipp32f = float;
using Ipp64f = double;
using Ipp32s = int;

/// A complex number; real and imaginary part lie interleaved in memory.
struct TZM_EXPORT Ipp32fc { // exported, or the members of arrays of it would be hidden
    Ipp32f re;
    Ipp32f im;
};

/// 0 is success, negative an error, positive a warning.
using IppStatus = int;

enum : IppStatus {
    ippStsNoErr = 0,
    ippStsSizeErr = -6,              ///< a length below the minimum of the primitive
    ippStsNullPtrErr = -8,           ///< a null pointer
    ippStsMemAllocErr = -9,          ///< no memory
    ippStsDivByZeroErr = -10,        ///< division by 0
    ippStsStepErr = -14,             ///< a row step below 1
    ippStsFftOrderErr = -15,         ///< a transform order outside 0 .. 30
    ippStsFftFlagErr = -16,          ///< a transform flag that doesn't exist
    ippStsContextMatchErr = -17,     ///< a state object of the wrong kind
    ippStsIIROrderErr = -25,         ///< an IIR order below 1
    ippStsHugeWinErr = -39,          ///< a Kaiser window parameter too large
    ippStsIIRGenOrderErr = -206,     ///< an IIR design order outside 1 .. 12
    ippStsFilterFrequencyErr = -208, ///< a design frequency outside the open interval 0 .. 0.5
    ippStsIIRGenRippleErr = -209     ///< a design ripple outside the open interval 0 .. 29
};

/// A hint doesn't change what is computed, only rounding.
using IppHintAlgorithm = int;
enum : IppHintAlgorithm { ippAlgHintNone = 0, ippAlgHintFast = 1, ippAlgHintAccurate = 2 };

/// Scale of a transform of length N; in two dimensions each direction applies it with its own length.
enum IppFftFlag : int {
    IPP_FFT_DIV_FWD_BY_N = 1, ///< forward 1 / N, inverse unscaled
    IPP_FFT_DIV_INV_BY_N = 2, ///< forward unscaled, inverse 1 / N
    IPP_FFT_DIV_BY_SQRTN = 4, ///< both 1 / sqrt(N)
    IPP_FFT_NODIV_BY_ANY = 8  ///< both unscaled
};

} // namespace IPP

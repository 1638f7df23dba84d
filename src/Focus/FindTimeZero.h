#pragma once

#include <optional>
#include <string>

#include "Array/Export.h"
#include "Focus/FindPermittivity.h"
#include "Recording/Recording.h"

namespace TZM {

/// What FindTimeZero gives.
struct TZM_EXPORT TimeZeroFocus {
    FocusVerdict verdict = FocusVerdict::Nothing; ///< Found or Nothing
    std::string reason;                           ///< a line that tells how it came about, or why there is none
    std::optional<double> timeZero;               ///< sample, of the wavelet's middle, as a migration takes it
    std::optional<double> error;                  ///< of it: one standard deviation
    std::optional<double> firstBreak;             ///< sample at which the direct wave begins
    double breakSpread = 0;                       ///< of the first breaks of the A-scans, in samples
    bool focused = false;                         ///< whether the focus had a say
    double correlation = 0;                       ///< of the errors of time zero and permittivity, if both are found
    PermittivityFocus permittivity;               ///< at that time zero, its error with that of the time zero
};

/// Finds the sample of time zero from the direct wave and from the focus of what is diffracted.
///
/// The first break of each A-scan is where the energy of a short window stands most out of that of a long one ahead of
/// it (after J. Wong, L. Han, J. Bancroft and R. Stewart, Automatic time-picking of first arrivals on noisy
/// microseismic data, CSEG Conference 2009), moved to where the tangent of the first flank leaves the level ahead of
/// it; that of the line is their median. A wave without a way would break `offset / c` earlier, with the distance of
/// the antennas where the recording knows it, else a quarter of the period, as ground-coupled pairs have it; and the
/// middle of a wavelet, from which a migration takes its times, lies 0.6 of a period behind its break. The period is
/// twice the time from the break to the first zero.
///
/// Around that the image is migrated with several time zeros and permittivities: targets at several depths focus with
/// one speed at one time zero alone. The peak of the focus over the time zeros, with its spread from windows drawn
/// anew, and what the break says are joined by the inverses of their variances. Where nothing focuses the break alone
/// counts.
///
/// \param options as for FindPermittivity; their time zero is ignored. Refusal, Exception::Cancelled, std::bad_alloc.
TZM_EXPORT TimeZeroFocus FindTimeZero(const Recording& recording, const FocusOptions& options = {});

} // namespace TZM

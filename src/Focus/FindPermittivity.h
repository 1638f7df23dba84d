#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Array/Export.h"
#include "Recording/Recording.h"

namespace TZM {

/// What an image says of a number that sharpens it.
enum class FocusVerdict {
    Found,     ///< one value focuses
    Ambiguous, ///< two values focus, the stronger one is given
    Nothing    ///< nothing that is recorded focuses: there is no number
};

/// "found", "ambiguous" or "nothing".
TZM_EXPORT const char* WordOf(FocusVerdict verdict);

/// What is searched.
struct TZM_EXPORT FocusOptions {
    double from = 3;                              ///< lowest relative permittivity, 1 to 100
    double to = 20;                               ///< highest one, above it, up to 100
    int count = 40;                               ///< permittivities, evenly spaced by their ratio; 8 to 1000
    std::optional<double> timeZero;               ///< sample; else the recording's, else 0
    std::function<bool(double share)> progress{}; ///< hears of the share that is done, 0 to 1; false ends the search
};

/// How much an image focuses with one permittivity.
struct FocusPoint {
    double permittivity;
    double focus;   ///< logarithm of the normalised fourth moment, 0.69 for noise
    double entropy; ///< the second opinion: logarithm of the window's size less the entropy of its energy
};

/// A window of a B-scan.
struct FocusWindow {
    int bscan;
    int ascanBegin, ascanEnd;
    int sampleBegin, sampleEnd;         ///< of the recording, by the time of the image, from time zero down
    double weight;                      ///< in the result, all together 1; a share of the energy if there is none
    std::optional<double> permittivity; ///< at which it focuses by itself, if it does
};

/// What FindPermittivity gives.
struct TZM_EXPORT PermittivityFocus {
    FocusVerdict verdict = FocusVerdict::Nothing;
    std::string reason;                 ///< a line that tells why there is no number, or what makes it doubtful
    std::optional<double> permittivity; ///< relative, of the ground as a migration takes it
    std::optional<double> error;        ///< of it: one standard deviation
    std::optional<double> other;        ///< the second answer of an ambiguous image
    std::optional<double> byEntropy;    ///< where the second opinion has its peak
    double contrast = 0; ///< what the most prominent peak stands out of the valleys beside it by, by shares of energy
    double chance = 0;   ///< the same of the record played backwards, where nothing can focus
    double timeZero = 0; ///< sample that was taken
    std::vector<FocusPoint> curve;
    std::vector<FocusWindow> windows;
};

/// Finds the relative permittivity with which the diffractions of a recording focus.
///
/// The recording is taken from time zero on, its median along the scan taken out, apparent speeds above 0.5 m/ns
/// rejected, which are layers, and every depth brought to one level. What is left is made white in its band and
/// migrated (Stolt) with each permittivity. In windows w over the image, with e the envelope, N its samples,
///     focus_w = log(N sum(e^4) / sum(e^2)^2),   C = sum over w of a_w focus_w,
/// a_w the window's weight: the normalised fourth moment, or varimax norm (R. Wiggins, Minimum entropy
/// deconvolution, Geoexploration 16 (1978), 21-35), as a measure of focus (after S. Fomel, E. Landa and M. Taner,
/// Poststack velocity analysis by separation and imaging of seismic diffractions, Geophysics 72 (2007), U89-U94):
/// whether anything focuses is decided with the windows' shares of the energy as weights. The permittivity is then the
/// peak of C, by a parabola over the logarithm, with those shares times the root of what a window's own peak stands
/// out by, and times its time: only windows count in which something focuses. What antennas apart from each other and
/// their patterns move it by (docs/focus.md) is taken out. Its error is the mean of what the windows' spread tells when
/// they are drawn anew (B. Efron, Annals of Statistics 7 (1979), 1-26) and of what slopes and curvature at the peak do.
///
/// The same of the record played backwards, whose hyperbolas open upwards so that no permittivity focuses them, but
/// whose spectrum is the same, tells how high a peak comes about by chance. There is a number only if the peak stands
/// out of the curve and out of chance, and isn't at an end of the range.
///
/// Of an array the monostatic B-scans are taken; of long or many lines up to eight pieces of 1024 A-scans.
/// The samples needn't be there in a recording whose A-scans were recorded over time: the verdict is then `Nothing`.
/// The result doesn't depend on the number of threads. Runs of several threads queue up with those of chains.
///
/// Refusal for options out of range, a time zero outside the A-scan or a sample that isn't finite,
/// Exception::Cancelled, std::bad_alloc.
TZM_EXPORT PermittivityFocus FindPermittivity(const Recording& recording, const FocusOptions& options = {});

} // namespace TZM

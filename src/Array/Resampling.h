#pragma once

#include <vector>

#include "Array/Export.h"

namespace TZM {

/// Band-limited interpolation of evenly spaced samples at another interval, by a sinc in a Kaiser window of 16 zero
/// crossings on each side (Crochiere and Rabiner, "Multirate Digital Signal Processing", 1983, section 2.7):
///
///     out[j] = sum over k of w(j r - k) in[k],    w(t) = c sinc(c t) Kaiser(c t / 16),    c = min(1, 1 / r),
///
/// with r the new interval in old ones; the weights of an output sample are scaled to the sum 1, and beyond the ends
/// the first and the last sample go on. At c below 1 it is the low-pass that keeps what the new interval can't hold
/// from coming back at other frequencies. At r = 1 the samples stay as they are.
class TZM_EXPORT Resampling {
public:
    /// \param samples of the input, above 0. \param ratio r, above 0. std::invalid_argument otherwise, or if the output
    /// had more than 2^31 - 1 samples; std::bad_alloc.
    Resampling(int samples, double ratio);

    /// Output samples that lie within the input: floor((samples - 1) / r) + 1.
    static int OutputSamples(int samples, double ratio);
    int OutputSamples() const { return static_cast<int>(begins.size()); }

    /// `count` output samples that begin at `start` old intervals behind the first input sample. Throws as above.
    Resampling(int samples, double ratio, double start, int count);

    /// \param in samples of the input. \param out OutputSamples() samples, elsewhere.
    void Apply(const float* in, float* out) const;

    /// The same of series whose elements are rows of `length` samples, added up in 64 bits. An element of weight 0,
    /// such as one out of the reach of the window, isn't read.
    void ApplyToRows(const float* in, int length, float* out) const;

private:
    int taps;
    std::vector<int> begins;    ///< first input sample of each output sample
    std::vector<float> weights; ///< taps for each output sample
};

} // namespace TZM

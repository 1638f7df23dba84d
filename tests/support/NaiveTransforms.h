#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include "Array/Primitives/IppTypes.h"

/// Transforms by their definition, in double precision.

using Spectrum = std::vector<std::complex<double>>;

/// X[k] = sum over j of x[j] exp(sign 2 pi i j k / n); sign -1 is the forward transform.
inline Spectrum NaiveDft(const Spectrum& x, int sign = -1) {
    const std::size_t n = x.size();
    Spectrum turns(n), result(n);
    for (std::size_t k = 0; k < n; ++k)
        turns[k] = std::polar(1., sign * 2 * M_PI * static_cast<double>(k) / static_cast<double>(n));
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t j = 0, at = 0; j < n; ++j, at = at + k < n ? at + k : at + k - n)
            result[k] += x[j] * turns[at];
    return result;
}

/// The analytic signal of a real one: negative frequencies removed, positive ones doubled.
inline Spectrum NaiveAnalytic(const std::vector<double>& x) {
    const std::size_t n = x.size();
    if (n < 3) return Spectrum(x.begin(), x.end());
    Spectrum spectrum = NaiveDft(Spectrum(x.begin(), x.end()));
    for (std::size_t k = 1; 2 * k < n; ++k) spectrum[k] *= 2., spectrum[n - k] = 0.;
    Spectrum signal = NaiveDft(spectrum, +1);
    for (auto& value : signal) value /= static_cast<double>(n);
    return signal;
}

/// Rms and largest error of a transform, relative to the peak of what is expected.
struct TransformError {
    double rms = 0, largest = 0;
};
inline TransformError ErrorOf(const IPP::Ipp32fc* actual, const Spectrum& expected, double scale = 1) {
    TransformError error;
    double peak = 0;
    for (std::size_t k = 0; k < expected.size(); ++k) {
        const double off = std::abs(std::complex<double>(actual[k].re, actual[k].im) - scale * expected[k]);
        peak = std::max(peak, std::abs(scale * expected[k]));
        error.rms += off * off;
        error.largest = off <= error.largest ? error.largest : off; // a NaN stays
    }
    error.rms = std::sqrt(error.rms / static_cast<double>(expected.size())) / peak;
    error.largest /= peak;
    return error;
}

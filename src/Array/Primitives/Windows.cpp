#include <cmath>
#include <cstdint>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"

namespace IPP {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kMinimumLength = 3;
constexpr double kLargestKaiserArgument = 38.0;

/// Multiplies the block by w(n), which is asked for n up to the middle only: all windows are symmetric, and so they
/// come out symmetric to the last bit.
template <class Weight>
void MultiplySymmetric(Ipp32f* srcDst, int len, Weight w) {
    for (int n = 0; n < len / 2; ++n) {
        const double weight = w(n);
        srcDst[n] = static_cast<Ipp32f>(srcDst[n] * weight);
        srcDst[len - 1 - n] = static_cast<Ipp32f>(srcDst[len - 1 - n] * weight);
    }
    if (len % 2 != 0) srcDst[len / 2] = static_cast<Ipp32f>(srcDst[len / 2] * w(len / 2));
}

template <class Weight>
IppStatus Apply(Ipp32f* srcDst, int len, Weight w) {
    if (const IppStatus bad = CheckPointers(srcDst)) return bad;
    if (const IppStatus bad = CheckLength(len, kMinimumLength)) return bad;
    MultiplySymmetric(srcDst, len, w);
    return ippStsNoErr;
}

/// sin^2(theta / 2) = (1 - cos theta) / 2, without the cancellation: 0 at the end, 1 in the middle, both exactly.
double RaisedSine(int n, int len) {
    const double s = std::sin(kPi * n / (len - 1));
    return s * s;
}

/// Modified Bessel function of order 0 by its power series. All terms are positive, so nothing cancels; up to 38 it
/// takes at most 70 of them.
double BesselI0(double x) {
    double sum = 1.0;
    double term = 1.0;
    for (int k = 1; term > 1e-17 * sum; ++k) {
        const double factor = x / (2 * k);
        term *= factor * factor;
        sum += term;
    }
    return sum;
}

} // namespace

IppStatus ippsWinHamming_32f_I(Ipp32f* srcDst, int len) {
    return Apply(srcDst, len, [len](int n) { return 0.08 + 0.92 * RaisedSine(n, len); });
}

IppStatus ippsWinHann_32f_I(Ipp32f* srcDst, int len) {
    return Apply(srcDst, len, [len](int n) { return RaisedSine(n, len); });
}

IppStatus ippsWinBartlett_32f_I(Ipp32f* srcDst, int len) {
    return Apply(srcDst, len, [len](int n) { return 2.0 * n / (len - 1); });
}

IppStatus ippsWinBlackman_32f_I(Ipp32f* srcDst, int len, Ipp32f alpha) {
    // (alpha + 1) / 2 - cos(theta) / 2 - (alpha / 2) cos(2 theta), with h = sin^2(theta / 2) taken out.
    return Apply(srcDst, len, [len, alpha](int n) {
        const double h = RaisedSine(n, len);
        return h * (1.0 + 4.0 * static_cast<double>(alpha) * (1.0 - h));
    });
}

IppStatus ippsWinKaiser_32f_I(Ipp32f* srcDst, int len, Ipp32f alpha) {
    if (const IppStatus bad = CheckRange(len, srcDst)) return bad;
    if (len == 1) return ippStsNoErr;
    const double slope = std::fabs(static_cast<double>(alpha));
    const double b = slope * (len - 1) / 2;
    if (!(b <= kLargestKaiserArgument)) return ippStsHugeWinErr; // a NaN too
    const double scale = 1.0 / BesselI0(b);
    // b sqrt(1 - ((2n - N + 1) / (N - 1))^2) = |alpha| sqrt(n (N - 1 - n))
    MultiplySymmetric(srcDst, len, [=](int n) {
        return BesselI0(slope * std::sqrt(static_cast<double>(n) * (len - 1 - n))) * scale;
    });
    return ippStsNoErr;
}

} // namespace IPP

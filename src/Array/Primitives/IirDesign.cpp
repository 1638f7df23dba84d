#include <array>
#include <cmath>
#include <utility>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"

/// Digital filters from analogue prototypes: poles by closed formula, bilinear transform, pole pairs multiplied out.
///
/// Both designs meet their cut-off exactly: a Butterworth response is down to 1 / sqrt(2) there, a Chebyshev response
/// to the bottom of its ripple. Multiplied out, the taps of a high order tell ever less about a narrow band, since
/// their sum shrinks like (2 pi f)^order against terms of size 2^order: at order 12 the response is true to 1e-6 for a
/// cut-off of 0.05, to 1e-3 for 0.03, and no longer for 0.015 and below; order 4 is true to 1e-8 down to 0.005.

namespace IPP {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kLargestOrder = 12;
constexpr double kLargestRipple = 29.0; // dB
constexpr IppStatus kBadType = -5;

enum FilterType { Butterworth = 0, Chebyshev1 = 1 };

enum class Band { Low, High };

/// Coefficients of 1, z^-1, z^-2 ..; the ones in use are 0 .. order.
using Polynomial = std::array<double, kLargestOrder + 1>;

/// The analogue low-pass of cut-off 1, as its pole pairs: s^2 + damping s + norm for the angle of the pair. The real
/// pole of an odd order is that of s + realPole.
struct Prototype {
    double sinh = 1.0; // Butterworth: all poles on the unit circle
    double cosh = 1.0;

    double Damping(double angle) const { return 2 * sinh * std::sin(angle); }
    double Norm(double angle) const {
        const double re = sinh * std::sin(angle);
        const double im = cosh * std::cos(angle);
        return re * re + im * im;
    }
    double RealPole() const { return sinh; }
};

/// Chebyshev poles lie on the ellipse with the half axes sinh(v), cosh(v), sinh(n v) = 1 / epsilon.
Prototype ChebyshevPrototype(int order, double ripple) {
    const double epsilon = std::sqrt(std::expm1(ripple / 10 * std::log(10.0)));
    const double v = std::asinh(1 / epsilon) / order;
    return {std::sinh(v), std::cosh(v)};
}

/// product *= 1 + c1 z^-1 + c2 z^-2
void MultiplyBy(Polynomial& product, double c1, double c2) {
    for (int k = kLargestOrder; k >= 2; --k) product[k] += c1 * product[k - 1] + c2 * product[k - 2];
    product[1] += c1 * product[0];
}

/// The sum of the coefficients, compensated (Neumaier): at a low cut-off they cancel almost wholly.
double ValueAtOne(const Polynomial& a, int order) {
    double sum = 0.0;
    double lost = 0.0;
    for (int k = 0; k <= order; ++k) {
        const double next = sum + a[k];
        lost += std::fabs(sum) >= std::fabs(a[k]) ? (sum - next) + a[k] : (a[k] - next) + sum;
        sum = next;
    }
    return sum + lost;
}

/// The prototype with s = (1 - z^-1) / (1 + z^-1) / tan(pi f), the bilinear transform for a cut-off f, multiplied out.
/// The tangent comes as sine and cosine, so that both ends of the band are treated alike.
void LowpassTaps(double sine, double cosine, const Prototype& prototype, double gain, int order, double* taps) {
    Polynomial a{1.0};
    if (order % 2 != 0) {
        const double p = prototype.RealPole() * sine;
        MultiplyBy(a, (p - cosine) / (p + cosine), 0.0);
    }
    for (int k = 1; k <= order / 2; ++k) {
        const double angle = kPi * (2 * k - 1) / (2 * order);
        const double outer = cosine * cosine;
        const double middle = prototype.Damping(angle) * sine * cosine;
        const double inner = prototype.Norm(angle) * sine * sine;
        const double lead = outer + middle + inner;
        MultiplyBy(a, 2 * (inner - outer) / lead, (outer - middle + inner) / lead);
    }
    // All zeros lie at the Nyquist frequency: the numerator is a multiple of (1 + z^-1)^order, whose value at frequency
    // 0 is 2^order.
    const double scale = std::ldexp(gain * ValueAtOne(a, order), -order);
    double binomial = 1.0;
    for (int k = 0; k <= order; ++k) {
        taps[k] = scale * binomial;
        taps[order + 1 + k] = a[k];
        binomial = binomial * (order - k) / (k + 1);
    }
}

IppStatus Generate(Band band, double frequency, double ripple, int order, Ipp64f* taps, int type) {
    if (const IppStatus bad = CheckPointers(taps)) return bad;
    if (order < 1 || order > kLargestOrder) return ippStsIIRGenOrderErr;
    if (!(frequency > 0.0 && frequency < 0.5)) return ippStsFilterFrequencyErr; // a NaN too
    if (type != Butterworth && type != Chebyshev1) return kBadType;
    if (type == Chebyshev1 && !(ripple > 0.0 && ripple < kLargestRipple)) return ippStsIIRGenRippleErr;

    Prototype prototype;
    double gain = 1.0;
    if (type == Chebyshev1) {
        prototype = ChebyshevPrototype(order, ripple);
        // The pass band swings between 1 and 1 - ripple, and an even order begins at the bottom.
        if (order % 2 == 0) gain = std::pow(10.0, -ripple / 20);
    }
    double sine = std::sin(kPi * frequency);
    double cosine = std::sin(kPi * (0.5 - frequency)); // a quarter of the sampling rate gives twice the same number
    // The high-pass is the low-pass of the mirrored cut-off 0.5 - f, with z replaced by -z.
    if (band == Band::High) std::swap(sine, cosine);
    LowpassTaps(sine, cosine, prototype, gain, order, taps);
    if (band == Band::High) {
        for (int k = 1; k <= order; k += 2) {
            taps[k] = -taps[k];
            taps[order + 1 + k] = -taps[order + 1 + k];
        }
    }
    return ippStsNoErr;
}

} // namespace

IppStatus ippsIIRGenLowpass_64f(Ipp64f frequency, Ipp64f ripple, int order, Ipp64f* taps, int type) {
    return Generate(Band::Low, frequency, ripple, order, taps, type);
}

IppStatus ippsIIRGenHighpass_64f(Ipp64f frequency, Ipp64f ripple, int order, Ipp64f* taps, int type) {
    return Generate(Band::High, frequency, ripple, order, taps, type);
}

} // namespace IPP

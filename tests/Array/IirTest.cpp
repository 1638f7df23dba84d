#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>
#include <vector>

#include "Array/Array2D.h"
#include "Array/Primitives/Checked.h"
#include "support/Failure.h"
#include "support/Near.h"
#include "support/Noise.h"

using namespace IPP;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

using Taps = std::vector<double>;

Taps Design(bool highpass, double frequency, double ripple, int order, int type) {
    Taps taps(2 * order + 2);
    EXPECT_EQ((highpass ? ippsIIRGenHighpass_64f : ippsIIRGenLowpass_64f)(frequency, ripple, order, taps.data(), type),
              0);
    return taps;
}

std::complex<double> Polynomial(const double* c, int order, double frequency) {
    std::complex<double> sum = 0;
    for (int k = 0; k <= order; ++k) sum += c[k] * std::polar(1., -2 * kPi * frequency * k);
    return sum;
}

double SumOfMagnitudes(const double* c, int order) {
    return std::accumulate(c, c + order + 1, 0., [](double sum, double tap) { return sum + std::fabs(tap); });
}

/// |H|^2 = 1 / (1 + epsilon^2 T(w)^2) with w the analogue frequency over the cut-off and T = w^n or Chebyshev's.
double AnalyticGain(double w, double ripple, int order, int type) {
    if (type == 0) return 1 / std::sqrt(1 + std::pow(w, 2 * order));
    const double t = w < 1 ? std::cos(order * std::acos(w)) : std::cosh(order * std::acosh(w));
    return 1 / std::sqrt(1 + (std::pow(10, ripple / 10) - 1) * t * t);
}

void ExpectAnalyticResponse(bool highpass, double cutoff, double ripple, int order, int type) {
    const Taps taps = Design(highpass, cutoff, ripple, order, type);
    const double* b = taps.data();
    const double* a = b + order + 1;
    EXPECT_EQ(a[0], 1.);
    const double lossOfScale =
        order * kEpsilon * SumOfMagnitudes(a, order) / std::abs(Polynomial(a, order, highpass / 2.));
    for (double f = 0; f < 0.4999; f += 0.5 / 61) {
        const double ratio = std::tan(kPi * f) / std::tan(kPi * cutoff);
        const double expected = AnalyticGain(highpass ? 1 / ratio : ratio, ripple, order, type);
        const double denominator = std::abs(Polynomial(a, order, f));
        const double gain = std::abs(Polynomial(b, order, f)) / denominator;
        // Each of the coefficients carries the rounding of `order` products, and so does the reference.
        const double limit =
            4 * order * kEpsilon * (SumOfMagnitudes(b, order) + gain * SumOfMagnitudes(a, order)) / denominator +
            expected * (lossOfScale + 30 * order * kEpsilon);
        ASSERT_TRUE(std::fabs(gain - expected) <= limit)
            << (highpass ? "high-pass " : "low-pass ") << cutoff << ", order " << order << ", type " << type << " at "
            << f << ": " << gain << ", expected " << expected << " within " << limit;
    }
}

std::vector<float> SlowFilter(const std::vector<float>& x, const Taps& taps, int order) {
    std::vector<double> y(x.size());
    for (int m = 0; m < static_cast<int>(x.size()); ++m)
        for (int k = 0; k <= std::min(m, order); ++k)
            y[m] += taps[k] * x[m - k] - (k > 0 ? taps[order + 1 + k] * y[m - k] : 0);
    return {y.begin(), y.end()};
}

} // namespace

TEST(IirDesign, HasTheResponseOfItsAnaloguePrototype) {
    for (int order = 1; order <= 12; ++order)
        for (const bool highpass : {false, true})
            for (const double cutoff : {0.03, 0.1, 0.25, 0.31, 0.47}) {
                if (order > 6 && (highpass ? 0.5 - cutoff : cutoff) < 0.05) continue; // no longer told by doubles
                ExpectAnalyticResponse(highpass, cutoff, 0, order, 0);
                ExpectAnalyticResponse(highpass, cutoff, 0.5, order, 1);
                ExpectAnalyticResponse(highpass, cutoff, 20, order, 1);
            }
}

TEST(IirDesign, HasUnitGainAtTheEndOfThePassBand) {
    EXPECT_EQ(Design(false, 0.25, 0, 1, 0), (Taps{0.5, 0.5, 1, 0}));
    EXPECT_EQ(Design(true, 0.25, 0, 1, 0), (Taps{0.5, -0.5, 1, 0}));
    for (const double cutoff : {1e-3, 0.2}) // a low one, where the sums of the taps nearly cancel
        for (int order = 1; order <= 4; ++order)
            for (const bool highpass : {false, true}) {
                const Taps taps = Design(highpass, highpass ? 0.5 - cutoff : cutoff, 0, order, 0);
                long double b = 0, a = 0;
                for (int k = 0; k <= order; ++k) {
                    const int sign = highpass && k % 2 ? -1 : 1;
                    b += sign * taps[k], a += sign * taps[order + 1 + k];
                }
                EXPECT_NEAR(static_cast<double>(b / a), 1, 2 * kEpsilon) << cutoff << ", order " << order;
            }
}

TEST(IirDesign, TestsItsArgumentsInOrder) {
    for (const auto generate : {ippsIIRGenLowpass_64f, ippsIIRGenHighpass_64f}) {
        double taps[26] = {7};
        EXPECT_EQ(generate(0.5, 0, 13, nullptr, 1), -8);
        EXPECT_EQ(generate(0.5, 0, 13, taps, 1), -206);
        EXPECT_EQ(generate(0.2, 0, 0, taps, 0), -206);
        for (const double frequency : {0., 0.5, -0.1, static_cast<double>(NAN)})
            EXPECT_EQ(generate(frequency, 0, 12, taps, 1), -208);
        for (const double ripple : {0., 29., static_cast<double>(NAN)})
            EXPECT_EQ(generate(0.2, ripple, 12, taps, 1), -209);
        EXPECT_EQ(generate(0.2, 1, 2, taps, 2), -5);
        EXPECT_EQ(taps[0], 7.);
        EXPECT_EQ(generate(0.2, NAN, 12, taps, 0), 0);
    }
}

TEST(IirFilter, IsTheRecursionOfItsTaps) {
    for (const int order : {1, 2, 3, 4, 5, 12}) {
        Taps taps = Design(order % 2, 0.15, 0, order, 0);
        std::vector<float> x = Noise(order).Floats(400);
        const std::vector<float> expected = SlowFilter(x, taps, order);
        for (double& tap : taps) tap *= -2; // normalised again
        IppsIIRState64f_32f* state = nullptr;
        ASSERT_EQ(ippsIIRInitAlloc64f_32f(&state, taps.data(), order, nullptr), 0);
        EXPECT_EQ(ippsIIR64f_32f_I(x.data(), 3, state), 0); // the state carries on from block to block
        EXPECT_EQ(ippsIIR64f_32f_I(x.data() + 3, 397, state), 0);
        EXPECT_EQ(ippsIIRFree64f_32f(state), 0);
        EXPECT_TRUE(AllNear(x, expected, 400, kFloatEpsilon)) << "order " << order; // below 2, one narrowing
    }
}

TEST(IirFilter, StartsFromTheGivenDelayLineAndRefusesWrongStates) {
    const double delayTaps[] = {0, 0, 0, 1, 0, 0}, delay[] = {3, 4}, noTaps[] = {1, 0, 0, 0}, unit[] = {1, 0, 1, 0};
    float x[] = {9, 9, 9};
    IppsIIRState64f_32f* state = nullptr;
    ASSERT_EQ(ippsIIRInitAlloc64f_32f(&state, delayTaps, 2, delay), 0);
    EXPECT_EQ(ippsIIR64f_32f_I(x, 3, state), 0);
    EXPECT_EQ(std::vector<float>(x, x + 3), (std::vector<float>{3, 4, 0}));
    EXPECT_EQ(ippsIIR64f_32f_I(x, 0, state), -6);
    EXPECT_EQ(ippsIIR64f_32f_I(nullptr, 3, state), -8);
    EXPECT_EQ(ippsIIRFree64f_32f(state), 0);

    alignas(64) char other[256] = {};
    state = reinterpret_cast<IppsIIRState64f_32f*>(other);
    EXPECT_EQ(ippsIIR64f_32f_I(x, 1, state), -17);
    EXPECT_EQ(ippsIIRFree64f_32f(state), -17);
    EXPECT_EQ(ippsIIRFree64f_32f(nullptr), -8);
    state = nullptr;
    EXPECT_EQ(ippsIIRInitAlloc64f_32f(nullptr, noTaps, 1, nullptr), -8);
    EXPECT_EQ(ippsIIRInitAlloc64f_32f(&state, noTaps, 0, nullptr), -25);
    EXPECT_EQ(ippsIIRInitAlloc64f_32f(&state, noTaps, 1, nullptr), -10);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(Failure([&] { Checked::IirFilter(x, 1, noTaps, 1); }), "-10 IPP::Exception::ippsIIRInitAlloc64f_32f");
    EXPECT_EQ(Failure([&] { Checked::IirFilter(x, 0, unit, 1); }), "-6 IPP::Exception::ippsIIR64f_32f_I");
}

TEST(ArrayFilterIir, DesignsAndRunsOnce) {
    std::vector<float> x = Noise(2).Floats(50);
    const std::vector<float> expected = SlowFilter(x, Design(true, 0.2f, 0, 2, 0), 2);
    Array<float> view(x.data(), 50);
    view.FilterIir(true, 0.2f, 0.5f, 2, 0);
    EXPECT_TRUE(AllNear(x, expected, x.size(), kFloatEpsilon));
    EXPECT_EQ(Failure([&] { view.FilterIir(true, 0.5f, 0, 2, 0); }), "-208 IPP::Exception::ippsIIRGenHighpass_64f");
    EXPECT_EQ(Failure([&] { view.FilterIir(false, 0.2f, 0, 13, 0); }), "-206 IPP::Exception::ippsIIRGenLowpass_64f");
    EXPECT_THROW(view.FilterIir(false, 0.2f, 0, -1, 0), std::bad_alloc);
    EXPECT_THROW(view.FilterIir(false, 0.2f, 0, std::numeric_limits<int>::max(), 0), std::bad_alloc);
}

TEST(ArrayFilterZeroPhase, RunsForwardAndBackwardOverTheMirroredArray) {
    for (const int n : {1, 2, 61}) {
        const std::vector<float> x = Noise(9).Floats(n);
        const Taps design = Design(false, 0.07, 0, 3, 0);
        std::vector<float> work(x.rbegin(), x.rend());
        work.insert(work.end(), x.begin(), x.end());
        work.insert(work.end(), x.rbegin(), x.rend());
        for (int pass = 0; pass < 2; ++pass) {
            work = SlowFilter(work, design, 3);
            std::reverse(work.begin(), work.end());
        }
        std::vector<float> y = x;
        Taps taps = design;
        Array<float>(y.data(), n).FilterZeroPhase(Array<double>(taps.data(), 8), 3);
        EXPECT_TRUE(AllNear(y, work.data() + n, n, 2 * kFloatEpsilon)); // two narrowings
    }
}

TEST(ArrayFilterZeroPhase, RefusesWhatItCannotFilter) {
    float x[1] = {1};
    double taps[4] = {1, 0, 1, 0};
    const auto filter = [&](int len, int order) {
        Array<float>(x, len).FilterZeroPhase(Array<double>(taps, 4), order);
    };
    EXPECT_THROW(filter(0, 1), std::bad_alloc);
    EXPECT_EQ(Failure([&] { filter(1, 0); }), "-25 IPP::Exception::ippsIIRInitAlloc64f_32f");
    EXPECT_EQ(Failure([&] { filter(1, 2); }), "-2 IPP::Array::FilterZeroPhase - Too few taps");
}

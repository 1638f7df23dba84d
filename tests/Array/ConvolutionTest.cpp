#include "support/SimdLevels.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "Array/Array.h"
#include "Array/Primitives/Checked.h"
#include "support/Failure.h"
#include "support/Near.h"
#include "support/Noise.h"

using namespace IPP;

namespace {

using Floats = std::vector<float>;
using Doubles = std::vector<double>;

Doubles SlowConvolution(const Floats& a, const Floats& b) {
    Doubles sums(a.size() + b.size() - 1);
    for (std::size_t i = 0; i < a.size(); ++i)
        for (std::size_t k = 0; k < b.size(); ++k) sums[i + k] += static_cast<double>(a[i]) * b[k];
    return sums;
}

Doubles SlowAutoCorrelation(const Floats& x, int lags) {
    Doubles sums(lags);
    for (int k = 0; k < lags; ++k)
        for (int i = 0; i + k < static_cast<int>(x.size()); ++i) sums[k] += static_cast<double>(x[i]) * x[i + k];
    return sums;
}

Floats Convolve(const Floats& a, const Floats& b) {
    Floats dst(a.size() + b.size(), 77.f);
    EXPECT_EQ(ippsConv_32f(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), dst.data()), 0);
    EXPECT_EQ(dst.back(), 77.f);
    dst.pop_back();
    return dst;
}

double Norm(const Floats& x) {
    double sum = 0;
    for (const float v : x) sum += static_cast<double>(v) * v;
    return std::sqrt(sum);
}

// Each of the 16 or so passes of a transform rounds once, relative to the norms; no sum exceeds their product.
double TransformLimit(const Floats& a, const Floats& b) { return 16 * kFloatEpsilon / 2 * Norm(a) * Norm(b); }

class Convolution : public AtSimdLevel {};

} // namespace

TEST_P(Convolution, IsTheSumOfShiftedProducts) {
    for (const auto& [len1, len2] : {std::pair{1, 1}, {3, 9}, {31, 33}, {32, 1}, {513, 40}, {257, 270}}) {
        const Floats a = Noise(len1).Floats(len1);
        const Floats b = Noise(len2 + 1).Floats(len2);
        const Doubles expected = SlowConvolution(a, b);
        const Floats actual = Convolve(a, b);
        for (std::size_t n = 0; n < actual.size(); ++n) // 64-bit sums, one narrowing
            ASSERT_TRUE(std::fabs(actual[n] - expected[n]) <= kFloatEpsilon * std::fabs(expected[n]) + 1e-13)
                << len1 << " by " << len2 << ", element " << n;
    }
}

TEST_P(Convolution, AutoCorrelationSumsTheProductsOfEveryLag) {
    for (const auto& [len, lags] : {std::pair{1, 5}, {33, 33}, {270, 270}, {300, 900}}) {
        const Floats x = Noise(len).Floats(len);
        const Doubles expected = SlowAutoCorrelation(x, lags);
        for (int mode = 0; mode < 3; ++mode) {
            Floats actual(lags);
            Checked::ippsAutoCorr_32f(x.data(), len, actual.data(), lags, mode);
            for (int k = 0; k < lags; ++k) { // beyond the length every form is 0
                const double sum = expected[k] / (mode == 1 ? len : mode == 2 ? std::max(1, len - k) : 1);
                ASSERT_NEAR(actual[k], sum, kFloatEpsilon * std::fabs(sum) + 1e-13) << len << ", lag " << k;
            }
        }
    }
}

TEST_P(Convolution, IsTheSameThroughTransforms) {
    for (const auto& [len1, len2] : {std::pair{3000, 3000}, {2500, 5001}, {20000, 400}}) {
        Floats a = Noise(len1).Floats(len1);
        Floats b = Noise(len2).Floats(len2);
        for (float& v : a) v *= 1e30f; // the squares of neither are floats
        for (float& v : b) v *= 1e-30f;
        EXPECT_TRUE(AllNear(Convolve(a, b), SlowConvolution(a, b), len1 + len2 - 1, TransformLimit(a, b)));
    }
    const Floats x = Noise(6).Floats(4000);
    Floats actual(2501, 77.f);
    ASSERT_EQ(ippsAutoCorr_32f(x.data(), 4000, actual.data(), 2500), 0);
    EXPECT_TRUE(AllNear(actual, SlowAutoCorrelation(x, 2500), 2500, TransformLimit(x, x)));
    EXPECT_EQ(actual.back(), 77.f);
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(Convolution);

TEST(ConvolutionContract, GivesNaNAndInfinityToTheirOwnSums) {
    Floats a(50, 1.f);
    Floats b(20, 1.f);
    a[30] = NAN;
    b[10] = INFINITY;
    const Floats y = Convolve(a, b);
    for (int n = 0; n < 69; ++n) {
        const bool seesNaN = n >= 30 && n < 50;
        const bool seesInfinity = n >= 10 && n < 60;
        EXPECT_EQ(std::isnan(y[n]), seesNaN) << n;
        EXPECT_EQ(std::isinf(y[n]), seesInfinity && !seesNaN) << n;
    }
}

TEST(ConvolutionContract, RefusesBadRangesBeforeWriting) {
    constexpr int kMost = std::numeric_limits<int>::max();
    float x[2] = {1, 2};
    float y[4] = {7, 7, 7, 7};
    EXPECT_EQ(ippsConv_32f(x, 0, x, 2, y), -6);
    EXPECT_EQ(ippsConv_32f(x, 2, x, 0, y), -6);
    EXPECT_EQ(ippsConv_32f(x, kMost, x, 2, y), -6); // more sums than int counts
    EXPECT_EQ(ippsConv_32f(x, 2, nullptr, 0, y), -8);
    EXPECT_EQ(ippsConv_32f(x, 2, x, 2, nullptr), -8);
    for (const auto correlate : {ippsAutoCorr_32f, ippsAutoCorr_NormA_32f, ippsAutoCorr_NormB_32f}) {
        EXPECT_EQ(correlate(x, 0, y, 2), -6);
        EXPECT_EQ(correlate(x, 2, y, 0), -6);
        EXPECT_EQ(correlate(nullptr, 0, y, 2), -8);
    }
    EXPECT_EQ(Failure([&] { Checked::ippsAutoCorr_32f(x, 0, y, 2, 1); }), "-6 IPP::Exception::ippsAutoCorr_xxx");
    const Array<float> a(x, 2);
    EXPECT_EQ(Failure([&] { Array<float>(y, 2).Convolute(a, a); }),
              "-2 IPP::Array::Convolute - Target dimension is too small");
    EXPECT_EQ(Floats(y, y + 4), Floats(4, 7.f));
    Array<float>(y, 4).Convolute(a, a);
    EXPECT_EQ(Floats(y, y + 4), (Floats{1, 4, 4, 7})); // what follows the sums stays
    Array<float>(y, 3).Convolute(a, a);
}

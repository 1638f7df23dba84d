#include "support/SimdLevels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

#include "support/Near.h"
#include "support/Noise.h"

using namespace IPP;

namespace {

constexpr int kLengths[] = {1, 7, 8, 9, 63, 64, 65, 1000};

class Kernels : public AtSimdLevel {
protected:
    const Simd::Kernels& k = Simd::Of(GetParam());
};

} // namespace

TEST_P(Kernels, ElementOperationsFollowTheirFormula) {
    const struct {
        const char* name;
        std::function<void(const float*, float*, int)> kernel;
        std::function<float(float, float)> formula;
    } operations[] = {
        {"mul", [&](auto s, auto d, int n) { k.mul(s, d, n); }, [](float s, float d) { return s * d; }},
        {"set", [&](auto, auto d, int n) { k.set(2.5f, d, n); }, [](float, float) { return 2.5f; }},
        {"addC", [&](auto, auto d, int n) { k.addC(2.5f, d, n); }, [](float, float d) { return d + 2.5f; }},
        {"mulC", [&](auto, auto d, int n) { k.mulC(0.3, d, n); }, [](float, float d) { return float(d * 0.3); }},
        {"sqr", [&](auto, auto d, int n) { k.sqr(d, n); }, [](float, float d) { return d * d; }},
        {"sub", [&](auto s, auto d, int n) { k.sub(s, 0.25f, d, n); }, [](float s, float) { return s - 0.25f; }},
        {"thresholdAbove", [&](auto, auto d, int n) { k.thresholdAbove(d, n, 0.125f); },
         [](float, float d) { return d > 0.125f ? 0.125f : d; }},
        {"maxEvery", [&](auto s, auto d, int n) { k.maxEvery(s, d, n); },
         [](float s, float d) { return s > d ? s : d; }},
        {"minEvery", [&](auto s, auto d, int n) { k.minEvery(s, d, n); },
         [](float s, float d) { return s < d ? s : d; }},
        {"streamCopy", [&](auto s, auto d, int n) { k.streamCopy(s, d, n, true); }, [](float s, float) { return s; }},
        {"streamMulC", [&](auto s, auto d, int n) { k.streamMulC(0.3f, s, d, n, true); },
         [](float s, float) { return 0.3f * s; }},
        {"kept in the caches", [&](auto s, auto d, int n) { k.streamAffine(0.3f, 2.f, s, d, n, false); },
         [](float s, float) { return 0.3f * s + 2.f; }}};
    for (const auto& operation : operations)
        for (const int len : kLengths) { // from an unaligned start; the elements around the range must stay
            std::vector<float> src = Noise(3).Floats(len + 2), dst = Noise(4).Floats(len + 2);
            if (len > 8) src[4] = NAN, src[7] = INFINITY, dst[9] = -INFINITY;
            std::vector<float> expected = dst;
            for (int i = 1; i <= len; ++i) expected[i] = operation.formula(src[i], dst[i]);
            operation.kernel(src.data() + 1, dst.data() + 1, len);
            for (int i = 0; i < len + 2; ++i)
                EXPECT_TRUE(std::isnan(expected[i]) ? std::isnan(dst[i])
                                                    : std::fabs(dst[i] - expected[i]) <= 4 * kFloatEpsilon ||
                                                          dst[i] == expected[i]) // values below 4
                    << operation.name << ", length " << len << ", element " << i;
        }
}

TEST_P(Kernels, ComplexOperationsFollowTheirFormula) {
    for (const int len : kLengths) {
        std::vector<float> a = Noise(5).Floats(2 * len), b = Noise(6).Floats(2 * len), product = b, conjugate = a;
        auto complex = [](std::vector<float>& v) { return reinterpret_cast<Ipp32fc*>(v.data()); };
        k.mulComplex(complex(a), complex(product), len);
        std::vector<float> moduli(len);
        k.magnitude(complex(a), moduli.data(), len);
        k.conj(complex(conjugate), len);
        for (int i = 0; i < len; ++i) {
            const double re = double(a[2 * i]) * b[2 * i] - double(a[2 * i + 1]) * b[2 * i + 1];
            const double im = double(a[2 * i]) * b[2 * i + 1] + double(a[2 * i + 1]) * b[2 * i];
            EXPECT_NEAR(product[2 * i], re, 2 * 2 * kFloatEpsilon); // two products below 1, three roundings
            EXPECT_NEAR(product[2 * i + 1], im, 2 * 2 * kFloatEpsilon);
            EXPECT_FLOAT_EQ(moduli[i], static_cast<float>(std::hypot(double(a[2 * i]), double(a[2 * i + 1]))));
            EXPECT_EQ(conjugate[2 * i], a[2 * i]);
            EXPECT_EQ(conjugate[2 * i + 1], -a[2 * i + 1]);
        }
    }
}

TEST_P(Kernels, ReductionsSeeEveryElement) {
    for (const int len : kLengths) {
        std::vector<float> v = Noise(7).Floats(len + 2), reversed = v;
        double sum = 0, squares = 0;
        for (int i = 1; i <= len; ++i) sum += v[i], squares += double(v[i]) * v[i];
        EXPECT_NEAR(k.sum(v.data() + 1, len), sum, len * 1e-16 * len);
        EXPECT_NEAR(k.sumOfSquares(v.data() + 1, len), squares, len * 1e-16 * len);
        std::reverse(reversed.begin() + 1, reversed.end() - 1);
        k.flip(v.data() + 1, len);
        EXPECT_EQ(v, reversed) << "length " << len;
        for (int at = 1; at <= len; at += 1 + len / 9) {
            std::vector<int> n(len + 1, -5);
            const float kept = v[at];
            float min = 0, max = 0;
            v[at] = 2;
            k.minMax(v.data() + 1, len, &min, &max);
            EXPECT_EQ(max, 2.f);
            v[at] = -2;
            k.minMax(v.data() + 1, len, &min, &max);
            EXPECT_EQ(std::exchange(v[at], kept), min);
            n[0] = 9, n[at] = -4;
            EXPECT_EQ(k.maxInt(n.data() + 1, len), -4);
        }
        v[len] = 3e38f; // its square is no 32-bit float
        EXPECT_NEAR(k.sumOfSquares(v.data() + 1, len), double(v[len]) * v[len], 1e62);
    }
    EXPECT_EQ(k.sumOfSquares(nullptr, 0), 0.);
}

TEST_P(Kernels, TapReadsWeighTwelveNeighboursAndTurnTheSum) {
    const std::vector<float> re = Noise(9).Floats(100), im = Noise(10).Floats(100);
    for (const int count : {1, 3, 4, 5, 30}) {
        const std::vector<float> taps = Noise(11).Floats(12 * count);
        const std::vector<float> a = Noise(12).Floats(count), b = Noise(13).Floats(count);
        std::vector<int> bins(count);
        for (int i = 0; i < count; ++i) bins[i] = (37 * i) % 89;
        std::vector<float> dstRe(count + 1, 9.f), dstIm(count + 1, 9.f);
        k.tapReads(bins.data(), taps.data(), a.data(), b.data(), count, re.data(), im.data(), dstRe.data(),
                   dstIm.data());
        for (int i = 0; i < count; ++i) {
            double sumRe = 0, sumIm = 0;
            for (int t = 0; t < 12; ++t) {
                sumRe += double(taps[12 * i + t]) * re[bins[i] + t];
                sumIm += double(taps[12 * i + t]) * im[bins[i] + t];
            }
            const double limit = 2 * 14 * 12 * kFloatEpsilon; // two sums of 12 terms below 1
            EXPECT_NEAR(dstRe[i], a[i] * sumRe - b[i] * sumIm, limit);
            EXPECT_NEAR(dstIm[i], a[i] * sumIm + b[i] * sumRe, limit);
        }
        EXPECT_TRUE(dstRe[count] == 9.f && dstIm[count] == 9.f);
    }
}

TEST_P(Kernels, InterpolationWeighsNeighbours) {
    for (const int len : kLengths) {
        const std::vector<float> v = Noise(14).Floats(len + 2), weights = Noise(15).Floats(len);
        std::vector<float> dst(len + 2, 9.f);
        k.interpolate(v.data() + 1, weights.data(), dst.data() + 1, len);
        for (int i = 0; i < len; ++i) // a difference below 2, a product below 2, a sum below 3
            EXPECT_NEAR(dst[i + 1], v[i + 1] + weights[i] * (double(v[i + 2]) - v[i + 1]), 4 * kFloatEpsilon);
        EXPECT_TRUE(dst[0] == 9.f && dst[len + 1] == 9.f);
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(Kernels);

#include "Algorithms/Filter/AlgoDeconvolution.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

class Deconvolution : public AtSimdLevel {
protected:
    const FreshStatics statics; // 0.05 ns
};

AlgoDeconvolution Deconvolve(double gapSamples, double lengthSamples, float noise) {
    AlgoDeconvolution algorithm;
    algorithm.Setup({true, 1, float(0.05 * gapSamples), float(0.05 * lengthSamples), noise});
    return algorithm;
}

/// The normal equations by elimination.
std::vector<double> Operator(const std::vector<double>& r, int gap, int n) {
    std::vector<std::vector<double>> m(n, std::vector<double>(n + 1));
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) m[i][j] = r[std::abs(i - j)];
        m[i][n] = r[gap + i];
    }
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < n; ++k)
            if (k != i)
                for (int j = n; j >= i; --j) m[k][j] -= m[k][i] / m[i][i] * m[i][j];
    std::vector<double> a;
    for (int i = 0; i < n; ++i) a.push_back(m[i][n] / m[i][i]);
    return a;
}

std::vector<double> Reference(const float* in, int samples, int gap, int n, double noise) {
    std::vector<double> r(gap + n), out(in, in + samples);
    for (int k = 0; k < gap + n; ++k)
        for (int s = 0; s + k < samples; ++s) r[k] += double(in[s]) * in[s + k];
    r[0] *= 1 + noise;
    const std::vector<double> a = Operator(r, gap, n);
    for (int s = 0; s < samples; ++s)
        for (int j = 0; j < n && j <= s - gap; ++j) out[s] -= a[j] * in[s - gap - j];
    return out;
}

} // namespace

TEST_P(Deconvolution, TakesOutWhatTheNormalEquationsPredictInEveryValidAscan) {
    for (const auto& [samples, gap, length] : {std::tuple(70, 1, 9), std::tuple(64, 7, 20), std::tuple(33, 30, 99),
                                               std::tuple(5, 1, 1), std::tuple(200, 0, 40)}) {
        Block in = NoiseBlock(samples, 5, 2);
        in.props.bscanInfo[1] = {1, 3};
        Block out = Executed(Deconvolve(gap, length, 0.02f), in);
        for (int z = 0; z < 2; ++z)
            for (int y = 0; y < 5; ++y) {
                const bool valid = z == 0 || (y >= 1 && y < 4);
                const int g = std::max(gap, 1);
                const auto expected = valid
                                          ? Reference(&in.At(0, y, z), samples, g, std::min(length, samples - g), 0.02)
                                          : std::vector<double>(samples);
                // the operator is as exact as 64 bits and noise of a fiftieth make it; the result is rounded once
                EXPECT_TRUE(AllNear(&out.At(0, y, z), expected, samples, 4 * kFloatEpsilon)) << samples << " " << gap;
            }
    }
}

TEST_P(Deconvolution, KeepsANaNOrAnInfinityInItsAscanAndSilenceSilent) {
    for (const float bad : {NAN, INFINITY}) {
        Block in = NoiseBlock(64, 4, 1);
        std::fill_n(&in.At(0, 3), 64, 0.f);
        const Block clean = Executed(Deconvolve(4, 10, 0), in);
        in.At(20, 1) = bad;
        const Block out = Executed(Deconvolve(4, 10, 0), in);
        for (int s = 0; s < 64; ++s) {
            EXPECT_TRUE(std::isnan(out.At(s, 1)));
            EXPECT_EQ(out.At(s, 0), clean.At(s, 0));
            EXPECT_EQ(out.At(s, 3), 0);
        }
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(Deconvolution);

// A wavelet whose energy comes as early as it can, 1 / (1 - 1.4 z + 0.7 z^2): its spiking operator is three samples
// long.
TEST(DeconvolutionScene, MakesSpikesOfAKnownWavelet) {
    const FreshStatics statics;
    Block in(ImageProps(400, 1, 1));
    for (const auto& [at, strength] : {std::pair(40, 1.), std::pair(113, -0.6), std::pair(250, 0.4)}) {
        double one = strength, two = 0;
        for (int s = at; s < 400; ++s) {
            in.At(s, 0) += float(one);
            const double next = 1.4 * one - 0.7 * two;
            two = one, one = next;
        }
    }
    const Block out = Executed(Deconvolve(0, 2, 0), in);
    for (int s = 0; s < 400; ++s) {
        const double spike = s == 40 ? 1 : s == 113 ? -0.6 : s == 250 ? 0.4 : 0;
        EXPECT_NEAR(out.At(s, 0), spike, 0.03) << s; // three spikes correlate a little with each other
    }
}

TEST(DeconvolutionScene, TakesOutMultiplesAndLeavesTheWaveletBehindTheGap) {
    const FreshStatics statics;
    Block clean(ImageProps(1000, 1, 1)), in = clean;
    Noise noise(7);
    for (int s = 0; s < 1000; ++s)
        for (const auto& [at, strength] : {std::pair(60, 1.), std::pair(155, 0.5), std::pair(377, -0.7)})
            clean.At(s, 0) += float(strength * Ricker((s - at) * 5e-11, 1e9));
    for (int s = 0; s < 1000; ++s) in.At(s, 0) = clean.At(s, 0) - (s >= 50 ? 0.7f * in.At(s - 50, 0) : 0);
    const Block out = Executed(Deconvolve(45, 12, 0.001f), in);
    double before = 0, after = 0;
    for (int s = 0; s < 1000; ++s)
        before += std::pow(in.At(s, 0) - clean.At(s, 0), 2), after += std::pow(out.At(s, 0) - clean.At(s, 0), 2);
    EXPECT_LT(after, 0.04 * before); // the echoes predict each other a little
}

TEST(DeconvolutionContract, RefusesTimesThatCannotBeMeantAndReadsItsKeys) {
    const FreshStatics statics;
    const Block in = NoiseBlock(8, 4, 2);
    for (const auto& algorithm : {Deconvolve(-1, 5, 0), Deconvolve(NAN, 5, 0), Deconvolve(0, 5, -1)})
        EXPECT_EQ(Failure([&] { Executed(algorithm, in); }), "-8/0 TZM::Exception::valueSmallerZero");
    for (const double length : {0., -1., double(NAN)})
        EXPECT_EQ(Failure([&] { Executed(Deconvolve(0, length, 0), in); }),
                  "-9/0 TZM::Exception::valueSmallerEqualZero");
    EXPECT_EQ(Executed(Deconvolve(8, 5, 0), in).data, in.data); // a gap of all samples
    AlgoDeconvolution algorithm;
    const auto& params =
        FreshStatics::Parsed(algorithm, "{'Deconvolution': {'Gap': 1.5, 'Length': 8.0, 'Noise': 0.1}}");
    EXPECT_EQ(params.gap.value, 1.5f);
    EXPECT_EQ(params.length.value, 8.f);
    EXPECT_EQ(params.noise.value, 0.1f);
}

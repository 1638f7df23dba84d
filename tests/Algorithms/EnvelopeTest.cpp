#include "Algorithms/Filter/AlgoEnvelope.h"

#include <gtest/gtest.h>

#include "Algorithms/Migration/AlgoMig2Post.h"
#include "support/FreshStatics.h"
#include "support/NaiveTransforms.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

class Envelope : public AtSimdLevel {
protected:
    const FreshStatics statics;
};

AlgoEnvelope Attribute(AlgoParamEnvelope::Kind kind) {
    AlgoEnvelope algorithm;
    algorithm.Setup({true, 1, kind});
    return algorithm;
}

/// The analytic signal of an A-scan and its mirror image, of which the first half counts.
Spectrum Mirrored(const Block& in, int y, int z) {
    const int samples = in.props.samplesPerAscan;
    std::vector<double> period(2 * samples);
    for (int s = 0; s < samples; ++s) period[s] = period[2 * samples - 1 - s] = in.At(s, y, z);
    Spectrum analytic = NaiveAnalytic(period);
    analytic.resize(samples);
    return analytic;
}

} // namespace

TEST_P(Envelope, IsThatOfTheAscanBetweenItsMirrorImages) {
    const auto magnitude = Attribute(AlgoParamEnvelope::Magnitude), phase = Attribute(AlgoParamEnvelope::Phase),
               frequency = Attribute(AlgoParamEnvelope::Frequency);
    for (const int samples : {1, 2, 3, 8, 61, 125, 256, 1031}) {
        Block in = NoiseBlock(samples, 36, 2); // more than one batch of A-scans, the last one not full
        for (int s = 0; s < samples; ++s) {
            in.At(s, 2, 1) = 0.f;
            in.At(s, 3, 1) *= 1e-30f; // rides with stronger ones
            in.At(s, 4, 1) *= 1e30f;
        }
        in.props.bscanInfo[1] = {1, 34};
        const Block envelopes = Executed(magnitude, in), phases = Executed(phase, in),
                    frequencies = Executed(frequency, in);
        for (const int y : {0, 2, 3, 4, 34, 35}) {
            const bool valid = y > 0 && y < 35;
            const Spectrum a = valid ? Mirrored(in, y, 1) : Spectrum(samples);
            double peak = 0;
            for (const auto value : a) peak = std::max(peak, std::abs(value));
            const double rounding = 2e-6; // of the peak: that of two transforms in a row
            for (int s = 0; s < samples; ++s) {
                EXPECT_NEAR(envelopes.At(s, y, 1), std::abs(a[s]), rounding * peak) << samples << " " << y << " " << s;
                if (peak == 0 || (y == 2 && valid)) {
                    EXPECT_EQ(phases.At(s, y, 1), 0);
                    EXPECT_EQ(frequencies.At(s, y, 1), 0);
                    continue;
                }
                const auto turn = [&](int i) { return std::arg(a[i] * std::conj(a[i - 1])); };
                const auto weakest = [&](int from, int to) {
                    double least = peak;
                    for (int i = std::max(from, 0); i <= std::min(to, samples - 1); ++i)
                        least = std::min(least, std::abs(a[i]));
                    return least;
                };
                const auto between = [](double p, double q) { return std::abs(std::remainder(p - q, 2 * M_PI)); };
                EXPECT_LT(between(phases.At(s, y, 1), std::arg(a[s])), 1e-6 + 2 * rounding * peak / weakest(s, s));
                if (samples == 1) continue;
                const double steps = s == 0 ? 2 * turn(1) : s == samples - 1 ? 2 * turn(s) : turn(s) + turn(s + 1);
                const double radians = frequencies.At(s, y, 1) * 4 * M_PI * 5e-11 * 1e6;
                EXPECT_LT(between(radians, steps), 1e-5 + 8 * rounding * peak / weakest(s - 1, s + 1));
            }
        }
    }
}

TEST_P(Envelope, GivesAConstantAndASineTheirOwnAndKeepsANaNInItsAscan) {
    Block in(ImageProps(400, 40, 1), 7.f);
    for (int y = 1; y < 40; ++y)
        for (int s = 0; s < 400; ++s) in.At(s, y) = 3 * std::cos(2 * M_PI * 0.05 * (s + 0.5)); // 1 GHz
    in.At(100, 20) = NAN;
    in.At(399, 21) = -INFINITY;
    const Block envelopes = Executed(Attribute(AlgoParamEnvelope::Magnitude), in),
                frequencies = Executed(Attribute(AlgoParamEnvelope::Frequency), in);
    for (int y = 0; y < 40; ++y)
        for (int s = 0; s < 400; ++s) {
            const bool broken = y == 20 || y == 21;
            EXPECT_EQ(std::isnan(envelopes.At(s, y)), broken);
            EXPECT_EQ(std::isnan(frequencies.At(s, y)), broken);
            if (broken) continue;
            EXPECT_NEAR(envelopes.At(s, y), y == 0 ? 7 : 3, 1e-5);
            EXPECT_NEAR(frequencies.At(s, y), y == 0 ? 0 : 1000, 0.01);
        }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(Envelope);

TEST(EnvelopeScene, AStrongHeadDoesNotGlowAtTheEndWhateverTheLength) {
    const FreshStatics statics;
    for (const int samples : {512, 3001}) {
        Block in(ImageProps(samples, 3, 1)); // begins within a strong wavelet, as behind a time zero
        for (int s = 0; s < samples; ++s)
            for (int y = 0; y < 3; ++y) in.At(s, y) = 1e4 * Ricker((s - 5) * 5e-11, 5e8);
        const Block out = Executed(AlgoEnvelope(), in);
        EXPECT_LT(out.At(samples - 1, 1), 0.004 * out.At(5, 1));
        if (samples > 1024) continue;
        const Block plain = Executed(AlgoMig2Post(), in);
        for (int s = samples - 16; s < samples; ++s) EXPECT_LT(10 * out.At(s, 1), plain.At(s, 1)) << s;
    }
}

TEST(EnvelopeContract, ReadsItsKey) {
    const FreshStatics statics;
    AlgoEnvelope algorithm;
    EXPECT_EQ(FreshStatics::Parsed(algorithm, "{'Envelope': {'Kind': 'frequency'}}").kind.value,
              AlgoParamEnvelope::Frequency);
    EXPECT_EQ(FreshStatics::Parsed(algorithm, "{'Envelope': {'Kind': 'Hue'}}").kind.value,
              AlgoParamEnvelope::Frequency);
}

// The steps along single A-scans: dewow, band pass, gain over time, automatic gain control.
#include <gtest/gtest.h>

#include <numeric>

#include "Algorithms/Filter/AlgoBandPass.h"
#include "Algorithms/Filter/AlgoDewow.h"
#include "Algorithms/Filter/AlgoEnvelope.h"
#include "Algorithms/Gain/AlgoAgc.h"
#include "Algorithms/Gain/AlgoTimeGain.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/NaiveTransforms.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

class AscanSteps : public AtSimdLevel {
protected:
    const FreshStatics statics;
};

constexpr double kStep = 0.05; // ns between samples

AlgoDewow Dewow(float window, bool median) {
    AlgoDewow algorithm;
    algorithm.Setup({true, 1, window, median});
    return algorithm;
}

AlgoBandPass Band(float low, float high, int order) {
    AlgoBandPass algorithm;
    algorithm.Setup({true, 1, low, high, order});
    return algorithm;
}

AlgoTimeGain Gain(int timeZero, float power, float rate, float limit = 60, float attenuation = 0,
                  float permittivity = 6) {
    AlgoTimeGain algorithm;
    algorithm.Setup({true, 1, timeZero, power, rate, limit, attenuation, permittivity});
    return algorithm;
}

AlgoAgc Agc(float window, float level, float floor, bool envelope) {
    AlgoAgc algorithm;
    algorithm.Setup({true, 1, window, level, floor, envelope});
    return algorithm;
}

/// out(s, y) = make(A-scan)[s] for the valid A-scans, 0 for the others.
template <class Make>
std::vector<double> ForValid(const Block& in, const Make& make) {
    std::vector<double> out(in.data.size());
    const int samples = in.props.samplesPerAscan, ascans = in.props.ascansPerBscan;
    for (int z = 0; z < in.props.bscanCount; ++z)
        for (int k = 0; k < in.props.bscanInfo[z].validLen; ++k) {
            const std::size_t first = std::size_t(z * ascans + in.props.bscanInfo[z].firstValidIdx + k) * samples;
            const auto made = make(std::vector<double>(&in.data[first], &in.data[first] + samples));
            std::copy(made.begin(), made.end(), &out[first]);
        }
    return out;
}

/// For every sample what `of` makes of the window around it.
template <class Of>
std::vector<double> OfWindows(const std::vector<double>& ascan, int half, const Of& of) {
    std::vector<double> values(ascan.size());
    for (int s = 0; s < int(ascan.size()); ++s)
        values[s] = of(std::vector<double>(ascan.begin() + std::max(0, s - half),
                                           ascan.begin() + std::min<int>(ascan.size(), s + half + 1)));
    return values;
}

double Mean(std::vector<double> values) { return std::accumulate(values.begin(), values.end(), 0.) / values.size(); }

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

double RootMeanSquare(std::vector<double> values) {
    for (double& value : values) value *= value;
    return std::sqrt(Mean(values));
}

/// Blocks of odd shapes with a short valid range and one without any.
std::vector<Block> Shapes() {
    std::vector<Block> blocks;
    for (const auto& [samples, ascans] : {std::pair(1, 3), std::pair(2, 17), std::pair(33, 40), std::pair(300, 5)}) {
        blocks.push_back(NoiseBlock(samples, ascans, 3, 10, 100));
        blocks.back().props.bscanInfo[1] = {ascans / 3, ascans / 2};
        blocks.back().props.bscanInfo[2] = {0, 0};
    }
    return blocks;
}

} // namespace

TEST_P(AscanSteps, DewowTakesTheLevelOfEachWindowOff) {
    for (const Block& in : Shapes())
        for (const int half : {1, 2, 13, 400})
            for (const bool median : {false, true}) {
                const auto expected = ForValid(in, [&](std::vector<double> ascan) {
                    const auto levels = OfWindows(ascan, half, median ? Median : Mean);
                    for (std::size_t s = 0; s < ascan.size(); ++s) ascan[s] -= levels[s];
                    return ascan;
                });
                const Block out = Executed(Dewow(2 * half * kStep, median), in);
                const double rounding = (median ? 110 : 220) * kFloatEpsilon; // of the result; and of the mean
                EXPECT_TRUE(AllNear(out.data, expected, expected.size(), rounding)) << half << median;
            }
    const Block flat = Executed(Dewow(3, false), Block(ImageProps(100, 20, 1), 1e6f));
    EXPECT_TRUE(AllNear(flat.data, std::vector<float>(2000), 2000, 1e6 * kFloatEpsilon)); // a constant
}

TEST_P(AscanSteps, BandPassWeighsTheSpectrumOfTheAscanAndItsMirrorImage) {
    for (const Block& in : Shapes())
        for (const auto& [low, high, order] :
             {std::tuple(0.f, 0.f, 4), std::tuple(700.f, 0.f, 1), std::tuple(0.f, 2500.f, 40),
              std::tuple(900.f, 4000.f, 4), std::tuple(900.f, 4000.f, 0)}) {
            const auto weight = [low = low, high = high, order = order](double f) { // MHz
                const double rises = order > 0 ? 1 / (1 + std::pow(low / f, 2 * order)) : 1.5 * f / low - 1,
                             falls = order > 0 ? 1 / (1 + std::pow(f / high, 2 * order)) : 2 - 1.5 * f / high;
                return (low > 0 ? std::clamp(rises, 0., 1.) : 1) * (high > 0 ? std::clamp(falls, 0., 1.) : 1);
            };
            const auto expected = ForValid(in, [&](const std::vector<double>& ascan) {
                const std::size_t n = ascan.size();
                Spectrum period(ascan.begin(), ascan.end());
                period.insert(period.end(), ascan.rbegin(), ascan.rend());
                Spectrum spectrum = NaiveDft(period);
                for (std::size_t k = 0; k < 2 * n; ++k)
                    spectrum[k] *= weight(std::min(k, 2 * n - k) / (2 * n * kStep) * 1e3) / (2. * n);
                std::vector<double> out;
                for (const auto value : NaiveDft(spectrum, +1)) out.push_back(value.real());
                out.resize(n);
                return out;
            });
            const Block out = Executed(Band(low, high, order), in);
            EXPECT_TRUE(AllNear(out.data, expected, expected.size(), 110 * 2e-6)) << low << " " << order;
        }
}

TEST_P(AscanSteps, AgcBringsTheStrengthOfEachWindowToTheLevel) {
    for (Block in : Shapes()) {
        double sum = 0, count = 0;
        for (const double square : ForValid(in, [](std::vector<double> x) {
                 for (double& value : x) value *= value;
                 return x;
             }))
            sum += square;
        for (const auto& range : in.props.bscanInfo) count += range.validLen * in.props.samplesPerAscan;
        const double strength = std::sqrt(sum / count);
        for (const auto& [half, floor, envelope] :
             {std::tuple(1, 0.f, false), std::tuple(13, 0.01f, false), std::tuple(400, 1.f, false),
              std::tuple(2, 1.01f, false), std::tuple(5, 0.1f, true)}) {
            AlgoEnvelope envelopes;
            const Block measured = envelope ? Executed(envelopes, in) : in;
            auto levels = ForValid(measured, [&, half = half, envelope = envelope](const std::vector<double>& ascan) {
                return OfWindows(ascan, half, envelope ? Mean : RootMeanSquare);
            });
            for (std::size_t i = 0; i < levels.size(); ++i)
                if (levels[i] > 0) levels[i] = 7 * in.data[i] / std::max(levels[i], floor * strength);
            const Block out = Executed(Agc(2 * half * kStep, 7, floor, envelope), in);
            EXPECT_TRUE(AllNear(out.data, levels, levels.size(), 1e-5)) << half << " " << floor;
        }
    }
}

TEST_P(AscanSteps, ANaNStaysInItsAscan) {
    Block in = NoiseBlock(200, 20, 1);
    const Block clean = in;
    in.At(70, 3) = NAN;
    in.At(71, 4) = INFINITY;
    const auto check = [&](const auto& algorithm, int reach) {
        const Block out = Executed(algorithm, in), without = Executed(algorithm, clean);
        for (int s = 0; s < 200; ++s) {
            EXPECT_TRUE(std::isnan(out.At(s, 3)) == (std::abs(s - 70) <= reach)) << s;
            EXPECT_NEAR(out.At(s, 5), without.At(s, 5), 1e-6);
            if (std::abs(s - 70) > reach) {
                EXPECT_NEAR(out.At(s, 3), without.At(s, 3), 1e-6);
            }
        }
    };
    check(Dewow(1, false), 10);
    check(Band(500, 1500, 4), 200);
    check(Gain(0, 1, 1), 0);
    check(Agc(1, 1, 0, false), 10);
}

TEST_P(AscanSteps, LargeBlocksGetTheBitsOfTheirAscansWhereverTheyLie) {
    for (const int samples : {512, 503}) {
        const Block large = NoiseBlock(samples, 1100, 1);  // written past the caches
        Block few(ImageProps(samples, 1100 % 32 + 32, 1)); // each rides with the same partner in a transform
        std::copy(large.data.end() - few.data.size(), large.data.end(), few.data.begin());
        const auto check = [&](const auto& algorithm) {
            const Block expected = Executed(algorithm, few);
            std::vector<float> memory(large.data.size() + 32);
            for (const int offset : {0, 1, 11}) { // floats behind a line of the cache
                const auto misplaced = reinterpret_cast<std::size_t>(memory.data()) / sizeof(float) % 16;
                float* const out = memory.data() + (16 - misplaced) + offset;
                algorithm.Execute(large.data.data(), large.props, out, large.props);
                const float* const end = out + large.data.size();
                EXPECT_TRUE(std::equal(end - few.data.size(), end, expected.data.begin())) << samples << offset;
            }
        };
        check(Dewow(1, false));
        check(Dewow(100, false));
        check(Agc(1, 1, 0, false));
        check(Agc(1, 1, 0, true));
        check(Band(500, 1500, 4));
        for (const auto kind : {AlgoParamEnvelope::Magnitude, AlgoParamEnvelope::Phase}) {
            AlgoEnvelope envelope;
            envelope.Setup({true, 1, kind});
            check(envelope);
        }
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(AscanSteps);

TEST(AscanStepsScene, BandPassKeepsASineOfTheBandInItsPlaceAndTakesTheOthers) {
    const FreshStatics statics;
    Block in(ImageProps(777, 3, 1));
    const double rates[] = {0.5, 0.05, 0.005}; // 10 GHz, 1 GHz, 100 MHz
    for (int y = 0; y < 3; ++y)
        for (int s = 0; s < 777; ++s) in.At(s, y) = std::sin(2 * M_PI * (rates[y] * s + 0.1));
    const Block out = Executed(Band(400, 2500, 4), in);
    for (int s = 150; s < 627; ++s) { // at the ends the mirror image bends the sine
        EXPECT_NEAR(out.At(s, 0), 0, 1e-2);
        EXPECT_NEAR(out.At(s, 1), in.At(s, 1), 1e-2);
        EXPECT_NEAR(out.At(s, 2), 0, 1e-2);
    }
}

TEST(AscanStepsScene, DewowTakesTheWowAndKeepsTheWavelet) {
    const FreshStatics statics;
    Block in(ImageProps(512, 1, 1));
    for (int s = 0; s < 512; ++s) in.At(s, 0) = 5 * std::exp(-s / 200.) + 30 + Ricker((s - 300) * 5e-11, 1e9);
    const Block out = Executed(Dewow(3, true), in);
    for (int s = 30; s < 482; ++s) EXPECT_NEAR(out.At(s, 0), Ricker((s - 300) * 5e-11, 1e9), 0.35) << s;
    EXPECT_NEAR(out.At(300, 0), 1, 0.35);
}

TEST(AscanStepsScene, GainOverTimeIsTheFactorOfItsFormulaAndUndoesItsInverse) {
    const FreshStatics statics;
    const Block ones(ImageProps(400, 2, 1), 1.f);
    const double speed = 0.3 / std::sqrt(9.);
    for (const auto& [power, rate, limit, attenuation] :
         {std::tuple(1., 0., 60., 0.), std::tuple(0., 0.7, 60., 0.), std::tuple(2., -0.5, 60., 3.),
          std::tuple(1.5, 2., 20., 1.), std::tuple(-1., -1., 0., 0.)}) {
        const Block out = Executed(Gain(20, power, rate, limit, attenuation, 9), ones);
        for (int s = 0; s < 400; ++s) {
            const double t = (s - 20) * kStep;
            const bool early = t < 0 || (t < 1 - 1e-6 && power != 0);
            const double factor =
                early ? 1
                      : std::min(std::pow(10, limit / 20),
                                 std::pow(t, power) * std::pow(10, (rate + attenuation * speed) * t / 20));
            EXPECT_NEAR(out.At(s, 1), factor, 2e-6 * factor) << s << " " << power;
        }
    }
    const Block noise = NoiseBlock(300, 4, 2);
    const Block back = Executed(Gain(7, -1.3f, -0.4f), Executed(Gain(7, 1.3f, 0.4f, 1000), noise));
    EXPECT_TRUE(AllNear(back.data, noise.data, noise.data.size(), 4 * kFloatEpsilon));
}

TEST(AscanStepsScene, AgcKeepsSilenceSilentAndLevelsWhateverItsScale) {
    const FreshStatics statics;
    for (const float scale : {1e-25f, 1.f, 1e30f}) {
        Block in(ImageProps(600, 18, 1));
        for (int y = 0; y < 18; ++y)
            for (int s = 0; s < 600; ++s)
                in.At(s, y) = scale * (s < 200 ? 1.f : s < 400 ? 0.05f : 1e-6f) * (s % 2 ? -1.f : 1.f);
        const Block out = Executed(Agc(1, 3, 0.01f, false), in);
        for (const int s : {50, 300}) EXPECT_NEAR(std::abs(out.At(s, 7)), 3, 1e-4);
        EXPECT_LT(std::abs(out.At(500, 7)), 1e-3);
    }
    EXPECT_EQ(Executed(Agc(1, 3, 0, false), Block(ImageProps(60, 2, 1))).data, std::vector<float>(120));
}

TEST(AscanStepsContract, RefuseWhatCannotBeMeantAndReadTheirKeys) {
    const FreshStatics statics;
    const Block in = NoiseBlock(8, 4, 2);
    const std::string negative = "-8/0 TZM::Exception::valueSmallerZero",
                      notAbove = "-9/0 TZM::Exception::valueSmallerEqualZero",
                      large = "-12/0 TZM::Exception::valueToBig";
    const auto refusal = [&](const auto& algorithm) { return Failure([&] { Executed(algorithm, in); }); };
    for (const float bad : {-1.f, NAN}) {
        EXPECT_EQ(refusal(Dewow(bad, false)), notAbove);
        EXPECT_EQ(refusal(Band(bad, 0, 4)), negative);
        EXPECT_EQ(refusal(Band(0, bad, 4)), negative);
        EXPECT_EQ(refusal(Gain(0, 1, 0, bad)), negative);
        EXPECT_EQ(refusal(Gain(0, 1, 0, 60, 0, bad)), "-10/0 TZM::Exception::permittivitySmallerEqualZero");
        EXPECT_EQ(refusal(Agc(bad, 1, 0, false)), notAbove);
        EXPECT_EQ(refusal(Agc(1, 1, bad, false)), negative);
    }
    EXPECT_EQ(refusal(Band(0, 0, -1)), negative);
    EXPECT_EQ(refusal(Band(200, 100, 4)), large);
    EXPECT_EQ(refusal(Gain(-1, 1, 0)), negative);
    EXPECT_EQ(refusal(Gain(0, NAN, 0)), large);
    AlgoDewow dewow;
    AlgoBandPass band;
    AlgoTimeGain gain;
    AlgoAgc agc;
    EXPECT_TRUE(FreshStatics::Parsed(dewow, "{'Dewow': {'Window': 3.5, 'Median': true}}").median.value);
    EXPECT_EQ(dewow.GetParams().window.value, 3.5f);
    EXPECT_EQ(FreshStatics::Parsed(band, "{'BandPass': {'Low': 3.5, 'High': 9.5, 'Order': 2}}").order.value, 2);
    EXPECT_EQ(band.GetParams().high.value, 9.5f);
    EXPECT_EQ(FreshStatics::Parsed(gain, "{'TimeGain': {'TimeZero': 3, 'Attenuation': 2.5}}").timeZero.value, 3);
    EXPECT_EQ(gain.GetParams().attenuation.value, 2.5f);
    EXPECT_EQ(FreshStatics::Parsed(agc, "{'Agc': {'Floor': 0.5, 'Envelope': true}}").floor.value, 0.5f);
    EXPECT_TRUE(agc.GetParams().envelope.value);
}

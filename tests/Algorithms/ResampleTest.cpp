#include "Algorithms/Preparation/AlgoResample.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"

using namespace TZM;

namespace {

AlgoResample Resample(float deltaT, float deltaX) {
    AlgoResample algorithm;
    algorithm.Setup({true, 1, deltaT, deltaX});
    return algorithm;
}

/// The windowed sinc between the samples of a series, which goes on beyond its ends.
double Between(const std::vector<double>& x, double at, double ratio) {
    const auto bessel = [](double y) {
        double sum = 1, term = 1;
        for (int k = 1; k < 60; ++k) sum += term *= y * y / (4. * k * k);
        return sum;
    };
    const double c = std::min(1., 1 / ratio);
    double sum = 0, weights = 0;
    for (int k = int(std::ceil(at - 16 / c)); k <= std::floor(at + 16 / c); ++k) {
        const double t = c * (at - k), edge = t / 16;
        const double w =
            (t == 0 ? 1 : std::sin(M_PI * t) / (M_PI * t)) * bessel(9 * std::sqrt(std::max(0., 1 - edge * edge)));
        sum += w * x[std::clamp(k, 0, int(x.size()) - 1)], weights += w;
    }
    return sum / weights;
}

} // namespace

TEST(Resample, ReadsBetweenSamplesAndAscansOfTheValidRange) {
    const FreshStatics statics; // 0.05 ns, 5 mm
    for (const auto& [deltaT, deltaX] : {std::pair(0.08, 0.), std::pair(0.02, 0.), std::pair(0., 0.0035),
                                         std::pair(0.05, 0.0125), std::pair(0.125, 0.002)}) {
        Block in = NoiseBlock(70, 23, 2);
        in.props.bscanInfo[1] = {4, 11};
        const Block out = Executed(Resample(float(deltaT), float(deltaX)), in);
        const double r = deltaT > 0 ? deltaT / 0.05 : 1, q = deltaX > 0 ? deltaX / 0.005 : 1;
        EXPECT_EQ(out.props.samplesPerAscan, int(69 / r + 1e-9) + 1);
        EXPECT_EQ(out.props.ascansPerBscan, int(22 / q + 1e-9) + 1);
        for (int z = 0; z < 2; ++z) {
            const int first = in.props.bscanInfo[z].firstValidIdx, count = in.props.bscanInfo[z].validLen;
            for (int j = 0; j < out.props.ascansPerBscan; ++j) {
                const double place = j * q - first;
                const bool valid = place > -1e-9 && place < count - 1 + 1e-9;
                const BscanInfo& range = out.props.bscanInfo[z];
                EXPECT_EQ(valid, j >= range.firstValidIdx && j < range.firstValidIdx + range.validLen) << j;
                for (int i = 0; i < out.props.samplesPerAscan; i += 7) {
                    std::vector<double> along;
                    for (int y = first; valid && y < first + count; ++y) {
                        std::vector<double> ascan(&in.At(0, y, z), &in.At(0, y, z) + 70);
                        along.push_back(Between(ascan, i * r, r));
                    }
                    // weights of a sum of magnitudes below 3, rounded once, in two passes
                    EXPECT_NEAR(out.At(i, j, z), valid ? Between(along, place, q) : 0, 2e-6) << i << " " << j;
                }
            }
        }
    }
}

TEST(Resample, KeepsWavesThatBothIntervalsHoldAndTakesOutTheOthers) {
    const FreshStatics statics;
    Block in(ImageProps(400, 200, 1)), fast = in;
    for (int y = 0; y < 200; ++y)
        for (int s = 0; s < 400; ++s) {
            in.At(s, y) = float(std::sin(0.5 * s + 0.3 * y));
            fast.At(s, y) = float(std::sin(2.6 * s));
        }
    const Block out = Executed(Resample(0.1f, 0.0125f), in), none = Executed(Resample(0.1f, 0.f), fast);
    ASSERT_EQ(Flat(out.props), (std::vector<int>{200, 80, 1, 0, 80}));
    for (int y = 16; y < 64; ++y)
        for (int s = 20; s < 180; ++s) EXPECT_NEAR(out.At(s, y), std::sin(0.5 * 2 * s + 0.3 * 2.5 * y), 1e-3);
    for (int s = 20; s < 180; ++s) EXPECT_NEAR(none.At(s, 0), 0, 1e-3);
    AlgoBase::GetGlobalSettings() = Resample(0.1f, 0.0125f).SamplingBehind({});
    const Block back = Executed(Resample(0.05f, 0.005f), out);
    for (int y = 60; y < 140; ++y)
        for (int s = 60; s < 340; ++s) EXPECT_NEAR(back.At(s, y), in.At(s, y), 2e-3);
}

TEST(Resample, LeavesABlockAsItIsWithoutIntervalsAndKeepsANaNInReach) {
    const FreshStatics statics;
    Block in = NoiseBlock(64, 80, 1);
    EXPECT_EQ(Executed(Resample(0, 0), in).data, in.data);
    EXPECT_EQ(Executed(Resample(0.05f, 0.005f), in).data, in.data);
    in.At(9, 40) = NAN;
    const Block out = Executed(Resample(0, 0.004f), in);
    for (int y = 0; y < out.props.ascansPerBscan; ++y)
        for (int s = 0; s < 64; ++s)
            EXPECT_EQ(std::isnan(out.At(s, y)), s == 9 && std::abs(y * 0.8 - 40) < 16) << s << " " << y;
}

TEST(Resample, RefusesIntervalsThatCannotBeMeantAndReadsItsKeys) {
    const FreshStatics statics;
    const Block in = NoiseBlock(8, 4, 1);
    for (const auto& [deltaT, deltaX] : {std::pair(-1.f, 0.f), std::pair(0.f, -1.f), std::pair(NAN, 0.f)})
        EXPECT_EQ(Failure([&, t = deltaT, x = deltaX] { Executed(Resample(t, x), in); }),
                  "-8/0 TZM::Exception::valueSmallerZero");
    const ImageProps props(8, 4, 1);
    EXPECT_EQ(Failure([&] { Resample(1e-12f, 0).Execute(in.data.data(), props, nullptr, props); }),
              "-12/0 TZM::Exception::valueToBig");
    AlgoBase::GetGlobalSettings().delta_x = 0;
    EXPECT_EQ(Failure([&] { Executed(Resample(0, 1), in); }), "-9/0 TZM::Exception::valueSmallerEqualZero");
    AlgoResample algorithm;
    const auto& params = FreshStatics::Parsed(algorithm, "{'Resample': {'DeltaT': 0.1, 'DeltaX': 0.25}}");
    EXPECT_EQ(params.deltaT.value, 0.1f);
    EXPECT_EQ(params.deltaX.value, 0.25f);
}

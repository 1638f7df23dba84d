#include "Algorithms/Preparation/AlgoBistaticCorrection.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"

using namespace TZM;

namespace {

Block Corrected(const Block& in, float permittivity, float antennaOffset) {
    AlgoBistaticCorrection algo;
    algo.Setup(AlgoParamBistaticCorrection(true, 1, 1, permittivity, antennaOffset));
    return Executed(algo, in);
}

// One output sample at a time, with a search of its own.
double NaiveSample(const Block& in, int k, int y, int z, double permittivity, double d) {
    const double dt = 5e-11f, v = 3e8 / std::sqrt(permittivity);
    const auto t = [&](double i) {
        const double square = i * i * dt * dt - d * d / (v * v);
        return square >= 0 ? std::sqrt(square) / dt : 0.;
    };
    int j = 0;
    while (j < in.props.samplesPerAscan && t(j) < k) ++j;
    if (j == in.props.samplesPerAscan || j == 0) return 0;
    const double w = t(j) > t(j - 1) ? (k - t(j - 1)) / (t(j) - t(j - 1)) : t(j) > 0 ? k / t(j) : 0;
    return in.At(j - 1, y, z) + w * (double(in.At(j, y, z)) - in.At(j - 1, y, z));
}

} // namespace

TEST(BistaticCorrection, ReadsBistaticBscansLikeThePlainLoop) {
    for (const int samples : {1, 2, 9, 300})
        for (const float offset : {0.0461f, 0.f, 0.3f, 1.5f, 100.f, -0.3f}) {
            const Block in = NoiseBlock(samples, 3, samples == 9 ? 7 : 10);
            const Block out = Corrected(in, 6.f, offset);
            for (int z = 0; z < in.props.bscanCount; ++z)
                for (int y = 0; y < 3; ++y)
                    for (int k = 0; k < samples; ++k) {
                        const bool bistatic = z % (samples == 9 ? 7 : 5) % 2 == 1;
                        const double expected = bistatic ? NaiveSample(in, k, y, z, 6., offset) : in.At(k, y, z);
                        const double limit = 2 * 3 * kFloatEpsilon; // a weight and three operations on values below 2
                        ASSERT_NEAR(out.At(k, y, z), expected, bistatic ? limit : 0.) << k << " of " << samples;
                    }
        }
}

TEST(BistaticCorrection, RefusesAPermittivityBeforeAChannelCount) {
    for (const float permittivity : {0.f, -1.f, NAN})
        EXPECT_EQ(Failure([&] { Corrected(NoiseBlock(8, 2, 6), permittivity, 0.f); }),
                  "-10/0 TZM::Exception::permittivitySmallerEqualZero");
}

TEST(BistaticCorrection, ReadsItsKeysAndStopsAtANegativeTimeZero) {
    const FreshStatics statics;
    AlgoBistaticCorrection algo;
    const auto parsed = [&](const std::string& timeZero, const std::string& permittivity, const std::string& offset) {
        const auto& p =
            statics.Parsed(algo, "{'Global': {'TimeZero': " + timeZero + ", 'Permittivity': " + permittivity +
                                     "}, 'BistaticCorrection': {'AntennaOffset': " + offset + "}}");
        return std::vector<float>{float(p.timeZero.value), p.permittivity, p.antennaOffset};
    };
    EXPECT_EQ(parsed("true", "5", "1"), (std::vector<float>{1, 6, 0.0461f})); // integers where reals count
    EXPECT_EQ(parsed("9", "5.5", "0.25"), (std::vector<float>{9, 5.5f, 0.25f}));
    EXPECT_EQ(parsed("-1", "7.5", "0.75"), (std::vector<float>{9, 5.5f, 0.25f}));
    EXPECT_EQ(statics.Errors().back(), "AlgoBistaticCorrection::ParseParamsFromJsonConfig: JSON Exception - "
                                       "Negative integer can not be converted to unsigned integer");
}

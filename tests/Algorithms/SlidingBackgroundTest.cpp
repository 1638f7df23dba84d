#include "Algorithms/Background/AlgoSlidingBackground.h"

#include <gtest/gtest.h>

#include <numeric>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

class SlidingBackground : public AtSimdLevel {
protected:
    const FreshStatics statics;
};

AlgoSlidingBackground Sliding(float window, bool median) {
    AlgoSlidingBackground algorithm;
    algorithm.Setup({true, 1, window, median});
    return algorithm;
}

double LevelOf(std::vector<float> values, bool median) {
    if (!median) return std::accumulate(values.begin(), values.end(), 0.) / values.size();
    std::sort(values.begin(), values.end());
    return (double(values[(values.size() - 1) / 2]) + values[values.size() / 2]) / 2;
}

Block Reference(const Block& in, int half, bool median) {
    Block out(in.props);
    for (int z = 0; z < in.props.bscanCount; ++z) {
        const int first = in.props.bscanInfo[z].firstValidIdx, end = first + in.props.bscanInfo[z].validLen;
        for (int y = first; y < end; ++y)
            for (int s = 0; s < in.props.samplesPerAscan; ++s) {
                std::vector<float> window;
                for (int x = std::max(first, y - half); x < std::min(end, y + half + 1); ++x)
                    window.push_back(in.At(s, x, z));
                out.At(s, y, z) = float(in.At(s, y, z) - LevelOf(window, median));
            }
    }
    return out;
}

} // namespace

TEST_P(SlidingBackground, TakesTheLevelOfEachWindowOffWithinTheValidRange) {
    for (const auto& [samples, ascans] :
         {std::pair(16, 40), std::pair(70, 43), std::pair(33, 7), std::pair(5, 1), std::pair(1, 64)}) {
        Block in = NoiseBlock(samples, ascans, 3, 10, 100);
        for (std::size_t i = 0; i < in.data.size(); i += 3) in.data[i] = 95; // equal ones
        in.props.bscanInfo[1] = {ascans / 3, ascans / 2};
        in.props.bscanInfo[2] = {0, 0};
        for (const int half : {1, 2, 5, 19, 200})
            for (const bool median : {false, true}) {
                const Block out = Executed(Sliding(2 * half * 0.005f, median), in);
                const double rounding = (median ? 110 : 220) * kFloatEpsilon; // of the result; and of the mean
                EXPECT_TRUE(AllNear(out.data, Reference(in, half, median).data, in.data.size(), rounding))
                    << samples << " " << ascans << " " << half << " " << median;
            }
    }
}

TEST_P(SlidingBackground, LargeBscansGetTheBitsOfTheirDepthsWhereverTheyLie) {
    const Block large = NoiseBlock(512, 1100, 1); // written past the caches
    Block few(ImageProps(6, 1100, 1));
    for (int y = 0; y < 1100; ++y) std::copy_n(&large.data[y * 512 + 506], 6, &few.At(0, y));
    const Block expected = Executed(Sliding(0.1f, false), few);
    std::vector<float> memory(large.data.size() + 32);
    for (const int offset : {0, 1, 11}) {
        const auto misplaced = reinterpret_cast<std::size_t>(memory.data()) / sizeof(float) % 16;
        float* const out = memory.data() + (16 - misplaced) + offset;
        Sliding(0.1f, false).Execute(large.data.data(), large.props, out, large.props);
        for (int y = 0; y < 1100; ++y)
            for (int s = 0; s < 6; ++s) ASSERT_EQ(out[y * 512 + 506 + s], expected.At(s, y)) << offset << " " << y;
    }
}

TEST_P(SlidingBackground, KeepsANaNWithinTheWindowsThatHoldItAtItsDepth) {
    Block in = NoiseBlock(20, 30, 1);
    const Block clean = in;
    in.At(7, 12) = NAN;
    for (const bool median : {false, true}) {
        const Block out = Executed(Sliding(0.04f, median), in), without = Executed(Sliding(0.04f, median), clean);
        for (int y = 0; y < 30; ++y)
            for (int s = 0; s < 20; ++s) {
                if (s != 7 || std::abs(y - 12) > 4)
                    EXPECT_EQ(out.At(s, y), without.At(s, y));
                else
                    EXPECT_EQ(std::isnan(out.At(s, y)), y == 12 || !median);
            }
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(SlidingBackground);

TEST(SlidingBackgroundScene, FollowsGroundWhoseBackgroundChangesWhereOneLevelForTheLineDoesNot) {
    const FreshStatics statics;
    Block in(ImageProps(64, 400, 1));
    for (int y = 0; y < 400; ++y)
        for (int s = 0; s < 64; ++s)
            in.At(s, y) = (y < 200 ? 1.f : -2.f) * std::sin(0.3f * s) + (y == 100 && s == 30 ? 5.f : 0.f);
    const Block mean = Executed(Sliding(0.2f, false), in), median = Executed(Sliding(0.2f, true), in);
    for (int s = 0; s < 64; ++s)
        for (int y = 0; y < 400; ++y) {
            const bool echo = y == 100 && s == 30;
            EXPECT_NEAR(median.At(s, y), echo ? 5 : 0, 1e-5);
            if (echo || std::abs(y - 200) <= 20) continue;
            EXPECT_NEAR(mean.At(s, y), s == 30 && std::abs(y - 100) <= 20 ? -5. / 41 : 0, 1e-5); // its shadow
        }
}

TEST(SlidingBackgroundContract, RefusesAWindowOfNoLengthAndReadsItsKeys) {
    const FreshStatics statics;
    const Block in = NoiseBlock(8, 4, 2);
    for (const float window : {0.f, -1.f, NAN})
        EXPECT_EQ(Failure([&] { Executed(Sliding(window, false), in); }), "-9/0 TZM::Exception::valueSmallerEqualZero");
    AlgoSlidingBackground algorithm;
    const auto& params = FreshStatics::Parsed(algorithm, "{'SlidingBackground': {'Window': 3.5, 'Median': true}}");
    EXPECT_EQ(params.window.value, 3.5f);
    EXPECT_TRUE(params.median.value);
}

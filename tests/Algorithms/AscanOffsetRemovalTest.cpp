#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"

#include <gtest/gtest.h>

#include "support/Near.h"
#include "support/Scenes.h"

using namespace TZM;

TEST(AscanOffsetRemoval, SubtractsTheMeanOfEveryAscan) {
    Block in = NoiseBlock(301, 7, 3, 1000, 5000);
    in.props.bscanInfo[1] = BscanInfo(); // a B-scan without valid A-scans is treated like any other
    const Block out = Executed(AlgoAscanOffsetRemoval(), in);
    for (int z = 0; z < 3; ++z)
        for (int y = 0; y < 7; ++y) {
            double mean = 0;
            for (int s = 0; s < 301; ++s) mean += in.At(s, y, z) / 301.;
            for (int s = 0; s < 301; ++s) // the mean and the difference are rounded once each
                ASSERT_NEAR(out.At(s, y, z), in.At(s, y, z) - mean, 6000 * kFloatEpsilon);
        }
}

TEST(AscanOffsetRemoval, ConstantAndSingleSamplesBecomeExactZeros) {
    for (const Block& in : {NoiseBlock(1, 5, 2), Block(ImageProps(77, 5, 2), 0.1f)})
        EXPECT_EQ(Executed(AlgoAscanOffsetRemoval(), in).data, std::vector<float>(in.data.size()));
}

#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"

#include <gtest/gtest.h>

#include "Framework/CalcError.h"
#include "support/Near.h"
#include "support/Noise.h"
#include "support/Scenes.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

Block NoiseBlock(int samples, int ascans, int bscans, float offset) {
    Block block(ImageProps(samples, ascans, bscans));
    Noise noise(7);
    for (float& v : block.data) v = offset + 1000 * noise();
    return block;
}

} // namespace

TEST(AscanOffsetRemoval, SubtractsTheMeanOfEveryAscan) {
    Block in = NoiseBlock(301, 7, 3, 5000);
    in.props.bscanInfo[1] = BscanInfo(); // a B-scan without valid A-scans is treated like any other
    const Block before = in;
    const Block out = Executed(AlgoAscanOffsetRemoval(), in);
    for (int z = 0; z < 3; ++z)
        for (int y = 0; y < 7; ++y) {
            double mean = 0;
            for (int s = 0; s < 301; ++s) mean += in.At(s, y, z) / 301.;
            for (int s = 0; s < 301; ++s) // the mean and the difference are rounded once each
                ASSERT_NEAR(out.At(s, y, z), in.At(s, y, z) - mean, 6000 * kFloatEpsilon);
        }
    EXPECT_EQ(in.data, before.data);
}

TEST(AscanOffsetRemoval, ConstantAndSingleSamplesBecomeExactZeros) {
    const Block single = Executed(AlgoAscanOffsetRemoval(), NoiseBlock(1, 5, 2, 3));
    const Block constant = Executed(AlgoAscanOffsetRemoval(), Block(ImageProps(77, 5, 2), 0.1f));
    for (const float v : single.data) EXPECT_EQ(v, 0.f);
    for (const float v : constant.data) EXPECT_EQ(v, 0.f);
}

TEST(AscanOffsetRemoval, KeepsANaNToItsAscan) {
    Block in = NoiseBlock(64, 3, 1, 0);
    in.At(5, 1) = NAN;
    const Block out = Executed(AlgoAscanOffsetRemoval(), in);
    for (int s = 0; s < 64; ++s) {
        EXPECT_TRUE(std::isnan(out.At(s, 1)));
        EXPECT_FALSE(std::isnan(out.At(s, 0)) || std::isnan(out.At(s, 2)));
    }
}

TEST(AscanOffsetRemoval, GivesTheSameOnAnyNumberOfThreads) {
    const Block in = NoiseBlock(100, 9, 11, 50);
    const auto run = [&] { return Executed(AlgoAscanOffsetRemoval(), in).data; };
    EXPECT_EQ(OnThreads(1, run), OnThreads(4, run));
}

TEST(AscanOffsetRemoval, RefusesEmptyAndUncountableBlocks) {
    const auto told = [](const Exception::CalcError& e) { return std::to_string(e.GetCode()) + " " + e.GetMessage(); };
    const auto execute = [](int samples, int ascans, int bscans) {
        const ImageProps props(samples, ascans, bscans);
        AlgoAscanOffsetRemoval().Execute(nullptr, props, nullptr, props);
    };
    const std::string refused = "99 IPP::Exception::ippsCopy_32f";
    EXPECT_EQ(Caught<Exception::CalcError>([&] { execute(0, 4, 5); }, told), refused);
    EXPECT_EQ(Caught<Exception::CalcError>([&] { execute(8, 0, 5); }, told), refused);
    EXPECT_EQ(Caught<Exception::CalcError>([&] { execute(8, 4, 0); }, told), refused);
    const auto status = [](const Exception::CalcError& e) { return e.GetIppException().GetStatus(); };
    EXPECT_EQ(Caught<Exception::CalcError>([&] { execute(65536, 65536, 2); }, status), -2);
    EXPECT_EQ(Caught<Exception::CalcError>([&] { execute(-8, -4, 1); }, status), -2);
}

TEST(AscanOffsetRemoval, BearsItsDefaultNameAndKeepsTheShape) {
    EXPECT_EQ(AlgoAscanOffsetRemoval().GetLogPrefix(), "OffsetRemoval");
    ImageProps props(8, 4, 2);
    props.bscanInfo[1] = {1, 2};
    const ImageProps same = AlgoAscanOffsetRemoval().GetAdjustedImageDimensions(props);
    EXPECT_EQ(same.samplesPerAscan, 8);
    EXPECT_EQ(same.bscanInfo[1].firstValidIdx, 1);
    EXPECT_EQ(same.bscanInfo[1].validLen, 2);
}

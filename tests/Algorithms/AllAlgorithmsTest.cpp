// What all algorithms promise alike, and those that tell channels apart together on the scene of an array.
#include <gtest/gtest.h>

#include "support/AllAlgorithms.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

int ReflectorSample(const Block& block, int y, int z) {
    int at = 100;
    for (int s = at; s < block.props.samplesPerAscan; ++s)
        if (block.At(s, y, z) > block.At(at, y, z)) at = s;
    return at;
}

} // namespace

TEST(AllAlgorithms, LevelsAFlatReflectorAcrossTheChannelsOfAnArray) {
    const FreshStatics statics("{'TimeZeroDetection': {'ChannelOffsets': {'TX2RX1': -3, 'TX2RX3': -3}}}");
    AlgoBistaticCorrection correction;
    correction.Setup(AlgoParamBistaticCorrection(true, 1, 1, kPermittivity, kAntennaOffset));
    for (const auto& [channels, bscans] : {std::pair(5, 10), std::pair(7, 14)}) {
        AlgoTimeZeroDetection timeZero;
        const Block aligned = Executed(timeZero, ArrayScene(channels, bscans));
        EXPECT_EQ(timeZero.GetNewOutProps().samplesPerAscan, 512 - 36);
        const Block corrected = Executed(correction, aligned);
        const Block levelled = Executed(AlgoEnergyCorrection(), corrected);
        for (int z = 0; z < bscans; ++z) {
            const bool bistatic = z % channels % 2 == 1;
            EXPECT_NEAR(ReflectorSample(aligned, 4, z), kReflectorSample + (bistatic ? 6 : 0), 1) << z;
            for (int y = 0; y < 12; ++y) EXPECT_NEAR(ReflectorSample(levelled, y, z), kReflectorSample, 1) << z;
            if (bistatic) {
                const double beside = (Energy(levelled, z - 1) + Energy(levelled, z + 1)) / 2;
                EXPECT_NEAR(Energy(levelled, z), beside, 1e-6 * beside);
                EXPECT_LT(Energy(corrected, z), 0.8 * beside);
            }
        }
    }
}

TEST(AllAlgorithms, GiveTheSameOnAnyNumberOfThreadsAndLeaveTheInputAlone) {
    const Block in = ArrayScene(5, 35), before = in;
    for (const Row& row : AllAlgorithms()) {
        const auto run = [&] { return Executed(*row.algorithm, in).data; };
        const auto alone = OnThreads(1, run);
        EXPECT_NE(alone, in.data);
        EXPECT_EQ(OnThreads(2, run), alone);
        EXPECT_EQ(OnThreads(8, run), alone);
    }
    EXPECT_EQ(in.data, before.data);
}

TEST(AllAlgorithms, KeepANaNToTheAscansThatItReaches) {
    for (const Row& row : AllAlgorithms()) {
        if (row.reached < 0) continue;
        Block in = ArrayScene(5, 5);
        const Block clean = Executed(*row.algorithm, in);
        in.At(300, 4, 2) = NAN;
        const Block out = Executed(*row.algorithm, in);
        const auto weaker = [](float a, float b) { return std::abs(a) < std::abs(b); };
        const float rounding = 1e-6f * std::abs(*std::max_element(clean.data.begin(), clean.data.end(), weaker));
        const auto same = [&](float a, float b) { return std::abs(a - b) <= rounding; }; // A-scans share transforms
        int changed = 0, notNumbers = 0;
        for (auto a = out.data.begin(), b = clean.data.begin(); a != out.data.end(); b += out.props.samplesPerAscan) {
            const auto end = a + out.props.samplesPerAscan;
            changed += !std::equal(a, end, b, same);
            notNumbers += std::any_of(a, end, [](float v) { return std::isnan(v); });
            a = end;
        }
        const AlgoBase& algorithm = *row.algorithm;
        EXPECT_EQ(changed, row.reached) << typeid(algorithm).name();
        EXPECT_EQ(notNumbers, row.reached) << typeid(algorithm).name();
    }
}

TEST(AllAlgorithms, ParametersOfTheLogAloneAreGivenAsAList) {
    const AlgoParamAscanOffsetRemoval offset = {false, 2};
    const AlgoParamTimeZeroDetection detection = {false, 2};
    const AlgoParamEnergyCorrection energy = {false, 2};
    const AlgoParamMig2Post envelope = {false, 2};
    for (const AlgoParamBase* params :
         {static_cast<const AlgoParamBase*>(&offset), static_cast<const AlgoParamBase*>(&detection),
          static_cast<const AlgoParamBase*>(&energy), static_cast<const AlgoParamBase*>(&envelope)})
        EXPECT_TRUE(!params->enableLogging && params->loggingLevel == 2);
    EXPECT_TRUE(AlgoParamAscanOffsetRemoval().enableLogging);
}

TEST(AllAlgorithms, RefuseBlocksThatAreEmptyUncountableOrWithoutMemoryOrChannels) {
    const Block scene = ArrayScene(5, 5);
    for (const Row& row : AllAlgorithms()) {
        const auto refusal = [&](int samples, int ascans, int bscans, const float* in = nullptr) {
            const ImageProps props(samples, ascans, bscans);
            return Failure([&] { row.algorithm->Execute(in, props, nullptr, props); });
        };
        for (const int bscans : row.channels ? std::vector<int>{1, 6, 12} : std::vector<int>())
            EXPECT_EQ(refusal(512, 4, bscans), "-11/0 TZM::Exception::unexpectedBscanCount");
        EXPECT_EQ(refusal(512, 4, 0), row.noBscans);
        EXPECT_EQ(refusal(512, 0, 5), row.noAscans);
        EXPECT_EQ(refusal(0, 4, 5), row.noSamples);
        EXPECT_EQ(refusal(65536, 65536, 5), "99/-2 The block has too many elements for its index");
        EXPECT_EQ(refusal(-8, -4, 5), "99/-2 A dimension of the block is negative");
        for (const float* in : {static_cast<const float*>(nullptr), scene.data.data()})
            EXPECT_EQ(refusal(512, 12, 5, in), "99/-8 The block has no memory");
    }
}

TEST(AllAlgorithms, TreatLargeBscansLikeSmallOnes) {
    const Block small = ArrayScene(5, 5);
    Block large(ImageProps(512, 300, 5)); // the same A-scans many times; written past the caches
    for (int z = 0; z < 5; ++z)
        for (int y = 0; y < 300; ++y) std::copy_n(&small.data[(z * 12 + y % 12) * 512], 512, &large.At(0, y, z));
    for (const Row& row : AllAlgorithms()) {
        if (!row.channels) continue;
        const Block expected = Executed(*row.algorithm, small), out = Executed(*row.algorithm, large);
        for (int i = 0; i < 5 * 300; ++i) { // energies are sums in another order
            const float* same = &expected.data[(i / 300 * 12 + i % 300 % 12) * 512];
            for (int s = 0; s < 512; ++s) ASSERT_FLOAT_EQ(out.data[i * 512 + s], same[s]);
        }
    }
}

// What all algorithms promise alike, and those that tell channels apart together on the scene of an array.
#include <gtest/gtest.h>

#include <memory>

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Gain/AlgoAutoGain.h"
#include "Algorithms/Gain/AlgoDepthGaining.h"
#include "Algorithms/Gain/AlgoEnergyCorrection.h"
#include "Algorithms/Gain/AlgoNormalizationBscan.h"
#include "Algorithms/Gain/AlgoNormalizationCscan.h"
#include "Algorithms/Gain/AlgoSetContrastBscan.h"
#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/AlgoGazdagMigration.h"
#include "Algorithms/Migration/AlgoKirchhoffMigration.h"
#include "Algorithms/Migration/AlgoMig2Post.h"
#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"
#include "Algorithms/Preparation/AlgoBistaticCorrection.h"
#include "Algorithms/Preparation/AlgoBistaticReplacement.h"
#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Algorithms/Reduction/AlgoBorderClearing.h"
#include "Algorithms/Reduction/AlgoHorizontalSumUp.h"
#include "Algorithms/Reduction/AlgoVerticalSumUp.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

constexpr double kAntennaOffset = 0.3; // metres
constexpr double kPermittivity = 6;
constexpr int kReflectorSample = 200; // two-way travel time of a single antenna, in samples
constexpr int kLead = 3;              // samples from the emission to the centre of the direct wave's negative lobe

// An array over a flat reflector: each pair of antennas starts at a sample of its own; a bistatic one, at the mean of
// its neighbours, hears everything later by its antenna offset, and at half the amplitude.
Block ArrayScene(int channels, int bscans) {
    const int starts[] = {30, 36, 27, 33};
    const double offset = kAntennaOffset * std::sqrt(kPermittivity) / kSpeedOfLight / 5e-11; // samples
    Block scene(ImageProps(512, 12, bscans));
    Noise noise(2);
    for (int z = 0; z < bscans; ++z) {
        const int c = z % channels;
        const bool bistatic = c % 2 == 1;
        const int start = bistatic ? (starts[c / 2] + starts[c / 2 + 1]) / 2 : starts[c / 2];
        const double direct = start + kLead + (bistatic ? offset : 0);
        const double reflected = start + (bistatic ? std::hypot(kReflectorSample, offset) : kReflectorSample);
        for (int y = 0; y < 12; ++y)
            for (int s = 0; s < 512; ++s)
                scene.At(s, y, z) =
                    20 * noise() + (bistatic ? 0.5 : 1.) * (-20000 * std::exp(-std::pow((s - direct) / 2, 2)) +
                                                            3000 * Ricker((s - reflected) * 5e-11, 6e8));
    }
    return scene;
}

int ReflectorSample(const Block& block, int y, int z) {
    int at = 100;
    for (int s = at; s < block.props.samplesPerAscan; ++s)
        if (block.At(s, y, z) > block.At(at, y, z)) at = s;
    return at;
}

struct Row {
    std::shared_ptr<AlgoBase> algorithm;
    int reached; // A-scans of 5 x 12 that a NaN in one of a monostatic B-scan reaches; -1: it is refused, or an extreme
    bool channels;
    std::string noBscans, noAscans, noSamples; // what it says to such a block
};

std::vector<Row> AllAlgorithms() {
    auto replacement = std::make_shared<AlgoBistaticReplacement>();
    replacement->GetParams().enabled = true;
    auto mean = std::make_shared<AlgoBgRemoval>();
    mean->GetParams().algorithm = static_cast<AlgoParamBgRemoval::AlgoType>(4);
    auto depth = std::make_shared<AlgoDepthGaining>();
    depth->Setup(AlgoParamDepthGaining(true, 1, 0, -1, -1, 1, 2, 3));
    auto horizontal = std::make_shared<AlgoHorizontalSumUp>();
    horizontal->Setup(AlgoParamHorizontalSumUp(true, 1, 3, false));
    auto vertical = std::make_shared<AlgoVerticalSumUp>();
    vertical->Setup(AlgoParamVerticalSumUp(true, 1, 3, false));
    auto clearing = std::make_shared<AlgoBorderClearing>();
    clearing->GetParams().borders = BorderWidths{0, 0, 0, 0, 10, 0};
    const std::string copy = "99/-6 IPP::Exception::ippsCopy_32f", range = "99/-6 IPP::Exception::ippsMinMax_32f",
                      bounds = "99/-2 Index exceeds IPP::Array3D bounds", zero = "99/-6 IPP::Exception::ippsZero_32f";
    return {{std::make_shared<AlgoAscanOffsetRemoval>(), 1, false, copy, copy, copy},
            {std::make_shared<AlgoTimeZeroDetection>(), 1, true, copy, copy, copy},
            {std::make_shared<AlgoBistaticCorrection>(), 1, true, copy, copy, copy},
            {replacement, 1, true, copy, copy, copy},
            {std::make_shared<AlgoEnergyCorrection>(), 1 + 2 * 12, true, copy, copy, copy}, // its neighbours
            {mean, 12, true, copy, copy, copy},
            {std::make_shared<AlgoAutoGain>(), -1, true, zero, zero, zero},
            {depth, 1, false, copy, copy, copy},
            {std::make_shared<AlgoSetContrastBscan>(), 1, true, zero, zero, zero},
            {std::make_shared<AlgoNormalizationBscan>(), -1, false, "none", "none", "none"},
            {std::make_shared<AlgoNormalizationCscan>(), -1, false, range, range, range},
            {horizontal, 3 * 1, false, copy, copy, copy},
            {vertical, 1, false, copy, copy, copy},
            {clearing, 1, false, copy, copy, copy},
            {std::make_shared<AlgoFkMigration>(), 12, false, bounds, bounds, bounds},
            {std::make_shared<AlgoGazdagMigration>(), 12, false, bounds, bounds, bounds},
            {std::make_shared<AlgoKirchhoffMigration>(), 12, false, zero, zero, zero},
            {std::make_shared<AlgoMig2Post>(), 1, false, range, range, "bad_alloc"}};
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
        int changed = 0, notNumbers = 0;
        for (auto a = out.data.begin(), b = clean.data.begin(); a != out.data.end(); b += out.props.samplesPerAscan) {
            const auto end = a + out.props.samplesPerAscan;
            changed += !std::equal(a, end, b);
            notNumbers += std::any_of(a, end, [](float v) { return std::isnan(v); });
            a = end;
        }
        const AlgoBase& algorithm = *row.algorithm;
        EXPECT_EQ(changed, row.reached) << typeid(algorithm).name();
        EXPECT_EQ(notNumbers, row.reached) << typeid(algorithm).name();
    }
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

// The algorithms that tell channels apart, together on array scenes, and the contract that they share.
#include <gtest/gtest.h>

#include <memory>

#include "Algorithms/Gain/AlgoEnergyCorrection.h"
#include "Algorithms/Preparation/AlgoBistaticCorrection.h"
#include "Algorithms/Preparation/AlgoBistaticReplacement.h"
#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Framework/CalcError.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Noise.h"
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

double Energy(const Block& block, int z) {
    double energy = 0;
    for (int y = 0; y < block.props.ascansPerBscan; ++y)
        for (int s = 0; s < block.props.samplesPerAscan; ++s) energy += std::pow(block.At(s, y, z), 2);
    return energy;
}

std::vector<std::unique_ptr<AlgoBase>> AllFour() {
    std::vector<std::unique_ptr<AlgoBase>> all;
    all.push_back(std::make_unique<AlgoTimeZeroDetection>());
    all.push_back(std::make_unique<AlgoBistaticCorrection>());
    auto replacement = std::make_unique<AlgoBistaticReplacement>();
    replacement->GetParams().enabled = true;
    all.push_back(std::move(replacement));
    all.push_back(std::make_unique<AlgoEnergyCorrection>());
    return all;
}

} // namespace

TEST(Preparation, LevelsAFlatReflectorAcrossTheChannelsOfAnArray) {
    const FreshStatics statics;
    AlgoBase::SetConfigString("{\"TimeZeroDetection\": {\"ChannelOffsets\": {\"TX2RX1\": -3, \"TX2RX3\": -3}}}");
    AlgoBistaticCorrection correction;
    correction.GetParams().permittivity = kPermittivity;
    correction.GetParams().antennaOffset = kAntennaOffset;
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

TEST(Preparation, GivesTheSameOnAnyNumberOfThreadsAndLeavesTheInputAlone) {
    const Block in = ArrayScene(5, 35);
    const Block before = in;
    for (const auto& algo : AllFour()) {
        const auto run = [&] { return Executed(*algo, in).data; };
        const auto alone = OnThreads(1, run);
        EXPECT_NE(alone, in.data);
        EXPECT_EQ(OnThreads(2, run), alone);
        EXPECT_EQ(OnThreads(8, run), alone);
    }
    EXPECT_EQ(in.data, before.data);
}

TEST(Preparation, RefusesBlocksWithoutChannelsAndEmptyOnes) {
    const auto told = [](const Exception::CalcError& e) { return std::to_string(e.GetCode()) + " " + e.GetMessage(); };
    for (const auto& algo : AllFour())
        for (const int threads : {1, 2, 8}) {
            const auto refusal = [&](int samples, int ascans, int bscans) {
                const ImageProps props(samples, ascans, bscans); // no memory, which nobody asks for
                return OnThreads(threads, [&] {
                    return Caught<Exception::CalcError>([&] { algo->Execute(nullptr, props, nullptr, props); }, told);
                });
            };
            for (const int bscans : {1, 6, 12})
                EXPECT_EQ(refusal(512, 4, bscans), "-11 TZM::Exception::unexpectedBscanCount");
            EXPECT_EQ(refusal(512, 4, 0), "99 IPP::Exception::ippsCopy_32f");
            EXPECT_EQ(refusal(512, 0, 5), "99 IPP::Exception::ippsCopy_32f");
            EXPECT_EQ(refusal(0, 4, 5), "99 IPP::Exception::ippsCopy_32f");
        }
}

TEST(Preparation, TreatsLargeBscansLikeSmallOnes) {
    const FreshStatics statics;
    const Block small = ArrayScene(5, 5);
    Block large(ImageProps(512, 300, 5)); // the same A-scans many times; written past the caches
    for (int z = 0; z < 5; ++z)
        for (int y = 0; y < 300; ++y)
            for (int s = 0; s < 512; ++s) large.At(s, y, z) = small.At(s, y % 12, z);
    for (const auto& algo : AllFour()) {
        const Block expected = Executed(*algo, small), out = Executed(*algo, large);
        for (int z = 0; z < 5; ++z)
            for (int y = 0; y < 300; ++y)
                for (int s = 0; s < 512; ++s) // energies are sums in another order
                    ASSERT_FLOAT_EQ(out.At(s, y, z), expected.At(s, y % 12, z));
    }
}

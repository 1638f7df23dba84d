#include "Scene.h"

#include "Progress.h"

#include "Chain/Chain.h"
#include "Recording/private/Checksum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace tzmchain;
using namespace TZM;

namespace {

/// A slab with nothing but the given bars in it: no direct wave, ringing, noise or back wall.
Scene OnlyBars(std::vector<BarLayer> bars) {
    Scene scene;
    scene.lanes = 1;
    scene.bars = std::move(bars);
    scene.backWallReflectance = scene.directAmplitude = scene.ringingAmplitude = scene.noise = scene.wander = 0;
    return scene;
}

/// Middle between the negative and the positive lobe of the strongest echo, in samples: where its travel time ends.
double ArrivalSample(const Recording& recording, int ascan, int bscan) {
    const float* trace = recording.Bscan(bscan) + std::int64_t{ascan} * recording.size.samples;
    const auto [low, high] = std::minmax_element(trace, trace + recording.size.samples);
    return (static_cast<double>(low - trace) + static_cast<double>(high - trace)) / 2;
}

} // namespace

TEST(Scene, BarsStandWhereTheirTravelTimesSayInEveryPair) {
    // One bar across at x = 0.75 m, 0.3 m deep; v = 3e8 / sqrt(9) = 0.1 m/ns, a sample is 0.005 m of path.
    Scene scene = OnlyBars({{true, 0.3, 0.75, 100, 1}});
    scene.permittivity = 9;
    const Recording recording = Record(scene);
    const double mono = 0.6,
                 bistatic = std::sqrt(0.6 * 0.6 + 0.1 * 0.1); // the elements of a bistatic pair are 0.1 m apart
    const double apex[5] = {mono, bistatic, mono, bistatic, mono};
    for (int channel = 0; channel < 5; ++channel) {
        const double zero = TimeZero(scene, kPairs[channel]);
        EXPECT_NEAR(ArrivalSample(recording, 150, channel), zero + apex[channel] / 0.005, 0.51) << channel;
        const double slant = std::hypot(0.3, 0.25); // 50 A-scans away
        const double path = channel % 2 == 0 ? 2 * slant : std::hypot(2 * slant, 0.1);
        EXPECT_NEAR(ArrivalSample(recording, 100, channel), zero + path / 0.005, 0.51) << channel;
        EXPECT_NEAR(ArrivalSample(recording, 200, channel), zero + path / 0.005, 0.51) << channel;
    }
}

TEST(Scene, BarsAlongTheScanAreFlatAndDifferFromPairToPair) {
    Scene scene = OnlyBars({{false, 0.3, 0.1, 100, 1}}); // below the second element
    scene.permittivity = 9;
    const Recording recording = Record(scene);
    const double aside = std::hypot(0.3, 0.1);
    const double path[5] = {2 * aside, aside + 0.3, 0.6, 0.3 + aside, 2 * aside};
    for (int channel = 0; channel < 5; ++channel)
        for (const int ascan : {0, 150, 299})
            EXPECT_NEAR(ArrivalSample(recording, ascan, channel),
                        TimeZero(scene, kPairs[channel]) + path[channel] / 0.005, 0.51);
}

TEST(Scene, GivesSixteenBitCountsThatAreAlwaysTheSame) {
    Scene scene;
    scene.lanes = 1, scene.ascans = 20;
    const Recording recording = Record(scene);
    EXPECT_EQ(recording.size.bscans, 5);
    const float* x = recording.data.get();
    EXPECT_TRUE(std::all_of(x, x + recording.size.Count(),
                            [](float v) { return v == std::round(v) && v >= -32768 && v <= 32767; }));
    const auto bytes = static_cast<std::size_t>(recording.size.Count()) * sizeof(float);
    EXPECT_EQ(ChecksumOf(x, bytes), ChecksumOf(Record(scene).data.get(), bytes));
    scene.seed = 2;
    EXPECT_NE(ChecksumOf(x, bytes), ChecksumOf(Record(scene).data.get(), bytes));
}

TEST(Scene, ImagesBarAndBackWallAtOnePlaceInAllChannelsFromTheirCounts) {
    Scene scene;
    scene.lanes = 1;
    scene.permittivity = 9; // 0.005 m of depth per two samples
    scene.bars = {{true, 0.30, 0.75, 100, 1}};
    scene.slabThickness = 0.80;
    Recording recording = Record(scene);
    recording.startTime = 3e-9; // told by no sidecar: time counts from what is found
    ChainChoice choice;
    choice.migration = "FkMigration"; // each channel for itself
    Chain chain = Chain::Standard(recording, choice);
    EXPECT_TRUE(chain.Settle(recording, {}).empty());
    const RunResult result = chain.Run(recording);
    const Recording& image = result.image;

    EXPECT_EQ(result.steps[1].shifts, (std::vector<int>{40, 43, 44, 42, 38})); // those of Scene
    EXPECT_TRUE((image.size == Dimensions{512 - 44, 300, 5}));
    EXPECT_EQ(image.FirstTime(), 0);
    EXPECT_EQ(image.timeZero, 0);
    std::vector<float> levels;
    for (int channel = 0; channel < 5; ++channel) {
        float bar = 0, wall = 0;
        int place[2] = {}, wallDepth = 0;
        for (int y = 120; y < 180; ++y)
            for (int s = 60; s < 380; ++s) {
                const float value = image.Bscan(channel)[y * image.size.samples + s];
                if (s < 200 && value > bar) bar = value, place[0] = y, place[1] = s;
                if (s > 280 && y == 150 && value > wall) wall = value, wallDepth = s;
            }
        EXPECT_NEAR(place[0], 150, 1) << channel;
        EXPECT_NEAR(place[1], 120, 1) << channel;
        EXPECT_NEAR(wallDepth, 320, 1) << channel;
        levels.push_back(wall);
    }
    // The gains alone leave bistatic echoes at half the level of their neighbours. Levels go by the direct wave, which
    // is weaker between elements farther apart by the root of 2, so that echoes end up that much above.
    for (const int bistatic : {1, 3}) {
        const float neighbours = (levels[bistatic - 1] + levels[bistatic + 1]) / 2;
        EXPECT_NEAR(levels[bistatic] / neighbours, 1.25, 0.25) << bistatic;
    }
}

TEST(Progress, ReckonsTheTimeLeftFromTheTasksThatAreDone) {
    EXPECT_LT(EstimateRest(0, 0, 10, 5, 100).secondsLeft, 0); // nothing to go by
    EXPECT_DOUBLE_EQ(EstimateRest(0, 0, 90, 5, 100, 0.5).secondsLeft, 5 / 45. * 55); // a first task that tells
    const Estimate rest = EstimateRest(20, 2, 10, 0.5, 100);  // 0.1 s per unit: 5 of the task's 10 are done
    EXPECT_DOUBLE_EQ(rest.share, 0.25);
    EXPECT_DOUBLE_EQ(rest.secondsLeft, 7.5);
    EXPECT_DOUBLE_EQ(EstimateRest(20, 2, 10, 100, 100).share, 0.295);     // a late task isn't called done
    EXPECT_DOUBLE_EQ(EstimateRest(20, 2, 10, 0.1, 100, 0.8).share, 0.28); // it told more than its time
}

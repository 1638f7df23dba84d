#include "Scene.h"

#include "Checksum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace tzmchain;

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

#include "Focus/FindTimeZero.h"

#include <gtest/gtest.h>

#include "support/FocusScenes.h"

using namespace TZM;

TEST(FindTimeZero, FindsBothNumbersTogether) {
    for (const unsigned seed : {1u, 4u}) {
        FocusScene scene;
        scene.permittivity = 9;
        scene.seed = seed;
        scene.ascans = 240;
        const TimeZeroFocus found = FindTimeZero(RecordOf(scene));
        ASSERT_EQ(found.verdict, FocusVerdict::Found) << seed;
        EXPECT_NEAR(*found.timeZero, scene.timeZero, 2.5 * *found.error) << seed;
        EXPECT_LT(*found.error, 12) << seed;
        EXPECT_LT(found.breakSpread, 2) << seed;
        ASSERT_TRUE(found.permittivity.permittivity) << seed;
        EXPECT_NEAR(*found.permittivity.permittivity, 9, 2.5 * *found.permittivity.error) << seed;
        EXPECT_LT(*found.permittivity.error, 0.7) << seed;
        EXPECT_LT(found.correlation, 0) << seed; // a later time zero makes the ground faster
    }
}

TEST(FindTimeZero, TakesTheDistanceOfTheAntennasIntoAccount) {
    FocusScene scene;
    scene.targets = 0;
    scene.ascans = 100;
    Recording recording = RecordOf(scene);
    const TimeZeroFocus unknown = FindTimeZero(recording);
    recording.antennaOffset = 0.;
    const double near = *FindTimeZero(recording).timeZero;
    recording.antennaOffset = scene.offset;
    const TimeZeroFocus known = FindTimeZero(recording);
    EXPECT_NEAR(near - *known.timeZero, scene.offset / 0.3 / scene.deltaT, 1e-6);
    EXPECT_LT(*known.error, *unknown.error);
    EXPECT_FALSE(known.focused || known.permittivity.permittivity);
}

TEST(FindTimeZero, GivesNoneWithoutADirectWave) {
    FocusScene scene;
    scene.targets = 0;
    scene.layers = scene.directWave = false;
    const TimeZeroFocus found = FindTimeZero(RecordOf(scene));
    EXPECT_EQ(found.verdict, FocusVerdict::Nothing);
    EXPECT_FALSE(found.timeZero || found.error || found.firstBreak);
    EXPECT_FALSE(found.reason.empty());
}

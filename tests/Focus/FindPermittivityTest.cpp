#include "Focus/FindPermittivity.h"

#include <gtest/gtest.h>

#include "Framework/Cancelled.h"
#include "Recording/Refusal.h"
#include "support/FocusScenes.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

FocusOptions At(const FocusScene& scene) {
    FocusOptions options;
    options.timeZero = scene.timeZero;
    return options;
}

PermittivityFocus FocusOf(const FocusScene& scene) { return FindPermittivity(RecordOf(scene), At(scene)); }

} // namespace

// The full statistics are those of focus_statistics; docs/focus.md keeps them.
TEST(FindPermittivity, FindsWhatDiffractionsWereRecordedWith) {
    int covered = 0, within = 0;
    for (const double permittivity : {6.5, 9., 12.})
        for (const unsigned seed : {1u, 2u, 3u, 4u}) {
            FocusScene scene;
            scene.permittivity = permittivity;
            scene.seed = seed;
            const PermittivityFocus focus = FocusOf(scene);
            ASSERT_EQ(focus.verdict, FocusVerdict::Found) << permittivity << " seed " << seed;
            const double off = std::abs(*focus.permittivity - permittivity);
            EXPECT_LE(off, 0.04 * permittivity) << permittivity << " seed " << seed;
            EXPECT_GT(*focus.error, 0.005 * permittivity);
            EXPECT_LT(*focus.error, 0.08 * permittivity);
            within += off <= 0.02 * permittivity, covered += off <= 2 * *focus.error;
        }
    EXPECT_GE(within, 9);
    EXPECT_GE(covered, 10);
}

TEST(FindPermittivity, GivesNoNumberWhereNothingFocuses) {
    for (const bool layers : {true, false})
        for (const unsigned seed : {1u, 2u, 3u}) {
            FocusScene scene;
            scene.targets = 0;
            scene.layers = layers;
            scene.seed = seed;
            const PermittivityFocus focus = FocusOf(scene);
            EXPECT_EQ(focus.verdict, FocusVerdict::Nothing) << layers << " seed " << seed;
            EXPECT_FALSE(focus.permittivity || focus.error || focus.other);
            EXPECT_FALSE(focus.reason.empty());
            EXPECT_EQ(focus.curve.size(), 40u);
        }
}

TEST(FindPermittivity, TellsTwoAnswersApart) {
    FocusScene scene;
    scene.permittivity = 4.5;
    scene.layers = false;
    const Recording fast = RecordOf(scene);
    scene.permittivity = 13;
    Recording both = RecordOf(scene);
    const std::int64_t half = both.size.Count() / 2;
    std::copy_n(fast.data.get() + half, half, both.data.get() + half);
    const PermittivityFocus focus = FindPermittivity(both, At(scene));
    ASSERT_EQ(focus.verdict, FocusVerdict::Ambiguous) << focus.reason << focus.contrast << " " << focus.chance;
    EXPECT_NEAR(std::min(*focus.permittivity, *focus.other), 4.5, 0.5);
    EXPECT_NEAR(std::max(*focus.permittivity, *focus.other), 13, 1);
}

TEST(FindPermittivity, GivesTheSameOnAnyNumberOfThreads) {
    FocusScene scene;
    scene.ascans = 200;
    const Recording recording = RecordOf(scene);
    const auto find = [&] { return FindPermittivity(recording, At(scene)); };
    const PermittivityFocus one = OnThreads(1, find), four = OnThreads(4, find);
    EXPECT_EQ(one.permittivity, four.permittivity);
    EXPECT_EQ(one.error, four.error);
    for (std::size_t i = 0; i < one.curve.size(); ++i) EXPECT_EQ(one.curve[i].focus, four.curve[i].focus);
}

TEST(FindPermittivity, RefusesWhatCantBeSearched) {
    FocusScene scene;
    scene.targets = 1;
    Recording recording = RecordOf(scene);
    for (const auto& [from, to, count, timeZero] : {std::tuple(0.5, 20., 40, 100.),
                                                    {9., 9., 40, 100.},
                                                    {3., 200., 40, 100.},
                                                    {3., 20., 4, 100.},
                                                    {3., 20., 40, 512.}}) {
        FocusOptions options;
        options.from = from, options.to = to, options.count = count, options.timeZero = timeZero;
        EXPECT_THROW(FindPermittivity(recording, options), Refusal);
    }
    FocusOptions late = At(scene);
    late.timeZero = 490;
    EXPECT_EQ(FindPermittivity(recording, late).verdict, FocusVerdict::Nothing);
    FocusOptions watched = At(scene);
    double last = 0;
    watched.progress = [&](double share) { return last = share, share < 0.3; };
    EXPECT_THROW(FindPermittivity(recording, watched), Exception::Cancelled);
    EXPECT_GE(last, 0.3);
    Recording timed = recording;
    timed.knowsDeltaX = false;
    EXPECT_EQ(FindPermittivity(timed, At(scene)).verdict, FocusVerdict::Nothing);
    recording.data[1000] = NAN;
    EXPECT_THROW(FindPermittivity(recording, At(scene)), Refusal);
}

// Steps that change intervals and places, and what later steps, images and recipes make of it.
#include <gtest/gtest.h>

#include "Algorithms/Preparation/AlgoResample.h"
#include "Chain/Recipe.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"

namespace TZM {
namespace {

Recording Line(int samples, int ascans, int bscans) {
    Recording recording;
    recording.size = {samples, ascans, bscans};
    recording.data = AllocateSamples(recording.size.Count());
    Noise noise;
    for (std::int64_t i = 0; i < recording.size.Count(); ++i) recording.data[i] = noise();
    recording.timeZero = 20;
    recording.permittivity = 9;
    recording.startTime = 3e-9;
    return recording;
}

Chain ResampledAnd(const std::string& algorithm) {
    Chain chain;
    chain.Add("Resample").Set("deltaT", 0.1);
    chain.steps.back().Set("deltaX", 0.0125);
    chain.Add(algorithm);
    return chain;
}

std::string RefusalOf(const Chain& chain, const Recording& recording) {
    try {
        chain.Check(recording);
    } catch (const ChainError& error) {
        return error.step + "." + error.parameter + ": " + error.what();
    }
    return "no refusal";
}

} // namespace

TEST(Grid, AMigrationBehindAResamplingGetsItsIntervalsAndItsTimeZero) {
    const FreshStatics statics;
    Recording recording = Line(201, 81, 2);
    recording.validRanges = {{0, 81}, {5, 60}};
    recording.timeZeros = {20, 22};
    Chain chain = ResampledAnd("FkMigration");
    chain.Settle(recording, {});
    EXPECT_EQ(chain.steps[1].Get("timeZero"), 10);
    EXPECT_EQ(recording.timeZero, 20); // of the recording's samples
    const RunResult result = chain.Run(recording);
    EXPECT_EQ(AlgoBase::GetGlobalSettings().delta_t, 5e-11f); // as before

    ::Block in(recording.Props());
    std::copy_n(recording.data.get(), in.data.size(), in.data.begin());
    const ::Block resampled = Executed(static_cast<const AlgoResample&>(chain.steps[0].Algorithm()), in);
    AlgoBase::GetGlobalSettings() = {1e-10f, 0.0125f};
    const ::Block expected = Executed(chain.steps[1].Algorithm(), resampled);
    const Recording& image = result.image;
    ASSERT_TRUE((image.size == Dimensions{91, 33, 2}));
    for (std::size_t i = 0; i < expected.data.size(); ++i) ASSERT_EQ(image.data[i], expected.data[i]) << i;
    EXPECT_EQ(image.deltaT, 1e-10);
    EXPECT_EQ(image.deltaX, 0.0125);
    EXPECT_EQ(image.timeZero, 0);
    EXPECT_NEAR(image.FirstTime(), 3e-9 + 20 * 5e-11, 1e-20);
    EXPECT_EQ(image.validRanges[1].firstValidIdx, 2);
    EXPECT_EQ(image.validRanges[1].validLen, 24); // old places 5 to 64 are new ones 2 to 25.6
    const Json::Value recipe = RecipeOf(chain, recording.About(), result, {});
    EXPECT_EQ(recipe["image"]["delta_t"], 1e-10);
    EXPECT_EQ(recipe["image"]["delta_x"], 0.0125);
    EXPECT_EQ(recipe["steps"][0]["output"][1], 33);
    EXPECT_EQ(Chain::FromDocument(recipe, "recipe").Document(), chain.Document());
}

TEST(Grid, ATimeZeroIsTheRecordingsWhoeverTellsIt) {
    const FreshStatics statics("{'Global': {'TimeZero': 34}}");
    for (const bool given : {false, true}) {
        Recording recording = Line(201, 81, 5);
        Chain chain = ResampledAnd("BistaticCorrection");
        chain.Add("FkMigration");
        if (given) chain.steps[2].Set("timeZero", 7); // a document tells the sample that the step meets
        chain.Settle(recording, {});
        EXPECT_EQ(chain.steps[1].Get("timeZero"), 17);
        EXPECT_EQ(chain.steps[2].Get("timeZero"), given ? 7 : 10);
        EXPECT_EQ(recording.timeZero, given ? 14 : 20);
    }
    Recording recording = Line(201, 81, 5);
    Chain chain = ResampledAnd("FkMigration");
    chain.Settle(recording, {50, {}, {}});
    EXPECT_EQ(chain.steps[1].Get("timeZero"), 25);
    EXPECT_EQ(recording.timeZero, 50);
}

TEST(Grid, ElevationsComeFromPositionsAtTheAscansThatAStepMeets) {
    const FreshStatics statics;
    Recording recording = Line(201, 81, 2);
    for (const int a : {0, 40, 80}) recording.positions.push_back({0, a, 10. + a, 20, 300 + (a == 40 ? 0.4 : 0)});
    Chain chain = ResampledAnd("Topography");
    chain.Settle(recording, {});
    const Json::Value list = chain.steps[1].Get("elevations");
    ASSERT_EQ(list.size(), 2u * 33);
    for (int a = 0; a < 33; ++a) {
        const double expected = 300 + 0.4 * (1 - std::abs(a * 2.5 - 40) / 40);
        EXPECT_NEAR(list[a].asDouble(), expected, 2e-5); // of a 32-bit float
        EXPECT_EQ(list[33 + a], list[a]);                // a line without positions lies like the one ahead of it
    }
    EXPECT_TRUE(chain.Check(recording).empty());
    const RunResult result = chain.Run(recording);
    EXPECT_NEAR(*result.image.datum, 300.4, 1e-5);
    EXPECT_EQ(result.image.size.samples, 101 + 80); // 0.4 m up and down at 0.1 m/ns are 8 ns
    EXPECT_EQ(result.image.timeZero, 10);
    EXPECT_EQ(result.image.positions.size(), 33u);
    EXPECT_NEAR(result.image.positions[1].east, 12.5, 1e-9);
    EXPECT_EQ(RecipeOf(chain, recording.About(), result, {})["image"]["datum"], *result.image.datum);
}

TEST(Grid, TopographyWithoutHeightsOrWithAnotherNumberOfThemIsRefusedInAdvance) {
    const FreshStatics statics;
    Recording recording = Line(100, 30, 2);
    recording.positions = {{0, 0, 1, 2, 0}, {0, 29, 3, 4, 0}};
    Chain chain;
    chain.Add("Topography");
    chain.Settle(recording, {});
    EXPECT_EQ(RefusalOf(chain, recording), "Topography.elevations: Topography needs elevations: the recording tells no "
                                           "heights, and nobody gives a table");
    Json::Value many(Json::arrayValue);
    for (int i = 0; i < 31; ++i) many.append(1.5);
    chain.steps[0].Set("elevations", many);
    EXPECT_NE(RefusalOf(chain, recording).find("has 31 elevations for 100 x 30 x 2 samples"), std::string::npos);
    EXPECT_THROW(chain.steps[0].Set("elevations", "high"), ChainError);
    many.clear();
    many.append(3);
    chain.steps[0].Set("elevations", many);
    chain.steps[0].Set("datum", 1);
    EXPECT_NE(RefusalOf(chain, recording).find("leaves nothing of 100 x 30 x 2 samples"), std::string::npos);
}

} // namespace TZM

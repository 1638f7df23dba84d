#include "Chain.h"

#include "Progress.h"
#include "Refusal.h"
#include "Scene.h"
#include "Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace tzmchain;

namespace {

Chain Parse(const std::string& text) { return Chain::FromDocument(ParseJson(text, "chain.json"), "chain.json"); }

template <class Action>
std::string RefusalOf(const Action& action) {
    try {
        action();
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "no refusal";
}

Recording Block(Dimensions size) {
    Recording recording;
    recording.size = size;
    recording.data = AllocateSamples(size.Count());
    for (std::int64_t i = 0; i < size.Count(); ++i) recording.data[i] = std::sin(0.01f * static_cast<float>(i));
    return recording;
}

Recording RunQuietly(Chain& chain, Recording recording) {
    Progress silent(true, false);
    return chain.Run(std::move(recording), silent);
}

} // namespace

TEST(Chain, TakesAlgorithmsAndParametersFromItsDocument) {
    Chain chain = Parse(R"({"chain": [{"algorithm": "Mig2Post"},
        {"algorithm": "FkMigration", "parameters": {"timeZero": 12, "permittivity": 9, "overlays": "x"}}]})");
    ASSERT_EQ(chain.steps.size(), 2u);
    EXPECT_EQ(chain.steps[0].row->name, "Mig2Post");
    EXPECT_EQ(chain.steps[1].Find("timeZero")->get(), 12);
    EXPECT_EQ(chain.steps[1].Find("permittivity")->get(), 9.0);
    EXPECT_EQ(chain.steps[1].Find("overlays")->get(), "x");
    Json::Value again;
    again["chain"] = chain.Document();
    EXPECT_EQ(Chain::FromDocument(again, "").Document(), chain.Document());
}

TEST(Chain, RefusesAFlawedDocumentInOneLine) {
    const struct {
        const char *document, *told;
    } cases[] = {
        {"[]", "needs a member \"chain\""},
        {R"({"chain": []})", "needs a member \"chain\""},
        {R"({"chain": "FkMigration"})", "needs a member \"chain\""},
        {R"({"chain": [{"algorithm": "Mig2Post"}], "extra": 1})", "unknown member \"extra\""},
        {R"({"chain": ["Mig2Post"]})", "needs a member \"algorithm\""},
        {R"({"chain": [{"parameters": {}}]})", "needs a member \"algorithm\""},
        {R"({"chain": [{"algorithm": "Fk"}]})", "unknown algorithm \"Fk\"; known are OffsetRemoval"},
        {R"({"chain": [{"algorithm": "Mig2Post", "params": {}}]})", "Mig2Post: unknown member \"params\""},
        {R"({"chain": [{"algorithm": "Mig2Post", "parameters": [1]}]})", "\"parameters\" must be an object"},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timezero": 1}}]})",
         "unknown parameter \"timezero\""},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 1.0}}]})", "must be a whole number"},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 3000000000}}]})",
         "must be a whole number"},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"permittivity": "9"}}]})", "must be a number"},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"permittivity": 1e39}}]})", "must be a number"},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"overlays": 1}}]})", "must be text"},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"enableLogging": 1}}]})", "must be true or false"},
    };
    for (const auto& c : cases) {
        const std::string told = RefusalOf([&] { Parse(c.document); });
        EXPECT_NE(told.find(c.told), std::string::npos) << c.document << " gave " << told;
        EXPECT_EQ(told.rfind("chain.json: ", 0), 0u) << told;
    }
}

TEST(Chain, TheDocumentIsOverruledByTheCommandLineButNotByTheRecording) {
    Chain chain = Parse(R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 12}}]})");
    chain.Set("timeZero", 20, false);
    chain.Set("permittivity", 9.0, false);
    EXPECT_EQ(*chain.Given("timeZero"), 12);
    EXPECT_EQ(*chain.Given("permittivity"), 9.0);
    chain.Set("timeZero", 30, true);
    EXPECT_EQ(*chain.Given("timeZero"), 30);
    EXPECT_FALSE(Chain::Standard().Given("timeZero").has_value());
}

TEST(Chain, ReckonsDroppedSamplesIntoTheStartOfTheImage) {
    Chain chain = Chain::Standard();
    chain.Set("timeZero", 10, true);
    Recording recording = Block({64, 16, 5});
    recording.startTime = 1e-9;
    const Recording image = RunQuietly(chain, recording);
    EXPECT_TRUE((image.size == Dimensions{54, 16, 5}));
    EXPECT_DOUBLE_EQ(image.startTime, 1e-9 + 10 * 5e-11);
    ASSERT_EQ(chain.reports.size(), 3u);
    EXPECT_TRUE((chain.reports[2].output == Dimensions{54, 16, 5}));
}

TEST(Chain, ImagesABarOfTheSceneAtItsPlaceAndDepth) {
    Scene scene;
    scene.lanes = 1;
    scene.permittivity = 9; // 0.005 m of depth per two samples
    scene.bars = {{true, 0.30, 0.75, 100, 1}};
    scene.directAmplitude = scene.ringingAmplitude = scene.backWallReflectance = 0;
    const Recording recording = Record(scene);
    Chain chain = Chain::Standard();
    chain.Set("timeZero", *recording.timeZero, true);
    chain.Set("permittivity", *recording.permittivity, true);
    const Recording image = RunQuietly(chain, recording);
    for (const int monostatic : {0, 2, 4}) {
        const float* begin = image.Bscan(monostatic);
        const float* peak = std::max_element(begin, begin + std::int64_t{image.size.samples} * image.size.ascans);
        EXPECT_NEAR(static_cast<double>((peak - begin) / image.size.samples), 150, 1);
        EXPECT_NEAR(static_cast<double>((peak - begin) % image.size.samples), 120, 1);
    }
}

TEST(Chain, GivesASingleLineTheImageOfOneOfFive) {
    Chain chain = Chain::Standard();
    const Recording five = Block({64, 16, 5});
    Recording first = five;
    first.size.bscans = 1;
    const Recording image = RunQuietly(chain, first);
    EXPECT_EQ(chain.reports.front().input.bscans, kCopiesOfSingleLine);
    EXPECT_TRUE((image.size == Dimensions{63, 16, 1}));
    const Recording expected = RunQuietly(chain, five);
    for (int i = 0; i < image.size.Count(); ++i) ASSERT_EQ(image.data[i], expected.data[i]) << i;
}

TEST(Chain, RefusesWhatAnAlgorithmRefuses) {
    Chain chain = Chain::Standard();
    const auto run = [&] { RunQuietly(chain, Block({64, 16, 5})); };
    for (const int timeZero : {64, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        chain.Set("timeZero", timeZero, true);
        EXPECT_NE(RefusalOf(run).find("isn't one of the samples 0 to 63"), std::string::npos);
    }
    chain.Set("timeZero", 1, true);
    chain.Set("permittivity", 0, true);
    EXPECT_NE(RefusalOf(run).find("needs a permittivity above 0"), std::string::npos);
}

TEST(Chain, RefusesAnImageThatIsNotFinite) {
    Chain chain = Parse(R"({"chain": [{"algorithm": "Mig2Post"}]})");
    Recording recording = Block({64, 16, 5});
    std::fill_n(recording.data.get(), recording.size.Count(), 0.0f);
    for (int s = 0; s < 64; ++s) recording.data[s] = s % 2 ? 3e38f : -3e38f;
    EXPECT_NE(RefusalOf([&] { RunQuietly(chain, recording); }), "no refusal");
}

TEST(Chain, TellsWhichKeysOfTheConfigurationAreSkipped) {
    const auto lines = SkippedKeys(ParseJson(
        R"({"FkMigration": {"DipMax": 85, "DipWidth": 5.0, "Dip": 1, "UseDipMask": false}, "Other": {"Key": 1}})", ""));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "FkMigration.Dip is no key of the algorithm and is skipped");
    EXPECT_EQ(lines[1], "FkMigration.DipMax is skipped: it must be written like 85.0");
    EXPECT_TRUE(SkippedKeys(Json::Value()).empty());
}

TEST(Progress, ReckonsTheTimeLeftFromTheTasksThatAreDone) {
    EXPECT_LT(EstimateRest(0, 0, 10, 5, 100).secondsLeft, 0); // nothing to go by
    const Estimate rest = EstimateRest(20, 2, 10, 0.5, 100);  // 0.1 s per unit: 5 of the task's 10 are done
    EXPECT_DOUBLE_EQ(rest.share, 0.25);
    EXPECT_DOUBLE_EQ(rest.secondsLeft, 7.5);
    EXPECT_DOUBLE_EQ(EstimateRest(20, 2, 10, 100, 100).share, 0.295); // a late task isn't called done
}

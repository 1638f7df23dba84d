#include "Chain.h"

#include "Progress.h"
#include "Refusal.h"
#include "Scene.h"
#include "Text.h"

#include <gtest/gtest.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPointData.h>

#include <algorithm>
#include <cmath>

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

Recording RunQuietly(Chain& chain, const Recording& recording) {
    Progress silent(true, false);
    const vtkNew<RecordingReader> reader;
    int reads = 0;
    reader->SetRead([&] {
        ++reads;
        return recording;
    });
    Update(reader, "", silent);
    const Recording image = chain.Run(reader, reader->About(), silent);
    EXPECT_EQ(reads, 1);
    EXPECT_EQ(reader->GetOutput()->GetPointData()->GetScalars(), nullptr); // released on the way
    return image;
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
        {R"({"chain": [{"algorithm": "Mig2Post"}], "extra": 1})", "unknown member \"extra\""},
        {R"({"chain": ["Mig2Post"]})", "needs a member \"algorithm\""},
        {R"({"chain": [{"algorithm": "Fk"}]})", "unknown algorithm \"Fk\"; known are OffsetRemoval"},
        {R"({"chain": [{"algorithm": "Mig2Post", "params": {}}]})", "Mig2Post: unknown member \"params\""},
        {R"({"chain": [{"algorithm": "Mig2Post", "parameters": [1]}]})", "\"parameters\" must be an object"},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timezero": 1}}]})",
         "unknown parameter \"timezero\""},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 1.0}}]})", "must be a whole number"},
        {R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 3000000000}}]})",
         "must be a whole number"},
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
    EXPECT_EQ(chain.Find("timeZero").value, 12);
    EXPECT_EQ(chain.Find("permittivity").value, 9.0);
    chain.Set("timeZero", 30, true);
    EXPECT_EQ(chain.Find("timeZero").value, 30);
    EXPECT_FALSE(Chain::Standard().Find("timeZero").given);
}

TEST(Chain, PreparesOnlyWhatHasChannels) {
    const auto names = [](int bscans, bool oneAntennaPair) {
        Recording recording;
        recording.size.bscans = bscans;
        recording.oneAntennaPair = oneAntennaPair;
        std::string text;
        for (const Step& step : Chain::StandardFor(recording).steps) text += step.row->name + " ";
        return text;
    };
    const std::string image = "FkMigration Mig2Post DepthGaining NormalizationCscan ", plain = "OffsetRemoval " + image;
    const std::string prepared =
        "OffsetRemoval TimeZeroDetection EnergyCorrection BistaticCorrection BgRemoval " + image;
    EXPECT_EQ(names(35, false), prepared);
    EXPECT_EQ(names(14, false), prepared);
    EXPECT_EQ(names(10, true), "OffsetRemoval TimeZeroDetection " + image);
    EXPECT_EQ(names(1, false), plain);
    EXPECT_EQ(names(12, false), plain);
}

TEST(Chain, TheRecordingsTimeZeroEndsAtADetection) {
    Chain chain = Parse(R"({"chain": [{"algorithm": "BistaticCorrection"}, {"algorithm": "TimeZeroDetection"},
        {"algorithm": "FkMigration"}, {"algorithm": "FkMigration", "parameters": {"timeZero": 5}}]})");
    chain.BeginAtDetectedTimeZero();
    chain.Set("timeZero", 40, false);
    EXPECT_EQ(chain.steps[0].Find("timeZero")->get(), 40);
    EXPECT_EQ(chain.steps[2].Find("timeZero")->get(), 0);
    EXPECT_EQ(chain.steps[3].Find("timeZero")->get(), 5);
    EXPECT_EQ(chain.Find("timeZero").value, 40);
}

TEST(Chain, ReckonsDroppedSamplesIntoTheStartOfTheImage) {
    Chain chain = Chain::Standard();
    chain.Set("timeZero", 10, true);
    Recording recording = Block({64, 16, 5});
    recording.startTime = 1e-9;
    const Recording image = RunQuietly(chain, recording);
    EXPECT_TRUE((image.size == Dimensions{54, 16, 5}));
    EXPECT_DOUBLE_EQ(image.startTime, 1e-9 + 10 * 5e-11);
    ASSERT_EQ(chain.reports.size(), 5u);
    EXPECT_TRUE((chain.reports[4].output == Dimensions{54, 16, 5}));
}

TEST(Chain, GivesBitByBitWhatTheAlgorithmsGiveByHand) {
    Recording recording = Block({128, 20, 10});
    for (std::int64_t i = 0; i < recording.size.Count(); ++i)
        recording.data[i] = recording.data[i] * 1000 - (i % 128 >= 20 && i % 128 < 26 ? 20000.f : 0.f);
    Chain chain = Chain::StandardFor(recording, {"median", "GazdagMigration"});
    chain.BeginAtDetectedTimeZero();
    ASSERT_EQ(chain.steps.size(), 9u);
    const Recording image = RunQuietly(chain, recording);
    EXPECT_EQ(chain.reports[1].output.samples, 108);

    std::vector<float> block(recording.data.get(), recording.data.get() + recording.size.Count());
    TZM::ImageProps props(128, 20, 10);
    for (Step& step : chain.steps) {
        const TZM::AlgoBase& algorithm = step.filter->Algorithm();
        const auto outProps = algorithm.GetAdjustedImageDimensions(props);
        std::vector<float> out(block.size());
        algorithm.Execute(block.data(), props, out.data(), outProps);
        props = outProps;
        if (step.row->findsTimeZero) { // to the samples that hold data
            for (std::size_t i = 0; i < 200; ++i) std::copy_n(&out[i * 128], 108, &out[i * 108]);
            props = {108, 20, 10};
        }
        block = out;
    }
    ASSERT_TRUE((image.size == Dimensions{108, 20, 10}));
    for (std::int64_t i = 0; i < image.size.Count(); ++i) ASSERT_EQ(image.data[i], block[std::size_t(i)]) << i;
}

TEST(Chain, ReportsWhatAFilterThrowsAsItsErrors) {
    Progress silent(true, false);
    const vtkNew<RecordingReader> reader;
    reader->SetRead([]() -> Recording { throw Refusal("nothing to read"); });
    EXPECT_EQ(RefusalOf([&] { Update(reader, "", silent); }), "nothing to read");
    reader->SetRead([]() -> Recording { throw std::bad_alloc(); });
    EXPECT_EQ(RefusalOf([&] { Update(reader, "", silent); }), "not enough memory for a block of this size");
    Chain chain = Parse(R"({"chain": [{"algorithm": "EnergyCorrection"}]})");
    EXPECT_EQ(RefusalOf([&] {
                  RunQuietly(chain, Block({64, 16, 3}));
              }),
              "EnergyCorrection refuses 3 B-scans, since neither 5 nor 7 channels divide them (code -11: "
              "TZM::Exception::unexpectedBscanCount)");
}

TEST(Chain, ImagesBarAndBackWallAtOnePlaceInAllChannelsFromTheirCounts) {
    Scene scene;
    scene.lanes = 1;
    scene.permittivity = 9; // 0.005 m of depth per two samples
    scene.bars = {{true, 0.30, 0.75, 100, 1}};
    scene.slabThickness = 0.80;
    Recording recording = Record(scene);
    recording.startTime = 3e-9; // told by no sidecar: time counts from what is found
    Chain chain = Chain::StandardFor(recording);
    chain.Set("permittivity", *recording.permittivity, true);
    chain.Set("antennaOffset", *recording.antennaOffset, true);
    chain.BeginAtDetectedTimeZero();
    const Recording image = RunQuietly(chain, recording);

    EXPECT_EQ(chain.reports[1].shifts, (std::vector<int>{40, 43, 44, 42, 38})); // those of Scene
    EXPECT_TRUE((image.size == Dimensions{512 - 44, 300, 5}));
    EXPECT_EQ(image.startTime, 0);
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

TEST(Chain, GivesASingleLineTheImageOfOneOfFive) {
    Chain chain = Parse(R"({"chain": [{"algorithm": "OffsetRemoval"}, {"algorithm": "FkMigration"},
        {"algorithm": "Mig2Post"}]})");
    const Recording five = Block({64, 16, 5});
    Recording first = five;
    first.size.bscans = 1;
    const Recording image = RunQuietly(chain, first);
    EXPECT_EQ(chain.reports.front().input.bscans, kCopiesOfSingleLine);
    EXPECT_TRUE((image.size == Dimensions{63, 16, 1}));
    const Recording expected = RunQuietly(chain, five);
    for (int i = 0; i < image.size.Count(); ++i) ASSERT_EQ(image.data[i], expected.data[i]) << i;
}

TEST(Chain, TellsWhichKeysOfTheConfigurationAreSkipped) {
    const auto lines = SkippedKeys(ParseJson(
        R"({"FkMigration": {"DipMax": 85, "DipWidth": 5.0, "Dip": 1, "UseDipMask": false}, "Other": {"Key": 1},
            "Global": {"Permittivity": 6, "TimeZero": 7, "OfAnother": 1, "BistaticOptions": {"UseTX1RX2": 1}},
            "TimeZeroDetection": {"ChannelOffsets": {"TX1RX1": -4, "NegADCThreshold": -9}},
            "EnergyCorrection": {"Window": 3}})",
        ""));
    EXPECT_EQ(lines,
              (std::vector<std::string>{
                  "EnergyCorrection.Window is no key of the algorithm and is skipped",
                  "FkMigration.Dip is no key of the algorithm and is skipped",
                  "FkMigration.DipMax is skipped: it must be written like 85.0",
                  "Global.BistaticOptions.UseTX1RX2 is skipped: it must be written like false",
                  "Global.Permittivity is skipped: it must be written like 6.0",
                  "TimeZeroDetection.ChannelOffsets.NegADCThreshold is no key of the algorithm and is skipped"}));
    EXPECT_TRUE(SkippedKeys(Json::Value()).empty());
}

TEST(Progress, ReckonsTheTimeLeftFromTheTasksThatAreDone) {
    EXPECT_LT(EstimateRest(0, 0, 10, 5, 100).secondsLeft, 0); // nothing to go by
    const Estimate rest = EstimateRest(20, 2, 10, 0.5, 100);  // 0.1 s per unit: 5 of the task's 10 are done
    EXPECT_DOUBLE_EQ(rest.share, 0.25);
    EXPECT_DOUBLE_EQ(rest.secondsLeft, 7.5);
    EXPECT_DOUBLE_EQ(EstimateRest(20, 2, 10, 100, 100).share, 0.295);     // a late task isn't called done
    EXPECT_DOUBLE_EQ(EstimateRest(20, 2, 10, 0.1, 100, 0.8).share, 0.28); // it told more than its time
}

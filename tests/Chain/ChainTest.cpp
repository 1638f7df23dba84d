#include "Chain/Chain.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Framework/Cancelled.h"
#include "Framework/Logger.h"
#include "Recording/private/Text.h"
#include "support/FreshStatics.h"
#include "support/Recordings.h"
#include "support/Threads.h"

namespace TZM {
namespace {

Chain Parse(const std::string& text) { return Chain::FromDocument(ParseJson(text, "chain.json"), "chain.json"); }

Recording Block(Dimensions size) {
    Recording recording;
    recording.size = size;
    recording.data = AllocateSamples(size.Count());
    for (std::int64_t i = 0; i < size.Count(); ++i) recording.data[i] = std::sin(0.01f * static_cast<float>(i));
    return recording;
}

/// With a direct wave at samples 20 to 25.
Recording Counts(Dimensions size) {
    Recording recording = Block(size);
    for (std::int64_t i = 0; i < size.Count(); ++i) {
        const auto s = i % size.samples;
        recording.data[i] = recording.data[i] * 1000 - (s >= 20 && s < 26 ? 20000.f : 0.f);
    }
    return recording;
}

std::string NamesOf(const Chain& chain) {
    std::string text;
    for (const Step& step : chain.steps) text += step.Info().name + " ";
    return text;
}

void ExpectSameBits(const Recording& a, const Recording& b) {
    ASSERT_TRUE(a.size == b.size) << a.size.Text() << " and " << b.size.Text();
    for (std::int64_t i = 0; i < a.size.Count(); ++i) ASSERT_EQ(a.data[i], b.data[i]) << i;
}

} // namespace

TEST(Chain, TakesAlgorithmsAndParametersFromItsDocument) {
    Chain chain = Parse(R"({"chain": [{"algorithm": "Mig2Post"},
        {"algorithm": "FkMigration", "parameters": {"timeZero": 12, "permittivity": 9, "overlays": "x"}}]})");
    ASSERT_EQ(chain.steps.size(), 2u);
    EXPECT_EQ(chain.steps[0].Info().name, "Mig2Post");
    EXPECT_EQ(chain.steps[1].Get("timeZero"), 12);
    EXPECT_EQ(chain.steps[1].Get("permittivity"), 9.0);
    EXPECT_EQ(chain.steps[1].Get("overlays"), "x");
    EXPECT_TRUE(chain.steps[1].Get("nothing").isNull());
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
        {R"({"chain": [{"algorithm": "BgRemoval", "parameters": {"algorithm": "mean"}}]})",
         "must be \"none\", \"median\", \"classify\", \"highpass\" or \"surface\""},
        {R"({"chain": [{"algorithm": "TimeZeroCrop", "parameters": {"timeZeros": [1, 2.5]}}]})",
         "must be a list of whole numbers"},
        {R"({"chain": [{"algorithm": "Clipper", "parameters": {"borders": {"UpperZ": -1}}}]})", "an object of widths"},
    };
    for (const auto& c : cases) {
        const std::string told = RefusalOf([&] { Parse(c.document); });
        EXPECT_NE(told.find(c.told), std::string::npos) << c.document << " gave " << told;
        EXPECT_EQ(told.rfind("chain.json: ", 0), 0u) << told;
    }
    try {
        Chain().Add("FkMigration").Set("timeZero", "x");
        ADD_FAILURE();
    } catch (const ChainError& error) {
        EXPECT_EQ(error.step + "." + error.parameter, "FkMigration.timeZero");
    }
}

TEST(Chain, SettlesWhatAllSidesSayOfANumber) {
    const FreshStatics statics("{'BistaticCorrection': {'AntennaOffset': 0.25}}");
    Chain chain = Parse(R"({"chain": [{"algorithm": "BistaticCorrection"},
        {"algorithm": "FkMigration", "parameters": {"timeZero": 12}}]})");
    Recording recording;
    recording.timeZero = 20;
    recording.permittivity = 9;
    const auto assumed = chain.Settle(recording, {std::nullopt, 4.5, std::nullopt});
    EXPECT_TRUE(assumed.empty());
    EXPECT_EQ(chain.steps[0].Get("timeZero"), 20);        // of the recording
    EXPECT_EQ(chain.steps[1].Get("timeZero"), 12);        // of the document
    EXPECT_EQ(chain.steps[1].Get("permittivity"), 4.5);   // given
    EXPECT_EQ(chain.steps[0].Get("antennaOffset"), 0.25); // of the configuration
    EXPECT_EQ(recording.timeZero, 12);
    EXPECT_EQ(recording.permittivity, 4.5);
    EXPECT_EQ(recording.antennaOffset, 0.25);

    Recording unknown;
    Chain plain = Parse(R"({"chain": [{"algorithm": "FkMigration"}]})");
    const auto defaults = plain.Settle(unknown, {});
    ASSERT_EQ(defaults.size(), 2u);
    EXPECT_EQ(defaults[0].Text(), "the sample of time zero isn't known, 1 is taken");
    EXPECT_EQ(defaults[1].Text(), "the permittivity isn't known, 6 is taken");
}

TEST(Chain, ATimeZeroThatHasMovedIsNoMoreTheRecordings) {
    const FreshStatics statics("{'Global': {'TimeZero': 33}}");
    for (const char* mover : {"TimeZeroDetection", "TimeZeroCrop"}) {
        Chain chain = Parse(R"({"chain": [{"algorithm": "BistaticCorrection"}, {"algorithm": ")" + std::string(mover) +
                            R"("}, {"algorithm": "KirchhoffMigration"},
                            {"algorithm": "FkMigration", "parameters": {"timeZero": 5}}]})");
        Recording recording;
        recording.timeZero = 40;
        recording.timeZeros = {39, 41};
        chain.Settle(recording, {});
        EXPECT_EQ(chain.steps[0].Get("timeZero"), 33) << mover; // the configuration counts there
        EXPECT_EQ(chain.steps[2].Get("timeZero"), 0) << mover;
        EXPECT_EQ(chain.steps[3].Get("timeZero"), 5) << mover;
        EXPECT_EQ(chain.steps[1].Get("timeZeros").size(), mover == std::string("TimeZeroCrop") ? 2u : 0u);
    }
}

TEST(Chain, PreparesWhatHasChannelsAndTakesATimeZeroThatIsTold) {
    const auto names = [](int bscans, bool oneAntennaPair, std::optional<int> timeZero, const ChainChoice& choice) {
        Recording recording;
        recording.size = {512, 10, bscans};
        recording.oneAntennaPair = oneAntennaPair;
        recording.timeZero = timeZero;
        if (oneAntennaPair && timeZero) recording.timeZeros.assign(static_cast<std::size_t>(bscans), *timeZero);
        return NamesOf(Chain::Standard(recording, choice));
    };
    const std::string image = "FkMigration Envelope DepthGaining NormalizationCscan ",
                      line = "Dewow SlidingBackground FkMigration Envelope TimeGain NormalizationCscan ",
                      plain = "OffsetRemoval " + line;
    const std::string levelled = "EnergyCorrection BistaticCorrection BgRemoval ";
    ChainChoice kirchhoff, given;
    kirchhoff.migration = "KirchhoffMigration";
    given.timeZero = 12;
    EXPECT_EQ(names(35, false, {}, {}), "OffsetRemoval TimeZeroDetection " + levelled + image);
    EXPECT_EQ(names(14, false, 12, {}), "OffsetRemoval TimeZeroCrop " + levelled + image);
    EXPECT_EQ(names(14, false, {}, given), "OffsetRemoval TimeZeroCrop " + levelled + image);
    EXPECT_EQ(names(10, true, {}, {}), "OffsetRemoval TimeZeroDetection " + line);
    EXPECT_EQ(names(10, true, 62, {}), "OffsetRemoval TimeZeroCrop " + line);
    EXPECT_EQ(names(1, false, 12, {}), plain);
    EXPECT_EQ(names(12, false, {}, {}), plain);
    EXPECT_EQ(names(1, false, {}, kirchhoff)
                  .rfind("OffsetRemoval TimeZeroCrop Dewow SlidingBackground KirchhoffMigration ", 0),
              0u);
    EXPECT_THROW(Chain::Standard({}, {std::nullopt, "Mig2Post", {}, {}, {}, {}}), ChainError);
}

TEST(Chain, ImagesLinesWithPlacesAsAVolumeAlongTheWaysBetweenTheAntennas) {
    Recording array;
    array.size = {512, 10, 35}, array.lineSpacing = 0.04, array.antennaOffset = 0.07;
    const std::string ahead = "OffsetRemoval TimeZeroDetection EnergyCorrection ",
                      behind = " Envelope DepthGaining NormalizationCscan ";
    Chain volume = Chain::Standard(array, {});
    EXPECT_EQ(NamesOf(volume), ahead + "BgRemoval ArrayMigration" + behind);
    ChainChoice stolt, given;
    stolt.migration = "FkMigration3D"; // which takes the times of one antenna
    given.lineSpacing = 0.1;
    EXPECT_EQ(NamesOf(Chain::Standard(array, stolt)), ahead + "BistaticCorrection BgRemoval FkMigration3D" + behind);
    volume.Settle(array, {});
    EXPECT_EQ(volume.steps[4].Get("lineSpacing"), 0.04);
    EXPECT_EQ(volume.steps[4].Get("antennaOffsetBi"), 0.07);
    EXPECT_EQ(volume.steps[4].Get("bistaticAcross"), true);

    const char* const text = R"({"chain": [{"algorithm": "BistaticCorrection"}, {"algorithm": "ArrayMigration"}]})";
    Chain corrected = Parse(text), alike = Parse(text);
    corrected.Settle(array, {{}, {}, {}, 0.02});
    EXPECT_EQ(corrected.steps[1].Get("antennaOffsetBi"), 0.);
    EXPECT_EQ(array.lineSpacing, 0.02);
    array.lineSpacing.reset(), array.oneAntennaPair = true;
    const auto assumed = alike.Settle(array, {});
    ASSERT_EQ(assumed.size(), 3u); // and neither time zero nor permittivity is known
    EXPECT_EQ(assumed.back().Text(), "the distance between lines in metres isn't known, 0.05 is taken");
    EXPECT_EQ(alike.steps[1].Get("bistaticAcross"), false);
    EXPECT_EQ(alike.steps[1].Get("antennaOffsetBi"), alike.steps[1].Get("antennaOffsetMono"));
    array.oneAntennaPair = false;
    EXPECT_EQ(NamesOf(Chain::Standard(array, {})), ahead + "BistaticCorrection BgRemoval FkMigration" + behind);
    EXPECT_EQ(NamesOf(Chain::Standard(array, given)), ahead + "BgRemoval ArrayMigration" + behind);
}

TEST(Chain, PresetsHaveFiguresForWhatIsInTheGround) {
    Recording recording;
    recording.size = {512, 100, 1};
    ChainChoice choice;
    choice.preset = "geology";
    const Chain geology = Chain::Standard(recording, choice);
    EXPECT_EQ(NamesOf(geology), "OffsetRemoval Dewow BandPass SlidingBackground FkMigration Agc ");
    EXPECT_EQ(geology.steps[1].Get("window"), 40.); // ns, two periods at 50 MHz
    EXPECT_EQ(geology.steps[2].Get("low"), 25.);
    EXPECT_EQ(geology.steps[2].Get("high"), 100.);
    EXPECT_EQ(geology.steps[5].Get("window"), 100.);
    for (const auto& [name, frequency] :
         {std::pair("400MHz", 400.), std::pair("250 MHz, 3 ft apart", 250.), std::pair("1.5/1.6 GHz", 1600.),
          std::pair("2 Hz, 0.9GHz 3", 900.), std::pair("GHz of 7", 50.), std::pair("-- MHz", 50.),
          std::pair("..MHz", 50.)}) {
        recording.channels = {name};
        EXPECT_EQ(Chain::Standard(recording, choice).steps[2].Get("high"), 2 * frequency) << name;
        EXPECT_EQ(NamesOf(Chain::Standard(recording)).find("BandPass") != std::string::npos, frequency != 50) << name;
    }
    recording.channels.clear();
    choice.signedImage = false;
    EXPECT_EQ(NamesOf(Chain::Standard(recording, choice)),
              "OffsetRemoval Dewow BandPass SlidingBackground FkMigration Envelope Agc NormalizationCscan ");
    choice.preset = "concrete";
    choice.background = "median";
    recording.size.bscans = 5;
    EXPECT_EQ(
        NamesOf(Chain::Standard(recording, choice)),
        "OffsetRemoval TimeZeroDetection EnergyCorrection BistaticCorrection Dewow BandPass BgRemoval FkMigration "
        "Envelope TimeGain NormalizationCscan ");
    choice.preset = "swamp";
    EXPECT_EQ(RefusalOf([&] { Chain::Standard(recording, choice); }),
              "\"swamp\" is no preset; known are concrete, utility, geology");
    // Behind a migration time counts from its first sample.
    Recording line = Block({64, 16, 1});
    line.timeZero = 10;
    choice.preset = "utility";
    choice.background.reset();
    Chain chain = Chain::Standard(line, choice);
    chain.Settle(line, {});
    EXPECT_EQ(chain.steps[4].Get("timeZero"), 10);
    EXPECT_EQ(chain.steps[6].Get("timeZero"), 0);
    EXPECT_EQ(line.timeZero, 10);
}

TEST(Chain, RefusesInAdvanceWhatCannotWork) {
    const FreshStatics statics;
    const auto told = [](Dimensions size, const char* member, double value) {
        Recording recording;
        recording.size = size;
        recording.timeZero = 10;
        recording.permittivity = 6;
        const std::string name = member;
        if (name == "permittivity") recording.permittivity = value;
        if (name == "timeZero") recording.timeZero = static_cast<int>(value);
        if (name == "deltaT") recording.deltaT = value;
        if (name == "deltaX") recording.deltaX = value;
        Chain chain = Chain::Standard(recording);
        chain.Settle(recording, {});
        std::string warnings;
        const std::string refusal = RefusalOf([&] { warnings = Joined(chain.Check(recording)); });
        return refusal == "none" ? "warns: " + warnings : refusal;
    };
    const Dimensions size = {512, 20, 1};
    EXPECT_EQ(told(size, "", 0), "warns: ");
    EXPECT_EQ(told({1100, 20, 1}, "", 0), "warns: ");
    EXPECT_NE(told(size, "permittivity", 0).find("FkMigration needs a permittivity above 0"), std::string::npos);
    EXPECT_NE(told(size, "permittivity", std::nan("")).find("needs a permittivity above 0"), std::string::npos);
    EXPECT_NE(told(size, "permittivity", 0.5).find("warns: FkMigration works with a permittivity of 0.5"),
              std::string::npos);
    EXPECT_NE(told(size, "timeZero", 512).find("timeZero 512 isn't one of the samples 0 to 511"), std::string::npos);
    EXPECT_NE(told(size, "timeZero", -1).find("timeZero -1 isn't one of the samples"), std::string::npos);
    EXPECT_NE(told(size, "timeZero", 500).find("leaves 12 of 512 samples"), std::string::npos);
    EXPECT_NE(told(size, "deltaT", 0.0156).find("0.0156 s, which can't be meant; is it in seconds?"),
              std::string::npos);
    EXPECT_NE(told(size, "deltaT", 1e-13).find("warns: the time between samples is 1e-13 s"), std::string::npos);
    EXPECT_NE(told(size, "deltaX", 5000).find("which can't be meant; is it in metres?"), std::string::npos);
    Chain correction =
        Parse(R"({"chain": [{"algorithm": "BistaticCorrection", "parameters": {"antennaOffset": -1}}]})");
    Recording five;
    five.size = {64, 16, 5};
    EXPECT_EQ(Joined(correction.Check(five)), "BistaticCorrection: antennaOffset is -1 m, which is below 0");
    correction.Set("antennaOffset", std::nan(""), true);
    EXPECT_EQ(RefusalOf([&] { correction.Check(five); }), "BistaticCorrection: antennaOffset is nan");
    const Chain level = Parse(R"({"chain": [{"algorithm": "EnergyCorrection"}]})");
    Recording three;
    three.size = {64, 16, 3};
    Recording tall;
    tall.size = {1100, 16, 1};
    EXPECT_EQ(RefusalOf([&] { Parse(R"({"chain": [{"algorithm": "Mig2Post"}]})").Check(tall); }),
              "Mig2Post takes A-scans of up to 1024 samples, and these have 1100");
    EXPECT_EQ(RefusalOf([&] { level.Check(three); }),
              "EnergyCorrection refuses 3 B-scans, since neither 5 nor 7 channels divide them");
}

TEST(ChainRun, ReckonsDroppedSamplesIntoTheStartOfTheImage) {
    const FreshStatics statics;
    Chain chain = Parse(R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 10}},
        {"algorithm": "Mig2Post"}]})");
    Recording recording = Block({64, 16, 5});
    recording.startTime = 1e-9;
    const RunResult result = chain.Run(recording);
    EXPECT_TRUE((result.image.size == Dimensions{54, 16, 5}));
    EXPECT_DOUBLE_EQ(result.image.FirstTime(), 1e-9 + 10 * 5e-11);
    EXPECT_EQ(result.image.timeZero, 0);
    ASSERT_EQ(result.steps.size(), 2u);
    EXPECT_TRUE((result.steps[0].output == Dimensions{54, 16, 5}));
    ExpectSameBits(recording, Block({64, 16, 5})); // the input is as it was
}

TEST(ChainRun, GivesBitByBitWhatTheAlgorithmsGiveByHand) {
    const FreshStatics statics;
    Recording recording = Counts({128, 20, 10});
    recording.deltaT = 1e-10;
    for (int z = 0; z < 10; ++z) recording.validRanges.push_back({z % 3, 20 - z});
    Chain chain = Chain::Standard(recording, {"median", "GazdagMigration", {}, {}, {}, {}});
    chain.Settle(recording, {});
    ASSERT_EQ(chain.steps.size(), 9u);
    const RunResult result = chain.Run(recording);
    EXPECT_EQ(result.steps[1].output.samples, 108);
    EXPECT_EQ(AlgoBase::GetGlobalSettings().delta_t, 5e-11f); // as before

    AlgoBase::GetGlobalSettings().delta_t = 1e-10f;
    std::vector<float> block(recording.data.get(), recording.data.get() + recording.size.Count());
    ImageProps props(128, 20, 10);
    for (const Step& step : chain.steps) {
        props.bscanInfo = recording.validRanges;
        const auto outProps = step.Algorithm().GetAdjustedImageDimensions(props);
        std::vector<float> out(block.size());
        step.Algorithm().Execute(block.data(), props, out.data(), outProps);
        props = outProps;
        if (step.Info().findsTimeZero) { // to the samples that hold data
            for (std::size_t i = 0; i < 200; ++i) std::copy_n(&out[i * 128], 108, &out[i * 108]);
            props = {108, 20, 10};
        }
        block = out;
    }
    ASSERT_TRUE((result.image.size == Dimensions{108, 20, 10}));
    for (std::int64_t i = 0; i < result.image.size.Count(); ++i)
        ASSERT_EQ(result.image.data[i], block[std::size_t(i)]) << i;
    RunOptions one;
    one.threads = 1;
    ExpectSameBits(chain.Run(recording, one).image, result.image);
}

TEST(ChainRun, TellsATimeZeroThatWasFoundFromADefault) {
    const FreshStatics statics;
    const Chain chain = Parse(R"({"chain": [{"algorithm": "TimeZeroDetection"}]})");
    const auto note = [&](const Recording& recording) { return chain.Run(recording).steps[0].notes.at(0); };
    EXPECT_EQ(note(Block({64, 16, 5})),
              "warning: no direct wave was found in some channels, so that time zero is a default there: "
              "samples 21 to 22; 42 samples are left");
    EXPECT_EQ(note(Counts({64, 16, 5})).rfind("note: time zero was found at samples ", 0), 0u);
}

TEST(ChainRun, ExplainsWhatAStepRefuses) {
    const FreshStatics statics;
    const Chain level = Parse(R"({"chain": [{"algorithm": "EnergyCorrection"}]})");
    EXPECT_EQ(RefusalOf([&] {
                  level.Run(Block({64, 16, 3}));
              }),
              "EnergyCorrection refuses 3 B-scans, since neither 5 nor 7 channels divide them (code -11: "
              "TZM::Exception::unexpectedBscanCount)");
    const Chain cut = Parse(R"({"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 64}}]})");
    EXPECT_EQ(RefusalOf([&] {
                  cut.Run(Block({64, 16, 5}));
              }),
              "FkMigration: timeZero 64 isn't one of the samples 0 to 63");
    Recording broken = Block({64, 16, 5});
    broken.data[70] = std::nanf("");
    const Chain offset = Parse(R"({"chain": [{"algorithm": "OffsetRemoval"}]})");
    EXPECT_NE(RefusalOf([&] { offset.Run(broken); }).find("the image holds NaN"), std::string::npos);
}

TEST(ChainRun, TellsHowFarItIsAndEndsWhenTold) {
    const FreshStatics statics;
    const Chain chain = Parse(R"({"chain": [{"algorithm": "OffsetRemoval"}, {"algorithm": "FkMigration"}]})");
    const Recording recording = Block({64, 16, 40});
    RunOptions options;
    options.threads = 1; // several would tell more or less often, as they happen to be ahead of each other
    std::vector<std::pair<std::size_t, double>> told;
    std::size_t ends = 0;
    options.progress = [&](std::size_t step, double share) {
        told.emplace_back(step, share);
        return true;
    };
    options.done = [&](std::size_t step, const StepReport&) { EXPECT_EQ(step, ends++); };
    chain.Run(recording, options);
    EXPECT_EQ(ends, 2u);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_EQ(told.front(), (std::pair<std::size_t, double>(0, 0)));
    EXPECT_EQ(told.back(), (std::pair<std::size_t, double>(1, 1)));
    EXPECT_GT(told.size(), 10u); // within the steps, too

    for (const std::size_t enough : {std::size_t{1}, std::size_t{3}, told.size() / 2, told.size() - 1}) {
        std::size_t calls = 0;
        options.progress = [&](std::size_t, double) { return ++calls < enough; };
        options.done = {};
        EXPECT_THROW(chain.Run(recording, options), Exception::Cancelled) << enough;
        EXPECT_EQ(calls, enough) << "no call behind the one that ends the run";
        calls = 0;
        options.progress = [&](std::size_t, double) { return ++calls < enough ? true : throw std::out_of_range(""); };
        EXPECT_THROW(chain.Run(recording, options), std::out_of_range) << enough;
        ExpectSameBits(recording, Block({64, 16, 40}));
    }
    EXPECT_NO_THROW(chain.Run(recording)) << "nothing of it stays";
}

TEST(ChainRun, HandsCopiesOfASingleLineOnlyToWhatTellsChannelsApart) {
    const FreshStatics statics("{'BgRemoval': {'DetailedLogging': true, 'ClsGateWidthNoMesh': 1}}");
    const Chain chain = Parse(R"({"chain": [{"algorithm": "OffsetRemoval"},
        {"algorithm": "BgRemoval", "parameters": {"algorithm": "classify"}}, {"algorithm": "Mig2Post"}]})");
    const Recording five = Block({64, 60, 5});
    Recording copies = five, first = five;
    for (int z = 1; z < 5; ++z) std::copy_n(copies.Bscan(0), 64 * 60, copies.Bscan(z));
    first.size.bscans = 1;
    const RunResult result = chain.Run(first), expected = chain.Run(copies);
    const auto handed = [&](std::size_t step) { return result.steps[step].input.bscans; };
    EXPECT_EQ((std::vector<int>{handed(0), handed(1), handed(2)}), (std::vector<int>{1, kCopiesOfSingleLine, 1}));
    Recording kept = expected.image;
    kept.size.bscans = 1;
    ExpectSameBits(result.image, kept);

    const FreshStatics again("{'BgRemoval': {'DetailedLogging': true, 'ClsGateWidthNoMesh': 1}}");
    chain.Run(first);
    EXPECT_NE(again.Log().find("classification applied (B-scan 1/1)"), std::string::npos) << again.Log();
    EXPECT_EQ(again.Log().find("B-scan 2"), std::string::npos) << again.Log();
}

TEST(Algorithms, KnowTheirParametersAndWhatTheyCouple) {
    for (const AlgorithmInfo& info : Algorithms()) {
        const auto algorithm = info.make();
        EXPECT_FALSE(info.page.empty()) << info.name;
        for (const ParameterInfo& parameter : info.parameters) {
            EXPECT_FALSE(parameter.meaning.empty()) << info.name << "." << parameter.name;
            EXPECT_EQ(parameter.get(*algorithm), parameter.defaultValue);
            EXPECT_TRUE(parameter.set(*algorithm, parameter.defaultValue)) << info.name << "." << parameter.name;
            EXPECT_FALSE(parameter.set(*algorithm, Json::Value())) << info.name << "." << parameter.name;
        }
    }
    Chain chain = Parse(R"({"chain": [{"algorithm": "BgRemoval"}, {"algorithm": "HorizontalSumUp"}]})");
    EXPECT_EQ(chain.steps[0].CouplingNow().Text(), "the B-scans of a lane");
    chain.Set("algorithm", "classify", true);
    EXPECT_EQ(chain.steps[0].CouplingNow().Text(), "the block, through some numbers");
    chain.Set("Thickness", 5, true);
    EXPECT_EQ(chain.steps[1].CouplingNow().neighbours, 2); // and as many on the other side
}

TEST(Algorithms, TellWhichKeysOfTheConfigurationAreSkipped) {
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

} // namespace TZM

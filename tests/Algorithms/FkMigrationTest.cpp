#include "Algorithms/Migration/AlgoFkMigration.h"

#include <gtest/gtest.h>

#include <climits>

#include "Algorithms/Migration/AlgoMig2Post.h"
#include "Framework/CalcError.h"
#include "support/Configuration.h"
#include "support/Near.h"
#include "support/Noise.h"
#include "support/Scenes.h"
#include "support/StoltReference.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

AlgoFkMigration Migration(int timeZero, float permittivity) {
    AlgoFkMigration migration;
    migration.Setup(AlgoParamFkMigration(true, 1, timeZero, permittivity, ""));
    return migration;
}

Block NoiseBlock(int samples, int ascans, int bscans) {
    Block block(ImageProps(samples, ascans, bscans));
    Noise noise(11);
    for (float& v : block.data) v = noise();
    return block;
}

// The image as an envelope, which isn't moved by the eighth of a period by which a migration in two dimensions turns the
// wavelet of a point in space.
Block EnvelopeImage(int timeZero, double permittivity, const Block& record) {
    return Executed(AlgoMig2Post(), Executed(Migration(timeZero, static_cast<float>(permittivity)), record));
}

void ExpectAsReference(const StoltReference& reference, const Block& record, int timeZero, double permittivity,
                       const char* what) {
    const Block expected = reference.Migrate(record, timeZero, permittivity);
    const Block image = Executed(Migration(timeZero, static_cast<float>(permittivity)), record);
    ASSERT_EQ(image.data.size(), expected.data.size()) << what;
    double peak = 0;
    for (const float v : expected.data) peak = std::max(peak, std::abs(static_cast<double>(v)));
    EXPECT_GT(peak, 0) << what;
    // Four transforms with a largest error of 5e-7 of the peak, and reads of ten taps.
    EXPECT_TRUE(AllNear(image.data, expected.data, image.data.size(), 3e-6 * peak)) << what;
}

} // namespace

TEST(FkMigration, FollowsTheFormulaForAllSettings) {
    const Block record = NoiseBlock(45, 19, 2);
    StoltReference plain;
    ExpectAsReference(plain, record, 3, 6, "defaults");
    ExpectAsReference(plain, record, 0, 1.5, "fast ground");
    ExpectAsReference(plain, record, 44, 81, "one sample left, slow ground");
    const auto with = [&](const std::string& keys, const char* what, auto change) {
        const Configuration configuration("{\"FkMigration\": {" + keys + "}}");
        StoltReference reference;
        change(reference);
        ExpectAsReference(reference, record, 5, 9, what);
    };
    with("\"InterpolationMethod\": 0", "linear", [](StoltReference& r) { r.interpolation = 0; });
    with("\"InterpolationMethod\": 2, \"UseDipMask\": false", "linear without dip mask", [](StoltReference& r) {
        r.interpolation = 2;
        r.useDipMask = false;
    });
    with("\"UseFrequencyMask\": false, \"UseDipMask\": false", "no masks",
         [](StoltReference& r) { r.useFrequencyMask = r.useDipMask = false; });
    with("\"MaxMigFreqRel\": 1.0, \"DipMax\": 30.0, \"DipWidth\": 20.0, \"InterpolationMethod\": 0",
         "narrow dips, all bins", [](StoltReference& r) {
             r.maxMigFreqRel = 1;
             r.dipMax = 30;
             r.dipWidth = 20;
             r.interpolation = 0;
         });
    with("\"DipMax\": 0.0, \"DipWidth\": 60.0", "fade from dip 0", [](StoltReference& r) {
        r.dipMax = 0;
        r.dipWidth = 60;
    });
    with("\"HarlanThreshold\": 1.0, \"DepthSpectrumSizeExtension\": 1", "nearest bins of a longer transform",
         [](StoltReference& r) {
             r.threshold = 1;
             r.extension = 1;
         });
    with("\"DipWidth\": 0.0", "no width, no mask", [](StoltReference& r) { r.dipWidth = 0; });
    with("\"DipWidth\": -5.0", "a negative width counts as none", [](StoltReference& r) { r.dipWidth = 0; });
    with("\"DipMax\": 85, \"HarlanThreshold\": true, \"UseDipMask\": 1", "keys of the wrong type don't count",
         [](StoltReference&) {});
}

TEST(FkMigration, FollowsTheFormulaForOddShapes) {
    StoltReference plain;
    ExpectAsReference(plain, NoiseBlock(64, 32, 1), 0, 6, "powers of two");
    ExpectAsReference(plain, NoiseBlock(33, 1, 1), 1, 6, "a single A-scan");
    ExpectAsReference(plain, NoiseBlock(32, 67, 1), 1, 6, "more A-scans than two batches");
    const Block one = Executed(Migration(0, 6), NoiseBlock(1, 3, 2)); // no vertical wavenumber but 0
    EXPECT_EQ(one.data, std::vector<float>(6, 0.f));
}

TEST(FkMigration, GivesTheSameOnAnyNumberOfThreadsAndLeavesTheInput) {
    Block record = NoiseBlock(100, 30, 5);
    const Block before = record;
    const auto run = [&] { return Executed(Migration(7, 6), record).data; };
    const std::vector<float> serial = OnThreads(1, run);
    EXPECT_EQ(serial, OnThreads(2, run));
    EXPECT_EQ(serial, OnThreads(8, run));
    EXPECT_EQ(record.data, before.data);

    record.At(50, 10, 3) = NAN;
    const Block image = Executed(Migration(7, 6), record);
    const std::size_t bscan = image.data.size() / 5;
    for (std::size_t i = 0; i < image.data.size(); ++i)
        ASSERT_TRUE(i / bscan == 3 || image.data[i] == serial[i]) << i;
    EXPECT_TRUE(std::isnan(image.At(50, 10, 3)));
}

TEST(FkMigration, CollapsesAPointReflectorToItsPlaceInEveryGround) {
    const int ascan = 70;
    for (const double permittivity : {4., 6., 9.}) {
        const double depth = 0.35; // metres: its travel time, and so its sample, grows with the permittivity
        const int sample = static_cast<int>(std::lround(depth * TwoWaySlowness(permittivity) / 5e-11));
        const Block record = PointDiffractor(ImageProps(256, 150, 1), ascan, depth, permittivity);
        const Block image = EnvelopeImage(0, permittivity, record);
        const PeakPosition peak = Peak(image);
        EXPECT_NEAR(peak.ascan, ascan, 1) << permittivity;
        EXPECT_NEAR(peak.sample, sample, 1) << permittivity;
        const double before = EnergyAround(Executed(AlgoMig2Post(), record), sample, ascan, 12, 6);
        const double after = EnergyAround(image, sample, ascan, 12, 6);
        EXPECT_GT(after, 5 * before) << permittivity;
        EXPECT_GT(after, 0.6) << permittivity;
        const Block wrong = EnvelopeImage(0, 1.6 * permittivity, record);
        EXPECT_LT(EnergyAround(wrong, sample, ascan, 12, 6), 0.6 * after)
            << permittivity; // a wrong speed leaves it wide
    }
}

TEST(FkMigration, DropsTheSamplesAheadOfTimeZero) {
    const int timeZero = 40;
    Block late(ImageProps(256, 150, 1));
    const Block record = PointDiffractor(ImageProps(256 - timeZero, 150, 1), 75, 0.3, 6);
    for (int y = 0; y < 150; ++y)
        for (int s = 0; s < 256; ++s) late.At(s, y) = s < timeZero ? 1000.f : record.At(s - timeZero, y);
    const Block image = EnvelopeImage(timeZero, 6, late);
    EXPECT_EQ(image.props.samplesPerAscan, 256 - timeZero);
    EXPECT_NEAR(Peak(image).sample, 0.3 * TwoWaySlowness(6) / 5e-11, 1);
    EXPECT_NEAR(Peak(image).ascan, 75, 1);
}

TEST(FkMigration, RefusesWhatItCannotMigrate) {
    const auto told = [](const Exception::CalcError& e) { return std::to_string(e.GetCode()) + " " + e.GetMessage(); };
    float neverRead = 0;
    const auto refusal = [&](int timeZero, float permittivity, const ImageProps& props) {
        return Caught<Exception::CalcError>(
            [&] { Migration(timeZero, permittivity).Execute(&neverRead, props, &neverRead, props); }, told);
    };
    const ImageProps props(16, 4, 5);
    const std::string speed = "-10 TZM::Exception::permittivitySmallerEqualZero";
    const std::string bounds = "99 Index exceeds IPP::Array3D bounds";
    EXPECT_EQ(refusal(99, 0.f, props), speed); // before all else
    EXPECT_EQ(refusal(1, -1.f, props), speed);
    EXPECT_EQ(refusal(1, NAN, props), speed);
    EXPECT_EQ(refusal(-1, 6.f, props), bounds);
    EXPECT_EQ(refusal(INT_MIN, 6.f, props), bounds);
    EXPECT_EQ(refusal(16, 6.f, props), bounds);
    EXPECT_EQ(refusal(1, 6.f, ImageProps(0, 4, 5)), bounds);
    EXPECT_EQ(refusal(1, 6.f, ImageProps(16, 0, 5)), bounds);
    EXPECT_EQ(refusal(1, 6.f, ImageProps(16, 4, 0)), bounds);
    EXPECT_EQ(refusal(1, 6.f, ImageProps(65536, 65536, 5)).substr(0, 2), "99");
    EXPECT_THROW(Migration(1, 6).Execute(nullptr, props, &neverRead, props), Exception::CalcError);
    EXPECT_THROW(Migration(1, 6).Execute(&neverRead, props, nullptr, props), Exception::CalcError);

    const Block record = NoiseBlock(16, 4, 1);
    const auto extended = [&](int extension) {
        const Configuration configuration(
            "{\"FkMigration\": {\"DepthSpectrumSizeExtension\": " + std::to_string(extension) + "}}");
        Executed(Migration(1, 6), record);
    };
    EXPECT_EQ(Caught<Exception::CalcError>([&] { extended(-1); }, told), "99 Index exceeds IPP::Array2D bounds");
    EXPECT_THROW(extended(-5), std::bad_alloc);
    EXPECT_THROW(extended(28), std::bad_alloc);
    EXPECT_THROW(extended(2147483647), std::bad_alloc);
}

TEST(FkMigration, TakesItsTuningFromTheSectionOfItsName) {
    struct Named : AlgoFkMigration {
        using AlgoFkMigration::AlgoFkMigration;
        using AlgoFkMigration::GetInternalAlgoParams;
        using AlgoFkMigration::RefreshInternalAlgoParams;
    };
    const Configuration configuration(
        R"({"FkMigration": {"DipMax": 10.0}, "Second": {"DipMax": 200.5, "UseDipMask": false,
        "InterpolationMethod": 0, "DepthSpectrumSizeExtension": 1, "UseFrequencyMask": false, "DipWidth": -3.0,
        "MaxMigFreqRel": 2.5e0, "HarlanThreshold": 0.0}})");
    const Named named("Second");
    EXPECT_EQ(named.GetInternalAlgoParams(), nullptr);
    named.RefreshInternalAlgoParams();
    const Named copy(named);
    EXPECT_EQ(copy.GetInternalAlgoParams(), named.GetInternalAlgoParams());
    const auto& p = *named.GetInternalAlgoParams();
    EXPECT_EQ(p.dipMax, 200.5f); // raw values, limited where they are used
    EXPECT_EQ(p.dipWidth, -3.f);
    EXPECT_EQ(p.maxMigFreqRel, 2.5f);
    EXPECT_EQ(p.harlanThreshold, 0.f);
    EXPECT_EQ(p.interpolationMethod, 0);
    EXPECT_EQ(p.depthSpectrumSizeExtension, 1);
    EXPECT_FALSE(p.useDipMask || p.useFrequencyMask);
    AlgoBase::SetConfigString("{}");
    named.RefreshInternalAlgoParams();
    EXPECT_EQ(named.GetInternalAlgoParams()->dipMax, AlgoFkMigration::defDipMax);
}

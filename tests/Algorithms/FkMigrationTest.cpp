#include "Algorithms/Migration/AlgoFkMigration.h"

#include <gtest/gtest.h>

#include <climits>

#include "Algorithms/Migration/AlgoMig2Post.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"
#include "support/StoltReference.h"

using namespace TZM;

namespace {

AlgoFkMigration Migration(int timeZero, float permittivity) {
    AlgoFkMigration migration;
    migration.Setup(AlgoParamFkMigration(true, 1, timeZero, permittivity, ""));
    return migration;
}

// The image as an envelope, which isn't moved by the eighth of a period by which a migration in two dimensions turns
// the wavelet of a point in space.
Block EnvelopeImage(int timeZero, double permittivity, const Block& record) {
    return Executed(AlgoMig2Post(), Executed(Migration(timeZero, static_cast<float>(permittivity)), record));
}

void ExpectAsReference(const StoltReference& reference, const Block& record, int timeZero, double permittivity) {
    const Block expected = reference.Migrate(record, timeZero, permittivity);
    const Block image = Executed(Migration(timeZero, static_cast<float>(permittivity)), record);
    ASSERT_EQ(image.data.size(), expected.data.size());
    const double peak = Peak(expected).magnitude;
    EXPECT_GT(peak, 0);
    // Four transforms with a largest error of 5e-7 of the peak, and reads of ten taps.
    EXPECT_TRUE(AllNear(image.data, expected.data, image.data.size(), 3e-6 * peak)) << reference.Document();
}

} // namespace

TEST(FkMigration, FollowsTheFormulaForAllSettings) {
    const StoltReference all[] = {{0, true, true, 85, 5, 0},
                                  {0, true, false, 85, 5, 2},        // linear, too
                                  {0, false, false},                 // no masks
                                  {0, true, true, 30, 20, 0, 1},     // narrow dips, all bins
                                  {0, true, true, 0, 60},            // fades from dip 0
                                  {1, true, true, 85, 5, 1, 0.6, 1}, // nearest bins of a longer transform
                                  {0, true, true, 85, 5, 1, 0.6, 0}, // a threshold below the least
                                  {0, true, true, 85, 0},            // without width, without mask
                                  {0, true, true, 85, -5}};          // as without width
    for (const StoltReference& reference : all) {
        const FreshStatics statics(reference.Document());
        ExpectAsReference(reference, NoiseBlock(45, 19, 2), 5, 9);
    }
}

TEST(FkMigration, FollowsTheFormulaForOddShapes) {
    const StoltReference defaults;
    const FreshStatics statics("{'FkMigration': {'DipMax': 80, 'HarlanThreshold': true, 'UseDipMask': 0}}"); // no types
    ExpectAsReference(defaults, NoiseBlock(45, 19, 2), 0, 1.5);
    ExpectAsReference(defaults, NoiseBlock(45, 19, 2), 44, 81); // one sample left, slow ground
    ExpectAsReference(defaults, NoiseBlock(64, 32, 1), 0, 6);   // powers of two
    ExpectAsReference(defaults, NoiseBlock(33, 1, 1), 1, 6);
    ExpectAsReference(defaults, NoiseBlock(32, 67, 1), 1, 6); // more A-scans than two batches
    AlgoBase::GetGlobalSettings().delta_x = 0.05f;            // energy up to the largest wavenumber along the scan
    ExpectAsReference(defaults, NoiseBlock(64, 32, 1), 0, 81);
    AlgoBase::GetGlobalSettings() = {};
    const Block one = Executed(Migration(0, 6), NoiseBlock(1, 3, 2)); // no vertical wavenumber but 0
    EXPECT_EQ(one.data, std::vector<float>(6, 0.f));
}

TEST(FkMigration, CollapsesAPointReflectorToItsPlaceInEveryGround) {
    const int ascan = 70;
    for (const double permittivity : {4., 6., 9.}) {
        const double depth = 0.35; // metres: its travel time, and so its sample, grows with the permittivity
        const int sample = static_cast<int>(std::lround(depth * TwoWaySlowness(permittivity) / 5e-11));
        const Block record = PointDiffractor(ImageProps(256, 150, 1), ascan, depth, permittivity);
        const Block image = EnvelopeImage(0, permittivity, record);
        EXPECT_NEAR(Peak(image).ascan, ascan, 1) << permittivity;
        EXPECT_NEAR(Peak(image).sample, sample, 1) << permittivity;
        const auto focused = [&](const Block& b) { return Energy(b, 0, sample, ascan, 12, 6) / Energy(b); };
        EXPECT_GT(focused(image), 5 * focused(Executed(AlgoMig2Post(), record))) << permittivity;
        EXPECT_GT(focused(image), 0.6) << permittivity;
        // A wrong speed leaves it wide.
        EXPECT_LT(focused(EnvelopeImage(0, 1.6 * permittivity, record)), 0.6 * focused(image)) << permittivity;
    }
}

TEST(FkMigration, RefusesWhatItCannotMigrate) {
    const auto refusal = [&](int timeZero, float permittivity, const std::string& extension) {
        const FreshStatics statics("{'FkMigration': {'DepthSpectrumSizeExtension': " + extension + "}}");
        const Block record = NoiseBlock(16, 4, 1);
        Block out = record;
        return Failure(
            [&] { Migration(timeZero, permittivity).Execute(&record.data[0], record.props, &out.data[0], out.props); });
    };
    for (const float permittivity : {0.f, -1.f, NAN}) // before all else
        EXPECT_EQ(refusal(99, permittivity, "0"), "-10/0 TZM::Exception::permittivitySmallerEqualZero");
    for (const int timeZero : {-1, INT_MIN, 16})
        EXPECT_EQ(refusal(timeZero, 6.f, "0"), "99/-2 Index exceeds IPP::Array3D bounds");
    EXPECT_EQ(refusal(1, 6.f, "-1"), "99/-2 Index exceeds IPP::Array2D bounds");
    for (const char* extension : {"-5", "28", "2147483647"}) EXPECT_EQ(refusal(1, 6.f, extension), "bad_alloc");
}

TEST(FkMigration, TakesItsTuningFromTheSectionOfItsName) {
    struct Named : AlgoFkMigration {
        using AlgoFkMigration::AlgoFkMigration;
        using AlgoFkMigration::GetInternalAlgoParams;
        using AlgoFkMigration::RefreshInternalAlgoParams;
        std::string Refreshed() const {
            RefreshInternalAlgoParams();
            const auto& p = *GetInternalAlgoParams();
            std::ostringstream told;
            told << p.dipMax << " " << p.dipWidth << " " << p.maxMigFreqRel << " " << p.harlanThreshold << " "
                 << p.interpolationMethod << p.depthSpectrumSizeExtension << p.useDipMask << p.useFrequencyMask;
            return told.str();
        }
    };
    const FreshStatics statics("{'FkMigration': {'DipMax': 10.0}, 'Second': {'DipMax': 200.5, 'UseDipMask': false, "
                               "'InterpolationMethod': 0, 'DepthSpectrumSizeExtension': 1, 'UseFrequencyMask': false, "
                               "'DipWidth': -3.0, 'MaxMigFreqRel': 2.5e0, 'HarlanThreshold': 0.0}}");
    const Named named("Second");
    EXPECT_EQ(named.GetInternalAlgoParams(), nullptr);
    EXPECT_EQ(named.Refreshed(), "200.5 -3 2.5 0 0100"); // limited where they are used
    EXPECT_EQ(Named(named).GetInternalAlgoParams(), named.GetInternalAlgoParams());
    statics.Configure("");
    EXPECT_EQ(named.Refreshed(), "85 5 0.6 0.1 1011");
}

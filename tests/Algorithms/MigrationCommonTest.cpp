#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/AlgoGazdagMigration.h"
#include "Algorithms/Migration/AlgoKirchhoffMigration.h"
#include "Algorithms/Migration/DiffractionStack.h"
#include "Algorithms/Migration/PhaseShift.h"
#include "Algorithms/Migration/StoltTables.h"
#include "Algorithms/Migration/TaperWindow.h"
#include "Algorithms/Migration/TransformSize.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"

using namespace TZM;

TEST(TransformSize, CeilLog2IsTheOrderOfThePowerOfTwoThatHoldsN) {
    const std::vector<std::pair<int, int>> orders{{INT_MIN, 0},     {0, 0},       {1, 0},     {2, 1},
                                                  {3, 2},           {1024, 10},   {1025, 11}, {1073741824, 30},
                                                  {1073741825, 31}, {INT_MAX, 31}};
    for (const auto& [n, order] : orders) EXPECT_EQ(CeilLog2(n), order) << n;
}

TEST(TaperWindow, RisesAndFallsSymmetrically) {
    IPP::Array<float> a(20);
    TaperWindow{4, TaperWindow::Hann, 1.f}.Apply(a);
    for (int i = 0; i < 10; ++i) { // a window of eight elements
        EXPECT_NEAR(a[i], i < 4 ? 0.5 - 0.5 * std::cos(2 * M_PI * i / 7) : 1., kFloatEpsilon);
        EXPECT_EQ(a[19 - i], a[i]);
    }
    TaperWindow{100, TaperWindow::Bartlett, 1.f}.Apply(a); // covers the whole array
    for (int i = 0; i < 10; ++i) EXPECT_NEAR(a[i], i * 2. / 19, kFloatEpsilon);
    IPP::Array<IPP::Ipp32fc> complex(20);
    TaperWindow{100, TaperWindow::Bartlett, 1.f}.Apply(complex);
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(complex[i].re == a[i] && complex[i].im == 0.f);
}

TEST(TaperWindow, KnowsItsWindowsAndDoesNothingBelowTwo) {
    const double c = std::cos(2 * M_PI / 7), c2 = std::cos(4 * M_PI / 7); // second element of eight
    const double kaiser = std::cyl_bessel_i(0., std::sqrt(6.)) / std::cyl_bessel_i(0., 3.5);
    for (const auto& [taper, second] :
         std::vector<std::pair<TaperWindow, double>>{{{4, TaperWindow::Hamming, 1.f}, 0.54 - 0.46 * c},
                                                     {{4, TaperWindow::Bartlett, 1.f}, 2. / 7},
                                                     {{4, TaperWindow::Blackman, -0.16f}, 0.42 - 0.5 * c + 0.08 * c2},
                                                     {{4, TaperWindow::Kaiser, 1.f}, kaiser},
                                                     {{4, 7, 1.f}, 1},
                                                     {{1, TaperWindow::Hann, 1.f}, 1},
                                                     {{-3, TaperWindow::Hann, 1.f}, 1}}) {
        IPP::Array<float> a(12);
        taper.Apply(a);
        EXPECT_NEAR(a[1], second, kFloatEpsilon) << taper.windowType;
    }
}

TEST(MigrationParams, TimeZeroShortensTheBlockAndMakesItValidThroughout) {
    AlgoFkMigration migration;
    migration.Setup(AlgoParamFkMigration(false, 2, 12, 9.f, "[]"));
    ImageProps props(100, 8, 2);
    props.bscanInfo[1] = {3, 2};
    EXPECT_EQ(Flat(migration.GetAdjustedImageDimensions(props)), (std::vector<int>{88, 8, 2, 0, 8, 0, 8}));
}

namespace {

/// How often the tables of a migration are made while its object works on one block after the other, whose images are
/// those of fresh objects. \param perChange how many it has
template <class Migration, class Tables>
void ExpectTablesKept(int perChange, Migration migration = Migration()) {
    const FreshStatics statics;
    const Block five = NoiseBlock(100, 20, 5, 1000), ten = NoiseBlock(100, 20, 10, 1000), wide = NoiseBlock(100, 40, 5),
                deep = NoiseBlock(150, 20, 5);
    const auto made = [&](Migration& object, const Block& in) {
        const int before = KeptTables<Tables>::Made();
        const Block image = Executed(object, in);
        const int now = KeptTables<Tables>::Made();
        Migration fresh;
        fresh.Setup(object.GetParams());
        EXPECT_EQ(image.data, Executed(fresh, in).data) << typeid(Migration).name();
        return now - before;
    };
    EXPECT_EQ(made(migration, five), perChange);
    EXPECT_EQ(made(migration, five), 0);
    EXPECT_EQ(made(migration, ten), 0) << "B-scans share them";
    Migration copy(migration);
    EXPECT_EQ(made(copy, ten), 0) << "copies share them";
    EXPECT_EQ(made(copy, deep), perChange);
    EXPECT_EQ(made(migration, five), 0) << "and part from each other";
    migration.GetParams().permittivity = 9.5f;
    EXPECT_EQ(made(migration, five), perChange);
    migration.GetParams().timeZero = 7;
    made(migration, five);
    EXPECT_EQ(made(migration, five), 0);
    EXPECT_EQ(made(migration, wide), perChange);
    AlgoBase::GetGlobalSettings().delta_x *= 1.001f;
    EXPECT_EQ(made(migration, wide), perChange);
}

} // namespace

TEST(KeptTables, SurviveFromBlockToBlockWhileNothingChanges) {
    ExpectTablesKept<AlgoFkMigration, StoltTables>(1);
    ExpectTablesKept<AlgoGazdagMigration, PhaseShift>(1);
    AlgoGazdagMigration fft;
    fft.GetParams().useFFT = true;
    ExpectTablesKept<AlgoGazdagMigration, PhaseShift>(1, fft);
    ExpectTablesKept<AlgoKirchhoffMigration, DiffractionStack>(2);

    // Valid ranges differ from chunk to chunk: the terms within an aperture serve all of them.
    for (const auto& [document, times] : {std::pair("{'KirchhoffMigration': {'ApertureMaxWidth': 8}}", 2),
                                          std::pair("{'KirchhoffMigration': {'ApertureAngle': 0.0}}", 4)}) {
        const FreshStatics statics(document);
        AlgoKirchhoffMigration kirchhoff;
        Block in = NoiseBlock(100, 40, 5, 1000);
        const int before = KeptTables<DiffractionStack>::Made();
        Executed(kirchhoff, in);
        for (BscanInfo& range : in.props.bscanInfo) range = {3, 20};
        const Block image = Executed(kirchhoff, in);
        EXPECT_EQ(KeptTables<DiffractionStack>::Made() - before, times);
        EXPECT_EQ(image.data, Executed(AlgoKirchhoffMigration(), in).data);
    }
}

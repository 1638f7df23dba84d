#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/TaperWindow.h"
#include "Algorithms/Migration/TransformSize.h"
#include "support/Near.h"

using namespace TZM;

TEST(TransformSize, CeilLog2IsTheOrderOfThePowerOfTwoThatHoldsN) {
    const std::vector<std::pair<int, int>> orders{{INT_MIN, 0},     {0, 0},       {1, 0},     {2, 1},
                                                  {3, 2},           {1024, 10},   {1025, 11}, {1073741824, 30},
                                                  {1073741825, 31}, {INT_MAX, 31}};
    for (const auto& [n, order] : orders) EXPECT_EQ(CeilLog2(n), order) << n;
}

TEST(TaperWindow, RisesAndFallsSymmetrically) {
    std::vector<float> memory(20, 9.f);
    IPP::Array<float> a(memory.data(), 20);
    TaperWindow{4, TaperWindow::Hann, 1.f}.Apply(a);
    for (int i = 0; i < 4; ++i) { // a window of eight elements
        const double expected = 0.5 - 0.5 * std::cos(2 * M_PI * i / 7);
        EXPECT_NEAR(memory[i], expected, kFloatEpsilon);
        EXPECT_EQ(memory[19 - i], memory[i]);
    }
    for (int i = 4; i < 16; ++i) EXPECT_EQ(memory[i], 1.f);

    TaperWindow{100, TaperWindow::Bartlett, 1.f}.Apply(a); // covers the whole array
    EXPECT_NEAR(memory[9], 18. / 19, kFloatEpsilon);
    EXPECT_EQ(memory[0], 0.f);

    IPP::Array<IPP::Ipp32fc> complex(20);
    TaperWindow{4, TaperWindow::Hamming, 1.f}.Apply(complex);
    EXPECT_NEAR(complex[0].re, 0.08, kFloatEpsilon);
    EXPECT_EQ(complex[10].re, 1.f);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(complex[i].im, 0.f);
}

TEST(TaperWindow, KnowsItsWindowsAndDoesNothingBelowTwo) {
    const auto head = [](const TaperWindow& taper) {
        IPP::Array<float> a(12);
        taper.Apply(a);
        return a[1];
    };
    const double t = 2 * M_PI / 7; // second element of eight
    EXPECT_NEAR(head({4, TaperWindow::Hamming, 1.f}), 0.54 - 0.46 * std::cos(t), kFloatEpsilon);
    EXPECT_NEAR(head({4, TaperWindow::Bartlett, 1.f}), 2. / 7, kFloatEpsilon);
    EXPECT_NEAR(head({4, TaperWindow::Blackman, -0.16f}), 0.42 - 0.5 * std::cos(t) + 0.08 * std::cos(2 * t),
                kFloatEpsilon);
    EXPECT_GT(head({4, TaperWindow::Kaiser, 1.f}), 0.f);
    EXPECT_LT(head({4, TaperWindow::Kaiser, 1.f}), 1.f);
    EXPECT_EQ(head({4, 7, 1.f}), 1.f);
    EXPECT_EQ(head({1, TaperWindow::Hann, 1.f}), 1.f);
    EXPECT_EQ(head({0, TaperWindow::Hann, 1.f}), 1.f);
    EXPECT_EQ(head({-3, TaperWindow::Hann, 1.f}), 1.f);
}

TEST(MigrationParams, DefaultsAndShapeAreThoseOfAllMigrations) {
    const AlgoParamFkMigration params;
    EXPECT_TRUE(params.enableLogging);
    EXPECT_EQ(params.loggingLevel, 1);
    EXPECT_EQ(params.timeZero, 1);
    EXPECT_EQ(params.permittivity, 6.f);
    EXPECT_EQ(params.overlays.value, "");
    AlgoFkMigration migration;
    EXPECT_EQ(migration.GetLogPrefix(), "FkMigration");
    migration.Setup(AlgoParamFkMigration(false, 2, 12, 9.f, "[]"));
    ImageProps props(100, 8, 2);
    props.bscanInfo[1] = {3, 2};
    const ImageProps adjusted = migration.GetAdjustedImageDimensions(props);
    EXPECT_EQ(adjusted.samplesPerAscan, 88);
    EXPECT_EQ(adjusted.ascansPerBscan, 8);
    ASSERT_EQ(adjusted.bscanInfo.size(), 2u);
    EXPECT_EQ(adjusted.bscanInfo[1].firstValidIdx, 0);
    EXPECT_EQ(adjusted.bscanInfo[1].validLen, 8);
}

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "Array/Primitives/Checked.h"
#include "support/Failure.h"

using namespace IPP;

TEST(Plain, RefusesNullPointersAndEmptyRanges) {
    float x[2] = {1, 2};
    Ipp32fc c{};
    EXPECT_EQ(ippsCopy_32f(x, x, 0), -6);
    EXPECT_EQ(ippsCopy_32f(nullptr, x, 1), -8);
    EXPECT_EQ(ippsZero_32f(x, -1), -6);
    EXPECT_EQ(ippsMax_32f(x, 1, nullptr), -8);
    EXPECT_EQ(ippsMean_32f(x, 0, x, ippAlgHintFast), -6);
    EXPECT_EQ(ippsMagnitude_32fc(&c, nullptr, 1), -8);
    EXPECT_EQ(ippsThreshold_GT_32f_I(nullptr, 1, 0), -8);
    EXPECT_EQ(ippsDivC_32f_I(0, x, 2), -10);
    EXPECT_EQ(x[0], 1.f);
    EXPECT_EQ(ippsMalloc_32f(0), nullptr);
    EXPECT_EQ(ippsMalloc_64f(-5), nullptr);
    ippsFree(nullptr);
}

TEST(Plain, SumsMeansAndQuotientsAreTakenIn64Bits) {
    std::vector<float> v(1000, 0.1f);
    v.front() = 1e8f;
    v.back() = -1e8f;
    float sum = 0;
    ASSERT_EQ(ippsSum_32f(v.data(), 1000, &sum, ippAlgHintFast), 0);
    EXPECT_NEAR(sum, 998 * static_cast<double>(0.1f), 1e-5); // 1000 roundings at 1e8: 1.5e-8 each
    float mean = 0;
    ASSERT_EQ(ippsMean_32f(v.data(), 1000, &mean, ippAlgHintFast), 0);
    EXPECT_NEAR(mean, 0.998 * static_cast<double>(0.1f), 3e-8);
    float x[1] = {1e-44f}; // divided by the smallest floats: 1 / value is no float
    ASSERT_EQ(ippsDivC_32f_I(1e-45f, x, 1), 0);
    EXPECT_EQ(x[0], 7.f); // 7 times the smallest denormal
}

TEST(Plain, MagnitudeNeitherOverflowsNorUnderflows) {
    std::vector<Ipp32fc> z(600, Ipp32fc{3, 4});
    z[300] = {3e37f, -4e37f};
    z[301] = {3e-40f, 4e-40f};
    z[302] = {0, 0};
    z[599] = {NAN, 1};
    std::vector<float> m(z.size());
    ASSERT_EQ(ippsMagnitude_32fc(z.data(), m.data(), 600), 0);
    EXPECT_FLOAT_EQ(m[300], 5e37f);
    EXPECT_NEAR(m[301], 5e-40, 3e-45);
    EXPECT_EQ(m[302], 0.f);
    EXPECT_TRUE(std::isnan(m[599]));
    EXPECT_EQ(m[0], 5.f);
    EXPECT_EQ(m[598], 5.f);
}

TEST(Plain, SortsWithNaNLast) {
    float v[] = {3, NAN, -1, INFINITY, -NAN, -INFINITY, 0};
    ASSERT_EQ(ippsSortAscend_32f_I(v, 7), 0);
    const float expected[] = {-INFINITY, -1, 0, 3, INFINITY};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(v[i], expected[i]);
    EXPECT_TRUE(std::isnan(v[5]) && std::isnan(v[6]));
    int n[] = {2, -7, 2, 0};
    ASSERT_EQ(ippsSortAscend_32s_I(n, 4), 0);
    EXPECT_EQ(std::vector<int>(n, n + 4), (std::vector<int>{-7, 0, 2, 2}));
    int max = 0;
    ASSERT_EQ(ippsMax_32s(n, 3, &max), 0);
    EXPECT_EQ(max, 2);
}

TEST(Checked, TurnsEveryStatusIntoAnExceptionWithThePrimitivesName) {
    float x[1] = {1};
    EXPECT_EQ(Failure([&] { Checked::ippsCopy_32f(x, x, 0); }), "-6 IPP::Exception::ippsCopy_32f");
    EXPECT_EQ(Failure([&] { Checked::ippsSet_32f(nullptr, 1, 1); }), "-8 IPP::Exception::ippsSet_32f");
    EXPECT_EQ(Failure([] { Checked::Check(3, "IPP::Exception::warning"); }), "3 IPP::Exception::warning");
    const float level = 0.5f;
    Checked::ippsThreshold_GT_32f_I(x, 1, &level);
    EXPECT_EQ(x[0], 0.5f);
}

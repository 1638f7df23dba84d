#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "Array/Array2D.h"
#include "support/Failure.h"
#include "support/Noise.h"

using namespace IPP;

namespace {

Array<float> View(std::vector<float>& v) { return Array<float>(v.data(), static_cast<int>(v.size())); }

} // namespace

TEST(ArrayStatistics, MeanLimitsItsRangeToTheArray) {
    std::vector<float> v{1, 2, 3};
    EXPECT_EQ(View(v).Mean(0, 0, ippAlgHintFast), 2.f);
    EXPECT_EQ(View(v).Mean(5, 2), 3.f);
    EXPECT_EQ(View(v).Mean(-3, 1), 1.f);
    EXPECT_EQ(View(v).Mean(1, 99), 2.5f);
}

TEST(ArrayStatistics, MedianIsTheMiddleOfTheOrder) {
    std::vector<float> odd{3, 1, 2}, even{4, 1, 3, 2};
    EXPECT_EQ(View(odd).Median(), 2.f);
    EXPECT_EQ(View(even).Median(), 2.5f);
    EXPECT_EQ(even, (std::vector<float>{4, 1, 3, 2}));
    int negative[] = {-1, -2}, largest[] = {2147483647, 2147483645};
    EXPECT_EQ(Array<int>(negative, 2).Median(), -1);
    EXPECT_EQ(Array<int>(largest, 2).Median(), 2147483646);
    EXPECT_EQ(Array<int>(largest, 0).Median(), 0);
}

TEST(ArrayStatistics, IndexOfMaxTakesTheFirstOfEqualsAndNoNaN) {
    std::vector<float> v{1, 5, NAN, 5, 2};
    float value = 0;
    EXPECT_EQ(View(v).IndexOfMax(nullptr), View(v).IndexOfMax(&value));
    EXPECT_EQ(View(v).IndexOfMax(&value), 1);
    EXPECT_EQ(value, 5.f);
    EXPECT_EQ(Array<float>(v.data(), 0).IndexOfMax(&value), -1);
    EXPECT_EQ(value, 0.f);
}

TEST(ArrayStatistics, CumSumRoundsItsRunningSumToFloats) {
    std::vector<float> v{16777216.f, 1.f, 1.f}; // 2^24 + 1 isn't a float
    View(v).CumSum(View(v));
    EXPECT_EQ(v, (std::vector<float>{16777216.f, 16777216.f, 16777216.f}));
}

TEST(ArrayStatistics, RootMeanSquareTurnsIntervalSpeedsIntoRmsSpeeds) {
    std::vector<float> interval = Noise().Floats(40);
    for (float& v : interval) v = 1e8f * (1.5f + v);
    const float delta = 5e-11f;
    std::vector<float> rms(interval.size());
    View(rms).RootMeanSquare(View(interval), delta);
    double sum = 0;
    for (std::size_t i = 0; i + 1 < rms.size(); ++i) {
        sum += static_cast<double>(interval[i]) * interval[i];
        const double expected = std::sqrt(sum / static_cast<double>(i + 1));
        EXPECT_NEAR(rms[i], expected, expected * static_cast<double>(i + 3) * kFloatEpsilon); // i + 1 float sums
    }
    EXPECT_EQ(rms[39], rms[38]);
    std::vector<float> two{2, 2};
    EXPECT_EQ(Failure([&] { View(two).RootMeanSquare(View(interval), 0); }),
              "-2 IPP::Array::RootMeanSquare - Dimensions are not equal");
    EXPECT_EQ(Failure([&] { View(two).RootMeanSquare(View(two), 0); }), "-2 IPP::Array::RootMeanSquare - too short");
    EXPECT_EQ(Failure([&] { View(rms).RootMeanSquare(View(interval), 0); }),
              "-2 IPP::Array::RootMeanSquare - delta must not be 0");
}

TEST(ArrayStatistics, MovingAveragesShortenTheirWindowAtTheEnd) {
    std::vector<float> v{1, 3, 5};
    View(v).FilterMovingAverageLeading(2);
    EXPECT_EQ(v, (std::vector<float>{2, 4, 5}));
    v = {1, 3, 5};
    View(v).FilterMovingAverageDelayed(2);
    EXPECT_EQ(v, (std::vector<float>{1, 2, 4}));
    View(v).FilterMovingAverageLeading(100);
    EXPECT_EQ(v[2], 4.f);
    EXPECT_EQ(Failure([&] { View(v).FilterMovingAverageLeading(1); }),
              "-2 IPP::Array::FilterMovingAverageLeading - maskSize too small");
    EXPECT_EQ(Failure([&] { View(v).FilterMovingAverageDelayed(1); }),
              "-2 IPP::Array::FilterMovingAverageDelayed - maskSize too small");
}

TEST(ArrayStatistics, ElementOperationsRefuseOtherSizesBeforeTheyWrite) {
    std::vector<float> a{1, -2};
    std::vector<float> b{3, 4};
    std::vector<float> three{1, 1, 1};
    View(a).MultiplyElements(View(b));
    EXPECT_EQ(a, (std::vector<float>{3, -8}));
    View(a).MinOfElements(View(b));
    EXPECT_EQ(a, (std::vector<float>{3, -8}));
    Ipp32fc complex[] = {{3, 4}, {0, -2}};
    Ipp32fc turn[] = {{0, 1}, {0, 1}};
    Array<Ipp32fc>(complex, 2).MultiplyElements(Array<Ipp32fc>(turn, 2));
    EXPECT_EQ(complex[0].re, -4.f);
    EXPECT_EQ(complex[0].im, 3.f);
    View(b).MagnitudesOfElements(Array<Ipp32fc>(complex, 2));
    EXPECT_EQ(b, (std::vector<float>{5, 2}));
    EXPECT_EQ(Failure([&] { View(a).MultiplyElements(View(three)); }),
              "-2 IPP::Array::MultiplyElements - Dimensions are not equal");
    EXPECT_EQ(Failure([&] { View(a).MinOfElements(View(three)); }),
              "-2 IPP::Array::MinOfElements - Dimensions are not equal");
    EXPECT_EQ(Failure([&] { View(three).MagnitudesOfElements(Array<Ipp32fc>(complex, 2)); }),
              "-2 IPP::Array::MagnitudesOfElements - Dimensions are not equal");
    EXPECT_EQ(Failure([&] { View(a).CumSum(View(three)); }), "-2 IPP::Array::CumSum - Dimensions are not equal");
    EXPECT_EQ(a, (std::vector<float>{3, -8}));
}

TEST(ArrayStatistics, TransposeSwapsRowsAndColumnsOfAnyShape) {
    const int width = 37;
    const int height = 50;
    std::vector<float> source = Noise().Floats(width * height);
    std::vector<float> target(source.size());
    Array2D<float>(target.data(), height, width).Transpose(Array2D<float>(source.data(), width, height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) ASSERT_EQ(target[x * height + y], source[y * width + x]);
    EXPECT_EQ(Failure([&] {
                  Array2D<float>(target.data(), width, height).Transpose(Array2D<float>(source.data(), width, height));
              }),
              "-2 IPP::Array2D::Transpose - dimensions are not compatible");
}

#include "Algorithms/Preparation/AlgoTopography.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"

using namespace TZM;

namespace {

AlgoTopography Topography(float datum, const std::vector<float>& elevations, float permittivity = 9.f) {
    AlgoTopography algorithm;
    algorithm.Setup({true, 1, datum, elevations, permittivity});
    return algorithm;
}

// 0.1 m/ns and 0.05 ns: 400 samples per metre

} // namespace

TEST(Topography, MovesEveryAscanByTheTimeFromTheDatumToItsGround) {
    const FreshStatics statics;
    Block in = NoiseBlock(30, 5, 2);
    in.props.bscanInfo[1] = {1, 3};
    const std::vector<float> of = {100.f, 99.95f, 100.1f, 99.9f, 100.02f, 100.03f, 100, 100, 99.97f, 99};
    for (const float datum : {0.f, 100.5f, 99.99f}) {
        const Block out = Executed(Topography(datum, of), in);
        const double top = datum != 0 ? datum : 100.1f;
        EXPECT_EQ(out.props.samplesPerAscan, 30 + std::lround((top - 99) * 400));
        for (int z = 0; z < 2; ++z)
            for (int y = 0; y < 5; ++y)
                for (int s = 0; s < out.props.samplesPerAscan; ++s) {
                    const long from = s - std::lround((top - of[z * 5 + y]) * 400);
                    const bool there = from >= 0 && from < 30 && (z == 0 || (y >= 1 && y < 4));
                    ASSERT_EQ(out.At(s, y, z), there ? in.At(int(from), y, z) : 0) << s << " " << y << " " << z;
                }
    }
}

TEST(Topography, SpreadsAShorterTableAlongEveryLine) {
    const FreshStatics statics;
    const Block in = NoiseBlock(40, 9, 2);
    std::vector<float> each;
    for (int z = 0; z < 2; ++z)
        for (const double h : {5., 5.05, 5.1, 5.15, 5.2, 5.125, 5.05, 4.975, 4.9}) each.push_back(float(h));
    EXPECT_EQ(Executed(Topography(0, {5.f, 5.2f, 4.9f}), in).data, Executed(Topography(0, each), in).data);
    EXPECT_EQ(Executed(Topography(0, {7.f}), in).data, in.data);
}

TEST(Topography, ThereAndBackIsTheBlockAgain) {
    const FreshStatics statics;
    const Block in = NoiseBlock(100, 20, 3);
    std::vector<float> up, down;
    Noise noise(5);
    for (int i = 0; i < 60; ++i) up.push_back(250 + noise()), down.push_back(-up.back());
    const float datum = *std::max_element(up.begin(), up.end());
    const Block back = Executed(Topography(-datum, down), Executed(Topography(0, up), in));
    ASSERT_GE(back.props.samplesPerAscan, 100);
    for (int z = 0; z < 3; ++z)
        for (int y = 0; y < 20; ++y)
            for (int s = 0; s < back.props.samplesPerAscan; ++s)
                ASSERT_EQ(back.At(s, y, z), s < 100 ? in.At(s, y, z) : 0);
}

TEST(Topography, LevelsAFlatReflectorUnderAHill) {
    const FreshStatics statics;
    Block in(ImageProps(900, 60, 1));
    std::vector<float> ground;
    for (int y = 0; y < 60; ++y) {
        ground.push_back(float(300 + 0.8 * std::exp(-std::pow((y - 30) / 12., 2))));
        for (int s = 0; s < 900; ++s)
            in.At(s, y) = float(Ricker((s - (ground.back() - 299.) * 400) * 5e-11, 8e8)); // at 299 m
    }
    const AlgoTopography algorithm = Topography(0, ground);
    const Block out = Executed(algorithm, in);
    for (int y = 0; y < 60; ++y) {
        int peak = 0;
        for (int s = 0; s < out.props.samplesPerAscan; ++s)
            if (out.At(s, y) > out.At(peak, y)) peak = s;
        EXPECT_NEAR(peak, (algorithm.Datum() - 299.) * 400, 1) << y;
    }
}

TEST(Topography, WorksOnPartsByTheirPlace) {
    const FreshStatics statics;
    const Block in = NoiseBlock(20, 4, 6);
    std::vector<float> ground;
    for (int i = 0; i < 24; ++i) ground.push_back(float(i % 7) * 0.01f);
    const AlgoTopography algorithm = Topography(0, ground);
    const Block whole = Executed(algorithm, in);
    for (int z = 0; z < 6; z += 2) {
        const ImageProps part(20, 4, 2), behind = algorithm.GetAdjustedImageDimensions(part);
        Block out(behind, NAN);
        algorithm.ExecutePart(&const_cast<Block&>(in).At(0, 0, z), part, {z, 6}, out.data.data(), behind);
        EXPECT_EQ(out.data, std::vector<float>(whole.data.begin() + z * 4 * behind.samplesPerAscan,
                                               whole.data.begin() + (z + 2) * 4 * behind.samplesPerAscan));
    }
}

TEST(Topography, RefusesWhatCannotBeMeantAndReadsItsKeys) {
    const FreshStatics statics;
    const Block in = NoiseBlock(8, 4, 2);
    for (const std::size_t count : {0, 5, 7, 9})
        EXPECT_EQ(Failure([&] { Executed(Topography(0, std::vector<float>(count, 1.f)), in); }),
                  "-13/0 TZM::Exception::unexpectedElevationCount");
    EXPECT_EQ(Failure([&] { Executed(Topography(0, {1.f}, 0), in); }),
              "-10/0 TZM::Exception::permittivitySmallerEqualZero");
    for (const auto& elevations : {std::vector<float>{1e30f, 0}, std::vector<float>{NAN}})
        EXPECT_EQ(Failure([&] { Executed(Topography(0, elevations), in); }), "-12/0 TZM::Exception::valueToBig");
    const ImageProps props(8, 4, 2);
    EXPECT_EQ(Failure([&] { Topography(1, {3.f}).Execute(in.data.data(), props, nullptr, props); }),
              "99/-6 IPP::Exception::ippsCopy_32f"); // all of it lies above the datum
    AlgoTopography algorithm;
    const auto& params = FreshStatics::Parsed(
        algorithm, "{'Global': {'Permittivity': 4.5}, 'Topography': {'Datum': 12.5, 'Elevations': [1, 2.5]}}");
    EXPECT_EQ(params.permittivity.value, 4.5f);
    EXPECT_EQ(params.datum.value, 12.5f);
    EXPECT_EQ(params.elevations.value, (std::vector<float>{1, 2.5f}));
}

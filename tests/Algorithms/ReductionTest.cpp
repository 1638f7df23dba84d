// The two sum-ups and the clearing of borders.
#include <gtest/gtest.h>

#include "Algorithms/Reduction/AlgoBorderClearing.h"
#include "Algorithms/Reduction/AlgoHorizontalSumUp.h"
#include "Algorithms/Reduction/AlgoVerticalSumUp.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

/// The window walked point by point.
float Walked(const std::vector<float>& line, int low, int high, bool useMax) {
    float held = line[low];
    double squares = 0;
    for (int i = low; i < high; ++i) {
        if (std::abs(line[i]) > std::abs(held)) held = line[i];
        squares += double(line[i]) * line[i];
    }
    return useMax || high - low < 2 ? held : std::sqrt(squares / (high - low));
}

template <class Algorithm>
Block SummedUp(const Block& in, int thickness, bool useMax) {
    Algorithm algo;
    algo.GetParams().Thickness = thickness;
    algo.GetParams().UseMax = useMax;
    return Executed(algo, in);
}

bool Same(float a, float b, bool exact) {
    return (std::isnan(a) && std::isnan(b)) || a == b || (!exact && std::abs(a - b) <= 1e-6 * std::abs(b));
}

Block WithOddities(int samples, int ascans, int bscans) {
    Block in = NoiseBlock(samples, ascans, bscans, 3.f);
    for (float& x : in.data) x = std::round(x * 4) / 4; // ties, of both signs
    in.data[in.data.size() / 2] = NAN;
    in.data[in.data.size() / 3] = -INFINITY;
    return in;
}

class SumUpAtLevel : public AtSimdLevel {};

} // namespace

TEST_P(SumUpAtLevel, WindowsAreTheWalkedOnes) {
    for (const auto& [samples, ascans, bscans] :
         {std::tuple(40, 3, 9), std::tuple(7, 50, 12), std::tuple(1, 1, 1), std::tuple(130, 2, 2)}) {
        const Block in = WithOddities(samples, ascans, bscans);
        for (const int thickness : {-1, 0, 1, 2, 3, 4, 5, 8, 11, 64, 1000})
            for (const bool useMax : {true, false}) {
                const Block across = SummedUp<AlgoHorizontalSumUp>(in, thickness, useMax),
                            along = SummedUp<AlgoVerticalSumUp>(in, thickness, useMax);
                for (int z = 0; z < bscans; ++z)
                    for (int y = 0; y < ascans; ++y)
                        for (int s = 0; s < samples; ++s) {
                            std::vector<float> line;
                            for (int i = 0; i < bscans; ++i) line.push_back(in.At(s, y, i));
                            int t = std::clamp(thickness, 1, bscans);
                            ASSERT_TRUE(Same(
                                across.At(s, y, z),
                                Walked(line, std::max(z - t / 2, 0), std::min(z - t / 2 + t, bscans), useMax), useMax))
                                << thickness << " " << useMax << " " << s << " " << y << " " << z;
                            t = std::clamp(thickness, 1, samples);
                            line.assign(&in.data[(z * ascans + y) * samples],
                                        &in.data[(z * ascans + y) * samples] + samples);
                            ASSERT_TRUE(
                                Same(along.At(s, y, z), Walked(line, s, std::min(s + t, samples), useMax), useMax))
                                << thickness << " " << useMax << " " << s << " " << y << " " << z;
                        }
            }
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(SumUpAtLevel);

TEST(SumUp, GivesTheWorkedNumbers) {
    Block line(ImageProps(1, 1, 3));
    line.data = {-5, 2, 5};
    EXPECT_EQ(SummedUp<AlgoHorizontalSumUp>(line, 3, true).data, (std::vector<float>{-5, -5, 5}));
    EXPECT_EQ(SummedUp<AlgoHorizontalSumUp>(line, 2, true).data, (std::vector<float>{-5, -5, 5}));
    line.data = {3, 4, 0};
    EXPECT_FLOAT_EQ(SummedUp<AlgoHorizontalSumUp>(line, 3, false).data[0], std::sqrt(12.5f));
    Block ascan(ImageProps(3, 1, 1));
    ascan.data = {-5, 2, -2};
    EXPECT_EQ(SummedUp<AlgoVerticalSumUp>(ascan, 2, true).data, (std::vector<float>{-5, 2, -2}));
}

TEST(SumUp, ReadsItsKeys) {
    const FreshStatics statics;
    AlgoHorizontalSumUp across;
    AlgoVerticalSumUp along;
    const auto check = [&](auto& algo, const std::string& name) {
        statics.Parsed(algo, "{'" + name + "': {'Thickness': 3.0, 'UseMax': 0}}");
        EXPECT_EQ(algo.GetParams().Thickness, 0);
        EXPECT_EQ(algo.GetParams().UseMax, true);
        statics.Parsed(algo, "{'" + name + "': {'Thickness': 3, 'UseMax': false}}");
        EXPECT_EQ(algo.GetParams().Thickness, 3);
        EXPECT_EQ(algo.GetParams().UseMax, false);
        statics.Parsed(algo, "{'" + name + "': {'Thickness': -3}}");
        EXPECT_EQ(statics.Errors().back(), "Algo" + name +
                                               "::ParseParamsFromJsonConfig: JSON Exception - "
                                               "Negative integer can not be converted to unsigned integer");
    };
    check(across, "HorizontalSumUp");
    check(along, "VerticalSumUp");
}

namespace {

Block Cleared(const Block& in, const BorderWidths& widths, float value, std::string* failure = nullptr) {
    AlgoBorderClearing algo;
    algo.GetParams().borders = widths;
    algo.GetParams().ClearValue = value;
    Block out(in.props, NAN);
    const std::string failed = Failure([&] { algo.Execute(in.data.data(), in.props, out.data.data(), out.props); });
    if (failure) *failure = failed;
    return out;
}

/// The walk as it is told, on a block small enough for it.
Block Walked(const Block& in, const BorderWidths& w, float value, std::string& failure) {
    const unsigned S = in.props.samplesPerAscan, A = in.props.ascansPerBscan, B = in.props.bscanCount;
    Block out(in.props, value);
    failure = "none";
    if (w.LowerX >= A - w.UpperX || w.LowerY >= B - w.UpperY) return out; // else a long walk to nowhere
    for (unsigned z = w.LowerZ; z < S - w.UpperZ; ++z)
        for (unsigned x = w.LowerX; x < A - w.UpperX; ++x)
            for (unsigned y = w.LowerY; y < B - w.UpperY; ++y) {
                if (z >= S || x >= A || y >= B) {
                    failure = "99/-2 Index exceeds IPP::Array3D bounds";
                    return out;
                }
                out.At(z, x, y) = in.At(z, x, y);
            }
    return out;
}

} // namespace

TEST(BorderClearing, KeepsTheBoxThatTheWalkReaches) {
    const Block in = NoiseBlock(5, 4, 3);
    EXPECT_EQ(Cleared(in, {}, 7).data, in.data);
    const unsigned most = 0xffffffffu;
    for (const unsigned lower : {0u, 1u, 3u, 9u, most})
        for (const unsigned upper : {0u, 1u, 3u, 4u, 5u, 6u, 0x80000000u})
            for (int axis = 0; axis < 9; ++axis) {
                BorderWidths w;
                (axis % 3 == 0 ? w.LowerX : axis % 3 == 1 ? w.LowerY : w.LowerZ) = lower;
                (axis / 3 == 0 ? w.UpperX : axis / 3 == 1 ? w.UpperY : w.UpperZ) = upper;
                if (w == BorderWidths()) continue;
                std::string expectedFailure, failure;
                const Block expected = Walked(in, w, 7, expectedFailure), out = Cleared(in, w, 7, &failure);
                ASSERT_EQ(failure, expectedFailure) << axis << " " << lower << " " << upper;
                ASSERT_EQ(out.data, expected.data) << axis << " " << lower << " " << upper;
            }
}

TEST(BorderClearing, ReadsItsKeysAllAtOnce) {
    const FreshStatics statics;
    AlgoBorderClearing algo;
    const auto parsed = [&](const std::string& keys) {
        const auto& p = statics.Parsed(algo, "{'Clipper': {" + keys + "}}");
        const BorderWidths w = p.borders;
        return std::vector<double>{double(w.LowerX), double(w.UpperX), double(w.LowerY), double(w.UpperY),
                                   double(w.LowerZ), double(w.UpperZ), p.ClearValue};
    };
    EXPECT_EQ(parsed("'BorderLowerX': 1, 'BorderUpperX': 2, 'BorderLowerY': 3, 'BorderUpperY': 4, 'BorderLowerZ': 5, "
                     "'BorderUpperZ': 4294967295, 'BorderClearValue': 7"),
              (std::vector<double>{1, 2, 3, 4, 5, 4294967295., 7}));
    EXPECT_EQ(parsed("'BorderLowerX': -1, 'BorderUpperX': 2.0, 'BorderLowerY': true, 'BorderClearValue': true"),
              (std::vector<double>{0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(parsed(""), std::vector<double>(7));
    statics.Parsed(algo, "{'Clipper': {'BorderLowerX': 6}}");
    statics.Parsed(algo, "{");
    EXPECT_EQ(BorderWidths(algo.GetParams().borders).LowerX, 6u);
    EXPECT_THROW(parsed("'BorderLowerX': 4294967296"), std::runtime_error);
}

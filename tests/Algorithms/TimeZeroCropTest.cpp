#include "Algorithms/Preparation/AlgoTimeZeroCrop.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"

namespace TZM {
namespace {

std::vector<float> Cropped(const AlgoTimeZeroCrop& crop, const Block& in) {
    const ImageProps out = crop.GetAdjustedImageDimensions(in.props);
    std::vector<float> data(static_cast<std::size_t>(out.samplesPerAscan) * in.props.ascansPerBscan *
                            in.props.bscanCount);
    crop.Execute(in.data.data(), in.props, data.data(), out);
    return data;
}

TEST(TimeZeroCrop, KeepsWhatLiesBehindTheTimeZeroOfEachBscan) {
    const FreshStatics statics;
    Block in(ImageProps(10, 2, 4));
    for (std::size_t i = 0; i < in.data.size(); ++i) in.data[i] = static_cast<float>(i);
    AlgoTimeZeroCrop crop;
    for (const std::vector<int>& list : {std::vector<int>{}, {3}, {2, 5}, {0, 1, 2, 3}, {9}}) {
        crop.Setup(AlgoParamTimeZeroCrop(true, 1, 4, list));
        const int largest = list.empty() ? 4 : *std::max_element(list.begin(), list.end()), kept = 10 - largest;
        EXPECT_EQ(crop.GetAdjustedImageDimensions(in.props).samplesPerAscan, kept);
        const std::vector<float> out = Cropped(crop, in);
        for (int z = 0; z < 4; ++z)
            for (int y = 0; y < 2; ++y)
                for (int s = 0; s < kept; ++s)
                    EXPECT_EQ(out[std::size_t((z * 2 + y) * kept + s)],
                              in.At(s + (list.empty() ? 4 : list[std::size_t(z) % list.size()]), y, z));
    }
}

TEST(TimeZeroCrop, RefusesATimeZeroThatIsNoSampleAndReadsItsKeys) {
    const FreshStatics statics;
    const Block in(ImageProps(10, 2, 4));
    std::vector<float> out(100);
    const auto failure = [&](int timeZero, const std::vector<int>& list) {
        AlgoTimeZeroCrop crop;
        crop.Setup(AlgoParamTimeZeroCrop(true, 1, timeZero, list));
        return Failure([&] { crop.Execute(in.data.data(), in.props, out.data(), in.props); });
    };
    EXPECT_EQ(failure(10, {}), "99/-6 IPP::Exception::ippsCopy_32f");
    EXPECT_EQ(failure(-1, {}), "-8/0 TZM::Exception::valueSmallerZero");
    EXPECT_EQ(failure(1, {3, -2}), "-8/0 TZM::Exception::valueSmallerZero");
    AlgoTimeZeroCrop crop;
    const auto& params =
        FreshStatics::Parsed(crop, "{'Global': {'TimeZero': 7}, 'TimeZeroCrop': {'TimeZeros': [3, 4]}}");
    EXPECT_EQ(params.timeZero.value, 7);
    EXPECT_EQ(params.timeZeros.value, (std::vector<int>{3, 4}));
}

} // namespace
} // namespace TZM

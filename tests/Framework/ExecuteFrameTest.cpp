#include "Framework/private/ExecuteFrame.h"

#include <gtest/gtest.h>

namespace TZM {
namespace {

/// The failure with which an algorithm refuses a block of these dimensions before it touches it.
Exception::CalcError Refusal(int samples, int ascans, int bscans, const float* in) {
    ImageProps props;
    props.samplesPerAscan = samples;
    props.ascansPerBscan = ascans;
    props.bscanCount = bscans;
    try {
        RunExecute([&] { RefuseEmpty(InputView(in, props), "IPP::Exception::ippsCopy_32f"); });
    } catch (const Exception::CalcError& error) {
        return error;
    }
    return {0, "accepted"};
}

TEST(ExecuteFrame, RefusesBlocksThatHaveNoElementsOrTooMany) {
    const float sample = 1;
    EXPECT_EQ(Refusal(1, 1, 1, &sample).GetMessage(), "accepted");
    for (const auto& empty :
         {ImageProps(0, 4, 3), ImageProps(5, 0, 3), ImageProps(5, 4, 0), ImageProps(70000, 70000, 0)}) {
        const auto error = Refusal(empty.samplesPerAscan, empty.ascansPerBscan, empty.bscanCount, &sample);
        EXPECT_EQ(error.GetCode(), 99);
        EXPECT_EQ(error.GetMessage(), "IPP::Exception::ippsCopy_32f");
        EXPECT_EQ(error.GetIppException().GetStatus(), -6);
    }
    EXPECT_EQ(Refusal(2, 2, 2, nullptr).GetIppException().GetStatus(), -8);
    constexpr int most = std::numeric_limits<int>::max();
    EXPECT_EQ(Refusal(most, 1, 1, &sample).GetMessage(), "accepted");
    // 65536^2 wraps to 0 in 32 bits, most^3 wraps in 64.
    const int refused[][3] = {{65536, 65536, 1}, {1, 65536, 32768}, {most, most, most}, {most, 2, 1}, {-1, 1, 1},
                              {1, -1, 1},        {1, 1, -1},        {-2, -2, 1},        {-1, 0, 1}};
    for (const auto& dims : refused) {
        const auto error = Refusal(dims[0], dims[1], dims[2], &sample);
        EXPECT_EQ(error.GetCode(), 99);
        EXPECT_EQ(error.GetIppException().GetStatus(), -2) << dims[0] << " " << dims[1] << " " << dims[2];
    }
}

TEST(ExecuteFrame, PassesOtherFailuresAsTheyAre) {
    EXPECT_THROW(RunExecute([] { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_THROW(RunExecute([] { throw std::length_error("x"); }), std::length_error);
    try {
        RunExecute([] { throw Exception::CalcError(-12, "TZM::Exception::valueToBig"); });
    } catch (const Exception::CalcError& error) {
        EXPECT_EQ(error.GetCode(), -12);
    }
}

TEST(ExecuteFrame, LimitsValidRangesToTheBscan) {
    ImageProps props(4, 10, 6);
    props.bscanInfo = {{0, 10}, {-5, 4}, {12, 3}, {7, 99}, {3, -1}};
    const int expected[][2] = {{0, 10}, {0, 4}, {9, 1}, {7, 3}, {3, 0}, {0, 0}}; // the last has no entry
    for (int z = 0; z < 6; ++z) {
        EXPECT_EQ(ValidRange(props, z).firstValidIdx, expected[z][0]) << z;
        EXPECT_EQ(ValidRange(props, z).validLen, expected[z][1]) << z;
    }
    EXPECT_EQ(LimitValidRange({3, 2}, 0).firstValidIdx, 0);
    EXPECT_EQ(LimitValidRange({3, 2}, 0).validLen, 0);
    constexpr int most = std::numeric_limits<int>::max();
    EXPECT_EQ(LimitValidRange({most, most}, 10).validLen, 1);
}

} // namespace
} // namespace TZM

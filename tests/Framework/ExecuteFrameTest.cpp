#include "Framework/private/ExecuteFrame.h"

#include <array>

#include "support/Failure.h"
#include "support/Scenes.h"

namespace TZM {
namespace {

TEST(ExecuteFrame, RefusesBlocksThatHaveNoElementsOrTooMany) {
    const auto refusal = [](int samples, int ascans, int bscans, bool memory = true) {
        const float sample = 1;
        ImageProps props;
        props.samplesPerAscan = samples, props.ascansPerBscan = ascans, props.bscanCount = bscans;
        return Failure([&] {
            RunExecute([&] { RefuseEmpty(InputView(memory ? &sample : nullptr, props), "IPP::Exception::ippsAny"); });
        });
    };
    constexpr int most = std::numeric_limits<int>::max();
    using Dims = std::array<int, 3>;
    for (const auto& [s, y, z] : {Dims{1, 1, 1}, {most, 1, 1}}) EXPECT_EQ(refusal(s, y, z), "none");
    for (const auto& [s, y, z] : {Dims{0, 4, 3}, {5, 0, 3}, {5, 4, 0}, {70000, 70000, 0}})
        EXPECT_EQ(refusal(s, y, z), "99/-6 IPP::Exception::ippsAny");
    // 65536^2 wraps to 0 in 32 bits, most^3 wraps in 64.
    for (const auto& [s, y, z] : {Dims{65536, 65536, 1}, {1, 65536, 32768}, {most, most, most}, {most, 2, 1}})
        EXPECT_EQ(refusal(s, y, z), "99/-2 The block has too many elements for its index");
    for (const auto& [s, y, z] : {Dims{-1, 1, 1}, {1, -1, 1}, {1, 1, -1}, {-2, -2, 1}, {-1, 0, 1}})
        EXPECT_EQ(refusal(s, y, z), "99/-2 A dimension of the block is negative");
    EXPECT_EQ(refusal(2, 2, 2, false), "99/-8 The block has no memory");
}

TEST(ExecuteFrame, PassesOtherFailuresAsTheyAre) {
    EXPECT_THROW(RunExecute([] { throw std::length_error("x"); }), std::length_error);
    EXPECT_EQ(Failure([] { RunExecute([] { throw std::bad_alloc(); }); }), "bad_alloc");
    EXPECT_EQ(Failure([] { RunExecute([] { throw Exception::CalcError(-12, "own"); }); }), "-12/0 own");
}

TEST(ExecuteFrame, LimitsValidRangesToTheBscan) {
    ImageProps props(4, 10, 6);
    props.bscanInfo = {{0, 10}, {-5, 4}, {12, 3}, {7, 99}, {3, -1}}; // the last has no entry
    ImageProps limited = props;
    limited.bscanInfo.clear();
    for (int z = 0; z < 6; ++z) limited.bscanInfo.push_back(ValidRange(props, z));
    constexpr int most = std::numeric_limits<int>::max();
    limited.bscanInfo.push_back(LimitValidRange({most, most}, 10));
    limited.bscanInfo.push_back(LimitValidRange({3, 2}, 0));
    EXPECT_EQ(Flat(limited), (std::vector<int>{4, 10, 6, 0, 10, 0, 4, 9, 1, 7, 3, 3, 0, 0, 0, 9, 1, 0, 0}));
}

} // namespace
} // namespace TZM

#include "Algorithms/Preparation/AlgoBistaticReplacement.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"

using namespace TZM;

namespace {

Block Replaced(const Block& in, int height, int fade, bool enabled = true) {
    AlgoBistaticReplacement algo;
    algo.Setup(AlgoParamBistaticReplacement(true, 1, height, fade, enabled));
    return Executed(algo, in);
}

} // namespace

TEST(BistaticReplacement, ReplacesAndFadesLikeThePlainLoop) {
    for (const int bscans : {10, 7})
        for (const auto& [height, fade] : std::vector<std::pair<int, int>>{
                 {30, 10}, {30, 2}, {1, 0}, {30, -4}, {47, 10}, {50, 10}, {1000, 3}, {0, 10}, {-3, 10}}) {
            Block in = NoiseBlock(50, 6, bscans);
            in.props.bscanInfo[0] = {2, 4}; // B-scan 1: A-scan 0 invalid, 1 and 4 with one neighbour, 5 with the other
            in.props.bscanInfo[1] = {1, 5};
            in.props.bscanInfo[2] = {-1, 6}; // up to A-scan 4
            in.props.bscanInfo[3] = BscanInfo();
            in.props.bscanInfo[4] = in.props.bscanInfo[6] = BscanInfo(); // nothing beside B-scan 5 of seven
            const Block out = Replaced(in, height, fade);
            const int h = std::clamp(height, 0, 50), f = h == 0 ? 0 : std::clamp(fade, 0, 50 - h);
            for (int z = 0; z < bscans; ++z)
                for (int y = 0; y < 6; ++y)
                    for (int s = 0; s < 50; ++s) {
                        const auto valid = [&](int i) {
                            const BscanInfo range = in.props.bscanInfo[i];
                            return y >= range.firstValidIdx && y < range.firstValidIdx + range.validLen;
                        };
                        double expected = in.At(s, y, z);
                        if (z % (bscans == 7 ? 7 : 5) % 2 == 1 && s < h + f) {
                            double sum = 0, count = 0;
                            for (const int i : {z - 1, z + 1})
                                if (valid(z) && valid(i)) sum += in.At(s, y, i), ++count;
                            const double r = count > 0 ? sum / count : 0;
                            const double w = s < h ? 0 : (s - h + 1.) / f;
                            expected = (1 - w) * r + w * expected;
                        }
                        ASSERT_NEAR(out.At(s, y, z), expected, 4 * kFloatEpsilon) // four roundings below 1
                            << "height " << height << ", sample " << s << ", " << y << ", " << z;
                    }
        }
}

TEST(BistaticReplacement, PassesEverythingUnlessEnabled) {
    const Block in = NoiseBlock(50, 6, 5);
    EXPECT_EQ(Replaced(in, 30, 10, false).data, in.data);
    EXPECT_EQ(Executed(AlgoBistaticReplacement(), in).data, in.data);
}

TEST(BistaticReplacement, ReadsItsKeys) {
    const FreshStatics statics;
    AlgoBistaticReplacement algo;
    const auto parsed = [&](const std::string& keys) {
        const auto& p = statics.Parsed(algo, "{'BistaticReplacement': {" + keys + "}}");
        return std::vector<int>{p.replaceHeight, p.crossfadeLen, p.enabled};
    };
    EXPECT_EQ(parsed("'ReplaceHeight': 3.0, 'Enabled': 1"), (std::vector<int>{30, 10, 0}));
    EXPECT_EQ(parsed("'ReplaceHeight': 40, 'CrossfadeLen': 0, 'Enabled': true"), (std::vector<int>{40, 0, 1}));
    EXPECT_EQ(parsed("'ReplaceHeight': 5, 'CrossfadeLen': -1, 'Enabled': false"), (std::vector<int>{5, 0, 1}));
    EXPECT_EQ(statics.Errors().back(), "AlgoBistaticReplacement::ParseParamsFromJsonConfig: JSON Exception - "
                                       "Negative integer can not be converted to unsigned integer");
}

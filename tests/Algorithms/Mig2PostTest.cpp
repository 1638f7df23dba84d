#include "Algorithms/Migration/AlgoMig2Post.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/NaiveTransforms.h"
#include "support/Scenes.h"

using namespace TZM;

TEST(Mig2Post, GivesTheEnvelopeOfEveryAscan) {
    for (const int samples : {1, 2, 3, 64, 125, 511}) {
        Block in = NoiseBlock(samples, 35, 2); // more than one batch of A-scans, the last one not full
        for (int s = 0; s < samples; ++s) {
            in.At(s, 2, 1) = 0.f;
            in.At(s, 3, 1) *= 1e-6f; // rides with stronger ones
            in.At(s, 4, 0) *= 1e5f;
        }
        const Block out = Executed(AlgoMig2Post(), in);
        for (int z = 0; z < 2; ++z)
            for (int y : {0, 2, 3, 4, 34}) {
                const float* ascan = &in.At(0, y, z);
                std::vector<double> expected;
                for (const auto v : NaiveAnalytic({ascan, ascan + samples})) expected.push_back(std::abs(v));
                const double peak = *std::max_element(expected.begin(), expected.end());
                // The transforms' largest error is 5e-7 of the spectrum's peak, two of them in a row.
                EXPECT_TRUE(AllNear(&out.data[(z * 35 + y) * samples], expected, samples, 1e-6 * peak))
                    << samples << " samples, A-scan " << y << " of B-scan " << z;
            }
    }
}

TEST(Mig2Post, RefusesLongAscansAndLargeValues) {
    const auto result = [](const Block& in) { return Failure([&] { Executed(AlgoMig2Post(), in); }); };
    EXPECT_EQ(result(Block(ImageProps(1024, 1, 1), 1.f)), "none");
    EXPECT_EQ(result(Block(ImageProps(1025, 2, 1), 1.f)), "99/-2 IPP::Exception::ippsHilbert_outOfRange32f");
    Block large(ImageProps(16, 3, 2), 3.4e35f);
    EXPECT_EQ(result(large), "none");
    large.At(3, 1, 1) = -3.5e35f;
    EXPECT_EQ(result(large), "99/-2 IPP::Exception::ippsHilbert_outOfRange32f");
}

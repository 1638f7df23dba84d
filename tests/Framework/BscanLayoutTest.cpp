#include "Framework/private/BscanLayout.h"

#include "support/Failure.h"

namespace TZM {
namespace {

TEST(BscanLayout, TransposesAndComesBack) {
    for (const int samples : {1, 31, 33, 70})
        for (const int ascans : {1, 32, 65}) {
            IPP::Array2D<float> bscan(samples, ascans), back(samples, ascans), rows(ascans + 3, samples + 2);
            for (int i = 0; i < bscan.size; ++i) bscan[i] = static_cast<float>(i);
            rows.Set(-1);
            ToDepthRows(bscan, rows);
            for (int i = 0; i < rows.dim1; ++i)
                for (int a = 0; a < rows.dim0; ++a)
                    ASSERT_EQ(rows.At(a, i), i < samples && a < ascans ? bscan.At(i, a) : -1);
            FromDepthRows(rows, back);
            EXPECT_TRUE(AllNear(back, bscan, static_cast<std::size_t>(bscan.size), 0));
        }
}

TEST(BscanLayout, StartsAtTheFirstSampleAndRefusesWhatDoesNotFit) {
    IPP::Array2D<float> bscan(5, 2), rows(2, 3);
    for (int i = 0; i < bscan.size; ++i) bscan[i] = static_cast<float>(i);
    ToDepthRows(bscan, rows, 2);
    const float expected[] = {2, 7, 3, 8, 4, 9};
    EXPECT_TRUE(AllNear(rows, expected, 6, 0));
    for (const int first : {1, 5, -1}) EXPECT_THROW(ToDepthRows(bscan, rows, first), IPP::Exception);
    EXPECT_THROW(FromDepthRows(rows, bscan), IPP::Exception);
    EXPECT_EQ(bscan[9], 9);
}

} // namespace
} // namespace TZM

#include "Algorithms/Gain/AlgoEnergyCorrection.h"

#include <gtest/gtest.h>

#include "support/Near.h"
#include "support/Scenes.h"

using namespace TZM;

TEST(EnergyCorrection, BringsBistaticBscansToTheMeanEnergyOfTheirNeighbours) {
    for (const float scale : {1.f, 1e25f}) // whose squares are no 32-bit floats
        for (const int bscans : {5, 7, 10, 14}) {
            Block in = NoiseBlock(77, 9, bscans, scale);
            for (std::size_t i = 0; i < in.data.size(); ++i) in.data[i] *= 1 + i / (77 * 9); // B-scan by B-scan
            in.props.bscanInfo[1] = BscanInfo(); // valid ranges play no part
            const Block out = Executed(AlgoEnergyCorrection(), in);
            for (int z = 0; z < bscans; ++z) {
                const bool bistatic = z % (bscans % 5 == 0 ? 5 : 7) % 2 == 1;
                double factor = 1;
                if (bistatic) factor = std::sqrt((Energy(in, z - 1) + Energy(in, z + 1)) / (2 * Energy(in, z)));
                for (int y = 0; y < 9; ++y)
                    for (int s = 0; s < 77; ++s) { // two roundings, of the factor and the product
                        const double expected = factor * in.At(s, y, z);
                        ASSERT_NEAR(out.At(s, y, z), expected, bistatic ? std::abs(expected) * kFloatEpsilon : 0.);
                    }
            }
        }
}

TEST(EnergyCorrection, SilentBscansStaySilentAndSilentNeighboursSilence) {
    Block in = NoiseBlock(77, 9, 5);
    for (const int z : {1, 2, 4}) std::fill_n(&in.At(0, 0, z), 77 * 9, 0.f);
    const Block out = Executed(AlgoEnergyCorrection(), in);
    for (int z = 1; z < 5; ++z) EXPECT_EQ(Peak(out, z).magnitude, 0.f) << z;
    EXPECT_EQ(Energy(out, 0), Energy(in, 0));
}

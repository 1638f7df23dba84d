#include "Algorithms/Gain/AlgoEnergyCorrection.h"

#include <gtest/gtest.h>

#include "support/Near.h"
#include "support/Noise.h"
#include "support/Scenes.h"

using namespace TZM;

namespace {

Block NoiseBlock(int bscans, float scale = 1) {
    Block block(ImageProps(77, 9, bscans));
    block.data = Noise(8).Floats(block.data.size());
    for (std::size_t i = 0; i < block.data.size(); ++i) block.data[i] *= scale * (1 + i / (77 * 9));
    return block;
}

double Energy(const Block& block, int z) {
    double energy = 0;
    for (int y = 0; y < 9; ++y)
        for (int s = 0; s < 77; ++s) energy += std::pow(double(block.At(s, y, z)), 2);
    return energy;
}

} // namespace

TEST(EnergyCorrection, BringsBistaticBscansToTheMeanEnergyOfTheirNeighbours) {
    for (const float scale : {1.f, 1e25f}) // whose squares are no 32-bit floats
        for (const int bscans : {5, 7, 10, 14}) {
            Block in = NoiseBlock(bscans, scale);
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
    Block in = NoiseBlock(5);
    for (const int z : {1, 2, 4})
        for (int y = 0; y < 9; ++y)
            for (int s = 0; s < 77; ++s) in.At(s, y, z) = 0;
    const Block out = Executed(AlgoEnergyCorrection(), in);
    for (int z = 1; z < 5; ++z) EXPECT_EQ(Peak(out, z).magnitude, 0.f) << z;
    EXPECT_EQ(Energy(out, 0), Energy(in, 0));
}

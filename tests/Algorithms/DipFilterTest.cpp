#include "Algorithms/Filter/AlgoDipFilter.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/NaiveTransforms.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

class DipFilter : public AtSimdLevel {
protected:
    const FreshStatics statics;
};

AlgoDipFilter Filter(float slowest, float fastest, bool reject = false, float taper = 0.2f) {
    AlgoDipFilter algorithm;
    algorithm.Setup({true, 1, slowest, fastest, reject, taper});
    return algorithm;
}

double Edge(double beyond, double taper) {
    return beyond <= 0 ? 1 : beyond >= taper ? 0 : (1 + std::cos(M_PI * beyond / taper)) / 2;
}

/// The formula on full spectra, one A-scan after the other, then one frequency after the other.
std::vector<double> Reference(const Block& in, int z, int first, int count, int nt, int nx, int margin, double slowest,
                              double fastest, double taper, bool reject) {
    const int samples = in.props.samplesPerAscan;
    std::vector<Spectrum> p(nx, Spectrum(nt));
    for (int x = -std::min(margin, count); x < count + std::min(margin, count); ++x) {
        const int beyond = x < 0 ? -x : std::max(0, x - count + 1), y = x < 0       ? -1 - x
                                                                        : x < count ? x
                                                                                    : 2 * count - 1 - x;
        for (int s = 0; s < samples; ++s)
            p[margin + x][s] = in.At(s, first + y, z) * (1 + std::cos(M_PI * beyond / (margin + 1))) / 2;
    }
    const auto transform = [&](int sign) {
        for (Spectrum& column : p) column = NaiveDft(column, sign);
        for (int j = 0; j < nt; ++j) {
            Spectrum row(nx);
            for (int h = 0; h < nx; ++h) row[h] = p[h][j];
            row = NaiveDft(row, sign);
            for (int h = 0; h < nx; ++h) p[h][j] = row[h];
        }
    };
    transform(-1);
    for (int h = 0; h < nx; ++h)
        for (int j = 0; j < nt; ++j) {
            const double kx = std::min(h, nx - h) / (nx * 0.005), f = std::min(j, nt - j) / (nt * 0.05);
            const double slowness = h == 0 ? 0 : kx / f;
            const double pass = (slowest > 0 ? Edge(slowness * slowest - 1, taper) : 1) *
                                (fastest > 0 ? Edge(1 - slowness * fastest, taper) : 1);
            p[h][j] *= reject ? 1 - pass : pass;
        }
    transform(+1);
    std::vector<double> out;
    for (int y = 0; y < count; ++y)
        for (int s = 0; s < samples; ++s) out.push_back(p[margin + y][s].real() / nt / nx);
    return out;
}

/// Energy of a run of A-scans away from the ends.
double EnergyBetween(const Block& block, int first, int last) {
    double energy = 0;
    for (int y = first; y < last; ++y)
        for (int s = 0; s < block.props.samplesPerAscan; ++s) energy += std::pow(block.At(s, y), 2);
    return energy;
}

/// Wavelets of 400 MHz along a line of so many ns/m through the middle.
Block PlaneWave(double slowness) {
    Block wave(ImageProps(512, 256, 1));
    for (int y = 0; y < 256; ++y)
        for (int s = 0; s < 512; ++s)
            wave.At(s, y) = float(Ricker((s - 256) * 5e-11 - slowness * 1e-9 * (y - 128) * 0.005, 4e8));
    return wave;
}

} // namespace

TEST_P(DipFilter, WeighsTheSpectrumByApparentSpeed) {
    Block in = NoiseBlock(32, 24, 2, 1, 0.5f); // with a mean: the frequency 0
    in.props.bscanInfo[1] = {5, 13};
    const float fans[][2] = {{0.05f, 0}, {0, 0.2f}, {0.05f, 0.3f}, {0, 0}};
    for (const auto& [slowest, fastest] : fans)
        for (const bool reject : {false, true})
            for (const float taper : {0.f, 0.3f, 1.f}) {
                const Block out = Executed(Filter(slowest, fastest, reject, taper), in);
                for (int z = 0; z < 2; ++z) {
                    const auto [first, count] = in.props.bscanInfo[z];
                    // 40 x 32 points: fast lengths from 32 + 8 and 24 + 2 x 3 on
                    const auto expected = Reference(in, z, first, count, 40, 32, 3, slowest, fastest, taper, reject);
                    // the roundings of two transforms of 11 steps each, of values below 1.5
                    EXPECT_TRUE(
                        AllNear(&out.data[(z * 24 + first) * 32], expected, expected.size(), 22 * 1.5 * kFloatEpsilon))
                        << slowest << " " << fastest << " " << reject << " " << taper;
                    for (int y = 0; y < 24; ++y) EXPECT_TRUE((y >= first && y < first + count) || out.At(3, y, z) == 0);
                }
            }
}

TEST_P(DipFilter, KeepsAllBetweenNoLimitsAndSplitsABlockIntoFanAndRest) {
    for (const auto& [samples, ascans] : {std::pair(100, 37), std::pair(1, 9), std::pair(33, 1), std::pair(512, 300)}) {
        const Block in = NoiseBlock(samples, ascans, 1);
        const Block all = Executed(Filter(0, 0), in), fan = Executed(Filter(0.06f, 0.4f), in),
                    rest = Executed(Filter(0.06f, 0.4f, true), in);
        Block sum = fan;
        for (std::size_t i = 0; i < sum.data.size(); ++i) sum.data[i] += rest.data[i];
        EXPECT_TRUE(AllNear(all.data, in.data, in.data.size(), 40 * kFloatEpsilon)); // as above, 18 steps
        EXPECT_TRUE(AllNear(sum.data, in.data, in.data.size(), 40 * kFloatEpsilon));
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(DipFilter);

TEST(DipFilterScene, SeparatesCrossingPlaneWaves) {
    const FreshStatics statics;
    const Block flat = PlaneWave(0), falling = PlaneWave(6), rising = PlaneWave(-6), steep = PlaneWave(14);
    Block in = flat;
    for (std::size_t i = 0; i < in.data.size(); ++i) in.data[i] += falling.data[i] + rising.data[i] + steep.data[i];
    const auto off = [](const Block& out, const std::vector<const Block*>& waves) { // share of the error's energy
        Block rest = out;
        for (const Block* wave : waves)
            for (std::size_t i = 0; i < rest.data.size(); ++i) rest.data[i] -= wave->data[i];
        return EnergyBetween(rest, 40, 216) / EnergyBetween(out, 40, 216);
    };
    // The lowest frequencies stay together: there a fan is narrower than one cycle on the line.
    EXPECT_LT(off(Executed(Filter(0.5f, 0), in), {&flat}), 0.05);                // 2 ns/m and flatter
    EXPECT_LT(off(Executed(Filter(0.1f, 0.4f), in), {&falling, &rising}), 0.05); // 2.5 to 10 ns/m, both ways
    EXPECT_LT(off(Executed(Filter(0.1f, 0), in), {&flat, &falling, &rising}), 0.05);
    EXPECT_LT(off(Executed(Filter(0.1f, 0.4f, true), in), {&flat, &steep}), 0.05);
}

TEST(DipFilterScene, TakesFlatRingingOutUpToTheEndsOfALine) {
    const FreshStatics statics;
    const Block flat = PlaneWave(0);
    const Block out = Executed(Filter(0, 0.5f), flat);
    EXPECT_LT(EnergyBetween(out, 0, 256), 0.02 * EnergyBetween(flat, 0, 256)); // between zeros it would be 0.05
}

TEST(DipFilterContract, RefusesNumbersBelowZeroAndAnEmptyFanAndReadsItsKeys) {
    const FreshStatics statics;
    const Block in = NoiseBlock(8, 4, 2);
    const auto failure = [&](float slowest, float fastest, float taper) {
        return Failure([&] { Executed(Filter(slowest, fastest, false, taper), in); });
    };
    for (const float wrong : {-1.f, NAN}) {
        EXPECT_EQ(failure(wrong, 0, 0), "-8/0 TZM::Exception::valueSmallerZero");
        EXPECT_EQ(failure(0, wrong, 0), "-8/0 TZM::Exception::valueSmallerZero");
        EXPECT_EQ(failure(0, 0, wrong), "-8/0 TZM::Exception::valueSmallerZero");
    }
    EXPECT_EQ(failure(0.2f, 0.1f, 0), "-12/0 TZM::Exception::valueToBig");
    AlgoDipFilter algorithm;
    const auto& params = FreshStatics::Parsed(
        algorithm, "{'DipFilter': {'Slowest': 0.1, 'Fastest': 0.4, 'Reject': true, 'Taper': 0.5}}");
    EXPECT_EQ(params.slowest.value, 0.1f);
    EXPECT_EQ(params.fastest.value, 0.4f);
    EXPECT_TRUE(params.reject.value);
    EXPECT_EQ(params.taper.value, 0.5f);
}

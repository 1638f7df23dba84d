#include "Algorithms/Background/AlgoEigenBackground.h"

#include <gtest/gtest.h>

#include "Array/SymmetricEigen.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

using Matrix = std::vector<std::vector<double>>; // columns

class EigenBackground : public AtSimdLevel {
protected:
    const FreshStatics statics;
};

AlgoEigenBackground Eigen(int count, float energy = 0.f, bool keep = false) {
    AlgoEigenBackground algorithm;
    algorithm.Setup({true, 1, count, energy, keep});
    return algorithm;
}

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
    return sum;
}

/// Rotations of pairs of A-scans until all are at right angles: the eigenimages of a B-scan, the strongest first
/// (M. R. Hestenes, J. SIAM 6 (1958), 51-90).
std::vector<Matrix> Eigenimages(Matrix x) {
    const std::size_t n = x.size();
    Matrix v(n, std::vector<double>(n));
    for (std::size_t i = 0; i < n; ++i) v[i][i] = 1;
    for (int sweep = 0; sweep < 12; ++sweep)
        for (std::size_t p = 0; p + 1 < n; ++p)
            for (std::size_t q = p + 1; q < n; ++q) {
                const double angle = 0.5 * std::atan2(2 * Dot(x[p], x[q]), Dot(x[p], x[p]) - Dot(x[q], x[q]));
                for (Matrix* m : {&x, &v})
                    for (std::size_t i = 0; i < (*m)[p].size(); ++i) {
                        const double a = (*m)[p][i], b = (*m)[q][i];
                        (*m)[p][i] = a * std::cos(angle) + b * std::sin(angle);
                        (*m)[q][i] = b * std::cos(angle) - a * std::sin(angle);
                    }
            }
    std::vector<std::size_t> order(n);
    for (std::size_t i = 0; i < n; ++i) order[i] = i;
    std::sort(order.begin(), order.end(), [&](auto a, auto b) { return Dot(x[a], x[a]) > Dot(x[b], x[b]); });
    std::vector<Matrix> images;
    for (const std::size_t i : order) {
        images.emplace_back(n, x[i]);
        for (std::size_t y = 0; y < n; ++y)
            for (double& value : images.back()[y]) value *= v[i][y];
    }
    return images;
}

Matrix ValidAscansOf(const Block& block, int z) {
    Matrix x;
    const BscanInfo& range = block.props.bscanInfo[z];
    for (int y = range.firstValidIdx; y < range.firstValidIdx + range.validLen; ++y) {
        const float* first = &const_cast<Block&>(block).At(0, y, z);
        x.emplace_back(first, first + block.props.samplesPerAscan);
    }
    return x;
}

} // namespace

TEST_P(EigenBackground, TakesTheFirstEigenimagesOutOrKeepsThem) {
    for (const auto& [samples, ascans] : {std::pair(31, 21), std::pair(9, 26), std::pair(16, 16), std::pair(1, 6)}) {
        Block in = NoiseBlock(samples, ascans, 2);
        for (int y = 0; y < ascans; ++y)
            for (int s = 0; s < samples; ++s)
                in.At(s, y, 0) += float(std::sin(s) * (3 + std::cos(0.2 * y)) + std::cos(0.4 * s) * 0.1 * y);
        in.props.bscanInfo[1] = {ascans / 4, ascans / 2};
        for (int z = 0; z < 2; ++z) {
            const BscanInfo& range = in.props.bscanInfo[z];
            const std::vector<Matrix> images = Eigenimages(ValidAscansOf(in, z));
            const int most = std::min(samples, range.validLen);
            double all = 0, held = 0;
            const auto energy = [](const Matrix& image) {
                double sum = 0;
                for (const auto& ascan : image) sum += Dot(ascan, ascan);
                return sum;
            };
            for (const Matrix& image : images) all += energy(image);
            Matrix background(range.validLen, std::vector<double>(samples));
            for (int k = 0; k <= most; ++k) {
                const Block byCount = Executed(Eigen(k), in), kept = Executed(Eigen(k, 0, true), in);
                // a share between those of k - 1 and of k images
                const float share = k == 0 ? 0 : float((held - 0.5 * energy(images[k - 1])) / all);
                const Block byEnergy = Executed(Eigen(0, share), in);
                for (int y = 0; y < ascans; ++y)
                    for (int s = 0; s < samples; ++s) {
                        const int i = y - range.firstValidIdx;
                        const bool valid = i >= 0 && i < range.validLen;
                        const double expected = valid ? background[i][s] : 0, value = valid ? in.At(s, y, z) : 0;
                        // the result is rounded once; what the vectors lack is that far below
                        ASSERT_NEAR(kept.At(s, y, z), expected, 8 * kFloatEpsilon)
                            << samples << " " << ascans << " " << k;
                        ASSERT_NEAR(byCount.At(s, y, z), value - expected, 8 * kFloatEpsilon);
                        ASSERT_EQ(byEnergy.At(s, y, z), byCount.At(s, y, z)) << share;
                    }
                if (k == most) break;
                held += energy(images[k]);
                for (int i = 0; i < range.validLen; ++i)
                    for (int s = 0; s < samples; ++s) background[i][s] += images[k][i][s];
            }
        }
    }
}

TEST_P(EigenBackground, LeavesNothingOfABackgroundThatChangesInStrengthAlone) {
    Block in(ImageProps(100, 60, 3));
    for (int y = 0; y < 60; ++y)
        for (int s = 0; s < 100; ++s) {
            in.At(s, y, 0) = std::sin(0.3f * s) * (2 + std::sin(0.1f * y));
            in.At(s, y, 1) = in.At(s, y, 0) + (s == 70 && y == 30 ? 1.f : 0.f);
        }
    const Block out = Executed(Eigen(1), in);
    EXPECT_TRUE(AllNear(out.data, std::vector<float>(6000), 6000, 4 * kFloatEpsilon));
    EXPECT_NEAR(out.At(70, 30, 1), 1, 0.1);
    for (int i = 12000; i < 18000; ++i) ASSERT_EQ(out.data[i], 0); // a silent B-scan stays so
}

TEST_P(EigenBackground, KeepsANaNOrAnInfinityInItsBscan) {
    for (const float bad : {NAN, INFINITY}) {
        Block in = NoiseBlock(12, 9, 2);
        const Block clean = Executed(Eigen(2), in);
        in.At(3, 4, 0) = bad;
        const Block out = Executed(Eigen(2), in);
        for (int i = 0; i < 108; ++i) {
            EXPECT_TRUE(std::isnan(out.data[i]));
            EXPECT_EQ(out.data[108 + i], clean.data[108 + i]);
        }
    }
}

// Equal eigenvalues and a matrix that falls apart are where inverse iteration loses right angles.
TEST_P(EigenBackground, FindsAtRightAnglesWhatEqualEigenvaluesShare) {
    for (const int n : {1, 2, 5, 16, 33}) {
        std::vector<double> matrix(n * n, 1); // eigenvalues: 3 + n once, 3 for all others
        for (int i = 0; i < n; ++i) matrix[i * n + i] += 3;
        IPP::SymmetricEigen eigen(matrix.data(), n, n);
        const std::vector<double> v = eigen.Vectors(n);
        for (int i = 0; i < n; ++i) {
            EXPECT_NEAR(eigen.Value(i), i == 0 ? 3 + n : 3, 1e-13 * n);
            for (int k = 0; k <= i; ++k) {
                double dot = 0, sum = 0;
                for (int j = 0; j < n; ++j) dot += v[i * n + j] * v[k * n + j], sum += v[i * n + j];
                EXPECT_NEAR(dot, i == k, 1e-12) << n;
                EXPECT_NEAR(std::abs(sum), i == 0 ? std::sqrt(n) : 0, 1e-12);
            }
        }
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(EigenBackground);

TEST(EigenBackgroundContract, RefusesSharesAndCountsThatCannotBeMeantAndReadsItsKeys) {
    const FreshStatics statics;
    const Block in = NoiseBlock(8, 4, 1);
    for (const auto& algorithm : {Eigen(-1), Eigen(1, -0.1f), Eigen(1, NAN)})
        EXPECT_EQ(Failure([&] { Executed(algorithm, in); }), "-8/0 TZM::Exception::valueSmallerZero");
    EXPECT_EQ(Failure([&] { Executed(Eigen(1, 1.1f), in); }), "-12/0 TZM::Exception::valueToBig");
    AlgoEigenBackground algorithm;
    const auto& params =
        FreshStatics::Parsed(algorithm, "{'EigenBackground': {'Count': 3, 'Energy': 0.5, 'Keep': true}}");
    EXPECT_EQ(params.count.value, 3);
    EXPECT_EQ(params.energy.value, 0.5f);
    EXPECT_TRUE(params.keep.value);
}

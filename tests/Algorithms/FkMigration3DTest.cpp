#include "Algorithms/Migration/AlgoFkMigration3D.h"

#include <gtest/gtest.h>

#include "Algorithms/Migration/AlgoMig2Post.h"
#include "Algorithms/Migration/TransformSize.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"
#include "support/StoltReference.h"

using namespace TZM;

namespace {

AlgoFkMigration3D Migration(int timeZero, float permittivity, float spacing) {
    AlgoFkMigration3D migration;
    migration.Setup(AlgoParamFkMigration3D(true, 1, timeZero, permittivity, "", spacing));
    return migration;
}

/// Direct sums over the whole volume, with masks and reads of the migration in two dimensions.
Block Reference(const StoltReference& of, const Block& in, const AlgoParamFkMigration3D& p) {
    using Complex = std::complex<double>;
    const int N = in.props.samplesPerAscan - p.timeZero, A = in.props.ascansPerBscan, B = in.props.bscanCount;
    const auto length = [&](int n) { return int(FastLength(std::int64_t(std::ceil(n * (1. + p.padding))))); };
    const int nt = length(N) << of.extension, nx = length(A), ny = length(B), nyquist = nt / 2;
    const auto fade = [&](int i, int n, bool both) {
        const int fading = int(double(p.taper) * n), end = both ? std::min(i, n - 1 - i) : n - 1 - i;
        return end < fading ? 0.5 - 0.5 * std::cos(M_PI * (end + 1) / (fading + 1)) : 1.;
    };
    const Spectrum zeros(std::size_t(nt), Complex(0));
    std::vector<StoltReference::Matrix> q;
    for (int k = 0; k < ny; ++k) q.emplace_back(std::size_t(nx), zeros);
    for (int z = 0; z < B; ++z)
        for (int y = 0; y < A; ++y)
            for (int i = 0; i < N; ++i)
                q[z][y][i] = in.At(p.timeZero + i, y, z) * fade(i, N, false) * fade(y, A, true) * fade(z, B, true);
    const auto transform = [&](int sign) {
        for (auto& plane : q) plane = StoltReference::Transform(plane, sign);
        for (int h = 0; h < nx; ++h)
            for (int j = 0; j < nt; ++j) {
                Spectrum across;
                for (int k = 0; k < ny; ++k) across.push_back(q[k][h][j]);
                across = NaiveDft(across, sign);
                for (int k = 0; k < ny; ++k) q[k][h][j] = across[std::size_t(k)];
            }
    };
    transform(-1);
    const double fNyq = 0.5 / 5e-11f, df = fNyq / nyquist, vh = kSpeedOfLight / std::sqrt(p.permittivity.value) / 2;
    const double taperWidth = (fNyq - fNyq * of.maxMigFreqRel) * 0.2f, fEnd = fNyq * of.maxMigFreqRel + taperWidth;
    const int nMax = int(fEnd / df + 0.5), nTaper = int(taperWidth / fEnd * (nMax + 1));
    for (int k = 0; k < ny; ++k)
        for (int h = 0; h < nx; ++h) {
            const double across = double(std::min(k, ny - k)) / (ny * double(p.lineSpacing)),
                         bins = vh * std::hypot(double(std::min(h, nx - h)) / (nx * double(0.005f)), across) / df;
            Spectrum image = zeros;
            for (int j = 1; j <= nyquist; ++j) {
                const double r = std::hypot(j, bins),
                             mask = of.DipMask(j, nt, bins * df, df, nMax) * of.FrequencyMask(j, nMax, nTaper);
                if (r <= nyquist) image[std::size_t(j)] = of.Read(q[k][h], nyquist, r, mask);
            }
            q[k][h] = image;
        }
    transform(+1);
    Block out(ImageProps(N, A, B));
    for (int z = 0; z < B; ++z)
        for (int y = 0; y < A; ++y)
            for (int i = 0; i < N; ++i) out.At(i, y, z) = float(q[z][y][i].real() / (double(nt) * nx * ny));
    return out;
}

class FkMigration3DAtLevel : public AtSimdLevel {};

} // namespace

TEST_P(FkMigration3DAtLevel, FollowsTheFormula) {
    struct Case {
        StoltReference of;
        int samples, ascans, bscans, timeZero;
        float padding, taper;
    };
    for (const Case& c :
         {Case{{}, 41, 11, 7, 3, 0.25f, 0.2f}, Case{{1, true, true, 40, 20, 1}, 24, 6, 5, 0, 0.f, 0.5f},
          Case{{0, false, false, 85, 5, 0}, 30, 5, 6, 1, 0.5f, 0.f}, Case{{}, 20, 9, 1, 2, 0.25f, 0.f}}) {
        std::string document = c.of.Document();
        document.replace(document.find("FkMigration"), 11, "FkMigration3D");
        const FreshStatics statics(document);
        AlgoFkMigration3D algo = Migration(c.timeZero, 6, 0.011f);
        algo.GetParams().padding = c.padding, algo.GetParams().taper = c.taper;
        const Block in = NoiseBlock(c.samples, c.ascans, c.bscans), out = Executed(algo, in),
                    expected = Reference(c.of, in, algo.GetParams());
        double peak = 0;
        for (const float v : expected.data) peak = std::max<double>(peak, std::abs(v));
        ASSERT_GT(peak, 0);
        // Six transforms with a largest error of 5e-7 of the peak, and reads of ten taps.
        EXPECT_TRUE(AllNear(out.data, expected.data, out.data.size(), 4e-6 * peak)) << c.samples;
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(FkMigration3DAtLevel);

TEST(FkMigration3D, FocusesAPointInAllDirections) {
    const FreshStatics statics;
    const double spacing = 0.02, depth = 0.3;
    Block record(ImageProps(256, 80, 30));
    for (int z = 0; z < 30; ++z)
        for (int y = 0; y < 80; ++y) {
            const double range = std::hypot((y - 37) * 0.005, (z - 14) * spacing, depth);
            for (int s = 0; s < 256; ++s)
                record.At(s, y, z) =
                    float(std::pow(depth / range, 2) * Ricker(s * 5e-11 - range * TwoWaySlowness(6), 1.2e9));
        }
    const Block image = Executed(AlgoMig2Post(), Executed(Migration(0, 6, float(spacing)), record));
    int line = 0;
    for (int z = 0; z < 30; ++z)
        if (Peak(image, z).magnitude > Peak(image, line).magnitude) line = z;
    EXPECT_EQ(line, 14);
    EXPECT_NEAR(Peak(image, line).ascan, 37, 1);
    EXPECT_NEAR(Peak(image, line).sample, depth * TwoWaySlowness(6) / 5e-11, 1);
    EXPECT_LT(Peak(image, line + 3).magnitude, Peak(image, line).magnitude / 2); // 6 cm beside it
    EXPECT_LT(Peak(image, line - 3).magnitude, Peak(image, line).magnitude / 2);
}

TEST(FkMigration3D, RefusesInOrderAndReadsItsKeys) {
    const FreshStatics statics;
    const auto refusal = [](float permittivity, float spacing, float padding, int timeZero) {
        const Block in = NoiseBlock(20, 4, 3);
        AlgoFkMigration3D algo = Migration(timeZero, permittivity, spacing);
        algo.GetParams().padding = padding;
        Block out(in.props);
        return Failure([&] { algo.Execute(in.data.data(), in.props, out.data.data(), out.props); });
    };
    EXPECT_EQ(refusal(0, 0, -1, -1), "-10/0 TZM::Exception::permittivitySmallerEqualZero");
    EXPECT_EQ(refusal(6, 0, -1, -1), "-9/0 TZM::Exception::valueSmallerEqualZero");
    EXPECT_EQ(refusal(6, 1, -1, -1), "-8/0 TZM::Exception::valueSmallerZero");
    EXPECT_EQ(refusal(6, 1, 0, 20), "99/-2 Index exceeds IPP::Array3D bounds");
    EXPECT_EQ(refusal(6, 1, 1e9f, 0), "bad_alloc");
    AlgoFkMigration3D algo;
    const auto& p = statics.Parsed(algo, "{'Global': {'TimeZero': 9, 'Permittivity': 3.0}, 'FkMigration3D': "
                                         "{'LineSpacing': 0.1, 'Padding': 9.0, 'Taper': 0.25, 'DipMax': 30.0}}");
    EXPECT_EQ((std::vector<float>{float(p.timeZero), p.permittivity, p.lineSpacing, p.padding, p.taper}),
              (std::vector<float>{9, 3, 0.1f, 4, 0.25f}));
}

#include "Algorithms/Migration/AlgoGazdagMigration.h"

#include <gtest/gtest.h>

#include <complex>

#include "Algorithms/Migration/AlgoMig2Post.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

using Complex = std::complex<double>;

struct Gazdag : AlgoGazdagMigration {
    explicit Gazdag(int timeZero = 0, float permittivity = 6, bool useFFT = false, bool useTaper = false) {
        Setup(AlgoParamGazdagMigration(true, 1, timeZero, permittivity, "", useFFT, useTaper));
    }
    using AlgoGazdagMigration::BuildCfactorTable;
    std::vector<float> Speeds(int n, double deltaT, double depth, double start, double end) const {
        IPP::Array<float> v(n);
        BuildRmsVelocityVector(v, float(deltaT), float(depth), float(start), float(end));
        return {v.data, v.data + n};
    }
};

/// One B-scan by the sum as it is told, row after row of the image.
/// \param largest becomes the largest of the floats whose range is tested.
std::vector<double> Reference(const Block& in, int b, int tz, double permittivity, bool useFFT, bool useTaper,
                              double* largest = nullptr) {
    const int S = in.props.samplesPerAscan, A = in.props.ascansPerBscan, Nt = S - tz;
    int rows = Nt, columns = A, first = 0;
    if (useFFT) {
        for (rows = 1; rows < Nt;) rows *= 2;
        for (columns = 1; columns < A;) columns *= 2;
        if (columns > 1 && A - columns / 2 <= A / 8) columns /= 2;
        first = std::max(0, (A - columns) / 2);
    }
    const int used = std::min(A, columns);
    const double dt = 5e-11f, dx = 0.005f, v = 3e8 / std::sqrt(permittivity);
    const auto speed = Gazdag().Speeds(rows, dt, 0.08, 1.2 * v, 0.95 * v);
    constexpr double kTwoPi = 6.2831854820251465;
    const auto signedBin = [](int i, int n) { return i <= n / 2 ? i : i - n; };
    std::vector<Complex> across(std::size_t(Nt) * columns), spectrum(std::size_t(rows) * columns);
    const auto root = [](double turns) { return std::polar(1., 2 * M_PI * turns); };
    const int flank = useFFT ? 0 : std::min(A / 10, 20);
    for (int i = 0; i < Nt; ++i)
        for (int x = 0; x < columns; ++x)
            for (int a = 0; a < used; ++a) {
                const int edge = std::min(a, A - 1 - a);
                const double taper = useTaper && edge < flank && flank > 1
                                         ? 0.54 - 0.46 * std::cos(2 * M_PI * edge / (2 * flank - 1))
                                         : 1;
                across[std::size_t(i) * columns + x] +=
                    taper * in.At(tz + i, first + a, b) * root(-double(std::int64_t(a) * x % columns) / columns);
            }
    for (int k = 0; k < rows; ++k)
        for (int i = 0; i < Nt; ++i)
            for (int x = 0; x < columns; ++x)
                spectrum[std::size_t(k) * columns + x] +=
                    across[std::size_t(i) * columns + x] * root(-double(std::int64_t(i) * k % rows) / rows);
    std::vector<Complex> sums(std::size_t(Nt) * columns);
    for (int k = useFFT ? 1 : 0; k < rows; ++k)
        for (int x = useFFT ? 1 : 0; x < columns; ++x) {
            const double omega = kTwoPi * signedBin(k, rows) / (rows * dt);
            const double u =
                omega * omega - std::pow(speed[k] * kTwoPi * signedBin(x, columns) / (columns * 2 * dx), 2);
            if (!(u > 0)) continue;
            const Complex step = std::polar(1., std::copysign(std::sqrt(u) * dt, omega));
            Complex q = spectrum[std::size_t(k) * columns + x];
            for (int z = 0; z < Nt; ++z) sums[std::size_t(z) * columns + x] += q *= step;
        }
    for (int z = 0; largest && z < Nt; ++z)
        for (int i = 0; i < A; ++i) {
            const Complex sum = sums[std::size_t(z) * columns + i / 2];
            *largest = std::max(*largest, std::abs(i % 2 == 0 ? sum.real() : sum.imag()));
        }
    std::vector<double> image(std::size_t(Nt) * A);
    for (int a = 0; a < used; ++a)
        for (int z = 0; z < Nt; ++z)
            for (int x = 0; x < columns; ++x)
                image[std::size_t(first + a) * Nt + z] +=
                    (sums[std::size_t(z) * columns + x] * root(double(std::int64_t(a) * x % columns) / columns)).real();
    return image;
}

class GazdagAtLevel : public AtSimdLevel {};

} // namespace

TEST_P(GazdagAtLevel, TurnsEveryElementByItsPhase) {
    struct Case {
        int samples, ascans, timeZero;
        bool useFFT, useTaper;
    };
    for (const Case& c : {Case{60, 31, 0, false, false}, Case{61, 40, 5, false, true}, Case{33, 1, 1, false, false},
                          Case{3, 2, 0, false, false}, Case{200, 90, 0, false, false}, Case{130, 19, 3, false, true},
                          Case{60, 33, 0, true, true}, Case{64, 36, 0, true, false}, Case{40, 1, 3, true, false},
                          Case{133, 44, 2, true, false}}) {
        const Block in = NoiseBlock(c.samples, c.ascans, 2);
        const Block image = Executed(Gazdag(c.timeZero, 5, c.useFFT, c.useTaper), in);
        const auto expected = Reference(in, 1, c.timeZero, 5, c.useFFT, c.useTaper);
        ASSERT_EQ(image.data.size(), 2 * expected.size());
        double power = 0, error = 0;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            power += expected[i] * expected[i];
            error += std::pow(image.data[expected.size() + i] - expected[i], 2);
        }
        EXPECT_LE(std::sqrt(error), 1e-6 * std::sqrt(power)) << c.samples << " " << c.ascans << " " << c.useFFT;
        EXPECT_GT(power, c.useFFT && c.ascans == 1 ? -1 : 0); // without the mean nothing is left of one A-scan
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(GazdagAtLevel);

TEST(GazdagMigration, RefusesSumsBeyondTheRangeOfTransformsInTheFirstHalfOfTheColumns) {
    for (const int ascans : {1, 7, 20}) {
        Block in = NoiseBlock(40, ascans, 1);
        double largest = 0;
        Reference(in, 0, 0, 5, false, false, &largest);
        const auto failure = [&](double share) {
            Block scaled = in;
            for (float& value : scaled.data) value *= static_cast<float>(share * 3.4028234e35 / largest);
            return Failure([&] { Executed(Gazdag(0, 5), scaled); });
        };
        EXPECT_EQ(failure(0.99), "none") << ascans;
        EXPECT_EQ(failure(1.01), "99/-2 IPP::Exception::ippsDFTInv_outOfRange32f") << ascans;
    }
}

TEST(GazdagMigration, BuildsSpeedsAndFactors) {
    const double deltaT = 5e-11, depth = 0.08, start = 1.2e8, end = 0.95e8;
    const int n = int(2 * depth / deltaT / ((start + end) / 2)); // 29 samples
    double sum = 0;
    const auto speeds = Gazdag().Speeds(100, deltaT, depth, start, end),
               cut = Gazdag().Speeds(10, deltaT, depth, start, end);
    for (int i = 0; i < 99; ++i) {
        sum += std::pow(i < n ? start + i * (end - start) / (n - 1) : end, 2);
        EXPECT_NEAR(speeds[i], std::sqrt(sum / (i + 1)), 100) << i;
        if (i < 9) {
            EXPECT_EQ(cut[i], speeds[i]);
        }
    }
    EXPECT_EQ(Gazdag().Speeds(5, 0, depth, start, end), std::vector<float>(5));
    EXPECT_EQ(Gazdag().Speeds(5, deltaT, depth, -start, start), std::vector<float>(5));
    EXPECT_NEAR(Gazdag().Speeds(5, 2e-9, depth, start, end)[3], end, 20); // a ramp of less than a sample

    IPP::Array2D<IPP::Ipp32fc> table(6, 8);
    IPP::Array<float> v(8);
    v.Set(1e8f);
    Gazdag().BuildCfactorTable(table, v, 8, 6, 6.f, 0.01f, 5e-11f);
    const double omega = 2 * M_PI * 2 / (8 * 5e-11), k = 2 * M_PI / (6 * 0.01);
    const double phase = std::sqrt(omega * omega - 1e16 * k * k) * 5e-11;
    for (const int column : {1, 5}) {
        EXPECT_NEAR(table.data[2 * 6 + column].re, std::cos(phase), 1e-6);
        EXPECT_NEAR(table.data[2 * 6 + column].im, std::sin(phase), 1e-6);
        EXPECT_NEAR(table.data[6 * 6 + column].im, -std::sin(phase), 1e-6);
        EXPECT_EQ(table.data[column].re, 0); // evanescent
    }
    EXPECT_EQ(Failure([&] { Gazdag().BuildCfactorTable(table, v, 8, 6, 0.f, 0.01f, 5e-11f); }),
              "-10/0 TZM::Exception::permittivitySmallerEqualZero");
}

TEST(GazdagMigration, CollapsesAPointAtItsPlace) {
    const double depth = 0.35;
    for (const double permittivity : {4., 9.})
        for (const bool useFFT : {false, true}) {
            const Block record = PointDiffractor(ImageProps(256, 264, 1), 130, depth, permittivity);
            const auto envelope = [&](double migrated) {
                return Executed(AlgoMig2Post(), Executed(Gazdag(0, float(migrated), useFFT), record));
            };
            const Block image = envelope(permittivity);
            const int sample = int(std::lround(depth * TwoWaySlowness(permittivity) / 5e-11));
            const auto focused = [&](const Block& b) { return Energy(b, 0, sample, 130, 12, 6) / Energy(b); };
            EXPECT_NEAR(Peak(image).ascan, 130, 1);
            EXPECT_NEAR(Peak(image).sample, sample, 2);
            EXPECT_GT(focused(image), 4 * focused(Executed(AlgoMig2Post(), record)));
            EXPECT_LT(focused(envelope(1.6 * permittivity)), 0.8 * focused(image));
            EXPECT_EQ(Energy(image, 0, 128, 0, 128, 3) == 0, useFFT); // cropped
        }
}

TEST(GazdagMigration, LeavesOutTheMeanWithPowersOfTwo) {
    const Block image = Executed(Gazdag(3, 6, true), NoiseBlock(40, 16, 1, 1, 5));
    for (int s = 0; s < 37; ++s) {
        double mean = 0, most = 0;
        for (int y = 0; y < 16; ++y) {
            mean += image.At(s, y) / 16;
            most = std::max<double>(most, std::abs(image.At(s, y)));
        }
        EXPECT_LT(std::abs(mean), 1e-5 * most) << s;
    }
}

// A plane that falls at an angle has its echoes at a gentler slope: tan(dip seen) = sin(dip).
TEST(GazdagMigration, SteepensADippingLayer) {
    const double dip = 25 * M_PI / 180, permittivity = 6, metre = TwoWaySlowness(permittivity) / 5e-11;
    Block record(ImageProps(400, 240, 1));
    for (int y = 20; y < 220; ++y)
        for (int s = 0; s < 400; ++s) {
            const double range = 0.15 * std::cos(dip) + y * 0.005 * std::sin(dip); // perpendicular to the plane
            record.At(s, y) = float(Ricker((s - range * metre) * 5e-11, 1e9));
        }
    const Block image = Executed(AlgoMig2Post(), Executed(Gazdag(0, permittivity), record));
    for (const int y : {70, 110}) {
        int best = 0;
        for (int s = 0; s < 400; ++s)
            if (image.At(s, y) > image.At(best, y)) best = s;
        EXPECT_NEAR(best, (0.15 + y * 0.005 * std::tan(dip)) * metre, 4) << y;
    }
}

TEST(GazdagMigration, RefusesWhatItCannotMigrate) {
    const FreshStatics statics;
    const auto refusal = [](int timeZero, float permittivity, bool useFFT, int samples = 16, float value = 1) {
        Block record(ImageProps(samples, 4, 1)), out = record;
        record.At(samples / 2, 1) = value;
        return Failure([&] {
            Gazdag(timeZero, permittivity, useFFT).Execute(&record.data[0], record.props, &out.data[0], out.props);
        });
    };
    for (const bool useFFT : {false, true}) {
        for (const float permittivity : {0.f, -1.f, NAN})
            EXPECT_EQ(refusal(99, permittivity, useFFT), "-10/0 TZM::Exception::permittivitySmallerEqualZero");
        for (const int timeZero : {-1, 16})
            EXPECT_EQ(refusal(timeZero, 6, useFFT), "99/-2 Index exceeds IPP::Array3D bounds");
        EXPECT_EQ(refusal(0, 6, useFFT, 2), "99/-2 IPP::Array::RootMeanSquare - too short");
    }
    EXPECT_EQ(refusal(0, 6, false, 16, 3e38f), "99/-2 IPP::Exception::ippsDFTInv_outOfRange32f");
    EXPECT_EQ(refusal(0, 6, true, 16, 3e38f), "none");

    Gazdag algo;
    const auto& p = statics.Parsed(algo, "{'GazdagMigration': {'UseFFT': true, 'UseTaper': 1}}");
    EXPECT_TRUE(p.useFFT && !p.useTaper);
    statics.Parsed(algo, "{'GazdagMigration': {'UseFFT': null, 'UseTaper': true}}");
    EXPECT_TRUE(p.useFFT && p.useTaper);
    AlgoBase::GetGlobalSettings().delta_t = 0; // no frequencies
    EXPECT_EQ(Energy(Executed(Gazdag(), NoiseBlock(20, 4, 1))), 0);
}

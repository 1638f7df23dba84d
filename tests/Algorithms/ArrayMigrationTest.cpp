#include "Algorithms/Migration/AlgoArrayMigration.h"

#include <gtest/gtest.h>

#include "Algorithms/Migration/AlgoKirchhoffMigration.h"
#include "Algorithms/Migration/AlgoMig2Post.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

using Params = AlgoParamArrayMigration;

struct Migration : AlgoArrayMigration {
    explicit Migration(float permittivity = 6, int timeZero = 0, float spacing = 0.025f,
                       const std::string& layers = "") {
        Setup(Params(true, 1, timeZero, permittivity, layers, spacing));
    }
};

/// Half the RMS speeds as the migration of single B-scans has them.
struct Speeds : AlgoKirchhoffMigration {
    std::vector<double> Half(int samples, bool layer) {
        GetParams().permittivity = 6;
        IPP::Array<float> v(samples);
        GenerateVelocityVector(v, layer ? std::vector<Overlay>{{"", 0.02f, 2.f}} : std::vector<Overlay>());
        std::vector<double> half(v.data, v.data + samples);
        for (double& x : half) x /= 2;
        return half;
    }
};

/// The sum as it is told, trace by trace.
std::vector<double> Reference(const Block& in, const Params& p, const std::vector<double>& v, int channels) {
    const double dt = 5e-11f, dx = 0.005f, spacing = p.lineSpacing, tan = std::tan(p.apertureAngle * M_PI / 180);
    const int S = in.props.samplesPerAscan, A = in.props.ascansPerBscan, B = in.props.bscanCount, tz = p.timeZero,
              N = S - tz, L = p.lines > 0 ? p.lines.value : B;
    const bool corrected = p.wavelet == Params::Wavelet::Corrected;
    const auto value = [&](int s, int y, int z) -> double {
        const auto [first, count] = in.props.bscanInfo[std::size_t(z)];
        return s < 0 || s >= S || y < first || y >= first + count ? 0 : in.At(s, y, z);
    };
    const auto record = [&](int s, int y, int z) {
        if (s < 0 || s >= S) return 0.;
        return corrected ? (value(s + 1, y, z) - value(s - 1, y, z)) / 2 : value(s, y, z);
    };
    std::vector<double> out(std::size_t(N) * A * L);
    for (int k = 0; k < L; ++k)
        for (int z = 0; z < B; ++z)
            for (int d = 1 - A; d < A; ++d)
                for (int i = 1; i < N; ++i) {
                    const double Y = z * spacing - (L > 1 ? k * (B - 1.) / (L - 1) : (B - 1) / 2.) * spacing,
                                 X = d * dx, t = i * dt, h = v[std::size_t(i)];
                    const bool bistatic = z % channels % 2 == 1, across = bistatic && p.bistaticAcross;
                    const double a = (bistatic ? p.antennaOffsetBi : p.antennaOffsetMono) / 2., ax = across ? 0 : a,
                                 ay = across ? a : 0;
                    if (p.apertureAngle > 0 && std::hypot(X, Y) > t * h * tan / 2 &&
                        !(std::abs(d) <= p.apertureBaseWidth && std::abs(Y) <= (p.apertureBaseLines + 1e-6) * spacing))
                        continue;
                    const double r1 = std::hypot(X + ax, Y + ay, t * h), r2 = std::hypot(X - ax, Y - ay, t * h),
                                 T = (r1 + r2) / 2 / h;
                    const int source = int(std::floor(T / dt + 0.5));
                    if (source >= N) continue;
                    const double W = corrected ? -dx * spacing / (2 * M_PI * h * h * dt) * t / (T * T) // of 1 / dt
                                               : N * dt * t / (T * T);
                    const double alongX = std::abs((X + ax) / r1 + (X - ax) / r2) / 2 / h * dx / dt,
                                 alongY = std::abs((Y + ay) / r1 + (Y - ay) / r2) / 2 / h * spacing / dt;
                    const int w = p.antiAlias ? std::max(1, int(std::max(alongX, alongY) + 0.5)) : 1;
                    for (int y = std::max(0, -d); y < std::min(A, A - d); ++y) {
                        double sum = 0;
                        for (int j = 1 - w; j < w; ++j)
                            sum += (w - std::abs(j)) * record(tz + source + j, y + d, z) / (double(w) * w);
                        out[(std::size_t(k) * A + y) * N + i] += W * sum;
                    }
                }
    return out;
}

class ArrayMigrationAtLevel : public AtSimdLevel {};

} // namespace

TEST_P(ArrayMigrationAtLevel, SumsOverLinesAndAscansAsTold) {
    struct Case {
        int samples, ascans, bscans, timeZero, lines;
        float angle, mono, bi;
        int base, baseLines;
        bool across, antiAlias, corrected, layer;
    };
    for (const Case& c : {Case{90, 41, 5, 3, 0, 60, 0.03f, 0.05f, 10, 2, true, true, false, true},
                          Case{70, 33, 7, 0, 0, 0, 0.f, 0.1f, 0, 0, true, true, true, false},
                          Case{60, 20, 10, 9, 0, 30, 0.02f, 0.06f, 4, 1, false, false, false, true},
                          Case{40, 70, 5, 1, 13, 45, 0.01f, 0.04f, 2, 1, true, true, false, false},
                          Case{40, 9, 5, 0, 1, 75, 0.f, 0.05f, 0, 0, true, false, true, false},
                          Case{33, 6, 6, 2, 4, 85, 0.03f, 9.f, 9, 9, true, true, false, false},
                          Case{20, 1, 1, 0, 0, 60, 0.03f, 0.f, 1, 1, true, true, false, false}}) {
        Block in = NoiseBlock(c.samples, c.ascans, c.bscans);
        if (c.ascans > 8) in.props.bscanInfo[1] = {4, c.ascans - 7}, in.props.bscanInfo[2] = {};
        const std::string layers = R"([{"Thickness": 0.02, "Permittivity": 2.0}])"; // two samples
        Migration algo(6, c.timeZero, 0.025f, c.layer ? layers : "");
        Params& p = algo.GetParams();
        p.lines = c.lines, p.apertureAngle = c.angle, p.antennaOffsetMono = c.mono, p.antennaOffsetBi = c.bi;
        p.apertureBaseWidth = c.base, p.apertureBaseLines = c.baseLines, p.bistaticAcross = c.across;
        p.antiAlias = c.antiAlias, p.wavelet = c.corrected ? Params::Wavelet::Corrected : Params::Wavelet::Raw;
        const int channels = c.bscans % 5 == 0 ? 5 : c.bscans % 7 == 0 ? 7 : 1;
        const auto expected = Reference(in, p, Speeds().Half(c.samples - c.timeZero, c.layer), channels);
        const Block out = Executed(algo, in);
        ASSERT_EQ(out.data.size(), expected.size());
        double peak = 0;
        for (const double x : expected) peak = std::max(peak, std::abs(x));
        EXPECT_GT(peak, 0.);
        EXPECT_TRUE(AllNear(out.data, expected, expected.size(), 2e-6 * peak)) << c.samples << " " << c.ascans;
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(ArrayMigrationAtLevel);

namespace {

constexpr double kSpacing = 0.025, kMono = 0.03, kBi = 0.05; // m
constexpr int kChannels = 5;

/// What an array records of reflectors: `path` gives the way in metres from transmitter (x, y) to receiver (x, y).
template <class Path>
Block ArrayRecord(const ImageProps& props, double permittivity, int channels, const std::vector<Path>& paths) {
    Block record(props);
    for (int z = 0; z < props.bscanCount; ++z)
        for (int y = 0; y < props.ascansPerBscan; ++y)
            for (const Path& path : paths) {
                const bool bistatic = z % channels % 2 == 1;
                const double ax = bistatic ? 0 : kMono / 2, ay = bistatic ? kBi / 2 : 0, X = y * 0.005,
                             Y = z * kSpacing;
                const double way = path(X - ax, Y - ay, X + ax, Y + ay);
                const double place = way * std::sqrt(permittivity) / kSpeedOfLight / 5e-11;
                for (int s = std::max(0, int(place) - 40); s < std::min(props.samplesPerAscan, int(place) + 40); ++s)
                    record.At(s, y, z) += static_cast<float>(0.2 / way * Ricker((s - place) * 5e-11, 1.2e9));
            }
    return record;
}

auto Point(double x, double y, double depth) {
    return [=](double tx, double ty, double rx, double ry) {
        return std::hypot(tx - x, ty - y, depth) + std::hypot(rx - x, ry - y, depth);
    };
}

auto BarAlong(double y, double depth) {
    return [=](double tx, double ty, double rx, double ry) {
        return std::hypot(tx - rx, std::hypot(ty - y, depth) + std::hypot(ry - y, depth));
    };
}

Migration Imaging(double permittivity, int lines = 0, float apertureAngle = AlgoArrayMigration::defaultApertureAngle) {
    Migration algo(static_cast<float>(permittivity));
    algo.GetParams().apertureAngle = apertureAngle;
    algo.GetParams().antennaOffsetMono = static_cast<float>(kMono);
    algo.GetParams().antennaOffsetBi = static_cast<float>(kBi);
    algo.GetParams().lines = lines;
    return algo;
}

Block EnvelopeOf(const Block& block) { return Executed(AlgoMig2Post(), block); }

/// The image B-scan by B-scan, with the whole aperture.
Block ImagedLineByLine(const Block& record, double permittivity) {
    const FreshStatics statics("{'KirchhoffMigration': {'AntennaOffsetMono': 0.015, 'AntennaOffsetBi': 0.0, "
                               "'ApertureMaxWidth': 0}}");
    AlgoKirchhoffMigration algo;
    algo.Setup(AlgoParamKirchhoffMigration(true, 1, 0, static_cast<float>(permittivity), ""));
    return EnvelopeOf(Executed(algo, record));
}

struct Place {
    int sample, ascan, line;
    float value;
};

Place Strongest(const Block& block) {
    Place place{0, 0, 0, 0.f};
    for (int z = 0; z < block.props.bscanCount; ++z)
        if (const PeakPosition peak = Peak(block, z); peak.magnitude > place.value)
            place = {peak.sample, peak.ascan, z, peak.magnitude};
    return place;
}

/// Samples over which the energy is spread: the square of its sum over the sum of its squares.
double Volume(const Block& block) {
    double sum = 0, squares = 0;
    for (const float v : block.data) sum += std::pow(v, 2), squares += std::pow(v, 4);
    return sum * sum / squares;
}

/// The strongest value of each line at one A-scan, within some samples of a depth.
std::vector<double> AcrossScan(const Block& image, int ascan, int sample, int within) {
    std::vector<double> values;
    for (int z = 0; z < image.props.bscanCount; ++z) {
        double largest = 0;
        for (int s = std::max(0, sample - within); s < std::min(image.props.samplesPerAscan, sample + within + 1); ++s)
            largest = std::max<double>(largest, image.At(s, ascan, z));
        values.push_back(largest);
    }
    return values;
}

/// Full width at half maximum, in places.
double WidthOf(const std::vector<double>& values) {
    const auto top = std::max_element(values.begin(), values.end());
    const double half = *top / 2;
    auto left = top, right = top;
    while (left > values.begin() && *left > half) --left;
    while (right + 1 < values.end() && *right > half) ++right;
    const double before = *left > half ? 0 : (half - *left) / (left[1] - *left),
                 behind = *right > half ? 0 : (half - *right) / (right[-1] - *right);
    return static_cast<double>(right - left) - before - behind;
}

} // namespace

TEST(ArrayMigration, FocusesAPointBetweenTwoLinesInAllDirections) {
    for (const int channels : {5, 7}) {
        const ImageProps props(220, 90, channels == 5 ? 25 : 21);
        const double line = 10.5;
        const Block record = ArrayRecord(props, 6, channels, std::vector{Point(45 * 0.005, line * kSpacing, 0.3)});
        const Place peak = Strongest(EnvelopeOf(Executed(Imaging(6, 2 * props.bscanCount - 1), record)));
        EXPECT_NEAR(peak.line, 2 * line, 1);
        EXPECT_NEAR(peak.ascan, 45, 1);
        EXPECT_NEAR(peak.sample, 0.3 * TwoWaySlowness(6) / 5e-11, 1);
        const double volume = Volume(EnvelopeOf(Executed(Imaging(6), record))),
                     lineByLine = Volume(ImagedLineByLine(record, 6));
        EXPECT_LT(volume, lineByLine / 4) << lineByLine;
        std::printf("point, %d channels: %.0f samples, line by line %.0f\n", channels, volume, lineByLine);
        const auto imageOf = [&](bool bistatic) { // of one kind of channel alone
            Block part = record;
            for (int z = 0; z < props.bscanCount; ++z)
                if ((z % channels % 2 == 1) != bistatic) part.props.bscanInfo[std::size_t(z)] = {};
            return Strongest(EnvelopeOf(Executed(Imaging(6, 2 * props.bscanCount - 1), part)));
        };
        const Place mono = imageOf(false), bi = imageOf(true);
        EXPECT_NEAR(mono.sample, bi.sample, 1);
        EXPECT_NEAR(mono.ascan, bi.ascan, 1);
        EXPECT_NEAR(mono.line, bi.line, 1);
    }
}

TEST(ArrayMigration, BarsAlongTheScanAreNarrowAcrossIt) {
    constexpr int lines = 35, fine = 4 * (lines - 1) + 1;
    const int sample = std::lround(0.2 * TwoWaySlowness(6.5) / 5e-11);
    const ImageProps props(330, 60, lines);
    const Block one = ArrayRecord(props, 6.5, kChannels, std::vector{BarAlong(17 * kSpacing, 0.2)});
    const double width =
                     WidthOf(AcrossScan(EnvelopeOf(Executed(Imaging(6.5, fine), one)), 30, sample, 10)) * kSpacing / 4,
                 before = WidthOf(AcrossScan(ImagedLineByLine(one, 6.5), 30, 0, 330)) * kSpacing;
    std::printf("bar: %.3f m wide, line by line %.3f m\n", width, before);
    EXPECT_LT(width, before / 8);

    const double apart = 0.12, middle = 17 * kSpacing;
    const Block two = ArrayRecord(props, 6.5, kChannels,
                                  std::vector{BarAlong(middle - apart / 2, 0.2), BarAlong(middle + apart / 2, 0.2)});
    const auto valley = [&](const Block& image) {
        const auto values = AcrossScan(image, 30, sample, 10);
        const std::size_t centre = values.size() / 2, half = values.size() * 48 / 850; // to a bar
        return values[centre] / std::min(values[centre - half], values[centre + half]);
    };
    const double volume = valley(EnvelopeOf(Executed(Imaging(6.5, fine, 70), two))), // dips up to 54 degrees
        lineByLine = valley(ImagedLineByLine(two, 6.5));
    std::printf("two bars: valley %.2f, line by line %.2f\n", volume, lineByLine);
    EXPECT_LT(volume, 0.3);
    EXPECT_GT(lineByLine, 0.7);
}

TEST(ArrayMigration, CorrectedKeepsAFlatReflector) {
    const auto plane = [](double tx, double ty, double rx, double ry) {
        return std::hypot(0.4, std::hypot(tx - rx, ty - ry)); // at 0.2 m
    };
    const Block record = ArrayRecord(ImageProps(220, 101, 25), 6, kChannels, std::vector{plane});
    Migration algo = Imaging(6, 0, 70); // the edge of a narrower aperture shows as a weak pulse ahead of the reflector
    algo.GetParams().wavelet = Params::Wavelet::Corrected;
    const Block image = Executed(algo, record);
    const int sample = std::lround(0.2 * TwoWaySlowness(6) / 5e-11);
    double largest = 0;
    for (int s = sample - 12; s <= sample + 12; ++s) {
        const double expected = 0.5 * Ricker((s * 5e-11 - 0.2 * TwoWaySlowness(6)), 1.2e9);
        largest = std::max(largest, std::abs(image.At(s, 50, 12) - expected));
    }
    EXPECT_LT(largest, 0.06); // of 0.5
}

TEST(ArrayMigration, PartsOfABlockGiveItsBits) {
    const Block in = NoiseBlock(40, 21, 35);
    Migration algo(6, 0, 0.05f);
    algo.GetParams().apertureAngle = 40;
    const Block whole = Executed(algo, in);
    const int beside = algo.LinesBeside(40 * 5e-11);
    EXPECT_LE(beside, 4);
    const ImageProps props(40, 21, 15); // of channels of its own, if it weren't told
    Block part(props);
    algo.ExecutePart(&in.data[40 * 21 * 8], props, {8, 35}, part.data.data(), props);
    const std::ptrdiff_t line = 40 * 21;
    EXPECT_TRUE(std::equal(part.data.begin() + beside * line, part.data.end() - beside * line,
                           whole.data.begin() + (8 + beside) * line));
}

TEST(ArrayMigration, RefusesInOrder) {
    const FreshStatics statics;
    const auto refusal = [](float permittivity, float spacing, int timeZero, int lines, int samples = 20) {
        const Block in = NoiseBlock(samples, 4, 6);
        Migration algo(permittivity, timeZero, spacing);
        algo.GetParams().lines = lines;
        Block out(ImageProps(std::max(samples - std::max(timeZero, 0), 1), 4, 6), 7.f);
        return Failure([&] { algo.Execute(in.data.data(), in.props, out.data.data(), out.props); });
    };
    EXPECT_EQ(refusal(0, 0, -1, -1), "-10/0 TZM::Exception::permittivitySmallerEqualZero");
    EXPECT_EQ(refusal(6, 0, -1, -1), "-9/0 TZM::Exception::valueSmallerEqualZero");
    EXPECT_EQ(refusal(6, NAN, -1, -1), "-9/0 TZM::Exception::valueSmallerEqualZero");
    EXPECT_EQ(refusal(6, 1, -1, 0), "-8/0 TZM::Exception::valueSmallerZero");
    EXPECT_EQ(refusal(6, 1, 0, -1), "-8/0 TZM::Exception::valueSmallerZero");
    EXPECT_EQ(refusal(6, 1, 20, 0), "99/-6 IPP::Exception::ippsZero_32f");
    EXPECT_EQ(refusal(6, 1, 18, 0), "99/-2 IPP::Array::RootMeanSquare - too short");
    EXPECT_EQ(refusal(6, 1, 0, 0), "none");
}

TEST(ArrayMigration, ReadsItsKeys) {
    const FreshStatics statics;
    Migration algo;
    const Params& p = statics.Parsed(
        algo,
        "{'Global': {'TimeZero': 9, 'Permittivity': 3.0, 'Overlays': [{'Thickness': 0.5}]}, 'ArrayMigration': "
        "{'LineSpacing': 0.1, 'Lines': 7, 'ApertureAngle': 99.0, 'ApertureBaseWidth': -1, 'ApertureBaseLines': 3, "
        "'AntennaOffsetMono': 0.5, 'AntennaOffsetBi': 1, 'BistaticAcross': false, 'AntiAlias': false, "
        "'Wavelet': 'corrected'}}");
    EXPECT_EQ(p.timeZero, 9);
    EXPECT_EQ(std::string(p.overlays), "[{\"Thickness\":0.5}]\n");
    EXPECT_EQ(
        (std::vector<float>{p.permittivity, p.lineSpacing, float(p.lines), p.apertureAngle, float(p.apertureBaseWidth),
                            float(p.apertureBaseLines), p.antennaOffsetMono, p.antennaOffsetBi}),
        (std::vector<float>{3, 0.1f, 7, 85, 0, 3, 0.5f, 0.03f}));
    EXPECT_FALSE(p.bistaticAcross);
    EXPECT_FALSE(p.antiAlias);
    EXPECT_EQ(p.wavelet.value, Params::Wavelet::Corrected);
    statics.Parsed(algo, "{'ArrayMigration': {'Wavelet': 'none', 'AntiAlias': 1}}");
    EXPECT_EQ(p.wavelet.value, Params::Wavelet::Corrected);
}

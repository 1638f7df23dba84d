#include "Algorithms/Migration/AlgoKirchhoffMigration.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

struct Kirchhoff : AlgoKirchhoffMigration {
    explicit Kirchhoff(float permittivity = 6, int timeZero = 0, const std::string& overlays = "") {
        Setup(AlgoParamKirchhoffMigration(true, 1, timeZero, permittivity, overlays));
    }
    using AlgoKirchhoffMigration::GenerateVelocityVector, AlgoKirchhoffMigration::GetInternalAlgoParams;
    std::vector<float> Speeds(const std::vector<Overlay>& layers, int n) const {
        IPP::Array<float> v(n);
        GenerateVelocityVector(v, layers);
        return {v.data, v.data + n};
    }
};

/// The sum as it is told, distance by distance.
std::vector<double> Reference(const Block& in, const Kirchhoff& algo, int tz, double angle, double base, double most,
                              double mono, double bi, int channels) {
    const int S = in.props.samplesPerAscan, A = in.props.ascansPerBscan;
    const double dt = 5e-11f, dx = 0.005f, tanA = angle > 0 ? std::tan(angle * 3.14159 / 180) : 0;
    const auto v = algo.Speeds({}, S);
    std::vector<double> out(std::size_t(S - tz) * A * in.props.bscanCount);
    for (int b = 0; b < in.props.bscanCount; ++b) {
        const double a = b % channels % 2 ? bi : mono;
        const int first = in.props.bscanInfo[b].firstValidIdx, len = in.props.bscanInfo[b].validLen;
        for (int d = 1 - len; d <= len - 2; ++d)
            for (int s = tz; s < S; ++s) {
                const double h = v[s] / 2, t = s * dt, x = d * dx;
                if (tanA > 0) {
                    double w = std::max(std::trunc(s * dt * h * tanA / (2 * dx)), base);
                    if (most > 0) w = std::min(w, most);
                    if (std::abs(d) > w) continue;
                }
                const double T = (std::hypot((x + a) / h, t) + std::hypot((x - a) / h, t)) / 2, Tc = T - a / (4 * h);
                const int idx = std::floor(Tc / dt + 1.5);
                if (idx >= S) break;
                const double W = Tc > 0 ? std::sqrt(S * dt / Tc) * t / Tc : 1;
                for (int y = std::max(0, -d); y <= std::min(len - 1, len - 1 - d); ++y)
                    out[(std::size_t(b) * A + first + y) * (S - tz) + s - tz] += W * in.At(idx, first + y + d, b);
            }
    }
    return out;
}

class KirchhoffAtLevel : public AtSimdLevel {};

} // namespace

TEST_P(KirchhoffAtLevel, SumsAlongTheToldCurves) {
    struct Case {
        int samples, ascans, bscans, timeZero;
        double angle, base, most, mono, bi;
    };
    for (const Case& c : {Case{60, 1, 5, 0, 60, 10, 32, 0.03, 0.03}, Case{80, 70, 5, 7, 60, 10, 32, 0.03, 0.06},
                          Case{50, 33, 7, 0, 0, 3, 4, 0., 0.1}, Case{200, 130, 5, 3, 30, 2, 0, 0.02, -0.02},
                          Case{40, 20, 5, 39, 85, 40, 5, 0.03, 0.03}, Case{3, 9, 5, 0, 45, 0, 0, 0.01, 0.3}}) {
        const auto text = [](double x) { return std::to_string(x); };
        const FreshStatics statics("{'KirchhoffMigration': {'AntennaOffsetMono': " + text(c.mono) +
                                   ", 'AntennaOffsetBi': " + text(c.bi) + ", 'ApertureAngle': " + text(c.angle) +
                                   ", 'ApertureBaseWidth': " + std::to_string(int(c.base)) +
                                   ", 'ApertureMaxWidth': " + std::to_string(int(c.most)) + "}}");
        Block in = NoiseBlock(c.samples, c.ascans, c.bscans);
        if (c.ascans > 8) in.props.bscanInfo[2] = {4, c.ascans - 8};
        if (c.ascans > 8) in.props.bscanInfo[3] = {5, 1};
        const Kirchhoff algo(6, c.timeZero);
        const Block out = Executed(algo, in);
        const auto expected =
            Reference(in, algo, c.timeZero, float(c.angle), c.base, c.most, float(c.mono), float(c.bi), c.bscans);
        double peak = 1;
        for (const double x : expected) peak = std::max(peak, std::abs(x));
        EXPECT_TRUE(AllNear(out.data, expected, expected.size(), 3e-6 * peak)) << c.samples << " " << c.ascans;
        EXPECT_EQ(Energy(out, 3), c.ascans > 8 ? 0 : Energy(out, 3)); // a single A-scan
    }
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(KirchhoffAtLevel);

TEST(KirchhoffMigration, LayersSlowTheWaveDown) {
    const auto speed = [](double permittivity) { return 3e8 / std::sqrt(permittivity); };
    const Kirchhoff algo(4);
    EXPECT_NEAR(algo.Speeds({}, 8)[5], speed(4), 20);
    const double sample = 5e-11;
    const auto layer = [&](double samples, float permittivity) {
        return AlgoBase::Overlay{"", float(samples * sample * speed(std::max(1.f, permittivity))), permittivity};
    };
    const auto v = algo.Speeds({layer(3, 9), layer(2, 1)}, 10);
    const double squares[] = {1. / 9, 1. / 9, 1. / 9, 1, 1, 1. / 4, 1. / 4, 1. / 4, 1. / 4};
    double sum = 0;
    for (int i = 0; i < 9; ++i) {
        sum += squares[i];
        EXPECT_NEAR(v[i], 3e8 * std::sqrt(sum / (i + 1)), 200) << i;
    }
    EXPECT_EQ(v[9], v[8]);
    EXPECT_NEAR(algo.Speeds({layer(0.4, 9), layer(2, 1)}, 8)[0], speed(1), 20); // passed over, the next one counts
    EXPECT_NEAR(algo.Speeds({layer(2, 9), layer(0.4, 1), layer(3, 1)}, 8)[2], 3e8 * std::sqrt((2. / 9 + 1. / 4) / 3),
                200);
    EXPECT_NEAR(algo.Speeds({layer(90, 0.5f)}, 8)[7], 3e8, 20);
    EXPECT_NEAR(algo.Speeds({layer(-3, 9)}, 8)[7], speed(9), 20);
}

namespace {

Block Point(double depth, double permittivity) {
    return PointDiffractor(ImageProps(400, 120, 5), 60, depth, permittivity);
}

std::string ZeroOffset() {
    return "{'KirchhoffMigration': {'AntennaOffsetMono': 0.0, 'AntennaOffsetBi': 0.0, 'ApertureMaxWidth': 0}}";
}

/// Share of the energy near the point.
double Focus(const Block& image, int sample) { return Energy(image, 0, sample, 60, 15, 4) / Energy(image, 0); }

} // namespace

TEST(KirchhoffMigration, CollapsesAPointAtItsPlace) {
    const FreshStatics statics(ZeroOffset());
    for (const double permittivity : {4., 6., 9.}) {
        const Block record = Point(0.3, permittivity), image = Executed(Kirchhoff(permittivity), record);
        const int sample = std::lround(0.3 * TwoWaySlowness(permittivity) / 5e-11);
        EXPECT_NEAR(Peak(image).sample, sample - 1, 1) << permittivity; // the record is read a sample late
        EXPECT_NEAR(Peak(image).ascan, 60, 1);
        EXPECT_GT(Focus(image, sample), 4 * Focus(record, sample));
        EXPECT_LT(Focus(Executed(Kirchhoff(1.6 * permittivity), record), sample), 0.7 * Focus(image, sample));
    }
}

TEST(KirchhoffMigration, RefusesInOrder) {
    const FreshStatics statics;
    AlgoGlobalSettings& settings = AlgoBase::GetGlobalSettings();
    const auto refusal = [](float permittivity, int timeZero, int bscans = 5, int samples = 20) {
        const Block in = NoiseBlock(samples, 4, bscans);
        Block out(ImageProps(std::max(samples - std::max(timeZero, 0), 1), 4, bscans), 7.f);
        const std::string text = Failure(
            [&] { Kirchhoff(permittivity, timeZero).Execute(in.data.data(), in.props, out.data.data(), out.props); });
        return text + (out.data[0] == 7.f ? "" : " written");
    };
    settings.delta_x = 0;
    EXPECT_EQ(refusal(0, -1, 6), "-10/0 TZM::Exception::permittivitySmallerEqualZero");
    EXPECT_EQ(refusal(6, -1, 6), "-9/0 TZM::Exception::valueSmallerEqualZero");
    settings.delta_x = 0.005f;
    EXPECT_EQ(refusal(6, -1, 6), "-8/0 TZM::Exception::valueSmallerZero");
    EXPECT_EQ(refusal(6, 0, 6), "-11/0 TZM::Exception::unexpectedBscanCount written");
    EXPECT_EQ(refusal(6, 20), "99/-6 IPP::Exception::ippsZero_32f");
    EXPECT_EQ(refusal(6, 0, 5, 2), "99/-2 IPP::Array::RootMeanSquare - too short written");
}

TEST(KirchhoffMigration, ReadsItsKeys) {
    const FreshStatics statics;
    Kirchhoff algo;
    EXPECT_EQ(algo.GetInternalAlgoParams(), nullptr);
    const auto& p =
        statics.Parsed(algo, "{'Global': {'TimeZero': 9, 'Permittivity': 3.0, 'Overlays': [{'Thickness': 0.5}]}}");
    EXPECT_EQ(p.timeZero, 9);
    EXPECT_EQ(p.permittivity, 6.f);
    EXPECT_EQ(std::string(p.overlays), "[{\"Thickness\":0.5}]\n");
    statics.Parsed(algo, "{'Global': {'TimeZero': -1, 'Overlays': null}}");
    EXPECT_EQ(std::string(p.overlays), "[{\"Thickness\":0.5}]\n");
    EXPECT_EQ(statics.Errors().back(), "AlgoKirchhoffMigration::ParseParamsFromJsonConfig: JSON Exception - "
                                       "Negative integer can not be converted to unsigned integer");
    statics.Parsed(algo, "{'Global': {'TimeZero': 0, 'Overlays': null}}");
    EXPECT_EQ(std::string(p.overlays), "null\n");
    statics.Configure("{'KirchhoffMigration': {'AntennaOffsetBi': 1, 'ApertureAngle': 88.0, 'ApertureBaseWidth': -3, "
                      "'ApertureMaxWidth': 101, 'AntennaOffsetMono': 0.5}}");
    Executed(algo, NoiseBlock(20, 4, 5));
    const auto& i = *algo.GetInternalAlgoParams();
    EXPECT_EQ((std::vector<float>{i.antennaOffsetMono, i.antennaOffsetBi, i.apertureAngle, float(i.apertureBaseWidth),
                                  float(i.apertureMaxWidth)}),
              (std::vector<float>{0.5f, 0.03f, 85, 0, 100}));
}

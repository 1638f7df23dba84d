#include "Algorithms/Gain/AlgoAutoGain.h"

#include <gtest/gtest.h>

#include <complex>

#include "Array/Primitives/Ipps.h"
#include "Framework/private/JsonDocument.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"

using namespace TZM;

namespace {

using Image = IPP::Array2D<float>;

struct Gain : AlgoAutoGain {
    explicit Gain(bool deep = false, float maxAmp = 2.5f, int half = 10) {
        Setup(AlgoParamAutoGain(true, 1, maxAmp, half, deep));
    }
    using AlgoAutoGain::AmplitudeCorrectionDeepVersion, AlgoAutoGain::AmplitudeCorrectionStandardVersion,
        AlgoAutoGain::ApplyGain, AlgoAutoGain::AscanEqualization, AlgoAutoGain::GetInternalAlgoParams,
        AlgoAutoGain::TriangleSmoothing;
};

std::vector<float> Factors(const std::string& text, int samples) {
    Json::Value pairs;
    ReadJson(text, pairs);
    GainProgression curve;
    curve.FromJson(pairs);
    IPP::Array<float> factors(samples);
    curve.FillFactors(factors);
    std::vector<float> decibels;
    for (int i = 0; i < samples; ++i) decibels.push_back(20 * std::log10(factors[i]));
    return decibels;
}

std::vector<double> Smoothed(const std::vector<double>& data, int h) {
    std::vector<double> smooth(data.size());
    for (int i = 0; i < int(data.size()); ++i)
        for (int j = std::max(0, i - h); j <= std::min<int>(data.size() - 1, i + h); ++j)
            smooth[i] += data[j] * (h - std::abs(i - j)) / (double(h) * h);
    return smooth;
}

/// |analytic signal| by the definition of the discrete transform.
std::vector<double> Envelope(const float* row, int n) {
    std::vector<std::complex<double>> spectrum(n), signal(n);
    for (int k = 0; k <= n / 2; ++k) {
        for (int i = 0; i < n; ++i) spectrum[k] += double(row[i]) * std::polar(1., -2 * M_PI * i * k / n);
        if (k > 0 && 2 * k != n) spectrum[k] *= 2;
    }
    std::vector<double> envelope(n);
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k <= n / 2; ++k) signal[i] += spectrum[k] * std::polar(1., 2 * M_PI * i * k / n);
        envelope[i] = std::abs(signal[i]) / n;
    }
    return envelope;
}

void Filter(std::vector<double>& data, double frequency, double ripple) {
    double t[6];
    IPP::ippsIIRGenLowpass_64f(frequency, ripple, 2, t, 0);
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    for (double& x : data) {
        const double y = t[0] * x + t[1] * x1 + t[2] * x2 - t[4] * y1 - t[5] * y2;
        x2 = x1, x1 = x, y2 = y1, y1 = y, x = y;
    }
}

/// Rows of noise under a decaying envelope, one of zeros among them.
void Fill(const Image& image) {
    Noise noise(7);
    for (int y = 0; y < image.dim1; ++y)
        for (int s = 0; s < image.dim0; ++s) image.At(s, y) = y == 2 ? 0 : (1 + y) * std::exp(-0.02 * s) * noise();
}

} // namespace

TEST(AutoGain, CurvesRunInDecibelsFromOneDecibelAhead) {
    const float expected[] = {1, 0, -1, -2, -3, -2, -1, 0, 0, 0};
    EXPECT_TRUE(AllNear(Factors("[[5,-3.0],[8,0.0]]", 10), expected, 10, 1e-4));
    const auto standard = Factors(AlgoAutoGain::defaultGainStdMono, 300);
    EXPECT_NEAR(standard[0], -14, 1e-4);
    EXPECT_NEAR(standard[11], -12, 1e-4);
    EXPECT_NEAR(standard[34], -12 + 2.5 * 7 / 14, 1e-4);
    EXPECT_NEAR(standard[179], 0, 1e-4);
    EXPECT_NEAR(standard[299], 0, 1e-4);
    EXPECT_TRUE(AllNear(Factors("[[0,6.0]]", 3), std::vector<float>{6, 6, 6}, 3, 1e-4));
    EXPECT_TRUE(AllNear(Factors("[[1,6.0],[-4,8.0]]", 3), std::vector<float>{8, 8, 8}, 3, 1e-4));
    for (const char* none : {"[]", "null", "3", "{}", "[[1]]", "[[1,2.0,3]]", "[7, [1,2.0]]"})
        EXPECT_TRUE(AllNear(Factors(none, 4), std::vector<float>(4), 4, 1e-6)) << none;
    EXPECT_TRUE(AllNear(Factors("[[1,6.0],[2],[3,9.0]]", 3), std::vector<float>{6, 6, 6}, 3, 1e-4));
    EXPECT_TRUE(AllNear(Factors("[[1,0.0],[11,10.0]]", 3), std::vector<float>{0, 1, 2}, 3, 1e-4)); // shorter than it
}

TEST(AutoGain, SmoothsByATriangle) {
    const Gain gain;
    Noise noise;
    for (const auto& [length, half] :
         {std::pair(1, 1), std::pair(1, 9), std::pair(40, 1), std::pair(40, 2), std::pair(300, 10), std::pair(300, 17),
          std::pair(20, 20), std::pair(20, 19), std::pair(20, 1000)}) {
        auto data = noise.Floats(length);
        const auto expected = Smoothed({data.begin(), data.end()}, half);
        gain.TriangleSmoothing(data.data(), length, half);
        EXPECT_TRUE(AllNear(data, expected, length, 1e-6)) << length << " " << half;
    }
    for (const int half : {35, 150, 300}) { // a kernel of sum 1 leaves the range of the data
        std::vector<float> large(200, 1e37f);
        gain.TriangleSmoothing(large.data(), 200, half);
        EXPECT_TRUE(AllNear(large, Smoothed(std::vector<double>(200, 1e37), half), 200, 1e31)) << half;
    }
    std::vector<float> data(60, 0.f);
    data[10] = 1e30f, data[40] = NAN, data[50] = 1;
    gain.TriangleSmoothing(data.data(), 60, 5);
    EXPECT_EQ(data[15], 0.f); // owes nothing to what lies beyond its reach
    EXPECT_FALSE(std::isnan(data[35]));
    EXPECT_TRUE(std::isnan(data[44]));
    EXPECT_NEAR(data[50], 0.2, 1e-7);
    const auto refusal = [&](int length, int half) {
        return Failure([&] { gain.TriangleSmoothing(data.data(), length, half); });
    };
    EXPECT_EQ(refusal(60, 0), "-9/0 TZM::Exception::valueSmallerEqualZeros");
    EXPECT_EQ(refusal(0, 5), "-9/0 TZM::Exception::valueSmallerEqualZeros");
    EXPECT_EQ(refusal(60, (2147483646 - 60) / 2 + 1), "-12/0 TZM::Exception::valueToBig");
    EXPECT_EQ(refusal(60, (2147483646 - 60) / 2), "none");
}

TEST(AutoGain, EqualisesLikePlainDoubles) {
    const Gain gain;
    for (const auto& [samples, rows] : {std::pair(64, 70), std::pair(51, 5), std::pair(2, 3), std::pair(1, 1)}) {
        Image source(samples, rows), target(samples, rows);
        Fill(source);
        for (int mode = 0; mode < 4; ++mode) { // smoothed factors, smoothed envelope
            std::vector<double> factors;
            for (int y = 0; y < rows; ++y) {
                auto envelope = Envelope(source.Row(y).data, samples);
                if (mode & 2) envelope = Smoothed(envelope, 6);
                const double peak = *std::max_element(envelope.begin(), envelope.end());
                factors.push_back(peak == 0 ? 1 : 1 / peak);
            }
            if (mode & 1) {
                std::vector<double> all(factors.rbegin(), factors.rend());
                all.insert(all.end(), factors.begin(), factors.end());
                all.insert(all.end(), factors.rbegin(), factors.rend());
                for (int pass = 0; pass < 2; ++pass) {
                    Filter(all, 0.05, 0);
                    std::reverse(all.begin(), all.end());
                }
                factors.assign(all.begin() + rows, all.end() - rows);
            }
            gain.AscanEqualization(source, target, 6, mode & 1, mode & 2);
            for (int y = 0; y < rows; ++y)
                for (int s = 0; s < samples; ++s)
                    ASSERT_NEAR(target.At(s, y), source.At(s, y) * factors[y], 3e-6) << mode << " " << y;
        }
        std::vector<double> factors, means(rows);
        for (int y = 0; y < rows; ++y) {
            auto envelope = Envelope(source.Row(y).data, samples);
            Filter(envelope, 0.2, 0.5);
            const double peak = *std::max_element(envelope.begin(), envelope.end());
            factors.push_back(std::abs(peak) < 1e-12 ? 1 : 1 / peak);
        }
        gain.AmplitudeCorrectionStandardVersion(source, target, 6, 2);
        for (int y = 0; y < rows; ++y) {
            double before = 0, after = 0;
            for (int k = std::max(0, y - 6); k <= y; ++k) before += factors[k] / std::min(7, y + 1);
            for (int k = y; k < std::min(rows, y + 7); ++k) after += factors[k] / std::min(7, rows - y);
            for (int s = 0; s < samples; ++s)
                ASSERT_NEAR(target.At(s, y), source.At(s, y) * std::min(before, after), 1e-4) << y;
        }
        for (const auto& [half, maxAmp] : {std::pair(0, 2.5f), std::pair(6, 4.f), std::pair(6, 0.f)}) {
            gain.AmplitudeCorrectionDeepVersion(source, target, half, maxAmp);
            for (int y = 0; y < rows; ++y) {
                const auto raw = Envelope(source.Row(y).data, samples);
                auto e = half ? Smoothed(raw, half) : raw;
                for (int s = 0; s < samples; ++s) e[s] = std::max(e[s], raw[s]);
                const double level = *std::max_element(e.begin(), e.end()) / maxAmp;
                for (int s = 0; s < samples; ++s) {
                    const double divisor = std::min(e[s], level);
                    ASSERT_NEAR(target.At(s, y), maxAmp == 0 || divisor == 0 ? 0 : source.At(s, y) / divisor / maxAmp,
                                1e-5);
                }
            }
        }
    }
}

TEST(AutoGain, BringsALateReflectorToAStatedLevel) {
    const FreshStatics statics("{'AutoGain': {'GainDeepMono': [], 'GainDeepBi': [[1, -6.0]]}}");
    Block scene(ImageProps(400, 6, 5)); // a strong wavelet and one 60 dB below it
    for (int z = 0; z < 5; ++z)
        for (int y = 1; y < 5; ++y)
            for (int s = 0; s < 400; ++s)
                scene.At(s, y, z) = 1000 * Ricker((s - 60) * 5e-11, 1e9) + Ricker((s - 300) * 5e-11, 1e9);
    for (auto& range : scene.props.bscanInfo) range = {1, 4};
    const auto peak = [](const Block& block, int z, int from, int to) {
        float most = 0;
        for (int s = from; s < to; ++s) most = std::max(most, std::abs(block.At(s, 2, z)));
        return most;
    };
    for (const float maxAmp : {2.5f, 5.f}) {
        const Block out = Executed(Gain(true, maxAmp, 0), scene);
        EXPECT_NEAR(peak(out, 2, 0, 150), 1, 0.01);
        EXPECT_NEAR(peak(out, 2, 250, 350), 1 / maxAmp, 0.05 / maxAmp);
        EXPECT_NEAR(peak(out, 1, 250, 350), 0.501187 * peak(out, 2, 250, 350), 1e-5); // the bistatic curve
        for (const int y : {0, 5}) EXPECT_EQ(Energy(out, 2, 0, y, 400, 0), 0);
    }
    const Block out = Executed(Gain(), scene); // the standard curve weakens what comes early
    EXPECT_NEAR(peak(out, 2, 0, 150), 1, 0.02);
    EXPECT_NEAR(peak(out, 2, 250, 350) / peak(out, 2, 0, 150), 1e-3 * std::pow(10, 4.67 / 20), 2e-4);
}

TEST(AutoGain, RefusesLongAscansAndChannelsThatItDoesntKnow) {
    EXPECT_EQ(Failure([] { Executed(Gain(), NoiseBlock(1024, 2, 5)); }), "none");
    for (const bool deep : {false, true}) {
        EXPECT_EQ(Failure([&] { Executed(Gain(deep), NoiseBlock(1025, 2, 5)); }),
                  "99/-2 IPP::Exception::ippsHilbert_outOfRange32f");
        EXPECT_EQ(Failure([&] { Executed(Gain(deep), NoiseBlock(64, 2, 6)); }),
                  "-11/0 TZM::Exception::unexpectedBscanCount");
    }
    Block infinite = NoiseBlock(128, 8, 5);
    infinite.At(60, 3, 2) = INFINITY;
    for (const char* document : {"{}", "{'AutoGain': {'SmoothNormEnvelope': true}}"}) {
        const FreshStatics statics(document);
        EXPECT_EQ(Failure([&] { Executed(Gain(), infinite); }), "99/-2 IPP::Exception::ippsHilbert_outOfRange32f");
    }
    Block loud = NoiseBlock(1024, 2, 5);
    for (float& value : loud.data) value *= 2e34f;
    EXPECT_GT(Energy(Executed(Gain(true, 2.5f, 1023), loud)), 0) << "a wide triangle over large values";

    // A half length is refused where the first row comes to it: behind that row's envelope, ahead of the next one's.
    const FreshStatics statics("{'AutoGain': {'SmoothNormEnvelope': true}}");
    for (const bool deep : {false, true})
        for (const auto& [half, text] : {std::pair(-3, "-9/0 TZM::Exception::valueSmallerEqualZeros"),
                                         std::pair(2147483646, "-12/0 TZM::Exception::valueToBig")}) {
            const auto failure = [&, h = half](const Block& in) {
                return Failure([&] { Executed(Gain(deep, 2.5f, h), in); });
            };
            Block first = NoiseBlock(64, 3, 5), second = first;
            first.At(20, 0, 0) = second.At(20, 1, 0) = INFINITY;
            EXPECT_EQ(failure(NoiseBlock(64, 3, 5)), text);
            EXPECT_EQ(failure(second), text);
            EXPECT_EQ(failure(first), "99/-2 IPP::Exception::ippsHilbert_outOfRange32f");
            EXPECT_EQ(failure(NoiseBlock(1025, 3, 5)), "99/-2 IPP::Exception::ippsHilbert_outOfRange32f");
        }
}

TEST(AutoGain, ReadsItsKeys) {
    const FreshStatics statics;
    Gain gain;
    const auto parsed = [&](const std::string& keys) {
        const auto& p = statics.Parsed(gain, "{'AutoGain': {" + keys + "}}");
        return std::vector<float>{p.MaxAmp, float(p.HalfLenTriangle), float(p.UseProgressiveGain)};
    };
    EXPECT_EQ(parsed("'MaxAmp': 3, 'HalfLenTriangle': 4.0, 'UseDeepGain': 1"), (std::vector<float>{2.5f, 10, 0}));
    EXPECT_EQ(parsed("'MaxAmp': 3.0, 'MaxAmpDeep': 7, 'UseDeepGain': 0, 'UseProgressiveGain': true"),
              (std::vector<float>{3, 10, 1}));
    EXPECT_EQ(parsed("'MaxAmp': 3.5, 'MaxAmpDeep': 7.0, 'UseDeepGain': false, 'UseProgressiveGain': true"),
              (std::vector<float>{7, 10, 0}));
    EXPECT_EQ(parsed("'MaxAmpDeep': 8.0, 'HalfLenTriangle': -2, 'UseDeepGain': true"), (std::vector<float>{8, 10, 0}));
    EXPECT_EQ(statics.Errors().back(), "AlgoAutoGain::ParseParamsFromJsonConfig: JSON Exception - "
                                       "Negative integer can not be converted to unsigned integer");
    statics.Configure("{'AutoGain': {'GainStdMono': [[1,1.0],['x',2.0]], 'SmoothNormalization': true}}");
    Executed(gain, NoiseBlock(16, 2, 5));
    EXPECT_EQ(gain.GetInternalAlgoParams()->GainStdMono.size(), 1u);
    EXPECT_FALSE(gain.GetInternalAlgoParams()->SmoothNormalization); // the exception ended the reading
    EXPECT_EQ(statics.Errors().back().find("AlgoAutoGain::InternalAlgoParams::Parse: JSON Exception - "), 0u);
    statics.Configure("{'AutoGain': {'GainStdBi': null, 'SmoothNormEnvelope': true}}");
    Executed(gain, NoiseBlock(16, 2, 5));
    EXPECT_EQ(gain.GetInternalAlgoParams()->GainStdMono.size(), 10u);
    EXPECT_TRUE(gain.GetInternalAlgoParams()->GainStdBi.empty());
    EXPECT_TRUE(gain.GetInternalAlgoParams()->SmoothNormEnvelope);
    EXPECT_EQ(gain.DescribeKeys().size(), 11u);
}

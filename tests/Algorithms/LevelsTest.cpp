// Gain over depth, contrast and the two normalisations.
#include <gtest/gtest.h>

#include "Algorithms/Gain/AlgoDepthGaining.h"
#include "Algorithms/Gain/AlgoNormalizationBscan.h"
#include "Algorithms/Gain/AlgoNormalizationCscan.h"
#include "Algorithms/Gain/AlgoSetContrastBscan.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"

using namespace TZM;

namespace {

std::vector<float> DepthCurve(int samples, int start, int apex, int end, float startGain, float apexGain,
                              float endGain) {
    AlgoDepthGaining algo;
    algo.Setup(AlgoParamDepthGaining(true, 1, start, apex, end, startGain, apexGain, endGain));
    const Block out = Executed(algo, Block(ImageProps(samples, 2, 3), 1.f));
    EXPECT_TRUE(std::equal(out.data.begin() + samples, out.data.end(), out.data.begin()));
    return {out.data.begin(), out.data.begin() + samples};
}

struct Contrast : AlgoSetContrastBscan {
    using AlgoSetContrastBscan::GetInternalAlgoParams;
};

Block Contrasted(const Block& in, const std::string& keys = "") {
    const FreshStatics statics("{'SetContrastBscan': {" + keys + "}}");
    return Executed(Contrast(), in);
}

/// A calibration document for as long as it lives.
struct Calibration : AlgoBase {
    explicit Calibration(const std::string& text) {
        jsonCalibration = text;
        std::replace(jsonCalibration.begin(), jsonCalibration.end(), '\'', '"');
    }
    ~Calibration() override { jsonCalibration.clear(); }
};

} // namespace

TEST(DepthGaining, FollowsItsThreePoints) {
    EXPECT_EQ(DepthCurve(6, 0, 0, 0, 2, 3, 4), std::vector<float>(6, 1.f)); // no span
    EXPECT_EQ(DepthCurve(6, 9, 0, -1, 2, 3, 4), std::vector<float>(6, 1.f));
    EXPECT_EQ(DepthCurve(6, 3, 0, 1, 2, 3, 4), std::vector<float>(6, 1.f));
    EXPECT_EQ(DepthCurve(6, 0, -1, -1, 2, 2, 2), std::vector<float>(6, 2.f));
    EXPECT_EQ(DepthCurve(8, 1, 3, 5, 1, 3, 7), (std::vector<float>{1, 1, 2, 3, 5, 7, 7, 7}));
    EXPECT_EQ(DepthCurve(8, 2, 0, 6, 1, 3, 7), (std::vector<float>{1, 1, 3, 4, 5, 6, 7, 7})); // apex at start
    EXPECT_EQ(DepthCurve(8, 1, 3, 5, 1, 3e38f, -3e38f)[3], 3e38f); // whatever the slope behind it
    const auto ramp = DepthCurve(100, 10, -1, -1, 1, 3, 5);        // apex at the end
    EXPECT_EQ(ramp[10], 1.f);
    EXPECT_NEAR(ramp[54], 1 + 44 * 2. / 89, 1e-6);
    EXPECT_EQ(ramp[99], 3.f);
    const Block large = NoiseBlock(1024, 100, 2); // written past the caches
    AlgoDepthGaining algo;
    algo.Setup(AlgoParamDepthGaining(true, 1, 0, -1, -1, 1, 2, 2));
    const Block out = Executed(algo, large);
    for (std::size_t i = 0; i < out.data.size(); ++i)
        ASSERT_NEAR(out.data[i], large.data[i] * (1 + (i % 1024) / 1023.), 1e-6);
}

TEST(DepthGaining, ReadsItsKeys) {
    const FreshStatics statics;
    AlgoDepthGaining algo;
    const auto parsed = [&](const std::string& keys) {
        const auto& p = statics.Parsed(algo, "{'DepthGaining': {" + keys + "}}");
        return std::vector<float>{float(p.Start), float(p.Apex), float(p.End), p.StartGain, p.ApexGain, p.EndGain};
    };
    EXPECT_EQ(parsed("'Start': 1.0, 'StartGain': 2"), (std::vector<float>{0, 0, 0, 1, 1, 1}));
    EXPECT_EQ(parsed("'Start': 1, 'Apex': 2, 'End': 3, 'StartGain': 2.0, 'ApexGain': 3.0, 'EndGain': 4.0"),
              (std::vector<float>{1, 2, 3, 2, 3, 4}));
    EXPECT_EQ(parsed("'Start': 5, 'Apex': -1, 'End': 9"), (std::vector<float>{5, 2, 3, 2, 3, 4}));
    EXPECT_EQ(statics.Errors().back(), "AlgoDepthGaining::ParseParamsFromJsonConfig: JSON Exception - "
                                       "Negative integer can not be converted to unsigned integer");
}

TEST(Contrast, TakesTheSurfaceAndScales) {
    for (const bool normalize : {true, false})
        for (const auto& [samples, ascans, bscans] :
             {std::tuple(60, 30, 5), std::tuple(10, 1, 7), std::tuple(700, 200, 5)}) {
            Block in = NoiseBlock(samples, ascans, bscans, 3.f, 5.f);
            in.props.bscanInfo[2] = {ascans / 4, ascans / 2};
            const Block out =
                Contrasted(in, normalize ? "" : "'Normalize': false, 'ScaleFactorMono': 0.05, 'ScaleFactorBi': 3");
            for (int z = 0; z < bscans; ++z) {
                const bool bi = z % bscans % 2;
                const int bgr = std::min(samples, bi ? 19 : 16), taper = std::min(samples - bgr, bi ? 10 : 20);
                const int first = z == 2 ? ascans / 4 : 0, count = z == 2 ? ascans / 2 : ascans;
                std::vector<double> expected(samples * ascans);
                double peak = 0.01;
                for (int s = 0; s < samples; ++s) {
                    double mean = 0;
                    for (int y = first; y < first + count; ++y) mean += in.At(s, y, z) / double(count);
                    const double mask = s < bgr           ? 1
                                        : s < bgr + taper ? (std::cos(M_PI * (s - bgr) / taper) + 1) / 2
                                                          : 0;
                    for (int y = first; y < first + count; ++y) {
                        expected[y * samples + s] = in.At(s, y, z) - mask * mean;
                        peak = std::max(peak, std::abs(expected[y * samples + s]));
                    }
                }
                for (double& x : expected) x *= normalize ? 1 / peak : bi ? 3. : 0.1f;
                ASSERT_TRUE(AllNear(&out.data[std::size_t(z) * samples * ascans], expected, expected.size(),
                                    normalize ? 1e-5 : 3e-5));
            }
        }
}

TEST(Contrast, LimitsItsPeak) {
    Block in(ImageProps(50, 2, 5));
    in.At(45, 0, 0) = 0.005f;
    in.At(45, 0, 1) = -4;
    const Block out = Contrasted(in, "'BgrLenMono': 0, 'TaperLenMono': 0, 'BgrLenBi': -3, 'TaperLenBi': -3");
    EXPECT_FLOAT_EQ(out.At(45, 0, 0), 0.5f);
    EXPECT_EQ(out.At(45, 0, 1), -1.f);
    EXPECT_EQ(Energy(out, 2), 0);
}

TEST(Contrast, ReadsItsKeys) {
    const FreshStatics statics;
    Contrast algo;
    EXPECT_EQ(algo.GetInternalAlgoParams(), nullptr);
    EXPECT_EQ(statics.Parsed(algo, "{'SetContrastBscan': {'ContrastValue': 2}}").ContrastValue, 0.f);
    EXPECT_EQ(statics.Parsed(algo, "{'SetContrastBscan': {'ContrastValue': 2.5}}").ContrastValue, 2.5f);
    const auto internal = [&](const std::string& keys) {
        statics.Configure("{'SetContrastBscan': {" + keys + "}}");
        Executed(algo, NoiseBlock(8, 2, 5));
        const auto& p = *algo.GetInternalAlgoParams();
        return std::vector<float>{p.ScaleFactorMono,     p.ScaleFactorBi,   float(p.Normalize), float(p.BgrLenMono),
                                  float(p.TaperLenMono), float(p.BgrLenBi), float(p.TaperLenBi)};
    };
    EXPECT_EQ(internal(""), (std::vector<float>{10, 25, 1, 16, 20, 19, 10}));
    EXPECT_EQ(internal("'ScaleFactorMono': 'x', 'Normalize': 0, 'BgrLenMono': 1.0, 'TaperLenBi': true"), internal(""));
    EXPECT_EQ(
        internal("'ScaleFactorMono': 3, 'ScaleFactorBi': true, 'Normalize': false, 'BgrLenMono': 1, 'TaperLenMono': 2, "
                 "'BgrLenBi': 3, 'TaperLenBi': -4"),
        (std::vector<float>{3, 1, 0, 1, 2, 3, -4}));
    Contrast copy(algo);
    copy = algo; // each owns its values
    EXPECT_EQ(copy.GetInternalAlgoParams(), nullptr);
}

TEST(NormalizationBscan, StretchesEveryBscanByItsOwnRange) {
    AlgoNormalizationBscan algo;
    algo.Setup(AlgoParamNormalizationBscan(true, 1, 3, -1, false)); // inverts
    Block in = NoiseBlock(20, 6, 7, 2.f, 9.f);                      // a number of B-scans of its own
    std::fill_n(&in.At(0, 0, 3), 20 * 6, 4.f);
    in.props.bscanInfo[1] = {2, 3};
    in.props.bscanInfo[3] = {2, 3};
    in.props.bscanInfo[4] = {0, 0};
    Block out(in.props, 77.f);
    algo.Execute(in.data.data(), in.props, out.data.data(), out.props);
    for (int z = 0; z < 7; ++z) {
        const int first = z == 1 ? 2 : 0, count = z == 1 ? 3 : 6;
        const auto [low, high] = std::minmax_element(&in.At(0, first, z), &in.At(0, first, z) + 20 * count);
        for (int y = 0; y < 6; ++y)
            for (int s = 0; s < 20; ++s) {
                const bool valid = y >= first && y < first + count;
                const double stretched = 3 - 4. * (in.At(s, y, z) - *low) / (*high - *low);
                ASSERT_NEAR(out.At(s, y, z), z == 3 ? 0 : z == 4 || !valid ? 77 : stretched, 1e-4) << z << " " << y;
            }
    }
}

TEST(NormalizationBscan, CalibratesCounts) {
    const FreshStatics statics;
    const Block in = Block(ImageProps(4, 2, 7), 32768.f);
    const auto factors = [&](const std::string& document, const std::string& keys = "") {
        const Calibration calibration(document);
        AlgoNormalizationBscan algo;
        statics.Parsed(algo, "{'Global': {" + keys + "}}");
        const Block out = Executed(algo, in);
        std::vector<float> first;
        for (int z = 0; z < 7; ++z) first.push_back(out.At(1, 1, z));
        return first;
    };
    const std::string all = "{'RF': {'TX1RX1': {'Factor': 1.5}, 'TX2RX1': {'Factor': 2.5}, 'TX1RX2': {'Factor': 3.5}, "
                            "'TX2RX2': {'Factor': 4.5}, 'TX2RX3': {'Factor': 5.5}, 'TX3RX2': {'Factor': 6.5}, "
                            "'TX3RX3': {'Factor': 7}}}";
    EXPECT_EQ(factors(all), (std::vector<float>{1.5f, 2.5f, 4.5f, 5.5f, 1, 1.5f, 2.5f}));
    EXPECT_EQ(factors(all, "'BistaticOptions': {'UseTX1RX2': true, 'UseTX3RX2': true}"),
              (std::vector<float>{1.5f, 3.5f, 4.5f, 6.5f, 1, 1.5f, 3.5f}));
    for (const auto& [bits, value] :
         {std::pair("15", 2.f), std::pair("8", 4.f), std::pair("14", 4.f), std::pair("17", 0.5f),
          std::pair("40", 32768.f / 2147483648.f), std::pair("15.0", 1.f)})
        EXPECT_EQ(factors("{'RF': {}}", std::string("'ADBitResolution': ") + bits)[0], value) << bits;
    for (const char* none : {"", "{", "{'RF': null}", "{}", "{'RF': 3}", "[]", "{'RF': {'TX1RX1': 3}}"})
        EXPECT_EQ(factors(none), std::vector<float>(7, 0.f)) << none; // flat B-scans, stretched
    EXPECT_EQ(statics.Errors().back().find("AlgoNormalizationBscan / parse calibration: JSON Exception - "), 0u);
    const Calibration calibration(all);
    EXPECT_EQ(Failure([] { Executed(AlgoNormalizationBscan(), Block(ImageProps(0, 2, 7))); }),
              "99/-6 IPP::Exception::ippsCopy_32f");
    AlgoNormalizationBscan ignoring;
    ignoring.GetParams().IgnoreCalibration = true;
    EXPECT_EQ(Executed(ignoring, in).data, std::vector<float>(in.data.size()));
}

TEST(NormalizationCscan, StretchesTheBlockWithOneScale) {
    AlgoNormalizationCscan algo;
    Block in = NoiseBlock(30, 7, 3, 2.f, 9.f);
    in.At(3, 4, 1) = -50;
    in.At(7, 0, 2) = 40;
    const Block out = Executed(algo, in);
    for (std::size_t i = 0; i < in.data.size(); ++i) ASSERT_NEAR(out.data[i], (in.data[i] + 50.) / 90., 1e-6);
    EXPECT_EQ(Executed(algo, Block(in.props, 4.f)).data, std::vector<float>(in.data.size()));

    const FreshStatics statics;
    EXPECT_EQ(statics.Parsed(algo, "{'NormalizationCscan': {'Min': 2, 'Max': 4.0}}").Min, 0.f);
    EXPECT_EQ(algo.GetParams().Max, 4.f);
    EXPECT_NEAR(Executed(algo, in).At(7, 0, 2), 4.f, 1e-5);
}

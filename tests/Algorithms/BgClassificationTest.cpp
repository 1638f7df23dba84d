#include <gtest/gtest.h>

#include <complex>
#include <functional>
#include <numeric>
#include <sstream>

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Array/Primitives/Ipps.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

using Image = IPP::Array2D<float>;

struct Removal : AlgoBgRemoval {
    explicit Removal(int timeZero = 1) {
        Setup(AlgoParamBgRemoval(true, 1, timeZero, AlgoParamBgRemoval::Classify));
        RefreshInternalAlgoParams();
    }
    using AlgoBgRemoval::DetectTrailingZeroRange, AlgoBgRemoval::GetEnergyWindow,
        AlgoBgRemoval::MeshDetectionDetermineDepthRange, AlgoBgRemoval::MeshDetectionFourier,
        AlgoBgRemoval::MeshDetectionXcorr, AlgoBgRemoval::MeshInfo;
};

void Fill(const Image& image, const std::function<double(int row, int column)>& value) {
    for (int r = 0; r < image.dim1; ++r)
        for (int c = 0; c < image.dim0; ++c) image.At(c, r) = value(r, c);
}

/// The rows that the window of a column holds, found walk by walk.
std::pair<int, int> WindowOf(const Image& image, int c, int lag, int kmax, float sigma) {
    kmax = std::min(kmax, image.dim1 - 1);
    std::vector<float> power(image.dim1);
    for (int r = 0; r < image.dim1; ++r) {
        double sum = 0;
        for (int j = std::max(0, c - lag); j <= c; ++j) sum += image.At(j, r);
        const float mean = sum / (c - std::max(0, c - lag) + 1);
        power[r] = mean * mean;
    }
    const auto walk = [&](int count, auto&& best) {
        float top = -3.4028234663852886e+38f, sum = 0;
        for (int k = 0; k < count; ++k) {
            const float t = std::sqrt(float(k + 1));
            sum += power[k];
            const float score = sum / t / (sigma * sigma) - t;
            if (score > top) top = score, best(k);
        }
    };
    int b = 0, a = 1;
    walk(kmax, [&](int k) { b = k; });
    std::reverse(power.begin(), power.begin() + b + 1);
    walk(b + 1, [&](int k) { a = std::max(b - k, 1); });
    return {a, b};
}

/// One B-scan of one pane, classified as the method is told; what is removed from each sample.
std::vector<float> ReferenceLevels(const Block& in, int z, int timeZero, const std::string& info) {
    const int S = in.props.samplesPerAscan, n = in.props.ascansPerBscan, D = S - timeZero;
    Image Y(n, S), Z(n, D);
    std::vector<float> means(S);
    for (int s = 0; s < S; ++s) {
        double sum = 0;
        for (int c = 0; c < n; ++c) sum += in.At(s, c, z);
        means[s] = sum / n;
        for (int c = 0; c < n; ++c) Y.At(c, s) = in.At(s, c, z) - means[s];
    }
    Fill(Z, [&](int r, int c) { return Y.At(c, r + timeZero); });
    IPP::Array<float> E(n);
    for (int c = 0; c < n; ++c) {
        const auto [a, b] = WindowOf(Z, c, 4, 150, 0.0006f);
        E[c] = 0;
        for (int r = a; r <= b; ++r) E[c] += Z.At(c, r) * Z.At(c, r);
    }
    IPP::Array<double> taps(4);
    IPP::ippsIIRGenLowpass_64f(0.5 * 0.2f, 0, 1, taps.data, 0);
    E.FilterZeroPhase(taps, 1);
    E.AddC(-E.Min());
    const int m = std::max(n - 14, 1);
    const float threshold = E.SubArray((n - m) / 2, m).Median();
    std::vector<int> ends{-1}, columns, longRuns;
    for (int c = 0; c < n; ++c)
        if (E[c] < threshold)
            columns.push_back(c);
        else
            ends.push_back(c);
    ends.push_back(n);
    int longest = 0;
    for (std::size_t k = 1; k < ends.size(); ++k) {
        const int length = ends[k] - ends[k - 1] - 1;
        longest = std::max(longest, length);
        for (int c = ends[k - 1] + 1; length > 20 && c < ends[k]; ++c) longRuns.push_back(c);
    }
    const bool width = longest > 20, height = 0.1f < float(columns.size()) / n;
    std::ostringstream line;
    line << "condWidth=" << width << "; condHeight=" << height << "; maxIntervalLength=" << longest
         << "; #A-scans classified as BG=" << columns.size() << "\n";
    EXPECT_EQ(info, line.str());
    if (!width || !height) return means;
    for (int s = 0; s < S; ++s) {
        IPP::Array<float> row(int(longRuns.size()));
        for (int k = 0; k < row.size; ++k) row[k] = in.At(s, longRuns[k], z);
        means[s] = row.Median();
    }
    return means;
}

/// What the log says of a B-scan behind its number.
std::string InfoOf(const std::string& log, int z) {
    const std::string key = "classification info (B-scan " + std::to_string(z + 1) + "): ";
    const auto at = log.find(key);
    return at == std::string::npos ? "" : log.substr(at + key.size(), log.find('\n', at) + 1 - at - key.size());
}

/// Ringing everywhere, and a bar under some of the A-scans.
Block BarScene(int ascans, double level) {
    Block scene = PointDiffractor(ImageProps(160, ascans, 5), ascans / 2, 0.25, 6);
    Noise noise(3);
    for (int z = 0; z < 5; ++z)
        for (int y = 0; y < ascans; ++y)
            for (int s = 0; s < 160; ++s)
                scene.At(s, y, z) = 0.02 * (1 + z) * scene.At(s, y, z) + level * std::cos(0.4 * s) + 1e-4 * noise();
    return scene;
}

} // namespace

TEST(BgClassification, MarksTheEnergyOfEveryColumn) {
    const Removal removal;
    Noise noise;
    for (const auto& [columns, rows, lag, kmax] :
         {std::tuple(1, 2, 4, 150), std::tuple(40, 60, 4, 150), std::tuple(33, 200, 0, 150), std::tuple(50, 20, 70, 9),
          std::tuple(9, 1, 4, 150), std::tuple(12, 30, 11, -3)}) {
        Image image(columns, rows), window(columns, rows);
        Fill(image, [&](int r, int c) { return noise() * (std::abs(r - 10 - c / 4) < 5 ? 1e-2 : 3e-4); });
        removal.GetEnergyWindow(image, window, lag, kmax, 0.0006f);
        for (int c = 0; c < columns; ++c) {
            const auto [a, b] = WindowOf(image, c, lag, kmax, 0.0006f);
            for (int r = 0; r < rows; ++r)
                ASSERT_EQ(window.At(c, r), r >= a && r <= b) << r << " " << c << " " << columns;
        }
    }
}

TEST(BgClassification, FindsTheZerosAtTheEnd) {
    float values[] = {1, 2, 0, 3, 0, 0, 0, 0};
    const auto first = [&](int rows) {
        Image image(values, 2, rows);
        int found = 7;
        Removal().DetectTrailingZeroRange(image, found);
        return found;
    };
    EXPECT_EQ(first(4), 2);
    EXPECT_EQ(first(2), -1);
    values[0] = values[1] = values[3] = 0;
    EXPECT_EQ(first(4), 0);
}

TEST(BgClassification, TakesTheMedianOfTheBackgroundOrTheMean) {
    int applied = 0, infos = 0;
    for (const int ascans : {14, 15, 16, 40, 120, 300})
        for (const double level : {0., 1.}) {
            const FreshStatics statics("{'BgRemoval': {'DetailedLogging': true}}");
            const Block in = BarScene(ascans, level);
            const Block out = Executed(Removal(20), in);
            for (int z = 0; z < 5; ++z) {
                const auto levels = ReferenceLevels(in, z, 20, InfoOf(statics.Log(), z));
                const std::string line =
                    "BG-Removal: classification applied (B-scan " + std::to_string(z + 1) + "/5)\n";
                applied += statics.Log().find(line) != std::string::npos;
                ++infos;
                for (int y = 0; y < ascans; ++y)
                    for (int s = 0; s < 160; ++s) ASSERT_NEAR(out.At(s, y, z), in.At(s, y, z) - levels[s], 1e-6);
            }
        }
    EXPECT_GT(applied, infos / 4); // both ways were taken
    EXPECT_LT(applied, infos);
}

TEST(BgClassification, TakesTheRingingAndLeavesTheBar) {
    const FreshStatics statics;
    const Block out = Executed(Removal(20), BarScene(300, 1.));
    Block bar = BarScene(300, 0.);
    for (int z = 0; z < 5; ++z) {
        double rest = 0;
        for (int y = 0; y < 300; ++y)
            for (int s = 0; s < 160; ++s) rest += std::pow(out.At(s, y, z) - bar.At(s, y, z), 2);
        EXPECT_LT(10 * std::log10(rest / (300 * 80.)), -60); // of the ringing
        EXPECT_LT(10 * std::log10(rest / Energy(bar, z)), -10);
    }
}

TEST(BgClassification, RefusesATimeZeroOutsideTheAscanAndAnOrderThatNoFilterHas) {
    const Block in = NoiseBlock(30, 40, 5);
    for (const int timeZero : {30, 31, -1})
        EXPECT_EQ(Failure([&] { Executed(Removal(timeZero), in); }), "99/-2 Index exceeds IPP::Array2D bounds");
    for (const int order : {0, 13, 1 << 30, -1}) {
        const FreshStatics statics("{'BgRemoval': {'ClsFilterOrder': " + std::to_string(order) + "}}");
        EXPECT_NE(Failure([&] { Executed(Removal(5), in); }), "none");
        for (const auto type : {AlgoParamBgRemoval::None, AlgoParamBgRemoval::Median}) { // which filter nothing
            Removal removal;
            removal.GetParams().algorithm = type;
            EXPECT_EQ(Failure([&] { Executed(removal, in); }), order < 0 || order > 13 ? "bad_alloc" : "none");
        }
    }
}

namespace {

/// Wires every `period` A-scans at a row, over noise.
void Mesh(const Image& image, double period, int depth, double noiseLevel) {
    Noise noise(5);
    Fill(image, [&](int r, int c) {
        return std::exp(-0.1 * std::pow(r - depth, 2)) * std::cos(2 * M_PI * c / period) + noiseLevel * noise();
    });
}

/// A block of that pattern under a common surface wave; 0: none.
Block MeshScene(double period, double deviating = 0, double start = 0) {
    Block scene = NoiseBlock(128, 412, 5, 0.01f);
    for (int z = 0; z < 5; ++z)
        for (int y = 0; y < 412; ++y)
            for (int s = 0; s < 128; ++s) {
                const double here = z == 2 && deviating > 0 ? deviating : period;
                scene.At(s, y, z) += std::cos(0.3 * s);
                if (here > 0)
                    scene.At(s, y, z) += std::exp(-0.1 * std::pow(s - 40, 2)) * std::cos(2 * M_PI * (y - start) / here);
            }
    return scene;
}

} // namespace

TEST(BgMeshDetection, EstimatesSpacingAndDepth) {
    const Removal removal;
    Image image(400, 90);
    Mesh(image, 20, 33, 0.01);
    int first = 9, last = 9;
    removal.MeshDetectionDetermineDepthRange(image, first, last);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(last, 33 + 20);
    Removal::MeshInfo xcorr, fourier;
    removal.MeshDetectionXcorr(image, first, last, xcorr);
    removal.MeshDetectionFourier(image, first, last, fourier);
    for (const auto& info : {xcorr, fourier}) {
        EXPECT_TRUE(info.detected);
        EXPECT_EQ(info.spacing, 0.09999999403953552f);
        EXPECT_EQ(info.depth, 33.f);
    }
    // The row at `last` counts in one of them.
    removal.MeshDetectionXcorr(image, 33, 33, xcorr);
    removal.MeshDetectionFourier(image, 33, 33, fourier);
    EXPECT_TRUE(xcorr.detected);
    EXPECT_FALSE(fourier.detected);

    image.At(3, 20) = 3.5e35f;
    EXPECT_EQ(Failure([&] { removal.MeshDetectionFourier(image, 20, 30, fourier); }),
              "-2 IPP::Exception::ippsDFTFwd_outOfRange32f");
    image.Zero();
    first = 9;
    removal.MeshDetectionDetermineDepthRange(image, first, last);
    EXPECT_EQ(first, 9);
    EXPECT_EQ(last, -1);
}

TEST(BgMeshDetection, AgreesWithDirectSums) {
    const Removal removal;
    for (const auto& [width, period] : {std::tuple(39, 9.), std::tuple(97, 12.), std::tuple(128, 16.),
                                        std::tuple(301, 30.), std::tuple(5, 2.), std::tuple(8, 3.)}) {
        Image image(width, 70);
        Mesh(image, period, 20, 0.3);
        const int first = 3, last = 45;
        std::vector<double> M(width), P(width), ofRow(70), magnitude(70);
        for (int r = first; r <= last; ++r)
            for (int k = 0; k < width; ++k) {
                for (int c = 0; c + k < width; ++c) M[k] += double(image.At(c, r)) * image.At(c + k, r);
                std::complex<double> bin;
                for (int c = 0; c < width; ++c)
                    bin += double(image.At(c, r)) * std::polar(1., -2 * M_PI * c * k / width);
                if (r < last) P[k] += std::abs(bin) / (last - first);
            }
        const int lag = width <= 4 ? 0 : std::max_element(M.begin() + 4, M.end()) - M.begin();
        Removal::MeshInfo info;
        removal.MeshDetectionXcorr(image, first, last, info);
        EXPECT_EQ(info.detected, lag > 4 && lag * 0.005 <= 0.2 && M[lag / 2] < -0.3 * M[lag]) << width;
        EXPECT_FLOAT_EQ(info.spacing, info.detected * lag * 0.005);
        const int k0 = width / 40, k1 = width / 9;
        const int peak = std::max_element(P.begin() + k0, P.begin() + k1 + 1) - P.begin();
        const double mean = std::accumulate(P.begin(), P.end(), 0.) / width;
        removal.MeshDetectionFourier(image, first, last, info);
        EXPECT_EQ(info.detected, peak > 0 && P[peak] / mean > 4) << width;
        EXPECT_FLOAT_EQ(info.spacing, info.detected ? width * 0.005 / peak : 0);
    }
}

TEST(BgMeshDetection, EveryMonostaticBscanMustShowTheMesh) {
    const auto log = [](const Block& in, const std::string& keys = "") {
        const FreshStatics statics("{'BgRemoval': {" + keys + "}}");
        Executed(Removal(10), in);
        std::string text = statics.Log();
        text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == '\n'; }), text.end());
        return text;
    };
    EXPECT_NE(log(MeshScene(20)).find("BG-Removal: mesh detected (spacing 0.1m; depth 41*dt)"), std::string::npos);
    EXPECT_NE(log(MeshScene(20)).find("BG-Removal: bistatic B-scans replaced."), std::string::npos);
    for (const Block& none : {MeshScene(26), MeshScene(0), MeshScene(20, 26)})
        EXPECT_EQ(log(none).find("mesh"), std::string::npos);
    EXPECT_NE(log(MeshScene(26), "'SpacingCondMeshAcceptMax': 0.14").find("mesh detected"), std::string::npos);

    Block narrow = NoiseBlock(64, 12, 5); // nobody votes
    EXPECT_NE(log(narrow).find("mesh detected (spacing 0m; depth 0*dt)"), std::string::npos);
    Block silent = MeshScene(20); // its first B-scan has no energy
    std::fill_n(silent.data.begin(), 412 * 128, 3.f);
    for (const Block& none : {Block(ImageProps(64, 60, 5)), Block(ImageProps(64, 60, 5), 3.f), silent})
        EXPECT_EQ(log(none).find("mesh"), std::string::npos);
    EXPECT_EQ(log(MeshScene(20), "'MeshRange': -60").find("mesh"), std::string::npos); // ends at the first sample
}

TEST(BgMeshDetection, AsksForTheSameGateHoweverManyBscansShowTheMesh) {
    const Block five = MeshScene(20, 0, 0.5); // wires between two A-scans: the runs are even
    for (const int bscans : {5, 10, 35, 70}) {
        const FreshStatics statics(
            "{'BgRemoval': {'DetailedLogging': true, 'ClsThresholdLevel': 0.4, 'ClsGateWidthMesh50mm': 3}}");
        Block in(ImageProps(128, 412, bscans));
        for (std::size_t i = 0; i < in.data.size(); ++i) in.data[i] = five.data[i % five.data.size()];
        Executed(Removal(10), in);
        for (int z = 0; z < bscans; ++z) // 3 * 0.1 m / 0.05 m, where the float is a hair below: 5
            EXPECT_EQ(InfoOf(statics.Log(), z).substr(0, 51), "condWidth=1; condHeight=1; maxIntervalLength=6; #A-")
                << bscans;
    }
}

TEST(BgMeshDetection, TakesTheFirstOfEqualRows) {
    const Removal removal;
    Noise noise(9);
    for (const int width : {60, 97, 128, 300, 301})
        for (int run = 0; run < 8; ++run) {
            Image image(width, 90);
            Fill(image, [&](int, int) { return 1e-3 * noise(); });
            const int first = 5 + 3 * run;
            for (int c = 0; c < width; ++c) image.At(c, first) = std::cos(2 * M_PI * c / 20 + run) + 0.1 * noise();
            for (int r = first; r < 70; ++r) image.Row(r).CopyFrom(image.Row(first));
            Removal::MeshInfo xcorr, fourier;
            removal.MeshDetectionXcorr(image, 0, 80, xcorr);
            removal.MeshDetectionFourier(image, 0, 80, fourier);
            for (const auto& info : {xcorr, fourier}) {
                EXPECT_TRUE(info.detected);
                EXPECT_EQ(info.depth, first) << width;
            }
        }
}

TEST(BgMeshDetection, FindsNoPeakAmongLagsThatAreExactlyZero) {
    const Removal removal;
    Noise noise(4);
    for (int width = 40; width < 140; ++width) {
        Image image(width, 60);
        image.Zero();
        for (int r = 0; r < 60; ++r) image.At(int((noise() + 1) * 0.499 * width), r) = noise();
        Removal::MeshInfo info;
        removal.MeshDetectionXcorr(image, 0, 59, info);
        EXPECT_FALSE(info.detected) << width;
    }
}

TEST(BgClassification, LogsPaneByPaneAndBscanByBscan) {
    const FreshStatics statics(
        "{'BgRemoval': {'DetailedLogging': true, 'SplitPaneWidthLimit': 100, 'MaxPaneWidth': 100}}");
    OnThreads(4, [] { return Executed(Removal(20), BarScene(300, 1.)); });
    std::istringstream lines(statics.Log());
    std::vector<int> bscans;
    for (std::string line; std::getline(lines, line);) {
        const auto at = line.find("info (B-scan ");
        if (at != std::string::npos) bscans.push_back(std::stoi(line.substr(at + 13)));
    }
    EXPECT_EQ(bscans, (std::vector<int>{1, 2, 3, 4, 5, 1, 2, 3, 4, 5, 1, 2, 3, 4, 5}));
}

TEST(BgMeshDetection, ReplacesBistaticBscansOverTheirWholeDepth) {
    const FreshStatics statics;
    const Block out = Executed(Removal(10), MeshScene(20));
    for (int z = 1; z < 5; z += 2)
        for (int y = 0; y < 412; ++y)
            for (int s = 0; s < 128; ++s)
                ASSERT_EQ(out.At(s, y, z), (out.At(s, y, z - 1) + out.At(s, y, z + 1)) * 0.5f);
}

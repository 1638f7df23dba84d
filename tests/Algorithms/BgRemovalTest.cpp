#include "Algorithms/Background/AlgoBgRemoval.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "Algorithms/Background/DepthRows.h"
#include "Algorithms/Background/PaneSplitter.h"
#include "Array/Primitives/Ipps.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Near.h"
#include "support/Scenes.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

using Params = AlgoParamBgRemoval;
using Row = std::vector<double>;

/// The algorithm with its single steps in the open.
struct Removal : AlgoBgRemoval {
    explicit Removal(Params::AlgoType type = Params::Median, int timeZero = 1) {
        Setup(Params(true, 1, timeZero, type));
        RefreshInternalAlgoParams();
    }
    using AlgoBgRemoval::ApplyBasicBgRemoval, AlgoBgRemoval::ApplyHighPassBgRemoval,
        AlgoBgRemoval::ApplySurfaceBgRemoval, AlgoBgRemoval::GenerateSurfaceBgrMask,
        AlgoBgRemoval::GetInternalAlgoParams;
};

double Median(Row row) {
    std::sort(row.begin(), row.end());
    const std::size_t n = row.size();
    return n % 2 ? row[n / 2] : (row[n / 2 - 1] + row[n / 2]) / 2;
}

double Mean(const Row& row) { return std::accumulate(row.begin(), row.end(), 0.) / row.size(); }

Row HighPass(const Row& row) {
    double taps[4];
    IPP::ippsIIRGenHighpass_64f(0.005, 0, 1, taps, 0);
    Row all(row.rbegin(), row.rend());
    all.insert(all.end(), row.begin(), row.end());
    all.insert(all.end(), row.rbegin(), row.rend());
    for (int pass = 0; pass < 2; ++pass) {
        double x1 = 0, y1 = 0;
        for (double& x : all) {
            const double y = taps[0] * x + taps[1] * x1 - taps[3] * y1;
            x1 = x, y1 = y, x = y;
        }
        std::reverse(all.begin(), all.end());
    }
    return Row(all.begin() + row.size(), all.end() - row.size());
}

/// Pane by pane with blocks of their own, as the method is told.
std::vector<double> Reference(const Block& in, Params::AlgoType type, int channels) {
    const int S = in.props.samplesPerAscan, A = in.props.ascansPerBscan;
    std::vector<double> out(in.data.size());
    const int wanted = A <= 500 || type == Params::HighPass ? 1 : (A + 249) / 250;
    const int panes = std::max(1, std::min(A / 100, wanted));
    const double x = A * 100. / (90. * panes + 10), width = std::ceil(x - 1e-12), step = std::ceil(0.9 * x - 1e-12);
    for (int z = 0; z < in.props.bscanCount; ++z)
        for (int k = 0; k < panes; ++k) {
            const int p = k * step, w = std::min<int>(A - p, width), overlap = std::min<int>(w, width - step);
            const auto valid = in.props.bscanInfo[z];
            const int a = std::max(0, valid.firstValidIdx - p),
                      n = std::max(0, std::min(w, valid.firstValidIdx + valid.validLen - p) - a);
            for (int s = 0; s < S; ++s) {
                Row pane(w), row;
                for (int c = a; c < a + n; ++c) row.push_back(in.At(s, p + c, z));
                if (n > 0) {
                    const bool bistatic = z % channels % 2;
                    const double bgr = std::min(S, bistatic ? 19 : 16),
                                 taper = std::min<double>(S - bgr, bistatic ? 10 : 20);
                    const double mask = s < bgr           ? 1
                                        : s < bgr + taper ? (std::cos(M_PI * (s - bgr) / taper) + 1) / 2
                                                          : 0;
                    const double level = type == Params::Median && n > 1 ? Median(row)
                                         : type == Params::Surface       ? mask * Mean(row)
                                         : type == Params::HighPass      ? 0
                                                                         : Mean(row);
                    if (type == Params::HighPass) row = HighPass(row);
                    for (int c = 0; c < n; ++c) pane[a + c] = row[c] - level;
                }
                for (int c = 0; c < w; ++c) {
                    double& to = out[(std::size_t(z) * A + p + c) * S + s];
                    const double f = k > 0 && c < overlap ? (c + 1.) / overlap : 1;
                    to = pane[c] * f + to * (1 - f);
                }
            }
        }
    return out;
}

class BackgroundAtLevel : public AtSimdLevel {};

} // namespace

TEST_P(BackgroundAtLevel, EveryProcedureAgreesWithAPlainOneInDoubles) {
    const FreshStatics statics;
    for (const int type : {1, 3, 4, 5})
        for (const auto& [samples, ascans, bscans] : {std::tuple(1, 1, 5), std::tuple(37, 2, 7), std::tuple(64, 101, 5),
                                                      std::tuple(20, 501, 5), std::tuple(17, 1000, 5)}) {
            Block in = NoiseBlock(samples, ascans, bscans, 1.f, 0.3f);
            for (int y = 0; y < ascans; ++y) in.At(samples / 2, y, 0) = 0.25f * (y % 3); // ties
            in.props.bscanInfo[1] = {ascans / 3, ascans / 2};
            in.props.bscanInfo[2] = {0, 0};
            in.props.bscanInfo[3] = {-2, ascans + 9};
            const auto algorithm = static_cast<Params::AlgoType>(type);
            const Block out = Executed(Removal(algorithm), in);
            EXPECT_TRUE(AllNear(out.data, Reference(in, algorithm, bscans), in.data.size(), 1e-5))
                << type << " " << ascans;
        }
}

TEST_P(BackgroundAtLevel, MediansFollowTheOrderOfFloats) {
    // A row for each depth: ties, both signs, both zeros, infinities and NaN, which sorts last.
    const float inf = INFINITY;
    const std::vector<std::vector<float>> rows{
        {1, 2, 3, 10},      {0.f, -0.f, 0.f, -0.f}, {-inf, -1, 1e-45f, inf}, {NAN, 1, 2, 3},       {-NAN, NAN, 2, 1},
        {NAN, NAN, NAN, 1}, {-3, -3, -3, -3},       {3e38f, 3e38f, 1, 2},    {inf, inf, inf, inf}, {-1, -2, -3, -1e9f}};
    for (const int n : {4, 3, 2, 1}) {
        IPP::Array2D<float> image(n, int(rows.size())), copy(n, int(rows.size()));
        for (std::size_t r = 0; r < rows.size(); ++r) std::copy_n(rows[r].begin(), n, image.Row(int(r)).data);
        copy.CopyFrom(image);
        Removal().ApplyBasicBgRemoval(image, copy, true);
        for (int r = 0; r < image.dim1; ++r)
            for (int c = 0; c < n; ++c) {
                const float expected = copy.At(c, r) - (n < 2 ? copy.Row(r).Mean() : copy.Row(r).Median());
                EXPECT_TRUE(image.At(c, r) == expected || (std::isnan(image.At(c, r)) && std::isnan(expected)))
                    << r << " " << c << " of " << n << ": " << image.At(c, r) << " " << expected;
            }
    }
}

TEST_P(BackgroundAtLevel, WholeCacheLinesFilterLikeAnyOthers) {
    const double taps[] = {0.9, -0.9, 1, -0.8};
    const IPP::Array2D<float> ascans(1024, 80);
    IPP::Array<float> memory(ascans.size + 1);
    const IPP::Array2D<float> shifted(memory.data + 1, 1024, 80); // on no cache line
    const auto values = Noise().Floats(ascans.size);
    for (const auto* image : {&ascans, &shifted}) {
        std::copy(values.begin(), values.end(), image->data);
        FilterRowsZeroPhase(RowsOfAscans(*image), taps, RowsOfAscans(*image));
    }
    EXPECT_EQ(std::memcmp(ascans.data, shifted.data, sizeof(float) * ascans.size), 0);
}

TZM_INSTANTIATE_AT_SIMD_LEVELS(BackgroundAtLevel);

TEST(BgRemoval, LevelsComeFromTheReferenceWhateverItsWidth) {
    Removal removal;
    std::vector<float> values{1, 2, 3, 10, 4, 4, 4, 4}, two{10, 20, 30, 40}, one{7, 8};
    IPP::Array2D<float> image(values.data(), 4, 2), wide(two.data(), 2, 2), narrow(one.data(), 1, 2);
    removal.ApplyBasicBgRemoval(image, wide, true);
    EXPECT_EQ(values, (std::vector<float>{-14, -13, -12, -5, -31, -31, -31, -31}));
    removal.ApplyBasicBgRemoval(image, narrow, true);
    EXPECT_EQ(values[0], -21);
    removal.ApplyBasicBgRemoval(narrow, image, false); // the reference has another width
    EXPECT_EQ(one, (std::vector<float>{25, 47}));
    IPP::Array2D<float> flat(two.data(), 4, 1);
    EXPECT_EQ(Failure([&] { removal.ApplyBasicBgRemoval(image, flat, true); }), "-2 Index exceeds IPP::Array2D bounds");

    IPP::Array<float> mask(8), zeros(2);
    zeros.Zero();
    removal.ApplySurfaceBgRemoval(wide, zeros);
    EXPECT_EQ(two, (std::vector<float>{10, 20, 30, 40}));
    removal.GenerateSurfaceBgrMask(mask, 2, 4);
    const float expected[] = {1, 1, 1, 0.853553f, 0.5f, 0.146447f, 0, 0};
    EXPECT_TRUE(AllNear(mask, expected, 8, 1e-6));
    float single[] = {5, 3};
    IPP::Array2D<float> column(single, 1, 2);
    removal.ApplyHighPassBgRemoval(column);
    EXPECT_NEAR(single[0], HighPass({5})[0], 1e-5);
}

TEST(BgRemoval, PanesOverlapAndCoverTheScan) {
    const auto panes = [](int ascans, double wanted, int overlap) {
        PaneSplitter pane(ascans, wanted, overlap);
        std::vector<int> places{pane.Count()};
        do places.insert(places.end(), {pane.First(), pane.Width(), pane.Overlap()});
        while (pane.NextPane());
        return places;
    };
    EXPECT_EQ(panes(1000, 4, 10), (std::vector<int>{4, 0, 271, 0, 244, 271, 27, 488, 271, 27, 732, 268, 27}));
    EXPECT_EQ(panes(500, 1, 10), (std::vector<int>{1, 0, 500, 0}));
    EXPECT_EQ(panes(250, 5, 0), (std::vector<int>{2, 0, 125, 0, 125, 125, 0}));
    EXPECT_EQ(panes(250, 5, -5), panes(250, 5, 0));
    EXPECT_EQ(panes(1000, 4, 70), panes(1000, 4, 50));
    EXPECT_EQ(panes(99, INFINITY, 10), (std::vector<int>{1, 0, 99, 0}));
    PaneSplitter pane(1000, 4, 10);
    EXPECT_EQ(pane.Weight(0), 1.f);
    pane.NextPane();
    EXPECT_FLOAT_EQ(pane.Weight(0), 1.f / 27);
    EXPECT_EQ(pane.Weight(26), 1.f);
    for (int ascans = 1; ascans < 1500; ascans += 7)
        for (const int overlap : {0, 10, 33, 50}) {
            const auto places = panes(ascans, 20, overlap);
            int end = 0;
            for (std::size_t i = 1; i < places.size(); i += 3) {
                ASSERT_LE(places[i], end);
                end = places[i] + places[i + 1];
            }
            ASSERT_EQ(end, ascans);
        }
}

TEST(BgRemoval, SplitsWideScansOnlyAndSaysSo) {
    const auto log = [](int ascans, Params::AlgoType type, const std::string& document) {
        const FreshStatics statics(document);
        Executed(Removal(type), NoiseBlock(8, ascans, 5));
        return statics.Log().empty() ? "" : statics.Log().substr(statics.Log().find("): ") + 3);
    };
    EXPECT_EQ(log(500, Params::Median, ""), "");
    EXPECT_EQ(log(501, Params::Median, ""), "BG-Removal: split to 3 panes\n");
    EXPECT_EQ(log(1000, Params::HighPass, ""), "");
    EXPECT_EQ(log(250, Params::Surface, "{'BgRemoval': {'SplitPaneWidthLimit': 100, 'MaxPaneWidth': 50}}"),
              "BG-Removal: split to 2 panes\n");
    EXPECT_EQ(log(250, Params::Surface, "{'BgRemoval': {'SplitPaneWidthLimit': 100, 'MaxPaneWidth': 0}}"),
              "BG-Removal: split to 2 panes\n");
}

TEST(BgRemoval, CopiesForNone) {
    Block in = NoiseBlock(8, 600, 5);
    in.props.bscanInfo[2] = {0, 0};
    EXPECT_EQ(Executed(Removal(Params::None), in).data, in.data);
}

TEST(BgRemoval, ReadsItsKeys) {
    const FreshStatics statics;
    Removal algo;
    const auto algorithm = [&](const std::string& text) {
        return int(statics.Parsed(algo, "{'BgRemoval': {'Algorithm': " + text + "}}").algorithm.value);
    };
    EXPECT_EQ(algorithm("'HIGHpass'"), Params::HighPass);
    EXPECT_EQ(algorithm("'none'"), Params::HighPass); // no keyword
    EXPECT_EQ(algorithm("3"), Params::HighPass);
    EXPECT_EQ(algorithm("'Surface'"), Params::Surface);
    EXPECT_EQ(algorithm("'classify'"), Params::Classify);
    EXPECT_EQ(algorithm("'Median'"), Params::Median);
    EXPECT_EQ(statics.Parsed(algo, "{'Global': {'TimeZero': 12}}").timeZero, 12);
    EXPECT_EQ(statics.Parsed(algo, "{'Global': {'TimeZero': -1}}").timeZero, 12);
    EXPECT_EQ(statics.Errors().back(), "AlgoBgRemoval::ParseParamsFromJsonConfig: JSON Exception - "
                                       "Negative integer can not be converted to unsigned integer");

    const auto internal = [&](const std::string& keys) {
        statics.Configure("{'BgRemoval': {" + keys + "}}");
        Executed(algo, NoiseBlock(8, 2, 5));
        const auto& p = *algo.GetInternalAlgoParams();
        return std::vector<float>{float(p.clsLag),   p.clsSigma,      p.spacingCondMeshAcceptMax,
                                  p.scaleFactorMono, p.scaleFactorBi, float(p.clsUseConnectedBgOnly),
                                  float(p.bgrLenBi)};
    };
    EXPECT_EQ(internal(""), (std::vector<float>{4, 0.0006f, 0.12f, 10, 25, 1, 19}));
    EXPECT_EQ(
        internal("'ClsLag': 5.0, 'ClsSigma': 1, 'ScaleFactorMono': 'x', 'ClsUseConnectedBgOnly': 0, 'BgrLenBi': 1.0"),
        internal(""));
    EXPECT_EQ(internal("'ClsLag': 5, 'ClsSigma': 0.5, 'SpacingCondMeshAccept': 0.2, 'ScaleFactorMono': 3, "
                       "'ScaleFactorBi': true, 'ClsUseConnectedBgOnly': false, 'BgrLenBi': -4"),
              (std::vector<float>{5, 0.5f, 0.2f, 3, 1, 0, -4}));
    EXPECT_EQ(internal("'SpacingCondMeshAcceptMax': 0.3, 'SpacingCondMeshAccept': 0.2")[2], 0.3f);
    EXPECT_EQ(algo.DescribeKeys().size(), 31u);
}

namespace {

/// Ringing that is the same in every A-scan, a bar, and a layer that dips by a wavelength within `period` A-scans.
struct Scene {
    Block ringing, bar, layer;
    explicit Scene(double period)
        : ringing(ImageProps(256, 400, 5)), bar(PointDiffractor(ringing.props, 200, 0.3, 6)), layer(ringing.props) {
        for (int z = 0; z < 5; ++z)
            for (int y = 0; y < 400; ++y)
                for (int s = 0; s < 256; ++s) {
                    ringing.At(s, y, z) = 2 * std::cos(0.4 * s) * std::exp(-0.01 * s);
                    layer.At(s, y, z) = std::cos(0.4 * s + 2 * M_PI * y / period);
                }
    }
    /// What the algorithm lets through of a part, in dB of its energy.
    static double Decibels(const Removal& removal, const Block& part) {
        return 10 * std::log10(Energy(Executed(removal, part), 2) / Energy(part, 2) + 1e-30);
    }
};

} // namespace

TEST(BgRemoval, TakesTheRingingAndLeavesTheBar) {
    const FreshStatics statics("{'BgRemoval': {'BgrLenMono': 256}}"); // Surface over the whole depth
    const Scene scene(100);
    for (const auto type : {Params::Median, Params::HighPass, Params::Surface, static_cast<Params::AlgoType>(4)}) {
        EXPECT_LT(Scene::Decibels(Removal(type), scene.ringing), -100) << type;
        EXPECT_GT(Scene::Decibels(Removal(type), scene.bar), type == Params::HighPass ? -1. : -0.5) << type;
    }
}

TEST(BgRemoval, HighPassLetsALayerThroughAsItsCutOffSays) {
    const FreshStatics statics;
    for (const double period : {20., 100., 200., 400.}) {
        const double ratio = std::pow(std::tan(M_PI / period) / std::tan(M_PI / 200), 2); // forwards and backwards
        EXPECT_NEAR(Scene::Decibels(Removal(Params::HighPass), Scene(period).layer),
                    20 * std::log10(ratio / (1 + ratio)),
                    period < 400 ? 0.7 : 3.); // a layer of one period reaches the ends
    }
}

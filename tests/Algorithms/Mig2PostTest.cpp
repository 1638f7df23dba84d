#include "Algorithms/Migration/AlgoMig2Post.h"

#include <gtest/gtest.h>

#include "Framework/CalcError.h"
#include "support/Near.h"
#include "support/Noise.h"
#include "support/Scenes.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

// |analytic signal| by direct sums in double.
std::vector<double> Envelope(const float* ascan, int n) {
    std::vector<double> envelope(n);
    std::vector<double> re(n), im(n);
    for (int k = 0; k < n; ++k)
        for (int i = 0; i < n; ++i) {
            re[k] += ascan[i] * std::cos(2 * M_PI * (1LL * i * k % n) / n);
            im[k] -= ascan[i] * std::sin(2 * M_PI * (1LL * i * k % n) / n);
        }
    for (int i = 0; i < n; ++i) {
        double hilbert = 0;
        for (int k = 1; k < (n + 1) / 2; ++k)
            hilbert += 2. / n *
                       (re[k] * std::sin(2 * M_PI * (1LL * i * k % n) / n) +
                        im[k] * std::cos(2 * M_PI * (1LL * i * k % n) / n));
        envelope[i] = std::hypot(ascan[i], hilbert);
    }
    return envelope;
}

} // namespace

TEST(Mig2Post, GivesTheEnvelopeOfEveryAscan) {
    for (const int samples : {1, 2, 3, 64, 125, 511}) {
        Block in(ImageProps(samples, 35, 2)); // more than one batch of A-scans, the last one not full
        Noise noise(3);
        for (float& v : in.data) v = noise();
        for (int s = 0; s < samples; ++s) {
            in.At(s, 2, 1) = 0.f;
            in.At(s, 3, 1) *= 1e-6f; // rides with stronger ones
            in.At(s, 4, 0) *= 1e5f;
        }
        const Block out = Executed(AlgoMig2Post(), in);
        for (int z = 0; z < 2; ++z)
            for (int y : {0, 2, 3, 4, 34}) {
                const std::vector<double> expected = Envelope(&in.data[(z * 35 + y) * samples], samples);
                double peak = 0;
                for (const double v : expected) peak = std::max(peak, v);
                // The transforms' largest error is 5e-7 of the spectrum's peak, two of them in a row.
                EXPECT_TRUE(AllNear(&out.data[(z * 35 + y) * samples], expected, samples, 1e-6 * peak))
                    << samples << " samples, A-scan " << y << " of B-scan " << z;
            }
    }
}

TEST(Mig2Post, TurnsAReflectionIntoOnePeakAtItsTravelTime) {
    const Block record = PointDiffractor(ImageProps(512, 41, 1), 20, 0.5, 6);
    const Block envelope = Executed(AlgoMig2Post(), record);
    const PeakPosition peak = Peak(envelope);
    EXPECT_EQ(peak.ascan, 20);
    EXPECT_NEAR(peak.sample, 0.5 * TwoWaySlowness(6) / 5e-11, 1);
    int rises = 0; // one hill: it changes from rising to falling once where it matters
    for (int s = 1; s + 1 < 512; ++s)
        if (envelope.At(s, 20) > 0.01f * peak.magnitude && envelope.At(s, 20) > envelope.At(s - 1, 20) &&
            envelope.At(s, 20) >= envelope.At(s + 1, 20))
            ++rises;
    EXPECT_EQ(rises, 1);
}

TEST(Mig2Post, KeepsANaNToItsAscanAndGivesTheSameOnAnyNumberOfThreads) {
    Block in(ImageProps(100, 40, 6));
    Noise noise(5);
    for (float& v : in.data) v = noise();
    in.At(7, 16, 2) = NAN;
    const Block out = Executed(AlgoMig2Post(), in);
    for (int y = 0; y < 40; ++y)
        for (int s = 0; s < 100; ++s) ASSERT_EQ(std::isnan(out.At(s, y, 2)), y == 16);
    in.At(7, 16, 2) = 0;
    const auto run = [&] { return Executed(AlgoMig2Post(), in).data; };
    EXPECT_EQ(OnThreads(1, run), OnThreads(4, run));
}

TEST(Mig2Post, RefusesLongAscansLargeValuesAndEmptyBlocks) {
    const auto told = [](const Exception::CalcError& e) { return std::to_string(e.GetCode()) + " " + e.GetMessage(); };
    const std::string outOfRange = "99 IPP::Exception::ippsHilbert_outOfRange32f";
    EXPECT_NO_THROW(Executed(AlgoMig2Post(), Block(ImageProps(1024, 1, 1), 1.f)));
    EXPECT_EQ(Caught<Exception::CalcError>([] { Executed(AlgoMig2Post(), Block(ImageProps(1025, 2, 1), 1.f)); }, told),
              outOfRange);
    Block large(ImageProps(16, 3, 2), 3.4e35f);
    EXPECT_NO_THROW(Executed(AlgoMig2Post(), large));
    large.At(3, 1, 1) = -3.5e35f;
    EXPECT_EQ(Caught<Exception::CalcError>([&] { Executed(AlgoMig2Post(), large); }, told), outOfRange);
    EXPECT_THROW(Executed(AlgoMig2Post(), Block(ImageProps(0, 3, 2))), std::bad_alloc);
    EXPECT_THROW(Executed(AlgoMig2Post(), Block(ImageProps(16, 0, 2))), Exception::CalcError);
    EXPECT_THROW(Executed(AlgoMig2Post(), Block(ImageProps(16, 3, 0))), Exception::CalcError);
    EXPECT_EQ(AlgoMig2Post().GetLogPrefix(), "Mig2Post");
}

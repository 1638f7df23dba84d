#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Array/Primitives/Hilbert.h"
#include "Array/TransformStates.h"
#include "support/NaiveTransforms.h"
#include "support/Near.h"
#include "support/Noise.h"
#include "support/SimdLevels.h"

using namespace IPP;

namespace {

class Hilbert : public AtSimdLevel {};
TZM_INSTANTIATE_AT_SIMD_LEVELS(Hilbert);

TEST_P(Hilbert, GivesTheAnalyticSignal) {
    for (int n = 1; n <= 1024; n += n < 40 ? 1 : 123) {
        SCOPED_TRACE(n);
        const std::vector<float> x = Noise(n).Floats(n);
        std::vector<Ipp32fc> y(n);
        const HilbertState state(n, ippAlgHintAccurate);
        ASSERT_EQ(ippsHilbert_32f32fc(x.data(), y.data(), state.Get()), 0);
        const TransformError error = ErrorOf(y.data(), NaiveAnalytic(std::vector<double>(x.begin(), x.end())));
        EXPECT_TRUE(error.largest <= 1e-6) << error.largest; // two transforms of 5e-7 each
    }
}

TEST_P(Hilbert, EnvelopesOfRowsOfVeryDifferentStrengthKeepTheirOwnPrecision) {
    const float strengths[] = {1.f, 3.4e35f, 1e-30f, 0.f, 250.f, 1e-40f, 1e20f, 7e-12f};
    for (const int n : {1, 2, 3, 4, 63, 301, 512})
        for (const int rows : {1, 2, 7, 37}) {
            SCOPED_TRACE(std::to_string(rows) + " rows of " + std::to_string(n));
            const Index srcStep = n + 5, dstStep = n + 2;
            std::vector<float> src = Noise(n).Floats(rows * srcStep), dst(rows * dstStep, -1.f);
            for (int r = 0; r < rows; ++r)
                for (int i = 0; i < n; ++i) src[r * srcStep + i] *= strengths[r % 8];
            const int broken = rows > 2 ? rows / 2 : -1;
            if (broken >= 0) src[broken * srcStep + n / 2] = broken % 2 ? NAN : INFINITY;
            const HilbertState state(n, ippAlgHintAccurate);
            std::vector<float> work(HilbertEnvelopesWorkSize(state.Get()));
            std::vector<float> largest(rows);
            ASSERT_EQ(HilbertEnvelopes(src.data(), srcStep, dst.data(), dstStep, rows, state.Get(), work.data(),
                                       largest.data()),
                      0);
            std::vector<float> inPlace = src;
            HilbertEnvelopes(inPlace.data(), srcStep, inPlace.data(), srcStep, rows, state.Get(), work.data());
            for (int r = 0; r < rows; ++r) {
                EXPECT_EQ(std::memcmp(&inPlace[r * srcStep], &dst[r * dstStep], 4 * n), 0);
                const float* envelope = &dst[r * dstStep];
                EXPECT_EQ(envelope[n], -1.f);
                if (r == broken) {
                    EXPECT_FALSE(largest[r] <= 3.4028234e38f);
                    const auto isNan = [](float v) { return std::isnan(v); };
                    EXPECT_TRUE(n < 3 || std::all_of(envelope, envelope + n, isNan));
                    continue;
                }
                const auto weaker = [](float a, float b) { return std::abs(a) < std::abs(b); };
                const float* row = &src[r * srcStep];
                EXPECT_EQ(largest[r], std::abs(*std::max_element(row, row + n, weaker)));
                std::vector<double> expected;
                for (const auto& value : NaiveAnalytic(std::vector<double>(row, row + n)))
                    expected.push_back(std::abs(value));
                const double peak = *std::max_element(expected.begin(), expected.end());
                // two transforms and the root; rows below the normal floats can't be raised to 1, there the
                // partner's rounding leaves a few spacings of 1.4e-45; exactly zero for zeros
                const double spacing = peak > 0 && peak < 1e-37 ? 5e-45 : 0.;
                EXPECT_TRUE(AllNear(envelope, expected, n, 1.2e-6 * peak + spacing)) << "row " << r;
            }
        }
}

TEST(HilbertContract, Statuses) {
    IppsHilbertSpec_32f32fc* state = nullptr;
    EXPECT_EQ(ippsHilbertInitAlloc_32f32fc(nullptr, 4, ippAlgHintFast), ippStsNullPtrErr);
    EXPECT_EQ(ippsHilbertInitAlloc_32f32fc(&state, 0, ippAlgHintFast), ippStsSizeErr);
    EXPECT_THROW(HilbertState(0, 1), std::bad_alloc);
    ASSERT_EQ(ippsHilbertInitAlloc_32f32fc(&state, 4, ippAlgHintFast), 0);
    const float x[4] = {};
    Ipp32fc y[4];
    float work[1], envelope[4];
    EXPECT_EQ(ippsHilbert_32f32fc(nullptr, y, state), ippStsNullPtrErr);
    EXPECT_EQ(ippsHilbert_32f32fc(x, y, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(HilbertEnvelopes(x, 4, envelope, 4, 0, state, work), ippStsSizeErr);
    const DftState other(4, 1, 8);
    auto* wrong = reinterpret_cast<IppsHilbertSpec_32f32fc*>(other.Get());
    EXPECT_EQ(ippsHilbert_32f32fc(x, y, wrong), ippStsContextMatchErr);
    EXPECT_EQ(ippsHilbertFree_32f32fc(wrong), ippStsContextMatchErr);
    EXPECT_EQ(ippsHilbertFree_32f32fc(state), 0);
}

} // namespace

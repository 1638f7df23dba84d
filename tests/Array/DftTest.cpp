#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <thread>

#include "Array/Primitives/FftPlan.h"
#include "Array/Primitives/Ippi.h"
#include "Array/Primitives/Ipps.h"
#include "Array/TransformStates.h"
#include "support/NaiveTransforms.h"
#include "support/Noise.h"
#include "support/SimdLevels.h"

using namespace IPP;

namespace {

// What a transform may be off by, relative to the peak of the spectrum: rms 1.5e-7, the largest error 5e-7.
constexpr double kRms = 1.5e-7, kLargest = 5e-7;

std::vector<Ipp32fc> Signal(std::size_t n, std::uint64_t seed = 1) {
    Noise noise(seed);
    std::vector<Ipp32fc> signal(n);
    for (auto& value : signal) value.re = noise(), value.im = noise();
    return signal;
}

Spectrum Wide(const std::vector<Ipp32fc>& x) {
    Spectrum wide;
    for (const Ipp32fc& value : x) wide.emplace_back(value.re, value.im);
    return wide;
}

void ExpectAccurate(const Ipp32fc* actual, const Spectrum& expected, double scale = 1, double allowance = 1) {
    const TransformError error = ErrorOf(actual, expected, scale);
    EXPECT_TRUE(error.rms <= allowance * kRms) << error.rms;
    EXPECT_TRUE(error.largest <= allowance * kLargest) << error.largest;
}

/// The transforms of the rows, as columns.
Spectrum RowsTransposed(const Spectrum& image, std::size_t width) {
    const std::size_t height = image.size() / width;
    Spectrum result(image.size());
    for (std::size_t y = 0; y < height; ++y) {
        const Spectrum row = NaiveDft(Spectrum(image.begin() + y * width, image.begin() + (y + 1) * width));
        for (std::size_t x = 0; x < width; ++x) result[x * height + y] = row[x];
    }
    return result;
}

Spectrum NaiveDft2D(const std::vector<Ipp32fc>& image, std::size_t width, std::size_t height) {
    return RowsTransposed(RowsTransposed(Wide(image), width), height);
}

class Dft : public AtSimdLevel {};
TZM_INSTANTIATE_AT_SIMD_LEVELS(Dft);

TEST_P(Dft, FollowsTheDefinitionAtEveryLength) {
    std::vector<int> lengths;
    for (int n = 1; n <= 300; ++n) lengths.push_back(n);
    // Radices by definition, Rader's and Bluestein's convolutions (719 and 2 * 359 + 1), products of two large primes.
    for (const int n : {301, 511, 512, 719, 1000, 1009, 1023, 1024, 2048, 73 * 67}) lengths.push_back(n);
    const Index lanes = Simd::ActiveFft().lanes;
    for (const int n : lengths) {
        SCOPED_TRACE(n);
        const auto x = Signal(n, n);
        const Spectrum expected = NaiveDft(Wide(x));
        std::vector<Ipp32fc> y(n), lane(n);
        const DftState state(n, ippAlgHintFast, IPP_FFT_NODIV_BY_ANY);
        ASSERT_EQ(ippsDFTFwd_CToC_32fc(x.data(), y.data(), state.Get(), nullptr), 0);
        ExpectAccurate(y.data(), expected);

        // In lanes: every lane its own multiple of the signal, in place.
        const auto plan = FftPlan::Get(n);
        std::vector<float> block(2 * lanes * n), work(plan->WorkSize() + 1);
        for (Index k = 0; k < n; ++k)
            for (Index l = 0; l < lanes; ++l) {
                block[2 * lanes * k + l] = x[k].re * float(l + 1);
                block[2 * lanes * k + lanes + l] = x[k].im * float(l + 1);
            }
        const LaneTarget target{block.data(), block.data() + lanes, 2 * lanes};
        plan->Forward({target.re, target.im, target.stride}, target, work.data());
        for (const Index l : {Index(0), lanes - 1}) {
            for (Index k = 0; k < n; ++k) lane[k] = {block[2 * lanes * k + l], block[2 * lanes * k + lanes + l]};
            ExpectAccurate(lane.data(), expected, double(l + 1));
        }
    }
}

TEST_P(Dft, ReadsColumnsZeroPaddingAndRealSourcesInBothDirections) {
    const Index lanes = Simd::ActiveFft().lanes;
    for (const Index n : {5, 8, 23, 60, 73, 96, 128, 511}) {
        for (const bool real : {false, true})
            for (const bool inverse : {false, true}) {
                SCOPED_TRACE(n);
                const Index present = (2 * n + 2) / 3, stride = lanes + 3; // columns 1 .. W of a wider array
                Noise noise(n);
                std::vector<float> re = noise.Floats(n * stride), im = noise.Floats(n * stride);
                std::fill(re.begin() + present * stride, re.end(), NAN); // not to be read
                std::fill(im.begin() + (real ? 0 : present * stride), im.end(), NAN);
                Spectrum x(n);
                for (Index k = 0; k < present; ++k) x[k] = {re[k * stride + 1], real ? 0. : im[k * stride + 1]};
                const auto plan = FftPlan::Get(n);
                std::vector<float> dst(2 * lanes * n), work(plan->WorkSize() + 1);
                const LaneSource source{&re[1], real ? nullptr : &im[1], stride, present};
                const LaneTarget target{dst.data(), dst.data() + lanes, 2 * lanes};
                inverse ? plan->Inverse(source, target, work.data(), 0.5f)
                        : plan->Forward(source, target, work.data(), 0.5f);
                std::vector<Ipp32fc> y(n);
                for (Index k = 0; k < n; ++k) y[k] = {dst[2 * lanes * k], dst[2 * lanes * k + lanes]};
                ExpectAccurate(y.data(), NaiveDft(x, inverse ? +1 : -1), 0.5);
            }
    }
}

TEST_P(Dft, LongSingleTransformsAgreeWithASparseSignal) {
    // Split lengths beyond the stored turns, and a long prime: two impulses give two known waves. A prime of this
    // length takes a transform, a product and a transform back, of over twice the length and split themselves: the
    // errors of three transforms in a row, which add up at worst.
    for (const auto& [n, transforms] : {std::pair{1 << 17, 1}, {3 << 16, 1}, {100003, 3}, {131101, 3}}) {
        SCOPED_TRACE(n);
        std::vector<Ipp32fc> x(n, {0.f, 0.f});
        x[1] = {1.f, 0.f}, x[n - 7] = {0.f, 2.f};
        Spectrum expected(n);
        for (int k = 0; k < n; ++k)
            expected[k] =
                std::polar(1., -2 * M_PI * k / n) + std::polar(2., 2 * M_PI * (double(7ll * k % n) / n + 0.25));
        const DftState state(n, ippAlgHintFast, IPP_FFT_NODIV_BY_ANY);
        ASSERT_EQ(ippsDFTFwd_CToC_32fc(x.data(), x.data(), state.Get(), nullptr), 0);
        ExpectAccurate(x.data(), expected, 1, transforms);
    }
}

TEST_P(Dft, FlagsScaleBothDirections) {
    const int n = 64;
    const auto x = Signal(n);
    const Spectrum forward = NaiveDft(Wide(x)), inverse = NaiveDft(Wide(x), +1);
    for (const int flag : {1, 2, 4, 8}) {
        const double root = flag == 4 ? 8 : 1;
        Ipp32fc y[n];
        const DftState state(n, ippAlgHintAccurate, flag);
        ippsDFTFwd_CToC_32fc(x.data(), y, state.Get(), nullptr);
        ExpectAccurate(y, forward, 1 / (flag == 1 ? n : root));
        ippsDFTInv_CToC_32fc(x.data(), y, state.Get(), nullptr);
        ExpectAccurate(y, inverse, 1 / (flag == 2 ? n : root));
        ippsFFTInv_CToC_32fc(x.data(), y, FftState(6, ippAlgHintAccurate, flag).Get(), nullptr);
        ExpectAccurate(y, inverse, 1 / (flag == 2 ? n : root));
    }
}

TEST_P(Dft, ImagesFollowTheDefinitionWithAnyStepInAndOutOfPlace) {
    const struct {
        int width, height, extraSrc, extraDst;
    } images[] = {{1, 37, 8, 0}, {41, 1, 0, 24}, {35, 19, 64, 8}, {30, 73, 3, 5}, {64, 50, 1, 0}};
    for (const auto& i : images) {
        SCOPED_TRACE(std::to_string(i.width) + " x " + std::to_string(i.height));
        const int row = i.width * 8, srcStep = row + i.extraSrc, dstStep = row + i.extraDst;
        const auto image = Signal(i.width * i.height);
        std::vector<char> src(srcStep * i.height, 77), dst(dstStep * i.height, 77);
        for (int y = 0; y < i.height; ++y) std::memcpy(&src[y * srcStep], &image[y * i.width], row);
        const DftState2D state(i.width, i.height, ippAlgHintFast, IPP_FFT_DIV_FWD_BY_N);
        ASSERT_EQ(ippiDFTFwd_CToC_32fc_C1R(reinterpret_cast<const Ipp32fc*>(src.data()), srcStep,
                                           reinterpret_cast<Ipp32fc*>(dst.data()), dstStep, state.Get(), nullptr),
                  0);
        std::vector<Ipp32fc> spectrum(image.size());
        for (int y = 0; y < i.height; ++y) {
            std::memcpy(&spectrum[y * i.width], &dst[y * dstStep], row);
            for (int b = row; b < dstStep; ++b) ASSERT_EQ(dst[y * dstStep + b], 77) << "behind row " << y;
        }
        ExpectAccurate(spectrum.data(), NaiveDft2D(image, i.width, i.height), 1. / (i.width * i.height));
    }
}

TEST_P(Dft, FftImagesComeBackInAndOutOfPlace) {
    const int width = 64, height = 32, step = width * 8;
    const FftState2D state(6, 5, ippAlgHintAccurate, IPP_FFT_DIV_INV_BY_N);
    const auto image = Signal(width * height);
    auto inPlace = image, spectrum = image;
    ASSERT_EQ(ippiFFTFwd_CToC_32fc_C1R(image.data(), step, spectrum.data(), step, state.Get(), nullptr), 0);
    ExpectAccurate(spectrum.data(), NaiveDft2D(image, width, height));
    ASSERT_EQ(ippiFFTFwd_CToC_32fc_C1IR(inPlace.data(), step, state.Get(), nullptr), 0);
    EXPECT_EQ(std::memcmp(inPlace.data(), spectrum.data(), step * height), 0);
    ASSERT_EQ(ippiFFTInv_CToC_32fc_C1IR(inPlace.data(), step, state.Get(), nullptr), 0);
    ExpectAccurate(inPlace.data(), Wide(image));
}

TEST_P(Dft, ThreadsShareAState) {
    const int n = 301, rows = 40;
    const DftState2D state(n, rows, ippAlgHintFast, IPP_FFT_NODIV_BY_ANY);
    const auto x = Signal(n * rows);
    std::vector<std::vector<Ipp32fc>> images(5, x), single(5, x);
    const auto run = [&](int t) {
        ippiDFTFwd_CToC_32fc_C1R(x.data(), n * 8, images[t].data(), n * 8, state.Get(), nullptr);
        for (int k = 0; k < 150; ++k) { // more lengths than are kept, some from one thread, some from all
            const DftState other(100 + (k * (t + 1)) % 200, ippAlgHintFast, IPP_FFT_NODIV_BY_ANY);
            if (k % 50 == 0) ippsDFTFwd_CToC_32fc(x.data(), single[t].data(), DftState(n, 1, 8).Get(), nullptr);
        }
    };
    run(0);
    std::vector<std::thread> threads;
    for (int t = 1; t < 5; ++t) threads.emplace_back(run, t);
    for (auto& thread : threads) thread.join();
    for (int t = 1; t < 5; ++t) {
        EXPECT_EQ(std::memcmp(images[t].data(), images[0].data(), x.size() * 8), 0);
        EXPECT_EQ(std::memcmp(single[t].data(), single[0].data(), x.size() * 8), 0);
    }
}

TEST(DftContract, RefusesWhatItsTableSays) {
    IppsDFTSpec_C_32fc* dft = nullptr;
    IppsFFTSpec_C_32fc* fft = nullptr;
    IppiDFTSpec_C_32fc* dft2 = nullptr;
    IppiFFTSpec_C_32fc* fft2 = nullptr;
    const auto hint = ippAlgHintFast;
    EXPECT_EQ(ippsDFTInitAlloc_C_32fc(nullptr, 8, 8, hint), ippStsNullPtrErr);
    EXPECT_EQ(ippsDFTInitAlloc_C_32fc(&dft, 0, 8, hint), ippStsSizeErr);
    EXPECT_EQ(ippiDFTInitAlloc_C_32fc(&dft2, 4, -1, 8, hint), ippStsSizeErr);
    for (const int flag : {0, 3, 16, -1}) {
        EXPECT_EQ(ippsDFTInitAlloc_C_32fc(&dft, 8, flag, hint), ippStsFftFlagErr);
        EXPECT_EQ(ippiFFTInitAlloc_C_32fc(&fft2, 3, 3, flag, hint), ippStsFftFlagErr);
    }
    for (const int order : {-1, 31}) {
        EXPECT_EQ(ippsFFTInitAlloc_C_32fc(&fft, order, 8, hint), ippStsFftOrderErr);
        EXPECT_EQ(ippiFFTInitAlloc_C_32fc(&fft2, 3, order, 8, hint), ippStsFftOrderErr);
    }
    EXPECT_EQ(dft, nullptr);
    EXPECT_THROW(DftState(0, 1, 8), std::bad_alloc);
    EXPECT_THROW(FftState(31, 1, 8), std::bad_alloc);
    EXPECT_THROW(FftState2D(3, 3, 1, 7), std::bad_alloc);

    ASSERT_EQ(ippsDFTInitAlloc_C_32fc(&dft, 8, 8, hint), 0);
    ASSERT_EQ(ippsFFTInitAlloc_C_32fc(&fft, 0, 8, hint), 0);
    ASSERT_EQ(ippiFFTInitAlloc_C_32fc(&fft2, 1, 1, 8, hint), 0);
    ASSERT_EQ(ippiDFTInitAlloc_C_32fc(&dft2, 2, 2, 8, hint), 0);
    Ipp32fc x[8] = {{3.f, 4.f}};
    const auto wrong = reinterpret_cast<IppsDFTSpec_C_32fc*>(fft);
    EXPECT_EQ(ippsDFTFwd_CToC_32fc(nullptr, x, dft, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsDFTInv_CToC_32fc(x, x, nullptr, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsDFTFwd_CToC_32fc(x, x, wrong, nullptr), ippStsContextMatchErr);
    EXPECT_EQ(ippiFFTFwd_CToC_32fc_C1IR(x, 0, fft2, nullptr), ippStsStepErr);
    EXPECT_EQ(ippiFFTInv_CToC_32fc_C1IR(x, -16, fft2, nullptr), ippStsStepErr);
    EXPECT_EQ(ippiDFTFwd_CToC_32fc_C1R(x, 16, nullptr, 16, dft2, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(x[0].re, 3.f);
    EXPECT_EQ(ippsDFTFree_C_32fc(wrong), ippStsContextMatchErr);
    EXPECT_EQ(ippsFFTFree_C_32fc(nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsDFTFree_C_32fc(dft) | ippsFFTFree_C_32fc(fft) | ippiFFTFree_C_32fc(fft2) | ippiDFTFree_C_32fc(dft2),
              0);
}

TEST(DftContract, HugeStatesAreMadeOrRefusedButDontCrash) {
    for (const int order : {20, 29, 30}) EXPECT_NO_THROW(FftState(order, ippAlgHintFast, 2));
    EXPECT_NO_THROW(FftState2D(30, 30, ippAlgHintFast, 4));
    int any = 0;
    auto* dft = reinterpret_cast<IppsDFTSpec_C_32fc*>(&any); // not null: it has to become so
    EXPECT_EQ(ippsDFTInitAlloc_C_32fc(&dft, 2147483647, 8, ippAlgHintFast), ippStsMemAllocErr); // a prime
    EXPECT_EQ(dft, nullptr);
}

} // namespace

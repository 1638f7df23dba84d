#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"
#include "Array/Simd/Dispatch.h"

/// Short ones take the direct form, whose sums are taken in 64 bits and narrowed once. Long ones go through transforms
/// in 32 bits: their errors are of the order of float rounding of the largest sum. A NaN or an infinity reaches the
/// sums that it belongs to and no others. The destination overlaps no source.

namespace IPP {

namespace {

/// The one operation behind all: sum n is that over j of taps[j] * signal[n + j - lead], where both exist. The taps may
/// lie backwards in memory.
struct Correlation {
    const Ipp32f* signal;
    int signalLen;
    std::int64_t lead; ///< tap `lead` of sum 0 meets element 0 of the signal
    const Ipp32f* taps;
    int tapCount;
    int tapStep; ///< 1, or -1 for taps that run backwards from the pointer
    int sumCount;
    double products; ///< in all sums

    double Tap(std::int64_t j) const { return taps[j * tapStep]; }

    /// The taps in the order of memory.
    const Ipp32f* FirstTap() const { return tapStep > 0 ? taps : taps - (tapCount - 1); }

    /// The range of the taps that meet the signal in any of `count` sums from the first on.
    std::int64_t TapBegin(std::int64_t first, int count) const {
        return std::max<std::int64_t>(0, lead - (first + count - 1));
    }
    std::int64_t TapEnd(std::int64_t first) const { return std::min<std::int64_t>(tapCount, signalLen + lead - first); }
};

/// dst[i * Step] = scale * src[start + i] for i below count, with zeros where src has nothing.
template <int Step, class T>
void LoadZeroExtended(const Ipp32f* src, int len, std::int64_t start, double scale, T* dst, int count) {
    const int begin = static_cast<int>(std::clamp<std::int64_t>(-start, 0, count));
    const int end = static_cast<int>(std::clamp<std::int64_t>(len - start, begin, count));
    for (int i = 0; i < begin; ++i) dst[i * Step] = 0;
#pragma omp simd
    for (int i = begin; i < end; ++i) dst[i * Step] = static_cast<T>(src[start + i] * scale);
    for (int i = end; i < count; ++i) dst[i * Step] = 0;
}

/// Tile after tile of sums and taps, in buffers that stay in the first cache.
template <class Store>
void DirectForm(const Correlation& c, Store store) {
    constexpr int kTile = 256;
    static_assert(kTile % Simd::kCorrelateBlock == 0);
    const auto correlate = Simd::Active().correlate;
    double taps[kTile], window[2 * kTile], sums[kTile];
    for (std::int64_t first = 0; first < c.sumCount; first += kTile) {
        const int count = static_cast<int>(std::min<std::int64_t>(kTile, c.sumCount - first));
        const int whole = (count + Simd::kCorrelateBlock - 1) / Simd::kCorrelateBlock * Simd::kCorrelateBlock;
        const std::int64_t tapEnd = c.TapEnd(first);
        std::fill(sums, sums + whole, 0.0);
        for (std::int64_t tap = c.TapBegin(first, count); tap < tapEnd; tap += kTile) {
            const int tapCount = static_cast<int>(std::min<std::int64_t>(kTile, tapEnd - tap));
            for (int j = 0; j < tapCount; ++j) taps[j] = c.Tap(tap + j);
            LoadZeroExtended<1>(c.signal, c.signalLen, first + tap - c.lead, 1.0, window, whole + tapCount - 1);
            correlate(window, taps, tapCount, sums, whole);
        }
#pragma omp simd
        for (int i = 0; i < count; ++i) store(static_cast<int>(first) + i, sums[i]);
    }
}

struct Release {
    void operator()(void* memory) const { ippsFree(memory); }
    void operator()(IppsDFTSpec_C_32fc* state) const { ippsDFTFree_C_32fc(state); }
};
using Spectrum = std::unique_ptr<Ipp32fc[], Release>;
using DftState = std::unique_ptr<IppsDFTSpec_C_32fc, Release>;

/// The power of two that brings the largest magnitude to 0.5 .. 1, so that no spectrum leaves the range of floats.
int ExponentOf(const Ipp32f* src, int len) {
    Ipp32f min = 0.f, max = 0.f;
    Simd::Active().minMax(src, len, &min, &max);
    int exponent = 0;
    std::frexp(std::max(-min, max), &exponent);
    return exponent;
}

/// Overlap-save: a transform of length N gives N - tapCount + 1 sums, and those of two stretches of the signal at once,
/// one as the real, one as the imaginary part, because the taps are real. False if there is no memory.
template <class Store>
bool TransformForm(const Correlation& c, int length, Store store) {
    IppsDFTSpec_C_32fc* made = nullptr;
    if (ippsDFTInitAlloc_C_32fc(&made, length, IPP_FFT_DIV_INV_BY_N, ippAlgHintAccurate) != ippStsNoErr) return false;
    const DftState dft(made);
    const Spectrum response(ippsMalloc_32fc(length));
    const Spectrum work(ippsMalloc_32fc(length));
    if (!response || !work) return false;

    const int tapExponent = ExponentOf(c.FirstTap(), c.tapCount);
    const int exponent = ExponentOf(c.signal, c.signalLen);
    const double tapScale = std::ldexp(1.0, -tapExponent);
    std::fill(response.get(), response.get() + length, Ipp32fc{0.f, 0.f});
    for (int j = 0; j < c.tapCount; ++j) response[j].re = static_cast<Ipp32f>(c.Tap(j) * tapScale);
    if (ippsDFTFwd_CToC_32fc(response.get(), response.get(), dft.get(), nullptr) != ippStsNoErr) return false;
    ippsConj_32fc_I(response.get(), length);

    const int stretch = length - c.tapCount + 1;
    const double scale = std::ldexp(1.0, -exponent);
    const double scaleBack = std::ldexp(1.0, exponent + tapExponent);
    const auto storeStretch = [&](std::int64_t first, const Ipp32f* sums) { // every second float
        const int count = static_cast<int>(std::clamp<std::int64_t>(c.sumCount - first, 0, stretch));
#pragma omp simd
        for (int i = 0; i < count; ++i) store(static_cast<int>(first) + i, sums[2 * i] * scaleBack);
    };
    for (std::int64_t first = 0; first < c.sumCount; first += 2 * std::int64_t{stretch}) {
        const std::int64_t second = first + stretch;
        LoadZeroExtended<2>(c.signal, c.signalLen, first - c.lead, scale, &work[0].re, length);
        LoadZeroExtended<2>(c.signal, c.signalLen, second - c.lead, scale, &work[0].im, length);
        if (ippsDFTFwd_CToC_32fc(work.get(), work.get(), dft.get(), nullptr) != ippStsNoErr) return false;
        ippsMul_32fc_I(response.get(), work.get(), length);
        if (ippsDFTInv_CToC_32fc(work.get(), work.get(), dft.get(), nullptr) != ippStsNoErr) return false;
        storeStretch(first, &work[0].re);
        storeStretch(second, &work[0].im);
    }
    return true;
}

/// The cheapest transform length for overlap-save, or 0 if that isn't twice as fast as the direct form, which is the
/// more accurate one. Costs in products of the direct form, 0.05 ns each at AVX-512 and 0.07 at AVX2, where they were
/// measured; the tables of a length are made once in a process and don't count. Two sequences of one length go through
/// transforms from some 450 elements on, a long one with a short one from some 80 taps.
int TransformLength(const Correlation& c) {
    constexpr double kPerButterfly = 2.0; // of length * log2(length)
    constexpr double kPerElement = 20.0;  // loading, product of the spectra, storing
    constexpr double kPerTransform = 1500.0;
    constexpr double kFixed = 2000.0;                        // state and areas
    constexpr std::int64_t kLongest = std::int64_t{1} << 28; // 2 GiB per area
    double least = c.products / 2;
    int best = 0;
    if (least < kFixed + 3 * kPerTransform) return 0;
    for (const int factor : {1, 3, 5}) {
        std::int64_t length = factor, stretch = 0;
        while (length < c.tapCount) length *= 2;
        for (; length <= kLongest && 2 * stretch < c.sumCount; length *= 2) { // to where one pair of stretches does
            stretch = length - c.tapCount + 1;
            const auto n = static_cast<double>(length);
            const double pairs = std::ceil(c.sumCount / (2.0 * static_cast<double>(stretch)));
            // two transforms per pair of stretches and one of the taps
            const double perTransform = n * (kPerButterfly * std::log2(n) + kPerElement / 2) + kPerTransform;
            const double cost = kFixed + (2 * pairs + 1) * perTransform;
            if (cost >= least) continue;
            least = cost;
            best = static_cast<int>(length);
        }
    }
    return best;
}

/// Sum by sum, for values with which a product by an added zero wouldn't be 0.
template <class Store>
void PlainForm(const Correlation& c, Store store) {
    for (int n = 0; n < c.sumCount; ++n) {
        double sum = 0.0;
        const std::int64_t end = c.TapEnd(n);
        for (std::int64_t j = c.TapBegin(n, 1); j < end; ++j) sum += c.Tap(j) * c.signal[n + j - c.lead];
        store(n, sum);
    }
}

/// No sum of finite floats leaves the range of doubles, and no other stays in it.
bool AllFinite(const Ipp32f* src, int len) { return std::isfinite(Simd::Active().sum(src, len)); }

template <class Store>
void Run(const Correlation& c, Store store) {
    if (!AllFinite(c.signal, c.signalLen) || !AllFinite(c.FirstTap(), c.tapCount)) {
        PlainForm(c, store);
        return;
    }
    const int length = TransformLength(c);
    if (length == 0 || !TransformForm(c, length, store)) DirectForm(c, store);
}

template <class Normalise>
IppStatus AutoCorrelate(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen, Normalise normalise) {
    if (const IppStatus bad = CheckRange(srcLen, src, dst)) return bad;
    if (const IppStatus bad = CheckLength(dstLen)) return bad;
    const int lags = std::min(srcLen, dstLen);
    const double products = lags * (srcLen - (lags - 1) / 2.0);
    Run({src, srcLen, 0, src, srcLen, 1, lags, products},
        [=](int k, double sum) { dst[k] = static_cast<Ipp32f>(normalise(k, sum)); });
    std::fill(dst + lags, dst + dstLen, 0.f);
    return ippStsNoErr;
}

} // namespace

IppStatus ippsConv_32f(const Ipp32f* src1, int len1, const Ipp32f* src2, int len2, Ipp32f* dst) {
    if (const IppStatus bad = CheckRange(len1, src1, src2, dst)) return bad;
    if (const IppStatus bad = CheckLength(len2)) return bad;
    const std::int64_t sumCount = std::int64_t{len1} + len2 - 1;
    if (sumCount > std::numeric_limits<int>::max()) return ippStsSizeErr;
    if (len1 < len2) {
        std::swap(src1, src2);
        std::swap(len1, len2);
    }
    Run({src1, len1, len2 - 1, src2 + len2 - 1, len2, -1, static_cast<int>(sumCount), static_cast<double>(len1) * len2},
        [dst](int n, double sum) { dst[n] = static_cast<Ipp32f>(sum); });
    return ippStsNoErr;
}

IppStatus ippsAutoCorr_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen) {
    return AutoCorrelate(src, srcLen, dst, dstLen, [](int, double sum) { return sum; });
}

IppStatus ippsAutoCorr_NormA_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen) {
    return AutoCorrelate(src, srcLen, dst, dstLen, [srcLen](int, double sum) { return sum / srcLen; });
}

IppStatus ippsAutoCorr_NormB_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen) {
    return AutoCorrelate(src, srcLen, dst, dstLen, [srcLen](int k, double sum) { return sum / (srcLen - k); });
}

} // namespace IPP

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"
#include "Array/Simd/Dispatch.h"

/// Sums are taken in 64 bits and narrowed once. A NaN or an infinity reaches the sums that it belongs to and no others.
/// The destination overlaps no source.

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

    double Tap(std::int64_t j) const { return taps[j * tapStep]; }

    /// The range of the taps that meet the signal in any of `count` sums from the first on.
    std::int64_t TapBegin(std::int64_t first, int count) const {
        return std::max<std::int64_t>(0, lead - (first + count - 1));
    }
    std::int64_t TapEnd(std::int64_t first) const { return std::min<std::int64_t>(tapCount, signalLen + lead - first); }
};

/// dst[0 .. count) = src[start .. start + count), with zeros where src has nothing.
void LoadZeroExtended(const Ipp32f* src, int len, std::int64_t start, double* dst, int count) {
    const int begin = static_cast<int>(std::clamp<std::int64_t>(-start, 0, count));
    const int end = static_cast<int>(std::clamp<std::int64_t>(len - start, begin, count));
    std::fill(dst, dst + begin, 0.0);
    for (int i = begin; i < end; ++i) dst[i] = src[start + i];
    std::fill(dst + end, dst + count, 0.0);
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
            LoadZeroExtended(c.signal, c.signalLen, first + tap - c.lead, window, whole + tapCount - 1);
            correlate(window, taps, tapCount, sums, whole);
        }
        for (int i = 0; i < count; ++i) store(static_cast<int>(first + i), sums[i]);
    }
}

/// The same sum by sum, for values with which a product by an added zero wouldn't be 0.
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
bool AllFinite(const Ipp32f* src, int len) {
    return std::isfinite(Simd::Active().sum(src, len));
}

template <class Store>
void Run(const Correlation& c, Store store) {
    const Ipp32f* firstTap = c.tapStep > 0 ? c.taps : c.taps - (c.tapCount - 1);
    if (AllFinite(c.signal, c.signalLen) && AllFinite(firstTap, c.tapCount))
        DirectForm(c, store);
    else
        PlainForm(c, store);
}

template <class Normalise>
IppStatus AutoCorrelate(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen, Normalise normalise) {
    if (const IppStatus bad = CheckRange(srcLen, src, dst)) return bad;
    if (const IppStatus bad = CheckLength(dstLen)) return bad;
    const int lags = std::min(srcLen, dstLen);
    Run({src, srcLen, 0, src, srcLen, 1, lags},
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
    Run({src1, len1, len2 - 1, src2 + len2 - 1, len2, -1, static_cast<int>(sumCount)},
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

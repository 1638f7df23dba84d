#include "Array/Primitives/Hilbert.h"

#include <algorithm>
#include <cmath>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/LoadedRows.h"
#include "Array/Primitives/SingleTransform.h"
#include "Array/Primitives/ThreadWork.h"
#include "Array/Primitives/TransformSpec.h"
#include "Array/Simd/Dispatch.h"
#include "Array/TransformStates.h"

namespace IPP {

struct IppsHilbertSpec_32f32fc : TransformSpec {
    static constexpr unsigned kMagic = 0x5446484c;
    explicit IppsHilbertSpec_32f32fc(int len)
        : TransformSpec(kMagic), length(len), transform(SingleTransform::Get(len)),
          plan(len <= kLongest ? FftPlan::Get(len) : nullptr) {}
    static constexpr int kLongest = 1 << 16; // of batches
    int length;
    std::shared_ptr<const SingleTransform> transform;
    std::shared_ptr<const FftPlan> plan; // of a batch
};

IppStatus ippsHilbertInitAlloc_32f32fc(IppsHilbertSpec_32f32fc** state, int len, IppHintAlgorithm) {
    if (const IppStatus bad = CheckRange(len, state)) return bad;
    return MakeSpec(state, len);
}

IppStatus ippsHilbertFree_32f32fc(IppsHilbertSpec_32f32fc* state) { return FreeSpec(state); }

IppStatus ippsHilbert_32f32fc(const Ipp32f* src, Ipp32fc* dst, IppsHilbertSpec_32f32fc* state) {
    if (const IppStatus bad = CheckPointers(src, dst, state)) return bad;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    const int len = state->length;
    const ThreadWork work(state->transform->WorkSize());
    if (!work.Get()) return ippStsMemAllocErr;
    for (int i = 0; i < len; ++i) dst[i] = {src[i], 0.f};
    if (len < 3) return ippStsNoErr;
    state->transform->Forward(dst, dst, work.Get());
    const int half = (len + 1) / 2 - 1; // positive frequencies; the mean and the Nyquist frequency stay as they are
    for (int k = 1; k <= half; ++k) dst[k] = {2 * dst[k].re, 2 * dst[k].im};
    std::fill(dst + len / 2 + 1, dst + len, Ipp32fc{0.f, 0.f});
    state->transform->Inverse(dst, dst, work.Get(), 1.f / float(len));
    return ippStsNoErr;
}

Index HilbertEnvelopesWorkSize(const IppsHilbertSpec_32f32fc* state) {
    const Index perElement = 2 * Simd::kMaxLanes;
    return perElement * (2 * Index(state->length) + 3) + (state->plan ? state->plan->WorkSize() : 0);
}

namespace {

/// The larger magnitude of the two ends of a row of at most two samples, whose envelope are their magnitudes; NaN if
/// one is.
float LargerEnd(const float* row, Index len) {
    const float first = std::abs(row[0]), last = std::abs(row[len - 1]);
    return std::isnan(first) || first > last ? first : last;
}

/// Up to 2 W rows in lanes: the signal, its Hilbert transforms as the kernels of envelopes take them, and the factors
/// that undo the scaling of the rows.
struct PairsOfRows {
    const float* signal;
    float* hilbert;
    const float* undo;
    Index count;
};

/// Calls body(first row, PairsOfRows) for all rows. For lengths from 3 on.
template <class Body>
IppStatus ForPairsOfRows(const float* src, Index srcStep, int rows, const IppsHilbertSpec_32f32fc* state, float* work,
                         float* largest, const Body& body) {
    if (!state->plan) return ippStsSizeErr;
    const Index len = state->length;
    const Simd::FftKernels& kernels = Simd::ActiveFft();
    const Index lanes = kernels.lanes, stride = 2 * lanes;
    float* signal = work;
    float* hilbert = signal + stride * len;
    float* extra = hilbert + stride * len;
    float* planWork = extra + LoadedRows::kExtra;

    // The rows y .. y + W - 1 are the real parts of the lanes, the next W rows the imaginary ones. Of the spectrum Z of
    // such a pair z, the positive frequencies, doubled, and the mean and the Nyquist part go back: they give z + i H z,
    // with H z the pair of Hilbert transforms. So these are the imaginary part less the imaginary part of z, and the
    // real part of z less the real part.
    for (Index y = 0; y < rows; y += stride) {
        const Index here = std::min(stride, rows - y);
        LoadedRows::Prefetch(src + y * srcStep, srcStep, here, len);
        const LoadedRows loaded(src + y * srcStep, srcStep, here, len, signal, extra);
        if (largest) std::copy_n(loaded.largest, here, largest + y);
        kernels.scaleLanes(signal, loaded.factors, len);
        const LaneTarget spectrum{hilbert, hilbert + lanes, stride};
        state->plan->Forward({signal, signal + lanes, stride}, spectrum, planWork);
        for (Index l = 0; l < stride; ++l) {
            hilbert[l] *= 0.5f;
            if (len % 2 == 0) hilbert[stride * (len / 2) + l] *= 0.5f;
        }
        state->plan->Inverse({hilbert, hilbert + lanes, stride, len / 2 + 1}, spectrum, planWork, 2.f / float(len));
        body(y, PairsOfRows{signal, hilbert, loaded.undo, here});
    }
    return ippStsNoErr;
}

IppStatus CheckRows(const IppsHilbertSpec_32f32fc* state, int rows) {
    if (const IppStatus bad = CheckSpec(state)) return bad;
    return CheckLength(rows);
}

} // namespace

IppStatus HilbertEnvelopes(const float* src, Index srcStep, float* dst, Index dstStep, int rows,
                           const IppsHilbertSpec_32f32fc* state, float* work, float* largest) {
    if (const IppStatus bad = CheckPointers(src, dst, state, work)) return bad;
    if (const IppStatus bad = CheckRows(state, rows)) return bad;
    const Index len = state->length;
    if (len < 3) { // no frequency between the mean and Nyquist's
        for (Index y = 0; y < rows; ++y) {
            const float* row = src + y * srcStep;
            const float larger = LargerEnd(row, len), first = std::abs(row[0]), last = std::abs(row[len - 1]);
            dst[y * dstStep] = first, dst[y * dstStep + len - 1] = last;
            if (largest) largest[y] = larger;
        }
        return ippStsNoErr;
    }
    return ForPairsOfRows(src, srcStep, rows, state, work, largest, [&](Index y, const PairsOfRows& pairs) {
        Simd::ActiveFft().storeEnvelopes(pairs.signal, pairs.hilbert, pairs.undo, int(pairs.count), len,
                                         dst + y * dstStep, dstStep * Index(sizeof(float)));
    });
}

IppStatus HilbertEnvelopePeaks(const float* src, Index srcStep, float* peaks, int rows,
                               const IppsHilbertSpec_32f32fc* state, float* work, float* largest) {
    if (const IppStatus bad = CheckPointers(src, peaks, state, work)) return bad;
    if (const IppStatus bad = CheckRows(state, rows)) return bad;
    const Index len = state->length;
    if (len < 3) {
        for (Index y = 0; y < rows; ++y) peaks[y] = LargerEnd(src + y * srcStep, len);
        if (largest) std::copy_n(peaks, rows, largest);
        return ippStsNoErr;
    }
    return ForPairsOfRows(src, srcStep, rows, state, work, largest, [&](Index y, const PairsOfRows& pairs) {
        alignas(64) float all[2 * Simd::kMaxLanes];
        Simd::ActiveFft().envelopePeaks(pairs.signal, pairs.hilbert, pairs.undo, len, all);
        std::copy_n(all, pairs.count, peaks + y);
    });
}

HilbertState::HilbertState(int len, int hint) {
    IppsHilbertSpec_32f32fc* made = nullptr;
    ippsHilbertInitAlloc_32f32fc(&made, len, hint);
    Take(made);
}

HilbertState::~HilbertState() {
    if (owner) ippsHilbertFree_32f32fc(state);
}

} // namespace IPP

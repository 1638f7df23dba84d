#include "Array/Primitives/Hilbert.h"

#include <algorithm>
#include <cmath>

#include "Array/Primitives/ArgumentChecks.h"
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
    return perElement * (2 * Index(state->length) + 5) + (state->plan ? state->plan->WorkSize() : 0);
}

IppStatus HilbertEnvelopes(const float* src, Index srcStep, float* dst, Index dstStep, int rows,
                           const IppsHilbertSpec_32f32fc* state, float* work, float* largest) {
    if (const IppStatus bad = CheckPointers(src, dst, state, work)) return bad;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    if (const IppStatus bad = CheckLength(rows)) return bad;
    const Index len = state->length;
    if (len < 3) { // no frequency between the mean and Nyquist's
        for (Index y = 0; y < rows; ++y) {
            const float* row = src + y * srcStep;
            const float first = std::abs(row[0]), last = std::abs(row[len - 1]);
            dst[y * dstStep] = first, dst[y * dstStep + len - 1] = last;
            if (largest) largest[y] = std::isnan(first) || first > last ? first : last;
        }
        return ippStsNoErr;
    }
    if (!state->plan) return ippStsSizeErr;
    const Simd::FftKernels& kernels = Simd::ActiveFft();
    const Index lanes = kernels.lanes, stride = 2 * lanes, rowBytes = sizeof(float);
    float* signal = work;
    float* hilbert = signal + stride * len;
    float* most = hilbert + stride * len;
    float* factors = most + stride;
    float* undo = factors + stride;
    float* offsets = undo + stride; // of the imaginary parts, then of the real ones: even elements, odd elements
    float* planWork = offsets + 2 * stride;

    // The rows y .. y + W - 1 are the real parts of the lanes, the next W rows the imaginary ones. Of the spectrum Z of
    // such a pair z, the positive frequencies alone, doubled, go back: they give z - mean - Nyquist part + i H z, with
    // H z the pair of Hilbert transforms. So these are the imaginary part less the imaginary part of z, and the real
    // part of z less the real part, both but for the mean and the Nyquist part, which alternates its sign.
    for (Index y = 0; y < rows; y += 2 * lanes) {
        const float scale = 1.f / float(len);
        for (int part = 0; part < 2; ++part) {
            const Index first = y + part * lanes;
            const int count = int(std::clamp(rows - first, Index(0), lanes));
            const float* from = src + std::min(first, Index(rows) - 1) * srcStep;
            float* to = signal + part * lanes;
            kernels.levels(from, srcStep * rowBytes, count, len, most + part * lanes, factors + part * lanes,
                           undo + part * lanes);
            kernels.loadScaledRows(from, srcStep * rowBytes, count, len, factors + part * lanes, to, stride);
            for (Index l = 0; l < count; ++l) // a broken row must not reach its partner
                for (Index k = 0; std::isnan(undo[part * lanes + l]) && k < len; ++k) to[k * stride + l] = 0.f;
        }
        if (largest) std::copy_n(most, std::min(stride, rows - y), largest + y);
        const LaneTarget spectrum{hilbert, hilbert + lanes, stride};
        const LaneSource positive{hilbert, hilbert + lanes, stride, (len + 1) / 2};
        state->plan->Forward({signal, signal + lanes, stride}, spectrum, planWork);
        for (Index l = 0; l < stride; ++l) {
            const float mean = hilbert[l] * scale,
                        nyquist = len % 2 == 0 ? hilbert[stride * (len / 2) + l] * scale : 0.f;
            float* offset = offsets + (l < lanes ? stride + l : l - lanes);
            offset[0] = mean + nyquist, offset[lanes] = mean - nyquist;
            hilbert[l] = 0.f;
        }
        state->plan->Inverse(positive, spectrum, planWork, 2 * scale);
        kernels.storeEnvelopes(signal, hilbert, offsets, undo, int(std::min(stride, rows - y)), len, dst + y * dstStep,
                               dstStep * rowBytes);
    }
    return ippStsNoErr;
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

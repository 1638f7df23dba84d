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
        : TransformSpec(kMagic), length(len), transform(len), plan(len <= kLongest ? FftPlan::Get(len) : nullptr) {}
    static constexpr int kLongest = 1 << 16; // of batches
    int length;
    SingleTransform transform;
    std::shared_ptr<const FftPlan> plan; // of a batch
};

IppStatus ippsHilbertInitAlloc_32f32fc(IppsHilbertSpec_32f32fc** state, int len, IppHintAlgorithm) {
    if (const IppStatus bad = CheckRange(len, state)) return bad;
    return MakeSpec(state, len);
}

IppStatus ippsHilbertFree_32f32fc(IppsHilbertSpec_32f32fc* state) {
    return FreeSpec(state);
}

IppStatus ippsHilbert_32f32fc(const Ipp32f* src, Ipp32fc* dst, IppsHilbertSpec_32f32fc* state) {
    if (const IppStatus bad = CheckPointers(src, dst, state)) return bad;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    const int len = state->length;
    const ThreadWork work(state->transform.WorkSize());
    if (!work.Get()) return ippStsMemAllocErr;
    for (int i = 0; i < len; ++i) dst[i] = {src[i], 0.f};
    if (len < 3) return ippStsNoErr;
    state->transform.Forward(dst, dst, work.Get());
    const int half = (len + 1) / 2 - 1; // positive frequencies; the mean and the Nyquist frequency stay as they are
    for (int k = 1; k <= half; ++k) dst[k] = {2 * dst[k].re, 2 * dst[k].im};
    std::fill(dst + len / 2 + 1, dst + len, Ipp32fc{0.f, 0.f});
    state->transform.Inverse(dst, dst, work.Get(), 1.f / float(len));
    return ippStsNoErr;
}

Index HilbertEnvelopesWorkSize(const IppsHilbertSpec_32f32fc* state) {
    const Index perElement = 2 * Simd::kMaxLanes;
    return perElement * (2 * Index(state->length) + 1) + (state->plan ? state->plan->WorkSize() : 0);
}

IppStatus HilbertEnvelopes(const float* src, Index srcStep, float* dst, Index dstStep, int rows,
                           const IppsHilbertSpec_32f32fc* state, float* work) {
    if (const IppStatus bad = CheckPointers(src, dst, state, work)) return bad;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    if (const IppStatus bad = CheckLength(rows)) return bad;
    const Simd::FftKernels& kernels = Simd::ActiveFft();
    const Index lanes = kernels.lanes, len = state->length, blockSize = 2 * lanes * len;
    const FftPlan* plan = state->plan.get();
    if (!plan) return ippStsSizeErr;
    float* signal = work;
    float* hilbert = signal + blockSize;
    float* undo = hilbert + blockSize;
    float* planWork = undo + 2 * lanes;

    if (len < 3) { // no frequency between the mean and Nyquist's
        for (Index y = 0; y < rows; ++y)
            for (Index i = 0; i < len; ++i) dst[y * dstStep + i] = std::abs(src[y * srcStep + i]);
        return ippStsNoErr;
    }
    // The rows y .. y + W - 1 are the real parts of the lanes, the next W rows the imaginary ones.
    for (Index y = 0; y < rows; y += 2 * lanes) {
        const int first = int(std::min(lanes, rows - y)), second = int(std::min(lanes, rows - y - first));
        const float* in = src + y * srcStep;
        float* out = dst + y * dstStep;
        kernels.loadRows(in, srcStep * Index(sizeof(float)), first, len, signal, 2 * lanes);
        kernels.loadRows(in + lanes * srcStep, srcStep * Index(sizeof(float)), second, len, signal + lanes, 2 * lanes);
        kernels.levelRows(signal, len, undo);
        plan->Forward({signal, signal + lanes, 2 * lanes}, {hilbert, hilbert + lanes, 2 * lanes}, planWork);
        kernels.hilbertSpectrum(hilbert, len, 1.f / float(len));
        plan->Inverse({hilbert, hilbert + lanes, 2 * lanes}, {hilbert, hilbert + lanes, 2 * lanes}, planWork);
        kernels.magnitude(signal, hilbert, undo, hilbert, len);
        kernels.storeRows(hilbert, 2 * lanes, first, len, out, dstStep * Index(sizeof(float)));
        kernels.storeRows(hilbert + lanes, 2 * lanes, second, len, out + lanes * dstStep,
                          dstStep * Index(sizeof(float)));
    }
    return ippStsNoErr;
}

HilbertState::HilbertState(int len, int hint) {
    IppsHilbertSpec_32f32fc* made = nullptr;
    ippsHilbertInitAlloc_32f32fc(&made, len, IppHintAlgorithm(hint));
    Take(made);
}

HilbertState::~HilbertState() {
    if (owner) ippsHilbertFree_32f32fc(state);
}

} // namespace IPP

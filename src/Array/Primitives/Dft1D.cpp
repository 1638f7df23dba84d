#include <cmath>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"
#include "Array/Primitives/SingleTransform.h"
#include "Array/Primitives/ThreadWork.h"
#include "Array/Primitives/TransformSpec.h"
#include "Array/TransformStates.h"

namespace IPP {

struct IppsDFTSpec_C_32fc : TransformSpec {
    static constexpr unsigned kMagic = 0x54464431;
    IppsDFTSpec_C_32fc(Index n, FlagScale s) : TransformSpec(kMagic), transform(SingleTransform::Get(n)), scale(s) {}
    std::shared_ptr<const SingleTransform> transform;
    FlagScale scale;
};

struct IppsFFTSpec_C_32fc : TransformSpec {
    static constexpr unsigned kMagic = 0x54464631;
    IppsFFTSpec_C_32fc(Index n, FlagScale s) : TransformSpec(kMagic), transform(SingleTransform::Get(n)), scale(s) {}
    std::shared_ptr<const SingleTransform> transform;
    FlagScale scale;
};

namespace {

template <class State>
IppStatus Forward(const Ipp32fc* src, Ipp32fc* dst, const State* state) {
    if (const IppStatus bad = CheckPointers(src, dst, state)) return bad;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    const ThreadWork work(state->transform->WorkSize());
    if (!work.Get()) return ippStsMemAllocErr;
    state->transform->Forward(src, dst, work.Get(), state->scale.forward);
    return ippStsNoErr;
}

template <class State>
IppStatus Inverse(const Ipp32fc* src, Ipp32fc* dst, const State* state) {
    if (const IppStatus bad = CheckPointers(src, dst, state)) return bad;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    const ThreadWork work(state->transform->WorkSize());
    if (!work.Get()) return ippStsMemAllocErr;
    state->transform->Inverse(src, dst, work.Get(), state->scale.inverse);
    return ippStsNoErr;
}

} // namespace

IppStatus ippsDFTInitAlloc_C_32fc(IppsDFTSpec_C_32fc** state, int len, int flag, IppHintAlgorithm) {
    if (const IppStatus bad = CheckRange(len, state)) return bad;
    FlagScale scale;
    if (!ScaleOfFlag(flag, len, scale)) return ippStsFftFlagErr;
    return MakeSpec(state, len, scale);
}

IppStatus ippsDFTFwd_CToC_32fc(const Ipp32fc* src, Ipp32fc* dst, const IppsDFTSpec_C_32fc* state, unsigned char*) {
    return Forward(src, dst, state);
}

IppStatus ippsDFTInv_CToC_32fc(const Ipp32fc* src, Ipp32fc* dst, const IppsDFTSpec_C_32fc* state, unsigned char*) {
    return Inverse(src, dst, state);
}

IppStatus ippsDFTFree_C_32fc(IppsDFTSpec_C_32fc* state) { return FreeSpec(state); }

IppStatus ippsFFTInitAlloc_C_32fc(IppsFFTSpec_C_32fc** state, int order, int flag, IppHintAlgorithm) {
    if (const IppStatus bad = CheckPointers(state)) return bad;
    if (const IppStatus bad = CheckOrder(order)) return bad;
    FlagScale scale;
    if (!ScaleOfFlag(flag, std::ldexp(1., order), scale)) return ippStsFftFlagErr;
    return MakeSpec(state, Index(1) << order, scale);
}

IppStatus ippsFFTInv_CToC_32fc(const Ipp32fc* src, Ipp32fc* dst, const IppsFFTSpec_C_32fc* state, unsigned char*) {
    return Inverse(src, dst, state);
}

IppStatus ippsFFTFree_C_32fc(IppsFFTSpec_C_32fc* state) { return FreeSpec(state); }

DftState::DftState(int len, int hint, int flag) {
    IppsDFTSpec_C_32fc* made = nullptr;
    ippsDFTInitAlloc_C_32fc(&made, len, flag, hint);
    Take(made);
}

DftState::~DftState() {
    if (owner) ippsDFTFree_C_32fc(state);
}

FftState::FftState(int order, int hint, int flag) {
    IppsFFTSpec_C_32fc* made = nullptr;
    ippsFFTInitAlloc_C_32fc(&made, order, flag, hint);
    Take(made);
}

FftState::~FftState() {
    if (owner) ippsFFTFree_C_32fc(state);
}

} // namespace IPP

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ippi.h"
#include "Array/Primitives/SingleTransform.h"
#include "Array/Primitives/ThreadWork.h"
#include "Array/Primitives/TransformSpec.h"
#include "Array/Simd/Dispatch.h"
#include "Array/TransformStates.h"

namespace IPP {

namespace {

using Simd::FftKernels;

constexpr Index kElement = sizeof(Ipp32fc);

/// The transforms of one direction: W at a time, or one by one where a length is so large that W of them would burst
/// the memory.
class Direction {
public:
    explicit Direction(Index n) : length(n) {
        constexpr Index kLongestInLanes = 1 << 16;
        if (n <= kLongestInLanes)
            plan = FftPlan::Get(n);
        else
            single = SingleTransform::Get(n);
    }

    Index length;
    std::shared_ptr<const FftPlan> plan;
    std::shared_ptr<const SingleTransform> single;

    Index WorkSize() const {
        return single ? 2 * length + 16 + single->WorkSize() : 2 * Simd::kMaxLanes * length + plan->WorkSize();
    }

    /// `count` <= W transforms in lane blocks, in place.
    void InLanes(float* block, float* work, float scale, bool inverse) const {
        const Index lanes = Simd::ActiveFft().lanes;
        const LaneSource source{block, block + lanes, 2 * lanes};
        const LaneTarget target{block, block + lanes, 2 * lanes};
        inverse ? plan->Inverse(source, target, work, scale) : plan->Forward(source, target, work, scale);
    }

    /// One transform of elements that lie `step` bytes apart.
    void One(const char* src, char* dst, Index srcStep, Index dstStep, float* work, float scale, bool inverse) const {
        auto* line = reinterpret_cast<Ipp32fc*>(work);
        float* rest = work + (2 * length + 15) / 16 * 16;
        for (Index i = 0; i < length; ++i) std::memcpy(line + i, src + i * srcStep, kElement);
        inverse ? single->Inverse(line, line, rest, scale) : single->Forward(line, line, rest, scale);
        for (Index i = 0; i < length; ++i) std::memcpy(dst + i * dstStep, line + i, kElement);
    }
};

/// Rows and columns of an image.
class Transform2D {
public:
    Transform2D(Index width, Index height, FlagScale s) : row(width), column(height), scale(s) {}

    IppStatus Forward(const Ipp32fc* src, Index srcStep, Ipp32fc* dst, Index dstStep) const {
        return Run(src, srcStep, dst, dstStep, scale.forward, false);
    }
    IppStatus Inverse(Ipp32fc* srcDst, Index step) const {
        return Run(srcDst, step, srcDst, step, scale.inverse, true);
    }

private:
    /// Rows first, W of them through the transposes; then W neighbouring columns. Steps in bytes, of any alignment.
    IppStatus Run(const void* src, Index srcStep, void* dst, Index dstStep, float factor, bool inverse) const {
        const ThreadWork work(std::max(row.WorkSize(), column.WorkSize()));
        if (!work.Get()) return ippStsMemAllocErr;
        const FftKernels& kernels = Simd::ActiveFft();
        const Index lanes = kernels.lanes, width = row.length, height = column.length;
        const auto* in = static_cast<const char*>(src);
        auto* out = static_cast<char*>(dst);

        float* block = work.Get();
        for (Index y = 0; y < height; y += row.single ? 1 : lanes) {
            if (row.single) {
                row.One(in + y * srcStep, out + y * dstStep, kElement, kElement, block, factor, inverse);
                continue;
            }
            const int count = int(std::min(lanes, height - y));
            kernels.loadRows(in + y * srcStep, srcStep, count, 2 * width, block, lanes);
            row.InLanes(block, block + 2 * Simd::kMaxLanes * width, factor, inverse);
            kernels.storeRows(block, lanes, count, 2 * width, out + y * dstStep, dstStep);
        }
        for (Index x = 0; x < width; x += column.single ? 1 : lanes) {
            char* at = out + x * kElement;
            if (column.single) {
                column.One(at, at, dstStep, dstStep, block, 1.f, inverse);
                continue;
            }
            const int count = int(std::min(lanes, width - x));
            kernels.loadColumns(at, dstStep, count, height, block);
            column.InLanes(block, block + 2 * Simd::kMaxLanes * height, 1.f, inverse);
            kernels.storeColumns(block, count, height, at, dstStep);
        }
        return ippStsNoErr;
    }

    Direction row, column;
    FlagScale scale; ///< of both directions together
};

} // namespace

struct IppiDFTSpec_C_32fc : TransformSpec {
    static constexpr unsigned kMagic = 0x54464432;
    IppiDFTSpec_C_32fc(Index width, Index height, FlagScale s) : TransformSpec(kMagic), transform(width, height, s) {}
    Transform2D transform;
};

struct IppiFFTSpec_C_32fc : TransformSpec {
    static constexpr unsigned kMagic = 0x54464632;
    IppiFFTSpec_C_32fc(Index width, Index height, FlagScale s) : TransformSpec(kMagic), transform(width, height, s) {}
    Transform2D transform;
};

namespace {

template <class State>
IppStatus Check(const void* src, Index srcStep, const void* dst, Index dstStep, const State* state) {
    if (!src || !dst || !state) return ippStsNullPtrErr;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    return srcStep < 1 || dstStep < 1 ? ippStsStepErr : ippStsNoErr;
}

} // namespace

IppStatus ippiDFTInitAlloc_C_32fc(IppiDFTSpec_C_32fc** state, int width, int height, int flag, IppHintAlgorithm) {
    if (const IppStatus bad = CheckRange(std::min(width, height), state)) return bad;
    FlagScale scale;
    if (!ScaleOfFlag(flag, double(width) * height, scale)) return ippStsFftFlagErr;
    return MakeSpec(state, width, height, scale);
}

IppStatus ippiDFTFwd_CToC_32fc_C1R(const Ipp32fc* src, int srcStep, Ipp32fc* dst, int dstStep,
                                   const IppiDFTSpec_C_32fc* state, unsigned char*) {
    if (const IppStatus bad = Check(src, srcStep, dst, dstStep, state)) return bad;
    return state->transform.Forward(src, srcStep, dst, dstStep);
}

IppStatus ippiDFTFree_C_32fc(IppiDFTSpec_C_32fc* state) { return FreeSpec(state); }

IppStatus ippiFFTInitAlloc_C_32fc(IppiFFTSpec_C_32fc** state, int orderX, int orderY, int flag, IppHintAlgorithm) {
    if (const IppStatus bad = CheckPointers(state)) return bad;
    if (const IppStatus bad = CheckOrder(orderX)) return bad;
    if (const IppStatus bad = CheckOrder(orderY)) return bad;
    FlagScale scale;
    if (!ScaleOfFlag(flag, std::ldexp(1., orderX + orderY), scale)) return ippStsFftFlagErr;
    return MakeSpec(state, Index(1) << orderX, Index(1) << orderY, scale);
}

IppStatus ippiFFTFwd_CToC_32fc_C1R(const Ipp32fc* src, int srcStep, Ipp32fc* dst, int dstStep,
                                   const IppiFFTSpec_C_32fc* state, unsigned char*) {
    if (const IppStatus bad = Check(src, srcStep, dst, dstStep, state)) return bad;
    return state->transform.Forward(src, srcStep, dst, dstStep);
}

IppStatus ippiFFTFwd_CToC_32fc_C1IR(Ipp32fc* srcDst, int step, const IppiFFTSpec_C_32fc* state, unsigned char*) {
    if (const IppStatus bad = Check(srcDst, step, srcDst, step, state)) return bad;
    return state->transform.Forward(srcDst, step, srcDst, step);
}

IppStatus ippiFFTInv_CToC_32fc_C1IR(Ipp32fc* srcDst, int step, const IppiFFTSpec_C_32fc* state, unsigned char*) {
    if (const IppStatus bad = Check(srcDst, step, srcDst, step, state)) return bad;
    return state->transform.Inverse(srcDst, step);
}

IppStatus ippiFFTFree_C_32fc(IppiFFTSpec_C_32fc* state) { return FreeSpec(state); }

DftState2D::DftState2D(int width, int height, int hint, int flag) {
    IppiDFTSpec_C_32fc* made = nullptr;
    ippiDFTInitAlloc_C_32fc(&made, width, height, flag, hint);
    Take(made);
}

DftState2D::~DftState2D() {
    if (owner) ippiDFTFree_C_32fc(state);
}

FftState2D::FftState2D(int orderX, int orderY, int hint, int flag) {
    IppiFFTSpec_C_32fc* made = nullptr;
    ippiFFTInitAlloc_C_32fc(&made, orderX, orderY, flag, hint);
    Take(made);
}

FftState2D::~FftState2D() {
    if (owner) ippiFFTFree_C_32fc(state);
}

} // namespace IPP

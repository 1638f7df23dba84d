#pragma once

#include <algorithm>
#include <cstdint>

#include "Array/Array2D.h"
#include "Array/Primitives/MirroredRows.h"
#include "Array/Simd/AscanKernels.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"

namespace TZM {

/// Where a few A-scans of an output go, one behind the other.
struct AscanTarget : IPP::RowTarget {
    /// Copies A-scan y, unless it is there already.
    void Put(int y, const float* ascan) const {
        if (float* const to = data + y * step; to != ascan)
            IPP::Simd::Active().streamCopy(ascan, to, static_cast<int>(step), past);
    }
};

/// Works on the valid A-scans of a B-scan, at most `few` at a time, so that they stay in a core's caches on their way:
/// make(A-scans, target) makes those of the output that belong to them. Where they can't go there past the caches side
/// by side, since their lines of the cache begin at different samples, the target is `rows`, which holds `few` of them.
/// The other A-scans of the output become 0.
template <class Make>
void ForFewAscans(const ValidAscans& valid, int few, const IPP::Array2D<float>& rows, const BlockStreams& streams,
                  const Make& make) {
    constexpr int kLine = 16; // floats
    const bool direct = !streams.past || valid.dst.dim0 % kLine == 0;
    valid.ZeroTheOthers();
    for (int y = 0; y < valid.count; y += few) {
        const int count = std::min(few, valid.count - y);
        const AscanTarget to{{valid.dst.Row(y).data, valid.dst.dim0, streams.past}}, by{{rows.data, rows.dim0, false}};
        make(IPP::Array2D<float>(valid.src.Row(y).data, valid.src.dim0, count), direct ? to : by);
        for (int k = 0; !direct && k < count; ++k) to.Put(k, rows.Row(k).data);
    }
    streams.Finish();
}

/// Floats from p to the next boundary of a line of the cache.
inline int BeforeLine(const float* p) {
    return static_cast<int>(-(reinterpret_cast<std::uintptr_t>(p) / sizeof(float)) % 16);
}

/// What kernels need for sums over windows of `half` elements on each side, below `count`.
class WindowMemory {
public:
    WindowMemory(int elements, int halfWindow, int lanes = IPP::Simd::kRowLanes)
        : count(elements), half(halfWindow), ends(lanes, 2 * half + 1), shares(count) {
        for (int e = 0; e < count; ++e)
            shares[e] = 1. / (std::min(e + half, count - 1) - std::max(e - half, 0) + 1);
    }

    operator IPP::Simd::WindowSums() const { return {count, half, shares.data, ends.data}; }

private:
    int count, half;
    IPP::Array2D<float> ends;
    IPP::Array<double> shares;
};

/// Work memory of one thread for what is measured in windows along A-scans.
class WindowLanes {
public:
    WindowLanes(int samples, int half)
        : sums(samples, half), rows(samples, kFew), lanes(kFew, samples + 2 * half), values(kFew, samples),
          results(kFew, samples) {
        lanes.Zero();
    }

    /// Runs kernel(A-scans, windows of them) for all valid A-scans; what is measured is the A-scans themselves.
    template <class Kernel>
    void Run(const ValidAscans& valid, const BlockStreams& streams, const Kernel& kernel) const {
        ForFewAscans(valid, kFew, rows, streams, [&](const IPP::Array2D<float>& ascans, const AscanTarget& target) {
            const int samples = ascans.dim0;
            kernel(ascans,
                   IPP::Simd::AscanWindows{sums, ascans.data, samples, ascans.data, samples, ascans.dim1, target.data,
                                           target.step, target.past, lanes.data, values.data, results.data});
        });
    }

private:
    static constexpr int kFew = IPP::Simd::kRowLanes;
    WindowMemory sums;
    IPP::Array2D<float> rows, lanes, values, results;
};

} // namespace TZM

#pragma once

#include <algorithm>

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

/// Work memory of one thread for what is measured in windows along A-scans.
class WindowLanes {
public:
    WindowLanes(int samples, int halfWindow)
        : half(halfWindow), rows(samples, kFew), lanes(kFew, samples + 2 * half), values(kFew, samples),
          results(kFew, samples), ends(kFew, 2 * half + 1), ratios(samples) {
        lanes.Zero();
        for (int s = 0; s < samples; ++s)
            ratios[s] = (2. * half + 1) / (std::min(s + half, samples - 1) - std::max(s - half, 0) + 1);
    }

    /// Runs kernel(A-scans, windows of them) for all valid A-scans; what is measured is the A-scans themselves.
    template <class Kernel>
    void Run(const ValidAscans& valid, const BlockStreams& streams, const Kernel& kernel) const {
        ForFewAscans(valid, kFew, rows, streams, [&](const IPP::Array2D<float>& ascans, const AscanTarget& target) {
            const int samples = ascans.dim0;
            kernel(ascans, IPP::Simd::AscanWindows{ascans.data, samples, ascans.data, samples, ascans.dim1, samples,
                                                   half, ratios.data, target.data, target.step, target.past, lanes.data,
                                                   values.data, ends.data, results.data});
        });
    }

private:
    static constexpr int kFew = IPP::Simd::kRowLanes;
    int half;
    IPP::Array2D<float> rows, lanes, values, results;
    IPP::Array2D<double> ends;
    IPP::Array<double> ratios;
};

} // namespace TZM

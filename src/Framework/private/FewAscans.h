#pragma once

#include <algorithm>

#include "Array/Array2D.h"
#include "Framework/private/AscanLayout.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"

namespace TZM {

/// Works on the valid A-scans of a B-scan, at most `few` at a time, so that they stay in a core's caches on their way:
/// make(A-scans, rows) computes the rows, which are stored in the output; `rows` holds `few` of them. The other A-scans
/// of the output become 0.
template <class Make>
void ForFewAscans(const ValidAscans& valid, int few, const IPP::Array2D<float>& rows, const BlockStreams& streams,
                  const Make& make) {
    valid.ZeroTheOthers();
    for (int y = 0; y < valid.count; y += few) {
        const int count = std::min(few, valid.count - y);
        make(IPP::Array2D<float>(valid.src.Row(y).data, valid.src.dim0, count),
             IPP::Array2D<float>(rows.data, rows.dim0, count));
        for (int k = 0; k < count; ++k)
            streams.kernels.streamCopy(rows.Row(k).data, valid.dst.Row(y + k).data, rows.dim0, streams.past);
    }
    streams.Finish();
}

/// Work memory of one thread for kernels over windows of kRowLanes A-scans side by side.
class AscanLanes {
public:
    AscanLanes(int samples, int window)
        : sums(IPP::Simd::kRowLanes, window), rows(samples, IPP::Simd::kRowLanes), lanes(rows.size), result(rows.size) {
    }

    /// Runs kernel(A-scans, lanes of them, lanes of the result) for all valid A-scans.
    template <class Kernel>
    void Run(const ValidAscans& valid, const BlockStreams& streams, const Kernel& kernel) const {
        ForFewAscans(valid, rows.dim1, rows, streams,
                     [&](const IPP::Array2D<float>& ascans, const IPP::Array2D<float>& results) {
                         ToLanes(ascans, lanes.data);
                         kernel(ascans, lanes.data, result.data);
                         FromLanes(result.data, results);
                     });
    }

    const IPP::Array2D<double> sums; ///< of a window, for the kernel

private:
    IPP::Array2D<float> rows;
    IPP::Array<float> lanes, result;
};

} // namespace TZM

#pragma once

#include <vector>

#include "Array/Export.h"

namespace TZM {

/// The A-scans of a B-scan that hold measured data; by default none.
struct TZM_EXPORT BscanInfo {
    int firstValidIdx = -1; ///< index of the first valid A-scan
    int validLen = 0;       ///< valid A-scans from there on
};

/// Describes a block of traces: contiguous floats, of which sample s of A-scan y of B-scan z stands at
/// (z * ascansPerBscan + y) * samplesPerAscan + s.
struct TZM_EXPORT ImageProps {
    int samplesPerAscan = 0;          ///< fastest running
    int ascansPerBscan = 0;           ///< along the scan
    int bscanCount = 0;               ///< slowest running, interleaved by channel
    std::vector<BscanInfo> bscanInfo; ///< one entry per B-scan

    ImageProps() = default;
    /// A block whose B-scans are valid throughout. A negative count of B-scans leaves bscanInfo empty.
    ImageProps(int samples, int ascans, int bscans);
};

} // namespace TZM

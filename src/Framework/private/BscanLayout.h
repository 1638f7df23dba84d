#pragma once

#include "Array/Array2D.h"

namespace TZM {

// A B-scan stands in memory as A-scans (dim0 samples, dim1 A-scans). Work along the scan wants depth rows instead:
// dim0 A-scans, dim1 samples. Both operations run through the caches tile by tile.

/// rows(a, i) = bscan(firstSample + i, a), over all A-scans and the samples from firstSample on; what rows has beyond
/// them stays as it is. IPP::Exception -2, before anything is written, if rows is too small or firstSample outside the
/// A-scan.
void ToDepthRows(const IPP::Array2D<float>& bscan, IPP::Array2D<float>& rows, int firstSample = 0);

/// bscan(i, a) = rows(a, i) over all of bscan. IPP::Exception -2, before anything is written, if rows is too small.
void FromDepthRows(const IPP::Array2D<float>& rows, IPP::Array2D<float>& bscan);

} // namespace TZM

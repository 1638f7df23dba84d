#pragma once

#include "Array/Array2D.h"
#include "Array/TransformStates.h"

namespace IPP {

/// Work memory of Envelopes for at most so many rows, one per thread.
Array<float> EnvelopeWork(const HilbertState& state, int rows);

/// Row by row dst = |analytic signal of src|, as Hilbert and MagnitudesOfElements give it, many rows at a time. Both
/// arrays have the same dimensions and rows of the state's length. Fails as the range-checked Hilbert wrapper does.
void Envelopes(const Array2D<float>& src, const Array2D<float>& dst, const HilbertState& state, Array<float>& work);

/// The largest of each of these envelopes, one per row.
void EnvelopePeaks(const Array2D<float>& src, const Array<float>& peaks, const HilbertState& state, Array<float>& work);

} // namespace IPP

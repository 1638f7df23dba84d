#include <limits>

#include "Array/Envelopes.h"
#include "Array/Primitives/Checked.h"
#include "Array/Primitives/Hilbert.h"

namespace IPP {

template <class T, class I>
void Array<T, I>::Hilbert(const Array<float, I>& src, HilbertState& state) {
    Require(size == src.size, "IPP::Array::Hilbert - Dimensions are not equal");
    Checked::ippsHilbert_32f32fc(src.data, data, state.Get(), size);
}

template void Array<Ipp32fc, int>::Hilbert(const Array<float, int>&, HilbertState&);

Array<float> EnvelopeWork(const HilbertState& state, int rows) {
    const auto floats = HilbertEnvelopesWorkSize(state.Get()) + rows;
    if (floats > std::numeric_limits<int>::max()) throw std::bad_alloc();
    return Array<float>(static_cast<int>(floats));
}

namespace {

/// Runs primitive(largest) for the envelopes of src and refuses what the range-checked wrapper refuses; largest
/// receives the largest magnitude of every row.
template <class Primitive>
void RunEnvelopes(const Array2D<float>& src, const Array<float>& work, const Primitive& primitive) {
    const Array<float> largest = work.SubArray(work.size - src.dim1, src.dim1); // behind what the envelopes need
    Checked::CheckHilbertLength(src.dim0);
    Checked::Check(primitive(largest.data), "IPP::Exception::ippsHilbert_32f32fc");
    for (int y = 0; y < src.dim1; ++y)
        if (!(largest[y] <= Checked::kTransformRange)) { // src may have been overwritten, if that isn't for a NaN
            Require(!(largest[y] > Checked::kTransformRange), "IPP::Exception::ippsHilbert_outOfRange32f");
            Checked::CheckHilbertRange(src.Row(y).data, src.dim0);
        }
}

} // namespace

void Envelopes(const Array2D<float>& src, const Array2D<float>& dst, const HilbertState& state, Array<float>& work) {
    RunEnvelopes(src, work, [&](float* largest) {
        return HilbertEnvelopes(src.data, src.dim0, dst.data, dst.dim0, src.dim1, state.Get(), work.data, largest);
    });
}

void EnvelopePeaks(const Array2D<float>& src, const Array<float>& peaks, const HilbertState& state,
                   Array<float>& work) {
    RunEnvelopes(src, work, [&](float* largest) {
        return HilbertEnvelopePeaks(src.data, src.dim0, peaks.data, src.dim1, state.Get(), work.data, largest);
    });
}

} // namespace IPP

#pragma once

#include <algorithm>

#include "Array/Envelopes.h"
#include "Array/Simd/Dispatch.h"

namespace TZM {

/// Measures the rows of images of one width, A-scans, a few at a time, so that they are still in the cache when the
/// next step gets them. Its memory serves any number of images of that size or of fewer rows; one per thread.
class EnvelopeRows {
public:
    EnvelopeRows(int samples, int ascans)
        : few(std::min(64, ascans)), state(samples, IPP::ippAlgHintFast), work(IPP::EnvelopeWork(state, few)),
          memory(samples, few) {}

    /// Calls body(first, rows) for all rows of the source, multiplied by the curve.
    template <class Body>
    void ForFewAmplified(const IPP::Array2D<float>& source, const IPP::Array<float>& gain, const Body& body) const {
        const auto product = IPP::Simd::Active().product;
        ForFew(source, [&](int first, const IPP::Array2D<float>& src, const IPP::Array2D<float>& rows) {
            for (int k = 0; k < src.dim1; ++k) product(src.Row(k).data, gain.data, rows.Row(k).data, src.dim0);
            body(first, rows);
        });
    }

    /// Calls body(row, envelope) for every row of the source; the envelope's memory may be used up.
    template <class Body>
    void ForEachEnvelope(const IPP::Array2D<float>& source, const Body& body) {
        ForFew(source, [&](int first, const IPP::Array2D<float>& src, const IPP::Array2D<float>& rows) {
            IPP::Envelopes(src, rows, state, work);
            for (int k = 0; k < src.dim1; ++k) body(first + k, rows.Row(k));
        });
    }

    /// Turns a few rows into their envelopes.
    void ToEnvelopes(const IPP::Array2D<float>& rows) { IPP::Envelopes(rows, rows, state, work); }

    /// The peaks of the envelopes of a few rows.
    void Peaks(const IPP::Array2D<float>& rows, const IPP::Array<float>& peaks) {
        IPP::EnvelopePeaks(rows, peaks, state, work);
    }

private:
    template <class Body>
    void ForFew(const IPP::Array2D<float>& source, const Body& body) const {
        for (int y = 0; y < source.dim1; y += few) {
            const int count = std::min(few, source.dim1 - y);
            body(y, IPP::Array2D<float>(source.Row(y).data, source.dim0, count),
                 IPP::Array2D<float>(memory.data, source.dim0, count));
        }
    }

    int few;
    IPP::HilbertState state;
    IPP::Array<float> work;
    IPP::Array2D<float> memory;
};

} // namespace TZM

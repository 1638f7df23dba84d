// The operations of the automatic gain that work on envelopes.
#include <algorithm>
#include <cmath>
#include <limits>

#include "Algorithms/Gain/AlgoAutoGain.h"
#include "Algorithms/Gain/EnvelopeRows.h"
#include "Array/Primitives/Checked.h"
#include "Array/Simd/Dispatch.h"
#include "Array/SlidingWindow.h"
#include "Framework/CalcError.h"
#include "Framework/private/BlockStreams.h"

namespace TZM {

namespace {

/// A triangle that reaches beyond both ends from everywhere: with P the sum up to a sample and T that of all, the sum
/// D(i) of |i - j| data[j] grows by 2 P - T from sample to sample.
void SmoothWidely(float* data, int length, double h) {
    double total = 0., distances = 0., head = 0.;
    for (int i = 0; i < length; ++i) {
        total += static_cast<double>(data[i]);
        distances += i * static_cast<double>(data[i]);
    }
    for (int i = 0; i < length; ++i) {
        head += static_cast<double>(data[i]);
        data[i] = static_cast<float>((h * total - distances) / (h * h));
        distances += 2. * head - total;
    }
}

/// Smooths with a triangle: a box of h samples, run over the data twice. Its memory serves any number of rows.
class TriangleFilter {
public:
    TriangleFilter(int dataLength, int halfLength)
        : length(dataLength), h(halfLength), padding(h < length ? h - 1 : 0), work(length + 2 * padding, 2) {}

    /// The smoothed data, which stay until the next call.
    const float* Smoothed(const float* data) {
        float* const values = work.Row(0).data;
        if (h >= length) {
            std::copy_n(data, length, values);
            SmoothWidely(values, length, h);
            return values;
        }
        const auto& kernels = IPP::Simd::Active();
        const float share = 1.f / static_cast<float>(h);
        std::fill_n(values, padding, 0.f);
        kernels.streamMulC(share, data, values + padding, length, false);
        std::fill_n(values + padding + length, padding, 0.f);
        float* const other = work.Row(1).data;
        float* const sums = IPP::WindowSums(values, other, work.dim0, 1, h);
        kernels.streamMulC(share, sums, sums, work.dim0 - padding, false); // each box has a sum of 1: nothing grows beyond the data
        return IPP::WindowSums(sums, sums == values ? other : values, work.dim0 - padding, 1, h);
    }

private:
    int length, h, padding;
    IPP::Array2D<float> work;
};

float FactorFor(float peak) { return peak == 0.f ? 1.f : 1.f / peak; }

struct Ones : IPP::Array<float> {
    explicit Ones(int n) : Array(n) { Set(1.f); }
};

void RequireEqual(const IPP::Array2D<float>& source, const IPP::Array2D<float>& target) {
    IPP::Require(target.dim0 == source.dim0 && target.dim1 >= source.dim1, "Index exceeds IPP::Array2D bounds");
}

/// target = source, times the curve, each row times a factor.
void Scale(const IPP::Array2D<float>& source, const IPP::Array<float>& gain, const IPP::Array<float>& factors,
           const IPP::Array2D<float>& target, const BlockStreams& streams) {
    RequireEqual(source, target);
    IPP::Array<float> amplified(source.dim0);
    for (int y = 0; y < source.dim1; ++y) {
        streams.kernels.product(source.Row(y).data, gain.data, amplified.data, amplified.size);
        streams.kernels.streamMulC(factors[y], amplified.data, target.Row(y).data, amplified.size, streams.past);
    }
    streams.Finish();
}

BlockStreams StreamsOf(const IPP::Array2D<float>& image) {
    return BlockStreams(BlockView(image.data, image.dim0, image.dim1, 1));
}

void RequireTriangle(int length, int halfLength) {
    if (halfLength <= 0 || length <= 0) throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZeros");
    if (halfLength > (2147483646 - length) / 2) throw Exception::CalcError(-12, "TZM::Exception::valueToBig");
}

/// Whether a half length passes, or isn't used. One that doesn't is refused behind the envelope of the first row, which
/// may fail itself.
bool TakesTriangle(int length, int halfLength) {
    return halfLength == 0 || (halfLength > 0 && length > 0 && halfLength <= (2147483646 - length) / 2);
}

IPP::Array2D<float> FirstRow(const IPP::Array2D<float>& rows) {
    return IPP::Array2D<float>(rows.data, rows.dim0, std::min(rows.dim1, 1));
}

} // namespace

void AlgoAutoGain::TriangleSmoothing(float* data, int length, int halfLength) const {
    RequireTriangle(length, halfLength);
    if (halfLength == 1) return;
    TriangleFilter filter(length, halfLength);
    std::copy_n(filter.Smoothed(data), length, data);
}

void AlgoAutoGain::AscanEqualization(IPP::Array2D<float, int>& source, IPP::Array2D<float, int>& target,
                                     int halfLenTriangle, bool smoothNormalization, bool smoothNormEnvelope) const {
    EnvelopeRows envelopes(source.dim0, source.dim1);
    Equalize(source, Ones(source.dim0), target, halfLenTriangle, smoothNormalization, smoothNormEnvelope, envelopes,
             StreamsOf(target));
}

void AlgoAutoGain::Equalize(const IPP::Array2D<float>& source, const IPP::Array<float>& gain,
                            const IPP::Array2D<float>& target, int halfLenTriangle, bool smoothNormalization,
                            bool smoothNormEnvelope, EnvelopeRows& envelopes, const BlockStreams& streams) const {
    IPP::Array<float> factors(source.dim1);
    envelopes.ForFewAmplified(source, gain, [&](int first, const IPP::Array2D<float>& rows) {
        const auto peaks = factors.SubArray(first, rows.dim1);
        if (halfLenTriangle == 0 || !smoothNormEnvelope) return envelopes.Peaks(rows, peaks);
        if (!TakesTriangle(rows.dim0, halfLenTriangle)) envelopes.ToEnvelopes(FirstRow(rows));
        RequireTriangle(rows.dim0, halfLenTriangle);
        envelopes.ToEnvelopes(rows);
        for (int k = 0; k < rows.dim1; ++k) {
            TriangleSmoothing(rows.Row(k).data, rows.dim0, halfLenTriangle);
            peaks[k] = rows.Row(k).Max();
        }
    });
    std::transform(factors.data, factors.data + factors.size, factors.data, FactorFor);
    if (smoothNormalization) {
        constexpr int kOrder = 2;
        IPP::Array<double> taps(2 * kOrder + 2);
        IPP::Checked::IirGen(false, 0.05, 0., kOrder, taps.data, 0);
        factors.FilterZeroPhase(taps, kOrder);
    }
    Scale(source, gain, factors, target, streams);
}

void AlgoAutoGain::AmplitudeCorrectionStandardVersion(IPP::Array2D<float, int>& source,
                                                      IPP::Array2D<float, int>& target, int, float) const {
    IPP::Array<float> factors(source.dim1), leading(source.dim1);
    EnvelopeRows(source.dim0, source.dim1).ForEachEnvelope(source, [&](int y, IPP::Array<float>&& envelope) {
        envelope.FilterIir(false, 0.2f, 0.5f, 2, 0);
        factors[y] = FactorFor(envelope.Max());
    });
    leading.CopyFrom(factors);
    factors.FilterMovingAverageDelayed(7);
    leading.FilterMovingAverageLeading(7);
    factors.MinOfElements(leading);
    Scale(source, Ones(source.dim0), factors, target, StreamsOf(target));
}

void AlgoAutoGain::AmplitudeCorrectionDeepVersion(IPP::Array2D<float, int>& source, IPP::Array2D<float, int>& target,
                                                  int halfLenTriangle, float maxAmp) const {
    EnvelopeRows envelopes(source.dim0, source.dim1);
    DivideByEnvelope(source, Ones(source.dim0), target, halfLenTriangle, maxAmp, envelopes, StreamsOf(target));
}

void AlgoAutoGain::DivideByEnvelope(const IPP::Array2D<float>& source, const IPP::Array<float>& gain,
                                    const IPP::Array2D<float>& target, int halfLenTriangle, float maxAmp,
                                    EnvelopeRows& envelopes, const BlockStreams& streams) const {
    RequireEqual(source, target);
    if (!TakesTriangle(source.dim0, halfLenTriangle))
        envelopes.ForEachEnvelope(
            FirstRow(source), [&](int, const IPP::Array<float>&) { RequireTriangle(source.dim0, halfLenTriangle); });
    const auto& kernels = streams.kernels;
    constexpr float most = std::numeric_limits<float>::max();
    const float share = std::clamp(1.f / maxAmp, -most, most); // for the smallest floats
    TriangleFilter triangle(source.dim0, std::max(halfLenTriangle, 1));
    IPP::Array<float> divisors(source.dim0);
    envelopes.ForEachEnvelope(source, [&](int y, const IPP::Array<float>& envelope) {
        if (maxAmp == 0.f) return target.Row(y).Zero();
        const int n = envelope.size;
        const float* smoothed = halfLenTriangle == 0 ? envelope.data : triangle.Smoothed(envelope.data);
        const float peak = kernels.floored(smoothed, 1.f, envelope.data, divisors.data, n);
        float* const quotients = envelope.data; // which have served
        kernels.quotients(source.Row(y).data, divisors.data, peak / maxAmp, share, quotients, n);
        kernels.streamProduct(quotients, gain.data, target.Row(y).data, n, streams.past);
    });
    streams.Finish();
}

} // namespace TZM

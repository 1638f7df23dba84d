// The operations of the automatic gain that work on envelopes.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "Algorithms/Gain/AlgoAutoGain.h"
#include "Array/Envelopes.h"
#include "Array/Primitives/Checked.h"
#include "Array/Simd/Dispatch.h"
#include "Array/SlidingWindow.h"
#include "Framework/CalcError.h"

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

/// Envelopes of the rows of an image, a few at a time, so that they are still in the cache when body(row, envelope)
/// gets them.
template <class Body>
void ForEachEnvelope(const IPP::Array2D<float>& source, const Body& body) {
    constexpr int kRows = 64;
    const IPP::HilbertState state(source.dim0, IPP::ippAlgHintFast);
    const int rows = std::min(kRows, source.dim1);
    auto work = IPP::EnvelopeWork(state, rows);
    const IPP::Array2D<float> envelopes(source.dim0, rows);
    for (int y = 0; y < source.dim1; y += rows) {
        const int count = std::min(rows, source.dim1 - y);
        const IPP::Array2D<float> few(source.Row(y).data, source.dim0, count);
        IPP::Envelopes(few, IPP::Array2D<float>(envelopes.data, source.dim0, count), state, work);
        for (int k = 0; k < count; ++k) body(y + k, envelopes.Row(k));
    }
}

float FactorFor(float peak) { return peak == 0.f ? 1.f : 1.f / peak; }

void Scale(const IPP::Array2D<float>& source, const IPP::Array<float>& factors, const IPP::Array2D<float>& target) {
    IPP::Require(target.dim0 == source.dim0 && target.dim1 >= source.dim1, "Index exceeds IPP::Array2D bounds");
    for (int y = 0; y < source.dim1; ++y) {
        auto row = target.Row(y);
        row.CopyFrom(source.Row(y));
        row.MulC(factors[y]);
    }
}

} // namespace

// The triangle is a box of h samples run over the data twice.
void AlgoAutoGain::TriangleSmoothing(float* data, int length, int halfLength) const {
    if (halfLength <= 0 || length <= 0) throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZeros");
    if (halfLength > (2147483646 - length) / 2) throw Exception::CalcError(-12, "TZM::Exception::valueToBig");
    if (halfLength == 1) return;
    if (halfLength >= length) return SmoothWidely(data, length, halfLength);
    const int padding = halfLength - 1, count = length + 2 * padding;
    const float share = 1.f / static_cast<float>(halfLength);
    const IPP::Array2D<float> work(count, 2);
    const auto values = work.Row(0), sums = work.Row(1);
    std::fill_n(values.data, padding, 0.f);
    std::fill_n(values.data + padding + length, padding, 0.f);
    for (int i = 0; i < length; ++i) values[padding + i] = share * data[i];
    IPP::WindowSums(values.data, count, 1, halfLength, sums.data);
    IPP::WindowSums(sums.data, count - padding, 1, halfLength, values.data);
    for (int i = 0; i < length; ++i) data[i] = share * values[i];
}

void AlgoAutoGain::AscanEqualization(IPP::Array2D<float, int>& source, IPP::Array2D<float, int>& target,
                                     int halfLenTriangle, bool smoothNormalization, bool smoothNormEnvelope) const {
    IPP::Array<float> factors(source.dim1);
    ForEachEnvelope(source, [&](int y, const IPP::Array<float>& envelope) {
        if (halfLenTriangle != 0 && smoothNormEnvelope)
            TriangleSmoothing(envelope.data, envelope.size, halfLenTriangle);
        float low, high;
        envelope.MinMax(low, high);
        factors[y] = FactorFor(std::max(std::abs(low), std::abs(high)));
    });
    if (smoothNormalization) {
        constexpr int kOrder = 2;
        IPP::Array<double> taps(2 * kOrder + 2);
        IPP::Checked::IirGen(false, 0.05, 0., kOrder, taps.data, 0);
        factors.FilterZeroPhase(taps, kOrder);
    }
    Scale(source, factors, target);
}

void AlgoAutoGain::AmplitudeCorrectionStandardVersion(IPP::Array2D<float, int>& source,
                                                      IPP::Array2D<float, int>& target, int, float) const {
    IPP::Array<float> factors(source.dim1), leading(source.dim1);
    ForEachEnvelope(source, [&](int y, IPP::Array<float>&& envelope) {
        envelope.FilterIir(false, 0.2f, 0.5f, 2, 0);
        factors[y] = FactorFor(envelope.Max());
    });
    leading.CopyFrom(factors);
    factors.FilterMovingAverageDelayed(7);
    leading.FilterMovingAverageLeading(7);
    factors.MinOfElements(leading);
    Scale(source, factors, target);
}

void AlgoAutoGain::AmplitudeCorrectionDeepVersion(IPP::Array2D<float, int>& source, IPP::Array2D<float, int>& target,
                                                  int halfLenTriangle, float maxAmp) const {
    IPP::Require(target.dim0 == source.dim0 && target.dim1 >= source.dim1, "Index exceeds IPP::Array2D bounds");
    IPP::Array<float> divisors(source.dim0);
    ForEachEnvelope(source, [&](int y, const IPP::Array<float>& envelope) {
        divisors.CopyFrom(envelope);
        if (halfLenTriangle != 0) TriangleSmoothing(divisors.data, divisors.size, halfLenTriangle);
        IPP::Checked::ippsMaxEvery_32f_I(envelope.data, divisors.data, divisors.size);
        if (maxAmp == 0.f) return target.Row(y).Zero();
        const float level = divisors.Max() / maxAmp;
        IPP::Checked::ippsThreshold_GT_32f_I(divisors.data, divisors.size, &level);
        IPP::Simd::Active().quotients(source.Row(y).data, divisors.data, maxAmp, target.Row(y).data, divisors.size);
    });
}

} // namespace TZM

#include <cstdint>
#include <limits>
#include <new>

#include "Array/Array2D.h"
#include "Array/Primitives/Checked.h"

namespace IPP {

template <class T, class I>
void Array<T, I>::FilterIir(bool highpass, float frequency, float ripple, int order, int type) {
    // 2 * order + 2, counted in 64 bits; an order below 0 or a count beyond int is std::bad_alloc
    const auto tapCount = Detail::OwnedCount<std::int64_t>(2, std::int64_t{order} + 1);
    if (tapCount > std::numeric_limits<I>::max()) throw std::bad_alloc();
    const Array<double, I> taps(static_cast<I>(tapCount));
    Checked::IirGen(highpass, frequency, ripple, order, taps.data, type);
    Checked::IirFilter(data, size, taps.data, order);
}

template <class T, class I>
void Array<T, I>::FilterZeroPhase(const Array<double, I>& taps, int order) {
    Require(taps.size >= 2 * std::int64_t{order} + 2, "IPP::Array::FilterZeroPhase - Too few taps");
    // The array between its own mirror images: backwards, forwards, backwards.
    Array2D<T, I> work(size, 3);
    for (I part = 0; part < 3; ++part) work.Row(part).CopyFrom(*this);
    work.Row(0).Flip();
    work.Row(2).Flip();
    Checked::IirFilter(work.data, work.size, taps.data, order);
    work.Flip();
    // The way back ends with the middle part: a causal filter doesn't see what follows.
    Checked::IirFilter(work.data, 2 * size, taps.data, order);
    work.Row(1).Flip();
    CopyFrom(work.Row(1));
}

template <class T, class I>
void Array<T, I>::Convolute(const Array& a, const Array& b) {
    Require(size >= std::int64_t{a.size} + b.size - 1, "IPP::Array::Convolute - Target dimension is too small");
    Checked::ippsConv_32f(a.data, a.size, b.data, b.size, data);
}

template void Array<Ipp32f, int>::FilterIir(bool, float, float, int, int);
template void Array<Ipp32f, int>::FilterZeroPhase(const Array<double, int>&, int);
template void Array<Ipp32f, int>::Convolute(const Array&, const Array&);

} // namespace IPP

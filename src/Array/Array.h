#pragma once

#include <cstdint>
#include <limits>
#include <new>

#include "Array/Export.h"
#include "Array/IppException.h"
#include "Array/Primitives/IppTypes.h"

namespace IPP {

class HilbertState;

namespace Detail {

/// Memory for n elements, on a 64-byte boundary or, from 1 MiB on, on huge pages. Throws std::bad_alloc if there is
/// none or if n is below 1.
template <class T>
TZM_EXPORT T* Allocate(int n);
template <>
Ipp32f* Allocate<Ipp32f>(int n);
template <>
Ipp32s* Allocate<Ipp32s>(int n);
template <>
Ipp32fc* Allocate<Ipp32fc>(int n);
template <>
Ipp64f* Allocate<Ipp64f>(int n);
TZM_EXPORT void Release(void* data);

/// Product of dimensions as an element count; std::bad_alloc if one is below 1 or the product exceeds the index type.
template <class I>
I OwnedCount(I dim0, I dim1, I dim2 = 1) {
    constexpr std::uint64_t most = static_cast<std::uint64_t>(std::numeric_limits<I>::max());
    if (dim0 < 1 || dim1 < 1 || dim2 < 1) throw std::bad_alloc();
    std::uint64_t count = static_cast<std::uint64_t>(dim0);
    for (const I dim : {dim1, dim2}) {
        if (count > most / static_cast<std::uint64_t>(dim)) throw std::bad_alloc();
        count *= static_cast<std::uint64_t>(dim);
    }
    return static_cast<I>(count);
}

/// The same for a view, which checks nothing.
template <class I>
I ViewedCount(I dim0, I dim1, I dim2 = 1) {
    return static_cast<I>(static_cast<std::uint64_t>(dim0) * static_cast<std::uint64_t>(dim1) *
                          static_cast<std::uint64_t>(dim2));
}

} // namespace Detail

/// A run of elements: memory of its own, released with it, or a view of somebody else's. It has a fixed size, isn't
/// copied by value, and a new one is filled with nothing. T is float, int, double or Ipp32fc.
///
/// An operation that is one primitive over the whole array throws IPP::Exception with the primitive's status; one that
/// compares its operands throws status -2 with a text of its own before it writes anything. Work arrays that can't be
/// had are std::bad_alloc. All operations are reentrant.
template <class T, class I = int>
class TZM_EXPORT Array {
public:
    T* data;
    bool owner; ///< data is released with the array
    I size;     ///< elements

    /// Owning array of n elements; std::bad_alloc for n below 1.
    explicit Array(I n) : data(Detail::Allocate<T>(n)), owner(true), size(n) {}

    /// View of n elements; nothing is checked.
    Array(T* viewed, I n) : data(viewed), owner(false), size(n) {}

    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;
    ~Array() {
        if (owner) Detail::Release(data);
    }

    /// Element i, unchecked.
    T& operator[](I i) const { return data[i]; }

    /// View of n elements from start on. Status -2 if start is at or above the size; n isn't checked.
    Array SubArray(I start, I n) const {
        Require(start < size, "Index exceeds IPP::Array bounds");
        return Array(data + start, n);
    }

    // One primitive over the whole array. Zero and CopyFrom: float, int, Ipp32fc; Max: float, int; the rest: float.
    void Zero();
    void Set(T value);
    void CopyFrom(const Array& src); ///< copies the first min(size, src.size) elements
    T Max() const;
    T Min() const;
    void MinMax(T& min, T& max) const;
    T Sum() const; ///< added up in 64 bits
    void Flip();   ///< reverses the order
    void AddC(T value);
    void MulC(T value);
    void DivC(T value); ///< status -10 for 0
    void Sqr();
    void SubC(const Array& src, T value); ///< this = src - value over the first min(size, src.size) elements
    void SortAscend();                    ///< float (NaN last) and int

    // Statistics.
    /// Mean of count elements from start on; start is limited to the array, count to what follows, a count below 1 is
    /// all.
    T Mean(I start = 0, I count = 0, IppHintAlgorithm hint = ippAlgHintFast) const;
    /// Middle of the sorted elements, for an even size the mean of the two middle ones (int: toward zero); 0 if empty.
    /// float and int.
    T Median() const;
    /// Index of the first largest element, and its value in *value unless that is null; -1 and 0 for an empty array.
    I IndexOfMax(T* value) const;

    // Element operations on float arrays; the first also on Ipp32fc. Sizes must be equal.
    void MultiplyElements(const Array& other);               ///< this *= other
    void MinOfElements(const Array& other);                  ///< this = min(this, other)
    void MagnitudesOfElements(const Array<Ipp32fc, I>& src); ///< this = |src|
    void CumSum(const Array& src); ///< this[i] = src[0] + .. + src[i], each sum rounded; src may be this array

    /// Running root mean square: this[i] = sqrt(sum over j <= i of interval[j]^2 delta / ((i + 1) delta)); the last
    /// element repeats the one before. Turns interval speeds into RMS speeds. At least 3 elements, delta other than 0.
    void RootMeanSquare(const Array& interval, T delta);

    /// Mean over the elements i .. i + maskSize - 1, in place; the window shortens at the end. maskSize from 2 on.
    void FilterMovingAverageLeading(I maskSize);
    /// Mean over the elements i - maskSize + 1 .. i, in place; the window shortens at the start. maskSize from 2 on.
    void FilterMovingAverageDelayed(I maskSize);

    // Filters on float arrays.
    /// One pass of a designed IIR filter, in place. frequency: cut-off as a fraction of the sampling rate, within 0 ..
    /// 0.5; order 1 .. 12; type 0 Butterworth, 1 Chebyshev I with its ripple in dB.
    void FilterIir(bool highpass, float frequency, float ripple, int order, int type);
    /// Forward and backward pass of a filter given by 2 * order + 2 taps over the array between its own mirror images.
    void FilterZeroPhase(const Array<double, I>& taps, int order);
    /// Full linear convolution of a and b into the first a.size + b.size - 1 elements.
    void Convolute(const Array& a, const Array& b);

    // Transforms on Ipp32fc arrays.
    /// Analytic signal of src, which has this array's size and the state's length.
    void Hilbert(const Array<float, I>& src, HilbertState& state);
};

} // namespace IPP

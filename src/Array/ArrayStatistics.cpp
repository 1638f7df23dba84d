#include <algorithm>
#include <cmath>

#include "Array/Array2D.h"
#include "Array/Primitives/Checked.h"

namespace IPP {

namespace {

void Multiply(const Ipp32f* src, Ipp32f* srcDst, int len) { Checked::ippsMul_32f_I(src, srcDst, len); }

void Multiply(const Ipp32fc* src, Ipp32fc* srcDst, int len) { Checked::ippsMul_32fc_I(src, srcDst, len); }

Ipp32f MeanOfTwo(Ipp32f a, Ipp32f b) { return 0.5f * (a + b); }

Ipp32s MeanOfTwo(Ipp32s a, Ipp32s b) { return static_cast<Ipp32s>((static_cast<std::int64_t>(a) + b) / 2); }

} // namespace

template <class T, class I>
T Array<T, I>::Mean(I start, I count, IppHintAlgorithm hint) const {
    if (count < 1) count = size;
    start = std::max<I>(0, std::min<I>(start, size - 1));
    count = std::min<I>(count, size - start);
    T mean{};
    Checked::ippsMean_32f(data + start, count, &mean, hint);
    return mean;
}

template <class T, class I>
T Array<T, I>::Median() const {
    if (size < 1) return 0;
    Array sorted(size);
    sorted.CopyFrom(*this);
    sorted.SortAscend();
    const I middle = size / 2;
    return size % 2 ? sorted[middle] : MeanOfTwo(sorted[middle - 1], sorted[middle]);
}

template <class T, class I>
I Array<T, I>::IndexOfMax(T* value) const {
    I best = size > 0 ? 0 : -1;
    for (I i = 1; i < size; ++i)
        if (data[i] > data[best]) best = i;
    if (value) *value = best < 0 ? T{} : data[best];
    return best;
}

template <class T, class I>
void Array<T, I>::MultiplyElements(const Array& other) {
    Require(size == other.size, "IPP::Array::MultiplyElements - Dimensions are not equal");
    Multiply(other.data, data, size);
}

template <class T, class I>
void Array<T, I>::MinOfElements(const Array& other) {
    Require(size == other.size, "IPP::Array::MinOfElements - Dimensions are not equal");
    Checked::ippsMinEvery_32f_I(other.data, data, size);
}

template <class T, class I>
void Array<T, I>::MagnitudesOfElements(const Array<Ipp32fc, I>& src) {
    Require(size == src.size, "IPP::Array::MagnitudesOfElements - Dimensions are not equal");
    Checked::ippsMagnitude_32fc(src.data, data, size);
}

template <class T, class I>
void Array<T, I>::CumSum(const Array& src) {
    Require(size == src.size, "IPP::Array::CumSum - Dimensions are not equal");
    T sum{};
    for (I i = 0; i < size; ++i) data[i] = sum += src[i];
}

template <class T, class I>
void Array<T, I>::RootMeanSquare(const Array& interval, T delta) {
    Require(size == interval.size, "IPP::Array::RootMeanSquare - Dimensions are not equal");
    Require(size >= 3, "IPP::Array::RootMeanSquare - too short");
    Require(delta != 0, "IPP::Array::RootMeanSquare - delta must not be 0");
    Array squares(size);
    squares.CopyFrom(interval);
    squares.Sqr();
    squares.MulC(delta);
    CumSum(squares);
    for (I i = 0; i < size - 1; ++i) {
        const T meanSquare = data[i] / (static_cast<T>(i + 1) * delta);
        data[i] = std::sqrt(meanSquare);
    }
    data[size - 1] = data[size - 2];
}

template <class T, class I>
void Array<T, I>::FilterMovingAverageLeading(I maskSize) {
    Require(maskSize >= 2, "IPP::Array::FilterMovingAverageLeading - maskSize too small");
    Array means(size);
    for (I i = 0; i < size; ++i) means[i] = Mean(i, std::min<I>(maskSize, size - i));
    CopyFrom(means);
}

template <class T, class I>
void Array<T, I>::FilterMovingAverageDelayed(I maskSize) {
    Require(maskSize >= 2, "IPP::Array::FilterMovingAverageDelayed - maskSize too small");
    Array means(size);
    for (I i = 0; i < size; ++i) {
        const I count = std::min<I>(maskSize, i + 1);
        means[i] = Mean(i - count + 1, count);
    }
    CopyFrom(means);
}

template <class T, class I>
void Array2D<T, I>::Transpose(const Array2D& src) {
    Require(dim0 == src.dim1 && dim1 == src.dim0, "IPP::Array2D::Transpose - dimensions are not compatible");
    // Tiles of 16 by 16 floats: a tile's lines of both arrays stay in the first cache.
    constexpr I kTile = 16;
    for (I y0 = 0; y0 < dim1; y0 += kTile)
        for (I x0 = 0; x0 < dim0; x0 += kTile)
            for (I y = y0; y < std::min<I>(y0 + kTile, dim1); ++y)
                for (I x = x0; x < std::min<I>(x0 + kTile, dim0); ++x)
                    this->data[static_cast<std::int64_t>(dim0) * y + x] =
                        src.data[static_cast<std::int64_t>(src.dim0) * x + y];
}

template Ipp32f Array<Ipp32f, int>::Mean(int, int, IppHintAlgorithm) const;
template Ipp32f Array<Ipp32f, int>::Median() const;
template Ipp32s Array<Ipp32s, int>::Median() const;
template int Array<Ipp32f, int>::IndexOfMax(Ipp32f*) const;
template void Array<Ipp32f, int>::MultiplyElements(const Array&);
template void Array<Ipp32fc, int>::MultiplyElements(const Array&);
template void Array<Ipp32f, int>::MinOfElements(const Array&);
template void Array<Ipp32f, int>::MagnitudesOfElements(const Array<Ipp32fc, int>&);
template void Array<Ipp32f, int>::CumSum(const Array&);
template void Array<Ipp32f, int>::RootMeanSquare(const Array&, Ipp32f);
template void Array<Ipp32f, int>::FilterMovingAverageLeading(int);
template void Array<Ipp32f, int>::FilterMovingAverageDelayed(int);
template void Array2D<Ipp32f, int>::Transpose(const Array2D&);

} // namespace IPP

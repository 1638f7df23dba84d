#include <algorithm>

#include "Array/Array.h"
#include "Array/Primitives/Checked.h"

namespace IPP {

Exception::Exception(int failedStatus, const char* text) : status(failedStatus), message(text) {}

Exception::~Exception() = default;

BadAllocation::~BadAllocation() = default;

const char* BadAllocation::what() const noexcept { return "bad allocation"; }

namespace Detail {

namespace {

template <class T>
T* OrBadAlloc(T* data) {
    if (!data) throw std::bad_alloc();
    return data;
}

} // namespace

template <>
TZM_EXPORT Ipp32f* Allocate<Ipp32f>(int n) {
    return OrBadAlloc(ippsMalloc_32f(n));
}

template <>
TZM_EXPORT Ipp32s* Allocate<Ipp32s>(int n) {
    return OrBadAlloc(ippsMalloc_32s(n));
}

template <>
TZM_EXPORT Ipp32fc* Allocate<Ipp32fc>(int n) {
    return OrBadAlloc(ippsMalloc_32fc(n));
}

template <>
TZM_EXPORT Ipp64f* Allocate<Ipp64f>(int n) {
    return OrBadAlloc(ippsMalloc_64f(n));
}

void Release(void* data) { ippsFree(data); }

} // namespace Detail

namespace {

// The members are templates, the primitives bear the element type in their names.
void ZeroAll(Ipp32f* dst, int len) { Checked::ippsZero_32f(dst, len); }

void ZeroAll(Ipp32s* dst, int len) { Checked::ippsZero_32s(dst, len); }

void ZeroAll(Ipp32fc* dst, int len) { Checked::ippsZero_32fc(dst, len); }

void CopyAll(const Ipp32f* src, Ipp32f* dst, int len) { Checked::ippsCopy_32f(src, dst, len); }

void CopyAll(const Ipp32s* src, Ipp32s* dst, int len) { Checked::ippsCopy_32s(src, dst, len); }

void CopyAll(const Ipp32fc* src, Ipp32fc* dst, int len) { Checked::ippsCopy_32fc(src, dst, len); }

void MaxOf(const Ipp32f* src, int len, Ipp32f* max) { Checked::ippsMax_32f(src, len, max); }

void MaxOf(const Ipp32s* src, int len, Ipp32s* max) { Checked::ippsMax_32s(src, len, max); }

void SortAll(Ipp32f* srcDst, int len) { Checked::ippsSortAscend_32f_I(srcDst, len); }

void SortAll(Ipp32s* srcDst, int len) { Checked::ippsSortAscend_32s_I(srcDst, len); }

} // namespace

template <class T, class I>
void Array<T, I>::Zero() {
    ZeroAll(data, size);
}

template <class T, class I>
void Array<T, I>::CopyFrom(const Array& src) {
    CopyAll(src.data, data, std::min(size, src.size));
}

template <class T, class I>
T Array<T, I>::Max() const {
    T max{};
    MaxOf(data, size, &max);
    return max;
}

template <class T, class I>
void Array<T, I>::SortAscend() {
    SortAll(data, size);
}

template <class T, class I>
void Array<T, I>::Set(T value) {
    Checked::ippsSet_32f(data, value, size);
}

template <class T, class I>
T Array<T, I>::Min() const {
    T min{};
    Checked::ippsMin_32f(data, size, &min);
    return min;
}

template <class T, class I>
void Array<T, I>::MinMax(T& min, T& max) const {
    Checked::ippsMinMax_32f(data, size, &min, &max);
}

template <class T, class I>
T Array<T, I>::Sum() const {
    T sum{};
    Checked::ippsSum_32f(data, size, &sum, ippAlgHintFast);
    return sum;
}

template <class T, class I>
void Array<T, I>::Flip() {
    Checked::ippsFlip_32f_I(data, size);
}

template <class T, class I>
void Array<T, I>::AddC(T value) {
    Checked::ippsAddC_32f_I(data, value, size);
}

template <class T, class I>
void Array<T, I>::MulC(T value) {
    Checked::ippsMulC_32f_I(data, value, size);
}

template <class T, class I>
void Array<T, I>::DivC(T value) {
    Checked::ippsDivC_32f_I(data, value, size);
}

template <class T, class I>
void Array<T, I>::SubC(const Array& src, T value) {
    Checked::ippsSubC_32f(src.data, data, value, std::min(size, src.size));
}

template <class T, class I>
void Array<T, I>::Sqr() {
    Checked::ippsSqr_32f_I(data, size);
}

template void Array<Ipp32f, int>::Zero();
template void Array<Ipp32s, int>::Zero();
template void Array<Ipp32fc, int>::Zero();
template void Array<Ipp32f, int>::CopyFrom(const Array&);
template void Array<Ipp32s, int>::CopyFrom(const Array&);
template void Array<Ipp32fc, int>::CopyFrom(const Array&);
template Ipp32f Array<Ipp32f, int>::Max() const;
template Ipp32s Array<Ipp32s, int>::Max() const;
template void Array<Ipp32f, int>::SortAscend();
template void Array<Ipp32s, int>::SortAscend();
template void Array<Ipp32f, int>::Set(Ipp32f);
template Ipp32f Array<Ipp32f, int>::Min() const;
template void Array<Ipp32f, int>::MinMax(Ipp32f&, Ipp32f&) const;
template Ipp32f Array<Ipp32f, int>::Sum() const;
template void Array<Ipp32f, int>::Flip();
template void Array<Ipp32f, int>::AddC(Ipp32f);
template void Array<Ipp32f, int>::MulC(Ipp32f);
template void Array<Ipp32f, int>::DivC(Ipp32f);
template void Array<Ipp32f, int>::Sqr();
template void Array<Ipp32f, int>::SubC(const Array&, Ipp32f);

} // namespace IPP

#pragma once

#include "Array/Array.h"

namespace IPP {

/// Rows of dim0 contiguous elements: element (x, y) is data[dim0 * y + x].
template <class T, class I = int>
class TZM_EXPORT Array2D : public Array<T, I> {
public:
    I dim0;
    I dim1;

    /// Owning; std::bad_alloc if a dimension is below 1 or the product exceeds the index type.
    Array2D(I size0, I size1) : Array<T, I>(Detail::OwnedCount(size0, size1)), dim0(size0), dim1(size1) {}

    /// View; nothing is checked.
    Array2D(T* viewed, I size0, I size1)
        : Array<T, I>(viewed, Detail::ViewedCount(size0, size1)), dim0(size0), dim1(size1) {}

    /// Element (x, y). Status -2 if an index is at or above its dimension.
    T& At(I x, I y) const {
        Require(x < dim0 && y < dim1, "Index exceeds IPP::Array2D bounds");
        return this->data[static_cast<std::int64_t>(dim0) * y + x];
    }

    /// View of row y; fails like At(0, y).
    Array<T, I> Row(I y) const { return Array<T, I>(&At(0, y), dim0); }

    /// this(x, y) = src(y, x), on float arrays that don't overlap.
    void Transpose(const Array2D& src);
};

} // namespace IPP

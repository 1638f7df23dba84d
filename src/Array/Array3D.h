#pragma once

#include "Array/Array2D.h"

namespace IPP {

/// Slices of dim1 rows of dim0 contiguous elements: element (x, y, z) is data[(dim1 * z + y) * dim0 + x]. Over a block
/// of traces dim0 are the samples of an A-scan, dim1 the A-scans of a B-scan, dim2 the B-scans.
template <class T, class I = int>
class TZM_EXPORT Array3D : public Array<T, I> {
public:
    I dim0;
    I dim1;
    I dim2;

    /// Owning; std::bad_alloc if a dimension is below 1 or the product exceeds the index type.
    Array3D(I size0, I size1, I size2)
        : Array<T, I>(Detail::OwnedCount(size0, size1, size2)), dim0(size0), dim1(size1), dim2(size2) {}

    /// View; nothing is checked.
    Array3D(T* viewed, I size0, I size1, I size2)
        : Array<T, I>(viewed, Detail::ViewedCount(size0, size1, size2)), dim0(size0), dim1(size1), dim2(size2) {}

    /// Element (x, y, z). Status -2 if an index is at or above its dimension.
    T& At(I x, I y, I z) const {
        Require(x < dim0 && y < dim1 && z < dim2, "Index exceeds IPP::Array3D bounds");
        return this->data[(static_cast<std::int64_t>(dim1) * z + y) * dim0 + x];
    }

    /// View of row y of slice z (an A-scan); fails like At(0, y, z).
    Array<T, I> Row(I y, I z) const { return Array<T, I>(&At(0, y, z), dim0); }

    /// View of slice z (a B-scan); fails like At(0, 0, z).
    Array2D<T, I> Slice(I z) const { return Array2D<T, I>(&At(0, 0, z), dim0, dim1); }
};

} // namespace IPP

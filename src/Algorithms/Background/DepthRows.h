#pragma once

#include <cstddef>
#include <vector>

#include "Array/Array2D.h"

namespace TZM {

/// A B-scan, or a run of its A-scans, seen as depth rows: sample r of A-scan c at data[r * rowStep + c * columnStep].
/// An image of A-scans as well as its transposition is such a view.
template <class T>
struct DepthRows {
    T* data;
    int rows;    ///< samples
    int columns; ///< A-scans
    std::ptrdiff_t rowStep;
    std::ptrdiff_t columnStep;

    operator DepthRows<const T>() const { return {data, rows, columns, rowStep, columnStep}; }

    T& At(int row, int column) const { return data[row * rowStep + column * columnStep]; }
};

/// The samples of the A-scans that are the rows of an image.
inline DepthRows<float> RowsOfAscans(const IPP::Array2D<float>& ascans) {
    return {ascans.data, ascans.dim0, ascans.dim1, 1, ascans.dim0};
}

/// The rows of an image that are depths.
inline DepthRows<float> RowsOfDepths(const IPP::Array2D<float>& depths) {
    return {depths.data, depths.dim1, depths.dim0, depths.dim0, 1};
}

/// The mean of every row over its columns, added up in 64 bits.
std::vector<float> RowMeans(const DepthRows<const float>& rows);

/// The median of every row as Array::Median() gives it; at least one column.
std::vector<float> RowMedians(const DepthRows<const float>& rows);

/// dst(r, c) = src(r, c) + summands[r]; dst has the rows and columns of src and may be the same area.
void AddToRows(const DepthRows<const float>& src, const std::vector<float>& summands, const DepthRows<float>& dst);

/// Filters every row forwards and backwards, between its own mirror images, by a filter of the first order, as
/// Array::FilterZeroPhase does. \param taps b[0], b[1], a[0], a[1]. dst may be the same area as src.
void FilterRowsZeroPhase(const DepthRows<const float>& src, const double* taps, const DepthRows<float>& dst);

/// dst(r, c) = src(r, c) - median as above of src(r, c - half .. c + half), as far as the row has them. dst may be the
/// same area as src.
void TakeOffLocalMedians(const DepthRows<const float>& src, int half, const DepthRows<float>& dst);

} // namespace TZM

#include "Framework/private/BscanLayout.h"

#include <algorithm>
#include <cstddef>

namespace TZM {

namespace {

// Sixteen floats are a cache line, and sixteen lines stay in the first cache even where their distance is a power of
// two.
constexpr int kTile = 16;

/// dst[y * dstStep + x] = src[x * srcStep + y], x below width, y below height.
void Transpose(const float* src, std::ptrdiff_t srcStep, float* dst, std::ptrdiff_t dstStep, int width, int height) {
    for (int y0 = 0; y0 < height; y0 += kTile) {
        const int y1 = std::min(height, y0 + kTile);
        for (int x0 = 0; x0 < width; x0 += kTile) {
            const int x1 = std::min(width, x0 + kTile);
            for (int y = y0; y < y1; ++y)
                for (int x = x0; x < x1; ++x) dst[y * dstStep + x] = src[x * srcStep + y];
        }
    }
}

constexpr const char* kTooSmall = "Depth rows and B-scan - dimensions are not compatible";

} // namespace

void ToDepthRows(const IPP::Array2D<float>& bscan, IPP::Array2D<float>& rows, int firstSample) {
    IPP::Require(firstSample >= 0 && firstSample < bscan.dim0, "Index exceeds IPP::Array2D bounds");
    const int samples = bscan.dim0 - firstSample;
    IPP::Require(rows.dim0 >= bscan.dim1 && rows.dim1 >= samples, kTooSmall);
    Transpose(bscan.data + firstSample, bscan.dim0, rows.data, rows.dim0, bscan.dim1, samples);
}

void FromDepthRows(const IPP::Array2D<float>& rows, IPP::Array2D<float>& bscan) {
    IPP::Require(rows.dim0 >= bscan.dim1 && rows.dim1 >= bscan.dim0, kTooSmall);
    Transpose(rows.data, rows.dim0, bscan.data, bscan.dim0, bscan.dim0, bscan.dim1);
}

} // namespace TZM

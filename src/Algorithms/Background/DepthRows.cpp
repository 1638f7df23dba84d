#include "Algorithms/Background/DepthRows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Array/Array3D.h"
#include "Array/Simd/Dispatch.h"

namespace TZM {

namespace {

using IPP::Simd::kRowLanes;

/// Copies kRowLanes rows from `first` on side by side; behind the last row it repeats that one.
void LoadLanes(const DepthRows<const float>& src, int first, float* lanes) {
    const int count = std::min(kRowLanes, src.rows - first);
    for (int c = 0; c < src.columns; ++c, lanes += kRowLanes) {
        const float* element = &src.At(first, c);
        __builtin_prefetch(element + kRowLanes, 0, 3); // of A-scans, the next depths; no processor sees that coming
        if (src.rowStep == 1 && count == kRowLanes)
            std::memcpy(lanes, element, kRowLanes * sizeof(float));
        else
            for (int l = 0; l < kRowLanes; ++l) lanes[l] = element[std::min(l, count - 1) * src.rowStep];
    }
}

/// From so many samples of a B-scan on, 256 KiB, the rows that are done don't wait in the caches.
constexpr int kWorthStreaming = 64 << 10;

/// Past the caches where that is whole cache lines.
void StoreLanes(const float* lanes, int first, const DepthRows<float>& dst) {
    constexpr std::ptrdiff_t line = kRowLanes * sizeof(float);
    const int count = std::min(kRowLanes, dst.rows - first);
    const bool lines = dst.rowStep == 1 && count == kRowLanes && dst.columnStep % kRowLanes == 0 &&
                       reinterpret_cast<std::uintptr_t>(&dst.At(first, 0)) % line == 0;
    if (lines && dst.rows * std::int64_t{dst.columns} >= kWorthStreaming)
        return IPP::Simd::Active().streamLines(lanes, dst.columns, &dst.At(first, 0), dst.columnStep);
    for (int c = 0; c < dst.columns; ++c, lanes += kRowLanes) {
        if (dst.rowStep == 1 && count == kRowLanes)
            std::memcpy(&dst.At(first, c), lanes, kRowLanes * sizeof(float));
        else
            for (int l = 0; l < count; ++l) dst.At(first + l, c) = lanes[l];
    }
}

} // namespace

std::vector<float> RowMeans(const DepthRows<const float>& rows) {
    std::vector<double> sums(static_cast<std::size_t>(rows.rows));
    if (rows.rowStep == 1)
        for (int c = 0; c < rows.columns; ++c) IPP::Simd::Active().addTo(&rows.At(0, c), sums.data(), rows.rows);
    else
        for (int r = 0; r < rows.rows; ++r)
            sums[static_cast<std::size_t>(r)] = IPP::Simd::Active().sum(&rows.At(r, 0), rows.columns);
    std::vector<float> means(sums.size());
    std::transform(sums.begin(), sums.end(), means.begin(),
                   [&](double sum) { return static_cast<float>(sum / rows.columns); });
    return means;
}

std::vector<float> RowMedians(const DepthRows<const float>& rows) {
    const IPP::Array2D<float> lanes(kRowLanes, rows.columns);
    std::vector<float> medians(static_cast<std::size_t>(rows.rows) + kRowLanes); // the last lanes may have no row
    for (int r = 0; r < rows.rows; r += kRowLanes) {
        LoadLanes(rows, r, lanes.data);
        IPP::Simd::Active().laneMedians(lanes.data, rows.columns, &medians[static_cast<std::size_t>(r)]);
    }
    medians.resize(static_cast<std::size_t>(rows.rows));
    return medians;
}

void AddToRows(const DepthRows<const float>& src, const std::vector<float>& summands, const DepthRows<float>& dst) {
    if (src.rowStep == 1 && dst.rowStep == 1)
        for (int c = 0; c < src.columns; ++c)
            IPP::Simd::Active().add(&src.At(0, c), summands.data(), &dst.At(0, c), src.rows);
    else
        for (int r = 0; r < src.rows; ++r)
            for (int c = 0; c < src.columns; ++c) dst.At(r, c) = src.At(r, c) + summands[static_cast<std::size_t>(r)];
}

void FilterRowsZeroPhase(const DepthRows<const float>& src, const double* taps, const DepthRows<float>& dst) {
    const IPP::Array2D<float> lanes(kRowLanes, src.columns);
    const IPP::Array3D<float> work(kRowLanes, src.columns, 2);
    const double lead = taps[2];
    for (int r = 0; r < src.rows; r += kRowLanes) {
        LoadLanes(src, r, lanes.data);
        IPP::Simd::Active().laneZeroPhase(lanes.data, work.data, src.columns, taps[0] / lead, taps[1] / lead,
                                          taps[3] / lead);
        StoreLanes(lanes.data, r, dst);
    }
    __builtin_ia32_sfence();
}

void TakeOffLocalMedians(const DepthRows<const float>& src, int half, const DepthRows<float>& dst) {
    half = std::min(half, src.columns - 1);
    const IPP::Array2D<float> lanes(kRowLanes, src.columns), result(kRowLanes, src.columns);
    const IPP::Array2D<int> work(kRowLanes, std::min(2 * half + 1, src.columns) + 1);
    for (int r = 0; r < src.rows; r += kRowLanes) {
        LoadLanes(src, r, lanes.data);
        IPP::Simd::Active().laneLessMedians(lanes.data, work.data, src.columns, half, result.data);
        StoreLanes(result.data, r, dst);
    }
    __builtin_ia32_sfence();
}

} // namespace TZM

#include "Array/Primitives/SingleTransform.h"

#include <algorithm>
#include <cmath>

#include "Array/IppException.h"
#include "Array/Primitives/FftTables.h"
#include "Array/Simd/Dispatch.h"

namespace IPP {

using Simd::FftKernels;

namespace {

constexpr Index kLongestWhole = 1 << 17; // lanes of one transform, all but one of them unused
constexpr Index kLongestStoredTurns = 1 << 16;
constexpr Index kFine = 1 << 16;
constexpr Index kLongestChirp = 1 << 22; // some 400 MiB while the tables are made

/// The number of rows of n written as a matrix with which a single transform is fastest; 0: none is faster than one
/// lane of the whole.
Index BestSplit(Index n) {
    const Index lanes = Simd::ActiveFft().lanes;
    const auto filled = [lanes](Index count) { return double((count + lanes - 1) / lanes); };
    double best = n <= kLongestWhole ? FftPlan::Cost(n) + 2.0 * double(n) : HUGE_VAL;
    Index split = 0;
    for (Index rows = 2; rows <= kLongestWhole && rows < n; ++rows) {
        if (n % rows != 0 || n / rows > kLongestWhole) continue;
        const Index columns = n / rows;
        const double cost = filled(columns) * (FftPlan::Cost(rows) + 14.0 * double(rows)) +
                            filled(rows) * (FftPlan::Cost(columns) + 10.0 * double(columns));
        if (cost < best) best = cost, split = rows;
    }
    return split;
}

} // namespace

std::shared_ptr<const SingleTransform> SingleTransform::Get(Index n) {
    return Kept<SingleTransform>(n, Simd::ActiveFft().lanes); // the best split depends on the lanes
}

std::size_t SingleTransform::Bytes() const {
    const auto shared = [](const auto& part) { return part ? part->Bytes() : 0; };
    return Size(fineTurns) + Size(coarseTurns) + Size(turnsRe) + Size(turnsIm) + Size(chirp) + Size(kernel) +
           shared(columns) + shared(rows) + shared(convolution);
}

SingleTransform::SingleTransform(Index n) : length(n) {
    const Index split = BestSplit(n);
    if (split == 0 && n <= kLongestWhole) {
        columns = FftPlan::Get(n);
        return;
    }
    if (split == 0) {
        if (n > kLongestChirp) throw BadAllocation();
        Index m = 1;
        while (m < 2 * n - 1) m *= 2;
        convolution = Get(m);
        chirp.reserve(static_cast<std::size_t>(n));
        for (Index k = 0; k < n; ++k) {
            const Complex value = Chirp(k, n);
            chirp.push_back({float(value.real()), float(value.imag())});
        }
        const std::vector<float> spectrum = KernelSpectrum(ChirpCircle(n, m));
        for (Index k = 0; k < m; ++k) kernel.push_back({spectrum[2 * k], spectrum[2 * k + 1]});
        return;
    }
    columns = FftPlan::Get(split);
    rows = FftPlan::Get(n / split);
    for (Index k = 0; k < std::min(kFine, n); ++k) {
        const Complex turn = Turn(k, n);
        fineTurns.push_back(turn.real()), fineTurns.push_back(turn.imag());
    }
    for (Index k = 0; k < n; k += kFine) {
        const Complex turn = Turn(k, n);
        coarseTurns.push_back(turn.real()), coarseTurns.push_back(turn.imag());
    }
    if (n > kLongestStoredTurns) return;
    const Index padded = (rows->Length() + Simd::kMaxLanes - 1) / Simd::kMaxLanes * Simd::kMaxLanes;
    turnsRe.resize(static_cast<std::size_t>(padded * split));
    turnsIm.resize(static_cast<std::size_t>(padded * split));
    MakeTurns(0, rows->Length(), turnsRe.data(), turnsIm.data(), padded);
}

/// exp(-2 pi i k column / length) for all k of a column's length.
void SingleTransform::MakeTurns(Index firstColumn, Index count, float* re, float* im, Index stride) const {
    for (Index k = 0; k < columns->Length(); ++k)
        for (Index c = 0; c < count; ++c) {
            const Index turn = k * (firstColumn + c); // below length
            const double* fine = &fineTurns[2 * (turn % kFine)];
            const double* coarse = &coarseTurns[2 * (turn / kFine)];
            re[k * stride + c] = float(fine[0] * coarse[0] - fine[1] * coarse[1]);
            im[k * stride + c] = float(fine[0] * coarse[1] + fine[1] * coarse[0]);
        }
}

Index SingleTransform::WorkSize() const {
    constexpr Index perElement = 2 * Simd::kMaxLanes;
    if (convolution) return 2 * convolution->Length() + 16 + convolution->WorkSize();
    if (!rows) return perElement * length + columns->WorkSize();
    const Index longest = std::max(rows->Length(), columns->Length());
    const Index turns = turnsRe.empty() ? perElement * columns->Length() : 0;
    return 2 * length + 16 + perElement * longest + turns + std::max(rows->WorkSize(), columns->WorkSize());
}

void SingleTransform::Forward(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale) const {
    Transform(src, dst, work, scale, false);
}

void SingleTransform::Inverse(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale) const {
    Transform(src, dst, work, scale, true);
}

void SingleTransform::Transform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const {
    if (convolution) return ChirpTransform(src, dst, work, scale, inverse);
    if (rows) return SplitTransform(src, dst, work, scale, inverse);
    const FftKernels& kernels = Simd::ActiveFft();
    const Index lanes = kernels.lanes;
    float* block = work;
    float* planWork = block + 2 * Simd::kMaxLanes * length;
    kernels.loadColumns(src, sizeof(Ipp32fc), 1, length, block);
    const LaneSource source{block, block + lanes, 2 * lanes};
    const LaneTarget target{block, block + lanes, 2 * lanes};
    inverse ? columns->Inverse(source, target, planWork, scale) : columns->Forward(source, target, planWork, scale);
    kernels.storeColumns(block, 1, length, dst, sizeof(Ipp32fc));
}

/// Element j1 * rowLength + j2 to element k1 + columnLength * k2: the columns j2 are transformed, turned by
/// exp(-2 pi i j2 k1 / n), then the rows k1. An inverse transform runs as a forward one on swapped parts.
void SingleTransform::SplitTransform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const {
    const FftKernels& kernels = Simd::ActiveFft();
    const Index lanes = kernels.lanes, columnLength = columns->Length(), rowLength = rows->Length();
    auto* matrix = reinterpret_cast<Ipp32fc*>(work);
    float* block = work + (2 * length + 15) / 16 * 16;
    float* turns = block + 2 * Simd::kMaxLanes * std::max(rowLength, columnLength);
    float* planWork = turns + (turnsRe.empty() ? 2 * Simd::kMaxLanes * columnLength : 0);
    float* re = inverse ? block + lanes : block;
    float* im = inverse ? block : block + lanes;
    const Index rowStep = rowLength * Index(sizeof(Ipp32fc)), columnStep = columnLength * Index(sizeof(Ipp32fc));

    for (Index column = 0; column < rowLength; column += lanes) {
        const int count = int(std::min(lanes, rowLength - column));
        kernels.loadColumns(src + column, rowStep, count, columnLength, block);
        columns->Forward({re, im, 2 * lanes}, {block, block + lanes, 2 * lanes}, planWork, scale);
        if (turnsRe.empty()) {
            MakeTurns(column, count, turns, turns + lanes, 2 * lanes);
            kernels.multiplyLanes(block, turns, turns + lanes, 2 * lanes, columnLength);
        } else {
            const Index padded = static_cast<Index>(turnsRe.size()) / columnLength;
            kernels.multiplyLanes(block, &turnsRe[column], &turnsIm[column], padded, columnLength);
        }
        kernels.storeColumns(block, count, columnLength, matrix + column, rowStep);
    }
    for (Index row = 0; row < columnLength; row += lanes) {
        const int count = int(std::min(lanes, columnLength - row));
        kernels.loadRows(matrix + row * rowLength, rowStep, count, 2 * rowLength, block, lanes);
        rows->Forward({block, block + lanes, 2 * lanes}, {re, im, 2 * lanes}, planWork);
        kernels.storeColumns(block, count, rowLength, dst + row, columnStep);
    }
}

void SingleTransform::ChirpTransform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const {
    const Index m = convolution->Length();
    auto* block = reinterpret_cast<Ipp32fc*>(work);
    float* rest = work + (2 * m + 15) / 16 * 16;
    const auto product = [](Ipp32fc a, Ipp32fc b) {
        return Ipp32fc{a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
    };
    for (Index k = 0; k < length; ++k) {
        const Ipp32fc value{src[k].re * scale, src[k].im * scale};
        block[k] = product(inverse ? Ipp32fc{value.im, value.re} : value, chirp[k]);
    }
    std::fill(block + length, block + m, Ipp32fc{0.f, 0.f});
    convolution->Forward(block, block, rest);
    for (Index k = 0; k < m; ++k) block[k] = product(block[k], kernel[k]);
    convolution->Inverse(block, block, rest);
    for (Index k = 0; k < length; ++k) {
        const Ipp32fc value = product(block[k], chirp[k]);
        dst[k] = inverse ? Ipp32fc{value.im, value.re} : value;
    }
}

} // namespace IPP

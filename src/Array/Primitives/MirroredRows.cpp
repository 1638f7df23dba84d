#include "Array/Primitives/MirroredRows.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Array/Primitives/LoadedRows.h"
#include "Array/Simd/AscanKernels.h"

namespace IPP {

namespace {

/// Of a table; a length that no row has is no length.
int Count(Index n) {
    if (n < 1 || n > std::numeric_limits<int>::max()) throw std::bad_alloc();
    return static_cast<int>(n);
}

} // namespace

MirroredRows::MirroredRows(int n) : length(Count(n)), plan(FftPlan::Get(n)) {
    Count(4 * Index(Simd::kMaxLanes) * n + plan->WorkSize());
}

int MirroredRows::RowsAtATime() { return static_cast<int>(2 * Simd::ActiveFft().lanes); }

int MirroredRows::WorkSize() const { return static_cast<int>(4 * Index(Simd::kMaxLanes) * length + plan->WorkSize()); }

template <class Change, class Store>
void MirroredRows::Run(const float* src, Index srcStep, int rows, float* work, bool inverse, const Change& change,
                       const Store& store) const {
    const Index lanes = Simd::ActiveFft().lanes, stride = 2 * lanes;
    float* const folded = work;
    float* const result = folded + stride * length;
    float* const planWork = result + stride * length;
    constexpr int kRows = 2 * Simd::kMaxLanes;
    float levels[kRows] = {}, factors[kRows], undo[kRows];
    Simd::ActiveAscan().rowLevels(src, srcStep, rows, length, levels);
    for (int row = 0; row < stride; ++row) ScaleOfLevel(levels[row], factors[row], undo[row]);
    Simd::ActiveAscan().foldRows(src, srcStep, rows, length, factors, folded);
    for (int row = 0; row < rows; ++row) // a broken one stays away from its partner
        for (Index k = 0; std::isnan(undo[row]) && k < length; ++k) folded[k * stride + row] = 0.f;
    const LaneTarget spectrum{result, result + lanes, stride};
    plan->Forward({folded, folded + lanes, stride}, spectrum, planWork);
    change(spectrum);
    if (inverse)
        plan->Inverse({spectrum.re, spectrum.im, stride}, spectrum, planWork);
    else
        plan->Forward({spectrum.re, spectrum.im, stride}, spectrum, planWork);
    store(folded, result, undo);
}

MirroredHilbert::MirroredHilbert(int n) : MirroredRows(n), turns(Count(2 * Index(n))) {
    for (int k = 0; k < n; ++k) {
        turns[2 * k] = k > 0 ? static_cast<float>(std::sin(M_PI * k / n) / n) : 0.f;
        turns[2 * k + 1] = k > 0 ? static_cast<float>(std::cos(M_PI * k / n) / n) : 0.f;
    }
}

template <class Store>
void MirroredHilbert::Run(const float* src, Index srcStep, int rows, float* work, const Store& store) const {
    MirroredRows::Run(
        src, srcStep, rows, work, false,
        [&](const LaneTarget& v) {
            Simd::ActiveFft().multiply(v.re, v.im, v.stride, v.re, v.im, v.stride, turns.data, length);
        },
        store);
}

void MirroredHilbert::Envelopes(const float* src, Index srcStep, int rows, const RowTarget& dst, float* work) const {
    Run(src, srcStep, rows, work, [&](const float* folded, const float* u, const float* undo) {
        Simd::ActiveAscan().putEnvelopes(folded, u, undo, length, rows, dst.data, dst.step, dst.past);
    });
}

void MirroredHilbert::Transforms(const float* src, Index srcStep, int rows, const RowTarget& dst, float* work) const {
    Run(src, srcStep, rows, work, [&](const float*, const float* u, const float* undo) {
        Simd::ActiveAscan().putLanes(u, undo, -1.f, length, rows, dst.data, dst.step, dst.past);
    });
}

MirroredFilter::MirroredFilter(const std::vector<double>& weights)
    : MirroredRows(Count(static_cast<Index>(weights.size()))), table(Count(3 * (length / 2 + 1))) {
    const double n = static_cast<double>(length);
    for (Index k = 0; k <= length / 2; ++k) {
        const double w = weights[static_cast<std::size_t>(k)];
        const double mirrored = k == 0 ? w : weights[static_cast<std::size_t>(length - k)];
        float* const entry = &table[static_cast<int>(3 * k)];
        entry[0] = static_cast<float>((w + mirrored) / 2 / n);
        entry[1] = static_cast<float>((w - mirrored) / 2 / n * std::cos(M_PI * static_cast<double>(k) / n));
        entry[2] = static_cast<float>((w - mirrored) / 2 / n * std::sin(M_PI * static_cast<double>(k) / n));
    }
}

void MirroredFilter::Apply(const float* src, Index srcStep, int rows, const RowTarget& dst, float* work) const {
    Run(
        src, srcStep, rows, work, true,
        [&](const LaneTarget& v) { Simd::ActiveAscan().mixMirrored(v.re, table.data, length); },
        [&](const float*, const float* filtered, const float* undo) {
            Simd::ActiveAscan().putLanes(filtered, undo, 1.f, length, rows, dst.data, dst.step, dst.past);
        });
}

} // namespace IPP

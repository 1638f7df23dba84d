#include "Array/SymmetricEigen.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Array/Simd/Dispatch.h"

namespace IPP {

namespace {

constexpr int kBounds = 8; // that are tried at a time
constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

/// Numbers in -1 .. 1, the same in every run.
struct Numbers {
    double operator()() {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<double>(state >> 11) * 0x1p-52 - 1;
    }
    unsigned long long state = 1;
};

void Normalise(double* x, int n) {
    double largest = 0;
    for (int i = 0; i < n; ++i) largest = std::max(largest, std::abs(x[i]));
    if (largest == 0) return;
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += (x[i] / largest) * (x[i] / largest);
    const double factor = 1 / std::sqrt(sum);
    for (int i = 0; i < n; ++i) x[i] = x[i] / largest * factor;
}

} // namespace

SymmetricEigen::SymmetricEigen(double* of, std::ptrdiff_t rowStep, int n)
    : matrix(of), step(rowStep), order(n), diagonal(static_cast<std::size_t>(n)), beside(diagonal),
      halfSquare(diagonal) {
    Reduce();
    low = std::numeric_limits<double>::infinity(), high = -low;
    for (int i = 0; i < order; ++i) { // the circles of Gershgorin
        const double radius = std::abs(beside[i]) + (i + 1 < order ? std::abs(beside[i + 1]) : 0);
        low = std::min(low, diagonal[i] - radius), high = std::max(high, diagonal[i] + radius);
    }
    scale = std::max(std::abs(low), std::abs(high));
}

// From the last row up: a reflection along u, which stays in its row, leaves one element of the row beside the
// diagonal. What it does to the rows above, A - u q^T - q u^T, is done while the next reflection multiplies them by its
// own u, so that the triangle crosses the caches once for each.
void SymmetricEigen::Reduce() {
    const auto& kernels = Simd::Active();
    const std::vector<double> none(static_cast<std::size_t>(order));
    std::vector<double> q = none, product = none;
    const double* u = none.data(); // of the reflection that the rows haven't seen
    for (int i = order - 1; i >= 0; --i) {
        double* const row = matrix + i * step;
        kernels.foldRow(row, u, q.data(), u[i], q[i], none.data(), 0, product.data(), i);
        row[i] -= 2 * u[i] * q[i];
        diagonal[i] = row[i];
        if (i == 0) return;
        const double last = row[i - 1], square = kernels.dotWide(row, row, i);
        const bool reflects = kernels.dotWide(row, row, i - 1) > 0;
        beside[i] = reflects ? last > 0 ? -std::sqrt(square) : std::sqrt(square) : last;
        halfSquare[i] = reflects ? square - last * beside[i] : 0;
        if (reflects)
            row[i - 1] = last - beside[i];
        else
            std::fill_n(row, i, 0.);
        std::fill_n(product.begin(), i, 0.);
        for (int r = 0; r < i; ++r) {
            double* const above = matrix + r * step;
            product[r] += kernels.foldRow(above, u, q.data(), u[r], q[r], row, row[r], product.data(), r);
            above[r] -= 2 * u[r] * q[r];
            product[r] += above[r] * row[r];
        }
        u = row;
        if (!reflects) {
            std::fill_n(q.begin(), i, 0.);
            continue;
        }
        const double along = kernels.dotWide(row, product.data(), i) / (2 * halfSquare[i]);
        for (int r = 0; r < i; ++r) q[r] = (product[r] - along * row[r]) / halfSquare[i];
    }
}

// The eigenvalues below a bound are as many as the negative pivots of T - bound; several bounds hide the latency of a
// division.
void SymmetricEigen::CountBelow(const double* bounds, int* counts) const {
    const double smallest = kEpsilon * kEpsilon * scale + std::numeric_limits<double>::min();
    double pivots[kBounds];
    std::fill_n(counts, kBounds, 0);
    std::fill_n(pivots, kBounds, 1.);
    for (int i = 0; i < order; ++i) {
        const double square = beside[i] * beside[i];
#pragma omp simd
        for (int l = 0; l < kBounds; ++l) {
            double pivot = diagonal[i] - bounds[l] - square / pivots[l];
            pivot = std::abs(pivot) < smallest ? -smallest : pivot;
            counts[l] += pivot < 0;
            pivots[l] = pivot;
        }
    }
}

double SymmetricEigen::Value(int i) const {
    const int below = order - 1 - i; // eigenvalues that are smaller
    double from = low, to = high;
    for (;;) {
        double bounds[kBounds];
        int counts[kBounds];
        for (int l = 0; l < kBounds; ++l) bounds[l] = from + (to - from) * (l + 1) / (kBounds + 1);
        if (to - from <= kEpsilon / 2 * scale || !(bounds[0] > from && bounds[kBounds - 1] < to))
            return (from + to) / 2;
        CountBelow(bounds, counts);
        for (int l = 0; l < kBounds; ++l) {
            if (counts[l] > below) {
                to = bounds[l];
                break;
            }
            from = bounds[l];
        }
    }
}

// Gaussian elimination of T - value with exchange of neighbouring rows, whose last pivots are next to nothing: what it
// gives for any right side is close to the vector. Those before it are taken out each time.
void SymmetricEigen::InverseIteration(double value, const std::vector<double>& before, int count,
                                      double* vector) const {
    const auto n = static_cast<std::size_t>(order);
    std::vector<double> pivot(n), next(n), second(n), factor(n);
    std::vector<bool> exchanged(n);
    const double smallest = kEpsilon * scale + std::numeric_limits<double>::min();
    for (std::size_t i = 0; i < n; ++i) {
        pivot[i] = diagonal[i] - value;
        next[i] = i + 1 < n ? beside[i + 1] : 0;
    }
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const double lower = beside[i + 1];
        exchanged[i] = std::abs(lower) > std::abs(pivot[i]);
        if (exchanged[i]) {
            factor[i] = pivot[i] / lower;
            pivot[i] = lower;
            const double above = next[i];
            next[i] = pivot[i + 1];
            pivot[i + 1] = above - factor[i] * next[i];
            second[i] = next[i + 1];
            next[i + 1] *= -factor[i];
        } else {
            if (std::abs(pivot[i]) < smallest) pivot[i] = smallest;
            factor[i] = lower / pivot[i];
            pivot[i + 1] -= factor[i] * next[i];
        }
    }
    if (std::abs(pivot[n - 1]) < smallest) pivot[n - 1] = smallest;
    Numbers numbers;
    numbers.state += static_cast<unsigned long long>(count);
    for (std::size_t i = 0; i < n; ++i) vector[i] = numbers();
    const auto& kernels = Simd::Active();
    constexpr int kIterations = 3;
    for (int iteration = 0; iteration < kIterations; ++iteration) {
        Normalise(vector, order);
        for (std::size_t i = 0; i + 1 < n; ++i) {
            if (exchanged[i]) std::swap(vector[i], vector[i + 1]);
            vector[i + 1] -= factor[i] * vector[i];
        }
        for (std::size_t i = n; i-- > 0;) {
            const double rest =
                vector[i] - (i + 1 < n ? next[i] * vector[i + 1] : 0) - (i + 2 < n ? second[i] * vector[i + 2] : 0);
            vector[i] = rest / pivot[i];
        }
        for (int again = 0; again < 2; ++again) { // once leaves what rounding brings in
            Normalise(vector, order);
            for (int k = 0; k < count; ++k) {
                const double* other = &before[static_cast<std::size_t>(k) * n];
                kernels.addScaledWide(-kernels.dotWide(other, vector, order), other, vector, order);
            }
        }
    }
    Normalise(vector, order);
}

void SymmetricEigen::Restore(double* vector) const {
    const auto& kernels = Simd::Active();
    for (int i = 1; i < order; ++i) {
        if (halfSquare[i] == 0) continue;
        const double* u = matrix + i * step;
        kernels.addScaledWide(-kernels.dotWide(u, vector, i) / halfSquare[i], u, vector, i);
    }
}

std::vector<double> SymmetricEigen::Vectors(int count) const {
    const auto n = static_cast<std::size_t>(order);
    std::vector<double> vectors(static_cast<std::size_t>(count) * n);
    for (int k = 0; k < count; ++k) InverseIteration(Value(k), vectors, k, &vectors[static_cast<std::size_t>(k) * n]);
    for (int k = 0; k < count; ++k) Restore(&vectors[static_cast<std::size_t>(k) * n]);
    return vectors;
}

} // namespace IPP

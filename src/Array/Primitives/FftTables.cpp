#include "Array/Primitives/FftTables.h"

#include <cmath>

namespace IPP {

Complex Turn(Index k, Index n) {
    k %= n;
    if (2 * k > n) return std::conj(Turn(n - k, n));
    if (4 * k > n) {
        const Complex t = Turn(n - 2 * k, 2 * n);
        return {-t.real(), t.imag()};
    }
    if (8 * k > n) {
        const Complex t = Turn(n - 4 * k, 4 * n);
        return {-t.imag(), -t.real()};
    }
    const double angle = 2 * M_PI * double(k) / double(n);
    return {std::cos(angle), -std::sin(angle)};
}

void Append(std::vector<float>& table, Complex value) {
    table.push_back(float(value.real()));
    table.push_back(float(value.imag()));
}

namespace {

/// Mixed radix in double precision, for tables: the transform of src[0], src[step] .. to dst[0 .. n - 1]. `turns` are
/// those of the whole length n * step.
void SlowTransform(const Complex* src, Index step, Complex* dst, Index n, const std::vector<Complex>& turns) {
    if (n == 1) {
        *dst = *src;
        return;
    }
    Index r = 2;
    while (n % r != 0) ++r;
    const Index m = n / r;
    for (Index j = 0; j < r; ++j) SlowTransform(src + j * step, step * r, dst + j * m, m, turns);
    std::vector<Complex> legs(static_cast<std::size_t>(r));
    for (Index k = 0; k < m; ++k) {
        for (Index j = 0; j < r; ++j) legs[j] = dst[j * m + k];
        for (Index out = k; out < n; out += m) {
            dst[out] = 0;
            for (Index j = 0; j < r; ++j) dst[out] += legs[j] * turns[j * out % n * step];
        }
    }
}

} // namespace

std::vector<float> KernelSpectrum(const std::vector<Complex>& circle) {
    const auto n = static_cast<Index>(circle.size());
    std::vector<Complex> turns(circle.size()), spectrum(circle.size());
    for (Index k = 0; k < n; ++k) turns[k] = Turn(k, n);
    SlowTransform(circle.data(), 1, spectrum.data(), n, turns);
    std::vector<float> table;
    table.reserve(2 * circle.size());
    for (const Complex& value : spectrum) Append(table, value / double(n));
    return table;
}

Complex Chirp(Index k, Index n) { return Turn(k * k % (2 * n), 2 * n); }

std::vector<Complex> ChirpCircle(Index n, Index m) {
    std::vector<Complex> circle(static_cast<std::size_t>(m));
    for (Index k = 0; k < n; ++k) circle[k] = std::conj(Chirp(k, n));
    for (Index k = 1; k < n; ++k) circle[m - k] = circle[k];
    return circle;
}

KeptTables& AllKept() {
    static auto* kept = new KeptTables; // never freed, so that a state made while the process ends still finds it
    return *kept;
}

} // namespace IPP

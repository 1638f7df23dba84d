#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

#include "support/Scenes.h"

/// The Stolt migration as its formulas stand: full complex spectra by direct sums in double, one element at a time.
struct StoltReference {
    int extension = 0;
    bool useFrequencyMask = true;
    bool useDipMask = true;
    double dipMax = 85;
    double dipWidth = 5;
    int interpolation = 1;
    double maxMigFreqRel = 0.6;
    double threshold = 0.1;

    using Complex = std::complex<double>;
    static constexpr float kPi = 3.14159274f;

    static int PowerOfTwo(int n) {
        int p = 1;
        while (p < n) p *= 2;
        return p;
    }

    // Transforms of all columns, then of all rows, of nt x nx elements, sign -1 forward, +1 inverse.
    static std::vector<Complex> Transform(const std::vector<Complex>& f, int nt, int nx, int sign) {
        std::vector<Complex> half(f.size()), whole(f.size());
        const auto turn = [sign](long long k, int n) { return std::polar(1., sign * 2. * M_PI * double(k % n) / n); };
        for (int v = 0; v < nt; ++v)
            for (int i = 0; i < nt; ++i)
                for (int x = 0; x < nx; ++x) half[v * nx + x] += f[i * nx + x] * turn(1LL * i * v, nt);
        for (int u = 0; u < nx; ++u)
            for (int x = 0; x < nx; ++x)
                for (int v = 0; v < nt; ++v) whole[v * nx + u] += half[v * nx + x] * turn(1LL * x * u, nx);
        return whole;
    }

    std::vector<double> FrequencyMask(int nt, double fNyq, double df, int& nMax) const {
        const double fMax = fNyq * maxMigFreqRel;
        const double taperWidth = (fNyq - fMax) * 0.2f;
        const double fEnd = fMax + taperWidth;
        nMax = static_cast<int>(fEnd / df + 0.5);
        if (!useFrequencyMask) return std::vector<double>(nt, 1.);
        const int nTaper = static_cast<int>(taperWidth / fEnd * (nMax + 1));
        std::vector<double> f(nt, 0.), h(2 * (nMax + 1), 1.);
        if (nTaper >= 2)
            for (int i = 0; i < nTaper; ++i)
                h[i] = h[h.size() - 1 - i] = 0.54 - 0.46 * std::cos(2 * M_PI * i / (2 * nTaper - 1));
        for (int k = 0; k <= nMax; ++k) f[k] = h[nMax - k];
        return f;
    }

    std::vector<double> DipRow(int nt, double fKx, double df, int nMax) const {
        const double width = std::min(dipWidth, 90 - dipMax);
        const float dipStart = float(dipMax) * kPi / 180;
        const float dipEnd = float(dipMax + width) * kPi / 180;
        if (!useDipMask || dipStart == dipEnd) return std::vector<double>(nt, 1.);
        std::vector<double> d(nt, 0.);
        const int kMin = std::max(int(fKx / df), 1);
        if (kMin == nMax) {
            d[kMin] = 1;
            return d;
        }
        const auto limited = [&](double k) { return int(std::clamp(k, double(kMin), double(nt - 1))); };
        int kHigh = kMin;
        int kLow = kMin;
        if (fKx > 0) {
            kHigh = dipStart == 0.f ? nt - 1 : limited(std::floor(fKx / (std::sin(dipStart) * df)));
            kLow = limited(std::floor(fKx / (std::sin(dipEnd) * df)));
        }
        for (int k = kLow; k < kHigh; ++k) {
            const float theta = std::asin(float(std::min(1., fKx / (k * df))));
            d[k] = 0.5f + 0.5f * std::cos((theta - dipStart) * kPi / (dipEnd - dipStart));
        }
        for (int k = kHigh; k < nt; ++k) d[k] = 1;
        return d;
    }

    Complex Read(const std::vector<Complex>& p, int nx, int nyquist, int h, double r, double m) const {
        const int i0 = std::min(nyquist, static_cast<int>(std::floor(r + 0.00005)));
        const double f = std::abs(r - i0);
        const auto at = [&](int i) { return p[i * nx + h]; };
        if (m == 0) return 0;
        if (interpolation != 1) {
            const int i1 = std::min(nyquist, i0 + 1);
            return m * (at(i0) + f * (at(i1) - at(i0)));
        }
        if (f <= std::clamp(threshold, 0.01, 10.)) return at(i0);
        const double k = 1 / (6 * M_PI);
        const double s = std::sin(M_PI * f);
        const double co = std::cos(M_PI * f);
        Complex sum = 0;
        for (int n = -4; n <= 5; ++n) {
            const double u = f - n;
            sum += (6 - std::abs(u)) / u * at(std::clamp(i0 + n, 1, nyquist));
        }
        return Complex(s * co * k, -s * s * k) * sum;
    }

    Block Migrate(const Block& in, int timeZero, double permittivity) const {
        const auto& sampling = TZM::AlgoBase::GetGlobalSettings();
        const int nOut = in.props.samplesPerAscan - timeZero;
        const int ascans = in.props.ascansPerBscan;
        const int nt = PowerOfTwo(in.props.samplesPerAscan) << extension;
        const int nx = PowerOfTwo(ascans);
        const double fNyq = 0.5 / sampling.delta_t;
        const double df = fNyq / (nt / 2);
        const double vh = kSpeedOfLight / std::sqrt(permittivity) * 0.5;
        int nMax = 0;
        const std::vector<double> frequencyMask = FrequencyMask(nt, fNyq, df, nMax);
        Block out(TZM::ImageProps(nOut, ascans, in.props.bscanCount));
        for (int b = 0; b < in.props.bscanCount; ++b) {
            std::vector<Complex> p(static_cast<std::size_t>(nt) * nx), q(p.size());
            for (int x = 0; x < ascans; ++x)
                for (int i = 0; i < nOut; ++i) p[i * nx + x] = in.At(timeZero + i, x, b);
            p = Transform(p, nt, nx, -1);
            for (int h = 0; h < nx; ++h) {
                const double kx = double(h <= nx / 2 ? h : nx - h) / nx / sampling.delta_x;
                const std::vector<double> dip = DipRow(nt, vh * kx, df, nMax);
                for (int j = 1; j <= nt / 2; ++j) {
                    const double r = std::sqrt(std::pow(j * df / vh, 2) + kx * kx) * vh / df;
                    if (r > nt / 2 + 1e-9) continue;
                    q[j * nx + h] = Read(p, nx, nt / 2, h, r, dip[j] * frequencyMask[j]);
                }
            }
            q = Transform(q, nt, nx, +1);
            for (int x = 0; x < ascans; ++x)
                for (int i = 0; i < nOut; ++i) out.At(i, x, b) = float(q[i * nx + x].real() / (double(nt) * nx));
        }
        return out;
    }
};

#pragma once

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>

#include "support/NaiveTransforms.h"
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

    using Matrix = std::vector<Spectrum>; // columns of nt elements
    static constexpr float kPi = 3.14159274f;

    /// The configuration document of these settings.
    std::string Document() const {
        std::ostringstream json;
        json << std::boolalpha << std::showpoint << "{'FkMigration': {'DepthSpectrumSizeExtension': " << extension
             << ", 'UseFrequencyMask': " << useFrequencyMask << ", 'UseDipMask': " << useDipMask
             << ", 'DipMax': " << dipMax << ", 'DipWidth': " << dipWidth << ", 'InterpolationMethod': " << interpolation
             << ", 'MaxMigFreqRel': " << maxMigFreqRel << ", 'HarlanThreshold': " << threshold << "}}";
        return json.str();
    }

    static Matrix Transform(Matrix m, int sign) {
        for (Spectrum& column : m) column = NaiveDft(column, sign);
        for (std::size_t i = 0; i < m[0].size(); ++i) {
            Spectrum row;
            for (const Spectrum& column : m) row.push_back(column[i]);
            row = NaiveDft(row, sign);
            for (std::size_t h = 0; h < m.size(); ++h) m[h][i] = row[h];
        }
        return m;
    }

    double FrequencyMask(int k, int nMax, int nTaper) const {
        if (!useFrequencyMask) return 1;
        if (k > nMax || nTaper < 2 || nMax - k >= nTaper) return k <= nMax;
        return 0.54 - 0.46 * std::cos(2 * M_PI * (nMax - k) / (2 * nTaper - 1));
    }

    double DipMask(int k, int nt, double fKx, double df, int nMax) const {
        const double width = std::clamp(dipWidth, 0., 90 - dipMax);
        const float dipStart = float(dipMax) * kPi / 180, dipEnd = float(dipMax + width) * kPi / 180;
        if (!useDipMask || dipStart == dipEnd) return 1;
        const int kMin = std::max(int(fKx / df), 1);
        if (kMin == nMax) return k == kMin;
        const auto binOf = [&](float dip) {
            return fKx > 0 ? std::clamp(std::floor(fKx / (std::sin(dip) * df)), double(kMin), nt - 1.) : kMin;
        };
        if (k >= binOf(dipStart) || k < binOf(dipEnd)) return k >= binOf(dipStart);
        const float theta = std::asin(float(std::min(1., fKx / (k * df))));
        return 0.5f + 0.5f * std::cos((theta - dipStart) * kPi / (dipEnd - dipStart));
    }

    std::complex<double> Read(const Spectrum& p, int nyquist, double r, double mask) const {
        const int i0 = std::min(nyquist, static_cast<int>(std::floor(r + 0.00005)));
        const double f = std::abs(r - i0);
        if (mask == 0) return 0;
        if (interpolation != 1) return mask * (p[i0] + f * (p[std::min(nyquist, i0 + 1)] - p[i0]));
        if (f <= std::clamp(threshold, 0.01, 10.)) return p[i0];
        std::complex<double> sum = 0;
        for (int n = -4; n <= 5; ++n) sum += (6 - std::abs(f - n)) / (f - n) * p[std::clamp(i0 + n, 1, nyquist)];
        return std::polar(std::sin(M_PI * f) / (6 * M_PI), -M_PI * f) * sum;
    }

    Block Migrate(const Block& in, int timeZero, double permittivity) const {
        const auto& sampling = TZM::AlgoBase::GetGlobalSettings();
        const int nOut = in.props.samplesPerAscan - timeZero, ascans = in.props.ascansPerBscan;
        const auto powerOfTwo = [](int n) { return 1 << int(std::ceil(std::log2(n))); };
        const int nt = powerOfTwo(in.props.samplesPerAscan) << extension, nx = powerOfTwo(ascans);
        const double fNyq = 0.5 / sampling.delta_t, df = fNyq / (nt / 2);
        const double taperWidth = (fNyq - fNyq * maxMigFreqRel) * 0.2f, fEnd = fNyq * maxMigFreqRel + taperWidth;
        const int nMax = static_cast<int>(fEnd / df + 0.5), nTaper = static_cast<int>(taperWidth / fEnd * (nMax + 1));
        const double vh = kSpeedOfLight / std::sqrt(permittivity) * 0.5;
        Block out(TZM::ImageProps(nOut, ascans, in.props.bscanCount));
        for (int b = 0; b < in.props.bscanCount; ++b) {
            Matrix p(nx, Spectrum(nt)), q(p);
            for (int x = 0; x < ascans; ++x)
                for (int i = 0; i < nOut; ++i) p[x][i] = in.At(timeZero + i, x, b);
            p = Transform(p, -1);
            for (int h = 0; h < nx; ++h)
                for (int j = 1; j <= nt / 2; ++j) {
                    const double kx = double(std::min(h, nx - h)) / nx / sampling.delta_x;
                    const double r = std::hypot(j * df / vh, kx) * vh / df;
                    const double mask = DipMask(j, nt, vh * kx, df, nMax) * FrequencyMask(j, nMax, nTaper);
                    if (r <= nt / 2 + 1e-9) q[h][j] = Read(p[h], nt / 2, r, mask);
                }
            q = Transform(q, +1);
            for (int x = 0; x < ascans; ++x)
                for (int i = 0; i < nOut; ++i) out.At(i, x, b) = float(q[x][i].real() / (double(nt) * nx));
        }
        return out;
    }
};

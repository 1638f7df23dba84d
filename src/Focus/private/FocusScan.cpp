#include "Focus/private/FocusScan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

#include "Algorithms/Migration/TransformSize.h"

namespace TZM {

namespace {

constexpr double kBand = 0.99; // of the energy above the noise
constexpr int kFewestBins = 12;
constexpr float kDipMax = 75.f, kDipWidth = 10.f; // degrees
constexpr int kAscansOfWindow = 40, kMostAcross = 32, kFewestAcross = 4, kDown = 4;

int TransformLength(std::int64_t n) {
    const std::int64_t length = FastLength(n);
    if (length > 1 << 24) throw std::bad_alloc();
    return static_cast<int>(length);
}

std::vector<int> Cuts(int length, int parts) {
    std::vector<int> cuts;
    for (int i = 0; i <= parts; ++i) cuts.push_back(static_cast<int>(std::int64_t{length} * i / parts));
    return cuts;
}

/// log2 to 1e-4, of a number above 0: exponent and a polynomial over the mantissa.
inline float Log2(float x) {
    std::int32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    const float exponent = static_cast<float>((bits >> 23) - 127);
    bits = (bits & 0x7fffff) | 0x3f800000;
    float m;
    std::memcpy(&m, &bits, sizeof m);
    return exponent + (((-0.081615808f * m + 0.64514236f) * m - 2.1206751f) * m + 4.0700908f) * m - 2.5128549f;
}

} // namespace

double WindowSums::Focus() const { return energy > 0 ? std::log(samples * squares / (energy * energy)) : M_LN2; }

double WindowSums::Entropy() const { return energy > 0 ? std::log(samples / energy) + M_LN2 * entropy / energy : 0; }

FocusScan::FocusScan(const DiffractedLine& line, double dt, double dx)
    : ascans(line.Ascans().dim1), samples(line.Ascans().dim0), deltaT(dt), deltaX(dx),
      longNt(TransformLength(samples + std::int64_t{samples} / 2)),
      nx(TransformLength(ascans + std::int64_t{ascans} / 4)), record(samples, ascans, longNt, nx) {
    const int nyquist = longNt / 2;
    record.Forward(line.Ascans(), 0, nyquist);
    std::vector<double> power(static_cast<std::size_t>(nyquist));
    for (int h = 0; h < nx; ++h)
        for (int j = 0; j < nyquist; ++j)
            power[j] += double{record.ColumnRe(h)[j]} * record.ColumnRe(h)[j] +
                        double{record.ColumnIm(h)[j]} * record.ColumnIm(h)[j];
    std::vector<double> upper(power.begin() + nyquist / 2, power.end());
    std::nth_element(upper.begin(), upper.begin() + static_cast<std::ptrdiff_t>(upper.size() / 2), upper.end());
    const double noise = 1.5 * upper[upper.size() / 2];
    double all = 0, moment = 0, below = 0;
    for (int j = 0; j < nyquist; ++j) {
        power[j] = std::max(0., power[j] - noise);
        all += power[j], moment += power[j] * (j + 1);
    }
    period = moment > 0 ? longNt * all / moment : samples;
    for (last = 0; last < nyquist && below <= kBand * all; ++last) below += power[last];
    last = std::clamp(last, std::min(kFewestBins, nyquist), nyquist);
    // Reads between the bins reach five bins further.
    nt = std::min(longNt, TransformLength(2 * (std::int64_t{last} + StoltTables::kTaps - StoltTables::kTapsBelow)));
    depths = static_cast<int>(std::int64_t{samples} * nt / longNt);
    windows = {TZM::Cuts(ascans, std::clamp(ascans / kAscansOfWindow, kFewestAcross, kMostAcross)),
               TZM::Cuts(depths, kDown)};
}

FocusScan::Work::Work(const FocusScan& scan)
    : spectrum(scan.depths, scan.ascans, scan.nt, scan.nx), energy(scan.depths, scan.ascans) {}

StoltTables FocusScan::Tables(double permittivity) const {
    StoltSettings s;
    s.nx = nx;
    s.nt = nt;
    s.deltaT = static_cast<float>(deltaT * longNt / nt);
    s.deltaX = static_cast<float>(deltaX);
    s.permittivity = static_cast<float>(permittivity);
    s.useFrequencyMask = false;
    s.dipMax = kDipMax;
    s.dipWidth = kDipWidth;
    return StoltTables(s);
}

// Backwards d(T - t) has the conjugate spectrum at -kx, turned by the T = samples - 1 samples that it is moved down.
void FocusScan::Load(double ahead, bool backwards, HalfSpectrum& to) const {
    const int bins = nt / 2;
    const double turn = 2 * M_PI * (backwards ? ahead - (samples - 1) : ahead) / longNt;
    std::vector<float> cosine(static_cast<std::size_t>(bins)), sine(cosine);
    for (int j = 0; j < bins; ++j) {
        const float keep = j < last ? 1.f : 0.f;
        cosine[j] = keep * static_cast<float>(std::cos(turn * (j + 1)));
        sine[j] = keep * static_cast<float>(std::sin(turn * (j + 1)));
    }
    for (int h = 0; h < nx; ++h) {
        const int from = backwards ? (nx - h) % nx : h;
        const float *re = record.ColumnRe(from), *im = record.ColumnIm(from);
        const float side = backwards ? -1.f : 1.f;
        float *toRe = to.ColumnRe(h), *toIm = to.ColumnIm(h);
        for (int j = 0; j < bins; ++j) {
            toRe[j] = re[j] * cosine[j] - side * im[j] * sine[j];
            toIm[j] = re[j] * sine[j] + side * im[j] * cosine[j];
        }
    }
}

void FocusScan::Migrate(const StoltTables& tables, double ahead, bool backwards, Work& work, WindowSums* sums) const {
    Load(ahead, backwards, work.spectrum);
    for (int h = 0; h < nx; ++h) tables.MapColumn(h, work.spectrum.ColumnRe(h), work.spectrum.ColumnIm(h), work.column);
    work.spectrum.InverseEnergy(tables.LastImageBin(), work.energy);
    const int down = static_cast<int>(windows.depths.size()) - 1;
    for (int w = 0; w < windows.Count(); ++w) {
        const int begin = windows.depths[w % down], end = windows.depths[w % down + 1];
        const int first = windows.ascans[w / down], behind = windows.ascans[w / down + 1];
        double energy = 0, squares = 0, entropy = 0;
        for (int y = first; y < behind; ++y) {
            const float* const row = &work.energy.At(0, y);
#pragma omp simd reduction(+ : energy, squares, entropy)
            for (int s = begin; s < end; ++s) {
                const float e = row[s];
                energy += double{e};
                squares += double{e} * double{e};
                entropy += double{e * Log2(e + 1e-30f)};
            }
        }
        sums[w] = {energy, squares, entropy, (end - begin) * (behind - first)};
    }
}

} // namespace TZM

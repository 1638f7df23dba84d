#include "Focus/private/FocusScan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <numeric>

#include "Algorithms/Migration/TransformSize.h"
#include "Array/Simd/Dispatch.h"
#include "Focus/private/Quantile.h"

namespace TZM {

namespace {

constexpr int kFewestBins = 12;
constexpr float kDipMax = 75.f, kDipWidth = 10.f; // degrees
constexpr int kAscansOfWindow = 60, kMostAcross = 32, kFewestAcross = 4, kDown = 6;
constexpr int kSmooth = 4;            // bins on either side
constexpr double kWhite = 0.01;       // of the highest energy of a frequency, as noise that is always there
constexpr double kLeastShare = 0.1;   // of the signal in the energy of a frequency
constexpr double kOblique = 0.12;     // periods squared, see Lean
constexpr double kAntennaShare = 0.5; // see Lean
constexpr double kMostLean = 0.2;

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

FocusScan::FocusScan(const DiffractedLine& line, double dt, double dx, std::optional<double> delay)
    : ascans(line.Ascans().dim1), samples(line.Ascans().dim0), deltaT(dt), deltaX(dx),
      longNt(TransformLength(samples + std::int64_t{samples} / 2)),
      nx(TransformLength(ascans + std::int64_t{ascans} / 4)), record(samples, ascans, longNt, nx) {
    record.Forward(line.Ascans(), 0, longNt / 2);
    const std::vector<double> power = Power(), signal = SignalOf(power, line);
    std::vector<float> white(signal.size()); // where the signal rules, nothing where noise does
    double squares = 0, moment = 0;
    for (std::size_t j = 0; j < signal.size(); ++j) {
        if (signal[j] > 0)
            white[j] = static_cast<float>(std::sqrt(signal[j]) / power[j]), last = static_cast<int>(j) + 1;
        squares += signal[j] * signal[j], moment += signal[j] * signal[j] * static_cast<double>(j + 1);
    }
    for (int h = 0; h < nx; ++h) {
        IPP::Simd::Active().mul(white.data(), record.ColumnRe(h), longNt / 2);
        IPP::Simd::Active().mul(white.data(), record.ColumnIm(h), longNt / 2);
    }
    last = std::max(last, std::min(kFewestBins, longNt / 2));
    period = moment > 0 ? longNt * squares / moment : samples;
    antennaDelay = delay.value_or(kUsualAntennaDelay * period);
    // Reads between the bins reach five bins further.
    nt = std::min(longNt, TransformLength(2 * (std::int64_t{last} + StoltTables::kTaps - StoltTables::kTapsBelow)));
    depths = static_cast<int>(std::int64_t{samples} * nt / longNt);
    windows = {TZM::Cuts(ascans, std::clamp(ascans / kAscansOfWindow, kFewestAcross, kMostAcross)),
               TZM::Cuts(depths, kDown)};
}

// Over all wavenumbers, as a mean over some frequencies.
std::vector<double> FocusScan::Power() const {
    const int nyquist = longNt / 2;
    std::vector<double> sums(static_cast<std::size_t>(nyquist) + 1), power;
    for (int h = 0; h < nx; ++h)
        for (int j = 0; j < nyquist; ++j)
            sums[j + 1] += double{record.ColumnRe(h)[j]} * record.ColumnRe(h)[j] +
                           double{record.ColumnIm(h)[j]} * record.ColumnIm(h)[j];
    std::partial_sum(sums.begin(), sums.end(), sums.begin());
    for (int j = 0; j < nyquist; ++j) {
        const int begin = std::max(0, j - kSmooth), end = std::min(nyquist, j + kSmooth + 1);
        power.push_back((sums[end] - sums[begin]) / (end - begin));
    }
    return power;
}

// What is more than noise, up to where it first is hardly more. Noise has as much energy in every wavenumber that the
// line keeps; it is alone in the upper half of the frequencies.
std::vector<double> FocusScan::SignalOf(const std::vector<double>& power, const DiffractedLine& line) const {
    const auto kept = [&](std::size_t j) { return line.Kept(static_cast<double>(j + 1) / (longNt * deltaT * 1e9)); };
    std::vector<double> upper;
    for (std::size_t j = power.size() / 2; j < power.size(); ++j)
        if (kept(j) > 0) upper.push_back(power[j] / kept(j));
    const double noise = upper.empty() ? 0 : Quantile(upper, 0.5);
    const auto top = static_cast<std::size_t>(std::max_element(power.begin(), power.end()) - power.begin());
    std::vector<double> signal(power.size());
    for (std::size_t j = 0; j < power.size(); ++j) {
        const double above = power[j] - noise * kept(j) - kWhite * power[top];
        if (above > 0) signal[j] = above;
        if (j > top && above <= kLeastShare * power[j]) break;
    }
    return signal;
}

// Two things move the focus, both by 1 / t^2, t the time. Antennas 2 h apart flatten an apex: of t^2 = 4 (z^2 + h^2) /
// v^2 only z curves it, so that the permittivity seems lower by a share of permittivity (2 h / c)^2 / t^2, and by less
// along the flanks: half of it counts. And antennas look down: what fades along the flanks of a hyperbola turns its
// spectrum by a phase that grows with the dip, as if the permittivity were higher; how much that counts was read from
// synthetic lines of points and bars under dipoles.
double FocusScan::Lean(int window, double permittivity) const {
    const double t = Time(window);
    return std::clamp((kOblique * period * period - kAntennaShare * permittivity * antennaDelay * antennaDelay) /
                          (t * t),
                      -kMostLean, kMostLean);
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
        cosine[j] = static_cast<float>(std::cos(turn * (j + 1)));
        sine[j] = static_cast<float>(std::sin(turn * (j + 1)));
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

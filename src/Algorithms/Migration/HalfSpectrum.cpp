#include "Algorithms/Migration/HalfSpectrum.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

#include "Array/Simd/Dispatch.h"

namespace TZM {

namespace {

using IPP::Simd::Index;

// Elements between two columns: room for the bins 1 .. nt / 2 in whole vectors, and one vector more, so that
// neighbouring columns don't fall into the same set of the cache.
int ColumnStride(int nt) { return (nt / 2 + 15) / 16 * 16 + 16; }

int AreaSize(std::int64_t floats) {
    if (floats > std::numeric_limits<int>::max()) throw std::bad_alloc();
    return static_cast<int>(floats);
}

// Positions of the parts of the one memory area.
struct Layout {
    Layout(int nt, int nx, int lanes, Index workSize)
        : plane(std::int64_t{ColumnStride(nt)} * nx), pair(std::int64_t{2} * nt * lanes),
          halves(std::int64_t{4} * (nt / 2 + 1) * lanes), work(workSize) {}
    int Total() const { return AreaSize(2 * plane + pair + halves + work); }
    std::int64_t plane, pair, halves, work;
};

Index WorkSize(int nt, int nx) {
    return std::max(IPP::FftPlan::Get(nt)->WorkSize(), IPP::FftPlan::Get(nx)->WorkSize());
}

} // namespace

HalfSpectrum::HalfSpectrum(int sampleCount, int ascanCount, int transformSamples, int transformAscans)
    : samples(sampleCount), ascans(ascanCount), nt(transformSamples), nx(transformAscans),
      lanes(IPP::Simd::ActiveFft().lanes), alongSamples(IPP::FftPlan::Get(nt)), alongAscans(IPP::FftPlan::Get(nx)),
      memory(Layout(nt, nx, lanes, WorkSize(nt, nx)).Total()), re(memory.data, ColumnStride(nt), nx),
      im(re.data + re.size, ColumnStride(nt), nx), pair(im.data + im.size, 2 * nt * lanes),
      halves(pair.data + pair.size, 4 * (nt / 2 + 1) * lanes),
      work(halves.data + halves.size, memory.size - 2 * re.size - pair.size - halves.size) {
    memory.Zero(); // lanes beside the last A-scan and the last bin are transformed too
}

void HalfSpectrum::Forward(const IPP::Array2D<float>& bscan, int firstSample, int lastBin) {
    if (lastBin < 1) return;
    const auto& fft = IPP::Simd::ActiveFft();
    const Index ascanBytes = Index{bscan.dim0} * sizeof(float);
    const Index block = 2 * lanes;
    for (int x = 0; x < ascans; x += 2 * lanes) {
        for (const int group : {0, 1}) {
            const int first = std::min(x + group * lanes, ascans - 1); // an empty group reads nothing
            const int rows = std::clamp(ascans - x - group * lanes, 0, lanes);
            fft.loadRows(&bscan.At(firstSample, first), ascanBytes, rows, samples, pair.data + group * lanes, block);
        }
        // The halves of the sum and the difference that part the two groups are taken here.
        const IPP::LaneTarget spectrum{pair.data, pair.data + lanes, block};
        alongSamples->Forward({pair.data, pair.data + lanes, block, samples}, spectrum, work.data, 0.5f);
        fft.separatePair(pair.data, nt, lastBin, halves.data);
        for (const int group : {0, 1}) {
            const int rows = std::clamp(ascans - x - group * lanes, 0, lanes);
            if (rows == 0) continue;
            const float* half = halves.data + group * 2 * lanes;
            const Index columnBytes = Index{re.dim0} * sizeof(float);
            fft.storeRows(half, 4 * lanes, rows, lastBin, &re.At(0, x + group * lanes), columnBytes);
            fft.storeRows(half + lanes, 4 * lanes, rows, lastBin, &im.At(0, x + group * lanes), columnBytes);
        }
    }
    TransformRows(lastBin, false);
}

void HalfSpectrum::InverseRealPart(int lastBin, const IPP::Array2D<float>& bscan) {
    if (lastBin < 1) {
        std::fill_n(bscan.data, static_cast<std::size_t>(bscan.size), 0.f);
        return;
    }
    TransformRows(lastBin, true);
    const auto& fft = IPP::Simd::ActiveFft();
    const Index block = 2 * lanes;
    const float scale = static_cast<float>(0.5 / (static_cast<double>(nx) * nt)); // the real part is half the sum of
    for (int x = 0; x < ascans; x += 2 * lanes) {                                 // q[j] and conj(q[-j])
        for (const int group : {0, 1}) {
            const int first = std::min(x + group * lanes, ascans - 1);
            const int rows = std::clamp(ascans - x - group * lanes, 0, lanes);
            float* half = halves.data + group * 2 * lanes;
            const Index columnBytes = Index{re.dim0} * sizeof(float);
            fft.loadRows(&re.At(0, first), columnBytes, rows, lastBin, half, 4 * lanes);
            fft.loadRows(&im.At(0, first), columnBytes, rows, lastBin, half + lanes, 4 * lanes);
        }
        fft.joinPair(halves.data, lastBin, nt, pair.data);
        const IPP::LaneTarget image{pair.data, pair.data + lanes, block};
        alongSamples->Inverse({pair.data, pair.data + lanes, block}, image, work.data, scale);
        for (const int group : {0, 1}) {
            const int rows = std::clamp(ascans - x - group * lanes, 0, lanes);
            if (rows == 0) continue;
            fft.storeRows(pair.data + group * lanes, block, rows, samples, &bscan.At(0, x + group * lanes),
                          Index{bscan.dim0} * sizeof(float));
        }
    }
}

// What has no negative wavenumbers is an analytic signal. One group of A-scans fills a transform.
void HalfSpectrum::InverseEnergy(int lastBin, const IPP::Array2D<float>& bscan) {
    if (lastBin < 1) {
        std::fill_n(bscan.data, static_cast<std::size_t>(bscan.size), 0.f);
        return;
    }
    TransformRows(lastBin, true);
    const auto& fft = IPP::Simd::ActiveFft();
    const Index block = 2 * lanes, columnBytes = Index{re.dim0} * sizeof(float);
    const float scale = static_cast<float>(1 / (static_cast<double>(nx) * nt));
    for (int x = 0; x < ascans; x += lanes) {
        const int rows = std::min(lanes, ascans - x);
        std::fill_n(pair.data, block, 0.f);
        fft.loadRows(&re.At(0, x), columnBytes, rows, lastBin, pair.data + block, block);
        fft.loadRows(&im.At(0, x), columnBytes, rows, lastBin, pair.data + block + lanes, block);
        const IPP::LaneTarget image{pair.data, pair.data + lanes, block};
        alongSamples->Inverse({pair.data, pair.data + lanes, block, lastBin + 1}, image, work.data, scale);
        for (Index i = 0; i < samples; ++i) {
            float* const element = pair.data + i * block;
            for (int lane = 0; lane < lanes; ++lane)
                element[lane] = element[lane] * element[lane] + element[lanes + lane] * element[lanes + lane];
        }
        fft.storeRows(pair.data, block, rows, samples, &bscan.At(0, x), Index{bscan.dim0} * sizeof(float));
    }
}

// Neighbouring vertical wavenumbers ride in the lanes, so that the transforms along the A-scans need no transpose.
void HalfSpectrum::TransformRows(int lastBin, bool inverse) {
    for (int j = 0; j < lastBin; j += lanes) {
        const IPP::LaneTarget rows{&re.At(j, 0), &im.At(j, 0), re.dim0};
        if (inverse)
            alongAscans->Inverse({rows.re, rows.im, rows.stride}, rows, work.data);
        else
            alongAscans->Forward({rows.re, rows.im, rows.stride, ascans}, rows, work.data);
    }
}

} // namespace TZM

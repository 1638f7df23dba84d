#pragma once

#include <memory>

#include "Array/Array2D.h"
#include "Array/Primitives/FftPlan.h"

namespace TZM {

/// The two-dimensional spectrum of a B-scan, of which only the positive vertical wavenumbers are kept: a record is
/// real, so that they tell all of it, and an image is the real part of what they give. Two A-scans ride as real and
/// imaginary part of one complex transform, in both directions. Work memory of one thread, made once for all its
/// B-scans.
///
/// Column h holds the horizontal wavenumber h, element j - 1 of it the vertical wavenumber j = 1 .. nt / 2, real and
/// imaginary parts apart. Wavenumber 0 isn't kept.
class HalfSpectrum {
public:
    /// For B-scans of `ascans` A-scans with `samples` samples each, in transforms of nx >= ascans by nt >= samples
    /// elements.
    HalfSpectrum(int samples, int ascans, int nt, int nx);

    /// The spectrum of a B-scan, from sample `firstSample` of its A-scans on, up to the vertical wavenumber lastBin;
    /// beyond it the spectrum isn't defined. No scaling.
    void Forward(const IPP::Array2D<float>& bscan, int firstSample, int lastBin);

    /// The real part of the inverse transform of the wavenumbers 1 .. lastBin, the others taken as 0, scaled by 1 / (nx
    /// nt).
    void InverseRealPart(int lastBin, const IPP::Array2D<float>& bscan);

    /// The energy of the inverse transform of the wavenumbers 1 .. lastBin: the squared envelope of the A-scans that
    /// InverseRealPart gives, times four.
    void InverseEnergy(int lastBin, const IPP::Array2D<float>& bscan);

    float* ColumnRe(int h) const { return &re.At(0, h); }
    float* ColumnIm(int h) const { return &im.At(0, h); }

private:
    void TransformRows(int lastBin, bool inverse);

    int samples;
    int ascans;
    int nt;
    int nx;
    int lanes;
    std::shared_ptr<const IPP::FftPlan> alongSamples;
    std::shared_ptr<const IPP::FftPlan> alongAscans;
    IPP::Array<float> memory; ///< one area, large enough for huge pages
    IPP::Array2D<float> re;   ///< nx columns
    IPP::Array2D<float> im;
    IPP::Array<float> pair;   ///< two groups of A-scans as one complex signal, lane blocks
    IPP::Array<float> halves; ///< their spectra apart
    IPP::Array<float> work;
};

} // namespace TZM

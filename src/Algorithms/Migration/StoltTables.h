#pragma once

#include <cstddef>
#include <vector>

#include "Array/AlignedIntVector.h"

namespace TZM {

/// What decides the Stolt mapping of a B-scan, with the limits of the settings already applied.
struct StoltSettings {
    int nx = 1;               ///< transform size along the A-scans
    int nt = 1;               ///< transform size along the samples
    float deltaT = 0.f;       ///< seconds between samples
    float deltaX = 0.f;       ///< metres between A-scans
    float permittivity = 1.f; ///< relative permittivity of the ground
    bool useFrequencyMask = true;
    bool useDipMask = true;
    float dipMax = 85.f;          ///< degrees up to which dips pass whole, 0 .. 90
    float dipWidth = 5.f;         ///< degrees over which they fade out
    bool harlan = true;           ///< windowed-sinc read between the bins, else the linear one
    float maxMigFreqRel = 0.6f;   ///< frequency up to which all passes, as a fraction of Nyquist
    float harlanThreshold = 0.1f; ///< distance to a bin, in bins, up to which the bin itself is read

    bool operator==(const StoltSettings& other) const;
};

/// The Stolt mapping as one weighted read per element of the image's spectrum, made once for all B-scans.
///
/// An element at the vertical wavenumber kz = j df / vh and the horizontal wavenumber kx of column h lies in the
/// spectrum of the record at the frequency vh sqrt(kz^2 + kx^2), vh the half speed of the wave; in bins of df that is
/// r = sqrt(j^2 + (vh kx / df)^2). The read between the bins is a sum over the ten bins from i0 - 4 to i0 + 5, i0 the
/// bin below r, times a complex factor (Harlan's windowed sinc; the nearest bin and the linear read are special cases
/// of it). Columns h and nx - h have the same kx, so that only 0 .. nx / 2 are kept.
class StoltTables {
public:
    static constexpr int kTaps = 10; ///< bins i0 - 4 .. i0 + 5
    static constexpr int kTapsBelow = 4;
    static constexpr int kTapStride = 12; ///< taps and two zeros: three vectors of four

    /// The reads of one column: image bins first .. first + count - 1; all others stay 0.
    struct Column {
        int first = 0;
        int count = 0;
        std::size_t offset = 0; ///< of its first read in the arrays below
    };

    explicit StoltTables(const StoltSettings& settings);

    /// Of columns of other wavenumbers, vh k in bins, for h = 0 .. nx / 2, k the horizontal wavenumber. All bins that a
    /// column may touch count for LastImageBin and LastRecordBin.
    StoltTables(const StoltSettings& settings, const std::vector<double>& columnBins);

    /// vh k in bins, for k in cycles per metre.
    static double ColumnBin(const StoltSettings& settings, double k);

    bool Serves(const StoltSettings& wanted) const { return settings == wanted; }
    std::size_t Bytes() const;

    /// The column of wavenumber index h, 0 .. nx - 1.
    const Column& At(int h) const { return columns[h <= nx / 2 ? h : nx - h]; }

    int LastImageBin() const { return lastImageBin; }   ///< the last bin j that any column fills, 0 if none
    int LastRecordBin() const { return lastRecordBin; } ///< the last bin that any read touches

    /// Fills the image's spectrum of column h from the record's, both as bins 1 .. in split parts and in the same
    /// place; image bins from 1 to LastImageBin() are written. `record` is the work memory of a thread.
    void MapColumn(int h, float* re, float* im, std::vector<float>& record) const;

private:
    void Reserve(std::size_t reads);
    void AddColumn(double columnBin, const std::vector<float>& pass);

    StoltSettings settings;
    int nx;
    int nyquist;
    int lastImageBin = 0;
    int lastRecordBin = 0;
    std::vector<Column> columns;
    template <class T>
    using Aligned = std::vector<T, IPP::AlignedAllocator<T>>;
    Aligned<int> bins; ///< i0 of each read
    Aligned<float> taps;
    Aligned<float> factorRe;
    Aligned<float> factorIm;
};

} // namespace TZM

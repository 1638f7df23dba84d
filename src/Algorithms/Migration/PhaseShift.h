#pragma once

#include <memory>
#include <vector>

#include "Array/Array2D.h"
#include "Array/Primitives/FftPlan.h"

namespace TZM {

/// What decides a migration by phase shift.
struct PhaseShiftSettings {
    int rows;           ///< of the spectrum: samples of the transform along the A-scan
    int columns;        ///< of the spectrum: A-scans of the transform along the scan
    int imageSamples;   ///< of the image, and samples of the record that are read; at most rows
    float deltaT;       ///< s
    float doubleDeltaX; ///< m, twice the distance of the A-scans, since the speed isn't halved
    bool withoutMean;   ///< leave out the wavenumber 0

    bool operator==(const PhaseShiftSettings& other) const;
};

/// 2 pi as a float holds it.
constexpr double kTwoPi = 6.2831854820251465;

/// The angular frequencies, rad/s, or horizontal wavenumbers, rad/m, of the bins of a transform of samples a step
/// apart; the upper half negative.
std::vector<double> SpectralAxis(int bins, double step);

/// The angle by which a depth step of one sample turns an element of the spectrum, in radians with the sign of omega; 0
/// for one that doesn't propagate, omega^2 <= (speed k)^2. A hundred turns later a float would be off by 1e-5.
double PhaseOf(double omega, double wavenumber, double speed, double deltaT);

/// image(z, a) = Re sum over x of exp(2 pi i a x / M) R(z, x),   R(z, x) = sum over i of Q(i, x) exp(i phase(i, x) (z +
/// 1)), over the elements that propagate, with Q the spectrum of the record and M its columns; nothing is scaled (J.
/// Gazdag, Wave equation migration with the phase-shift method, Geophysics 43 (1978), 1342-1351).
///
/// R is a Fourier sum whose frequencies, the phases, lie anywhere. It is taken as one over a grid twice as fine as z,
/// on which every element is spread by a kernel exp(beta (sqrt(1 - u^2) - 1)) of 8 points, by an inverse transform and
/// a division by the kernel's own transform (A. H. Barnett, J. F. Magland, L. af Klinteberg, A parallel nonuniform fast
/// Fourier transform library based on an "exponential of semicircle" kernel, SIAM J. Sci. Comput. 41 (2019),
/// C479-C504). The error is that of 32-bit arithmetic. Since the record is real and only the real part is wanted, half
/// of the columns do: with H = (R(z, x) + conj R(z, M - x)) / 2, one sum over Q(i, x) at the phase and Q(i, M - x),
/// conjugated, at minus the phase.
class PhaseShift {
public:
    /// \param speed m/s, of each row of the spectrum: of a frequency, not of a depth
    PhaseShift(const PhaseShiftSettings& settings, const IPP::Array<float>& speed);

    bool Serves(const PhaseShiftSettings& wanted, const IPP::Array<float>& wantedSpeed) const;
    std::size_t Bytes() const;

    /// Work memory of one thread.
    class Work;

    /// image: A-scans of imageSamples. record: as many A-scans, of which the samples from firstSample on are read; at
    /// most `columns`. weights: of the A-scans, or empty. IPP::Exception -2 "IPP::Exception::ippsDFTInv_outOfRange32f"
    /// for a sum R(z, x) with x < M / 2 out of the range of transforms, if that is asked for.
    void Migrate(const IPP::Array2D<float>& record, int firstSample, const std::vector<float>& weights, bool checkRange,
                 const IPP::Array2D<float>& image, Work& work) const;

private:
    /// The elements of a column that propagate.
    struct Column {
        std::vector<int> rows, starts;
        std::vector<float> weights;      ///< of the points of the grid
        std::vector<IPP::Ipp32fc> turns; ///< to the middle of the image
    };

    void Spread(const Column& column, const float* re, const float* im, float scale, bool withMirror, Work& work,
                float* grid) const;

    /// Sums over the frequencies, 2 H or, without the mirror, R, of the columns x .. x + count - 1, whose spectrum
    /// stands in the work memory.
    void SumUp(int x, int count, bool withMirror, Work& work) const;

    /// Whether R of these columns can't leave the range of transforms; else what does is refused.
    bool SurelyInRange(const Work& work) const;
    void RequireRange(int x, int count, Work& work) const;

    PhaseShiftSettings settings;
    std::vector<float> speed;
    int half; ///< columns that are summed
    int gridSize;
    std::vector<Column> table;
    std::vector<float> correction; ///< 1 / transform of the kernel, of each image sample
    std::shared_ptr<const IPP::FftPlan> alongScan, alongAscan, alongGrid;
};

class PhaseShift::Work {
public:
    explicit Work(const PhaseShift& shift);

private:
    friend class PhaseShift;
    int lanes, stride;          ///< stride: samples of an A-scan in whole vectors
    IPP::Array2D<float> re, im; ///< [A-scan or wavenumber][sample]
    IPP::Array2D<float> sumRe, sumIm;
    IPP::Array2D<float> columnsRe, columnsIm; ///< of the spectrum, one per lane
    IPP::Array<float> spectrum, grids, blocks, plan;
    std::vector<float> values, tuples;
};

} // namespace TZM

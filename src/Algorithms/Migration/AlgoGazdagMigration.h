#pragma once

#include <vector>

#include "Algorithms/Migration/AlgoParamMigrationBase.h"
#include "Array/Array2D.h"
#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"
#include "Framework/KeptTables.h"

namespace TZM {

class PhaseShift;

struct TZM_EXPORT AlgoParamGazdagMigration : AlgoParamMigrationBase {
    static const bool defaultUseFFT;   ///< false
    static const bool defaultUseTaper; ///< false

    AlgoParamGazdagMigration();
    AlgoParamGazdagMigration(bool enableLogging, int loggingLevel, int timeZero, float permittivity,
                             const std::string& overlays, bool useFFT, bool useTaper);

    Prm<bool> useFFT;   ///< transforms of powers of two
    Prm<bool> useTaper; ///< fade the A-scans at both ends of a B-scan; not with useFFT
};

/// Migrates every B-scan by phase shift (J. Gazdag, Geophysics 43 (1978), 1342-1351): every element of its spectrum is
/// turned, from one image sample to the next, by the phase of a step of that depth,
///     phase = sqrt(omega^2 - v^2 k^2) delta_t, with the sign of omega,
/// and the sum over the frequencies, taken back along the scan, is the image; elements with omega^2 <= v^2 k^2 are left
/// out. The speed v belongs to a frequency row: it is the RMS of 1.2 c falling to 0.95 c within 0.08 m, with
/// c = 3e8 / sqrt(permittivity) m/s, so that low frequencies run a little faster. Wavenumbers count with twice delta_x,
/// since speeds aren't halved. Nothing is scaled: levels grow with the sizes of the transforms.
///
/// With useFFT sizes are powers of two, a few A-scans beyond one being cropped on both sides and left 0, and the row
/// and the column of zero frequency are left out, so that every depth has a mean of 0 over the width of the transform.
///
/// The object keeps the phases, up to 256 MiB, for the next Execute of the same sizes, sampling and parameters: 48
/// bytes for each element of half the spectrum that propagates, 4 MiB at most for 512 x 300.
///
/// Output: samples - timeZero by A-scans by B-scans; every A-scan is migrated, valid or not. CalcError -10 if the
/// permittivity isn't above 0; 99 "Index exceeds IPP::Array3D bounds" if timeZero lies outside the A-scan or a
/// dimension is 0; 99 "IPP::Exception::ippsDFTInv_outOfRange32f" without useFFT if a sum over the frequencies lies
/// beyond 3.4e35 in one of the first half of the columns (an infinity in the record mostly becomes NaN, which passes);
/// 99 for fewer than 3 samples.
class TZM_EXPORT AlgoGazdagMigration : public Algo<AlgoParamGazdagMigration> {
public:
    explicit AlgoGazdagMigration(const std::string& name = "GazdagMigration");

    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    ImageProps GetAdjustedImageDimensions(const ImageProps& props) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;

protected:
    /// The path with transforms of powers of two.
    void ExecuteFFT(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const;

    /// RMS of a speed that falls along a straight line from startVelocity to endVelocity within depth metres and stays
    /// there, at steps of deltaT seconds of two-way time; zeros if the mean speed or deltaT isn't above 0.
    void BuildRmsVelocityVector(IPP::Array<float>& velocity, float deltaT, float depth, float startVelocity,
                                float endVelocity) const;

    /// exp(i phase) of element (row, column) of a spectrum, at row * columns + column; 0 for one that is left out.
    /// \param deltaX2 twice the distance of the A-scans. CalcError -10 if permittivity isn't above 0.
    void BuildCfactorTable(IPP::Array2D<IPP::Ipp32fc>& table, IPP::Array<float>& velocity, int rows, int columns,
                           float permittivity, float deltaX2, float deltaT) const;

private:
    KeptTables<PhaseShift> phaseShift;
};

} // namespace TZM

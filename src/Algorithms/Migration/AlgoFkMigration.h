#pragma once

#include <memory>
#include <vector>

#include "Algorithms/Migration/AlgoParamMigrationBase.h"
#include "Framework/Algo.h"
#include "Framework/AlgoJsonParamsBase.h"
#include "Framework/JsonKeyInfo.h"
#include "Framework/KeptTables.h"

namespace TZM {

class StoltTables;

struct TZM_EXPORT AlgoParamFkMigration : AlgoParamMigrationBase {
    using AlgoParamMigrationBase::AlgoParamMigrationBase;
};

/// Migrates every B-scan with one constant speed, in the wavenumber domain (R. H. Stolt, Migration by Fourier
/// transform, Geophysics 43 (1978), 23-48): the hyperbola of a point reflector collapses to the point.
///
/// With v = 3e8 / sqrt(permittivity) m/s and P the two-dimensional spectrum of the B-scan behind its first timeZero
/// samples, the image is the real part of the inverse transform of
///     Q(kz, kx) = mask(kz, kx) P(f, kx),   f = v / 2 * sqrt(kz^2 + kx^2),   kz > 0,
/// half the amplitude of a two-sided spectrum, without the Jacobian of the mapping. P is read between its bins, the
/// masks fade out high frequencies and steep dips. Sampling is that of the global settings.
///
/// Output: samples - timeZero by A-scans by B-scans; sample 0 lies at time zero; every A-scan is migrated, valid or
/// not. CalcError -10 if the permittivity isn't above 0, 99 "Index exceeds IPP::Array3D bounds" if timeZero lies
/// outside the A-scan or a dimension is 0. std::bad_alloc if a transform size can't be had.
///
/// The object keeps the tables of the mapping, up to 256 MiB, for the next Execute of the same sizes, sampling and
/// parameters: 60 bytes for each wavenumber up to Nyquist that the masks let pass, 3 MiB for 512 x 300.
///
/// A B-scan that holds a NaN or an infinity comes out as NaN; the others aren't affected.
class TZM_EXPORT AlgoFkMigration : public Algo<AlgoParamFkMigration> {
public:
    static const int defDepthSpectrumSizeExtension; ///< 0
    static const float defDipMax;                   ///< 85 degrees
    static const float defDipWidth;                 ///< 5 degrees
    static const int defInterpolationMethod;        ///< 1
    static const float defMaxMigFreqRel;            ///< 0.6
    static const float defHarlanThreshold;          ///< 0.1

    /// Tuning values, rebuilt from defaults and the section of the configuration document at every Execute. They keep
    /// what the document says; Execute limits them.
    struct TZM_EXPORT InternalAlgoParams : AlgoJsonParamsBase<AlgoFkMigration> {
        explicit InternalAlgoParams(const AlgoFkMigration* algo); ///< the defaults
        InternalAlgoParams(const AlgoFkMigration* algo, const std::string& config);
        void Parse() override;

        int depthSpectrumSizeExtension =
            defDepthSpectrumSizeExtension; ///< doubles the transform along the samples so often
        bool useFrequencyMask = true;      ///< fade out high frequencies
        bool useDipMask = true;            ///< fade out steep dips
        float dipMax = defDipMax;          ///< dip in degrees up to which all passes, 0 .. 90
        float dipWidth = defDipWidth; ///< degrees behind it over which the dips fade out, up to 90; 0 or below: no mask
        int interpolationMethod = defInterpolationMethod; ///< 1 windowed sinc (Harlan), any other linear
        float maxMigFreqRel = defMaxMigFreqRel; ///< frequency that passes whole, of the Nyquist frequency, 0.01 .. 1
        float harlanThreshold = defHarlanThreshold; ///< bins up to which the nearest one is read, 0.01 .. 10
    };

    explicit AlgoFkMigration(const std::string& name = "FkMigration");

    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    ImageProps GetAdjustedImageDimensions(const ImageProps& props) const override;

    /// The keys of the section, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;

protected:
    const std::shared_ptr<InternalAlgoParams>& GetInternalAlgoParams() const { return internalAlgoParams; }
    void RefreshInternalAlgoParams() const;

private:
    mutable std::shared_ptr<InternalAlgoParams> internalAlgoParams;
    KeptTables<StoltTables> stoltTables;
};

} // namespace TZM

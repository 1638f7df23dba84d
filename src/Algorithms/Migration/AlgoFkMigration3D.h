#pragma once

#include <vector>

#include "Algorithms/Migration/AlgoParamMigrationBase.h"
#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamFkMigration3D : AlgoParamMigrationBase {
    AlgoParamFkMigration3D();
    AlgoParamFkMigration3D(bool enableLogging, int loggingLevel, int timeZero, float permittivity,
                           const std::string& overlays, float lineSpacing);

    Prm<float> lineSpacing; ///< m between neighbouring B-scans, above 0; hosts take it from the recording
    Prm<float> padding;     ///< share of the block's extent by which the transforms are longer, in each direction
    Prm<float> taper;       ///< share of the extent over which the block fades out at its ends, 0 .. 0.5
};

/// Migrates the block as a volume with one constant speed, in the wavenumber domain (R. H. Stolt, Migration by Fourier
/// transform, Geophysics 43 (1978), 23-48): the fast way for data of one antenna, or behind a bistatic correction,
/// where no more than a speed is known.
///
/// With v = 3e8 / sqrt(permittivity) m/s and P the three-dimensional spectrum of the block behind its first timeZero
/// samples, the image is the real part of the inverse transform of
///     Q(kz, kx, ky) = mask(kz, k) P(f, kx, ky),   k = sqrt(kx^2 + ky^2),   f = v / 2 * sqrt(kz^2 + k^2),   kz > 0,
/// half the amplitude of a two-sided spectrum, without the Jacobian of the mapping. Masks and reads between the bins
/// are those of AlgoFkMigration, with its keys in the own section.
///
/// The block fades out over a share `taper` of its extent, at the end of its A-scans, at both ends of its B-scans and
/// at its first and last ones: over n = floor(taper * extent) elements by the weights (1 - cos(pi (i + 1) / (n + 1))) /
/// 2, i counted from the end. Transforms are longer than the block by `padding`, rounded up to fast lengths
/// (FastLength), and along the samples doubled "DepthSpectrumSizeExtension" times, so that what leaves the block on one
/// side doesn't come in on the other.
///
/// Output: samples - timeZero by A-scans by B-scans; sample 0 lies at time zero; every A-scan is migrated, valid or
/// not. CalcError -10 if the permittivity isn't above 0, -9 if delta_t, delta_x or lineSpacing isn't, -8 for a padding
/// or taper below 0, 99 "Index exceeds IPP::Array3D bounds" if timeZero lies outside the A-scan or a dimension is 0.
/// std::bad_alloc if a transform size can't be had. A NaN or an infinity makes NaN of the block.
class TZM_EXPORT AlgoFkMigration3D : public Algo<AlgoParamFkMigration3D> {
public:
    static const float defaultLineSpacing; ///< 0.05 m
    static const float defaultPadding;     ///< 0.25
    static const float defaultTaper;       ///< 0.05

    explicit AlgoFkMigration3D(const std::string& name = "FkMigration3D");

    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    ImageProps GetAdjustedImageDimensions(const ImageProps& props) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys of the parameters and those of AlgoFkMigration, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM

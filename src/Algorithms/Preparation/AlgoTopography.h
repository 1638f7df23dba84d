#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamTopography : AlgoParamBase {
    AlgoParamTopography();
    AlgoParamTopography(bool enableLogging, int loggingLevel, float datum, const std::vector<float>& elevations,
                        float permittivity);

    Prm<float> datum;                   ///< m, the elevation at which time zero lies then; 0: the highest one
    Prm<std::vector<float>> elevations; ///< m, of the ground; see the algorithm for their number
    Prm<float> permittivity;            ///< relative permittivity of the ground
};

/// Moves every A-scan by the elevation of the ground, so that what lies at one elevation lies at one time: the static
/// correction to a datum with the speed of the ground (O. Yilmaz, "Seismic Data Analysis", 2nd ed. 2001, section 3.3).
///     out[s, y] = in[s - k, y],   k = 2 (datum - elevation of y) / (v deltaT), rounded,   v = c / sqrt(permittivity).
/// Whole samples: every sample keeps its value, and the way back, with all elevations and the datum of the other sign,
/// gives the block again. What comes free is 0, what comes ahead of the first sample goes. Where time zero was, the
/// datum is, and v t / 2 below it lies what comes at the time t behind.
///
/// As many elevations as the block has A-scans, B-scan by B-scan, are one for each; up to as many as a B-scan has
/// A-scans are spread evenly along all B-scans alike, straight in between. With a datum of 0 it is the highest of them.
///
/// Output: max(k) samples more per A-scan, fewer if that is negative; A-scans outside the valid range come out as
/// zeros, their elevations count. Sampling is that of the global settings. CalcError -10 for a permittivity that isn't
/// above 0, -9 for an interval that isn't, -13 "TZM::Exception::unexpectedElevationCount" for no elevations or another
/// number of them, -12 for a shift beyond what an index counts, 99 "IPP::Exception::ippsCopy_32f" if no sample is left
/// or a dimension is 0.
class TZM_EXPORT AlgoTopography : public Algo<AlgoParamTopography>, public CountsBscans {
public:
    static const float defaultPermittivity; ///< 6

    explicit AlgoTopography(const std::string& name = "Topography");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ExecutePart(const float* in, const ImageProps& partProps, const BlockPart& part, float* out,
                     const ImageProps& outProps) const override;
    ImageProps GetAdjustedImageDimensions(const ImageProps& props) const override;
    void ParseParamsFromJsonConfig() override;

    /// The output of a block, or of a part of it, with such intervals, whatever the global settings are.
    ImageProps DimensionsBehind(const ImageProps& props, const AlgoGlobalSettings& sampling) const;
    /// The elevation of the datum, in m; 0 without elevations.
    double Datum() const;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM

#pragma once

#include <vector>

#include "Algorithms/Migration/AlgoParamMigrationBase.h"
#include "Array/Array.h"
#include "Framework/Algo.h"
#include "Framework/AlgoJsonParamsBase.h"
#include "Framework/JsonKeyInfo.h"
#include "Framework/KeptTables.h"

namespace TZM {

class DiffractionStack;

struct TZM_EXPORT AlgoParamKirchhoffMigration : AlgoParamMigrationBase {
    using AlgoParamMigrationBase::AlgoParamMigrationBase;
};

/// Migrates every B-scan in the time domain: each sample of the image is the weighted sum of the input along the travel
/// times of a point there (W. A. Schneider, Integral formulation for migration in two and three dimensions, Geophysics
/// 43 (1978), 49-76). Follows layers above the ground, antenna offsets and valid ranges.
///
/// With v[s] half the RMS speed down to sample s, a the antenna offset of the channel's kind, x = d delta_x and
/// t = s delta_t:
///     out[s - timeZero, y] = sum over d, ascending, of W in[idx, y + d],
///     T = (sqrt((x + a)^2 / v^2 + t^2) + sqrt((x - a)^2 / v^2 + t^2)) / 2,   Tc = T - a / (4 v),
///     idx = floor(Tc / delta_t + 1.5),   W = sqrt(S delta_t / Tc) t / Tc,
/// for d from 1 - n to n - 2 over n valid A-scans, within the aperture: |d| up to s delta_t v tan(angle) / (2 delta_x),
/// at least "ApertureBaseWidth" and, unless that is 0, at most "ApertureMaxWidth". The sum isn't divided by its terms.
///
/// The object keeps the terms of both kinds of channels, up to 256 MiB each, for the next Execute of the same sizes,
/// sampling and parameters: 12 bytes per term, at most 400 KiB for 512 samples within the default aperture.
///
/// Output: samples - timeZero by A-scans by B-scans, 0 outside the valid A-scans. CalcError -10 if the permittivity
/// isn't above 0, -9 if delta_t or delta_x isn't, -8 for a timeZero below 0; 99 "IPP::Exception::ippsZero_32f" if the
/// output has no samples; -11, with the output zeroed, if neither 5 nor 7 divides the number of B-scans; 99 for A-scans
/// of fewer than 3 samples.
class TZM_EXPORT AlgoKirchhoffMigration : public Algo<AlgoParamKirchhoffMigration> {
public:
    static const float defaultAntennaOffsetMono; ///< 0.03 m
    static const float defaultAntennaOffsetBi;   ///< 0.03 m
    static const float defaultApertureAngle;     ///< 60 degrees
    static const int defaultApertureBaseWidth;   ///< 10 A-scans
    static const int defaultApertureMaxWidth;    ///< 32 A-scans

    /// Tuning values, rebuilt from defaults and the section of the configuration document at every Execute.
    struct TZM_EXPORT InternalAlgoParams : AlgoJsonParamsBase<AlgoKirchhoffMigration> {
        explicit InternalAlgoParams(const AlgoKirchhoffMigration* algo); ///< the defaults
        InternalAlgoParams(const AlgoKirchhoffMigration* algo, const std::string& config);
        void Parse() override;

        float antennaOffsetMono = defaultAntennaOffsetMono; ///< metres between transmitter and receiver
        float antennaOffsetBi = defaultAntennaOffsetBi;
        float apertureAngle = defaultApertureAngle;       ///< degrees, 0 .. 85; 0: no limit at all
        int apertureBaseWidth = defaultApertureBaseWidth; ///< A-scans to each side, 0 .. 100
        int apertureMaxWidth = defaultApertureMaxWidth;   ///< A-scans to each side, 0 .. 100; 0: no upper limit
    };

    explicit AlgoKirchhoffMigration(const std::string& name = "KirchhoffMigration");

    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    ImageProps GetAdjustedImageDimensions(const ImageProps& props) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys of both groups, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;

protected:
    InternalAlgoParams* const& GetInternalAlgoParams() const {
        return internalAlgoParams.Get();
    } ///< null before an Execute
    void RefreshInternalAlgoParams() const;

    /// RMS speed from the surface down to each sample, in metres per second: the layers from the first one on, each as
    /// thick as its thickness over its speed, rounded to samples, then the ground. A first layer of 0 samples is
    /// passed over, a later one ends them. The vector has at least 3 elements.
    void GenerateVelocityVector(IPP::Array<float>& velocity, const std::vector<Overlay>& overlays) const;

private:
    mutable OwnedParams<InternalAlgoParams> internalAlgoParams;
    KeptTables<DiffractionStack> monoStack, biStack;
};

} // namespace TZM

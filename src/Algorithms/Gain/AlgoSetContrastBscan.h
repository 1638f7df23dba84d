#pragma once

#include <vector>

#include "Array/Array.h"
#include "Framework/Algo.h"
#include "Framework/AlgoJsonParamsBase.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamSetContrastBscan : AlgoParamBase {
    AlgoParamSetContrastBscan();
    AlgoParamSetContrastBscan(bool enableLogging, int loggingLevel, float contrastValue);

    Prm<float> ContrastValue; ///< for the host; Execute doesn't use it
};

/// Prepares B-scans for display. Near the surface every sample loses its mean over the valid A-scans of its B-scan,
/// weighted by a mask that is 1 over the first samples and fades out behind them; then the B-scan is scaled, by its own
/// peak or by a factor for the kind of its channel:
///     out = (in - mask[s] * mean[s]) * factor,   factor = 1 / max(peak, 0.01) or max(ScaleFactor, 0.1).
///
/// Output: that of the input, 0 outside the valid A-scans. CalcError -11 if neither 5 nor 7 divides the number of
/// B-scans, before the output is touched; 99 "IPP::Exception::ippsZero_32f" if a dimension is 0.
class TZM_EXPORT AlgoSetContrastBscan : public Algo<AlgoParamSetContrastBscan> {
public:
    static const float defaultContrastValue; ///< 0

    /// Tuning values, rebuilt from defaults and the section of the configuration document at every Execute.
    struct TZM_EXPORT InternalAlgoParams : AlgoJsonParamsBase<AlgoSetContrastBscan> {
        explicit InternalAlgoParams(const AlgoSetContrastBscan* algo); ///< the defaults
        InternalAlgoParams(const AlgoSetContrastBscan* algo, const std::string& config);
        void Parse() override;

        float ScaleFactorMono = defScaleFactorMono;
        float ScaleFactorBi = defScaleFactorBi;
        bool Normalize = defNormalize;      ///< scale by the peak
        int BgrLenMono = defBgrLenMono;     ///< samples that lose their whole mean
        int TaperLenMono = defTaperLenMono; ///< samples behind them over which that fades out
        int BgrLenBi = defBgrLenBi;
        int TaperLenBi = defTaperLenBi;
    };

    explicit AlgoSetContrastBscan(const std::string& name = "SetContrastBscan");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys of both groups, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;

protected:
    InternalAlgoParams* const& GetInternalAlgoParams() const {
        return internalAlgoParams.Get();
    } ///< null before an Execute
    void RefreshInternalAlgoParams() const;

    /// 1 over bgrLen samples, a falling cosine over taperLen more, 0 behind. Together they are at most the mask's size.
    void GenerateBgrMask(IPP::Array<float, int>& mask, int bgrLen, int taperLen) const;

private:
    static const float defScaleFactorMono; ///< 10
    static const float defScaleFactorBi;   ///< 25
    static const bool defNormalize;        ///< true
    static const int defBgrLenMono;        ///< 16
    static const int defTaperLenMono;      ///< 20
    static const int defBgrLenBi;          ///< 19
    static const int defTaperLenBi;        ///< 10

    mutable OwnedParams<InternalAlgoParams> internalAlgoParams;
};

} // namespace TZM

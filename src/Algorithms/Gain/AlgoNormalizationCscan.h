#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamNormalizationCscan : AlgoParamBase {
    AlgoParamNormalizationCscan();
    AlgoParamNormalizationCscan(bool enableLogging, int loggingLevel, float min, float max);

    Prm<float> Min; ///< what the smallest value of the block becomes
    Prm<float> Max; ///< what the largest becomes; below Min it inverts the data
};

/// Stretches a whole block with one scale to Min .. Max:
///     out = in * scale + offset,   scale = (Max - Min) / (hi - lo),   offset = Max - hi * scale.
/// Channels and valid ranges play no part. A block of one value becomes 0.
///
/// Output: that of the input. CalcError 99 "IPP::Exception::ippsMinMax_32f" if a dimension is 0. A failure of a key in
/// the configuration document leaves ParseParamsFromJsonConfig as std::runtime_error.
class TZM_EXPORT AlgoNormalizationCscan : public Algo<AlgoParamNormalizationCscan>, public CouplesBlock {
public:
    static const float defaultMin; ///< 0
    static const float defaultMax; ///< 1

    explicit AlgoNormalizationCscan(const std::string& name = "NormalizationCscan");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    // The smallest and the largest value couple the block; a part may be any B-scans of it.
    BlockFindings Look(const float* in, const ImageProps& partProps, const BlockPart& part) const override;
    void Work(const float* in, const ImageProps& partProps, const BlockPart& part, const BlockFindings& all, float* out,
              const ImageProps& outProps) const override;
    const BlockFindings::Table& FindingsTable() const override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM

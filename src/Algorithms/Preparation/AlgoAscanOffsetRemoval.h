#pragma once

#include "Framework/Algo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamAscanOffsetRemoval : AlgoParamBase {
    AlgoParamAscanOffsetRemoval() = default;
    AlgoParamAscanOffsetRemoval(bool enableLogging, int loggingLevel) : AlgoParamBase(enableLogging, loggingLevel) {}
};

/// Removes the offset of every A-scan: out[s] = in[s] - mean(in), the mean over all S samples, accumulated in 64 bits.
/// Output shape: that of the input. Every A-scan is treated, valid or not; one with a NaN becomes all NaN. CalcError 99
/// "IPP::Exception::ippsCopy_32f" if a dimension is 0.
class TZM_EXPORT AlgoAscanOffsetRemoval : public Algo<AlgoParamAscanOffsetRemoval> {
public:
    explicit AlgoAscanOffsetRemoval(const std::string& name = "OffsetRemoval");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
};

} // namespace TZM

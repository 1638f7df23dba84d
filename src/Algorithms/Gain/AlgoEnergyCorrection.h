#pragma once

#include "Framework/Algo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamEnergyCorrection : AlgoParamBase {
    AlgoParamEnergyCorrection() = default;
    AlgoParamEnergyCorrection(bool enableLogging, int loggingLevel) : AlgoParamBase(enableLogging, loggingLevel) {}
};

/// Levels the bistatic B-scans: each is multiplied by
///     sqrt((E[i-1] + E[i+1]) / (2 E[i])),   E the sum of the squares of all samples of a B-scan of the input,
/// so that its energy becomes the mean of those of the monostatic B-scans beside it. Monostatic B-scans and B-scans
/// without energy pass unchanged; a NaN in a bistatic B-scan or beside it makes that B-scan all NaN.
///
/// Output: that of the input. Every A-scan counts, valid or not. The sums are 64-bit floats, so that no value overflows
/// them. CalcError -11 if neither 5 nor 7 divides the number of B-scans, before the output is touched; 99
/// "IPP::Exception::ippsCopy_32f" if a dimension is 0.
class TZM_EXPORT AlgoEnergyCorrection : public Algo<AlgoParamEnergyCorrection> {
public:
    explicit AlgoEnergyCorrection(const std::string& name = "EnergyCorrection");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
};

} // namespace TZM

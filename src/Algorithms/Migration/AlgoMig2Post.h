#pragma once

#include "Framework/Algo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamMig2Post : AlgoParamBase {
    AlgoParamMig2Post() = default;
    AlgoParamMig2Post(bool enableLogging, int loggingLevel) : AlgoParamBase(enableLogging, loggingLevel) {}
};

/// Replaces every A-scan by its envelope, the magnitude of its analytic signal: out[s] = |in[s] + i H(in)[s]|, H the
/// Hilbert transform over all S samples. Behind a migration a reflector so shows as one positive peak. Output shape:
/// that of the input. Every A-scan is treated, valid or not; one of zeros gives zeros, one with a NaN all NaN. A-scans
/// have at most 1024 samples and values of at most 3.4e35 in magnitude, otherwise CalcError 99
/// "IPP::Exception::ippsHilbert_outOfRange32f"; std::bad_alloc if S is 0, CalcError 99 if another dimension is.
class TZM_EXPORT AlgoMig2Post : public Algo<AlgoParamMig2Post> {
public:
    explicit AlgoMig2Post(const std::string& name = "Mig2Post");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
};

} // namespace TZM

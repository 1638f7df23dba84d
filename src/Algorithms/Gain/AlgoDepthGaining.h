#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamDepthGaining : AlgoParamBase {
    AlgoParamDepthGaining();
    AlgoParamDepthGaining(bool enableLogging, int loggingLevel, int start, int apex, int end, float startGain,
                          float apexGain, float endGain);

    Prm<int> Start; ///< sample index, limited to the A-scan
    Prm<int> Apex;  ///< sample index, limited to Start .. End; -1 stands for End
    Prm<int> End;   ///< sample index, limited to Start .. the last sample; -1 stands for the last
    Prm<float> StartGain;
    Prm<float> ApexGain;
    Prm<float> EndGain;
};

/// Multiplies every A-scan by one curve: StartGain ahead of Start, a straight line to ApexGain at Apex, another to
/// EndGain at End, EndGain behind it. Gains are linear factors. The block is copied if Start isn't ahead of End or if
/// all gains are 1. Channels and valid ranges play no part.
///
/// Output: that of the input. CalcError 99 "IPP::Exception::ippsCopy_32f" if a dimension is 0.
class TZM_EXPORT AlgoDepthGaining : public Algo<AlgoParamDepthGaining> {
public:
    static const int defaultStart;       ///< 0
    static const int defaultApex;        ///< 0
    static const int defaultEnd;         ///< 0
    static const float defaultStartGain; ///< 1
    static const float defaultApexGain;  ///< 1
    static const float defaultEndGain;   ///< 1

    explicit AlgoDepthGaining(const std::string& name = "DepthGaining");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM

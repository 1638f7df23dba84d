#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamNormalizationBscan : AlgoParamBase {
    AlgoParamNormalizationBscan();
    AlgoParamNormalizationBscan(bool enableLogging, int loggingLevel, float min, float max, bool ignoreCalibration);

    Prm<float> Min; ///< what the smallest value of a B-scan becomes
    Prm<float> Max; ///< what the largest becomes; below Min it inverts the data
    Prm<bool> IgnoreCalibration;
};

/// What the document's global object tells of the device.
struct TZM_EXPORT AlgoNormalizationBscanDevice {
    bool UseTX1RX2 = false;   ///< position 1 was recorded as TX1RX2
    bool UseTX3RX2 = false;   ///< position 3 was recorded as TX3RX2
    int ADBitResolution = 16; ///< 14 .. 32
};

/// Brings every B-scan to a common scale. With a calibration document its counts c become full scale,
///     out = c * factor / 2^(ADBitResolution - 1),
/// with the factor of the pair of antennas; five pairs follow each other whatever the number of B-scans:
/// TX1RX1, TX2RX1 (or TX1RX2), TX2RX2, TX2RX3 (or TX3RX2), TX3RX3. Without one, or when told to ignore it, each B-scan
/// is stretched from its own smallest and largest value to Min .. Max.
///
/// Output: that of the input; A-scans outside the valid range aren't written, but a B-scan whose valid A-scans all hold
/// one value becomes 0 throughout. CalcError 99 for valid A-scans of 0 samples, "IPP::Exception::ippsCopy_32f" with a
/// calibration and "IPP::Exception::ippsMinMax_32f" without one; a block without A-scans or B-scans does nothing.
class TZM_EXPORT AlgoNormalizationBscan : public Algo<AlgoParamNormalizationBscan>,
                                          public CountsBscans,
                                          protected AlgoNormalizationBscanDevice {
public:
    static const float defaultMin;              ///< -1
    static const float defaultMax;              ///< 1
    static const bool defaultIgnoreCalibration; ///< false

    explicit AlgoNormalizationBscan(const std::string& name = "NormalizationBscan");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ExecutePart(const float* in, const ImageProps& partProps, const BlockPart& part, float* out,
                     const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM

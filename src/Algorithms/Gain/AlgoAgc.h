#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamAgc : AlgoParamBase {
    AlgoParamAgc();
    AlgoParamAgc(bool enableLogging, int loggingLevel, float window, float level, float floor, bool envelope);

    Prm<float> window;  ///< ns along the A-scan over which the strength is taken
    Prm<float> level;   ///< what the strength becomes
    Prm<float> floor;   ///< share of the block's root mean square below which a strength isn't lifted to the level
    Prm<bool> envelope; ///< the mean of the envelope in the window in place of the root mean square
};

/// Automatic gain control: brings every part of every A-scan to one strength,
///     out[s] = in[s] level / max(r[s], floor R),   r[s]^2 = mean of in[s']^2,   |s' - s| <= h, within the A-scan,
/// or r[s] the mean of the envelope, as AlgoEnvelope gives it, over these s', with h = window / (2 deltaT), rounded, at
/// least 1; at the ends of the A-scan the window holds fewer samples. R is the root mean square of all valid A-scans of
/// the block that are finite. Where r is below floor R, silence stays silent; where both are 0 the output is 0. (O.
/// Yilmaz, Seismic Data Analysis, SEG 2001, section 1.4, on gain by root mean square.)
///
/// All events come to one height: strengths don't compare behind it, neither along an A-scan nor from one to another.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros. The sampling interval is that of the
/// global settings. CalcError -9 for a window that isn't above 0, -8 for a negative floor, 99
/// "IPP::Exception::ippsCopy_32f" if a dimension is 0. A NaN reaches the samples whose windows hold it; with the
/// envelope its A-scan.
class TZM_EXPORT AlgoAgc : public Algo<AlgoParamAgc>, public CouplesBlock {
public:
    static const float defaultWindow; ///< 20 ns
    static const float defaultLevel;  ///< 1
    static const float defaultFloor;  ///< 0.01

    explicit AlgoAgc(const std::string& name = "Agc");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    // The root mean square couples the block, unless the floor is 0; a part may be any B-scans of it.
    bool IsCoupled() const override { return params.floor != 0.f; }
    BlockFindings Look(const float* in, const ImageProps& partProps, const BlockPart& part) const override;
    void Work(const float* in, const ImageProps& partProps, const BlockPart& part, const BlockFindings& all, float* out,
              const ImageProps& outProps) const override;
    const BlockFindings::Table& FindingsTable() const override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM

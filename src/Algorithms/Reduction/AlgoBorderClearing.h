#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

/// Widths of what is cleared on the six sides of a block: X counts A-scans, Y B-scans, Z samples; lower sides from the
/// start of the axis, upper ones from its end.
struct TZM_EXPORT BorderWidths {
    unsigned LowerX = 0, UpperX = 0, LowerY = 0, UpperY = 0, LowerZ = 0, UpperZ = 0;

    bool operator==(const BorderWidths& other) const {
        return LowerX == other.LowerX && UpperX == other.UpperX && LowerY == other.LowerY && UpperY == other.UpperY &&
               LowerZ == other.LowerZ && UpperZ == other.UpperZ;
    }
    bool operator!=(const BorderWidths& other) const { return !(*this == other); }
};

struct TZM_EXPORT AlgoParamBorderClearing : AlgoParamBase {
    AlgoParamBorderClearing();
    AlgoParamBorderClearing(bool enableLogging, int loggingLevel);

    Prm<BorderWidths> borders;
    Prm<float> ClearValue;
};

/// Keeps the box within the borders and sets everything outside it to ClearValue; without borders the block is copied.
/// Borders that meet leave an empty box.
///
/// Output: that of the input. CalcError 99 "Index exceeds IPP::Array3D bounds" for an upper width beyond its dimension,
/// unless another axis leaves the box empty; what has been copied until then stays. 99 if a
/// dimension is 0, "IPP::Exception::ippsCopy_32f" without borders and "IPP::Exception::ippsSet_32f" with some. A
/// readable configuration document sets all values: what it doesn't hold becomes 0. A failure leaves
/// ParseParamsFromJsonConfig as std::runtime_error.
class TZM_EXPORT AlgoBorderClearing : public Algo<AlgoParamBorderClearing>, public CountsBscans {
public:
    static const float defaultClearValue; ///< 0

    explicit AlgoBorderClearing(const std::string& name = "Clipper");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ExecutePart(const float* in, const ImageProps& partProps, const BlockPart& part, float* out,
                     const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM

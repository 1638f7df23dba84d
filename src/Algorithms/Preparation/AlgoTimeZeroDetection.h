#pragma once

#include <vector>

#include "Array/Array3D.h"
#include "Framework/Algo.h"
#include "Framework/AlgoJsonParamsBase.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamTimeZeroDetection : AlgoParamBase {
    AlgoParamTimeZeroDetection() = default;
    AlgoParamTimeZeroDetection(bool enableLogging, int loggingLevel) : AlgoParamBase(enableLogging, loggingLevel) {}
};

/// Finds the first strong negative excursion of every B-scan and shifts the A-scans up, so that it stands at sample 0.
///
/// In an A-scan of a monostatic B-scan, the excursion is the first run of two samples or more below the threshold
/// T = -max(1, min(2^(bits - 1), |NegADCThreshold|)) within the samples 2 to 97, up to the run's end, and its index is
/// the centroid with the weights sqrt(|in[k]|), rounded; 0 without a run, or with an infinity in it. The raw index of
/// the B-scan is the median over its valid A-scans, or the default index if a third of them or more have none. A
/// bistatic B-scan takes the mean of the raw indices of the two monostatic ones beside it, or 0 if one of them is 0.
///     shift[i] = max(0, raw[i] + channelOffsets[i % 5]),   out[s] = in[s + shift], zeros at the end.
/// All A-scans of a B-scan move, valid or not. A B-scan without valid ones has shift 0; it comes out as zeros if some
/// other B-scan is shifted.
///
/// Output: that of the input; GetNewOutProps tells how many samples hold data in every B-scan. A shorter A-scan than 98
/// samples is searched to its end; a NaN is never below the threshold. CalcError -11 if neither 5 nor 7 divides the
/// number of B-scans, 99 "Index exceeds IPP::Array2D bounds" if a shift reaches the A-scan's end and
/// "IPP::Exception::ippsCopy_32f" if a dimension is 0, all before the output is touched.
class TZM_EXPORT AlgoTimeZeroDetection : public Algo<AlgoParamTimeZeroDetection>, public CouplesBlock {
public:
    static const int defADBitResolution; ///< 16
    static const int defNegADCThreshold; ///< -4000
    static const int defTimeZeroIndex;   ///< 24

    /// Tuning values, rebuilt from defaults and the configuration document at every Execute.
    struct TZM_EXPORT InternalAlgoParams : AlgoJsonParamsBase<AlgoTimeZeroDetection> {
        InternalAlgoParams(const AlgoTimeZeroDetection* algo, const std::string& config);
        void Parse() override;

        std::vector<int> channelOffsets; ///< added to the raw index, slot i % 5 for B-scan i; -3, -2, -3, -2, -3
        bool detailedLogging;            ///< second condition of the log line
        int adBitResolution;             ///< width of the digitiser in bits, 14 .. 32
        int negAdcThreshold;             ///< in counts; its sign doesn't matter
        int defaultTimeZeroIndex;        ///< raw index of a monostatic B-scan without a detection
    };

    explicit AlgoTimeZeroDetection(const std::string& name = "TimeZeroDetection");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;

    // The largest shift couples the block: it says how many samples are left, and whether B-scans without valid A-scans
    // are cleared. Work sets what GetNewOutProps gives, like Execute.
    BlockFindings Look(const float* in, const ImageProps& partProps, const BlockPart& part) const override;
    void Work(const float* in, const ImageProps& partProps, const BlockPart& part, const BlockFindings& all, float* out,
              const ImageProps& outProps) const override;
    const BlockFindings::Table& FindingsTable() const override;
    int UsableSamples(const BlockFindings& all, int samples) const override; ///< samples - largest shift

    /// The outProps of the last Execute or Work with the samples that hold data in every B-scan, samples - largest
    /// shift. The output block keeps its layout. Valid until the next Execute.
    const ImageProps& GetNewOutProps() const { return newOutProps; }

    /// The keys of the section and those of "Global" that count here, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;

protected:
    InternalAlgoParams* const& GetInternalAlgoParams() const { return internalAlgoParams.Get(); }
    void RefreshInternalAlgoParams() const;

private:
    BlockFindings ShiftsIn(const IPP::Array3D<float, int>& src, const ImageProps& partProps, const BlockPart& part,
                           int channels) const;
    void MoveBscans(const IPP::Array3D<float, int>& src, const ImageProps& partProps, const BlockPart& part,
                    const BlockFindings& all, const IPP::Array3D<float, int>& dst) const;

    mutable OwnedParams<InternalAlgoParams> internalAlgoParams;
    mutable ImageProps newOutProps;
};

} // namespace TZM

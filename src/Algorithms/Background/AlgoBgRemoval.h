#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Array/Array2D.h"
#include "Array/Array3D.h"
#include "Framework/Algo.h"
#include "Framework/AlgoJsonParamsBase.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamBgRemoval : AlgoParamBase {
    /// What is taken for background. Any value without a name removes the row mean.
    enum AlgoType {
        None = 0,     ///< nothing: the input is copied
        Median = 1,   ///< the median of every depth over the pane
        Classify = 2, ///< the median over those A-scans that show background only
        HighPass = 3, ///< what changes slowly along the scan
        Surface = 5   ///< the mean of the depths near the surface
    };

    AlgoParamBgRemoval();
    AlgoParamBgRemoval(bool enableLogging, int loggingLevel, int timeZero, AlgoType algorithm);

    Prm<int> timeZero; ///< sample index of time zero in the A-scans, below their length; only Classify uses it
    Prm<AlgoType> algorithm;
};

/// Takes out of every B-scan what is the same along the scan: ringing, the direct wave, flat layers.
///
/// B-scans wider than "SplitPaneWidthLimit" are cut into overlapping panes, each treated as a B-scan of its own and
/// faded into the one before it; HighPass never cuts. A depth row below is one sample index over the valid A-scans of a
/// pane. A-scans outside the valid range come out as zeros; None copies them too.
///
/// Median: out = in - median of the row. HighPass: a Butterworth filter of the first order with its cut-off at a period
/// of 200 A-scans, run forwards and backwards. Surface: out = in - mask * mean of the row, the mask 1 near the surface
/// and faded out below it. Classify judges, A-scan by A-scan, by the energy below time zero whether there is only
/// background, and takes the median over those; where it finds too few it takes the mean of the row. It first looks for
/// a mesh in the whole block; behind a mesh the bistatic B-scans are replaced by the mean of their neighbours.
///
/// Output: that of the input; the blocks don't overlap. CalcError -11 if neither 5 nor 7 divides the number of B-scans,
/// before the output is touched; 99 "IPP::Exception::ippsCopy_32f" if a dimension is 0; with Classify 99 "Index exceeds
/// IPP::Array2D bounds" if timeZero lies outside the A-scan, and 99 for a filter order outside 1 .. 12. std::bad_alloc
/// for an order below 0, with any procedure.
class TZM_EXPORT AlgoBgRemoval : public Algo<AlgoParamBgRemoval>, public CouplesBlock {
public:
    static const AlgoParamBgRemoval::AlgoType defaultAlgorithm; ///< Median

    /// Tuning values, rebuilt from defaults and the section of the configuration document at every Execute.
    struct TZM_EXPORT InternalAlgoParams : AlgoJsonParamsBase<AlgoBgRemoval> {
        explicit InternalAlgoParams(const AlgoBgRemoval* algo); ///< the defaults
        InternalAlgoParams(const AlgoBgRemoval* algo, const std::string& config);
        void Parse() override;

        // Classification.
        int clsGateWidthMesh50mm =
            defClsGateWidthMesh50mm;                    ///< background A-scans in a row that a mesh of 50 mm asks for
        int clsGateWidthNoMesh = defClsGateWidthNoMesh; ///< and those without a mesh
        int clsLag = defClsLag;       ///< A-scans before it over which an A-scan is averaged for its energy window
        int clsKmax = defClsKmax;     ///< samples below time zero among which the lower edge of the window is sought
        float clsSigma = defClsSigma; ///< level of the noise, in units of the data
        float clsThresholdLevel =
            defClsThresholdLevel; ///< energy below which an A-scan is background, in medians of the energy
        float clsAcceptance = defClsAcceptance; ///< share of the A-scans that must be background
        int clsFilterOrder = defClsFilterOrder; ///< of the low-pass that smooths the energy along the scan, 1 .. 12
        float clsFilterWn = defClsFilterWn;     ///< its cut-off, as a fraction of the Nyquist frequency
        bool clsUseConnectedBgOnly = defClsUseConnectedBgOnly;

        // Mesh.
        int meshRange = AlgoBgRemoval::meshRange; ///< samples above and below the depth of the mesh
        int meshCorrIgnoreZoneLen =
            AlgoBgRemoval::meshCorrIgnoreZoneLen; ///< lags of the autocorrelation that are its main lobe
        float meshCorrNegCorrMinRelVal = AlgoBgRemoval::meshCorrNegCorrMinRelVal; ///< depth of its minimum between two
                                                                                  ///< wires, relative to the maximum
        float spacingCondMeshDetection =
            AlgoBgRemoval::spacingCondMeshDetection; ///< largest spacing that is looked for, in metres
        float spacingCondMeshAcceptMin =
            AlgoBgRemoval::spacingCondMeshAcceptMin; ///< smallest accepted spacing, in metres
        float spacingCondMeshAcceptMax =
            AlgoBgRemoval::spacingCondMeshAcceptMax; ///< largest accepted spacing, in metres
        float spacingCondMaxDiffCorr2Fft = AlgoBgRemoval::spacingCondMaxDiffCorr2Fft; ///< kept, not used
        float meshFftPeakThresholdFactor =
            AlgoBgRemoval::meshFftPeakThresholdFactor; ///< height of the spectral peak in means of the spectrum

        // Panes.
        int splitPaneWidthLimit = defSplitPaneWidthLimit;     ///< A-scans up to which a B-scan isn't cut
        int maxPaneWidth = defMaxPaneWidth;                   ///< A-scans of a pane, roughly
        int paneOverlapPercentage = defPaneOverlapPercentage; ///< limited to 0 .. 50

        bool detailedLogging = false; ///< a line for each B-scan and pane on how it was classified

        // Surface removal.
        float scaleFactorMono = defSfcScaleFactorMono; ///< kept, not used
        float scaleFactorBi = defSfcScaleFactorBi;     ///< kept, not used
        int bgrLenMono = defSfcBgrLenMono;             ///< samples from the top that lose their whole mean
        int taperLenMono = defSfcTaperLenMono;         ///< samples behind them over which the removal fades out
        int bgrLenBi = defSfcBgrLenBi;
        int taperLenBi = defSfcTaperLenBi;
    };

    explicit AlgoBgRemoval(const std::string& name = "BgRemoval");

    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    // Only Classify couples the block, by the mesh for which every monostatic B-scan votes.
    bool IsCoupled() const override { return params.algorithm == AlgoParamBgRemoval::Classify; }
    BlockFindings Look(const float* in, const ImageProps& partProps, const BlockPart& part) const override;
    void Work(const float* in, const ImageProps& partProps, const BlockPart& part, const BlockFindings& all, float* out,
              const ImageProps& outProps) const override;
    const BlockFindings::Table& FindingsTable() const override;

    /// The keys of both groups, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;

protected:
    static const int defClsGateWidthMesh50mm;      ///< 4
    static const int defClsGateWidthNoMesh;        ///< 20
    static const int defClsLag;                    ///< 4
    static const int defClsKmax;                   ///< 150
    static const float defClsSigma;                ///< 0.0006
    static const float defClsThresholdLevel;       ///< 1.0
    static const float defClsAcceptance;           ///< 0.1
    static const int defClsFilterOrder;            ///< 1
    static const float defClsFilterWn;             ///< 0.2
    static const bool defClsUseConnectedBgOnly;    ///< true
    static const int meshRange;                    ///< 20
    static const int meshCorrIgnoreZoneLen;        ///< 4
    static const float meshCorrNegCorrMinRelVal;   ///< 0.3
    static const float spacingCondMeshDetection;   ///< 0.2
    static const float spacingCondMeshAcceptMin;   ///< 0.075
    static const float spacingCondMeshAcceptMax;   ///< 0.12
    static const float spacingCondMaxDiffCorr2Fft; ///< 0.02
    static const float meshFftPeakThresholdFactor; ///< 4.0
    static const int defSplitPaneWidthLimit;       ///< 500
    static const int defMaxPaneWidth;              ///< 250
    static const int defPaneOverlapPercentage;     ///< 10
    static const float defSfcScaleFactorMono;      ///< 10
    static const float defSfcScaleFactorBi;        ///< 25
    static const int defSfcBgrLenMono;             ///< 16
    static const int defSfcTaperLenMono;           ///< 20
    static const int defSfcBgrLenBi;               ///< 19
    static const int defSfcTaperLenBi;             ///< 10

    /// Result of a mesh estimate.
    struct MeshInfo {
        bool detected = false;
        float spacing = 0.f; ///< metres
        float depth = -1.f;  ///< sample index
    };

    const std::shared_ptr<InternalAlgoParams>& GetInternalAlgoParams() const { return internalAlgoParams; }
    void RefreshInternalAlgoParams() const;

    // Single steps. An image here has a row for each depth; its columns are A-scans.

    /// Takes from each row of target the median, or the mean, of the same row of reference, which may be target itself
    /// and of another width. A reference of one column has its mean taken. IPP::Exception -2 "Index exceeds
    /// IPP::Array2D bounds" if reference has fewer rows.
    void ApplyBasicBgRemoval(IPP::Array2D<float, int>& target, IPP::Array2D<float, int>& reference,
                             bool useMedian) const;
    /// Butterworth high-pass of the first order with its cut-off at 0.005 per A-scan, without delay.
    void ApplyHighPassBgRemoval(IPP::Array2D<float, int>& target) const;
    /// Takes mask[r] times its mean from each row r of target that the mask has.
    void ApplySurfaceBgRemoval(IPP::Array2D<float, int>& target, IPP::Array<float, int>& mask) const;
    /// 1 over bgrLen samples, a falling cosine over taperLen more, 0 behind. Together they are at most the mask's size.
    void GenerateSurfaceBgrMask(IPP::Array<float, int>& mask, int bgrLen, int taperLen) const;

    /// Marks in window, an image of the size of power, by 1 the rows of each column that hold its energy, by 0 the
    /// rest. An A-scan is averaged with up to lag A-scans before it; rows from kmax on take no part. Row 0 is never
    /// marked.
    void GetEnergyWindow(IPP::Array2D<float, int>& image, IPP::Array2D<float, int>& window, int lag, int kmax,
                         float sigma) const;
    /// first: the first of the rows at the end that are all 0; -1 if there are none.
    void DetectTrailingZeroRange(IPP::Array2D<float, int>& image, int& first) const;

    /// first, last: the rows that hold the mesh if there is one, from the top to MeshRange below the depth by which
    /// half of the energy has arrived; last is -1, and first untouched, if there is no energy.
    void MeshDetectionDetermineDepthRange(IPP::Array2D<float, int>& image, int& first, int& last) const;
    /// Estimate from the autocorrelation along the scan over the rows first .. last.
    void MeshDetectionXcorr(IPP::Array2D<float, int>& image, int first, int last, MeshInfo& info) const;
    /// Estimate from the spectrum along the scan over the rows first .. last - 1.
    void MeshDetectionFourier(IPP::Array2D<float, int>& image, int first, int last, MeshInfo& info) const;

private:
    /// What the block as a whole says to the classification.
    struct BlockJudgement {
        bool mesh = false; ///< no monostatic B-scan votes against a mesh
        int depth = -1;    ///< sample index of the mesh, the mean over all estimates
        int gateWidth = 0; ///< background A-scans in a row that are asked for
    };

    struct Tables;

    /// Looks for a mesh in the B-scans of a part.
    BlockFindings LookForMesh(const IPP::Array3D<float, int>& src, const ImageProps& partProps, const BlockPart& part,
                              int channels) const;
    BlockJudgement Judge(const BlockFindings& all) const;
    void LogMesh(const BlockFindings& all) const;
    void Remove(const IPP::Array3D<float, int>& src, const ImageProps& partProps, const BlockPart& part, int channels,
                const Tables& tables, const BlockFindings& all, const IPP::Array3D<float, int>& dst,
                const ImageProps& outProps) const;

    using LogLines = std::vector<std::string>;

    /// The background level of each depth row of a B-scan of a pane. What is to be said of it goes to log.
    std::vector<float> ClassifiedLevels(const IPP::Array2D<float, int>& bscan, const BlockJudgement& judgement,
                                        const IPP::Array<double, int>& taps, int index, int bscanCount,
                                        LogLines& log) const;

    mutable std::shared_ptr<InternalAlgoParams> internalAlgoParams;
};

} // namespace TZM

#include "Algorithms/Background/AlgoBgRemoval.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

#include "Algorithms/Background/BackgroundMask.h"
#include "Algorithms/Background/PaneSplitter.h"
#include "Algorithms/Background/SimpleRemoval.h"
#include "Algorithms/Preparation/AlgoBistaticReplacement.h"
#include "Array/Primitives/Checked.h"
#include "Framework/private/BlockParts.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

using AlgoType = AlgoParamBgRemoval::AlgoType;

const AlgoType AlgoBgRemoval::defaultAlgorithm = AlgoParamBgRemoval::Median;
const int AlgoBgRemoval::defClsGateWidthMesh50mm = 4;
const int AlgoBgRemoval::defClsGateWidthNoMesh = 20;
const int AlgoBgRemoval::defClsLag = 4;
const int AlgoBgRemoval::defClsKmax = 150;
const float AlgoBgRemoval::defClsSigma = 0.0006f;
const float AlgoBgRemoval::defClsThresholdLevel = 1.0f;
const float AlgoBgRemoval::defClsAcceptance = 0.1f;
const int AlgoBgRemoval::defClsFilterOrder = 1;
const float AlgoBgRemoval::defClsFilterWn = 0.2f;
const bool AlgoBgRemoval::defClsUseConnectedBgOnly = true;
const int AlgoBgRemoval::meshRange = 20;
const int AlgoBgRemoval::meshCorrIgnoreZoneLen = 4;
const float AlgoBgRemoval::meshCorrNegCorrMinRelVal = 0.3f;
const float AlgoBgRemoval::spacingCondMeshDetection = 0.2f;
const float AlgoBgRemoval::spacingCondMeshAcceptMin = 0.075f;
const float AlgoBgRemoval::spacingCondMeshAcceptMax = 0.12f;
const float AlgoBgRemoval::spacingCondMaxDiffCorr2Fft = 0.02f;
const float AlgoBgRemoval::meshFftPeakThresholdFactor = 4.0f;
const int AlgoBgRemoval::defSplitPaneWidthLimit = 500;
const int AlgoBgRemoval::defMaxPaneWidth = 250;
const int AlgoBgRemoval::defPaneOverlapPercentage = 10;
const float AlgoBgRemoval::defSfcScaleFactorMono = 10.0f;
const float AlgoBgRemoval::defSfcScaleFactorBi = 25.0f;
const int AlgoBgRemoval::defSfcBgrLenMono = 16;
const int AlgoBgRemoval::defSfcTaperLenMono = 20;
const int AlgoBgRemoval::defSfcBgrLenBi = 19;
const int AlgoBgRemoval::defSfcTaperLenBi = 10;

AlgoParamBgRemoval::AlgoParamBgRemoval() : AlgoParamBgRemoval(true, 1, 1, AlgoBgRemoval::defaultAlgorithm) {}

AlgoParamBgRemoval::AlgoParamBgRemoval(bool logging, int level, int timeZeroSample, AlgoType procedure)
    : AlgoParamBase(logging, level), timeZero(timeZeroSample, &prmListener), algorithm(procedure, &prmListener) {}

AlgoBgRemoval::AlgoBgRemoval(const std::string& name) : Algo(name) {}

namespace {

void ReadAlgorithm(AlgoParamBgRemoval& params, const Json::Value& value) {
    std::string keyword = AsString(&value);
    std::transform(keyword.begin(), keyword.end(), keyword.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    constexpr std::pair<const char*, AlgoType> keywords[] = {{"median", AlgoParamBgRemoval::Median},
                                                             {"classify", AlgoParamBgRemoval::Classify},
                                                             {"highpass", AlgoParamBgRemoval::HighPass},
                                                             {"surface", AlgoParamBgRemoval::Surface}};
    for (const auto& [text, type] : keywords)
        if (keyword == text) params.algorithm = type;
}

const std::vector<JsonSection<AlgoParamBgRemoval>>& ParamSections() {
    using P = AlgoParamBgRemoval;
    static const std::vector<JsonSection<P>> sections{{{"Global"}, {Integral("TimeZero", &P::timeZero)}},
                                                      {{kOwnSection}, {Keyword("Algorithm", &ReadAlgorithm)}}};
    return sections;
}

using Internal = AlgoBgRemoval::InternalAlgoParams;

const std::vector<JsonSection<Internal>>& InternalSections() {
    static const std::vector<JsonSection<Internal>> sections{
        {{kOwnSection},
         {
             Integer("ClsGateWidthMesh50mm", &Internal::clsGateWidthMesh50mm),
             Integer("ClsGateWidthNoMesh", &Internal::clsGateWidthNoMesh),
             Integer("ClsLag", &Internal::clsLag),
             Integer("ClsKmax", &Internal::clsKmax),
             Real("ClsSigma", &Internal::clsSigma),
             Real("ClsThresholdLevel", &Internal::clsThresholdLevel),
             Real("ClsAcceptance", &Internal::clsAcceptance),
             Integer("ClsFilterOrder", &Internal::clsFilterOrder),
             Real("ClsFilterWn", &Internal::clsFilterWn),
             Boolean("ClsUseConnectedBgOnly", &Internal::clsUseConnectedBgOnly),
             Integer("MeshRange", &Internal::meshRange),
             Integer("MeshCorrIgnoreZoneLen", &Internal::meshCorrIgnoreZoneLen),
             Real("MeshCorrNegCorrMinRelVal", &Internal::meshCorrNegCorrMinRelVal),
             Real("SpacingCondMeshDetection", &Internal::spacingCondMeshDetection),
             Real("SpacingCondMeshAcceptMin", &Internal::spacingCondMeshAcceptMin),
             Real("SpacingCondMeshAccept", &Internal::spacingCondMeshAcceptMax), // the older name of the next
             Real("SpacingCondMeshAcceptMax", &Internal::spacingCondMeshAcceptMax),
             Real("SpacingCondMaxDiffCorr2Fft", &Internal::spacingCondMaxDiffCorr2Fft),
             Real("MeshFftPeakThresholdFactor", &Internal::meshFftPeakThresholdFactor),
             Integer("SplitPaneWidthLimit", &Internal::splitPaneWidthLimit),
             Integer("MaxPaneWidth", &Internal::maxPaneWidth),
             Integer("PaneOverlapPercentage", &Internal::paneOverlapPercentage),
             Boolean("DetailedLogging", &Internal::detailedLogging),
             Numeric("ScaleFactorMono", &Internal::scaleFactorMono),
             Numeric("ScaleFactorBi", &Internal::scaleFactorBi),
             Integer("BgrLenMono", &Internal::bgrLenMono),
             Integer("TaperLenMono", &Internal::taperLenMono),
             Integer("BgrLenBi", &Internal::bgrLenBi),
             Integer("TaperLenBi", &Internal::taperLenBi),
         }}};
    return sections;
}

} // namespace

void AlgoBgRemoval::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoBgRemoval::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, ParamSections(), params); });
}

AlgoBgRemoval::InternalAlgoParams::InternalAlgoParams(const AlgoBgRemoval* owner) : AlgoJsonParamsBase(owner, "") {}

AlgoBgRemoval::InternalAlgoParams::InternalAlgoParams(const AlgoBgRemoval* owner, const std::string& config)
    : AlgoJsonParamsBase(owner, config) {
    Parse();
}

void AlgoBgRemoval::InternalAlgoParams::Parse() {
    ReadDocument("AlgoBgRemoval::InternalAlgoParams::Parse",
                 [&](const Json::Value& root) { ReadSections(root, algo->name, InternalSections(), *this); });
}

std::vector<JsonKeyInfo> AlgoBgRemoval::DescribeKeys() const {
    return DescribeKeysOf(name, ParamSections(), AlgoParamBgRemoval(), InternalSections(), InternalAlgoParams(this));
}

void AlgoBgRemoval::RefreshInternalAlgoParams() const {
    internalAlgoParams = std::make_shared<InternalAlgoParams>(this, jsonConfig);
}

namespace {

/// The valid A-scans of a B-scan within a pane, counted from its first.
struct PaneRange {
    int first;
    int count;

    PaneRange(const BscanInfo& valid, int paneFirst, int paneWidth) {
        const std::int64_t begin = std::int64_t{valid.firstValidIdx} - paneFirst;
        const std::int64_t end = std::max<std::int64_t>(begin + valid.validLen, 0);
        first = static_cast<int>(std::clamp<std::int64_t>(begin, 0, paneWidth));
        count = static_cast<int>(std::max<std::int64_t>(std::min<std::int64_t>(paneWidth, end) - first, 0));
    }
};

/// The A-scans first .. first + count - 1 of a B-scan.
IPP::Array2D<float> Ascans(const IPP::Array2D<float>& bscan, int first, int count) {
    return IPP::Array2D<float>(bscan.data + std::int64_t{bscan.dim0} * first, bscan.dim0, count);
}

/// The A-scans of one pane on their way into the output, where the pane before has left its part of the overlap.
class PaneOutput {
public:
    PaneOutput(const IPP::Array2D<float>& bscan, const PaneSplitter& splitter, const BlockStreams& blockStreams)
        : dst(bscan), pane(splitter), streams(blockStreams) {}

    /// Zeros for the A-scans begin .. end - 1 of the pane.
    void Zero(int begin, int end) const {
        for (int j = begin; j < end; ++j) Merge(j, [](int) { return 0.f; });
    }

    /// src less a level for each depth, for the A-scans of the pane from begin on.
    void Subtract(std::vector<float>&& levels, const IPP::Array2D<float>& src, int begin) const {
        for (float& level : levels) level = -level;
        const std::vector<float>& summands = levels;
        const int faded = std::clamp(pane.Overlap() - begin, 0, src.dim1);
        for (int c = 0; c < faded; ++c)
            Merge(begin + c,
                  [&, ascan = src.Row(c).data](int s) { return ascan[s] + summands[static_cast<std::size_t>(s)]; });
        for (int c = faded; c < src.dim1; ++c)
            streams.Add(src.Row(c), summands.data(), dst.Row(pane.First() + begin + c));
        streams.Finish();
    }

private:
    template <class Value>
    void Merge(int j, const Value& value) const {
        float* const ascan = dst.Row(pane.First() + j).data;
        const float w = pane.Weight(j);
        if (w < 1.f)
            for (int s = 0; s < dst.dim0; ++s) ascan[s] = value(s) * w + ascan[s] * (1.f - w);
        else
            for (int s = 0; s < dst.dim0; ++s) ascan[s] = value(s);
    }

    const IPP::Array2D<float>& dst;
    const PaneSplitter& pane;
    const BlockStreams& streams;
};

double WantedPanes(int ascans, const Internal& internal) {
    return ascans <= internal.splitPaneWidthLimit ? 1. : std::ceil(ascans / double(internal.maxPaneWidth));
}

/// Taps of a filter of that order.
int TapCount(int order) {
    const auto count = IPP::Detail::OwnedCount<std::int64_t>(2, std::int64_t{order} + 1);
    if (count > std::numeric_limits<int>::max()) throw std::bad_alloc();
    return static_cast<int>(count);
}

/// Replaces the bistatic B-scans of a part over their whole depth. Groups of 7 whose number 5 divides would pass for
/// groups of 5; they go as one group and the others.
void ReplaceBistatic(const AlgoBistaticReplacement& replacement, const BlockView& block, const ImageProps& props,
                     int channels) {
    const int count = props.bscanCount, split = GetChannelCount(count) == channels ? count : channels;
    for (const auto& [begin, end] : {std::pair(0, split), std::pair(split, count)}) {
        if (begin == end) continue;
        const ImageProps run = PropsOfPart(props, begin, end - begin);
        float* const bscans = block.Slice(begin).data;
        replacement.Execute(bscans, run, bscans, run);
    }
}

} // namespace

/// What doesn't depend on the data.
struct AlgoBgRemoval::Tables {
    /// Masks for A-scans of that many samples. An order of the filter without memory for it is refused whatever the
    /// procedure is.
    Tables(int samples, AlgoType procedure, const InternalAlgoParams& internal)
        : type(procedure), masks(samples, 2), taps(TapCount(internal.clsFilterOrder)) {
        if (type == AlgoParamBgRemoval::Classify)
            IPP::Checked::IirGen(false, 0.5 * static_cast<double>(internal.clsFilterWn), 0., internal.clsFilterOrder,
                                 taps.data, 0);
        const auto fillMask = [&](int kind, int bgrLen, int taperLen) {
            const BackgroundZone zone(bgrLen, taperLen, samples);
            GenerateBackgroundMask(masks.Row(kind), zone.bgrLen, zone.taperLen);
        };
        fillMask(0, internal.bgrLenMono, internal.taperLenMono);
        fillMask(1, internal.bgrLenBi, internal.taperLenBi);
    }

    const AlgoType type;
    const IPP::Array2D<float> masks; ///< of the monostatic and of the bistatic channels
    const IPP::Array<double> taps;   ///< of the low-pass that smooths the energy of the A-scans along the scan
};

void AlgoBgRemoval::Remove(const IPP::Array3D<float>& src, const ImageProps& partProps, const BlockPart& part,
                           int channels, const Tables& tables, const BlockFindings& all, const IPP::Array3D<float>& dst,
                           const ImageProps& outProps) const {
    const InternalAlgoParams& internal = *internalAlgoParams;
    const AlgoType type = tables.type;
    if (type == AlgoParamBgRemoval::None) return CopyBlock(src, dst);

    const bool logsBlock = params.enableLogging && part.firstBscan == 0;
    const BlockJudgement judgement = type == AlgoParamBgRemoval::Classify ? Judge(all) : BlockJudgement();
    if (judgement.mesh && logsBlock) LogMesh(all);

    const double wanted = type == AlgoParamBgRemoval::HighPass ? 1. : WantedPanes(src.dim1, internal);
    const PaneSplitter panes(src.dim1, wanted, internal.paneOverlapPercentage);
    if (panes.Count() > 1 && logsBlock)
        LogFromRegion("BG-Removal: split to " + std::to_string(panes.Count()) + " panes\n");

    const BlockStreams streams(dst);
    std::vector<std::vector<LogLines>> lines(static_cast<std::size_t>(panes.Count())); // of a pane's B-scans
    for (auto& ofPane : lines) ofPane.resize(static_cast<std::size_t>(dst.dim2));
    ParallelFor(dst.dim2, [&](int i) {
        const auto bscan = src.Slice(i), target = dst.Slice(i);
        const int kind = IsBistatic(i, channels);
        PaneSplitter pane = panes;
        do {
            const PaneOutput output(target, pane, streams);
            const PaneRange valid(ToldRange(partProps, i), pane.First(), pane.Width());
            if (valid.count == 0) {
                output.Zero(0, pane.Width());
                continue;
            }
            output.Zero(0, valid.first);
            output.Zero(valid.first + valid.count, pane.Width());
            const auto ascans = Ascans(bscan, pane.First() + valid.first, valid.count);
            const auto rows = RowsOfAscans(ascans);
            switch (type) {
            case AlgoParamBgRemoval::HighPass:
                FilterRowsZeroPhase(rows, HighPassTaps().data(),
                                    RowsOfAscans(Ascans(target, valid.first, valid.count)));
                break;
            case AlgoParamBgRemoval::Classify: {
                auto& log = lines[static_cast<std::size_t>(pane.Index())][static_cast<std::size_t>(i)];
                output.Subtract(
                    ClassifiedLevels(ascans, judgement, tables.taps, part.firstBscan + i, part.blockBscans, log),
                    ascans, valid.first);
                break;
            }
            case AlgoParamBgRemoval::Surface:
                output.Subtract(SurfaceLevels(rows, tables.masks.Row(kind)), ascans, valid.first);
                break;
            default: output.Subtract(RowLevels(rows, type == AlgoParamBgRemoval::Median), ascans, valid.first);
            }
        } while (pane.NextPane());
    });

    for (const auto& ofPane : lines)
        for (const LogLines& ofBscan : ofPane)
            for (const std::string& line : ofBscan) LogFromRegion(line);

    if (!judgement.mesh) return;
    AlgoBistaticReplacement replacement("");
    replacement.Setup({false, params.loggingLevel, outProps.samplesPerAscan, 0, true});
    ReplaceBistatic(replacement, dst, partProps, channels);
    if (logsBlock) LogFromRegion("BG-Removal: bistatic B-scans replaced.\n");
}

void AlgoBgRemoval::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const {
    RunExecute([&] {
        const int channels = GetChannelCount(inProps.bscanCount);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f"); // as a copy of the whole block would
        RefreshInternalAlgoParams();
        const Tables tables(src.dim0, params.algorithm, *internalAlgoParams);
        const BlockPart whole = WholeBlock(inProps);
        const BlockFindings all = IsCoupled() ? LookForMesh(src, inProps, whole, channels) : BlockFindings();
        Remove(src, inProps, whole, channels, tables, all, dst, outProps);
    });
}

BlockFindings AlgoBgRemoval::Look(const float* in, const ImageProps& partProps, const BlockPart& part) const {
    BlockFindings found;
    RunExecute([&] {
        const int channels = ChannelsOfPart(part, partProps);
        const auto src = InputView(in, partProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        RefreshInternalAlgoParams();
        const Tables refusing(src.dim0, params.algorithm, *internalAlgoParams); // what Execute refuses ahead of it
        found = LookForMesh(src, partProps, part, channels);
    });
    return found;
}

void AlgoBgRemoval::Work(const float* in, const ImageProps& partProps, const BlockPart& part, const BlockFindings& all,
                         float* out, const ImageProps& outProps) const {
    RunExecute([&] {
        const int channels = ChannelsOfPart(part, partProps);
        const auto src = InputView(in, partProps);
        const auto dst = OutputView(out, partProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        if (IsCoupled()) all.RequireAll(FindingsTable(), part.blockBscans);
        RefreshInternalAlgoParams();
        const Tables tables(src.dim0, params.algorithm, *internalAlgoParams);
        Remove(src, partProps, part, channels, tables, all, dst, outProps);
    });
}

} // namespace TZM

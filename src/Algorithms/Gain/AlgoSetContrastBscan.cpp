#include "Algorithms/Gain/AlgoSetContrastBscan.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "Algorithms/Background/BackgroundMask.h"
#include "Algorithms/Background/DepthRows.h"
#include "Framework/Channels.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoSetContrastBscan::defaultContrastValue = 0.0f;
const float AlgoSetContrastBscan::defScaleFactorMono = 10.0f;
const float AlgoSetContrastBscan::defScaleFactorBi = 25.0f;
const bool AlgoSetContrastBscan::defNormalize = true;
const int AlgoSetContrastBscan::defBgrLenMono = 16;
const int AlgoSetContrastBscan::defTaperLenMono = 20;
const int AlgoSetContrastBscan::defBgrLenBi = 19;
const int AlgoSetContrastBscan::defTaperLenBi = 10;

AlgoParamSetContrastBscan::AlgoParamSetContrastBscan()
    : AlgoParamSetContrastBscan(true, 1, AlgoSetContrastBscan::defaultContrastValue) {}

AlgoParamSetContrastBscan::AlgoParamSetContrastBscan(bool logging, int level, float contrast)
    : AlgoParamBase(logging, level), ContrastValue(contrast, &prmListener) {}

AlgoSetContrastBscan::AlgoSetContrastBscan(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamSetContrastBscan>>& ParamSections() {
    using P = AlgoParamSetContrastBscan;
    static const std::vector<JsonSection<P>> sections{{{kOwnSection}, {Real("ContrastValue", &P::ContrastValue)}}};
    return sections;
}

using Internal = AlgoSetContrastBscan::InternalAlgoParams;

const std::vector<JsonSection<Internal>>& InternalSections() {
    static const std::vector<JsonSection<Internal>> sections{
        {{kOwnSection},
         {
             Numeric("ScaleFactorMono", &Internal::ScaleFactorMono),
             Numeric("ScaleFactorBi", &Internal::ScaleFactorBi),
             Boolean("Normalize", &Internal::Normalize),
             Integer("BgrLenMono", &Internal::BgrLenMono),
             Integer("TaperLenMono", &Internal::TaperLenMono),
             Integer("BgrLenBi", &Internal::BgrLenBi),
             Integer("TaperLenBi", &Internal::TaperLenBi),
         }}};
    return sections;
}

} // namespace

void AlgoSetContrastBscan::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoSetContrastBscan::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, ParamSections(), params); });
}

AlgoSetContrastBscan::InternalAlgoParams::InternalAlgoParams(const AlgoSetContrastBscan* owner)
    : AlgoJsonParamsBase(owner, "") {}

AlgoSetContrastBscan::InternalAlgoParams::InternalAlgoParams(const AlgoSetContrastBscan* owner,
                                                             const std::string& config)
    : AlgoJsonParamsBase(owner, config) {
    Parse();
}

void AlgoSetContrastBscan::InternalAlgoParams::Parse() {
    ReadDocument("AlgoSetContrastBscan::InternalAlgoParams::Parse",
                 [&](const Json::Value& root) { ReadSections(root, algo->name, InternalSections(), *this); });
}

std::vector<JsonKeyInfo> AlgoSetContrastBscan::DescribeKeys() const {
    return DescribeKeysOf(name, ParamSections(), AlgoParamSetContrastBscan(), InternalSections(),
                          InternalAlgoParams(this));
}

void AlgoSetContrastBscan::RefreshInternalAlgoParams() const { internalAlgoParams.Rebuild(this, jsonConfig); }

void AlgoSetContrastBscan::GenerateBgrMask(IPP::Array<float, int>& mask, int bgrLen, int taperLen) const {
    GenerateBackgroundMask(mask, bgrLen, taperLen);
}

void AlgoSetContrastBscan::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        RefreshInternalAlgoParams();
        const InternalAlgoParams& internal = *internalAlgoParams.Get();
        const int channels = GetChannelCount(inProps.bscanCount);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsZero_32f"); // as clearing the whole block would

        struct Kind {
            Kind(const AlgoSetContrastBscan& algo, int samples, int bgrLen, int taperLen, float factor)
                : zone(bgrLen, taperLen, samples), mask(samples), scale(factor > 0.1f ? factor : 0.1f) {
                algo.GenerateBgrMask(mask, zone.bgrLen, zone.taperLen);
            }
            BackgroundZone zone;
            IPP::Array<float> mask;
            float scale;
        };
        const Kind mono(*this, src.dim0, internal.BgrLenMono, internal.TaperLenMono, internal.ScaleFactorMono);
        const Kind bi(*this, src.dim0, internal.BgrLenBi, internal.TaperLenBi, internal.ScaleFactorBi);

        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int i) {
            const Kind& kind = IsBistatic(i, channels) ? bi : mono;
            const ValidAscans valid(src, dst, inProps, i);
            valid.ZeroTheOthers();
            if (valid.count == 0) return;

            DepthRows<float> zone = RowsOfAscans(valid.src);
            zone.rows = kind.zone.Length();
            std::vector<float> summands = RowMeans(zone);
            for (std::size_t s = 0; s < summands.size(); ++s)
                summands[s] = -(kind.mask[static_cast<int>(s)] * summands[s]);
            summands.resize(static_cast<std::size_t>(src.dim0));

            float factor = kind.scale;
            if (internal.Normalize) {
                float peak = 0.01f;
                for (int y = 0; y < valid.count; ++y) {
                    float low, high;
                    streams.kernels.minMaxOfSums(valid.src.Row(y).data, summands.data(), src.dim0, &low, &high);
                    peak = std::max({peak, std::abs(low), std::abs(high)});
                }
                factor = 1.f / peak;
            }
            for (int y = 0; y < valid.count; ++y)
                streams.SumScaled(valid.src.Row(y), summands.data(), factor, valid.dst.Row(y));
            streams.Finish();
        });
    });
}

} // namespace TZM

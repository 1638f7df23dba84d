#include "Algorithms/Preparation/AlgoBistaticReplacement.h"

#include <algorithm>
#include <cstdint>

#include "Framework/Channels.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoBistaticReplacement::defaultReplaceHeight = 30;
const int AlgoBistaticReplacement::defaultCrossfadeLen = 10;
const bool AlgoBistaticReplacement::defaultEnabled = false;

AlgoParamBistaticReplacement::AlgoParamBistaticReplacement()
    : AlgoParamBistaticReplacement(true, 1, AlgoBistaticReplacement::defaultReplaceHeight,
                                   AlgoBistaticReplacement::defaultCrossfadeLen,
                                   AlgoBistaticReplacement::defaultEnabled) {}

AlgoParamBistaticReplacement::AlgoParamBistaticReplacement(bool logging, int level, int height, int fadeLen, bool on)
    : AlgoParamBase(logging, level), replaceHeight(height, &prmListener), crossfadeLen(fadeLen, &prmListener),
      enabled(on, &prmListener) {}

AlgoBistaticReplacement::AlgoBistaticReplacement(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamBistaticReplacement>>& Sections() {
    using P = AlgoParamBistaticReplacement;
    static const std::vector<JsonSection<P>> sections{{{kOwnSection},
                                                       {
                                                           Integral("ReplaceHeight", &P::replaceHeight),
                                                           Integral("CrossfadeLen", &P::crossfadeLen),
                                                           Boolean("Enabled", &P::enabled),
                                                       }}};
    return sections;
}

} // namespace

void AlgoBistaticReplacement::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoBistaticReplacement::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoBistaticReplacement::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamBistaticReplacement());
}

namespace {

bool Holds(const BscanInfo& range, int ascan) {
    return ascan >= range.firstValidIdx && std::int64_t{ascan} - range.firstValidIdx < range.validLen;
}

/// The top of an A-scan of which `height` samples are replaced and `fade` more are mixed.
struct Replacement {
    int height;
    int fade;

    template <class Substitute>
    void Apply(float* ascan, Substitute&& r) const {
        for (int s = 0; s < height; ++s) ascan[s] = r(s);
        for (int s = height; s < height + fade; ++s) {
            const float w = static_cast<float>(s - height + 1) / static_cast<float>(fade);
            ascan[s] = (1.f - w) * r(s) + w * ascan[s];
        }
    }
};

} // namespace

void AlgoBistaticReplacement::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const int channels = GetChannelCount(inProps.bscanCount);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f"); // as a copy of the whole block would

        const int height = std::clamp<int>(params.replaceHeight, 0, src.dim0);
        const Replacement top{height, std::clamp<int>(params.crossfadeLen, 0, src.dim0 - height)};
        const bool replaces = params.enabled && height > 0;
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int i) {
            if (!replaces || !IsBistatic(i, channels)) {
                if (in != out) streams.Copy(src.Slice(i), dst.Slice(i));
                return;
            }
            const BscanInfo cur = ToldRange(inProps, i), prev = ToldRange(inProps, i - 1),
                            next = ToldRange(inProps, i + 1);
            for (int y = 0; y < dst.dim1; ++y) {
                const auto ascan = dst.Row(y, i);
                if (height < ascan.size && in != out) // what lies behind, and what the fade starts from
                    ascan.SubArray(height, ascan.size - height)
                        .CopyFrom(src.Row(y, i).SubArray(height, ascan.size - height));
                const bool usesPrev = Holds(cur, y) && Holds(prev, y), usesNext = Holds(cur, y) && Holds(next, y);
                const float *p = src.Row(y, i - 1).data, *n = src.Row(y, i + 1).data;
                if (usesPrev && usesNext)
                    top.Apply(ascan.data, [=](int s) { return (p[s] + n[s]) * 0.5f; });
                else if (usesPrev || usesNext)
                    top.Apply(ascan.data, [only = usesPrev ? p : n](int s) { return only[s]; });
                else
                    top.Apply(ascan.data, [](int) { return 0.f; });
            }
        });
    });
}

} // namespace TZM

#include "Algorithms/Gain/AlgoAutoGain.h"

#include <algorithm>

#include "Algorithms/Gain/EnvelopeRows.h"
#include "Framework/Channels.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoAutoGain::defaultMaxAmp = 2.5f;
const int AlgoAutoGain::defaultHalfLenTriangle = 10;
const bool AlgoAutoGain::defaultUseProgressiveGain = false;
const bool AlgoAutoGain::defaultSmoothNormalization = false;
const bool AlgoAutoGain::defaultSmoothNormEnvelope = false;
const char* const AlgoAutoGain::defaultGainStdMono =
    "[[1,-14.0],[12,-12.0],[28,-12.0],[42,-9.5],[59,-5.0],[74,-1.0],[90,-1.0],[106,0.0],[120,0.0],[180,0.0]]";
const char* const AlgoAutoGain::defaultGainStdBi =
    "[[1,-12.0],[12,0.0],[18,-3.0],[28,-7.0],[42,-9.0],[59,-4.0],[74,1.0],[90,-2.0],[106,-2.0],[120,-2.0],[180,-2.0]]";
const char* const AlgoAutoGain::defaultGainDeepMono = "[[1,  -6.0], [10,  -6.0], [90,  0.0]]";
const char* const AlgoAutoGain::defaultGainDeepBi = "[[1,  -6.0], [10,  -6.0], [90, -3.0]]";

AlgoParamAutoGain::AlgoParamAutoGain()
    : AlgoParamAutoGain(true, 1, AlgoAutoGain::defaultMaxAmp, AlgoAutoGain::defaultHalfLenTriangle,
                        AlgoAutoGain::defaultUseProgressiveGain) {}

AlgoParamAutoGain::AlgoParamAutoGain(bool logging, int level, float maxAmp, int halfLenTriangle,
                                     bool useProgressiveGain)
    : AlgoParamBase(logging, level), MaxAmp(maxAmp, &prmListener), HalfLenTriangle(halfLenTriangle, &prmListener),
      UseProgressiveGain(useProgressiveGain, &prmListener) {}

AlgoAutoGain::AlgoAutoGain(const std::string& name) : Algo(name) {}

namespace {

using P = AlgoParamAutoGain;
using Internal = AlgoAutoGain::InternalAlgoParams;

constexpr const char* kMaxAmp = "MaxAmpDeep";
constexpr const char* kDeepGain = "UseDeepGain";
// The older names of the two count where the newer one is missing or of another type.
constexpr const char* kOlderMaxAmp = "MaxAmp";
constexpr const char* kOlderDeepGain = "UseProgressiveGain";

const std::vector<JsonSection<P>>& ParamSections() {
    static const std::vector<JsonSection<P>> sections{{{kOwnSection},
                                                       {
                                                           Real(kMaxAmp, &P::MaxAmp),
                                                           Real(kOlderMaxAmp, &P::MaxAmp),
                                                           Integral("HalfLenTriangle", &P::HalfLenTriangle),
                                                           Boolean(kDeepGain, &P::UseProgressiveGain),
                                                           Boolean(kOlderDeepGain, &P::UseProgressiveGain),
                                                       }}};
    return sections;
}

template <GainProgression Internal::*curve>
void ReadCurve(Internal& internal, const Json::Value& pairs) {
    (internal.*curve).FromJson(pairs);
}

const std::vector<JsonSection<Internal>>& InternalSections() {
    static const std::vector<JsonSection<Internal>> sections{
        {{kOwnSection},
         {
             Array("GainStdMono", &ReadCurve<&Internal::GainStdMono>),
             Array("GainStdBi", &ReadCurve<&Internal::GainStdBi>),
             Array("GainDeepMono", &ReadCurve<&Internal::GainDeepMono>),
             Array("GainDeepBi", &ReadCurve<&Internal::GainDeepBi>),
             Boolean("SmoothNormalization", &Internal::SmoothNormalization),
             Boolean("SmoothNormEnvelope", &Internal::SmoothNormEnvelope),
         }}};
    return sections;
}

GainProgression CurveOf(const char* text) {
    Json::Value pairs;
    ReadJson(text, pairs);
    GainProgression curve;
    curve.FromJson(pairs);
    return curve;
}

} // namespace

void AlgoAutoGain::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoAutoGain::ParseParamsFromJsonConfig", [&](const Json::Value& root) {
        const Json::Value& section = Member(root, name);
        const auto given = [&](const char* key, JsonKind kind) {
            const Json::Value* value = FindValue(section, key);
            return value && IsOfKind(*value, kind);
        };
        auto keys = ParamSections().front().keys;
        const auto supersede = [&](const char* newer, const char* older, JsonKind kind) {
            if (!given(newer, kind)) return;
            keys.erase(std::find_if(keys.begin(), keys.end(), [&](const auto& row) { return row.key == older; }));
        };
        supersede(kMaxAmp, kOlderMaxAmp, JsonKind::Real);
        supersede(kDeepGain, kOlderDeepGain, JsonKind::Boolean);
        ReadKeys(section, keys, params);
    });
}

AlgoAutoGain::InternalAlgoParams::InternalAlgoParams(const AlgoAutoGain* owner)
    : AlgoJsonParamsBase(owner, ""), GainStdMono(CurveOf(defaultGainStdMono)), GainStdBi(CurveOf(defaultGainStdBi)),
      GainDeepMono(CurveOf(defaultGainDeepMono)), GainDeepBi(CurveOf(defaultGainDeepBi)) {}

AlgoAutoGain::InternalAlgoParams::InternalAlgoParams(const AlgoAutoGain* owner, const std::string& config)
    : InternalAlgoParams(owner) {
    configText = config;
    Parse();
}

void AlgoAutoGain::InternalAlgoParams::Parse() {
    ReadDocument("AlgoAutoGain::InternalAlgoParams::Parse",
                 [&](const Json::Value& root) { ReadSections(root, algo->name, InternalSections(), *this); });
}

std::vector<JsonKeyInfo> AlgoAutoGain::DescribeKeys() const {
    return DescribeKeysOf(name, ParamSections(), AlgoParamAutoGain(), InternalSections(), InternalAlgoParams(this));
}

void AlgoAutoGain::RefreshInternalAlgoParams() const {
    internalAlgoParams = std::make_shared<InternalAlgoParams>(this, jsonConfig);
}

void AlgoAutoGain::ApplyGain(IPP::Array2D<float, int>& image, const GainProgression& gain) const {
    IPP::Array<float> factors(image.dim0);
    gain.FillFactors(factors);
    for (int y = 0; y < image.dim1; ++y) image.Row(y).MultiplyElements(factors);
}

void AlgoAutoGain::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const bool deep = params.UseProgressiveGain;
        RefreshInternalAlgoParams();
        const InternalAlgoParams& internal = *internalAlgoParams;
        const int channels = GetChannelCount(inProps.bscanCount);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsZero_32f"); // as clearing the whole block would
        IPP::Array<float> mono(src.dim0), bi(src.dim0);
        (deep ? internal.GainDeepMono : internal.GainStdMono).FillFactors(mono);
        (deep ? internal.GainDeepBi : internal.GainStdBi).FillFactors(bi);

        const BlockStreams streams(dst);
        ParallelFor(
            dst.dim2, [&] { return EnvelopeRows(src.dim0, src.dim1); },
            [&](int i, EnvelopeRows& envelopes) {
                ValidAscans valid(src, dst, inProps, i);
                valid.ZeroTheOthers();
                if (valid.count == 0) return;
                const IPP::Array<float>& factors = IsBistatic(i, channels) ? bi : mono;
                if (deep)
                    DivideByEnvelope(valid.src, factors, valid.dst, params.HalfLenTriangle, params.MaxAmp, envelopes,
                                     streams);
                else
                    Equalize(valid.src, factors, valid.dst, params.HalfLenTriangle, internal.SmoothNormalization,
                             internal.SmoothNormEnvelope, envelopes, streams);
            });
    });
}

} // namespace TZM

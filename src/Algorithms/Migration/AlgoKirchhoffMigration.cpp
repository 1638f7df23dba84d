#include "Algorithms/Migration/AlgoKirchhoffMigration.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "Algorithms/Migration/DiffractionStack.h"
#include "Algorithms/Migration/MigrationBlocks.h"
#include "Algorithms/Migration/RmsSpeed.h"
#include "Framework/Channels.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoKirchhoffMigration::defaultAntennaOffsetMono = 0.03f;
const float AlgoKirchhoffMigration::defaultAntennaOffsetBi = 0.03f;
const float AlgoKirchhoffMigration::defaultApertureAngle = 60.0f;
const int AlgoKirchhoffMigration::defaultApertureBaseWidth = 10;
const int AlgoKirchhoffMigration::defaultApertureMaxWidth = 32;

AlgoKirchhoffMigration::AlgoKirchhoffMigration(const std::string& name) : Algo(name) {}

namespace {

using P = AlgoParamKirchhoffMigration;
using Internal = AlgoKirchhoffMigration::InternalAlgoParams;

void ReadOverlays(P& params, const Json::Value& layers) { params.overlays = WriteJson(layers); }

const std::vector<JsonSection<P>>& ParamSections() {
    static const std::vector<JsonSection<P>> sections{
        {{"Global"}, {Integral("TimeZero", &P::timeZero), Array("Overlays", &ReadOverlays)}}};
    return sections;
}

const std::vector<JsonSection<Internal>>& InternalSections() {
    static const std::vector<JsonSection<Internal>> sections{
        {{kOwnSection},
         {
             Real("AntennaOffsetMono", &Internal::antennaOffsetMono),
             Real("AntennaOffsetBi", &Internal::antennaOffsetBi),
             Real("ApertureAngle", &Internal::apertureAngle, 0., 85.),
             Integer("ApertureBaseWidth", &Internal::apertureBaseWidth, 0, 100),
             Integer("ApertureMaxWidth", &Internal::apertureMaxWidth, 0, 100),
         }}};
    return sections;
}

} // namespace

AlgoKirchhoffMigration::InternalAlgoParams::InternalAlgoParams(const AlgoKirchhoffMigration* owner)
    : AlgoJsonParamsBase(owner, "") {}

AlgoKirchhoffMigration::InternalAlgoParams::InternalAlgoParams(const AlgoKirchhoffMigration* owner,
                                                               const std::string& config)
    : AlgoJsonParamsBase(owner, config) {
    Parse();
}

void AlgoKirchhoffMigration::InternalAlgoParams::Parse() {
    ReadDocument("AlgoKirchhoffMigration::InternalAlgoParams::Parse",
                 [&](const Json::Value& root) { ReadSections(root, algo->name, InternalSections(), *this); });
}

void AlgoKirchhoffMigration::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoKirchhoffMigration::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, ParamSections(), params); });
}

std::vector<JsonKeyInfo> AlgoKirchhoffMigration::DescribeKeys() const {
    return DescribeKeysOf(name, ParamSections(), P(), InternalSections(), InternalAlgoParams(this));
}

void AlgoKirchhoffMigration::RefreshInternalAlgoParams() const { internalAlgoParams.Rebuild(this, jsonConfig); }

ImageProps AlgoKirchhoffMigration::GetAdjustedImageDimensions(const ImageProps& props) const {
    return MigratedProps(props, params.timeZero);
}

void AlgoKirchhoffMigration::GenerateVelocityVector(IPP::Array<float>& velocity,
                                                    const std::vector<Overlay>& overlays) const {
    RmsSpeed(overlays, params.permittivity, globalSettings.delta_t, velocity);
}

void AlgoKirchhoffMigration::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const int timeZero = params.timeZero;
        RequirePermittivity(params.permittivity);
        if (!(globalSettings.delta_t > 0.f && globalSettings.delta_x > 0.f))
            throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZero");
        if (timeZero < 0) throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
        RefreshInternalAlgoParams();
        const InternalAlgoParams& internal = *internalAlgoParams.Get();
        std::vector<Overlay> overlays;
        ParseActiveOverlays(params.overlays, overlays);

        const auto src = InputView(in, inProps);
        constexpr int lengthTooSmall = -6;
        if (src.dim0 <= timeZero || src.size < 1) throw IPP::Exception(lengthTooSmall, "IPP::Exception::ippsZero_32f");
        const auto dst = OutputView(out, MigratedProps(inProps, timeZero));
        ParallelFor(dst.dim2, [&](int i) { dst.Slice(i).Zero(); });

        const int channels = GetChannelCount(inProps.bscanCount);
        IPP::Array<float> speed(src.dim0);
        GenerateVelocityVector(speed, overlays);
        speed.MulC(0.5f);

        int widest = 0;
        for (int i = 0; i < src.dim2; ++i) widest = std::max(widest, ValidRange(inProps, i).validLen);
        if (widest == 0) return;
        const float angle = internal.apertureAngle;
        const float tanAperture =
            angle > 0.f && angle < 90.f ? static_cast<float>(std::tan(double(angle) * 3.14159 / 180.)) : 0.f;
        // Terms that an aperture bounds are the same for all valid ranges: one table for all chunks of a recording.
        const bool bounded = tanAperture > 0.f && internal.apertureMaxWidth > 0;
        const auto settingsFor = [&](float offset) {
            return DiffractionSettings{
                src.dim0, timeZero,    bounded ? src.dim1 : widest, globalSettings.delta_t,   globalSettings.delta_x,
                offset,   tanAperture, internal.apertureBaseWidth,  internal.apertureMaxWidth};
        };
        const auto mono = monoStack.For(settingsFor(internal.antennaOffsetMono), speed),
                   bi = biStack.For(settingsFor(internal.antennaOffsetBi), speed);
        ParallelFor(
            dst.dim2, [&] { return IPP::Array<float>(std::max(mono->WorkSize(widest), bi->WorkSize(widest))); },
            [&](int i, IPP::Array<float>& work) {
                const BscanInfo valid = ValidRange(inProps, i);
                if (valid.validLen == 0) return;
                const IPP::Array2D<float> record(src.Row(valid.firstValidIdx, i).data, src.dim0, valid.validLen),
                    image(dst.Row(valid.firstValidIdx, i).data, dst.dim0, valid.validLen);
                (IsBistatic(i, channels) ? *bi : *mono).Sum(record, image, work);
            });
    });
}

} // namespace TZM

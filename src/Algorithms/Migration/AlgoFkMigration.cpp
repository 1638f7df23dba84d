#include "Algorithms/Migration/AlgoFkMigration.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

#include "Algorithms/Migration/FkSettings.h"
#include "Algorithms/Migration/HalfSpectrum.h"
#include "Algorithms/Migration/MigrationBlocks.h"
#include "Algorithms/Migration/StoltTables.h"
#include "Algorithms/Migration/TransformSize.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoFkMigration::defDepthSpectrumSizeExtension = 0;
const float AlgoFkMigration::defDipMax = 85.0f;
const float AlgoFkMigration::defDipWidth = 5.0f;
const int AlgoFkMigration::defInterpolationMethod = 1;
const float AlgoFkMigration::defMaxMigFreqRel = 0.6f;
const float AlgoFkMigration::defHarlanThreshold = 0.1f;

AlgoFkMigration::AlgoFkMigration(const std::string& name) : Algo(name) {}

namespace {

using Internal = AlgoFkMigration::InternalAlgoParams;

const std::vector<JsonSection<Internal>>& Sections() {
    static const std::vector<JsonSection<Internal>> sections{
        {{kOwnSection},
         {
             Integer("DepthSpectrumSizeExtension", &Internal::depthSpectrumSizeExtension),
             Boolean("UseFrequencyMask", &Internal::useFrequencyMask),
             Boolean("UseDipMask", &Internal::useDipMask),
             Real("DipMax", &Internal::dipMax),
             Real("DipWidth", &Internal::dipWidth),
             Integer("InterpolationMethod", &Internal::interpolationMethod),
             Real("MaxMigFreqRel", &Internal::maxMigFreqRel),
             Real("HarlanThreshold", &Internal::harlanThreshold),
         }}};
    return sections;
}

} // namespace

AlgoFkMigration::InternalAlgoParams::InternalAlgoParams(const AlgoFkMigration* owner) : AlgoJsonParamsBase(owner, "") {}

AlgoFkMigration::InternalAlgoParams::InternalAlgoParams(const AlgoFkMigration* owner, const std::string& config)
    : AlgoJsonParamsBase(owner, config) {
    Parse();
}

void AlgoFkMigration::InternalAlgoParams::Parse() {
    ReadDocument("AlgoFkMigration::InternalAlgoParams::Parse",
                 [&](const Json::Value& root) { ReadSections(root, algo->name, Sections(), *this); });
}

std::vector<JsonKeyInfo> AlgoFkMigration::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), InternalAlgoParams(this));
}

void AlgoFkMigration::RefreshInternalAlgoParams() const {
    internalAlgoParams = std::make_shared<InternalAlgoParams>(this, jsonConfig);
}

ImageProps AlgoFkMigration::GetAdjustedImageDimensions(const ImageProps& props) const {
    return MigratedProps(props, params.timeZero);
}

StoltSettings FkSettings(const AlgoFkMigration::InternalAlgoParams& tuning, const AlgoGlobalSettings& sampling,
                         float permittivity, int nt, int nx) {
    StoltSettings s;
    s.nx = nx;
    s.nt = nt;
    s.deltaT = sampling.delta_t;
    s.deltaX = sampling.delta_x;
    s.permittivity = permittivity;
    s.useFrequencyMask = tuning.useFrequencyMask;
    s.useDipMask = tuning.useDipMask;
    s.dipMax = std::clamp(tuning.dipMax, 0.f, 90.f);
    s.dipWidth = tuning.dipWidth;
    s.harlan = tuning.interpolationMethod == 1;
    s.maxMigFreqRel = std::clamp(tuning.maxMigFreqRel, 0.01f, 1.f);
    s.harlanThreshold = std::clamp(tuning.harlanThreshold, 0.01f, 10.f);
    return s;
}

namespace {

// The order of nt comes from all samples, time zero included. A plan that can't be made is std::bad_alloc, and so is a
// spectrum whose weights an index no longer counts: twelve to every fourth element.
StoltSettings Settings(const AlgoFkMigration::InternalAlgoParams& internal, const AlgoGlobalSettings& sampling,
                       float permittivity, const ImageProps& props) {
    const std::int64_t orderX = CeilLog2(props.ascansPerBscan);
    const std::int64_t orderT = std::int64_t{CeilLog2(props.samplesPerAscan)} + internal.depthSpectrumSizeExtension;
    if (orderT < 0 || orderX + orderT > 29) throw IPP::BadAllocation();
    return FkSettings(internal, sampling, permittivity, 1 << orderT, 1 << orderX);
}

} // namespace

void AlgoFkMigration::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const float permittivity = params.permittivity;
        RequirePermittivity(permittivity);
        RefreshInternalAlgoParams();

        const int timeZero = params.timeZero;
        const MigrationBlocks blocks(in, inProps, out, timeZero);
        const BlockView &src = blocks.src, &dst = blocks.dst;
        const StoltSettings settings = Settings(*internalAlgoParams, globalSettings, permittivity, inProps);
        IPP::Require(settings.nt >= dst.dim0, "Index exceeds IPP::Array2D bounds");
        const auto shared = stoltTables.For(settings);
        const StoltTables& tables = *shared;
        struct Work {
            HalfSpectrum spectrum;
            std::vector<float> column;
        };
        const auto makeWork = [&] { return Work{HalfSpectrum(dst.dim0, dst.dim1, settings.nt, settings.nx), {}}; };
        ParallelFor(dst.dim2, makeWork, [&](int z, Work& work) {
            work.spectrum.Forward(src.Slice(z), timeZero, tables.LastRecordBin());
            for (int h = 0; h < settings.nx; ++h)
                tables.MapColumn(h, work.spectrum.ColumnRe(h), work.spectrum.ColumnIm(h), work.column);
            work.spectrum.InverseRealPart(tables.LastImageBin(), dst.Slice(z));
        });
    });
}

} // namespace TZM

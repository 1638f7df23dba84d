#include "Algorithms/Filter/AlgoBandPass.h"

#include <algorithm>
#include <cmath>

#include "Array/Primitives/MirroredRows.h"
#include "Framework/private/FewAscans.h"
#include "Framework/private/HalfWindow.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoBandPass::defaultLow = 0.f;
const float AlgoBandPass::defaultHigh = 0.f;
const int AlgoBandPass::defaultOrder = 4;

AlgoParamBandPass::AlgoParamBandPass()
    : AlgoParamBandPass(true, 1, AlgoBandPass::defaultLow, AlgoBandPass::defaultHigh, AlgoBandPass::defaultOrder) {}

AlgoParamBandPass::AlgoParamBandPass(bool logging, int level, float lower, float upper, int edges)
    : AlgoParamBase(logging, level), low(lower, &prmListener), high(upper, &prmListener), order(edges, &prmListener) {}

AlgoBandPass::AlgoBandPass(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamBandPass>>& Sections() {
    using P = AlgoParamBandPass;
    static const std::vector<JsonSection<P>> sections{
        {{kOwnSection}, {Real("Low", &P::low), Real("High", &P::high), Integer("Order", &P::order)}}};
    return sections;
}

// What passes of a frequency that is `ratio` times that of an upper edge, and of a lower one.
double BelowEdge(double ratio, int order) {
    if (order == 0) return std::clamp(2. - 1.5 * ratio, 0., 1.);
    return 1. / (1. + std::pow(ratio, 2. * order));
}

double AboveEdge(double ratio, int order) {
    if (order == 0) return std::clamp(1.5 * ratio - 1., 0., 1.);
    return 1. / (1. + std::pow(1. / ratio, 2. * order));
}

/// The weights of the frequencies k / (2 samples deltaT).
std::vector<double> Weights(const AlgoParamBandPass& params, int samples, double deltaT) {
    const double low = 1e6 * static_cast<double>(params.low), high = 1e6 * static_cast<double>(params.high);
    std::vector<double> weights(static_cast<std::size_t>(samples), 1.);
    for (int k = 0; k < samples; ++k) {
        const double f = k / (2. * samples * deltaT); // Hz
        double& weight = weights[static_cast<std::size_t>(k)];
        if (low > 0.) weight *= AboveEdge(f / low, params.order);
        if (high > 0.) weight *= BelowEdge(f / high, params.order);
    }
    return weights;
}

} // namespace

void AlgoBandPass::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoBandPass::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoBandPass::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamBandPass());
}

void AlgoBandPass::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        RequireFromZero(params.low);
        RequireFromZero(params.high);
        RequireFromZero(static_cast<float>(params.order));
        if (params.high > 0.f && params.low > params.high)
            throw Exception::CalcError(-12, "TZM::Exception::valueToBig");
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const IPP::MirroredFilter filter(Weights(params, src.dim0, static_cast<double>(globalSettings.delta_t)));
        const BlockStreams streams(dst);
        struct Work {
            IPP::MirroredWork lanes;
            IPP::Array2D<float> rows;
        };
        const int few = IPP::MirroredFilter::RowsAtATime();
        ParallelFor(
            dst.dim2,
            [&] {
                return Work{IPP::MirroredWork(filter), IPP::Array2D<float>(src.dim0, few)};
            },
            [&](int z, const Work& work) {
                ForFewAscans(ValidAscans(src, dst, inProps, z), few, work.rows, streams,
                             [&](const auto& ascans, const auto& target) {
                                 filter.Apply(ascans.data, ascans.dim0, ascans.dim1, target, work.lanes.Get());
                             });
            });
    });
}

} // namespace TZM

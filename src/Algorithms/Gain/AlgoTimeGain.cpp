#include "Algorithms/Gain/AlgoTimeGain.h"

#include <algorithm>
#include <cmath>

#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/HalfWindow.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoTimeGain::defaultTimeZero = 0;
const float AlgoTimeGain::defaultPower = 1.f;
const float AlgoTimeGain::defaultRate = 0.f;
const float AlgoTimeGain::defaultLimit = 60.f;
const float AlgoTimeGain::defaultAttenuation = 0.f;
const float AlgoTimeGain::defaultPermittivity = 6.f;

AlgoParamTimeGain::AlgoParamTimeGain()
    : AlgoParamTimeGain(true, 1, AlgoTimeGain::defaultTimeZero, AlgoTimeGain::defaultPower, AlgoTimeGain::defaultRate,
                        AlgoTimeGain::defaultLimit, AlgoTimeGain::defaultAttenuation,
                        AlgoTimeGain::defaultPermittivity) {}

AlgoParamTimeGain::AlgoParamTimeGain(bool logging, int level, int zero, float exponent, float decibels, float most,
                                     float perMetre, float relative)
    : AlgoParamBase(logging, level), timeZero(zero, &prmListener), power(exponent, &prmListener),
      rate(decibels, &prmListener), limit(most, &prmListener), attenuation(perMetre, &prmListener),
      permittivity(relative, &prmListener) {}

AlgoTimeGain::AlgoTimeGain(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamTimeGain>>& Sections() {
    using P = AlgoParamTimeGain;
    static const std::vector<JsonSection<P>> sections{{{kOwnSection},
                                                       {
                                                           Integer("TimeZero", &P::timeZero),
                                                           Real("Power", &P::power),
                                                           Real("Rate", &P::rate),
                                                           Real("Limit", &P::limit),
                                                           Real("Attenuation", &P::attenuation),
                                                           Real("Permittivity", &P::permittivity),
                                                       }}};
    return sections;
}

void Require(const AlgoParamTimeGain& params) {
    RequireFromZero(static_cast<float>(params.timeZero));
    RequireFromZero(params.limit);
    if (!(params.permittivity > 0.f)) throw Exception::CalcError(-10, "TZM::Exception::permittivitySmallerEqualZero");
    for (const float number : {params.power.value, params.rate.value, params.attenuation.value})
        if (!std::isfinite(number)) throw Exception::CalcError(-12, "TZM::Exception::valueToBig");
}

/// g(t) of every sample, made in dB, which don't overflow.
std::vector<float> Factors(const AlgoParamTimeGain& params, int samples, double deltaT) {
    constexpr double kLight = 0.3; // m/ns
    const double power = static_cast<double>(params.power), limit = static_cast<double>(params.limit);
    const double rate = static_cast<double>(params.rate) + static_cast<double>(params.attenuation) * kLight /
                                                               std::sqrt(static_cast<double>(params.permittivity));
    std::vector<float> factors(static_cast<std::size_t>(samples));
    for (int s = 0; s < samples; ++s) {
        const double t = 1e9 * deltaT * (static_cast<double>(s) - params.timeZero);
        const bool early = t < (power == 0. ? 0. : 1.);
        const double decibels = early ? 0. : (power == 0. ? 0. : 20. * power * std::log10(t)) + rate * t;
        factors[static_cast<std::size_t>(s)] = static_cast<float>(std::pow(10., std::min(decibels, limit) / 20.));
    }
    return factors;
}

} // namespace

void AlgoTimeGain::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoTimeGain::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoTimeGain::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamTimeGain());
}

void AlgoTimeGain::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        Require(params);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        std::vector<float> factors = Factors(params, src.dim0, static_cast<double>(globalSettings.delta_t));
        const IPP::Array<float> curve(factors.data(), src.dim0);
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int z) {
            const ValidAscans valid(src, dst, inProps, z);
            valid.ZeroTheOthers();
            for (int y = 0; y < valid.count; ++y) streams.Product(valid.src.Row(y), curve, valid.dst.Row(y));
            streams.Finish();
        });
    });
}

} // namespace TZM

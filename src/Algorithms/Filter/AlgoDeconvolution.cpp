#include "Algorithms/Filter/AlgoDeconvolution.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Array/Simd/Dispatch.h"
#include "Framework/CalcError.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoDeconvolution::defaultGap = 0.f;
const float AlgoDeconvolution::defaultLength = 5.f;
const float AlgoDeconvolution::defaultNoise = 0.01f;

AlgoParamDeconvolution::AlgoParamDeconvolution()
    : AlgoParamDeconvolution(true, 1, AlgoDeconvolution::defaultGap, AlgoDeconvolution::defaultLength,
                             AlgoDeconvolution::defaultNoise) {}

AlgoParamDeconvolution::AlgoParamDeconvolution(bool logging, int level, float keeps, float predicts, float white)
    : AlgoParamBase(logging, level), gap(keeps, &prmListener), length(predicts, &prmListener),
      noise(white, &prmListener) {}

AlgoDeconvolution::AlgoDeconvolution(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamDeconvolution>>& Sections() {
    using P = AlgoParamDeconvolution;
    static const std::vector<JsonSection<P>> sections{
        {{kOwnSection}, {Real("Gap", &P::gap), Real("Length", &P::length), Real("Noise", &P::noise)}}};
    return sections;
}

void Require(const AlgoParamDeconvolution& params) {
    if (!(params.gap >= 0.f && params.noise >= 0.f)) throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
    if (!(params.length > 0.f)) throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZero");
}

/// Samples that make up so many ns, from 1 to `most`.
int SamplesOf(float nanoseconds, float deltaT, int most) {
    const double samples = std::round(1e-9 * nanoseconds / deltaT);
    return samples >= most ? most : samples > 1 ? static_cast<int>(samples) : 1; // 1 where there is no interval
}

/// The operator of an A-scan: solves sum over j of r[|i - j|] a[j] = r[g + i] for i = 0 .. n - 1.
class Levinson {
public:
    explicit Levinson(int length)
        : operators(static_cast<std::size_t>(length)), errors(operators), flipped(operators) {}

    /// \param r of lags from 0 on, the first above 0.
    const std::vector<double>& Solve(const double* r, int gap) {
        const auto n = static_cast<int>(operators.size());
        double *a = operators.data(), *f = errors.data(), *b = flipped.data(), left = r[0];
        std::fill_n(a, n, 0.);
        f[0] = 1;
        a[0] = r[gap] / r[0];
        for (int m = 1; m < n; ++m) {
            double ahead = 0, missing = r[gap + m];
            for (int j = 0; j < m; ++j) ahead += f[j] * r[m - j], missing -= a[j] * r[m - j];
            const double reflection = ahead / left;
            f[m] = 0;
            std::reverse_copy(f, f + m + 1, b);
            for (int j = 0; j <= m; ++j) f[j] -= reflection * b[j];
            left *= 1 - reflection * reflection;
            if (!(left > std::numeric_limits<double>::epsilon() * r[0])) break; // the past tells all
            const double step = missing / left;
            for (int j = 0; j <= m; ++j) a[j] += step * f[m - j];
        }
        return operators;
    }

private:
    std::vector<double> operators, errors, flipped;
};

/// One A-scan with zeros around it, as the sums of a correlation take it.
class Prediction {
public:
    Prediction(int ofSamples, int gapSamples, int length, double noiseShare)
        : samples(ofSamples), gap(gapSamples), noise(noiseShare), levinson(length), taps(length),
          lags(Whole(gap + length)), predicted(Whole(samples)), ascan(gap + length + predicted.size + lags.size) {
        std::fill_n(ascan.data, ascan.size, 0.);
    }

    /// What the past of an A-scan tells of its samples.
    const IPP::Array<double>& Of(const IPP::Array<float>& in) {
        const auto correlate = IPP::Simd::Active().correlate;
        double* const first = ascan.data + gap + taps.size;
        std::copy_n(in.data, samples, first);
        std::fill_n(lags.data, lags.size, 0.);
        std::fill_n(predicted.data, predicted.size, 0.);
        correlate(first, first, samples, lags.data, lags.size);
        if (lags[0] == 0) return predicted;
        lags[0] *= 1 + noise;
        const std::vector<double>& a = levinson.Solve(lags.data, gap);
        std::reverse_copy(a.begin(), a.end(), taps.data);
        correlate(first - gap - taps.size + 1, taps.data, taps.size, predicted.data, predicted.size);
        return predicted;
    }

private:
    static int Whole(int n) {
        constexpr int block = IPP::Simd::kCorrelateBlock;
        return (n + block - 1) / block * block;
    }

    const int samples, gap;
    const double noise;
    Levinson levinson;
    IPP::Array<double> taps, lags, predicted, ascan;
};

} // namespace

void AlgoDeconvolution::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoDeconvolution::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoDeconvolution::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamDeconvolution());
}

void AlgoDeconvolution::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        Require(params);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const int samples = src.dim0, gap = SamplesOf(params.gap, globalSettings.delta_t, samples);
        const int length = SamplesOf(params.length, globalSettings.delta_t, samples - gap);
        ParallelFor(
            dst.dim2, [&] { return Prediction(samples, gap, std::max(length, 1), params.noise); },
            [&](int z, Prediction& prediction) {
                const ValidAscans valid(src, dst, inProps, z);
                valid.ZeroTheOthers();
                for (int y = 0; y < valid.count; ++y) {
                    const auto ascan = valid.src.Row(y), rest = valid.dst.Row(y);
                    const IPP::Array<double>& told = prediction.Of(ascan);
                    for (int s = 0; s < samples; ++s) rest[s] = static_cast<float>(ascan[s] - told[s]);
                }
            });
    });
}

} // namespace TZM

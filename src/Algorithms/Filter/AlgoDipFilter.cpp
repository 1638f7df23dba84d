#include "Algorithms/Filter/AlgoDipFilter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "Algorithms/Migration/HalfSpectrum.h"
#include "Algorithms/Migration/TransformSize.h"
#include "Array/Simd/Dispatch.h"
#include "Framework/CalcError.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoDipFilter::defaultSlowest = 0.03f;
const float AlgoDipFilter::defaultTaper = 0.2f;

AlgoParamDipFilter::AlgoParamDipFilter()
    : AlgoParamDipFilter(true, 1, AlgoDipFilter::defaultSlowest, 0.f, false, AlgoDipFilter::defaultTaper) {}

AlgoParamDipFilter::AlgoParamDipFilter(bool logging, int level, float slow, float fast, bool rejects, float fade)
    : AlgoParamBase(logging, level), slowest(slow, &prmListener), fastest(fast, &prmListener),
      reject(rejects, &prmListener), taper(fade, &prmListener) {}

AlgoDipFilter::AlgoDipFilter(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamDipFilter>>& Sections() {
    using P = AlgoParamDipFilter;
    static const std::vector<JsonSection<P>> sections{{{kOwnSection},
                                                       {
                                                           Real("Slowest", &P::slowest),
                                                           Real("Fastest", &P::fastest),
                                                           Boolean("Reject", &P::reject),
                                                           Real("Taper", &P::taper),
                                                       }}};
    return sections;
}

} // namespace

void AlgoDipFilter::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoDipFilter::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoDipFilter::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamDipFilter());
}

namespace {

void Require(const AlgoParamDipFilter& params) {
    if (!(params.slowest >= 0.f && params.fastest >= 0.f && params.taper >= 0.f))
        throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
    if (params.fastest > 0.f && params.slowest > params.fastest)
        throw Exception::CalcError(-12, "TZM::Exception::valueToBig");
}

/// The sizes of a transform.
struct Sizes {
    Sizes(int samples, int ascans)
        : margin(static_cast<int>((std::int64_t{ascans} + 7) / 8)), width(std::int64_t{ascans} + 2 * margin),
          nt(FastLength(samples + std::int64_t{samples} / 4)), nx(FastLength(width)) {
        constexpr std::int64_t most = std::int64_t{1} << 29; // of the spectrum, as in a migration
        if (nx > most || nt > most || nx * nt > most) throw IPP::BadAllocation();
    }

    int margin;         ///< A-scans of a mirror image on each side
    std::int64_t width; ///< A-scans with both
    std::int64_t nt, nx;
};

/// The weights w of the fan.
class Fan {
public:
    Fan(const AlgoParamDipFilter& params, const AlgoGlobalSettings& sampling, const Sizes& sizes)
        : slowest(params.slowest), fastest(params.fastest), reject(params.reject),
          taper(std::min(params.taper.value, 1.f)), nx(static_cast<int>(sizes.nx)),
          nyquist(static_cast<int>(sizes.nt / 2)), weights(nyquist, nx / 2 + 1) {
        const double nanoseconds = 1e9 * sampling.delta_t;
        for (int h = 0; h <= nx / 2; ++h) {
            const double kx = h / (nx * static_cast<double>(sampling.delta_x)); // cycles per metre
            for (int j = 1; j <= nyquist; ++j) {
                const double f = j / (static_cast<double>(sizes.nt) * nanoseconds); // GHz
                const double sides = j < nyquist ? 2. : 1.; // both signs of f, of which the spectrum keeps one
                weights.At(j - 1, h) = static_cast<float>(sides * Weight(kx / f));
            }
        }
    }

    /// \param slowness ns/m
    double Weight(double slowness) const {
        const double pass =
            (slowest > 0. ? Edge(slowness * slowest - 1.) : 1.) * (fastest > 0. ? Edge(1. - slowness * fastest) : 1.);
        return reject ? 1. - pass : pass;
    }

    void Apply(const HalfSpectrum& spectrum) const {
        const auto mul = IPP::Simd::Active().mul;
        for (int h = 0; h < nx; ++h) {
            const float* const column = &weights.At(0, std::min(h, nx - h));
            mul(column, spectrum.ColumnRe(h), nyquist);
            mul(column, spectrum.ColumnIm(h), nyquist);
        }
    }

private:
    /// 1 inside, fading out over the taper beyond the edge.
    double Edge(double beyond) const {
        if (beyond <= 0.) return 1.;
        return beyond < taper ? 0.5 + 0.5 * std::cos(M_PI * beyond / taper) : 0.;
    }

    double slowest, fastest; ///< m/ns
    bool reject;
    double taper;
    int nx, nyquist;
    IPP::Array2D<float> weights; ///< of the frequencies 1 .. nyquist in columns of one wavenumber
};

/// One B-scan on its way through the spectrum.
struct Work {
    Work(const Sizes& s, int samples)
        : sizes(s), record(samples, static_cast<int>(s.width)),
          spectrum(samples, record.dim1, static_cast<int>(s.nt), static_cast<int>(s.nx)), sums(record.dim1) {}

    /// The A-scans between their mirror images, zeros behind them.
    void Load(const IPP::Array2D<float>& ascans) {
        record.Zero();
        const int margin = sizes.margin, count = ascans.dim1;
        const auto put = [&](int from, int to, double factor) {
            IPP::Simd::Active().streamMulC(static_cast<float>(factor), &ascans.At(0, from), &record.At(0, to),
                                           record.dim0, false);
        };
        for (int y = 0; y < count; ++y) put(y, margin + y, 1.);
        for (int k = 1; k <= std::min(margin, count); ++k) {
            const double fade = 0.5 + 0.5 * std::cos(M_PI * k / (margin + 1));
            put(k - 1, margin - k, fade);
            put(count - k, margin + count + k - 1, fade);
        }
    }

    /// What the frequency 0, which the spectrum doesn't keep, adds to each A-scan.
    void AddMeans(const Fan& fan) {
        double all = 0.;
        for (int y = 0; y < record.dim1; ++y) all += sums[y] = IPP::Simd::Active().sum(&record.At(0, y), record.dim0);
        const double sloping = fan.Weight(std::numeric_limits<double>::infinity()), flat = fan.Weight(0.);
        const double common = (flat - sloping) * all / static_cast<double>(sizes.nx);
        for (int y = 0; y < record.dim1; ++y) sums[y] = (sloping * sums[y] + common) / static_cast<double>(sizes.nt);
    }

    const Sizes& sizes;
    IPP::Array2D<float> record;
    HalfSpectrum spectrum;
    IPP::Array<double> sums; ///< of each A-scan of the record, then its constant in the output
};

} // namespace

void AlgoDipFilter::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        Require(params);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const Sizes sizes(src.dim0, src.dim1);
        const Fan fan(params, globalSettings, sizes);
        const BlockStreams streams(dst);
        ParallelFor(
            dst.dim2, [&] { return Work(sizes, src.dim0); },
            [&](int z, Work& work) {
                const ValidAscans valid(src, dst, inProps, z);
                valid.ZeroTheOthers();
                if (valid.count == 0) return;
                work.Load(valid.src);
                work.AddMeans(fan);
                const int nyquist = static_cast<int>(sizes.nt / 2);
                work.spectrum.Forward(work.record, 0, nyquist);
                fan.Apply(work.spectrum);
                work.spectrum.InverseRealPart(nyquist, work.record);
                for (int y = 0; y < valid.count; ++y)
                    streams.Shift(work.record.Row(sizes.margin + y), static_cast<float>(work.sums[sizes.margin + y]),
                                  valid.dst.Row(y));
                streams.Finish();
            });
    });
}

} // namespace TZM

#include "Algorithms/Migration/AlgoFkMigration3D.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "Algorithms/Migration/FkSettings.h"
#include "Algorithms/Migration/HalfSpectrum.h"
#include "Algorithms/Migration/MigrationBlocks.h"
#include "Algorithms/Migration/TransformSize.h"
#include "Array/Simd/Dispatch.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoFkMigration3D::defaultLineSpacing = 0.05f;
const float AlgoFkMigration3D::defaultPadding = 0.25f;
const float AlgoFkMigration3D::defaultTaper = 0.05f;

AlgoParamFkMigration3D::AlgoParamFkMigration3D()
    : AlgoParamFkMigration3D(true, 1, defaultTimeZero, defaultPermittivity, "", AlgoFkMigration3D::defaultLineSpacing) {
}

AlgoParamFkMigration3D::AlgoParamFkMigration3D(bool logging, int level, int timeZeroSamples, float groundPermittivity,
                                               const std::string& layers, float spacing)
    : AlgoParamMigrationBase(logging, level, timeZeroSamples, groundPermittivity, layers),
      lineSpacing(spacing, &prmListener), padding(AlgoFkMigration3D::defaultPadding, &prmListener),
      taper(AlgoFkMigration3D::defaultTaper, &prmListener) {}

AlgoFkMigration3D::AlgoFkMigration3D(const std::string& name) : Algo(name) {}

namespace {

using P = AlgoParamFkMigration3D;

const std::vector<JsonSection<P>>& Sections() {
    static const std::vector<JsonSection<P>> sections{
        {{"Global"}, {Integral("TimeZero", &P::timeZero), Real("Permittivity", &P::permittivity)}},
        {{kOwnSection},
         {
             Real("LineSpacing", &P::lineSpacing),
             Real("Padding", &P::padding, 0., 4.),
             Real("Taper", &P::taper, 0., 0.5),
         }}};
    return sections;
}

} // namespace

void AlgoFkMigration3D::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoFkMigration3D::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoFkMigration3D::DescribeKeys() const {
    std::vector<JsonKeyInfo> keys = TZM::DescribeKeys(name, Sections(), P());
    const auto tuning = AlgoFkMigration(name).DescribeKeys();
    keys.insert(keys.end(), tuning.begin(), tuning.end());
    return keys;
}

ImageProps AlgoFkMigration3D::GetAdjustedImageDimensions(const ImageProps& props) const {
    return MigratedProps(props, params.timeZero);
}

namespace {

/// Weights of an extent that fades out at its end, and at its begin, too, if it has two ends.
std::vector<float> Taper(int extent, double share, bool bothEnds) {
    std::vector<float> weights(static_cast<std::size_t>(extent), 1.f);
    const int n = static_cast<int>(std::min(share, 0.5) * extent);
    for (int i = 0; i < n; ++i) {
        const auto weight = static_cast<float>(0.5 - 0.5 * std::cos(M_PI * (i + 1) / (n + 1)));
        weights[weights.size() - 1 - std::size_t(i)] *= weight;
        if (bothEnds) weights[std::size_t(i)] *= weight;
    }
    return weights;
}

/// The lengths of the transforms.
struct Sizes {
    Sizes(const BlockView& block, double padding, int extension) {
        const auto padded = [&](int extent) { return std::ceil(extent * (1. + padding)); };
        constexpr double most = 1 << 29; // of the spectrum of a B-scan and of all, in pairs of numbers
        if (extension < 0 || extension > 29) throw IPP::BadAllocation();
        const double longest = padded(block.dim0) * std::ldexp(1., extension);
        if (longest * padded(block.dim1) > most) throw IPP::BadAllocation();
        const std::int64_t t = FastLength(static_cast<std::int64_t>(padded(block.dim0))) << extension,
                           x = FastLength(static_cast<std::int64_t>(padded(block.dim1)));
        if (double(t) * double(x) > most) throw IPP::BadAllocation();
        nt = static_cast<int>(t), nx = static_cast<int>(x);
        ny = static_cast<int>(FastLength(static_cast<std::int64_t>(padded(block.dim2))));
    }
    int nt, nx, ny;
};

/// One horizontal wavenumber along the scan on its way through the transform across it.
struct AcrossScan {
    AcrossScan(int bins, int ny)
        : plan(IPP::FftPlan::Get(ny)), re((bins + 15) / 16 * 16 + 16, ny), im(re.dim0, ny),
          work(static_cast<int>(plan->WorkSize() + 1)) {
        re.Zero(), im.Zero();
    }

    /// Neighbouring vertical wavenumbers ride in the lanes.
    void Transform(int bins, int lines, bool inverse) {
        const int lanes = IPP::Simd::ActiveFft().lanes;
        for (int j = 0; j < bins; j += lanes) {
            const IPP::LaneTarget rows{&re.At(j, 0), &im.At(j, 0), re.dim0};
            if (inverse)
                plan->Inverse({rows.re, rows.im, rows.stride}, rows, work.data, 1.f / static_cast<float>(re.dim1));
            else
                plan->Forward({rows.re, rows.im, rows.stride, lines}, rows, work.data);
        }
    }

    std::shared_ptr<const IPP::FftPlan> plan;
    IPP::Array2D<float> re, im; ///< a row for each line, then for each wavenumber across
    IPP::Array<float> work;
    std::vector<float> record;
};

} // namespace

void AlgoFkMigration3D::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const float permittivity = params.permittivity;
        RequirePermittivity(permittivity);
        if (!(globalSettings.delta_t > 0.f && globalSettings.delta_x > 0.f && params.lineSpacing > 0.f))
            throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZero");
        if (!(params.padding >= 0.f && params.taper >= 0.f))
            throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
        const AlgoFkMigration alike(name); // whose tuning values stand in this one's section
        const AlgoFkMigration::InternalAlgoParams tuning(&alike, jsonConfig);

        const MigrationBlocks blocks(in, inProps, out, params.timeZero);
        const BlockView &src = blocks.src, &dst = blocks.dst;
        const Sizes n(dst, params.padding, tuning.depthSpectrumSizeExtension);
        const StoltSettings settings = FkSettings(tuning, globalSettings, permittivity, n.nt, n.ny);
        const int nyquist = n.nt / 2, lines = dst.dim2;

        const auto down = Taper(dst.dim0, params.taper, false), along = Taper(dst.dim1, params.taper, true),
                   across = Taper(lines, params.taper, true);
        std::vector<std::unique_ptr<HalfSpectrum>> spectra(static_cast<std::size_t>(lines));
        ParallelFor(
            lines, [&] { return IPP::Array2D<float>(dst.dim0, dst.dim1); },
            [&](int z, IPP::Array2D<float>& record) {
                for (int y = 0; y < dst.dim1; ++y) {
                    auto ascan = record.Row(y);
                    IPP::Simd::Active().product(&src.At(params.timeZero, y, z), down.data(), ascan.data, ascan.size);
                    ascan.MulC(along[std::size_t(y)] * across[std::size_t(z)]);
                }
                auto& spectrum = spectra[std::size_t(z)];
                spectrum = std::make_unique<HalfSpectrum>(dst.dim0, dst.dim1, n.nt, n.nx);
                spectrum->Forward(record, 0, nyquist);
            });

        const auto wavenumber = [](int index, int size, double spacing) { return index / (size * spacing); };
        int lastBin = 0;
        {
            const StoltTables none(settings, {});
            lastBin = none.LastImageBin();
        }
        const auto mapColumn = [&](int h, const StoltTables& tables, AcrossScan& scan) {
            for (int z = 0; z < lines; ++z) {
                std::copy_n(spectra[std::size_t(z)]->ColumnRe(h), nyquist, &scan.re.At(0, z));
                std::copy_n(spectra[std::size_t(z)]->ColumnIm(h), nyquist, &scan.im.At(0, z));
            }
            scan.Transform(nyquist, lines, false);
            for (int k = 0; k < n.ny; ++k) tables.MapColumn(k, &scan.re.At(0, k), &scan.im.At(0, k), scan.record);
            scan.Transform(lastBin, lines, true);
            for (int z = 0; z < lines; ++z) {
                std::copy_n(&scan.re.At(0, z), lastBin, spectra[std::size_t(z)]->ColumnRe(h));
                std::copy_n(&scan.im.At(0, z), lastBin, spectra[std::size_t(z)]->ColumnIm(h));
            }
        };
        ParallelFor(
            n.nx / 2 + 1, [&] { return AcrossScan(nyquist, n.ny); },
            [&](int h, AcrossScan& scan) {
                std::vector<double> columnBins;
                for (int k = 0; k <= n.ny / 2; ++k)
                    columnBins.push_back(
                        StoltTables::ColumnBin(settings, std::hypot(wavenumber(h, n.nx, globalSettings.delta_x),
                                                                    wavenumber(k, n.ny, double(params.lineSpacing)))));
                const StoltTables tables(settings, columnBins);
                mapColumn(h, tables, scan);
                if (h > 0 && h < n.nx - h) mapColumn(n.nx - h, tables, scan);
            });

        ParallelFor(lines, [&](int z) { spectra[std::size_t(z)]->InverseRealPart(lastBin, dst.Slice(z)); });
    });
}

} // namespace TZM

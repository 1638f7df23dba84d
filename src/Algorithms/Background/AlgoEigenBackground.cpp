#include "Algorithms/Background/AlgoEigenBackground.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "Array/Simd/Dispatch.h"
#include "Array/SymmetricEigen.h"
#include "Framework/CalcError.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoEigenBackground::defaultCount = 1;

AlgoParamEigenBackground::AlgoParamEigenBackground()
    : AlgoParamEigenBackground(true, 1, AlgoEigenBackground::defaultCount, 0.f, false) {}

AlgoParamEigenBackground::AlgoParamEigenBackground(bool logging, int level, int images, float share, bool keeps)
    : AlgoParamBase(logging, level), count(images, &prmListener), energy(share, &prmListener),
      keep(keeps, &prmListener) {}

AlgoEigenBackground::AlgoEigenBackground(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamEigenBackground>>& Sections() {
    using P = AlgoParamEigenBackground;
    static const std::vector<JsonSection<P>> sections{
        {{kOwnSection}, {Integral("Count", &P::count), Real("Energy", &P::energy), Boolean("Keep", &P::keep)}}};
    return sections;
}

constexpr int kColumns = IPP::Simd::kTileColumns, kRows = IPP::Simd::kTileRows;

/// One B-scan as rows of the smaller side: A-scans, or depths if there are fewer A-scans than samples.
class Rows {
public:
    Rows(int samples, int ascans) : Rows(std::max(samples, ascans), Padded(std::min(samples, ascans))) {}

    void Load(const IPP::Array2D<float>& ascans) {
        const bool depths = ascans.dim1 < ascans.dim0;
        order = std::min(ascans.dim0, ascans.dim1), count = std::max(ascans.dim0, ascans.dim1), step = Padded(order);
        for (int r = 0; r < count; ++r) std::fill(Row(r) + order, Row(r) + step, 0.);
        InTiles(ascans, [&](int y, int s) { (depths ? Row(s)[y] : Row(y)[s]) = ascans.data[y * ascans.dim0 + s]; });
    }

    /// Row by row, the sums of the products of two columns; gives the sum over the diagonal.
    double MakeMatrix() {
        const auto product = IPP::Simd::Active().tileProducts;
        std::fill_n(matrix.begin(), step * step, 0.);
        constexpr int kRun = 64; // rows of which the columns of a tile stay in the first cache
        for (int first = 0; first < count; first += kRun)
            for (int c = 0; c < step; c += kColumns)
                for (int r = c; r < step; r += kRows)
                    product(Row(first) + r, Row(first) + c, step, std::min(kRun, count - first),
                            &matrix[static_cast<std::size_t>(r * step + c)], step);
        double trace = 0;
        for (int i = 0; i < order; ++i) trace += matrix[static_cast<std::size_t>(i * step + i)];
        return trace;
    }

    /// Every row becomes its projection on vectors, or what is left of it.
    void Project(const std::vector<double>& vectors, bool keep) {
        const auto& kernels = IPP::Simd::Active();
        const auto n = static_cast<std::size_t>(order);
        for (int r = 0; r < count; ++r) {
            std::fill_n(image.begin(), order, 0.);
            for (std::size_t k = 0; k < vectors.size(); k += n)
                kernels.addScaledWide(kernels.dotWide(&vectors[k], Row(r), order), &vectors[k], image.data(), order);
            if (keep)
                std::copy_n(image.begin(), order, Row(r));
            else
                kernels.addScaledWide(-1, image.data(), Row(r), order);
        }
    }

    void Store(const IPP::Array2D<float>& ascans) const {
        const bool depths = ascans.dim1 < ascans.dim0;
        InTiles(ascans, [&](int y, int s) {
            ascans.data[y * ascans.dim0 + s] = static_cast<float>(depths ? Row(s)[y] : Row(y)[s]);
        });
    }

    /// The matrix, of which eigenvectors are wanted; it is used up.
    IPP::SymmetricEigen Eigen() { return {matrix.data(), step, order}; }
    void Divide(double by) {
        for (std::ptrdiff_t i = 0; i < step * step; ++i) matrix[static_cast<std::size_t>(i)] /= by;
    }
    int Order() const { return order; }

private:
    Rows(int rows, std::ptrdiff_t width)
        : data(static_cast<std::size_t>(rows) * static_cast<std::size_t>(width)),
          matrix(static_cast<std::size_t>(width * width)), image(static_cast<std::size_t>(width)) {}

    static std::ptrdiff_t Padded(int n) { return (std::ptrdiff_t{n} + kColumns - 1) / kColumns * kColumns; }
    double* Row(int r) { return &data[static_cast<std::size_t>(r * step)]; }
    const double* Row(int r) const { return &data[static_cast<std::size_t>(r * step)]; }

    /// visit(A-scan, sample), so that both orders stay in the caches.
    template <class Visit>
    static void InTiles(const IPP::Array2D<float>& ascans, const Visit& visit) {
        constexpr int kTile = 16;
        for (int y = 0; y < ascans.dim1; y += kTile)
            for (int s = 0; s < ascans.dim0; s += kTile)
                for (int i = y; i < std::min(y + kTile, ascans.dim1); ++i)
                    for (int k = s; k < std::min(s + kTile, ascans.dim0); ++k) visit(i, k);
    }

    std::vector<double> data, matrix, image;
    int order = 0, count = 0;
    std::ptrdiff_t step = 0;
};

/// Eigenimages that are background: of a matrix of trace 1 the eigenvalues are their shares of the energy.
int BackgroundImages(const AlgoParamEigenBackground& params, const IPP::SymmetricEigen& eigen, int order) {
    if (!(params.energy > 0.f)) return std::min(params.count.value, order);
    double held = 0;
    int images = 0;
    while (images < order && held < params.energy) held += eigen.Value(images++);
    return images;
}

} // namespace

void AlgoEigenBackground::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoEigenBackground::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoEigenBackground::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamEigenBackground());
}

void AlgoEigenBackground::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        if (!(params.count >= 0 && params.energy >= 0.f))
            throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
        if (params.energy > 1.f) throw Exception::CalcError(-12, "TZM::Exception::valueToBig");
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        ParallelFor(
            dst.dim2, [&] { return Rows(src.dim0, src.dim1); },
            [&](int z, Rows& rows) {
                const ValidAscans valid(src, dst, inProps, z);
                valid.ZeroTheOthers();
                if (valid.count == 0) return;
                rows.Load(valid.src);
                const double energy = rows.MakeMatrix();
                if (!std::isfinite(energy) || energy == 0) {
                    std::fill_n(valid.dst.data, valid.dst.size, static_cast<float>(energy - energy));
                    return;
                }
                rows.Divide(energy);
                const IPP::SymmetricEigen eigen = rows.Eigen();
                rows.Project(eigen.Vectors(BackgroundImages(params, eigen, rows.Order())), params.keep);
                rows.Store(valid.dst);
            });
    });
}

} // namespace TZM

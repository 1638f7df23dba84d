#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Background/BackgroundMask.h"
#include "Algorithms/Background/SimpleRemoval.h"
#include "Array/Primitives/Checked.h"

namespace TZM {

std::vector<float> RowLevels(const DepthRows<const float>& rows, bool useMedian) {
    return useMedian && rows.columns >= 2 ? RowMedians(rows) : RowMeans(rows);
}

std::vector<float> SurfaceLevels(const DepthRows<const float>& rows, const IPP::Array<float>& mask) {
    DepthRows<const float> masked = rows;
    masked.rows = mask.size;
    std::vector<float> levels = RowMeans(masked);
    for (int r = 0; r < mask.size; ++r) levels[static_cast<std::size_t>(r)] *= mask[r];
    return levels;
}

std::array<double, 4> HighPassTaps() {
    std::array<double, 4> taps;
    IPP::Checked::IirGen(true, 0.005, 0., 1, taps.data(), 0);
    return taps;
}

namespace {

void Subtract(const IPP::Array2D<float>& target, const std::vector<float>& levels) {
    for (std::size_t r = 0; r < levels.size(); ++r) target.Row(static_cast<int>(r)).AddC(-levels[r]);
}

} // namespace

void AlgoBgRemoval::ApplyBasicBgRemoval(IPP::Array2D<float, int>& target, IPP::Array2D<float, int>& reference,
                                        bool useMedian) const {
    IPP::Require(reference.dim1 >= target.dim1, "Index exceeds IPP::Array2D bounds");
    auto rows = RowsOfDepths(reference);
    rows.rows = target.dim1;
    Subtract(target, RowLevels(rows, useMedian));
}

void AlgoBgRemoval::ApplyHighPassBgRemoval(IPP::Array2D<float, int>& target) const {
    FilterRowsZeroPhase(RowsOfDepths(target), HighPassTaps().data(), RowsOfDepths(target));
}

void AlgoBgRemoval::ApplySurfaceBgRemoval(IPP::Array2D<float, int>& target, IPP::Array<float, int>& mask) const {
    IPP::Require(mask.size <= target.dim1, "Index exceeds IPP::Array2D bounds");
    Subtract(target, SurfaceLevels(RowsOfDepths(target), mask));
}

void AlgoBgRemoval::GenerateSurfaceBgrMask(IPP::Array<float, int>& mask, int bgrLen, int taperLen) const {
    GenerateBackgroundMask(mask, bgrLen, taperLen);
}

} // namespace TZM

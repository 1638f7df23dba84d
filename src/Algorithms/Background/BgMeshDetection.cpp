#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Background/SimpleRemoval.h"
#include "Array/Primitives/Checked.h"
#include "Array/Primitives/SingleTransform.h"
#include "Array/Simd/Dispatch.h"
#include "Framework/Channels.h"
#include "Framework/private/BscanLayout.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

namespace {

constexpr float kAscanDistance = 0.005f;                // metres, whatever the sampling is
constexpr float kShortestPeriod = 0.11111111640930176f; // 1 / 9 A-scans

/// Transforms rows of an image along the scan, zero-padded to a length, 2 W at a time: the rows of a group of W are the
/// real parts of the lanes, those of the next group the imaginary ones.
class RowSpectra {
public:
    RowSpectra(int transformLength)
        : length(transformLength), lanes(IPP::Simd::ActiveFft().lanes), plan(IPP::FftPlan::Get(length)),
          spectrum(IPP::Detail::OwnedCount<int>(2 * static_cast<int>(lanes), length)),
          work(std::max(1, static_cast<int>(plan->WorkSize()))) {}

    int RowsAtATime() const { return 2 * static_cast<int>(lanes); }

    /// The spectrum of the rows first .. first + rows - 1, at most 2 W of them, in lane blocks.
    const float* Transform(const IPP::Array2D<float>& image, int first, int rows) {
        const auto& fft = IPP::Simd::ActiveFft();
        for (const int group : {0, 1}) {
            const int begin = group * static_cast<int>(lanes), count = std::clamp(rows - begin, 0, int(lanes));
            fft.loadRows(image.Row(count > 0 ? first + begin : first).data, image.dim0 * sizeof(float), count,
                         image.dim0, spectrum.data + begin, 2 * lanes);
        }
        plan->Forward({spectrum.data, spectrum.data + lanes, 2 * lanes, image.dim0},
                      {spectrum.data, spectrum.data + lanes, 2 * lanes}, work.data);
        return spectrum.data;
    }

private:
    int length;
    IPP::Index lanes;
    std::shared_ptr<const IPP::FftPlan> plan;
    IPP::Array<float> spectrum, work;
};

/// The smallest power of two that isn't below n.
int PowerOfTwo(std::int64_t n) {
    std::int64_t power = 1;
    while (power < n) power *= 2;
    return IPP::Detail::OwnedCount<int>(1, static_cast<int>(std::min<std::int64_t>(power, 1 << 30)));
}

float Autocorrelation(const IPP::Array<float>& row, int lag) {
    double sum = 0.;
    for (int c = 0; c + lag < row.size; ++c) sum += static_cast<double>(row[c]) * static_cast<double>(row[c + lag]);
    return static_cast<float>(sum);
}

/// The sum of the autocorrelations of some rows at lags from 0 on. It is made by transforms, whose rounding would tell
/// equal lags apart and find a peak among lags that are exactly 0: what a decision between lags depends on is added up
/// directly.
class AutocorrelationSum {
public:
    AutocorrelationSum(const IPP::Array2D<float>& rows, int firstRow, int lastRow)
        : image(rows), first(firstRow), last(lastRow), lags(ByTransforms()), direct(lags.size()) {}

    /// The lag of the largest sum from `ignore` on, the first one on a tie.
    int Peak(int ignore) {
        const IPP::Array<float> searched(lags.data() + ignore, image.dim0 - ignore);
        const float least = searched.Max() - 2 * Doubt();
        const auto mayWin = [&](float sum) { return !(sum < least); };
        if (std::count_if(searched.data, searched.data + searched.size, mayWin) > 1)
            for (int k = 0; k < searched.size; ++k)
                if (mayWin(searched[k])) AddUp(ignore + k);
        return ignore + searched.IndexOfMax(nullptr);
    }

    /// Whether the sum at lag k is below -factor times that at `peak`.
    bool IsOpposite(int k, int peak, float factor) {
        const float distance = std::abs(Lag(k) + factor * Lag(peak));
        if (!(distance > (1.f + std::abs(factor)) * Doubt())) AddUp(k), AddUp(peak);
        return Lag(k) < -factor * Lag(peak);
    }

private:
    /// |Z(k)|^2 + |Z(-k)|^2 of the spectrum Z of two rows in one complex signal is twice the sum of their own power
    /// spectra, whose transform the autocorrelation is.
    std::vector<float> ByTransforms() const {
        const int count = image.dim0, rows = last - first + 1, length = PowerOfTwo(std::int64_t{2} * count - 1);
        RowSpectra spectra(length);
        const int block = spectra.RowsAtATime();
        std::vector<double> power(static_cast<std::size_t>(length));
        for (int r = 0; r < rows; r += block) {
            const float* z = spectra.Transform(image, first + r, std::min(block, rows - r));
            for (int k = 0; k < length; ++k)
                power[static_cast<std::size_t>(k)] +=
                    IPP::Simd::Active().sumOfSquares(z + std::int64_t{k} * block, block);
        }
        std::vector<IPP::Ipp32fc> sum(power.size());
        for (std::size_t k = 0; k < sum.size(); ++k)
            sum[k] = {static_cast<float>(0.5 * (power[k] + power[(sum.size() - k) % sum.size()])), 0.f};
        const auto inverse = IPP::SingleTransform::Get(length);
        std::vector<float> work(static_cast<std::size_t>(inverse->WorkSize()));
        inverse->Inverse(sum.data(), sum.data(), work.data(), 1.f / static_cast<float>(length));
        std::vector<float> correlation(static_cast<std::size_t>(count));
        for (std::size_t k = 0; k < correlation.size(); ++k) correlation[k] = sum[k].re;
        return correlation;
    }

    /// Far more than the transforms err in a lag: 4e-7 of lag 0, the energy, for noise, waves and spikes of up to 4000
    /// A-scans.
    float Doubt() const { return 1e-5f * lags.front(); }

    float& Lag(int k) { return lags[static_cast<std::size_t>(k)]; }

    void AddUp(int k) {
        if (direct[static_cast<std::size_t>(k)]) return;
        direct[static_cast<std::size_t>(k)] = true;
        double sum = 0.;
        for (int r = first; r <= last; ++r) sum += static_cast<double>(Autocorrelation(image.Row(r), k));
        Lag(k) = static_cast<float>(sum);
    }

    const IPP::Array2D<float>& image;
    int first, last;
    std::vector<float> lags;
    std::vector<bool> direct; ///< lags that have been added up
};

/// The magnitudes of the spectra of the rows, each row at bins 0 .. n / 2; the others are the same again.
void HalfMagnitudes(const IPP::Array2D<float>& image, int first, const IPP::Array2D<float>& magnitudes) {
    const int length = image.dim0, rows = magnitudes.dim1;
    RowSpectra spectra(length);
    const int block = spectra.RowsAtATime(), lanes = block / 2;
    for (int r = 0; r < rows; ++r) // as the checked transform does, which looks at the first half of its elements
        IPP::Checked::CheckTransformRange(image.Row(first + r).data, (length + 1) / 2,
                                          "IPP::Exception::ippsDFTFwd_outOfRange32f");
    for (int r = 0; r < rows; r += block) {
        const float* z = spectra.Transform(image, first + r, std::min(block, rows - r));
        for (int k = 0; k < magnitudes.dim0; ++k) {
            const float* here = z + std::int64_t{k} * block;
            const float* mirror = z + std::int64_t{(length - k) % length} * block;
            // With z = a + i b of real a and b: 2 A(k) = Z(k) + conj Z(-k), 2 i B(k) = Z(k) - conj Z(-k).
            for (int l = 0; l < std::min(block, rows - r); ++l) {
                const int lane = l % lanes;
                const float sign = l < lanes ? 1.f : -1.f;
                const float re = here[lane] + sign * mirror[lane];
                const float im = here[lanes + lane] - sign * mirror[lanes + lane];
                magnitudes.At(k, r + l) = 0.5f * std::sqrt(re * re + im * im);
            }
        }
    }
}

/// The row with the largest magnitude at one bin of its spectrum, the first one on a tie. Two rows that share a
/// transform round in each other's company, so that equal ones differ there; here each row has its own sum.
int StrongestRow(const IPP::Array2D<float>& image, int first, int rows, int bin) {
    const int length = image.dim0;
    std::vector<double> cosines(static_cast<std::size_t>(length)), sines(cosines.size());
    for (int c = 0; c < length; ++c) {
        const double turn = 2 * M_PI * static_cast<double>(std::int64_t{bin} * c % length) / length;
        cosines[static_cast<std::size_t>(c)] = std::cos(turn);
        sines[static_cast<std::size_t>(c)] = std::sin(turn);
    }
    IPP::Array<float> magnitudes(rows);
    for (int r = 0; r < rows; ++r) {
        const float* const row = image.Row(first + r).data;
        double re = 0., im = 0.;
#pragma omp simd reduction(+ : re, im)
        for (int c = 0; c < length; ++c) {
            re += static_cast<double>(row[c]) * cosines[static_cast<std::size_t>(c)];
            im += static_cast<double>(row[c]) * sines[static_cast<std::size_t>(c)];
        }
        magnitudes[r] = static_cast<float>(std::sqrt(re * re + im * im));
    }
    return first + magnitudes.IndexOfMax(nullptr);
}

/// The bin of a frequency that may be anything; -1 if it isn't a bin.
int BinOf(float bin, int count) { return bin >= 0.f && bin < static_cast<float>(count) ? static_cast<int>(bin) : -1; }

/// Without its fraction, as far as an int reaches.
int Whole(double value) {
    constexpr double low = std::numeric_limits<int>::min(), high = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(std::max(low, value), high)); // a NaN is as good as none
}

} // namespace

void AlgoBgRemoval::MeshDetectionDetermineDepthRange(IPP::Array2D<float, int>& image, int& first, int& last) const {
    IPP::Array<float> energy(image.dim1), squares(image.dim0);
    for (int r = 0; r < image.dim1; ++r) {
        squares.CopyFrom(image.Row(r));
        squares.Sqr();
        energy[r] = squares.Sum();
    }
    energy.CumSum(energy);
    const float all = energy.Max();
    if (all > 0.f) energy.DivC(all);
    const float* const end = energy.data + energy.size;
    const float* const middle =
        std::find_if(static_cast<const float*>(energy.data), end, [](float e) { return e > 0.5f; });
    last = -1;
    if (middle == end) return;
    first = 0;
    last = static_cast<int>(
        std::min<std::int64_t>(image.dim1 - 1, (middle - energy.data) + std::int64_t{internalAlgoParams->meshRange}));
}

void AlgoBgRemoval::MeshDetectionXcorr(IPP::Array2D<float, int>& image, int first, int last, MeshInfo& info) const {
    const InternalAlgoParams& internal = *internalAlgoParams;
    info = MeshInfo();
    first = std::clamp(first, 0, image.dim1 - 1);
    last = std::min(last, image.dim1 - 1);
    if (last < first) return;
    const int ignore = std::clamp(internal.meshCorrIgnoreZoneLen, 0, image.dim0);
    if (ignore == image.dim0) return;
    AutocorrelationSum sum(image, first, last);
    const int lag = sum.Peak(ignore);
    const float spacing = static_cast<float>(lag) * kAscanDistance;
    if (!(lag > internal.meshCorrIgnoreZoneLen && spacing <= internal.spacingCondMeshDetection &&
          sum.IsOpposite(lag / 2, lag, internal.meshCorrNegCorrMinRelVal)))
        return;
    // No lag has a larger sum than lag 0, which wins a tie (Cauchy and Schwarz): the row of most energy.
    IPP::Array<float> energies(image.dim1);
    energies.Zero();
    for (int r = first; r <= last; ++r) energies[r] = Autocorrelation(image.Row(r), 0);
    info.detected = true;
    info.spacing = spacing;
    info.depth = static_cast<float>(energies.IndexOfMax(nullptr));
}

void AlgoBgRemoval::MeshDetectionFourier(IPP::Array2D<float, int>& image, int first, int last, MeshInfo& info) const {
    const InternalAlgoParams& internal = *internalAlgoParams;
    info = MeshInfo();
    first = std::clamp(first, 0, image.dim1 - 1);
    last = std::min(last, image.dim1 - 1);
    const int rows = last - first, width = image.dim0;
    if (rows < 1) return;
    const int from = BinOf(1.f / internal.spacingCondMeshDetection / 200.f * static_cast<float>(width), width);
    const int to = BinOf(static_cast<float>(width) * kShortestPeriod, width);
    if (from < 0 || from > to) return;

    const IPP::Array2D<float> magnitudes(width / 2 + 1, rows);
    HalfMagnitudes(image, first, magnitudes);
    const auto half = RowMeans(RowsOfAscans(magnitudes));
    IPP::Array<float> spectrum(width);
    for (int k = 0; k < width; ++k) spectrum[k] = half[static_cast<std::size_t>(std::min(k, width - k))];

    const int peak = from + spectrum.SubArray(from, to - from + 1).IndexOfMax(nullptr);
    const float mean = spectrum.Mean();
    if (peak == 0 || !(mean > 0.f && spectrum[peak] / mean > internal.meshFftPeakThresholdFactor)) return;
    info.detected = true;
    info.spacing = static_cast<float>(width * static_cast<double>(kAscanDistance) / peak);
    info.depth = static_cast<float>(StrongestRow(image, first, rows, peak));
}

namespace {

constexpr std::size_t kXcorr = 1, kFourier = 4; // where the estimates begin in a row

} // namespace

const BlockFindings::Table& AlgoBgRemoval::FindingsTable() const {
    using Kind = BlockFindings::Kind;
    static const BlockFindings::Table table{"AlgoBgRemoval",
                                            {{"VotesAgainst", Kind::Flag},
                                             {"XcorrDetected", Kind::Flag},
                                             {"XcorrSpacing", Kind::Float},
                                             {"XcorrDepth", Kind::Float},
                                             {"FourierDetected", Kind::Flag},
                                             {"FourierSpacing", Kind::Float},
                                             {"FourierDepth", Kind::Float}}};
    return table;
}

BlockFindings AlgoBgRemoval::LookForMesh(const IPP::Array3D<float>& src, const ImageProps& partProps,
                                         const BlockPart& part, int channels) const {
    const InternalAlgoParams& internal = *internalAlgoParams;
    struct Estimates {
        MeshInfo xcorr, fourier;
        bool votesAgainst = false;
    };
    std::vector<Estimates> estimates(static_cast<std::size_t>(src.dim2));
    ParallelFor(IsCoupled() ? src.dim2 : 0, [&](int i) {
        constexpr int kEnds = 6; // A-scans left out at both ends
        const BscanInfo valid = ValidRange(partProps, i);
        const int n = valid.validLen - 2 * kEnds;
        if (IsBistatic(i, channels) || n <= 0) return;
        // Every depth loses its median, then every A-scan its mean.
        const IPP::Array2D<float> raw(src.Row(valid.firstValidIdx + kEnds, i).data, src.dim0, n), ascans(src.dim0, n);
        auto medians = RowLevels(RowsOfAscans(raw), true);
        for (float& median : medians) median = -median;
        AddToRows(RowsOfAscans(raw), medians, RowsOfAscans(ascans));
        for (int c = 0; c < n; ++c) ascans.Row(c).AddC(-ascans.Row(c).Mean());
        IPP::Array2D<float> depths(n, src.dim0);
        ToDepthRows(ascans, depths);

        Estimates& here = estimates[static_cast<std::size_t>(i)];
        here.votesAgainst = true;
        int first = 0, last = -1;
        MeshDetectionDetermineDepthRange(depths, first, last);
        if (last <= first) return; // nothing in which a mesh could show
        MeshDetectionXcorr(depths, first, last, here.xcorr);
        MeshDetectionFourier(depths, first, last, here.fourier);
        here.votesAgainst = !(here.fourier.detected && internal.spacingCondMeshAcceptMin <= here.fourier.spacing &&
                              here.fourier.spacing <= internal.spacingCondMeshAcceptMax);
    });

    BlockFindings found(FindingsTable(), part.blockBscans);
    int bscan = part.firstBscan;
    for (const Estimates& e : estimates) {
        std::vector<double> row{e.votesAgainst ? 1. : 0.};
        for (const MeshInfo& info : {e.xcorr, e.fourier})
            row.insert(row.end(), {info.detected ? 1. : 0., info.spacing, info.depth});
        found.Put(bscan++, row);
    }
    return found;
}

AlgoBgRemoval::BlockJudgement AlgoBgRemoval::Judge(const BlockFindings& all) const {
    const InternalAlgoParams& internal = *internalAlgoParams;
    BlockJudgement judgement;
    judgement.gateWidth = internal.clsGateWidthNoMesh;
    double spacing = 0., depth = 0.;
    int count = 0;
    for (int i = 0; i < all.BlockBscans(); ++i) {
        const std::vector<double>& row = all.Row(i);
        if (row[0] != 0.) return judgement;
        for (const std::size_t begin : {kXcorr, kFourier})
            if (row[begin] != 0.) {
                spacing += row[begin + 1];
                depth += row[begin + 2];
                ++count;
            }
    }
    judgement.mesh = true;
    if (count == 0) return judgement;
    const MeshInfo mean{true, static_cast<float>(spacing / count), static_cast<float>(depth / count)};
    judgement.depth = Whole(static_cast<double>(mean.depth));
    judgement.gateWidth = Whole(internal.clsGateWidthMesh50mm * static_cast<double>(mean.spacing) / 0.05);
    return judgement;
}

void AlgoBgRemoval::LogMesh(const BlockFindings& all) const {
    const std::vector<double>& shown = all.Row(0);
    std::ostringstream line;
    line << "BG-Removal: mesh detected (spacing " << static_cast<float>(shown[kFourier + 1]) << "m; depth "
         << static_cast<float>(shown[kFourier + 2]) + 1.f << "*dt)\n";
    LogFromRegion(line.str());
}

} // namespace TZM

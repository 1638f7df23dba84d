#include "Focus/private/DiffractedLine.h"

#include <algorithm>
#include <cmath>

#include "Algorithms/Background/DepthRows.h"
#include "Array/Simd/Dispatch.h"
#include "Chain/Chain.h"
#include "Framework/Channels.h"

namespace TZM {

namespace {

constexpr int kMostPieces = 8, kMostAscans = 1024;
constexpr double kFastest = 0.5; // m/ns along the surface; what is faster is a layer

/// Whether a B-scan was recorded by antennas apart from each other.
bool IsBistatic(const Recording& recording, int bscan) {
    const std::size_t told = recording.channels.size();
    const int count = recording.size.bscans % 5 == 0 ? 5 : recording.size.bscans % 7 == 0 ? 7 : 0;
    if (count == 0 || recording.oneAntennaPair || (told != 0 && told != 5 && told != 7)) return false;
    return bscan % count % 2 == 1;
}

template <class T>
std::vector<T> EvenlySpread(const std::vector<T>& all, std::size_t most) {
    if (all.size() <= most) return all;
    std::vector<T> some;
    for (std::size_t i = 0; i < most; ++i) some.push_back(all[(2 * i + 1) * all.size() / (2 * most)]);
    return some;
}

/// A factor for each depth that brings its energy, over so many samples, to 1.
std::vector<float> Levels(const IPP::Array2D<float>& ascans, int half) {
    std::vector<double> sums(static_cast<std::size_t>(ascans.dim0) + 1);
    for (int y = 0; y < ascans.dim1; ++y)
        for (int s = 0; s < ascans.dim0; ++s) sums[s + 1] += double{ascans.At(s, y)} * ascans.At(s, y);
    for (int s = 0; s < ascans.dim0; ++s) sums[s + 1] += sums[s];
    const double least = 1e-9 * sums.back() / ascans.dim0;
    std::vector<float> levels;
    for (int s = 0; s < ascans.dim0; ++s) {
        const int begin = std::max(0, s - half), end = std::min(ascans.dim0, s + half + 1);
        const double energy = (sums[end] - sums[begin]) / (end - begin);
        levels.push_back(energy > 0 ? static_cast<float>(1 / std::sqrt((energy + least) / ascans.dim1)) : 0.f);
    }
    return levels;
}

} // namespace

std::vector<LinePiece> PiecesOf(const Recording& recording, std::optional<double> timeZero) {
    std::vector<LinePiece> pieces;
    for (int z = 0; z < recording.size.bscans; ++z) {
        if (IsBistatic(recording, z)) continue;
        const auto& ranges = recording.validRanges;
        const BscanInfo valid =
            ranges.empty() ? BscanInfo{0, recording.size.ascans} : ranges[static_cast<std::size_t>(z)];
        const double known = recording.timeZeros.empty() ? recording.timeZero.value_or(0)
                                                         : recording.timeZeros[static_cast<std::size_t>(z)];
        const int count = (valid.validLen + kMostAscans - 1) / kMostAscans;
        for (int i = 0; i < count; ++i) {
            const int length = valid.validLen / count;
            if (length >= kFewestAscans)
                pieces.push_back({z, valid.firstValidIdx + i * length, length, timeZero.value_or(known)});
        }
    }
    return EvenlySpread(pieces, kMostPieces);
}

DiffractedLine::DiffractedLine(const Recording& recording, const LinePiece& of, int first, double slowestKept)
    : piece(of), firstSample(first), slowest(slowestKept) {
    line.size = {recording.size.samples - first, of.ascans, 1};
    line.deltaT = recording.deltaT;
    line.deltaX = recording.deltaX;
    line.data = AllocateSamples(line.size.Count());
    const float* from = recording.Bscan(of.bscan) + std::int64_t{of.firstAscan} * recording.size.samples + first;
    for (int y = 0; y < of.ascans; ++y, from += recording.size.samples)
        std::copy_n(from, line.size.samples, &Ascans().At(0, y));
    RequireFinite(line, "the recording");

    const DepthRows<float> rows = RowsOfAscans(Ascans());
    std::vector<float> medians = RowMedians(rows);
    for (float& median : medians) median = -median;
    AddToRows(rows, medians, rows);

    Chain chain;
    Step& fan = chain.Add("DipFilter");
    fan.Set("slowest", slowest);
    fan.Set("fastest", kFastest);
    fan.Set("taper", 0.3);
    line = chain.Run(line).image;

    const std::vector<float> levels = Levels(Ascans(), std::max(2, line.size.samples / 32));
    for (int y = 0; y < of.ascans; ++y) IPP::Simd::Active().mul(levels.data(), &Ascans().At(0, y), line.size.samples);
}

double DiffractedLine::Kept(double frequency) const {
    const double nyquist = 0.5 / line.deltaX;
    return std::min(nyquist, frequency / slowest) - std::min(nyquist, frequency / kFastest);
}

} // namespace TZM

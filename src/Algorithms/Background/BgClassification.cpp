#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Background/SimpleRemoval.h"
#include "Framework/private/BscanLayout.h"

namespace TZM {

namespace {

/// powers[c]: the square of the mean over row[max(0, c - lag)] .. row[c]. A window lies across two blocks of its own
/// length: it is the end of one and the head of the next, so that its sum costs the same at any lag and owes nothing to
/// what has left the window.
void PowersOfMeans(const IPP::Array<float>& row, int lag, std::vector<double>& ends, float* powers) {
    const int n = row.size, length = std::min(lag, n - 1) + 1;
    double end = 0., head = 0.;
    for (int c = n - 1; c >= 0; --c) {
        end = ((c + 1) % length == 0 ? 0. : end) + static_cast<double>(row[c]);
        ends[static_cast<std::size_t>(c)] = end;
    }
    for (int c = 0; c < n; ++c) {
        const int place = c % length, start = c - length + 1;
        head = (place == 0 ? 0. : head) + static_cast<double>(row[c]);
        const bool isBlock = place == length - 1;
        const double sum = start <= 0 || isBlock ? head : ends[static_cast<std::size_t>(start)] + head;
        const float mean = static_cast<float>(sum / std::min(c + 1, length));
        powers[c] = mean * mean;
    }
}

/// The walk that finds the end of an interval of strong power: the place with the best score, the first one on a tie.
struct BestScore {
    float score = std::numeric_limits<float>::lowest();
    float sum = 0.f;

    bool Add(float power, float root, float variance) {
        sum += power;
        const float here = sum / root / variance - root;
        if (!(here > score)) return false;
        score = here;
        return true;
    }
};

} // namespace

void AlgoBgRemoval::GetEnergyWindow(IPP::Array2D<float, int>& image, IPP::Array2D<float, int>& window, int lag,
                                    int kmax, float sigma) const {
    IPP::Require(window.dim0 >= image.dim0 && window.dim1 >= image.dim1, "Index exceeds IPP::Array2D bounds");
    window.Zero();
    kmax = std::min(kmax, image.dim1 - 1);
    if (kmax < 1) return;
    const int columns = image.dim0;
    const IPP::Array2D<float> powers(columns, kmax);
    std::vector<double> ends(static_cast<std::size_t>(columns));
    for (int r = 0; r < kmax; ++r) PowersOfMeans(image.Row(r), std::max(lag, 0), ends, powers.Row(r).data);

    std::vector<float> roots(static_cast<std::size_t>(kmax));
    for (int k = 0; k < kmax; ++k) roots[static_cast<std::size_t>(k)] = std::sqrt(static_cast<float>(k + 1));
    const float variance = sigma * sigma;
    for (int c = 0; c < columns; ++c) {
        const float* const power = powers.data + c;
        const auto at = [&](int r) { return power[std::int64_t{columns} * r]; };
        int lower = 0, upper = 1;
        BestScore down, up;
        for (int k = 0; k < kmax; ++k)
            if (down.Add(at(k), roots[static_cast<std::size_t>(k)], variance)) lower = k;
        for (int k = 0; k <= lower; ++k)
            if (up.Add(at(lower - k), roots[static_cast<std::size_t>(k)], variance)) upper = std::max(lower - k, 1);
        for (int r = upper; r <= lower; ++r) window.At(c, r) = 1.f;
    }
}

void AlgoBgRemoval::DetectTrailingZeroRange(IPP::Array2D<float, int>& image, int& first) const {
    int last = image.size - 1;
    while (last >= 0 && image[last] == 0.f) --last;
    const int rows = last < 0 ? 0 : last / image.dim0 + 1;
    first = rows < image.dim1 ? rows : -1;
}

namespace {

/// A run of neighbouring A-scans.
struct Run {
    int first;
    int count;
};

/// The runs between the entries of `others`, which ascend, within 0 .. n - 1.
std::vector<Run> RunsBetween(const std::vector<int>& others, int n) {
    std::vector<Run> runs;
    int first = 0;
    const auto close = [&](int end) {
        if (end > first) runs.push_back({first, end - first});
        first = end + 1;
    };
    for (const int other : others) close(other);
    close(n);
    return runs;
}

/// The level up to which the energy of an A-scan is that of background: the median without the ends, where the filter
/// has seen its mirror image.
float MiddleLevel(const IPP::Array<float>& energy) {
    constexpr int kEnds = 14;
    const int count = std::max(energy.size - kEnds, 1);
    return energy.SubArray((energy.size - count) / 2, count).Median();
}

/// The medians over the A-scans of the runs.
std::vector<float> MediansOf(const std::vector<Run>& runs, const IPP::Array2D<float>& bscan) {
    int count = 0;
    for (const Run& run : runs) count += run.count;
    const IPP::Array2D<float> ascans(bscan.dim0, count);
    int next = 0;
    for (const Run& run : runs)
        for (int c = run.first; c < run.first + run.count; ++c, ++next) ascans.Row(next).CopyFrom(bscan.Row(c));
    return RowLevels(RowsOfAscans(ascans), true);
}

} // namespace

std::vector<float> AlgoBgRemoval::ClassifiedLevels(const IPP::Array2D<float, int>& bscan,
                                                   const BlockJudgement& judgement, const IPP::Array<double, int>& taps,
                                                   int index, int bscanCount, LogLines& log) const {
    const InternalAlgoParams& internal = *internalAlgoParams;
    const int n = bscan.dim1, timeZero = params.timeZero;
    IPP::Require(timeZero >= 0 && timeZero < bscan.dim0, "Index exceeds IPP::Array2D bounds");
    const int depths = bscan.dim0 - timeZero;
    const std::vector<float> means = RowMeans(RowsOfAscans(bscan));

    // What lies below time zero, without its mean; under a mesh with it, since a mesh is the same along the scan.
    IPP::Array2D<float> power(n, depths), window(n, depths);
    ToDepthRows(bscan, power, timeZero);
    if (!judgement.mesh)
        for (int r = 0; r < depths; ++r) power.Row(r).AddC(-means[static_cast<std::size_t>(timeZero + r)]);
    if (judgement.mesh) {
        window.Zero();
        const std::int64_t depth = judgement.depth, range = internal.meshRange;
        const auto end = std::min<std::int64_t>(depths, depth + range);
        for (auto r = std::max<std::int64_t>(0, depth - range); r < end; ++r) window.Row(static_cast<int>(r)).Set(1.f);
    } else {
        GetEnergyWindow(power, window, internal.clsLag, internal.clsKmax, internal.clsSigma);
    }
    power.MultiplyElements(window);
    power.Sqr();
    IPP::Array<float> energy(n);
    energy.Zero();
    for (int r = 0; r < depths; ++r) {
        const auto row = power.Row(r);
        for (int c = 0; c < n; ++c) energy[c] += row[c];
    }
    energy.FilterZeroPhase(taps, internal.clsFilterOrder);
    energy.AddC(-energy.Min());

    const float threshold = internal.clsThresholdLevel * MiddleLevel(energy);
    std::vector<int> others;
    for (int c = 0; c < n; ++c)
        if (!(energy[c] < threshold)) others.push_back(c);
    const int backgroundCount = n - static_cast<int>(others.size());
    const std::vector<Run> runs = RunsBetween(others, n);
    std::vector<Run> longRuns;
    int maxIntervalLength = 0;
    for (const Run& run : runs) {
        maxIntervalLength = std::max(maxIntervalLength, run.count);
        if (run.count > judgement.gateWidth) longRuns.push_back(run);
    }
    const bool condWidth = maxIntervalLength > judgement.gateWidth;
    const bool condHeight = internal.clsAcceptance < static_cast<float>(backgroundCount) / static_cast<float>(n);
    if (params.enableLogging && internal.detailedLogging) {
        std::ostringstream line;
        line << "BG-Removal: classification info (B-scan " << index + 1 << "): condWidth=" << condWidth
             << "; condHeight=" << condHeight << "; maxIntervalLength=" << maxIntervalLength
             << "; #A-scans classified as BG=" << backgroundCount << "\n";
        log.push_back(line.str());
    }
    if (!condWidth || !condHeight) return means;

    auto levels = MediansOf(internal.clsUseConnectedBgOnly && !longRuns.empty() ? longRuns : runs, bscan);
    if (params.enableLogging) {
        std::ostringstream line;
        line << "BG-Removal: classification applied (B-scan " << index + 1 << "/" << bscanCount << ")\n";
        log.push_back(line.str());
    }
    return levels;
}

} // namespace TZM

#include "Recording/Resampled.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Array/Resampling.h"
#include "Recording/Refusal.h"
#include "Recording/Track.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

/// Another view of a recording: one B-scan of it is read at a time.
class View : public RecordingSource {
public:
    explicit View(std::unique_ptr<RecordingSource> of) : RecordingSource(of->About()), source(std::move(of)) {}

    void Read(int firstBscan, int bscans, float* out) override {
        const Dimensions& size = source->About().size;
        whole.resize(static_cast<std::size_t>(std::int64_t{size.samples} * size.ascans));
        for (int z = firstBscan; z < firstBscan + bscans; ++z) {
            source->Read(z, 1, whole.data());
            ViewBscan(z, whole.data(), out);
            out += std::int64_t{about.size.samples} * about.size.ascans;
        }
    }
    std::string Checksum() const override { return source->Checksum(); }
    void RequireChecksum(const std::string& checksum) const override { source->RequireChecksum(checksum); }

protected:
    virtual void ViewBscan(int z, const float* in, float* out) const = 0;
    const Recording& Original() const { return source->About(); }

private:
    std::unique_ptr<RecordingSource> source;
    std::vector<float> whole;
};

class WithIntervalSource final : public View {
public:
    WithIntervalSource(std::unique_ptr<RecordingSource> of, double deltaT)
        : View(std::move(of)), resampling(about.size.samples, deltaT / about.deltaT) {
        const double ratio = about.deltaT / deltaT;
        about.size.samples = resampling.OutputSamples();
        about.deltaT = deltaT;
        about.firstSample = static_cast<int>(std::lround(about.firstSample * ratio));
        const auto moved = [ratio](int sample) { return static_cast<int>(std::lround(sample * ratio)); };
        if (about.timeZero) about.timeZero = std::min(moved(*about.timeZero), about.size.samples - 1);
        for (int& sample : about.timeZeros) sample = std::min(moved(sample), about.size.samples - 1);
    }

private:
    void ViewBscan(int, const float* in, float* out) const override {
        for (int a = 0; a < about.size.ascans; ++a)
            resampling.Apply(in + std::int64_t{a} * Original().size.samples,
                             out + std::int64_t{a} * about.size.samples);
    }

    Resampling resampling;
};

/// Metres from the first A-scan of a B-scan to each; of A-scans that stand still at one place all the same.
std::vector<double> Distances(const Recording& recording, int bscan) {
    for (int z = bscan; z >= 0; --z)
        if (const auto track = TrackOf(recording, z); !track.empty())
            return DistancesAlong(track, InDegrees(recording));
    std::vector<double> distances;
    for (int a = 0; a < recording.size.ascans; ++a) distances.push_back(a * recording.deltaX);
    return distances;
}

class WithSpacingSource final : public View {
public:
    WithSpacingSource(std::unique_ptr<RecordingSource> of, double deltaX) : View(std::move(of)) {
        const Recording original = Original().About();
        double nearest = std::numeric_limits<double>::infinity(), farthest = 0;
        std::vector<BscanInfo> ranges = original.Props().bscanInfo;
        if (ranges.empty()) ranges.assign(static_cast<std::size_t>(original.size.bscans), {0, original.size.ascans});
        std::int64_t most = 1;
        for (int z = 0; z < original.size.bscans; ++z) {
            BscanInfo& range = ranges[static_cast<std::size_t>(z)];
            lines.push_back({range.firstValidIdx, Distances(original, z)});
            std::vector<double>& at = lines.back().distances;
            const int end = std::min(range.firstValidIdx + range.validLen, original.size.ascans);
            at = std::vector<double>(at.begin() + std::min(range.firstValidIdx, end), at.begin() + end);
            for (std::size_t i = at.size(); i-- > 0;) at[i] -= at[0];
            for (std::size_t i = 1; i < at.size(); ++i)
                nearest = std::min(nearest, at[i] - at[i - 1]), farthest = std::max(farthest, at[i] - at[i - 1]);
            const double count = at.empty() ? 0 : std::floor(at.back() / deltaX * (1 + 1e-9)) + 1;
            constexpr double kMost = 1000; // for each one that is there: more comes from a lost satellite
            if (!(count <= kMost * original.size.ascans))
                throw FormatError(original.file.string() + " is " + Number(at.back()) +
                                  " m long, too much for A-scans " + Number(deltaX) + " m apart");
            range = {
                0, CheckedCount(original.file, std::max<std::int64_t>(static_cast<std::int64_t>(count), 1), "A-scans")};
            if (at.empty()) range.validLen = 0;
            most = std::max<std::int64_t>(most, range.validLen);
        }
        about.size.ascans = static_cast<int>(most);
        about.deltaX = deltaX;
        about.knowsDeltaX = true;
        about.validRanges = ranges;
        if (std::all_of(ranges.begin(), ranges.end(), [&](const BscanInfo& r) { return r.validLen == most; }))
            about.validRanges.clear();
        about.positions.clear();
        for (int z = 0; z < original.size.bscans; ++z) TakePositions(original, z);
        Note("A-scans lie " + Number(nearest) + " to " + Number(farthest) + " m apart; they are resampled to " +
             Number(deltaX) + " m");
    }

private:
    /// Where the A-scans of a B-scan lie, from its first valid one on.
    struct Line {
        int first;
        std::vector<double> distances;
    };

    void TakePositions(const Recording& original, int z) {
        const std::vector<Position> track = TrackOf(original, z);
        const Line& line = lines[static_cast<std::size_t>(z)];
        if (track.empty() || line.distances.size() < 2) return;
        const std::vector<double>& at = line.distances;
        for (int a = 0; a * about.deltaX <= at.back() * (1 + 1e-9) && a < about.size.ascans; ++a) {
            const auto next = std::upper_bound(at.begin() + 1, at.end() - 1, a * about.deltaX);
            const auto i = static_cast<std::size_t>(next - at.begin());
            const double gap = at[i] - at[i - 1], part = gap > 0 ? (a * about.deltaX - at[i - 1]) / gap : 0;
            const Position &from = track[static_cast<std::size_t>(line.first) + i - 1],
                           &to = track[static_cast<std::size_t>(line.first) + i];
            about.positions.push_back({z, a, from.east + part * (to.east - from.east),
                                       from.north + part * (to.north - from.north),
                                       from.height + part * (to.height - from.height)});
        }
    }

    void ViewBscan(int z, const float* in, float* out) const override {
        const Line& line = lines[static_cast<std::size_t>(z)];
        const std::vector<double>& at = line.distances;
        const int samples = about.size.samples;
        std::fill_n(out, std::int64_t{samples} * about.size.ascans, 0.f);
        if (at.empty()) return;
        std::vector<double> sum(static_cast<std::size_t>(samples));
        for (int a = 0; a < about.size.ascans && a * about.deltaX <= at.back() * (1 + 1e-9); ++a) {
            const double x = std::min(a * about.deltaX, at.back());
            const auto above = std::lower_bound(at.begin(), at.end(), x);
            const auto right = static_cast<std::size_t>(above - at.begin()), left = right > 0 ? right - 1 : 0;
            const double gap = at[right] - at[left], width = std::max(about.deltaX, gap);
            std::size_t first = left, last = right;
            if (gap < about.deltaX) { // else straight between the two
                while (first > 0 && x - at[first - 1] < width) --first;
                while (last + 1 < at.size() && at[last + 1] - x < width) ++last;
            }
            std::fill(sum.begin(), sum.end(), 0.);
            double weights = 0;
            for (std::size_t i = first; i <= last; ++i) {
                const double weight = std::max(0., 1 - std::abs(at[i] - x) / width);
                if (weight == 0) continue;
                const float* from = in + (static_cast<std::int64_t>(i) + line.first) * samples;
                for (int s = 0; s < samples; ++s) sum[static_cast<std::size_t>(s)] += weight * from[s];
                weights += weight;
            }
            float* to = out + std::int64_t{a} * samples;
            for (int s = 0; s < samples; ++s) to[s] = static_cast<float>(sum[static_cast<std::size_t>(s)] / weights);
        }
    }

    std::vector<Line> lines;
};

/// The same A-scans, at a distance that somebody tells.
class ToldSpacing final : public View {
public:
    ToldSpacing(std::unique_ptr<RecordingSource> of, double deltaX) : View(std::move(of)) {
        about.deltaX = deltaX;
        about.knowsDeltaX = true;
        Note("nothing tells where the A-scans lie; they are taken to lie " + Number(deltaX) + " m apart");
    }

private:
    void ViewBscan(int, const float* in, float* out) const override {
        std::copy_n(in, std::int64_t{about.size.samples} * about.size.ascans, out);
    }
};

} // namespace

std::unique_ptr<RecordingSource> WithInterval(std::unique_ptr<RecordingSource> source, double deltaT) {
    if (!(deltaT > 0) || !std::isfinite(deltaT)) throw FormatError("the time between samples must be above 0 s");
    try {
        return std::make_unique<WithIntervalSource>(std::move(source), deltaT);
    } catch (const std::invalid_argument& error) {
        throw FormatError(error.what());
    }
}

std::unique_ptr<RecordingSource> WithSpacing(std::unique_ptr<RecordingSource> source, double deltaX) {
    if (!(deltaX > 0) || !std::isfinite(deltaX)) throw FormatError("the distance between A-scans must be above 0 m");
    const Recording& about = source->About();
    bool placed = false;
    for (int z = 0; z < about.size.bscans && !placed; ++z) placed = !TrackOf(about, z).empty();
    if (!placed && !about.knowsDeltaX) return std::make_unique<ToldSpacing>(std::move(source), deltaX);
    return std::make_unique<WithSpacingSource>(std::move(source), deltaX);
}

} // namespace TZM

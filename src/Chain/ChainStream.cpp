// A chain from file to file, in chunks of whole lanes.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>
#include <limits>
#include <optional>
#include <system_error>

#include "Chain/Chain.h"
#include "Chain/private/StepRun.h"
#include "Framework/Cancelled.h"
#include "Framework/private/LoopWatch.h"
#include "Recording/private/BscanFile.h"

namespace TZM {

namespace {

/// Blocks that live at once: a chunk and what a step makes of it, the chunk that is read ahead, the one that is
/// written.
constexpr int kBlocks = 4;
/// Work per sample, on the scale of AlgorithmInfo::cost, that costs less than to write a block and read it again.
constexpr double kRepeated = 12, kReadCost = 14, kWriteCost = 6;
/// Lines beside a chunk, more than any recording has.
constexpr std::int64_t kMostBeside = 1 << 28;

/// B-scans of which a chunk holds a whole number. Five keep their places for whatever counts them by five.
int LaneOf(int bscans) { return bscans % 5 != 0 && bscans % 7 == 0 ? 7 : 5; }

/// A run of B-scans, and the run with margins from which it is made.
struct Chunk {
    int begin, end;         ///< what it gives
    int readBegin, readEnd; ///< what it takes
};

/// Whole lanes, up to `most` B-scans in each with its margins of `beside` B-scans; at least one lane. Lanes of seven
/// don't come as multiples of 35, which would be taken for lanes of five.
std::vector<Chunk> Cut(int bscans, std::int64_t most, int beside) {
    const int lane = LaneOf(bscans), lanes = (bscans + lane - 1) / lane, margin = (beside + lane - 1) / lane;
    const int core = static_cast<int>(std::clamp<std::int64_t>(most / lane - 2 * margin, 1, lanes));
    std::vector<Chunk> chunks;
    for (int first = 0; first < lanes;) {
        int count = std::min(core, lanes - first);
        const auto ends = [&] {
            return std::pair(std::max(0, first - margin), std::min(lanes, first + count + margin));
        };
        auto [from, to] = ends();
        while (to - from < std::min(lanes, 2 * margin + 1)) from > 0 ? --from : ++to; // a window needs room
        if (lane == 7 && (to - from) % 5 == 0) {
            if (from > 0)
                --from;
            else if (to < lanes)
                ++to;
        }
        chunks.push_back(
            {first * lane, std::min((first + count) * lane, bscans), from * lane, std::min(to * lane, bscans)});
        first += count;
    }
    return chunks;
}

/// What is known of B-scans begin .. end - 1 of a recording.
Recording About(const Recording& whole, int begin, int end) {
    Recording part = whole.About();
    part.size.bscans = end - begin;
    const auto cut = [&](auto& perBscan) {
        if (perBscan.size() == static_cast<std::size_t>(whole.size.bscans))
            perBscan = {perBscan.begin() + begin, perBscan.begin() + end};
    };
    cut(part.validRanges);
    cut(part.timeZeros);
    part.positions.clear();
    return part;
}

/// B-scans of a part, as a view that holds on to its samples.
Recording View(const Recording& part, int begin, int end) {
    Recording view = About(part, begin, end);
    view.data = Samples(part.data, part.data.get() + std::int64_t{begin} * part.size.samples * part.size.ascans);
    return view;
}

/// Work that may go on beside the caller's, one task at a time; where no thread can be had, when it is waited for.
class Beside {
public:
    explicit Beside(bool threads) : policy(threads ? std::launch::async : std::launch::deferred) {}
    ~Beside() {
        if (task.valid()) task.wait();
    }
    template <class Function>
    void Start(Function function) {
        Wait();
        try {
            task = std::async(policy, function);
        } catch (const std::system_error&) {
            task = std::async(std::launch::deferred, std::move(function));
        }
    }
    /// What the task threw passes through.
    void Wait() {
        if (task.valid()) task.get();
    }

private:
    const std::launch policy;
    std::future<void> task;
};

/// Steps begin .. end - 1 over all chunks.
struct Pass {
    std::size_t begin, end;
    bool looks; ///< at the block ahead of step `end`
    bool keeps; ///< what it makes, in a file
};

class Streaming {
public:
    Streaming(const std::vector<Step>& ofChain, RecordingSource& from, RecordingSink& to, const StreamOptions& with)
        : steps(ofChain), source(from), sink(to), options(with), abouts(steps.size() + 1), findings(steps.size()) {
        abouts[0] = source.About();
        result.steps.resize(steps.size());
        for (std::size_t i = 0; i < steps.size(); ++i) { // what is refused is refused ahead of the work of hours
            result.steps[i].algorithm = steps[i].Info().name;
            abouts[i + 1] = Outcome(steps[i], abouts[i]);
            RequireWhole({i, i + 1, false, false});
        }
        passes = Plan();
        for (const Pass& pass : passes) RequireWhole(pass);
    }

    /// Whether a single line, which goes as one chunk anyway, must go as copies to a step that tells channels apart.
    bool NeedsCopies() const {
        for (std::size_t i = 0; i < steps.size(); ++i)
            if (abouts[i].size.bscans == 1 && (i == 0 || steps[i].Info().tellsChannels)) return true;
        return false;
    }

    RunResult Run() {
        for (const Pass& pass : passes) planned += CostOf(pass);
        clock.emplace(options, planned);
        result.lowest = std::numeric_limits<float>::infinity(), result.highest = -result.lowest;
        for (const Pass& pass : passes) {
            Go(pass);
            workDone += CostOf(pass);
        }
        result.image = abouts.back();
        for (std::size_t i = 0; options.done && i < steps.size(); ++i) options.done(i, result.steps[i]);
        return std::move(result);
    }

private:
    /// A pass ahead of every step that couples the block; where that is expensive, it goes on from there.
    std::vector<Pass> Plan() const {
        std::vector<Pass> plan;
        std::size_t from = 0;
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const Coupling coupling = steps[i].CouplingNow();
            if (!coupling.throughFindings) continue;
            double cost = 0;
            for (std::size_t k = from; k < i; ++k) cost += steps[k].Info().cost;
            const bool keeps = cost > kRepeated;
            plan.push_back({from, i, true, keeps});
            if (keeps) from = i;
        }
        plan.push_back({from, steps.size(), false, true});
        return plan;
    }

    double CostOf(const Pass& pass) const {
        double cost = kReadCost + (pass.keeps ? kWriteCost : 0);
        for (std::size_t i = pass.begin; i < pass.end; ++i) cost += steps[i].Info().cost;
        return cost;
    }

    /// ChainError for a step that must see the whole block in a pass that takes it in chunks.
    void RequireWhole(const Pass& pass) const {
        const auto first = steps.begin() + static_cast<std::ptrdiff_t>(pass.begin),
                   last = steps.begin() + static_cast<std::ptrdiff_t>(pass.end),
                   step = std::find_if(first, last, [](const Step& s) { return !s.WorksInParts(); });
        if (step != last && ChunksOf(pass).size() > 1)
            throw ChainError(step->Info().name + " must see the whole block: give it more memory", step->Info().name);
    }

    /// B-scans on each side that the steps of a pass need beside those that they give.
    int MarginOf(const Pass& pass) const {
        std::int64_t beside = 0;
        for (std::size_t i = pass.begin; i < pass.end; ++i)
            if (const Coupling coupling = steps[i].CouplingNow(abouts[i].size.samples * abouts[i].deltaT);
                coupling.scope == Coupling::Neighbours)
                beside += coupling.neighbours;
        return static_cast<int>(std::min(beside, kMostBeside));
    }

    std::vector<Chunk> ChunksOf(const Pass& pass) const {
        const int bscans = abouts[pass.begin].size.bscans;
        std::int64_t largest = 1; // samples of a B-scan
        for (std::size_t i = pass.begin; i <= pass.end; ++i)
            largest = std::max(largest, abouts[i].size.Count() / bscans);
        std::int64_t most = options.memory / kBlocks / (largest * std::int64_t{sizeof(float)});
        most = std::min(most, std::int64_t{std::numeric_limits<int>::max()} / largest);
        return Cut(bscans, most, MarginOf(pass));
    }

    /// Whether the block ahead of a step may stand where the image will: the steps from there on change neither sizes
    /// nor places, and see no lines beside a chunk. What is known of the image is settled then.
    bool KeepsItsShape(std::size_t from) {
        const Dimensions size = abouts[from].size;
        for (std::size_t i = from; i < steps.size(); ++i) {
            abouts[i + 1] = Outcome(steps[i], abouts[i]);
            if (!(abouts[i + 1].size == size) || steps[i].Info().findsTimeZero ||
                steps[i].CouplingNow().scope == Coupling::Neighbours)
                return false;
        }
        return true;
    }

    void Go(const Pass& pass) {
        for (std::size_t i = pass.begin; i < pass.end; ++i) {
            abouts[i + 1] = Outcome(steps[i], abouts[i]);
            StepReport& report = result.steps[i];
            report.input = abouts[i].size;
            report.output = abouts[i + 1].size;
            report.shifts.clear(), report.notes.clear();
            if (findings[i]) Conclude(steps[i], abouts[i], findings[i], abouts[i + 1], report);
        }
        const Recording &in = abouts[pass.begin], &out = abouts[pass.end];
        const std::vector<Chunk> chunks = ChunksOf(pass);

        const bool last = pass.end == steps.size(), toSink = last || (pass.keeps && KeepsItsShape(pass.end));
        std::optional<BscanFile> kept;
        if (toSink && !inSink) sink.Begin(last ? out : abouts.back());
        if (pass.keeps && !toSink) {
            kept.emplace(BscanFile::Nameless(options.scratch));
            kept->Begin(nullptr, 0, out.size);
        }
        Findings found;
        const bool threads = options.threads != 1;
        Samples ahead; // of the next chunk
        Beside reading(threads), writing(threads);
        const auto read = [&](std::size_t c) {
            reading.Start([&, c] {
                const int count = chunks[c].readEnd - chunks[c].readBegin;
                ahead = AllocateSamples(About(in, 0, count).size.Count());
                if (inSink)
                    sink.Read(chunks[c].readBegin, count, ahead.get());
                else if (scratch)
                    scratch->Read(chunks[c].readBegin, count, ahead.get());
                else
                    source.Read(chunks[c].readBegin, count, ahead.get());
            });
        };
        read(0);
        for (std::size_t c = 0; c < chunks.size(); ++c) {
            reading.Wait();
            const Chunk& chunk = chunks[c];
            Recording block = About(in, chunk.readBegin, chunk.readEnd);
            block.data = std::move(ahead);
            if (c + 1 < chunks.size()) read(c + 1);
            if (pass.begin == 0) RequireFiniteIn(block, chunk.readBegin, in.file.string());
            chunkShare = double(c) / double(chunks.size()), chunkPart = 1. / double(chunks.size());
            const Recording made = WorkOn(pass, chunk, std::move(block));
            if (scratch && pass.keeps && c + 1 < chunks.size()) scratch->Forget(chunks[c + 1].readBegin);
            if (pass.looks) {
                Findings part = LookAt(steps[pass.end], made, {chunk.begin, out.size.bscans});
                if (found)
                    found->Merge(*part);
                else
                    found = std::move(part);
            }
            if (last) Finish(made, chunk);
            if (pass.keeps)
                writing.Start([&, made, chunk] {
                    if (toSink)
                        sink.Write(chunk.begin, made.size.bscans, made.data.get());
                    else
                        kept->Write(chunk.begin, made.size.bscans, made.data.get());
                });
        }
        writing.Wait();
        if (last) sink.End();
        if (pass.looks) findings[pass.end] = std::move(found);
        if (!pass.keeps) return;
        scratch.reset();
        if (kept) scratch.emplace(std::move(*kept));
        inSink = toSink;
    }

    /// What the steps of a pass make of a chunk, without its margins.
    Recording WorkOn(const Pass& pass, const Chunk& chunk, Recording block) {
        const bool all = chunk.end - chunk.begin == abouts[pass.begin].size.bscans; // of which a step may make others
        const auto core = [&](const Recording& of) {
            return all ? of : View(of, chunk.begin - chunk.readBegin, chunk.end - chunk.readBegin);
        };
        for (std::size_t i = pass.begin; i < pass.end; ++i) {
            if (options.observe && pass.keeps) options.observe(i, core(block), chunk.begin, abouts[i].size.bscans);
            double before = kReadCost, told = -1;
            for (std::size_t k = pass.begin; k < i; ++k) before += steps[k].Info().cost;
            const auto tell = [&](double share) {
                if (share <= told) return true;
                told = share;
                const double work = (before + share * steps[i].Info().cost) * chunkPart + CostOf(pass) * chunkShare;
                return clock->Tell(i, std::min(1., (workDone + work) / planned), workDone + work);
            };
            const LoopWatch watch(tell);
            if (!tell(0)) throw Exception::Cancelled();
            const auto begin = std::chrono::steady_clock::now();
            try {
                Recording next = Work(steps[i], block, {chunk.readBegin, abouts[i].size.bscans}, findings[i]);
                if (next.size.samples > abouts[i + 1].size.samples)
                    Crop(next, abouts[i + 1].size.samples, next.size.bscans);
                block = std::move(next);
            } catch (const Exception::CalcError& error) {
                throw Explained(steps[i], error, abouts[i].size);
            }
            result.steps[i].seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
            if (!tell(1)) throw Exception::Cancelled();
        }
        return core(block);
    }

    /// Takes the range of a part of the image, and shows it.
    void Finish(const Recording& made, const Chunk& chunk) {
        RequireFiniteIn(made, chunk.begin, "the image");
        const auto [low, high] = RangeOf(made);
        result.lowest = std::min(result.lowest, low), result.highest = std::max(result.highest, high);
        if (options.observe) options.observe(steps.size(), made, chunk.begin, abouts.back().size.bscans);
    }

    static void RequireFiniteIn(const Recording& part, int firstBscan, const std::string& name) {
        if (FirstNotFinite(part) >= 0)
            RequireFinite(part, firstBscan > 0 ? name + ", from B-scan " + std::to_string(firstBscan) + " on," : name);
    }

    const std::vector<Step>& steps;
    RecordingSource& source;
    RecordingSink& sink;
    const StreamOptions& options;
    std::vector<Recording> abouts;  ///< of the whole block ahead of each step, and of the image
    std::vector<Findings> findings; ///< of each step
    std::vector<Pass> passes;
    // Where the next pass finds its block, if not in the source.
    std::optional<BscanFile> scratch;
    bool inSink = false;
    RunResult result;
    std::optional<RunClock> clock;
    double planned = 0, workDone = 0, chunkShare = 0, chunkPart = 1;
};

} // namespace

RunResult Chain::Stream(RecordingSource& source, RecordingSink& sink, const StreamOptions& options) const {
    const Recording& about = source.About();
    Check(about);
    if (Streaming(steps, source, sink, options).NeedsCopies()) {
        Recording recording = about;
        recording.data = AllocateSamples(about.size.Count());
        source.Read(0, about.size.bscans, recording.data.get());
        RequireFinite(recording, about.file.string());
        RunResult result = Run(std::move(recording), options);
        sink.Begin(result.image);
        sink.Write(0, result.image.size.bscans, result.image.data.get());
        sink.End();
        result.image.data.reset();
        return result;
    }
    const Setting setting(about, options.threads);
    return RunWatched(options,
                      [&](const StreamOptions& watched) { return Streaming(steps, source, sink, watched).Run(); });
}

} // namespace TZM

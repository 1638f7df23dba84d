#pragma once

#include <chrono>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

#include "Chain/Chain.h"
#include "Chain/Recipe.h"
#include "Framework/BlockCoupling.h"
#include "Framework/CalcError.h"
#include "Framework/Cancelled.h"
#include "Recording/private/SpareBlocks.h"

namespace TZM {

/// The process is set up for a recording while it lives: sampling intervals, width of the digitiser, number of threads;
/// blocks are passed on from step to step. One at a time.
class TZM_EXPORT Setting {
public:
    /// \param documents that count in place of the process's own; null: those
    Setting(const Recording& recording, int threads, const RunDocuments* documents = nullptr);
    /// The documents alone, for what a chain takes from them ahead of its run.
    explicit Setting(const RunDocuments* documents);
    ~Setting();
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

private:
    const std::lock_guard<std::mutex> lock;
    const SpareBlocks spares;
    const AlgoGlobalSettings before;
    RunDocuments documentsBefore;
    const int threadsBefore;
};

/// Tells the caller how far a run is.
class RunClock {
public:
    /// \param planned rough cost of the whole run
    RunClock(const RunOptions& options, double planned);
    /// Tells the progress of a step, and what of the run is done by then. False to end the run.
    bool Tell(std::size_t step, double share, double done) const;

private:
    const RunOptions& options;
    const double planned;
    const std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

/// The smallest and the largest sample of a block.
std::pair<float, float> RangeOf(const Recording& block);

/// Runs run(options) with callbacks for progress that may throw: that can't cross a parallel loop, so it ends the run
/// like a refusal to go on, and leaves in place of Exception::Cancelled.
template <class Options, class Run>
RunResult RunWatched(const Options& options, const Run& run) {
    std::exception_ptr thrown;
    const auto call = [&](const auto& callback) {
        try {
            return !thrown && callback();
        } catch (...) {
            thrown = std::current_exception();
            return false;
        }
    };
    Options watched = options;
    watched.progress = [&](std::size_t step, double fraction) {
        return call([&] { return !options.progress || options.progress(step, fraction); });
    };
    if (options.overall)
        watched.overall = [&](const RunProgress& progress) { call([&] { return options.overall(progress), true; }); };
    try {
        RunResult result = run(watched);
        if (!thrown) return result;
    } catch (const Exception::Cancelled&) {
        if (!thrown) throw;
    }
    std::rethrow_exception(thrown);
}

/// The CalcError of a step as a user reads it.
TZM_EXPORT ChainError Explained(const Step& step, const Exception::CalcError& error, const Dimensions& size);

/// Keeps the first samples of every A-scan and the first B-scans, in place.
TZM_EXPORT void Crop(Recording& block, int samples, int bscans);

/// What is known of the block that a step makes of another, without its samples; of a detection it has all samples
/// still. ChainError if nothing would be left of an A-scan.
TZM_EXPORT Recording Outcome(const Step& step, const Recording& in);

/// What a step that couples the block found in all of it; nothing for the others.
using Findings = std::optional<BlockFindings>;

/// What a step must know of a whole block, from a part of it. A detection knows its shifts from it, any step whether it
/// couples the block. \param part where the block's part stands; {0, all} for the whole
TZM_EXPORT Findings LookAt(const Step& step, const Recording& in, const BlockPart& part);

/// Samples that a step leaves, and what is told of it, as its findings on the whole block say. ChainError if none are.
TZM_EXPORT void Conclude(const Step& step, const Recording& in, const Findings& found, Recording& out,
                         StepReport& report);

/// A part of the block that a step makes of the same part of another, with the intervals that the block has there.
/// CalcError. \param found in the whole block
TZM_EXPORT Recording Work(const Step& step, const Recording& in, const BlockPart& part, const Findings& found);

/// A step on a whole block. A single line goes as copies to a step that tells channels apart. Tells shapes, shifts and
/// notes in the report. ChainError for a CalcError of the step.
TZM_EXPORT Recording RunStep(const Step& step, Recording block, StepReport& report);

} // namespace TZM

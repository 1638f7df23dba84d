#include <algorithm>
#include <chrono>
#include <cstdio>
#include <tuple>

#include "Chain/Chain.h"
#include "Chain/private/StepRun.h"
#include "Framework/Cancelled.h"
#include "Framework/Logger.h"
#include "Framework/private/LoopWatch.h"

namespace TZM {

namespace {

/// While it lives, log lines that count the copies of a single line tell of the first one alone.
class LogOfOneLine {
public:
    LogOfOneLine() : before(Logger::SetSink([this](const std::string& line) { Pass(line); })) {}
    ~LogOfOneLine() { Logger::SetSink(before); }
    LogOfOneLine(const LogOfOneLine&) = delete;
    LogOfOneLine& operator=(const LogOfOneLine&) = delete;

private:
    void Pass(std::string line) {
        const std::string mark = "B-scan ", count = "/" + std::to_string(kCopiesOfSingleLine);
        if (const auto at = line.find(mark); at != std::string::npos) {
            const auto end = line.find_first_not_of("0123456789", at + mark.size());
            if (line.substr(at + mark.size(), end - at - mark.size()) != "1") return;
            if (end != std::string::npos && line.compare(end, count.size(), count) == 0)
                line.replace(end, count.size(), "/1");
        }
        if (before)
            before(line);
        else
            std::fputs(line.c_str(), stderr);
    }

    const Logger::Sink before;
};

Recording Copies(const Recording& line) {
    Recording block = line;
    block.size.bscans = kCopiesOfSingleLine;
    block.data = AllocateSamples(block.size.Count());
    for (int z = 0; z < kCopiesOfSingleLine; ++z) std::copy_n(line.data.get(), line.size.Count(), block.Bscan(z));
    if (!line.validRanges.empty()) block.validRanges.assign(kCopiesOfSingleLine, line.validRanges.front());
    return block;
}

} // namespace

Recording RunStep(const Step& step, Recording block, StepReport& report) {
    report.algorithm = step.Info().name;
    const bool copies = block.size.bscans == 1 && step.Info().tellsChannels;
    std::optional<LogOfOneLine> log;
    if (copies) {
        block = Copies(block);
        log.emplace();
    }
    report.input = block.size;
    try {
        const BlockPart whole{0, block.size.bscans};
        const Findings found = step.Info().findsTimeZero ? LookAt(step, block, whole) : std::nullopt;
        Recording next = Work(step, block, whole, found);
        Conclude(step, block, found, next, report);
        block = std::move(next);
    } catch (const Exception::CalcError& error) {
        throw Explained(step, error, block.size);
    }
    if (copies) Crop(block, block.size.samples, 1);
    report.output = block.size;
    return block;
}

namespace {

RunResult RunSteps(const std::vector<Step>& steps, Recording recording, const RunOptions& options) {
    const Setting setting(recording, options.threads);
    RunResult result;
    double planned = 0, before = 0; // rough costs
    for (const Step& step : steps) planned += step.Info().cost;
    const RunClock clock(options, planned);
    Recording block = std::move(recording);
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        if (options.observe) options.observe(i, block, 0, block.size.bscans);
        double told = -1;
        const auto tell = [&](double share) {
            if (share <= told) return true;
            told = share;
            return clock.Tell(i, share, before + share * step.Info().cost);
        };
        const LoopWatch watch(tell);
        if (!tell(0)) throw Exception::Cancelled();
        const auto begin = std::chrono::steady_clock::now();
        StepReport report;
        block = RunStep(step, std::move(block), report);
        report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        if (!tell(1)) throw Exception::Cancelled();
        before += step.Info().cost;
        if (options.done) options.done(i, report);
        result.steps.push_back(std::move(report));
    }
    RequireFinite(block, "the image");
    if (options.observe) options.observe(steps.size(), block, 0, block.size.bscans);
    std::tie(result.lowest, result.highest) = RangeOf(block);
    result.image = std::move(block);
    return result;
}

} // namespace

RunResult Chain::Run(Recording recording, const RunOptions& options) const {
    return RunWatched(options,
                      [&](const RunOptions& watched) { return RunSteps(steps, std::move(recording), watched); });
}

} // namespace TZM

#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>

#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Chain/Chain.h"
#include "Framework/CalcError.h"
#include "Framework/Cancelled.h"
#include "Framework/Logger.h"
#include "Framework/private/JsonDocument.h"
#include "Framework/private/LoopWatch.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

/// The configuration document of the process.
struct Configuration : AlgoBase {
    static std::string& Text() { return jsonConfig; }
};

/// The configuration with the width of the recording's digitiser, unless a document of the host's tells one.
std::string WithBits(const std::string& configuration, const std::optional<int>& bits) {
    Json::Value root(Json::objectValue);
    if (!bits || (!configuration.empty() && !ParseJsonDocument(configuration, root))) return configuration;
    if (!root.isObject() || (root.isMember("Global") && !root["Global"].isObject())) return configuration;
    Json::Value& width = root["Global"]["ADBitResolution"];
    if (!width.isNull()) return configuration;
    width = *bits;
    return JsonText(root);
}

/// The process is set up for a recording while it lives: sampling intervals, width of the digitiser, number of threads.
/// One at a time.
class Setting {
public:
    Setting(const Recording& recording, int threads)
        : lock(Mutex()), before(AlgoBase::GetGlobalSettings()), configuration(Configuration::Text()),
          threadsBefore(omp_get_max_threads()) {
        Configuration::Text() = WithBits(configuration, recording.bits);
        AlgoBase::GetGlobalSettings() = {static_cast<float>(recording.deltaT), static_cast<float>(recording.deltaX)};
        if (threads > 0) omp_set_num_threads(threads);
    }
    ~Setting() {
        Configuration::Text().swap(configuration);
        AlgoBase::GetGlobalSettings() = before;
        omp_set_num_threads(threadsBefore);
    }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

private:
    static std::mutex& Mutex() {
        static std::mutex mutex;
        return mutex;
    }
    const std::lock_guard<std::mutex> lock;
    const AlgoGlobalSettings before;
    std::string configuration;
    const int threadsBefore;
};

/// What a failure of an algorithm means to the user.
ChainError Explained(const std::string& name, const Exception::CalcError& error, const Dimensions& size) {
    const std::string code = " (code " + std::to_string(error.GetCode()) + ": " + error.GetMessage() + ")";
    const auto told = [&](const std::string& text) {
        return ChainError(name + " " + text + code, name, "", error.GetCode());
    };
    if (error.GetCode() == -10) return told("needs a permittivity above 0");
    if (error.GetCode() == -11)
        return told("refuses " + std::to_string(size.bscans) + " B-scans, since neither 5 nor 7 channels divide them");
    if (error.GetMessage() == "IPP::Exception::ippsHilbert_outOfRange32f" && size.samples > 1024)
        return told("takes A-scans of up to 1024 samples, and these have " + std::to_string(size.samples));
    return told("can't work on " + size.Text() + " samples");
}

/// Keeps the first samples of every A-scan and the first B-scans, in place.
void Crop(Recording& block, int samples, int bscans) {
    float* data = block.data.get();
    const std::int64_t ascans = std::int64_t{block.size.ascans} * bscans;
    if (samples < block.size.samples)
        for (std::int64_t i = 1; i < ascans; ++i)
            std::copy_n(data + i * block.size.samples, samples, data + i * samples);
    block.size.samples = samples;
    block.size.bscans = bscans;
}

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

/// What a detection found, in words.
std::string NoteOf(const StepReport& report, bool found, const Recording& recording) {
    const auto [low, high] = std::minmax_element(report.shifts.begin(), report.shifts.end());
    const std::string samples = *low == *high ? "sample " + std::to_string(*low)
                                              : "samples " + std::to_string(*low) + " to " + std::to_string(*high);
    const std::string left = "; " + std::to_string(report.output.samples) + " samples are left";
    if (!found)
        return "warning: no direct wave was found in some channels, so that time zero is a default there: " + samples +
               left;
    return "note: time zero was found at " + samples + left +
           (recording.timeZero ? "; the recording says sample " + std::to_string(*recording.timeZero) : "");
}

/// Runs a detection, whose findings tell by how much it moves every B-scan, and crops the block to the samples that
/// hold data in all of them.
void Detect(const AlgoTimeZeroDetection& detection, const Recording& in, const ImageProps& props, Recording& out,
            StepReport& report) {
    const BlockPart whole{0, in.size.bscans};
    const BlockFindings findings = detection.Look(in.data.get(), props, whole);
    detection.Work(in.data.get(), props, whole, findings, out.data.get(), props);
    bool found = true;
    for (int z = 0; z < in.size.bscans; ++z) {
        report.shifts.push_back(static_cast<int>(findings.Number(z, "Shift")));
        found = found && findings.Number(z, "Found") != 0;
    }
    const int usable = detection.UsableSamples(findings, in.size.samples);
    if (usable < 1) throw ChainError("TimeZeroDetection leaves no samples", "TimeZeroDetection");
    Crop(out, usable, out.size.bscans);
    report.output = out.size;
    report.notes.push_back(NoteOf(report, found, in));
}

/// The block that a step makes of another.
Recording Apply(const Step& step, const Recording& in, StepReport& report) {
    const AlgoBase& algorithm = step.Algorithm();
    const ImageProps inProps = in.Props(), outProps = algorithm.GetAdjustedImageDimensions(inProps);
    if (outProps.samplesPerAscan > in.size.samples || outProps.samplesPerAscan < 1)
        throw ChainError(step.Info().name + ": timeZero " +
                             std::to_string(std::int64_t{in.size.samples} - outProps.samplesPerAscan) +
                             " isn't one of the samples 0 to " + std::to_string(in.size.samples - 1),
                         step.Info().name, "timeZero");
    Recording out = in;
    out.size = {outProps.samplesPerAscan, outProps.ascansPerBscan, outProps.bscanCount};
    if (out.size.ascans != in.size.ascans || out.size.bscans != in.size.bscans) out.validRanges = outProps.bscanInfo;
    out.data = AllocateSamples(out.size.Count());
    out.firstSample += in.size.samples - out.size.samples;
    if (const auto* detection = dynamic_cast<const AlgoTimeZeroDetection*>(&algorithm))
        Detect(*detection, in, inProps, out, report);
    else
        algorithm.Execute(in.data.get(), inProps, out.data.get(), outProps);
    if (step.Info().setsTimeZero) out.startTime = 0, out.firstSample = 0;
    if (step.Info().setsTimeZero || step.Info().migrates) {
        out.timeZero = 0;
        out.timeZeros.clear();
    }
    return out;
}

} // namespace

RunResult Chain::Run(Recording recording, const RunOptions& options) const {
    const Setting setting(recording, options.threads);
    RunResult result;
    Recording block = std::move(recording);
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        if (options.observe) options.observe(i, block);
        double told = -1;
        const auto tell = [&](double share) {
            if (!options.progress || share <= told) return true;
            told = share;
            return options.progress(i, share);
        };
        const LoopWatch watch(tell);
        if (!tell(0)) throw Exception::Cancelled();
        const auto begin = std::chrono::steady_clock::now();
        StepReport report;
        report.algorithm = step.Info().name;
        const bool copies = block.size.bscans == 1 && step.Info().tellsChannels;
        std::optional<LogOfOneLine> log;
        if (copies) {
            block = Copies(block);
            log.emplace();
        }
        report.input = block.size;
        try {
            Recording next = Apply(step, block, report);
            block = std::move(next);
        } catch (const Exception::CalcError& error) {
            throw Explained(step.Info().name, error, block.size);
        }
        if (copies) Crop(block, block.size.samples, 1);
        report.output = block.size;
        report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        if (!tell(1)) throw Exception::Cancelled();
        if (options.done) options.done(i, report);
        result.steps.push_back(std::move(report));
    }
    RequireFinite(block, "the image");
    result.image = std::move(block);
    return result;
}

} // namespace TZM

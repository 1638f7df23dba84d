#include "Chain/private/StepRun.h"

#include <omp.h>

#include <algorithm>

#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Array/Simd/Dispatch.h"
#include "Chain/private/Regridding.h"
#include "Framework/private/JsonDocument.h"
#include "Framework/private/ParallelFor.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

/// The documents of the process.
struct ProcessDocuments : AlgoBase {
    static std::string& Configuration() { return jsonConfig; }
    static std::string& Calibration() { return jsonCalibration; }

    static RunDocuments Both() { return {Configuration(), Calibration()}; }
    static void Swap(RunDocuments& documents) {
        Configuration().swap(documents.configuration);
        Calibration().swap(documents.calibration);
    }
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

std::mutex& RunMutex() {
    static std::mutex mutex;
    return mutex;
}

} // namespace

Setting::Setting(const RunDocuments* documents)
    : lock(RunMutex()), before(AlgoBase::GetGlobalSettings()),
      documentsBefore(documents ? *documents : ProcessDocuments::Both()), threadsBefore(omp_get_max_threads()) {
    ProcessDocuments::Swap(documentsBefore);
}

Setting::Setting(const Recording& recording, int threads, const RunDocuments* documents) : Setting(documents) {
    ProcessDocuments::Configuration() = WithBits(ProcessDocuments::Configuration(), recording.bits);
    AlgoBase::GetGlobalSettings() = SamplingOf(recording);
    if (threads > 0) omp_set_num_threads(threads);
}

Setting::~Setting() {
    ProcessDocuments::Swap(documentsBefore);
    AlgoBase::GetGlobalSettings() = before;
    omp_set_num_threads(threadsBefore);
}

bool Step::WorksInParts() const {
    const Coupling coupling = CouplingNow();
    const auto* counts = dynamic_cast<const CountsBscans*>(algorithm.get());
    return coupling.scope != Coupling::Block || coupling.throughFindings || (counts && counts->WorksInParts());
}

RunClock::RunClock(const RunOptions& ofRun, double cost) : options(ofRun), planned(cost) {}

bool RunClock::Tell(std::size_t step, double share, double done) const {
    const bool goesOn = !options.progress || options.progress(step, share);
    if (options.overall) {
        constexpr double kEnough = 0.01; // of the work, to go by
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        const double part = planned > 0 ? std::min(done / planned, 1.) : 1.;
        options.overall({part, part < kEnough ? -1. : seconds * (1 - part) / part});
    }
    return goesOn;
}

std::pair<float, float> RangeOf(const Recording& block) {
    std::vector<std::pair<float, float>> ranges(static_cast<std::size_t>(block.size.bscans));
    ParallelFor(block.size.bscans, [&](int z) {
        auto& [low, high] = ranges[static_cast<std::size_t>(z)];
        IPP::Simd::Active().minMax(block.Bscan(z), block.size.samples * block.size.ascans, &low, &high);
    });
    std::pair<float, float> all = ranges.front();
    for (const auto& [low, high] : ranges) all = {std::min(all.first, low), std::max(all.second, high)};
    return all;
}

ChainError Explained(const Step& step, const Exception::CalcError& error, const Dimensions& size) {
    const std::string name = step.Info().name;
    const std::string code = " (code " + std::to_string(error.GetCode()) + ": " + error.GetMessage() + ")";
    const auto told = [&](const std::string& text) {
        return ChainError(name + " " + text + code, name, "", error.GetCode());
    };
    if (error.GetCode() == -10) return told("needs a permittivity above 0");
    if (error.GetCode() == -11)
        return told("refuses " + std::to_string(size.bscans) + " B-scans, since neither 5 nor 7 channels divide them");
    if (error.GetCode() == -13)
        return told("needs an elevation for each A-scan of the block, or some that spread along every line");
    if (error.GetMessage() == "IPP::Exception::ippsHilbert_outOfRange32f" && size.samples > 1024)
        return told("takes A-scans of up to 1024 samples, and these have " + std::to_string(size.samples));
    return told("can't work on " + size.Text() + " samples");
}

void Crop(Recording& block, int samples, int bscans) {
    float* data = block.data.get();
    const std::int64_t ascans = std::int64_t{block.size.ascans} * bscans;
    if (samples < block.size.samples)
        for (std::int64_t i = 1; i < ascans; ++i)
            std::copy_n(data + i * block.size.samples, samples, data + i * samples);
    block.size.samples = samples;
    block.size.bscans = bscans;
}

namespace {

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

/// Other lines than before lie evenly from the first one to the last; a single one, between them.
void SpreadLines(const Recording& in, Recording& out) {
    if (in.lineSpacing && out.size.bscans > 1)
        out.lineSpacing = *in.lineSpacing * (in.size.bscans - 1) / (out.size.bscans - 1);
    out.positions.clear();
    out.channels.clear();
}

} // namespace

Recording Outcome(const Step& step, const Recording& in) {
    if (const auto& regrids = step.Info().regrids) {
        Recording out = in.About();
        regrids(step.Algorithm(), out);
        if (out.size.samples < 1 || out.size.ascans < 1)
            throw ChainError(step.Info().name + " leaves nothing of " + in.size.Text() + " samples", step.Info().name);
        return out;
    }
    const ImageProps props = step.Algorithm().GetAdjustedImageDimensions(in.Props());
    if (props.samplesPerAscan > in.size.samples || props.samplesPerAscan < 1)
        throw ChainError(step.Info().name + ": timeZero " +
                             std::to_string(std::int64_t{in.size.samples} - props.samplesPerAscan) +
                             " isn't one of the samples 0 to " + std::to_string(in.size.samples - 1),
                         step.Info().name, "timeZero");
    Recording out = in.About();
    out.size = {props.samplesPerAscan, props.ascansPerBscan, props.bscanCount};
    if (out.size.ascans != in.size.ascans || out.size.bscans != in.size.bscans) out.validRanges = props.bscanInfo;
    if (step.Info().fillsGaps) out.validRanges.clear();
    if (out.size.bscans != in.size.bscans) SpreadLines(in, out);
    out.firstSample += in.size.samples - out.size.samples;
    if (step.Info().setsTimeZero) out.startTime = 0, out.firstSample = 0;
    if (step.Info().setsTimeZero || step.Info().migrates) {
        out.timeZero = 0;
        out.timeZeros.clear();
    }
    return out;
}

Findings LookAt(const Step& step, const Recording& in, const BlockPart& part) {
    const auto* couples = dynamic_cast<const CouplesBlock*>(&step.Algorithm());
    if (!couples || !couples->IsCoupled()) return std::nullopt;
    AlgoBase::GetGlobalSettings() = SamplingOf(in);
    return couples->Look(in.data.get(), in.Props(), part);
}

void Conclude(const Step& step, const Recording& in, const Findings& found, Recording& out, StepReport& report) {
    if (const auto* detection = dynamic_cast<const AlgoTimeZeroDetection*>(&step.Algorithm())) {
        bool all = true;
        for (int z = 0; z < in.size.bscans; ++z) {
            report.shifts.push_back(static_cast<int>(found->Number(z, "Shift")));
            all = all && found->Number(z, "Found") != 0;
        }
        const int usable = detection->UsableSamples(*found, in.size.samples);
        if (usable < 1) throw ChainError("TimeZeroDetection leaves no samples", "TimeZeroDetection");
        if (out.data)
            Crop(out, usable, out.size.bscans);
        else
            out.size.samples = usable;
        report.output = out.size;
        report.notes.push_back(NoteOf(report, all, in));
    }
}

namespace {

/// Zeros outside the valid A-scans, where a step may write nothing.
void ClearInvalid(Recording& block) {
    const std::int64_t samples = block.size.samples;
    for (int z = 0; z < block.size.bscans && !block.validRanges.empty(); ++z) {
        const BscanInfo& range = block.validRanges[static_cast<std::size_t>(z)];
        const int first = std::clamp(range.firstValidIdx, 0, block.size.ascans),
                  end = static_cast<int>(std::clamp<std::int64_t>(std::int64_t{range.firstValidIdx} + range.validLen,
                                                                  first, block.size.ascans));
        std::fill_n(block.Bscan(z), samples * first, 0.f);
        std::fill(block.Bscan(z) + samples * end, block.Bscan(z) + samples * block.size.ascans, 0.f);
    }
}

} // namespace

Recording Work(const Step& step, const Recording& in, const BlockPart& part, const Findings& found) {
    const AlgoBase& algorithm = step.Algorithm();
    AlgoBase::GetGlobalSettings() = SamplingOf(in);
    Recording out = Outcome(step, in);
    const ImageProps inProps = in.Props(), outProps = algorithm.GetAdjustedImageDimensions(inProps);
    out.data = AllocateSamples(out.size.Count());
    ClearInvalid(out);
    const bool whole = in.size.bscans == part.blockBscans;
    const auto* couples = dynamic_cast<const CouplesBlock*>(&algorithm);
    const auto* counts = dynamic_cast<const CountsBscans*>(&algorithm);
    if (couples && (found || !whole)) {
        couples->Work(in.data.get(), inProps, part, found.value_or(BlockFindings()), out.data.get(), outProps);
    } else if (counts) {
        counts->ExecutePart(in.data.get(), inProps, part, out.data.get(), outProps);
    } else {
        algorithm.Execute(in.data.get(), inProps, out.data.get(), outProps);
    }
    return out;
}

} // namespace TZM

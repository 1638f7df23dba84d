#pragma once

#include <json/value.h>

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Array/Export.h"
#include "Chain/AlgorithmInfo.h"
#include "Recording/Format.h"
#include "Recording/Recording.h"
#include "Recording/Refusal.h"

namespace TZM {

/// A chain, or a step of it, can't be made or can't work on a block.
class TZM_EXPORT ChainError : public Refusal {
public:
    explicit ChainError(const std::string& text) : Refusal(text) {}
    ChainError(const std::string& text, const std::string& algorithm, const std::string& parameterName = "",
               int errorCode = 0)
        : Refusal(text), step(algorithm), parameter(parameterName), code(errorCode) {}

    std::string step;      ///< name of its algorithm; empty if it isn't one step's
    std::string parameter; ///< whose value is wrong; empty if it isn't one's
    int code = 0;          ///< of the CalcError behind it, or 0
};

/// One algorithm of a chain, with its parameters.
class TZM_EXPORT Step {
public:
    explicit Step(const AlgorithmInfo& kind);

    const AlgorithmInfo& Info() const { return *info; }
    AlgoBase& Algorithm() { return *algorithm; }
    const AlgoBase& Algorithm() const { return *algorithm; }

    /// The value of a parameter; null if the algorithm has none of that name.
    Json::Value Get(const std::string& parameter) const;
    /// ChainError if the algorithm has no such parameter, or if the value is of the wrong type.
    void Set(const std::string& parameter, const Json::Value& value);

    /// What it must see of a block at once, with its parameters. \param duration of an A-scan in s; else the longest
    Coupling CouplingNow(double duration = std::numeric_limits<double>::infinity()) const {
        return info->coupling(*algorithm, duration);
    }
    /// Whether it can work on a block part by part, with what it has found in all of them and their places.
    bool WorksInParts() const;

    std::set<std::string> given; ///< parameters that somebody set

private:
    const AlgorithmInfo* info;
    std::unique_ptr<AlgoBase> algorithm;
};

/// What happened to a step when a chain ran.
struct TZM_EXPORT StepReport {
    std::string algorithm;
    Dimensions input;
    Dimensions output;
    double seconds = 0;
    std::vector<int> shifts;        ///< samples by which a time-zero detection moved every B-scan, else none
    std::vector<std::string> notes; ///< what a user should know of it, a line each: "note: ...", "warning: ..."
};

/// What the standard chains leave to the user.
struct TZM_EXPORT ChainChoice {
    std::optional<std::string> background; ///< procedure of the background removal; else the chain's own
    std::string migration;                 ///< the algorithm; empty: the chain's own
    std::optional<int> timeZero;           ///< sample of the recording, if the user gives it
    std::optional<double> frequency;       ///< MHz, nominal one of the antenna; else that of the channels' names
    std::optional<std::string> preset;     ///< name of one of ChainPresets(), for what is in the ground
    std::optional<bool> signedImage; ///< no envelope: reflectors keep the signs of their wavelets; else the preset's
    std::optional<double> lineSpacing = std::nullopt; ///< m, if the user gives it
};

/// A standard chain's figures for what is sought in the ground.
struct TZM_EXPORT ChainPreset {
    std::string name;        ///< "concrete"
    std::string meaning;     ///< a few words
    double frequency;        ///< MHz, nominal one of the antenna where the recording doesn't tell it
    double backgroundWindow; ///< m along the scan
    bool backgroundMedian;   ///< the median of the window in place of its mean
    bool signedImage;        ///< no envelope
    double gainPower;        ///< of the time
    double gainRate;         ///< dB/ns
    double agcPeriods;       ///< window of an automatic gain control in periods of the antenna; 0: a gain over time
    double agcFloor;
};

/// What ChainChoice::preset may name.
TZM_EXPORT const std::vector<ChainPreset>& ChainPresets();

/// A number that a chain works with although nobody knows it.
struct TZM_EXPORT AssumedNumber {
    std::string parameter;
    std::string words; ///< "permittivity", "sample of time zero", "antenna offset in metres"
    double value = 0;  ///< the default that is taken

    std::string Text() const; ///< "the permittivity isn't known, 6 is taken"
};

/// Numbers that a user gives for every step that has such a parameter.
struct TZM_EXPORT GivenNumbers {
    std::optional<int> timeZero;                      ///< sample
    std::optional<double> permittivity;               ///< relative
    std::optional<double> antennaOffset;              ///< m
    std::optional<double> lineSpacing = std::nullopt; ///< m, from B-scan to B-scan
};

/// How far a run is, all its steps together.
struct TZM_EXPORT RunProgress {
    double share = 0;        ///< of the work, 0 to 1
    double secondsLeft = -1; ///< as the work has gone until now; below 0 while that doesn't tell
};

/// How a chain is run.
struct TZM_EXPORT RunOptions {
    int threads = 0; ///< 0: as many as the OpenMP runtime takes
    /// Called ahead of a step (fraction 0), within it, and behind it (1), from the thread that called Run: false ends
    /// the run. Within a step the fraction is that of the loop over the B-scans that is under way, and never falls.
    /// What it throws ends the run, too, and leaves Run as it is.
    std::function<bool(std::size_t step, double fraction)> progress;
    /// Called behind each call of `progress`, and from the same thread, with what it means for the whole run; what it
    /// throws counts likewise.
    std::function<void(const RunProgress&)> overall;
    /// Called with the block that a step will get, and with the image as the one behind the last step: all of it, or,
    /// in a streamed run, its parts one behind the other.
    std::function<void(std::size_t step, const Recording& part, int firstBscan, int blockBscans)> observe;
    /// Called behind every step.
    std::function<void(std::size_t step, const StepReport& report)> done;
};

/// What a run gives.
struct TZM_EXPORT RunResult {
    Recording image; ///< of a streamed run without its samples
    std::vector<StepReport> steps;
    float lowest = 0, highest = 0; ///< of the image
};

/// How a chain is run on a recording that memory needn't hold.
struct TZM_EXPORT StreamOptions : RunOptions {
    /// Bytes that the blocks may take. A chunk holds at least one lane (5 or 7 B-scans where these divide the
    /// recording, else 5) and the lines beside it that sums across B-scans need, even if that takes more.
    std::int64_t memory = std::int64_t{1} << 30;
    std::filesystem::path scratch; ///< a folder for blocks between two passes; empty: that of temporary files
};

/// Algorithms in the order of their work.
///
///     TZM::Recording recording = TZM::ReadRecording("survey.f32");
///     TZM::Chain chain = TZM::Chain::Standard(recording);
///     chain.Settle(recording, {});
///     TZM::Recording image = chain.Run(recording).image;
class TZM_EXPORT Chain {
public:
    Chain() = default;

    /// The chain that brings a recording from its counts to an image. The channels of an array get time zero, levels
    /// and times in common; those of one antenna only a time zero. Lines lose wow, what lies outside the antenna's band,
    /// if its frequency is known, and their mean, and gain what spreading takes. A time zero that the recording or the
    /// user tells is taken; else it is detected where there are channels. An array whose lines lie a known distance
    /// apart is imaged as a volume along the ways between its antennas, all others B-scan by B-scan with one speed,
    /// unless the user chooses a migration. A preset does to lines and arrays what lines get, with figures of its own. A
    /// signed image isn't normalised. ChainError for a preset or a migration that there isn't, and for a frequency that
    /// isn't above 0.
    static Chain Standard(const Recording& recording, const ChainChoice& choice = {});

    /// From a document like {"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 125}}]}. A recipe that
    /// a run has written is such a document, too. ChainError, beginning with `name`, for an unknown algorithm or
    /// parameter or a value of the wrong type.
    static Chain FromDocument(const Json::Value& document, const std::string& name);

    /// Appends an algorithm. ChainError if there is none of that name, or for what Step::Set refuses.
    Step& Add(const std::string& algorithm, const Json::Value& parameters = Json::Value(Json::objectValue));

    /// Sets a parameter in all steps that have it; without `overrule` only in those where nobody has set it.
    void Set(const std::string& parameter, const Json::Value& value, bool overrule);

    /// Settles what all sides say of time zero, permittivity, antenna offset and line spacing. In rising order count:
    /// an algorithm's default, the recording, the chain's document, the given numbers, the configuration document. The
    /// recording gets what the chain works with, so that axes and depths belong to it. Behind a step that moves time
    /// zero to sample 0 it is 0 unless the chain's document says otherwise, and behind a step that changes the interval
    /// its sample there. What else a recording may tell of a parameter, such as elevations by its positions, counts
    /// where nobody has set it. To be called once, ahead of Run. Gives the numbers that nobody knows.
    std::vector<AssumedNumber> Settle(Recording& recording, const GivenNumbers& numbers);

    /// Refuses in advance what can't work on such a recording, whose samples aren't needed: ChainError for shapes,
    /// lengths and numbers that a step refuses, and for intervals that can't be meant. Gives a line for each number
    /// that is odd but possible.
    std::vector<std::string> Check(const Recording& recording) const;

    /// Runs the steps one after the other. Samples that a migration dropped are reckoned into the start of the image;
    /// behind a step that moves time zero to sample 0 time counts from there, and behind a detection the block is
    /// cropped to the samples that hold data in every B-scan. A single line goes as equal copies, one for each channel,
    /// to an algorithm that tells channels apart, and the first is kept. Valid ranges reach every step. At most two
    /// blocks live at a time beside the input, which is released by a caller that moves it in.
    ///
    /// The sampling intervals of the process are those of the block that a step gets while it runs, and those of before
    /// behind it; so is "Global.ADBitResolution" of the configuration the width of the recording's digitiser, if nobody
    /// configured another. Runs of several threads queue up. ChainError if an algorithm refuses the block or its
    /// parameters, Refusal if the image is empty or not finite, Exception::Cancelled, std::bad_alloc.
    RunResult Run(Recording recording, const RunOptions& options = {}) const;

    /// The same from file to file, in chunks of whole lanes, to the bits of Run whatever the memory. A step that
    /// couples the block through a few numbers (a time zero, a mesh, the extremes) gets them in a pass of its own over
    /// the chunks ahead of it; where that would repeat much work, the block ahead of it is kept in a scratch file. A
    /// chunk is read and another written while one is worked on, unless one thread is asked for. The progress of the
    /// run is told with the number of the step behind which it is done; RunOptions::done is called for all steps at the
    /// end.
    ///
    /// Fails like Run; ChainError as well, ahead of the work, for a step that must see the whole block where memory
    /// doesn't hold it. The sink of a run that failed or was cancelled holds no image.
    RunResult Stream(RecordingSource& source, RecordingSink& sink, const StreamOptions& options = {}) const;

    /// The chain as a document's list, with the parameters as they are.
    Json::Value Document() const;

    std::vector<Step> steps;

private:
    void Read(const Json::Value& document);
    void SettleAntennas(const Recording& recording, const GivenNumbers& numbers);
    void ReadConfiguration(const Recording& recording);
};

/// B-scans that an algorithm that tells channels apart gets for each one of a single line.
inline constexpr int kCopiesOfSingleLine = 5;

} // namespace TZM

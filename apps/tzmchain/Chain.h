#pragma once

#include "AlgorithmTable.h"
#include "Recording.h"

#include <json/value.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tzmchain {

class Progress;

/// One algorithm of a chain.
struct Step {
    explicit Step(const AlgorithmRow& kind);
    Parameter* Find(const std::string& parameterName);

    const AlgorithmRow* row;
    vtkSmartPointer<AlgorithmFilter> filter;
    std::vector<Parameter> parameters;
    std::set<std::string> given; ///< parameters that somebody set
};

/// What happened to a step when the chain ran.
struct StepReport {
    std::string algorithm;
    Dimensions input;
    Dimensions output;
    double seconds;
    std::vector<int> shifts; ///< samples by which a time-zero detection moved every B-scan, else none
};

/// What the standard chain leaves to the user.
struct ChainChoice {
    std::optional<std::string> background; ///< procedure of the background removal; else the chain's own
    std::string migration = "FkMigration"; ///< the algorithm
};

/// Algorithms in the order of their work.
class Chain {
public:
    /// Offset removal, migration and envelope, for a time zero that is known.
    static Chain Standard(const ChainChoice& choice = {});

    /// The chain that brings a recording from its counts to an image. The channels of an array get time zero, levels
    /// and times in common first; recordings of one antenna only a time zero; a recording whose B-scans neither 5 nor 7
    /// divides is left with the chain above.
    static Chain StandardFor(const Recording& recording, const ChainChoice& choice = {});

    /// From a document like {"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 125}}]}. A recipe that
    /// the program wrote is such a document, too. Refusal, beginning with `name`, for an unknown algorithm or parameter
    /// or a value of the wrong type.
    static Chain FromDocument(const Json::Value& document, const std::string& name);

    /// Sets a parameter in all steps that have it; without `overrule` only in those where nobody has set it. Refusal if
    /// the value is of the wrong type.
    void Set(const std::string& parameter, const Json::Value& value, bool overrule);

    /// Sets timeZero to 0 in all steps behind a time-zero detection, where nobody has set it.
    void BeginAtDetectedTimeZero();

    /// Lets the configuration document override the parameters. To be called once, after all calls of Set.
    void ReadConfiguration();

    /// What the steps make of a parameter of the recording.
    struct Use {
        Json::Value value; ///< of the last step that has the parameter, since a migration decides on the depth; or null
        bool given;        ///< somebody set it
    };
    /// For timeZero only steps ahead of a time-zero detection count: behind it the samples are no more the recording's.
    Use Find(const std::string& parameter) const;

    /// Called ahead of every step with the block that it will get.
    using Observer = std::function<void(const Step& next, const Recording& block)>;

    /// Connects the steps behind the reader, which is up to date, brings them up to date one after the other and gives
    /// the image. Samples that a migration dropped are reckoned into its start; behind a time-zero detection time
    /// counts from there, and the block is cropped to the samples that hold data in every B-scan. Of a single line,
    /// which the reader gives several times for algorithms that tell channels apart, the first is kept. Blocks are
    /// released on the way, so that two live at a time. `recording`: what was read, without its samples. Refusal if an
    /// algorithm refuses the block or its parameters, or if the image is empty or not finite.
    Recording Run(RecordingReader* reader, const Recording& recording, Progress& progress,
                  const Observer& observe = {});

    /// Where the image of the last Run is to be had.
    vtkAlgorithmOutput* Output() const { return parts.back()->GetOutputPort(); }

    /// The chain as a document, with the parameters as they are.
    Json::Value Document() const;

    std::vector<Step> steps;
    std::vector<StepReport> reports; ///< of the last Run

private:
    std::vector<vtkSmartPointer<vtkImageAlgorithm>> parts; // of the pipeline of the last Run, in their order
};

/// Lines that tell which keys of a configuration document the algorithms will skip: those of another JSON type, and
/// those that aren't known in the section of an algorithm.
std::vector<std::string> SkippedKeys(const Json::Value& configuration);

} // namespace tzmchain

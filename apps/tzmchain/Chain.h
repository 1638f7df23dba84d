#pragma once

#include "Recording.h"

#include "Framework/AlgoBase.h"

#include <json/value.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tzmchain {

class Progress;

/// A parameter of one algorithm object.
struct Parameter {
    std::string name;
    std::string type; ///< what a value must be: "a whole number", "a number", "true or false", "text"
    std::function<Json::Value()> get;
    std::function<bool(const Json::Value&)> set; ///< false, with nothing changed, for a value of another type or range
};

/// A key that an algorithm reads from its section of the configuration document.
struct Key {
    const char* TypeName() const;

    std::string name;
    Json::Value standard; ///< what counts without the key; a value of another JSON type is skipped by the algorithm
    std::string range;    ///< to which it is limited, if any
};

/// An algorithm of the library as a chain document names it.
struct AlgorithmRow {
    std::string name;
    std::string summary;
    double cost; ///< rough time per sample, relative to the other rows
    std::vector<Key> keys;
    std::function<std::unique_ptr<TZM::AlgoBase>()> make;
    std::function<std::vector<Parameter>(TZM::AlgoBase&)> parameters;
};

/// Every algorithm that a chain may name, in the order in which a chain would use them.
const std::vector<AlgorithmRow>& Algorithms();

/// One algorithm of a chain.
struct Step {
    explicit Step(const AlgorithmRow& kind);
    Parameter* Find(const std::string& parameterName);

    const AlgorithmRow* row;
    std::unique_ptr<TZM::AlgoBase> algorithm;
    std::vector<Parameter> parameters;
    std::set<std::string> given; ///< parameters that somebody set
};

/// What happened to a step when the chain ran.
struct StepReport {
    std::string algorithm;
    Dimensions input;
    Dimensions output;
    double seconds;
};

/// Algorithms in the order of their work.
class Chain {
public:
    /// Offset removal, Fk migration and envelope.
    static Chain Standard();

    /// From a document like {"chain": [{"algorithm": "FkMigration", "parameters": {"timeZero": 125}}]}. A recipe that
    /// the program wrote is such a document, too. Refusal, beginning with `name`, for an unknown algorithm or parameter
    /// or a value of the wrong type.
    static Chain FromDocument(const Json::Value& document, const std::string& name);

    /// Sets a parameter in all steps that have it; without `overrule` only in those where nobody has set it. Refusal if
    /// the value is of the wrong type.
    void Set(const std::string& parameter, const Json::Value& value, bool overrule);

    /// Lets the configuration document override the parameters. To be called once, after all calls of Set.
    void ReadConfiguration();

    /// The parameter of the first step that has it, or null.
    Parameter* Find(const std::string& parameter);

    /// Its value, if somebody gave it one.
    std::optional<Json::Value> Given(const std::string& parameter) const;

    /// Runs the steps one after the other and gives the image, with the samples that a migration dropped reckoned into
    /// its start. A recording of one B-scan is handed on as five equal ones, and the first of the image is kept, since
    /// algorithms that tell channels apart refuse another count. The recording's samples are released after the first
    /// step. Refusal if an algorithm refuses the block or its parameters, or if the image is empty or not finite.
    Recording Run(Recording recording, Progress& progress);

    /// The chain as a document, with the parameters as they are.
    Json::Value Document() const;

    std::vector<Step> steps;
    std::vector<StepReport> reports; ///< of the last Run
};

/// B-scans handed to the chain for each one of a single line.
inline constexpr int kCopiesOfSingleLine = 5;

/// Lines that tell which keys of a configuration document the algorithms will skip, as far as their keys are known.
std::vector<std::string> SkippedKeys(const Json::Value& configuration);

} // namespace tzmchain

#pragma once

#include <json/value.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Array/Export.h"
#include "Framework/AlgoBase.h"
#include "Framework/JsonKeyInfo.h"
#include "Recording/Recording.h"

namespace TZM {

/// What a value of a parameter is in JSON.
enum class ValueType {
    Integer,  ///< a whole number
    Number,   ///< any number
    Flag,     ///< true or false
    Text,     ///< a string
    Word,     ///< one of some strings
    Integers, ///< a list of whole numbers
    Widths,   ///< an object of whole numbers from 0 on
    Numbers   ///< a list of any numbers
};

/// A parameter of an algorithm, by name.
struct TZM_EXPORT ParameterInfo {
    std::string name; ///< as in a chain document: that of the field
    ValueType type;
    std::vector<std::string> words; ///< of a Word, its values; of Widths, its members
    std::string unit;               ///< "sample", "m", "ns", "dB"; none if empty
    double low;                     ///< smallest value that makes sense; the algorithm itself may take more
    double high;                    ///< largest value that makes sense
    std::string meaning;            ///< a few words
    Json::Value defaultValue;

    std::function<Json::Value(const AlgoBase&)> get;        ///< of an object that the row has made
    std::function<bool(AlgoBase&, const Json::Value&)> set; ///< false, with nothing changed, for another type
    /// What a recording tells of it, null if it doesn't; empty if no recording tells it.
    std::function<Json::Value(const Recording&)> told;

    std::string TypeText() const; ///< what a value must be: "a whole number", "one of a, b"
};

/// A key that an algorithm reads from the configuration document.
struct TZM_EXPORT Key : JsonKeyInfo {
    const char* TypeName() const;
    bool Takes(const Json::Value& value) const; ///< an algorithm skips a value of another JSON type
    std::string FullName() const;               ///< with the objects in which it stands
    std::string Limits() const;                 ///< "14 to 32", or nothing

    std::string remark; ///< limits that the algorithm applies later, when it runs
};

/// How much of a block an algorithm must see at once to work on a part of it.
struct TZM_EXPORT Coupling {
    enum Scope {
        Ascan,      ///< an A-scan at a time
        Bscan,      ///< a B-scan
        Lane,       ///< the B-scans of one lane, a group of as many as there are channels
        Neighbours, ///< a B-scan and `neighbours` on each side of it
        Block       ///< all of it
    };
    Scope scope = Ascan;
    int neighbours = 0;           ///< kAsFarAsItReaches of one whose reach hangs on the length of the A-scans
    bool throughFindings = false; ///< of a Block: only through what Look finds in its parts

    static constexpr int kAsFarAsItReaches = std::numeric_limits<int>::max();

    std::string Text() const; ///< "one B-scan", "the B-scans of a lane"
};

/// An algorithm of the library: all that a front end needs to know of it.
struct TZM_EXPORT AlgorithmInfo {
    std::string name; ///< in chain documents, and of its section in the configuration document
    std::string summary;
    std::string page; ///< of its manual, without folder and extension: "fk-migration"
    double cost;      ///< rough time per sample, relative to the other algorithms
    std::vector<ParameterInfo> parameters;
    std::vector<Key> keys;
    bool setsTimeZero = false;  ///< moves time zero to sample 0
    bool findsTimeZero = false; ///< finds it itself
    bool migrates = false;      ///< moves energy to its reflectors; drops the samples ahead of time zero
    bool tellsChannels = false; ///< refuses a number of B-scans that neither 5 nor 7 divides
    bool fillsGaps = false;     ///< what it gives stands everywhere, where A-scans aren't valid, too
    int mostSamples = std::numeric_limits<int>::max(); ///< per A-scan that it takes

    std::function<std::unique_ptr<AlgoBase>()> make; ///< a new object with its defaults
    /// What it makes of the sizes, intervals and places of a block, of which it gets all but the samples; empty if it
    /// keeps them, but for samples that it drops ahead of time zero, and A-scans and B-scans that it counts otherwise.
    std::function<void(const AlgoBase&, Recording&)> regrids;
    /// What it couples with the parameters that an object has, in A-scans that last so many seconds; the configuration
    /// document counts, too.
    std::function<Coupling(const AlgoBase&, double duration)> coupling;

    const ParameterInfo* Find(const std::string& parameter) const; ///< null if it has none of that name
    /// Shape of what it gives for a block, with the parameters that an object has.
    ImageProps OutputProps(const AlgoBase& algorithm, const ImageProps& props) const {
        return algorithm.GetAdjustedImageDimensions(props);
    }
};

/// Every algorithm that a chain may name, in the order in which a chain would use them.
TZM_EXPORT const std::vector<AlgorithmInfo>& Algorithms();

/// The algorithm of that name; null if there is none.
TZM_EXPORT const AlgorithmInfo* FindAlgorithm(const std::string& name);

/// Lines that tell which keys of a configuration document the algorithms will skip: those of another JSON type, and
/// those that aren't known in the section of an algorithm.
TZM_EXPORT std::vector<std::string> SkippedKeys(const Json::Value& configuration);

} // namespace TZM

#pragma once

#include "Pipeline.h"

#include "Framework/JsonKeyInfo.h"

#include <json/value.h>

#include <functional>
#include <string>
#include <vector>

namespace tzmchain {

/// A parameter of one algorithm object.
struct Parameter {
    std::string name;
    std::string type; ///< what a value must be: "a whole number", "a number", "true or false", "text"
    std::function<Json::Value()> get;
    std::function<bool(const Json::Value&)> set; ///< false, with nothing changed, for a value of another type or range
};

/// A key that an algorithm reads from the configuration document.
struct Key : TZM::JsonKeyInfo {
    const char* TypeName() const;
    bool Takes(const Json::Value& value) const; ///< an algorithm skips a value of another JSON type
    std::string FullName() const;               ///< with the objects in which it stands
    std::string Limits() const;                 ///< "14 to 32", or nothing

    std::string remark; ///< limits that the algorithm applies later, when it runs
};

/// An algorithm of the library as a chain document names it.
struct AlgorithmRow {
    std::string name;
    std::string summary;
    double cost; ///< rough time per sample, relative to the other rows
    std::vector<Key> keys;
    bool findsTimeZero; ///< moves time zero to sample 0
    bool migrates;      ///< drops the samples ahead of time zero
    std::function<vtkSmartPointer<AlgorithmFilter>()> make;
    std::function<std::vector<Parameter>(AlgorithmFilter&)> parameters;
};

/// Every algorithm that a chain may name, in the order in which a chain would use them.
const std::vector<AlgorithmRow>& Algorithms();

/// The row of that name; null if there is none.
const AlgorithmRow* FindRow(const std::string& name);

} // namespace tzmchain

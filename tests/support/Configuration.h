#pragma once

#include <string>

#include "Framework/AlgoBase.h"

/// Sets the configuration document for the life of the object; behind it the document has no keys.
struct Configuration {
    explicit Configuration(const std::string& text) { TZM::AlgoBase::SetConfigString(text); }
    ~Configuration() { TZM::AlgoBase::SetConfigString("{}"); }
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;
};

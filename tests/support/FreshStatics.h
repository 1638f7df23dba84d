#pragma once

#include <algorithm>
#include <deque>
#include <string>

#include "Framework/AlgoBase.h"
#include "Framework/Logger.h"

namespace TZM {

/// As long as it lives, a captured log; at its begin and end, no documents, default settings and no errors.
class FreshStatics : AlgoBase {
public:
    explicit FreshStatics(const std::string& document = "") {
        Reset();
        Configure(document);
    }
    ~FreshStatics() override {
        Reset();
        Logger::SetSink(before);
    }
    FreshStatics(const FreshStatics&) = delete;
    FreshStatics& operator=(const FreshStatics&) = delete;

    /// Makes the text, with ' for ", the configuration document, whether it parses or not.
    static void Configure(const std::string& document) {
        jsonConfig = document;
        std::replace(jsonConfig.begin(), jsonConfig.end(), '\'', '"');
    }
    /// The parameters of an algorithm that has read such a document.
    template <class Algorithm>
    static const auto& Parsed(Algorithm& algorithm, const std::string& document) {
        Configure(document);
        algorithm.ParseParamsFromJsonConfig();
        return algorithm.GetParams();
    }
    static const std::deque<std::string>& Errors() { return Logger::GetInstance()->GetErrorList(); }
    /// What has been written to the log.
    const std::string& Log() const { return lines; }

private:
    static void Reset() {
        jsonConfig.clear();
        jsonCalibration.clear();
        globalSettings = {};
        Logger::GetInstance()->ClearErrorList();
    }
    std::string lines;
    const Logger::Sink before = Logger::SetSink([this](const std::string& line) { lines += line; });
};

} // namespace TZM

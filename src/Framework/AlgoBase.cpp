#include "Framework/AlgoBase.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "Framework/private/JsonDocument.h"
#include "Framework/private/RegionLog.h"

namespace TZM {

AlgoGlobalSettings AlgoBase::globalSettings;
std::string AlgoBase::jsonConfig;
std::string AlgoBase::jsonCalibration;
const std::string AlgoBase::jObjNameGlobal = "Global";
const std::string AlgoBase::jPrmNameTimeZero = "TimeZero";
const std::string AlgoBase::jPrmNamePermittivity = "Permittivity";
const std::string AlgoBase::jPrmNameOverlays = "Overlays";

namespace {

/// A headline and the reader's messages below it, as an entry of the error list.
std::string ParseFailure(const std::string& headline, const std::string& errors) {
    std::ostringstream text;
    text << headline << '\n' << errors << '\n';
    return text.str();
}

/// True if text parses; if it doesn't, the failure is logged under the headline.
bool Parses(const std::string& text, const std::string& headline) {
    Json::Value root;
    std::string errors;
    if (ReadJson(text, root, &errors)) return true;
    LogErrorFromRegion(ParseFailure(headline, errors));
    return false;
}

bool SetDocument(std::string& document, const std::string& text, const char* headline) {
    try {
        if (text.empty() || !Parses(text, headline)) return false;
        document = text;
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace

AlgoBase::~AlgoBase() = default;

void AlgoBase::Execute(const float*, const ImageProps&, float*, const ImageProps&) const {}

ImageProps AlgoBase::GetAdjustedImageDimensions(const ImageProps& props) const { return props; }

void AlgoBase::ParseParamsFromJsonConfig() {}

const std::string& AlgoBase::GetConfigString() { return jsonConfig; }

const std::string& AlgoBase::GetCalibrationString() { return jsonCalibration; }

AlgoGlobalSettings& AlgoBase::GetGlobalSettings() { return globalSettings; }

bool AlgoBase::SetConfigString(const std::string& text) {
    return SetDocument(jsonConfig, text, "Failed to parse config string:");
}

bool AlgoBase::SetCalibrationString(const std::string& text) {
    return SetDocument(jsonCalibration, text, "Failed to parse calibration string:");
}

bool AlgoBase::LoadConfigFile(const std::string& fileName) {
    try {
        const std::string& path = fileName.empty() ? "kernel.cfg" : fileName;
        std::ifstream file(path, std::ios::binary);
        if (!file) return false;
        std::getline(file, jsonConfig, '\0');
        if (!file) jsonConfig.clear(); // nothing there, or an error halfway
        const bool read = !file.fail();
        file.close();
        return read && Parses(jsonConfig, "Failed to parse config file (" + path + "):");
    } catch (...) {
        return false;
    }
}

bool AlgoBase::ParseActiveOverlays(std::string overlaysJson, std::vector<Overlay>& overlays) const {
    overlays.clear();
    if (overlaysJson.empty()) return true;
    std::string message;
    try {
        Json::Value root;
        std::string errors;
        if (!ReadJson(overlaysJson, root, &errors)) {
            message = ParseFailure("AlgoBase::ParseOverlays: Failed to parse JSON overlay string:", errors);
        } else if (root.type() != Json::arrayValue && root.type() != Json::nullValue) {
            message = "AlgoBase::ParseOverlays: Invalid JSON overlay format!";
        } else {
            for (const Json::Value& layer : root) {
                const Json::Value* enabled = FindValue(layer, "Enabled");
                if (enabled && enabled->type() == Json::booleanValue && !enabled->asBool()) continue;
                overlays.push_back({AsString(FindValue(layer, "Name")),
                                    static_cast<float>(AsDouble(FindValue(layer, "Thickness"))),
                                    static_cast<float>(AsDouble(FindValue(layer, "Permittivity")))});
            }
        }
    } catch (const std::runtime_error& failure) {
        message = std::string("AlgoBase::ParseOverlays: JSON Exception - ") + failure.what();
    }
    if (message.empty()) return true;
    LogErrorFromRegion(message);
    return false;
}

} // namespace TZM

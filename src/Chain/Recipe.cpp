#include "Chain/Recipe.h"

#include <json/version.h>

#include <ctime>

#include "Framework/private/JsonDocument.h"

namespace TZM {

namespace {

std::string UtcNow() {
    const std::time_t now = std::time(nullptr);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    return text;
}

Json::Value SizeList(const Dimensions& size) {
    Json::Value list(Json::arrayValue);
    for (const int n : {size.samples, size.ascans, size.bscans}) list.append(n);
    return list;
}

/// Sizes and places of a block, in the words of a sidecar.
Json::Value Describe(const Recording& recording) {
    Json::Value block;
    block["samples"] = recording.size.samples;
    block["ascans"] = recording.size.ascans;
    block["bscans"] = recording.size.bscans;
    block["delta_t"] = recording.deltaT;
    block["delta_x"] = recording.deltaX;
    block["start_time"] = recording.FirstTime();
    if (recording.lineSpacing) block["line_spacing"] = *recording.lineSpacing;
    if (recording.timeZero) block["time_zero_sample"] = *recording.timeZero;
    if (recording.datum) block["datum"] = *recording.datum;
    if (recording.permittivity) block["permittivity"] = *recording.permittivity;
    if (recording.antennaOffset) block["antenna_offset"] = *recording.antennaOffset;
    return block;
}

} // namespace

Json::Value RecipeOf(const Chain& chain, const Recording& input, const RunResult& result,
                     const std::vector<std::string>& warnings) {
    Json::Value root;
    root["program"] = "tzmchain";
    root["created"] = UtcNow();
    root["versions"]["tzmchain"] = TZM_VERSION;
    root["versions"]["jsoncpp"] = JSONCPP_VERSION_STRING;
    root["input"] = Describe(input);
    root["input"]["file"] = input.file.filename().string();
    root["input"]["format"] = input.format;
    root["input"]["sha256"] = input.checksum;
    for (const std::string& note : input.notes) root["input"]["notes"].append(note);
    for (const std::string& warning : warnings) root["warnings"].append(warning);

    root["chain"] = chain.Document();
    for (const StepReport& report : result.steps) {
        Json::Value step;
        step["algorithm"] = report.algorithm;
        step["input"] = SizeList(report.input);
        step["output"] = SizeList(report.output);
        step["seconds"] = report.seconds;
        for (const int shift : report.shifts) step["shifts"].append(shift);
        for (const std::string& note : report.notes) step["notes"].append(note);
        root["steps"].append(step);
    }
    root["documents"]["configuration"] = AlgoBase::GetConfigString();
    root["documents"]["calibration"] = AlgoBase::GetCalibrationString();

    root["image"] = Describe(result.image);
    root["image"]["min"] = result.lowest;
    root["image"]["max"] = result.highest;
    return root;
}

std::optional<RunDocuments> DocumentsOf(const Json::Value& recipe) {
    if (!recipe.isObject() || recipe["program"] != "tzmchain" || !recipe["documents"].isObject()) return std::nullopt;
    RunDocuments documents;
    for (const auto& [name, text] :
         {std::pair("configuration", &documents.configuration), std::pair("calibration", &documents.calibration)}) {
        const Json::Value& told = recipe["documents"][name];
        if (told.isString()) *text = told.asString();
        Json::Value parsed;
        if (!(told.isNull() || told.isString()) || (!text->empty() && !ParseJsonDocument(*text, parsed)))
            throw ChainError(std::string("the recipe's ") + name + " isn't a document");
    }
    return documents;
}

} // namespace TZM

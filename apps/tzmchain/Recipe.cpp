#include "Recipe.h"

#include "Text.h"

#include <cairo.h>
#include <json/version.h>
#include <vtkVersion.h>

#include <ctime>

namespace tzmchain {

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
    block["start_time"] = recording.startTime;
    if (recording.lineSpacing) block["line_spacing"] = *recording.lineSpacing;
    if (recording.timeZero) block["time_zero_sample"] = *recording.timeZero;
    if (recording.permittivity) block["permittivity"] = *recording.permittivity;
    if (recording.antennaOffset) block["antenna_offset"] = *recording.antennaOffset;
    return block;
}

} // namespace

std::string RecipeText(const Recipe& recipe, const Chain& chain) {
    Json::Value root;
    root["program"] = "tzmchain";
    root["created"] = UtcNow();
    root["versions"]["tzmchain"] = TZM_VERSION;
    root["versions"]["vtk"] = vtkVersion::GetVTKVersion();
    root["versions"]["jsoncpp"] = JSONCPP_VERSION_STRING;
    root["versions"]["cairo"] = cairo_version_string();
    root["threads"] = recipe.threads;
    root["peak_memory_bytes"] = Json::Int64{recipe.peakBytes};

    root["input"] = Describe(recipe.input);
    root["input"]["file"] = recipe.input.file.filename().string();
    root["input"]["sha256"] = recipe.input.checksum;
    root["bscans_handed_to_chain"] = chain.reports.empty() ? 0 : chain.reports.front().input.bscans;
    if (recipe.input.size.bscans == 1)
        root["note"] =
            "The single line was handed to the chain as five equal B-scans; image and pictures keep the first.";

    root["chain"] = chain.Document();
    for (const StepReport& report : chain.reports) {
        Json::Value step;
        step["algorithm"] = report.algorithm;
        step["input"] = SizeList(report.input);
        step["output"] = SizeList(report.output);
        step["seconds"] = report.seconds;
        for (const int shift : report.shifts) step["shifts"].append(shift);
        root["steps"].append(step);
    }
    for (const auto& [task, seconds] : recipe.seconds) root["seconds"][task] = seconds;
    root["documents"]["configuration"] = recipe.configuration;
    root["documents"]["calibration"] = recipe.calibration;

    root["image"] = Describe(recipe.image);
    root["image"]["min"] = recipe.imageRange.first;
    root["image"]["max"] = recipe.imageRange.second;
    for (const std::string& name : recipe.outputs) root["outputs"].append(name);
    return JsonText(root);
}

} // namespace tzmchain

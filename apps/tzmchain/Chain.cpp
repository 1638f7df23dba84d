#include "Chain.h"

#include "Progress.h"
#include "Refusal.h"
#include "Text.h"

#include <vtkExtractVOI.h>
#include <vtkImageData.h>
#include <vtkIntArray.h>

#include <algorithm>
#include <initializer_list>
#include <limits>

namespace tzmchain {

Step::Step(const AlgorithmRow& kind) : row(&kind), filter(kind.make()), parameters(kind.parameters(*filter)) {}

Parameter* Step::Find(const std::string& parameterName) {
    for (Parameter& parameter : parameters)
        if (parameter.name == parameterName) return &parameter;
    return nullptr;
}

namespace {

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

/// The chain of these algorithms, and of a background removal ahead of the migration if one is wanted.
Chain Of(std::initializer_list<const char*> preparation, const ChainChoice& choice, const std::string& ownBackground) {
    const std::string background = choice.background.value_or(ownBackground);
    Chain chain;
    const auto add = [&chain](const std::string& name) { chain.steps.emplace_back(*FindRow(name)); };
    for (const char* name : preparation) add(name);
    if (background != "none") add("BgRemoval");
    add(choice.migration);
    for (const char* name : {"Mig2Post", "DepthGaining", "NormalizationCscan"}) add(name);
    const auto set = [&chain](const char* parameter, const Json::Value& value) {
        for (Step& step : chain.steps)
            if (Parameter* found = step.Find(parameter)) found->set(value);
    };
    set("algorithm", background);
    set("Apex", -1); // four times the gain at the last sample
    set("End", -1);
    set("ApexGain", 4.0);
    return chain;
}

} // namespace

Chain Chain::Standard(const ChainChoice& choice) { return Of({"OffsetRemoval"}, choice, "none"); }

// Offsets go first, since the detection compares counts with a threshold. Levels come ahead of the bistatic correction:
// that crushes the direct wave of the bistatic channels, so that behind it the energy of traces with a direct wave
// would be compared with that of traces without. Only the surface is taken out for background: a median would take bars
// along the scan with it.
Chain Chain::StandardFor(const Recording& recording, const ChainChoice& choice) {
    const int bscans = recording.size.bscans;
    if (bscans % 5 != 0 && bscans % 7 != 0) return Standard(choice);
    if (recording.oneAntennaPair) return Of({"OffsetRemoval", "TimeZeroDetection"}, choice, "none");
    return Of({"OffsetRemoval", "TimeZeroDetection", "EnergyCorrection", "BistaticCorrection"}, choice, "surface");
}

Chain Chain::FromDocument(const Json::Value& document, const std::string& name) {
    const auto refuse = [&name](const std::string& text) { throw Refusal(name + ": " + text); };
    if (!document.isObject() || !document["chain"].isArray() || document["chain"].empty())
        refuse("needs a member \"chain\", a list of algorithms");
    for (const std::string& member : document.getMemberNames())
        if (member != "chain" && document["program"] != "tzmchain") refuse("unknown member \"" + member + "\"");

    Chain chain;
    for (const Json::Value& entry : document["chain"]) {
        if (!entry.isObject() || !entry["algorithm"].isString())
            refuse("every step of the chain needs a member \"algorithm\", the name of one");
        const std::string algorithm = OneLine(entry["algorithm"].asString());
        for (const std::string& member : entry.getMemberNames())
            if (member != "algorithm" && member != "parameters")
                refuse(algorithm + ": unknown member \"" + member + "\"");
        const AlgorithmRow* row = FindRow(algorithm);
        if (!row) {
            std::vector<std::string> known;
            for (const AlgorithmRow& other : Algorithms()) known.push_back(other.name);
            refuse("unknown algorithm \"" + algorithm + "\"; known are " + Joined(known));
        }
        Step step(*row);
        const Json::Value& parameters = entry["parameters"];
        if (!parameters.isNull() && !parameters.isObject()) refuse(algorithm + ": \"parameters\" must be an object");
        for (const std::string& member : parameters.getMemberNames()) {
            Parameter* parameter = step.Find(member);
            if (!parameter) {
                std::vector<std::string> known;
                for (const Parameter& other : step.parameters) known.push_back(other.name);
                refuse(algorithm + ": unknown parameter \"" + OneLine(member) + "\"; known are " + Joined(known));
            }
            if (!parameter->set(parameters[member]))
                refuse(algorithm + ": parameter \"" + member + "\" must be " + parameter->type);
            step.given.insert(member);
        }
        chain.steps.push_back(std::move(step));
    }
    return chain;
}

void Chain::Set(const std::string& parameter, const Json::Value& value, bool overrule) {
    for (Step& step : steps) {
        Parameter* found = step.Find(parameter);
        if (!found || (!overrule && step.given.count(parameter))) continue;
        if (!found->set(value)) throw Refusal(step.row->name + ": \"" + parameter + "\" must be " + found->type);
        step.given.insert(parameter);
    }
}

void Chain::BeginAtDetectedTimeZero() {
    bool detected = false;
    for (Step& step : steps) {
        Parameter* timeZero = step.Find("timeZero");
        if (detected && timeZero && step.given.insert("timeZero").second) timeZero->set(0);
        detected = detected || step.row->findsTimeZero;
    }
}

void Chain::ReadConfiguration() {
    for (Step& step : steps) {
        std::vector<Json::Value> before;
        for (const Parameter& parameter : step.parameters) before.push_back(parameter.get());
        step.filter->Algorithm().ParseParamsFromJsonConfig();
        for (std::size_t i = 0; i < before.size(); ++i)
            if (step.parameters[i].get() != before[i]) step.given.insert(step.parameters[i].name);
    }
}

Chain::Use Chain::Find(const std::string& parameter) const {
    Use use{Json::Value(), false};
    for (const Step& step : steps) {
        if (step.row->findsTimeZero && parameter == "timeZero") break;
        for (const Parameter& found : step.parameters)
            if (found.name == parameter) use = {found.get(), step.given.count(parameter) != 0};
    }
    return use;
}

namespace {

/// Cuts a block down to its first samples and B-scans.
vtkSmartPointer<vtkImageAlgorithm> CropOf(vtkAlgorithmOutput* port, const Dimensions& size) {
    const auto crop = vtkSmartPointer<vtkExtractVOI>::New();
    crop->SetInputConnection(port);
    crop->SetVOI(0, size.samples - 1, 0, size.ascans - 1, 0, size.bscans - 1);
    return crop;
}

/// Every A-scan is valid.
void SetValidRanges(AlgorithmFilter& filter, const Dimensions& size) {
    for (const auto& [array, value] :
         {std::pair(filter.GetBscanInfoFirstValidIdx(), 0), std::pair(filter.GetBscanInfoValidLen(), size.ascans)}) {
        array->SetNumberOfValues(size.bscans);
        array->Fill(value);
    }
}

std::string TextOf(const StepReport& report) {
    const auto [low, high] = std::minmax_element(report.shifts.begin(), report.shifts.end());
    return "note: time zero was found at " +
           (*low == *high ? "sample " + std::to_string(*low)
                          : "samples " + std::to_string(*low) + " to " + std::to_string(*high)) +
           "; " + std::to_string(report.output.samples) + " samples are left";
}

} // namespace

Recording Chain::Run(RecordingReader* reader, const Recording& recording, Progress& progress, const Observer& observe) {
    vtkTZMSimpleImageToImageFilter::GetOptions().SetDelta_t(static_cast<float>(recording.deltaT));
    vtkTZMSimpleImageToImageFilter::GetOptions().SetDelta_x(static_cast<float>(recording.deltaX));
    reports.clear();
    parts = {reader};
    const auto connect = [this](const vtkSmartPointer<vtkImageAlgorithm>& part) {
        part->SetInputConnection(Output());
        part->ReleaseDataFlagOff();
        part->Modified(); // parameters aren't told to VTK
        parts.back()->ReleaseDataFlagOn();
        parts.push_back(part);
    };

    Recording block = recording;
    for (Step& step : steps) {
        block = RecordingOf(parts.back()->GetOutput(), block);
        const Dimensions before = block.size;
        if (observe) observe(step, block);
        block.data.reset();
        const TZM::ImageProps adjusted =
            step.filter->Algorithm().GetAdjustedImageDimensions({before.samples, before.ascans, before.bscans});
        const Dimensions after{adjusted.samplesPerAscan, adjusted.ascansPerBscan, adjusted.bscanCount};
        SetValidRanges(*step.filter, before);
        connect(step.filter);
        StepReport report{step.row->name, before, after, 0, {}};
        report.seconds = progress.Do(step.row->name, before.Text() + " to " + after.Text(), [&] {
            Update(step.filter, step.row->name, progress);
            report.shifts = step.filter->Shifts();
            report.output.samples = step.filter->UsableSamples();
            if (report.output.samples < 1) throw Refusal(step.row->name + " leaves no samples");
            if (report.output == after) return;
            connect(CropOf(Output(), report.output));
            Update(parts.back(), step.row->name, progress);
        });
        if (!report.shifts.empty())
            progress.Note(TextOf(report) + (block.timeZero && step.row->findsTimeZero
                                                ? "; the recording says sample " + std::to_string(*block.timeZero)
                                                : ""));
        if (step.row->findsTimeZero || step.row->migrates) block.timeZero = 0;
        reports.push_back(report);
    }
    if (recording.size.bscans == 1) {
        Dimensions first = reports.back().output;
        first.bscans = 1;
        connect(CropOf(Output(), first));
        Update(parts.back(), "", progress);
    }
    block = RecordingOf(parts.back()->GetOutput(), block);
    RequireFinite(block, "the image");
    return block;
}

Json::Value Chain::Document() const {
    Json::Value list(Json::arrayValue);
    for (const Step& step : steps) {
        Json::Value entry;
        entry["algorithm"] = step.row->name;
        entry["parameters"] = Json::Value(Json::objectValue);
        for (const Parameter& parameter : step.parameters) entry["parameters"][parameter.name] = parameter.get();
        list.append(entry);
    }
    return list;
}

std::vector<std::string> SkippedKeys(const Json::Value& configuration) {
    std::map<std::string, const Key*> known; // by full name
    std::set<std::string> objects;           // in which keys stand
    for (const AlgorithmRow& row : Algorithms()) {
        objects.insert(row.name);
        for (const Key& key : row.keys) {
            known[key.FullName()] = &key;
            for (auto dot = key.path.find('.'); dot != std::string::npos; dot = key.path.find('.', dot + 1))
                objects.insert(key.path.substr(0, dot));
            objects.insert(key.path);
        }
    }
    std::vector<std::string> lines;
    const std::function<void(const Json::Value&, const std::string&)> walk = [&](const Json::Value& object,
                                                                                 const std::string& path) {
        if (!object.isObject()) return;
        for (const std::string& member : object.getMemberNames()) {
            const std::string name = path.empty() ? member : path + "." + member;
            const auto key = known.find(name);
            if (objects.count(name))
                walk(object[member], name);
            else if (key == known.end()) {
                // The rest of the document may be meant for others.
                if (!path.empty() && path != "Global")
                    lines.push_back(name + " is no key of the algorithm and is skipped");
            } else if (!key->second->Takes(object[member])) {
                lines.push_back(name + " is skipped: it must be written like " + key->second->defaultValue);
            }
        }
    };
    walk(configuration, "");
    return lines;
}

} // namespace tzmchain

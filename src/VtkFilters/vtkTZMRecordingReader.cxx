#include "VtkFilters/vtkTZMRecordingReader.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <vector>

#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationVector.h>
#include <vtkObjectFactory.h>
#include <vtkStreamingDemandDrivenPipeline.h>

#include "Formats/Formats.h"
#include "Recording/Format.h"
#include "Recording/Survey.h"
#include "Recording/private/Text.h"
#include "VtkFilters/private/RecordingImage.h"
#include "VtkFilters/private/SlabRun.h"

using Pipeline = vtkStreamingDemandDrivenPipeline;

struct vtkTZMRecordingReader::Internals {
    std::vector<std::filesystem::path> files;
    std::string first, about;
    TZM::ReadOptions options;
    std::unique_ptr<TZM::RecordingSource> source; ///< open between the requests
    vtkMTimeType opened = 0;
};

vtkStandardNewMacro(vtkTZMRecordingReader)

    vtkTZMRecordingReader::vtkTZMRecordingReader()
    : Inner(std::make_unique<Internals>()) {
    this->SetNumberOfInputPorts(0);
}

vtkTZMRecordingReader::~vtkTZMRecordingReader() = default;

void vtkTZMRecordingReader::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->Superclass::PrintSelf(os, indent);
    for (const auto& file : this->Inner->files) os << indent << "FileName: " << file.string() << "\n";
    os << indent << "DeltaX: " << this->DeltaX << "\n";
    os << indent << "Resample: " << this->Resample << "\n";
    os << indent << "Component: " << this->Inner->options.component << "\n";
}

void vtkTZMRecordingReader::SetFileName(const char* name) {
    std::vector<std::filesystem::path> files;
    if (name && *name) files.emplace_back(name);
    if (files == this->Inner->files) return;
    this->Inner->files = std::move(files);
    this->Modified();
}

const char* vtkTZMRecordingReader::GetFileName() {
    if (this->Inner->files.empty()) return nullptr;
    this->Inner->first = this->Inner->files.front().string();
    return this->Inner->first.c_str();
}

void vtkTZMRecordingReader::AddFileName(const char* name) {
    if (!name || !*name) return;
    this->Inner->files.emplace_back(name);
    this->Modified();
}

void vtkTZMRecordingReader::RemoveAllFileNames() { this->SetFileName(nullptr); }

int vtkTZMRecordingReader::GetNumberOfFileNames() { return static_cast<int>(this->Inner->files.size()); }

int vtkTZMRecordingReader::CanReadFile(const char* name) {
    try {
        return name && TZM::OpenSurvey({name}) ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

const char* vtkTZMRecordingReader::GetFileExtensions() {
    static const std::string extensions = [] {
        std::vector<std::string> all;
        for (const TZM::Format& format : TZM::Formats())
            for (const std::string& extension : format.extensions)
                if (std::find(all.begin(), all.end(), extension) == all.end()) all.push_back(extension);
        std::string text;
        for (const std::string& extension : all) text += (text.empty() ? "" : " ") + extension;
        return text;
    }();
    return extensions.c_str();
}

void vtkTZMRecordingReader::SetDeltaX(double metres) {
    if (metres == this->DeltaX) return;
    this->DeltaX = metres;
    this->Modified();
}

void vtkTZMRecordingReader::SetResample(bool resample) {
    if (resample == this->Resample) return;
    this->Resample = resample;
    this->Modified();
}

void vtkTZMRecordingReader::SetComponent(const char* component) {
    const std::string wanted = component ? component : "";
    if (wanted == this->Inner->options.component) return;
    this->Inner->options.component = wanted;
    this->Modified();
}

const char* vtkTZMRecordingReader::GetComponent() { return this->Inner->options.component.c_str(); }

const char* vtkTZMRecordingReader::GetAbout() {
    this->UpdateInformation();
    if (!this->Inner->source) return nullptr;
    const TZM::Recording& recording = this->Inner->source->About();
    Json::Value about;
    about["format"] = recording.format;
    about["samples"] = recording.size.samples;
    about["ascans"] = recording.size.ascans;
    about["bscans"] = recording.size.bscans;
    about["delta_t"] = recording.deltaT;
    about["delta_x"] = recording.deltaX;
    if (recording.timeZero) about["time_zero"] = *recording.timeZero;
    if (recording.permittivity) about["permittivity"] = *recording.permittivity;
    about["channels"] = about["notes"] = Json::Value(Json::arrayValue);
    for (const std::string& channel : recording.channels) about["channels"].append(TZM::Utf8(channel));
    for (const std::string& note : recording.notes) about["notes"].append(TZM::Utf8(note));
    this->Inner->about = TZM::JsonText(about);
    return this->Inner->about.c_str();
}

int vtkTZMRecordingReader::RequestInformation(vtkInformation*, vtkInformationVector**,
                                              vtkInformationVector* outputVector) {
    Internals& inner = *this->Inner;
    try {
        if (!inner.source || inner.opened != this->GetMTime()) {
            inner.source.reset();
            if (inner.files.empty()) throw TZM::FormatError("no file is named");
            inner.options.resample = this->Resample;
            inner.options.deltaX = this->DeltaX > 0 ? std::optional(this->DeltaX) : std::nullopt;
            inner.source = TZM::OpenSurvey(inner.files, inner.options);
            inner.opened = this->GetMTime();
        }
        TZM::Tell(outputVector->GetInformationObject(0), inner.source->About(), nullptr);
        return 1;
    } catch (const std::bad_alloc&) {
        vtkErrorMacro("there isn't enough memory to open " << (this->GetFileName() ? this->GetFileName() : "a file"));
    } catch (const std::exception& error) {
        vtkErrorMacro(<< error.what());
    }
    vtkImageData::GetData(outputVector)->Initialize();
    return 0;
}

int vtkTZMRecordingReader::RequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector* outputVector) {
    vtkInformation* outInfo = outputVector->GetInformationObject(0);
    vtkImageData* output = vtkImageData::GetData(outInfo);
    try {
        int extent[6];
        outInfo->Get(Pipeline::UPDATE_EXTENT(), extent);
        if (extent[0] > extent[1] || extent[2] > extent[3] || extent[4] > extent[5]) {
            output->Initialize();
            return 1;
        }
        const TZM::Recording& about = this->Inner->source->About();
        const TZM::Slab slab{std::max(0, extent[4]), std::min(about.size.bscans, extent[5] + 1)};
        TZM::Recording lines = TZM::PartOf(about, slab);
        lines.data = TZM::AllocateSamples(lines.size.Count());
        this->Inner->source->Read(slab.begin, slab.Count(), lines.data.get());
        TZM::Fill(output, outInfo, lines, slab.begin, about.validRanges);
        return 1;
    } catch (const std::bad_alloc&) {
        vtkErrorMacro("there isn't enough memory for the samples of " << this->GetFileName());
    } catch (const std::exception& error) {
        vtkErrorMacro(<< error.what());
    }
    output->Initialize();
    return 0;
}

namespace {

/// Forms that the linker would drop with the libraries that hold them.
const bool known = (TZM::RegisterInstrumentFormats(), true);

} // namespace

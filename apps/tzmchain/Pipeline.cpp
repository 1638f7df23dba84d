#include "Pipeline.h"

#include "Progress.h"
#include "Refusal.h"

#include "Framework/CalcError.h"

#include <vtkCommand.h>
#include <vtkExecutive.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationVector.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkPointData.h>
#include <vtkStreamingDemandDrivenPipeline.h>
#include <vtkXMLImageDataWriter.h>

#include <algorithm>
#include <new>

namespace tzmchain {

namespace {

using Executive = vtkStreamingDemandDrivenPipeline;

constexpr double kNanosecond = 1e-9;

/// An array over samples, which it keeps alive.
class SampleArray : public vtkFloatArray {
public:
    static SampleArray* New();
    vtkTypeMacro(SampleArray, vtkFloatArray)

    void Hold(const Samples& samples, std::int64_t count) {
        held = samples;
        this->SetName("amplitude");
        this->SetArray(samples.get(), count, 1); // 1: VTK doesn't free it
    }

private:
    Samples held;
};

vtkStandardNewMacro(SampleArray)

    TZM::ImageProps PropsOf(const int extent[6]) {
    return {extent[1] - extent[0] + 1, extent[3] - extent[2] + 1, extent[5] - extent[4] + 1};
}

Dimensions SizeOf(const TZM::ImageProps& props) {
    return {props.samplesPerAscan, props.ascansPerBscan, props.bscanCount};
}

void SetGeometry(vtkInformation* info, const Dimensions& size, const double spacing[3], const double origin[3]) {
    const int extent[6] = {0, size.samples - 1, 0, size.ascans - 1, 0, size.bscans - 1};
    info->Set(Executive::WHOLE_EXTENT(), extent, 6);
    info->Set(vtkDataObject::SPACING(), spacing, 3);
    info->Set(vtkDataObject::ORIGIN(), origin, 3);
    vtkDataObject::SetPointDataActiveScalarInfo(info, VTK_FLOAT, 1);
}

struct Geometry {
    explicit Geometry(const Recording& recording)
        : spacing{recording.deltaT / kNanosecond, recording.deltaX, recording.lineSpacing.value_or(1)},
          origin{recording.startTime / kNanosecond, recording.startX, 0} {}
    double spacing[3], origin[3];
};

/// What a failure of an algorithm means to the user.
std::string Explain(const TZM::Exception::CalcError& error, const Dimensions& size) {
    const std::string code = " (code " + std::to_string(error.GetCode()) + ": " + error.GetMessage() + ")";
    if (error.GetCode() == -10) return "needs a permittivity above 0" + code;
    if (error.GetCode() == -11)
        return "refuses " + std::to_string(size.bscans) + " B-scans, since neither 5 nor 7 channels divide them" + code;
    if (error.GetMessage() == std::string("IPP::Exception::ippsHilbert_outOfRange32f") && size.samples > 1024)
        return "takes A-scans of up to 1024 samples, and these have " + std::to_string(size.samples) + code;
    return "can't work on " + size.Text() + " samples" + code;
}

/// Samples by which the detection moved each B-scan, whose A-scans stand in the result from there on. The algorithm
/// tells only the largest of them.
std::vector<int> FindShifts(const float* before, const float* after, const Dimensions& size) {
    const std::int64_t samples = size.samples, length = samples * size.ascans;
    const auto moved = [&](std::int64_t bscan, std::int64_t shift) {
        const float *in = before + bscan * length, *out = after + bscan * length;
        for (std::int64_t i = 0; i < length; i += samples)
            if (!std::equal(in + i + shift, in + i + samples, out + i)) return false;
        return true;
    };
    std::vector<int> shifts;
    for (int z = 0; z < size.bscans; ++z) {
        int shift = 0;
        while (shift < samples && !moved(z, shift)) ++shift;
        shifts.push_back(shift < samples ? shift : 0); // values that aren't finite aren't found again
    }
    return shifts;
}

Recording Copies(const Recording& line) {
    Recording block = line;
    block.size.bscans = kCopiesOfSingleLine;
    block.data = AllocateSamples(block.size.Count());
    for (int z = 0; z < kCopiesOfSingleLine; ++z) std::copy_n(line.data.get(), line.size.Count(), block.Bscan(z));
    return block;
}

/// Does what a request asks for; what is thrown becomes an error of the algorithm, since VTK lets nothing pass.
template <class Work>
int Guarded(vtkAlgorithm* algorithm, const char* withoutMemory, const Work& work) {
    std::string failure;
    try {
        work();
        return 1;
    } catch (const std::bad_alloc&) {
        failure = withoutMemory;
    } catch (const std::exception& error) {
        failure = error.what();
    }
    vtkErrorWithObjectMacro(algorithm, << failure);
    return 0;
}

} // namespace

vtkSmartPointer<vtkImageData> ImageOf(const Recording& recording) {
    const auto image = vtkSmartPointer<vtkImageData>::New();
    const Geometry geometry(recording);
    image->SetDimensions(recording.size.samples, recording.size.ascans, recording.size.bscans);
    image->SetSpacing(geometry.spacing);
    image->SetOrigin(geometry.origin);
    const vtkNew<SampleArray> samples;
    samples->Hold(recording.data, recording.size.Count());
    image->GetPointData()->SetScalars(samples);
    return image;
}

Recording RecordingOf(vtkImageData* image, const Recording& known) {
    Recording recording = known;
    const int* size = image->GetDimensions();
    recording.size = {size[0], size[1], size[2]};
    vtkSmartPointer<vtkFloatArray> floats = vtkFloatArray::SafeDownCast(image->GetPointData()->GetScalars());
    if (!floats || floats->GetNumberOfComponents() != 1 || floats->GetNumberOfTuples() != recording.size.Count())
        throw Refusal("an image of the pipeline doesn't hold one float for each of its points");
    recording.startTime = image->GetOrigin()[0] * kNanosecond;
    recording.data = Samples(floats->GetPointer(0), [floats](float*) {}); // the array lives as long as the block
    return recording;
}

vtkStandardNewMacro(RecordingReader)

    void RecordingReader::SetRead(std::function<Recording()> function) {
    read = std::move(function);
    known = false;
    this->Modified();
}

bool RecordingReader::Read() {
    return Guarded(this, "not enough memory for a block of this size", [&] {
               Recording recording = read();
               block = recording.size.bscans == 1 ? Copies(recording) : recording;
               about = recording;
               about.data.reset();
               known = true;
           }) == 1;
}

int RecordingReader::RequestInformation(vtkInformation*, vtkInformationVector**, vtkInformationVector* outputVector) {
    if (!known && !Read()) return 0;
    Dimensions size = about.size;
    if (size.bscans == 1) size.bscans = kCopiesOfSingleLine;
    const Geometry geometry(about);
    SetGeometry(outputVector->GetInformationObject(0), size, geometry.spacing, geometry.origin);
    return 1;
}

int RecordingReader::RequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector* outputVector) {
    if (!block.data && !Read()) return 0; // what it gave before was released
    vtkImageData::GetData(outputVector)->ShallowCopy(ImageOf(block));
    block.data.reset();
    return 1;
}

int AlgorithmFilter::RequestInformation(vtkInformation*, vtkInformationVector** inputVector,
                                        vtkInformationVector* outputVector) {
    vtkInformation* input = inputVector[0]->GetInformationObject(0);
    int extent[6];
    double spacing[3] = {1, 1, 1}, origin[3] = {};
    input->Get(Executive::WHOLE_EXTENT(), extent);
    if (input->Has(vtkDataObject::SPACING())) input->Get(vtkDataObject::SPACING(), spacing);
    if (input->Has(vtkDataObject::ORIGIN())) input->Get(vtkDataObject::ORIGIN(), origin);
    const TZM::ImageProps props = PropsOf(extent);
    const int kept = this->Algorithm().GetAdjustedImageDimensions(props).samplesPerAscan;
    const int dropped = props.samplesPerAscan - kept; // at the head
    if (dropped < 0 || kept < 1) {
        vtkErrorMacro(<< "timeZero " << dropped << " isn't one of the samples 0 to " << props.samplesPerAscan - 1);
        return 0;
    }
    const bool fromTimeZero = dynamic_cast<TZM::AlgoTimeZeroDetection*>(&this->Algorithm());
    origin[0] = fromTimeZero ? 0 : origin[0] + (extent[0] + dropped) * spacing[0];
    Dimensions size = SizeOf(props);
    size.samples = kept;
    SetGeometry(outputVector->GetInformationObject(0), size, spacing, origin);
    return 1;
}

int AlgorithmFilter::RequestUpdateExtent(vtkInformation*, vtkInformationVector** inputVector, vtkInformationVector*) {
    vtkInformation* input = inputVector[0]->GetInformationObject(0);
    int extent[6];
    input->Get(Executive::WHOLE_EXTENT(), extent);
    input->Set(Executive::UPDATE_EXTENT(), extent, 6);
    return 1;
}

int AlgorithmFilter::RequestData(vtkInformation*, vtkInformationVector** inputVector,
                                 vtkInformationVector* outputVector) {
    return Guarded(this, "has not enough memory for a block of this size", [&] {
        vtkInformation* info = outputVector->GetInformationObject(0);
        vtkImageData* output = vtkImageData::GetData(info);
        Recording block;
        int extent[6];
        info->Get(Executive::WHOLE_EXTENT(), extent);
        block.size = SizeOf(PropsOf(extent));
        block.data = AllocateSamples(block.size.Count());
        output->ShallowCopy(ImageOf(block));
        output->SetSpacing(info->Get(vtkDataObject::SPACING()));
        output->SetOrigin(info->Get(vtkDataObject::ORIGIN()));
        this->RunAlgorithm(vtkImageData::GetData(inputVector[0]), output);
    });
}

int AlgorithmFilter::RunAlgorithm(vtkImageData* input, vtkImageData* output) {
    const Recording in = RecordingOf(input, {}), out = RecordingOf(output, {});
    TZM::ImageProps props(in.size.samples, in.size.ascans, in.size.bscans);
    this->AlgoSetupImgPropsBscanInfo(&props);
    try {
        this->Algorithm().Execute(in.data.get(), props, out.data.get(),
                                  this->Algorithm().GetAdjustedImageDimensions(props));
    } catch (const TZM::Exception::CalcError& error) {
        throw Refusal(Explain(error, in.size));
    }
    shifts.clear();
    usableSamples = out.size.samples;
    if (const auto* detection = dynamic_cast<TZM::AlgoTimeZeroDetection*>(&this->Algorithm())) {
        shifts = FindShifts(in.data.get(), out.data.get(), in.size);
        usableSamples = detection->GetNewOutProps().samplesPerAscan;
    }
    return 1;
}

namespace {

/// Listens to an algorithm and to its executive, which tells of a failure once more.
class Listener : public vtkCommand {
public:
    static Listener* New() { return new Listener; }

    void Execute(vtkObject* caller, unsigned long event, void* data) override {
        if (event == ErrorEvent && error.empty()) error = static_cast<const char*>(data);
        if (event == ProgressEvent && progress) progress->Share(static_cast<vtkAlgorithm*>(caller)->GetProgress());
    }

    /// Refusal if an error was told, without the source position and the object that VTK puts in front.
    void Require(const std::string& name) const {
        if (error.empty()) return;
        const auto colon = error.find("): ");
        std::string text = colon == std::string::npos ? error : error.substr(colon + 3);
        text.erase(text.find_last_not_of(" \n") + 1);
        throw Refusal(name.empty() ? text : name + text);
    }

    Progress* progress = nullptr;
    std::string error;
};

/// While it lives, an algorithm's events go to a listener.
class Listening {
public:
    Listening(vtkAlgorithm* algorithm, Progress& progress) : objects{algorithm, algorithm->GetExecutive()} {
        listener->progress = &progress;
        tags = {algorithm->AddObserver(vtkCommand::ErrorEvent, listener),
                objects[1]->AddObserver(vtkCommand::ErrorEvent, listener)};
        progressTag = algorithm->AddObserver(vtkCommand::ProgressEvent, listener);
    }
    ~Listening() {
        for (std::size_t i = 0; i < objects.size(); ++i) objects[i]->RemoveObserver(tags[i]);
        objects[0]->RemoveObserver(progressTag);
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    const vtkNew<Listener> listener;

private:
    std::vector<vtkObject*> objects;
    std::vector<unsigned long> tags;
    unsigned long progressTag;
};

} // namespace

void Update(vtkAlgorithm* algorithm, const std::string& name, Progress& progress) {
    const Listening listening(algorithm, progress);
    algorithm->Update();
    listening.listener->Require(name.empty() ? "" : name + " ");
}

void WriteVti(vtkAlgorithmOutput* port, const std::filesystem::path& file, Progress& progress) {
    const vtkNew<vtkXMLImageDataWriter> writer;
    writer->SetFileName(file.c_str());
    writer->SetInputConnection(port);
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetCompressorTypeToNone();
    writer->SetHeaderTypeToUInt64();
    const Listening listening(writer, progress);
    const bool written = writer->Write() != 0 && writer->GetErrorCode() == 0;
    listening.listener->Require("can't write " + file.string() + ": ");
    if (!written) throw Refusal("can't write " + file.string());
}

} // namespace tzmchain

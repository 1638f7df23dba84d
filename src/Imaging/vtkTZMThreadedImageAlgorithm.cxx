#include "Imaging/vtkTZMThreadedImageAlgorithm.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include <vtkExecutive.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationVector.h>
#include <vtkStreamingDemandDrivenPipeline.h>

#include "Imaging/private/ErrorText.h"

vtkTZMThreadedImageAlgorithm::vtkTZMThreadedImageAlgorithm()
    : Threader(vtkMultiThreader::New()), NumberOfThreads(this->Threader->GetNumberOfThreads()) {}

vtkTZMThreadedImageAlgorithm::~vtkTZMThreadedImageAlgorithm() { this->Threader->Delete(); }

void vtkTZMThreadedImageAlgorithm::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->Superclass::PrintSelf(os, indent);
    os << indent << "NumberOfThreads: " << this->NumberOfThreads << "\n";
}

void vtkTZMThreadedImageAlgorithm::CollectRevisions(std::ostream& os) {
    this->Superclass::CollectRevisions(os);
    os << "vtkTZMThreadedImageAlgorithm $Revision: 1.11 $\n";
}

int vtkTZMThreadedImageAlgorithm::SplitExtent(int splitExt[6], int startExt[6], int num, int total) {
    std::copy_n(startExt, 6, splitExt);
    int axis = 2;
    while (axis >= 0 && startExt[2 * axis] == startExt[2 * axis + 1]) --axis;
    if (axis < 0 || startExt[2 * axis] > startExt[2 * axis + 1] || total < 1) return 1;

    const long long low = startExt[2 * axis], range = startExt[2 * axis + 1] - low + 1;
    const long long valuesPerThread = (range + total - 1) / total;
    const long long maxThreadIdUsed = (range + valuesPerThread - 1) / valuesPerThread - 1;
    if (num <= maxThreadIdUsed) splitExt[2 * axis] = static_cast<int>(low + num * valuesPerThread);
    if (num < maxThreadIdUsed) splitExt[2 * axis + 1] = static_cast<int>(low + (num + 1) * valuesPerThread - 1);
    return static_cast<int>(maxThreadIdUsed + 1);
}

/// What the threads of one RequestData share.
struct vtkTZMThreadedImageAlgorithm::Record {
    vtkTZMThreadedImageAlgorithm* filter;
    vtkInformation* request;
    vtkInformationVector** inputVector;
    vtkInformationVector* outputVector;
    vtkImageData*** inData;
    vtkImageData** outData;

    std::mutex mutex;
    std::string failure; ///< the first one
};

namespace {

vtkImageData* ImageOf(vtkInformation* info) {
    return info ? vtkImageData::SafeDownCast(info->Get(vtkDataObject::DATA_OBJECT())) : nullptr;
}

} // namespace

int vtkTZMThreadedImageAlgorithm::RequestData(vtkInformation* request, vtkInformationVector** inputVector,
                                              vtkInformationVector* outputVector) {
    std::vector<vtkImageData*> outImages;
    for (int port = 0; port < this->GetNumberOfOutputPorts(); ++port) {
        vtkInformation* info = outputVector->GetInformationObject(port);
        outImages.push_back(ImageOf(info));
        if (int* extent = info->Get(vtkStreamingDemandDrivenPipeline::UPDATE_EXTENT()); extent && outImages.back())
            this->AllocateOutputData(outImages.back(), info, extent);
    }
    std::vector<std::vector<vtkImageData*>> inImages;
    std::vector<vtkImageData**> ports;
    for (int port = 0; port < this->GetNumberOfInputPorts(); ++port) {
        auto& images = inImages.emplace_back();
        for (int i = 0; i < inputVector[port]->GetNumberOfInformationObjects(); ++i)
            images.push_back(ImageOf(inputVector[port]->GetInformationObject(i)));
        ports.push_back(images.empty() ? nullptr : images.data()); // moving a vector leaves its elements in place
    }
    if (!ports.empty() && ports[0] && ports[0][0] && !outImages.empty() && outImages[0])
        this->CopyAttributeData(ports[0][0], outImages[0], inputVector);

    Record record{this,
                  request,
                  inputVector,
                  outputVector,
                  ports.empty() ? nullptr : ports.data(),
                  outImages.empty() ? nullptr : outImages.data(),
                  {},
                  {}};
    this->Threader->SetNumberOfThreads(this->NumberOfThreads);
    this->Threader->SetSingleMethod(RunPiece, &record);
    const bool debug = this->Debug;
    this->Debug = false;
    this->Threader->SingleMethodExecute();
    this->Debug = debug;
    if (!record.failure.empty()) vtkErrorMacro(<< record.failure);
    return 1;
}

VTK_THREAD_RETURN_TYPE vtkTZMThreadedImageAlgorithm::RunPiece(void* info) {
    const auto& thread = *static_cast<vtkMultiThreader::ThreadInfo*>(info);
    Record& record = *static_cast<Record*>(thread.UserData);
    vtkTZMThreadedImageAlgorithm& filter = *record.filter;

    vtkInformation* extentOf = nullptr;
    if (filter.GetNumberOfOutputPorts() > 0) {
        const int port = record.request->Get(vtkExecutive::FROM_OUTPUT_PORT());
        if (port == -1) return VTK_THREAD_RETURN_VALUE;
        extentOf = record.outputVector->GetInformationObject(port);
    } else {
        for (int port = 0; !extentOf && port < filter.GetNumberOfInputPorts(); ++port)
            extentOf = record.inputVector[port]->GetInformationObject(0);
    }
    int* const whole = extentOf ? extentOf->Get(vtkStreamingDemandDrivenPipeline::UPDATE_EXTENT()) : nullptr;
    if (!whole) return VTK_THREAD_RETURN_VALUE;

    int extent[6];
    const int pieces = filter.SplitExtent(extent, whole, thread.ThreadID, thread.NumberOfThreads);
    if (thread.ThreadID >= pieces || extent[0] > extent[1] || extent[2] > extent[3] || extent[4] > extent[5])
        return VTK_THREAD_RETURN_VALUE;
    const auto keep = [&](const std::string& failure) {
        const std::lock_guard<std::mutex> lock(record.mutex);
        if (record.failure.empty()) record.failure = failure;
    };
    try {
        filter.ThreadedRequestData(record.request, record.inputVector, record.outputVector, record.inData,
                                   record.outData, extent, thread.ThreadID);
    } catch (const std::exception& e) {
        keep(std::string("Execute: ") + e.what());
    } catch (...) {
        keep("Execute: unknown exception");
    }
    return VTK_THREAD_RETURN_VALUE;
}

void vtkTZMThreadedImageAlgorithm::ThreadedRequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*,
                                                       vtkImageData*** inData, vtkImageData** outData, int extent[6],
                                                       int threadId) {
    vtkImageData* const in = inData && inData[0] ? inData[0][0] : nullptr;
    this->ThreadedExecute(in, outData ? outData[0] : nullptr, extent, threadId);
}

void vtkTZMThreadedImageAlgorithm::ThreadedExecute(vtkImageData*, vtkImageData*, int[6], int) {
    ReportError(this, "..\\..\\src\\Imaging\\vtkTZMThreadedImageAlgorithm", 334,
                "Subclass should override this method!!!");
}

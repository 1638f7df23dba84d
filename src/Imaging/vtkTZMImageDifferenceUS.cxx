#include "Imaging/vtkTZMImageDifferenceUS.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <numeric>

#include <vtkObjectFactory.h>

#include "Imaging/private/ErrorText.h"
#include "Imaging/private/ImageDifference.h"

vtkObjectFactoryNewMacro(vtkTZMImageDifferenceUS);

namespace {

constexpr double kFailure = 1000., kFullScale = 65535.;
constexpr int kLargestError = 65536;
constexpr char kPlace[] = "..\\..\\src\\Imaging\\vtkTZMImageDifferenceUS";

} // namespace

vtkTZMImageDifferenceUS::vtkTZMImageDifferenceUS() {
    this->SetNumberOfInputPorts(2);
    this->EnableSMP = false;
}

void vtkTZMImageDifferenceUS::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->Superclass::PrintSelf(os, indent);
    for (int i = 0; i < this->NumberOfThreads; ++i) {
        os << indent << "Error for thread " << i << ": " << this->ErrorPerThread[i] << "\n";
        os << indent << "ThresholdedError for thread " << i << ": " << this->ThresholdedErrorPerThread[i] << "\n";
    }
    os << indent << "Threshold: " << this->Threshold << "\n";
}

void vtkTZMImageDifferenceUS::CollectRevisions(std::ostream& os) { os << "vtkTZMImageDifferenceUS $Revision: 0.1 $\n"; }

vtkImageData* vtkTZMImageDifferenceUS::GetImage() { return ImageDifference::ImageOnPort(this, 1); }

double vtkTZMImageDifferenceUS::GetError() {
    return std::accumulate(this->ErrorPerThread, this->ErrorPerThread + this->NumberOfThreads, 0.);
}

double vtkTZMImageDifferenceUS::GetThresholdedError() {
    return std::accumulate(this->ThresholdedErrorPerThread, this->ThresholdedErrorPerThread + this->NumberOfThreads,
                           0.);
}

int vtkTZMImageDifferenceUS::RequestInformation(vtkInformation*, vtkInformationVector** inputVector,
                                                vtkInformationVector* outputVector) {
    const std::string failure = ImageDifference::IntersectExtents(inputVector, outputVector);
    if (!failure.empty()) {
        for (double* entries : {this->ErrorPerThread, this->ThresholdedErrorPerThread})
            std::fill_n(entries, this->NumberOfThreads, kFailure);
        ReportError(this, kPlace, 284, failure);
    }
    return 1;
}

int vtkTZMImageDifferenceUS::RequestUpdateExtent(vtkInformation*, vtkInformationVector** inputVector,
                                                 vtkInformationVector* outputVector) {
    ImageDifference::RequestExtents(inputVector, outputVector);
    return 1;
}

void vtkTZMImageDifferenceUS::ThreadedRequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*,
                                                  vtkImageData*** inData, vtkImageData** outData, int outExt[6],
                                                  int threadId) {
    double &error = this->ErrorPerThread[threadId], &thresholded = this->ThresholdedErrorPerThread[threadId];
    error = thresholded = 0.;
    const auto flaw =
        ImageDifference::FindFlaw(inData, outData, outExt, VTK_UNSIGNED_SHORT, "unsigned short", {133, 146, 160});
    if (flaw.line != 0) {
        error = thresholded = kFailure;
        if (threadId == 0) ReportError(this, kPlace, flaw.line, flaw.message);
        return;
    }
    const std::int64_t threshold = this->Threshold;
    double sum = 0., sumAbove = 0.;
    const auto row = [&](const std::uint16_t* a, const std::uint16_t* b, std::uint16_t* out, int count) {
        for (int i = 0; i < count; ++i) {
            const int e = std::min(std::abs(a[i] - b[i]), kLargestError);
            const std::int64_t above = std::max<std::int64_t>(e - threshold, 0);
            sum += e / kFullScale;
            sumAbove += static_cast<double>(above) / kFullScale;
            out[i] = static_cast<std::uint16_t>(above);
        }
        return true;
    };
    ImageDifference::Walk<std::uint16_t>(
        {inData[0][0], outExt}, {inData[1][0], outExt}, {outData[0], outExt}, outExt, threadId,
        [this] { return this->AbortExecute != 0; }, [this](double share) { this->UpdateProgress(share); }, row);
    error = sum;
    thresholded = sumAbove;
}

#include "Imaging/vtkTZMImageDifferenceF.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <sstream>

#include <vtkObjectFactory.h>

#include "Imaging/private/ErrorText.h"
#include "Imaging/private/ImageDifference.h"

vtkObjectFactoryNewMacro(vtkTZMImageDifferenceF);

namespace {

constexpr float kFailure = 1e38f;
constexpr char kPlace[] = "..\\..\\src\\Imaging\\vtkTZMImageDifferenceF";

float AbsoluteError(float a, float b) { return std::abs(a - b); }

float RelativeError(float a, float b) {
    if (b == 0.f) return std::abs(a);
    if (a == 0.f) return std::abs(b);
    if (std::abs(a) < 1.f && std::abs(b) < 1.f) return std::abs(a - b);
    return std::abs(a) < std::abs(b) ? std::abs((a - b) / b) : std::abs((b - a) / a);
}

} // namespace

vtkTZMImageDifferenceF::vtkTZMImageDifferenceF() {
    this->SetNumberOfInputPorts(2);
    this->EnableSMP = false;
}

void vtkTZMImageDifferenceF::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->Superclass::PrintSelf(os, indent);
    for (int i = 0; i < this->NumberOfThreads; ++i) {
        os << indent << "Error for thread " << i << ": " << this->ErrorPerThread[i] << "\n";
        os << indent << "Max pixel error for thread " << i << ": " << this->MaxPixelErrorPerThread[i] << "\n";
        os << indent << "ThresholdedError for thread " << i << ": " << this->ThresholdedErrorPerThread[i] << "\n";
    }
    os << indent << "Threshold: " << this->Threshold << "\n";
}

void vtkTZMImageDifferenceF::CollectRevisions(std::ostream& os) { os << "vtkTZMImageDifferenceF $Revision: 0.1 $\n"; }

vtkImageData* vtkTZMImageDifferenceF::GetImage() { return ImageDifference::ImageOnPort(this, 1); }

float vtkTZMImageDifferenceF::GetError() {
    return std::accumulate(this->ErrorPerThread, this->ErrorPerThread + this->NumberOfThreads, 0.f);
}

float vtkTZMImageDifferenceF::GetThresholdedError() {
    return std::accumulate(this->ThresholdedErrorPerThread, this->ThresholdedErrorPerThread + this->NumberOfThreads,
                           0.f);
}

float vtkTZMImageDifferenceF::GetMaxPixelError() {
    return std::max(
        0.f, *std::max_element(this->MaxPixelErrorPerThread, this->MaxPixelErrorPerThread + this->NumberOfThreads));
}

int vtkTZMImageDifferenceF::RequestInformation(vtkInformation*, vtkInformationVector** inputVector,
                                               vtkInformationVector* outputVector) {
    const std::string failure = ImageDifference::IntersectExtents(inputVector, outputVector);
    if (!failure.empty()) {
        for (float* entries : {this->ErrorPerThread, this->ThresholdedErrorPerThread, this->MaxPixelErrorPerThread})
            std::fill_n(entries, this->NumberOfThreads, kFailure);
        ReportError(this, kPlace, 327, failure);
    }
    return 1;
}

int vtkTZMImageDifferenceF::RequestUpdateExtent(vtkInformation*, vtkInformationVector** inputVector,
                                                vtkInformationVector* outputVector) {
    ImageDifference::RequestExtents(inputVector, outputVector);
    return 1;
}

void vtkTZMImageDifferenceF::ThreadedRequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*,
                                                 vtkImageData*** inData, vtkImageData** outData, int outExt[6],
                                                 int threadId) {
    float &error = this->ErrorPerThread[threadId], &thresholded = this->ThresholdedErrorPerThread[threadId],
          &most = this->MaxPixelErrorPerThread[threadId];
    error = thresholded = most = 0.f;
    const auto flaw = ImageDifference::FindFlaw(inData, outData, outExt, VTK_FLOAT, "float", {141, 155, 170});
    if (flaw.line != 0) {
        error = thresholded = most = kFailure;
        if (threadId == 0) ReportError(this, kPlace, flaw.line, flaw.message);
        return;
    }
    const float low = this->LowerLimit, high = this->UpperLimit, threshold = this->Threshold;
    const auto compare = this->CompareMode == RelativeDifference ? RelativeError : AbsoluteError;
    double sum = 0., sumAbove = 0.; // a float would lose small errors behind large sums
    const auto row = [&](const float* a, const float* b, float* out, int count) {
        bool inRange = true;
        for (int i = 0; i < count; ++i) {
            if (a[i] > high || a[i] < low || b[i] > high || b[i] < low) {
                std::ostringstream text;
                text << "Float value of input not in range " << low << " to " << high << std::endl
                     << "Input1: " << a[i] << " Input2: " << b[i] << std::endl;
                ReportError(this, kPlace, 226, text.str());
                inRange = false;
                break;
            }
            const float e = compare(a[i], b[i]);
            most = std::max(most, e); // stays at a NaN
            const float limited = e < kFailure ? e : kFailure;
            sum += static_cast<double>(limited);
            out[i] = std::max(limited - threshold, 0.f);
            sumAbove += static_cast<double>(out[i]);
        }
        error = static_cast<float>(sum);
        thresholded = static_cast<float>(sumAbove);
        return inRange;
    };
    ImageDifference::Walk<float>(
        {inData[0][0], outExt}, {inData[1][0], outExt}, {outData[0], outExt}, outExt, threadId,
        [this] { return this->AbortExecute != 0; }, [this](double share) { this->UpdateProgress(share); }, row);
}

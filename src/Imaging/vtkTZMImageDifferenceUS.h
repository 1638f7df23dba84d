#pragma once

#include <ostream>

#include <vtkThreadedImageAlgorithm.h>

#include "Array/Export.h"

/// Compares two images of unsigned 16-bit integers, one component per pixel, pixel by pixel: e = |a - b| is the error
/// of a pixel, the output max(e - Threshold, 0), over the intersection of both extents.
///
/// Errors come as they are from the last update, a pixel's full scale of 65535 counting as 1. Inputs that can't be
/// compared leave 1000 there and report an error: different extents, other than 1 component, another type.
class TZM_EXPORT vtkTZMImageDifferenceUS : public vtkThreadedImageAlgorithm {
public:
    static vtkTZMImageDifferenceUS* New();
    vtkTypeMacro(vtkTZMImageDifferenceUS, vtkThreadedImageAlgorithm)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMImageDifferenceUS(const vtkTZMImageDifferenceUS&) = delete;
    void operator=(const vtkTZMImageDifferenceUS&) = delete;

    /// The image to compare with, on input port 1; null takes it away.
    void SetImage(vtkDataObject* image) { this->SetInputDataObject(1, image); }
    vtkImageData* GetImage();

    /// Sum of the errors over all pixels, and of what exceeds the threshold.
    double GetError();
    void GetError(double* e) { *e = this->GetError(); }
    double GetThresholdedError();
    void GetThresholdedError(double* e) { *e = this->GetThresholdedError(); }

    /// Grey levels that a pixel's error may reach without counting; at first 0.
    vtkSetMacro(Threshold, int);
    vtkGetMacro(Threshold, int);

    /// Stays off: the entries below count threads, and there are no more than 64.
    void SetEnableSMP(bool) override {}

protected:
    vtkTZMImageDifferenceUS();
    ~vtkTZMImageDifferenceUS() override = default;

    int RequestInformation(vtkInformation* request, vtkInformationVector** inputVector,
                           vtkInformationVector* outputVector) override;
    int RequestUpdateExtent(vtkInformation* request, vtkInformationVector** inputVector,
                            vtkInformationVector* outputVector) override;
    void ThreadedRequestData(vtkInformation* request, vtkInformationVector** inputVector,
                             vtkInformationVector* outputVector, vtkImageData*** inData, vtkImageData** outData,
                             int outExt[6], int threadId) override;

    virtual void CollectRevisions(std::ostream& os);

    // Of the threads' pieces in the last update. A thread without a piece keeps what it held.
    double ErrorPerThread[64] = {};
    double ThresholdedErrorPerThread[64] = {};
    int Threshold = 0;
};

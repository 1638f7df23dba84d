#pragma once

#include <ostream>

#include <vtkThreadedImageAlgorithm.h>

#include "Array/Export.h"

/// How two pixels a and b of vtkTZMImageDifferenceF are compared. Any value but 1 counts as 0.
enum CompareModes : int {
    AbsoluteDifference = 0, ///< |a - b|
    RelativeDifference = 1  ///< |a - b| / max(|a|, |b|); |a - b| if both are below 1 in magnitude or one of them is 0
};

/// Compares two images of floats, one component per pixel, pixel by pixel: e is the error of a pixel, the output
/// max(e - Threshold, 0), over the intersection of both extents.
///
/// Errors come as they are from the last update: their sum and the largest of them, those beyond 1e38 and NaN counting
/// as 1e38. Inputs that can't be compared leave 1e38 there and report an error: different extents, other than 1
/// component, another type; a value outside the limits ends the comparison of its thread's piece.
class TZM_EXPORT vtkTZMImageDifferenceF : public vtkThreadedImageAlgorithm {
public:
    static vtkTZMImageDifferenceF* New();
    vtkTypeMacro(vtkTZMImageDifferenceF, vtkThreadedImageAlgorithm)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMImageDifferenceF(const vtkTZMImageDifferenceF&) = delete;
    void operator=(const vtkTZMImageDifferenceF&) = delete;

    /// The image to compare with, on input port 1; null takes it away.
    void SetImage(vtkDataObject* image) { this->SetInputDataObject(1, image); }
    vtkImageData* GetImage();

    /// Sum of the errors over all pixels, and of what exceeds the threshold.
    float GetError();
    void GetError(float* e) { *e = this->GetError(); }
    float GetThresholdedError();
    void GetThresholdedError(float* e) { *e = this->GetThresholdedError(); }

    /// The largest error of a pixel, before the threshold.
    float GetMaxPixelError();
    void GetMaxPixelError(float* e) { *e = this->GetMaxPixelError(); }

    /// What a pixel's error may reach without counting; at first 0.
    vtkSetMacro(Threshold, float);
    vtkGetMacro(Threshold, float);

    /// Input values beyond are refused; at first -1e38 and 1e38. NaN isn't.
    vtkSetMacro(LowerLimit, float);
    vtkGetMacro(LowerLimit, float);
    vtkSetMacro(UpperLimit, float);
    vtkGetMacro(UpperLimit, float);

    vtkSetMacro(CompareMode, CompareModes);
    vtkGetMacro(CompareMode, CompareModes);

    /// Stays off: the entries below count threads, and there are no more than 64.
    void SetEnableSMP(bool) override {}

protected:
    vtkTZMImageDifferenceF();
    ~vtkTZMImageDifferenceF() override = default;

    int RequestInformation(vtkInformation* request, vtkInformationVector** inputVector,
                           vtkInformationVector* outputVector) override;
    int RequestUpdateExtent(vtkInformation* request, vtkInformationVector** inputVector,
                            vtkInformationVector* outputVector) override;
    void ThreadedRequestData(vtkInformation* request, vtkInformationVector** inputVector,
                             vtkInformationVector* outputVector, vtkImageData*** inData, vtkImageData** outData,
                             int outExt[6], int threadId) override;

    virtual void CollectRevisions(std::ostream& os);

    // Of the threads' pieces in the last update. A thread without a piece keeps what it held.
    float ErrorPerThread[64] = {};
    float ThresholdedErrorPerThread[64] = {};
    float MaxPixelErrorPerThread[64] = {};
    float Threshold = 0.f;
    float LowerLimit = -1e38f;
    float UpperLimit = 1e38f;
    CompareModes CompareMode = AbsoluteDifference;
};

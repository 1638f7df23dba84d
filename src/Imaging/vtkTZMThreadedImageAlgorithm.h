#pragma once

#include <ostream>

#include <vtkMultiThreader.h>

#include "Imaging/vtkTZMBaseImageAlgorithm.h"

class vtkImageData;

/// Abstract image filter that cuts the update extent of its output into pieces for a fixed number of threads. A
/// subclass overrides ThreadedRequestData or ThreadedExecute; each call writes its own piece of the output and nothing
/// else.
class TZM_EXPORT vtkTZMThreadedImageAlgorithm : public vtkTZMBaseImageAlgorithm {
public:
    vtkTypeMacro(vtkTZMThreadedImageAlgorithm, vtkTZMBaseImageAlgorithm)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMThreadedImageAlgorithm(const vtkTZMThreadedImageAlgorithm&) = delete;
    void operator=(const vtkTZMThreadedImageAlgorithm&) = delete;

    /// One piece: by default ThreadedExecute of the first input and the first output. inData: an array of images per
    /// port, null for a port without connections. An exception that leaves it is reported through vtkErrorMacro.
    virtual void ThreadedRequestData(vtkInformation* request, vtkInformationVector** inputVector,
                                     vtkInformationVector* outputVector, vtkImageData*** inData, vtkImageData** outData,
                                     int extent[6], int threadId);

    /// One piece of a filter with one input and one output. Reports an error here.
    virtual void ThreadedExecute(vtkImageData* in, vtkImageData* out, int extent[6], int threadId);

    /// Threads to use, 1 to 64; at first as many as vtkMultiThreader takes.
    vtkSetClampMacro(NumberOfThreads, int, 1, 64);
    vtkGetMacro(NumberOfThreads, int);

    /// Piece `num` of at most `total` of an extent, cut along its slowest axis of more than one value. Returns the
    /// number of pieces, which may be below total; splitExt is the whole extent for a num of that or more.
    virtual int SplitExtent(int splitExt[6], int startExt[6], int num, int total);

protected:
    vtkTZMThreadedImageAlgorithm();
    ~vtkTZMThreadedImageAlgorithm() override;

    int RequestData(vtkInformation* request, vtkInformationVector** inputVector,
                    vtkInformationVector* outputVector) override;

    void CollectRevisions(std::ostream& os) override;

    vtkMultiThreader* Threader;
    int NumberOfThreads;

private:
    struct Record;
    static VTK_THREAD_RETURN_TYPE RunPiece(void* info);
};

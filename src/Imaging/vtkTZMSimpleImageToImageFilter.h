#pragma once

#include <ostream>

#include "Imaging/ProcessChainOptions.h"
#include "Imaging/vtkTZMBaseImageAlgorithm.h"

class vtkImageData;
class vtkIntArray;

/// Abstract base of a VTK filter that wraps one algorithm. The library holds no concrete one: examples/HostFilter shows
/// how a host derives its own.
///
/// A filter overrides the requests of vtkImageAlgorithm that it needs: RequestInformation where its algorithm changes
/// the extent (GetAdjustedImageDimensions), RequestUpdateExtent to ask for the whole input, and RequestData, in which
/// it fills the parameter struct, calls AlgoPrmSetupGlobalParams on it, makes an ImageProps of the input and calls
/// AlgoSetupImgPropsBscanInfo on that, and executes its algorithm. Nothing may be thrown across a filter: a CalcError
/// goes to vtkErrorMacro. The void* arguments keep the types of the algorithms out of the headers of filters.
class TZM_EXPORT vtkTZMSimpleImageToImageFilter : public vtkTZMBaseImageAlgorithm {
public:
    vtkTypeMacro(vtkTZMSimpleImageToImageFilter, vtkTZMBaseImageAlgorithm)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMSimpleImageToImageFilter(const vtkTZMSimpleImageToImageFilter&) = delete;
    void operator=(const vtkTZMSimpleImageToImageFilter&) = delete;

    /// Takes over a configuration document. Does nothing here.
    virtual void ReadConfig();

    /// The options of the process, shared by all filters.
    static ProcessChainOptions& GetOptions();

    /// Two flags of the process for filters and hosts; the library neither sets nor reads them.
    static bool GetGlobalErrorState();
    static void SetGlobalErrorState();
    static void ClearGlobalErrorState();
    static bool GetUseGlobalErrorState();
    static void SetUseGlobalErrorState(bool use);

    /// Valid A-scans of every B-scan: first index and number, one value per B-scan, which the host fills before the
    /// filter runs. The filter owns the arrays.
    vtkIntArray* GetBscanInfoFirstValidIdx();
    vtkIntArray* GetBscanInfoValidLen();

protected:
    vtkTZMSimpleImageToImageFilter();
    ~vtkTZMSimpleImageToImageFilter() override;

    /// The filter's work, to be called from its RequestData: one algorithm from `input` to `output`, whose scalars are
    /// allocated. 1 if that succeeded.
    virtual int RunAlgorithm(vtkImageData* input, vtkImageData* output) = 0;

    virtual const char* GetLoggingPrefix(); ///< the class name

    void CollectRevisions(std::ostream& os) override;

    /// Stores EnableLogging and LoggingLevel of the options in a TZM::AlgoParamBase; listeners aren't told. Null does
    /// nothing.
    void AlgoPrmSetupGlobalParams(void* prm);

    /// Fills bscanInfo of a TZM::ImageProps from the two arrays, limited to its A-scans: first to 0 .. A - 1, then the
    /// length to 0 .. A - first. Does nothing for null, or unless both arrays have a value for each of its B-scans, at
    /// least one.
    void AlgoSetupImgPropsBscanInfo(void* imgProps);

    /// Sets the scalars, one float per point, to 0. Null does nothing.
    void ZeroImageData(vtkImageData* image);

    /// The class name without "vtkTZM" at its head. Lives as long as the class name.
    const char* GetShortClassName();

    vtkIntArray* BscanInfoFirstValidIdx;
    vtkIntArray* BscanInfoValidLen;

    static ProcessChainOptions globalOptions;
    static bool globalErrorFlag;
    static bool useGlobalErrorFlag;
};

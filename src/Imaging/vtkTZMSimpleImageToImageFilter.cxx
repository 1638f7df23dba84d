#include "Imaging/vtkTZMSimpleImageToImageFilter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkIntArray.h>
#include <vtkPointData.h>

#include "Framework/AlgoParamBase.h"
#include "Framework/ImageProps.h"

ProcessChainOptions vtkTZMSimpleImageToImageFilter::globalOptions;
bool vtkTZMSimpleImageToImageFilter::globalErrorFlag = false;
bool vtkTZMSimpleImageToImageFilter::useGlobalErrorFlag = false;

vtkTZMSimpleImageToImageFilter::vtkTZMSimpleImageToImageFilter()
    : BscanInfoFirstValidIdx(vtkIntArray::New()), BscanInfoValidLen(vtkIntArray::New()) {}

vtkTZMSimpleImageToImageFilter::~vtkTZMSimpleImageToImageFilter() {
    this->BscanInfoFirstValidIdx->Delete();
    this->BscanInfoValidLen->Delete();
}

// No field is told, so that what is printed of a filter doesn't depend on this class.
void vtkTZMSimpleImageToImageFilter::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->vtkImageAlgorithm::PrintSelf(os, indent);
}

void vtkTZMSimpleImageToImageFilter::CollectRevisions(std::ostream& os) {
    this->Superclass::CollectRevisions(os);
    os << "vtkTZMSimpleImageToImageFilter $Revision: 0.1 $\n";
}

void vtkTZMSimpleImageToImageFilter::ReadConfig() {}

const char* vtkTZMSimpleImageToImageFilter::GetLoggingPrefix() { return this->GetClassName(); }

ProcessChainOptions& vtkTZMSimpleImageToImageFilter::GetOptions() { return globalOptions; }
bool vtkTZMSimpleImageToImageFilter::GetGlobalErrorState() { return globalErrorFlag; }
void vtkTZMSimpleImageToImageFilter::SetGlobalErrorState() { globalErrorFlag = true; }
void vtkTZMSimpleImageToImageFilter::ClearGlobalErrorState() { globalErrorFlag = false; }
bool vtkTZMSimpleImageToImageFilter::GetUseGlobalErrorState() { return useGlobalErrorFlag; }
void vtkTZMSimpleImageToImageFilter::SetUseGlobalErrorState(bool use) { useGlobalErrorFlag = use; }

vtkIntArray* vtkTZMSimpleImageToImageFilter::GetBscanInfoFirstValidIdx() { return this->BscanInfoFirstValidIdx; }
vtkIntArray* vtkTZMSimpleImageToImageFilter::GetBscanInfoValidLen() { return this->BscanInfoValidLen; }

void vtkTZMSimpleImageToImageFilter::AlgoPrmSetupGlobalParams(void* prm) {
    if (!prm) return;
    auto& params = *static_cast<TZM::AlgoParamBase*>(prm);
    params.enableLogging = globalOptions.EnableLogging;
    params.loggingLevel = globalOptions.LoggingLevel;
}

void vtkTZMSimpleImageToImageFilter::AlgoSetupImgPropsBscanInfo(void* imgProps) {
    if (!imgProps) return;
    auto& props = *static_cast<TZM::ImageProps*>(imgProps);
    const int bscans = props.bscanCount, ascans = props.ascansPerBscan;
    const auto values = [](vtkIntArray* array) { return array->GetNumberOfTuples() * array->GetNumberOfComponents(); };
    if (bscans < 1 || values(this->BscanInfoFirstValidIdx) != bscans || values(this->BscanInfoValidLen) != bscans)
        return;
    props.bscanInfo.resize(static_cast<std::size_t>(bscans));
    for (int i = 0; i < bscans; ++i) {
        TZM::BscanInfo& info = props.bscanInfo[static_cast<std::size_t>(i)];
        info.firstValidIdx = std::max(std::min(this->BscanInfoFirstValidIdx->GetValue(i), ascans - 1), 0);
        info.validLen = std::max(std::min(this->BscanInfoValidLen->GetValue(i), ascans - info.firstValidIdx), 0);
    }
}

void vtkTZMSimpleImageToImageFilter::ZeroImageData(vtkImageData* image) {
    vtkDataArray* scalars = image ? image->GetPointData()->GetScalars() : nullptr;
    if (!scalars || !scalars->HasStandardMemoryLayout()) return;
    const int* size = image->GetDimensions();
    const std::int64_t points = std::int64_t{size[0]} * size[1] * size[2],
                       bytes = std::int64_t{scalars->GetDataSize()} * scalars->GetDataTypeSize();
    // Scalars of another type than told are no reason to write behind their end.
    const std::int64_t wanted = std::min(points * std::int64_t{sizeof(float)}, bytes);
    if (wanted > 0) std::memset(scalars->GetVoidPointer(0), 0, static_cast<std::size_t>(wanted));
}

const char* vtkTZMSimpleImageToImageFilter::GetShortClassName() {
    const char* const name = this->GetClassName();
    constexpr char prefix[] = "vtkTZM";
    constexpr std::size_t length = sizeof prefix - 1;
    return std::strncmp(name, prefix, length) == 0 ? name + length : name;
}

#include "Diff.h"

#include "Pipeline.h"
#include "Progress.h"
#include "Refusal.h"
#include "VtkFile.h"

#include "Imaging/vtkTZMImageDifferenceF.h"
#include "Imaging/vtkTZMImageDifferenceUS.h"

#include <vtkImageData.h>
#include <vtkNew.h>

#include <cmath>

namespace tzmchain {

namespace {

/// Brings the filter up to date and writes its output.
void Compare(vtkThreadedImageAlgorithm* filter, const vtkSmartPointer<vtkXMLImageDataReader> images[2],
             const std::filesystem::path& out) {
    Progress silent(true, false);
    for (int port : {0, 1}) filter->SetInputConnection(port, images[port]->GetOutputPort());
    Update(filter, "", silent);
    if (!out.empty()) WriteVti(filter->GetOutputPort(), out, silent);
}

} // namespace

Difference Diff(const DiffOptions& options) {
    if (!(options.threshold >= 0)) throw Refusal("the threshold must not be below 0");
    const vtkSmartPointer<vtkXMLImageDataReader> images[] = {OpenVti(options.first), OpenVti(options.second)};
    const int type = images[0]->GetOutput()->GetScalarType();
    if (type == VTK_FLOAT) {
        const vtkNew<vtkTZMImageDifferenceF> filter;
        filter->SetThreshold(static_cast<float>(options.threshold));
        filter->SetCompareMode(options.relative ? RelativeDifference : AbsoluteDifference);
        Compare(filter, images, options.out);
        return {!(filter->GetThresholdedError() > 0), double{filter->GetError()}, double{filter->GetThresholdedError()},
                double{filter->GetMaxPixelError()}, "float"};
    }
    if (type != VTK_UNSIGNED_SHORT)
        throw Refusal(options.first.string() + " holds numbers of type " +
                      images[0]->GetOutput()->GetScalarTypeAsString() + "; float and unsigned short can be compared");
    if (options.relative) throw Refusal("integers can't be compared with --relative");
    if (options.threshold > 65535 || options.threshold != std::floor(options.threshold))
        throw Refusal("the threshold of integers must be one, of at most 65535");
    const vtkNew<vtkTZMImageDifferenceUS> filter;
    filter->SetThreshold(static_cast<int>(options.threshold));
    Compare(filter, images, options.out);
    return {!(filter->GetThresholdedError() > 0), filter->GetError(), filter->GetThresholdedError(), -1,
            "unsigned short"};
}

} // namespace tzmchain

#include "Diff.h"

#include "Imaging/Vti/VtiFormat.h"
#include "Imaging/Vti/VtkLog.h"
#include "Imaging/vtkTZMImageDifferenceF.h"
#include "Imaging/vtkTZMImageDifferenceUS.h"
#include "Recording/Refusal.h"

#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkXMLImageDataReader.h>

#include <cmath>

namespace tzmchain {

using namespace TZM;

namespace {

/// Brings the filter up to date, tells its first error as a Refusal, and writes its output.
void Compare(vtkThreadedImageAlgorithm* filter, const vtkSmartPointer<vtkXMLImageDataReader> images[2],
             const std::filesystem::path& out) {
    std::string told;
    {
        const VtkLog log([&](const std::string& line) {
            if (told.empty()) told = line;
        });
        for (int port : {0, 1}) filter->SetInputConnection(port, images[port]->GetOutputPort());
        filter->Update();
    }
    if (!told.empty()) throw Refusal(VtkLog::WithoutPlace(told));
    if (!out.empty()) WriteVti(filter->GetOutput(), out);
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

#include "Imaging/private/ImageDifference.h"

#include <algorithm>
#include <sstream>

#include <vtkExecutive.h>
#include <vtkStreamingDemandDrivenPipeline.h>

namespace ImageDifference {

namespace {

using Pipeline = vtkStreamingDemandDrivenPipeline;

std::string Joined(const int extent[6]) {
    std::string text;
    for (int i = 0; i < 6; ++i) text += (i == 0 ? "" : ",") + std::to_string(extent[i]);
    return text;
}

} // namespace

std::string IntersectExtents(vtkInformationVector** inputVector, vtkInformationVector* outputVector) {
    int first[6], second[6], both[6];
    inputVector[0]->GetInformationObject(0)->Get(Pipeline::WHOLE_EXTENT(), first);
    inputVector[1]->GetInformationObject(0)->Get(Pipeline::WHOLE_EXTENT(), second);
    for (int i = 0; i < 6; ++i) both[i] = i % 2 == 0 ? std::max(first[i], second[i]) : std::min(first[i], second[i]);
    outputVector->GetInformationObject(0)->Set(Pipeline::WHOLE_EXTENT(), both, 6);
    if (std::equal(first, first + 6, second)) return "";
    return "ExecuteInformation: Input are not the same size.\n Input1 is: " + Joined(first) +
           "\n Input2 is: " + Joined(second);
}

void RequestExtents(vtkInformationVector** inputVector, vtkInformationVector* outputVector) {
    int wanted[6];
    outputVector->GetInformationObject(0)->Get(Pipeline::UPDATE_EXTENT(), wanted);
    for (int axis = 0; axis < 2; ++axis) {
        wanted[2 * axis] -= 2;
        wanted[2 * axis + 1] += 2;
    }
    for (int port = 0; port < 2; ++port) {
        vtkInformation* input = inputVector[port]->GetInformationObject(0);
        int whole[6], limited[6];
        input->Get(Pipeline::WHOLE_EXTENT(), whole);
        for (int i = 0; i < 6; ++i)
            limited[i] = i % 2 == 0 ? std::max(wanted[i], whole[i]) : std::min(wanted[i], whole[i]);
        input->Set(Pipeline::UPDATE_EXTENT(), limited, 6);
    }
}

vtkImageData* ImageOnPort(vtkAlgorithm* filter, int port) {
    if (filter->GetNumberOfInputConnections(port) < 1) return nullptr;
    return vtkImageData::SafeDownCast(filter->GetExecutive()->GetInputData(port, 0));
}

Flaw FindFlaw(vtkImageData*** inData, vtkImageData** outData, int extent[6], int scalarType, const char* typeName,
              const FlawLines& lines) {
    vtkImageData* const images[] = {inData && inData[0] ? inData[0][0] : nullptr,
                                    inData && inData[1] ? inData[1][0] : nullptr, outData ? outData[0] : nullptr};
    // An image that doesn't reach over the piece has no data for it.
    const auto holds = [extent](vtkImageData* image) {
        if (!image || !image->GetPointData()->GetScalars()) return false;
        const int* has = image->GetExtent();
        for (int axis = 0; axis < 3; ++axis)
            if (has[2 * axis] > extent[2 * axis] || has[2 * axis + 1] < extent[2 * axis + 1]) return false;
        return true;
    };
    if (!std::all_of(images, images + 3, holds)) return {lines.missing, "Execute: Missing data"};
    for (vtkImageData* image : images)
        if (image->GetNumberOfScalarComponents() != 1) return {lines.components, "Execute: Expecting 1 component "};
    for (vtkImageData* image : images)
        if (image->GetScalarType() != scalarType)
            return {lines.type, std::string("Execute: Scalar type must be ") + typeName +
                                    " and not: " + images[0]->GetScalarTypeAsString()};
    return {};
}

} // namespace ImageDifference

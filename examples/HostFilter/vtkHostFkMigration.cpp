#include "vtkHostFkMigration.h"

#include <Algorithms/Migration/AlgoFkMigration.h>
#include <Framework/CalcError.h>

#include <vtkErrorCode.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationVector.h>
#include <vtkObjectFactory.h>
#include <vtkStreamingDemandDrivenPipeline.h>

#include <new>

vtkStandardNewMacro(vtkHostFkMigration)

    // The migration drops the samples ahead of time zero: the output is shorter, and begins later.
    int vtkHostFkMigration::RequestInformation(vtkInformation*, vtkInformationVector** inputVector,
                                               vtkInformationVector* outputVector) {
    vtkInformation *in = inputVector[0]->GetInformationObject(0), *out = outputVector->GetInformationObject(0);
    int extent[6];
    double origin[3], spacing[3];
    in->Get(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT(), extent);
    in->Get(vtkDataObject::ORIGIN(), origin);
    in->Get(vtkDataObject::SPACING(), spacing);
    extent[1] -= this->TimeZero;
    origin[0] += this->TimeZero * spacing[0];
    out->Set(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT(), extent, 6);
    out->Set(vtkDataObject::ORIGIN(), origin, 3);
    vtkDataObject::SetPointDataActiveScalarInfo(out, VTK_FLOAT, 1);
    return 1;
}

// A B-scan is migrated as a whole, and the number of B-scans decides on their channels.
int vtkHostFkMigration::RequestUpdateExtent(vtkInformation*, vtkInformationVector** inputVector,
                                            vtkInformationVector*) {
    vtkInformation* in = inputVector[0]->GetInformationObject(0);
    in->Set(vtkStreamingDemandDrivenPipeline::UPDATE_EXTENT(),
            in->Get(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT()), 6);
    return 1;
}

int vtkHostFkMigration::RequestData(vtkInformation*, vtkInformationVector** inputVector,
                                    vtkInformationVector* outputVector) {
    vtkImageData* input = vtkImageData::GetData(inputVector[0]);
    vtkInformation* info = outputVector->GetInformationObject(0);
    vtkImageData* output = vtkImageData::GetData(info);
    if (input->GetScalarType() != VTK_FLOAT || input->GetNumberOfScalarComponents() != 1) {
        vtkErrorMacro(<< "needs one float per point");
        return 0;
    }
    this->AllocateOutputData(output, info, info->Get(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT()));
    this->ZeroImageData(output);
    return this->RunAlgorithm(input, output);
}

// Nothing may be thrown across a filter.
int vtkHostFkMigration::RunAlgorithm(vtkImageData* input, vtkImageData* output) {
    const int* size = input->GetDimensions();
    TZM::ImageProps props(size[0], size[1], size[2]);
    this->AlgoSetupImgPropsBscanInfo(&props);
    TZM::AlgoParamFkMigration params;
    params.timeZero = this->TimeZero;
    params.permittivity = this->Permittivity;
    this->AlgoPrmSetupGlobalParams(&params);
    try {
        TZM::AlgoFkMigration migration;
        migration.Setup(params);
        migration.ParseParamsFromJsonConfig();
        migration.Execute(static_cast<const float*>(input->GetScalarPointer()), props,
                          static_cast<float*>(output->GetScalarPointer()), migration.GetAdjustedImageDimensions(props));
        return 1;
    } catch (const TZM::Exception::CalcError& error) {
        vtkErrorMacro(<< error.GetMessage() << " (code " << error.GetCode() << ")");
        SetGlobalErrorState();
        this->SetErrorCode(vtkErrorCode::UserError);
    } catch (const std::bad_alloc&) {
        vtkErrorMacro(<< "not enough memory");
        this->SetErrorCode(vtkErrorCode::UnknownError);
    }
    return 0;
}

#pragma once

#include <Imaging/vtkTZMSimpleImageToImageFilter.h>

/// Fk migration as a VTK filter. Images hold one float per point, the samples of an A-scan along x, A-scans along y,
/// B-scans along z.
class vtkHostFkMigration : public vtkTZMSimpleImageToImageFilter {
public:
    static vtkHostFkMigration* New();
    vtkTypeMacro(vtkHostFkMigration, vtkTZMSimpleImageToImageFilter)

    /// Samples ahead of the direct wave, which the image does without.
    vtkSetMacro(TimeZero, int);
    vtkGetMacro(TimeZero, int);
    /// Relative permittivity of the ground.
    vtkSetMacro(Permittivity, float);
    vtkGetMacro(Permittivity, float);

protected:
    vtkHostFkMigration() = default;

    int RequestInformation(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RequestUpdateExtent(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RunAlgorithm(vtkImageData* input, vtkImageData* output) override;

    int TimeZero = 1;
    float Permittivity = 6;
};

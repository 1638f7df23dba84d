#pragma once

#include <ostream>

#include <vtkImageAlgorithm.h>

#include "Array/Export.h"

/// Common root of the library's own VTK classes. Abstract: NewInstance gives null.
class TZM_EXPORT vtkTZMBaseImageAlgorithm : public vtkImageAlgorithm {
public:
    vtkTypeMacro(vtkTZMBaseImageAlgorithm, vtkImageAlgorithm)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMBaseImageAlgorithm(const vtkTZMBaseImageAlgorithm&) = delete;
    void operator=(const vtkTZMBaseImageAlgorithm&) = delete;

protected:
    vtkTZMBaseImageAlgorithm() = default;
    ~vtkTZMBaseImageAlgorithm() override = default;

    /// A line of class and revision for every class from here up, as VTK's own classes gave it up to VTK 5.
    virtual void CollectRevisions(std::ostream& os);
};

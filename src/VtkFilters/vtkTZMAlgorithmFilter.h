#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "VtkFilters/vtkTZMBlockFilter.h"

class vtkDataArray;

/// Base of the filters that run one algorithm each: vtkTZM, the algorithm's name and Filter. The classes are made of
/// the library's list of algorithms; a value that a setter refuses is told to the error event and changes nothing.
///
/// The log switches are those of vtkTZMSimpleImageToImageFilter::GetOptions() unless they are set.
class TZM_EXPORT vtkTZMAlgorithmFilter : public vtkTZMBlockFilter {
public:
    vtkTypeMacro(vtkTZMAlgorithmFilter, vtkTZMBlockFilter)
    /// Tells every parameter with its value.
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMAlgorithmFilter(const vtkTZMAlgorithmFilter&) = delete;
    void operator=(const vtkTZMAlgorithmFilter&) = delete;

    /// A new filter of the algorithm of that name in the library's list, "FkMigration"; null if there is none.
    VTK_NEWINSTANCE static vtkTZMAlgorithmFilter* NewFilter(const char* algorithm);

    /// The name of the algorithm.
    const char* GetAlgorithmName() const;

    void ReadConfig() override;

protected:
    /// \param algorithm name in the library's list
    explicit vtkTZMAlgorithmFilter(const char* algorithm);
    ~vtkTZMAlgorithmFilter() override;

    const std::vector<TZM::Step>& PrepareSteps(TZM::Recording& about) override;
    bool CropsToData() const override { return false; }

    // Values of parameters, by name.
    void SetFlag(const char* parameter, bool value);
    bool GetFlag(const char* parameter);
    void SetInteger(const char* parameter, int value);
    int GetInteger(const char* parameter);
    void SetNumber(const char* parameter, double value);
    double GetNumber(const char* parameter);
    void SetText(const char* parameter, const char* value);
    const char* GetText(const char* parameter);

    // Lists; a longer one is filled up with zeros.
    void SetLength(const char* parameter, int count);
    int GetLength(const char* parameter);
    void SetElement(const char* parameter, int index, double value);
    double GetElement(const char* parameter, int index);
    void SetElements(const char* parameter, vtkDataArray* values);

    void SetWidths(const char* parameter, int lowerX, int upperX, int lowerY, int upperY, int lowerZ, int upperZ);
    int* GetWidths(const char* parameter);

private:
    struct Internals;
    const std::unique_ptr<Internals> Inner;
};

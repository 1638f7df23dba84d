#pragma once

#include <memory>
#include <ostream>
#include <vector>

#include "Imaging/vtkTZMSimpleImageToImageFilter.h"

class vtkInformation;
class vtkInformationObjectBaseKey;
class vtkMultiProcessController;

namespace TZM {
class SlabRun;
class Step;
struct RunDocuments;
struct Recording;
} // namespace TZM

/// What the filters of algorithms and chains have in common: their place in a pipeline.
///
/// **Images.** x counts the samples of an A-scan, its spacing in ns; y the A-scans of a line, in m; z the lines
/// (B-scans, interleaved by channel), in m. The active scalars of the points are one float each. Another scalar type
/// (vtkImageCast converts), several components, an image that is turned, a spacing that isn't above 0, an image of one
/// sample or one A-scan and an empty one are refused: an ErrorEvent tells what was expected, and the output is empty.
/// One line is an image: to an algorithm that tells channels apart it goes as five equal copies.
///
/// **Valid ranges** of lines are those of GetBscanInfoFirstValidIdx() and GetBscanInfoValidLen(), if both have a value
/// for each line; else those that the input's field data carry as int arrays "FirstValidAscan" and "ValidAscans"; else
/// every A-scan is valid. The output carries them on.
///
/// **Parts.** A part along z may be asked for: the filter asks its input for whole lanes, for the neighbours that its
/// algorithm needs, or for all of it. In parallel the image comes in slabs along z, one for each process; what couples
/// the block is reduced over the controller, so that no process sees it all. The image has the same bits on any number
/// of processes. A process whose input fails ahead of a filter, as of a file that it alone can't read, leaves the
/// others waiting.
///
/// **Intervals** belong to the process. A filter sets those of its input under a lock while it runs, and those of
/// before behind it: pipelines with different intervals may live, and run in several threads, in one process; they take
/// turns. A host that calls Execute itself, or sets GetOptions(), does so while no filter runs. GetOptions() doesn't
/// decide on the intervals of these filters, but on their log.
///
/// **Progress** comes from the loops over lines; AbortExecute ends them, and the output is empty then.
class TZM_EXPORT vtkTZMBlockFilter : public vtkTZMSimpleImageToImageFilter {
public:
    vtkTypeMacro(vtkTZMBlockFilter, vtkTZMSimpleImageToImageFilter)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMBlockFilter(const vtkTZMBlockFilter&) = delete;
    void operator=(const vtkTZMBlockFilter&) = delete;

    ///@{
    /// Threads that work on the lines; 0, the default: as many as the OpenMP runtime takes. The result doesn't depend
    /// on it.
    void SetNumberOfThreads(int threads);
    int GetNumberOfThreads() const { return this->NumberOfThreads; }
    ///@}

    ///@{
    /// The processes that share the block; the global controller unless another one is set.
    void SetController(vtkMultiProcessController* controller);
    vtkMultiProcessController* GetController() const { return this->Controller; }
    ///@}

    /// Takes the settings of a configuration document for the parameters (TZM::AlgoBase::SetConfigString); they count
    /// where the document names them.
    void ReadConfig() override;

    /// What is known of a recording beside its geometry, for filters further down. Passed on by filters of other kinds.
    static vtkInformationObjectBaseKey* RECORDING();

protected:
    vtkTZMBlockFilter();
    ~vtkTZMBlockFilter() override;

    /// The steps as they are to work on such a recording, which learns what they take for granted. TZM::Refusal.
    virtual const std::vector<TZM::Step>& PrepareSteps(TZM::Recording& about) = 0;
    /// The documents that count while the steps work; null, the default: those of the process.
    virtual const TZM::RunDocuments* Documents() const { return nullptr; }
    /// Whether a time-zero detection crops the block that the next step gets.
    virtual bool CropsToData() const = 0;

    int FillInputPortInformation(int port, vtkInformation* info) override;
    int RequestInformation(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RequestUpdateExtent(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RunAlgorithm(vtkImageData* input, vtkImageData* output) override;

private:
    struct Request;
    template <class Action>
    int Reported(vtkImageData* output, const Action& action);
    bool SharesBlock(vtkInformation* outInfo) const;

    int NumberOfThreads = 0;
    vtkMultiProcessController* Controller = nullptr;
    vtkInformation* InInfo = nullptr; ///< of the request that runs
    vtkInformation* OutInfo = nullptr;
    bool Shares = false; ///< what it does on the piece that was asked for last
};

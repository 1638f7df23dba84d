#pragma once

#include "Recording.h"

#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Imaging/vtkTZMSimpleImageToImageFilter.h"

#include <vtkSmartPointer.h>

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

// The parts of a VTK pipeline: reader, filters, writer. Images have the samples along x, in ns, the A-scans along y and
// the B-scans along z, in m.

namespace tzmchain {

class Progress;

/// An image over the samples of a recording, which live as long as the image, and a recording over those of an image.
vtkSmartPointer<vtkImageData> ImageOf(const Recording& recording);
/// Takes from `known` what an image doesn't hold. Refusal if the image isn't one of floats.
Recording RecordingOf(vtkImageData* image, const Recording& known);

/// Begins a pipeline: gives what `read` reads at its first update. A single line is given as `kCopiesOfSingleLine`
/// equal B-scans.
class RecordingReader : public vtkImageAlgorithm {
public:
    static RecordingReader* New();
    vtkTypeMacro(RecordingReader, vtkImageAlgorithm)

    void SetRead(std::function<Recording()> function);
    const Recording& About() const { return about; } ///< what was read, without its samples

protected:
    RecordingReader() { this->SetNumberOfInputPorts(0); }
    int RequestInformation(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;

private:
    bool Read();

    std::function<Recording()> read;
    Recording about, block;
    bool known = false;
};

/// B-scans handed to the chain for each one of a single line.
inline constexpr int kCopiesOfSingleLine = 5;

/// Runs an algorithm of the library on whole blocks. The image begins at sample 0 with the time of the first sample
/// that the algorithm keeps.
class AlgorithmFilter : public vtkTZMSimpleImageToImageFilter {
public:
    vtkTypeMacro(AlgorithmFilter, vtkTZMSimpleImageToImageFilter)

    virtual TZM::AlgoBase& Algorithm() = 0;

    /// Of the last update: samples by which a time-zero detection moved every B-scan, else none; samples that hold
    /// data.
    const std::vector<int>& Shifts() const { return shifts; }
    int UsableSamples() const { return usableSamples; }

protected:
    int RequestInformation(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RequestUpdateExtent(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RunAlgorithm(vtkImageData* input, vtkImageData* output) override;

private:
    std::vector<int> shifts;
    int usableSamples = 0;
};

/// The filter of algorithm class A.
template <class A>
class FilterOf final : public AlgorithmFilter {
public:
    static FilterOf* New() {
        auto* filter = new FilterOf;
        filter->InitializeObjectBase();
        return filter;
    }
    A& Algorithm() override { return algorithm; }

private:
    FilterOf() { this->AlgoPrmSetupGlobalParams(&algorithm.GetParams()); }
    A algorithm;
};

/// Brings an algorithm up to date. Its ProgressEvent moves the bar; its first ErrorEvent becomes a Refusal that begins
/// with `name`.
void Update(vtkAlgorithm* algorithm, const std::string& name, Progress& progress);

/// Writes the image of a port as an uncompressed .vti. Refusal if the file can't be written.
void WriteVti(vtkAlgorithmOutput* port, const std::filesystem::path& file, Progress& progress);

} // namespace tzmchain

// What a filter costs beside its algorithm: filter_run REPEATS. For some algorithms, on one thread, the least
// milliseconds of
//   - an Execute into the block in which the filter's image stands, the Update of a VTK filter that does no more than
//     this, and the filter's Update, which takes its block once more. Memory is the same on all sides, nothing is
//     allocated, and what is left is the pipeline;
//   - an Execute into an image that VTK allocates, whose memory is touched for the first time, and an Update of the
//     filter when it has no image, for which the library keeps the memory of the one before.
#include <malloc.h>
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include <vtkFloatArray.h>
#include <vtkImageAlgorithm.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkPointData.h>
#include <vtkSmartPointer.h>

#include "Chain/AlgorithmInfo.h"
#include "VtkFilters/vtkTZMAlgorithmFilter.h"

namespace {

constexpr int kSamples = 512, kAscans = 300, kBscans = 35;

vtkSmartPointer<vtkImageData> NewImage(const TZM::ImageProps& props) {
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(props.samplesPerAscan, props.ascansPerBscan, props.bscanCount);
    image->SetSpacing(0.05, 0.005, 0.05);
    image->AllocateScalars(VTK_FLOAT, 1);
    return image;
}

float* SamplesOf(vtkImageData* image) { return static_cast<float*>(image->GetScalarPointer()); }

/// The least time of an action.
class Least {
public:
    template <class Action>
    void Of(const Action& action) {
        const auto begin = std::chrono::steady_clock::now();
        action();
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
        milliseconds = std::min(milliseconds, took.count());
    }

    double milliseconds = 1e300;
};

/// A place in a pipeline, and nothing else: runs `execute`, which fills `scalars`.
class PlainFilter : public vtkImageAlgorithm {
public:
    static PlainFilter* New();
    vtkTypeMacro(PlainFilter, vtkImageAlgorithm)

    std::function<void()> execute;
    vtkDataArray* scalars = nullptr;

protected:
    int RequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector* outputs) override {
        vtkImageData* image = vtkImageData::GetData(outputs);
        image->SetDimensions(static_cast<int>(scalars->GetNumberOfTuples()), 1, 1);
        image->GetPointData()->SetScalars(scalars);
        execute();
        return 1;
    }
};
vtkStandardNewMacro(PlainFilter)

} // namespace

int main(int argc, char** argv) {
    omp_set_num_threads(1);
    mallopt(M_MMAP_THRESHOLD, 1 << 20); // a block that is released goes back to the system
    const int repeats = argc > 1 ? std::atoi(argv[1]) : 10;
    const TZM::ImageProps props(kSamples, kAscans, kBscans);
    const auto record = NewImage(props);
    unsigned state = 1;
    for (int i = 0; i < kSamples * kAscans * kBscans; ++i)
        SamplesOf(record)[i] = static_cast<float>((state = state * 1664525u + 1013904223u) >> 20) - 2048.f;
    std::printf("%-20s %8s %8s %8s %15s %8s\n", "ms", "Execute", "plain", "Update", "new: Execute", "Update");
    for (const char* name :
         {"OffsetRemoval", "DepthGaining", "Dewow", "Envelope", "FkMigration", "NormalizationCscan"}) {
        const TZM::AlgorithmInfo* info = TZM::FindAlgorithm(name);
        const auto algorithm = info->make();
        const TZM::ImageProps outProps = info->OutputProps(*algorithm, props);
        const auto filter = vtkSmartPointer<vtkTZMAlgorithmFilter>::Take(vtkTZMAlgorithmFilter::NewFilter(name));
        filter->SetNumberOfThreads(1);
        const vtkNew<PlainFilter> plain;
        const auto execute = [&](float* out) { algorithm->Execute(SamplesOf(record), props, out, outProps); };
        const auto update = [](vtkImageAlgorithm* which) {
            which->Modified();
            which->Update();
        };
        filter->SetInputData(record);
        filter->Update(); // warms up
        // Not an owner of the block, which the filter then couldn't take once more.
        const vtkNew<vtkFloatArray> view;
        view->SetArray(SamplesOf(filter->GetOutput()), filter->GetOutput()->GetNumberOfPoints(), 1);
        plain->SetInputData(record);
        plain->scalars = view;
        plain->execute = [&] { execute(view->GetPointer(0)); };
        Least bare, plainly, filtered, newBare, newFiltered;
        for (int i = 0; i < repeats; ++i) {
            bare.Of([&] { execute(view->GetPointer(0)); });
            plainly.Of([&] { update(plain); });
            filtered.Of([&] { update(filter); });
            if (SamplesOf(filter->GetOutput()) != view->GetPointer(0)) return std::puts("the block isn't taken again");
        }
        for (int i = 0; i < repeats; ++i) {
            vtkSmartPointer<vtkImageData> image;
            newBare.Of([&] { execute(SamplesOf(image = NewImage(outProps))); });
            filter->GetOutput()->ReleaseData();
            newFiltered.Of([&] { update(filter); });
        }
        std::printf("%-20s %8.2f %8.2f %8.2f %15.2f %8.2f   times %.3f, of plain %.3f, new %.3f\n", name,
                    bare.milliseconds, plainly.milliseconds, filtered.milliseconds, newBare.milliseconds,
                    newFiltered.milliseconds, filtered.milliseconds / bare.milliseconds,
                    filtered.milliseconds / plainly.milliseconds, newFiltered.milliseconds / newBare.milliseconds);
    }
    return 0;
}

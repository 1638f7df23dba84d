// What a filter costs beside its algorithm: filter_run REPEATS. For some algorithms, on one thread, the least
// milliseconds of an Execute into an image that VTK has just allocated, of the filter's Update, and the ratio.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <vtkImageData.h>
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

template <class Action>
double Milliseconds(const Action& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

int main(int argc, char** argv) {
    const int repeats = argc > 1 ? std::atoi(argv[1]) : 10;
    const TZM::ImageProps props(kSamples, kAscans, kBscans);
    const auto record = NewImage(props);
    unsigned state = 1;
    for (int i = 0; i < kSamples * kAscans * kBscans; ++i)
        SamplesOf(record)[i] = static_cast<float>((state = state * 1664525u + 1013904223u) >> 20) - 2048.f;
    for (const char* name :
         {"OffsetRemoval", "DepthGaining", "Dewow", "Envelope", "FkMigration", "NormalizationCscan"}) {
        const TZM::AlgorithmInfo* info = TZM::FindAlgorithm(name);
        const auto algorithm = info->make();
        const auto filter = vtkSmartPointer<vtkTZMAlgorithmFilter>::Take(vtkTZMAlgorithmFilter::NewFilter(name));
        filter->SetInputData(record);
        filter->SetNumberOfThreads(1);
        double bare = 1e300, filtered = 1e300;
        for (int i = 0; i <= repeats; ++i) { // the first warms up
            const double one = Milliseconds([&] {
                const auto outProps = info->OutputProps(*algorithm, props);
                algorithm->Execute(SamplesOf(record), props, SamplesOf(NewImage(outProps)), outProps);
            });
            const double other = Milliseconds([&] {
                filter->Modified();
                filter->Update();
            });
            if (i > 0) bare = std::min(bare, one), filtered = std::min(filtered, other);
        }
        std::printf("%-20s %8.2f ms %8.2f ms %6.3f\n", name, bare, filtered, filtered / bare);
    }
    return 0;
}

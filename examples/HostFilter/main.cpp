// Migrates an image with a filter of the host's own: host_filter IN.vti OUT.vti [TIME_ZERO [PERMITTIVITY]]
// Without arguments it records a point at a depth of 0.3 m itself, migrates that, and tells where the point is found.
#include "vtkHostFkMigration.h"

#include <vtkCallbackCommand.h>
#include <vtkImageData.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkXMLImageDataReader.h>
#include <vtkXMLImageDataWriter.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr double kSampling = 5e-11, kStep = 0.005, kPermittivity = 6, kDepth = 0.3; // s, m, relative, m
constexpr int kTimeZero = 20;                                                       // sample

double SamplesPerMetre() { return 2 * std::sqrt(kPermittivity) / 3e8 / kSampling; }

void RecordPoint(const std::string& file) {
    const vtkNew<vtkImageData> image;
    image->SetDimensions(256, 120, 5);
    image->SetSpacing(kSampling * 1e9, kStep, 0.05);
    image->AllocateScalars(VTK_FLOAT, 1);
    auto* value = static_cast<float*>(image->GetScalarPointer());
    for (int bscan = 0; bscan < 5; ++bscan)
        for (int ascan = 0; ascan < 120; ++ascan)
            for (int sample = 0; sample < 256; ++sample) {
                const double range = std::hypot((ascan - 60) * kStep, kDepth);
                const double phase = M_PI * 1.2e9 * (sample - kTimeZero - range * SamplesPerMetre()) * kSampling;
                *value++ = static_cast<float>((1 - 2 * phase * phase) * std::exp(-phase * phase));
            }
    const vtkNew<vtkXMLImageDataWriter> writer;
    writer->SetFileName(file.c_str());
    writer->SetInputData(image);
    writer->Write();
}

/// Whether the image is brightest where the point is.
bool FindPoint(vtkImageData* image) {
    const int* size = image->GetDimensions();
    const auto* value = static_cast<const float*>(image->GetScalarPointer());
    int best = 0;
    for (int i = 0; i < size[0] * size[1]; ++i)
        if (std::abs(value[i]) > std::abs(value[best])) best = i;
    const double depth = best % size[0] / SamplesPerMetre();
    std::printf("the point is at %.3f m along the scan and %.3f m deep\n", best / size[0] * kStep, depth);
    return std::abs(best / size[0] - 60) <= 1 && std::abs(depth - kDepth) < 0.01;
}

} // namespace

int main(int argc, char** argv) {
    const std::string input = argc > 2 ? argv[1] : "point.vti", output = argc > 2 ? argv[2] : "point-migrated.vti";
    if (argc <= 2) RecordPoint(input);

    const vtkNew<vtkXMLImageDataReader> reader;
    reader->SetFileName(input.c_str());
    const vtkNew<vtkHostFkMigration> migration;
    migration->SetInputConnection(reader->GetOutputPort());
    migration->SetTimeZero(argc > 3 ? std::atoi(argv[3]) : kTimeZero);
    migration->SetPermittivity(argc > 4 ? static_cast<float>(std::atof(argv[4])) : static_cast<float>(kPermittivity));
    const vtkNew<vtkXMLImageDataWriter> writer;
    writer->SetFileName(output.c_str());
    writer->SetInputConnection(migration->GetOutputPort());

    // What the library must know of the recording: the intervals, for all filters, and the valid A-scans of every
    // B-scan.
    reader->Update();
    auto& options = vtkTZMSimpleImageToImageFilter::GetOptions();
    options.SetDelta_t(static_cast<float>(reader->GetOutput()->GetSpacing()[0] * 1e-9));
    options.SetDelta_x(static_cast<float>(reader->GetOutput()->GetSpacing()[1]));
    const int* size = reader->GetOutput()->GetDimensions();
    for (int bscan = 0; bscan < size[2]; ++bscan) {
        migration->GetBscanInfoFirstValidIdx()->InsertNextValue(0);
        migration->GetBscanInfoValidLen()->InsertNextValue(size[1]);
    }

    const vtkNew<vtkCallbackCommand> failed;
    bool failure = false;
    failed->SetClientData(&failure);
    failed->SetCallback([](vtkObject*, unsigned long, void* told, void* text) {
        std::fprintf(stderr, "%s", static_cast<const char*>(text));
        *static_cast<bool*>(told) = true;
    });
    migration->AddObserver(vtkCommand::ErrorEvent, failed);
    if (!writer->Write() || failure) return 1;
    return argc > 2 || FindPoint(migration->GetOutput()) ? 0 : 1;
}

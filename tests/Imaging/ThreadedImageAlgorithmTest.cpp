#include "Imaging/vtkTZMThreadedImageAlgorithm.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <stdexcept>

#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationVector.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkPointData.h>
#include <vtkStreamingDemandDrivenPipeline.h>
#include <vtkTestErrorObserver.h>

namespace {

/// Adds 1, counts its pieces, and throws where it is told to.
class AddOne : public vtkTZMThreadedImageAlgorithm {
public:
    static AddOne* New();
    vtkTypeMacro(AddOne, vtkTZMThreadedImageAlgorithm)
    using vtkTZMThreadedImageAlgorithm::CollectRevisions;

    void ThreadedExecute(vtkImageData* in, vtkImageData* out, int extent[6], int) override {
        ++this->Pieces;
        if (this->Throws) throw std::runtime_error("no memory");
        for (int z = extent[4]; z <= extent[5]; ++z)
            for (int y = extent[2]; y <= extent[3]; ++y)
                for (int x = extent[0]; x <= extent[1]; ++x)
                    *static_cast<float*>(out->GetScalarPointer(x, y, z)) =
                        *static_cast<float*>(in->GetScalarPointer(x, y, z)) + 1;
    }
    std::atomic<int> Pieces{0};
    bool Throws = false;
};
vtkStandardNewMacro(AddOne)

    /// Overrides nothing.
    class Bare : public vtkTZMThreadedImageAlgorithm {
public:
    static Bare* New();
    vtkTypeMacro(Bare, vtkTZMThreadedImageAlgorithm)
};
vtkStandardNewMacro(Bare)

    /// Takes no input and gives one point.
    class Source : public vtkTZMThreadedImageAlgorithm {
public:
    static Source* New();
    vtkTypeMacro(Source, vtkTZMThreadedImageAlgorithm)
    Source() { this->SetNumberOfInputPorts(0); }
    int RequestInformation(vtkInformation*, vtkInformationVector**, vtkInformationVector* outputVector) override {
        const int point[6] = {};
        vtkInformation* info = outputVector->GetInformationObject(0);
        info->Set(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT(), point, 6);
        vtkDataObject::SetPointDataActiveScalarInfo(info, VTK_FLOAT, 1);
        return 1;
    }
    void ThreadedRequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*, vtkImageData*** inData,
                             vtkImageData** outData, int extent[6], int) override {
        EXPECT_EQ(inData, nullptr);
        *static_cast<float*>(outData[0]->GetScalarPointerForExtent(extent)) = 5;
    }
};
vtkStandardNewMacro(Source)

    /// A sink, with an input that needn't be connected ahead of the one that is.
    class Sink : public AddOne {
public:
    static Sink* New();
    vtkTypeMacro(Sink, AddOne)
    Sink() {
        this->SetNumberOfInputPorts(2);
        this->SetNumberOfOutputPorts(0);
    }
    int FillInputPortInformation(int port, vtkInformation* info) override {
        info->Set(INPUT_IS_OPTIONAL(), port == 0);
        return this->vtkTZMThreadedImageAlgorithm::FillInputPortInformation(port, info);
    }
    void ThreadedRequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*, vtkImageData*** inData,
                             vtkImageData** outData, int extent[6], int) override {
        EXPECT_EQ(inData[0], nullptr);
        EXPECT_EQ(outData, nullptr);
        this->Pieces += (extent[5] - extent[4] + 1) * inData[1][0]->GetDimensions()[0];
    }
};
vtkStandardNewMacro(Sink)

    vtkSmartPointer<vtkImageData> Image(int x, int y, int z) {
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(x, y, z);
    image->AllocateScalars(VTK_FLOAT, 1);
    for (int i = 0; i < x * y * z; ++i) static_cast<float*>(image->GetScalarPointer())[i] = float(i);
    return image;
}

std::vector<int> Split(std::vector<int> extent, int num, int total) {
    const vtkNew<Bare> filter;
    std::vector<int> piece(6);
    piece.push_back(filter->SplitExtent(piece.data(), extent.data(), num, total));
    return piece; // and their number
}

} // namespace

TEST(ThreadedImageAlgorithm, SplitsTheSlowestAxisThatHasMoreThanOneValue) {
    using V = std::vector<int>;
    const V plane{0, 9, 0, 9, 0, 0}, five{2, 2, 3, 3, 0, 4};
    EXPECT_EQ(Split(plane, 0, 4), (V{0, 9, 0, 2, 0, 0, 4}));
    EXPECT_EQ(Split(plane, 2, 4), (V{0, 9, 6, 8, 0, 0, 4}));
    EXPECT_EQ(Split(plane, 3, 4), (V{0, 9, 9, 9, 0, 0, 4}));
    EXPECT_EQ(Split(five, 1, 4), (V{2, 2, 3, 3, 2, 3, 3}));
    EXPECT_EQ(Split(five, 2, 4), (V{2, 2, 3, 3, 4, 4, 3}));
    EXPECT_EQ(Split(five, 3, 4), (V{2, 2, 3, 3, 0, 4, 3})); // not to be used
    EXPECT_EQ(Split({-3, 6, 4, 4, 7, 7}, 1, 2), (V{2, 6, 4, 4, 7, 7, 2}));
    EXPECT_EQ(Split({1, 1, 2, 2, 3, 3}, 0, 8), (V{1, 1, 2, 2, 3, 3, 1}));
    EXPECT_EQ(Split({0, 9, 0, 9, 0, -1}, 0, 8), (V{0, 9, 0, 9, 0, -1, 1}));
    EXPECT_EQ(Split({0, 9, 5, 4, 3, 3}, 0, 8), (V{0, 9, 5, 4, 3, 3, 1})); // met on the way
    EXPECT_EQ(Split(plane, 0, 0).back(), 1);
}

TEST(ThreadedImageAlgorithm, LimitsItsThreads) {
    const vtkNew<AddOne> filter;
    EXPECT_EQ(filter->GetNumberOfThreads(), vtkNew<vtkMultiThreader>()->GetNumberOfThreads());
    filter->SetNumberOfThreads(0);
    EXPECT_EQ(filter->GetNumberOfThreads(), 1);
    filter->SetNumberOfThreads(65);
    EXPECT_EQ(filter->GetNumberOfThreads(), 64);
    EXPECT_EQ(filter->GetNumberOfThreadsMinValue(), 1);
    EXPECT_EQ(filter->GetNumberOfThreadsMaxValue(), 64);
    const auto time = filter->GetMTime();
    filter->SetNumberOfThreads(64);
    EXPECT_EQ(filter->GetMTime(), time);
    std::ostringstream printed, revisions;
    filter->Print(printed);
    EXPECT_NE(printed.str().find("  NumberOfThreads: 64\n"), std::string::npos);
    filter->CollectRevisions(revisions);
    EXPECT_EQ(revisions.str(),
              "vtkTZMBaseImageAlgorithm $Revision: 0.1 $\nvtkTZMThreadedImageAlgorithm $Revision: 1.11 $\n");
}

TEST(ThreadedImageAlgorithm, RunsEveryPieceOnce) {
    const auto image = Image(5, 4, 9);
    for (const int threads : {1, 2, 7, 64}) {
        const vtkNew<AddOne> filter;
        filter->SetInputData(image);
        filter->SetNumberOfThreads(threads);
        filter->SetDebug(false);
        filter->Update();
        const auto* out = static_cast<float*>(filter->GetOutput()->GetScalarPointer());
        for (int i = 0; i < 180; ++i) EXPECT_EQ(out[i], i + 1) << threads;
        EXPECT_EQ(filter->Pieces, std::min(threads, threads == 7 ? 5 : 9));
    }
    const vtkNew<AddOne> part; // only what is asked for
    part->SetInputData(image);
    part->UpdateInformation();
    const int extent[6] = {1, 3, 2, 2, 4, 4};
    part->UpdateExtent(extent);
    EXPECT_EQ(*static_cast<float*>(part->GetOutput()->GetScalarPointer(2, 2, 4)), 92 + 1);
}

TEST(ThreadedImageAlgorithm, ReportsInPlaceOfThrowing) {
    const vtkNew<vtkTest::ErrorObserver> observer;
    const vtkNew<AddOne> failing;
    failing->AddObserver("ErrorEvent", observer);
    failing->SetInputData(Image(2, 2, 8));
    failing->Throws = true;
    failing->Update();
    EXPECT_NE(observer->GetErrorMessage().find("Execute: no memory"), std::string::npos);
    EXPECT_EQ(observer->GetErrorMessage().find("Execute", observer->GetErrorMessage().find("Execute") + 1),
              std::string::npos); // once, not per thread
    observer->Clear();

    const vtkNew<Bare> bare;
    bare->AddObserver("ErrorEvent", observer);
    bare->SetNumberOfThreads(1);
    bare->SetInputData(Image(2, 2, 2));
    bare->Update();
    std::ostringstream expected;
    expected << "ERROR: In ..\\..\\src\\Imaging\\vtkTZMThreadedImageAlgorithm, line 334\nBare ("
             << static_cast<vtkObject*>(bare.Get()) << "): Subclass should override this method!!!\n\n";
    EXPECT_EQ(observer->GetErrorMessage(), expected.str());
    observer->Clear();
    vtkObject::GlobalWarningDisplayOff();
    bare->Modified();
    bare->Update();
    vtkObject::GlobalWarningDisplayOn();
    EXPECT_FALSE(observer->GetError());
}

TEST(ThreadedImageAlgorithm, DoesWithoutInputsOrOutputs) {
    const vtkNew<Source> source;
    source->Update();
    EXPECT_EQ(source->GetOutput()->GetScalarComponentAsDouble(0, 0, 0, 0), 5);
    const vtkNew<Sink> sink;
    sink->SetInputDataObject(1, Image(3, 2, 10));
    sink->Update();
    EXPECT_EQ(sink->Pieces, 30);
}

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <sstream>

#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkTestErrorObserver.h>
#include <vtkTrivialProducer.h>

#include "Imaging/vtkTZMImageDifferenceF.h"
#include "Imaging/vtkTZMImageDifferenceUS.h"

namespace {

template <class T>
vtkSmartPointer<vtkImageData> Image(int type, std::vector<int> size, const std::function<T(int)>& value,
                                    int components = 1) {
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(size.data());
    image->AllocateScalars(type, components);
    const auto points = image->GetNumberOfPoints();
    for (vtkIdType i = 0; i < points; ++i)
        for (int c = 0; c < components; ++c)
            static_cast<T*>(image->GetScalarPointer())[i * components + c] = value(int(i));
    return image;
}

vtkSmartPointer<vtkImageData> Floats(std::vector<int> size, const std::function<float(int)>& value,
                                     int components = 1) {
    return Image<float>(VTK_FLOAT, size, value, components);
}

vtkSmartPointer<vtkImageData> Levels(std::vector<int> size, const std::function<unsigned short(int)>& value) {
    return Image<unsigned short>(VTK_UNSIGNED_SHORT, size, value);
}

struct FilterF : vtkTZMImageDifferenceF {
    static FilterF* New() {
        auto* filter = new FilterF;
        filter->InitializeObjectBase();
        return filter;
    }
    using vtkTZMImageDifferenceF::CollectRevisions, vtkTZMImageDifferenceF::ThreadedRequestData;
    float* Errors() { return this->ErrorPerThread; }
    bool Smp() const { return this->EnableSMP; }
};

/// Errors of one pixel a against b, and its output.
struct PixelErrors {
    float error, thresholded, most, out;
};
PixelErrors Compare(float a, float b, CompareModes mode, float threshold = 0) {
    const vtkNew<vtkTZMImageDifferenceF> filter;
    filter->SetInputData(Floats({1, 1, 1}, [&](int) { return a; }));
    filter->SetImage(Floats({1, 1, 1}, [&](int) { return b; }));
    filter->SetCompareMode(mode);
    filter->SetThreshold(threshold);
    filter->SetNumberOfThreads(1);
    filter->Update();
    return {filter->GetError(), filter->GetThresholdedError(), filter->GetMaxPixelError(),
            float(filter->GetOutput()->GetScalarComponentAsDouble(0, 0, 0, 0))};
}

template <class Filter>
std::string Report(Filter* filter, const std::string& place, const std::string& message) {
    std::ostringstream text;
    text << "ERROR: In ..\\..\\src\\Imaging\\" << place << "\n"
         << filter->GetClassName() << " (" << static_cast<vtkObject*>(filter) << "): " << message << "\n\n";
    return text.str();
}

} // namespace

TEST(ImageDifferenceF, ComparesPixelsAbsolutelyOrAgainstTheLarger) {
    const struct {
        float a, b, absolute, relative;
    } cases[] = {{0.5f, 0.25f, 0.25f, 0.25f}, {4, 2, 2, 0.5f},  {2, 4, 2, 0.5f},    {0, 3, 3, 3}, {3, 0, 3, 3},
                 {1, 0.5f, 0.5f, 0.5f},       {-4, 2, 6, 1.5f}, {-0.5f, 0.5f, 1, 1}};
    for (const auto& c : cases) {
        EXPECT_EQ(Compare(c.a, c.b, AbsoluteDifference).error, c.absolute) << c.a << " " << c.b;
        EXPECT_EQ(Compare(c.a, c.b, CompareModes(5)).error, c.absolute);
        EXPECT_EQ(Compare(c.a, c.b, RelativeDifference).error, c.relative) << c.a << " " << c.b;
    }
    const PixelErrors above = Compare(1.25f, 1, AbsoluteDifference, 0.1f),
                      below = Compare(1.05f, 1, AbsoluteDifference, 0.1f);
    EXPECT_FLOAT_EQ(above.out, 0.15f);
    EXPECT_EQ(above.thresholded, above.out);
    EXPECT_EQ(above.error, 0.25f);
    EXPECT_EQ(below.out, 0);
    EXPECT_GT(below.error, 0.04f);
    const PixelErrors none = Compare(NAN, 1, AbsoluteDifference);
    EXPECT_EQ(none.error, 1e38f);
    EXPECT_EQ(none.most, 0);
    EXPECT_EQ(Compare(-9e37f, 9e37f, AbsoluteDifference).error, 1e38f);
    EXPECT_EQ(Compare(-9e37f, 9e37f, AbsoluteDifference).most, 1.8e38f);
}

TEST(ImageDifference, SumsAreRightOnAnyNumberOfThreads) {
    vtkThreadedImageAlgorithm::SetGlobalDefaultEnableSMP(true);
    const std::vector<int> size{33, 17, 130};
    const vtkNew<FilterF> floats;
    const vtkNew<vtkTZMImageDifferenceUS> levels;
    vtkThreadedImageAlgorithm::SetGlobalDefaultEnableSMP(false);
    floats->SetEnableSMP(true);
    EXPECT_FALSE(floats->Smp());
    floats->SetInputData(Floats(size, [](int i) { return float(i % 7); }));
    floats->SetImage(Floats(size, [](int i) { return float(i % 5); }));
    floats->SetThreshold(1.5f);
    levels->SetInputData(Levels(size, [](int i) { return i % 7 * 9000; }));
    levels->SetImage(Levels(size, [](int i) { return i % 5 * 9000; }));
    levels->SetThreshold(13500);
    double sum = 0, above = 0;
    for (int i = 0; i < 33 * 17 * 130; ++i) {
        const double e = std::abs(i % 7 - i % 5);
        sum += e;
        above += std::max(e - 1.5, 0.);
    }
    for (const int threads : {64, 7, 2, 1}) { // downwards: entries of threads beyond the number don't count
        floats->SetNumberOfThreads(threads);
        levels->SetNumberOfThreads(threads);
        floats->Update();
        levels->Update();
        EXPECT_FLOAT_EQ(floats->GetError(), sum) << threads;
        EXPECT_FLOAT_EQ(floats->GetThresholdedError(), above);
        EXPECT_EQ(floats->GetMaxPixelError(), 6);
        EXPECT_NEAR(levels->GetError(), sum * 9000 / 65535, 1e-9 * sum);
        EXPECT_NEAR(levels->GetThresholdedError(), above * 9000 / 65535, 1e-9 * sum);
        EXPECT_EQ(levels->GetOutput()->GetScalarComponentAsDouble(6, 0, 0, 0), 5 * 9000 - 13500);
    }
    float error = 0, thresholded = 0, most = 0;
    floats->GetError(&error);
    floats->GetThresholdedError(&thresholded);
    floats->GetMaxPixelError(&most);
    EXPECT_FLOAT_EQ(error, sum);
    EXPECT_FLOAT_EQ(thresholded, above);
    EXPECT_EQ(most, 6);
    std::ostringstream printed;
    floats->Print(printed);
    for (const char* line : {"  Error for thread 0: ", "  Max pixel error for thread 0: 6\n",
                             "  ThresholdedError for thread 0: ", "  Threshold: 1.5\n"})
        EXPECT_NE(printed.str().find(line), std::string::npos) << line;
    floats->SetNumberOfThreads(2);
    floats->Errors()[1] = 3;
    floats->Errors()[0] = 4;
    EXPECT_EQ(floats->GetError(), 7); // an entry of a thread without a piece counts as it is
}

TEST(ImageDifferenceF, StopsAtAValueBeyondItsLimits) {
    const vtkNew<vtkTZMImageDifferenceF> filter;
    const vtkNew<vtkTest::ErrorObserver> observer;
    filter->AddObserver("ErrorEvent", observer);
    filter->SetInputData(Floats({10, 1, 1}, [](int i) { return i == 6 ? 101.f : i == 8 ? -500.f : 1.f; }));
    filter->SetImage(Floats({10, 1, 1}, [](int) { return 3.f; }));
    filter->SetNumberOfThreads(1);
    filter->SetUpperLimit(100);
    filter->Update();
    EXPECT_EQ(filter->GetError(), 12);
    EXPECT_EQ(observer->GetErrorMessage(),
              Report(filter.Get(), "vtkTZMImageDifferenceF, line 226",
                     "Float value of input not in range -1e+38 to 100\nInput1: 101 Input2: 3\n"));
    const auto time = filter->GetMTime();
    filter->SetUpperLimit(100);
    filter->SetLowerLimit(-1e38f);
    filter->SetCompareMode(AbsoluteDifference);
    EXPECT_EQ(filter->GetMTime(), time);
    filter->SetUpperLimit(200);
    filter->SetLowerLimit(0);
    filter->Update();
    EXPECT_EQ(filter->GetError(), 7 * 2 + 98);
}

TEST(ImageDifference, RefusesImagesThatCannotBeCompared) {
    const vtkNew<vtkTest::ErrorObserver> observer;
    const auto floats = Floats({4, 4, 8}, [](int) { return 1.f; });
    const auto levels = Levels({4, 4, 8}, [](int) { return 1; });
    const vtkNew<FilterF> f;
    const vtkNew<vtkTZMImageDifferenceUS> us;
    for (vtkThreadedImageAlgorithm* filter :
         {static_cast<vtkThreadedImageAlgorithm*>(f), static_cast<vtkThreadedImageAlgorithm*>(us)}) {
        filter->AddObserver("ErrorEvent", observer);
        filter->SetNumberOfThreads(4);
    }
    f->SetInputData(floats);
    f->SetImage(levels);
    f->Update();
    EXPECT_EQ(observer->GetErrorMessage(),
              Report(f.Get(), "vtkTZMImageDifferenceF, line 170", "Execute: Scalar type must be float and not: float"));
    EXPECT_EQ(f->GetMaxPixelError(), 1e38f);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(f->Errors()[i], 1e38f);
    observer->Clear();
    us->SetInputData(floats);
    us->SetImage(floats);
    us->Update();
    EXPECT_EQ(observer->GetErrorMessage(), Report(us.Get(), "vtkTZMImageDifferenceUS, line 160",
                                                  "Execute: Scalar type must be unsigned short and not: float"));
    EXPECT_EQ(us->GetError(), 4000);
    observer->Clear();
    f->SetImage(Floats(
        {4, 4, 8}, [](int) { return 1.f; }, 2));
    f->Update();
    EXPECT_EQ(observer->GetErrorMessage(),
              Report(f.Get(), "vtkTZMImageDifferenceF, line 155", "Execute: Expecting 1 component "));
    observer->Clear();
    int extent[6] = {0, 3, 0, 3, 0, 7};
    vtkImageData *first[] = {floats}, **in[] = {first, nullptr}, *out[] = {floats};
    f->ThreadedRequestData(nullptr, nullptr, nullptr, in, out, extent, 3);
    EXPECT_FALSE(observer->GetError()); // told on thread 0 alone
    f->ThreadedRequestData(nullptr, nullptr, nullptr, in, out, extent, 0);
    EXPECT_EQ(observer->GetErrorMessage(),
              Report(f.Get(), "vtkTZMImageDifferenceF, line 141", "Execute: Missing data"));
    EXPECT_EQ(f->Errors()[3], 1e38f);
}

TEST(ImageDifference, ComparesWhatImagesOfTwoSizesShare) {
    const vtkNew<vtkTest::ErrorObserver> observer;
    const vtkNew<vtkTZMImageDifferenceF> filter;
    filter->AddObserver("ErrorEvent", observer);
    filter->SetInputData(Floats({6, 5, 4}, [](int) { return 1.f; }));
    EXPECT_EQ(filter->GetImage(), nullptr);
    const auto other = Floats({4, 5, 7}, [](int) { return 3.f; });
    filter->SetImage(other);
    EXPECT_EQ(filter->GetImage(), other);
    filter->UpdateInformation();
    EXPECT_EQ(filter->GetMaxPixelError(), 1e38f);
    EXPECT_EQ(observer->GetErrorMessage(),
              Report(filter.Get(), "vtkTZMImageDifferenceF, line 327",
                     "ExecuteInformation: Input are not the same size.\n Input1 is: 0,5,0,4,0,3\n Input2 is: "
                     "0,3,0,4,0,6"));
    filter->SetNumberOfThreads(1);
    filter->Update();
    EXPECT_EQ(filter->GetOutput()->GetDimensions()[0], 4);
    EXPECT_EQ(filter->GetOutput()->GetDimensions()[2], 4);
    EXPECT_EQ(filter->GetError(), 2 * 4 * 5 * 4);
    filter->SetImage(nullptr);
    EXPECT_EQ(filter->GetImage(), nullptr);
}

TEST(ImageDifference, CountsItsProgressInRowsAndCanBeStopped) {
    const vtkNew<vtkTZMImageDifferenceUS> filter;
    const auto image = Levels({4, 100, 3}, [](int) { return 1; });
    filter->SetInputData(image);
    filter->SetImage(Levels({4, 100, 3}, [](int) { return 2; }));
    filter->SetNumberOfThreads(1);
    struct Watch : vtkCommand {
        static Watch* New() { return new Watch; }
        void Execute(vtkObject* caller, unsigned long, void*) override {
            auto* algorithm = vtkAlgorithm::SafeDownCast(caller);
            steps.push_back(algorithm->GetProgress());
            if (steps.size() == stopAt) algorithm->SetAbortExecute(1);
        }
        std::vector<double> steps;
        std::size_t stopAt = 0;
    };
    const vtkNew<Watch> watch;
    filter->AddObserver(vtkCommand::ProgressEvent, watch);
    filter->Update();
    EXPECT_NEAR(filter->GetError(), 1200 / 65535., 1e-12);
    ASSERT_GT(watch->steps.size(), 44u); // 300 rows, one of 7, beside VTK's own
    EXPECT_DOUBLE_EQ(watch->steps[2], 7 / (50. * 7));
    watch->stopAt = watch->steps.size() + 5;
    filter->Modified();
    filter->Update();
    EXPECT_LT(filter->GetError(), 600 / 65535.);
    EXPECT_GT(filter->GetError(), 0);
}

TEST(ImageDifference, AreVtkClasses) {
    const vtkNew<FilterF> f;
    const vtkNew<vtkTZMImageDifferenceUS> us;
    EXPECT_TRUE(us->IsA("vtkThreadedImageAlgorithm"));
    EXPECT_EQ(us->GetNumberOfInputPorts(), 2);
    const auto another = vtkSmartPointer<vtkTZMImageDifferenceUS>::Take(us->NewInstance());
    EXPECT_STREQ(another->GetClassName(), "vtkTZMImageDifferenceUS");
    std::ostringstream revisions;
    f->CollectRevisions(revisions);
    EXPECT_EQ(revisions.str(), "vtkTZMImageDifferenceF $Revision: 0.1 $\n");
}

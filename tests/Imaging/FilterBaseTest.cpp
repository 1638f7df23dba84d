#include "Imaging/vtkTZMSimpleImageToImageFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkPointData.h>

#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Framework/AlgoBase.h"

namespace {

class Filter : public vtkTZMSimpleImageToImageFilter {
public:
    static Filter* New();
    vtkTypeMacro(Filter, vtkTZMSimpleImageToImageFilter)
    using vtkTZMSimpleImageToImageFilter::AlgoPrmSetupGlobalParams, vtkTZMSimpleImageToImageFilter::ZeroImageData,
        vtkTZMSimpleImageToImageFilter::GetShortClassName, vtkTZMSimpleImageToImageFilter::GetLoggingPrefix,
        vtkTZMSimpleImageToImageFilter::CollectRevisions;

    std::vector<std::pair<int, int>> Ranges(TZM::ImageProps props, const std::vector<int>& first,
                                            const std::vector<int>& lengths) {
        this->GetBscanInfoFirstValidIdx()->Reset();
        this->GetBscanInfoValidLen()->Reset();
        for (const int value : first) this->GetBscanInfoFirstValidIdx()->InsertNextValue(value);
        for (const int value : lengths) this->GetBscanInfoValidLen()->InsertNextValue(value);
        this->AlgoSetupImgPropsBscanInfo(&props);
        std::vector<std::pair<int, int>> ranges;
        for (const auto& info : props.bscanInfo) ranges.emplace_back(info.firstValidIdx, info.validLen);
        return ranges;
    }

protected:
    int RunAlgorithm(vtkImageData*, vtkImageData*) override { return 1; }
};
vtkStandardNewMacro(Filter)

    class vtkTZMBgRemoval : public Filter {
public:
    static vtkTZMBgRemoval* New();
    vtkTypeMacro(vtkTZMBgRemoval, Filter)
};
vtkStandardNewMacro(vtkTZMBgRemoval)

} // namespace

TEST(ProcessChainOptions, OnlyTheSettersReachTheAlgorithms) {
    ProcessChainOptions& options = vtkTZMSimpleImageToImageFilter::GetOptions();
    auto& settings = TZM::AlgoBase::GetGlobalSettings();
    const ProcessChainOptions before = options;
    const auto settingsBefore = settings;
    EXPECT_TRUE(before.GetEnableLogging());
    EXPECT_EQ(before.GetLoggingLevel(), 1);
    EXPECT_EQ(before.GetDelta_t(), 5e-11f);
    EXPECT_EQ(before.GetDelta_x(), 0.005f);
    options.SetDelta_t(1e-10f);
    options.SetDelta_x(0.02f);
    for (const float ignored : {0.f, -1.f, NAN}) {
        options.SetDelta_t(ignored);
        options.SetDelta_x(ignored);
    }
    EXPECT_EQ(options.GetDelta_t(), 1e-10f);
    EXPECT_EQ(settings.delta_t, 1e-10f);
    EXPECT_EQ(settings.delta_x, 0.02f);
    options = before;
    EXPECT_EQ(options.GetDelta_x(), 0.005f);
    EXPECT_EQ(settings.delta_x, 0.02f);
    settings = settingsBefore;
}

TEST(SimpleImageToImageFilter, HandsValidRangesOverWithinTheirLimits) {
    const vtkNew<Filter> filter;
    using Ranges = std::vector<std::pair<int, int>>;
    const TZM::ImageProps props(64, 10, 3);
    EXPECT_EQ(filter->Ranges(props, {2, 15, -3}, {5, 4, -2}), (Ranges{{2, 5}, {9, 1}, {0, 0}}));
    EXPECT_EQ(filter->Ranges(props, {0, 9, 4}, {99, 1, 99}), (Ranges{{0, 10}, {9, 1}, {4, 6}}));
    const Ranges whole{{0, 10}, {0, 10}, {0, 10}};
    EXPECT_EQ(filter->Ranges(props, {2, 2}, {5, 5, 5}), whole);
    EXPECT_EQ(filter->Ranges(props, {2, 2, 2}, {5, 5, 5, 5}), whole);
    TZM::ImageProps bare = props; // without entries
    bare.bscanInfo.clear();
    EXPECT_EQ(filter->Ranges(bare, {1, 1, 1}, {2, 2, 2}), (Ranges{{1, 2}, {1, 2}, {1, 2}}));
    EXPECT_EQ(filter->Ranges(TZM::ImageProps(64, 10, 0), {}, {}), Ranges{});
    EXPECT_EQ(filter->Ranges(TZM::ImageProps(64, 0, 1), {5}, {5}), (Ranges{{0, 0}}));
}

TEST(SimpleImageToImageFilter, SetsParametersWithoutTellingAnybody) {
    struct Counter : TZM::AlgoParamBase::Listener {
        void Notify() override { ++count; }
        int count = 0;
    } counter;
    TZM::AlgoParamFkMigration params;
    params.AddListener(&counter);
    const vtkNew<Filter> filter;
    filter->AlgoPrmSetupGlobalParams(nullptr);
    ProcessChainOptions& options = Filter::GetOptions();
    options.SetEnableLogging(false);
    options.SetLoggingLevel(7);
    filter->AlgoPrmSetupGlobalParams(&params);
    options = ProcessChainOptions();
    EXPECT_FALSE(params.enableLogging);
    EXPECT_EQ(params.loggingLevel, 7);
    EXPECT_EQ(counter.count, 0);

    EXPECT_FALSE(Filter::GetGlobalErrorState() || Filter::GetUseGlobalErrorState());
    Filter::SetGlobalErrorState();
    Filter::SetUseGlobalErrorState(true);
    EXPECT_TRUE(Filter::GetGlobalErrorState() && Filter::GetUseGlobalErrorState());
    Filter::ClearGlobalErrorState();
    Filter::SetUseGlobalErrorState(false);
    EXPECT_FALSE(Filter::GetGlobalErrorState() || Filter::GetUseGlobalErrorState());
}

TEST(SimpleImageToImageFilter, TellsItsNamesAndRevisions) {
    const vtkNew<Filter> filter;
    const vtkNew<vtkTZMBgRemoval> named;
    EXPECT_STREQ(filter->GetShortClassName(), "Filter");
    EXPECT_STREQ(named->GetShortClassName(), "BgRemoval");
    EXPECT_STREQ(named->GetLoggingPrefix(), "vtkTZMBgRemoval");
    EXPECT_TRUE(named->IsA("vtkTZMSimpleImageToImageFilter") && named->IsA("vtkTZMBaseImageAlgorithm") &&
                named->IsA("vtkImageAlgorithm"));
    EXPECT_EQ(vtkTZMSimpleImageToImageFilter::SafeDownCast(named), named);
    EXPECT_EQ(vtkTZMSimpleImageToImageFilter::SafeDownCast(vtkNew<vtkIntArray>()), nullptr);
    const auto another = vtkSmartPointer<Filter>::Take(filter->NewInstance());
    EXPECT_STREQ(another->GetClassName(), "Filter");
    std::ostringstream revisions, printed;
    filter->CollectRevisions(revisions);
    EXPECT_EQ(revisions.str(), "vtkTZMBaseImageAlgorithm $Revision: 0.1 $\n"
                               "vtkTZMSimpleImageToImageFilter $Revision: 0.1 $\n");
    filter->Print(printed);
    EXPECT_NE(printed.str().find("Reference Count"), std::string::npos);
    filter->ReadConfig();
}

TEST(SimpleImageToImageFilter, ZeroesAnImageAndNothingBehindIt) {
    const vtkNew<Filter> filter;
    filter->ZeroImageData(nullptr);
    const vtkNew<vtkImageData> image;
    filter->ZeroImageData(image); // without scalars
    image->SetDimensions(3, 4, 2);
    for (const int type : {VTK_FLOAT, VTK_SHORT}) {
        image->AllocateScalars(type, 1);
        image->GetPointData()->GetScalars()->Fill(7);
        filter->ZeroImageData(image);
        double range[2];
        image->GetPointData()->GetScalars()->GetRange(range);
        EXPECT_EQ(range[0], 0);
        EXPECT_EQ(range[1], 0);
    }
}

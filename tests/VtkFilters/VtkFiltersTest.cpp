#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>

#include <vtkCallbackCommand.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkStreamingDemandDrivenPipeline.h>
#include <vtkTestErrorObserver.h>
#include <vtkTrivialProducer.h>

#include "Chain/Chain.h"
#include "Formats/Writers.h"
#include "Framework/CalcError.h"
#include "Recording/private/Text.h"
#include "VtkFilters/vtkTZMBgRemovalFilter.h"
#include "VtkFilters/vtkTZMChainFilter.h"
#include "VtkFilters/vtkTZMClipperFilter.h"
#include "VtkFilters/vtkTZMFkMigrationFilter.h"
#include "VtkFilters/vtkTZMHorizontalSumUpFilter.h"
#include "VtkFilters/vtkTZMNormalizationCscanFilter.h"
#include "VtkFilters/vtkTZMOffsetRemovalFilter.h"
#include "VtkFilters/vtkTZMRecordingReader.h"
#include "VtkFilters/vtkTZMTimeGainFilter.h"
#include "VtkFilters/vtkTZMTopographyFilter.h"
#include "support/AllAlgorithms.h"
#include "support/Scenes.h"
#include "support/TemporaryFolder.h"

namespace {

using TZM::AlgorithmInfo;
using Image = vtkSmartPointer<vtkImageData>;

constexpr double kDeltaT = 0.1, kDeltaX = 0.02; // ns, m

/// An image over the samples of a block, which begins at index 3 along z.
Image ImageOver(const Block& block) {
    const auto image = Image::New();
    const auto& p = block.props;
    image->SetExtent(0, p.samplesPerAscan - 1, 0, p.ascansPerBscan - 1, 3, 2 + p.bscanCount);
    image->SetSpacing(kDeltaT, kDeltaX, 0.1);
    image->SetOrigin(1, 2, 4);
    const vtkNew<vtkFloatArray> scalars;
    scalars->SetArray(const_cast<float*>(block.data.data()), static_cast<vtkIdType>(block.data.size()), 1);
    image->GetPointData()->SetScalars(scalars);
    return image;
}

/// Errors of a filter and of the executive that runs it.
struct Watched {
    explicit Watched(vtkAlgorithm* ofFilter) : filter(ofFilter) {
        filter->AddObserver(vtkCommand::ErrorEvent, errors);
        filter->GetExecutive()->AddObserver(vtkCommand::ErrorEvent, executives);
    }
    std::string Error() { return errors->GetError() ? errors->GetErrorMessage() : ""; }

    vtkAlgorithm* const filter;
    const vtkNew<vtkTest::ErrorObserver> errors, executives;
};

std::vector<float> ScalarsOf(vtkImageData* image) {
    auto* scalars = vtkFloatArray::SafeDownCast(image->GetPointData()->GetScalars());
    return scalars ? std::vector<float>(scalars->Begin(), scalars->End()) : std::vector<float>();
}

bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

/// The image as so many slabs along z, each of which shares a line with the next one.
std::vector<float> InPieces(vtkImageAlgorithm* filter, int pieces) {
    std::vector<float> all;
    const int* const whole = filter->GetOutputInformation(0)->Get(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT());
    const std::size_t line = std::size_t(whole[1] - whole[0] + 1) * (whole[3] - whole[2] + 1);
    for (int piece = 0; piece < pieces; ++piece) {
        filter->Modified(); // the whole image would serve
        filter->UpdatePiece(piece, pieces, 0);
        const std::vector<float> part = ScalarsOf(filter->GetOutput());
        const std::size_t begin = (filter->GetOutput()->GetExtent()[4] - whole[4]) * line;
        EXPECT_LT(part.size() / line, whole[5] - whole[4] + 1);
        if (begin > all.size()) return {};
        all.resize(begin);
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/// What an algorithm gives when a host calls it.
std::vector<float> Bare(const AlgorithmInfo& row, const Block& block) {
    const auto algorithm = row.make();
    auto& settings = TZM::AlgoBase::GetGlobalSettings();
    const auto before = settings;
    settings = {static_cast<float>(kDeltaT * 1e-9), static_cast<float>(kDeltaX)};
    const auto props = algorithm->GetAdjustedImageDimensions(block.props);
    Block out(props);
    try {
        algorithm->Execute(block.data.data(), block.props, out.data.data(), props);
    } catch (const TZM::Exception::CalcError&) {
        out.data.clear();
    }
    settings = before;
    return out.data;
}

Block Scene(int bscans) {
    Block scene = NoiseBlock(64, 12, bscans, 100);
    for (int z = 0; z < bscans; ++z)
        for (int y = 0; y < 12; ++y) scene.At(9, y, z) -= 5000;
    for (int z = 0; z < bscans; ++z) scene.props.bscanInfo[z] = {z % 3, 12 - z % 3 - z % 2};
    return scene;
}

class EveryAlgorithm : public testing::TestWithParam<std::string> {};

std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const AlgorithmInfo& row : TZM::Algorithms()) names.push_back(row.name);
    return names;
}

} // namespace

TEST_P(EveryAlgorithm, GivesTheBitsOfItsExecuteWholeAndInPieces) {
    const AlgorithmInfo& row = *TZM::FindAlgorithm(GetParam());
    for (const int bscans : {35, 49}) { // lanes of five, and of seven of which five would pass for lanes of five
        const Block scene = Scene(bscans);
        const auto filter =
            vtkSmartPointer<vtkTZMAlgorithmFilter>::Take(vtkTZMAlgorithmFilter::NewFilter(row.name.c_str()));
        ASSERT_TRUE(filter);
        EXPECT_EQ(filter->GetClassName(), "vtkTZM" + row.name + "Filter");
        Watched watched(filter);
        for (const auto& range : scene.props.bscanInfo) {
            filter->GetBscanInfoFirstValidIdx()->InsertNextValue(range.firstValidIdx);
            filter->GetBscanInfoValidLen()->InsertNextValue(range.validLen);
        }
        filter->SetInputData(ImageOver(scene));
        const std::vector<float> bare = Bare(row, scene);
        filter->Update();
        EXPECT_TRUE(SameBits(ScalarsOf(filter->GetOutput()), bare));
        EXPECT_EQ(watched.Error().empty(), !bare.empty()) << watched.Error();
        if (bare.empty()) continue;
        EXPECT_EQ(filter->GetOutput()->GetExtent()[4], 3);
        for (const int pieces : {2, 3}) EXPECT_TRUE(SameBits(InPieces(filter, pieces), bare)) << pieces;
    }
}

INSTANTIATE_TEST_SUITE_P(OfTheList, EveryAlgorithm, testing::ValuesIn(Names()),
                         [](const auto& test) { return test.param; });

TEST(AlgorithmFilter, SetsParametersOfEveryTypeAndTellsWhatItRefuses) {
    const vtkNew<vtkTZMFkMigrationFilter> migration;
    const auto unchanged = migration->GetMTime();
    EXPECT_EQ(migration->GetPermittivity(), 6);
    migration->SetTimeZero(5);
    EXPECT_GT(migration->GetMTime(), unchanged);
    const auto changed = migration->GetMTime();
    migration->SetTimeZero(5);
    EXPECT_EQ(migration->GetMTime(), changed);
    const Block scene = Scene(5);
    migration->SetInputData(ImageOver(scene));
    migration->Update();
    EXPECT_EQ(migration->GetOutput()->GetDimensions()[0], 59);
    EXPECT_NEAR(migration->GetOutput()->GetOrigin()[0], 1 + 5 * kDeltaT, 1e-9);

    const vtkNew<vtkTZMBgRemovalFilter> background;
    Watched watched(background);
    background->SetAlgorithm("surface");
    background->SetAlgorithm("medain");
    EXPECT_STREQ(background->GetAlgorithm(), "surface");
    EXPECT_NE(watched.Error().find("\"median\""), std::string::npos) << watched.Error();

    const vtkNew<vtkTZMClipperFilter> clipper;
    clipper->SetBorders(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(clipper->GetBorders()[4], 5);

    const vtkNew<vtkTZMTopographyFilter> topography; // it needs elevations, evenly spread here
    const vtkNew<vtkFloatArray> elevations;
    for (const float height : {10.f, 10.2f}) elevations->InsertNextValue(height);
    topography->SetElevations(elevations);
    EXPECT_EQ(topography->GetNumberOfElevations(), 2);
    topography->SetElevations(1, 10.1);
    topography->SetInputData(ImageOver(scene));
    topography->Update();
    EXPECT_GT(topography->GetOutput()->GetDimensions()[0], 64);
    std::ostringstream printed;
    background->Print(printed);
    EXPECT_NE(printed.str().find("algorithm: \"surface\""), std::string::npos) << printed.str();
}

TEST(AlgorithmFilter, TellsItsProgressAndStops) {
    const Block scene = Scene(35);
    const vtkNew<vtkTZMOffsetRemovalFilter> filter;
    filter->SetInputData(ImageOver(scene));
    filter->SetNumberOfThreads(1);
    int calls = 0;
    const vtkNew<vtkCallbackCommand> listener;
    listener->SetClientData(&calls);
    listener->SetCallback([](vtkObject*, unsigned long, void* count, void*) { ++*static_cast<int*>(count); });
    filter->AddObserver(vtkCommand::ProgressEvent, listener);
    filter->Update();
    EXPECT_GT(calls, 30);
    listener->SetCallback(
        [](vtkObject* caller, unsigned long, void*, void*) { static_cast<vtkAlgorithm*>(caller)->SetAbortExecute(1); });
    Watched watched(filter);
    filter->Modified();
    filter->Update();
    EXPECT_EQ(filter->GetOutput()->GetNumberOfPoints(), 0);
    EXPECT_EQ(watched.Error(), "");
}

TEST(AlgorithmFilter, RefusesWhatIsNoBlockOfLines) {
    const Block scene = Scene(5);
    const std::vector<std::pair<std::string, std::function<void(vtkImageData*)>>> flaws{
        {"scalars of type double", [](vtkImageData* image) { image->AllocateScalars(VTK_DOUBLE, 1); }},
        {"scalars of 3 components",
         [](vtkImageData* image) {
             image->GetPointData()->Initialize(); // VTK doesn't free what it allocates in place of another's memory
             image->AllocateScalars(VTK_FLOAT, 3);
         }},
        {"no active scalars", [](vtkImageData* image) { image->GetPointData()->Initialize(); }},
        {"1 x 12 x 5 points", [](vtkImageData* image) { image->SetExtent(0, 0, 0, 11, 3, 7); }},
        {"64 x 1 x 5 points", [](vtkImageData* image) { image->SetExtent(0, 63, 0, 0, 3, 7); }},
        {"is empty", [](vtkImageData* image) { image->Initialize(); }},
        {"spacing must be above 0", [](vtkImageData* image) { image->SetSpacing(0.1, 0, 1); }},
        {"turned", [](vtkImageData* image) { image->SetDirectionMatrix(0, 1, 0, 1, 0, 0, 0, 0, 1); }},
        {"doesn't reach over", [](vtkImageData* image) { image->SetExtent(0, 63, 0, 11, 3, 20); }}};
    for (const auto& [text, spoil] : flaws) {
        const Image image = ImageOver(scene);
        spoil(image);
        const vtkNew<vtkTZMOffsetRemovalFilter> filter;
        Watched watched(filter);
        filter->SetInputData(image);
        filter->Update();
        EXPECT_NE(watched.Error().find(text), std::string::npos) << text << ": " << watched.Error();
        EXPECT_NE(watched.Error().find("expected is"), text == "doesn't reach over" ? 0 : std::string::npos) << text;
        EXPECT_EQ(filter->GetOutput()->GetNumberOfPoints(), 0) << text;
    }
}

TEST(AlgorithmFilter, SetsTheIntervalsOfItsInputUnderALock) {
    const Block scene = Scene(10);
    const auto before = TZM::AlgoBase::GetGlobalSettings();
    const auto migrated = [&](double spacing) {
        const Image image = ImageOver(scene);
        image->SetSpacing(spacing, kDeltaX, 1);
        const vtkNew<vtkTZMFkMigrationFilter> filter;
        filter->SetInputData(image);
        filter->Update();
        return ScalarsOf(filter->GetOutput());
    };
    const std::vector<float> one = migrated(0.1), other = migrated(0.3);
    EXPECT_FALSE(SameBits(one, other));
    bool same = true;
    std::thread beside([&] {
        for (int i = 0; i < 5; ++i) same = same && SameBits(migrated(0.3), other);
    });
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(SameBits(migrated(0.1), one));
    beside.join();
    EXPECT_TRUE(same);
    EXPECT_EQ(TZM::AlgoBase::GetGlobalSettings().delta_t, before.delta_t);
}

TEST(ChainFilter, GivesTheBitsOfARunAndFillsUpWhatADetectionTakes) {
    const Block scene = TZM::ArrayScene(5, 35);
    TZM::Recording recording;
    recording.size = {512, 12, 35};
    recording.deltaT = kDeltaT * 1e-9;
    recording.deltaX = kDeltaX;
    recording.lineSpacing = 0.1;
    recording.data = TZM::Samples(const_cast<float*>(scene.data.data()), [](float*) {});
    const char* const document = R"({"chain": [{"algorithm": "OffsetRemoval"}, {"algorithm": "TimeZeroDetection"},
        {"algorithm": "HorizontalSumUp", "parameters": {"Thickness": 3}},
        {"algorithm": "FkMigration"}, {"algorithm": "NormalizationCscan"}]})";
    const vtkNew<vtkTZMChainFilter> filter;
    filter->SetInputData(ImageOver(scene));
    filter->SetPermittivity(9);
    for (const char* text : {document, ""}) { // and the standard chain
        TZM::Chain chain =
            *text ? TZM::Chain::FromDocument(TZM::ParseJson(text, "chain"), "chain") : TZM::Chain::Standard(recording);
        TZM::Recording settled = recording;
        TZM::GivenNumbers numbers;
        numbers.permittivity = 9;
        chain.Settle(settled, numbers);
        const TZM::Recording image = chain.Run(settled).image;
        filter->SetDocument(text);
        filter->Update();
        const int samples = filter->GetOutput()->GetDimensions()[0];
        ASSERT_GE(samples, image.size.samples);
        std::vector<float> filled;
        for (std::int64_t i = 0; i < std::int64_t{image.size.ascans} * image.size.bscans; ++i) {
            const float* const ascan = image.data.get() + i * image.size.samples;
            filled.insert(filled.end(), ascan, ascan + image.size.samples);
            filled.resize(filled.size() + samples - image.size.samples);
        }
        EXPECT_TRUE(SameBits(ScalarsOf(filter->GetOutput()), filled));
        EXPECT_TRUE(SameBits(InPieces(filter, 3), filled));
    }
    filter->SetPermittivity(0);
    filter->Update();
    EXPECT_NE(std::string(filter->GetNotes()).find("the permittivity isn't known, 6 is taken"), std::string::npos) << filter->GetNotes();
    for (const auto& [text, told] : {std::pair("{", "chain"), std::pair(R"({"chain": [{"algorithm": "Fk"}]})", "Fk")}) {
        Watched watched(filter);
        filter->SetDocument(text);
        filter->Update();
        EXPECT_NE(watched.Error().find(told), std::string::npos) << watched.Error();
    }
}

TEST(ChainFilter, RunsARecipeWithTheDocumentsOfItsRun) {
    const Block scene = TZM::ArrayScene(5, 35);
    const auto imageOf = [&](const std::string& document) {
        const vtkNew<vtkTZMChainFilter> filter;
        filter->SetInputData(ImageOver(scene));
        filter->SetDocument(document.c_str());
        Watched watched(filter);
        filter->Update();
        return std::pair(filter->GetOutput()->GetNumberOfPoints() ? ScalarsOf(filter->GetOutput()) : std::vector<float>(),
                         watched.Error());
    };
    Json::Value recipe = TZM::ParseJson(R"({"program": "tzmchain", "chain": [{"algorithm": "FkMigration",
        "parameters": {"timeZero": 30, "permittivity": 9}}]})", "recipe");
    const char* const configuration = R"({"FkMigration": {"DepthSpectrumSizeExtension": 1, "Permittivity": 4}})";
    const auto [plain, none] = imageOf(TZM::JsonText(recipe));
    TZM::AlgoBase::SetConfigString(configuration);
    const auto [configured, noneEither] = imageOf(TZM::JsonText(recipe));
    TZM::AlgoBase::SetConfigString("{}");
    EXPECT_FALSE(SameBits(plain, configured));

    recipe["documents"]["configuration"] = configuration;
    EXPECT_TRUE(SameBits(imageOf(TZM::JsonText(recipe)).first, configured));
    EXPECT_EQ(TZM::AlgoBase::GetConfigString(), "{}");
    TZM::AlgoBase::SetConfigString(configuration);
    recipe["documents"]["configuration"] = ""; // of a run without one
    EXPECT_TRUE(SameBits(imageOf(TZM::JsonText(recipe)).first, plain));
    TZM::AlgoBase::SetConfigString("{}");
    recipe["documents"]["configuration"] = "{";
    EXPECT_NE(imageOf(TZM::JsonText(recipe)).second.find("configuration"), std::string::npos);
}

TEST(RecordingReader, ReadsLinesAndTellsTheNextFilterWhatTheFileTells) {
    const TemporaryFolder folder;
    const std::string file = folder.Write("LINE.DZT", TZM::Dzt(32, 20, 5, 16)).string();
    EXPECT_TRUE(vtkTZMRecordingReader::CanReadFile(file.c_str()));
    EXPECT_NE(std::string(vtkTZMRecordingReader::GetFileExtensions()).find(".dzt"), std::string::npos);
    const vtkNew<vtkTZMRecordingReader> reader;
    reader->SetFileName(file.c_str());
    reader->Update();
    const TZM::Recording recording = TZM::ReadRecording(file);
    const std::vector<float> all(recording.data.get(), recording.data.get() + recording.size.Count());
    EXPECT_TRUE(SameBits(ScalarsOf(reader->GetOutput()), all));
    EXPECT_NEAR(reader->GetOutput()->GetSpacing()[0], recording.deltaT * 1e9, 1e-9);
    EXPECT_TRUE(SameBits(InPieces(reader, 2), all));
    EXPECT_NE(std::string(reader->GetAbout()).find("\"400MHz 1\""), std::string::npos) << reader->GetAbout();

    const vtkNew<vtkTZMChainFilter> chain; // time zero and permittivity are the file's
    chain->SetDocument(R"({"chain": [{"algorithm": "FkMigration"}]})");
    chain->SetInputConnection(reader->GetOutputPort());
    chain->Update();
    EXPECT_EQ(chain->GetOutput()->GetDimensions()[0], 32 - recording.timeZero.value());
    EXPECT_EQ(std::string(chain->GetNotes()).find("permittivity isn't known"), std::string::npos);

    const vtkNew<vtkTZMRecordingReader> failing;
    const std::string broken = folder.Write("broken.dzt", "no radar").string();
    for (const std::string& name : {std::string(), (folder / "NONE.DZT").string(), broken}) {
        Watched watched(failing);
        failing->SetFileName(name.c_str());
        failing->Modified();
        failing->Update();
        EXPECT_NE(watched.Error(), "") << name;
        EXPECT_EQ(failing->GetOutput()->GetNumberOfPoints(), 0);
        EXPECT_FALSE(vtkTZMRecordingReader::CanReadFile(name.c_str()));
    }
}

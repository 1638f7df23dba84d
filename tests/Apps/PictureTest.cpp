#include "Picture.h"

#include "Views.h"

#include "Recording/Refusal.h"
#include "support/TemporaryFolder.h"

#include <cairo.h>
#include <gtest/gtest.h>

using namespace tzmchain;
using namespace TZM;

namespace {

/// A block of zeros with one negative value, so that it counts as signed.
Recording Silent(Dimensions size) {
    Recording recording;
    recording.size = size;
    recording.file = "silent.f32";
    recording.data = AllocateSamples(size.Count());
    std::fill_n(recording.data.get(), size.Count(), 0.0f);
    recording.data[0] = -1;
    return recording;
}

struct Pixels {
    explicit Pixels(const std::filesystem::path& file) : surface(cairo_image_surface_create_from_png(file.c_str())) {}
    ~Pixels() { cairo_surface_destroy(surface); }
    int Width() const { return cairo_image_surface_get_width(surface); }
    int Height() const { return cairo_image_surface_get_height(surface); }
    std::uint32_t At(int x, int y) const {
        const unsigned char* row = cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
        return reinterpret_cast<const std::uint32_t*>(row)[x] & 0xffffff;
    }
    cairo_surface_t* surface;
};

} // namespace

TEST(Picture, StepsOfTicksAreRound) {
    EXPECT_DOUBLE_EQ(RoundStep(1.5, 10), 0.2);
    EXPECT_DOUBLE_EQ(RoundStep(2.0, 10), 0.2);
    EXPECT_DOUBLE_EQ(RoundStep(25.6, 10), 5);
    EXPECT_DOUBLE_EQ(RoundStep(8e-3, 10), 1e-3);
}

TEST(Picture, AFewLoudValuesDontTakeTheColourScale) {
    std::vector<float> values(1000);
    for (int i = 0; i < 1000; ++i) values[i] = static_cast<float>(i % 21 - 10);
    values[3] = 1e6f, values[500] = -1e7f;
    Panel panel;
    panel.data = values.data(), panel.columns = 50, panel.rows = 20, panel.columnStep = 20;
    const ColourRange range = RobustRange(panel);
    EXPECT_TRUE(range.isSigned);
    EXPECT_FLOAT_EQ(range.low, -10);
    EXPECT_FLOAT_EQ(range.high, 10);
    for (float& value : values) value = std::abs(value);
    EXPECT_FALSE(RobustRange(panel).isSigned);
    EXPECT_FLOAT_EQ(RobustRange(panel).low, 0);
    EXPECT_FLOAT_EQ(RobustRange(panel).high, 10);
    std::fill(values.begin(), values.end(), 0.0f);
    EXPECT_GT(RobustRange(panel).high, RobustRange(panel).low);
}

TEST(Picture, ABrightSampleShowsAtItsPlace) {
    const TemporaryFolder folder;
    std::vector<float> values(100 * 50, 0.0f); // 100 columns of 50 rows
    for (int i = 0; i < 100; i += 2) values[i * 50] = i % 4 == 0 ? 1.0f : -1.0f;
    values[60 * 50 + 10] = 100;
    Panel panel;
    panel.data = values.data(), panel.columns = 100, panel.rows = 50, panel.columnStep = 50;
    DrawPicture(folder / "one.png", "title", {panel}, 1, {});
    const Pixels pixels(folder / "one.png");
    ASSERT_EQ(cairo_surface_status(pixels.surface), CAIRO_STATUS_SUCCESS);
    // The plot is 1000 x 400 pixels behind margins of 78 and 78: ten by eight pixels per value.
    EXPECT_EQ(pixels.At(78 + 605, 78 + 84), 0xffffffu);
    EXPECT_EQ(pixels.At(78 + 605, 78 + 124), pixels.At(78 + 305, 78 + 84));
    EXPECT_NE(pixels.At(78 + 305, 78 + 84), 0xffffffu);
}

TEST(Picture, TicksStandWhereTheirValuesAre) {
    const Axis axis = {"two-way time (ns)", "ns", -2, 0.05}; // samples from -2 ns on
    const Scale scale(axis, 200, 400);                       // 10 ns on 400 pixels
    EXPECT_NEAR(scale(-2), 1, 1e-9);                         // the middle of the first of 200 cells
    EXPECT_NEAR(scale(7.95), 399, 1e-9);
    const auto texts = [](const std::vector<Tick>& ticks) {
        std::string all;
        for (const Tick& tick : ticks) all += tick.text + " ";
        return all;
    };
    const std::vector<Tick> ticks = Ticks(scale, 1, 10);
    EXPECT_EQ(texts(ticks), "-2 -1 0 1 2 3 4 5 6 7 ");
    for (const Tick& tick : ticks) EXPECT_NEAR(tick.place, scale(std::stod(tick.text)), 1e-9) << tick.text;
    const std::vector<Tick> depths = Ticks(scale, 0.06, 10); // 0.06 m per ns: a permittivity of 6.25
    EXPECT_EQ(texts(depths), "-0.1 0 0.1 0.2 0.3 0.4 ");
    for (const Tick& tick : depths) EXPECT_NEAR(tick.place, scale(std::stod(tick.text) / 0.06), 1e-9) << tick.text;
}

TEST(Views, AxesOfABscanCountFromTimeZeroAndHalveTheWayDown) {
    Recording recording = Silent({100, 3, 5});
    recording.deltaT = 1e-10;
    recording.deltaX = 0.02;
    recording.startX = 1.5;
    recording.startTime = 3e-9;
    recording.firstSample = 10;
    Panel panel = BscanPanel(recording, 2, "raw");
    EXPECT_EQ(panel.data, recording.Bscan(2));
    EXPECT_NEAR(panel.down.origin, 4, 1e-12); // ns: 3, and ten samples that were dropped
    EXPECT_NEAR(panel.down.step, 0.1, 1e-12);
    EXPECT_EQ(panel.down.label, "two-way time (ns)");
    EXPECT_EQ(panel.across.origin, 1.5);
    EXPECT_EQ(panel.across.step, 0.02);
    EXPECT_TRUE(panel.secondLabel.empty() && !panel.zeroLine);

    recording.timeZero = 20;
    recording.permittivity = 9;
    panel = BscanPanel(recording, 0, "timed");
    EXPECT_NEAR(panel.down.origin, -2, 1e-12); // sample 20 is at 0 ns
    EXPECT_TRUE(panel.zeroLine);
    EXPECT_NEAR(panel.secondFactor, 0.05, 1e-12); // m per ns: 0.3 / 3 there and back
    EXPECT_EQ(panel.secondLabel, "depth (m) at permittivity 9");
    recording.datum = 250;
    panel = BscanPanel(recording, 0, "behind a static correction");
    EXPECT_EQ(panel.secondLabel, "elevation (m) at permittivity 9");
    const Scale scale(panel.down, panel.rows, 400); // -2 to 8 ns
    const std::vector<Tick> ticks = Ticks(scale, panel.secondFactor, 6, panel.secondOrigin);
    ASSERT_EQ(ticks.size(), 5u); // 249.7 to 250.1
    for (const Tick& tick : ticks)
        EXPECT_NEAR(tick.place, scale((250 - std::stod(tick.text)) / 0.05), 1e-6) << tick.text;
}

TEST(Views, PanelsOfAPictureShowTheSameTimesAndTellTheirExaggeration) {
    Recording recording = Silent({100, 50, 1});
    recording.deltaT = 1e-10;
    recording.deltaX = 0.02;
    recording.timeZero = 20;
    recording.permittivity = 9; // 0.05 m per ns: 10 ns are 0.5 m, 50 A-scans 1 m
    EXPECT_NEAR(Exaggeration(BscanPanel(recording, 0, ""), 1000, 400), 0.8, 1e-9);
    recording.permittivity.reset();
    EXPECT_EQ(Exaggeration(BscanPanel(recording, 0, ""), 1000, 400), 0);

    const TemporaryFolder
        folder; // the second stage begins at time zero: its first 2 ns are grey, its echo stands level
    Recording image = Silent({80, 50, 1});
    image.deltaT = 1e-10;
    image.timeZero = 0;
    image.data[0] = 0;
    for (int a = 0; a < 50; ++a) recording.Bscan(0)[a * 100 + 60] = image.data[a * 80 + 40] = a % 2 ? 9.f : -9.f;
    const Choice choice = ChooseBscans(recording);
    std::vector<Stage> stages{{"input", recording, choice}, {"image", image, choice}};
    stages[0].Take(0, recording), stages[1].Take(0, image);
    DrawBscans(choice, stages, folder.path, {});
    const Pixels pixels(folder / "bscan.png");
    const int second = 34 + 400 + 58, echo = 78 + 60 * 4 + 2; // height of a panel with its margins; 4 pixels a sample
    EXPECT_EQ(pixels.At(78 + 505, echo), pixels.At(78 + 505, echo + second));
    EXPECT_NE(pixels.At(78 + 505, echo), pixels.At(78 + 505, echo + 40));
    EXPECT_EQ(pixels.At(78 + 505, 78 + 20 + second), 0xe6e6e6u);
}

TEST(Views, LinesAreDrawnThatAreAskedFor) {
    const Recording recording = Silent({4, 3, 10});
    EXPECT_EQ(ChooseBscans(recording, {{3, 7}}).indices, (std::vector<int>{2, 6}));
    EXPECT_EQ(ChooseBscans(recording, {{3, 7}}).names,
              (std::vector<std::string>{"channel 3 line 3", "channel 2 line 7"}));
    EXPECT_EQ(ChooseBscans(recording, {{}, true}).indices.size(), 10u);
    EXPECT_THROW(ChooseBscans(recording, {{11}}), Refusal);
}

TEST(Views, SlabsMakeUpTheImageFromTimeZeroDown) {
    Recording image = Silent({130, 3, 5});
    image.deltaT = 1e-10;
    image.timeZero = 10;
    image.permittivity = 9;
    const std::vector<DepthSlice> slabs = DepthSlices(image);
    ASSERT_EQ(slabs.size(), 12u);
    for (std::size_t i = 0; i < slabs.size(); ++i) {
        EXPECT_EQ(slabs[i].begin, 10 + 10 * static_cast<int>(i));
        EXPECT_EQ(slabs[i].end, 20 + 10 * static_cast<int>(i));
    }
    EXPECT_EQ(slabs[0].title, "0 to 0.05 m (0 to 1 ns)");
    EXPECT_EQ(slabs[11].title, "0.55 to 0.6 m (11 to 12 ns)");
    for (std::int64_t i = 0; i < image.size.Count(); ++i) image.data[i] = static_cast<float>(i % 130);
    DepthSlabs drawn(image.About());
    drawn.Take(0, image);
    std::vector<std::vector<float>> means;
    const std::vector<Panel> panels = drawn.Panels(means);
    for (std::size_t i = 0; i < slabs.size(); ++i) {
        EXPECT_EQ(panels[i].title, slabs[i].title);
        EXPECT_NEAR(panels[i].data[14], 14.5 + 10. * static_cast<double>(i), 1e-4); // of samples 10 to 19, and so on
    }
    image.datum = 100;
    EXPECT_EQ(DepthSlices(image)[11].title, "elevation 99.4 to 99.45 m (11 to 12 ns)");
}

TEST(Views, EveryChannelHasATimeZeroOfItsOwn) {
    Recording recording = Silent({4, 3, 10});
    const Choice choice = ChooseBscans(recording);
    Stage stage("input", recording, choice);
    stage.Take(0, recording);
    const std::vector<int> found{9, 9, 9, 9, 9, 1, 2, 0, 3, 1};
    stage.CountFrom(found);
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(StagePanel(stage, i).down.origin, -found[choice.indices[i]] * 0.05, 1e-12);
    EXPECT_EQ(choice.indices[0], 5);
}

TEST(Views, ShowTheMiddleLaneOfEveryChannel) {
    Recording recording = Silent({4, 3, 35});
    recording.channels = {"TX1RX1", "TX2RX1", "TX2RX2", "TX2RX3", "TX3RX3"};
    for (int z = 0; z < 35; ++z) recording.Bscan(z)[5] = static_cast<float>(z);
    const Choice choice = ChooseBscans(recording);
    EXPECT_EQ(choice.indices, (std::vector<int>{15, 16, 17, 18, 19}));
    EXPECT_EQ(choice.names, recording.channels);
    Stage stage("input", recording, choice);
    stage.Take(0, recording);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(stage.bscans.Bscan(i)[5], static_cast<float>(15 + i));

    EXPECT_EQ(ChooseBscans(Silent({4, 3, 14})).indices, (std::vector<int>{7, 8, 9, 10, 11, 12, 13}));
    EXPECT_EQ(ChooseBscans(Silent({4, 3, 14})).names[1], "channel 2");
    EXPECT_EQ(ChooseBscans(Silent({4, 3, 12})).indices, (std::vector<int>{0, 2, 5, 8, 11}));
    EXPECT_EQ(ChooseBscans(Silent({4, 3, 1})).names, (std::vector<std::string>{""}));
}

TEST(Views, DrawBlocksOfAnyShape) {
    for (const Dimensions size : {Dimensions{1, 1, 1}, {1, 7, 5}, {300, 1, 2}, {7, 2500, 5}, {900, 3, 3}}) {
        const TemporaryFolder folder;
        Recording recording = Silent(size);
        recording.timeZero = 0;
        recording.permittivity = 9;
        recording.lineSpacing = 0.05;
        const Choice choice = ChooseBscans(recording);
        Stage stage("input", recording, choice);
        stage.Take(0, recording);
        const auto files =
            DrawBscans(choice, {stage, stage}, folder.path, {Colours::Seismic, {"a line", "another"}, 40});
        EXPECT_EQ(files.size(), choice.indices.size());
        for (const PictureForm form : {PictureForm::Svg, PictureForm::Pdf}) {
            Style style;
            style.form = form, style.display = Display::Wiggles, style.aspect = 1;
            for (const std::string& file : DrawBscans(choice, {stage}, folder.path, style))
                EXPECT_GT(std::filesystem::file_size(folder / file), 1000u);
        }
        EXPECT_EQ(DrawAcross({stage, stage}, folder.path, {}).size(), size.bscans > 1 ? 1u : 0u);
        DepthSlabs slabs(recording);
        slabs.Take(0, recording);
        EXPECT_EQ(slabs.Draw(folder.path, {}).size(), size.bscans > 1 ? 1u : 0u);
        for (const std::string& file : files) EXPECT_GT(Pixels(folder / file).Width(), 1000);
    }
}

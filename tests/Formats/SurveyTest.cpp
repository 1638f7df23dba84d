#include "Recording/Survey.h"

#include <cmath>

#include <gtest/gtest.h>

#include "Formats/Formats.h"
#include "Formats/Projection.h"
#include "Formats/Writers.h"
#include "Recording/private/Text.h"
#include "support/Recordings.h"
#include "support/TemporaryFolder.h"

namespace TZM {

namespace {
[[maybe_unused]] const bool registered = (RegisterInstrumentFormats(), true);
}

TEST(Survey, TakesLinesAsLanesFillsThemUpAndTurnsWhatWasRunBackwards) {
    const TemporaryFolder folder;
    const auto line = [&](const std::string& name, int ascans, const std::string& fromTo) {
        std::string hd = kHd;
        folder.Write(name + ".HD", hd.replace(hd.find("= 6"), 3, "= " + std::to_string(ascans)));
        folder.Write(name + ".DT1", Dt1(20, ascans, 2, 2));
        folder.Write(name + ".GPS", fromTo);
    };
    const std::string
        forth = "Trace #1\n$GPGGA,1,4800.0,N,1100.0,E,1,5,1,10,M\nTrace #4\n$GPGGA,1,4801.0,N,1100.0,E,1,5,1,10,M\n",
        back = "Trace #1\n$GPGGA,1,4801.0,N,1100.1,E,1,5,1,10,M\nTrace #4\n$GPGGA,1,4800.0,N,1100.1,E,1,5,1,10,M\n";
    line("LINE2", 6, forth);
    line("LINE10", 4, back);
    const auto source = OpenSurvey({folder.path}); // in the order of the numbers
    Recording recording = ReadRecording(*source);
    ASSERT_TRUE((recording.size == Dimensions{20, 6, 2})) << recording.size.Text();
    ASSERT_EQ(recording.validRanges.size(), 2u);
    EXPECT_EQ(recording.validRanges[1].validLen, 4);
    for (int s = 0; s < 20; ++s) {
        EXPECT_EQ(recording.Bscan(0)[20 * 5 + s], float(Value(16, s, 5, 0)));
        EXPECT_EQ(recording.Bscan(1)[s], float(Value(16, s, 3, 0)));
        EXPECT_EQ(recording.Bscan(1)[20 * 5 + s], 0);
    }
    EXPECT_EQ(recording.positions.at(2).ascan, 0); // the last one of the turned line
    EXPECT_DOUBLE_EQ(recording.positions[2].north, 48);
    EXPECT_NE(Joined(recording.notes).find("LINE10.DT1 was run backwards and is turned"), std::string::npos);
    EXPECT_EQ(recording.timeZero, 3);
    EXPECT_EQ(ReadRecording(*OpenSurvey({folder.path / "LINE*.DT1"})).checksum, recording.checksum);

    const auto survey =
        folder.Write("survey.json", R"({"files": ["LINE10.DT1", {"file": "LINE2.HD", "reverse": true, "first": 1,
        "count": 3}], "line_spacing": 0.25, "channel_names": ["one"]})");
    recording = ReadRecording(*OpenSurvey({survey}));
    ASSERT_TRUE((recording.size == Dimensions{20, 4, 2}));
    EXPECT_EQ(recording.Bscan(1)[0], float(Value(16, 0, 3, 0)));
    EXPECT_EQ(recording.lineSpacing, 0.25);
    EXPECT_EQ(recording.channels, (std::vector<std::string>{"one"}));
}

TEST(Survey, TakesARecordingOnceAndWhatItsFilesTell) {
    const TemporaryFolder folder;
    const auto line = [&](const std::string& name, const std::string& from, const std::string& to) {
        std::string hd = kHd;
        folder.Write(name + ".HD", hd.replace(hd.find("STARTING POSITION = 1"), 21,
                                              "STARTING POSITION = " + from + "\r\nFINAL POSITION = " + to));
        folder.Write(name + ".DT1", Dt1(20, 6, 2, 2));
    };
    line("LINE1", "0", "2.5");
    line("LINE2", "2.5", "0");
    folder.Write("recipe.json", "{}");
    Recording recording = ReadRecording(*OpenSurvey({folder / "LINE*"}));
    ASSERT_TRUE((recording.size == Dimensions{20, 6, 2})) << recording.size.Text();
    EXPECT_EQ(recording.Bscan(1)[0], float(Value(16, 0, 5, 0))); // the header says so
    EXPECT_EQ(ReadRecording(*OpenSurvey({folder.path})).checksum, recording.checksum);
    EXPECT_EQ(OpenSurvey({folder / "LINE2.HD", folder / "LINE2.DT1", folder / "LINE2.DT1"})->About().size.bscans, 1);

    recording.validRanges = {{0, 6}, {1, 3}};
    recording.timeZeros = {3, 5};
    recording.timeZero = 4;
    WriteRecording(recording, folder / "both.f32");
    folder.Write("survey.json", R"({"files": [{"file": "both.f32", "reverse": true, "first": 2}, "both.f32"]})");
    const Recording twice = ReadRecording(*OpenSurvey({folder / "survey.json"}));
    ASSERT_EQ(twice.validRanges.size(), 4u);
    EXPECT_EQ(twice.validRanges[1].firstValidIdx, 2); // of four A-scans the last two, turned
    EXPECT_EQ(twice.validRanges[1].validLen, 2);
    EXPECT_EQ(twice.validRanges[3].firstValidIdx, 1);
    EXPECT_EQ(twice.timeZeros, (std::vector<int>{3, 5, 3, 5}));
    EXPECT_NE(RefusalOf<FormatError>([&] {
                  OpenSurvey({folder / "LINE1.DT1", folder / "both.f32"});
              }).find("both.f32 is of the form raw, and"),
              std::string::npos);
}

TEST(Survey, TakesTheFilesOfAnArrayAsChannels) {
    const TemporaryFolder folder;
    for (const char* line : {"a", "b"})
        for (const char* channel : {"_A001", "_A002", "_A003"}) {
            folder.Write(std::string(line) + channel + ".rad", "SAMPLES:16\nFREQUENCY:2000\nDISTANCE INTERVAL:0.05\n");
            folder.Write(std::string(line) + channel + ".rd3", Words(16, *line == 'a' ? 5 : 3, 16));
        }
    Recording recording =
        ReadRecording(*OpenSurvey({folder / "b_A002.rd3", folder / "a_A001.rd3", folder / "b_A001.rd3",
                                   folder / "a_A002.rd3", folder / "a_A003.rd3", folder / "b_A003.rd3"}));
    EXPECT_TRUE((recording.size == Dimensions{16, 5, 6}));
    EXPECT_EQ(recording.validRanges.at(0).validLen, 3); // the lane that was named first
    EXPECT_EQ(recording.validRanges.at(5).validLen, 5);
    EXPECT_EQ(recording.channels.size(), 3u);
    WriteRecording(recording, folder / "all.f32");
    EXPECT_EQ(ReadRecording(folder / "all.f32").validRanges.at(0).validLen, 3);

    const auto refusal = [](const std::vector<std::filesystem::path>& files) {
        return RefusalOf<FormatError>([&] { OpenSurvey(files); });
    };
    folder.Write("c.rad", "SAMPLES:8\nFREQUENCY:2000\n");
    folder.Write("c.rd3", Words(8, 5, 16));
    folder.Write("d.rad", "SAMPLES:16\nFREQUENCY:1000\n");
    folder.Write("d.rd3", Words(16, 5, 16));
    EXPECT_NE(refusal({folder / "d.rd3", folder / "c.rd3"}).find("c.rd3 has 8 samples per A-scan, and"),
              std::string::npos);
    EXPECT_NE(refusal({folder / "a_A001.rd3", folder / "d.rd3"}).find("s between samples"), std::string::npos);
    EXPECT_NE(refusal({folder / "a_A001.rd3", folder / "a_A002.rd3", folder / "b_A001.rd3"}).find("has 1 channels"),
              std::string::npos);
    EXPECT_NE(refusal({folder.path / "no*.rd3"}).find("no file is named like"), std::string::npos);
    const TemporaryFolder empty;
    EXPECT_NE(refusal({empty.path}).find("holds no recording of a known form"), std::string::npos);
    // Channels that a document puts together, of which some are taken.
    recording =
        ReadRecording(*OpenSurvey({folder.Write("pick.json", R"({"files": [["a_A001.rd3", "a_A003.rd3", "a_A002.rd3"],
        ["b_A001.rd3", "b_A002.rd3", {"file": "b_A003.rd3", "reverse": true}]], "channels": [3, 1], "delta_x": 0.1,
        "channel_names": ["c", "a"]})")}));
    ASSERT_TRUE((recording.size == Dimensions{16, 5, 4})) << recording.size.Text();
    EXPECT_EQ(recording.Bscan(2)[0], float(Value(16, 0, 2, 0))); // of three A-scans the last one
    EXPECT_EQ(recording.Bscan(3)[0], float(Value(16, 0, 0, 0)));
    EXPECT_EQ(recording.validRanges.at(2).validLen, 3);
    EXPECT_EQ(recording.channels, (std::vector<std::string>{"c", "a"}));
    EXPECT_DOUBLE_EQ(recording.deltaX, 0.1);
    for (const char* text : {R"({"files": []})", R"({"files": [3]})", R"({"files": ["d.rd3"], "channels": [2]})",
                             R"({"files": ["d.rd3"], "channels": [0]})", R"({"files": [[]]})",
                             R"({"files": ["d.rd3"], "delta_x": 1e-50})", R"({"files": ["d.rd3"], "crop": 1})",
                             R"({"files": [{"file": "d.rd3", "first": 9}]})", R"({"files": ["none.rd3"]})"})
        EXPECT_NE(refusal({folder.Write("survey.json", text)}), "none") << text;
}

TEST(Survey, BringsFilesToOneIntervalWhenAsked) {
    const TemporaryFolder folder;
    const auto line = [&](const std::string& name, int samples, double deltaT, int ascans, double deltaX) {
        Recording recording;
        recording.size = {samples, ascans, 1};
        recording.data = AllocateSamples(recording.size.Count());
        for (int a = 0; a < ascans; ++a)
            for (int s = 0; s < samples; ++s) // 200 MHz in time, half a wave along 10 m
                recording.data[a * samples + s] =
                    float(std::sin(2 * M_PI * 2e8 * s * deltaT) * std::cos(0.1 * M_PI * a * deltaX));
        recording.deltaT = deltaT;
        recording.deltaX = deltaX;
        WriteRecording(recording, folder / name);
        return folder / name;
    };
    const auto fine = line("fine.f32", 200, 0.5e-9, 101, 0.05), coarse = line("coarse.f32", 90, 0.8e-9, 26, 0.2);
    EXPECT_THROW(OpenSurvey({coarse, fine}), FormatError);
    ReadOptions options;
    options.resample = true;
    Recording both = ReadRecording(*OpenSurvey({coarse, fine}, options));
    ASSERT_TRUE((both.size == Dimensions{200, 101, 2})) << both.size.Text();
    EXPECT_DOUBLE_EQ(both.deltaT, 0.5e-9);
    EXPECT_DOUBLE_EQ(both.deltaX, 0.05);
    EXPECT_EQ(both.notes.size(), 2u);
    for (int a = 0; a < 101; a += 20)
        for (int s = 30; s < 110; ++s)
            EXPECT_NEAR(both.Bscan(0)[a * 200 + s], both.Bscan(1)[a * 200 + s], 2e-3) << a << s;
    EXPECT_EQ(both.Bscan(0)[199], 0); // beyond the shorter A-scans
}

#if TZM_WITH_HDF5
TEST(Spacing, IsMadeEvenAsPositionsTell) {
    const TemporaryFolder folder;
    Recording recording;
    recording.size = {4, 9, 2};
    recording.data = AllocateSamples(72);
    recording.coordinates = "EPSG:32632";
    const double at[] = {0, 0.1, 0.1, 0.1, 0.2, 0.6, 0.7, 0.8, 1.0}; // standing still, then too fast
    for (int a = 0; a < 9; ++a) {
        recording.positions.push_back({0, a, 500000 + at[a] * 0.6, 5000000 + at[a] * 0.8, 10});
        for (int z = 0; z < 2; ++z)
            for (int s = 0; s < 4; ++s) recording.Bscan(z)[a * 4 + s] = float(at[a] * (1 + z) + s);
    }
    WriteRecording(recording, folder / "walk.h5");
    ReadOptions options;
    options.deltaX = 0.1;
    Recording even = ReadRecording(*OpenSurvey({folder / "walk.h5"}, options));
    ASSERT_TRUE((even.size == Dimensions{4, 11, 2})) << even.size.Text();
    for (int z = 0; z < 2; ++z)
        for (int a = 0; a < 11; ++a)
            for (int s = 0; s < 4; ++s) EXPECT_NEAR(even.Bscan(z)[a * 4 + s], 0.1 * a * (1 + z) + s, 1e-5) << z << a;
    EXPECT_NEAR(even.positions.at(5).east, 500000.3, 1e-6);
    EXPECT_NE(even.notes.at(0).find("A-scans lie 0 to 0.4 m apart; they are resampled to 0.1 m"), std::string::npos);
    recording.positions.clear();
    WriteRecording(recording, folder / "wait.h5");
    const auto told = OpenSurvey({folder / "wait.h5"}, options);
    EXPECT_EQ(told->About().size.ascans, 9);
    EXPECT_DOUBLE_EQ(told->About().deltaX, 0.1);
    EXPECT_TRUE(told->About().knowsDeltaX);
}
#endif

TEST(Spacing, IsToldByMarksAndByTheHeadersOfAscans) {
    const TemporaryFolder folder;
    ReadOptions options;
    options.deltaX = 0.5;
    folder.Write("walk.dzt", Dzt(40, 11, 2, 32).Put(14, 0.f).Put(18, 2.f));
    folder.Write("walk.DZX", "<WayPt><scan>0</scan><mark>User</mark></WayPt><WayPt><scan>5</scan><mark></mark></WayPt>"
                             "<WayPt><scan>2</scan><mark>User</mark></WayPt><WayPt><scan>99</scan><mark>User</mark>"
                             "</WayPt><WayPt><scan>10</scan><mark>User</mark></WayPt>");
    const auto walk = OpenSurvey({folder / "walk.dzt"}, options);
    ASSERT_TRUE((walk->About().size == Dimensions{40, 9, 2})) << walk->About().size.Text();
    Recording even = ReadRecording(*walk);
    EXPECT_EQ(even.Bscan(1)[40 * 2], float(Value(32, 0, 1, 1))); // at 1 m
    EXPECT_EQ(even.Bscan(1)[40 * 3], float(Value(32, 0, 1, 1)) / 2 + float(Value(32, 0, 2, 1)) / 2);
    EXPECT_THROW(PlacementOf(even), Refusal);

    std::string hd = kHd;
    folder.Write("line.hd", hd.replace(hd.find("USED = 0.5"), 10, "USED = 0"));
    Bytes line = Dt1(20, 6, 2, 2);
    for (int a = 0; a < 6; ++a) line.Put(std::size_t(168 * a + 4), float(10 - a * a) / 0.3048f);
    folder.Write("line.dt1", line);
    options.deltaX = 3;
    const auto falling = OpenSurvey({folder / "line.dt1"}, options);
    EXPECT_EQ(falling->About().size.ascans, 9); // of 25 m
    options.deltaX = 1e-6;
    EXPECT_THROW(OpenSurvey({folder / "line.dt1"}, options), FormatError);
    EXPECT_FALSE(OpenSurvey({folder.Write("line.dt1", line.Put(168 * 3 + 4, 99.f))})->About().knowsDeltaX);
    EXPECT_TRUE(OpenSurvey({folder / "line.dt1"})->About().positions.empty());
}

} // namespace TZM

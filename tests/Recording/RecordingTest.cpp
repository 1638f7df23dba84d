#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "support/Recordings.h"
#include "support/TemporaryFolder.h"

namespace TZM {
namespace {

void ExpectSameSamples(const Recording& a, const Recording& b) {
    ASSERT_TRUE(a.size == b.size);
    for (int i = 0; i < a.size.Count(); ++i) EXPECT_EQ(a.data[i], b.data[i]) << i;
}

const std::string kSizes = R"("samples": 3, "ascans": 2, "bscans": 5)";
const std::string kIntervals = R"("delta_t": 5e-11, "delta_x": 0.005)";

TEST(Recording, ComesBackFromARawBlockAsItWasWritten) {
    const TemporaryFolder folder;
    Recording written = Counting();
    written.lineSpacing = 0.05;
    written.permittivity = 6.5;
    written.timeZero = 2;
    written.datum = -12.5;
    written.antennaOffset = 0.1;
    written.oneAntennaPair = true;
    written.channels = {"a", "b", "c", "d", "e"};
    written.bits = 16;
    written.validRanges = {{0, 2}, {1, 1}, {0, 0}, {0, 2}, {0, 2}};
    WriteRecording(written, folder / "block.f32");
    for (const char* name : {"block.f32", "block.json"}) {
        const Recording read = ReadRecording(folder / name);
        ExpectSameSamples(read, written);
        EXPECT_FLOAT_EQ(static_cast<float>(read.deltaT), static_cast<float>(written.deltaT));
        EXPECT_EQ(static_cast<float>(read.deltaX), static_cast<float>(written.deltaX));
        EXPECT_EQ(read.lineSpacing, written.lineSpacing);
        EXPECT_EQ(read.permittivity, written.permittivity);
        EXPECT_EQ(read.timeZero, written.timeZero);
        EXPECT_EQ(read.datum, -12.5);
        EXPECT_EQ(read.antennaOffset, written.antennaOffset);
        EXPECT_EQ(read.oneAntennaPair, written.oneAntennaPair);
        EXPECT_EQ(read.channels, written.channels);
        EXPECT_EQ(read.bits, 16);
        EXPECT_EQ(read.Props().bscanInfo[1].firstValidIdx, 1);
        EXPECT_EQ(read.Props().bscanInfo[2].validLen, 0);
        EXPECT_EQ(read.file.filename(), "block.f32");
        EXPECT_EQ(read.checksum, "f55ab64fe554301fbb1c735911e414f30f2e167b9a5b6c7d85e95fc361c9e6c9");
    }
}

TEST(Recording, TakesTheMeanOfTheTimeZerosOfItsBscans) {
    const TemporaryFolder folder;
    folder.Write("block.f32", std::string(120, '\0'));
    folder.Write("block.json",
                 "{" + kSizes + "," + kIntervals + R"(, "time_zero_sample_per_bscan": [1.2, 1.4, 1.6, 1.8, 2]})");
    const Recording recording = ReadRecording(folder / "block.f32");
    EXPECT_EQ(recording.timeZero, 2);
    EXPECT_EQ(recording.timeZeros, (std::vector<int>{1, 1, 2, 2, 2}));
}

TEST(Recording, RefusesAFlawedSidecarInOneLine) {
    const TemporaryFolder folder;
    folder.Write("block.f32", std::string(120, '\0'));
    const struct {
        std::string sidecar, told;
    } cases[] = {
        {"{", "doesn't parse as JSON"},
        {"[1]", "isn't a JSON object"},
        {"{" + kSizes + "," + kIntervals + R"(, "samples": 3})", "Duplicate key"},
        {"{" + kIntervals + "}", "\"samples\" must be a whole number"},
        {R"({"samples": 3.0, "ascans": 2, "bscans": 5,)" + kIntervals + "}", "\"samples\" must be a whole number"},
        {R"({"samples": 3, "ascans": -2, "bscans": 5,)" + kIntervals + "}", "\"ascans\" must be a whole number"},
        {R"({"samples": 3, "ascans": 2, "bscans": 4294967301,)" + kIntervals + "}",
         "\"bscans\" must be a whole number"},
        {R"({"samples": 2147483647, "ascans": 2147483647, "bscans": 2147483647,)" + kIntervals + "}",
         "beyond any file"},
        {R"({"samples": 3, "ascans": 2, "bscans": 4,)" + kIntervals + "}",
         "has 120 bytes, but 3 x 2 x 4 samples are 96"},
        {"{" + kSizes + R"(, "delta_t": 5e-11})", "\"delta_x\" must be a number above 0"},
        {"{" + kSizes + R"(, "delta_t": 1e-60, "delta_x": 1})", "\"delta_t\" must be a number above 0"},
        {"{" + kSizes + "," + kIntervals + R"(, "time_zero_sample": 3})", "must be a sample of the A-scan"},
        {"{" + kSizes + "," + kIntervals + R"(, "time_zero_sample_per_bscan": [1, 2]})",
         "must be one number per B-scan"},
        {"{" + kSizes + "," + kIntervals + R"(, "permittivity": -1})", "\"permittivity\" must be a number above 0"},
        {"{" + kSizes + "," + kIntervals + R"(, "channel_names": ["a", "b"]})", "\"channel_names\" must be"},
        {"{" + kSizes + "," + kIntervals + R"(, "dtype": "int16"})", "\"dtype\" must be \"float32 little-endian\""},
        {"{" + kSizes + "," + kIntervals + R"(, "pseudo_channels": 1})", "\"pseudo_channels\" must be true or false"},
        {"{" + kSizes + "," + kIntervals + R"(, "sha256": "00"})", "another sha256"},
        {"{" + kSizes + "," + kIntervals + R"(, "valid_ascans": [[0, 2], [0, 2], [0, 2], [0, 2], [1, 2]]})",
         "\"valid_ascans\" must be a list of [first, count]"},
        {std::string(3000, '['), "doesn't parse as JSON"},
    };
    for (const auto& c : cases) {
        folder.Write("block.json", c.sidecar);
        EXPECT_NE(RefusalOf(folder / "block.f32").find(c.told), std::string::npos)
            << c.sidecar.substr(0, 200) << " gave " << RefusalOf(folder / "block.f32");
    }
}

TEST(Recording, RefusesFilesThatAreNone) {
    const TemporaryFolder folder;
    folder.Write("alone.json", "{" + kSizes + "," + kIntervals + "}");
    std::filesystem::create_directory(folder / "folder");
    folder.Write("block.dat", "counts");
    EXPECT_NE(RefusalOf(folder / "alone.json").find("alone.f32: a raw block is"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "missing.f32").find("missing.f32: there is no such file"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "folder").find("it isn't a file"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "block.dat").find("is of no known form: NAME.f32"), std::string::npos);
}

TEST(Recording, NamesMembersOfASidecarThatLookLikeKnownOnes) {
    const TemporaryFolder folder;
    folder.Write("block.f32", std::string(120, '\0'));
    const auto notes = [&](const std::string& members) {
        folder.Write("block.json", "{" + kSizes + "," + kIntervals + "," + members + "}");
        return ReadRecording(folder / "block.f32").notes;
    };
    ASSERT_EQ(notes(R"("time_zero": 2)").size(), 1u);
    EXPECT_NE(notes(R"("time_zero": 2)")[0].find("\"time_zero\" is passed over; is \"time_zero_sample\" meant?"),
              std::string::npos);
    EXPECT_EQ(notes(R"("Permitivity": 6, "LineSpacing": 1)").size(), 2u);
    EXPECT_TRUE(notes(R"("antenna": "400 MHz", "permittivity_header": 7, "site": "here", "unit": "counts")").empty());
}

TEST(Recording, IsReadInTheFormThatItsContentTells) {
    const TemporaryFolder folder;
    struct Source : RecordingSource {
        explicit Source(const std::filesystem::path& file) : RecordingSource({}) {
            about.size = {2, 1, 1};
            about.file = file;
        }
        void Read(int, int, float* out) override { out[0] = 1, out[1] = 2; }
    };
    RegisterFormat(
        {"test",
         "NAME.tst",
         {".tst"},
         [](const std::string& head) { return head.rfind("TEST", 0) == 0; },
         [](const std::filesystem::path& file, const ReadOptions&) { return std::make_unique<Source>(file); },
         {}});
    folder.Write("right.tst", "TEST");
    folder.Write("wrong.xyz", "TEST");
    EXPECT_TRUE(ReadRecording(folder / "right.tst").notes.empty());
    EXPECT_EQ(ReadRecording(folder / "wrong.xyz").data[1], 2);
    EXPECT_NE(RefusalOf(folder / "none.tst").find("no such file"), std::string::npos);
    Recording recording = Counting();
    EXPECT_THROW(WriteRecording(recording, folder / "block.tst"), Refusal); // which can't be written
}

TEST(Recording, TellsWhereTheFirstBadNumberStands) {
    Recording recording = Counting();
    EXPECT_EQ(FirstNotFinite(recording), -1);
    recording.data[17] = std::numeric_limits<float>::infinity();
    recording.data[23] = std::nanf("");
    EXPECT_EQ(FirstNotFinite(recording), 17);
    EXPECT_EQ(RefusalOf([&] { RequireFinite(recording, "block"); }),
              "block holds infinity at sample 2 of A-scan 1 of B-scan 2");
}

} // namespace
} // namespace TZM

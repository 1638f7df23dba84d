#include "Recording.h"
#include "Checksum.h"
#include "Pipeline.h"
#include "Progress.h"
#include "Refusal.h"
#include "TemporaryFolder.h"
#include "Text.h"
#include "VtkFile.h"

#include <gtest/gtest.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkTrivialProducer.h>

#include <cmath>
#include <limits>

using namespace tzmchain;

namespace {

/// 3 x 2 x 5 with element i = i.
Recording Counting() {
    Recording recording;
    recording.size = {3, 2, 5};
    recording.deltaT = 1.5625e-11;
    recording.deltaX = 0.008466666602071127;
    recording.data = AllocateSamples(recording.size.Count());
    for (int i = 0; i < 30; ++i) recording.data[i] = static_cast<float>(i);
    return recording;
}

void ExpectSameSamples(const Recording& a, const Recording& b) {
    ASSERT_TRUE(a.size == b.size);
    for (int i = 0; i < a.size.Count(); ++i) EXPECT_EQ(a.data[i], b.data[i]) << i;
}

std::string RefusalOf(const std::filesystem::path& input) {
    try {
        ReadRecording(input);
    } catch (const Refusal& refusal) {
        EXPECT_EQ(std::string(refusal.what()).find('\n'), std::string::npos);
        return refusal.what();
    }
    return "no refusal";
}

const std::string kSizes = R"("samples": 3, "ascans": 2, "bscans": 5)";
const std::string kIntervals = R"("delta_t": 5e-11, "delta_x": 0.005)";

void WriteImage(const Recording& recording, const std::filesystem::path& file) {
    const vtkNew<vtkTrivialProducer> producer;
    producer->SetOutput(ImageOf(recording));
    Progress silent(true, false);
    WriteVti(producer->GetOutputPort(), file, silent);
}

} // namespace

TEST(Recording, ComesBackFromARawBlockAsItWasWritten) {
    const TemporaryFolder folder;
    Recording written = Counting();
    written.lineSpacing = 0.05;
    written.permittivity = 6.5;
    written.timeZero = 2;
    written.antennaOffset = 0.1;
    written.oneAntennaPair = true;
    written.channels = {"a", "b", "c", "d", "e"};
    WriteRecording(written, folder / "block");
    for (const char* name : {"block.f32", "block.json"}) {
        const Recording read = ReadRecording(folder / name);
        ExpectSameSamples(read, written);
        EXPECT_FLOAT_EQ(static_cast<float>(read.deltaT), static_cast<float>(written.deltaT));
        EXPECT_EQ(static_cast<float>(read.deltaX), static_cast<float>(written.deltaX));
        EXPECT_EQ(read.lineSpacing, written.lineSpacing);
        EXPECT_EQ(read.permittivity, written.permittivity);
        EXPECT_EQ(read.timeZero, written.timeZero);
        EXPECT_EQ(read.antennaOffset, written.antennaOffset);
        EXPECT_EQ(read.oneAntennaPair, written.oneAntennaPair);
        EXPECT_EQ(read.channels, written.channels);
        EXPECT_EQ(read.file.filename(), "block.f32");
        EXPECT_EQ(read.checksum, "f55ab64fe554301fbb1c735911e414f30f2e167b9a5b6c7d85e95fc361c9e6c9");
    }
}

TEST(Recording, ComesBackFromAVtkImageWithItsIntervals) {
    const TemporaryFolder folder;
    Recording written = Counting();
    written.lineSpacing = 0.05;
    written.startTime = 2e-9;
    WriteImage(written, folder / "block.vti");
    const Recording read = ReadRecording(folder / "block.vti");
    ExpectSameSamples(read, written);
    EXPECT_NEAR(read.deltaT, written.deltaT, 1e-15 * written.deltaT);
    EXPECT_DOUBLE_EQ(read.deltaX, written.deltaX);
    EXPECT_DOUBLE_EQ(*read.lineSpacing, 0.05);
    EXPECT_DOUBLE_EQ(read.startTime, 2e-9);
    EXPECT_EQ(read.checksum, ChecksumOf(folder / "block.vti"));
}

TEST(Recording, TakesTheMeanOfTheTimeZerosOfItsBscans) {
    const TemporaryFolder folder;
    folder.Write("block.f32", std::string(120, '\0'));
    folder.Write("block.json",
                 "{" + kSizes + "," + kIntervals + R"(, "time_zero_sample_per_bscan": [1.2, 1.4, 1.6, 1.8, 2]})");
    EXPECT_EQ(ReadRecording(folder / "block.f32").timeZero, 2);
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
    std::filesystem::create_directory(folder / "folder.vti");
    folder.Write("text.vti", "no XML</VTKFile>");
    folder.Write("empty.vti", "");
    EXPECT_NE(RefusalOf(folder / "alone.json").find("can't read"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "missing.f32").find("can't read"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "folder.vti").find("can't read"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "text.vti").find("can't be read as a VTK image"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "empty.vti").find("can't be read as a VTK image"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "block.dat").find("is neither"), std::string::npos);
}

TEST(Recording, RefusesAVtkImageThatIsCutOffOrHoldsText) {
    const TemporaryFolder folder;
    WriteImage(Counting(), folder / "block.vti");
    const auto length = std::filesystem::file_size(folder / "block.vti");
    const std::string whole = ReadText(folder / "block.vti");
    std::filesystem::resize_file(folder / "block.vti", length - 60); // in the middle of the samples
    EXPECT_NE(RefusalOf(folder / "block.vti").find("its end is missing"), std::string::npos);
    const auto at = whole.find("Float32");
    folder.Write("block.vti", std::string(whole).replace(at, 7, "String"));
    EXPECT_NE(RefusalOf(folder / "block.vti").find("holds text"), std::string::npos);
    for (const char* attribute : {"WholeExtent=\"", "Piece Extent=\""}) {
        std::string twisted = whole;
        twisted.replace(twisted.find(attribute), std::string(attribute).size(), std::string(attribute) + "9");
        folder.Write("block.vti", twisted);
        EXPECT_NE(RefusalOf(folder / "block.vti").find("extents don't fit"), std::string::npos) << attribute;
    }
}

TEST(Recording, TellsWhereTheFirstBadNumberStands) {
    Recording recording = Counting();
    EXPECT_EQ(FirstNotFinite(recording), -1);
    recording.data[17] = std::numeric_limits<float>::infinity();
    recording.data[23] = std::nanf("");
    EXPECT_EQ(FirstNotFinite(recording), 17);
    try {
        RequireFinite(recording, "block");
        ADD_FAILURE();
    } catch (const Refusal& refusal) {
        EXPECT_STREQ(refusal.what(), "block holds infinity at sample 2 of A-scan 1 of B-scan 2");
    }
}

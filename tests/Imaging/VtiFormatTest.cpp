#include "Imaging/Vti/VtiFormat.h"

#include <fstream>

#include <gtest/gtest.h>
#include <vtkImageData.h>
#include <vtkOutputWindow.h>

#include "Framework/Logger.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/Text.h"
#include "support/Recordings.h"
#include "support/TemporaryFolder.h"

namespace TZM {
namespace {

TEST(VtiFormat, ComesBackFromAVtkImageWithItsIntervals) {
    const TemporaryFolder folder;
    Recording written = Counting();
    written.lineSpacing = 0.05;
    written.startTime = 2e-9;
    written.firstSample = 2;
    WriteRecording(written, folder / "block.vti");
    const Recording read = ReadRecording(folder / "block.vti");
    ASSERT_TRUE(read.size == written.size);
    for (int i = 0; i < 30; ++i) EXPECT_EQ(read.data[i], written.data[i]) << i;
    EXPECT_NEAR(read.deltaT, written.deltaT, 1e-15 * written.deltaT);
    EXPECT_DOUBLE_EQ(read.deltaX, written.deltaX);
    EXPECT_DOUBLE_EQ(*read.lineSpacing, 0.05);
    EXPECT_DOUBLE_EQ(read.FirstTime(), 2e-9 + 2 * written.deltaT);
    EXPECT_EQ(read.checksum, ChecksumOf(folder / "block.vti"));
}

TEST(VtiFormat, RefusesWhatIsNoImageOrAPartOfOne) {
    const TemporaryFolder folder;
    folder.Write("text.vti", "no XML</VTKFile>");
    folder.Write("empty.vti", "");
    EXPECT_NE(RefusalOf(folder / "text.vti").find("can't be read as a VTK image"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "empty.vti").find("can't be read as a VTK image"), std::string::npos);
    WriteVti(ImageOf(Counting()), folder / "block.vti");
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

TEST(VtiFormat, TellsWhyAFileCannotBeWritten) {
    EXPECT_EQ(RefusalOf([] { WriteVti(ImageOf(Counting()), "/dev/full"); }),
              "can't write /dev/full: no space left on device");
}

} // namespace
} // namespace TZM

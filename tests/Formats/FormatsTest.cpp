#include "Formats/Formats.h"

#include <cmath>
#include <fstream>
#include <limits>

#include <gtest/gtest.h>

#include "Formats/LargestAllocation.h"
#include "Formats/Projection.h"
#include "Formats/Writers.h"
#include "Recording/private/Text.h"
#include "support/Recordings.h"
#include "support/TemporaryFolder.h"

namespace TZM {
namespace {

[[maybe_unused]] const bool registered = (RegisterInstrumentFormats(), true);

void ExpectValues(const Recording& recording, int bits) {
    for (int c = 0; c < recording.size.bscans; ++c)
        for (int a = 0; a < recording.size.ascans; ++a)
            for (int s = 0; s < recording.size.samples; ++s)
                ASSERT_EQ(recording.Bscan(c)[a * recording.size.samples + s], static_cast<float>(Value(bits, s, a, c)))
                    << s << " " << a << " " << c;
}

/// A recording in which everything is told, with positions.
Recording Told() {
    Recording recording;
    recording.size = {20, 6, 4};
    recording.data = AllocateSamples(20 * 6 * 4);
    for (int i = 0; i < 20 * 6 * 4; ++i) recording.data[i] = 1.1f * float(i) - 7;
    recording.deltaT = 1.23456789e-10 / 3;
    recording.deltaX = 0.1 / 3;
    recording.knowsDeltaX = true;
    recording.lineSpacing = 0.25;
    recording.timeZero = 3;
    recording.permittivity = 6.54321;
    recording.antennaOffset = 0.06;
    recording.channels = {"low", "high"};
    recording.timeZeros = {3, 4, 0, 19};
    recording.validRanges = {{0, 6}, {1, 4}, {0, 0}, {2, 4}};
    recording.bits = 24;
    recording.oneAntennaPair = true;
    recording.coordinates = "EPSG:4326";
    for (int a = 0; a < 6; ++a) recording.positions.push_back({0, a, -11.5 + a * 1e-5, 47.5 - a * 1e-5, 432.25});
    return recording;
}

} // namespace

TEST(DztFormat, GivesEveryChannelAtEveryWidth) {
    const TemporaryFolder folder;
    for (const int bits : {8, 16, 32})
        for (const int channels : {1, 2, 5, 7})
            for (const int blocks : {0, 9}) {
                const auto file = folder.Write("LINE.DZT", Dzt(40, 11, channels, bits, blocks));
                const Recording recording = ReadRecording(file);
                ASSERT_TRUE((recording.size == Dimensions{40, 11, channels})) << recording.size.Text();
                ExpectValues(recording, bits);
                EXPECT_EQ(recording.bits, bits);
                EXPECT_DOUBLE_EQ(recording.deltaT, 0.5e-9);
                EXPECT_DOUBLE_EQ(recording.deltaX, 0.02);
                EXPECT_EQ(recording.timeZero, 4);
                EXPECT_EQ(recording.permittivity, 6.25);
                ASSERT_EQ(recording.channels.size(), std::size_t(channels));
                EXPECT_EQ(recording.channels[0], channels > 2 ? "400MHz 1" : "400MHz");
                EXPECT_TRUE(channels == 1 || recording.channels[1] == "3200");
                EXPECT_TRUE(recording.notes.empty());
                std::vector<float> part(40 * 11); // one B-scan alone
                OpenRecording(file)->Read(channels - 1, 1, part.data());
                EXPECT_TRUE(std::equal(part.begin(), part.end(), recording.Bscan(channels - 1)));
            }
}

TEST(DztFormat, ReplacesMarksAndReadsWhatLiesBesideIt) {
    const TemporaryFolder folder;
    Bytes file = Dzt(40, 100, 2, 16);
    for (int a = 0; a < 100; ++a)
        for (int c = 0; c < 2; ++c) {
            const std::size_t at = 2048 + 2 * std::size_t((a * 2 + c) * 40);
            for (int s = 0; s < 40; ++s) file.Put(at + 2 * std::size_t(s), static_cast<std::uint16_t>(32768 + s + c));
            file.Put(at, static_cast<std::uint16_t>(a)).Put(at + 2, std::uint16_t{0});
        }
    file.Put(14, 0.f).Put(54, 0.f); // recorded over time
    folder.Write("line.dzt", file + "half a position");
    folder.Write("LINE.DZX", "<DZX><unitsPerScan>0.025</unitsPerScan><dielectric>8.5</dielectric></DZX>");
    folder.Write("line.DZG", "$GSSIS,3,1\r\n$GPGGA,120000,4730.0000,N,01130.0000,W,1,9,1.0,432.1,M,,,,*00\r\n"
                             "$GSSIS,4,1\r\n$GPGGA,120001,4730.0000,N,01130.0000,W,0,9,1.0,432.1,M,,,,*00\r\n"
                             "$GSSIS,999,1\r\n$GPGGA,120001,4730.0000,N,01130.0000,E,1,9,1.0,1,M,,,,*00\r\n");
    const Recording recording = ReadRecording(folder / "line.dzt");
    for (int i : {0, 1, 2}) EXPECT_EQ(recording.Bscan(1)[40 * 5 + i], 3.f);
    EXPECT_EQ(recording.notes.size(), 3u); // half a position, a position beyond the end, marks
    EXPECT_DOUBLE_EQ(recording.deltaX, 0.025);
    EXPECT_TRUE(recording.knowsDeltaX);
    EXPECT_EQ(recording.permittivity, 8.5);
    ASSERT_EQ(recording.positions.size(), 1u); // fix quality 0 doesn't count
    EXPECT_EQ(recording.positions[0].ascan, 3);
    EXPECT_DOUBLE_EQ(recording.positions[0].north, 47.5);
    EXPECT_DOUBLE_EQ(recording.positions[0].east, -11.5);
    EXPECT_DOUBLE_EQ(recording.positions[0].height, 432.1);
    ReadOptions keep;
    keep.keepMarks = true;
    EXPECT_EQ(ReadRecording(folder / "line.dzt", keep).data[40 * 10], -32768.f + 10);
}

TEST(DztFormat, TakesWhatTheHeadersOfFurtherChannelsTell) {
    const TemporaryFolder folder;
    Bytes file = Dzt(40, 3, 3, 16);
    file.Put(1024 + 22, -5.f).Put(2048 + 22, -19.9f).Put(2048 + 26, 30.f);
    const Recording recording = ReadRecording(folder.Write("line.dzt", file));
    EXPECT_EQ(recording.timeZeros, (std::vector<int>{4, 10, 39}));
    EXPECT_NE(recording.notes.at(0).find("channel 3 tells a time window of 30 ns"), std::string::npos);
    folder.Write("line.dzg", "$GSSIS,99999999999,1\n$GPGGA,1,4730.0,N,01130.0,E,1,9,1,4,M\n"
                             "$GSSIS,1,1\n$GPGGA,1,9930.0,N,01130.0,E,1,9,1,4,M\n");
    const Recording lost = ReadRecording(folder / "line.dzt");
    EXPECT_TRUE(lost.positions.empty());
    EXPECT_NE(Joined(lost.notes).find("1 positions of " + (folder / "line.dzt").string() + " lie nowhere on earth"),
              std::string::npos);
}

TEST(Dt1Format, LetsTheFilesSizeDecide) {
    const TemporaryFolder folder;
    folder.Write("LINE.HD", kHd);
    for (const int bytes : {2, 4})
        for (const int told : {2, 4, 0}) {
            folder.Write("LINE.dt1", Dt1(20, 6, bytes, told));
            const Recording recording = ReadRecording(folder / "LINE.dt1");
            ASSERT_TRUE((recording.size == Dimensions{20, 6, 1}));
            ExpectValues(recording, 16);
            EXPECT_EQ(recording.bits, bytes == 2 ? std::optional(16) : std::nullopt);
            EXPECT_TRUE(recording.notes.empty());
            EXPECT_DOUBLE_EQ(recording.deltaT, 0.8e-9);
            EXPECT_DOUBLE_EQ(recording.deltaX, 0.5 * 0.3048);
            EXPECT_DOUBLE_EQ(recording.startX, 0.3048);
            EXPECT_EQ(recording.timeZero, 3);
            EXPECT_NEAR(*recording.antennaOffset, 0.6096, 1e-12);
        }
    folder.Write("LINE.dt1", Dt1(20, 4, 2, 2) + "torn");
    folder.Write("LINE.gps", "Trace #2 at position 0.5\n$GPGGA,1,4800.0,S,1100.0,E,2,5,1,10,M\n");
    const Recording shorter = ReadRecording(folder / "LINE.HD"); // whichever of the two is given
    EXPECT_EQ(shorter.size.ascans, 4);
    EXPECT_NE(shorter.notes.at(0).find("tells 6 A-scans; the size of LINE.dt1 makes them 4"), std::string::npos);
    EXPECT_EQ(shorter.positions.at(0).ascan, 1);
    EXPECT_DOUBLE_EQ(shorter.positions.at(0).north, -48);
}

TEST(ChannelFiles, AreReadByTheirHeaders) {
    const TemporaryFolder folder;
    for (const int bits : {16, 32}) {
        folder.Write("a.rad",
                     "SAMPLES:16\r\nFREQUENCY: 2000.0\nDISTANCE INTERVAL:0.05\nANTENNAS:500 shielded\nLAST TRACE:5\n"
                     "ANTENNA SEPARATION:0.18\n");
        std::filesystem::remove(folder / "a.rd3");
        folder.Write(bits == 16 ? "a.rd3" : "a.rd7", Words(16, 5, bits));
        folder.Write(
            "a.cor",
            "1\t2020-01-01\t10:00:00\t47.5\tN\t11.5\tE\t500.0\tM\t4\n3,2020-01-01,10:00:01,47.6,S,11.6,W,501,M,4\nx\n");
        const Recording rad = ReadRecording(folder / (bits == 16 ? "a.rd3" : "a.rd7"));
        ASSERT_TRUE((rad.size == Dimensions{16, 5, 1}));
        ExpectValues(rad, bits);
        EXPECT_DOUBLE_EQ(rad.deltaT, 0.5e-9);
        EXPECT_DOUBLE_EQ(rad.deltaX, 0.05);
        EXPECT_EQ(rad.channels.at(0), "500 shielded");
        ASSERT_EQ(rad.positions.size(), 2u);
        EXPECT_EQ(rad.positions[1].ascan, 2);
        EXPECT_DOUBLE_EQ(rad.positions[1].east, -11.6);
        EXPECT_TRUE(rad.notes.empty());

        folder.Write(
            "b.iprh",
            "SAMPLES: 16\nTIMEWINDOW: 8\nDATA VERSION: " + std::to_string(bits) +
                "\nUSER DISTANCE INTERVAL: 0.04\nZERO LEVEL: 2\nSOIL VELOCITY: 100\nLAST TRACE: 7\nFREQUENCY: 450\n");
        folder.Write("b.iprb", Words(16, 5, bits));
        const Recording iprb = ReadRecording(folder / "b.iprb");
        ExpectValues(iprb, bits);
        EXPECT_DOUBLE_EQ(iprb.deltaT, 0.5e-9);
        EXPECT_EQ(iprb.timeZero, 2);
        EXPECT_DOUBLE_EQ(*iprb.permittivity, 9);
        EXPECT_NE(iprb.notes.at(0).find("tells 7 A-scans; the size of b.iprb makes them 5"), std::string::npos);
    }
    folder.Write("c.rad",
                 "\xef\xbb\xbfSAMPLES:16\rFREQUENCY:2000\rDISTANCE INTERVAL:0\rANTENNAS:gesch\xfctzt\rTIMEWINDOW:16");
    folder.Write("c.RD3", Words(16, 2, 16));
    const Recording odd = ReadRecording(folder / "c.RD3"); // a mark ahead of UTF-8, Latin-1 behind it, old line ends
    EXPECT_FALSE(odd.knowsDeltaX);
    EXPECT_EQ(odd.channels.at(0), "gesch\xc3\xbctzt");
    EXPECT_NE(odd.notes.at(0).find("tells a TIMEWINDOW of 16 ns; SAMPLES and FREQUENCY make it 8"), std::string::npos);
    folder.Write("c.rad", "SAMPLES:16\nFREQUENCY:2000,5\nANTENNA SEPARATION:1e300\n");
    EXPECT_DOUBLE_EQ(ReadRecording(folder / "c.RD3").deltaT, 1 / 2000.5e6);
    EXPECT_NE(Joined(ReadRecording(folder / "c.RD3").notes).find("a distance of antennas of 1e+300, which is passed"),
              std::string::npos);
    folder.Write("c.rad", "SAMPLES:16\nFREQUENCY:1e-300\n");
    EXPECT_NE(RefusalOf(folder / "c.RD3").find("s between samples; a number above 0 is expected"), std::string::npos);
}

TEST(OgprFormat, GivesAllChannelsAndTheirPlaces) {
    const TemporaryFolder folder;
    for (const std::string type : {"float", "", "int", "int16"})
        for (const int channels : {1, 3, 11}) {
            folder.Write("swath.ogpr", Ogpr(30, 6, channels, type, channels != 3));
            const Recording recording = ReadRecording(folder / "swath.ogpr");
            ASSERT_TRUE((recording.size == Dimensions{30, 6, channels}));
            ExpectValues(recording, 16);
            EXPECT_DOUBLE_EQ(recording.deltaT, 0.125e-9);
            EXPECT_DOUBLE_EQ(recording.deltaX, 0.04);
            EXPECT_DOUBLE_EQ(*recording.permittivity, 9);
            EXPECT_EQ(recording.coordinates, "EPSG:32632");
            ASSERT_EQ(recording.positions.size(), std::size_t(6 * channels));
            const Position& last = recording.positions.back();
            EXPECT_EQ(last.bscan, channels - 1);
            EXPECT_EQ(last.ascan, 5);
            EXPECT_DOUBLE_EQ(last.east, 500005);
            EXPECT_DOUBLE_EQ(last.north, 5000000 + channels - 1);
        }
}

#if TZM_WITH_SEGYIO
TEST(SegyFormat, ReadsNumbersOfEveryKindInBothOrdersOfBytes) {
    const TemporaryFolder folder;
    for (const int format : {1, 2, 3, 5, 8})
        for (const bool bigEndian : {true, false}) {
            const auto file = folder.Write("lines.sgy", Segy(20, 3, format, bigEndian));
            Recording recording = ReadRecording(file);
            ASSERT_TRUE((recording.size == Dimensions{20, 4, 3})) << recording.size.Text();
            ASSERT_EQ(recording.validRanges.size(), 3u);
            EXPECT_EQ(recording.validRanges[2].validLen, 2);
            for (int z = 0; z < 3; ++z)
                for (int i = 0; i < 80; ++i)
                    ASSERT_EQ(recording.Bscan(z)[i],
                              i < 20 * (4 - z) ? Value(format == 8 ? 8 : 16, i % 20, i / 20, z) : 0)
                        << format << bigEndian;
            EXPECT_DOUBLE_EQ(recording.deltaT, 4e-8);
            EXPECT_NE(recording.notes.at(0).find("is taken as picoseconds"), std::string::npos);
            EXPECT_NEAR(recording.deltaX, 0.5, 1e-9);
            EXPECT_DOUBLE_EQ(recording.positions.at(5).east, 5000.5);
            ReadOptions options;
            options.intervalUnit = 1e-14;
            EXPECT_DOUBLE_EQ(ReadRecording(file, options).deltaT, 4e-10);
        }
    const auto refusal = [&](std::size_t at, auto value) {
        return RefusalOf(folder.Write("bad.sgy", Segy(20, 3, 5, false).Put(at, value)));
    };
    EXPECT_NE(refusal(3224, std::uint16_t{4}).find("byte 3224: 4 as format of the samples; one of"), std::string::npos);
    EXPECT_EQ(refusal(3220, std::uint16_t{0}), "none"); // the first A-scan tells it
    EXPECT_NE(refusal(3600 + 320 + 114, std::uint16_t{19}).find("A-scan 1 has 19 samples; 20"), std::string::npos);
    EXPECT_NE(refusal(3504, std::int16_t{-1}).find("further headers of text"), std::string::npos);
    EXPECT_NE(refusal(3216, std::uint16_t{0}).find("0 as interval"), std::string::npos);
}
#endif

#if TZM_WITH_HDF5
TEST(Hdf5Format, ReadsReceiversOfAModelAsChannels) {
    const TemporaryFolder folder;
    const auto model = [&](const std::string& name, int rank, int receivers, double dt) {
        WriteModel(folder / name, rank, receivers, dt);
        return folder / name;
    };
    for (const int rank : {1, 2})
        for (const int receivers : {1, 2, 3}) {
            const Recording recording = ReadRecording(model("model.out", rank, receivers, 2e-12));
            ASSERT_TRUE((recording.size == Dimensions{30, rank == 2 ? 5 : 1, receivers}));
            ExpectValues(recording, 16);
            EXPECT_DOUBLE_EQ(recording.deltaT, 2e-12);
            EXPECT_DOUBLE_EQ(recording.deltaX, 0.02);
            EXPECT_EQ(recording.channels.size(), std::size_t(receivers));
        }
    ReadOptions options;
    options.component = "Hx";
    ExpectValues(ReadRecording(folder / "model.out", options), 16);
    options.component = "Ey";
    EXPECT_THROW(ReadRecording(folder / "model.out", options), FormatError);
    EXPECT_NE(RefusalOf(model("bad.h5", 2, 0, 2e-12)).find("holds no receiver"), std::string::npos);
    EXPECT_NE(RefusalOf(model("bad.h5", 2, 1, 0)).find("\"dt\" must be"), std::string::npos);
    const std::string whole = ReadText(folder / "model.out");
    for (std::size_t i = 0; i < 100; ++i)
        EXPECT_NE(RefusalOf(folder.Write("cut.h5", whole.substr(0, whole.size() * i / 100))), "none") << i;
}
#endif

TEST(Formats, GiveBackWhatTheyWrote) {
    const TemporaryFolder folder;
    for (const Format& format : TZM::Formats()) {
        if (!format.write || format.name == "raw" || !format.recognises) continue;
        Recording in = Told();
        const auto file = folder / ("told" + format.extensions.front());
        WriteRecording(in, file);
        Recording out = ReadRecording(file);
        ASSERT_TRUE(out.size == in.size) << format.name;
        EXPECT_TRUE(std::equal(in.data.get(), in.data.get() + in.size.Count(), out.data.get())) << format.name;
        EXPECT_EQ(out.checksum, in.checksum);
        EXPECT_EQ(out.deltaT, in.deltaT);
        EXPECT_EQ(out.deltaX, in.deltaX);
        EXPECT_EQ(out.lineSpacing, in.lineSpacing);
        EXPECT_EQ(out.timeZero, in.timeZero);
        EXPECT_EQ(out.timeZeros, in.timeZeros);
        EXPECT_EQ(out.bits, in.bits);
        EXPECT_TRUE(out.oneAntennaPair);
        ASSERT_EQ(out.validRanges.size(), 4u);
        for (std::size_t z = 0; z < 4; ++z) {
            EXPECT_EQ(out.validRanges[z].validLen, in.validRanges[z].validLen) << format.name << z;
            EXPECT_TRUE(z == 2 || out.validRanges[z].firstValidIdx == in.validRanges[z].firstValidIdx);
        }
        EXPECT_EQ(out.permittivity, in.permittivity);
        EXPECT_EQ(out.antennaOffset, in.antennaOffset);
        EXPECT_EQ(out.channels, in.channels);
        EXPECT_TRUE(out.notes.empty());
        ASSERT_EQ(out.positions.size(), in.positions.size());
        EXPECT_NEAR(out.positions[4].east, in.positions[4].east, 2e-7);
        EXPECT_NEAR(out.positions[4].height, 432.25, 1e-9);
        EXPECT_EQ(out.coordinates, in.coordinates);
        EXPECT_THROW(WriteRecording(in, folder / "missing" / ("told" + format.extensions.front())), Refusal);
    }
}

TEST(Formats, AreRecognisedByContentUnderAnotherName) {
    const TemporaryFolder folder;
    folder.Write("line.bin", Dzt(40, 3, 1, 16));
    folder.Write("swath.dzt", Ogpr(30, 2, 1, "float", true));
    folder.Write("walk.hd", kHd);
    Bytes walk = Dt1(20, 6, 2, 2);
    for (std::size_t a = 0; a < 6; ++a) walk.Put(168 * a + 8, 20.f);
    folder.Write("walk.bin", walk);
    const Recording renamed = ReadRecording(folder / "walk.bin");
    EXPECT_EQ(renamed.format, "dt1");
    EXPECT_NE(renamed.notes.at(0).find("isn't of a known extension; it is read as NAME.DT1"), std::string::npos);
    EXPECT_NE(RefusalOf(folder / "walk.hd").find("there is no"), std::string::npos);
    ExpectValues(ReadRecording(folder / "line.bin"), 16);
    const Recording swath = ReadRecording(folder / "swath.dzt");
    EXPECT_EQ(swath.format, "ogpr");
    EXPECT_NE(swath.notes.at(0).find("isn't NAME.DZT by its content; it is read as NAME.ogpr"), std::string::npos);
}

/// A file of each kind, with those beside it.
struct Kind {
    std::filesystem::path file;
    Bytes whole;
    std::size_t header;   ///< bytes whose loss is a refusal
    std::size_t position; ///< bytes of an A-scan of all channels behind them; 0: every loss is a refusal
};

std::vector<Kind> Kinds(const TemporaryFolder& folder) {
    std::vector<Kind> kinds;
    const auto add = [&](const char* name, const Bytes& whole, std::size_t header, std::size_t position) {
        kinds.push_back({folder.Write(name, whole), whole, header, position});
    };
    folder.Write("l.hd", kHd);
    folder.Write("r.rad", "SAMPLES:16\nFREQUENCY:2000\n");
    folder.Write("i.iprh", "SAMPLES:16\nTIMEWINDOW:8\n");
    folder.Write("f.json", R"({"samples": 4, "ascans": 5, "bscans": 2, "delta_t": 1e-10, "delta_x": 0.1})");
    add("d.dzt", Dzt(40, 110, 2, 16), 2048, 160);
    add("l.dt1", Dt1(20, 60, 2, 2), 0, 168);
    add("r.rd3", Words(16, 50, 16), 0, 32);
    add("i.iprb", Words(16, 50, 16), 0, 32);
    add("o.ogpr", Ogpr(30, 20, 2, "float", true), 2048, 0);
    add("f.f32", Bytes(160), 160, 0);
#if TZM_WITH_SEGYIO
    add("s.sgy", Segy(20, 1, 3, true), 3600, 280);
#endif
#if TZM_WITH_HDF5
    WriteModel(folder / "m.h5", 2, 2, 2e-12);
    Bytes model;
    model += ReadText(folder / "m.h5");
    add("m.h5", model, 2048, 0);
#endif
    return kinds;
}

/// Headers of text and what else lies beside the files of Kinds(), in full.
std::vector<Kind> Besides(const TemporaryFolder& folder) {
    std::vector<Kind> besides;
    const auto add = [&](const char* of, const char* extension, const std::string& text) {
        Bytes whole;
        whole += text;
        folder.Write(std::filesystem::path(of).replace_extension(extension), whole);
        besides.push_back({folder / of, whole, 0, 0});
        besides.back().file.replace_extension(extension);
    };
    const std::string gga = "$GPGGA,120000,4730.0000,N,01130.0000,E,1,9,1.0,432.1,M,,,,*00\r\n",
                      cor = "1\t2020-01-01\t10:00:00\t47.5\tN\t11.5\tE\t500.0\tM\t4\n";
    add("l.dt1", ".hd", kHd);
    add("l.dt1", ".gps", "Trace #2 at position 0.5\n" + gga + "Trace #3\n" + gga);
    add("r.rd3", ".rad", "SAMPLES:16\nFREQUENCY:2000\nDISTANCE INTERVAL:0.05\nTIMEWINDOW:8\n");
    add("r.rd3", ".cor", cor + "3" + cor.substr(1));
    add("i.iprb", ".iprh", "SAMPLES: 16\nTIMEWINDOW: 8\nDATA VERSION: 16\nZERO LEVEL: 2\nSOIL VELOCITY: 100\n");
    add("d.dzt", ".dzg", "$GSSIS,3,1\r\n" + gga + "$GSSIS,4,1\r\n" + gga);
    add("d.dzt", ".dzx", "<DZX><unitsPerScan>0.025</unitsPerScan><dielectric>8.5</dielectric></DZX>");
    add("f.f32", ".json", R"({"samples": 4, "ascans": 5, "bscans": 2, "delta_t": 1e-10, "delta_x": 0.1, "bits": 16})");
    return besides;
}

/// The file that is read when one of those beside it is changed.
std::filesystem::path ReadFor(const std::filesystem::path& beside, const std::vector<Kind>& kinds) {
    for (const Kind& kind : kinds)
        if (kind.file.stem() == beside.stem()) return kind.file;
    return {};
}

TEST(Formats, RefuseAFileThatIsCutAnywhereInOneLine) {
    const TemporaryFolder folder;
    const std::vector<Kind> kinds = Kinds(folder);
    for (const Kind& kind : kinds) {
        ASSERT_EQ(RefusalOf(kind.file), "none") << kind.file;
        const auto cut = [&](std::size_t length) { // shorter each time
            std::filesystem::resize_file(kind.file, length);
            return RefusalOf(kind.file);
        };
        for (std::size_t i = 100; i-- > 0;) {
            const std::size_t length = kind.whole.size() * i / 100;
            if (length < kind.header + kind.position) break;
            const std::string refusal = cut(length);
            ASSERT_EQ(refusal == "none", kind.position > 0) << kind.file << length << refusal;
            if (kind.position == 0) continue;
            const std::size_t whole = (length - kind.header) / kind.position;
            ASSERT_EQ(std::size_t(OpenRecording(kind.file)->About().size.ascans), whole);
        }
        for (std::size_t length = std::min(kind.header + kind.position, kind.whole.size()); length-- > 0;)
            ASSERT_NE(cut(length), "none") << kind.file << length;
        folder.Write(kind.file.filename(), kind.whole);
    }
    for (const Kind& beside : Besides(folder))
        for (std::size_t length = beside.whole.size(); length-- > 0;) {
            std::filesystem::resize_file(beside.file, length);
            RefusalOf(ReadFor(beside.file, kinds)); // what is left may be a header, too
            if (length == 0) folder.Write(beside.file.filename(), beside.whole);
        }
}

TEST(Formats, AskForNoMoreMemoryThanAFileJustifiesWhateverItsHeaderSays) {
    const TemporaryFolder folder;
    std::vector<Kind> kinds = Kinds(folder);
    const std::vector<Kind> besides = Besides(folder);
    for (const bool data : {true, false})
        for (const Kind& kind : data ? kinds : besides) {
            const auto read = data ? kind.file : ReadFor(kind.file, kinds);
#ifdef __SANITIZE_ADDRESS__ // libhdf5 reads behind its own buffers where attributes are damaged
            if (read.extension() == ".h5" || read.extension() == ".out") continue;
#endif
            std::fstream file(kind.file, std::ios::in | std::ios::out | std::ios::binary);
            const std::size_t header = data ? kind.header : kind.whole.size();
            const std::size_t begin = kind.header == 3600 ? 3200 : 0, // behind the text
                end = std::min<std::size_t>(header + 240, kind.whole.size());
            for (std::size_t at = begin; at < end; ++at) {
                const auto around = kind.whole.substr(at > 8 ? at - 8 : 0, 17);
                if (at % 1024 > 128 && around.find_first_not_of(around[0]) == std::string::npos) continue; // padding
                for (const char value : {'\x7f', '\xff', '9'}) {
                    file.seekp(std::streamoff(at)).put(value).flush();
                    LargestAllocation() = 0;
                    std::int64_t block = 0;
                    try {
                        const auto source = OpenRecording(read);
                        block = source->About().size.Count() * 4;
                        if (block <= 64 << 20) ReadRecording(*source);
                    } catch (const FormatError&) {
                    }
                    // 8 bits become 32, short lines are filled up to four times their A-scans; pieces of a MiB
                    const std::size_t justified = 16 * std::filesystem::file_size(read) + (3 << 20);
                    ASSERT_LE(std::size_t(block), justified) << kind.file << at;
                    ASSERT_LE(LargestAllocation().load(), justified) << kind.file << at;
                    file.seekp(std::streamoff(at)).put(kind.whole[at]).flush();
                }
            }
        }
}

TEST(Formats, RefuseAbsurdHeaders) {
    const TemporaryFolder folder;
    const auto dzt = [&](std::size_t at, auto value) {
        folder.Write("d.dzt", Dzt(40, 11, 2, 16).Put(at, value));
        return RefusalOf(folder / "d.dzt");
    };
    EXPECT_NE(dzt(4, std::uint16_t{0}).find("byte 4: 0 samples per A-scan; 1 to 65535 are expected"),
              std::string::npos);
    EXPECT_NE(dzt(6, std::uint16_t{12}).find("byte 6: 12 bits per sample; one of 8, 16, 32 is expected"),
              std::string::npos);
    EXPECT_NE(dzt(52, std::uint16_t{65535}).find("65535 channels; 1 to 64"), std::string::npos);
    EXPECT_NE(dzt(52, std::uint16_t{64}).find("the first position of 64 channels ends at byte"), std::string::npos);
    EXPECT_NE(dzt(26, std::numeric_limits<float>::quiet_NaN()).find("ns of time window"), std::string::npos);
    EXPECT_NE(dzt(2, std::uint16_t{1000}).find("has "), std::string::npos);
    EXPECT_EQ(dzt(14, std::numeric_limits<float>::infinity()), "none");

    folder.Write("l.dt1", Dt1(20, 6, 2, 2));
    const auto hd = [&](const std::string& from, const std::string& to) {
        std::string text = kHd;
        text.replace(text.find(from), from.size(), to);
        folder.Write("l.hd", text);
        return RefusalOf(folder / "l.dt1");
    };
    EXPECT_NE(hd("=  20 ", "= many").find("NUMBER OF PTS/TRC is \"many\"; a number is expected"), std::string::npos);
    EXPECT_NE(hd("=  20 ", "= 2.5").find("is 2.5; a whole number from 1 to"), std::string::npos);
    EXPECT_NE(hd("WINDOW=16", "WINDOW=0").find("TOTAL TIME WINDOW is 0; a number above 0"), std::string::npos);
    EXPECT_NE(hd("TOTAL TIME WINDOW=16", "").find("doesn't tell TOTAL TIME WINDOW"), std::string::npos);
    std::filesystem::remove(folder / "l.hd");
    EXPECT_NE(RefusalOf(folder / "l.dt1").find("there is no "), std::string::npos);

    const auto ogpr = [&](const std::string& from, const std::string& to) {
        std::string text = Ogpr(30, 2, 2, "float", true);
        text.replace(text.find(from), from.size(), to);
        folder.Write("o.ogpr", text);
        return RefusalOf(folder / "o.ogpr");
    };
    EXPECT_NE(ogpr("\"samplesCount\": 30", "\"samplesCount\": -3").find("\"mainDescriptor.samplesCount\" must be"),
              std::string::npos);
    EXPECT_NE(
        ogpr("\"slicesCount\": 2", "\"slicesCount\": 2000000000").find("\"dataBlockDescriptors.byteSize\" must be"),
        std::string::npos);
    EXPECT_NE(
        ogpr("\"byteOffset\": 2048", "\"byteOffset\": 99999").find("and its block \"Radar Volume\" at byte 99999"),
        std::string::npos);
    EXPECT_NE(ogpr("Radar Volume", "Radar Column").find("tells no block \"Radar Volume\""), std::string::npos);
    EXPECT_NE(ogpr("0.125", "-1").find("\"radar.samplingTime_ns\" must be a number above 0"), std::string::npos);
    EXPECT_NE(ogpr("\"float\"", "\"double\"").find("must be \"float\", \"int\" or \"int16\""), std::string::npos);
}

#if TZM_WITH_PROJ
TEST(Projection, PlacesARecordingInTheMapAndBack) {
    EXPECT_EQ(UtmZone(11.5, 47.5), "EPSG:32632");
    EXPECT_EQ(UtmZone(-180, -10), "EPSG:32701");
    Recording recording = Told(); // in degrees, towards east and south
    std::string system;
    const std::vector<Position> metres = PositionsInMetres(recording, system);
    EXPECT_EQ(system, "EPSG:32629");
    EXPECT_NEAR(metres[0].east, 311791.0, 100); // 2.5 degrees west of the meridian 9 W
    EXPECT_NEAR(metres[0].north, 5263900.0, 1500);
    const Placement place = PlacementOf(recording);
    EXPECT_NEAR(place.along[0], 0.534, 0.002); // 0.560 from true north, which is 1.85 degrees off there
    EXPECT_NEAR(place.along[1], -0.845, 0.002);
    EXPECT_NEAR(place.across[0], place.along[1], 1e-12); // to the right of the way
    Recording projected = Told();
    projected.positions = metres;
    projected.coordinates = system;
    const Json::Value track = TrackGeoJson(projected)["features"][0];
    EXPECT_EQ(track["geometry"]["type"], "LineString");
    EXPECT_EQ(track["properties"]["channel"], "low");
    EXPECT_NEAR(track["geometry"]["coordinates"][5][0].asDouble(), recording.positions[5].east, 1e-8);
    EXPECT_NEAR(track["geometry"]["coordinates"][5][1].asDouble(), recording.positions[5].north, 1e-8);
    projected.coordinates = "EPSG:nowhere";
    EXPECT_THROW(TrackGeoJson(projected), Refusal);
    projected.positions.resize(1);
    EXPECT_THROW(PlacementOf(projected), Refusal);
}
#endif

} // namespace TZM

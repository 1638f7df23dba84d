#include "Formats/Formats.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "Recording/Refusal.h"
#include "Recording/Survey.h"
#include "Recording/private/Text.h"
#include "support/TemporaryFolder.h"

namespace TZM {
namespace {

[[maybe_unused]] const bool registered = (RegisterInstrumentFormats(), true);

/// Bytes of a file that is being written, little-endian.
struct Bytes : std::string {
    explicit Bytes(std::size_t size = 0) : std::string(size, '\0') {}
    template <class T>
    Bytes& Put(std::size_t at, T value) {
        if (size() < at + sizeof(T)) resize(at + sizeof(T));
        std::memcpy(data() + at, &value, sizeof(T));
        return *this;
    }
    template <class T>
    void Add(T value) {
        Put(size(), value);
    }
};

/// A whole number that tells where a sample stands, within the range of the width.
int Value(int bits, int sample, int ascan, int channel) {
    const int value = sample * 31 + ascan * 7 + channel * 1009;
    return bits == 8 ? value % 256 - 128 : bits == 16 ? value % 65536 - 32768 : value * 1000 - 50000000;
}

void AddWord(Bytes& file, int bits, bool isUnsigned, int value) {
    if (bits == 8) file.Add(static_cast<std::uint8_t>(value + 128));
    if (bits == 16)
        isUnsigned ? file.Add(static_cast<std::uint16_t>(value + 32768)) : file.Add(static_cast<std::int16_t>(value));
    if (bits == 32) file.Add(static_cast<std::int32_t>(value));
}

void ExpectValues(const Recording& recording, int bits) {
    for (int c = 0; c < recording.size.bscans; ++c)
        for (int a = 0; a < recording.size.ascans; ++a)
            for (int s = 0; s < recording.size.samples; ++s)
                ASSERT_EQ(recording.Bscan(c)[a * recording.size.samples + s], static_cast<float>(Value(bits, s, a, c)))
                    << s << " " << a << " " << c;
}

Bytes Dzt(int samples, int ascans, int channels, int bits, int blocks = 0) {
    Bytes file(static_cast<std::size_t>(1024 * (blocks > 0 ? blocks : channels)));
    file.Put<std::uint16_t>(0, 0x00ff).Put<std::uint16_t>(2, static_cast<std::uint16_t>(blocks > 0 ? blocks : 1024));
    file.Put<std::uint16_t>(4, samples).Put<std::uint16_t>(6, bits).Put<std::uint16_t>(52, channels);
    file.Put(14, 50.f).Put(22, -2.f).Put(26, 20.f).Put(54, 6.25f);
    for (int c = 0; c < channels && 1024 * c < int(file.size()); ++c)
        std::memcpy(file.data() + 1024 * c + 98, c == 1 ? "3200" : "400MHz", c == 1 ? 4 : 6);
    for (int a = 0; a < ascans; ++a)
        for (int c = 0; c < channels; ++c)
            for (int s = 0; s < samples; ++s) AddWord(file, bits, bits != 32, Value(bits, s, a, c));
    return file;
}

const std::string kHd =
    "0\r\n  Header\r\nNUMBER OF TRACES   = 6\r\nNumber of pts/trc  =  20 \r\nTIMEZERO AT POINT = 3.4\r\n"
    "TOTAL TIME WINDOW=16\r\nSTARTING POSITION = 1\r\nSTEP SIZE USED = 0.5\r\nPOSITION UNITS = ft\r\n"
    "NOMINAL FREQUENCY = 50.000000\r\nANTENNA SEPARATION = 2.0\r\nCOMMENT \xe4\xf6 = \xfc\r\n";

Bytes Dt1(int samples, int ascans, int bytes, int bytesTold) {
    Bytes file;
    for (int a = 0; a < ascans; ++a) {
        const std::size_t begin = file.size();
        file.resize(begin + 128);
        file.Put(begin, float(a + 1)).Put(begin + 20, float(bytesTold));
        for (int s = 0; s < samples; ++s)
            bytes == 2 ? file.Add(static_cast<std::int16_t>(Value(16, s, a, 0))) : file.Add(float(Value(16, s, a, 0)));
    }
    return file;
}

Bytes Words(int samples, int ascans, int bits) {
    Bytes file;
    for (int a = 0; a < ascans; ++a)
        for (int s = 0; s < samples; ++s) AddWord(file, bits, false, Value(bits, s, a, 0));
    return file;
}

Bytes Ogpr(int samples, int slices, int channels, const std::string& type, bool hexadecimal) {
    const std::size_t volume = 2048, word = type == "float" || type.empty() ? 4 : 2;
    const std::size_t bytes = word * std::size_t(samples) * slices * channels;
    const std::string json =
        R"({"version": {"major": 1, "minor": 0}, "mainDescriptor": {"samplesCount": )" + std::to_string(samples) +
        R"(, "channelsCount": )" + std::to_string(channels) + R"(, "slicesCount": )" + std::to_string(slices) +
        R"(, "metadata": {"swathName": "a } \" {"}}, "dataBlockDescriptors": [{"type": "Radar Volume", "byteOffset": 2048,
        "byteSize": )" +
        std::to_string(bytes) + (type.empty() ? "" : R"(, "valueType": ")" + type + "\"") +
        R"(, "radar": {"samplingStep_m": 0.04, "samplingTime_ns": 0.125, "propagationVelocity_mPerSec": 1e8,
        "fequency_MHz": 600}}, {"type": "Sample Geolocations", "byteOffset": )" +
        std::to_string(volume + bytes) + R"(, "byteSize": )" + std::to_string(slices * channels * 4 * 8) +
        R"(, "srs": {"type": "EPSG", "value": 32632}}]})";
    char size[16];
    std::snprintf(size, sizeof size, hexadecimal ? "%08zx" : "%zu", json.size());
    Bytes file;
    file += "ogpr\n0123456789abcdef0123456789abcdef\n" + std::string(size) + "\n" + json;
    file.resize(volume, ' ');
    for (int a = 0; a < slices; ++a)
        for (int c = 0; c < channels; ++c)
            for (int s = 0; s < samples; ++s)
                word == 4 ? file.Add(float(Value(16, s, a, c)))
                          : file.Add(static_cast<std::int16_t>(Value(16, s, a, c)));
    for (int a = 0; a < slices; ++a)
        for (int c = 0; c < channels; ++c)
            for (const double number : {500000. + a, 5000000. + c, 120., 7.}) file.Add(number);
    return file;
}

/// The text of the FormatError, of one line, or "none".
std::string RefusalOf(const std::filesystem::path& file) {
    try {
        ReadRecording(file);
    } catch (const FormatError& refusal) {
        EXPECT_EQ(std::string(refusal.what()).find('\n'), std::string::npos);
        return refusal.what();
    }
    return "none";
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
    folder.Write("c.rad", "SAMPLES:16\nFREQUENCY:2000\nDISTANCE INTERVAL:0\n");
    folder.Write("c.RD3", Words(16, 2, 16));
    EXPECT_FALSE(ReadRecording(folder / "c.RD3").knowsDeltaX);
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

TEST(Formats, AreRecognisedByContentUnderAnotherName) {
    const TemporaryFolder folder;
    folder.Write("line.bin", Dzt(40, 3, 1, 16));
    folder.Write("swath.dzt", Ogpr(30, 2, 1, "float", true));
    ExpectValues(ReadRecording(folder / "line.bin"), 16);
    const Recording swath = ReadRecording(folder / "swath.dzt");
    EXPECT_EQ(swath.format, "ogpr");
    EXPECT_NE(swath.notes.at(0).find("isn't NAME.DZT by its content; it is read as NAME.ogpr"), std::string::npos);
}

TEST(Formats, RefuseAFileThatIsCutAnywhereInOneLine) {
    const TemporaryFolder folder;
    folder.Write("l.hd", kHd);
    folder.Write("r.rad", "SAMPLES:16\nFREQUENCY:2000\n");
    folder.Write("i.iprh", "SAMPLES:16\nTIMEWINDOW:8\n");
    const struct {
        const char* name;
        Bytes whole;
        std::size_t header;   ///< bytes that are all needed
        std::size_t position; ///< bytes of the first position behind it
    } cases[] = {{"d.dzt", Dzt(40, 11, 2, 16), 2048, 160},
                 {"l.dt1", Dt1(20, 6, 2, 2), 0, 168},
                 {"r.rd3", Words(16, 5, 16), 0, 32},
                 {"i.iprb", Words(16, 5, 16), 0, 32},
                 {"o.ogpr", Ogpr(30, 2, 2, "float", true), 2048, 480 + 128}};
    for (const auto& c : cases) {
        const auto cut = [&](std::size_t length) {
            folder.Write(c.name, c.whole.substr(0, length));
            return RefusalOf(folder / c.name);
        };
        EXPECT_EQ(cut(c.whole.size()), "none") << c.name;
        for (std::size_t length = 0; length < c.header + c.position; ++length)
            ASSERT_NE(cut(length), "none") << c.name << length;
        for (std::size_t i = 0; i < 100; ++i) cut(c.whole.size() * i / 100); // whole A-scans are taken, with a note
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

    const auto refusal = [&](const std::vector<std::filesystem::path>& files) -> std::string {
        try {
            OpenSurvey(files);
        } catch (const FormatError& error) {
            return error.what();
        }
        return "none";
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
    for (const char* text : {R"({"files": []})", R"({"files": [3]})", R"({"files": ["d.rd3"], "crop": 1})",
                             R"({"files": [{"file": "d.rd3", "first": 9}]})", R"({"files": ["none.rd3"]})"})
        EXPECT_NE(refusal({folder.Write("survey.json", text)}), "none") << text;
}

} // namespace TZM

#include "Formats/Writers.h"
#include "Imaging/Vti/VtiFormat.h"
#include "Recording/Format.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/Text.h"
#include "support/FocusScenes.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <set>

using namespace TZM;
namespace fs = std::filesystem;

namespace {

struct Outcome {
    int code;
    std::string text; ///< of both streams
};

const bool readsImages = (RegisterVtiFormat(), true);

/// Runs the program; a word with blanks stands in quotes.
Outcome Program(const std::string& arguments) {
    const std::string command = std::string(TZMCHAIN_PROGRAM) + " 2>&1 " + arguments;
    FILE* pipe = popen(command.c_str(), "r");
    std::string text;
    for (int c; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

std::set<std::string> Names(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

/// Exit code 2, one line, and nothing new in the folder.
void ExpectRefused(const std::string& arguments, const std::string& told, const TemporaryFolder& folder) {
    const std::set<std::string> before = Names(folder.path);
    const Outcome outcome = Program(arguments);
    EXPECT_EQ(outcome.code, 2) << arguments << "\n" << outcome.text;
    EXPECT_NE(outcome.text.find(told), std::string::npos) << arguments << "\n" << outcome.text;
    EXPECT_EQ(Names(folder.path), before) << arguments;
    EXPECT_EQ(std::count(outcome.text.begin(), outcome.text.end(), '\n'), 1) << arguments << "\n" << outcome.text;
}

/// Pixels of a picture, from the head of its PNG.
int HeightOf(const fs::path& picture) {
    const std::string bytes = ReadText(picture);
    int height = 0;
    for (const std::size_t i : {20, 21, 22, 23}) height = height * 256 + static_cast<unsigned char>(bytes.at(i));
    return height;
}

Recording Small(int bscans) {
    Recording recording;
    recording.size = {64, 12, bscans};
    recording.timeZero = 4;
    recording.permittivity = 9;
    recording.data = AllocateSamples(recording.size.Count());
    for (int i = 0; i < recording.size.Count(); ++i) recording.data[i] = static_cast<float>(i * 37 % 101 - 50);
    return recording;
}

const std::string kDemo = "demo --quiet --samples 128 --ascans 20 --lanes 2 --out ";

} // namespace

TEST(Command, TellsAndConvertsWhatInstrumentsWrite) {
    const TemporaryFolder folder;
    const std::string line = folder.Write("LINE.DZT", Dzt(64, 12, 3, 16)).string();
    const Json::Value told = ParseJson(Program("info --json " + line).text, "");
    EXPECT_EQ(told["format"], "dzt");
    EXPECT_EQ(told["samples"], 64);
    EXPECT_EQ(told["ascans"], 12);
    EXPECT_EQ(told["bscans"], 3);
    EXPECT_EQ(told["channels"][1], "3200");
    EXPECT_EQ(told["bits"], 16);
    EXPECT_DOUBLE_EQ(told["delta_x"].asDouble(), 0.02);
    EXPECT_EQ(told["time_zero"], 6);
    EXPECT_DOUBLE_EQ(told["permittivity"].asDouble(), 6.25);
    EXPECT_EQ(told["positions"], 0);
    for (const char* member : {"delta_t", "antenna_offset", "notes"}) EXPECT_TRUE(told.isMember(member));
    EXPECT_TRUE(told["antenna_offset"].isNull());

    const std::string all = folder.path.string() + "/all", back = folder.path.string() + "/back";
    ASSERT_EQ(Program("convert " + line + " --out " + all + ".f32").code, 0);
    for (const std::string form : {".vti", ".sgy", ".h5"}) {
        const Outcome written = Program("convert " + line + " --out " + all + form);
        if (written.text.find("this build lacks") != std::string::npos) continue;
        ASSERT_EQ(written.code, 0) << written.text; // beside all.json
        EXPECT_EQ(written.text.find("doesn't keep time zero, permittivity, names of channels, bits") !=
                      std::string::npos,
                  form == ".vti");
        ASSERT_EQ(Program("convert " + all + form + " --out " + back + form + ".f32").code, 0);
        EXPECT_EQ(ReadText(back + form + ".f32"), ReadText(all + ".f32")) << form;
    }
    ExpectRefused("convert " + line + " --out " + all + ".f32", "exists; choose another name", folder);
    ExpectRefused("info " + line + " " + all + ".f32", "is of the form raw, and", folder);
    EXPECT_EQ(Program("run --quiet " + line + " --out " + back).code, 0); // three channels, none of an array
}

TEST(Command, DemoWritesImagePicturesRecipeAndScene) {
    const TemporaryFolder folder;
    const Outcome outcome = Program(kDemo + (folder / "deep/out").string());
    ASSERT_EQ(outcome.code, 0) << outcome.text;
    EXPECT_EQ(outcome.text, "");
    EXPECT_EQ(Names(folder / "deep/out"),
              (std::set<std::string>{"across.png", "bscan-TX1RX1.png", "bscan-TX2RX1.png", "bscan-TX2RX2.png",
                                     "bscan-TX2RX3.png", "bscan-TX3RX3.png", "depth-slices.png", "image.vti",
                                     "recipe.json", "report.html", "scene.f32", "scene.json"}));
    const Recording image = ReadRecording(folder / "deep/out/image.vti");
    EXPECT_TRUE((image.size == Dimensions{84, 20, 10})); // the largest time zero is 44
    EXPECT_NEAR(image.deltaT, 5e-11, 1e-20);
    EXPECT_EQ(image.startTime, 0);

    const Json::Value recipe = ParseJson(ReadText(folder / "deep/out/recipe.json"), "recipe");
    EXPECT_EQ(recipe["input"]["sha256"], ChecksumOf(folder / "deep/out/scene.f32"));
    EXPECT_EQ(recipe["outputs"].size(), 12u);
    EXPECT_EQ(recipe["chain"][3]["parameters"]["algorithm"], "surface");
    const Json::Value migration = recipe["chain"][4]["parameters"];
    EXPECT_EQ(migration["antennaOffsetBi"], 0.1);
    EXPECT_EQ(migration["lineSpacing"], 0.05);
    EXPECT_EQ(migration["timeZero"], 0);
    EXPECT_EQ(migration["permittivity"], 6.5);
    EXPECT_EQ(recipe["steps"].size(), 8u);
    EXPECT_GT(recipe["peak_memory_bytes"].asInt64(), 0);
    EXPECT_NEAR(recipe["image"]["max"].asDouble(), 1, 1e-6);
    EXPECT_EQ(recipe["steps"][1]["shifts"][7], 44);
    EXPECT_GT(recipe["steps"][0]["seconds"].asDouble(), 0);
    EXPECT_EQ(Names(folder / "deep"), (std::set<std::string>{"out"}));
}

TEST(Command, DemoFindsTheMeshOfItsOtherScene) {
    const TemporaryFolder folder;
    const Outcome outcome = Program("demo --mesh --samples 256 --lanes 1 --out " + (folder / "out").string());
    ASSERT_EQ(outcome.code, 0) << outcome.text;
    EXPECT_NE(outcome.text.find("BG-Removal: mesh detected (spacing 0.1"), std::string::npos) << outcome.text;
    EXPECT_NE(outcome.text.find("BG-Removal: bistatic B-scans replaced."), std::string::npos);
}

TEST(Command, ARecipeRepeatsItsRun) {
    const TemporaryFolder folder;
    Recording recording = Small(1);
    WriteRecording(recording, folder / "a block.f32");
    const std::string input = "\"" + (folder / "a block.json").string() + "\"";
    const std::string config = folder.Write("config.json", R"({"FkMigration": {"InterpolationMethod": 0}})").string();
    ASSERT_EQ(Program("run " + input + " --time-zero 7 --permittivity 4.5 --config " + config + " --out " +
                      (folder / "one").string())
                  .code,
              0);
    const Outcome again = Program("run " + input + " --chain " + (folder / "one/recipe.json").string() + " --config " +
                                  config + " --threads 1 --out " + (folder / "two").string());
    ASSERT_EQ(again.code, 0) << again.text;
    EXPECT_EQ(ChecksumOf(folder / "one/image.vti"), ChecksumOf(folder / "two/image.vti"));
    const Json::Value recipe = ParseJson(ReadText(folder / "two/recipe.json"), "recipe");
    EXPECT_EQ(recipe["steps"][1]["input"][2], 1); // no step tells channels apart
    EXPECT_EQ(recipe["image"]["bscans"], 1);
    EXPECT_EQ(recipe["chain"][3]["parameters"]["permittivity"], 4.5);
    EXPECT_EQ(recipe["threads"], 1);
    EXPECT_NE(recipe["documents"]["configuration"].asString().find("InterpolationMethod"), std::string::npos);
}

TEST(Command, BadInputGivesOneLineAndLeavesNothing) {
    const TemporaryFolder folder;
    Recording good = Small(5), nan = Small(5), sizes = Small(5);
    WriteRecording(good, folder / "good.f32");
    Recording three = Small(3);
    WriteRecording(three, folder / "three.f32");
    folder.Write("level.json", R"({"chain": [{"algorithm": "EnergyCorrection"}]})");
    nan.data[100] = std::nanf("");
    WriteRecording(nan, folder / "nan.f32");
    WriteRecording(sizes, folder / "short.f32");
    fs::resize_file(folder / "short.f32", 100);
    folder.Write("huge.f32", "");
    folder.Write("huge.json", R"({"samples": 2147483647, "ascans": 2147483647, "bscans": 2147483647,
                                  "delta_t": 1e-11, "delta_x": 0.01})");
    folder.Write("broken.json", "{\n\n\"chain\": [}\n");
    folder.Write("empty", "");
    folder.Write("unknown.json", R"({"chain": [{"algorithm": "Sharpen"}]})");
    folder.Write("parameter.json", R"({"chain": [{"algorithm": "Mig2Post", "parameters": {"gain": 1}}]})");
    const std::string at = folder.path.string() + "/";
    const std::string tail = " --quiet --out " + at + "out";
    const auto refused = [&](const std::string& arguments, const std::string& told) {
        ExpectRefused(arguments, told, folder);
    };
    refused("run " + at + "missing.f32" + tail, "missing.f32: there is no such file");
    refused("run " + at + "nan.f32" + tail, "holds NaN at sample 36 of A-scan 1 of B-scan 0");
    refused("run " + at + "short.f32" + tail, "has 100 bytes");
    refused("run " + at + "huge.json" + tail, "beyond any file");
    refused("run " + at + "good.f32 --chain " + at + "broken.json" + tail, "doesn't parse as JSON");
    refused("run " + at + "good.f32 --chain " + at + "missing.json" + tail, "can't read");
    refused("run " + at + "good.f32 --chain " + at + "unknown.json" + tail, "unknown algorithm \"Sharpen\"");
    refused("run " + at + "good.f32 --chain " + at + "parameter.json" + tail, "unknown parameter \"gain\"");
    refused("run " + at + "good.f32 --config " + at + "broken.json" + tail, "Failed to parse config file");
    refused("run " + at + "good.f32 --config " + at + "empty" + tail, "is empty or can't be read");
    refused("run " + at + "good.f32 --calibration " + at + "broken.json" + tail, "Failed to parse calibration string");
    refused("run " + at + "good.f32 --time-zero 64" + tail, "timeZero 64 isn't one of the samples 0 to 63");
    refused("run " + at + "good.f32 --permittivity 0" + tail, "needs a permittivity above 0");
    refused("run " + at + "three.f32 --chain " + at + "level.json" + tail,
            "EnergyCorrection refuses 3 B-scans, since neither 5 nor 7 channels divide them");
    refused("run " + at + "good.f32 --threads 0" + tail, "--threads");
    refused("run " + at + "good.f32 --quiet", "--out is required");
    refused("run " + at + "good.f32 --quiet --out " + at + "empty", "isn't a folder");
    refused("run " + at + "good.f32 --quiet --out " + at + "empty/below", "can't");
    refused("run " + at + "good.f32 --quiet --out /proc/tzmchain", "can't write");
    refused("info " + at + "short.f32 ", "has 100 bytes");
    refused("run " + at + "good.f32 --migration stolt" + tail, "stolt isn't one of array, fk3d, fk, kirchhoff, gazdag");
    folder.Write("detect.json", R"({"chain": [{"algorithm": "TimeZeroDetection"}]})");
    refused("run " + at + "good.f32 --chain " + at + "level.json --background none" + tail, "--background is of the");
    refused("run " + at + "good.f32 --chain " + at + "level.json --migration fk" + tail, "--migration is of the");
    refused("run " + at + "good.f32 --chain " + at + "detect.json --time-zero 3" + tail,
            "--time-zero would have no effect");
    refused("run " + at + "three.f32 --antenna-offset 0.1" + tail, "--antenna-offset would have no effect");
    folder.Write("calibration.json", R"({"RF": {}})");
    refused("run " + at + "good.f32 --calibration " + at + "calibration.json" + tail,
            "--calibration would have no effect");
    refused("run " + at + "good.f32 --antenna-offset nan" + tail, "BistaticCorrection: antennaOffset is nan");
    refused("run " + at + "good.f32 --time-zero 60" + tail, "leaves 4 of 64 samples");
    refused("polish " + at + "good.f32", "unknown command \"polish\"; known are run, demo, info, convert, ");
    for (const std::string& printing : {std::string("list"), "info " + at + "good.f32", std::string("schema chain"),
                                        std::string("--help"), std::string("--version")})
        refused(printing + " > /dev/full", "can't write to the standard output: no space left on device");
    refused("", "subcommand is required");
}

TEST(Command, AFullDiskEndsARunInOneLineAndLeavesNoPartOfAFile) {
    const TemporaryFolder folder;
    Recording recording = Small(10);
    WriteRecording(recording, folder / "block.f32");
    const std::string block = (folder / "block.f32").string(), out = (folder / "out").string(),
                      run = "run " + block + " --quiet --out " + out;
    for (const auto& [blocks, arguments] : // of 512 bytes: too few for a picture, too few for the image
         {std::pair("4", run), std::pair("20", run), std::pair("4", run + " --memory 1"),
          std::pair("20", run + " --memory 1"), std::pair("4", "convert " + block + " --out " + out + ".f32"),
          std::pair("4", "convert " + block + " --out " + out + ".vti")}) {
        const std::string command =
            "bash -c 'ulimit -f " + std::string(blocks) + "; exec " TZMCHAIN_PROGRAM " " + arguments + "' 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        std::string text;
        for (int c; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
        EXPECT_EQ(WEXITSTATUS(pclose(pipe)), 2) << text;
        EXPECT_NE(text.find("can't write "), std::string::npos) << text;
        EXPECT_NE(text.find("ile too large"), std::string::npos) << text;
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
        EXPECT_EQ(Names(folder.path), (std::set<std::string>{"block.f32", "block.json"})) << arguments;
    }
}

TEST(Command, ASignalEndsARunInTheMiddleOfAStep) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "out");
    folder.Write("slow.json", R"({"chain": [{"algorithm": "GazdagMigration"}]})");
    Recording recording = Small(5);
    recording.size = {1024, 1024, 5};
    recording.data = AllocateSamples(recording.size.Count());
    std::fill_n(recording.data.get(), recording.size.Count(), 1.f);
    WriteRecording(recording, folder / "block.f32");
    const std::string at = folder.path.string() + "/";
    for (const char* memory : {"", " --memory 1"})
        for (const auto& [signal, code] : {std::pair("INT", 130), std::pair("TERM", 143)}) {
            // The hidden folder tells that the run has begun; its chain takes a second at least.
            const std::string command =
                "bash -c '" TZMCHAIN_PROGRAM " run " + at + "block.f32 --chain " + at +
                "slow.json --threads 1 --quiet --out " + at + "out" + memory + " & while ! ls -A " + at +
                "out | grep -q tzmchain; do sleep 0.01; done; kill -" + signal + " $!; wait $!; exit $?' 2>&1";
            FILE* pipe = popen(command.c_str(), "r");
            std::string text;
            for (int c; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
            EXPECT_EQ(WEXITSTATUS(pclose(pipe)), code) << text;
            EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
            EXPECT_TRUE(Names(folder / "out").empty()) << "left behind";
        }
}

TEST(Command, WarnsOfWhatNobodyKnowsAndKeepsItsOwnKeys) {
    const TemporaryFolder folder;
    Recording recording = Small(5);
    recording.timeZero.reset();
    recording.permittivity.reset();
    recording.oneAntennaPair = true;
    WriteRecording(recording, folder / "block.f32");
    const std::string at = folder.path.string() + "/";
    folder.Write("config.json", R"({"FkMigration": {"DipMax": 80.0}})");
    folder.Write("chain.json", R"({"chain": [{"algorithm": "FkMigration"}]})");
    const Outcome outcome = Program("run " + at + "block.f32 --chain " + at + "chain.json --config " + at +
                                    "config.json --out " + at + "out");
    ASSERT_EQ(outcome.code, 0) << outcome.text;
    const std::string told = "the permittivity isn't known, 6 is taken; give it with --permittivity";
    EXPECT_NE(outcome.text.find("warning: " + told), std::string::npos) << outcome.text;
    const Json::Value recipe = ParseJson(ReadText(folder / "out/recipe.json"), "recipe");
    ASSERT_EQ(recipe["warnings"].size(), 2u);
    EXPECT_EQ(recipe["warnings"][1], told);
    ASSERT_EQ(Program("run " + at + "block.f32 --quiet --permittivity 6 --time-zero 1 --chain " + at +
                      "chain.json --out " + at + "told")
                  .code,
              0);
    EXPECT_EQ(HeightOf(at + "out/bscan-channel-1.png") - HeightOf(at + "told/bscan-channel-1.png"), 2 * 18)
        << "two lines of a caption";
    const Json::Value configuration = ParseJson(recipe["documents"]["configuration"].asString(), "configuration");
    EXPECT_EQ(configuration["FkMigration"]["DipMax"], 80.0);
    EXPECT_EQ(configuration["FkMigration"]["DepthSpectrumSizeExtension"], 1);
    folder.Write("config.json", R"({"FkMigration": {"DepthSpectrumSizeExtension": 0}})");
    ASSERT_EQ(Program("run " + at + "block.f32 --quiet --config " + at + "config.json --out " + at + "out").code, 0);
    EXPECT_NE(ReadText(folder / "out/recipe.json").find("\\\"DepthSpectrumSizeExtension\\\" : 0"), std::string::npos);
}

TEST(Command, FindsInTheImageWhatNobodyTells) {
    const TemporaryFolder folder;
    FocusScene scene;
    scene.permittivity = 9;
    scene.ascans = 240;
    Recording line = RecordOf(scene);
    WriteRecording(line, folder / "line.f32");
    const std::string at = folder.path.string() + "/";
    const Outcome told = Program("focus " + at + "line.f32 --quiet --time-zero 100 --out " + at + "focus");
    ASSERT_EQ(told.code, 0) << told.text;
    EXPECT_EQ(Names(folder / "focus"), (std::set<std::string>{"focus.json", "focus.png", "recipe.json"}));
    const Json::Value focus = ParseJson(ReadText(folder / "focus/focus.json"), "focus");
    EXPECT_EQ(focus["verdict"], "found");
    EXPECT_NEAR(focus["permittivity"].asDouble(), 9, 3 * focus["permittivity_error"].asDouble());
    EXPECT_EQ(focus["time_zero"].asDouble(), 100);
    EXPECT_TRUE(focus["time_zero_error"].isNull());
    EXPECT_EQ(focus["curve"].size(), 40u);

    const Outcome run = Program("run " + at + "line.f32 --out " + at + "out");
    ASSERT_EQ(run.code, 0) << run.text;
    EXPECT_EQ(run.text.find("warning"), std::string::npos) << run.text;
    const Json::Value recipe = ParseJson(ReadText(folder / "out/recipe.json"), "recipe");
    EXPECT_NEAR(recipe["input"]["permittivity"].asDouble(), recipe["focus"]["permittivity"].asDouble(), 1e-5);
    EXPECT_NEAR(recipe["input"]["time_zero_sample"].asDouble(), recipe["focus"]["time_zero"].asDouble(), 0.51);
    ExpectRefused("run " + at + "line.f32 --permittivity much --out " + at + "no", "much is neither a number nor auto",
                  folder);
}

TEST(Command, LeavesTheFilesOfOthersAlone) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "out");
    folder.Write("out/mine.txt", "mine");
    const std::string out = (folder / "out").string();
    ASSERT_EQ(Program(kDemo + out).code, 0);
    EXPECT_EQ(Program(kDemo + out).code, 0) << "files of an earlier run are replaced";
    EXPECT_EQ(ReadText(folder / "out/mine.txt"), "mine");

    // A single line has one picture: those of the earlier run would tell another story.
    Recording line = Small(1);
    WriteRecording(line, folder / "line.f32");
    ASSERT_EQ(Program("run --quiet " + (folder / "line.f32").string() + " --out " + out).code, 0);
    EXPECT_EQ(Names(out), (std::set<std::string>{"bscan.png", "image.vti", "mine.txt", "recipe.json", "report.html",
                                                 "scene.f32", "scene.json"}));

    fs::create_directory(folder / "other");
    folder.Write("other/image.vti", "someone's");
    ExpectRefused("run --quiet " + (folder / "line.f32").string() + " --out " + (folder / "other").string(),
                  "isn't of an earlier run", folder);
    EXPECT_EQ(ReadText(folder / "other/image.vti"), "someone's");
    ExpectRefused("run --quiet " + out + "/image.vti --out " + out, "would be replaced", folder);
    EXPECT_EQ(Names(folder / "other"), (std::set<std::string>{"image.vti"}));
}

TEST(Command, DiffTellsWhetherImagesAgree) {
    const TemporaryFolder folder;
    const std::string at = folder.path.string() + "/";
    ASSERT_EQ(Program(kDemo + at + "fk").code, 0);
    ASSERT_EQ(Program(kDemo + at + "again --threads 1").code, 0);
    ASSERT_EQ(Program(kDemo + at + "kirchhoff --migration kirchhoff").code, 0);
    const std::string fk = at + "fk/image.vti ", other = at + "kirchhoff/image.vti ";
    EXPECT_EQ(Program("diff " + fk + at + "again/image.vti").code, 0);
    const Outcome differ = Program("diff " + fk + other + "--relative --threshold 0.001 --out " + at + "d.vti");
    EXPECT_EQ(differ.code, 1) << differ.text;
    EXPECT_NE(differ.text.find("float, differ"), std::string::npos) << differ.text;
    EXPECT_TRUE((ReadRecording(folder / "d.vti").size == ReadRecording(at + "fk/image.vti").size));
    EXPECT_EQ(Program("diff " + fk + other + "--threshold 100").code, 0);
    ASSERT_EQ(Program("demo --quiet --samples 128 --ascans 24 --lanes 2 --out " + at + "wide").code, 0);
    ExpectRefused("diff " + fk + at + "wide/image.vti", "Input are not the same size", folder);
    ExpectRefused("diff " + fk + at + "missing.vti", "can't read", folder);
    ExpectRefused("diff " + fk + other + "--threshold=-1", "must not be below 0", folder);
}

TEST(Command, TheManualHoldsTheKeysOfTheCode) {
    const std::string page = ReadText(TZM_DOCUMENTS "/configuration.md"), begin = "<!-- tzmchain list --markdown -->\n";
    const auto from = page.find(begin) + begin.size(), to = page.find("<!-- end of the tables -->");
    ASSERT_LT(from, to);
    EXPECT_EQ(page.substr(from, to - from), Program("list --markdown").text)
        << "copy what the program prints into docs/configuration.md";
}

TEST(Command, ListAndInfoTellWhatTheyShould) {
    const Outcome list = Program("list");
    EXPECT_EQ(list.code, 0);
    for (const char* word : {"OffsetRemoval", "FkMigration", "Mig2Post", "timeZero", "permittivity", "MaxMigFreqRel"})
        EXPECT_NE(list.text.find(word), std::string::npos) << word;
    const TemporaryFolder folder;
    Recording recording = Small(5);
    recording.data[7] = std::nanf("");
    WriteRecording(recording, folder / "block.f32");
    const Outcome info = Program("info " + (folder / "block.f32").string());
    EXPECT_EQ(info.code, 0);
    for (const char* word : {"64 per A-scan, 0.05 ns apart: 3.2 ns", "12 per B-scan", "-50 to 50", "1 of 3840 aren't"})
        EXPECT_NE(info.text.find(word), std::string::npos) << word << "\n" << info.text;
}

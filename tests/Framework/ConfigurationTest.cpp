#include <clocale>
#include <cstdio>
#include <fstream>
#include <limits>
#include <locale>
#include <thread>

#include <gtest/gtest.h>

#include "Framework/Algo.h"
#include "Framework/private/JsonKeys.h"
#include "support/FreshStatics.h"

namespace TZM {
namespace {

const std::deque<std::string>& Errors() {
    return Logger::GetInstance()->GetErrorList();
}

struct AllKinds : AlgoParamBase {
    Prm<bool> flag{false, &prmListener};
    Prm<int> whole{-7, &prmListener};
    Prm<float> real{0.25f, &prmListener};
    Prm<std::string> text{"none", &prmListener};
    int count = 3;
    int limited = 16;
    double fraction = 0.5;
    std::string array;
};

const std::vector<JsonSection<AllKinds>>& Sections() {
    using P = AllKinds;
    static const std::vector<JsonSection<P>> sections = {
        {{kOwnSection},
         {Boolean("Flag", &P::flag), Integer("Whole", &P::whole), Real("Real", &P::real), String("Text", &P::text),
          Array("Array", [](P& p, const Json::Value& value) { p.array = WriteJson(value); })}},
        {{"Global"}, {Integral("Count", &P::count), Real("Fraction", &P::fraction, 0.01, 10.0)}},
        {{"Global", "Nested"}, {Integer("Limited", &P::limited, 14, 32)}}};
    return sections;
}

class KeyAlgo : public Algo<AllKinds> {
public:
    KeyAlgo() : Algo("Keys") {}
    using AlgoBase::jsonConfig;
    using AlgoBase::ParseActiveOverlays;
    void ParseParamsFromJsonConfig() override {
        ReadDocument("KeyAlgo::ParseParamsFromJsonConfig",
                     [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
    }
    /// The parameters after the document has been read.
    const AllKinds& With(const std::string& document) {
        EXPECT_TRUE(SetConfigString(document)) << document;
        ParseParamsFromJsonConfig();
        return params;
    }
};

class Configuration : public testing::Test {
protected:
    FreshStatics statics;
    KeyAlgo algo;
    std::vector<AlgoBase::Overlay> overlays;
};

/// A file of the test's own, gone with it.
class TemporaryFile {
public:
    TemporaryFile(const std::string& path, const std::string& text) : name(path) {
        std::ofstream(path, std::ios::binary) << text;
    }
    ~TemporaryFile() { std::remove(name.c_str()); }
    const std::string name;
};

/// A host whose numbers have a decimal comma and grouped thousands.
class CommaLocale {
public:
    CommaLocale() : before(std::locale::global(std::locale(std::locale(), new Comma))) {
        // Where the machine lacks the first, the second at least has another name than the classic one.
        if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8")) std::setlocale(LC_NUMERIC, "C.UTF-8");
    }
    ~CommaLocale() {
        std::locale::global(before);
        std::setlocale(LC_NUMERIC, cBefore.c_str());
    }

private:
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::string cBefore = std::setlocale(LC_NUMERIC, nullptr);
    std::locale before;
};

TEST_F(Configuration, KeepsTheDocumentUnlessTheNewOneParses) {
    EXPECT_TRUE(AlgoBase::SetConfigString("{\"A\": 1 /* one */} // end"));
    EXPECT_FALSE(AlgoBase::SetConfigString(""));
    EXPECT_TRUE(Errors().empty());
    EXPECT_FALSE(AlgoBase::SetConfigString("{"));
    EXPECT_EQ(AlgoBase::GetConfigString(), "{\"A\": 1 /* one */} // end");
    ASSERT_EQ(Errors().size(), 1u);
    EXPECT_EQ(Errors()[0].rfind("Failed to parse config string:\n* Line 1, ", 0), 0u) << Errors()[0];
    EXPECT_EQ(Errors()[0].back(), '\n');
    EXPECT_TRUE(AlgoBase::SetCalibrationString("3.5")); // any root
    EXPECT_FALSE(AlgoBase::SetCalibrationString("[1,"));
    EXPECT_EQ(AlgoBase::GetCalibrationString(), "3.5");
    EXPECT_EQ(Errors()[1].rfind("Failed to parse calibration string:\n", 0), 0u);
}

TEST_F(Configuration, RefusesADocumentNestedTooDeep) {
    const std::string deep(100000, '[');
    EXPECT_FALSE(AlgoBase::SetConfigString(deep));
    EXPECT_FALSE(AlgoBase::SetCalibrationString(deep));
    EXPECT_TRUE(Errors().empty());
    KeyAlgo::jsonConfig = deep;
    algo.ParseParamsFromJsonConfig();
    EXPECT_TRUE(Errors().empty());
    EXPECT_FALSE(algo.ParseActiveOverlays(deep, overlays));
    EXPECT_EQ(Errors().size(), 1u);
}

TEST_F(Configuration, LoadsAFileUpToItsFirstNulByte) {
    const std::string name = testing::TempDir() + "tzm_configuration_test.cfg";
    {
        const TemporaryFile file(name, std::string("{\"B\": 2}\0{{{", 12));
        EXPECT_TRUE(AlgoBase::LoadConfigFile(name));
        EXPECT_EQ(AlgoBase::GetConfigString(), "{\"B\": 2}");
    }
    EXPECT_FALSE(AlgoBase::LoadConfigFile(name)) << "the file is gone";
    EXPECT_EQ(AlgoBase::GetConfigString(), "{\"B\": 2}");
    {
        const TemporaryFile empty(name, "");
        EXPECT_FALSE(AlgoBase::LoadConfigFile(name));
        EXPECT_EQ(AlgoBase::GetConfigString(), "");
    }
    EXPECT_TRUE(AlgoBase::SetConfigString("{}"));
    EXPECT_FALSE(AlgoBase::LoadConfigFile(testing::TempDir())) << "a directory";
    EXPECT_EQ(AlgoBase::GetConfigString(), "");
    EXPECT_TRUE(Errors().empty());
    const TemporaryFile broken(name, "{\"B\": ");
    EXPECT_FALSE(AlgoBase::LoadConfigFile(name));
    EXPECT_EQ(AlgoBase::GetConfigString(), "{\"B\": ");
    ASSERT_EQ(Errors().size(), 1u);
    EXPECT_EQ(Errors()[0].rfind("Failed to parse config file (" + name + "):\n", 0), 0u);
    algo.ParseParamsFromJsonConfig();
    EXPECT_EQ(Errors().size(), 1u);
}

TEST_F(Configuration, LoadsKernelCfgWithoutAName) {
    const TemporaryFile file("kernel.cfg", "{\"Kernel\": true}");
    EXPECT_TRUE(AlgoBase::LoadConfigFile(""));
    EXPECT_EQ(AlgoBase::GetConfigString(), "{\"Kernel\": true}");
}

TEST_F(Configuration, TakesOnlyTheRightTypes) {
    algo.With(R"({"Keys": {"Flag": 1, "Whole": 3.0, "Real": 5, "Text": 5, "Array": {}},
                  "Global": {"Count": 2.0, "Fraction": 3, "Nested": {"Limited": true}}})");
    EXPECT_FALSE(algo.GetParams().flag);
    EXPECT_EQ(algo.GetParams().whole, -7);
    EXPECT_EQ(algo.GetParams().real, 0.25f);
    EXPECT_EQ(algo.GetParams().text.value, "none");
    EXPECT_EQ(algo.GetParams().count, 3);
    EXPECT_EQ(algo.GetParams().fraction, 0.5);
    EXPECT_EQ(algo.GetParams().limited, 16);
    EXPECT_EQ(algo.GetParams().array, "");
    const AllKinds& read = algo.With(R"({"Keys": {"Flag": true, "Whole": -3, "Real": 5e0, "Text": "t", "Array": null},
                                         "Global": {"Count": true, "Fraction": 2.5, "Nested": {"Limited": 15}}})");
    EXPECT_TRUE(read.flag);
    EXPECT_EQ(read.whole, -3);
    EXPECT_EQ(read.real, 5.f);
    EXPECT_EQ(read.text.value, "t");
    EXPECT_EQ(read.count, 1);
    EXPECT_EQ(read.fraction, 2.5);
    EXPECT_EQ(read.limited, 15);
    EXPECT_EQ(read.array, "null\n");
    EXPECT_TRUE(Errors().empty());
}

TEST_F(Configuration, TellsSignedFromUnsignedIntegers) {
    EXPECT_EQ(algo.With(R"({"Keys": {"Whole": 2147483647}})").whole, 2147483647);
    EXPECT_EQ(algo.With(R"({"Keys": {"Whole": 2147483648}})").whole, 2147483647) << "unsigned: counts as absent";
    EXPECT_EQ(algo.With(R"({"Keys": {"Whole": 3000000000}})").whole, 2147483647);
    EXPECT_TRUE(Errors().empty());
    EXPECT_EQ(algo.With(R"({"Keys": {"Whole": -2147483648}})").whole, std::numeric_limits<int>::min());
    EXPECT_EQ(algo.With(R"({"Global": {"Count": 4294967295}})").count, -1); // read as unsigned, kept as int
}

TEST_F(Configuration, LimitsAValueToItsRange) {
    EXPECT_EQ(algo.With(R"({"Global": {"Nested": {"Limited": 40}}})").limited, 32);
    EXPECT_EQ(algo.With(R"({"Global": {"Nested": {"Limited": -8}}})").limited, 14);
    EXPECT_EQ(algo.With(R"({"Global": {"Fraction": 0.0}})").fraction, 0.01);
}

TEST_F(Configuration, StopsAtAValueThatCannotBeConverted) {
    algo.With(R"({"Keys": {"Whole": 8}, "Global": {"Count": -1, "Fraction": 2.5}})");
    EXPECT_EQ(algo.GetParams().whole, 8) << "what was read before stays";
    EXPECT_EQ(algo.GetParams().fraction, 0.5) << "what comes later isn't read";
    const std::string prefix = "KeyAlgo::ParseParamsFromJsonConfig: JSON Exception - ";
    ASSERT_EQ(Errors().size(), 1u);
    EXPECT_EQ(Errors()[0], prefix + "Negative integer can not be converted to unsigned integer");
    algo.With(R"({"Global": {"Count": 4294967296}})");
    EXPECT_EQ(Errors()[1], prefix + "Real out of unsigned integer range");
    algo.With(R"({"Keys": {"Whole": -2147483649}})");
    EXPECT_EQ(Errors()[2], prefix + "integer out of signed integer range");
}

TEST_F(Configuration, TreatsWhatIsNoObjectAsMissing) {
    for (const char* document :
         {"[1]", "null", "7", "\"x\"", R"({"Keys": [1], "Global": "x"})", R"({"Keys": null, "Global": {"Nested": 3}})"})
        EXPECT_EQ(algo.With(document).whole, -7);
    EXPECT_TRUE(Errors().empty());
}

TEST_F(Configuration, LeavesAbsentKeysAtWhatTheHostGaveAndNotifiesOfChanges) {
    struct Counter : AlgoParamBase::Listener {
        void Notify() override { ++calls; }
        int calls = 0;
    } counter;
    AllKinds params;
    params.whole = 12;
    algo.Setup(params);
    algo.GetParams().AddListener(&counter);
    algo.With(R"({"Keys": {"Real": 0.75, "Flag": false}})");
    EXPECT_EQ(algo.GetParams().whole, 12);
    EXPECT_EQ(counter.calls, 1) << "only the value that differs";
}

TEST_F(Configuration, ReadsAndWritesDecimalPointsUnderADecimalComma) {
    const CommaLocale comma;
    const std::string cLocale = std::setlocale(LC_ALL, nullptr);
    EXPECT_EQ(algo.With(R"({"Keys": {"Real": -14.5, "Array": [-14.5, 12345]}})").real, -14.5f);
    EXPECT_EQ(algo.GetParams().array, "[-14.5,12345]\n");
    EXPECT_TRUE(AlgoBase::SetCalibrationString("[-14.5]"));
    ASSERT_TRUE(algo.ParseActiveOverlays(R"([{"Thickness": 0.125, "Permittivity": 4.5}])", overlays));
    EXPECT_EQ(overlays[0].Thickness, 0.125f);
    EXPECT_EQ(overlays[0].Permittivity, 4.5f);
    EXPECT_EQ(std::use_facet<std::numpunct<char>>(std::locale()).decimal_point(), ',') << "the host's again";
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), cLocale);
    EXPECT_TRUE(Errors().empty());
}

TEST_F(Configuration, IsReadOnTwoThreadsAtOnce) {
    const CommaLocale comma;
    ASSERT_TRUE(AlgoBase::SetConfigString(R"({"Keys": {"Real": -14.5}})"));
    const auto readMany = [](KeyAlgo& reader) {
        for (int i = 0; i < 200; ++i) {
            reader.GetParams().real = 0;
            reader.ParseParamsFromJsonConfig();
            ASSERT_EQ(reader.GetParams().real, -14.5f);
        }
    };
    KeyAlgo other;
    std::thread thread([&] { readMany(other); });
    readMany(algo);
    thread.join();
}

TEST_F(Configuration, KeepsTheOverlaysThatAreNotSwitchedOff) {
    overlays.resize(2);
    for (const char* none : {"", "null", "[]"}) {
        EXPECT_TRUE(algo.ParseActiveOverlays(none, overlays));
        EXPECT_TRUE(overlays.empty());
    }
    EXPECT_TRUE(algo.ParseActiveOverlays(R"([{"Enabled": false, "Name": "off"}, {"Enabled": 0, "Name": "zero"},
        {"Name": "air", "Thickness": 0.5, "Permittivity": 1}, {}, 3])",
                                         overlays));
    ASSERT_EQ(overlays.size(), 4u);
    EXPECT_EQ(overlays[0].Name, "zero");
    EXPECT_EQ(overlays[1].Thickness, 0.5f);
    EXPECT_EQ(overlays[1].Permittivity, 1.f);
    EXPECT_EQ(overlays[2].Name, "");
    EXPECT_EQ(overlays[2].Thickness, 0.f);
    EXPECT_TRUE(Errors().empty());
}

TEST_F(Configuration, TellsWhatIsWrongWithAnOverlay) {
    EXPECT_FALSE(algo.ParseActiveOverlays("{}", overlays));
    EXPECT_FALSE(algo.ParseActiveOverlays("[", overlays));
    EXPECT_FALSE(algo.ParseActiveOverlays(R"([{"Name": "first"}, {"Thickness": "thin"}, {}])", overlays));
    EXPECT_EQ(overlays.size(), 1u);
    EXPECT_FALSE(algo.ParseActiveOverlays(R"([{"Name": []}])", overlays));
    ASSERT_EQ(Errors().size(), 4u);
    EXPECT_EQ(Errors()[0], "AlgoBase::ParseOverlays: Invalid JSON overlay format!");
    EXPECT_EQ(Errors()[1].rfind("AlgoBase::ParseOverlays: Failed to parse JSON overlay string:\n* Line 1,", 0), 0u);
    EXPECT_EQ(Errors()[2], "AlgoBase::ParseOverlays: JSON Exception - Type is not convertible to double");
    EXPECT_EQ(Errors()[3], "AlgoBase::ParseOverlays: JSON Exception - Type is not convertible to string");
}

TEST(JsonKeys, TellWhereAKeyStandsAndWhatItIsByDefault) {
    const std::vector<JsonKeyInfo> infos = DescribeKeys("Keys", Sections(), AllKinds());
    ASSERT_EQ(infos.size(), 8u);
    EXPECT_EQ(infos[2].path + "/" + infos[2].key + "=" + infos[2].defaultValue, "Keys/Real=0.25");
    EXPECT_EQ(infos[3].defaultValue, "\"none\"");
    EXPECT_EQ(infos[7].path, "Global.Nested");
    EXPECT_EQ(infos[7].kind, JsonKind::Integer);
    EXPECT_EQ(infos[7].low, 14);
    EXPECT_EQ(JsonText(5e-11f), "5e-11");
    EXPECT_EQ(JsonText(85.f), "85.0");
}

} // namespace
} // namespace TZM

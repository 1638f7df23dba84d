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
    using AlgoBase::ParseActiveOverlays;
    void ParseParamsFromJsonConfig() override {
        ReadDocument("KeyAlgo::ParseParamsFromJsonConfig",
                     [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
    }
};

class Configuration : public testing::Test {
protected:
    const AllKinds& With(const std::string& document) { return statics.Parsed(algo, document); }
    /// The values behind such a document, in the order of the table.
    std::string Values(const std::string& document) {
        std::string values = With(document).array;
        for (const JsonKeyInfo& info : DescribeKeys("Keys", Sections(), algo.GetParams()))
            values += info.defaultValue + " ";
        return values;
    }
    const std::deque<std::string>& Errors() const { return statics.Errors(); }

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

/// Names, thicknesses and permittivities.
std::string Told(const std::vector<AlgoBase::Overlay>& overlays) {
    std::string told;
    for (const auto& o : overlays) told += o.Name + "/" + JsonText(o.Thickness) + "/" + JsonText(o.Permittivity) + " ";
    return told;
}

/// What begins as the other does: a message behind which the reader of documents tells more.
bool Begins(const std::string& text, const std::string& beginning) { return text.rfind(beginning, 0) == 0; }

TEST_F(Configuration, KeepsTheDocumentUnlessTheNewOneParses) {
    EXPECT_TRUE(AlgoBase::SetConfigString("{\"A\": 1 /* one */} // end"));
    EXPECT_FALSE(AlgoBase::SetConfigString(""));
    EXPECT_TRUE(Errors().empty());
    EXPECT_FALSE(AlgoBase::SetConfigString("{"));
    EXPECT_EQ(AlgoBase::GetConfigString(), "{\"A\": 1 /* one */} // end");
    EXPECT_TRUE(AlgoBase::SetCalibrationString("3.5")); // any root
    EXPECT_FALSE(AlgoBase::SetCalibrationString("[1,"));
    EXPECT_EQ(AlgoBase::GetCalibrationString(), "3.5");
    ASSERT_EQ(Errors().size(), 2u);
    EXPECT_TRUE(Begins(Errors()[0], "Failed to parse config string:\n* Line 1, ")) << Errors()[0];
    EXPECT_EQ(Errors()[0].back(), '\n');
    EXPECT_TRUE(Begins(Errors()[1], "Failed to parse calibration string:\n"));
}

TEST_F(Configuration, RefusesADocumentNestedTooDeep) {
    const std::string deep(100000, '[');
    EXPECT_FALSE(AlgoBase::SetConfigString(deep));
    EXPECT_FALSE(AlgoBase::SetCalibrationString(deep));
    EXPECT_EQ(With(deep).whole, -7);
    EXPECT_TRUE(Errors().empty());
    EXPECT_FALSE(algo.ParseActiveOverlays(deep, overlays));
    EXPECT_EQ(Errors().size(), 1u);
}

TEST_F(Configuration, LoadsAFileUpToItsFirstNulByteAndKernelCfgWithoutAName) {
    const std::string name = testing::TempDir() + "tzm_configuration_test.cfg", nul("{\"B\": 2}\0{{{", 12);
    const auto loaded = [&](const std::string& text) {
        const TemporaryFile file(name, text);
        return AlgoBase::LoadConfigFile(name);
    };
    EXPECT_TRUE(loaded(nul));
    EXPECT_FALSE(AlgoBase::LoadConfigFile(name)) << "the file is gone";
    EXPECT_EQ(AlgoBase::GetConfigString(), "{\"B\": 2}");
    EXPECT_FALSE(loaded(""));
    EXPECT_EQ(AlgoBase::GetConfigString(), "");
    statics.Configure("{}");
    EXPECT_FALSE(AlgoBase::LoadConfigFile(testing::TempDir())) << "a directory";
    EXPECT_EQ(AlgoBase::GetConfigString(), "");
    EXPECT_TRUE(Errors().empty());
    EXPECT_FALSE(loaded("{\"B\": "));
    EXPECT_EQ(AlgoBase::GetConfigString(), "{\"B\": ");
    algo.ParseParamsFromJsonConfig();
    ASSERT_EQ(Errors().size(), 1u);
    EXPECT_TRUE(Begins(Errors()[0], "Failed to parse config file (" + name + "):\n"));

    const TemporaryFile kernel("kernel.cfg", "{\"Kernel\": true}");
    EXPECT_TRUE(AlgoBase::LoadConfigFile(""));
    EXPECT_EQ(AlgoBase::GetConfigString(), "{\"Kernel\": true}");
}

TEST_F(Configuration, TakesOnlyTheRightTypes) {
    EXPECT_EQ(Values("{'Keys': {'Flag': 1, 'Whole': 3.0, 'Real': 5, 'Text': 5, 'Array': {}}, "
                     "'Global': {'Count': 2.0, 'Fraction': 3, 'Nested': {'Limited': true}}}"),
              "false -7 0.25 \"none\"  3 0.5 16 ");
    EXPECT_EQ(Values("{'Keys': {'Flag': true, 'Whole': -3, 'Real': 5e0, 'Text': 't', 'Array': null}, "
                     "'Global': {'Count': true, 'Fraction': 2.5, 'Nested': {'Limited': 15}}}"),
              "null\ntrue -3 5.0 \"t\"  1 2.5 15 ");
    for (const char* noObject :
         {"[1]", "null", "7", "'x'", "{'Keys': [1], 'Global': 'x'}", "{'Keys': null, 'Global': {'Nested': 3}}"})
        EXPECT_EQ(With(noObject).whole, -3);
    EXPECT_TRUE(Errors().empty());
}

TEST_F(Configuration, TellsSignedFromUnsignedIntegersAndLimitsThemToTheirRange) {
    EXPECT_EQ(With("{'Keys': {'Whole': 2147483647}}").whole, 2147483647);
    EXPECT_EQ(With("{'Keys': {'Whole': 2147483648}}").whole, 2147483647) << "unsigned: counts as absent";
    EXPECT_EQ(With("{'Keys': {'Whole': -2147483648}}").whole, std::numeric_limits<int>::min());
    EXPECT_EQ(With("{'Global': {'Count': 4294967295}}").count, -1); // read as unsigned, kept as int
    EXPECT_EQ(With("{'Global': {'Nested': {'Limited': 40}}}").limited, 32);
    EXPECT_EQ(With("{'Global': {'Nested': {'Limited': -8}}}").limited, 14);
    EXPECT_EQ(With("{'Global': {'Fraction': 0.0}}").fraction, 0.01);
    EXPECT_TRUE(Errors().empty());
}

TEST_F(Configuration, StopsAtAValueThatCannotBeConverted) {
    const AllKinds& params = With("{'Keys': {'Whole': 8}, 'Global': {'Count': -1, 'Fraction': 2.5}}");
    EXPECT_EQ(params.whole, 8) << "what was read before stays";
    EXPECT_EQ(params.fraction, 0.5) << "what comes later isn't read";
    With("{'Global': {'Count': 4294967296}}");
    With("{'Keys': {'Whole': -2147483649}}");
    With("{'Keys': {'Whole': -99999999999999999999}}"); // beyond 64 bits, an integer all the same
    With("{'Global': {'Count': 99999999999999999999}}");
    With("{'Keys': {'Real': 99999999999999999999}}"); // no real number
    EXPECT_EQ(params.real, 0.25f);
    const std::string prefix = "KeyAlgo::ParseParamsFromJsonConfig: JSON Exception - ";
    EXPECT_EQ(Errors(), (std::deque<std::string>{prefix + "Negative integer can not be converted to unsigned integer",
                                                 prefix + "Real out of unsigned integer range",
                                                 prefix + "integer out of signed integer range",
                                                 prefix + "integer out of signed integer range",
                                                 prefix + "Real out of unsigned integer range"}));
}

TEST_F(Configuration, LeavesAbsentKeysAtWhatTheHostGaveAndNotifiesOfChanges) {
    struct Counter : AlgoParamBase::Listener {
        void Notify() override { ++calls; }
        int calls = 0;
    } counter;
    algo.GetParams().whole = 12;
    algo.GetParams().AddListener(&counter);
    EXPECT_EQ(With("{'Keys': {'Real': 0.75, 'Flag': false}}").whole, 12);
    EXPECT_EQ(counter.calls, 1) << "only the value that differs";
}

TEST_F(Configuration, ReadsAndWritesDecimalPointsUnderADecimalComma) {
    const CommaLocale comma;
    const std::string cLocale = std::setlocale(LC_ALL, nullptr);
    EXPECT_EQ(With("{'Keys': {'Real': -14.5, 'Array': [-14.5, 12345]}}").real, -14.5f);
    EXPECT_EQ(algo.GetParams().array, "[-14.5,12345]\n");
    EXPECT_TRUE(AlgoBase::SetCalibrationString("[-14.5]"));
    ASSERT_TRUE(algo.ParseActiveOverlays(R"([{"Thickness": 0.125, "Permittivity": 4.5}])", overlays));
    EXPECT_EQ(Told(overlays), "/0.125/4.5 ");
    EXPECT_EQ(std::use_facet<std::numpunct<char>>(std::locale()).decimal_point(), ',') << "the host's again";
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), cLocale);
    EXPECT_TRUE(Errors().empty());
}

TEST_F(Configuration, IsReadOnTwoThreadsAtOnce) {
    const CommaLocale comma;
    statics.Configure("{'Keys': {'Real': -14.5}}");
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
    EXPECT_EQ(Told(overlays), "zero/0.0/0.0 air/0.5/1.0 /0.0/0.0 /0.0/0.0 ");
    EXPECT_TRUE(Errors().empty());
}

TEST_F(Configuration, TellsWhatIsWrongWithAnOverlay) {
    const std::string prefix = "AlgoBase::ParseOverlays: ";
    for (const auto& [text, message] : std::vector<std::pair<std::string, std::string>>{
             {"{}", "Invalid JSON overlay format!"},
             {"[", "Failed to parse JSON overlay string:\n* Line 1,"},
             {R"([{"Name": []}])", "JSON Exception - Type is not convertible to string"},
             {R"([{"Name": "first"}, {"Thickness": "thin"}, {}])",
              "JSON Exception - Type is not convertible to double"}}) {
        EXPECT_FALSE(algo.ParseActiveOverlays(text, overlays));
        EXPECT_TRUE(Begins(Errors().back(), prefix + message)) << Errors().back();
    }
    EXPECT_EQ(overlays.size(), 1u);
}

TEST(JsonKeys, TellWhereAKeyStandsAndItsRange) {
    const JsonKeyInfo info = DescribeKeys("Keys", Sections(), AllKinds()).back();
    EXPECT_EQ(info.path + "/" + info.key, "Global.Nested/Limited");
    EXPECT_TRUE(info.kind == JsonKind::Integer && info.low == 14 && info.high == 32);
    EXPECT_EQ(JsonText(5e-11f), "5e-11");
}

} // namespace
} // namespace TZM

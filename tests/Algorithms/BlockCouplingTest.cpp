// Blocks that are looked at, merged and worked on in parts.
#include "Framework/BlockCoupling.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Gain/AlgoAgc.h"
#include "Algorithms/Gain/AlgoNormalizationCscan.h"
#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Framework/Channels.h"
#include "Framework/private/JsonDocument.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

using Type = AlgoParamBgRemoval::AlgoType;

struct Dice {
    explicit Dice(unsigned seed) : engine(seed) {}
    int operator()(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine); }
    template <class T>
    void Shuffle(std::vector<T>& values) {
        std::shuffle(values.begin(), values.end(), engine);
    }
    std::mt19937 engine;
};

/// A direct wave, ringing and noise, over a mesh or not; valid ranges of all sorts.
Block AnyScene(Dice& dice, bool mesh) {
    const int channels = dice(0, 1) ? 5 : 7, groups = channels == 7 ? dice(1, 2) * 3 : dice(1, 7);
    Block scene(ImageProps(dice(100, 130), dice(60, 240), channels * groups));
    Noise noise(dice(1, 1000));
    for (int z = 0; z < scene.props.bscanCount; ++z) {
        const int start = dice(5, 30);
        for (int y = 0; y < scene.props.ascansPerBscan; ++y)
            for (int s = 0; s < scene.props.samplesPerAscan; ++s)
                scene.At(s, y, z) = 200 * noise() - 20000 * std::exp(-std::pow((s - start) / 2., 2)) +
                                    (mesh ? 4000 * std::exp(-0.1 * std::pow(s - 50, 2)) * std::cos(M_PI * y / 10) : 0);
        if (dice(0, 2) == 0)
            scene.props.bscanInfo[z] = {dice(-1, 20), dice(0, 1) * dice(0, scene.props.ascansPerBscan + 5)};
    }
    return scene;
}

std::vector<std::shared_ptr<AlgoBase>> CouplingAlgorithms(Dice& dice) {
    auto normalization = std::make_shared<AlgoNormalizationCscan>();
    normalization->Setup(AlgoParamNormalizationCscan(true, 1, dice(-5, 0), dice(1, 5)));
    std::vector<std::shared_ptr<AlgoBase>> all{normalization, std::make_shared<AlgoTimeZeroDetection>(),
                                               std::make_shared<AlgoAgc>()};
    for (const int type : {0, 1, 2, 2, 3, 4, 5}) {
        auto removal = std::make_shared<AlgoBgRemoval>();
        removal->Setup(AlgoParamBgRemoval(true, 1, dice(0, 30), static_cast<Type>(type)));
        all.push_back(removal);
    }
    return all;
}

std::string AnyDocument(Dice& dice) {
    std::ostringstream keys;
    keys << "{'TimeZeroDetection': {'DetailedLogging': true, 'ChannelOffsets': {'TX1RX1': " << dice(-40, 3)
         << ", 'TX2RX3': " << dice(-40, 3)
         << "}}, 'BgRemoval': {'DetailedLogging': true, 'SplitPaneWidthLimit': " << dice(60, 300)
         << ", 'MaxPaneWidth': 60, 'ClsGateWidthMesh50mm': " << dice(1, 6) << ", 'MeshRange': " << dice(10, 40) << "}}";
    return keys.str();
}

/// The lines of the log without their time, in an order of their own.
std::vector<std::string> Lines(const std::string& log) {
    std::vector<std::string> lines;
    std::istringstream text(log);
    for (std::string line; std::getline(text, line);) lines.push_back(line.substr(line.find("): ") + 3));
    std::sort(lines.begin(), lines.end());
    return lines;
}

/// Parts that begin at random groups of channels.
std::vector<std::pair<BlockPart, ImageProps>> Cut(const ImageProps& props, Dice& dice) {
    const int group = GetChannelCount(props.bscanCount), groups = props.bscanCount / group;
    std::vector<std::pair<BlockPart, ImageProps>> parts;
    for (int first = 0, count; first < groups; first += count) {
        count = dice(1, groups - first);
        parts.emplace_back(BlockPart{first * group, props.bscanCount},
                           PropsOfPart(props, first * group, count * group));
    }
    dice.Shuffle(parts);
    return parts;
}

BlockFindings ThroughJson(const CouplesBlock& algorithm, const BlockFindings& findings) {
    Json::Value json;
    EXPECT_TRUE(ReadJson(WriteJson(findings.ToJson()), json));
    return algorithm.FindingsFromJson(json);
}

float* At(Block& block, const BlockPart& part) { return &block.At(0, 0, part.firstBscan); }

std::string Refusal(const std::function<void()>& call) {
    return Caught<std::invalid_argument>(call, [](const std::exception& e) { return std::string(e.what()); });
}

bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

} // namespace

TEST(BlockCoupling, PartsGiveTheBitsAndLinesOfTheBlock) {
    int meshes = 0, shifted = 0, several = 0;
    for (unsigned seed = 0; seed < 16; ++seed) {
        Dice dice(seed);
        Block in = AnyScene(dice, seed % 2 == 0);
        const std::string document = AnyDocument(dice);
        for (const auto& base : CouplingAlgorithms(dice)) {
            const auto& algorithm = dynamic_cast<const CouplesBlock&>(*base);
            const FreshStatics whole(document);
            const Block expected = Executed(*base, in);
            const auto lines = Lines(whole.Log());
            meshes += whole.Log().find("mesh detected (spacing 0.") != std::string::npos;
            const auto* timeZero = dynamic_cast<const AlgoTimeZeroDetection*>(base.get());
            const int usable = timeZero ? timeZero->GetNewOutProps().samplesPerAscan : in.props.samplesPerAscan;
            shifted += usable < in.props.samplesPerAscan;

            for (const int threads : {1, 4}) {
                const FreshStatics statics(document);
                auto parts = Cut(in.props, dice);
                several += parts.size() > 1;
                std::vector<BlockFindings> found;
                OnThreads(threads, [&] {
                    for (const auto& [part, props] : parts)
                        found.push_back(ThroughJson(algorithm, algorithm.Look(At(in, part), props, part)));
                    return 0;
                });
                dice.Shuffle(found);
                BlockFindings all = found.back();
                for (const auto& one : found) all.Merge(one); // the last one twice
                all = ThroughJson(algorithm, all);
                EXPECT_EQ(algorithm.UsableSamples(all, in.props.samplesPerAscan), usable);
                if (!algorithm.IsCoupled()) all = BlockFindings();

                dice.Shuffle(parts);
                Block out(in.props, NAN);
                OnThreads(threads, [&] {
                    for (const auto& [part, props] : parts)
                        algorithm.Work(At(in, part), props, part, all, At(out, part), props);
                    return 0;
                });
                ASSERT_TRUE(SameBits(out.data, expected.data)) << base->GetAdjustedImageDimensions(in.props).bscanCount
                                                               << " " << typeid(*base).name() << " " << seed;
                EXPECT_EQ(Lines(statics.Log()), lines);
                if (timeZero) {
                    EXPECT_EQ(timeZero->GetNewOutProps().samplesPerAscan, usable);
                }
            }
        }
    }
    EXPECT_GT(meshes, 5); // with estimates
    EXPECT_GT(shifted, 5);
    EXPECT_GT(several, 100);
}

TEST(BlockCoupling, GroupsOfSevenStayGroupsOfSevenWhereFiveDividesTheirNumber) {
    const FreshStatics statics;
    AlgoBgRemoval removal;
    removal.Setup(AlgoParamBgRemoval(true, 1, 10, Type::Classify));
    Block in(ImageProps(64, 12, 42)); // too narrow for a vote: a mesh
    Noise noise(3);
    for (float& v : in.data) v = noise();
    const Block expected = Executed(removal, in);
    const BlockPart first{0, 42}, last{35, 42};
    const ImageProps most = PropsOfPart(in.props, 0, 35), rest = PropsOfPart(in.props, 35, 7);
    BlockFindings all = removal.Look(in.data.data(), most, first);
    all.Merge(removal.Look(&in.At(0, 0, 35), rest, last));
    Block out(in.props, NAN);
    removal.Work(in.data.data(), most, first, all, out.data.data(), most);
    removal.Work(&in.At(0, 0, 35), rest, last, all, &out.At(0, 0, 35), rest);
    EXPECT_TRUE(SameBits(out.data, expected.data));
}

TEST(BlockCoupling, FindingsPassThroughJsonWithoutLoss) {
    const AlgoNormalizationCscan normalization;
    BlockFindings found(normalization.FindingsTable(), 4);
    const float values[] = {-0.f, 1e-45f, -3.4028235e38f, 0.1f, INFINITY, -INFINITY, NAN, -NAN};
    for (int z = 0; z < 4; ++z) found.Put(z, {values[2 * z], values[2 * z + 1]});
    const BlockFindings back = ThroughJson(normalization, found);
    for (int z = 0; z < 4; ++z)
        EXPECT_EQ(std::memcmp(back.Row(z).data(), found.Row(z).data(), 2 * sizeof(double)), 0) << z;
}

TEST(BlockCoupling, RefusesJsonThatItHasNotWritten) {
    const AlgoTimeZeroDetection detection;
    const auto refusal = [&](std::string text) {
        std::replace(text.begin(), text.end(), '\'', '"');
        Json::Value json;
        EXPECT_TRUE(ReadJson(text, json));
        return Refusal([&] { detection.FindingsFromJson(json); });
    };
    const std::string begin = "{'Algorithm': 'AlgoTimeZeroDetection', 'BlockBscans': 5, 'Bscans': ",
                      of = "Findings of ";
    for (const char* text : {"[]", "3", "null", "{}", "{'Algorithm': 7}", "{'Algorithm': 'AlgoBgRemoval'}"})
        EXPECT_EQ(refusal(text), of + "AlgoTimeZeroDetection: \"Algorithm\" must be its name");
    for (const char* count : {"-1", "2.5", "'5'", "4294967296", "1e300", "true", "null"})
        EXPECT_NE(refusal("{'Algorithm': 'AlgoTimeZeroDetection', 'BlockBscans': " + std::string(count) + "}"), "");
    for (const char* list :
         {"{}", "4", "null", "[3]", "[[]]", "[{}]", "[{'Bscan': 5, 'Shift': 1}]", "[{'Bscan': -1, 'Shift': 1}]",
          "[{'Bscan': 1}]", "[{'Bscan': 1, 'Shift': 1.5}]", "[{'Bscan': 1, 'Shift': 3000000000}]",
          "[{'Bscan': 1, 'Shift': '7fc00000'}]", "[{'Bscan': 1, 'Shift': 1}, {'Bscan': 1, 'Shift': 1}]"})
        EXPECT_NE(refusal(begin + list + "}"), "") << list;
    const AlgoNormalizationCscan normalization;
    for (const char* low : {"'00000000'", "'NaN'", "''", "1e39", "true", "[]"}) {
        Json::Value json;
        std::string text =
            "{'Algorithm': 'AlgoNormalizationCscan', 'BlockBscans': 1, 'Bscans': [{'Bscan': 0, 'High': 1, 'Low': " +
            std::string(low) + "}]}";
        std::replace(text.begin(), text.end(), '\'', '"');
        EXPECT_TRUE(ReadJson(text, json));
        EXPECT_EQ(Refusal([&] { normalization.FindingsFromJson(json); }),
                  of + "AlgoNormalizationCscan: \"Low\" of B-scan 0 must be a number of 32 bits");
    }
}

TEST(BlockCoupling, RefusesPartsAndFindingsThatAreNotOfTheBlock) {
    const FreshStatics statics;
    const AlgoTimeZeroDetection detection;
    const AlgoNormalizationCscan normalization;
    const Block in = NoiseBlock(100, 4, 10);
    Block out = in;
    const ImageProps half = PropsOfPart(in.props, 0, 5);
    const auto look = [&](int first, int count) {
        return detection.Look(in.data.data(), PropsOfPart(in.props, first, count), {first, 10});
    };
    for (const auto& [first, count] : {std::pair(2, 5), std::pair(0, 4)})
        EXPECT_EQ(Refusal([&, f = first, c = count] { look(f, c); }), "The part cuts through a group of channels");
    for (const auto& [first, count] : {std::pair(10, 5), std::pair(-5, 5), std::pair(5, 10)})
        EXPECT_EQ(Refusal([&, f = first, c = count] { look(f, c); }), "The part lies outside its block");
    EXPECT_EQ(Failure([&] {
                  detection.Look(in.data.data(), half, {0, 12});
              }),
              "-11/0 TZM::Exception::unexpectedBscanCount");

    BlockFindings part = look(0, 5);
    const auto work = [&](const BlockFindings& all) {
        return Refusal([&] { detection.Work(in.data.data(), half, {0, 10}, all, out.data.data(), half); });
    };
    EXPECT_EQ(work(part), "Findings of AlgoTimeZeroDetection: parts of the block are missing");
    EXPECT_EQ(work(BlockFindings()), "Findings of AlgoTimeZeroDetection: those of another algorithm are given");
    EXPECT_EQ(work(normalization.Look(in.data.data(), in.props, {0, 10})),
              "Findings of AlgoTimeZeroDetection: those of another algorithm are given");
    EXPECT_EQ(work(detection.Look(in.data.data(), half, {0, 5})),
              "Findings of AlgoTimeZeroDetection: those of a block of another size are given");
    EXPECT_EQ(Refusal([&] {
                  part.Merge(normalization.Look(in.data.data(), half, {0, 10}));
              }),
              "Findings of different algorithms or blocks don't merge");
    BlockFindings other(detection.FindingsTable(), 10);
    other.Put(4, {20, 1});
    other.Put(7, {20, 1});
    EXPECT_EQ(Refusal([&] { part.Merge(other); }), "Findings of AlgoTimeZeroDetection: two looks at B-scan 4 differ");
    EXPECT_THROW(part.Row(7), std::out_of_range);
    EXPECT_EQ(other.Number(7, "Shift"), 20);
    EXPECT_EQ(out.data, in.data);
}

TEST(BlockCoupling, PartsFailAsTheBlockDoes) {
    AlgoBgRemoval removal;
    removal.Setup(AlgoParamBgRemoval(true, 1, 10, Type::Classify));
    const AlgoTimeZeroDetection detection;
    Block in = NoiseBlock(100, 60, 10);
    const auto same = [&](const AlgoBase& algorithm, const CouplesBlock& coupling, const char* document) {
        const FreshStatics statics(document);
        const std::string failure = Failure([&] { Executed(algorithm, in); });
        EXPECT_NE(failure, "none");
        const ImageProps half = PropsOfPart(in.props, 5, 5);
        EXPECT_EQ(Failure([&] { coupling.Look(&in.At(0, 0, 5), half, {5, 10}); }), failure);
    };
    same(removal, removal, "{'BgRemoval': {'ClsFilterOrder': 13}}");
    same(removal, removal, "{'BgRemoval': {'ClsFilterOrder': -2}}");
    same(detection, detection, "{'TimeZeroDetection': {'ChannelOffsets': {'DefaultTimeZeroIndex': 200}}}");
}

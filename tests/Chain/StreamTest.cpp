// Chains from file to file in chunks.
#include <algorithm>
#include <cstring>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "Chain/Chain.h"
#include "Framework/Cancelled.h"
#include "Recording/private/Text.h"
#include "support/FreshStatics.h"
#include "support/TemporaryFolder.h"

namespace TZM {
namespace {

class MemorySource final : public RecordingSource {
public:
    explicit MemorySource(Recording of) : RecordingSource(of.About()), recording(std::move(of)) {}
    void Read(int first, int bscans, float* out) override {
        if (first <= failsAt && failsAt < first + bscans) throw FormatError("B-scan 17 is gone");
        const std::int64_t bscan = std::int64_t{about.size.samples} * about.size.ascans;
        most = std::max(most, bscans);
        std::copy_n(recording.Bscan(first), bscan * bscans, out);
    }
    int most = 0; ///< B-scans at once
    int failsAt = -1;

private:
    Recording recording;
};

class MemorySink final : public RecordingSink {
public:
    void Begin(const Recording& about) override {
        image = about.About();
        samples.resize(static_cast<std::size_t>(image.size.Count()));
    }
    void Write(int first, int bscans, const float* from) override {
        const std::int64_t bscan = std::int64_t{image.size.samples} * image.size.ascans;
        if ((first + bscans) * bscan > fullAt) throw Refusal("can't write image: no space left on device");
        std::copy_n(from, bscan * bscans, samples.begin() + first * bscan);
    }
    void Read(int first, int bscans, float* to) override {
        const std::int64_t bscan = std::int64_t{image.size.samples} * image.size.ascans;
        std::copy_n(samples.begin() + first * bscan, bscan * bscans, to);
    }
    void End() override { ended = true; }
    Recording image;
    std::vector<float> samples;
    std::int64_t fullAt = std::numeric_limits<std::int64_t>::max();
    bool ended = false;
};

using Dice = std::mt19937;
int Throw(Dice& dice, int low, int high) { return std::uniform_int_distribution<int>(low, high)(dice); }

/// Counts with direct waves at times of their own.
Recording Any(Dice& dice) {
    constexpr int counts[] = {10, 15, 35, 7, 14, 21, 49, 6, 12, 23};
    Recording recording;
    recording.size = {Throw(dice, 100, 140), Throw(dice, 20, 40), counts[Throw(dice, 0, 9)]};
    recording.data = AllocateSamples(recording.size.Count());
    std::normal_distribution<float> noise(0, 300);
    for (int z = 0; z < recording.size.bscans; ++z) {
        const int start = Throw(dice, 10, 20);
        for (int i = 0; i < recording.size.samples * recording.size.ascans; ++i) {
            const int s = i % recording.size.samples;
            recording.Bscan(z)[i] = noise(dice) - (s >= start && s < start + 5 ? 15000.f : 0);
        }
        const int first = Throw(dice, 0, 3);
        if (recording.size.samples % 2)
            recording.validRanges.push_back({first, Throw(dice, 0, recording.size.ascans - first)});
    }
    recording.permittivity = 6;
    return recording;
}

/// Up to five algorithms with parameters of their own.
Chain AnyChain(Dice& dice, const Recording& recording) {
    Chain chain;
    const bool channels = recording.size.bscans % 5 == 0 || recording.size.bscans % 7 == 0;
    for (int i = Throw(dice, 1, 5); i > 0;) {
        const AlgorithmInfo& info =
            Algorithms()[static_cast<std::size_t>(Throw(dice, 0, static_cast<int>(Algorithms().size()) - 1))];
        if (info.tellsChannels && !channels) continue;
        Step& step = chain.Add(info.name);
        --i;
        for (const ParameterInfo& parameter : info.parameters) {
            if (Throw(dice, 0, 1) || parameter.name == "permittivity") continue;
            const Json::Value value = parameter.defaultValue;
            if (parameter.type == ValueType::Word)
                step.Set(parameter.name, parameter.words[static_cast<std::size_t>(
                                             Throw(dice, 0, static_cast<int>(parameter.words.size()) - 1))]);
            if (parameter.type == ValueType::Flag) step.Set(parameter.name, Throw(dice, 0, 1) == 1);
            if (parameter.type == ValueType::Integer) step.Set(parameter.name, value.asInt() + Throw(dice, 0, 9));
            if (parameter.type == ValueType::Number)
                step.Set(parameter.name, value.asDouble() * 0.25 * Throw(dice, 3, 7));
            if (parameter.type == ValueType::Widths) {
                Json::Value widths;
                for (const std::string& side : parameter.words) widths[side] = Throw(dice, 0, 4);
                step.Set(parameter.name, widths);
            }
        }
    }
    return chain;
}

std::string NamesOf(const Chain& chain) {
    Json::Value document;
    document["chain"] = chain.Document();
    return OneLine(JsonText(document));
}

} // namespace

TEST(Stream, GivesTheBitsOfTheWholeBlockForAnyChainAndMemory) {
    int chunked = 0, coupled = 0;
    for (unsigned seed = 0; seed < 300; ++seed) {
        Dice dice(seed);
        const FreshStatics statics;
        const Recording recording = Any(dice);
        const Chain chain = AnyChain(dice, recording);
        const auto note = [&] { return std::to_string(seed) + ": " + recording.size.Text() + " " + NamesOf(chain); };
        std::optional<RunResult> whole;
        try {
            whole = chain.Run(recording);
        } catch (const Refusal&) {
        }
        MemorySource source(recording);
        MemorySink sink;
        StreamOptions options;
        options.memory = std::int64_t{Throw(dice, 1, 60)} * 4 * 4 * recording.size.samples * recording.size.ascans;
        options.threads = Throw(dice, 1, 3);
        if (!whole) {
            EXPECT_THROW(chain.Stream(source, sink, options), Refusal) << note();
            EXPECT_FALSE(sink.ended);
            continue;
        }
        RunResult parts;
        ASSERT_NO_THROW(parts = chain.Stream(source, sink, options)) << note();
        ASSERT_TRUE(parts.image.size == whole->image.size) << note();
        ASSERT_EQ(sink.samples.size(), static_cast<std::size_t>(whole->image.size.Count()));
        ASSERT_EQ(std::memcmp(sink.samples.data(), whole->image.data.get(), sink.samples.size() * sizeof(float)), 0)
            << note();
        EXPECT_TRUE(sink.ended);
        EXPECT_EQ(parts.lowest, whole->lowest);
        EXPECT_EQ(parts.image.FirstTime(), whole->image.FirstTime());
        EXPECT_EQ(parts.image.timeZero, whole->image.timeZero);
        for (std::size_t i = 0; i < chain.steps.size(); ++i) {
            EXPECT_EQ(parts.steps[i].notes, whole->steps[i].notes);
            EXPECT_EQ(parts.steps[i].shifts, whole->steps[i].shifts);
            EXPECT_EQ(parts.steps[i].output.Text(), whole->steps[i].output.Text());
            coupled += chain.steps[i].CouplingNow().throughFindings;
        }
        chunked += source.most < recording.size.bscans;
    }
    EXPECT_GT(chunked, 60);
    EXPECT_GT(coupled, 50);
}

TEST(Stream, ShowsEveryPartOnceAndTellsOneProgress) {
    const FreshStatics statics;
    Dice dice(3);
    Recording recording = Any(dice);
    recording.size = {100, 10, 30};
    recording.validRanges.clear();
    recording.data = AllocateSamples(recording.size.Count());
    for (std::int64_t i = 0; i < recording.size.Count(); ++i) recording.data[i] = float(Throw(dice, -9, 9));
    Chain chain;
    chain.Add("OffsetRemoval");
    chain.Add("FkMigration");
    chain.Add("NormalizationCscan");
    MemorySource source(recording);
    MemorySink sink;
    StreamOptions options;
    options.memory = 10 * 4 * 4 * 1000;
    std::vector<int> seen(4);
    double last = 0;
    options.observe = [&](std::size_t step, const Recording& part, int first, int all) {
        EXPECT_EQ(all, 30);
        EXPECT_EQ(seen.at(step), first);
        seen[step] += part.size.bscans;
    };
    options.progress = [&](std::size_t, double share) {
        EXPECT_GE(share, last - 1e-9);
        EXPECT_LE(share, 1);
        last = share;
        return true;
    };
    chain.Stream(source, sink, options);
    EXPECT_EQ(seen, (std::vector<int>{30, 30, 30, 30}));
    EXPECT_EQ(source.most, 10);
    EXPECT_GT(last, 0.9);
}

TEST(Stream, LeavesNoImageBehindAFailure) {
    const FreshStatics statics;
    Dice dice(1);
    Recording recording = Any(dice);
    recording.size.bscans = 20;
    recording.validRanges.clear();
    recording.data = AllocateSamples(recording.size.Count());
    std::fill_n(recording.data.get(), recording.size.Count(), 1.f);
    Chain chain;
    chain.Add("OffsetRemoval");
    chain.Add("NormalizationCscan");
    StreamOptions options;
    options.memory = 1;
    const auto refusal = [&](MemorySource& source, MemorySink& sink) -> std::string {
        try {
            chain.Stream(source, sink, options);
        } catch (const Refusal& error) {
            EXPECT_FALSE(sink.ended);
            return error.what();
        } catch (const Exception::Cancelled&) {
            EXPECT_FALSE(sink.ended);
            return "cancelled";
        }
        return "none";
    };
    for (const int threads : {1, 2}) {
        options.threads = threads;
        MemorySource gone(recording), good(recording);
        gone.failsAt = 17;
        MemorySink sink, full, cancelled;
        EXPECT_EQ(refusal(gone, sink), "B-scan 17 is gone");
        full.fullAt = std::int64_t{8} * recording.size.samples * recording.size.ascans;
        EXPECT_NE(refusal(good, full).find("no space left"), std::string::npos);
        options.scratch = "/missing";
        chain.Add("FkMigration"); // between two findings the block is kept in a scratch file
        chain.Add("NormalizationCscan");
        chain.Add("FkMigration").Set("timeZero", 3);
        EXPECT_NE(refusal(good, sink).find("can't write /missing"), std::string::npos);
        chain.steps.erase(chain.steps.end() - 3, chain.steps.end());
        options.scratch.clear();
        int told = 0;
        options.progress = [&](std::size_t, double) { return ++told < 5; };
        EXPECT_EQ(refusal(good, cancelled), "cancelled");
        options.progress = {};
    }
    Recording broken = recording;
    broken.data = AllocateSamples(recording.size.Count());
    std::fill_n(broken.data.get(), recording.size.Count(), 1.f);
    broken.Bscan(12)[7] = std::numeric_limits<float>::quiet_NaN();
    MemorySource source(broken);
    MemorySink sink;
    EXPECT_NE(refusal(source, sink).find("from B-scan 10 on, holds NaN at sample 7"), std::string::npos);
}

} // namespace TZM

// Chains from file to file in chunks.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "Algorithms/Migration/DiffractionStack.h"
#include "Algorithms/Migration/PhaseShift.h"
#include "Algorithms/Migration/StoltTables.h"
#include "Chain/Chain.h"
#include "Framework/Cancelled.h"
#include "Framework/KeptTables.h"
#include "Recording/private/Text.h"
#include "support/FreshStatics.h"
#include "support/MemoryStreams.h"
#include "support/Scenes.h"
#include "support/TemporaryFolder.h"

namespace TZM {
namespace {

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
    for (int z = Throw(dice, 0, 3); z == 0 || (z > 3 && z < recording.size.bscans + 4); z = z == 0 ? 4 : z + 1)
        recording.timeZeros.push_back(Throw(dice, 10, 20));
    return recording;
}

/// A value that such a parameter may have; null for one that stays.
Json::Value AnyValue(Dice& dice, const ParameterInfo& parameter, const Dimensions& size) {
    const auto any = [&](const std::vector<std::string>& words) {
        return words[static_cast<std::size_t>(Throw(dice, 0, static_cast<int>(words.size()) - 1))];
    };
    Json::Value value;
    switch (parameter.type) {
    case ValueType::Word: return any(parameter.words);
    case ValueType::Flag: return Throw(dice, 0, 1) == 1;
    case ValueType::Integer:
        return static_cast<int>(
            std::clamp<double>(parameter.defaultValue.asInt() + Throw(dice, 0, 9), parameter.low, parameter.high));
    case ValueType::Number: // a default of 0 says nothing of the size
        value = parameter.defaultValue.asDouble() * 0.25 * Throw(dice, 3, 7);
        if (value.asDouble() == 0) value = std::clamp(0.05 * Throw(dice, 0, 5), parameter.low, parameter.high);
        return value;
    case ValueType::Integers:
        for (int i = Throw(dice, 0, size.bscans); i > 0; --i) value.append(Throw(dice, 0, 9));
        return value;
    case ValueType::Numbers: // elevations: of a line, or of every A-scan
        for (int i = Throw(dice, 0, 1) ? Throw(dice, 1, 12) : size.ascans * size.bscans; i > 0; --i)
            value.append(0.0625 * Throw(dice, 0, 9));
        return value;
    case ValueType::Widths:
        for (const std::string& side : parameter.words) value[side] = Throw(dice, 0, 4);
        return value;
    case ValueType::Text:
        if (parameter.name == "overlays") value = any({"", R"([{"Thickness": 0.05, "Permittivity": 4.0}])"});
        return value;
    }
    return value;
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
            const Json::Value value = AnyValue(dice, parameter, recording.size);
            if (!value.isNull()) step.Set(parameter.name, value);
        }
    }
    return chain;
}

/// Factors of all pairs of antennas.
const char kCalibration[] = R"({"RF": {"TX1RX1": {"Factor": 1.5}, "TX2RX1": {"Factor": 2.5}, "TX2RX2": {"Factor": 4.5},
                                       "TX2RX3": {"Factor": 5.5}, "TX3RX3": {"Factor": 7.5}}})";

std::string NamesOf(const Chain& chain) {
    Json::Value document;
    document["chain"] = chain.Document();
    return OneLine(JsonText(document));
}

} // namespace

/// More of them are drawn by hand: TZM_CHAINS=10000.
const int kChains = std::getenv("TZM_CHAINS") ? std::atoi(std::getenv("TZM_CHAINS")) : 300;

TEST(Stream, GivesTheBitsOfTheWholeBlockForAnyChainAndMemory) {
    int chunked = 0, coupled = 0, worked = 0;
    std::set<std::string> parted; // algorithms that have worked on chunks
    for (int seed = 0; seed < kChains; ++seed) {
        Dice dice(static_cast<unsigned>(seed));
        const FreshStatics statics;
        Recording recording = Any(dice);
        Chain chain = AnyChain(dice, recording);
        if (Throw(dice, 0, 1)) chain.Settle(recording, {});
        if (Throw(dice, 0, 2) == 0) AlgoBase::SetCalibrationString(kCalibration);
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
        ++worked;
        RunResult parts;
        try {
            parts = chain.Stream(source, sink, options);
        } catch (const ChainError& error) { // by a step that says so, and ahead of any work
            const Coupling coupling =
                FindAlgorithm(error.step)
                    ->coupling(std::find_if(chain.steps.begin(), chain.steps.end(),
                                            [&](const Step& step) {
                                                return step.Info().name == error.step && !step.WorksInParts();
                                            })
                                   ->Algorithm(),
                               0);
            ASSERT_TRUE(coupling.scope == Coupling::Block && !coupling.throughFindings) << note() << error.what();
            ASSERT_NE(std::string(error.what()).find("must see the whole block"), std::string::npos) << error.what();
            ASSERT_EQ(source.most, 0);
            continue;
        }
        ASSERT_TRUE(parts.image.size == whole->image.size) << note();
        ASSERT_EQ(sink.samples.size(), static_cast<std::size_t>(whole->image.size.Count()));
        ASSERT_EQ(std::memcmp(sink.samples.data(), whole->image.data.get(), sink.samples.size() * sizeof(float)), 0)
            << note();
        EXPECT_TRUE(sink.ended);
        EXPECT_EQ(parts.lowest, whole->lowest);
        EXPECT_EQ(parts.image.FirstTime(), whole->image.FirstTime());
        EXPECT_EQ(parts.image.timeZero, whole->image.timeZero);
        EXPECT_EQ(parts.image.timeZeros, whole->image.timeZeros);
        EXPECT_EQ(Flat(parts.image.Props()), Flat(whole->image.Props()));
        EXPECT_EQ(std::pair(parts.image.deltaT, parts.image.deltaX),
                  std::pair(whole->image.deltaT, whole->image.deltaX));
        for (std::size_t i = 0; i < chain.steps.size(); ++i) {
            EXPECT_EQ(parts.steps[i].notes, whole->steps[i].notes);
            EXPECT_EQ(parts.steps[i].shifts, whole->steps[i].shifts);
            EXPECT_EQ(parts.steps[i].output.Text(), whole->steps[i].output.Text());
            coupled += chain.steps[i].CouplingNow().throughFindings;
        }
        if (source.most == recording.size.bscans) continue;
        ++chunked;
        for (const Step& step : chain.steps) parted.insert(step.Info().name);
    }
    EXPECT_GT(worked, kChains / 2);
    EXPECT_GT(chunked, kChains / 5);
    EXPECT_GT(coupled, kChains / 6);
    for (const AlgorithmInfo& info : Algorithms()) {
        const Coupling coupling = info.coupling(*info.make(), 0);
        if (coupling.scope != Coupling::Block || coupling.throughFindings) {
            EXPECT_TRUE(parted.count(info.name)) << info.name;
        }
    }
}

TEST(Stream, MakesTablesOncePerRun) {
    const FreshStatics statics;
    Dice dice(5);
    Recording recording = Any(dice);
    recording.size.bscans = 30;
    recording.data = AllocateSamples(recording.size.Count());
    std::generate_n(recording.data.get(), recording.size.Count(), [&] { return float(Throw(dice, -9, 9)); });
    recording.validRanges.assign(30, {2, recording.size.ascans - 2});
    for (int z = 0; z < 30; z += 7) recording.validRanges[std::size_t(z)] = {0, recording.size.ascans - z / 7};
    for (const char* name : {"FkMigration", "GazdagMigration", "KirchhoffMigration"}) {
        Chain chain;
        chain.Add(name);
        MemorySource source(recording);
        MemorySink sink;
        StreamOptions options;
        options.memory = 1;
        const int before =
            KeptTables<StoltTables>::Made() + KeptTables<PhaseShift>::Made() + KeptTables<DiffractionStack>::Made();
        chain.Stream(source, sink, options);
        EXPECT_EQ(source.most, 5);
        EXPECT_LE(KeptTables<StoltTables>::Made() + KeptTables<PhaseShift>::Made() +
                      KeptTables<DiffractionStack>::Made() - before,
                  2)
            << name; // mono- and bistatic
    }
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
    // A sum over frequencies that is out of range in one chunk.
    Recording strong = recording;
    strong.data = AllocateSamples(recording.size.Count());
    std::fill_n(strong.data.get(), recording.size.Count(), 1.f);
    std::fill_n(strong.Bscan(17) + 9 * recording.size.samples, recording.size.samples / 2, 3e36f);
    Chain phaseShift;
    phaseShift.Add("OffsetRemoval");
    phaseShift.Add("GazdagMigration");
    MemorySource loud(strong);
    MemorySink quiet;
    EXPECT_THROW(phaseShift.Stream(loud, quiet, options), ChainError);
    EXPECT_FALSE(quiet.ended);
    EXPECT_GT(loud.calls, 3);

    Recording broken = recording;
    broken.data = AllocateSamples(recording.size.Count());
    std::fill_n(broken.data.get(), recording.size.Count(), 1.f);
    broken.Bscan(12)[7] = std::numeric_limits<float>::quiet_NaN();
    MemorySource source(broken);
    MemorySink sink;
    EXPECT_NE(refusal(source, sink).find("from B-scan 10 on, holds NaN at sample 7"), std::string::npos);
}

} // namespace TZM

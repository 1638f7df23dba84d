// Memory that runs out at every place where it is asked for.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>

#include "Chain/Chain.h"
#include "Faults/FailingAllocator.h"
#include "support/AllAlgorithms.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/MemoryStreams.h"
#include "support/Threads.h"

namespace {

using namespace TZM;
using namespace FailingAllocator;

/// What comes of a call whose k-th allocation fails, and with `onlyOne` none behind it.
std::string WithFailure(int k, bool onlyOne, const std::function<void()>& call) {
    failed = false;
    once = onlyOne;
    return Failure([&] {
        left = k;
        try {
            call();
            left = -1;
        } catch (...) {
            left = -1;
            throw;
        }
    });
}

} // namespace

TEST(Faults, EveryAlgorithmSurvivesMemoryThatRunsOut) {
    const FreshStatics statics;
    const Block in = ArrayScene(5, 5);
    for (const Row& row : AllAlgorithms()) {
        const AlgoBase& algorithm = *row.algorithm;
        const std::string name = typeid(algorithm).name();
        const ImageProps outProps = algorithm.GetAdjustedImageDimensions(in.props);
        Block out(outProps);
        const std::function<void()> run = [&] {
            algorithm.Execute(in.data.data(), in.props, out.data.data(), outProps);
        };
        // Every other run is sampled differently, so that tables that an object keeps are made anew.
        std::vector<float> expected[2];
        const auto sampled = [](int k) { AlgoBase::GetGlobalSettings().delta_x = k % 2 ? 0.005f : 0.006f; };
        for (const int k : {0, 1}) {
            sampled(k);
            expected[k] = Executed(algorithm, in).data;
        }
        for (const int threads : {1, 2})
            for (const bool onlyOne : {false, true}) {
                const int failures = OnThreads(threads, [&] {
                    run(); // what the process keeps stands, and tables of the size of any run
                    const long before = alive;
                    for (int k = 0;; ++k) {
                        sampled(k);
                        const std::string outcome = WithFailure(k, onlyOne, run);
                        if (!failed) return k;
                        const bool told = outcome == "bad_alloc" || outcome.rfind("99/-9 ", 0) == 0;
                        EXPECT_TRUE(told || (outcome == "none" && out.data == expected[k % 2])) << outcome;
                        const long held = static_cast<long>(outcome.capacity() > 15);
                        EXPECT_LE(alive, before + held) << "a leak";
                        if (HasFailure()) return -1 - k;
                    }
                });
                ASSERT_GE(failures, 0) << name << ", " << threads << " threads";
                sampled(0);
                ASSERT_EQ(Executed(algorithm, in).data, expected[0]) << name;
            }
    }
}

TEST(Faults, AStreamedRunSurvivesMemoryThatRunsOut) {
    const FreshStatics statics;
    Recording recording;
    recording.size = {512, 12, 15};
    recording.data = AllocateSamples(recording.size.Count());
    std::copy_n(ArrayScene(5, 15).data.data(), recording.size.Count(), recording.data.get());
    Chain chain; // with findings, a scratch file between two passes, neighbours and tables
    for (const char* name : {"TimeZeroDetection", "FkMigration", "NormalizationCscan", "HorizontalSumUp"})
        chain.Add(name);
    for (const int threads : {1, 2})
        for (const bool onlyOne : {false, true}) {
            StreamOptions options;
            options.memory = 1;
            options.threads = threads;
            const auto run = [&] {
                MemorySource source(recording);
                MemorySink sink;
                chain.Stream(source, sink, options);
                if (!sink.ended) throw std::logic_error("no end");
            };
            run();
            const long before = alive;
            for (int k = 0;; k += threads == 1 ? 23 : 61) { // of a thousand and more
                const std::string outcome = WithFailure(k, onlyOne, run);
                EXPECT_TRUE(outcome == "bad_alloc" || outcome == "none") << k << ": " << outcome;
                EXPECT_LE(alive, before + static_cast<long>(outcome.capacity() > 15)) << k << ": a leak";
                if (!failed || HasFailure()) break;
            }
            ASSERT_FALSE(HasFailure()) << threads << " threads";
        }
}

TEST(Faults, DocumentsAreRefusedWhenMemoryRunsOut) {
    const FreshStatics statics;
    const std::string before = "{\"BgRemoval\": {\"HighPassCutoff\": 0.25, \"An array of some length\": [1, 2, 3]}}",
                      after = "{\"FkMigration\": {\"DipMax\": 60.0, \"Another key of some length\": \"and a value\"}}";
    const std::string file = ::testing::TempDir() + "tzm-faults.json";
    std::ofstream(file) << after;
    const std::pair<std::function<bool()>, bool> sets[] = {
        {[&] { return AlgoBase::SetConfigString(after); }, true},
        {[&] { return AlgoBase::SetCalibrationString(after); }, true},
        {[&] { return AlgoBase::LoadConfigFile(file); }, false}};
    for (const auto& [set, keeps] : sets)
        for (int k = 0;; ++k) {
            ASSERT_TRUE(AlgoBase::SetConfigString(before) && AlgoBase::SetCalibrationString(before));
            bool done = false;
            ASSERT_EQ(WithFailure(k, false, [&set = set, &done] { done = set(); }), "none");
            ASSERT_EQ(done, !failed) << k;
            const bool asBefore = AlgoBase::GetConfigString() == before && AlgoBase::GetCalibrationString() == before;
            if (keeps) {
                ASSERT_EQ(asBefore, !done) << k;
            }
            if (done) break;
        }
    std::remove(file.c_str());
}

#include "Framework/private/ParallelFor.h"

#include <numeric>
#include <vector>

#include <omp.h>

#include "Framework/private/ExecuteFrame.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"

namespace TZM {
namespace {

/// Runs the loops of a test on so many threads.
class ParallelLoops : public testing::TestWithParam<int> {
protected:
    ParallelLoops() { omp_set_num_threads(GetParam()); }
    ~ParallelLoops() override { omp_set_num_threads(before); }
    const int before = omp_get_max_threads();
};
INSTANTIATE_TEST_SUITE_P(Threads, ParallelLoops, testing::Values(1, 2, 8));

TEST_P(ParallelLoops, VisitEveryIndexOnceAndMakeWorkOncePerThread) {
    struct Work { // neither copied nor moved
        explicit Work(std::atomic<int>& counter) { ++counter; }
        Work(const Work&) = delete;
    };
    for (const int count : {0, 1, 7, 1000, -3}) {
        const int expected = std::max(count, 0);
        std::vector<int> visits(static_cast<std::size_t>(expected));
        std::atomic<int> made{0};
        ParallelFor(
            count, [&] { return Work(made); }, [&](int i, Work&) { ++visits[static_cast<std::size_t>(i)]; });
        EXPECT_EQ(visits, std::vector<int>(visits.size(), 1));
        EXPECT_LE(made, std::min(GetParam(), expected));
        EXPECT_EQ(made > 0, count > 0);
    }
}

TEST_P(ParallelLoops, CarryOutTheFailureOfTheLowestIndex) {
    // Indices 13 and up fail in turn as each of the three; a serial loop meets 13 and nothing else.
    const char* expected[] = {"99/-113 IPP::Exception::ippsAny", "-13/0 value", "bad_alloc"};
    for (int shift = 0; shift < 3; ++shift) {
        std::vector<int> ran(64);
        const auto body = [&](int i) {
            ran[static_cast<std::size_t>(i)] = 1;
            if (i < 13) return;
            if ((i - 13 + shift) % 3 == 0) throw IPP::Exception(-100 - i, "IPP::Exception::ippsAny");
            if ((i - 13 + shift) % 3 == 1) throw Exception::CalcError(-i, "value");
            throw std::bad_alloc();
        };
        EXPECT_EQ(Failure([&] { RunExecute([&] { ParallelFor(64, body); }); }), expected[shift]);
        EXPECT_EQ(std::accumulate(ran.begin(), ran.begin() + 14, 0), 14) << "an index below a failure didn't run";
    }
}

TEST_P(ParallelLoops, CarryOutAFailureOfTheMaker) {
    std::atomic<int> ran{0}, made{0};
    const auto failure = [&](int works, int failing) {
        const auto make = [&] { return made++ < works ? 0 : throw std::bad_alloc(); };
        return Failure([&] {
            ParallelFor(40, make, [&](int i, int&) {
                ++ran;
                if (i == failing) throw Exception::CalcError(-1, "body");
            });
        });
    };
    EXPECT_EQ(failure(0, 0), "bad_alloc");
    EXPECT_EQ(ran, 0);
    // Only the first thread to come gets work: a serial loop then reaches the failing body.
    made = 0;
    const std::string told = failure(1, 3);
    EXPECT_TRUE(told == "-1/0 body" || (told == "bad_alloc" && GetParam() > 1)) << told;
}

TEST_P(ParallelLoops, LogWholeLines) {
    const FreshStatics statics;
    ParallelFor(50, [](int) { LogFromRegion("line\n"); });
    std::size_t lines = 0;
    for (std::size_t at = 0; (at = statics.Log().find("): line\n", at)) != std::string::npos; ++at) ++lines;
    EXPECT_EQ(lines, 50u);
}

} // namespace
} // namespace TZM

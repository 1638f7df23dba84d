#include "Framework/private/ParallelFor.h"

#include <new>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>
#include <omp.h>

#include "Framework/CalcError.h"
#include "Framework/private/ExecuteFrame.h"
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
    for (const int count : {0, 1, 7, 1000, -3}) {
        std::vector<int> visits(static_cast<std::size_t>(std::max(count, 0)));
        std::atomic<int> made{0};
        struct Work { // neither copied nor moved
            explicit Work(std::atomic<int>& counter) { ++counter; }
            Work(const Work&) = delete;
            int uses = 0;
        };
        std::atomic<int> uses{0};
        ParallelFor(
            count, [&] { return Work(made); },
            [&](int i, Work& work) {
                ++visits[static_cast<std::size_t>(i)];
                ++work.uses;
                ++uses;
            });
        EXPECT_EQ(std::count(visits.begin(), visits.end(), 1), std::max(count, 0));
        EXPECT_LE(made, std::min(GetParam(), std::max(count, 0)));
        EXPECT_EQ(made > 0, count > 0);
    }
}

TEST_P(ParallelLoops, CarryOutTheFailureOfTheLowestIndex) {
    // Indices 13 and up fail in turn as each of the three; a serial loop meets 13 and nothing else.
    for (int shift = 0; shift < 3; ++shift) {
        std::vector<int> ran(64);
        const auto body = [&](int i) {
            ran[static_cast<std::size_t>(i)] = 1;
            if (i < 13) return;
            if ((i - 13 + shift) % 3 == 0) throw IPP::Exception(-100 - i, "IPP::Exception::ippsAny");
            if ((i - 13 + shift) % 3 == 1) throw Exception::CalcError(-i, "value");
            throw std::bad_alloc();
        };
        try {
            RunExecute([&] { ParallelFor(64, body); });
            ADD_FAILURE() << "nothing thrown";
        } catch (const Exception::CalcError& error) {
            EXPECT_EQ(error.GetCode(), shift == 0 ? 99 : -13);
            if (shift == 0) {
                EXPECT_EQ(error.GetIppException().GetStatus(), -113);
            }
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(shift, 2);
        }
        EXPECT_EQ(std::accumulate(ran.begin(), ran.begin() + 14, 0), 14) << "an index below a failure didn't run";
    }
}

TEST_P(ParallelLoops, CarryOutAFailureOfTheMaker) {
    std::atomic<int> ran{0};
    const auto loop = [&](auto maker, int failing) {
        ParallelFor(40, maker, [&](int i, int&) {
            ++ran;
            if (i == failing) throw Exception::CalcError(-1, "body");
        });
    };
    EXPECT_THROW(loop([]() -> int { throw std::bad_alloc(); }, 0), std::bad_alloc);
    EXPECT_EQ(ran, 0);
    // Only the first thread to come gets work: a serial loop then reaches the failing body.
    std::atomic<int> made{0};
    const auto once = [&] { return made++ == 0 ? 0 : throw std::bad_alloc(); };
    if (GetParam() == 1) {
        EXPECT_THROW(loop(once, 3), Exception::CalcError);
    } else {
        EXPECT_ANY_THROW(loop(once, 0));
    }
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

// Whatever a host hands over: values, shapes, valid ranges, threads.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <limits>
#include <thread>

#include "support/AllAlgorithms.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

/// What an algorithm makes of a block: its failure, or the bits of its output.
std::pair<std::string, std::vector<std::uint32_t>> OutcomeOf(const AlgoBase& algorithm, const Block& in) {
    std::vector<std::uint32_t> bits;
    const std::string failure = Failure([&] {
        const Block out = Executed(algorithm, in);
        for (const float value : out.data) { // any NaN counts as the same
            std::uint32_t word;
            std::memcpy(&word, &value, sizeof word);
            bits.push_back(std::isnan(value) ? UINT_MAX : word);
        }
    });
    return {failure, bits};
}

} // namespace

TEST(AnyInput, SpecialValuesAndPrimeSizesGiveTheSameOnAnyNumberOfThreads) {
    const FreshStatics statics;
    const float infinity = std::numeric_limits<float>::infinity();
    for (const auto& [samples, ascans] : {std::pair(127, 13), std::pair(512, 12), std::pair(3, 1), std::pair(61, 2)})
        for (const float special : {0.f, -0.f, NAN, infinity, -infinity, 1e-42f, 3.4e38f, -1e38f}) {
            Block in = NoiseBlock(samples, ascans, 10, 1000);
            for (std::size_t i = 7; i < in.data.size(); i += special == 0 ? 1 : 97) in.data[i] = special;
            for (const Row& row : AllAlgorithms()) {
                const AlgoBase& algorithm = *row.algorithm;
                const auto run = [&] { return OutcomeOf(algorithm, in); };
                const auto alone = OnThreads(1, run);
                for (const int threads : {2, 3, 8})
                    EXPECT_EQ(OnThreads(threads, run), alone) << typeid(algorithm).name() << special;
            }
        }
}

TEST(AnyInput, ValidRangesMayLieAnywhereOrLack) {
    const FreshStatics statics;
    const Block scene = ArrayScene(5, 10);
    const std::vector<std::vector<BscanInfo>> all{{},
                                                  {{0, 12}},
                                                  std::vector<BscanInfo>(10, {-5, 99}),
                                                  std::vector<BscanInfo>(10, {INT_MAX, INT_MAX}),
                                                  std::vector<BscanInfo>(10, {INT_MIN, INT_MAX}),
                                                  std::vector<BscanInfo>(10, {3, -7}),
                                                  std::vector<BscanInfo>(30, {11, 1})};
    for (const auto& ranges : all) {
        Block in = scene, filled = scene;
        in.props.bscanInfo = filled.props.bscanInfo = ranges;
        filled.props.bscanInfo.resize(10); // a missing entry counts as a default one
        for (const Row& row : AllAlgorithms())
            EXPECT_EQ(OutcomeOf(*row.algorithm, in), OutcomeOf(*row.algorithm, filled));
    }
}

TEST(AnyInput, TwoObjectsWorkAtOnce) {
    const FreshStatics statics("{'FkMigration': {'DipMax': 60.5}, 'BgRemoval': {'Algorithm': 1}}");
    const Block in = ArrayScene(5, 5);
    std::vector<std::vector<std::uint32_t>> expected;
    for (const Row& row : AllAlgorithms()) expected.push_back(OutcomeOf(*row.algorithm, in).second);
    const auto work = [&](std::size_t first) {
        const auto rows = AllAlgorithms(); // objects of its own
        for (std::size_t i = 0; i < 2 * rows.size(); ++i) {
            const std::size_t at = (first + i) % rows.size();
            rows[at].algorithm->ParseParamsFromJsonConfig();
            if (OutcomeOf(*AllAlgorithms()[at].algorithm, in).second != expected[at]) ADD_FAILURE() << at;
        }
    };
    std::thread other(work, 7);
    work(0);
    other.join();
}

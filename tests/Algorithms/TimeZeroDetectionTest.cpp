#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"
#include "support/Threads.h"

using namespace TZM;

namespace {

using Shifts = std::vector<int>;

class TimeZeroDetection : public ::testing::Test {
protected:
    FreshStatics statics;

    // The section's keys, with the detailed log, and those of "Global".
    static void Configure(const std::string& keys = "", const std::string& global = "") {
        FreshStatics::Configure("{'Global': {" + global + "}, 'TimeZeroDetection': {'DetailedLogging': true" +
                                (keys.empty() ? "" : ", " + keys) + "}}");
    }
    static void Offsets(const std::string& keys) { Configure("'ChannelOffsets': {" + keys + "}"); }

    void SetUp() override { Configure(); }

    // What the last line of the log tells behind a run.
    Shifts ShiftsOf(const Block& block) {
        Executed(AlgoTimeZeroDetection(), block);
        std::istringstream entries(statics.Log().substr(statics.Log().rfind("offset): ") + 9));
        Shifts shifts;
        for (std::string channel, arrow, shift; entries >> channel >> arrow >> shift;)
            shifts.push_back(std::stoi(shift));
        return shifts;
    }
};

// Three samples around `sample` in all A-scans, or in one.
void Pulse(Block& block, int z, int sample, float level = -10000, int onlyAscan = -1) {
    for (int y = 0; y < block.props.ascansPerBscan; ++y)
        if (onlyAscan < 0 || y == onlyAscan) std::fill_n(&block.At(sample - 1, y, z), 3, level);
}

Block Pulses(const Shifts& samples, int ascans = 4) {
    Block block(ImageProps(120, ascans, static_cast<int>(samples.size())));
    for (std::size_t z = 0; z < samples.size(); ++z)
        if (samples[z] > 0) Pulse(block, z, samples[z]);
    return block;
}

// The rounded centroid of the first run of two or more, from sample 2 to sample 97.
int NaiveArrival(const std::vector<float>& ascan, float threshold) {
    const auto below = [&](std::size_t k) { return k < 98 && k < ascan.size() && ascan[k] < threshold; };
    for (std::size_t k = 2; k < ascan.size(); ++k) {
        if (!below(k) || !below(k + 1)) continue;
        float moments = 0, weights = 0;
        for (; below(k); ++k) {
            moments += k * std::sqrt(std::abs(ascan[k]));
            weights += std::sqrt(std::abs(ascan[k]));
        }
        return static_cast<int>(moments / weights + 0.5f);
    }
    return 0;
}

} // namespace

TEST_F(TimeZeroDetection, ShiftsLikeThePlainLoopOnShortAndLongAscans) {
    Noise noise(3);
    for (int run = 0; run < 200; ++run) {
        const int samples = std::vector<int>{30, 97, 98, 99, 130}[run % 5];
        Block in(ImageProps(samples, 3, 7)), expected(in.props); // equal A-scans
        Shifts raw(7), shift(7);
        for (int z = 0; z < 7; ++z) { // a broad lobe somewhere with gaps and single samples, or hardly one
            const int start = static_cast<int>((noise() + 1) / 2 * (samples - 3));
            const int end = std::min(samples, start + static_cast<int>(6 * (noise() + 1)));
            for (int s = 0; s < samples; ++s) {
                const bool lobe = s >= start && s < end && noise() > -0.8;
                in.At(s, 0, z) = in.At(s, 1, z) = in.At(s, 2, z) = lobe ? -8000 + 4500 * noise() : 3000 * noise();
            }
            const int arrival = NaiveArrival({&in.At(0, 0, z), &in.At(0, 1, z)}, -4000);
            raw[z] = arrival > 0 ? arrival : 24;
        }
        for (const int z : {1, 3, 5}) raw[z] = (raw[z - 1] + raw[z + 1]) / 2;
        for (int z = 0; z < 7; ++z) {
            shift[z] = std::max(0, raw[z] - (z % 5 % 2 == 1 ? 2 : 3));
            for (int y = 0; y < 3; ++y)
                std::copy(&in.At(shift[z], y, z), &in.At(0, y, z) + samples, &expected.At(0, y, z));
        }
        AlgoTimeZeroDetection algo;
        EXPECT_EQ(ShiftsOf(in), shift);
        EXPECT_EQ(Executed(algo, in).data, expected.data);
        EXPECT_EQ(algo.GetNewOutProps().samplesPerAscan, samples - *std::max_element(shift.begin(), shift.end()));
    }
}

TEST_F(TimeZeroDetection, TakesTheCentroidOfTheFirstRunWithRootWeights) {
    Offsets("'TX1RX1': 0");
    const auto first = [&](const std::vector<std::pair<int, float>>& values) {
        Block block = Pulses({0, 40, 40, 40, 40});
        for (const auto& [sample, value] : values)
            for (int y = 0; y < 4; ++y) block.At(sample, y, 0) = value;
        return ShiftsOf(block)[0];
    };
    EXPECT_EQ(first({{2, -5000}, {3, -5000}}), 3);                  // 2.5 is rounded up
    EXPECT_EQ(first({{1, -5000}, {2, -5000}, {4, -5000}}), 24);     // the walk begins with sample 2
    EXPECT_EQ(first({{10, -5000}, {20, -6400}, {21, -57600}}), 21); // 20.75, squares in the ratio of 1 to 9
    EXPECT_EQ(first({{96, -6400}, {97, -6400}, {98, -6400}}), 97);  // and ends with sample 97
    EXPECT_EQ(first({{97, -5000}, {98, -5000}}), 24);
    EXPECT_EQ(first({{20, -4000}, {21, -4000}}), 24);                  // not below the threshold
    EXPECT_EQ(first({{20, -5000}, {21, NAN}, {22, -5000}}), 24);       // a NaN interrupts a run
    EXPECT_EQ(first({{20, -5000}, {21, -INFINITY}, {22, -5000}}), 24); // no centroid
}

TEST_F(TimeZeroDetection, DecidesFromTheValidAscans) {
    Block block = Pulses({50, 0, 50, 0, 50}, 9);
    EXPECT_EQ(ShiftsOf(block), (Shifts{47, 48, 47, 48, 47}));
    for (const int y : {0, 4}) Pulse(block, 0, 50, 0, y);
    Pulse(block, 0, 60, -10000, 2);
    EXPECT_EQ(ShiftsOf(block)[0], 47); // 2 of 9 missing: 0 0 50 50 50 50 50 50 50
    Pulse(block, 0, 50, 0, 8);
    EXPECT_EQ(ShiftsOf(block), (Shifts{21, 35, 47, 48, 47})); // 3 of 9: default 24, which its neighbour averages
    block.props.bscanInfo[2] = {5, 2};
    EXPECT_EQ(ShiftsOf(block)[2], 21);    // two A-scans never do
    block.props.bscanInfo[2] = {-5, 100}; // as good as all
    EXPECT_EQ(ShiftsOf(block)[2], 47);
    block.props.bscanInfo.resize(2); // no entry, no valid A-scan
    EXPECT_EQ(ShiftsOf(block), (Shifts{21, 0, 0, 0, 0}));
}

TEST_F(TimeZeroDetection, BistaticBscansAverageRawIndices) {
    EXPECT_EQ(ShiftsOf(Pulses({21, 0, 24, 0, 40})), (Shifts{18, 20, 21, 30, 37})); // 22.5 is 22
    Offsets("'TX1RX1': -90");
    EXPECT_EQ(ShiftsOf(Pulses({21, 0, 24, 0, 40}))[1], 20); // the shift of 0 beside it doesn't count
    Offsets("'TX2RX1': 7");
    Block block = Pulses({21, 0, 24, 0, 40});
    block.props.bscanInfo[0] = BscanInfo();
    EXPECT_EQ(ShiftsOf(block), (Shifts{0, 7, 21, 30, 37})); // raw index 0, no default
    Offsets("'TX1RX1': 1, 'TX2RX1': 2, 'TX2RX2': 3, 'TX2RX3': 4, 'TX3RX3': 5");
    EXPECT_EQ(ShiftsOf(Pulses({20, 0, 20, 0, 20, 0, 20})), (Shifts{21, 22, 23, 24, 25, 21, 22}));
}

TEST_F(TimeZeroDetection, TheThresholdFollowsDigitiserAndDocument) {
    const auto expectThreshold = [&](const std::string& keys, const std::string& global, float threshold) {
        Configure(keys, global);
        Block block = Pulses({50, 0, 50, 0, 50});
        Pulse(block, 0, 50, threshold);
        EXPECT_EQ(ShiftsOf(block)[0], 21) << keys; // not below it: the default index
        Pulse(block, 0, 50, std::nextafter(threshold, -INFINITY));
        EXPECT_EQ(ShiftsOf(block)[0], 47) << keys;
    };
    expectThreshold("", "", -4000);
    expectThreshold("'NegADCThreshold': 5000", "", -5000);
    expectThreshold("'NegADCThreshold': 0", "", -1);
    expectThreshold("'NegADCThreshold': -5000.0", "", -4000); // no integer
    expectThreshold("'NegADCThreshold': -40000", "", -32768);
    expectThreshold("'NegADCThreshold': -40000", "'ADBitResolution': 8", -8192);
    expectThreshold("'NegADCThreshold': -2147483648", "'ADBitResolution': 40", -2147483648.f);
}

TEST_F(TimeZeroDetection, ReadsTheOffsetsOfTheRecordedDirection) {
    const std::string offsets = "'ChannelOffsets': {'TX1RX1': 1, 'TX1RX2': 2, 'TX2RX1': 3, 'TX2RX2': true, "
                                "'TX2RX3': 4, 'TX3RX2': 5, 'TX3RX3': 6, 'DefaultTimeZeroIndex': 10}, "
                                "'DefaultTimeZeroIndex': 99";
    const Block silent = Pulses({0, 0, 0, 0, 0});
    Configure(offsets);
    EXPECT_EQ(ShiftsOf(silent), (Shifts{11, 13, 7, 14, 16}));
    Configure(offsets, "'BistaticOptions': {'UseTX1RX2': true, 'UseTX3RX2': true}");
    EXPECT_EQ(ShiftsOf(silent), (Shifts{11, 12, 7, 15, 16}));
    Configure("'ChannelOffsets': {'TX1RX2': -3000000000, 'TX2RX1': 3}"); // the other direction isn't even converted
    EXPECT_EQ(ShiftsOf(silent), (Shifts{21, 27, 21, 22, 21}));
    statics.Configure("");
    AlgoTimeZeroDetection algo;
    Executed(algo, silent); // the document's values are gone
    EXPECT_EQ(algo.GetNewOutProps().samplesPerAscan, 120 - 22);
}

TEST_F(TimeZeroDetection, LogsOneLineIfBothSwitchesAreOn) {
    AlgoTimeZeroDetection algo;
    Executed(algo, Pulses({21, 0, 24, 0, 40}));
    const std::string line = statics.Log();
    EXPECT_EQ(line.substr(line.find("): ") + 3), "TimeZeroDetection: detected time zero indices (incl. offset): ch1 -> "
                                                 "18; ch2 -> 20; ch3 -> 21; ch4 -> 30; ch5 -> 37; \n");
    algo.GetParams().enableLogging = false;
    Executed(algo, Pulses({21, 0, 24, 0, 40}));
    statics.Configure("");
    Executed(AlgoTimeZeroDetection(), Pulses({21, 0, 24, 0, 40}));
    EXPECT_EQ(statics.Log(), line);
}

TEST_F(TimeZeroDetection, WithoutAShiftTheBlockPassesAndWithOneEmptyBscansAreZero) {
    Offsets("'TX2RX1': -3, 'TX2RX3': -3");
    Block block = Pulses({3, 3, 3, 3, 3});
    block.props.bscanInfo[1] = BscanInfo();
    ImageProps outProps(77, 4, 5);
    Block out(block.props, NAN);
    AlgoTimeZeroDetection algo;
    algo.Execute(block.data.data(), block.props, out.data.data(), outProps);
    EXPECT_EQ(out.data, block.data);
    EXPECT_EQ(algo.GetNewOutProps().samplesPerAscan, 77);
    Pulse(block, 4, 3, 0);
    Pulse(block, 4, 9);
    algo.Execute(block.data.data(), block.props, out.data.data(), outProps);
    EXPECT_EQ(Peak(out, 1).magnitude, 0.f);
    EXPECT_EQ(out.At(2, 0, 2), -10000.f); // raw index 3, shift 0
    EXPECT_EQ(algo.GetNewOutProps().samplesPerAscan, 120 - 6);
    EXPECT_EQ(Executed(AlgoTimeZeroDetection(algo), block).data, out.data); // a copy has tuning values of its own
}

TEST_F(TimeZeroDetection, RefusesAShiftToTheEndOfTheAscanOnAnyNumberOfThreads) {
    const Block in(ImageProps(30, 4, 35)), untouched(in.props, 7.f);
    for (const int threads : {1, 2, 8})
        for (const char* offset : {"'DefaultTimeZeroIndex': 33", "'TX3RX3': 2147483647", "'TX2RX1': 6"}) {
            Offsets(offset);
            Block out = untouched;
            AlgoTimeZeroDetection algo;
            const auto execute = [&] { algo.Execute(in.data.data(), in.props, out.data.data(), out.props); };
            EXPECT_EQ(OnThreads(threads, [&] { return Failure(execute); }), "99/-2 Index exceeds IPP::Array2D bounds");
            EXPECT_EQ(out.data, untouched.data);
            EXPECT_EQ(algo.GetNewOutProps().samplesPerAscan, 30);
        }
}

#include "Framework/AlgoBase.h"

#include <memory>

#include <gtest/gtest.h>

#include "Framework/Algo.h"
#include "Framework/AlgoJsonParamsBase.h"
#include "Framework/CalcError.h"
#include "Framework/Channels.h"

namespace TZM {
namespace {

int CodeFor(int bscans) {
    try {
        GetChannelCount(bscans);
    } catch (const Exception::CalcError& error) {
        EXPECT_EQ(error.GetMessage(), "TZM::Exception::unexpectedBscanCount");
        EXPECT_EQ(error.GetIppException().GetStatus(), 0);
        EXPECT_EQ(error.GetIppException().GetMessage(), "");
        return error.GetCode();
    }
    return 0;
}

/// Counts its living tuning objects, of both kinds of ownership.
struct CountingAlgo : Algo<AlgoParamBase> {
    struct Tuning : AlgoJsonParamsBase<CountingAlgo> {
        static int living;
        Tuning(const CountingAlgo* owner, const std::string& document) : AlgoJsonParamsBase(owner, document) {
            if (document == "fails") throw std::bad_alloc();
            ++living;
        }
        ~Tuning() override { --living; }
    };
    using Algo::Algo;
    mutable OwnedParams<Tuning> owned;
    mutable std::shared_ptr<Tuning> shared;
    void Execute(const float*, const ImageProps&, float*, const ImageProps&) const override {
        owned.Rebuild(this, GetConfigString());
        shared = std::make_shared<Tuning>(this, GetConfigString());
    }
};
int CountingAlgo::Tuning::living = 0;

TEST(ImageProps, CountsEveryAscanOfANewBlockAsValid) {
    const ImageProps props(8, 4, 3);
    ASSERT_EQ(props.bscanInfo.size(), 3u);
    for (const BscanInfo& info : props.bscanInfo) {
        EXPECT_EQ(info.firstValidIdx, 0);
        EXPECT_EQ(info.validLen, 4);
    }
    EXPECT_TRUE(ImageProps(8, 4, 0).bscanInfo.empty());
    EXPECT_TRUE(ImageProps(8, 4, -2).bscanInfo.empty());
    EXPECT_EQ(BscanInfo().firstValidIdx, -1);
    EXPECT_EQ(BscanInfo().validLen, 0);
}

TEST(Channels, AreFiveOrSeven) {
    for (const int bscans : {5, 10, 35, 0}) EXPECT_EQ(GetChannelCount(bscans), 5);
    for (const int bscans : {7, 14, 21}) EXPECT_EQ(GetChannelCount(bscans), 7);
    for (const int bscans : {1, 6, 12, -1}) EXPECT_EQ(CodeFor(bscans), -11);
}

TEST(CalcError, CarriesTheFailureOfTheArrayLayer) {
    const Exception::CalcError error(IPP::Exception(3, "IPP::Exception::ippsAny"));
    const Exception::CalcError copy = error;
    EXPECT_EQ(copy.GetCode(), 99);
    EXPECT_EQ(copy.GetMessage(), "IPP::Exception::ippsAny");
    EXPECT_EQ(copy.GetIppException().GetStatus(), 3);
    EXPECT_STREQ(copy.what(), std::exception().what());
}

TEST(AlgoBase, LeavesBlockAndDimensionsAlone) {
    ImageProps props(2, 3, 1);
    props.bscanInfo[0] = {1, 2};
    const float in[6] = {1, 2, 3, 4, 5, 6};
    float out[6] = {7, 7, 7, 7, 7, 7};
    AlgoBase algo;
    algo.Execute(in, props, out, props);
    algo.ParseParamsFromJsonConfig();
    for (const float value : out) EXPECT_EQ(value, 7);
    const ImageProps adjusted = algo.GetAdjustedImageDimensions(props);
    EXPECT_EQ(adjusted.ascansPerBscan, 3);
    EXPECT_EQ(adjusted.bscanInfo[0].firstValidIdx, 1);
    EXPECT_EQ(AlgoBase::GetGlobalSettings().delta_t, 5e-11f);
    EXPECT_EQ(AlgoBase::GetGlobalSettings().delta_x, 0.005f);
}

TEST(AlgoJsonParams, ACopiedAlgorithmReleasesNothingTwice) {
    {
        CountingAlgo algo("Counting");
        algo.Execute(nullptr, {}, nullptr, {});
        EXPECT_EQ(algo.owned.Get()->algo, &algo);
        CountingAlgo copy = algo;
        EXPECT_EQ(copy.GetLogPrefix(), "Counting");
        EXPECT_EQ(copy.owned.Get(), nullptr);
        EXPECT_EQ(copy.shared, algo.shared);
        copy.Execute(nullptr, {}, nullptr, {});
        copy = algo;
        EXPECT_EQ(copy.owned.Get()->algo, &copy);
        EXPECT_EQ(CountingAlgo::Tuning::living, 3);
        EXPECT_THROW(algo.owned.Rebuild(&algo, "fails"), std::bad_alloc);
        EXPECT_EQ(algo.owned.Get(), nullptr);
    }
    EXPECT_EQ(CountingAlgo::Tuning::living, 0);
}

} // namespace
} // namespace TZM

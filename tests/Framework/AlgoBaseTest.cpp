#include "Framework/AlgoBase.h"

#include <memory>

#include "Framework/Algo.h"
#include "Framework/AlgoJsonParamsBase.h"
#include "Framework/Channels.h"
#include "support/Failure.h"
#include "support/FreshStatics.h"
#include "support/Scenes.h"

namespace TZM {
namespace {

/// Counts its living tuning objects, of both kinds of ownership.
struct CountingAlgo : Algo<AlgoParamBase> {
    struct Tuning : AlgoJsonParamsBase<CountingAlgo> {
        static inline int living = 0;
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

TEST(ImageProps, CountsEveryAscanOfANewBlockAsValid) {
    EXPECT_EQ(Flat(ImageProps(8, 4, 2)), (std::vector<int>{8, 4, 2, 0, 4, 0, 4}));
    EXPECT_EQ(Flat(ImageProps(8, 4, -2)), (std::vector<int>{8, 4, -2}));
    EXPECT_EQ(BscanInfo().firstValidIdx, -1);
    EXPECT_EQ(BscanInfo().validLen, 0);
}

TEST(Channels, AreFiveOrSeven) {
    for (const int bscans : {5, 10, 35, 0}) EXPECT_EQ(GetChannelCount(bscans), 5);
    for (const int bscans : {7, 14, 21}) EXPECT_EQ(GetChannelCount(bscans), 7);
    for (const int bscans : {1, 6, 12, -1})
        EXPECT_EQ(Failure([&] { GetChannelCount(bscans); }), "-11/0 TZM::Exception::unexpectedBscanCount");
}

TEST(AlgoBase, LeavesBlockAndDimensionsAlone) {
    const FreshStatics statics;
    Block in = NoiseBlock(2, 3, 1);
    in.props.bscanInfo[0] = {1, 2};
    Block out(in.props, 7);
    AlgoBase algo;
    algo.Execute(in.data.data(), in.props, out.data.data(), out.props);
    algo.ParseParamsFromJsonConfig();
    EXPECT_EQ(out.data, std::vector<float>(6, 7));
    EXPECT_EQ(Flat(algo.GetAdjustedImageDimensions(in.props)), (std::vector<int>{2, 3, 1, 1, 2}));
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

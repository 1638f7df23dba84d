#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "Framework/Algo.h"

namespace TZM {
namespace {

struct TwoParams : AlgoParamBase {
    TwoParams() : TwoParams(true, 1, 30, 0.5f) {}
    TwoParams(bool logs, int level, int height_, float width_)
        : AlgoParamBase(logs, level), height(height_, &prmListener), width(width_, &prmListener) {}
    Prm<int> height;
    Prm<float> width;
};

/// Keeps what the struct held each time it was told.
struct Observer : AlgoParamBase::Listener {
    explicit Observer(const TwoParams& params) : observed(&params) {}
    void Notify() override { seen.emplace_back(observed->height, observed->width); }
    const TwoParams* observed;
    std::vector<std::pair<int, float>> seen;
};

TEST(Params, NotifyOfAValueThatDiffers) {
    TwoParams params;
    Observer observer(params);
    for (AlgoParamBase::Listener* listener : {&observer, &observer, static_cast<Observer*>(nullptr)})
        params.AddListener(listener);
    params.height = 30;
    params.height = Prm<int>(31, nullptr); // from another Prm: told even if it is the same
    params.height = Prm<int>(31, nullptr);
    EXPECT_EQ(observer.seen, (std::vector<std::pair<int, float>>{{31, 0.5f}, {31, 0.5f}}));
    params.width = std::numeric_limits<float>::quiet_NaN(); // differs from everything, itself included
    params.width = params.width.value;
    EXPECT_EQ(observer.seen.size(), 4u);
    params.RemoveListener(&observer);
    params.height = 5;
    EXPECT_EQ(observer.seen.size(), 4u);
}

TEST(Params, ACopyKeepsValuesAndObserversButNotifiesNobody) {
    TwoParams source(false, 3, 10, 2.f);
    Observer observer(source);
    source.AddListener(&observer);
    TwoParams copy = source;
    EXPECT_TRUE(!copy.enableLogging && copy.loggingLevel == 3 && copy.height == 10 && copy.width == 2.f);
    copy.height = 11;
    EXPECT_TRUE(observer.seen.empty());
    copy.prmListener.Notify(); // bound to the copy and its set
    EXPECT_EQ(observer.seen.size(), 1u);
    copy.listeners.clear();
    copy.prmListener.Notify();
    EXPECT_EQ(observer.seen.size(), 1u);
}

TEST(Params, AnAssignmentTakesTheObserversAndNotifiesPerParameterInOrder) {
    TwoParams source(false, 7, 1, 2.f), target;
    Observer old(target), taken(target);
    target.AddListener(&old);
    source.AddListener(&taken);
    target = source;
    EXPECT_TRUE(old.seen.empty());
    EXPECT_EQ(target.loggingLevel, 7);
    EXPECT_EQ(taken.seen, (std::vector<std::pair<int, float>>{{1, 0.5f}, {1, 2.f}}));
    source = *&source; // to itself: both Prm of the source notify, the observers stay
    EXPECT_EQ(taken.seen.size(), 4u);
    EXPECT_EQ(source.listeners.size(), 1u);
}

TEST(Params, SetupWithEqualValuesStillNotifiesOncePerParameter) {
    Algo<TwoParams> algo("Any");
    TwoParams params;
    Observer observer(algo.GetParams());
    params.AddListener(&observer);
    algo.Setup(params);
    EXPECT_EQ(observer.seen.size(), 2u);
}

TEST(Params, ObserversAreToldInTheOrderOfTheirPointersAndMayLeaveMeanwhile) {
    struct Leaving : AlgoParamBase::Listener {
        void Notify() override {
            told = true;
            params->RemoveListener(this);
            params->RemoveListener(this + 1); // the last removes nobody
        }
        TwoParams* params;
        bool told = false;
    };
    TwoParams params;
    Leaving observers[4];
    for (Leaving& observer : observers) {
        observer.params = &params;
        if (&observer != &observers[3]) params.AddListener(&observer);
    }
    params.height = 1;
    EXPECT_TRUE(observers[0].told && !observers[1].told && observers[2].told);
    EXPECT_TRUE(params.listeners.empty());
}

} // namespace
} // namespace TZM

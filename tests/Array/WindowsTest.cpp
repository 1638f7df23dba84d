#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "Array/Primitives/Checked.h"
#include "support/Near.h"

using namespace IPP;

namespace {

constexpr double kPi = 3.14159265358979323846;

using Primitive = std::function<IppStatus(float*, int)>;

std::vector<float> Window(const Primitive& apply, int len) {
    std::vector<float> w(len, 1.f);
    EXPECT_EQ(apply(w.data(), len), 0);
    return w;
}

Primitive Blackman(float alpha) {
    return [alpha](float* w, int len) { return ippsWinBlackman_32f_I(w, len, alpha); };
}

Primitive Kaiser(float alpha) {
    return [alpha](float* w, int len) { return ippsWinKaiser_32f_I(w, len, alpha); };
}

double ReferenceI0(double x) { // (1 / pi) integral over 0 .. pi of exp(x cos t); the mean converges exponentially
    double sum = 0;
    for (int k = 0; k < 400; ++k) sum += std::exp(x * std::cos(kPi * (k + 0.5) / 400));
    return sum / 400;
}

} // namespace

TEST(Windows, FollowTheirFormulaSymmetrically) {
    for (const int len : {3, 4, 5, 64, 301}) {
        const auto expectFormula = [len](const Primitive& apply, const std::function<double(double, double)>& formula) {
            const std::vector<float> w = Window(apply, len);
            for (int n = 0; n < len; ++n) {
                const double expected = formula(2 * kPi * n / (len - 1), (2. * n - len + 1) / (len - 1));
                EXPECT_NEAR(w[n], expected, kFloatEpsilon) << "element " << n << " of " << len;
                EXPECT_EQ(w[n], w[len - 1 - n]);
            }
        };
        expectFormula(ippsWinHamming_32f_I, [](double t, double) { return 0.54 - 0.46 * std::cos(t); });
        expectFormula(ippsWinHann_32f_I, [](double t, double) { return 0.5 - 0.5 * std::cos(t); });
        expectFormula(ippsWinBartlett_32f_I, [](double, double x) { return 1 - std::fabs(x); });
        expectFormula(Blackman(-0.16f), [](double t, double) {
            const double alpha = -0.16f;
            return (alpha + 1) / 2 - 0.5 * std::cos(t) - alpha / 2 * std::cos(2 * t);
        });
        const float alpha = -38.f * 2 / static_cast<float>(len); // b a little below 38, and the sign doesn't count
        expectFormula(Kaiser(alpha), [=](double, double x) {
            const double b = std::fabs(static_cast<double>(alpha)) * (len - 1) / 2;
            return ReferenceI0(b * std::sqrt(1 - x * x)) / ReferenceI0(b);
        });
    }
}

TEST(Windows, HaveExactEndsAndMiddles) {
    EXPECT_EQ(Window(ippsWinHamming_32f_I, 3), (std::vector<float>{0.08f, 1, 0.08f}));
    for (const Primitive& p : {Primitive(ippsWinHann_32f_I), Primitive(ippsWinBartlett_32f_I), Blackman(1e-20f)})
        EXPECT_EQ(Window(p, 3), (std::vector<float>{0, 1, 0}));
    EXPECT_EQ(Window(Kaiser(0), 2), (std::vector<float>{1, 1}));
}

TEST(Windows, RefuseWhatTheyCannotShape) {
    float x[3] = {7, 7, 7};
    for (const Primitive& p : {Primitive(ippsWinHamming_32f_I), Primitive(ippsWinHann_32f_I),
                               Primitive(ippsWinBartlett_32f_I), Blackman(-0.16f)}) {
        EXPECT_EQ(p(x, 2), -6);
        EXPECT_EQ(p(nullptr, 2), -8);
    }
    EXPECT_EQ(Kaiser(1)(nullptr, 3), -8);
    EXPECT_EQ(Kaiser(1)(x, 0), -6);
    EXPECT_EQ(Kaiser(38.1f)(x, 3), -39);
    EXPECT_EQ(Kaiser(NAN)(x, 3), -39);
    EXPECT_EQ(Kaiser(1000)(x, 1), 0); // a single element is left alone
    EXPECT_EQ(std::vector<float>(x, x + 3), std::vector<float>(3, 7));
    EXPECT_EQ(Kaiser(38)(x, 3), 0);
    EXPECT_EQ(x[1], 7.f);
    EXPECT_GT(x[0], 0.f);
}

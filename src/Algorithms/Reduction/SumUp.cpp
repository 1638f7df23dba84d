#include "Algorithms/Reduction/SumUp.h"

#include <algorithm>

#include "Array/Array2D.h"
#include "Array/Simd/Dispatch.h"
#include "Array/SlidingWindow.h"
#include "Framework/private/JsonKeys.h"

namespace TZM {

const int AlgoParamSumUp::defaultThickness = 0;
const bool AlgoParamSumUp::defaultUseMax = true;

AlgoParamSumUp::AlgoParamSumUp() : AlgoParamSumUp(true, 1, defaultThickness, defaultUseMax) {}

AlgoParamSumUp::AlgoParamSumUp(bool logging, int level, int thickness, bool max)
    : AlgoParamBase(logging, level), Thickness(thickness, &prmListener), UseMax(max, &prmListener) {}

namespace {

const std::vector<JsonSection<AlgoParamSumUp>>& Sections() {
    using P = AlgoParamSumUp;
    static const std::vector<JsonSection<P>> sections{
        {{kOwnSection}, {Integral("Thickness", &P::Thickness), Boolean("UseMax", &P::UseMax)}}};
    return sections;
}

} // namespace

std::vector<JsonKeyInfo> DescribeSumUpKeys(const std::string& algoName) {
    return DescribeKeys(algoName, Sections(), AlgoParamSumUp());
}

void ReadSumUpKeys(const char* operation, const std::string& algoName, AlgoParamSumUp& params) {
    ReadDocument(operation, [&](const Json::Value& root) { ReadSections(root, algoName, Sections(), params); });
}

SumUpWindow::SumUpWindow(int itemCount, int itemWidth, int windowLength, int itemsBefore, bool max)
    : count(itemCount), width(itemWidth), length(windowLength), before(itemsBefore), useMax(max) {}

int SumUpWindow::WorkSize() const { return IPP::Detail::OwnedCount(2 * width, count + length); }

// Zeros stand for what the windows at the ends lack: they add nothing, and no magnitude is below them. A NaN is as good
// as 0 for a maximum unless it is the first of a window, since no comparison with it holds.
void SumUpWindow::Reduce(const float* in, std::ptrdiff_t inStep, float* out, std::ptrdiff_t outStep,
                         float* work) const {
    const auto& kernels = IPP::Simd::Active();
    const int padded = count + length - 1;
    float* const values = work;
    float* const results = useMax ? values : values + std::ptrdiff_t{padded} * width;
    float* const body = values + std::ptrdiff_t{before} * width;
    std::fill(values, body, 0.f);
    std::fill(body + std::ptrdiff_t{count} * width, values + std::ptrdiff_t{padded} * width, 0.f);
    for (int i = 0; i < count; ++i) {
        const float* item = in + i * inStep;
        float* value = body + std::ptrdiff_t{i} * width;
        if (useMax)
            kernels.numbers(item, value, width);
        else
            kernels.product(item, item, value, width);
    }
    if (useMax)
        IPP::WindowPeaks(values, padded, width, length);
    else
        IPP::WindowSums(values, padded, width, length, results);
    for (int i = 0; i < count; ++i) {
        const int low = std::max(i - before, 0), n = std::min(i - before + length, count) - low;
        const float* result = results + std::ptrdiff_t{i} * width;
        if (useMax)
            kernels.larger(in + low * inStep, result, out + i * outStep, width);
        else if (n > 1)
            kernels.rootMeans(result, static_cast<float>(n), out + i * outStep, width);
        else
            std::copy_n(in + i * inStep, width, out + i * outStep);
    }
}

} // namespace TZM

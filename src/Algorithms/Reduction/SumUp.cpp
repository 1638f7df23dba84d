#include "Algorithms/Reduction/SumUp.h"

#include <algorithm>
#include <cmath>

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
    float* const body = values + std::ptrdiff_t{before} * width;
    std::fill(values, body, 0.f);
    std::fill(body + std::ptrdiff_t{count} * width, values + std::ptrdiff_t{padded} * width, 0.f);
    // Items that follow each other in all places are one long item.
    const bool contiguous = inStep == width && outStep == width;
    const auto forItems = [&](int from, int to, const auto& apply) {
        if (contiguous && from < to)
            apply(from, (to - from) * width);
        else
            for (int i = from; i < to; ++i) apply(i, width);
    };
    forItems(0, count, [&](int i, int floats) {
        const float* item = in + i * inStep;
        float* value = body + std::ptrdiff_t{i} * width;
        if (useMax)
            kernels.numbers(item, value, floats);
        else
            kernels.product(item, item, value, floats);
    });
    float* results = values;
    if (useMax)
        IPP::WindowPeaks(values, padded, width, length);
    else
        results = IPP::WindowSums(values, values + std::ptrdiff_t{padded} * width, padded, width, length);
    const auto result = [&](int i) { return results + std::ptrdiff_t{i} * width; };
    if (useMax) {
        for (int i = 0; i < std::min(before, count); ++i) kernels.larger(in, result(i), out + i * outStep, width);
        forItems(before, count, [&](int i, int floats) {
            kernels.larger(in + (i - before) * inStep, result(i), out + i * outStep, floats);
        });
        return;
    }
    const int whole = std::max(before, count - length + before + 1); // behind the last window that isn't cut
    const auto cut = [&](int i) {
        const int n = std::min(i - before + length, count) - std::max(i - before, 0);
        const float *sums = result(i), *item = in + i * inStep;
        for (int k = 0; k < width; ++k)
            out[i * outStep + k] = n > 1 ? std::sqrt(sums[k] / static_cast<float>(n)) : item[k];
    };
    for (int i = 0; i < std::min(before, count); ++i) cut(i);
    forItems(before, whole, [&](int i, int floats) {
        kernels.rootMeans(result(i), static_cast<float>(length), out + i * outStep, floats);
    });
    for (int i = whole; i < count; ++i) cut(i);
}

} // namespace TZM

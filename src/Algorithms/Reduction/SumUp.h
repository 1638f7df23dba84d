#pragma once

#include <vector>

#include "Framework/AlgoBase.h"
#include "Framework/AlgoParamBase.h"
#include "Framework/JsonKeyInfo.h"
#include "Framework/Prm.h"

namespace TZM {

/// Parameters of a sum-up, which merges each point of a block with its neighbours.
struct TZM_EXPORT AlgoParamSumUp : AlgoParamBase {
    static const int defaultThickness; ///< 0
    static const bool defaultUseMax;   ///< true

    AlgoParamSumUp();
    AlgoParamSumUp(bool enableLogging, int loggingLevel, int thickness, bool useMax);

    Prm<int> Thickness; ///< points of a window, limited to 1 .. what the direction has; 1 changes nothing
    Prm<bool> UseMax;   ///< the value of largest magnitude, with its sign; else the root mean square
};

/// The keys of an algorithm of that name.
TZM_EXPORT std::vector<JsonKeyInfo> DescribeSumUpKeys(const std::string& algoName);

/// Reads them. \param operation what an error in the log begins with
void ReadSumUpKeys(const char* operation, const std::string& algoName, AlgoParamSumUp& params);

/// What a sum-up makes of a sequence of `count` items of `width` floats each, which are treated alike.
class SumUpWindow {
public:
    /// The window of item i holds the items i - before .. i - before + length - 1 that exist; length is at least 2.
    SumUpWindow(int count, int width, int length, int before, bool useMax);

    /// Floats of work memory.
    int WorkSize() const;

    /// Item i of the input stands at in + i * inStep, of the output at out + i * outStep.
    void Reduce(const float* in, std::ptrdiff_t inStep, float* out, std::ptrdiff_t outStep, float* work) const;

private:
    int count, width, length, before;
    bool useMax;
};

} // namespace TZM

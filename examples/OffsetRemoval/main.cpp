// The smallest host: one algorithm on one block, with the failures that it can meet.
#include <cstdio>
#include <new>
#include <vector>

#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"
#include "Framework/CalcError.h"

int main() {
    const TZM::ImageProps props(4, 2, 1); // samples per A-scan, A-scans per B-scan, B-scans
    const std::vector<float> in{1, 2, 3, 6, 10, 10, 10, 10};
    std::vector<float> out(in.size());

    const TZM::AlgoAscanOffsetRemoval offsetRemoval;
    try {
        offsetRemoval.Execute(in.data(), props, out.data(), offsetRemoval.GetAdjustedImageDimensions(props));
    } catch (const TZM::Exception::CalcError& failure) {
        std::fprintf(stderr, "failed with code %d: %s\n", failure.GetCode(), failure.GetMessage().c_str());
        return 1;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "out of memory\n");
        return 1;
    }
    for (int y = 0; y < props.ascansPerBscan; ++y) {
        for (int s = 0; s < props.samplesPerAscan; ++s) std::printf("%6.2f", out[y * props.samplesPerAscan + s]);
        std::printf("\n");
    }

    try { // an empty block is refused
        offsetRemoval.Execute(in.data(), TZM::ImageProps(0, 2, 1), out.data(), TZM::ImageProps(0, 2, 1));
    } catch (const TZM::Exception::CalcError& failure) {
        std::printf("refused with code %d: %s\n", failure.GetCode(), failure.GetMessage().c_str());
        return out[0] == -2.f && out[3] == 3.f && out[7] == 0.f && failure.GetCode() == 99 ? 0 : 1;
    }
    return 1;
}

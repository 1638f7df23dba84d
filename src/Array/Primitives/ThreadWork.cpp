#include "Array/Primitives/ThreadWork.h"

#include <climits>

#include "Array/Primitives/Ipps.h"

namespace IPP {

namespace {

/// The block that a thread keeps.
struct KeptBlock {
    ~KeptBlock() { ippsFree(data); }
    float* data = nullptr;
    Index floats = 0;
    bool used = false;
};
thread_local KeptBlock keptBlock;

float* Allocate(Index floats) {
    const Index doubles = floats / 2 + 1;
    return doubles > INT_MAX ? nullptr : reinterpret_cast<float*>(ippsMalloc_64f(int(doubles)));
}

} // namespace

ThreadWork::ThreadWork(Index floats) {
    constexpr Index kMostKept = 16 << 20;
    if (keptBlock.used || floats > kMostKept) {
        data = Allocate(floats);
        return;
    }
    if (keptBlock.floats < floats) {
        ippsFree(keptBlock.data);
        keptBlock.data = Allocate(floats);
        keptBlock.floats = keptBlock.data ? floats : 0;
    }
    data = keptBlock.data;
    kept = keptBlock.used = data != nullptr;
}

ThreadWork::~ThreadWork() { kept ? void(keptBlock.used = false) : ippsFree(data); }

} // namespace IPP

#pragma once

#include "Array/Simd/FftKernels.h"

namespace IPP {

using Simd::Index;

/// Work memory of the calling thread: its kept block if that is free and the need is moderate, else an area of its
/// own. First touch of fresh memory costs more than a transform, therefore a thread keeps a block of at most 64 MiB
/// until it ends.
class ThreadWork {
public:
    explicit ThreadWork(Index floats);
    ~ThreadWork();
    ThreadWork(const ThreadWork&) = delete;
    ThreadWork& operator=(const ThreadWork&) = delete;

    float* Get() const { return data; } ///< null when memory is out

private:
    float* data = nullptr;
    bool kept = false;
};

} // namespace IPP

#pragma once

#include "Recording/Recording.h"

namespace TZM {

/// While one lives, AllocateSamples takes the memory of blocks that were released over for others: the first touch of
/// new memory costs more than most steps of a chain. The last one releases what is left.
class TZM_EXPORT SpareBlocks {
public:
    SpareBlocks();
    ~SpareBlocks();
    SpareBlocks(const SpareBlocks&) = delete;
    SpareBlocks& operator=(const SpareBlocks&) = delete;
};

} // namespace TZM

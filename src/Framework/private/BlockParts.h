#pragma once

#include <cstdint>
#include <stdexcept>

#include "Framework/BlockCoupling.h"
#include "Framework/Channels.h"

namespace TZM {

/// The part that is the whole block.
inline BlockPart WholeBlock(const ImageProps& props) { return {0, props.bscanCount}; }

/// std::invalid_argument unless the part is a run of groups of so many B-scans of its block.
inline void RequirePart(const BlockPart& part, const ImageProps& partProps, int group = 1) {
    const std::int64_t first = part.firstBscan, count = partProps.bscanCount;
    if (first < 0 || count < 0 || first + count > part.blockBscans)
        throw std::invalid_argument("The part lies outside its block");
    if (first % group != 0 || count % group != 0)
        throw std::invalid_argument("The part cuts through a group of channels");
}

/// Channels of the block that a part belongs to, of which it holds whole groups. CalcError -11, or as above.
inline int ChannelsOfPart(const BlockPart& part, const ImageProps& partProps) {
    const int channels = GetChannelCount(part.blockBscans);
    RequirePart(part, partProps, channels);
    return channels;
}

} // namespace TZM

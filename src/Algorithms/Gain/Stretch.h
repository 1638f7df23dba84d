#pragma once

#include "Framework/private/BlockStreams.h"

namespace TZM {

/// The linear map that takes the smallest of some values to min and the largest to max.
struct Stretch {
    bool flat; ///< all values are equal: there is no such map
    float scale = 0.f, offset = 0.f;

    Stretch(float low, float high, float min, float max) : flat(low == high) {
        if (flat) return;
        scale = (max - min) / (high - low);
        offset = max - high * scale;
    }

    Stretch(const IPP::Array<float>& values, float min, float max) : Stretch(Extremes(values), min, max) {}

    void Apply(const IPP::Array<float>& src, const IPP::Array<float>& dst, const BlockStreams& streams) const {
        streams.Affine(src, scale, offset, dst);
    }

    struct Range {
        float low, high;
    };
    static Range Extremes(const IPP::Array<float>& values) {
        Range range;
        values.MinMax(range.low, range.high);
        return range;
    }

private:
    Stretch(const Range& range, float min, float max) : Stretch(range.low, range.high, min, max) {}
};

} // namespace TZM

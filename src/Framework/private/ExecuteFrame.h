#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "Array/Array3D.h"
#include "Framework/CalcError.h"
#include "Framework/ImageProps.h"

namespace TZM {

/// A block of traces as the algorithms see it: samples, A-scans, B-scans.
using BlockView = IPP::Array3D<float, int>;

/// Runs the body of an Execute: a failure of the array layer leaves as CalcError 99, everything else as it is.
template <class Body>
void RunExecute(const Body& body) {
    try {
        body();
    } catch (const IPP::Exception& failure) {
        throw Exception::CalcError(failure);
    }
}

/// Throws IPP::Exception (status -2) if a dimension is negative or if the block has more elements than an index counts.
/// A block with a dimension of 0 passes.
inline void RequireIndexable(const ImageProps& props) {
    const std::int64_t samples = props.samplesPerAscan, ascans = props.ascansPerBscan, bscans = props.bscanCount;
    IPP::Require(samples >= 0 && ascans >= 0 && bscans >= 0, "A dimension of the block is negative");
    if (samples == 0 || ascans == 0 || bscans == 0) return;
    constexpr std::int64_t most = std::numeric_limits<int>::max();
    IPP::Require(samples * ascans <= most && samples * ascans <= most / bscans,
                 "The block has too many elements for its index");
}

/// View of the caller's output block. Throws like RequireIndexable, and status -8 for a block without memory unless it
/// is empty.
inline BlockView OutputView(float* out, const ImageProps& props) {
    RequireIndexable(props);
    const bool empty = props.samplesPerAscan == 0 || props.ascansPerBscan == 0 || props.bscanCount == 0;
    if (!out && !empty) throw IPP::Exception(-8, "The block has no memory");
    return BlockView(out, props.samplesPerAscan, props.ascansPerBscan, props.bscanCount);
}

/// View of the caller's input block, which nobody may write through it. Throws like OutputView.
inline const BlockView InputView(const float* in, const ImageProps& props) {
    return OutputView(const_cast<float*>(in), props);
}

/// Fails as the first primitive over the whole block would if it is empty: status -6.
/// \param message "IPP::Exception::" and the name of that primitive, of static storage.
inline void RefuseEmpty(const BlockView& block, const char* message) {
    constexpr int lengthTooSmall = -6;
    if (block.size < 1) throw IPP::Exception(lengthTooSmall, message);
}

/// An entry limited to a B-scan of that many A-scans: first within 0 .. ascans - 1, first + length at most ascans.
inline BscanInfo LimitValidRange(const BscanInfo& given, int ascans) {
    BscanInfo limited;
    limited.firstValidIdx = std::clamp(given.firstValidIdx, 0, std::max(ascans - 1, 0));
    limited.validLen = std::clamp(given.validLen, 0, std::max(ascans - limited.firstValidIdx, 0));
    return limited;
}

/// What the entry of a B-scan says, which may reach beyond it; no valid A-scan if it has none.
inline BscanInfo ToldRange(const ImageProps& props, int bscan) {
    const bool told = bscan >= 0 && static_cast<std::size_t>(bscan) < props.bscanInfo.size();
    return told ? props.bscanInfo[static_cast<std::size_t>(bscan)] : BscanInfo();
}

/// The valid A-scans of a B-scan, within the block whatever its entry says.
inline BscanInfo ValidRange(const ImageProps& props, int bscan) {
    return LimitValidRange(ToldRange(props, bscan), props.ascansPerBscan);
}

/// The valid A-scans of a B-scan, as images of the input and of the output.
struct ValidAscans {
    ValidAscans(const BlockView& in, const BlockView& out, const ImageProps& props, int bscan)
        : first(ValidRange(props, bscan).firstValidIdx), count(ValidRange(props, bscan).validLen),
          src(in.Row(first, bscan).data, in.dim0, count), dst(out.Row(first, bscan).data, out.dim0, count),
          whole(out.Row(0, bscan).data, out.dim0, out.dim1) {}

    /// Sets the A-scans of the output around them to 0.
    void ZeroTheOthers() const {
        std::fill(whole.data, dst.data, 0.f);
        std::fill(dst.data + dst.size, whole.data + whole.size, 0.f);
    }

    int first;
    int count;
    IPP::Array2D<float> src, dst;

private:
    IPP::Array2D<float> whole;
};

} // namespace TZM

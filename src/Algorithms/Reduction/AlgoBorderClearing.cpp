#include "Algorithms/Reduction/AlgoBorderClearing.h"

#include <algorithm>
#include <cstring>

#include "Array/Simd/Dispatch.h"
#include "Framework/private/BlockParts.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoBorderClearing::defaultClearValue = 0.0f;

AlgoParamBorderClearing::AlgoParamBorderClearing() : AlgoParamBorderClearing(true, 1) {}

AlgoParamBorderClearing::AlgoParamBorderClearing(bool logging, int level)
    : AlgoParamBase(logging, level), borders(BorderWidths(), &prmListener),
      ClearValue(AlgoBorderClearing::defaultClearValue, &prmListener) {}

AlgoBorderClearing::AlgoBorderClearing(const std::string& name) : Algo(name) {}

namespace {

using P = AlgoParamBorderClearing;

template <unsigned BorderWidths::*width>
void ReadWidth(P& params, const Json::Value& value) {
    BorderWidths widths = params.borders;
    widths.*width = AsUInt(&value);
    params.borders = widths;
}

template <unsigned BorderWidths::*width>
auto Width(const char* key) {
    return NonNegative(key, &ReadWidth<width>);
}

const std::vector<JsonSection<P>>& Sections() {
    static const std::vector<JsonSection<P>> sections{{{kOwnSection},
                                                       {
                                                           Width<&BorderWidths::LowerX>("BorderLowerX"),
                                                           Width<&BorderWidths::UpperX>("BorderUpperX"),
                                                           Width<&BorderWidths::LowerY>("BorderLowerY"),
                                                           Width<&BorderWidths::UpperY>("BorderUpperY"),
                                                           Width<&BorderWidths::LowerZ>("BorderLowerZ"),
                                                           Width<&BorderWidths::UpperZ>("BorderUpperZ"),
                                                           Numeric("BorderClearValue", &P::ClearValue),
                                                       }}};
    return sections;
}

} // namespace

void AlgoBorderClearing::ParseParamsFromJsonConfig() {
    Json::Value root;
    if (!ParseJsonDocument(jsonConfig, root)) return;
    P read; // what the document lacks becomes 0
    ReadSections(root, name, Sections(), read);
    params.borders = read.borders.value;
    params.ClearValue = read.ClearValue.value;
}

std::vector<JsonKeyInfo> AlgoBorderClearing::DescribeKeys() const { return TZM::DescribeKeys(name, Sections(), P()); }

namespace {

/// The places lower .. size - upper - 1 of an axis, in unsigned arithmetic: an upper width beyond the size runs far
/// beyond the end.
struct Side {
    unsigned begin, end;
    bool leaves; ///< the axis ends first

    Side(unsigned lower, unsigned upper, int size)
        : begin(lower), end(static_cast<unsigned>(size) - upper), leaves(end > static_cast<unsigned>(size)) {}

    bool Empty() const { return begin >= end; }
    /// Only its first place, because an axis within ends there.
    void Stop() { end = begin + 1; }
    void Limit(int size) {
        end = std::min(end, static_cast<unsigned>(size));
        begin = std::min(begin, end);
    }
};

} // namespace

void AlgoBorderClearing::Execute(const float* in, const ImageProps& inProps, float* out,
                                 const ImageProps& outProps) const {
    ExecutePart(in, inProps, WholeBlock(inProps), out, outProps);
}

void AlgoBorderClearing::ExecutePart(const float* in, const ImageProps& inProps, const BlockPart& part, float* out,
                                     const ImageProps&) const {
    RunExecute([&] {
        RequirePart(part, inProps);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        const BorderWidths widths = params.borders;
        RefuseEmpty(src, widths == BorderWidths() ? "IPP::Exception::ippsCopy_32f" : "IPP::Exception::ippsSet_32f");
        const float clearValue = params.ClearValue;
        if (widths == BorderWidths()) return CopyBlock(src, dst);

        // The box is walked samples outermost, then A-scans, then B-scans, until an axis ends.
        Side z(widths.LowerZ, widths.UpperZ, src.dim0), x(widths.LowerX, widths.UpperX, src.dim1),
            y(widths.LowerY, widths.UpperY, part.blockBscans);
        const bool empty = z.Empty() || x.Empty() || y.Empty();
        const bool fails = !empty && (z.leaves || x.leaves || y.leaves);
        if (!empty && y.leaves) x.Stop();
        if (!empty && (y.leaves || x.leaves)) z.Stop();
        z.Limit(src.dim0);
        x.Limit(src.dim1);
        y.Limit(part.blockBscans);
        if (empty) x.end = x.begin;

        const int first = static_cast<int>(z.begin), count = static_cast<int>(z.end - z.begin);
        const auto inside = [](const Side& side, int place) {
            return static_cast<unsigned>(place) >= side.begin && static_cast<unsigned>(place) < side.end;
        };
        IPP::Array<float> clear(dst.dim0);
        clear.Set(clearValue);
        const BlockStreams streams(dst);
        const auto write = [&](const float* from, float* to, int n) {
            streams.kernels.streamCopy(from, to, n, streams.past);
        };
        ParallelFor(dst.dim2, [&](int i) {
            for (int j = 0; j < dst.dim1; ++j) {
                float* const ascan = dst.Row(j, i).data;
                if (count < 1 || !inside(y, part.firstBscan + i) || !inside(x, j)) {
                    write(clear.data, ascan, dst.dim0);
                    continue;
                }
                std::fill_n(ascan, first, clearValue);
                write(&src.Row(j, i)[first], ascan + first, count);
                std::fill_n(ascan + first + count, dst.dim0 - first - count, clearValue);
            }
            streams.Finish();
        });
        IPP::Require(!fails, "Index exceeds IPP::Array3D bounds");
    });
}

} // namespace TZM

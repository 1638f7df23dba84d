#include "Algorithms/Preparation/AlgoTimeZeroCrop.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "Framework/private/BlockParts.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoTimeZeroCrop::defaultTimeZero = 1;

AlgoParamTimeZeroCrop::AlgoParamTimeZeroCrop()
    : AlgoParamTimeZeroCrop(true, 1, AlgoTimeZeroCrop::defaultTimeZero, {}) {}

AlgoParamTimeZeroCrop::AlgoParamTimeZeroCrop(bool logging, int level, int sample, const std::vector<int>& samples)
    : AlgoParamBase(logging, level), timeZero(sample, &prmListener), timeZeros(samples, &prmListener) {}

AlgoTimeZeroCrop::AlgoTimeZeroCrop(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamTimeZeroCrop>>& Sections() {
    using P = AlgoParamTimeZeroCrop;
    static const std::vector<JsonSection<P>> sections{
        {{"Global"}, {Integral("TimeZero", &P::timeZero)}},
        {{kOwnSection}, {Array("TimeZeros", [](P& params, const Json::Value& list) {
             std::vector<int> samples;
             for (const Json::Value& sample : list) samples.push_back(AsInt(&sample));
             params.timeZeros = samples;
         })}}};
    return sections;
}

} // namespace

void AlgoTimeZeroCrop::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoTimeZeroCrop::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoTimeZeroCrop::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamTimeZeroCrop());
}

int AlgoTimeZeroCrop::Largest() const {
    const std::vector<int>& list = params.timeZeros.value;
    return list.empty() ? params.timeZero.value : *std::max_element(list.begin(), list.end());
}

ImageProps AlgoTimeZeroCrop::GetAdjustedImageDimensions(const ImageProps& props) const {
    ImageProps cropped = props;
    constexpr std::int64_t most = std::numeric_limits<int>::max();
    cropped.samplesPerAscan = static_cast<int>(std::min(std::int64_t{props.samplesPerAscan} - Largest(), most));
    return cropped;
}

void AlgoTimeZeroCrop::Execute(const float* in, const ImageProps& inProps, float* out,
                               const ImageProps& outProps) const {
    ExecutePart(in, inProps, WholeBlock(inProps), out, outProps);
}

void AlgoTimeZeroCrop::ExecutePart(const float* in, const ImageProps& inProps, const BlockPart& part, float* out,
                                   const ImageProps&) const {
    RunExecute([&] {
        RequirePart(part, inProps);
        const std::vector<int>& list = params.timeZeros.value;
        const auto sampleOf = [&](int bscan) {
            return list.empty() ? params.timeZero.value
                                : list[static_cast<std::size_t>(part.firstBscan + bscan) % list.size()];
        };
        if ((list.empty() ? params.timeZero.value : *std::min_element(list.begin(), list.end())) < 0)
            throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
        constexpr int lengthTooSmall = -6;
        const auto src = InputView(in, inProps);
        if (src.size < 1 || src.dim0 <= Largest()) throw IPP::Exception(lengthTooSmall, "IPP::Exception::ippsCopy_32f");
        const auto dst = OutputView(out, GetAdjustedImageDimensions(inProps));
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int z) {
            for (int y = 0; y < dst.dim1; ++y)
                streams.Copy(IPP::Array<float>(src.Row(y, z).data + sampleOf(z), dst.dim0), dst.Row(y, z));
            streams.Finish();
        });
    });
}

} // namespace TZM

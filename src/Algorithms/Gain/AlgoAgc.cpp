#include "Algorithms/Gain/AlgoAgc.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "Array/Primitives/LoadedRows.h"
#include "Array/Primitives/MirroredRows.h"
#include "Array/Simd/AscanKernels.h"
#include "Framework/private/BlockParts.h"
#include "Framework/private/FewAscans.h"
#include "Framework/private/HalfWindow.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoAgc::defaultWindow = 20.f;
const float AlgoAgc::defaultLevel = 1.f;
const float AlgoAgc::defaultFloor = 0.01f;

AlgoParamAgc::AlgoParamAgc()
    : AlgoParamAgc(true, 1, AlgoAgc::defaultWindow, AlgoAgc::defaultLevel, AlgoAgc::defaultFloor, false) {}

AlgoParamAgc::AlgoParamAgc(bool logging, int verbosity, float nanoseconds, float strength, float share, bool ofEnvelope)
    : AlgoParamBase(logging, verbosity), window(nanoseconds, &prmListener), level(strength, &prmListener),
      floor(share, &prmListener), envelope(ofEnvelope, &prmListener) {}

AlgoAgc::AlgoAgc(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamAgc>>& Sections() {
    using P = AlgoParamAgc;
    static const std::vector<JsonSection<P>> sections{{{kOwnSection},
                                                       {
                                                           Real("Window", &P::window),
                                                           Real("Level", &P::level),
                                                           Real("Floor", &P::floor),
                                                           Boolean("Envelope", &P::envelope),
                                                       }}};
    return sections;
}

const BlockFindings::Table& Strengths() {
    static const BlockFindings::Table table{
        "AlgoAgc", {{"RootMeanSquare", BlockFindings::Kind::Float}, {"Ascans", BlockFindings::Kind::Integer}}};
    return table;
}

/// The root mean square of every B-scan of a part, and of how many A-scans that is.
BlockFindings StrengthsOf(const BlockView& src, const ImageProps& props, const BlockPart& part) {
    RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
    std::vector<std::vector<double>> rows(static_cast<std::size_t>(src.dim2));
    ParallelFor(src.dim2, [&](int z) {
        const ValidAscans valid(src, src, props, z);
        double sum = 0.;
        int count = 0;
        for (int y = 0; y < valid.count; ++y) {
            const double squares = IPP::Simd::Active().sumOfSquares(valid.src.Row(y).data, src.dim0);
            if (std::isfinite(squares)) sum += squares, ++count;
        }
        rows[static_cast<std::size_t>(z)] = {count > 0 ? std::sqrt(sum / count / src.dim0) : 0.,
                                             static_cast<double>(count)};
    });
    BlockFindings found(Strengths(), part.blockBscans);
    int bscan = part.firstBscan;
    for (auto& row : rows) found.Put(bscan++, std::move(row));
    return found;
}

/// R of the block.
double RootMeanSquare(const BlockFindings& all) {
    double sum = 0., count = 0.;
    for (int z = 0; z < all.BlockBscans(); ++z) {
        const std::vector<double>& row = all.Row(z);
        sum += row[0] * row[0] * row[1];
        count += row[1];
    }
    return count > 0. ? std::sqrt(sum / count) : 0.;
}

/// The envelopes of a few A-scans.
class EnvelopeRows {
public:
    explicit EnvelopeRows(const IPP::MirroredHilbert& transform)
        : hilbert(transform), work(hilbert), rows(hilbert.Length(), IPP::Simd::kRowLanes) {}

    const float* Of(const IPP::Array2D<float>& ascans) const {
        const int few = IPP::MirroredHilbert::RowsAtATime();
        for (int y = 0; y < ascans.dim1; y += few)
            hilbert.Envelopes(ascans.Row(y).data, ascans.dim0, std::min(few, ascans.dim1 - y),
                              {rows.Row(y).data, rows.dim0}, work.Get());
        return rows.data;
    }

private:
    const IPP::MirroredHilbert& hilbert;
    IPP::MirroredWork work;
    IPP::Array2D<float> rows;
};

/// A power of two that brings numbers up to the given one near 1, or 1 if that isn't finite.
float ScaleOf(float largest) {
    float factor, undo;
    IPP::ScaleOfLevel(largest, factor, undo);
    return std::isfinite(largest) ? factor : 1.f;
}

float Largest(const IPP::Array2D<float>& ascans) {
    float low, high;
    IPP::Simd::Active().minMax(ascans.data, ascans.size, &low, &high);
    return std::max(-low, high);
}

void Level(const BlockView& src, const ImageProps& props, const AlgoParamAgc& params, double deltaT, double strength,
           const BlockView& dst) {
    const int samples = src.dim0, half = HalfWindow(static_cast<double>(params.window), 1e9 * deltaT, samples - 1);
    // What R was taken of is at most the root of its size times R; without R the A-scans must be looked at.
    const float scale = ScaleOf(static_cast<float>(strength)),
                floor = static_cast<float>(static_cast<double>(params.floor) * strength);
    std::optional<IPP::MirroredHilbert> hilbert;
    if (params.envelope) hilbert.emplace(samples);
    const BlockStreams streams(dst);
    struct Memory {
        WindowLanes lanes;
        std::optional<EnvelopeRows> envelopes;
    };
    const auto make = [&] {
        return Memory{WindowLanes(samples, half),
                      hilbert ? std::optional<EnvelopeRows>(*hilbert) : std::optional<EnvelopeRows>()};
    };
    ParallelFor(dst.dim2, make, [&](int z, const Memory& memory) {
        memory.lanes.Run(ValidAscans(src, dst, props, z), streams, [&](const auto& ascans, auto windows) {
            if (memory.envelopes) windows.measured = memory.envelopes->Of(ascans);
            IPP::Simd::ActiveAscan().levelled(windows, !memory.envelopes, params.level, floor,
                                              strength > 0. ? scale : ScaleOf(Largest(ascans)));
        });
    });
}

} // namespace

void AlgoAgc::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoAgc::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoAgc::DescribeKeys() const { return TZM::DescribeKeys(name, Sections(), AlgoParamAgc()); }

const BlockFindings::Table& AlgoAgc::FindingsTable() const { return Strengths(); }

void AlgoAgc::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const {
    const BlockPart whole = WholeBlock(inProps);
    Work(in, inProps, whole, Look(in, inProps, whole), out, outProps);
}

BlockFindings AlgoAgc::Look(const float* in, const ImageProps& partProps, const BlockPart& part) const {
    BlockFindings found;
    RunExecute([&] {
        RequireAboveZero(params.window);
        RequireFromZero(params.floor);
        const auto src = InputView(in, partProps);
        RequirePart(part, partProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        if (IsCoupled()) found = StrengthsOf(src, partProps, part);
    });
    return found;
}

void AlgoAgc::Work(const float* in, const ImageProps& partProps, const BlockPart& part, const BlockFindings& all,
                   float* out, const ImageProps&) const {
    RunExecute([&] {
        RequireAboveZero(params.window);
        RequireFromZero(params.floor);
        const auto src = InputView(in, partProps);
        const auto dst = OutputView(out, partProps);
        RequirePart(part, partProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        if (IsCoupled()) all.RequireAll(Strengths(), part.blockBscans);
        Level(src, partProps, params, static_cast<double>(globalSettings.delta_t),
              IsCoupled() ? RootMeanSquare(all) : 0., dst);
    });
}

} // namespace TZM

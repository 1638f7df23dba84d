#include "Algorithms/Preparation/AlgoTopography.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "Framework/CalcError.h"
#include "Framework/private/BlockParts.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoTopography::defaultPermittivity = 6.f;

AlgoParamTopography::AlgoParamTopography()
    : AlgoParamTopography(true, 1, 0.f, {}, AlgoTopography::defaultPermittivity) {}

AlgoParamTopography::AlgoParamTopography(bool logging, int level, float elevation, const std::vector<float>& ground,
                                         float relative)
    : AlgoParamBase(logging, level), datum(elevation, &prmListener), elevations(ground, &prmListener),
      permittivity(relative, &prmListener) {}

AlgoTopography::AlgoTopography(const std::string& name) : Algo(name) {}

namespace {

constexpr double kSpeedOfLight = 3e8; // metres per second

const std::vector<JsonSection<AlgoParamTopography>>& Sections() {
    using P = AlgoParamTopography;
    static const std::vector<JsonSection<P>> sections{
        {{"Global"}, {Real("Permittivity", &P::permittivity)}},
        {{kOwnSection}, {Real("Datum", &P::datum), Array("Elevations", [](P& params, const Json::Value& list) {
                             std::vector<float> elevations;
                             for (const Json::Value& elevation : list)
                                 elevations.push_back(static_cast<float>(AsDouble(&elevation)));
                             params.elevations = elevations;
                         })}}};
    return sections;
}

/// Elevations of the A-scans of a block.
class Ground {
public:
    Ground(const std::vector<float>& of, int ofAscans, int bscans) : list(of), ascans(ofAscans) {
        const auto count = static_cast<std::int64_t>(list.size());
        each = count == std::int64_t{ascans} * bscans;
        if (count == 0 || (!each && count > ascans))
            throw Exception::CalcError(-13, "TZM::Exception::unexpectedElevationCount");
    }

    double At(int y, int z) const {
        if (each) return list[static_cast<std::size_t>(std::int64_t{z} * ascans + y)];
        if (list.size() == 1) return list[0];
        const double place = double(y) * double(list.size() - 1) / (ascans - 1);
        const auto left = std::min(static_cast<std::size_t>(place), list.size() - 2);
        const double part = place - double(left);
        return (1 - part) * list[left] + part * list[left + 1];
    }

private:
    const std::vector<float>& list;
    int ascans;
    bool each; ///< A-scan has its own
};

} // namespace

void AlgoTopography::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoTopography::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoTopography::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamTopography());
}

double AlgoTopography::Datum() const {
    const std::vector<float>& list = params.elevations.value;
    if (params.datum != 0.f || list.empty()) return params.datum;
    return *std::max_element(list.begin(), list.end());
}

namespace {

/// Samples by which A-scans move down.
class Shifts {
public:
    Shifts(const AlgoTopography& topography, const AlgoGlobalSettings& sampling) : datum(topography.Datum()) {
        const AlgoParamTopography& params = topography.GetParams();
        const double speed = kSpeedOfLight / std::sqrt(static_cast<double>(params.permittivity));
        samplesPerMetre = 2 / (speed * static_cast<double>(sampling.delta_t));
        const std::vector<float>& list = params.elevations.value;
        largest = list.empty() ? 0 : At(*std::min_element(list.begin(), list.end()));
    }

    double At(double elevation) const { return std::round((datum - elevation) * samplesPerMetre); }
    double Largest() const { return largest; }

private:
    double datum, samplesPerMetre, largest;
};

bool IsCountable(double samples) { return std::abs(samples) <= std::numeric_limits<int>::max(); }

} // namespace

ImageProps AlgoTopography::DimensionsBehind(const ImageProps& props, const AlgoGlobalSettings& sampling) const {
    ImageProps behind = props;
    if (const double count = props.samplesPerAscan + Shifts(*this, sampling).Largest(); IsCountable(count))
        behind.samplesPerAscan = static_cast<int>(count);
    return behind;
}

ImageProps AlgoTopography::GetAdjustedImageDimensions(const ImageProps& props) const {
    return DimensionsBehind(props, globalSettings);
}

void AlgoTopography::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const {
    ExecutePart(in, inProps, WholeBlock(inProps), out, outProps);
}

void AlgoTopography::ExecutePart(const float* in, const ImageProps& partProps, const BlockPart& part, float* out,
                                 const ImageProps&) const {
    RunExecute([&] {
        if (!(params.permittivity > 0.f))
            throw Exception::CalcError(-10, "TZM::Exception::permittivitySmallerEqualZero");
        if (!(globalSettings.delta_t > 0.f)) throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZero");
        const auto src = InputView(in, partProps);
        RequirePart(part, partProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const Ground ground(params.elevations.value, src.dim1, part.blockBscans);
        const Shifts shifts(*this, globalSettings);
        if (!IsCountable(src.dim0 + shifts.Largest())) throw Exception::CalcError(-12, "TZM::Exception::valueToBig");
        const ImageProps behind = GetAdjustedImageDimensions(partProps);
        constexpr int lengthTooSmall = -6;
        if (behind.samplesPerAscan < 1) throw IPP::Exception(lengthTooSmall, "IPP::Exception::ippsCopy_32f");
        const auto dst = OutputView(out, behind);
        ParallelFor(dst.dim2, [&](int z) {
            const ValidAscans valid(src, dst, partProps, z);
            valid.ZeroTheOthers();
            for (int y = 0; y < valid.count; ++y) {
                const double shift = shifts.At(ground.At(valid.first + y, part.firstBscan + z));
                const auto ascan = valid.src.Row(y), moved = valid.dst.Row(y);
                const int from = static_cast<int>(std::clamp<double>(-shift, 0, ascan.size)),
                          to = static_cast<int>(std::clamp<double>(shift, 0, moved.size)),
                          count = std::min(ascan.size - from, moved.size - to);
                std::fill_n(moved.data, to, 0.f);
                std::copy_n(ascan.data + from, count, moved.data + to);
                std::fill(moved.data + to + count, moved.data + moved.size, 0.f);
            }
        });
    });
}

} // namespace TZM

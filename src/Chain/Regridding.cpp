#include "Chain/private/Regridding.h"

#include <json/value.h>

#include <algorithm>
#include <cmath>

#include "Framework/private/Shortest.h"
#include "Recording/Track.h"

namespace TZM {

AlgoGlobalSettings SamplingOf(const Recording& recording) {
    return {static_cast<float>(recording.deltaT), static_cast<float>(recording.deltaX)};
}

namespace {

void ChangeInterval(Recording& block, double deltaT) {
    const double ratio = block.deltaT / deltaT, first = block.FirstTime();
    const auto moved = [ratio](int sample) { return static_cast<int>(std::lround(sample * ratio)); };
    const auto within = [&](int sample) { return std::min(moved(sample), std::max(block.size.samples, 1) - 1); };
    if (block.timeZero) block.timeZero = within(*block.timeZero);
    for (int& sample : block.timeZeros) sample = within(sample);
    block.firstSample = moved(block.firstSample);
    block.deltaT = deltaT;
    block.startTime = first - block.firstSample * deltaT;
}

/// The positions of `ascans` A-scans whose distance is `ratio` of the old one.
std::vector<Position> PositionsBehind(const Recording& before, int ascans, double ratio) {
    std::vector<Position> positions;
    for (int z = 0; z < before.size.bscans; ++z) {
        const std::vector<Position> track = TrackOf(before, z);
        for (int a = 0; !track.empty() && a < ascans; ++a) {
            const double place = a * ratio;
            const auto left = std::min(static_cast<std::size_t>(place), track.size() - 2);
            const Position &from = track[left], &to = track[left + 1];
            const auto between = [part = place - double(left)](double x, double y) { return x + part * (y - x); };
            positions.push_back(
                {z, a, between(from.east, to.east), between(from.north, to.north), between(from.height, to.height)});
        }
    }
    return positions;
}

} // namespace

void RegridBehind(const AlgoResample& algorithm, Recording& block) {
    const ImageProps behind = algorithm.DimensionsBehind(block.Props(), SamplingOf(block));
    const double deltaT = Shortest(algorithm.GetParams().deltaT) / 1e9, deltaX = Shortest(algorithm.GetParams().deltaX);
    if (deltaX > 0 && !block.positions.empty())
        block.positions = PositionsBehind(block, behind.ascansPerBscan, deltaX / block.deltaX);
    block.size = {behind.samplesPerAscan, behind.ascansPerBscan, behind.bscanCount};
    if (!block.validRanges.empty()) block.validRanges = behind.bscanInfo;
    if (deltaT > 0) ChangeInterval(block, deltaT);
    if (deltaX > 0) block.deltaX = deltaX;
}

void RegridBehind(const AlgoTopography& algorithm, Recording& block) {
    block.size.samples = algorithm.DimensionsBehind(block.Props(), SamplingOf(block)).samplesPerAscan;
    block.datum = Shortest(static_cast<float>(algorithm.Datum()));
}

Json::Value ElevationsOf(const Recording& recording) {
    const auto isHigh = [](const Position& p) { return p.height != 0; };
    if (std::none_of(recording.positions.begin(), recording.positions.end(), isHigh)) return {};
    Json::Value list(Json::arrayValue);
    std::vector<Position> track;
    for (int z = 0; z < recording.size.bscans && track.empty(); ++z) track = TrackOf(recording, z);
    if (track.empty()) return {};
    for (int z = 0; z < recording.size.bscans; ++z) {
        if (std::vector<Position> own = TrackOf(recording, z); !own.empty()) track = std::move(own);
        for (const Position& p : track) list.append(Shortest(static_cast<float>(p.height)));
    }
    return list;
}

} // namespace TZM

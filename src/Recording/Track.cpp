#include "Recording/Track.h"

#include <algorithm>
#include <cmath>

namespace TZM {

std::vector<Position> TrackOf(const Recording& recording, int bscan) {
    std::vector<Position> known;
    for (const Position& p : recording.positions)
        if (p.bscan == bscan && p.ascan >= 0 && p.ascan < recording.size.ascans) known.push_back(p);
    const auto earlier = [](const Position& a, const Position& b) { return a.ascan < b.ascan; };
    std::stable_sort(known.begin(), known.end(), earlier);
    known.erase(std::unique(known.begin(), known.end(),
                            [](const Position& a, const Position& b) { return a.ascan == b.ascan; }),
                known.end());
    std::vector<Position> track;
    if (known.size() < 2) return track;
    auto next = known.begin() + 1;
    for (int a = 0; a < recording.size.ascans; ++a) {
        while (next + 1 != known.end() && next->ascan < a) ++next;
        const Position &from = *(next - 1), &to = *next;
        const double part = double(a - from.ascan) / (to.ascan - from.ascan);
        const auto between = [part](double x, double y) { return part == 1 ? y : x + part * (y - x); };
        track.push_back(
            {bscan, a, between(from.east, to.east), between(from.north, to.north), between(from.height, to.height)});
    }
    return track;
}

bool InDegrees(const Recording& recording) { return recording.coordinates == "EPSG:4326"; }

std::vector<double> DistancesAlong(const std::vector<Position>& track, bool inDegrees) {
    constexpr double kEarth = 6371e3, kRadian = M_PI / 180;
    std::vector<double> distances;
    for (std::size_t i = 0; i < track.size(); ++i) {
        const Position &from = track[i == 0 ? 0 : i - 1], &to = track[i];
        double east = to.east - from.east, north = to.north - from.north;
        if (inDegrees) {
            east *= kRadian * kEarth * std::cos(kRadian * from.north);
            north *= kRadian * kEarth;
        }
        distances.push_back((i == 0 ? 0 : distances.back()) + std::hypot(east, north));
    }
    return distances;
}

} // namespace TZM

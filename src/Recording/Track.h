#pragma once

#include <vector>

#include "Recording/Recording.h"

namespace TZM {

/// Positions of all A-scans of a B-scan: those that are known, straight between them and on beyond them as between the
/// two that are nearest. Empty with fewer than two A-scans whose position is known.
TZM_EXPORT std::vector<Position> TrackOf(const Recording& recording, int bscan);

/// The coordinates of positions that tell metres along the line alone, as eastings: no places in a map.
inline constexpr const char* kAlongTheLine = "LOCAL";

/// Whether positions are in degrees of longitude and latitude, not in metres.
TZM_EXPORT bool InDegrees(const Recording& recording);

/// Metres from the first A-scan of a track to each, along it. Degrees are taken on a sphere of 6371 km.
TZM_EXPORT std::vector<double> DistancesAlong(const std::vector<Position>& track, bool inDegrees);

} // namespace TZM

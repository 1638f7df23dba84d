#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "Recording/Recording.h"

namespace TZM {

/// The zone of the transverse Mercator grid that a place lies in: "EPSG:32632" for 11.5 east, 47.5 north (degrees).
TZM_EXPORT std::string UtmZone(double east, double north);

/// Positions in another system of coordinates, both by names that libproj knows: easting ahead of northing, longitude
/// ahead of latitude. Refusal for an unknown system, for places outside of it, and in a build without libproj.
TZM_EXPORT std::vector<Position> Project(const std::vector<Position>& positions, const std::string& from,
                                         const std::string& to);

/// Positions of a recording in metres: projected to the zone of the first of them, unless they are in metres already.
/// \param system becomes the name of what they are in. Refusal as for Project.
TZM_EXPORT std::vector<Position> PositionsInMetres(const Recording& recording, std::string& system);

/// How a recording's positions place its image: the way from the first to the last A-scan of the first B-scan with
/// positions, and to its right or left, as those of the other B-scans tell. Refusal as for Project, and for a recording
/// without two positions of one B-scan that are apart.
TZM_EXPORT Placement PlacementOf(const Recording& recording);

/// The tracks of the B-scans that have positions as a GeoJSON document (RFC 7946: degrees of longitude and latitude,
/// m of height). Refusal as for Project.
TZM_EXPORT Json::Value TrackGeoJson(const Recording& recording);

} // namespace TZM

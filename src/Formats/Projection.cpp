#include "Formats/Projection.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#if TZM_WITH_PROJ
#include <proj.h>
#endif

#include "Recording/Refusal.h"
#include "Recording/Track.h"

namespace TZM {

namespace {

constexpr const char* kDegrees = "EPSG:4326";

/// Refusal if positions tell no places in a map.
void RequirePlaces(const Recording& recording) {
    if (recording.coordinates == kAlongTheLine)
        throw Refusal("positions of " + recording.file.string() + " tell the way along the line, no places in a map");
}

Json::Value Place(const Position& position) {
    Json::Value place(Json::arrayValue);
    for (const double number : {position.east, position.north, position.height}) place.append(number);
    return place;
}

} // namespace

std::string UtmZone(double east, double north) {
    const int zone = std::clamp(static_cast<int>(std::floor((east + 180) / 6)) + 1, 1, 60);
    return "EPSG:" + std::to_string((north < 0 ? 32700 : 32600) + zone);
}

#if TZM_WITH_PROJ
std::vector<Position> Project(const std::vector<Position>& positions, const std::string& from, const std::string& to) {
    const std::unique_ptr<PJ_CONTEXT, decltype(&proj_context_destroy)> context(proj_context_create(),
                                                                               proj_context_destroy);
    proj_log_level(context.get(), PJ_LOG_NONE);
    using Transformation = std::unique_ptr<PJ, decltype(&proj_destroy)>;
    const Transformation told(proj_create_crs_to_crs(context.get(), from.c_str(), to.c_str(), nullptr), proj_destroy);
    const Transformation transformation(told ? proj_normalize_for_visualization(context.get(), told.get()) : nullptr,
                                        proj_destroy);
    if (!transformation) throw Refusal("positions can't be brought from \"" + from + "\" to \"" + to + "\"");
    std::vector<Position> result = positions;
    for (Position& p : result) {
        const PJ_COORD at = proj_trans(transformation.get(), PJ_FWD, proj_coord(p.east, p.north, p.height, 0));
        if (!std::isfinite(at.xyz.x) || !std::isfinite(at.xyz.y))
            throw Refusal("the position " + std::to_string(p.east) + ", " + std::to_string(p.north) + " of \"" + from +
                          "\" doesn't lie within \"" + to + "\"");
        p.east = at.xyz.x, p.north = at.xyz.y;
    }
    return result;
}
#else
std::vector<Position> Project(const std::vector<Position>&, const std::string& from, const std::string& to) {
    throw Refusal("positions can't be brought from \"" + from + "\" to \"" + to + "\": this build lacks libproj");
}
#endif

std::vector<Position> PositionsInMetres(const Recording& recording, std::string& system) {
    system = recording.coordinates;
    if (recording.positions.empty() || !InDegrees(recording)) return recording.positions;
    const Position& first = recording.positions.front();
    system = UtmZone(first.east, first.north);
    return Project(recording.positions, kDegrees, system);
}

Placement PlacementOf(const Recording& recording) {
    RequirePlaces(recording);
    Recording metres = recording.About();
    metres.positions = PositionsInMetres(recording, metres.coordinates);
    std::map<int, std::vector<Position>> tracks;
    for (int z = 0; z < metres.size.bscans; ++z)
        if (auto track = TrackOf(metres, z); !track.empty()) tracks[z] = std::move(track);
    if (tracks.empty()) throw Refusal("the image can't be placed: no B-scan has two positions");
    const std::vector<Position>&first = tracks.begin()->second, &last = tracks.rbegin()->second;
    const double east = first.back().east - first.front().east, north = first.back().north - first.front().north,
                 length = std::hypot(east, north);
    if (!(length > 0)) throw Refusal("the image can't be placed: its positions don't move");
    Placement place;
    place.along[0] = east / length, place.along[1] = north / length;
    const double right = (last.front().east - first.front().east) * place.along[1] -
                         (last.front().north - first.front().north) * place.along[0];
    const double side = right < 0 ? -1 : 1, offset = tracks.begin()->first * metres.lineSpacing.value_or(1);
    place.across[0] = side * place.along[1], place.across[1] = -side * place.along[0];
    place.east = first.front().east - offset * place.across[0];
    place.north = first.front().north - offset * place.across[1];
    place.height = first.front().height;
    return place;
}

Json::Value TrackGeoJson(const Recording& recording) {
    RequirePlaces(recording);
    const std::vector<Position> positions =
        InDegrees(recording) ? recording.positions : Project(recording.positions, recording.coordinates, kDegrees);
    std::map<int, std::vector<Position>> tracks;
    for (const Position& p : positions) tracks[p.bscan].push_back(p);
    Json::Value root;
    root["type"] = "FeatureCollection";
    root["features"] = Json::Value(Json::arrayValue);
    for (const auto& [bscan, track] : tracks) {
        Json::Value feature, places(Json::arrayValue), ascans(Json::arrayValue);
        for (const Position& p : track) {
            places.append(Place(p));
            ascans.append(p.ascan);
        }
        feature["type"] = "Feature";
        feature["geometry"]["type"] = track.size() > 1 ? "LineString" : "Point";
        feature["geometry"]["coordinates"] = track.size() > 1 ? places : places[0];
        feature["properties"]["bscan"] = bscan;
        if (!recording.channels.empty())
            feature["properties"]["channel"] =
                recording.channels[static_cast<std::size_t>(bscan) % recording.channels.size()];
        feature["properties"]["ascans"] = ascans;
        root["features"].append(feature);
    }
    return root;
}

} // namespace TZM

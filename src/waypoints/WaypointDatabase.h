#pragma once

#include "storage/DatabaseFile.h"
#include "storage/ProgramDatabases.h"
#include "waypoints/Waypoint.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Far beyond any real database (70,000 waypoints take a few MB); a larger file is refused.
inline constexpr std::size_t kMaxWaypointFileBytes = 256u << 20;
/// The most waypoints a database may hold: a reader refuses more, so no save writes more.
inline constexpr std::size_t kMaxWaypoints = 1000000;
/// Shown (caption "ERROR") when no database opens, one is damaged, or a save fails.
inline constexpr const char *kWaypointDatabaseMessage = "Unable to open\nWaypoint-Database.";

/// The database bytes of a list: the count, then every waypoint (name, longitude, latitude,
/// radius, description, type, action); the height is not stored.
std::string EncodeWaypoints(const CWaypointList &waypoints);

/// Reads a list from database bytes into `out` (appended at the tail). Bytes after the counted
/// waypoints are ignored. Returns false when the bytes end or break inside the list (the
/// waypoints complete before that point are kept), when they count more than kMaxWaypoints, or
/// when they are text rather than a database (nothing is read then).
bool DecodeWaypoints(std::string_view bytes, CWaypointList &out);

/// 0, or EFBIG when a reader would refuse the list: more than kMaxWaypoints, or more than
/// kMaxWaypointFileBytes once encoded (`encodedBytes`, when given, receives the size).
int CheckWaypointLimits(const CWaypointList &waypoints, std::size_t *encodedBytes = nullptr);
/// The limits in words, for messages and the manual.
std::string WaypointLimitText();

/// The codec that SaveDatabaseChanges needs for a waypoint database.
const CDatabaseCodec<CWaypoint> &WaypointCodec();

struct CWaypointLoad : CDatabaseRead {
    CWaypointList waypoints;
};

/// Reads "Waypoints.wdb" in `directory`, else "Worldpoints.wdb".
CWaypointLoad LoadWaypointDatabase(const std::string &directory);

/// Reads the database file at `path` as LoadWaypointDatabase reads one of its two (no fallback).
CWaypointLoad LoadWaypointFile(const std::string &path);

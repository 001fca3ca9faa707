#pragma once

#include "waypoints/Waypoint.h"

#include <string>
#include <string_view>

/// Proximity radius of a factory city, in seconds of arc (about 1.9 km north-south): a city's
/// point is its centre, and a drive through the centre should count as reaching it.
inline constexpr double kCityRadiusSeconds = 60.0;

/// The waypoints of a city list: one city a line, tab-separated name, latitude, longitude
/// (degrees, south and west negative) and an optional country (the description). Blank lines,
/// '#' lines and lines whose numbers do not read or lie off the earth are skipped.
CWaypointList ParseCityList(std::string_view text);

/// Puts "Worldpoints.wdb" holding `waypoints` into `directory` when neither waypoint database
/// is there (a dangling link counts as there). Returns 0 when written or not needed (`written`
/// tells which), else the errno.
int InstallWorldpointDatabase(const std::string &directory, const CWaypointList &waypoints,
                              bool *written = nullptr);

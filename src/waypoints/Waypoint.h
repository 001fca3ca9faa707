#pragma once

#include "base/GeoPosition.h"

#include <cstdint>
#include <string>
#include <vector>

/// A named position with a proximity radius, a free description and two small codes. Texts are
/// UTF-8 in memory; the database file holds them as UTF-16LE.
class CWaypoint
{
public:
    std::string m_name = "unnamed";
    CGeoPosition m_position;
    /// Proximity radius in seconds of arc (one second is about 31 m north-south).
    double m_radius = 1.0;
    std::string m_description;
    /// Indices of the description dialog's "Type:" and "Action:" choosers.
    std::int32_t m_type = 0;
    std::int32_t m_action = 0;

    bool operator==(const CWaypoint &) const = default;
};

/// The waypoint database in memory, head first (the file's order).
using CWaypointList = std::vector<CWaypoint>;

#pragma once

#include "base/GeoPosition.h"
#include "geo/CoordinateFormat.h"
#include "waypoints/Waypoint.h"

#include <cstdint>
#include <string>
#include <utility>

/// The texts and choices of the waypoint edit dialog's form. In UTM the first coordinate is the
/// northing and the second the easting; otherwise longitude and latitude, unsigned, with the
/// hemisphere choices carrying the sign (0 East/North, 1 West/South).
struct CWaypointFields {
    std::string m_name;
    std::string m_first;
    int m_firstHemisphere = 0;
    std::string m_second;
    int m_secondHemisphere = 0;
    std::string m_zone;
    std::string m_radius;
    std::string m_description;
    std::int32_t m_type = 0;
    std::int32_t m_action = 0;

    bool operator==(const CWaypointFields &) const = default;
};

/// The form as it shows a waypoint in `format` (a list row becoming selected).
[[nodiscard]] CWaypointFields FieldsOfWaypoint(const CWaypoint &waypoint, CoordinateFormat format);

/// The form preset from a proposed position: a default waypoint ("unnamed", radius 1.0) there.
[[nodiscard]] CWaypointFields FieldsOfPosition(const CGeoPosition &position,
                                               CoordinateFormat format);

/// Writes the form into `waypoint` ("Update", and "Add" on a default waypoint). A coordinate or
/// radius text that is no number keeps the previous value; in UTM an unreadable northing,
/// easting or zone keeps the whole position, and so does a position off the earth. Returns
/// false when the position was kept that way, with the reason for the user in `problem`.
bool ApplyFields(const CWaypointFields &fields, CoordinateFormat format, CWaypoint &waypoint,
                 const char **problem = nullptr);

/// The "Name" and "Position" texts of a waypoint's list row.
[[nodiscard]] std::pair<std::string, std::string> RowTexts(const CWaypoint &waypoint,
                                                           CoordinateFormat format);

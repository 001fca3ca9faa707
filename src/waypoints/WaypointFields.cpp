#include "waypoints/WaypointFields.h"

#include "base/Numbers.h"
#include "geo/CoordinateFields.h"

#include <cmath>
#include <utility>

// In UTM the form shows the northing first, in the angle formats the longitude.
CWaypointFields FieldsOfWaypoint(const CWaypoint &waypoint, CoordinateFormat format)
{
    CWaypointFields fields;
    fields.m_name = waypoint.m_name;
    CCoordinateFields coordinates = CoordinateFieldsOf(waypoint.m_position, format);
    if (format == CoordinateFormat::UTM)
        std::swap(coordinates.m_longitude, coordinates.m_latitude);
    fields.m_first = coordinates.m_longitude;
    fields.m_firstHemisphere = coordinates.m_longitudeHemisphere;
    fields.m_second = coordinates.m_latitude;
    fields.m_secondHemisphere = coordinates.m_latitudeHemisphere;
    fields.m_zone = coordinates.m_zone;
    fields.m_radius = FormatC("%.1lf", waypoint.m_radius);
    fields.m_description = waypoint.m_description;
    fields.m_type = waypoint.m_type;
    fields.m_action = waypoint.m_action;
    return fields;
}

CWaypointFields FieldsOfPosition(const CGeoPosition &position, CoordinateFormat format)
{
    CWaypoint waypoint;
    waypoint.m_position = position;
    return FieldsOfWaypoint(waypoint, format);
}

bool ApplyFields(const CWaypointFields &fields, CoordinateFormat format, CWaypoint &waypoint,
                 const char **problem)
{
    CCoordinateFields coordinates{fields.m_first, fields.m_firstHemisphere, fields.m_second,
                                  fields.m_secondHemisphere, fields.m_zone};
    if (format == CoordinateFormat::UTM)
        std::swap(coordinates.m_longitude, coordinates.m_latitude);
    const char *why = CoordinateFieldsProblem(coordinates, format, waypoint.m_position);
    if (problem != nullptr)
        *problem = why;
    const bool positionRead = ReadCoordinateFields(coordinates, format, waypoint.m_position);
    waypoint.m_name = fields.m_name;
    // "nan" and "inf" scan as numbers, but no proximity test could ever use them.
    double radius = 0.0;
    if (ScanDouble(fields.m_radius, radius) == 1 && std::isfinite(radius))
        waypoint.m_radius = radius;
    waypoint.m_description = fields.m_description;
    waypoint.m_type = fields.m_type;
    waypoint.m_action = fields.m_action;
    return positionRead;
}

std::pair<std::string, std::string> RowTexts(const CWaypoint &waypoint, CoordinateFormat format)
{
    return {waypoint.m_name, DisplayPosition(waypoint.m_position, " : ", format)};
}

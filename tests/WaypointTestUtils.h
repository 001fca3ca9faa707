#pragma once

#include "waypoints/Waypoint.h"

#include <initializer_list>
#include <string>

/// Waypoints told apart by name alone, all at one place.
inline CWaypointList WaypointsNamed(std::initializer_list<const char *> names)
{
    CWaypointList list;
    for (const char *name : names) {
        CWaypoint w;
        w.m_name = name;
        w.m_position = CGeoPosition(47.0, 8.0, 0.0);
        list.push_back(w);
    }
    return list;
}

/// The names in list order, blank-separated: a whole list in one comparison.
inline std::string NamesOf(const CWaypointList &list)
{
    std::string out;
    for (const CWaypoint &w : list)
        out += (out.empty() ? "" : " ") + w.m_name;
    return out;
}

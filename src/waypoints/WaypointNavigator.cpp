#include "waypoints/WaypointNavigator.h"

#include "geo/CoordinateFormat.h"
#include "geo/Distance.h"

#include <cmath>

namespace
{
constexpr double kDegreesPerRadian = 57.29577951308232;
constexpr double kDegreesPerArcSecond = 0.0002777777777777778;
constexpr double kKilometresPerMetre = 0.001;
constexpr double kMilesPerMetre = 0.0006213881811967936; // the 1609.3 m mile of the distance texts
constexpr double kNauticalMilesPerMetre = 0.0005399568034557236;
} // namespace

double DistanceToWaypoint(const CGeoPosition &from, const CWaypoint &waypoint,
                          std::optional<UnitSystem> units)
{
    const double metres = Distance(from, waypoint.m_position);
    if (!units)
        return metres;
    switch (*units) {
    case UnitSystem::Metric:
        return metres * kKilometresPerMetre;
    case UnitSystem::Imperial:
        return metres * kMilesPerMetre;
    case UnitSystem::Nautic:
        return metres * kNauticalMilesPerMetre;
    }
    return metres;
}

double BearingToWaypoint(const CGeoPosition &from, const CWaypoint &waypoint)
{
    const double dlon = waypoint.m_position.m_longitude - from.m_longitude;
    const double dlat = waypoint.m_position.m_latitude - from.m_latitude;
    // 0/0 would hand the compass a NaN for as long as the receiver stands on the waypoint.
    if (dlon == 0.0 && dlat == 0.0)
        return 0.0;
    const double a = std::atan(dlat / dlon) * kDegreesPerRadian;
    return waypoint.m_position.m_longitude > from.m_longitude ? 90.0 - a : 270.0 - a;
}

bool CWaypointNavigator::SelectTarget(int index, std::size_t listSize)
{
    if (index < 0 || static_cast<std::size_t>(index) >= listSize)
        return false;
    m_target = static_cast<std::size_t>(index);
    return true;
}

const CWaypoint *CWaypointNavigator::GetTargetWaypoint(const CWaypointList &waypoints) const
{
    if (!m_target || *m_target >= waypoints.size())
        return nullptr;
    return &waypoints[*m_target];
}

std::optional<std::string> CWaypointNavigator::CheckProximity(const CGeoPosition &position,
                                                              const CWaypointList &waypoints)
{
    const CWaypoint *target = GetTargetWaypoint(waypoints);
    if (!target)
        return std::nullopt;
    const double r = target->m_radius * kDegreesPerArcSecond;
    const double dlat = position.m_latitude - target->m_position.m_latitude;
    const double dlon = position.m_longitude - target->m_position.m_longitude;
    if (r > 0.0 && std::sqrt(dlat * dlat + dlon * dlon) <= r) {
        if (m_alerted)
            return std::nullopt;
        m_alerted = true;
        return target->m_name + "\n"
               + DisplayPosition(target->m_position, "\n", CoordinateFormat::DD) + "\n"
               + target->m_description;
    }
    m_alerted = false;
    return std::nullopt;
}

#pragma once

#include "base/Units.h"
#include "waypoints/Waypoint.h"

#include <cstddef>
#include <optional>
#include <string>

inline constexpr const char *kWaypointReachedCaption = "Waypoint reached";

/// Distance from `from` to the waypoint in the unit system's distance unit (km, miles of
/// 1609.3 m, nautical miles); metres without a unit system.
[[nodiscard]] double DistanceToWaypoint(const CGeoPosition &from, const CWaypoint &waypoint,
                                        std::optional<UnitSystem> units);

/// A flat bearing on the degree grid, clockwise from north, without the convergence of meridians:
/// what the compass has always shown. Due north gives 180 (the ratio's infinity through atan); on
/// the waypoint itself, 0.
[[nodiscard]] double BearingToWaypoint(const CGeoPosition &from, const CWaypoint &waypoint);

/// The goto target and its proximity alarm. The target is an index into the waypoint list: the
/// list only grows at the tail while a target is set (imports), and an edit clears the target.
class CWaypointNavigator
{
public:
    /// The select dialog's choice; an index outside the list leaves the target as it was.
    bool SelectTarget(int index, std::size_t listSize);
    /// The list was replaced. Whether the last approach alerted is kept.
    void ClearTarget() { m_target.reset(); }

    /// The target's record, or null without one (or when the list no longer holds it).
    [[nodiscard]] const CWaypoint *GetTargetWaypoint(const CWaypointList &waypoints) const;

    /// After each GGA with a fix: within the radius (a planar test in degrees) the first time
    /// of an approach gives the alert text (name, position in decimal degrees, description);
    /// outside it, or with a radius of 0, the next approach alerts again.
    std::optional<std::string> CheckProximity(const CGeoPosition &position,
                                              const CWaypointList &waypoints);

private:
    std::optional<std::size_t> m_target;
    bool m_alerted = false;
};

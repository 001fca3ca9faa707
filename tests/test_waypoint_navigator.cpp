#include "waypoints/WaypointNavigator.h"

#include <gtest/gtest.h>

namespace
{

CWaypoint At(double latitude, double longitude, double radius = 1.0)
{
    CWaypoint w;
    w.m_name = "Gate";
    w.m_position = CGeoPosition(latitude, longitude, 0.0);
    w.m_radius = radius;
    w.m_description = "north entrance";
    return w;
}

} // namespace

TEST(WaypointNavigator, BearingOnTheDegreeGrid)
{
    struct Case {
        double lat, lon;
        double bearing;
        const char *legend;
    };
    const Case cases[] = {
        {0.0, 1.0, 90.0, "due east"},
        {0.0, -1.0, 270.0, "due west"},
        {1.0, 1.0, 45.0, "north-east at equal offsets"},
        {1.0, 0.0, 180.0, "due north: the infinite ratio gives 180"},
        {-1.0, -1.0, 225.0, "south-west"},
        {0.0, 0.0, 0.0, "on the waypoint: no NaN"},
    };
    const CGeoPosition here(0.0, 0.0, 0.0);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_NEAR(BearingToWaypoint(here, At(c.lat, c.lon)), c.bearing, 1e-9);
    }
}

TEST(WaypointNavigator, DistanceInTheUserUnit)
{
    const CGeoPosition here(48.0, 11.0, 0.0);
    const CWaypoint there = At(48.1, 11.2);
    const double metres = DistanceToWaypoint(here, there, std::nullopt);
    ASSERT_GT(metres, 10000.0);
    EXPECT_DOUBLE_EQ(DistanceToWaypoint(here, there, UnitSystem::Metric), metres / 1000.0);
    // The mile of 1609.3 m: 1609.3 m are 1.0 mile.
    EXPECT_NEAR(DistanceToWaypoint(here, there, UnitSystem::Imperial) * 1609.3 / metres, 1.0,
                1e-12);
    EXPECT_NEAR(DistanceToWaypoint(here, there, UnitSystem::Nautic) * 1852.0 / metres, 1.0, 1e-12);
}

TEST(WaypointNavigator, OneAlertPerApproach)
{
    const CWaypointList list = {At(10.0, 10.0), At(50.0, 8.0, 0.0)};
    const double inside = 0.9 / 3600.0; // within one second of arc
    const double outside = 1.2 / 3600.0;
    struct Step {
        double dlat, dlon;
        bool alert;
        const char *legend;
    };
    const Step steps[] = {
        {outside, 0.0, false, "approaching"},       {inside, 0.0, true, "reached"},
        {0.0, inside, false, "still inside"},       {0.0, -outside, false, "left"},
        {-inside, 0.0, true, "back again: alerts"}, {0.0, 0.0, false, "on it"},
    };
    CWaypointNavigator nav;
    EXPECT_FALSE(nav.CheckProximity(CGeoPosition(10.0, 10.0, 0.0), list)) << "no target";
    ASSERT_TRUE(nav.SelectTarget(0, list.size()));
    for (const Step &s : steps) {
        SCOPED_TRACE(s.legend);
        const auto alert =
            nav.CheckProximity(CGeoPosition(10.0 + s.dlat, 10.0 + s.dlon, 0.0), list);
        EXPECT_EQ(alert.has_value(), s.alert);
        if (alert) {
            EXPECT_EQ(*alert, "Gate\n10.000000\xC2\xB0 N\n10.000000\xC2\xB0 E\nnorth entrance");
        }
    }

    // A radius of 0 never alerts, even on the spot, and resets the approach: back on the first
    // target, still on it, the alarm sounds again.
    ASSERT_TRUE(nav.SelectTarget(1, list.size()));
    EXPECT_FALSE(nav.CheckProximity(CGeoPosition(50.0, 8.0, 0.0), list));
    ASSERT_TRUE(nav.SelectTarget(0, list.size()));
    EXPECT_TRUE(nav.CheckProximity(CGeoPosition(10.0, 10.0, 0.0), list));
}

TEST(WaypointNavigator, SelectOutsideTheListKeepsTheTarget)
{
    const CWaypointList list = {At(1.0, 1.0), At(2.0, 2.0), At(3.0, 3.0)};
    CWaypointNavigator nav;
    ASSERT_TRUE(nav.SelectTarget(1, list.size()));
    for (const int index : {-1, 3, 1000}) {
        EXPECT_FALSE(nav.SelectTarget(index, list.size()));
        EXPECT_EQ(nav.GetTargetWaypoint(list), &list[1]);
    }
    nav.ClearTarget();
    EXPECT_EQ(nav.GetTargetWaypoint(list), nullptr);
}

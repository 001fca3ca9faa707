#include "geo/CoordinateFields.h"
#include "geo/CoordinateFormat.h"
#include "waypoints/WaypointFields.h"

#include <gtest/gtest.h>
#include <tuple>

// A waypoint's form, applied untouched, gives the waypoint back (the radius as shown). The
// seconds format, South on its chooser, is tried through the dialog's own widgets.
TEST(WaypointFields, ShownAndUpdatedUnchanged)
{
    const struct {
        CoordinateFormat format;
        double latitude, longitude, radius;
        const char *shown, *legend; // first, its chooser, second, its chooser, zone, radius
    } cases[] = {
        {CoordinateFormat::DDMM, 48.1173, -0.5, 1.55, "0030.0000 W 4807.0380 N  1.6",
         "minutes: west by the chooser, the radius rounded"},
        {CoordinateFormat::DD, 0.0, 0.0, 1.0, "00.000000 E 00.000000 N  1.0",
         "zero is East and North here, unlike the suffix"},
        {CoordinateFormat::UTM, 48.1173, 11.516667, 100.0, "5332401.25 E 687299.60 N 32U 100.0",
         "UTM: northing first, then easting"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const CWaypoint waypoint{"Quay", {c.latitude, c.longitude, 0.0}, c.radius, "ferry", 3, 7};
        const CWaypointFields f = FieldsOfWaypoint(waypoint, c.format);
        EXPECT_EQ(f.m_first + ' ' + "EW"[f.m_firstHemisphere] + ' ' + f.m_second + ' '
                      + "NS"[f.m_secondHemisphere] + ' ' + f.m_zone + ' ' + f.m_radius,
                  c.shown);
        CWaypoint updated = waypoint;
        EXPECT_TRUE(ApplyFields(f, c.format, updated));
        EXPECT_NEAR(updated.m_position.m_latitude, c.latitude, 1e-6);
        EXPECT_NEAR(updated.m_position.m_longitude, c.longitude, 1e-6);
        EXPECT_EQ(std::tie(updated.m_description, updated.m_type, updated.m_action),
                  std::tuple("ferry", 3, 7));
    }
}

// Typed over a waypoint at 10 N 20 E with radius 7: a text that is no number keeps the old
// value; in UTM the position is read whole or not at all (then ApplyFields says so).
TEST(WaypointFields, TypedTexts)
{
    const struct {
        CoordinateFormat format;
        const char *first, *second, *zone, *radius;
        double latitude, longitude, radiusRead;
        const char *legend;
    } cases[] = {
        {CoordinateFormat::UTM, "6290000", "334000", "55h", "2", -33.51, 145.21, 2, "h: south"},
        {CoordinateFormat::UTM, "3710000", "334000", "55S", "2", 33.51, 145.21, 2, "S: north"},
        {CoordinateFormat::UTM, "6290000", "334000", "H55", "2", 10, 20, 2, "no zone number"},
        {CoordinateFormat::UTM, "6290000", "334000", "61H", "2", 10, 20, 2, "zone out of range"},
        {CoordinateFormat::UTM, "north", "334000", "55H", "2", 10, 20, 2, "northing no number"},
        {CoordinateFormat::DD, "8.5", "48.25", "", "nan", 48.25, 8.5, 7, "radius nan: kept"},
        {CoordinateFormat::DDMM, "x", "4807.0380", "", "2500", 48.1173, 20, 2500, "longitude x"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CWaypoint w{"Quay", CGeoPosition(10.0, 20.0, 0.0), 7.0, "ferry", 3, 7};
        const CWaypointFields fields{"Pier", c.first,  0,     c.second, 0,
                                     c.zone, c.radius, "new", 15,       0};
        const bool kept = c.format == CoordinateFormat::UTM && c.latitude == 10.0;
        EXPECT_EQ(ApplyFields(fields, c.format, w), !kept);
        EXPECT_NEAR(w.m_position.m_latitude, c.latitude, 0.01);
        EXPECT_NEAR(w.m_position.m_longitude, c.longitude, 0.01);
        EXPECT_EQ(w.m_radius, c.radiusRead);
        EXPECT_EQ(std::tie(w.m_name, w.m_description, w.m_type, w.m_action),
                  std::tuple("Pier", "new", 15, 0));
    }
}

// Positions off the earth are refused whatever the notation: the waypoint keeps its position and
// the reason comes back; the edges themselves (±90, ±180) are on the earth.
TEST(WaypointFields, PositionsOffTheEarthRefused)
{
    const struct {
        CoordinateFormat format;
        const char *first;
        int firstHemisphere;
        const char *second;
        int secondHemisphere;
        const char *zone;
        bool taken;
        const char *legend;
    } cases[] = {
        {CoordinateFormat::DD, "180", 1, "90", 1, "", true, "180 W, 90 S"},
        {CoordinateFormat::DD, "180", 0, "90", 0, "", true, "180 E, 90 N"},
        {CoordinateFormat::DD, "11", 0, "90.000001", 0, "", false, "a hair past the pole"},
        {CoordinateFormat::DD, "180.000001", 1, "48", 0, "", false, "a hair past 180 W"},
        {CoordinateFormat::DD, "nan", 0, "48", 0, "", false, "NaN"},
        {CoordinateFormat::DD, "11", 0, "inf", 0, "", false, "infinity"},
        {CoordinateFormat::DD, "1e400", 0, "48", 0, "", false, "overflowing"},
        {CoordinateFormat::DDMM, "01100", 0, "9030", 0, "", false, "90°30'"},
        {CoordinateFormat::DDMMSS, "1810000", 0, "480000", 0, "", false, "181°"},
        {CoordinateFormat::UTM, "1e300", 0, "334000", 0, "55H", false, "UTM northing absurd"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CWaypoint w{"Quay", CGeoPosition(10.0, 20.0, 0.0), 7.0, "ferry", 3, 7};
        const CWaypointFields fields{
            "Pier", c.first, c.firstHemisphere, c.second, c.secondHemisphere, c.zone, "2", "new",
            15,     0};
        const char *problem = "not set";
        EXPECT_EQ(ApplyFields(fields, c.format, w, &problem), c.taken);
        if (c.taken) {
            EXPECT_EQ(problem, nullptr);
            EXPECT_NE(w.m_position, CGeoPosition(10.0, 20.0, 0.0));
        } else {
            ASSERT_NE(problem, nullptr);
            EXPECT_STREQ(problem, kCoordinateRangeMessage);
            EXPECT_EQ(w.m_position, CGeoPosition(10.0, 20.0, 0.0));
        }
    }
}

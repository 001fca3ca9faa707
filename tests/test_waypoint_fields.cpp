#include "geo/CoordinateFormat.h"
#include "waypoints/WaypointFields.h"

#include <gtest/gtest.h>

namespace
{

CWaypoint At(double latitude, double longitude, double radius)
{
    CWaypoint w;
    w.m_name = "Quay";
    w.m_position = CGeoPosition(latitude, longitude, 0.0);
    w.m_radius = radius;
    w.m_description = "ferry";
    w.m_type = 3;
    w.m_action = 7;
    return w;
}

} // namespace

TEST(WaypointFields, ShownAndUpdatedUnchanged)
{
    struct Case {
        CWaypoint waypoint;
        CoordinateFormat format;
        const char *first;
        int firstHemisphere;
        const char *second;
        int secondHemisphere;
        const char *zone, *radius, *legend;
    };
    const Case cases[] = {
        {At(-33.5, 151.25, 2.0), CoordinateFormat::DDMMSS, "1511500.00", 0, "333000.00", 1, "",
         "2.0", "seconds: south by the chooser, no suffix"},
        {At(48.1173, -0.5, 1.55), CoordinateFormat::DDMM, "0030.0000", 1, "4807.0380", 0, "", "1.6",
         "minutes: west by the chooser"},
        {At(0.0, 0.0, 1.0), CoordinateFormat::DD, "00.000000", 0, "00.000000", 0, "", "1.0",
         "zero is East and North here, unlike the suffix"},
        {At(48.1173, 11.516667, 100.0), CoordinateFormat::UTM, "5332401.25", 0, "687299.60", 0,
         "32U", "100.0", "UTM: northing first, then easting"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CWaypointFields fields = FieldsOfWaypoint(c.waypoint, c.format);
        EXPECT_EQ(fields.m_first, c.first);
        EXPECT_EQ(fields.m_firstHemisphere, c.firstHemisphere);
        EXPECT_EQ(fields.m_second, c.second);
        EXPECT_EQ(fields.m_secondHemisphere, c.secondHemisphere);
        EXPECT_EQ(fields.m_zone, c.zone);
        EXPECT_EQ(fields.m_radius, c.radius);

        // The shown radius is rounded; an untouched one is read back as shown.
        CWaypoint updated = c.waypoint;
        EXPECT_TRUE(ApplyFields(fields, c.format, updated));
        EXPECT_NEAR(updated.m_position.m_latitude, c.waypoint.m_position.m_latitude, 1e-6);
        EXPECT_NEAR(updated.m_position.m_longitude, c.waypoint.m_position.m_longitude, 1e-6);
        EXPECT_EQ(updated.m_description, "ferry");
        EXPECT_EQ(updated.m_action, 7);
    }
    CWaypoint sydney = At(-33.5, 151.25, 2.0);
    ApplyFields(FieldsOfWaypoint(sydney, CoordinateFormat::DDMMSS), CoordinateFormat::DDMMSS,
                sydney);
    EXPECT_DOUBLE_EQ(sydney.m_position.m_latitude, -33.5);
}

TEST(WaypointFields, TypedTexts)
{
    struct Case {
        CoordinateFormat format;
        const char *first, *second, *zone, *radius;
        bool positionRead;
        double latitude, longitude, radiusRead;
        const char *legend;
    };
    // Every case starts from At(10, 20, 7).
    const Case cases[] = {
        {CoordinateFormat::UTM, "6290000", "334000", "55H", "2", true, -33.51, 145.21, 2.0,
         "band H is southern"},
        {CoordinateFormat::UTM, "6290000", "334000", "55h", "2", true, -33.51, 145.21, 2.0,
         "a lower-case band as well"},
        {CoordinateFormat::UTM, "3710000", "334000", "55S", "2", true, 33.51, 145.21, 2.0,
         "band S is northern"},
        {CoordinateFormat::UTM, "6290000", "334000", "H55", "2", false, 10.0, 20.0, 2.0,
         "no zone number: position kept, the rest taken"},
        {CoordinateFormat::UTM, "6290000", "334000", "61H", "2", false, 10.0, 20.0, 2.0,
         "zone out of range"},
        {CoordinateFormat::UTM, "north", "334000", "55H", "2", false, 10.0, 20.0, 2.0,
         "northing no number"},
        {CoordinateFormat::DD, "8.5", "48.25", "", "ten", true, 48.25, 8.5, 7.0,
         "radius no number: kept"},
        {CoordinateFormat::DD, "8.5", "48.25", "", "nan", true, 48.25, 8.5, 7.0,
         "radius nan: kept"},
        {CoordinateFormat::DDMM, "x", "4807.0380", "", "2500", true, 48.1173, 20.0, 2500.0,
         "longitude no number: kept"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CWaypoint waypoint = At(10.0, 20.0, 7.0);
        CWaypointFields fields;
        fields.m_name = "Pier";
        fields.m_first = c.first;
        fields.m_second = c.second;
        fields.m_zone = c.zone;
        fields.m_radius = c.radius;
        fields.m_description = "new";
        fields.m_type = 15;
        EXPECT_EQ(ApplyFields(fields, c.format, waypoint), c.positionRead);
        EXPECT_NEAR(waypoint.m_position.m_latitude, c.latitude, 0.01);
        EXPECT_NEAR(waypoint.m_position.m_longitude, c.longitude, 0.01);
        EXPECT_EQ(waypoint.m_radius, c.radiusRead);
        EXPECT_EQ(waypoint.m_name, "Pier");
        EXPECT_EQ(waypoint.m_description, "new");
        EXPECT_EQ((std::pair{waypoint.m_type, waypoint.m_action}), (std::pair{15, 0}));
    }
}

TEST(WaypointFields, PresetAndRow)
{
    const CGeoPosition there(-33.5, 151.25, 40.0);
    const CWaypointFields preset = FieldsOfPosition(there, CoordinateFormat::DDMMSS);
    EXPECT_EQ(preset.m_name, "unnamed");
    EXPECT_EQ(preset.m_radius, "1.0");
    EXPECT_EQ(preset.m_second, "333000.00");
    EXPECT_EQ(RowTexts(At(-33.5, 151.25, 1.0), CoordinateFormat::DDMMSS),
              (std::pair<std::string, std::string>{"Quay", "333000.00 S : 1511500.00 E"}));
}

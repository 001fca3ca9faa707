#include "NMEATestUtils.h"
#include "geo/CoordinateFormat.h"
#include "nmea/GPSDataRows.h"
#include "nmea/NMEAParser.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;

// The whole page as "label|value" in drawing order, after feeding the blank-separated bodies.
Lines Page(const std::string &bodies, int format, int unitMode)
{
    CNMEAParser parser;
    std::istringstream in(bodies);
    for (std::string body; in >> body;)
        EXPECT_NE(parser.Parse(Sentence(body)), kSentenceNone) << body;
    Lines page;
    for (const CDataRows &rows :
         {BuildReceptionRows(parser), BuildDilutionRows(parser),
          BuildPositionRows(parser, format, unitMode), BuildHeadingRows(parser, unitMode)})
        for (const CDataRow &row : rows)
            page.push_back(row.label + "|" + row.value);
    return page;
}

constexpr const char *kRMC = "GPRMC,1,A,4807.038,N,01131.000,E,53.99568,084.4,230394,003.1,W";

} // namespace

TEST(GPSDataRows, LayoutBeforeAnyData)
{
    EXPECT_EQ(Page("", kFormatDD, 1),
              Lines({"Satellites in use:|0 of 0 sats", "Quality of fix:|no fix",
                     "Position DOP:|00.00 00.00", "Horizontal DOP:|00.00 00.00",
                     "Vertical DOP:|00.00 00.00", "Latitude:|00.000000 S", "Longitude:|00.000000 W",
                     "Altitude (geoid):|0 m", "Speed:|0.0 km/h", "Heading:|0.0"}));
    // UTM replaces both angle rows; an unknown unit mode leaves speed and altitude blank.
    const Lines utm = Page("", kFormatUTM, 0);
    EXPECT_EQ(Lines(utm.begin() + 5, utm.end()),
              Lines({"Easting Zone:|166021.44 31N", "Northing:|0.00", "Altitude (geoid):|",
                     "Speed:|", "Heading:|0.0"}));
}

TEST(GPSDataRows, RowTexts)
{
    struct Case {
        std::string bodies;
        int format;
        int unitMode;
        const char *row;
        const char *legend;
    };
    const std::string gga = "GPGGA,1,4807.038,N,01131.000,E,1,08,0.9,545.4,M,";
    const std::string dops = "GPGSA,A,3,,,,,,,,,,,,,";
    const std::string twoDops = dops + "2.0,1.0,1.5 " + dops + "13.0,2.0,2.5";
    const std::string capeTown = "GPGGA,1,3354.000,S,01824.000,";
    const std::string high = "GPGGA,1,,,,,1,08,0.9,12000,M,0.0,M";
    const Case cases[] = {
        {"GPGGA,1,,,,,1,08 GPGSV,3,1,11", 1, 1, "Satellites in use:|8 of 11 sats", "counts"},
        {"GPGGA,1,,,,,1 GPGSA,A,3", 1, 1, "Quality of fix:|GPS fix / 3D", "GPS 3D"},
        {"GPGGA,1,,,,,0 GPGSA,A,1", 1, 1, "Quality of fix:|no fix / n.a.", "no fix"},
        {"GPGGA,1,,,,,2 GPGSA,A,2", 1, 1, "Quality of fix:|DGPS fix / 2D", "DGPS 2D"},
        {"GPGGA,1,,,,,6 GPGSA,A,3", 1, 1, "Quality of fix:|? / 3D", "dead reckoning"},
        {"GPGGA,1,,,,,-1", 1, 1, "Quality of fix:|?", "negative quality"},
        {"GPGGA,1,,,,,1 GPGSA,A,0", 1, 1, "Quality of fix:|GPS fix", "fix mode 0 adds nothing"},
        {dops + "0.0,1.5,2.0", 1, 1, "Horizontal DOP:|01.50 00.00", "zero PDOP: no history"},
        {twoDops, 1, 1, "Position DOP:|13.00 07.50", "PDOP average"},
        {twoDops, 1, 1, "Vertical DOP:|02.50 02.00", "VDOP average"},
        {dops + "2.5,0.0,1.2", 1, 1, "Position DOP:|02.50 00.00", "HDOP sum 0 hides PDOP's"},
        {gga + "0.0,M", 1, 1, "Altitude (geoid):|545.4 m", "no separation"},
        {gga + "47.3,M", 1, 1, "Altitude (corr.):|498.1 m", "separation taken off"},
        {gga + "47.3,M", 1, 2, "Altitude (corr.):|1634.2 feet", "imperial height"},
        {gga + "-0.0,M", 1, 1, "Altitude (geoid):|545.4 m", "negative zero is no separation"},
        {capeTown + "W", kFormatDDMM, 1, "Latitude:|3354.0000 S", "south"},
        {capeTown + "W", kFormatDDMM, 1, "Longitude:|1824.0000 W", "west"},
        {capeTown + "E", kFormatUTM, 1, "Easting Zone:|259583.22 34H", "UTM easting"},
        {capeTown + "E", kFormatUTM, 1, "Northing:|6245888.05", "UTM northing"},
        {high, 1, 3, "Altitude (geoid):|7.4567 miles", "nautical heights in statute units"},
        {kRMC, 1, 1, "Speed:|100.0 km/h", "metric"},
        {kRMC, 1, 2, "Speed:|62.1 mph", "imperial from km/h"},
        {kRMC, 1, 3, "Speed:|54.0 knots", "nautical"},
        {kRMC, 1, 4, "Speed:|", "unknown mode"},
        {kRMC, 1, 1, "Heading:|84.4", "course"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const Lines page = Page(c.bodies, c.format, c.unitMode);
        EXPECT_EQ(std::count(page.begin(), page.end(), c.row), 1)
            << c.row << " not once in " << ::testing::PrintToString(page);
    }
}

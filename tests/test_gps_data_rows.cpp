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
Lines Page(const std::string &bodies, CoordinateFormat format, UnitSystem units)
{
    CNMEAParser parser;
    std::istringstream in(bodies);
    for (std::string body; in >> body;)
        EXPECT_NE(parser.Parse(Sentence(body)), kSentenceNone) << body;
    Lines page;
    for (const CDataRows &rows :
         {BuildReceptionRows(parser), BuildDilutionRows(parser),
          BuildPositionRows(parser, format, units), BuildHeadingRows(parser, units)})
        for (const CDataRow &row : rows)
            page.push_back(row.label + "|" + row.value);
    return page;
}

constexpr const char *kRMC = "GPRMC,1,A,4807.038,N,01131.000,E,53.99568,084.4,230394,003.1,W";

} // namespace

TEST(GPSDataRows, LayoutBeforeAnyData)
{
    EXPECT_EQ(Page("", CoordinateFormat::DD, UnitSystem::Metric),
              Lines({"Satellites in use:|0 of 0 sats", "Quality of fix:|no fix",
                     "Position DOP:|0.00 (avg 0.00)", "Horizontal DOP:|0.00 (avg 0.00)",
                     "Vertical DOP:|0.00 (avg 0.00)", "Latitude:|0.000000\xC2\xB0 S",
                     "Longitude:|0.000000\xC2\xB0 W", "Altitude (geoid):|0 m", "Speed:|0.0 km/h",
                     "Heading:|0.0\xC2\xB0"}));
    // UTM replaces both angle rows.
    const Lines utm = Page("", CoordinateFormat::UTM, UnitSystem::Nautic);
    EXPECT_EQ(Lines(utm.begin() + 5, utm.end()),
              Lines({"Easting Zone:|166021.44 31N", "Northing:|0.00", "Altitude (geoid):|0 feet",
                     "Speed:|0.0 knots", "Heading:|0.0\xC2\xB0"}));
}

TEST(GPSDataRows, RowTexts)
{
    struct Case {
        std::string bodies;
        CoordinateFormat format;
        UnitSystem units;
        const char *row;
        const char *legend;
    };
    const std::string gga = "GPGGA,1,4807.038,N,01131.000,E,1,08,0.9,545.4,M,";
    const std::string dops = "GPGSA,A,3,,,,,,,,,,,,,";
    const std::string twoDops = dops + "2.0,1.0,1.5 " + dops + "13.0,2.0,2.5";
    const std::string capeTown = "GPGGA,1,3354.000,S,01824.000,";
    const std::string high = "GPGGA,1,,,,,1,08,0.9,12000,M,0.0,M";
    constexpr auto DD = CoordinateFormat::DD;
    constexpr auto DDMM = CoordinateFormat::DDMM;
    constexpr auto DDMMSS = CoordinateFormat::DDMMSS;
    constexpr auto UTM = CoordinateFormat::UTM;
    constexpr auto M = UnitSystem::Metric;
    constexpr auto I = UnitSystem::Imperial;
    constexpr auto N = UnitSystem::Nautic;
    const Case cases[] = {
        {"GPGGA,1,,,,,1,08 GPGSV,3,1,11", DD, M, "Satellites in use:|8 of 11 sats", "counts"},
        {"GPGGA,1,,,,,1 GPGSA,A,3", DD, M, "Quality of fix:|GPS fix / 3D", "GPS 3D"},
        {"GPGGA,1,,,,,0 GPGSA,A,1", DD, M, "Quality of fix:|no fix / n.a.", "no fix"},
        {"GPGGA,1,,,,,2 GPGSA,A,2", DD, M, "Quality of fix:|DGPS fix / 2D", "DGPS 2D"},
        {"GPGGA,1,,,,,6 GPGSA,A,3", DD, M, "Quality of fix:|? / 3D", "dead reckoning"},
        {"GPGGA,1,,,,,-1", DD, M, "Quality of fix:|?", "negative quality"},
        {"GPGGA,1,,,,,1 GPGSA,A,0", DD, M, "Quality of fix:|GPS fix", "fix mode 0 adds nothing"},
        {dops + "0.0,1.5,2.0", DD, M, "Horizontal DOP:|1.50 (avg 0.00)", "zero PDOP: no history"},
        {twoDops, DD, M, "Position DOP:|13.00 (avg 7.50)", "PDOP average"},
        {twoDops, DD, M, "Vertical DOP:|2.50 (avg 2.00)", "VDOP average"},
        {dops + "2.5,0.0,1.2", DD, M, "Position DOP:|2.50 (avg 0.00)", "HDOP sum 0 hides PDOP's"},
        {gga + "0.0,M", DD, M, "Altitude (geoid):|545.4 m", "no separation"},
        {gga + "47.3,M", DD, M, "Altitude (corr.):|498.1 m", "separation taken off"},
        {gga + "47.3,M", DD, I, "Altitude (corr.):|1634.2 feet", "imperial height"},
        {gga + "-0.0,M", DD, M, "Altitude (geoid):|545.4 m", "negative zero is no separation"},
        {capeTown + "W", DDMM, M, "Latitude:|33\xC2\xB0 54.0000\xE2\x80\xB2 S", "south"},
        {capeTown + "W", DDMM, M, "Longitude:|18\xC2\xB0 24.0000\xE2\x80\xB2 W", "west"},
        {capeTown + "E", UTM, M, "Easting Zone:|259583.22 34H", "UTM easting"},
        {capeTown + "E", UTM, M, "Northing:|6245888.05", "UTM northing"},
        {high, DD, N, "Altitude (geoid):|7.4567 miles", "nautical heights in statute units"},
        {kRMC, DD, M, "Speed:|100.0 km/h", "metric"},
        {kRMC, DD, I, "Speed:|62.1 mph", "imperial from km/h"},
        {kRMC, DD, N, "Speed:|54.0 knots", "nautical"},
        {kRMC, DD, M, "Heading:|84.4\xC2\xB0", "course"},
        {capeTown + "W", DDMMSS, M, "Latitude:|33\xC2\xB0 54\xE2\x80\xB2 00.00\xE2\x80\xB3 S",
         "seconds"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const Lines page = Page(c.bodies, c.format, c.units);
        EXPECT_EQ(std::count(page.begin(), page.end(), c.row), 1)
            << c.row << " not once in " << ::testing::PrintToString(page);
    }
}

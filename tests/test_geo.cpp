#include "geo/CoordinateFormat.h"
#include "geo/Distance.h"
#include "geo/UTM.h"
#include "nmea/GeoPosition.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <string>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// One millimetre on the ground, in degrees of latitude.
constexpr double kMillimetreDegrees = 0.001 / 111320.0;

} // namespace

TEST(CoordinateFormat, FormatAngle)
{
    struct Case {
        double value;
        int format;
        const char *expected;
        const char *legend;
    };
    const Case cases[] = {
        {48.1173, kFormatDD, "48.117300", "decimal degrees"},
        {48.1173, kFormatDDMM, "4807.0380", "degrees and minutes"},
        {48.1173, kFormatDDMMSS, "480702.28", "degrees, minutes and seconds"},
        {-0.5, kFormatDD, "00.500000", "sign dropped, zero padded to two degree digits"},
        {8.5, kFormatDDMM, "0830.0000", "longitude degrees padded to two digits only"},
        {123.456789, kFormatDD, "123.456789", "three degree digits widen the field"},
        {48.0 + 59.99999 / 60.0, kFormatDDMM, "4860.0000", "minutes round up, no carry"},
        {48.0 + 7.0 / 60.0 + 59.999 / 3600.0, kFormatDDMMSS, "480760.00",
         "seconds round up, no carry"},
        {3e9, kFormatDDMM, "214748364751150981180.0000", "huge value saturates the degrees"},
        {48.1173, kFormatUTM, "previous", "no angle text in UTM: the text stays"},
        {48.1173, 0, "previous", "unknown format"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        std::string out = "previous";
        FormatAngle(out, c.value, c.format);
        EXPECT_EQ(out, c.expected);
    }
}

TEST(CoordinateFormat, HemisphereSuffixes)
{
    struct Case {
        double value;
        bool withSuffix;
        const char *latitude;
        const char *longitude;
        const char *legend;
    };
    const Case cases[] = {
        {48.1173, true, "48.117300 N", "48.117300 E", "positive"},
        {-0.5, true, "00.500000 S", "00.500000 W", "negative"},
        {0.0, true, "00.000000 S", "00.000000 W", "exactly zero is south and west"},
        {1e-9, true, "00.000000 N", "00.000000 E", "tiny positive prints zero but north/east"},
        {kNaN, true, "      nan S", "      nan W", "not a number is not above zero"},
        {-0.5, false, "00.500000", "00.500000", "no suffix asked"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CGeoPosition p(c.value, c.value, 0.0);
        EXPECT_EQ(FormatLatitude(p, kFormatDD, c.withSuffix), c.latitude);
        EXPECT_EQ(FormatLongitude(p, kFormatDD, c.withSuffix), c.longitude);
    }
    // Another format has no angle text, but the suffix is still appended when asked.
    EXPECT_EQ(FormatLatitude(CGeoPosition(1.0, 1.0, 0.0), kFormatUTM, true), " N");
    EXPECT_EQ(FormatLongitude(CGeoPosition(1.0, 1.0, 0.0), 0, false), "");
}

TEST(CoordinateFormat, FormatPosition)
{
    struct Case {
        CGeoPosition position;
        const char *separator;
        int format;
        const char *expected;
        const char *legend;
    };
    const CGeoPosition munich(48.1173, 11.516667, 500.0);
    const Case cases[] = {
        {munich, " ", kFormatDD, "48.117300 N 11.516667 E", "latitude first"},
        {munich, "\n", kFormatDDMM, "4807.0380 N\n1131.0000 E", "line break separator"},
        {munich, ", ", kFormatDDMMSS, "480702.28 N, 113100.00 E", "seconds"},
        {CGeoPosition(-33.9, -70.5, 0.0), " ", kFormatDD, "33.900000 S 70.500000 W",
         "south-west, longitude not padded to three digits"},
        {munich, " ", kFormatUTM, "687299.60 5332401.25 32U", "UTM easting, northing, zone"},
        {CGeoPosition(), " ", kFormatUTM, "166021.44 0.00 31N", "UTM at the origin"},
        {munich, " / ", 0, " / ", "unknown format gives the separator alone"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(FormatPosition(c.position, c.separator, c.format), c.expected);
    }
}

TEST(CoordinateFormat, ParsePosition)
{
    struct Case {
        const char *longitudeText;
        int longitudeHemisphere;
        const char *latitudeText;
        int latitudeHemisphere;
        int format;
        int result;
        double latitude;
        double longitude;
        const char *legend;
    };
    // Every case starts from latitude 1.5, longitude 2.5.
    const Case cases[] = {
        {"11.516667", 0, "48.1173", 0, kFormatDD, 1, 48.1173, 11.516667, "decimal degrees"},
        {"11.5", 1, "33.9", 1, kFormatDD, 1, -33.9, -11.5, "hemisphere 1 negates"},
        {"01131.0000", 0, "4807.0380", 1, kFormatDDMM, 1, -48.1173, 11.516666666666667,
         "minutes, southern"},
        {"17959.9999", 1, "0000.6", 0, kFormatDDMM, 1, 0.01, -179.99999833333333,
         "three degree digits, western"},
        {"1131", 0, "480702.28", 0, kFormatDDMMSS, 1, 48.1173, 0.19194444444444444,
         "seconds; four digits read as minutes and seconds"},
        {"-113100.00", 0, "-480702.28", 1, kFormatDDMMSS, 1, 48.1173, -11.516666666666667,
         "typed sign kept and then multiplied by the hemisphere"},
        {"abc", 1, "", 1, kFormatDDMM, 1, 1.5, 2.5, "unreadable and blank keep the values"},
        {"  ", 1, "N", 0, kFormatDDMMSS, 1, 1.5, 2.5, "no number: no conversion, no sign"},
        {"1", 0, "1", 0, 0, 0, 1.5, 2.5, "format 0 is refused"},
        {"1", 0, "1", 0, kFormatUTM, 0, 1.5, 2.5, "UTM text is not parsed here"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CGeoPosition p(1.5, 2.5, 7.0);
        EXPECT_EQ(ParsePosition(p, c.longitudeText, c.longitudeHemisphere, c.latitudeText,
                                c.latitudeHemisphere, c.format),
                  c.result);
        EXPECT_NEAR(p.m_latitude, c.latitude, 1e-12);
        EXPECT_NEAR(p.m_longitude, c.longitude, 1e-12);
        EXPECT_EQ(p.m_height, 7.0);
    }
}

TEST(UTM, BandLetters)
{
    struct Case {
        double latitude;
        char letter;
        const char *legend;
    };
    const Case cases[] = {
        {84.0, 'X', "84 is still X"},
        {84.5, 'Z', "north of 84"},
        {72.0, 'X', "X starts at 72"},
        {64.0, 'W', "lower bound inclusive"},
        {48.1173, 'U', "Munich"},
        {0.0, 'N', "equator is N"},
        {-0.0001, 'M', "just south of the equator"},
        {-33.9, 'H', "I is skipped"},
        {-80.0, 'C', "-80 is still C"},
        {-80.1, 'Z', "south of -80"},
        {kNaN, 'Z', "not a number"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(UTMLetterDesignator(c.latitude), c.letter);
    }
}

TEST(UTM, Zones)
{
    struct Case {
        double latitude;
        double longitude;
        const char *zone;
        const char *legend;
    };
    const Case cases[] = {
        {48.1173, 11.516667, "32U", "regular zone"},
        {60.0, 5.0, "32V", "south-west Norway widens 32"},
        {60.0, 12.0, "33V", "east edge of the Norway block is exclusive"},
        {64.0, 5.0, "31W", "north edge of the Norway block is exclusive"},
        {78.0, 8.9, "31X", "Svalbard 31"},
        {78.0, 10.0, "33X", "Svalbard 33"},
        {78.0, 21.0, "35X", "Svalbard 35"},
        {78.0, 40.0, "37X", "Svalbard 37"},
        {84.0, 10.0, "32X", "Svalbard rule ends below 84"},
        {84.5, 10.0, "32Z", "beyond the bands, still converted"},
        {0.0, 180.0, "1N", "longitude 180 wraps to zone 1"},
        {0.0, 540.0, "1N", "longitude normalised by whole turns"},
        {-33.9, 18.4, "34H", "southern"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        double northing = 0.0;
        double easting = 0.0;
        std::string zone = "previous";
        LatLonToUTM(CGeoPosition(c.latitude, c.longitude, 0.0), northing, easting, zone);
        EXPECT_EQ(zone, c.zone);
    }
}

TEST(UTM, ReferenceValues)
{
    struct Case {
        double latitude;
        double longitude;
        double easting;
        double northing;
        const char *legend;
    };
    const Case cases[] = {
        {0.0, 3.0, 500000.0, 0.0, "central meridian on the equator"},
        {48.1173, 11.516667, 687299.5998901, 5332401.2466209, "Munich"},
        {-33.9, 18.4, 259583.2216420, 6245888.0454158, "Cape Town, false northing"},
        {60.0, 5.0, 276979.9264164, 6658157.2031317, "Norway, measured from zone 32"},
        {0.0, 180.0, 166021.4431793, 0.0, "antimeridian in zone 1"},
        {-0.0001, 0.0, 166021.4431798, 9999988.9317244, "just south: false northing"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        double northing = -1.0;
        double easting = -1.0;
        std::string zone;
        LatLonToUTM(CGeoPosition(c.latitude, c.longitude, 0.0), northing, easting, zone);
        EXPECT_NEAR(easting, c.easting, 1e-6);
        EXPECT_NEAR(northing, c.northing, 1e-6);
    }
}

TEST(UTM, RoundTripWithinAMillimetre)
{
    struct Case {
        double latitude;
        double longitude;
        const char *legend;
    };
    const Case cases[] = {
        {48.1173, 11.516667, "Munich"},     {-45.0, 170.0, "New Zealand"},
        {-0.0001, 0.0, "just south"},       {0.0001, 0.0, "just north"},
        {79.5, -60.0, "far north, band X"}, {-79.9, -120.0, "far south, band C"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        double northing = 0.0;
        double easting = 0.0;
        std::string zone;
        LatLonToUTM(CGeoPosition(c.latitude, c.longitude, 0.0), northing, easting, zone);
        CGeoPosition back(0.0, 0.0, 12.0);
        UTMToLatLon(back, northing, easting, zone);
        EXPECT_NEAR(back.m_latitude, c.latitude, kMillimetreDegrees);
        EXPECT_NEAR((back.m_longitude - c.longitude)
                        * std::cos(c.latitude * std::numbers::pi / 180.0),
                    0.0, kMillimetreDegrees);
        EXPECT_EQ(back.m_height, 12.0);
    }
}

TEST(UTM, ZoneTextOfTheInverse)
{
    // Easting/northing of 33.9 S 18.4 E in zone 34.
    constexpr double kEasting = 259583.2216420;
    constexpr double kNorthing = 6245888.0454158;
    const auto inverse = [](const char *zone) {
        CGeoPosition p;
        UTMToLatLon(p, kNorthing, kEasting, zone);
        return p;
    };
    const CGeoPosition south = inverse("34H");
    EXPECT_NEAR(south.m_latitude, -33.9, 1e-8);
    EXPECT_NEAR(south.m_longitude, 18.4, 1e-8);

    struct Case {
        const char *zone;
        const char *sameAs;
        const char *legend;
    };
    const Case cases[] = {
        {"34C", "34H", "C is southern"},
        {"34 N", "34H", "the letter is the blank right after the digits"},
        {" +34H", "34H", "leading blanks and sign before the number"},
        {"34N", "34Z", "N is northern"},
        {"34", "34Z", "no letter counts as northern"},
        {"34h", "34Z", "lower case is not below N"},
        {"", "0Z", "blank text: zone 0, northern"},
        {"H34", "0Z", "no number: zone 0, northern"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(inverse(c.zone), inverse(c.sameAs));
    }
    EXPECT_NE(inverse("34N"), south);
    // A zone west of -180 is written with "%d" and must come back through the "%u" read.
    EXPECT_EQ(inverse("-2N").m_longitude - inverse("1N").m_longitude, -18.0);
}

TEST(Distance, GreatCircle)
{
    struct Case {
        CGeoPosition from;
        CGeoPosition to;
        double expected;
        const char *legend;
    };
    constexpr double kOneDegree = 6378388.0 * 0.017453292519943295;
    const Case cases[] = {
        {CGeoPosition(47.0, 8.0, 300.0), CGeoPosition(48.0, 8.0, 300.0), kOneDegree,
         "one degree along a meridian at equal heights"},
        {CGeoPosition(0.0, 0.0, 0.0), CGeoPosition(1.0, 0.0, 1000.0),
         kOneDegree * (6378388.0 + 500.0) / 6378388.0, "height difference enlarges the sphere"},
        {CGeoPosition(1.0, 0.0, 1000.0), CGeoPosition(0.0, 0.0, 0.0),
         kOneDegree * (6378388.0 + 500.0) / 6378388.0, "height difference taken absolute"},
        {CGeoPosition(0.0, 0.0, 0.0), CGeoPosition(0.0, 180.0, 0.0), 6378388.0 * std::numbers::pi,
         "antipodes"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_NEAR(Distance(c.from, c.to), c.expected, 0.1);
    }
}

TEST(Distance, NeverNegativeOrNaN)
{
    // The point of the second case: this sum really rounds past 1, where acos gives NaN.
    const double phi = 0.31 * 0.017453292519943295;
    ASSERT_GT(std::cos(phi) * std::cos(phi) + std::sin(phi) * std::sin(phi), 1.0);

    struct Case {
        CGeoPosition from;
        CGeoPosition to;
        const char *legend;
    };
    const Case cases[] = {
        {CGeoPosition(48.1173, 11.516667, 0.0), CGeoPosition(48.1173, 11.516667, 0.0), "identical"},
        {CGeoPosition(0.31, 5.0, 0.0), CGeoPosition(0.31, 5.0, 0.0), "cosine rounds above 1"},
        {CGeoPosition(-33.9, 18.4, 50.0), CGeoPosition(-33.9, 18.4, 9000.0),
         "same place, different heights"},
        {CGeoPosition(kNaN, 0.0, 0.0), CGeoPosition(1.0, 1.0, 0.0), "not a number"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(Distance(c.from, c.to), 0.0);
    }
}

TEST(CDistance, Format)
{
    struct Case {
        double metres;
        int unitSystem;
        const char *expected;
        const char *legend;
    };
    const Case cases[] = {
        {10000.0, 1, "10000 m", "10000 m is not above the switch-over"},
        {10000.0, 2, "32808 feet", "imperial switches on metres too"},
        {10000.001, 1, "10 km", "just above the switch-over"},
        {10000.001, 2, "6.2139 miles", "1609.3 m miles, just above"},
        {10000.5, 1, "10.001 km", "five significant digits of 10.0005"},
        {10000.5, 2, "6.2142 miles", "miles of 10000.5 m"},
        {123456.0, 1, "123.46 km", "kilometres rounded to five digits"},
        {100.0, 3, "0.053996 nm", "nautic never switches to a smaller unit"},
        {0.0, 1, "0 m", "zero metric"},
        {0.0, 2, "0 feet", "zero imperial"},
        {0.0, 3, "0 nm", "zero nautic"},
        {-20000.0, 1, "-20000 m", "negative stays in the smaller unit"},
        {5.0, 0, "previous", "unit system 0 leaves the text"},
        {5.0, 4, "previous", "unit system 4 leaves the text"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        std::string out = "previous";
        CDistance(c.metres).Format(out, c.unitSystem);
        EXPECT_EQ(out, c.expected);
    }
}

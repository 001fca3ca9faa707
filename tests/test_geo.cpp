#include "base/GeoPosition.h"
#include "geo/CoordinateFormat.h"
#include "geo/Distance.h"
#include "geo/UTM.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <string>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// One millimetre on the ground, in degrees of latitude.
constexpr double kMillimetreDegrees = 0.001 / 111320.0;

} // namespace

TEST(CoordinateFormat, AnglesAndPositions)
{
    struct Case {
        CGeoPosition position;
        CoordinateFormat format;
        const char *separator, *expected, *legend;
    };
    const CGeoPosition munich(48.1173, 11.516667, 500.0);
    const Case cases[] = {
        {munich, CoordinateFormat::DDMM, "\n", "4807.0380 N\n1131.0000 E",
         "latitude first, line break"},
        {munich, CoordinateFormat::DDMMSS, ", ", "480702.28 N, 113100.00 E", "seconds"},
        {CGeoPosition(-0.5, -123.456789, 0.0), CoordinateFormat::DD, " ",
         "00.500000 S 123.456789 W",
         "sign dropped, padded to two degree digits, three widen the field"},
        {CGeoPosition(48.0 + 59.99999 / 60.0, 3e9, 0.0), CoordinateFormat::DDMM, " ",
         "4860.0000 N 214748364751150981180.0000 E", "minutes round up, no carry; huge saturates"},
        {CGeoPosition(48.0 + 7.0 / 60.0 + 59.999 / 3600.0, 8.5, 0.0), CoordinateFormat::DDMMSS, " ",
         "480760.00 N 083000.00 E", "seconds round up, no carry"},
        {CGeoPosition(), CoordinateFormat::DD, " ", "00.000000 S 00.000000 W",
         "zero is south and west"},
        {CGeoPosition(1e-9, 1e-9, 0.0), CoordinateFormat::DD, " ", "00.000000 N 00.000000 E",
         "tiny, north"},
        {CGeoPosition(kNaN, kNaN, 0.0), CoordinateFormat::DD, " ", "--- ---", "NaN: no number"},
        {CGeoPosition(48.5, kInf, 0.0), CoordinateFormat::DDMM, " : ", "4830.0000 N : ---",
         "infinity"},
        {CGeoPosition(-kInf, 11.5, 0.0), CoordinateFormat::DDMMSS, " ", "--- 113000.00 E",
         "minus infinity"},
        {CGeoPosition(kNaN, 11.5, 0.0), CoordinateFormat::UTM, " ", "---", "UTM of NaN"},
        {CGeoPosition(48.0, kInf, 0.0), CoordinateFormat::UTM, " ", "---", "UTM of infinity"},
        {CGeoPosition(91.0, 11.5, 0.0), CoordinateFormat::UTM, " ", "---", "UTM beyond a pole"},
        {CGeoPosition(48.0, -200.0, 0.0), CoordinateFormat::UTM, " ", "---", "UTM beyond -180"},
        {CGeoPosition(0.0, 180.0, 0.0), CoordinateFormat::UTM, " ", "166021.44 0.00 1N",
         "UTM at 180: zone 1, as at -180"},
        {munich, CoordinateFormat::UTM, " ", "687299.60 5332401.25 32U",
         "UTM easting, northing, zone"},
        {CGeoPosition(), CoordinateFormat::UTM, " ", "166021.44 0.00 31N", "UTM at the origin"},
        {munich, static_cast<CoordinateFormat>(0), " / ", " / ", "unknown: the separator alone"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(FormatPosition(c.position, c.separator, c.format), c.expected);
    }
    // No angle text in UTM: the text stays, but the suffix is still appended when asked.
    std::string out = "previous";
    FormatAngle(out, 48.1173, CoordinateFormat::UTM);
    EXPECT_EQ(out, "previous");
    EXPECT_EQ(FormatLatitude(CGeoPosition(1.0, 1.0, 0.0), CoordinateFormat::UTM, true), " N");
    EXPECT_EQ(FormatLongitude(CGeoPosition(-0.5, -0.5, 0.0), CoordinateFormat::DD, false),
              "00.500000");
}

// What the window shows; the bytes of ° (U+00B0), ′ (U+2032) and ″ (U+2033) are spelled out.
TEST(CoordinateFormat, DisplayedWithDegreeMinuteAndSecondSigns)
{
    struct Case {
        CGeoPosition position;
        CoordinateFormat format;
        const char *separator, *expected, *legend;
    };
    const CGeoPosition munich(48.0 + 8.414 / 60.0, 11.516667, 500.0);
    const Case cases[] = {
        {munich, CoordinateFormat::DDMM, "\n",
         "48\xC2\xB0 08.4140\xE2\x80\xB2 N\n11\xC2\xB0 31.0000\xE2\x80\xB2 E",
         "minutes: two digits, four decimals"},
        {munich, CoordinateFormat::DDMMSS, ", ",
         "48\xC2\xB0 08\xE2\x80\xB2 24.84\xE2\x80\xB3 N, "
         "11\xC2\xB0 31\xE2\x80\xB2 00.00\xE2\x80\xB3 E",
         "seconds: two digits, two decimals"},
        {CGeoPosition(48.0 + 8.0 / 60.0 + 20.75 / 3600.0, -5.0, 0.0), CoordinateFormat::DDMMSS, " ",
         "48\xC2\xB0 08\xE2\x80\xB2 20.75\xE2\x80\xB3 N 5\xC2\xB0 00\xE2\x80\xB2 "
         "00.00\xE2\x80\xB3 W",
         "no leading zero on the degrees, west"},
        {CGeoPosition(-0.5, -123.456789, 0.0), CoordinateFormat::DD, " ",
         "0.500000\xC2\xB0 S 123.456789\xC2\xB0 W", "decimal degrees with the sign"},
        {CGeoPosition(48.0 + 59.99999 / 60.0, 179.9999999, 0.0), CoordinateFormat::DDMM, " ",
         "49\xC2\xB0 00.0000\xE2\x80\xB2 N 180\xC2\xB0 00.0000\xE2\x80\xB2 E",
         "minutes that round up carry into the degrees"},
        {CGeoPosition(48.0 + 7.0 / 60.0 + 59.999 / 3600.0, 8.5, 0.0), CoordinateFormat::DDMMSS, " ",
         "48\xC2\xB0 08\xE2\x80\xB2 00.00\xE2\x80\xB3 N 8\xC2\xB0 30\xE2\x80\xB2 "
         "00.00\xE2\x80\xB3 E",
         "seconds that round up carry into the minutes"},
        {CGeoPosition(), CoordinateFormat::DDMM, " ",
         "0\xC2\xB0 00.0000\xE2\x80\xB2 S 0\xC2\xB0 00.0000\xE2\x80\xB2 W",
         "zero is south and west, as in the files"},
        {CGeoPosition(kNaN, -kInf, 0.0), CoordinateFormat::DDMMSS, " : ", "--- : ---", "no number"},
        {CGeoPosition(48.0, 3e9, 0.0), CoordinateFormat::DDMMSS, " ",
         "48\xC2\xB0 00\xE2\x80\xB2 00.00\xE2\x80\xB3 N 3000000000.000000\xC2\xB0 E",
         "huge: plain degrees, no overflow"},
        {CGeoPosition(48.1173, 11.516667, 0.0), CoordinateFormat::UTM, " ",
         "687299.60 5332401.25 32U", "UTM as in the files"},
        {munich, static_cast<CoordinateFormat>(0), " / ", " / ", "unknown: the separator alone"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(DisplayPosition(c.position, c.separator, c.format), c.expected);
    }
    EXPECT_EQ(DisplayAngle(48.5, CoordinateFormat::UTM), "");
}

TEST(CoordinateFormat, ParsePosition)
{
    struct Case {
        const char *longitudeText, *latitudeText;
        int longitudeHemisphere, latitudeHemisphere;
        CoordinateFormat format;
        int result;
        double latitude, longitude;
        const char *legend;
    };
    // Every case starts from latitude 1.5, longitude 2.5; a typed sign is kept and then multiplied
    // by the hemisphere.
    const Case cases[] = {
        {"11.516667", "48.1173", 0, 0, CoordinateFormat::DD, 1, 48.1173, 11.516667,
         "decimal degrees"},
        {"01131.0000", "4807.0380", 0, 1, CoordinateFormat::DDMM, 1, -48.1173, 11.516666666666667,
         "S"},
        {"1131", "480702.28", 1, 0, CoordinateFormat::DDMMSS, 1, 48.1173, -0.19194444444444444,
         "seconds, W"},
        {"-113100.00", "-480702.28", 0, 1, CoordinateFormat::DDMMSS, 1, 48.1173,
         -11.516666666666667, "sign"},
        {"abc", "  ", 1, 1, CoordinateFormat::DDMM, 1, 1.5, 2.5,
         "unreadable and blank keep the values"},
        {"11\xC2\xB0 31.0000\xE2\x80\xB2", "48\xC2\xB0 08\xE2\x80\xB2 20.75\xE2\x80\xB3", 1, 0,
         CoordinateFormat::DDMM, 1, 48.0 + 8.0 / 60.0 + 20.75 / 3600.0, -(11.0 + 31.0 / 60.0),
         "as the screen shows them, whatever the notation"},
        {"11\xC2\xB0 31.5'", "-48\xC2\xB0 30' 36\"", 0, 0, CoordinateFormat::DD, 1, -48.51, 11.525,
         "ASCII primes, a typed sign"},
        {"130.08\xC2\xB0", "48\xC2\xB0", 0, 1, CoordinateFormat::DDMMSS, 1, -48.0, 130.08,
         "degrees alone"},
        {"11\xC2\xB0 31.0000\xE2\x80\xB2 E", "31\xE2\x80\xB2 48\xC2\xB0", 0, 0,
         CoordinateFormat::DDMM, 1, 1.5, 2.5, "a letter, minutes first: kept, not misread"},
        {"1-2\xC2\xB0", "48\xC2\xB0 -5\xE2\x80\xB2", 0, 0, CoordinateFormat::DDMM, 1, 1.5, 2.5,
         "a sign inside a number or on the minutes: kept"},
        {"1", "1", 0, 0, static_cast<CoordinateFormat>(0), 0, 1.5, 2.5, "format 0 is refused"},
        {"1", "1", 0, 0, CoordinateFormat::UTM, 0, 1.5, 2.5, "UTM text is not parsed here"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CGeoPosition p(1.5, 2.5, 0.0);
        EXPECT_EQ(ParsePosition(p, c.longitudeText, c.longitudeHemisphere, c.latitudeText,
                                c.latitudeHemisphere, c.format),
                  c.result);
        EXPECT_NEAR(p.m_latitude, c.latitude, 1e-12);
        EXPECT_NEAR(p.m_longitude, c.longitude, 1e-12);
    }
}

// Zone and band of every row, easting/northing where a reference is given, and the way back
// within a millimetre where asked (widened zones reach beyond the series' accuracy).
TEST(UTM, ZonesBandsReferenceValuesAndRoundTrip)
{
    struct Case {
        double latitude, longitude;
        const char *zone;
        double easting, northing; // NaN: no reference value
        bool back;
        const char *legend;
    };
    const Case cases[] = {
        {0.0, 3.0, "31N", 500000.0, 0.0, true, "central meridian on the equator"},
        {48.1173, 11.516667, "32U", 687299.5998901, 5332401.2466209, true, "Munich"},
        {-33.9, 18.4, "34H", 259583.2216420, 6245888.0454158, true, "southern, I is skipped"},
        {-0.0001, 0.0, "31M", 166021.4431798, 9999988.9317244, true, "just south: false northing"},
        {60.0, 5.0, "32V", 276979.9264164, 6658157.2031317, false, "south-west Norway widens 32"},
        {56.0, 3.0, "32V", kNaN, kNaN, false, "south and west edges of the Norway block inclusive"},
        {60.0, 12.0, "33V", kNaN, kNaN, true, "east edge of the Norway block is exclusive"},
        {64.0, 5.0, "31W", kNaN, kNaN, true, "north edge exclusive; W starts at 64"},
        {72.0, 10.0, "33X", kNaN, kNaN, false, "X and Svalbard start at 72"},
        {78.0, 8.9, "31X", kNaN, kNaN, false, "Svalbard 31"},
        {78.0, 21.0, "35X", kNaN, kNaN, false, "Svalbard 35 from 21"},
        {78.0, 33.0, "37X", kNaN, kNaN, false, "Svalbard 37 from 33"},
        {84.0, 10.0, "32X", kNaN, kNaN, true, "84 is still X, the Svalbard rule ends below"},
        {84.5, 10.0, "32Z", kNaN, kNaN, false, "north of the bands, still converted"},
        {-80.0, -120.0, "11C", kNaN, kNaN, true, "-80 is still C"},
        {-80.1, -120.0, "11Z", kNaN, kNaN, false, "south of the bands"},
        {kNaN, 10.0, "32Z", kNaN, kNaN, false, "not a number"},
        {0.0, 180.0, "1N", 166021.4431793, 0.0, true, "longitude 180 wraps to zone 1"},
        {0.0, 540.0, "1N", kNaN, kNaN, true, "longitude normalised by whole turns"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        double northing = -1.0, easting = -1.0;
        std::string zone = "previous";
        LatLonToUTM(CGeoPosition(c.latitude, c.longitude, 0.0), northing, easting, zone);
        EXPECT_EQ(zone, c.zone);
        if (!std::isnan(c.easting)) {
            EXPECT_NEAR(easting, c.easting, 1e-6);
            EXPECT_NEAR(northing, c.northing, 1e-6);
        }
        if (!c.back)
            continue;
        CGeoPosition back(0.0, 0.0, 12.0);
        UTMToLatLon(back, northing, easting, zone);
        EXPECT_NEAR(back.m_latitude, c.latitude, kMillimetreDegrees);
        EXPECT_NEAR(std::remainder(back.m_longitude - c.longitude, 360.0)
                        * std::cos(c.latitude * std::numbers::pi / 180.0),
                    0.0, kMillimetreDegrees);
        EXPECT_EQ(back.m_height, 12.0);
    }
}

TEST(UTM, ZoneTextOfTheInverse)
{
    // Easting/northing of 33.9 S 18.4 E in zone 34.
    const auto inverse = [](const char *zone) {
        CGeoPosition p;
        UTMToLatLon(p, 6245888.0454158, 259583.2216420, zone);
        return p;
    };
    struct Case {
        const char *zone, *sameAs, *legend;
    };
    const Case cases[] = {
        {"34C", "34H", "C is southern"},
        {"34 N", "34H", "the letter is the blank right after the digits"},
        {" +34H", "34H", "leading blanks and sign before the number"},
        {"34", "34N", "no letter counts as northern"},
        {"34h", "34N", "lower case is not below N"},
        {"", "0Z", "blank text: zone 0, northern"},
        {"H34", "0Z", "no number: zone 0, northern"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(inverse(c.zone), inverse(c.sameAs));
    }
    EXPECT_NE(inverse("34N"), inverse("34H"));
    // A zone west of -180 is written with "%d" and must come back through the "%u" read.
    EXPECT_EQ(inverse("-2N").m_longitude - inverse("1N").m_longitude, -18.0);
}

TEST(Distance, GreatCircleNeverNegativeOrNaN)
{
    // This sum really rounds past 1, where acos gives NaN.
    const double phi = 0.31 * 0.017453292519943295;
    ASSERT_GT(std::cos(phi) * std::cos(phi) + std::sin(phi) * std::sin(phi), 1.0);

    struct Case {
        CGeoPosition from, to;
        double expected;
        const char *legend;
    };
    constexpr double kOneDegree = 6378388.0 * 0.017453292519943295;
    constexpr double kHigher = kOneDegree * (6378388.0 + 500.0) / 6378388.0;
    const Case cases[] = {
        {{47.0, 8.0, 300.0}, {48.0, 8.0, 300.0}, kOneDegree, "one degree, equal heights"},
        {{0.0, 0.0, 0.0}, {1.0, 0.0, 1000.0}, kHigher, "height difference enlarges the sphere"},
        {{1.0, 0.0, 1000.0}, {0.0, 0.0, 0.0}, kHigher, "height difference taken absolute"},
        {{0.0, 0.0, 0.0}, {0.0, 180.0, 0.0}, 6378388.0 * std::numbers::pi, "antipodes"},
        {{0.31, 5.0, 0.0}, {0.31, 5.0, 0.0}, 0.0, "same place, cosine rounds above 1"},
        {{kNaN, 0.0, 0.0}, {1.0, 1.0, 0.0}, 0.0, "not a number"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_NEAR(Distance(c.from, c.to), c.expected, 0.1);
    }
}

TEST(CDistance, Format)
{
    struct Case {
        double metres;
        UnitSystem unitSystem;
        const char *expected, *legend;
    };
    const Case cases[] = {
        {10000.0, UnitSystem::Metric, "10000 m", "10000 m is not above the switch-over"},
        {10000.0, UnitSystem::Imperial, "32808 feet", "imperial switches on metres too"},
        {10000.001, UnitSystem::Metric, "10 km", "just above the switch-over"},
        {10000.001, UnitSystem::Imperial, "6.2139 miles", "1609.3 m miles, just above"},
        {100.0, UnitSystem::Nautic, "0.053996 nm", "nautic never switches to a smaller unit"},
        {-20000.0, UnitSystem::Metric, "-20000 m", "negative stays in the smaller unit"},
        {5.0, static_cast<UnitSystem>(0), "previous", "unit system 0 leaves the text"},
        {5.0, static_cast<UnitSystem>(4), "previous", "unit system 4 leaves the text"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        std::string out = "previous";
        CDistance(c.metres).Format(out, c.unitSystem);
        EXPECT_EQ(out, c.expected);
    }
}

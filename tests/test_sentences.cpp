#include "NMEATestUtils.h"
#include "nmea/NMEAParser.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

// Sets TZ for one test and puts back the UTC the suite runs in.
struct ScopedTimeZone {
    explicit ScopedTimeZone(const char *tz) { Set(tz); }
    ~ScopedTimeZone() { Set("UTC"); }
    static void Set(const char *tz)
    {
        setenv("TZ", tz, 1);
        tzset();
    }
};

// A GSA line with the given slots (padded to 12 empty ones) and dilution fields.
std::string GSA(const char *fix, std::vector<std::string> slots, const std::string &dops)
{
    slots.resize(12);
    std::string body = std::string("GPGSA,A,") + fix;
    for (const std::string &s : slots)
        body += "," + s;
    return Sentence(body + "," + dops);
}

} // namespace

TEST(NMEAParser, DispatchesTheFiveTagsOnly)
{
    const struct {
        std::string line;
        int type;
        const char *legend;
    } cases[] = {
        {Sentence("GPGGA,1"), kSentenceGGA, "GGA"},
        {Sentence("GPGSA,A"), kSentenceGSA, "GSA"},
        {Sentence("GPGSV,1"), kSentenceGSV, "GSV"},
        {Sentence("GPRMC,1"), kSentenceRMC, "RMC"},
        {"xx$GPVTG,1\r\n", kSentenceVTG, "VTG, leading junk and no checksum"},
        {Sentence("gpgga,1"), kSentenceNone, "lower-case tag"},
        {Sentence("GPZDA,1"), kSentenceNone, "unknown tag"},
        {Sentence("GNGGA,1"), kSentenceNone, "other talker"},
        {Sentence("GPGGAX,1"), kSentenceNone, "longer tag"},
        {std::string("$GPVTG,1\0*00\r\n", 14), kSentenceVTG, "a NUL ends the line: no checksum"},
        {"A Reception-Timeout occured!\r\n", kSentenceNone, "reader time-out line"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CNMEAParser p;
        EXPECT_EQ(p.Parse(c.line), c.type);
    }
}

// One parser through the table: empty and broken fields keep the previous values.
TEST(GGASentence, PositionHDOPAndKeptFields)
{
    CNMEAParser p;
    const CGGASentence &g = p.m_gga;
    const struct {
        std::string body;
        double lat, lon, hdop, altitude;
        int satellites;
        const char *legend;
    } cases[] = {
        {"GPGGA,1,4807.038,S,01131.000,W,1,08,0.9,545.4,M", -48.1173, -11.516666666666667, 0.9,
         545.4, 8, "S W"},
        {"GPGGA,2,4807.038,s,01131.000,w,,x8,,  ,M", 48.1173, 11.516666666666667, 0.9, 545.4, 8,
         "lower-case hemisphere stays positive; empty, blank and letters keep the values"},
        {"GPGGA,3,-4807.038,N,18000,E,1,12abc,0.0", -48.1173, 180.0, 50.0, 545.4, 12,
         "sign kept by the value; partial number; HDOP 0 is 50"},
        {"GPGGA,4,0.5,N,59.99,E,1,08,9", 0.008333333333333333, 0.9998333333333334, 9.0, 545.4, 8,
         "no whole degrees"},
        {"GPGGA,5,,N,,E", 0.0, 0.0, 9.0, 545.4, 8, "the position is rebuilt every time"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        ASSERT_EQ(p.Parse(Sentence(c.body)), kSentenceGGA);
        EXPECT_DOUBLE_EQ(g.m_position.m_latitude, c.lat);
        EXPECT_DOUBLE_EQ(g.m_position.m_longitude, c.lon);
        EXPECT_EQ(g.m_hdop, c.hdop);
        EXPECT_EQ(g.m_altitude, c.altitude);
        EXPECT_EQ(g.m_satellites, c.satellites);
    }
    ASSERT_EQ(p.Parse("$GPGGA,6,,,,,0,03,7.0*00\r\n"), kSentenceNone);
    EXPECT_EQ(g.m_hdop, 9.0) << "bad checksum touches nothing";
    ASSERT_EQ(p.Parse(Sentence("GPGGA")), kSentenceGGA);
    EXPECT_EQ(g.m_time, "") << "a missing text field becomes empty";
}

// One parser through the table: the minute cache and the values kept by broken lines carry over.
TEST(RMCSentence, SecondsOfDayAndLocalDateTime)
{
    const ScopedTimeZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
    CNMEAParser p;
    const CRMCSentence &r = p.m_rmc;
    const struct {
        const char *body;
        double longitude, secondsOfDay;
        std::time_t dateTime;
        const char *legend;
    } cases[] = {
        {"GPRMC,123519,A,4807.038,N,01131.000,W,010.0,084.4,230304,003.1,W", -11.516666666666667,
         45319.0, 1080041719, "winter, UTC+1"},
        {"GPRMC,123519.50,A,,,,,,,230304", 0.0, 45319.5, 1080041719, "fraction dropped"},
        {"GPRMC,12351,A,,,,,,,230304", 0.0, 0.0, 1080041719, "short time: date-time kept"},
        {"GPRMC,123519,A,,,,,,,2303041", 0.0, 0.0, 1080041719, "long date"},
        {"GPRMC,123519,A,,,,,,,23034", 0.0, 0.0, 1080041719, "short date"},
        {"GPRMC,120000,A,,,,,,,010704", 0.0, 43200.0, 1088676000, "summer, UTC+2"},
        {"GPRMC,120059,A,,,,,,,010704", 0.0, 43259.0, 1088676059, "same minute from the cache"},
        {"GPRMC,120075,A,,,,,,,010704", 0.0, 43275.0, 1088676075, "seconds beyond 59 normalised"},
        {"GPRMC,1a0000,A,,,,,,,010704", 0.0, 3600.0, 1088636400, "broken hour digits read as atoi"},
        {"GPRMC,235959,A,,,,,,,311299", 0.0, 86399.0, 4102441199, "no century rule: 99 is 2099"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        ASSERT_EQ(p.Parse(Sentence(c.body)), kSentenceRMC);
        EXPECT_DOUBLE_EQ(r.m_position.m_longitude, c.longitude) << "rebuilt every time";
        EXPECT_EQ(r.m_secondsOfDay, c.secondsOfDay);
        EXPECT_EQ(r.m_dateTime, c.dateTime);
        EXPECT_DOUBLE_EQ(r.m_speedKmh, 18.52) << "empty speed keeps the previous";
    }
}

TEST(GSASentence, SlotsAndUsedSet)
{
    CNMEAParser p;
    const CGSASentence &g = p.m_gsa;
    const std::array<std::int32_t, 12> first{4, 5, 0, 9, 12, 0, 0, 24, 0, 0, 0, 0};
    ASSERT_EQ(p.Parse(GSA("3", {"04", "05", "", "09", "12", "", "", "24"}, "2.5,1.3,2.1")),
              kSentenceGSA);
    EXPECT_EQ(g.m_prn, first);
    EXPECT_FALSE(g.IsUsed(1));
    EXPECT_EQ(g.m_used.GetSize(), 6) << "0, 4, 5, 9, 12, 24 once each";

    ASSERT_EQ(p.Parse(GSA("3", {"04"}, ",,")), kSentenceGSA);
    EXPECT_EQ(g.m_prn, first) << "empty slots keep their numbers";
    for (int prn : {0, 4, 5, 9, 12, 24})
        EXPECT_TRUE(g.IsUsed(prn)) << prn;
    EXPECT_EQ(g.m_pdop, 2.5) << "empty dilution keeps the previous";

    ASSERT_EQ(p.Parse(GSA("3", {"07", "xx"}, "1,1,1")), kSentenceGSA);
    EXPECT_EQ(g.m_prn[1], 5) << "letters do not convert";
    EXPECT_FALSE(g.IsUsed(5)) << "and do not count as used";
    EXPECT_TRUE(g.IsUsed(7));
    EXPECT_FALSE(g.IsUsed(4)) << "the used set is rebuilt";

    p.m_gsa.Reset();
    EXPECT_EQ(g.m_prn, (std::array<std::int32_t, 12>{}));
    EXPECT_EQ(g.m_pdopHistory.GetSize(), 0);
}

TEST(GSASentence, DilutionHistories)
{
    CNMEAParser p;
    const CGSASentence &g = p.m_gsa;
    ASSERT_EQ(p.Parse(GSA("1", {}, "0.0,3.0,4.0")), kSentenceGSA);
    ASSERT_EQ(p.Parse(GSA("1", {}, ",,")), kSentenceGSA);
    EXPECT_EQ(g.m_hdopHistory.GetSize(), 0) << "PDOP 0 or empty feeds nothing";

    for (int i = 1; i <= 61; ++i)
        ASSERT_EQ(p.Parse(GSA("3", {}, std::to_string(i) + ".0,1.5," + std::to_string(2 * i))),
                  kSentenceGSA);
    EXPECT_EQ(g.m_pdopHistory.GetSize(), 60);
    EXPECT_EQ(g.GetAveragePDOP(), 31.5) << "mean of 2..61";
    EXPECT_EQ(g.GetAverageHDOP(), 1.5);
    EXPECT_EQ(g.GetAverageVDOP(), 63.0);

    ASSERT_EQ(p.Parse(GSA("3", {}, "nan,inf,1")), kSentenceGSA);
    EXPECT_TRUE(std::isnan(g.GetAveragePDOP()));
    for (int i = 0; i < 60; ++i)
        ASSERT_EQ(p.Parse(GSA("3", {}, "2.0,1.0,1")), kSentenceGSA);
    EXPECT_EQ(g.GetAveragePDOP(), 2.0) << "garbage slides out of the average";
    EXPECT_EQ(g.GetAverageHDOP(), 1.0);
}

TEST(GSVSentence, GroupFillsTableInPlace)
{
    CNMEAParser p;
    const CGSVSentence &v = p.m_gsv;
    const std::string messages[] = {
        Sentence("GPGSV,3,1,10,01,40,083,46,02,17,308,41,03,07,344,39,04,22,228,45"),
        Sentence("GPGSV,3,2,10,05,01,010,10,06,02,020,20,07,03,030,30,08,04,040,40"),
        Sentence("GPGSV,3,3,10,09,05,050,,10,06,060,xx"),
    };
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(p.Parse(messages[i]), kSentenceGSV);
        EXPECT_EQ(v.m_moreToCome, i < 2) << "message " << i + 1;
    }
    EXPECT_EQ(v.m_inView, 10);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(v.m_satellites[static_cast<std::size_t>(i)].m_prn, i + 1);
    EXPECT_EQ(v.m_satellites[4].m_snr, 10);
    EXPECT_EQ(v.m_satellites[8].m_snr, 0) << "empty SNR keeps the (reset) value";
    EXPECT_EQ(v.m_satellites[9].m_snr, -1) << "letters give -1";

    // Next group: fewer satellites; entries beyond stay, empty SNR keeps the previous.
    ASSERT_EQ(p.Parse(Sentence("GPGSV,1,1,02,11,10,100,,12,11,110,")), kSentenceGSV);
    EXPECT_EQ(v.m_satellites[0].m_prn, 11);
    EXPECT_EQ(v.m_satellites[0].m_snr, 46);
    EXPECT_EQ(v.m_satellites[2].m_prn, 3);
}

TEST(GSVSentence, OutOfTableMessagesAndShortGroups)
{
    const struct {
        std::string body;
        int entry, prn; // the entry looked at, the PRN expected there
        const char *legend;
    } cases[] = {
        {"GPGSV,4,4,13,13,10,100,30", 0, 0, "fourth message is not stored"},
        {"GPGSV,1,0,13,13,10,100,30", 0, 0, "message number 0 is not stored"},
        {"GPGSV,1,2147483647,1,13,10,100,30", 0, 0, "huge message number"},
        {"GPGSV,1,-2147483647,1,13,10,100,30", 0, 0, "huge negative message number"},
        {"GPGSV,1,1,1,13,10,100", 0, 0, "incomplete group is skipped"},
        {"GPGSV,1,1,1,13,10,100,", 0, 13, "empty last field completes the group"},
        {"GPGSV,3,3,9,13,10,100,30,14,1,1,1,15,1,1,1", 8, 13, "third message starts at entry 8"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CNMEAParser p;
        ASSERT_EQ(p.Parse(Sentence(c.body)), kSentenceGSV);
        EXPECT_EQ(p.m_gsv.m_satellites[static_cast<std::size_t>(c.entry)].m_prn, c.prn);
    }
}

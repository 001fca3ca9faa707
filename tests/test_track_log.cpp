#include "FileTestUtils.h"
#include "NMEATestUtils.h"
#include "nmea/NMEAParser.h"
#include "receiver/GpxTrackFile.h"
#include "receiver/ReceiverSession.h"
#include "receiver/TrackLog.h"
#include "receiver/TrackRules.h"

#include <csignal>
#include <gtest/gtest.h>
#include <pugixml.hpp>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace
{

// What the rules decided, as text: "P hhmmss" per point, "|" per segment end that closed one.
class CRecordingSink : public CTrackSink
{
public:
    void AddPoint(const CTrackLogPoint &point) override
    {
        m_open = true;
        m_points.push_back(point);
        const auto sod = (point.timeUtcMs.value_or(-1000) / 1000) % 86400;
        m_trace += " " + std::to_string(sod);
    }
    void EndSegment() override
    {
        if (m_open)
            m_trace += " |";
        m_open = false;
    }
    std::string m_trace;
    std::vector<CTrackLogPoint> m_points;
    bool m_open = false;
};

std::string Gga(int sod, bool fix, const char *lat = "4808.0000")
{
    char time[40];
    std::snprintf(time, sizeof time, "%02d%02d%02d.00", sod / 3600, sod / 60 % 60, sod % 60);
    return Sentence(std::string("GPGGA,") + time + "," + lat + ",N,01134.0000,E,"
                    + (fix ? "1" : "0") + ",07,1.2,520.0,M,47.0,M,,");
}

std::string Rmc(int sod, bool fix, const char *date = "140626")
{
    char time[40];
    std::snprintf(time, sizeof time, "%02d%02d%02d.00", sod / 3600, sod / 60 % 60, sod % 60);
    return Sentence(std::string("GPRMC,") + time + "," + (fix ? "A" : "V")
                    + ",4808.0000,N,01134.0000,E,010.0,090.0," + date + ",,");
}

// Epochs "t" (a fix), "-" (none) or "t?" (GGA only) at the seconds given, 1 Hz.
struct Epoch {
    int sod;
    bool fix;
};

std::string Trace(const std::vector<Epoch> &epochs, CTrackRate rate = {})
{
    CNMEAParser parser(GnssMode::AllSystems);
    CTrackRules rules;
    rules.SetRate(rate);
    CRecordingSink sink;
    for (const Epoch &e : epochs) {
        for (const std::string &line : {Gga(e.sod, e.fix), Rmc(e.sod, e.fix)})
            rules.OnSentence(parser.Parse(line), parser, sink);
    }
    rules.Finish(sink);
    return sink.m_trace;
}

TEST(TrackRules, SegmentsAndRates)
{
    const int t0 = 9 * 3600;
    struct Case {
        const char *legend;
        std::vector<Epoch> epochs;
        CTrackRate rate;
        std::string trace;
    };
    const std::string s = std::to_string(t0);
    const auto at = [&](int i) { return std::to_string(t0 + i); };
    const Case cases[] = {
        {"every second a point",
         {{t0, true}, {t0 + 1, true}, {t0 + 2, true}},
         {},
         " " + s + " " + at(1) + " " + at(2) + " |"},
        {"a loss ends the segment",
         {{t0, true}, {t0 + 1, false}, {t0 + 2, true}},
         {},
         " " + s + " | " + at(2) + " |"},
        {"a gap of exactly 10 s does not",
         {{t0, true}, {t0 + 10, true}},
         {},
         " " + s + " " + at(10) + " |"},
        {"a gap over 10 s does",
         {{t0, true}, {t0 + 11, true}},
         {},
         " " + s + " | " + at(11) + " |"},
        {"time running back does",
         {{t0 + 5, true}, {t0, true}},
         {},
         " " + at(5) + " | " + s + " |"},
        {"5 s rate",
         {{t0, true}, {t0 + 1, true}, {t0 + 4, true}, {t0 + 5, true}, {t0 + 9, true}},
         {CTrackRate::Kind::Seconds, 5.0},
         " " + s + " " + at(5) + " |"},
        {"the first fix after a loss is written whatever the rate",
         {{t0, true}, {t0 + 1, false}, {t0 + 2, true}, {t0 + 3, true}},
         {CTrackRate::Kind::Seconds, 5.0},
         " " + s + " | " + at(2) + " |"},
        {"a standing receiver at a minimum distance: one point",
         {{t0, true}, {t0 + 1, true}, {t0 + 2, true}},
         {CTrackRate::Kind::Distance, 5.0},
         " " + s + " |"},
        {"no fix at all: nothing", {{t0, false}, {t0 + 1, false}}, {}, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(Trace(c.epochs, c.rate), c.trace);
    }
}

TEST(TrackRules, PointValues)
{
    CNMEAParser parser(GnssMode::AllSystems);
    CTrackRules rules;
    rules.SetAltitudeOffset(2.5);
    CRecordingSink sink;
    for (const std::string &line :
         {Sentence("GPGGA,235959.50,4808.0000,N,01134.0000,W,2,09,0.9,500.0,M,47.0,M,,"),
          Sentence("GPRMC,235959.50,A,4808.0000,N,01134.0000,W,010.0,359.5,311226,,"),
          // GGA only, past midnight: the next day.
          Sentence("GPGGA,000000.50,4808.0000,N,01134.0000,W,1,09,0.9,500.0,M,47.0,M,,"),
          Sentence("GPGGA,000001.50,4808.0000,N,01134.0000,W,1,09,0.9,500.0,M,47.0,M,,")})
        rules.OnSentence(parser.Parse(line), parser, sink);
    rules.Finish(sink);
    ASSERT_EQ(sink.m_points.size(), 3u);
    const CTrackLogPoint &p = sink.m_points[0];
    EXPECT_NEAR(p.position.m_latitude, 48.1333333, 1e-6);
    EXPECT_NEAR(p.position.m_longitude, -11.5666667, 1e-6);
    // The altimeter's: altitude less the geoid separation, plus the correction.
    EXPECT_DOUBLE_EQ(*p.elevation, 500.0 - 47.0 + 2.5);
    EXPECT_EQ(*p.timeUtcMs, 1798761599500LL); // 2026-12-31T23:59:59.5Z
    EXPECT_NEAR(*p.speedMs, 10.0 * 1852.0 / 3600.0, 1e-9);
    EXPECT_DOUBLE_EQ(*p.course, 359.5);
    EXPECT_EQ(*p.satellites, 9);
    EXPECT_DOUBLE_EQ(*p.hdop, 0.9);
    EXPECT_EQ(p.fix, "dgps");
    EXPECT_EQ(*sink.m_points[1].timeUtcMs, 1798761600500LL);
    EXPECT_FALSE(sink.m_points[1].speedMs);
}

TEST(TrackRules, MissingValuesAreLeftOut)
{
    CNMEAParser parser(GnssMode::AllSystems);
    CTrackRules rules;
    CRecordingSink sink;
    // No HDOP (the parser's stand-in is no measurement), no RMC: no date, speed or course.
    rules.OnSentence(parser.Parse(Sentence("GPGGA,093000.00,4808.0000,N,01134.0000,E,1,07,,520.0,"
                                           "M,47.0,M,,")),
                     parser, sink);
    rules.Finish(sink);
    ASSERT_EQ(sink.m_points.size(), 1u);
    const CTrackLogPoint &p = sink.m_points[0];
    EXPECT_FALSE(p.hdop);
    EXPECT_FALSE(p.timeUtcMs);
    EXPECT_FALSE(p.speedMs);
    EXPECT_FALSE(p.course);
    EXPECT_EQ(*p.satellites, 7);
}

TEST(TrackRules, FileName)
{
    std::tm tm{};
    tm.tm_year = 126;
    tm.tm_mon = 5;
    tm.tm_mday = 4;
    tm.tm_hour = 9;
    tm.tm_min = 3;
    tm.tm_sec = 7;
    EXPECT_EQ(TrackFileName(tm), "2026-06-04_090307.gpx");
}

CTrackLogPoint Point(int i)
{
    CTrackLogPoint p;
    p.position = {48.0 + i * 1e-4, 11.0, 0.0};
    p.elevation = 500.0;
    p.timeUtcMs = 1781429400000LL + i * 1000;
    p.speedMs = 12.5;
    p.course = 90.0;
    p.satellites = 8;
    p.hdop = 1.1;
    p.fix = "3d";
    return p;
}

// Points and segments of a GPX file, or -1 when it is not well-formed or lacks <gpx>.
std::pair<int, int> Count(const std::string &path)
{
    pugi::xml_document doc;
    if (!doc.load_file(path.c_str()) || !doc.child("gpx"))
        return {-1, -1};
    int points = 0, segments = 0;
    for (pugi::xml_node seg : doc.child("gpx").child("trk").children("trkseg")) {
        ++segments;
        for (pugi::xml_node pt : seg.children("trkpt")) {
            (void)pt;
            ++points;
        }
    }
    return {points, segments};
}

TEST(GpxTrackFile, ValidAfterEveryFlush)
{
    CTempDir dir;
    const std::string path = dir / "t.gpx";
    CGpxTrackFile file;
    ASSERT_TRUE(file.Create(path, "drive", 1781429400, true));
    EXPECT_EQ(Count(path), std::make_pair(0, 0));
    file.AddPoint(Point(0));
    EXPECT_EQ(Count(path), std::make_pair(0, 0)) << "nothing before a flush";
    file.Flush();
    EXPECT_EQ(Count(path), std::make_pair(1, 1));
    file.AddPoint(Point(1));
    file.EndSegment();
    file.Flush();
    EXPECT_EQ(Count(path), std::make_pair(2, 1));
    file.AddPoint(Point(2));
    file.Flush();
    EXPECT_EQ(Count(path), std::make_pair(3, 2));
    file.Close();
    EXPECT_EQ(Count(path), std::make_pair(3, 2));
    const std::string text = ReadFile(path);
    EXPECT_NE(text.find("<time>2026-06-14T09:30:00Z</time>"), std::string::npos) << text;
    EXPECT_NE(text.find("<gpxtpx:speed>12.50</gpxtpx:speed>"), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 7), "</gpx>\n");

    CGpxTrackFile again;
    EXPECT_FALSE(again.Create(path, "drive", 0, true)) << "exclusive: never replaces";
    EXPECT_EQ(again.GetErrorCode(), EEXIST);
}

TEST(GpxTrackFile, FullDiskLeavesValidFile)
{
    CTempDir dir;
    const std::string path = dir / "full.gpx";
    CGpxTrackFile file;
    std::string failure;
    file.SetFailureHandler([&](const std::string &error) { failure = error; });
    ASSERT_TRUE(file.Create(path, "drive", 1781429400, true));
    // The file size limit fails a write as a full disk does (EFBIG rather than ENOSPC).
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    rlimit small = old;
    small.rlim_cur = 4000;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    int flushes = 0;
    for (int i = 0; i < 200 && file.IsOpen(); ++i) {
        file.AddPoint(Point(i));
        if (i % 3 == 2) {
            file.Flush();
            ++flushes;
        }
    }
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.GetErrorCode(), EFBIG);
    EXPECT_EQ(failure, file.GetErrorText());
    const auto [points, segments] = Count(path);
    EXPECT_EQ(points, file.GetWrittenPoints());
    EXPECT_GT(points, 0);
    EXPECT_LT(points, 200) << "the limit was met";
    EXPECT_EQ(segments, 1);
}

TEST(TrackLog, NamesFilesByTheClockAndNeverReplaces)
{
    CTempDir dir;
    const std::string folder = dir / "Tracks";
    CTrackLog log([] { return std::time_t{1781429400}; });
    CNMEAParser parser(GnssMode::AllSystems);
    for (int run = 0; run < 2; ++run) {
        log.Start(folder);
        for (const std::string &line : {Gga(34200, true), Rmc(34200, true)})
            log.OnSentence(parser.Parse(line), parser);
        log.Flush();
        log.Stop();
    }
    EXPECT_EQ(log.GetPath(), folder + "/2026-06-14_093000-2.gpx");
    EXPECT_EQ(Count(folder + "/2026-06-14_093000.gpx"), std::make_pair(1, 1));
    EXPECT_EQ(Count(folder + "/2026-06-14_093000-2.gpx"), std::make_pair(1, 1));
    EXPECT_FALSE(log.TakeError());
}

} // namespace

namespace
{

TEST(TrackRules, StoredRate)
{
    struct Case {
        std::int32_t stored;
        CTrackRate rate;
    };
    const Case cases[] = {
        {0, {CTrackRate::Kind::EveryFix, 0.0}},
        {1, {CTrackRate::Kind::Seconds, 1.0}},
        {5, {CTrackRate::Kind::Seconds, 5.0}},
        {-10, {CTrackRate::Kind::Distance, 10.0}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.stored);
        EXPECT_EQ(TrackRateOfSetting(c.stored), c.rate);
        EXPECT_EQ(SettingOfTrackRate(c.rate), c.stored);
    }
}

// Points the session's track log wrote for one epoch, live or replayed.
std::int64_t SessionPoints(bool replay, bool trackReplays)
{
    CTempDir dir;
    CReceiverSession session;
    session.SetTrackReplays(trackReplays);
    session.GetTrackLog().Start(dir / "Tracks");
    if (replay)
        session.ReplayStarted();
    else
        session.PortOpened("/dev/ttyFAKE");
    for (int sod = 34200; sod < 34203; ++sod) {
        for (const std::string &line : {Gga(sod, true), Rmc(sod, true)})
            session.HandleLine(line);
    }
    EXPECT_FALSE(session.EndOfBatch());
    const std::string path = session.GetTrackLog().GetPath();
    session.GetTrackLog().Stop();
    return path.empty() ? 0 : Count(path).first;
}

TEST(TrackLog, ReplaysOnlyWhenAsked)
{
    EXPECT_EQ(SessionPoints(false, false), 3);
    EXPECT_EQ(SessionPoints(true, false), 0);
    EXPECT_EQ(SessionPoints(true, true), 3);
}

} // namespace

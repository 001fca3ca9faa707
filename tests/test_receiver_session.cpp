#include "FileTestUtils.h"
#include "NMEATestUtils.h"
#include "receiver/ReceiverSession.h"

#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>

namespace
{

const std::string kFixGga =
    Sentence("GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,");
const std::string kNoFixGga = Sentence("GPGGA,123520,,,,,0,00,,,M,,M,,");
const std::string kMovingRmc = Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,10.0,84.4,230304,,");
const std::string kVoidRmc = Sentence("GPRMC,123520,V,,,,,,,230304,,");
const std::string kSkyOf2 = Sentence("GPGSV,1,1,02,04,40,083,46,05,20,120,30");
const std::string kGsvPart1 = Sentence("GPGSV,2,1,05,04,40,083,46,05,20,120,30,09,10,200,20,12,5,"
                                       "300,10");

} // namespace

// Line by line, what a session reports: the state (fix held, sky) carries over between rows.
TEST(ReceiverSession, ChangesAndEventsByLine)
{
    struct Step {
        const std::string &line;
        SentenceType type;
        unsigned changes, events;
        FixSound sound;
        const char *legend;
    };
    constexpr unsigned kGgaFix = kChangeLine | kChangeNavigation | kChangeAltitude
                                 | kChangeTimeOfDay | kChangePosition | kChangeFixState;
    constexpr unsigned kRmcMoving = kChangeLine | kChangeMotion | kChangeCompass | kChangeMileage
                                    | kChangeHeadingRows | kChangeFixState;
    const std::string garbage = "$GPZZZ,1*00\r\n";
    const Step steps[] = {
        {garbage, kSentenceNone, kChangeLine, 0, FixSound::None, "garbage: the Data page only"},
        {kFixGga, kSentenceGGA, kGgaFix, kEventActivity, FixSound::None, "a GGA with a fix"},
        {kMovingRmc, kSentenceRMC, kRmcMoving, kEventFixGained, FixSound::Gained, "fix gained"},
        {kMovingRmc, kSentenceRMC, kRmcMoving, 0, FixSound::None, "fix held: quiet"},
        {kGsvPart1, kSentenceGSV, kChangeLine, 0, FixSound::None, "half a sky: nothing yet"},
        {kSkyOf2, kSentenceGSV, kChangeLine | kChangeSky | kChangeReception, 0, FixSound::None,
         "a whole sky, with the reception ratio"},
        {kNoFixGga, kSentenceGGA, kGgaFix & ~kChangePosition, kEventActivity, FixSound::None,
         "no fix: no map position"},
        {kVoidRmc, kSentenceRMC, kChangeLine | kChangeMotion | kChangeFixState, kEventFixLost,
         FixSound::Lost, "fix lost"},
    };
    CReceiverSession session;
    for (const Step &s : steps) {
        SCOPED_TRACE(s.legend);
        const CReceiverUpdate u = session.HandleLine(s.line);
        EXPECT_EQ(u.type, s.type);
        EXPECT_EQ(u.changes, s.changes);
        EXPECT_EQ(u.events, s.events);
        EXPECT_EQ(u.sound, s.sound);
        EXPECT_EQ(u.text, s.line);
    }
    EXPECT_EQ(session.GetLines(), std::size(steps));
    EXPECT_EQ(session.GetCount(kSentenceGGA), 2u);
    EXPECT_EQ(session.GetCount(kSentenceNone), 1u);
}

TEST(ReceiverSession, ValuesThePagesTake)
{
    CReceiverSession session;
    const CReceiverUpdate gga = session.HandleLine(kFixGga);
    EXPECT_DOUBLE_EQ(gga.altitude, 545.4 - 46.9);
    EXPECT_DOUBLE_EQ(gga.timeOfDay, 12 * 3600 + 35 * 60 + 19);
    EXPECT_NEAR(gga.position.m_latitude, 48.1173, 1e-9);
    EXPECT_FALSE(gga.fixLost);
    const CReceiverUpdate rmc = session.HandleLine(kMovingRmc);
    EXPECT_NEAR(rmc.speedKmh, 18.52, 1e-9);
    EXPECT_EQ(rmc.heading, 84.4);
    EXPECT_EQ(rmc.course, 84.4);
    EXPECT_EQ(rmc.bearing, -1.0) << "no goto waypoint";
    EXPECT_EQ(rmc.samplePosition, session.GetParser().m_rmc.m_position);
    EXPECT_FALSE(rmc.replay);
    const CReceiverUpdate sky = session.HandleLine(kSkyOf2);
    EXPECT_DOUBLE_EQ(sky.reception, 8.0 / 2.0) << "GGA's 8 used of GSV's 2 in view";
    session.HandleLine(kNoFixGga);
    const CReceiverUpdate lost = session.HandleLine(kVoidRmc);
    EXPECT_EQ(lost.speedKmh, 0.0);
    EXPECT_EQ(lost.heading, -1.0) << "status V: no heading";
    EXPECT_TRUE(lost.fixLost);
}

// The proximity alarm once per approach, with a sound when sounds are on; the compass gets the
// bearing and distance to the goto waypoint.
TEST(ReceiverSession, GotoWaypointAlarmAndBearing)
{
    CWaypoint near;
    near.m_name = "Gate";
    near.m_position = {48.1173, 11.5167, 0.0};
    near.m_radius = 60.0;
    CWaypoint far = near;
    far.m_name = "Far";
    far.m_position = {48.2, 11.6, 0.0};
    const CWaypointList list = {far, near};
    for (const bool sound : {true, false}) {
        SCOPED_TRACE(sound ? "sounds on" : "sounds off");
        CWaypointNavigator navigator;
        ASSERT_TRUE(navigator.SelectTarget(1, list.size()));
        CReceiverSession session;
        session.SetFixOptions(sound, false);
        session.SetWaypoints(&list, &navigator);
        const CReceiverUpdate first = session.HandleLine(kFixGga);
        EXPECT_TRUE(first.Happened(kEventWaypointReached));
        EXPECT_EQ(first.waypointAlert.substr(0, 5), "Gate\n");
        EXPECT_EQ(first.sound, sound ? FixSound::Gained : FixSound::None);
        EXPECT_FALSE(session.HandleLine(kFixGga).Happened(kEventWaypointReached)) << "once";
        ASSERT_TRUE(navigator.SelectTarget(0, list.size()));
        const CReceiverUpdate rmc = session.HandleLine(kMovingRmc);
        EXPECT_EQ(rmc.bearing, BearingToWaypoint(rmc.samplePosition, far));
        EXPECT_EQ(rmc.distance, DistanceToWaypoint(rmc.samplePosition, far, std::nullopt));
        EXPECT_FALSE(session.HandleLine(kFixGga).Happened(kEventWaypointReached));
    }
}

// The clock is set from a fix gained on a live port only, never from a replay; a mileage sample
// says where it came from.
TEST(ReceiverSession, ClockAndMileageBySource)
{
    enum class Source { None, Port, Replay };
    const struct {
        Source source;
        bool syncClock, clock, replay;
        const char *legend;
    } cases[] = {
        {Source::Port, true, true, false, "live port"},
        {Source::Port, false, false, false, "auto sync off"},
        {Source::Replay, true, false, true, "replay"},
        {Source::None, true, false, false, "lines without a source (tests, the window's feed)"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CReceiverSession session;
        session.SetFixOptions(true, c.syncClock);
        if (c.source == Source::Port)
            session.PortOpened("/dev/ttyUSB0");
        else if (c.source == Source::Replay)
            session.ReplayStarted();
        session.HandleLine(kFixGga);
        const CReceiverUpdate u = session.HandleLine(kMovingRmc);
        EXPECT_EQ(u.Happened(kEventSetClock), c.clock);
        EXPECT_EQ(u.clockUtc, c.clock ? RMCTimeAsUTC(session.GetParser().m_rmc) : 0);
        EXPECT_EQ(u.replay, c.replay);
    }
}

// A live receiver gone: the fix is lost with its sound and the values no longer claim one; a
// replay's end changes nothing shown.
TEST(ReceiverSession, SourceEndedForgetsTheLiveFix)
{
    CReceiverSession session;
    session.PortOpened("/dev/ttyUSB0");
    session.HandleLine(kFixGga);
    session.HandleLine(kMovingRmc);
    session.HandleLine(kSkyOf2);
    const CReceiverSession::CSourceEnd end = session.SourceEnded(EIO);
    EXPECT_TRUE(end.actions.receiverLost);
    EXPECT_TRUE(end.actions.retry);
    const CReceiverUpdate &u = end.update;
    EXPECT_TRUE(u.Happened(kEventFixLost));
    EXPECT_EQ(u.sound, FixSound::Lost);
    EXPECT_TRUE(u.Changed(kChangeNavigation | kChangeSky | kChangeMotion | kChangeFixState));
    EXPECT_FALSE(u.Changed(kChangeLine | kChangeReception));
    EXPECT_FALSE(u.Happened(kEventActivity));
    EXPECT_TRUE(u.fixLost);
    EXPECT_EQ(u.speedKmh, 0.0);
    const CNMEAParser &parser = session.GetParser();
    EXPECT_EQ(parser.m_gga.m_quality, 0);
    EXPECT_EQ(parser.GetSatellitesInView(), 0);
    EXPECT_EQ(parser.m_rmc.m_status, "V");
    EXPECT_NEAR(parser.m_gga.m_position.m_latitude, 48.1173, 1e-9) << "the last position stays";

    session.ReplayStarted();
    const CReceiverSession::CSourceEnd replay = session.SourceEnded(0);
    EXPECT_TRUE(replay.actions.replayEnded);
    EXPECT_EQ(replay.update.changes, 0u);
    EXPECT_EQ(replay.update.events, 0u);
}

// A switch of modes takes back what the other mode showed, quietly.
TEST(ReceiverSession, ClearShownFixIsQuiet)
{
    CReceiverSession session;
    session.HandleLine(kFixGga);
    session.HandleLine(kMovingRmc);
    session.SetGnssMode(GnssMode::AllSystems);
    const CReceiverUpdate u = session.ClearShownFix();
    EXPECT_TRUE(u.Happened(kEventFixLost));
    EXPECT_EQ(u.sound, FixSound::None);
    EXPECT_TRUE(u.Changed(kChangeSky | kChangeMotion));
    EXPECT_FALSE(u.Changed(kChangeFixState));
    EXPECT_EQ(session.GetParser().GetMode(), GnssMode::AllSystems);
    EXPECT_EQ(session.GetParser().m_gga.m_quality, 0) << "the parser starts empty";
}

// Recording through the session: the rules decide, the raw line goes in whole (a NUL too, which
// GPS only does not parse past), and a failed write is reported once as an event.
TEST(ReceiverSession, RecordsRawLinesAndReportsAFailureOnce)
{
    const CTempDir dir;
    CReceiverSession session;
    session.GetRecordingRules().SetEnabled(kSentenceRMC, false);
    ASSERT_TRUE(session.CreateLog(dir / "log.nmea", std::nullopt));
    const std::string withNul = std::string("$GPGGA,1\0junk\r\n", 16);
    EXPECT_EQ(session.HandleLine(withNul).text, "$GPGGA,1");
    session.HandleLine(kMovingRmc);
    session.HandleLine(kFixGga);
    EXPECT_FALSE(session.EndOfBatch());
    EXPECT_FALSE(session.CloseLog());
    EXPECT_EQ(ReadFile(dir / "log.nmea"), withNul + kFixGga) << "RMC off";

    std::signal(SIGXFSZ, SIG_IGN); // a write past the size limit then fails with EFBIG
    ASSERT_TRUE(session.CreateLog(dir / "limited.nmea", std::nullopt));
    rlimit saved{};
    getrlimit(RLIMIT_FSIZE, &saved);
    rlimit limit = saved;
    limit.rlim_cur = 10;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    session.HandleLine(kFixGga);
    const std::optional<std::string> failure = session.EndOfBatch();
    session.HandleLine(kFixGga);
    const std::optional<std::string> again = session.EndOfBatch();
    setrlimit(RLIMIT_FSIZE, &saved);
    ASSERT_TRUE(failure);
    EXPECT_EQ(*failure, std::system_category().message(EFBIG));
    EXPECT_FALSE(again) << "reported once";
    EXPECT_FALSE(session.GetLog().IsOpen());
    EXPECT_EQ(ReadFile(dir / "limited.nmea"), "") << "whole lines only";
}

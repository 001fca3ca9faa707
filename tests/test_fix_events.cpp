#include "NMEATestUtils.h"
#include "nmea/GPSDataRows.h"
#include "nmea/NMEAParser.h"
#include "receiver/FixEvents.h"
#include "receiver/ReceiverWatch.h"
#include "waypoints/WaypointNavigator.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>

namespace
{

using Sound = CFixActions::Sound;

struct Step {
    const char *quality; // GGA fix quality sent before the RMC
    const char *knots;   // RMC speed
    bool playSound, autoSync, livePort;
    bool gained, lost;
    Sound sound;
    bool clock, compass;
    const char *legend;
};

} // namespace

TEST(FixEvents, TransitionsSoundsClockAndCompass)
{
    // One receiver session, step by step: the fix-held state carries over between the rows.
    const Step steps[] = {
        {"0", "0", true, true, true, false, false, Sound::None, false, false, "no fix at start"},
        {"1", "10", true, true, true, true, false, Sound::FixGained, true, true, "fix gained"},
        {"1", "10", true, true, true, false, false, Sound::None, false, true, "fix held: quiet"},
        {"1", "0.5", true, true, true, false, false, Sound::None, false, false, "0.93 km/h"},
        {"0", "10", true, true, true, false, true, Sound::FixLost, false, false, "fix lost"},
        {"0", "10", true, true, true, false, false, Sound::None, false, false, "still lost"},
        {"2", "0.6", false, true, true, true, false, Sound::None, true, true, "sound off"},
        {"0", "0", false, true, true, false, true, Sound::None, false, false, "lost, sound off"},
        {"1", "1", true, true, false, true, false, Sound::FixGained, false, true,
         "replay: no clock"},
        {"0", "1", true, true, false, false, true, Sound::FixLost, false, false, "lost again"},
        {"1", "1", true, false, true, true, false, Sound::FixGained, false, true, "auto-sync off"},
    };
    CNMEAParser parser;
    CFixEvents events;
    for (const Step &s : steps) {
        SCOPED_TRACE(s.legend);
        parser.Parse(Sentence(std::string("GPGGA,123519,4807.038,N,01131.000,E,") + s.quality));
        parser.Parse(Sentence(std::string("GPRMC,123519,A,4807.038,N,01131.000,E,") + s.knots
                              + ",84.4,230304,,"));
        const CFixActions a = events.OnRMC(parser, s.playSound, s.autoSync, s.livePort);
        EXPECT_EQ(a.fixGained, s.gained);
        EXPECT_EQ(a.fixLost, s.lost);
        EXPECT_EQ(a.sound, s.sound);
        EXPECT_EQ(a.setClockUtc.has_value(), s.clock);
        EXPECT_EQ(a.updateCompass, s.compass);
        EXPECT_EQ(events.HasFix(), parser.m_gga.m_quality >= 1);
        EXPECT_EQ(a.speedKmh, events.HasFix() ? parser.m_rmc.m_speedKmh : 0.0);
        EXPECT_EQ(a.updateList, events.HasFix());
        if (a.updateCompass) {
            EXPECT_EQ(a.course, 84.4);
            EXPECT_EQ(a.bearing, -1.0) << "no goto waypoint";
        }
    }
}

TEST(FixEvents, GotoTargetAndClockTimeInUTC)
{
    const char *previous = std::getenv("TZ");
    const std::string saved = previous ? previous : "";
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    CNMEAParser parser;
    parser.Parse(Sentence("GPGGA,123519,4807.038,N,01131.000,E,1"));
    parser.Parse(Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,10,84.4,230304,,"));
    CFixEvents events;
    CWaypoint target;
    target.m_position = {48.2, 11.4, 0.0};
    const CFixActions a = events.OnRMC(parser, true, true, true, &target);
    EXPECT_NEAR(a.bearing, 305.3, 0.1) << "north-west on the degree grid";
    EXPECT_EQ(a.bearing, BearingToWaypoint(parser.m_rmc.m_position, target));
    EXPECT_NEAR(a.distance, 12629.0, 30.0) << "metres";
    ASSERT_TRUE(a.setClockUtc.has_value());
    EXPECT_EQ(*a.setClockUtc, 1080045319) << "2004-03-23 12:35:19 UTC, whatever the zone";
    if (previous)
        setenv("TZ", saved.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

// A receiver that goes away: the fix is lost with its sound, and the List page's texts no longer
// claim one, while the last position stays readable as the last known.
TEST(FixEvents, ReceiverLostShowsTheFixAsLost)
{
    CNMEAParser parser;
    CFixEvents events;
    parser.Parse(Sentence("GPGGA,123519,4807.038,N,01131.000,E,2,08,0.9,545.4,M,47.3,M,,"));
    parser.Parse(Sentence("GPGSA,A,3,04,05,,09,12,,,24,,,,,2.5,1.3,2.1"));
    parser.Parse(Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,54.0,84.4,230394,,"));
    events.OnRMC(parser, true, false, true);
    const CDataRows positionBefore =
        BuildPositionRows(parser, CoordinateFormat::DD, UnitSystem::Metric);

    parser.ForgetFix();
    const CFixActions lost = events.OnReceiverLost(true);
    EXPECT_TRUE(lost.fixLost);
    EXPECT_EQ(lost.sound, Sound::FixLost);
    EXPECT_EQ(lost.speedKmh, 0.0);
    EXPECT_TRUE(lost.updateList);
    EXPECT_FALSE(events.HasFix());
    const CDataRows reception = BuildReceptionRows(parser);
    EXPECT_EQ(reception[0].value, "0 of 0 sats");
    EXPECT_EQ(reception[1].value, "no fix / n.a.");
    EXPECT_EQ(BuildHeadingRows(parser, UnitSystem::Metric)[0].value, "0.0 km/h");
    const CDataRows positionAfter =
        BuildPositionRows(parser, CoordinateFormat::DD, UnitSystem::Metric);
    ASSERT_EQ(positionAfter.size(), positionBefore.size());
    for (std::size_t i = 0; i < positionAfter.size(); ++i)
        EXPECT_EQ(positionAfter[i].value, positionBefore[i].value);

    const CFixActions again = events.OnReceiverLost(true);
    EXPECT_FALSE(again.fixLost) << "lost once";
    EXPECT_EQ(again.sound, Sound::None);
}

TEST(ReceiverWatch, RetriesOnlyALivePortThatFailed)
{
    enum class Event { Port, Replay, User, EndClean, EndError };
    struct Step {
        Event event;
        bool replayEnded, replayFailed, receiverLost, retry;
        CReceiverWatch::State state;
        const char *legend;
    };
    using State = CReceiverWatch::State;
    // One session; the state carries over between rows.
    const Step steps[] = {
        {Event::EndError, false, false, false, false, State::Closed, "nothing open"},
        {Event::Port, false, false, false, false, State::Live, "port opened"},
        {Event::EndError, false, false, true, true, State::Reconnecting, "unplugged"},
        {Event::EndError, false, false, false, false, State::Reconnecting, "no second notice"},
        {Event::Port, false, false, false, false, State::Live, "back by a retry"},
        {Event::EndClean, false, false, true, true, State::Reconnecting, "a hang-up is a loss"},
        {Event::User, false, false, false, false, State::Closed, "user disconnects: no retry"},
        {Event::Replay, false, false, false, false, State::Replaying, "replay"},
        {Event::EndClean, true, false, false, false, State::Closed, "end of the replay file"},
        {Event::Replay, false, false, false, false, State::Replaying, "replay again"},
        {Event::EndError, true, true, false, false, State::Closed, "read error in the replay"},
        {Event::Port, false, false, false, false, State::Live, "port"},
        {Event::EndError, false, false, true, true, State::Reconnecting, "lost"},
        {Event::Replay, false, false, false, false, State::Replaying, "user picks a replay"},
    };
    CReceiverWatch watch;
    for (const Step &s : steps) {
        SCOPED_TRACE(s.legend);
        CReceiverWatch::CEndActions a;
        switch (s.event) {
        case Event::Port:
            watch.OnPortOpened("/dev/ttyUSB0");
            break;
        case Event::Replay:
            watch.OnReplayStarted();
            break;
        case Event::User:
            watch.OnClosedByUser();
            break;
        case Event::EndClean:
        case Event::EndError:
            a = watch.OnSourceEnded(s.event == Event::EndError ? EIO : 0);
            break;
        }
        EXPECT_EQ(a.replayEnded, s.replayEnded);
        EXPECT_EQ(a.replayFailed, s.replayFailed);
        EXPECT_EQ(a.receiverLost, s.receiverLost);
        EXPECT_EQ(a.retry, s.retry);
        EXPECT_EQ(watch.GetState(), s.state);
    }
    EXPECT_EQ(watch.GetDevice(), "/dev/ttyUSB0");
    EXPECT_EQ(watch.LostNotice("Input/output error"),
              "Receiver disconnected: /dev/ttyUSB0: Input/output error. Reconnecting...");
}

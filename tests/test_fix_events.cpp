#include "NMEATestUtils.h"
#include "nmea/NMEAParser.h"
#include "receiver/FixEvents.h"

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
    const CFixActions a = events.OnRMC(parser, true, true, true, [](const CGeoPosition &p) {
        return std::pair{p.m_latitude, 1234.5};
    });
    EXPECT_EQ(a.bearing, parser.m_rmc.m_position.m_latitude);
    EXPECT_EQ(a.distance, 1234.5);
    EXPECT_EQ(events.GetLastBearing(), a.bearing);
    ASSERT_TRUE(a.setClockUtc.has_value());
    EXPECT_EQ(*a.setClockUtc, 1080045319) << "2004-03-23 12:35:19 UTC, whatever the zone";
    if (previous)
        setenv("TZ", saved.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

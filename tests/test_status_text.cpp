#include "receiver/ReceiverWatch.h"
#include "receiver/StatusText.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

CSourceAddress Address(const std::string &url)
{
    std::string error;
    const std::optional<CSourceAddress> a = CSourceAddress::Parse(url, error);
    EXPECT_TRUE(a) << url << ": " << error;
    return a.value_or(CSourceAddress{});
}

// A source opened at 100 s whose last line (with a fix) came at 120 s.
CStatusState Live(const std::string &url, int baudRate = 0)
{
    CStatusState s;
    s.source = CStatusState::Source::Live;
    s.address = Address(url);
    s.baudRate = baudRate;
    s.Opened(100.0);
    s.LineArrived(120.0, true);
    s.fixMode = 3;
    return s;
}

CStatusState Replay(std::uint64_t bytes, std::uint64_t total, unsigned delayMs)
{
    CStatusState s;
    s.source = CStatusState::Source::Replay;
    s.replayName = "drive1.nmea";
    s.replayBytes = bytes;
    s.replayTotal = total;
    s.replayDelayMs = delayMs;
    s.Opened(100.0);
    s.LineArrived(100.5, true);
    s.fixMode = 3;
    return s;
}

TEST(StatusText, SourceByKind)
{
    const struct {
        const char *legend;
        CStatusState state;
        const char *source;
    } cases[] = {
        {"serial at its speed", Live("/dev/ttyACM0", 9600), "/dev/ttyACM0 9600"},
        {"serial, speed being found", Live("serial:/dev/ttyUSB0?baud=auto"),
         "/dev/ttyUSB0 finding speed"},
        {"gpsd, all devices", Live("gpsd://localhost:2947"), "gpsd localhost:2947"},
        {"gpsd, one device", Live("gpsd://localhost:2947/dev/ttyACM0"),
         "gpsd localhost:2947 /dev/ttyACM0"},
        {"tcp", Live("tcp://127.0.0.1:10110"), "tcp 127.0.0.1:10110"},
        {"tcp listener", Live("tcp-listen://:10110"), "tcp-listen :10110"},
        {"udp on any address", Live("udp://:10110"), "udp :10110"},
        {"replay at 200 %", Replay(4200, 10000, 500), "Replay drive1.nmea 42 % 200 %"},
        {"replay at 100 %", Replay(0, 10000, 1000), "Replay drive1.nmea 0 % 100 %"},
        {"replay at 1600 %, a rounded delay", Replay(0, 10000, 62),
         "Replay drive1.nmea 0 % 1600 %"},
        {"replay at a delay off the ladder", Replay(0, 10000, 700), "Replay drive1.nmea 0 % 142 %"},
        {"replay at 400 %, all read", Replay(10000, 10000, 250), "Replay drive1.nmea 100 % 400 %"},
        {"replay as fast as it goes", Replay(9999, 10000, 0), "Replay drive1.nmea 99 % max"},
        {"replay of a FIFO: no end known", Replay(4200, 0, 500), "Replay drive1.nmea 200 %"},
        {"replay of a file that grew", Replay(12000, 10000, 500), "Replay drive1.nmea 100 % 200 %"},
        {"nothing open", CStatusState{}, "No source"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(StatusTexts(c.state, 120.4).source, c.source);
    }
}

TEST(StatusText, FixStateAndAge)
{
    CStatusState twoD = Live("/dev/ttyACM0", 4800);
    twoD.fixMode = 2;
    CStatusState noGsa = twoD;
    noGsa.fixMode = 0;
    CStatusState lost = Live("/dev/ttyACM0", 4800);
    lost.LineArrived(121.0, false); // the fix lost at 121 s
    lost.LineArrived(133.0, std::nullopt);
    CStatusState silent = Live("/dev/ttyACM0", 4800);
    CStatusState never = Live("/dev/ttyACM0", 4800);
    never.Opened(100.0);
    CStatusState ended = Replay(10000, 10000, 500);
    ended.source = CStatusState::Source::ReplayEnded;
    const struct {
        const char *legend;
        CStatusState state;
        double now;
        const char *fix;
    } cases[] = {
        {"3D, fresh", Live("/dev/ttyACM0", 4800), 120.45, "3D fix 0.4 s"},
        {"2D", twoD, 121.0, "2D fix 1.0 s"},
        {"fix, mode not told", noGsa, 120.0, "fix 0.0 s"},
        {"lost, lines still coming", lost, 133.5, "no fix 12 s"},
        {"lost, under ten seconds", lost, 130.95, "no fix 9.9 s"},
        {"lines stopped", silent, 125.0, "no data 5.0 s"},
        {"lines stopped long ago", silent, 200.0, "no data 80 s"},
        {"just at the limit", silent, 123.0, "3D fix 3.0 s"},
        {"nothing since the opening", never, 112.0, "no data 12 s"},
        {"a clock that went back", Live("/dev/ttyACM0", 4800), 119.0, "3D fix 0.0 s"},
        {"replay ended: no fix to age", ended, 500.0, ""},
        {"nothing open", CStatusState{}, 100.0, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(StatusTexts(c.state, c.now).fix, c.fix);
    }
}

TEST(StatusText, ReplayEndedSaysSo)
{
    CStatusState s = Replay(10000, 10000, 500);
    s.source = CStatusState::Source::ReplayEnded;
    EXPECT_EQ(StatusTexts(s, 200.0).source, "Replay ended");
}

TEST(StatusText, RecordingWithItsSize)
{
    const struct {
        std::uint64_t bytes;
        const char *text;
    } cases[] = {
        {0, "\u25CF REC drive1.nmea 0 B"},
        {999, "\u25CF REC drive1.nmea 999 B"},
        {1000, "\u25CF REC drive1.nmea 1.0 kB"},
        {12345, "\u25CF REC drive1.nmea 12.3 kB"},
        {123456, "\u25CF REC drive1.nmea 123 kB"},
        {999960, "\u25CF REC drive1.nmea 1.0 MB"},
        {1234567, "\u25CF REC drive1.nmea 1.2 MB"},
        {734000000, "\u25CF REC drive1.nmea 734 MB"},
        {5000000000, "\u25CF REC drive1.nmea 5.0 GB"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.bytes);
        CStatusState s = Live("/dev/ttyACM0", 4800);
        s.recording = true;
        s.recordName = "drive1.nmea";
        s.recordBytes = c.bytes;
        EXPECT_EQ(StatusTexts(s, 120.0).recording, c.text);
    }
    EXPECT_EQ(StatusTexts(Live("/dev/ttyACM0", 4800), 120.0).recording, "") << "not recording";
}

TEST(StatusText, Alarms)
{
    CStatusState reached = Live("/dev/ttyACM0", 4800);
    reached.waypointReached = "HOME";
    reached.waypointReachedAt = 110.0;
    CStatusState all = reached;
    all.receiverLost = true;
    all.recordFailed = true;
    all.proximityAlarm = true;
    CStatusState fast = Live("/dev/ttyACM0", 4800);
    fast.speedWarning = "Over speed limit 120 km/h";
    CStatusState allFast = all;
    allFast.speedWarning = fast.speedWarning;
    const struct {
        const char *legend;
        CStatusState state;
        double now;
        const char *alarm;
    } cases[] = {
        {"none", Live("/dev/ttyACM0", 4800), 120.0, ""},
        {"waypoint reached", reached, 120.0, "Waypoint reached: HOME"},
        {"waypoint reached a minute ago", reached, 170.0, "Waypoint reached: HOME"},
        {"waypoint reached long ago", reached, 171.0, ""},
        {"all at once", all, 120.0,
         "Receiver lost, Record failed, Proximity alarm, Waypoint reached: HOME"},
        {"too fast", fast, 120.0, "Over speed limit 120 km/h"},
        {"too fast first of all", allFast, 120.0,
         "Over speed limit 120 km/h, Receiver lost, Record failed, Proximity alarm, "
         "Waypoint reached: HOME"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(StatusTexts(c.state, c.now).alarm, c.alarm);
    }
}

// Plain Connect after a replay opens the live source the replay took the place of, not the
// configured default.
TEST(ReceiverWatch, SourceBeforeReplay)
{
    const CSourceAddress port = Address("/dev/ttyACM0");
    const CSourceAddress gpsd = Address("gpsd://localhost:2947");
    enum Step { OpenPort, OpenGpsd, Replay, ReplayEnds, PortFails, UserCloses };
    const struct {
        const char *legend;
        std::vector<Step> steps;
        std::optional<CSourceAddress> offered;
    } cases[] = {
        {"nothing ever open", {}, std::nullopt},
        {"a replay without a live source before", {Replay, ReplayEnds}, std::nullopt},
        {"a port, then a replay that ends", {OpenPort, Replay, ReplayEnds}, port},
        {"a port, then a replay the user stops", {OpenPort, Replay, UserCloses}, port},
        {"while the replay runs", {OpenPort, Replay}, port},
        {"two replays after the port", {OpenPort, Replay, ReplayEnds, Replay, ReplayEnds}, port},
        {"gpsd, then a replay", {OpenGpsd, Replay, ReplayEnds}, gpsd},
        {"the latest live source", {OpenPort, OpenGpsd, Replay}, gpsd},
        {"a port being retried, then a replay", {OpenPort, PortFails, Replay, ReplayEnds}, port},
        {"the user closed the port first",
         {OpenPort, UserCloses, Replay, ReplayEnds},
         std::nullopt},
        {"the port open again", {OpenPort, Replay, ReplayEnds, OpenPort}, std::nullopt},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CReceiverWatch watch;
        for (Step step : c.steps) {
            switch (step) {
            case OpenPort:
            case OpenGpsd: {
                const CSourceAddress &a = step == OpenPort ? port : gpsd;
                watch.RememberLiveSource(a);
                watch.OnPortOpened(a.Describe());
                break;
            }
            case Replay:
                watch.OnReplayStarted();
                break;
            case ReplayEnds:
                EXPECT_TRUE(watch.OnSourceEnded(0).replayEnded);
                break;
            case PortFails:
                EXPECT_TRUE(watch.OnSourceEnded(5).retry);
                break;
            case UserCloses:
                watch.OnClosedByUser();
                break;
            }
        }
        EXPECT_EQ(watch.SourceBeforeReplay(), c.offered);
    }
}

} // namespace

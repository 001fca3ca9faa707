#include "dashboard/SpeedAlarm.h"
#include "dashboard/TripComputer.h"
#include "dashboard/TripFeed.h"
#include "dashboard/TripTexts.h"
#include "geo/Distance.h"
#include "receiver/ReceiverSession.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> Fields(const std::string &line)
{
    std::vector<std::string> fields;
    std::string body = line.substr(1, line.find('*') - 1);
    std::stringstream in(body);
    std::string field;
    while (std::getline(in, field, ','))
        fields.push_back(field);
    if (!body.empty() && body.back() == ',')
        fields.emplace_back();
    return fields;
}

// The tests run under a decimal-comma locale too: no std::stod.
double Number(const std::string &text)
{
    double value = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

double Degrees(const std::string &value, const std::string &hemisphere)
{
    const double raw = Number(value);
    const double whole = std::floor(raw / 100.0);
    const double degrees = whole + (raw - whole * 100.0) / 60.0;
    return hemisphere == "S" || hemisphere == "W" ? -degrees : degrees;
}

std::time_t Utc(const std::string &date, const std::string &time)
{
    std::tm t{};
    t.tm_mday = std::stoi(date.substr(0, 2));
    t.tm_mon = std::stoi(date.substr(2, 2)) - 1;
    t.tm_year = 100 + std::stoi(date.substr(4, 2));
    t.tm_hour = std::stoi(time.substr(0, 2));
    t.tm_min = std::stoi(time.substr(2, 2));
    t.tm_sec = std::stoi(time.substr(4, 2));
    return timegm(&t);
}

// The trip worked out from the log's text alone: an RMC is a sample when the GGA before it had a
// fix; a leg counts when its later sample moves at 1 km/h or more and the two are at most 60 s
// apart, with the program's own great-circle Distance; a GGA altitude (less the geoid) counts
// while the last sample moved, in steps of 5 m from the last counted one.
CTripFigures Independent(const std::string &path)
{
    CTripFigures f;
    std::ifstream in(path);
    std::string line;
    int quality = 0;
    bool moving = false;
    bool havePrevious = false;
    CGeoPosition previous;
    std::time_t previousTime = 0;
    bool haveBase = false;
    double base = 0.0;
    while (std::getline(in, line)) {
        if (line.rfind("$GPGGA", 0) == 0) {
            const std::vector<std::string> v = Fields(line);
            quality = std::stoi(v[6]);
            if (quality < 1)
                continue;
            const double altitude = Number(v[9]) - Number(v[11]);
            if (!haveBase) {
                haveBase = true;
                base = altitude;
            } else if (moving && std::abs(altitude - base) >= 5.0) {
                (altitude > base ? f.gainMetres : f.lossMetres) += std::abs(altitude - base);
                base = altitude;
            }
        } else if (line.rfind("$GPRMC", 0) == 0 && quality >= 1) {
            const std::vector<std::string> v = Fields(line);
            const CGeoPosition here(Degrees(v[3], v[4]), Degrees(v[5], v[6]), 0.0);
            const double kmh = Number(v[7]) * 1.852;
            const std::time_t time = Utc(v[9], v[1]);
            moving = kmh >= 1.0;
            f.maxSpeedKmh = std::max(f.maxSpeedKmh, kmh);
            if (havePrevious && time - previousTime <= 60) {
                const auto seconds = static_cast<double>(time - previousTime);
                if (moving) {
                    f.distanceMetres += Distance(previous, here);
                    f.movingSeconds += seconds;
                } else {
                    f.stoppedSeconds += seconds;
                }
            }
            havePrevious = true;
            previous = here;
            previousTime = time;
        }
    }
    return f;
}

struct CDrive {
    CTripComputer trip;
    CSpeedAlarm alarm;
    int sounds = 0;
};

void Replay(const std::string &path, CDrive &drive)
{
    CReceiverSession session;
    session.ReplayStarted();
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        const CReceiverUpdate u = session.HandleLine(line + "\r\n");
        drive.sounds += FeedTrip(u, drive.trip, drive.alarm).sound ? 1 : 0;
    }
}

CGeoPosition North(double metres)
{
    // Along a meridian the great circle is linear in latitude.
    static const double metresPerDegree =
        Distance(CGeoPosition(48.0, 11.0, 0.0), CGeoPosition(49.0, 11.0, 0.0));
    return {48.0 + metres / metresPerDegree, 11.0, 0.0};
}

} // namespace

TEST(TripComputer, DemoDriveEqualsIndependentCount)
{
    const CTripFigures expected = Independent(VELORAN_DEMO_LOG);
    // The drive has both: a start from a standstill, stops, a climb and a descent.
    ASSERT_GT(expected.distanceMetres, 1000.0);
    ASSERT_GT(expected.movingSeconds, 100.0);
    ASSERT_GT(expected.stoppedSeconds, 0.0);
    ASSERT_GT(expected.gainMetres + expected.lossMetres, 0.0);

    CDrive drive;
    Replay(VELORAN_DEMO_LOG, drive);
    const CTripFigures &f = drive.trip.GetFigures();
    EXPECT_NEAR(f.distanceMetres, expected.distanceMetres, 1e-6);
    EXPECT_DOUBLE_EQ(f.movingSeconds, expected.movingSeconds);
    EXPECT_DOUBLE_EQ(f.stoppedSeconds, expected.stoppedSeconds);
    EXPECT_NEAR(f.maxSpeedKmh, expected.maxSpeedKmh, 1e-9);
    EXPECT_NEAR(f.gainMetres, expected.gainMetres, 1e-9);
    EXPECT_NEAR(f.lossMetres, expected.lossMetres, 1e-9);
    EXPECT_NEAR(f.AverageMovingKmh(),
                expected.distanceMetres / 1000.0 / (expected.movingSeconds / 3600.0), 1e-9);
}

TEST(TripComputer, Legs)
{
    const struct {
        const char *legend;
        std::time_t secondTime;
        double secondKmh;
        bool secondReplay;
        double metres, moving, stopped;
    } cases[] = {
        {"a moving leg", 1010, 36.0, false, 100.0, 10.0, 0.0},
        {"1 km/h moves", 1010, 1.0, false, 100.0, 10.0, 0.0},
        {"below 1 km/h stands", 1010, 0.9, false, 0.0, 0.0, 10.0},
        {"a tunnel of a minute still counts", 1060, 6.0, false, 100.0, 60.0, 0.0},
        {"a longer gap: the receiver was off", 1061, 6.0, false, 0.0, 0.0, 0.0},
        {"an older sample: another log", 990, 36.0, false, 0.0, 0.0, 0.0},
        {"live after replayed", 1010, 36.0, true, 0.0, 0.0, 0.0},
        {"no time", 0, 36.0, false, 0.0, 0.0, 0.0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CTripComputer trip;
        trip.AddSample(North(0), 1000, 0.0, false);
        trip.AddSample(North(100), c.secondTime, c.secondKmh, c.secondReplay);
        EXPECT_NEAR(trip.GetFigures().distanceMetres, c.metres, 0.2);
        EXPECT_DOUBLE_EQ(trip.GetFigures().movingSeconds, c.moving);
        EXPECT_DOUBLE_EQ(trip.GetFigures().stoppedSeconds, c.stopped);
        EXPECT_DOUBLE_EQ(trip.GetFigures().maxSpeedKmh, c.secondKmh);
    }
}

TEST(TripComputer, ElevationCountsStepsOfFiveMetresWhileMoving)
{
    const struct {
        const char *legend;
        std::vector<double> altitudes;
        bool moving;
        double gain, loss;
    } cases[] = {
        {"noise under the step", {500, 503, 497, 504, 496}, true, 0, 0},
        {"a climb in small steps", {500, 502, 504, 506, 508}, true, 6, 0},
        {"up and down", {500, 510, 500}, true, 10, 10},
        {"a descent", {500, 494, 480}, true, 0, 20},
        {"standing still", {500, 520, 480}, false, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CTripComputer trip;
        trip.AddSample(North(0), 1000, c.moving ? 30.0 : 0.0, false);
        for (double a : c.altitudes)
            trip.AddAltitude(a);
        EXPECT_DOUBLE_EQ(trip.GetFigures().gainMetres, c.gain);
        EXPECT_DOUBLE_EQ(trip.GetFigures().lossMetres, c.loss);
    }
}

TEST(TripComputer, GotoEtaAtTheAverageMovingSpeed)
{
    CWaypoint target;
    target.m_position = North(10000);
    CTripComputer trip;
    EXPECT_FALSE(trip.Goto(target)) << "no fix yet";
    trip.AddSample(North(0), 1000, 0.0, false);
    std::optional<CTripGoto> way = trip.Goto(target);
    ASSERT_TRUE(way);
    EXPECT_NEAR(way->distanceMetres, 10000.0, 10.0);
    EXPECT_FALSE(way->etaSeconds) << "no average speed yet";

    // 500 m in 50 s: 36 km/h, so the 9.5 km left take 950 s.
    trip.AddSample(North(500), 1050, 36.0, false);
    way = trip.Goto(target);
    ASSERT_TRUE(way && way->etaSeconds);
    EXPECT_NEAR(trip.GetFigures().AverageMovingKmh(), 36.0, 0.05);
    EXPECT_NEAR(*way->etaSeconds, 950.0, 1.5);
    EXPECT_NEAR(way->distanceMetres, 9500.0, 10.0);
    // A stop lowers nothing: the average is over moving time.
    trip.AddSample(North(500), 1100, 0.0, false);
    EXPECT_NEAR(*trip.Goto(target)->etaSeconds, 950.0, 1.5);
}

TEST(TripComputer, ResetClearsEveryFigureTogether)
{
    CDrive drive;
    Replay(VELORAN_DEMO_LOG, drive);
    ASSERT_NE(drive.trip.GetFigures(), CTripFigures{});
    const unsigned long changes = drive.trip.GetChangeCount();
    drive.trip.Reset();
    EXPECT_EQ(drive.trip.GetFigures(), CTripFigures{});
    EXPECT_GT(drive.trip.GetChangeCount(), changes);
    // The next sample starts afresh: no leg back to where the drive ended.
    drive.trip.AddSample(North(0), 2000000000, 50.0, true);
    EXPECT_EQ(drive.trip.GetFigures().distanceMetres, 0.0);
    EXPECT_EQ(drive.trip.GetFigures().maxSpeedKmh, 50.0);
}

TEST(TripComputer, RestoredFiguresGoOnWithoutALegFromBefore)
{
    CTripFigures kept;
    kept.distanceMetres = 12345.0;
    kept.movingSeconds = 600.0;
    kept.stoppedSeconds = 60.0;
    kept.maxSpeedKmh = 99.0;
    kept.gainMetres = 30.0;
    kept.lossMetres = 20.0;
    CTripComputer trip;
    trip.AddSample(North(0), 1000, 10.0, false);
    trip.Restore(kept);
    trip.AddSample(North(5000), 1010, 10.0, false);
    EXPECT_EQ(trip.GetFigures(), kept);
    trip.AddSample(North(5100), 1020, 36.0, false);
    EXPECT_NEAR(trip.GetFigures().distanceMetres, 12445.0, 0.2);
    EXPECT_DOUBLE_EQ(trip.GetFigures().movingSeconds, 610.0);
}

namespace
{

CSpeedAlarmSettings Limit(double limit, double tolerance, double delay)
{
    return {.on = true, .limitKmh = limit, .toleranceKmh = tolerance, .delaySeconds = delay};
}

// One sample a second from t = 0; 'S' where the alarm sounds, '!' while it warns, '.' else.
std::string Sounds(const CSpeedAlarmSettings &settings, const std::vector<double> &kmh)
{
    CSpeedAlarm alarm;
    alarm.SetSettings(settings);
    std::string out;
    for (std::size_t i = 0; i < kmh.size(); ++i) {
        const CSpeedAlarmStep step = alarm.Update(static_cast<double>(i), kmh[i]);
        out += step.sound ? 'S' : alarm.IsWarning() ? '!' : '.';
    }
    return out;
}

std::vector<double> Steady(double kmh, std::size_t seconds)
{
    return std::vector<double>(seconds, kmh);
}

} // namespace

TEST(SpeedAlarm, ThresholdToleranceDelayHysteresis)
{
    const struct {
        const char *legend;
        CSpeedAlarmSettings settings;
        std::vector<double> kmh;
        const char *expected;
    } cases[] = {
        {"at the limit", Limit(100, 0, 0), {100, 100, 100}, "..."},
        {"just over, no delay", Limit(100, 0, 0), {100, 100.1, 100.1}, ".S!"},
        {"within the tolerance", Limit(100, 5, 0), {104, 105, 105, 104}, "...."},
        {"over the tolerance", Limit(100, 5, 0), {105, 105.5, 106}, ".S!"},
        {"the delay: 3 s over", Limit(100, 5, 3), {110, 110, 110, 110, 110}, "...S!"},
        {"a break restarts the delay",
         Limit(100, 5, 3),
         {110, 110, 110, 104, 110, 110, 110, 110},
         ".......S"},
        {"clears only 2 km/h under the limit",
         Limit(100, 5, 0),
         {110, 104, 100, 98.1, 98, 110},
         "S!!!.S"},
        {"hovering at the threshold sounds once",
         Limit(100, 0, 0),
         {101, 99, 101, 99, 101, 99},
         "S!!!!!"},
        {"off", CSpeedAlarmSettings{}, {200, 200, 200}, "..."},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(Sounds(c.settings, c.kmh), c.expected);
    }
}

TEST(SpeedAlarm, RepeatsAtMostOnceAMinuteWhileOver)
{
    const CSpeedAlarmSettings settings = Limit(100, 0, 0);
    // Two and a half minutes over: at 0, 60 and 120 s.
    std::string out = Sounds(settings, Steady(120, 150));
    EXPECT_EQ(std::count(out.begin(), out.end(), 'S'), 3);
    EXPECT_EQ(out[0], 'S');
    EXPECT_EQ(out[60], 'S');
    EXPECT_EQ(out[120], 'S');

    // Dipping under the threshold but not under the clearing speed does not sound again early.
    std::vector<double> dips = Steady(120, 90);
    for (std::size_t i = 10; i < 90; i += 10)
        dips[i] = 99;
    out = Sounds(settings, dips);
    EXPECT_EQ(std::count(out.begin(), out.end(), 'S'), 2) << out;
    EXPECT_EQ(out.find('S', 1), 61u) << "the first sample over at or after a minute";

    // Cleared and over again: a new warning sounds at once.
    std::vector<double> again = Steady(120, 20);
    again[5] = 90;
    out = Sounds(settings, again);
    EXPECT_EQ(out.substr(0, 7), "S!!!!.S");
}

TEST(SpeedAlarm, FixLossRestartsTheDelayAndTheSourceClosingClears)
{
    CSpeedAlarm alarm;
    alarm.SetSettings(Limit(100, 0, 3));
    alarm.Update(0, 120);
    alarm.Update(1, 120);
    alarm.Interrupt();
    EXPECT_FALSE(alarm.Update(2, 120).sound);
    EXPECT_FALSE(alarm.Update(4, 120).sound);
    EXPECT_TRUE(alarm.Update(5, 120).sound);
    alarm.Interrupt();
    EXPECT_TRUE(alarm.IsWarning()) << "no speed is no reason to stop warning";
    const CSpeedAlarmStep cleared = alarm.Clear();
    EXPECT_TRUE(cleared.changed);
    EXPECT_FALSE(alarm.IsWarning());
    EXPECT_TRUE(alarm.SetSettings(Limit(100, 0, 0)).changed == false);
    alarm.Update(10, 120);
    EXPECT_TRUE(alarm.SetSettings(CSpeedAlarmSettings{}).changed) << "switched off";
    EXPECT_FALSE(alarm.IsWarning());
}

TEST(SpeedAlarm, DemoDriveWarnsWhereItIsFast)
{
    // The demo reaches about 100 km/h: a 60 km/h limit warns, a 150 km/h one never does.
    CDrive slow;
    slow.alarm.SetSettings(Limit(60, 5, 3));
    Replay(VELORAN_DEMO_LOG, slow);
    EXPECT_GE(slow.sounds, 1);
    CDrive fast;
    fast.alarm.SetSettings(Limit(150, 5, 3));
    Replay(VELORAN_DEMO_LOG, fast);
    EXPECT_EQ(fast.sounds, 0);
}

TEST(SpeedAlarm, TextsInTheUnitsShown)
{
    const struct {
        double kmh;
        UnitSystem units;
        const char *text;
    } cases[] = {
        {120.0, UnitSystem::Metric, "Over speed limit 120 km/h"},
        {120.0, UnitSystem::Imperial, "Over speed limit 74.6 mph"},
        {SpeedFromUnits(70.0, UnitSystem::Imperial), UnitSystem::Imperial,
         "Over speed limit 70 mph"},
        {SpeedFromUnits(12.0, UnitSystem::Nautic), UnitSystem::Nautic, "Over speed limit 12 knots"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(SpeedWarningText(c.kmh, c.units), c.text);
}

TEST(TripTexts, FiguresInTheUnitsShown)
{
    CTripFigures f;
    f.distanceMetres = 16093.0;
    f.movingSeconds = 3599.9;
    f.stoppedSeconds = 3600.0 + 5 * 60 + 59;
    f.maxSpeedKmh = 100.0;
    f.gainMetres = 100.0;
    f.lossMetres = 0.4;
    CWaypoint home;
    // Not due north, where the compass's flat bearing has its quirk.
    home.m_position = North(1000);
    home.m_position.m_longitude += 0.001;
    CTripComputer trip;
    trip.AddSample(North(0), 1000, 0.0, false);
    const CTripTarget target{"HOME", trip.Goto(home)};
    const auto join = [](const std::vector<CTripText> &texts) {
        std::string out;
        for (const CTripText &t : texts)
            out += t.caption + "=" + t.value + (t.unit.empty() ? "" : " " + t.unit) + "; ";
        return out;
    };
    const struct {
        const char *legend;
        CTripUnits units;
        std::optional<CTripTarget> target;
        const char *expected;
    } cases[] = {
        {"metric, no goto",
         {},
         std::nullopt,
         "Trip=16.1 km; Moving=59:59 min; Stopped=1:05 h; Average=16.1 km/h; Max=100.0 km/h; "
         "Ascent=100 m; Descent=0 m; No goto waypoint=---; "},
        {"imperial, a goto without an average",
         {UnitSystem::Imperial, UnitSystem::Imperial, UnitSystem::Imperial},
         target,
         "Trip=10.0 miles; Moving=59:59 min; Stopped=1:05 h; Average=10.0 mph; Max=62.1 mph; "
         "Ascent=328 ft; Descent=1 ft; To HOME=0.6 miles; Bearing=6\u00B0 N; ETA=---; "},
        {"nautic, the goto before a fix",
         {UnitSystem::Nautic, UnitSystem::Nautic, UnitSystem::Imperial},
         CTripTarget{"HOME", {}},
         "Trip=8.7 nm; Moving=59:59 min; Stopped=1:05 h; Average=8.7 knots; Max=54.0 knots; "
         "Ascent=328 ft; Descent=1 ft; To HOME=---; Bearing=---; ETA=---; "},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::vector<CTripText> texts = TripTexts(f, c.units, c.target);
        EXPECT_EQ(join(texts), c.expected);
    }
}

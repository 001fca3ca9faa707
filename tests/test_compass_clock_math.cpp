// Core tests of the compass and clock arithmetic.

#include "ZoneGuard.h"
#include "dashboard/CompassMath.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// How far apart two angles are on the circle, whichever way.
double Apart(double a, double b)
{
    return std::fabs(ShortestTurn(a, b));
}

} // namespace

TEST(CompassAngles, NormaliseAndShortestTurn)
{
    struct Case {
        double from, to, turn;
        const char *legend;
    };
    const Case cases[] = {
        {359, 1, 2, "over north clockwise: 2, not -358"},
        {1, 359, -2, "over north anticlockwise"},
        {10, 350, -20, "the short way is back over north"},
        {90, 270, 180, "half a turn goes clockwise"},
        {725, -5, -10, "angles beyond a turn and negative ones"},
        {0, 180.5, -179.5, "just past half a turn goes back"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_NEAR(ShortestTurn(c.from, c.to), c.turn, 1e-9);
    }

    struct Normal {
        double degrees, normal;
        const char *legend;
    };
    const Normal normals[] = {{360, 0, "a full turn is north"},
                              {-90, 270, "negative"},
                              {-1e-17, 0, "a hair below north is north"},
                              {kNaN, 0, "no number is north"},
                              {kInf, 0, "infinity is north"}};
    for (const Normal &n : normals) {
        SCOPED_TRACE(n.legend);
        const double value = NormaliseDegrees(n.degrees);
        EXPECT_EQ(value, n.normal);
        EXPECT_FALSE(std::signbit(value));
    }
}

TEST(CompassAngles, WholeDegreesAndCompassPoints)
{
    struct Case {
        double degrees;
        int whole;
        const char *point;
        const char *legend;
    };
    const Case cases[] = {
        {84.4, 84, "E", "rounds down"},
        {359.6, 0, "N", "rounds up to north, never 360"},
        {-1, 359, "N", "negative course"},
        {22.4, 22, "N", "last of north's sector"},
        {22.5, 23, "NE", "first of north-east's"},
        {337.4, 337, "NW", "last of north-west's"},
        {337.5, 338, "N", "north again"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(WholeDegrees(c.degrees), c.whole);
        EXPECT_STREQ(CompassPoint(c.degrees), c.point);
    }
}

TEST(CardTurn, TurnsTheShortWayWithinItsTime)
{
    struct Case {
        double from, to;
        double halfway; // shown after half the turn's time
        const char *legend;
    };
    const Case cases[] = {
        {359, 1, 0, "over north clockwise, not through south"},
        {1, 359, 0, "over north anticlockwise"},
        {350, 30, 10, "40 degrees over north"},
        {90, 270, 180, "half a turn: clockwise through south"},
        {100, 120, 110, "an ordinary turn"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CCardTurn card;
        card.Jump(c.from);
        EXPECT_FALSE(card.IsTurning());
        card.TurnTo(c.to);
        EXPECT_TRUE(card.IsTurning());
        EXPECT_NEAR(Apart(card.GetShown(), c.from), 0, 1e-9) << "starts where it was";
        // Every step stays on the short arc: never further from both ends than the arc is long.
        const double arc = Apart(c.from, c.to);
        for (int ms = 0; ms < 150; ms += 10) {
            card.Advance(10);
            EXPECT_LE(Apart(card.GetShown(), c.from) + Apart(card.GetShown(), c.to), arc + 1e-9)
                << "at " << ms + 10 << " ms: " << card.GetShown();
        }
        EXPECT_NEAR(Apart(card.GetShown(), c.halfway), 0, 1e-9);
        EXPECT_TRUE(card.Advance(CCardTurn::kDurationMs / 2 - 1));
        EXPECT_FALSE(card.Advance(1));
        EXPECT_EQ(card.GetShown(), NormaliseDegrees(c.to)) << "ends exactly on the course";
        card.Advance(1000);
        EXPECT_EQ(card.GetShown(), NormaliseDegrees(c.to));
    }
}

TEST(CardTurn, SmallChangesJump)
{
    // A 10 Hz receiver's course wanders by fractions of a degree: easing each would keep the
    // compass repainting at the frame rate.
    struct Case {
        double from, to;
        bool turns;
        const char *legend;
    };
    const Case cases[] = {
        {100, 100.4, false, "under half a degree"},
        {100, 100.99, false, "just under a degree"},
        {359.7, 0.3, false, "0.6 degrees over north"},
        {0.3, 359.7, false, "and back"},
        {100, 101, true, "a degree eases"},
        {359.5, 0.5, true, "a degree over north"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CCardTurn card;
        card.Jump(c.from);
        card.TurnTo(c.to);
        EXPECT_EQ(card.IsTurning(), c.turns);
        if (!c.turns) {
            EXPECT_EQ(card.GetShown(), NormaliseDegrees(c.to)) << "shown at once";
        }
    }
    // Mid-turn, a small step from the angle shown jumps to the new course and ends the turn.
    CCardTurn card;
    card.Jump(0);
    card.TurnTo(90);
    card.Advance(CCardTurn::kDurationMs);
    card.TurnTo(90.5);
    EXPECT_FALSE(card.IsTurning());
    EXPECT_EQ(card.GetShown(), 90.5);
}

TEST(CardTurn, NewCoursesMidTurn)
{
    CCardTurn card;
    card.Jump(0);
    card.TurnTo(90);
    card.Advance(150);
    ASSERT_NEAR(card.GetShown(), 45, 1e-9);

    // The same course again (every RMC repeats it) must not start the turn over.
    card.TurnTo(90);
    EXPECT_FALSE(card.Advance(150));
    EXPECT_EQ(card.GetShown(), 90);

    // A new course mid-turn carries on from the angle shown, without a jump.
    card.TurnTo(180);
    card.Advance(150);
    const double shown = card.GetShown();
    card.TurnTo(0);
    EXPECT_NEAR(card.GetShown(), shown, 1e-9);
    EXPECT_TRUE(card.IsTurning());
    card.Advance(300);
    EXPECT_EQ(card.GetShown(), 0);

    // Jump shows the course at once; a negative step does not run time backwards.
    card.TurnTo(200);
    card.Jump(-30);
    EXPECT_FALSE(card.IsTurning());
    EXPECT_EQ(card.GetShown(), 330);
    card.TurnTo(340);
    card.Advance(-500);
    EXPECT_EQ(card.GetShown(), 330);
}

TEST(ClockMath, TimeOfDayText)
{
    struct Case {
        double seconds;
        const char *text;
        const char *legend;
    };
    const Case cases[] = {
        {0, "00:00:00", "midnight"},
        {12 * 3600 + 35 * 60 + 19.99, "12:35:19", "seconds are cut, not rounded"},
        {86399.9, "23:59:59", "last second of the day"},
        {86400, "00:00:00", "a whole day is midnight"},
        {90061, "01:01:01", "the next day"},
        {-1, "23:59:59", "a second before midnight"},
        {kNaN, "--:--:--", "no number"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(FormatTimeOfDay(c.seconds), c.text);
    }
}

TEST(ClockMath, LocalOffsetFollowsTheZone)
{
    // 2024-01-15 and 2024-07-15, 12:00 UTC.
    const std::time_t winter = 1705320000;
    const std::time_t summer = 1721044800;
    struct Case {
        const char *tz;
        long winter, summer;
        const char *legend;
    };
    const Case cases[] = {
        {"UTC0", 0, 0, "UTC"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 3600, 7200, "central Europe, summer time"},
        {"<+0530>-5:30", 19800, 19800, "half an hour, east"},
        {"EST5EDT,M3.2.0,M11.1.0", -5 * 3600, -4 * 3600, "west of Greenwich"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CZoneGuard zone(c.tz);
        EXPECT_EQ(LocalOffsetSeconds(winter), c.winter);
        EXPECT_EQ(LocalOffsetSeconds(summer), c.summer);
    }
}

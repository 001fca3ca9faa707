#include "dashboard/DashboardLayout.h"
#include "dashboard/Freshness.h"
#include "dashboard/GaugeMath.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

TEST(GaugeMath, RadiusTicksAndTexts)
{
    EXPECT_EQ(GaugeRadius(80), 39);
    EXPECT_EQ(GaugeRadius(81), 40);
    EXPECT_EQ(GaugeRadius(160), 79);

    // Group 10 and 15 both put a middle tick every 5th; group 4 every 2nd.
    const struct {
        int index, group;
        TickKind kind;
    } kinds[] = {{0, 10, TickKind::Major},  {10, 10, TickKind::Major}, {5, 10, TickKind::Middle},
                 {3, 10, TickKind::Minor},  {5, 15, TickKind::Middle}, {3, 15, TickKind::Minor},
                 {15, 15, TickKind::Major}, {2, 4, TickKind::Middle},  {1, 4, TickKind::Minor}};
    for (const auto &k : kinds) {
        SCOPED_TRACE(std::to_string(k.index) + " of group " + std::to_string(k.group));
        EXPECT_EQ(TickKindAt(k.index, k.group), k.kind);
    }
    // The first tick hangs straight down from the rim; a quarter of the half circle later it
    // points left, the way growing values turn.
    const CTick bottom = TickAt(0, 50, 79, 10);
    EXPECT_EQ(bottom.outer, (CPoint{79, 79 + 78}));
    EXPECT_EQ(bottom.inner, (CPoint{79, 79 + 78 - 9}));
    const CTick left = TickAt(25, 50, 79, 10);
    EXPECT_EQ(left.outer, (CPoint{79 - 78, 79}));
    EXPECT_EQ(left.inner, (CPoint{79 - 78 + 6, 79})) << "a middle tick is shorter";

    EXPECT_EQ(GaugeValueText(0.5), "0.50");
    EXPECT_EQ(GaugeValueText(123.456), "123.5");
    EXPECT_EQ(GaugeValueText(12345.6), "12346");
    EXPECT_EQ(GaugeDigitalText(5), "5.000");
    EXPECT_EQ(GaugeDigitalText(55.555), "55.55");
    EXPECT_EQ(GaugeDigitalText(555.55), "555.5");
    EXPECT_EQ(GaugeDigitalText(5555.5), "5556");
}

TEST(GaugeMath, SignalColourRampClampedAtGreen)
{
    const struct {
        double snr;
        CRgb rgb;
    } cases[] = {{-5, {255, 0, 0}},   {0, {255, 0, 0}},      {12.5, {255, 102, 0}},
                 {25, {255, 255, 0}}, {37.5, {102, 255, 0}}, {50, {0, 255, 0}},
                 {60, {0, 255, 0}},   {99, {0, 255, 0}},     {6.25, {255, 51, 0}}};
    for (const auto &c : cases) {
        SCOPED_TRACE(std::to_string(c.snr) + " dB");
        EXPECT_EQ(SignalColour(c.snr * 0.02), c.rgb);
    }
}

// The scale follows the value's magnitude; a value that fits no range sets range 10 and asks
// for a new face on every call, deliberately.
TEST(GaugeMath, AutoRangingScale)
{
    const struct {
        double value;
        int range;
        bool newFace;
        const char *legend;
    } steps[] = {
        {150, 10, false, "hundreds fit range 10"},
        {999, 10, false, "still"},
        {0, 10, true, "zero fits no range"},
        {0, 10, true, "and again"},
        {50, 10, true, "below the group's square"},
        {1500, 100, true, "thousands: range 100"},
        {9999, 100, false, "fits"},
        {1000, 100, false, "a thousand fits the hundreds too"},
        {25000, 1000, true, "ten thousands"},
        {-3, 10, true, "negative"},
        {std::numeric_limits<double>::quiet_NaN(), 10, true, "no number"},
    };
    CScaleRange scale = CScaleRange::Make(10, 10, 10);
    for (const auto &s : steps) {
        SCOPED_TRACE(s.legend);
        EXPECT_EQ(scale.Adapt(s.value, 10), s.newFace);
        EXPECT_EQ(scale.range, s.range);
        EXPECT_DOUBLE_EQ(scale.anglePerUnit, -2 * M_PI / 10 / s.range);
    }
}

TEST(GaugeMath, NeedleTurnsClockwiseFromTheBottom)
{
    const CScaleRange scale = CScaleRange::Make(10, 10, 10); // 100 units a turn
    const int r = 79;
    const int l = RoundHalfUp(0.85 * r);
    const struct {
        double value;
        CPoint tip;
        int turns;
        const char *legend;
    } cases[] = {
        {0, {r, r + l}, 0, "down"},
        {25, {r - l, r}, 0, "left"},
        {50, {r, r - l}, 0, "up"},
        {75, {r + l, r}, 0, "right"},
        {125, {r - l, r}, 1, "a turn and a quarter"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const CNeedle n = NeedleAt(c.value, scale, 10, r);
        EXPECT_EQ(n.tip, c.tip);
        EXPECT_EQ(n.turns, c.turns);
        // The tail is a fifth of the needle, through the centre.
        EXPECT_NEAR(std::hypot(n.tail.x - r, n.tail.y - r), 0.2 * 0.85 * r, 1.0);
    }
    // The count of turns sits at the major tick of that count: one turn, the first one.
    const double at = 0.75 * r - 1;
    EXPECT_EQ(NeedleAt(125, scale, 10, r).turnLabel,
              (CPoint{r + RoundHalfUp(at * std::sin(-M_PI / 5)),
                      r + RoundHalfUp(at * std::cos(-M_PI / 5))}));
}

TEST(GaugeMath, OnlyAMovedNeedleRedraws)
{
    const CScaleRange scale = CScaleRange::Make(10, 10, 10); // 100 units a turn, 3.6 deg a unit
    const struct {
        double from, to;
        int radius;
        bool moves;
        const char *legend;
    } cases[] = {
        {42.0, 42.01, 79, false, "a hundredth of a unit: far under a pixel"},
        {42.0, 42.1, 79, false, "a tenth on a small dial: 0.4 px at the tip"},
        {42.0, 42.1, 400, true, "the same tenth on a large dial: 2 px"},
        {42.0, 43.0, 79, true, "a whole unit: 4 px"},
        {99.999, 100.001, 79, true, "a completed turn: same angle, the count of turns changes"},
        {100.001, 99.999, 79, true, "and back"},
        {0.0, 0.0, 79, false, "no change"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(NeedleMoves(c.from, c.to, scale, 10, c.radius), c.moves);
        EXPECT_EQ(NeedleMoves(c.from, c.to, scale, 10, c.radius),
                  !(NeedleAt(c.from, scale, 10, c.radius) == NeedleAt(c.to, scale, 10, c.radius)));
    }
}

TEST(GaugeMath, SkyOffsetsNorthUpEastRight)
{
    const struct {
        int elevation, azimuth;
        CPoint offset;
        const char *legend;
    } cases[] = {
        {90, 123, {0, 0}, "zenith at the centre"}, {0, 0, {0, -60}, "north on the rim, up"},
        {0, 90, {60, 0}, "east to the right"},     {0, 180, {0, 60}, "south down"},
        {45, 270, {-30, 0}, "half way up, west"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(SkyOffset(c.elevation, c.azimuth, 60), c.offset);
    }
}

// A dismissed menu sets no mode and still reports an action, -M or -M-2.
TEST(GaugeMath, MenuOutcomes)
{
    const struct {
        int id, mode, modes;
        bool digitalCapable;
        std::optional<int> newMode;
        std::optional<bool> digital;
        int action;
        const char *legend;
    } cases[] = {
        {0, 1, 3, true, {}, {}, -5, "dismissed, digital capable"},
        {0, 1, 3, false, {}, {}, -3, "dismissed"},
        {2, 1, 3, true, 2, {}, -3, "a new mode"},
        {1, 1, 3, true, {}, {}, -4, "the current mode"},
        {4, 1, 3, true, {}, false, -1, "Analog"},
        {5, 1, 3, true, {}, true, 0, "Digital"},
        {6, 1, 3, true, {}, {}, 1, "the first action"},
        {3, 1, 2, false, {}, {}, 1, "first action without Analog/Digital"},
        {300, 1, 2, false, {}, {}, 42, "truncated to 8 bits"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const CMenuOutcome o = ResolveMenuChoice(c.id, c.mode, c.modes, c.digitalCapable);
        EXPECT_EQ(o.mode, c.newMode);
        EXPECT_EQ(o.digital, c.digital);
        EXPECT_EQ(o.action, c.action);
    }
}

TEST(FeedAges, WallClockLiveAndLogClockWhileReplaying)
{
    CFeedAges ages;
    EXPECT_EQ(ages.Freshness(GaugeFeed::Speed), GaugeFreshness::Gone) << "never fed";
    ages.SetWallTime(100.0);
    ages.Fed(GaugeFeed::Speed);
    const struct {
        double wall;
        GaugeFreshness speed;
    } live[] = {{102.9, GaugeFreshness::Live},
                {103.5, GaugeFreshness::Stale},
                {110.0, GaugeFreshness::Stale},
                {110.5, GaugeFreshness::Gone}};
    for (const auto &s : live) {
        ages.SetWallTime(s.wall);
        EXPECT_EQ(ages.Freshness(GaugeFeed::Speed), s.speed) << s.wall;
    }

    // Live, the times of day the receiver sends leave the ages alone, whichever came first.
    ages.SetWallTime(200.0);
    ages.Fed(GaugeFeed::Altitude);
    ages.OnLogTimeOfDay(45319.0);
    ages.SetWallTime(204.0);
    EXPECT_EQ(ages.Freshness(GaugeFeed::Altitude), GaugeFreshness::Stale);

    // A replay ages by the log's own times: a paused replay ages nothing, midnight is crossed.
    ages.SetReplaying(true);
    EXPECT_EQ(ages.Freshness(GaugeFeed::Speed), GaugeFreshness::Gone) << "a new source";
    ages.Fed(GaugeFeed::Speed); // before the log told its time
    ages.OnLogTimeOfDay(86398.0);
    ages.SetWallTime(500.0);
    EXPECT_EQ(ages.Age(GaugeFeed::Speed), 0.0) << "the wall clock does not count";
    ages.OnLogTimeOfDay(1.0);
    EXPECT_DOUBLE_EQ(ages.Age(GaugeFeed::Speed), 3.0) << "over midnight";
    ages.OnLogTimeOfDay(86000.0);
    EXPECT_DOUBLE_EQ(ages.Age(GaugeFeed::Speed), 3.0) << "a log going back ages nothing";
    ages.Forget();
    EXPECT_EQ(ages.Freshness(GaugeFeed::Speed), GaugeFreshness::Gone);
}

// A replay that ended leaves its values on the gauges: they go stale and then gone on the wall
// clock, as a receiver's that fell silent, instead of staying live for ever.
TEST(FeedAges, EndedReplayAgesOnTheWallClock)
{
    CFeedAges ages;
    ages.SetReplaying(true);
    ages.OnLogTimeOfDay(1000.0);
    ages.Fed(GaugeFeed::Speed);
    ages.OnLogTimeOfDay(1002.0);
    ages.Fed(GaugeFeed::Time);
    ages.SetWallTime(50.0);
    ages.EndReplay();
    const struct {
        double wall;
        GaugeFreshness speed, time;
    } steps[] = {{50.0, GaugeFreshness::Live, GaugeFreshness::Live},
                 {51.5, GaugeFreshness::Stale, GaugeFreshness::Live},
                 {53.5, GaugeFreshness::Stale, GaugeFreshness::Stale},
                 {58.5, GaugeFreshness::Gone, GaugeFreshness::Stale},
                 {62.5, GaugeFreshness::Gone, GaugeFreshness::Gone}};
    for (const auto &s : steps) {
        ages.SetWallTime(s.wall);
        EXPECT_EQ(ages.Freshness(GaugeFeed::Speed), s.speed) << s.wall;
        EXPECT_EQ(ages.Freshness(GaugeFeed::Time), s.time) << s.wall;
    }
    EXPECT_EQ(ages.Freshness(GaugeFeed::Heading), GaugeFreshness::Gone) << "never fed";
    ages.OnLogTimeOfDay(2000.0);
    EXPECT_EQ(ages.Freshness(GaugeFeed::Time), GaugeFreshness::Gone) << "no log clock any more";
}

TEST(DashboardLayout, DefaultsTapsAndExclusiveMode)
{
    using I = Instrument;
    CDashboardLayout layout;
    EXPECT_EQ(layout.GetLarge(), static_cast<int>(I::SatelliteView));
    const struct {
        I instrument;
        int slot;
    } defaults[] = {{I::SatelliteView, 0}, {I::Altimeter, 1},   {I::Compass, 2},
                    {I::Mileage, 3},       {I::Speedometer, 4}, {I::Clock, 5}};
    for (const auto &d : defaults)
        EXPECT_EQ(layout.GetPosition(d.instrument), d.slot);

    layout.Tap(I::Speedometer); // a small one swaps with the large one
    EXPECT_EQ(layout.GetLarge(), static_cast<int>(I::Speedometer));
    EXPECT_EQ(layout.GetPosition(I::Speedometer), 0);
    EXPECT_EQ(layout.GetPosition(I::SatelliteView), 4);
    layout.Tap(I::Speedometer); // the large one: alone on the page
    EXPECT_TRUE(layout.IsExclusive());
    EXPECT_EQ(layout.ShownSlot(I::Speedometer), kExclusiveSlot);
    EXPECT_EQ(layout.ShownSlot(I::Clock), 5);
    layout.Tap(I::Speedometer); // and back
    EXPECT_FALSE(layout.IsExclusive());
    EXPECT_EQ(layout.ShownSlot(I::Speedometer), kLargeSlot);
    layout.SetExclusive(true);
    layout.Tap(I::Clock); // in exclusive mode a swap lands in the normal large slot
    EXPECT_EQ(layout.GetPosition(I::Clock), 0);
    EXPECT_EQ(layout.GetPosition(I::Speedometer), 5);

    // Saved positions are taken unchecked; the last instrument at 0 is the large one.
    CDashboardLayout loaded;
    loaded.SetPosition(I::Clock, 0);
    loaded.Settle();
    EXPECT_EQ(loaded.GetLarge(), static_cast<int>(I::Clock));
}

TEST(DashboardLayout, PageFitsUniformlyAndCentred)
{
    const CPageFit wide = CPageFit::For(960, 494);
    EXPECT_DOUBLE_EQ(wide.scale, 2.0);
    EXPECT_DOUBLE_EQ(wide.left, 240.0);
    EXPECT_DOUBLE_EQ(wide.top, 0.0);
    const CSlotRect large = wide.Map(kDashboardSlots[kLargeSlot]);
    EXPECT_EQ(large.left, 240);
    EXPECT_EQ(large.top, 168);
    EXPECT_EQ(large.Width(), 320);
    // Neighbours share their edges exactly at any scale.
    const CPageFit odd = CPageFit::For(333, 700);
    EXPECT_EQ(odd.Map(kDashboardSlots[1]).right, odd.Map(kDashboardSlots[2]).left);
    EXPECT_EQ(odd.Map(kDashboardSlots[0]).right, odd.Map(kDashboardSlots[4]).left);
}

// Wider than tall: three instruments a row in two rows, all of one size, the same six
// positions; portrait at a square page and taller.
TEST(DashboardLayout, LandscapePage)
{
    struct Case {
        const char *legend;
        int width, height;
        bool landscape;
    };
    const Case cases[] = {
        {"the 7-inch panel's page", 800, 400, true},
        {"one pixel wider than tall", 401, 400, true},
        {"square", 400, 400, false},
        {"the design's window", 480, 560, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(DashboardPageFor(c.width, c.height).IsLandscape(), c.landscape);
    }

    const CDashboardPage &page = kLandscapePage;
    int rowOf[2] = {0, 0};
    for (int slot = 0; slot < kExclusiveSlot; ++slot) {
        SCOPED_TRACE(slot);
        const CSlotRect &r = page.rects[static_cast<std::size_t>(slot)];
        EXPECT_EQ(r.Width(), 80);
        EXPECT_EQ(r.Height(), 80);
        EXPECT_GE(r.left, 0);
        EXPECT_LE(r.right, page.width);
        EXPECT_GE(r.top, 0);
        EXPECT_LE(r.bottom, page.height);
        ++rowOf[r.top == 4 ? 0 : 1];
        for (int other = 0; other < slot; ++other) {
            const CSlotRect &o = page.rects[static_cast<std::size_t>(other)];
            const bool apart =
                r.right <= o.left || o.right <= r.left || r.bottom <= o.top || o.bottom <= r.top;
            EXPECT_TRUE(apart) << "overlaps slot " << other;
        }
    }
    EXPECT_EQ(rowOf[0], 3);
    EXPECT_EQ(rowOf[1], 3);
    // Alone, the large instrument is as tall as the page's faces, centred.
    const CSlotRect &alone = page.rects[kExclusiveSlot];
    EXPECT_EQ(alone.Height(), 160);
    EXPECT_EQ(alone.left, page.width - alone.right);

    // At 800 x 400 the page is as tall as the window's page: 574 of 800 pixels, centred.
    const CPageFit fit = CPageFit::For(page, 800, 400);
    EXPECT_NEAR(fit.scale, 400.0 / 167, 1e-9);
    const CSlotRect first = fit.Map(page.rects[1]);
    const CSlotRect last = fit.Map(page.rects[3]);
    EXPECT_EQ(last.right - first.left, 574);
    EXPECT_LE(std::abs(first.left - (800 - last.right)), 1);
    EXPECT_EQ(fit.Map(page.rects[1]).right, fit.Map(page.rects[2]).left);
    EXPECT_EQ(fit.Map(page.rects[0]).right, fit.Map(page.rects[5]).left);
    EXPECT_EQ(fit.Map(page.rects[5]).right, fit.Map(page.rects[4]).left);
}

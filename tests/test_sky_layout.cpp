#include "SkyTestUtils.h"
#include "dashboard/GaugeMath.h"
#include "dashboard/SkyLayout.h"
#include "dashboard/SkyMarkers.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

double Distance(const CSkyMarkerPlace &a, const CSkyMarkerPlace &b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

} // namespace

// The sky of 40 on the sky view's dials at 480x640 (a small instrument of radius 79, the large
// one of 159, alone 239), 800x480 (82 in a row of three, 164 alone) and 1920x1080 (227, 452):
// labelled (markers of 7 pixels at least) where labels fit, else smaller without. The markers
// keep a quarter of their size to themselves at most, and stay whole inside the rim. A marker's
// size is its disc's, the shapes being about as heavy.
TEST(SkyLayout, FortySatellitesKeepApartInsideTheDial)
{
    struct Case {
        int radius;
        bool labelled;
        const char *legend;
    };
    const Case cases[] = {
        {79, false, "480x640: small"},      {159, true, "480x640: large"},
        {239, true, "480x640: alone"},      {82, false, "800x480: in a row"},
        {164, true, "800x480: alone"},      {227, true, "1920x1080: in a row"},
        {452, true, "1920x1080: alone"},    {39, false, "the design's small dial"},
        {95, false, "too full for labels"}, {96, true, "just room for them"},
    };
    const std::vector<CSkySatellite> sky = FortySatellites();
    ASSERT_EQ(sky.size(), 40U);
    constexpr int labelled = 7;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(SkyLabelsFit(sky.size(), c.radius, labelled), c.labelled);
        const int minimum = c.labelled ? labelled : kSkySmallestMarker;
        // N, E, S and W as the sky view keeps them clear.
        std::vector<CSkyKeepOut> letters;
        for (const CSkyGridLabel &l : SkyGridLabels(c.radius))
            if (!l.elevation && c.radius >= 79) // smaller, the letters do not read
                letters.push_back({l.x, l.y, 0.7 * std::max(10, c.radius / 9)});
        for (const bool shapes : {true, false}) {
            const CSkyLayout layout = LayoutSky(sky, c.radius, minimum, shapes, letters);
            ASSERT_EQ(layout.markers.size(), sky.size());
            EXPECT_GE(layout.half, std::min(minimum, c.radius / 11));
            for (std::size_t i = 0; i < sky.size(); ++i) {
                const CSkyMarkerPlace &m = layout.markers[i];
                const double reach = SkyMarkerReach(sky[i].system, layout.half, shapes);
                EXPECT_LE(std::hypot(m.x, m.y) + reach, c.radius) << "marker " << i;
                for (const CSkyKeepOut &k : letters)
                    EXPECT_GE(std::hypot(m.x - k.x, m.y - k.y), layout.half + k.radius - 1)
                        << "marker " << i << " on a letter";
                for (std::size_t j = i + 1; j < sky.size(); ++j)
                    EXPECT_GE(Distance(m, layout.markers[j]), 1.5 * layout.half)
                        << "markers " << i << " and " << j;
            }
        }
    }
}

// Satellites apart stay on their spots; the horizon comes in along its own azimuth; a nudge
// further than half a marker gets a leader.
TEST(SkyLayout, MarkersMoveOnlyWhereTheyMust)
{
    const int radius = 110; // a half size of 10
    struct Case {
        std::vector<CSkySatellite> sky;
        std::vector<CSkyMarkerPlace> expected;
        const char *legend;
    };
    const CPoint ne = SkyOffset(45, 45, radius);
    const CPoint sw = SkyOffset(45, 225, radius);
    const Case cases[] = {
        {{SkySat(GnssSystem::GPS, 1, 90, 0)}, {{0, 0, 0, 0, false}}, "zenith, alone: the centre"},
        {{SkySat(GnssSystem::GPS, 1, 45, 45), SkySat(GnssSystem::GPS, 2, 45, 225)},
         {{ne.x, ne.y, ne.x, ne.y, false}, {sw.x, sw.y, sw.x, sw.y, false}},
         "far apart: where they are"},
        {{SkySat(GnssSystem::GPS, 1, 0, 90)}, {{98, 0, 110, 0, false}}, "east on the horizon: in"},
        {{SkySat(GnssSystem::GPS, 1, 0, 0)}, {{0, -98, 0, -110, false}}, "north on the horizon"},
        {{SkySat(GnssSystem::GPS, 1, 90, 0), SkySat(GnssSystem::GPS, 2, 90, 0)},
         {{-11, 0, 0, 0, true}, {11, 0, 0, 0, true}},
         "one spot: side by side, leaders"},
        {{SkySat(GnssSystem::GPS, 1, 90, 0), SkySat(GnssSystem::GPS, 2, 80, 90)},
         {{-5, 0, 0, 0, false}, {17, 0, 12, 0, false}},
         "touching: just apart, no leaders"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CSkyLayout layout = LayoutSky(c.sky, radius, 0, false);
        EXPECT_EQ(layout.half, 10);
        ASSERT_EQ(layout.markers.size(), c.expected.size());
        for (std::size_t i = 0; i < c.expected.size(); ++i) {
            const CSkyMarkerPlace &m = layout.markers[i];
            const CSkyMarkerPlace &e = c.expected[i];
            EXPECT_EQ(std::vector<int>({m.x, m.y, m.trueX, m.trueY}),
                      std::vector<int>({e.x, e.y, e.trueX, e.trueY}))
                << "marker " << i;
            EXPECT_EQ(m.leader, e.leader) << "marker " << i;
        }
    }
    // On W, against the rim: round the rim off the letter, with a leader.
    const CSkyKeepOut w{-5.0 * radius / 6, 0, 8};
    const CSkyLayout onW = LayoutSky({SkySat(GnssSystem::GPS, 1, 0, 270)}, radius, 0, false, {w});
    const CSkyMarkerPlace &m = onW.markers.at(0);
    EXPECT_GE(std::hypot(m.x - w.x, m.y - w.y), 10 + 8);
    EXPECT_LE(std::hypot(m.x, m.y) + 10.5, radius);
    EXPECT_TRUE(m.leader);
    const std::vector<CSkySatellite> forty = FortySatellites();
    const CSkyLayout a = LayoutSky(forty, 159, 6, true);
    const CSkyLayout b = LayoutSky(forty, 159, 6, true);
    for (std::size_t i = 0; i < forty.size(); ++i)
        EXPECT_TRUE(a.markers[i].x == b.markers[i].x && a.markers[i].y == b.markers[i].y)
            << "the same sky lays out the same, marker " << i;
}

// The design's radius / 11 up to 12; the area shared out beyond; the labels' minimum holds.
TEST(SkyLayout, MarkersShrinkWithTheCountDownToTheMinimum)
{
    struct Case {
        std::size_t count;
        int radius, minimum, half;
        const char *legend;
    };
    const Case cases[] = {
        {1, 159, 6, 14, "one: the design's"},
        {12, 159, 6, 14, "twelve: the design's"},
        {24, 159, 6, 9, "twice as many: 1/sqrt(2), whole pixels down"},
        {40, 159, 6, 7, "forty"},
        {40, 79, 6, 6, "forty on a small dial: the labels' minimum"},
        {40, 79, 0, 3, "forty unlabelled"},
        {40, 39, 0, 2, "never below two pixels"},
        {5, 39, 6, 3, "never above the design's"},
        {0, 159, 6, 14, "none"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(SkyMarkerHalf(c.count, c.radius, c.minimum), c.half);
    }
}

// N, E, S and W where they belong; the rings' elevations on a spoke of their own, their boxes
// clear of every azimuth label's at the sky view's largest type (a fifth of the radius high,
// two characters of 0.6 of that wide).
TEST(SkyLayout, GridLabelsNeverMeet)
{
    for (const int radius : {49, 79, 159, 452}) {
        SCOPED_TRACE(radius);
        const std::vector<CSkyGridLabel> labels = SkyGridLabels(radius);
        std::string compass;
        for (const CSkyGridLabel &l : labels)
            if (!l.elevation) {
                compass += l.text;
                const double azimuth = std::atan2(l.x, -l.y) * 180 / 3.14159265358979;
                const int expected = l.text == "N"   ? 0
                                     : l.text == "E" ? 90
                                     : l.text == "S" ? 180
                                                     : -90;
                EXPECT_NEAR(azimuth, expected, 1e-6) << l.text;
                EXPECT_NEAR(std::hypot(l.x, l.y), 5.0 * radius / 6, 1e-6) << l.text;
            }
        EXPECT_EQ(compass, "NESW");
        const double high = radius / 5.0;
        const double wide = 2 * 0.6 * high;
        for (const CSkyGridLabel &ring : labels) {
            if (!ring.elevation)
                continue;
            for (const CSkyGridLabel &azimuth : labels) {
                if (azimuth.elevation)
                    continue;
                EXPECT_TRUE(std::abs(ring.x - azimuth.x) >= wide
                            || std::abs(ring.y - azimuth.y) >= high)
                    << ring.text << " meets " << azimuth.text;
            }
        }
    }
    EXPECT_NE(kSkyRingLabelAzimuth % kSkyAzimuthLabelStep, 0) << "a spoke without an azimuth";
    EXPECT_EQ(kSkyRingLabelAzimuth % 30, 0) << "on a spoke";
}

TEST(SkyLayout, LabelModeStoredOrAutomatic)
{
    struct Case {
        int mode;
        bool multiSystem, numbers;
        const char *legend;
    };
    const Case cases[] = {
        {0, true, true, "automatic, several systems: the number"},
        {0, false, false, "automatic, GPS: the signal, as always"},
        {1, true, false, "signal chosen"},
        {2, false, true, "number chosen"},
        {7, true, true, "unknown: automatic"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(SkyLabelsShowNumbers(c.mode, c.multiSystem), c.numbers);
    }
}

// One entry to a corner in reading order, shared out past four; taps find their entry.
TEST(SkyLegend, EntriesInTheCornersAndTheirTaps)
{
    struct Case {
        std::size_t count;
        std::vector<std::pair<double, double>> topLefts;
        const char *legend;
    };
    const Case cases[] = {
        {1, {{2, 2}}, "one: top left"},
        {4, {{2, 2}, {58, 2}, {2, 88}, {58, 88}}, "four: a corner each"},
        {5, {{2, 2}, {2, 12}, {58, 2}, {58, 12}, {2, 88}}, "five: two a corner"},
        {7,
         {{2, 2}, {2, 12}, {58, 2}, {58, 12}, {2, 78}, {2, 88}, {58, 88}},
         "seven: the last corner one"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::vector<CSkyBox> boxes = SkyLegendBoxes(c.count, 40, 10, 100, 2);
        ASSERT_EQ(boxes.size(), c.topLefts.size());
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            EXPECT_EQ(std::make_pair(boxes[i].left, boxes[i].top), c.topLefts[i]) << i;
            EXPECT_EQ(SkyLegendEntryAt(boxes, boxes[i].left + 1, boxes[i].top + 9),
                      static_cast<int>(i));
        }
        EXPECT_EQ(SkyLegendEntryAt(boxes, 50, 50), -1) << "the sky is no entry";
    }
    EXPECT_TRUE(SkyLegendClearOfDial(SkyLegendBoxes(4, 20, 10, 200, 2), 99));
    EXPECT_FALSE(SkyLegendClearOfDial(SkyLegendBoxes(4, 60, 10, 200, 2), 99));
}

#include "maps/WaypointLayer.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>

namespace
{

// 10,000 × 8,000 pixels from (48 N, 11 E) to (47 N, 12 E): 10,000 pixels a degree east.
CMapInfo Sheet()
{
    CMapInfo map;
    map.m_width = 10000;
    map.m_height = 8000;
    map.m_pairs.resize(2);
    map.m_pairs[0].m_position = CGeoPosition(48.0, 11.0, 0.0);
    map.m_pairs[1].m_point = {10000, 8000};
    map.m_pairs[1].m_position = CGeoPosition(47.0, 12.0, 0.0);
    map.Calibrate();
    return map;
}

CWaypoint At(const CMapInfo &map, int x, int y, double radius = 1.0)
{
    CWaypoint w;
    map.PixelToPosition({x, y}, w.m_position);
    // The middle of the pixel, so that it maps back onto it.
    w.m_position.m_longitude += 0.5 / map.m_xScale;
    w.m_position.m_latitude += 0.5 / map.m_yScale;
    w.m_radius = radius;
    w.m_name = "W" + std::to_string(x) + "," + std::to_string(y);
    return w;
}

CMapViewport View(int centreX, int centreY, double zoom, int width = 400, int height = 300)
{
    CMapViewport view;
    view.SetBitmapSize(10000, 8000);
    view.SetClientSize(width, height);
    view.SetZoom(zoom);
    view.SetCentre({centreX, centreY});
    return view;
}

const auto kWidth = [](std::size_t) { return 40.0; };

} // namespace

TEST(PlaceLabels, RefusesOverlapsAndWhatLeavesTheView)
{
    struct Case {
        const char *legend;
        std::vector<CWaypointLabel> candidates;
        int budget;
        int tries;
        std::vector<std::size_t> chosen;
    };
    // 40 wide, 10 high, in a 200 × 100 view.
    const Case cases[] = {
        {"apart", {{0, 10, 20, 0}, {1, 10, 40, 0}, {2, 60, 20, 0}}, 10, 10, {0, 1, 2}},
        {"touching is not overlapping",
         {{0, 10, 20, 0}, {1, 50, 20, 0}, {2, 10, 30, 0}},
         10,
         10,
         {0, 1, 2}},
        {"overlap: the first keeps its place",
         {{0, 10, 20, 0}, {1, 30, 25, 0}, {2, 49, 15, 0}, {3, 10, 40, 0}},
         10,
         10,
         {0, 3}},
        {"off the left, top, right and bottom",
         {{0, -1, 50, 0}, {1, 10, 4, 0}, {2, 161, 50, 0}, {3, 10, 96, 0}, {4, 160, 95, 0}},
         10,
         10,
         {4}},
        {"the budget", {{0, 0, 10, 0}, {1, 0, 30, 0}, {2, 0, 50, 0}}, 2, 10, {0, 1}},
        {"tries count the measured",
         {{0, 0, 10, 0}, {1, 170, 50, 0}, {2, 0, 30, 0}, {3, 0, 50, 0}},
         10,
         3,
         {0, 2}},
        {"a start inside a taken name costs no try",
         {{0, 0, 10, 0}, {1, 5, 10, 0}, {2, 0, 30, 0}},
         10,
         2,
         {0, 2}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        int measured = 0;
        const auto measure = [&measured](std::size_t) {
            ++measured;
            return 40.0;
        };
        EXPECT_EQ(PlaceLabels(c.candidates, 200, 100, 10, c.budget, c.tries, measure), c.chosen);
        EXPECT_LE(measured, c.tries);
    }
}

// The grid must find exactly what a look at every waypoint finds: views over the whole sheet,
// at its edges and corners, zoomed in and out, with circles wider than a cell.
TEST(WaypointLayer, GridFindsWhatTheWholeListHolds)
{
    const CMapInfo map = Sheet();
    CWaypointList list;
    std::mt19937 random(7);
    std::uniform_int_distribution<int> x(-200, 10199);
    std::uniform_int_distribution<int> y(-200, 8199);
    for (int i = 0; i < 3000; ++i)
        list.push_back(At(map, x(random), y(random), i % 100 == 0 ? 400.0 : 1.0 + i % 7));
    CWaypointLayer layer;
    layer.Build(list, map);
    CWaypointStyle style;
    style.labelBudget = 0;
    style.maxCover = 1e9; // every circle, however crowded
    for (int i = 0; i < 40; ++i) {
        const CMapViewport view = View(x(random), y(random), i % 4 == 0 ? 4.0 : 0.7 + i % 3);
        SCOPED_TRACE(testing::Message() << "centre " << view.GetCentre().x << ","
                                        << view.GetCentre().y << " zoom " << view.GetZoom());
        std::set<std::size_t> expected;
        for (std::size_t k = 0; k < list.size(); ++k) {
            CMapPoint p;
            if (!map.ContainsPosition(list[k].m_position)
                || !map.PositionToPixel(list[k].m_position, p))
                continue;
            const double rx = std::max(map.m_xScale * list[k].m_radius / 3600.0 / view.GetZoom(),
                                       style.dotRadius);
            const double ry = std::max(-map.m_yScale * list[k].m_radius / 3600.0 / view.GetZoom(),
                                       style.dotRadius);
            const double sx = view.ScreenX(p.x);
            const double sy = view.ScreenY(p.y);
            if (sx + rx >= 0 && sx - rx <= 400 && sy + ry >= 0 && sy - ry <= 300)
                expected.insert(k);
        }
        std::set<std::size_t> found;
        for (const CWaypointDot &d : layer.Compose(view, style, kWidth).dots)
            found.insert(d.waypoint);
        // Smallest dots on one screen pixel are drawn once: each one left out lies under one drawn.
        for (std::size_t k : found)
            EXPECT_TRUE(expected.count(k)) << "not in view: " << k;
        for (std::size_t k : expected) {
            if (found.count(k))
                continue;
            CMapPoint p;
            map.PositionToPixel(list[k].m_position, p);
            const bool hidden = std::any_of(found.begin(), found.end(), [&](std::size_t other) {
                CMapPoint q;
                map.PositionToPixel(list[other].m_position, q);
                return std::lround(view.ScreenX(q.x)) == std::lround(view.ScreenX(p.x))
                       && std::lround(view.ScreenY(q.y)) == std::lround(view.ScreenY(p.y));
            });
            EXPECT_TRUE(hidden) << "missing: " << k;
        }
    }
}

TEST(WaypointLayer, OnePixelOneDotAndOnlyTheMapsWaypoints)
{
    const CMapInfo map = Sheet();
    CWaypointList list{At(map, 5000, 4000), At(map, 5000, 4000), At(map, 5000, 4000, 50.0),
                       At(map, 5001, 4000), At(map, -10, 4000),  At(map, 5000, 8100)};
    CWaypointLayer layer;
    layer.Build(list, map);
    EXPECT_EQ(layer.GetCount(), 3u); // the same circle on the same pixel stands for the second

    CWaypointStyle style;
    const CWaypointFrame near = layer.Compose(View(5000, 4000, 1.0), style, kWidth);
    std::vector<std::size_t> dots;
    for (const CWaypointDot &d : near.dots)
        dots.push_back(d.waypoint);
    EXPECT_EQ(dots, (std::vector<std::size_t>{0, 2, 3}));
    // Zoomed out, the neighbour's dot falls on the same screen pixel as the first.
    dots.clear();
    for (const CWaypointDot &d : layer.Compose(View(5000, 4000, 8.0), style, kWidth).dots)
        dots.push_back(d.waypoint);
    EXPECT_EQ(dots, (std::vector<std::size_t>{0, 2}));

    // An uncalibrated map shows none; a rebuilt layer knows its map.
    CMapInfo plain = map;
    plain.m_pairs.clear();
    EXPECT_FALSE(layer.IsBuiltFor(plain));
    layer.Build(list, plain);
    EXPECT_TRUE(layer.IsBuiltFor(plain));
    EXPECT_TRUE(layer.Compose(View(5000, 4000, 1.0), style, kWidth).dots.empty());
}

// A crowd covering the view many times over: circles thinned to about one cover of the view,
// and the same ones kept while the view moves (no flicker while following a fix).
TEST(WaypointLayer, CrowdThinnedAndSteadyWhileTheViewMoves)
{
    const CMapInfo map = Sheet();
    CWaypointList list;
    std::mt19937 random(3);
    std::uniform_int_distribution<int> x(4500, 5499);
    std::uniform_int_distribution<int> y(3500, 4499);
    for (int i = 0; i < 70000; ++i)
        list.push_back(At(map, x(random), y(random), 2.0)); // about 5.6 × 4.4 pixels at zoom 1
    CWaypointLayer layer;
    layer.Build(list, map);
    CWaypointStyle style;
    style.labelBudget = 0;
    const auto dots = [&](int centreX) {
        std::map<std::size_t, std::pair<double, double>> out;
        for (const CWaypointDot &d : layer.Compose(View(centreX, 4000, 1.0), style, kWidth).dots)
            out[d.waypoint] = {d.x, d.y};
        return out;
    };
    const auto before = dots(5000);
    double cover = 0.0;
    for (const CWaypointDot &d : layer.Compose(View(5000, 4000, 1.0), style, kWidth).dots)
        cover += 4.0 * d.radiusX * d.radiusY;
    EXPECT_LT(cover, 2.0 * 400 * 300); // unthinned: about 10 times
    EXPECT_GT(cover, 0.3 * 400 * 300);

    const auto after = dots(5013);
    int kept = 0;
    int inner = 0;
    for (const auto &[waypoint, at] : before) {
        if (at.first < 30 || at.first > 370)
            continue; // may have left the view
        ++inner;
        const auto found = after.find(waypoint);
        kept += found != after.end() && found->second.first == at.first - 13;
    }
    EXPECT_GT(inner, 100);
    EXPECT_EQ(kept, inner);

    // Few enough to cover the view less than the limit: all shown.
    style.maxCover = 1e9;
    EXPECT_GT(layer.Compose(View(5000, 4000, 1.0), style, kWidth).dots.size(), 4 * before.size());
}

// Tens of thousands in view: names nearest the centre, inside the view, none over another, at
// most the budget, and few measured.
TEST(WaypointLayer, ManyWaypointsFewReadableNames)
{
    const CMapInfo map = Sheet();
    CWaypointList list;
    for (int y = 3000; y < 5000; y += 7)
        for (int x = 4000; x < 6000; x += 7)
            list.push_back(At(map, x, y));
    ASSERT_GT(list.size(), 70000u);
    CWaypointLayer layer;
    layer.Build(list, map);
    CWaypointStyle style;
    style.labelHeight = 12;
    style.labelBudget = 30;
    int measured = 0;
    const CMapViewport view = View(5000, 4000, 2.0, 480, 640);
    const CWaypointFrame frame = layer.Compose(view, style, [&measured](std::size_t) {
        ++measured;
        return 50.0;
    });
    EXPECT_LE(measured, style.labelBudget * CWaypointLayer::kLabelTriesPerLabel);
    ASSERT_EQ(frame.labels.size(), 30u);
    double farthest = 0.0;
    for (std::size_t i = 0; i < frame.labels.size(); ++i) {
        const CWaypointLabel &a = frame.labels[i];
        EXPECT_GE(a.x, 0.0);
        EXPECT_LE(a.x + 50.0, 480.0);
        EXPECT_GE(a.y - 6.0, 0.0);
        EXPECT_LE(a.y + 6.0, 640.0);
        farthest = std::max(farthest, std::hypot(a.x - 240.0, a.y - 320.0));
        for (std::size_t k = i + 1; k < frame.labels.size(); ++k) {
            const CWaypointLabel &b = frame.labels[k];
            EXPECT_FALSE(std::abs(a.x - b.x) < 50.0 && std::abs(a.y - b.y) < 12.0)
                << a.waypoint << " over " << b.waypoint;
        }
    }
    // 30 names of 50 × 12 fit well within 150 pixels of the centre.
    EXPECT_LT(farthest, 150.0);
}

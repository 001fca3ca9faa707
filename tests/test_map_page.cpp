#include "maps/MapDatabase.h"
#include "maps/MapPageModel.h"

#include <cmath>
#include <gtest/gtest.h>

namespace
{

CPositionPair Pair(int x, int y, double latitude, double longitude)
{
    CPositionPair p;
    p.m_point = {x, y};
    p.m_position = CGeoPosition(latitude, longitude, 0.0);
    return p;
}

// 1000 × 800 pixels from (48 N, 11 E) to (47 N, 12 E), `detail` times as fine when asked.
CMapInfo Sheet(const char *name, int detail = 1)
{
    CMapInfo map;
    map.m_name = name;
    map.m_width = 1000 * detail;
    map.m_height = 800 * detail;
    map.m_pairs = {Pair(0, 0, 48.0, 11.0), Pair(1000 * detail, 800 * detail, 47.0, 12.0)};
    map.Calibrate();
    return map;
}

CGeoPosition At(double latitude, double longitude)
{
    return {latitude, longitude, 0.0};
}

} // namespace

TEST(MapViewport, OriginKeepsTheMapInTheWindow)
{
    struct Case {
        int centre, window, bitmap;
        double zoom;
        int origin;
        const char *legend;
    };
    const Case cases[] = {
        {100, 240, 1000, 1.0, 0, "near the left edge"},
        {500, 240, 1000, 1.0, 380, "in the middle: centre - half"},
        {950, 240, 1000, 1.0, 760, "near the right edge: the map's end at the window's"},
        {500, 2000, 1000, 1.0, 0, "a map smaller than the window sits in its corner"},
        {500, 240, 1000, 2.0, 260, "zoomed out: twice the pixels visible"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CMapViewport vp;
        vp.SetZoom(c.zoom);
        vp.SetBitmapSize(c.bitmap, c.bitmap);
        vp.SetClientSize(c.window, c.window);
        vp.SetCentre({c.centre, c.centre});
        EXPECT_EQ(vp.GetOrigin(), (CMapPoint{c.origin, c.origin}));
    }
}

TEST(MapViewport, ZoomSnapsBackToOne)
{
    CMapViewport vp;
    for (int i = 0; i < 3; ++i)
        vp.ZoomIn();
    EXPECT_NEAR(vp.GetZoom(), 0.35355339, 1e-8);
    for (int i = 0; i < 3; ++i)
        vp.ZoomOut();
    EXPECT_EQ(vp.GetZoom(), 1.0);
}

TEST(MapViewport, ScrollStepsAQuarterAndStopsBeforeTheEdge)
{
    CMapViewport vp;
    vp.SetBitmapSize(1000, 800);
    vp.SetClientSize(400, 200); // steps of 100 and 50
    struct Case {
        CMapPoint from;
        ScrollDirection direction;
        bool moved;
        CMapPoint to;
        const char *legend;
    };
    const Case cases[] = {
        {{500, 400}, ScrollDirection::Left, true, {400, 400}, "left by a quarter width"},
        {{100, 400}, ScrollDirection::Left, false, {100, 400}, "not when centre x = step"},
        {{899, 400}, ScrollDirection::Right, true, {999, 400}, "right while inside"},
        {{900, 400}, ScrollDirection::Right, false, {900, 400}, "the step is not shortened"},
        {{500, 51}, ScrollDirection::Up, true, {500, 1}, "up by a quarter height"},
        {{500, 750}, ScrollDirection::Down, false, {500, 750}, "down to the edge: no"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        vp.SetCentre(c.from);
        EXPECT_EQ(vp.Scroll(c.direction), c.moved);
        EXPECT_EQ(vp.GetCentre(), c.to);
    }
}

TEST(MapPageModel, AutomaticChoiceRunsEveryFifthFix)
{
    CMapPageModel page;
    page.m_settings.autoSelectMap = true;
    page.SetMaps({Sheet("coarse"), Sheet("fine", 2)});
    // Each time the choice runs it takes the finer map; put the coarse one back to see the next.
    std::vector<int> runs;
    for (int fix = 1; fix <= 12; ++fix) {
        page.NewPosition(At(47.5, 11.5));
        if (page.GetCurrentIndex() == 1) {
            runs.push_back(fix);
            page.ShowMap(0);
        }
    }
    EXPECT_EQ(runs, (std::vector<int>{1, 6, 11}));

    // Off the map while following: the choice runs at once and the rhythm starts over.
    page.m_settings.trackPosition = true;
    page.NewPosition(At(50.0, 11.5));
    runs.clear();
    for (int fix = 1; fix <= 6; ++fix) {
        page.NewPosition(At(47.5, 11.5));
        if (page.GetCurrentIndex() == 1) {
            runs.push_back(fix);
            page.ShowMap(0);
        }
    }
    EXPECT_EQ(runs, (std::vector<int>{5}));
}

TEST(MapPageModel, FixesGrowTheTrackAndTheViewFollows)
{
    CMapPageModel page;
    page.SetClientSize(200, 100);
    page.SetMaps({Sheet("city")});
    page.m_settings.trackPosition = true;
    page.SetReceiving(true);
    page.NewPosition(At(47.5, 11.5));
    page.NewPosition(At(47.5, 11.5)); // same pixel: nothing new
    const unsigned changes = page.NewPosition(At(47.25, 11.75));
    EXPECT_TRUE(changes & kMapTrackGrew);
    EXPECT_TRUE(changes & kMapViewMoved);
    ASSERT_EQ(page.GetTrack().size(), 1u);
    EXPECT_EQ(page.GetTrack()[0].from, (CMapPoint{500, 400}));
    EXPECT_EQ(page.GetTrack()[0].to, (CMapPoint{750, 600}));
    EXPECT_EQ(page.Viewport().GetCentre(), (CMapPoint{750, 600}));

    // Reception lost: the next fix starts a new piece rather than joining the old one.
    page.SetReceiving(false);
    page.NewPosition(At(47.1, 11.9));
    EXPECT_EQ(page.GetTrack().size(), 1u);
}

TEST(MapPageModel, BearingTextOnTheDegreeGrid)
{
    CMapPageModel page;
    page.SetMaps({Sheet("city")}); // view centre (500, 400) is 47.5 N 11.5 E
    CWaypoint w;
    struct Case {
        double lat, lon, heading;
        const char *prefix;
        const char *legend;
    };
    const Case cases[] = {
        {47.6, 11.5, -1.0, "180.0\xC2\xB0 180.0\xC2\xB0 ", "due north gives 180"},
        {47.4, 11.5, -1.0, "360.0\xC2\xB0 180.0\xC2\xB0 ", "due south gives 360"},
        {47.5, 11.6, 45.0, "90.0\xC2\xB0 45.0\xC2\xB0 ", "east with a heading of 45"},
        {47.5, 11.4, 10.0, "270.0\xC2\xB0 -100.0\xC2\xB0 ", "260 brought into range"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        w.m_position = At(c.lat, c.lon);
        const CBearingOverlay overlay = page.Bearing(&w, c.heading);
        EXPECT_EQ(overlay.text.rfind(c.prefix, 0), 0u) << overlay.text;
    }
    EXPECT_EQ(page.Bearing(nullptr, -1.0).text, "no waypoint selected");
    page.SetCurrentPairs({});
    EXPECT_EQ(page.Bearing(&w, -1.0).text, "uncalibrated map");
    EXPECT_EQ(page.CoordinatesText(CoordinateFormat::DD), "500:400");
}

TEST(MapPageModel, TappedWaypointIsAnnouncedOnce)
{
    CMapPageModel page;
    page.SetClientSize(200, 100);
    page.SetMaps({Sheet("city")});
    CWaypoint gate;
    gate.m_position = At(47.5, 11.5);
    gate.m_radius = 10.0;
    CWaypoint ignored = gate;
    ignored.m_radius = 0.0;
    const CWaypointList list = {ignored, gate};
    EXPECT_EQ(page.HitWaypoint(list), 1);
    EXPECT_EQ(page.HitWaypoint(list), -1) << "the same one again";
    page.TapAt(0, 0);
    EXPECT_EQ(page.HitWaypoint(list), -1) << "a miss";
    page.Viewport().SetCentre({500, 400});
    EXPECT_EQ(page.HitWaypoint(list), 1) << "after a miss it is announced again";

    // A sheet across the antimeridian, its centre on 180: a waypoint just west of it is hit.
    CMapInfo dateline;
    dateline.m_width = 1000;
    dateline.m_height = 800;
    dateline.m_pairs = {Pair(0, 0, 10.0, 170.0), Pair(1000, 800, 0.0, -170.0)};
    ASSERT_TRUE(dateline.Calibrate());
    page.SetMaps({dateline});
    page.Viewport().SetCentre({500, 400});
    gate.m_position = At(5.0, -179.9995);
    EXPECT_EQ(page.HitWaypoint({gate}), 0);
}

// A tile source's levels bound the zoom: out to where the whole map fits (here before twice the
// coarsest scale), in to half a map pixel a device pixel; another map shown lifts the bounds.
TEST(MapPageModel, TileLevelsBoundTheZoom)
{
    CMapPageModel model;
    model.SetMaps(
        {MakeTileSourceMap("Alps", "/maps/alps.mbtiles", 6.0, 45.0, 16.0, 48.0, 12),
         MakeTileSourceMap("Sheet-like", "/maps/other.mbtiles", 6.0, 45.0, 7.0, 46.0, 8)});
    model.SetClientSize(800, 480);
    std::vector<CTileLevel> levels(8);
    for (std::size_t i = 0; i < levels.size(); ++i)
        levels[i].scale = std::ldexp(1.0, static_cast<int>(i));
    model.SetTileLevels(levels);
    CMapViewport &vp = model.Viewport();
    const double whole =
        std::max(vp.GetBitmapWidth() / 800.0, vp.GetBitmapHeight() / 480.0); // about 36
    for (int i = 0; i < 40; ++i)
        vp.ZoomOut();
    EXPECT_DOUBLE_EQ(vp.GetZoom(), whole);
    for (int i = 0; i < 40; ++i)
        vp.ZoomIn();
    EXPECT_DOUBLE_EQ(vp.GetZoom(), 0.5);
    // A smaller window lets it out further, up to twice the coarsest scale (256).
    model.SetClientSize(80, 48);
    for (int i = 0; i < 40; ++i)
        vp.ZoomOut();
    EXPECT_DOUBLE_EQ(vp.GetZoom(), 256.0);
    // Another map: no bounds until its levels come.
    model.ShowMap(1);
    EXPECT_TRUE(model.GetTileLevels().empty());
    for (int i = 0; i < 40; ++i)
        vp.ZoomIn();
    EXPECT_LT(vp.GetZoom(), 0.01);
}

#include "FileTestUtils.h"
#include "NMEATestUtils.h"
#include "geo/Distance.h"
#include "maps/DistanceTool.h"
#include "maps/ReceptionColour.h"
#include "maps/TrackLoader.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr CRgb kMarker{1, 2, 3};
constexpr CRgb kRed{255, 0, 0};

// 11°-12° E, 48°-47° N on 1000 × 800 pixels: (47.5 N, 11.5 E) is (500, 400).
CMapInfo Example()
{
    CMapInfo map;
    map.m_width = 1000;
    map.m_height = 800;
    map.m_pairs.resize(2);
    map.m_pairs[0].m_position = CGeoPosition(48.0, 11.0, 0.0);
    map.m_pairs[1].m_point = {1000, 800};
    map.m_pairs[1].m_position = CGeoPosition(47.0, 12.0, 0.0);
    map.Calibrate();
    return map;
}

// The track of a whole log, fed in one piece.
std::vector<CTrackPoint> TrackFromLog(std::string_view bytes, const CMapInfo &map,
                                      bool colourReception, CRgb markerColour,
                                      GnssMode mode = GnssMode::GpsOnly)
{
    CTrackReader reader(map, colourReception, markerColour, mode);
    reader.Feed(bytes);
    return reader.TakePoints();
}

std::string Gga(const std::string &position, const char *used = "05")
{
    return Sentence("GPGGA,093000.00," + position + ",1," + used + ",1.9,520.2,M,47.0,M,,");
}

std::string Padded(std::string line, std::size_t size)
{
    line.resize(size, ',');
    return line;
}

// Positions in NMEA form and their pixels on the example map.
const std::string kP1 = "4730.0000,N,01130.0000,E", kP2 = "4745.0000,N,01115.0000,E",
                  kP3 = "4715.0000,N,01145.0000,E", kCorner = "4800.0000,N,01100.0000,E";
constexpr CMapPoint kPixel1{500, 400}, kPixel2{250, 200}, kPixel3{750, 600}, kCornerPixel{0, 0};

} // namespace

TEST(ReceptionColour, Stops)
{
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    const struct {
        double ratio;
        CRgb colour;
        const char *legend;
    } cases[] = {
        {0.0, kRed, "none used: red"},
        {0.1, {255, 40, 0}, "red to orange, 40.8 truncated"},
        {0.25, {255, 102, 0}, "orange"},
        {0.6, {193, 255, 0}, "yellow to yellow-green"},
        {1.0, {0, 255, 0}, "all used: as 0.999, green once truncated"},
        {7.0, {0, 255, 0}, "more used than in view"},
        {-1.0, kRed, "below 0"},
        {kNaN, kRed, "NaN"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(ReceptionColour(c.ratio), c.colour);
    }
}

TEST(TrackLoader, LinesToPoints)
{
    const std::string gsvOpen = Sentence("GPGSV,2,1,08,04,36,326,33");
    const std::string gsvClose = Sentence("GPGSV,2,2,08,12,03,126,18");
    const struct {
        std::string log;
        bool reception;
        std::vector<CTrackPoint> points;
        const char *legend;
    } cases[] = {
        {Gga(kP1) + Gga("4730.0000,N,01130.0030,E") + Gga(kP2) + Gga(kP2),
         false,
         {{kPixel1, kMarker}, {kPixel2, kMarker}},
         "a fix on the previous pixel is dropped"},
        {Gga(kCorner) + Gga(kP1) + Gga(kCorner),
         false,
         {{kPixel1, kMarker}, {kCornerPixel, kMarker}},
         "the previous pixel starts as (0,0)"},
        {Padded("$GPGGA,," + kP1 + ",1", 80) + "$" + Gga(kP2),
         false,
         {{kPixel1, kMarker}, {kPixel2, kMarker}},
         "an overlong line: 80 bytes, the 81st ('$') lost, the rest a line of its own"},
        {Gga(kP1) + Sentence("GPGGA,093001.00,,,,,0,00,99.9,,M,,M,,") + Gga(kP2),
         false,
         {{kPixel1, kMarker}, {kPixel2, kMarker}},
         "a GGA without a fix adds no point"},
        {Padded("$GPGGA,," + kP1 + ",1", 78) + "\r\n" + Gga(kP2),
         false,
         {{kPixel1, kMarker}, {kPixel2, kMarker}},
         "80 bytes ending in the line feed: nothing lost"},
        {Gga(kP1) + Gga(kP2).substr(0, 60),
         false,
         {{kPixel1, kMarker}},
         "a last line without line feed is not used"},
        {Gga(kP1) + Sentence("GPGSV,1,1,08,04,36,326,33") + Gga(kP2),
         false,
         {{kPixel1, kMarker}, {kPixel2, kMarker}},
         "reception off: GSV not read, the marker's colour"},
        {Gga(kP1, "08") + gsvOpen + Gga(kP2, "06") + gsvClose + Gga(kP3),
         true,
         {{kPixel1, kMarker}, {kPixel2, kMarker}, {kPixel3, {102, 255, 0}}},
         "reception on: a complete GSV group colours the points after it, 6 of 8 used"},
    };
    const CMapInfo map = Example();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(TrackFromLog(c.log, map, c.reception, kMarker), c.points);
    }
    EXPECT_TRUE(TrackFromLog(Gga(kP1), CMapInfo(), false, kMarker).empty()) << "uncalibrated";
}

TEST(TrackLoader, PiecesAndFilesReadAlike)
{
    // Fixes wandering over the map, every fifth line overlong (cut once or twice), so that the
    // pieces' ends fall on every part of a line.
    std::string log;
    for (int i = 0; i < 400; ++i) {
        const std::string position = "47" + std::to_string(10 + i % 40) + ".0000,N,011"
                                     + std::to_string(10 + i % 37) + ".0000,E";
        log += i % 5 == 4 ? Padded("$GPGGA,," + position, 80 + i % 90) + "\r\n" : Gga(position);
        log += Sentence("GPGSV,1,1,0" + std::to_string(1 + i % 9));
    }
    const CMapInfo map = Example();
    const std::vector<CTrackPoint> whole = TrackFromLog(log, map, true, kMarker);
    ASSERT_GT(whole.size(), 300u);
    for (const std::size_t piece : {1u, 3u, 80u, 81u, 1024u}) {
        SCOPED_TRACE(piece);
        CTrackReader reader(map, true, kMarker);
        for (std::size_t at = 0; at < log.size(); at += piece)
            reader.Feed(std::string_view(log).substr(at, piece));
        EXPECT_EQ(reader.TakePoints(), whole);
    }

    CTempDir dir;
    WriteFile(dir / "log.nmea", log);
    std::vector<CTrackPoint> loaded = {{kPixel1, kRed}};
    ASSERT_EQ(LoadTrackFile(dir / "log.nmea", map, true, kMarker, loaded), 0);
    EXPECT_EQ(loaded, whole);
    const std::vector<CTrackPoint> before = loaded;
    EXPECT_EQ(LoadTrackFile(dir / "none.nmea", map, true, kMarker, loaded), ENOENT);
    EXPECT_EQ(LoadTrackFile(dir.m_path, map, true, kMarker, loaded), EISDIR);
    EXPECT_EQ(loaded, before) << "kept on failure";
}

// A modern receiver's LF-only log: GN fixes (GP copies ignored), satellites of two systems.
TEST(TrackLoader, AllSystemsLog)
{
    const auto lf = [](std::string s) { return s.erase(s.size() - 2, 1); };
    const auto gga = [&](const char *talker, const std::string &position, const char *time) {
        return lf(Sentence(std::string(talker) + "GGA," + time + "," + position
                           + ",1,12,0.8,520.2,M,47.0,M,,"));
    };
    const std::string log = gga("GN", kP1, "093000") + gga("GP", kCorner, "093000")
                            + lf(Sentence("GNGSA,A,3,04,12,,,,,,,,,,,1.3,0.7,1.1,1"))
                            + lf(Sentence("GNGSA,A,3,65,,,,,,,,,,,,1.3,0.7,1.1,2"))
                            + lf(Sentence("GPGSV,1,1,02,04,36,326,33,12,03,126,18,1"))
                            + lf(Sentence("GLGSV,1,1,02,65,20,100,30,66,40,200,35,1"))
                            + gga("GN", kP2, "093001");
    const CMapInfo map = Example();
    EXPECT_EQ(TrackFromLog(log, map, true, kMarker, GnssMode::AllSystems),
              (std::vector<CTrackPoint>{{kPixel1, kMarker}, {kPixel2, {102, 255, 0}}}))
        << "3 of 4 in view used";
    EXPECT_TRUE(TrackFromLog(log, map, false, kMarker, GnssMode::GpsOnly).empty());
}

TEST(DistanceTool, Drags)
{
    const auto at = [](double lat, double lon) { return CGeoPosition(lat, lon, 0.0); };
    const CGeoPosition nw = at(48.0, 11.0), ne = at(48.0, 12.0), se = at(47.0, 12.0);
    const struct {
        std::vector<CScreenPoint> path;
        CScreenPoint up;
        CMapPoint origin;
        double zoom;
        std::optional<double> airLine, ground;
        const char *legend;
    } cases[] = {
        {{{0, 0}, {1000, 0}, {0, 0}},
         {0, 0},
         {0, 0},
         1.0,
         {},
         {},
         "three points, up at down: a tap"},
        {{{0, 0}, {1000, 0}, {1000, 800}, {0, 0}},
         {0, 0},
         {0, 0},
         1.0,
         0.0,
         Distance(nw, ne) + Distance(ne, se) + Distance(se, nw),
         "four points back at the start"},
        {{{0, 0}, {0, 0}, {1000, 0}, {1000, 0}},
         {0, 0},
         {0, 0},
         1.0,
         Distance(nw, ne),
         Distance(nw, ne),
         "repeated points add nothing"},
        {{{0, 0}, {251, 201}},
         {1, 0},
         {500, 400},
         0.5,
         Distance(at(47.5, 11.5), at(47.375, 11.625)),
         Distance(at(47.5, 11.5), at(47.375, 11.625)),
         "two points, up a pixel away; origin + trunc(screen x zoom)"},
    };
    const CMapInfo map = Example();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const auto measure = MeasureDrag(c.path, {0, 0}, c.up, c.origin, c.zoom, map);
        ASSERT_EQ(measure.has_value(), c.airLine.has_value());
        if (measure) {
            EXPECT_DOUBLE_EQ(measure->airLineMetres, *c.airLine);
            EXPECT_DOUBLE_EQ(measure->groundMetres, *c.ground);
        }
    }
    EXPECT_FALSE(MeasureDrag({{0, 0}, {5, 5}}, {0, 0}, {5, 5}, {0, 0}, 1.0, CMapInfo()))
        << "uncalibrated";

    EXPECT_EQ(DistanceMeasureText({0.0, 12345.0}, UnitSystem::Metric),
              "air-line:  0 m\nground: 12.345 km");
    EXPECT_EQ(DistanceMeasureText({100.0, 1852.0}, UnitSystem::Nautic),
              "air-line:  0.053996 nm\nground: 1 nm");
}

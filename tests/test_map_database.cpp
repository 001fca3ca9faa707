#include "FileTestUtils.h"
#include "maps/MapDatabase.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr std::int32_t kNowhere = std::numeric_limits<std::int32_t>::min();

CPositionPair Pair(std::string name, std::int32_t x, std::int32_t y, double lat, double lon)
{
    CPositionPair pair;
    pair.m_name = std::move(name);
    pair.m_point = {x, y};
    pair.m_position = CGeoPosition(lat, lon, 0.0);
    return pair;
}

CMapInfo Map(std::string name, std::vector<CPositionPair> pairs, std::int32_t width = 1000,
             std::int32_t height = 800, std::string file = "m.png")
{
    CMapInfo map;
    map.m_name = std::move(name);
    map.m_file = std::move(file);
    map.m_width = width;
    map.m_height = height;
    map.m_pairs = std::move(pairs);
    map.Calibrate();
    return map;
}

// 11°-12° E, 48°-47° N on 1000 × 800 pixels, north up.
CMapInfo Example()
{
    return Map("M", {Pair("A", 0, 0, 48.0, 11.0), Pair("B", 1000, 800, 47.0, 12.0)});
}

// Maps of every shape a file holds: calibrated, many pairs with a long name, one pair.
CMapList MakeList()
{
    std::vector<CPositionPair> five = {Pair("A", 0, 0, 48.0, 11.0), Pair("", 10, 20, 47.9, 11.1),
                                       Pair(std::string(300, 'L'), 30, 5, 47.1, 11.7),
                                       Pair("Zürich 東京", 1, 2, 47.5, 11.2),
                                       Pair("B", 1000, 800, 47.0, 12.0)};
    return {Example(), Map("Alpen – Süd", five, 4000, 3000, "/maps/alpen süd.png"),
            Map("", {Pair("only", 5, 5, 1.0, 2.0)}, 0, 0, "")};
}

} // namespace

TEST(MapDatabase, FileBytesAndRoundTrip)
{
    const CMapInfo example = Example();
    std::vector<CPositionPair> many(70000, Pair("p", 1, 2, 3.0, 4.0));
    many.back() = Pair("q", 1001, 802, 2.0, 5.0);
    const struct {
        CMapList list;
        const char *bytes, *legend;
    } cases[] = {
        {{}, "00 00", "empty list"},
        {{example},
         "01 00 02 00 "
         "00 00 00 00 00 00 26 40 00 00 00 00 00 00 48 40 00 00 00 00 00 00 00 00 FF FE FF 01 41 "
         "00 "
         "00 00 00 00 00 00 28 40 00 00 00 00 00 80 47 40 E8 03 00 00 20 03 00 00 FF FE FF 01 42 "
         "00 "
         "FF FE FF 05 6D 00 2E 00 70 00 6E 00 67 00 E8 03 00 00 20 03 00 00 FF FE FF 01 4D 00",
         "pairs: longitude, latitude, x, y, name; then file, width, height, name"},
        {{Map(std::string(300, 'n'), {}, 0, 0, "")},
         "01 00 00 00 FF FE FF 00 00 00 00 00 00 00 00 00 FF FE FF FF 2C 01 6E 00 ...",
         "a 300-character name: FF and a 16-bit length"},
        {{Map("big", many)},
         "01 00 FF FF 70 11 01 00 00 00 00 00 00 00 10 40 ...",
         "70,000 pairs: FFFF and a 32-bit count"},
        {MakeList(), "03 00 02 00 ...", "the test list"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string bytes = EncodeMaps(c.list), start = FromHex(c.bytes);
        const bool whole = !std::string_view(c.bytes).ends_with("...");
        EXPECT_EQ(whole ? bytes : bytes.substr(0, start.size()), start);
        CMapList back;
        EXPECT_TRUE(DecodeMaps(bytes, back));
        EXPECT_TRUE(back == c.list);
    }
}

TEST(MapDatabaseFile, CutAtEveryByteKeepsTheCompleteMaps)
{
    CTempDir dir;
    const CMapList list = MakeList();
    const std::string bytes = EncodeMaps(list);
    std::vector<std::size_t> ends; // where each map's bytes end
    for (std::size_t k = 1; k <= list.size(); ++k)
        ends.push_back(EncodeMaps(CMapList(list.begin(), list.begin() + k)).size());
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        // A new file per cut: truncating one file a thousand times is slow on ext4.
        const std::string path = dir / std::to_string(cut);
        WriteFile(path, bytes.substr(0, cut));
        const CMapLoad load = LoadMapFile(path);
        const auto complete = std::upper_bound(ends.begin(), ends.end(), cut) - ends.begin();
        ASSERT_TRUE(load.opened) << cut;
        ASSERT_EQ(load.damaged, cut < bytes.size()) << cut;
        ASSERT_TRUE(load.maps == CMapList(list.begin(), list.begin() + complete)) << cut;
        if (load.damaged) {
            ASSERT_NE(load.detail.find("damaged after " + std::to_string(complete) + " maps"),
                      std::string::npos)
                << load.detail;
        }
    }
}

TEST(MapDatabaseFile, ShorterSaveKeepsTheOldTail)
{
    CTempDir dir;
    const CMapList three = MakeList(), one = {Example()};
    ASSERT_EQ(WriteDatabaseFile(dir / kMapFileName, three, MapCodec()), 0);
    const std::string old = ReadFile(dir / kMapFileName);
    ASSERT_EQ(WriteDatabaseFile(dir / kMapFileName, one, MapCodec()), 0);
    const std::string shortBytes = EncodeMaps(one);
    EXPECT_EQ(ReadFile(dir / kMapFileName), shortBytes + old.substr(shortBytes.size()));
    const CMapLoad load = LoadMapDatabase(dir.m_path);
    EXPECT_TRUE(!load.damaged && load.maps == one);
    EXPECT_FALSE(std::filesystem::exists(dir / kWorldmapFileName));
}

TEST(MapDatabaseFile, WorldmapStandsInUntilTheFirstSave)
{
    CTempDir dir;
    const std::string primary = dir / kMapFileName, world = dir / kWorldmapFileName;
    const std::string worldBytes = EncodeMaps({MakeWorldMap("/usr/share/world.png", 2048, 1024)});
    WriteFile(world, worldBytes);
    CMapLoad load = LoadMapDatabase(dir.m_path);
    ASSERT_EQ(load.path, world);
    ASSERT_EQ(load.maps.size(), 1u);

    load.maps.push_back(Example());
    ASSERT_EQ(WriteDatabaseFile(dir / kMapFileName, load.maps, MapCodec()), 0);
    EXPECT_EQ(ReadFile(primary), EncodeMaps(load.maps));
    EXPECT_EQ(ReadFile(world), worldBytes);
    EXPECT_EQ(LoadMapDatabase(dir.m_path).path, primary);
}

TEST(MapDatabaseFile, WorldMapInstalledOnlyWhereNoDatabaseIs)
{
    const std::string image = "/usr/share/veloran/world.png";
    const std::string worldBytes = EncodeMaps({MakeWorldMap(image, 2048, 1024)});
    const struct {
        const char *existing, *legend;
    } cases[] = {
        {nullptr, "neither: Worldmap.gdb written"},
        {kMapFileName, "MapInfo.gdb there: nothing written"},
        {kWorldmapFileName, "Worldmap.gdb there: kept as it is"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CTempDir dir;
        if (c.existing)
            WriteFile(dir / c.existing, "old");
        ASSERT_EQ(InstallWorldMapDatabase(dir.m_path, image, 2048, 1024), 0);
        const std::string world = ReadFile(dir / kWorldmapFileName);
        EXPECT_EQ(world, c.existing == kWorldmapFileName ? "old" : c.existing ? "" : worldBytes);
        EXPECT_EQ(std::filesystem::exists(dir / kMapFileName), c.existing == kMapFileName);
    }
    const CMapInfo world = MakeWorldMap(image, 2048, 1024);
    for (const CGeoPosition &p : {CGeoPosition(47.5, 11.5, 0.0), CGeoPosition(-89.0, 179.0, 0.0)})
        EXPECT_TRUE(world.ContainsPosition(p));
}

TEST(MapCalibration, FirstAndLastPairDecide)
{
    const CPositionPair a = Pair("A", 0, 0, 48.0, 11.0), b = Pair("B", 1000, 800, 47.0, 12.0);
    const CPositionPair p = Pair("p", 3, 900, 10.0, -5.0), q = Pair("q", 77, 1, 60.0, 30.0),
                        r = Pair("r", 500, 5, 47.2, 11.9);
    const struct {
        std::vector<CPositionPair> pairs;
        bool calibrated;
        double xScale, originLon, yScale, originLat;
        const char *legend;
    } cases[] = {
        {{a}, false, 0.0, 0.0, 0.0, 0.0, "one pair: nothing computed"},
        {{a, b}, true, 1000.0, 11.0, -800.0, 48.0, "two pairs"},
        {{a, p, q, r, b}, true, 1000.0, 11.0, -800.0, 48.0, "five pairs"},
        {{a, r, p, q, b}, true, 1000.0, 11.0, -800.0, 48.0, "the middle three reordered"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CMapInfo map;
        map.m_pairs = c.pairs;
        EXPECT_EQ(map.Calibrate(), c.calibrated);
        EXPECT_EQ(map.IsCalibrated(), c.calibrated);
        EXPECT_EQ(map.m_xScale, c.xScale);
        EXPECT_EQ(map.m_originLongitude, c.originLon);
        EXPECT_EQ(map.m_yScale, c.yScale);
        EXPECT_EQ(map.m_originLatitude, c.originLat);
        CMapPoint pixel{7, 7};
        CGeoPosition position(1.0, 2.0, 3.0);
        EXPECT_EQ(map.PositionToPixel(CGeoPosition(47.5, 11.5, 0.0), pixel), c.calibrated);
        EXPECT_EQ(map.PixelToPosition({500, 400}, position), c.calibrated);
        if (!c.calibrated) {
            EXPECT_TRUE(pixel == (CMapPoint{7, 7}) && position == CGeoPosition(1.0, 2.0, 3.0));
        }
    }
}

TEST(MapCalibration, PositionsAndPixels)
{
    const CMapInfo map = Example();
    const struct {
        double lat, lon;
        std::int32_t x, y;
        bool contains;
        const char *legend;
    } cases[] = {
        {47.5, 11.5, 500, 400, true, "middle"},
        {47.0, 12.0, 1000, 800, true, "far corner: bounds inclusive"},
        {48.0, 11.0 - 0.0004, 0, 0, true, "x = -0.4 truncates toward zero"},
        {48.0, 11.0 - 0.0011, -1, 0, false, "x = -1.1"},
        {47.0 - 0.002, 11.5, 500, 801, false, "a row below"},
        {kNaN, 11.5, 500, kNowhere, false, "NaN latitude"},
        {47.5, 1e300, kNowhere, 400, false, "beyond 32 bits"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CMapPoint pixel;
        EXPECT_TRUE(map.PositionToPixel(CGeoPosition(c.lat, c.lon, 0.0), pixel));
        EXPECT_EQ(pixel, (CMapPoint{c.x, c.y}));
        EXPECT_EQ(map.ContainsPosition(CGeoPosition(c.lat, c.lon, 0.0)), c.contains);
    }
    CGeoPosition back(0.0, 0.0, 99.0);
    ASSERT_TRUE(map.PixelToPosition({500, 400}, back));
    EXPECT_EQ(back, CGeoPosition(47.5, 11.5, 99.0)) << "exactly; the height untouched";
}

TEST(MapCalibration, PairsWithoutScaleLeaveTheMapUncalibrated)
{
    const struct {
        CPositionPair a, b;
        const char *legend;
    } cases[] = {
        {Pair("A", 0, 0, 48.0, 11.0), Pair("B", 1000, 800, 47.0, 11.0), "equal longitudes"},
        {Pair("A", 0, 0, 48.0, 11.0), Pair("B", 1000, 800, 48.0, 12.0), "equal latitudes"},
        {Pair("A", 0, 0, 48.0, 11.0), Pair("B", 0, 800, 47.0, 12.0), "the same column"},
        {Pair("A", 0, 0, 48.0, 11.0), Pair("B", 1000, 0, 47.0, 12.0), "the same row"},
        {Pair("A", 0, 0, 1.0, 1.0), Pair("B", 0, 0, 1.0, 1.0), "the same pair twice"},
        {Pair("A", 0, 0, kNaN, 11.0), Pair("B", 1000, 800, 47.0, 12.0), "a NaN latitude"},
        {Pair("A", 0, 0, 48.0, 11.0), Pair("B", 1000, 800, 47.0, kInf), "an infinite longitude"},
        {Pair("A", kNowhere, kNowhere, 48.0, 11.0), Pair("B", 2147483647, 2147483647, 48.0, 11.0),
         "pixels 2^32 apart, equal positions (a fuzzer's find)"},
        {Pair("A", 0, 0, 48.0, 0.0), Pair("B", 1, 1, 47.0, 1e-320),
         "longitudes a denormal apart: an infinite scale"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CMapInfo map = Example(); // a working transform that must not stay
        map.m_pairs = {c.a, c.b};
        EXPECT_FALSE(map.Calibrate());
        EXPECT_FALSE(map.IsCalibrated());
        EXPECT_EQ(map.m_xScale, 0.0);
        EXPECT_EQ(map.m_yScale, 0.0);
        EXPECT_EQ(map.m_originLongitude, 0.0);
        EXPECT_EQ(map.m_originLatitude, 0.0);
        EXPECT_NE(CalibrationProblem(map.m_pairs), "");
        CMapPoint pixel{7, 7};
        EXPECT_FALSE(map.PositionToPixel(CGeoPosition(48.0, 11.0, 0.0), pixel));
        EXPECT_EQ(pixel, (CMapPoint{7, 7}));
        EXPECT_FALSE(map.ContainsPosition(CGeoPosition(48.0, 11.0, 0.0)));
        EXPECT_EQ(SelectMapForPosition({map}, CGeoPosition(48.0, 11.0, 0.0)), -1);
        // A database holding such a map reads it as uncalibrated, and writes it so.
        CMapList back;
        ASSERT_TRUE(DecodeMaps(EncodeMaps({map}), back));
        ASSERT_EQ(back.size(), 1u);
        EXPECT_FALSE(back[0].IsCalibrated());
    }
    EXPECT_EQ(CalibrationProblem(Example().m_pairs), "");
    EXPECT_EQ(CalibrationProblem({Pair("A", 0, 0, 48.0, 11.0)}), "") << "one pair: uncalibrated";
}

// A sheet from 170° E across the antimeridian to 170° W, 1000 pixels wide (50 per degree).
TEST(MapCalibration, AcrossTheAntimeridian)
{
    const struct {
        std::vector<CPositionPair> pairs;
        const char *legend;
    } maps[] = {
        {{Pair("W", 0, 0, 10.0, 170.0), Pair("E", 1000, 500, 0.0, 190.0)}, "east edge as 190"},
        {{Pair("W", 0, 0, 10.0, 170.0), Pair("E", 1000, 500, 0.0, -170.0)}, "east edge as -170"},
        {{Pair("E", 1000, 500, 0.0, -170.0), Pair("W", 0, 0, 10.0, 170.0)}, "east point first"},
    };
    const struct {
        double lon;
        std::int32_t x;
        bool contains;
    } positions[] = {
        {170.0, 0, true},      {175.0, 250, true},  {180.0, 500, true},
        {-180.0, 500, true},   {-175.0, 750, true}, {-170.0, 1000, true},
        {-169.0, 1050, false}, {169.0, -50, false}, {0.0, -8500, false},
    };
    for (const auto &m : maps) {
        SCOPED_TRACE(m.legend);
        const CMapInfo map = Map("dateline", m.pairs, 1000, 500);
        ASSERT_TRUE(map.IsCalibrated());
        EXPECT_EQ(map.m_xScale, 50.0);
        for (const auto &p : positions) {
            SCOPED_TRACE(p.lon);
            const CGeoPosition position(5.0, p.lon, 0.0);
            CMapPoint pixel;
            ASSERT_TRUE(map.PositionToPixel(position, pixel));
            EXPECT_EQ(pixel.x, p.x);
            EXPECT_EQ(map.ContainsPosition(position), p.contains);
            EXPECT_EQ(SelectMapForPosition({Example(), map}, position), p.contains ? 1 : -1);
        }
        CGeoPosition back;
        ASSERT_TRUE(map.PixelToPosition({750, 250}, back));
        EXPECT_EQ(back.m_longitude, -175.0) << "shown as a longitude of the earth";
        ASSERT_TRUE(map.PixelToPosition({250, 250}, back));
        EXPECT_EQ(back.m_longitude, 175.0);
    }
}

TEST(MapSelection, MostDetailedContainingMap)
{
    const CMapInfo coarse =
        Map("coarse", {Pair("A", 0, 0, 50.0, 0.0), Pair("B", 1000, 500, 40.0, 20.0)});
    const CMapInfo fine = Example();
    const CMapInfo mirrored =
        Map("mirrored", {Pair("A", 0, 0, 48.0, 12.0), Pair("B", 2000, 800, 47.0, 11.0)}, 2000);
    CMapInfo stale = Map("stale", {Pair("A", 0, 0, 47.6, 11.4), Pair("B", 100, 100, 47.4, 11.6)});
    stale.m_pairs.pop_back(); // the transform stays, the map is no longer calibrated
    const CGeoPosition inside(47.5, 11.5, 0.0);
    const struct {
        CMapList maps;
        CGeoPosition position;
        int chosen;
        const char *legend;
    } cases[] = {
        {{coarse, fine}, inside, 1, "the larger x scale"},
        {{fine, Map("twin", fine.m_pairs)}, inside, 0, "a tie: the earlier map"},
        {{fine, mirrored}, inside, 1, "the scale's size: a mirrored map counts"},
        {{stale, coarse}, inside, 1, "one pair is never chosen, whatever scale it holds"},
        {{fine}, CGeoPosition(50.0, 5.0, 0.0), -1, "none contains it"},
        {{}, inside, -1, "no maps"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(SelectMapForPosition(c.maps, c.position), c.chosen);
    }
}

// A tile source counts at its most detailed zoom, inside its bounds only.
TEST(MapSelection, TileSourceAtItsMaximumZoom)
{
    // 10,000 pixels a degree east; a tile source's zoom 15 has 23,301, zoom 13 only 5,825.
    CMapInfo sheet;
    sheet.m_width = 10000;
    sheet.m_height = 10000;
    sheet.m_pairs.resize(2);
    sheet.m_pairs[0].m_position = CGeoPosition(48.0, 11.0, 0.0);
    sheet.m_pairs[1].m_point = {10000, 10000};
    sheet.m_pairs[1].m_position = CGeoPosition(47.0, 12.0, 0.0);
    ASSERT_TRUE(sheet.Calibrate());
    const CMapInfo z15 = MakeTileSourceMap("z15", "/maps/alps.mbtiles", 11.2, 47.2, 11.6, 47.6, 15);
    const CMapInfo z13 = MakeTileSourceMap("z13", "/maps/wide.mbtiles", 5.0, 45.0, 15.0, 50.0, 13);
    ASSERT_TRUE(z15.IsCalibrated());
    const struct {
        CMapList maps;
        CGeoPosition position;
        int chosen;
        const char *legend;
    } cases[] = {
        {{sheet, z15}, CGeoPosition(47.5, 11.5, 0.0), 1, "more detailed than the sheet"},
        {{z15, sheet}, CGeoPosition(47.5, 11.8, 0.0), 1, "outside its bounds: the sheet"},
        {{sheet, z13}, CGeoPosition(47.5, 11.5, 0.0), 0, "less detailed than the sheet"},
        {{sheet, z13}, CGeoPosition(46.0, 7.0, 0.0), 1, "where only it reaches"},
        {{z13, z15}, CGeoPosition(47.3, 11.3, 0.0), 1, "two tile sources: the deeper zoom"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(SelectMapForPosition(c.maps, c.position), c.chosen);
    }
}

#include "base/Numbers.h"
#include "geo/WebMercator.h"
#include "maps/MapDatabase.h"
#include "maps/TileFallback.h"
#include "maps/TileSources.h"

#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace
{

// Made by tests/make_tile_data.sh before these tests run (the tile_data fixture).
std::string Data(const std::string &name)
{
    const char *dir = std::getenv("VELORAN_TILE_DATA");
    return std::string(dir != nullptr ? dir : "tile-data") + "/" + name;
}

std::string ReadBytes(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A command's standard output; its exit status in `status`.
std::string Shell(const std::string &command, int *status = nullptr)
{
    std::string out;
    FILE *pipe = ::popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr) << command;
    if (pipe == nullptr)
        return out;
    char buffer[4096];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
        out.append(buffer, got);
    const int result = ::pclose(pipe);
    if (status != nullptr)
        *status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    return out;
}

std::string Quote(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// A number after `key` in a JSON line.
double JsonNumber(const std::string &line, const std::string &key)
{
    const std::size_t at = line.find("\"" + key + "\":");
    EXPECT_NE(at, std::string::npos) << key << " in " << line;
    return at == std::string::npos ? -1.0 : std::stod(line.substr(at + key.size() + 3));
}

QJsonObject GdalInfo()
{
    QFile file(QString::fromStdString(Data("world.mbtiles.json")));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return QJsonDocument::fromJson(file.readAll()).object();
}

// The BoundingBox gdal2tiles wrote (degrees: west, south, east, north).
std::vector<double> TmsBoundingBox()
{
    const std::string xml = ReadBytes(Data("tms/tilemapresource.xml"));
    std::vector<double> box;
    for (const char *name : {"minx=\"", "miny=\"", "maxx=\"", "maxy=\""}) {
        const std::size_t at = xml.find(name);
        EXPECT_NE(at, std::string::npos) << name;
        box.push_back(at == std::string::npos ? 0.0 : std::stod(xml.substr(at + 6)));
    }
    return box;
}

TEST(TileSources, MBTilesReadsWhatGdalWrote)
{
    const CTileSourceInfo info = DescribeTileSource(Data("world.mbtiles"));
    ASSERT_TRUE(info.ok) << info.error;
    EXPECT_EQ(info.kind, TileSourceKind::MBTiles);
    EXPECT_EQ(info.name, "Europe");
    EXPECT_EQ(info.format, "png");
    EXPECT_EQ(info.file, std::filesystem::absolute(Data("world.mbtiles")).lexically_normal());
    const QJsonObject gdal = GdalInfo();
    // GDAL's MBTiles driver reports the zooms among the dataset's metadata.
    const QJsonObject metadata = gdal["metadata"].toObject()[""].toObject();
    EXPECT_EQ(info.minZoom, metadata["minzoom"].toString().toInt());
    EXPECT_EQ(info.maxZoom, metadata["maxzoom"].toString().toInt());
    EXPECT_EQ(info.maxZoom, 5);
    // Its extent: corners of the polygon, north-west first.
    const QJsonArray ring = gdal["wgs84Extent"].toObject()["coordinates"].toArray()[0].toArray();
    EXPECT_NEAR(info.west, ring[0].toArray()[0].toDouble(), 1e-6);
    EXPECT_NEAR(info.north, ring[0].toArray()[1].toDouble(), 1e-6);
    EXPECT_NEAR(info.east, ring[2].toArray()[0].toDouble(), 1e-6);
    EXPECT_NEAR(info.south, ring[2].toArray()[1].toDouble(), 1e-6);
}

// Zooms and bounds missing from the metadata come from the tiles table: the zooms stored and
// the edges of the tiles of the most detailed one.
TEST(TileSources, MBTilesWithoutZoomsAndBoundsReadsTheTiles)
{
    const CTileSourceInfo info = DescribeTileSource(Data("nometa.mbtiles"));
    ASSERT_TRUE(info.ok) << info.error;
    const CTileSourceInfo full = DescribeTileSource(Data("world.mbtiles"));
    EXPECT_EQ(info.minZoom, full.minZoom);
    EXPECT_EQ(info.maxZoom, full.maxZoom);
    const auto edge = [](double pixel) { return std::floor(pixel / kTilePixels) * kTilePixels; };
    const int z = full.maxZoom;
    EXPECT_NEAR(info.west, MercatorLongitude(edge(MercatorX(full.west, z)), z), 1e-9);
    EXPECT_NEAR(info.east, MercatorLongitude(edge(MercatorX(full.east, z)) + kTilePixels, z), 1e-9);
    EXPECT_NEAR(info.north, MercatorLatitude(edge(MercatorY(full.north, z)), z), 1e-9);
    EXPECT_NEAR(info.south, MercatorLatitude(edge(MercatorY(full.south, z)) + kTilePixels, z),
                1e-9);
}

TEST(TileSources, TileFormats)
{
    struct Case {
        const char *legend;
        std::string path;
        std::string format;
        int minZoom, maxZoom;
        std::string start; // of a stored tile
    };
    const Case cases[] = {
        {"png mbtiles", Data("world.mbtiles"), "png", 2, 5, "\x89PNG"},
        {"jpeg mbtiles", Data("jpeg.mbtiles"), "jpg", 5, 5, "\xff\xd8\xff"},
        {"webp folder", Data("webp"), "webp", 3, 4, "RIFF"},
        {"png folder", Data("xyz"), "png", 1, 5, "\x89PNG"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CTileSourceInfo info = DescribeTileSource(c.path);
        ASSERT_TRUE(info.ok) << info.error;
        EXPECT_EQ(info.format, c.format);
        EXPECT_EQ(info.minZoom, c.minZoom);
        EXPECT_EQ(info.maxZoom, c.maxZoom);
        std::string error;
        std::unique_ptr<CTilePyramid> pyramid = OpenTilePyramid(TileSourceMap(info), error);
        ASSERT_NE(pyramid, nullptr) << error;
        // Bern's tile at the most detailed zoom.
        CTileAddress bern;
        ASSERT_TRUE(TileOfPosition(46.95, 7.44, c.maxZoom, bern));
        CTileData tile;
        ASSERT_EQ(pyramid->ReadTile(0, bern.column, bern.row, tile, error), TileRead::Ok) << error;
        EXPECT_TRUE(tile.encoded.starts_with(c.start));
    }
}

TEST(TileSources, FoldersReadWhatGdal2tilesWrote)
{
    const std::vector<double> box = TmsBoundingBox();
    // The XYZ folder has no BoundingBox: its bounds are the edges of its tiles at zoom 5,
    // the tiles that hold the box.
    const auto edge = [](double pixel) { return std::floor(pixel / kTilePixels) * kTilePixels; };
    const double xyzWest = MercatorLongitude(edge(MercatorX(box[0], 5)), 5);
    const double xyzEast = MercatorLongitude(edge(MercatorX(box[2], 5)) + kTilePixels, 5);
    const double xyzNorth = MercatorLatitude(edge(MercatorY(box[3], 5)), 5);
    const double xyzSouth = MercatorLatitude(edge(MercatorY(box[1], 5)) + kTilePixels, 5);
    struct Case {
        const char *legend;
        std::string path;
        TileRowOrder order;
        std::string file;
        double west, south, east, north;
    };
    // An XYZ folder with a Tile Map Service document (as other tilers write): its box lies in
    // the rows read from the north only.
    std::filesystem::remove_all(Data("xyz-tms-document"));
    std::filesystem::copy(Data("xyz"), Data("xyz-tms-document"),
                          std::filesystem::copy_options::recursive);
    std::filesystem::copy_file(Data("tms/tilemapresource.xml"),
                               Data("xyz-tms-document/tilemapresource.xml"));
    const std::string root = std::filesystem::absolute(Data("")).lexically_normal();
    const Case cases[] = {
        {"xyz detected", Data("xyz"), TileRowOrder::Detect, root + "xyz/{z}/{x}/{y}.png", xyzWest,
         xyzSouth, xyzEast, xyzNorth},
        {"tms detected", Data("tms"), TileRowOrder::Detect, root + "tms/{z}/{x}/{-y}.png", box[0],
         box[1], box[2], box[3]},
        {"xyz with a TMS document", Data("xyz-tms-document"), TileRowOrder::Detect,
         root + "xyz-tms-document/{z}/{x}/{y}.png", box[0], box[1], box[2], box[3]},
        {"tms named", Data("tms/"), TileRowOrder::TMS, root + "tms/{z}/{x}/{-y}.png", box[0],
         box[1], box[2], box[3]},
        {"tms template", Data("tms/{z}/{x}/{-y}.png"), TileRowOrder::XYZ,
         root + "tms/{z}/{x}/{-y}.png", box[0], box[1], box[2], box[3]},
        {"xyz template", Data("xyz/{z}/{x}/{y}.png"), TileRowOrder::TMS,
         root + "xyz/{z}/{x}/{y}.png", xyzWest, xyzSouth, xyzEast, xyzNorth},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CTileSourceInfo info = DescribeTileSource(c.path, c.order);
        ASSERT_TRUE(info.ok) << info.error;
        EXPECT_EQ(info.kind, TileSourceKind::Folder);
        EXPECT_EQ(info.file, c.file);
        EXPECT_EQ(info.format, "png");
        EXPECT_EQ(info.minZoom, 1);
        EXPECT_EQ(info.maxZoom, 5);
        EXPECT_NEAR(info.west, c.west, 1e-9);
        EXPECT_NEAR(info.south, c.south, 1e-9);
        EXPECT_NEAR(info.east, c.east, 1e-9);
        EXPECT_NEAR(info.north, c.north, 1e-9);
    }
}

TEST(TileSources, DamagedAndForeignSourcesAreRefusedWithALine)
{
    const std::string dir = Data("");
    std::filesystem::create_directories(dir + "foreign");
    std::ofstream(dir + "foreign/text.mbtiles") << "name,format\nEurope,png\n";
    std::ofstream(dir + "foreign/empty.mbtiles");
    std::filesystem::create_directories(dir + "foreign/no-tiles/3/4");
    std::ofstream(dir + "foreign/no-tiles/3/4/notes.txt") << "none";
    // Zoom 30 is past any zoom drawn; "x" and "12345678901" are no numbers we take.
    std::filesystem::create_directories(dir + "foreign/deep/30/1");
    std::ofstream(dir + "foreign/deep/30/1/1.png") << "\x89PNG";
    std::filesystem::create_directories(dir + "foreign/deep/4/x");
    std::ofstream(dir + "foreign/deep/4/x/1.png") << "\x89PNG";
    std::filesystem::create_directories(dir + "foreign/deep/4/12345678901");
    std::ofstream(dir + "foreign/deep/4/12345678901/1.png") << "\x89PNG";
    std::filesystem::create_directories(dir + "foreign/outside/1/5");
    std::ofstream(dir + "foreign/outside/1/5/0.png") << "\x89PNG";
    struct Case {
        const char *legend;
        std::string path;
        std::string error;
    };
    const Case cases[] = {
        {"vector tiles", Data("vector.mbtiles"),
         "the file holds vector tiles (pbf), which Veloran cannot draw: it needs raster tiles "
         "(PNG, JPEG or WebP)"},
        {"truncated", Data("truncated.mbtiles"), "the file is truncated"},
        {"no tiles table", Data("notiles.mbtiles"), "not an MBTiles file (no tiles table)"},
        {"text", dir + "foreign/text.mbtiles", "not an MBTiles file (no SQLite database)"},
        {"empty", dir + "foreign/empty.mbtiles", "the file is empty"},
        {"missing", dir + "foreign/missing.mbtiles", "No such file or directory"},
        {"folder without tiles", dir + "foreign/no-tiles",
         "the folder holds no tiles (DIR/ZOOM/X/Y.png, .jpg, .jpeg or .webp)"},
        {"only zooms and columns we cannot take", dir + "foreign/deep",
         "the folder holds no tiles (DIR/ZOOM/X/Y.png, .jpg, .jpeg or .webp)"},
        {"a tile outside the world", dir + "foreign/outside",
         "a tile of zoom 1 lies outside the world"},
        {"a sheet", Data("world.jpg"), "neither an MBTiles file (.mbtiles) nor a tile folder"},
        {"bad template", dir + "xyz/{z}-{x}-{y}.png",
         "a tile folder template must end in /{z}/{x}/{y}.EXT or /{z}/{x}/{-y}.EXT with EXT png, "
         "jpg, jpeg or webp"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CTileSourceInfo info = DescribeTileSource(c.path);
        EXPECT_FALSE(info.ok);
        EXPECT_EQ(info.error, c.error);
        EXPECT_EQ(info.error.find('\n'), std::string::npos);
    }
    // Opening a record whose file was damaged after it was added fails the same way.
    CTileSourceInfo good = DescribeTileSource(Data("world.mbtiles"));
    for (const char *file : {"truncated.mbtiles", "notiles.mbtiles"}) {
        SCOPED_TRACE(file);
        good.file = Data(file);
        std::string error;
        EXPECT_EQ(OpenTilePyramid(TileSourceMap(good), error), nullptr);
        EXPECT_FALSE(error.empty());
    }
}

// Opening, describing and reading leave the directory as it was, for a database in rollback
// mode and one in write-ahead-log mode (header bytes 18 and 19 set to 2, as SQLite's
// journal_mode=wal writes them).
TEST(TileSources, ReadOnlyLeavesNothingBesideTheFile)
{
    for (const bool wal : {false, true}) {
        SCOPED_TRACE(wal ? "wal" : "rollback");
        const std::string dir = Data(wal ? "readonly-wal" : "readonly");
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
        const std::string file = dir + "/world.mbtiles";
        std::string bytes = ReadBytes(Data("world.mbtiles"));
        if (wal)
            bytes[18] = bytes[19] = 2;
        std::ofstream(file, std::ios::binary) << bytes;
        const auto before = std::filesystem::last_write_time(file);
        {
            const CTileSourceInfo info = DescribeTileSource(file);
            ASSERT_TRUE(info.ok) << info.error;
            std::string error;
            std::unique_ptr<CTilePyramid> pyramid = OpenTilePyramid(TileSourceMap(info), error);
            ASSERT_NE(pyramid, nullptr) << error;
            CTileData tile;
            const CTileLevel &top = pyramid->GetLevels().front();
            EXPECT_EQ(pyramid->ReadTile(0, top.firstColumn + 1, top.firstRow + 1, tile, error),
                      TileRead::Ok);
        }
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(dir))
            names.push_back(entry.path().filename());
        EXPECT_EQ(names, std::vector<std::string>{"world.mbtiles"});
        EXPECT_EQ(std::filesystem::last_write_time(file), before);
        EXPECT_EQ(ReadBytes(file), bytes);
    }
}

// Reads every tile a pyramid says may exist; what matters is that nothing crashes or hangs.
int ReadEveryTile(CTilePyramid &pyramid, std::string &error)
{
    int failures = 0;
    const std::vector<CTileLevel> &levels = pyramid.GetLevels();
    for (std::size_t i = 0; i < levels.size(); ++i)
        for (int column = levels[i].firstColumn; column <= levels[i].lastColumn; ++column)
            for (int row = levels[i].firstRow; row <= levels[i].lastRow; ++row) {
                CTileData tile;
                failures += pyramid.ReadTile(i, column, row, tile, error) == TileRead::Failed;
            }
    return failures;
}

// An MBTiles cut anywhere is refused; one with garbage over any part of it is refused or read
// with failed tiles, each failure a line.
TEST(TileSources, HostileMBTilesNeverCrash)
{
    const std::string whole = ReadBytes(Data("world.mbtiles"));
    ASSERT_GT(whole.size(), 8192u);
    const std::string dir = Data("hostile");
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    const CMapInfo map = TileSourceMap(DescribeTileSource(Data("world.mbtiles")));
    for (std::size_t cut = 0; cut < whole.size(); cut += whole.size() / 37 + 1) {
        SCOPED_TRACE("cut at " + std::to_string(cut));
        const std::string path = dir + "/cut.mbtiles";
        std::ofstream(path, std::ios::binary | std::ios::trunc) << whole.substr(0, cut);
        const CTileSourceInfo info = DescribeTileSource(path);
        EXPECT_FALSE(info.ok);
        EXPECT_FALSE(info.error.empty());
        CMapInfo moved = map;
        moved.m_file = path;
        std::string error;
        EXPECT_EQ(OpenTilePyramid(moved, error), nullptr);
        EXPECT_FALSE(error.empty());
    }
    int refused = 0, failedReads = 0;
    for (std::size_t at = 16; at < whole.size(); at += whole.size() / 53 + 1) {
        SCOPED_TRACE("garbage at " + std::to_string(at));
        std::string bytes = whole;
        for (std::size_t i = at; i < std::min(bytes.size(), at + 300); ++i)
            bytes[i] = static_cast<char>(0xA5 ^ (i * 7));
        const std::string path = dir + "/garbage.mbtiles";
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        const CTileSourceInfo info = DescribeTileSource(path);
        EXPECT_EQ(info.ok, info.error.empty());
        EXPECT_EQ(info.error.find('\n'), std::string::npos);
        refused += !info.ok;
        CMapInfo moved = map;
        moved.m_file = path;
        std::string error;
        if (std::unique_ptr<CTilePyramid> pyramid = OpenTilePyramid(moved, error)) {
            failedReads += ReadEveryTile(*pyramid, error);
            EXPECT_EQ(error.find('\n'), std::string::npos);
        } else {
            EXPECT_FALSE(error.empty());
        }
    }
    // The table is not all harmless: damage was found both ways.
    EXPECT_GT(refused, 0);
    EXPECT_GT(failedReads, 0);
}

// The same tile through the MBTiles file and both folders: GDAL drew all three from one image,
// so their levels agree and every stored tile is a PNG.
TEST(TileSources, PyramidsOfTheThreeSourcesAgree)
{
    struct Source {
        const char *legend;
        std::string path;
    };
    const Source sources[] = {
        {"mbtiles", Data("world.mbtiles")}, {"xyz", Data("xyz")}, {"tms", Data("tms")}};
    for (const Source &s : sources) {
        SCOPED_TRACE(s.legend);
        const CTileSourceInfo info = DescribeTileSource(s.path);
        ASSERT_TRUE(info.ok) << info.error;
        const CMapInfo map = TileSourceMap(info);
        ASSERT_TRUE(map.IsCalibrated());
        std::string error;
        std::unique_ptr<CTilePyramid> pyramid = OpenTilePyramid(map, error);
        ASSERT_NE(pyramid, nullptr) << error;
        const std::vector<CTileLevel> &levels = pyramid->GetLevels();
        ASSERT_EQ(levels.size(), static_cast<std::size_t>(info.maxZoom - info.minZoom + 1));
        // Bern lies in tile (16, 11) of zoom 5 (XYZ).
        const CGeoPosition bern(46.95, 7.44, 0.0);
        CMapPoint pixel;
        ASSERT_TRUE(map.PositionToPixel(bern, pixel));
        const double globalX = pixel.x + map.m_offsetX, globalY = pixel.y + map.m_offsetY;
        EXPECT_EQ(static_cast<int>(globalX) / 256, 16);
        EXPECT_EQ(static_cast<int>(globalY) / 256, 11);
        const CTileLevel &top = levels.front();
        EXPECT_EQ(std::floor((pixel.x - top.originX) / 256), 16);
        EXPECT_EQ(std::floor((pixel.y - top.originY) / 256), 11);
        CTileData tile;
        ASSERT_EQ(pyramid->ReadTile(0, 16, 11, tile, error), TileRead::Ok) << error;
        EXPECT_TRUE(tile.encoded.starts_with("\x89PNG"));
        // Level 1 is zoom 4, tile (8, 5).
        EXPECT_EQ(levels[1].scale, 2.0);
        ASSERT_EQ(pyramid->ReadTile(1, 8, 5, tile, error), TileRead::Ok) << error;
        EXPECT_EQ(pyramid->ReadTile(0, 0, 0, tile, error), TileRead::Absent);
        EXPECT_EQ(pyramid->ReadTile(99, 16, 11, tile, error), TileRead::Absent);
    }
}

TEST(TileSources, SheetsHaveNoPyramid)
{
    CMapInfo sheet = MakeWorldMap(Data("world.jpg"), 2048, 1024);
    std::string error = "left over";
    EXPECT_EQ(OpenTilePyramid(sheet, error), nullptr);
    EXPECT_EQ(error, "");
}

TEST(TileSources, ReadTileFromSeveralThreadsAtOnce)
{
    const CTileSourceInfo info = DescribeTileSource(Data("world.mbtiles"));
    ASSERT_TRUE(info.ok) << info.error;
    std::string error;
    std::unique_ptr<CTilePyramid> pyramid = OpenTilePyramid(TileSourceMap(info), error);
    ASSERT_NE(pyramid, nullptr) << error;
    const std::string expected = [&] {
        CTileData tile;
        EXPECT_EQ(pyramid->ReadTile(0, 16, 11, tile, error), TileRead::Ok);
        return tile.encoded;
    }();
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                CTileData tile;
                std::string e;
                const CTileLevel &level = pyramid->GetLevels()[static_cast<std::size_t>(i % 3)];
                pyramid->ReadTile(static_cast<std::size_t>(i % 3), level.firstColumn,
                                  level.firstRow, tile, e);
                if (pyramid->ReadTile(0, 16, 11, tile, e) != TileRead::Ok
                    || tile.encoded != expected)
                    ++wrong;
            }
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(wrong, 0);
}

TEST(TileSources, RecordSurvivesTheMapDatabase)
{
    for (const char *path : {"world.mbtiles", "xyz", "tms"}) {
        SCOPED_TRACE(path);
        const CTileSourceInfo info = DescribeTileSource(Data(path));
        ASSERT_TRUE(info.ok) << info.error;
        const CMapInfo map = TileSourceMap(info);
        CMapList read;
        ASSERT_TRUE(DecodeMaps(EncodeMaps({map}), read));
        ASSERT_EQ(read.size(), 1u);
        EXPECT_EQ(read[0], map);
        EXPECT_EQ(read[0].m_tileZoom, info.maxZoom);
        EXPECT_EQ(read[0].m_projection, MapProjection::WebMercator);
    }
}

// PROJ's EPSG:4326 to EPSG:3857 through gdaltransform, which reads longitude first (GIS
// order, whatever the CRS's axis order), against our formulas at the most detailed zoom.
TEST(TileSources, WebMercatorAgreesWithProj)
{
    struct Case {
        const char *legend;
        double latitude, longitude;
    };
    const Case cases[] = {
        {"origin", 0.0, 0.0},
        {"Bern", 46.95, 7.44},
        {"Sydney", -33.8688, 151.2093},
        {"near the northern edge", 85.05, -179.99},
        {"near the southern edge", -85.05, 179.99},
        {"Helsinki", 60.1699, 24.9384},
        {"Ushuaia", -54.8019, -68.303},
        {"just off the origin", 1e-7, -1e-7},
        {"Quito", -0.1807, -78.4678},
    };
    std::string input;
    for (const Case &c : cases)
        input += FormatC("%.10f %.10f\n", c.longitude, c.latitude);
    const std::string inputFile = Data("proj-input.txt");
    std::ofstream(inputFile) << input;
    const std::string out =
        Shell("gdaltransform -s_srs EPSG:4326 -t_srs EPSG:3857 < " + Quote(inputFile));
    std::istringstream lines(out);
    constexpr double kHalfWorldMetres = 20037508.342789244;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        double x = 0.0, y = 0.0, z = 0.0;
        ASSERT_TRUE(lines >> x >> y >> z) << out;
        const double world = MercatorWorldPixels(kMaxTileZoom);
        const double projX = (x + kHalfWorldMetres) / (2.0 * kHalfWorldMetres) * world;
        const double projY = (kHalfWorldMetres - y) / (2.0 * kHalfWorldMetres) * world;
        // A thousandth of a pixel of zoom 22: 0.04 mm at the equator.
        EXPECT_NEAR(MercatorX(c.longitude, kMaxTileZoom), projX, 1e-3);
        EXPECT_NEAR(MercatorY(c.latitude, kMaxTileZoom), projY, 1e-3);
        EXPECT_NEAR(MercatorLongitude(projX, kMaxTileZoom), c.longitude, 1e-9);
        EXPECT_NEAR(MercatorLatitude(projY, kMaxTileZoom), c.latitude, 1e-9);
    }
}

class TileCommands : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_db = Data("cli-"
                    + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name())
                    + ".gdb");
        std::filesystem::remove(m_db);
        int status = -1;
        Shell(Cli() + " maps add " + Quote(Data("world.mbtiles")) + " --db " + Quote(m_db),
              &status);
        ASSERT_EQ(status, 0);
    }
    static std::string Cli() { return VELORAN_CLI; }
    std::string m_db;
};

// Tile and pixel of the MBTiles' most detailed zoom for a table of positions, against GDAL's
// pixel and line of the same file read at its full resolution, its origin on a tile corner.
TEST_F(TileCommands, LocateAgreesWithGdallocationinfo)
{
    const std::string mbtiles = Quote(Data("world.mbtiles"));
    const QJsonObject info =
        QJsonDocument::fromJson(
            QByteArray::fromStdString(Shell("gdalinfo -json -oo USE_BOUNDS=NO " + mbtiles)))
            .object();
    const QJsonArray transform = info["geoTransform"].toArray();
    ASSERT_EQ(transform.size(), 6);
    constexpr double kHalfWorldMetres = 20037508.342789244;
    const double originX =
        std::round((transform[0].toDouble() + kHalfWorldMetres) / transform[1].toDouble());
    const double originY =
        std::round((kHalfWorldMetres - transform[3].toDouble()) / -transform[5].toDouble());
    struct Case {
        const char *legend;
        double latitude, longitude;
    };
    const Case cases[] = {
        {"Bern", 46.95, 7.44},       {"Lisbon", 38.7223, -9.1393}, {"Oslo", 59.9139, 10.7522},
        {"Tunis", 36.8065, 10.1815}, {"Athens", 37.9838, 23.7275}, {"Dublin", 53.3498, -6.2603},
        {"Riga", 56.9496, 24.1052},  {"Malta", 35.8989, 14.5146},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string gdal =
            Shell(FormatC("gdallocationinfo -wgs84 -oo USE_BOUNDS=NO %s %.6f %.6f", mbtiles.c_str(),
                          c.longitude, c.latitude));
        const std::size_t at = gdal.find("Location: (");
        ASSERT_NE(at, std::string::npos) << gdal;
        int pixel = 0, line = 0;
        ASSERT_EQ(std::sscanf(gdal.c_str() + at, "Location: (%dP,%dL)", &pixel, &line), 2);
        const long globalX = static_cast<long>(originX) + pixel;
        const long globalY = static_cast<long>(originY) + line;
        const std::string ours =
            Shell(Cli() + FormatC(" maps locate %.6f %.6f --json --db ", c.latitude, c.longitude)
                  + Quote(m_db));
        const std::string first = ours.substr(0, ours.find('\n'));
        EXPECT_EQ(JsonNumber(first, "zoom"), 5);
        EXPECT_EQ(JsonNumber(first, "x"), globalX / 256);
        EXPECT_EQ(JsonNumber(first, "y"), globalY / 256);
        EXPECT_EQ(JsonNumber(first, "pixelX"), globalX % 256);
        EXPECT_EQ(JsonNumber(first, "pixelY"), globalY % 256);
        EXPECT_NE(first.find("\"contains\":true"), std::string::npos) << first;
    }
}

// `maps tile` against the same part of the MBTiles as GDAL reads it: the stored tile itself at a
// stored zoom, and the parent's part scaled up by the nearest pixel beyond the last zoom.
TEST_F(TileCommands, TileEqualsWhatGdalReads)
{
    const std::string mbtiles = Quote(Data("world.mbtiles"));
    struct Case {
        const char *legend;
        double latitude, longitude;
        int zoom;
        int gdalZoom; // the stored zoom GDAL reads
    };
    const Case cases[] = {
        {"Bern, zoom 5", 46.95, 7.44, 5, 5},      {"Lisbon, zoom 5", 38.7223, -9.1393, 5, 5},
        {"Oslo, zoom 4", 59.9139, 10.7522, 4, 4}, {"Tunis, zoom 3", 36.8065, 10.1815, 3, 3},
        {"Bern, zoom 6", 46.95, 7.44, 6, 5},      {"Athens, zoom 8", 37.9838, 23.7275, 8, 5},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CTileAddress tile;
        ASSERT_TRUE(TileOfPosition(c.latitude, c.longitude, c.zoom, tile));
        const std::string ours = Data(FormatC("tile-%s.png", c.legend));
        int status = -1;
        const std::string report = Shell(
            Cli()
                + FormatC(" maps tile Europe %.6f %.6f %d --png ", c.latitude, c.longitude, c.zoom)
                + Quote(ours) + " --db " + Quote(m_db),
            &status);
        ASSERT_EQ(status, 0) << report;
        // GDAL's window: the tile's square at the stored zoom, in its full-resolution pixels.
        const QJsonObject info =
            QJsonDocument::fromJson(
                QByteArray::fromStdString(
                    Shell(FormatC("gdalinfo -json -oo USE_BOUNDS=NO -oo ZOOM_LEVEL=%d ", c.gdalZoom)
                          + mbtiles)))
                .object();
        const QJsonArray transform = info["geoTransform"].toArray();
        ASSERT_EQ(transform.size(), 6);
        constexpr double kHalfWorldMetres = 20037508.342789244;
        const double originX =
            std::round((transform[0].toDouble() + kHalfWorldMetres) / transform[1].toDouble());
        const double originY =
            std::round((kHalfWorldMetres - transform[3].toDouble()) / -transform[5].toDouble());
        const int shift = c.zoom - c.gdalZoom;
        const double size = 256.0 / (1 << shift);
        const double left = tile.column * size - originX, top = tile.row * size - originY;
        const std::string theirs = Data(FormatC("gdal-%s.png", c.legend));
        Shell(
            FormatC("gdal_translate -q -oo USE_BOUNDS=NO -oo ZOOM_LEVEL=%d -of PNG -r near -srcwin "
                    "%g %g %g %g -outsize 256 256 ",
                    c.gdalZoom, left, top, size, size)
                + mbtiles + " " + Quote(theirs),
            &status);
        ASSERT_EQ(status, 0);
        const QImage a =
            QImage(QString::fromStdString(ours)).convertToFormat(QImage::Format_ARGB32);
        const QImage b =
            QImage(QString::fromStdString(theirs)).convertToFormat(QImage::Format_ARGB32);
        ASSERT_EQ(a.size(), QSize(256, 256));
        ASSERT_EQ(b.size(), QSize(256, 256));
        int differing = 0;
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x)
                differing += a.pixel(x, y) != b.pixel(x, y);
        EXPECT_EQ(differing, 0);
    }
}

TEST_F(TileCommands, RefusedSourcesAndPositionsSayWhy)
{
    struct Case {
        const char *legend;
        std::string arguments;
        int status;
        std::string message;
    };
    const std::string db = " --db " + Quote(m_db);
    const Case cases[] = {
        {"vector", "maps add " + Quote(Data("vector.mbtiles")) + db, 1,
         "the file holds vector tiles (pbf), which Veloran cannot draw"},
        {"truncated", "maps add " + Quote(Data("truncated.mbtiles")) + db, 1,
         "the file is truncated"},
        {"no tiles table", "maps add " + Quote(Data("notiles.mbtiles")) + db, 1,
         "not an MBTiles file (no tiles table)"},
        {"order of an mbtiles", "maps add " + Quote(Data("world.mbtiles")) + " --xyz" + db, 2,
         "MBTiles rows are always TMS"},
        {"no tile so far out",
         "maps tile Europe 46.95 7.44 1 --png " + Quote(Data("none.png")) + db, 1,
         "no tile at zoom 1 or below holds that position"},
        {"outside the world", "maps tile 0 -86 7.44 3 --png " + Quote(Data("none.png")) + db, 2,
         "no tile holds a latitude beyond 85.0511"},
        {"no such map", "maps tile Alps 46.95 7.44 3 --png " + Quote(Data("none.png")) + db, 2,
         "no map named 'Alps'"},
        {"no png", "maps tile Europe 46.95 7.44 3" + db, 2, "expected --png OUT"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        int status = -1;
        const std::string err = Shell(Cli() + " " + c.arguments + " 2>&1 >/dev/null", &status);
        EXPECT_EQ(status, c.status);
        EXPECT_NE(err.find(c.message), std::string::npos) << err;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    }
    EXPECT_FALSE(std::filesystem::exists(Data("none.png")));
}

} // namespace

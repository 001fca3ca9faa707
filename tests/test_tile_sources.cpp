#include "geo/WebMercator.h"
#include "maps/MapDatabase.h"
#include "maps/TileFallback.h"
#include "maps/TileSources.h"

#include <QByteArray>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/stat.h>
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
    const std::string root = std::filesystem::absolute(Data("")).lexically_normal();
    const Case cases[] = {
        {"xyz detected", Data("xyz"), TileRowOrder::Detect, root + "xyz/{z}/{x}/{y}.png", xyzWest,
         xyzSouth, xyzEast, xyzNorth},
        {"tms detected", Data("tms"), TileRowOrder::Detect, root + "tms/{z}/{x}/{-y}.png", box[0],
         box[1], box[2], box[3]},
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

TEST(TileSources, ReadOnlyLeavesNothingBesideTheFile)
{
    const std::string dir = Data("readonly");
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    std::filesystem::copy_file(Data("world.mbtiles"), dir + "/world.mbtiles",
                               std::filesystem::copy_options::overwrite_existing);
    const auto before = std::filesystem::last_write_time(dir + "/world.mbtiles");
    ::chmod((dir + "/world.mbtiles").c_str(), 0444);
    {
        const CTileSourceInfo info = DescribeTileSource(dir + "/world.mbtiles");
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
    EXPECT_EQ(std::filesystem::last_write_time(dir + "/world.mbtiles"), before);
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

} // namespace

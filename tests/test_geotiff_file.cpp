// GeoTIFFs made by GDAL from the factory world image: their calibration against
// gdallocationinfo, their tiles against gdal_translate, and files we must refuse.
#include "maps/GeoTiff.h"
#include "maps/MapInfo.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

namespace fs = std::filesystem;

std::string Quote(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// Runs a shell command; its standard output, and whether it exited 0.
bool Shell(const std::string &command, std::string *out = nullptr)
{
    FILE *pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr)
        return false;
    std::string text;
    std::array<char, 4096> buffer{};
    for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        text.append(buffer.data(), n);
    const int status = ::pclose(pipe);
    if (out != nullptr)
        *out = text;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// A binary PPM (P6) as GDAL writes it: 0xFFRRGGBB per pixel.
bool ReadPpm(const std::string &path, int &width, int &height, std::vector<std::uint32_t> &argb)
{
    std::ifstream in(path, std::ios::binary);
    std::string magic;
    int maximum = 0;
    in >> magic >> width >> height >> maximum;
    in.get();
    if (!in || magic != "P6" || maximum != 255 || width <= 0 || height <= 0)
        return false;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(width) * height * 3);
    in.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!in)
        return false;
    argb.resize(static_cast<std::size_t>(width) * height);
    for (std::size_t i = 0; i < argb.size(); ++i)
        argb[i] = 0xFF000000u | std::uint32_t{bytes[3 * i]} << 16
                  | std::uint32_t{bytes[3 * i + 1]} << 8 | bytes[3 * i + 2];
    return true;
}

class GeoTiffFile : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        if (!Shell("command -v gdalwarp gdal_translate gdaladdo gdallocationinfo >/dev/null"))
            return;
        std::string dir = (fs::temp_directory_path() / "veloran-geotiff-XXXXXX").string();
        ASSERT_NE(::mkdtemp(dir.data()), nullptr);
        s_dir = new std::string(dir);
        const std::string world = Quote(VELORAN_WORLD_IMAGE);
        const std::vector<std::string> commands = {
            // The factory image as the whole earth in degrees, in strips.
            "gdal_translate -q -a_srs EPSG:4326 -a_ullr -180 90 180 -90 " + world + " world.tif",
            // UTM zone 32 over 6-12 E, 44-50 N at 1 km pixels: tiled, compressed.
            "gdalwarp -q -te 6 44 12 50 -te_srs EPSG:4326 -t_srs EPSG:32632 -tr 1000 1000 "
            "-r bilinear -co TILED=YES -co BLOCKXSIZE=128 -co BLOCKYSIZE=128 "
            "-co COMPRESS=DEFLATE world.tif utm.tif",
            "cp utm.tif overviews.tif && gdaladdo -q -r average overviews.tif 2 4",
            // UTM zone 33 south, 12-18 E, 20-30 S.
            "gdalwarp -q -te 12 -30 18 -20 -te_srs EPSG:4326 -t_srs EPSG:32733 -tr 2000 2000 "
            "-co TILED=YES world.tif south.tif",
            // A region in degrees, its tiepoint on the first pixel's centre.
            "gdal_translate -q -a_srs EPSG:4326 -a_ullr -180 90 180 -90 -srcwin 1000 150 600 300 "
            "-mo AREA_OR_POINT=Point -co TILED=YES -co BLOCKXSIZE=64 -co BLOCKYSIZE=64 "
                + world + " point.tif",
            // The whole earth tiled, with no overviews: levels of our own.
            "gdal_translate -q -co TILED=YES -co COMPRESS=DEFLATE world.tif bare.tif",
            "gdalwarp -q -te 6 44 12 50 -te_srs EPSG:4326 -t_srs EPSG:3035 -tr 2000 2000 "
            "-co TILED=YES world.tif laea.tif",
            "gdal_translate -q -projwin -20 70 40 30 world.tif region.tif",
            "gdal_translate -q -co TILED=YES -co COMPRESS=JPEG -co PHOTOMETRIC=YCBCR world.tif "
            "jpeg.tif",
            "gdal_translate -q -co TILED=YES " + world + " plain.tif",
            // Cut inside the first directory; a TIFF header before noise.
            "head -c 100 utm.tif > cut.tif",
            "{ printf 'II*\\000\\010\\000\\000\\000'; head -c 5000 world.tif | tail -c 2000; } "
            "> noise.tif",
            "cp overviews.tif overview0.tif && gdal_translate -q -ovr 0 overviews.tif overview1.tif"
            " && gdal_translate -q -ovr 1 overviews.tif overview2.tif",
        };
        for (const std::string &command : commands)
            ASSERT_TRUE(Shell("cd " + Quote(dir) + " && " + command)) << command;
    }

    static void TearDownTestSuite()
    {
        if (s_dir == nullptr)
            return;
        std::error_code ignored;
        fs::remove_all(*s_dir, ignored);
        delete s_dir;
        s_dir = nullptr;
    }

    void SetUp() override
    {
        if (s_dir == nullptr)
            GTEST_SKIP() << "gdal-bin is not installed";
    }

    static std::string File(const char *name) { return *s_dir + "/" + name; }

    // GDAL's pixels of a window of `file`.
    static std::vector<std::uint32_t> GdalPixels(const char *file, int x, int y, int w, int h)
    {
        const std::string out = File("window.ppm");
        const std::string command = "gdal_translate -q -of PNM -b 1 -b 2 -b 3 -srcwin "
                                    + std::to_string(x) + " " + std::to_string(y) + " "
                                    + std::to_string(w) + " " + std::to_string(h) + " "
                                    + Quote(File(file)) + " " + Quote(out);
        EXPECT_TRUE(Shell(command)) << command;
        int width = 0, height = 0;
        std::vector<std::uint32_t> pixels;
        EXPECT_TRUE(ReadPpm(out, width, height, pixels));
        EXPECT_EQ(width, w);
        EXPECT_EQ(height, h);
        return pixels;
    }

    // Every pixel of the tile inside the level's image (`w` × `h` pixels) as GDAL reads it.
    static void ExpectTileMatches(CTilePyramid &pyramid, std::size_t level, int column, int row,
                                  const char *file, int w, int h, int tolerance)
    {
        SCOPED_TRACE(testing::Message()
                     << file << " level " << level << " tile " << column << "," << row);
        const CTileLevel &grid = pyramid.GetLevels()[level];
        CTileData tile;
        std::string error;
        ASSERT_EQ(pyramid.ReadTile(level, column, row, tile, error), TileRead::Ok) << error;
        ASSERT_EQ(tile.width, grid.tileWidth);
        ASSERT_EQ(tile.height, grid.tileHeight);
        ASSERT_EQ(tile.argb.size(), static_cast<std::size_t>(tile.width) * tile.height);
        const int x = column * grid.tileWidth, y = row * grid.tileHeight;
        const int cw = std::min(grid.tileWidth, w - x), ch = std::min(grid.tileHeight, h - y);
        const std::vector<std::uint32_t> gdal = GdalPixels(file, x, y, cw, ch);
        ASSERT_EQ(gdal.size(), static_cast<std::size_t>(cw) * ch);
        int worst = 0;
        for (int j = 0; j < ch; ++j)
            for (int i = 0; i < cw; ++i) {
                const std::uint32_t ours = tile.argb[static_cast<std::size_t>(j) * tile.width + i];
                const std::uint32_t theirs = gdal[static_cast<std::size_t>(j) * cw + i];
                for (int shift = 0; shift <= 24; shift += 8)
                    worst = std::max(worst, std::abs(static_cast<int>((ours >> shift) & 0xFF)
                                                     - static_cast<int>((theirs >> shift) & 0xFF)));
            }
        EXPECT_LE(worst, tolerance);
        // Beyond the image's edge the tile is transparent.
        if (cw < tile.width) {
            EXPECT_EQ(tile.argb[static_cast<std::size_t>(tile.width) - 1] >> 24, 0u);
        }
    }

    static std::string *s_dir;
};

std::string *GeoTiffFile::s_dir = nullptr;

} // namespace

TEST_F(GeoTiffFile, CalibrationAgreesWithGdal)
{
    struct Case {
        const char *file;
        double maxMisfitPixels; // what the model of longitude linear in x can do there
        std::vector<std::array<double, 2>> positions; // latitude, longitude
    };
    const Case cases[] = {
        {"utm.tif", 16.0, {{48.0, 9.0}, {45.0, 7.0}, {49.5, 11.5}, {44.2, 11.8}, {47.1, 6.3}}},
        {"south.tif", 16.0, {{-25.0, 15.0}, {-21.0, 12.5}, {-29.5, 17.5}}},
        {"point.tif", 1e-6, {{50.0, 10.0}, {20.0, 0.5}, {60.0, 90.0}, {12.0, -3.0}}},
        {"region.tif", 1e-6, {{48.1, 11.6}, {31.0, -19.5}, {69.9, 39.9}, {60.2, 24.9}}},
        {"world.tif", 1e-6, {{0.0, 0.0}, {48.1, 11.6}, {-33.9, 151.2}, {89.0, -179.0}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        bool georeferenced = false;
        const CCalibrationImport import = ImportGeoTiffFile(File(c.file), georeferenced);
        EXPECT_TRUE(georeferenced);
        ASSERT_TRUE(import.ok) << import.error;
        EXPECT_LE(import.maxErrorPixels, c.maxMisfitPixels);
        CMapInfo map;
        map.m_pairs = import.pairs;
        ASSERT_TRUE(map.Calibrate());
        for (const auto &[latitude, longitude] : c.positions) {
            SCOPED_TRACE(testing::Message() << latitude << ", " << longitude);
            std::string xml;
            ASSERT_TRUE(Shell("gdallocationinfo -xml -wgs84 " + Quote(File(c.file)) + " "
                                  + std::to_string(longitude) + " " + std::to_string(latitude),
                              &xml));
            int pixel = 0, line = 0;
            ASSERT_EQ(std::sscanf(xml.c_str(), "<Report pixel=\"%d\" line=\"%d\"", &pixel, &line),
                      2)
                << xml;
            CMapPoint ours;
            ASSERT_TRUE(map.PositionToPixel(CGeoPosition(latitude, longitude, 0.0), ours));
            // GDAL names the pixel the position falls in; ours is rounded to a corner.
            EXPECT_LE(std::abs(ours.x - pixel), import.maxErrorPixels + 1.0);
            EXPECT_LE(std::abs(ours.y - line), import.maxErrorPixels + 1.0);
        }
    }
}

TEST_F(GeoTiffFile, RefusesWhatItCannotUse)
{
    struct Case {
        const char *file;
        bool georeferenced;
        const char *error; // nullptr: any line, as long as there is one
    };
    const Case cases[] = {
        {"laea.tif", true, "projection EPSG:3035 is not UTM on WGS 84"},
        {"plain.tif", false, "no georeferencing"},
        {"cut.tif", false, nullptr},
        {"noise.tif", false, nullptr},
        {"missing.tif", false, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        bool georeferenced = !c.georeferenced;
        const CCalibrationImport import = ImportGeoTiffFile(File(c.file), georeferenced);
        EXPECT_FALSE(import.ok);
        EXPECT_EQ(georeferenced, c.georeferenced);
        EXPECT_FALSE(import.error.empty());
        if (c.error != nullptr) {
            EXPECT_EQ(import.error, c.error);
        }
    }
}

TEST_F(GeoTiffFile, TilesAreGdalsPixels)
{
    std::string error;
    // 456 × 667 in 128-pixel tiles, overviews of 228 × 334 and 114 × 167.
    const std::unique_ptr<CTilePyramid> pyramid = OpenTiffPyramid(File("overviews.tif"), error);
    ASSERT_NE(pyramid, nullptr) << error;
    const std::vector<CTileLevel> &levels = pyramid->GetLevels();
    ASSERT_EQ(levels.size(), 3u);
    const int widths[] = {456, 228, 114}, heights[] = {667, 334, 167};
    for (std::size_t level = 0; level < levels.size(); ++level) {
        EXPECT_DOUBLE_EQ(levels[level].scale, 456.0 / widths[level]);
        EXPECT_EQ(levels[level].lastColumn, (widths[level] - 1) / levels[level].tileWidth);
        EXPECT_EQ(levels[level].lastRow, (heights[level] - 1) / levels[level].tileHeight);
        for (int row = 0; row <= levels[level].lastRow; ++row)
            for (int column = 0; column <= levels[level].lastColumn; ++column)
                ExpectTileMatches(*pyramid, level, column, row,
                                  ("overview" + std::to_string(level) + ".tif").c_str(),
                                  widths[level], heights[level], 0);
    }
    CTileData tile;
    EXPECT_EQ(pyramid->ReadTile(0, levels[0].lastColumn + 1, 0, tile, error), TileRead::Absent);
    EXPECT_EQ(pyramid->ReadTile(0, 0, -1, tile, error), TileRead::Absent);
    EXPECT_EQ(pyramid->ReadTile(levels.size(), 0, 0, tile, error), TileRead::Absent);

    // Tiles of 64 pixels, the first pixel's centre georeferenced: the pixels are the same.
    const std::unique_ptr<CTilePyramid> point = OpenTiffPyramid(File("point.tif"), error);
    ASSERT_NE(point, nullptr) << error;
    ExpectTileMatches(*point, 0, 9, 4, "point.tif", 600, 300, 0);

    // JPEG in YCbCr: libtiff converts to RGB as GDAL does (one libjpeg decodes both).
    const std::unique_ptr<CTilePyramid> jpeg = OpenTiffPyramid(File("jpeg.tif"), error);
    ASSERT_NE(jpeg, nullptr) << error;
    ExpectTileMatches(*jpeg, 0, 3, 1, "jpeg.tif", 2048, 1024, 2);
}

// Without overviews in the file, the levels above the full image are averages of it: as GDAL's
// average resampling to half, a quarter and an eighth of the size.
TEST_F(GeoTiffFile, LevelsOfItsOwnWithoutOverviews)
{
    std::string error;
    const std::unique_ptr<CTilePyramid> pyramid = OpenTiffPyramid(File("bare.tif"), error);
    ASSERT_NE(pyramid, nullptr) << error;
    const std::vector<CTileLevel> &levels = pyramid->GetLevels();
    // 2048 × 1024: the overview is half of it, then its halves down to one tile.
    ASSERT_EQ(levels.size(), 4u);
    for (std::size_t level = 1; level < levels.size(); ++level) {
        const int factor = 1 << level;
        SCOPED_TRACE(factor);
        EXPECT_DOUBLE_EQ(levels[level].scale, factor);
        const std::string reduced = "reduced" + std::to_string(factor) + ".tif";
        ASSERT_TRUE(Shell("cd " + Quote(*s_dir) + " && gdal_translate -q -r average -outsize "
                          + std::to_string(2048 / factor) + " " + std::to_string(1024 / factor)
                          + " bare.tif " + reduced));
        // Averages of averages round twice.
        ExpectTileMatches(*pyramid, level, 0, 0, reduced.c_str(), 2048 / factor, 1024 / factor,
                          static_cast<int>(level));
    }
}

TEST_F(GeoTiffFile, OnlyTiledTiffsArePyramids)
{
    struct Case {
        const char *file;
        bool pyramid;
        bool error;
    };
    const Case cases[] = {
        {"world.tif", false, false}, // strips: the whole-image loader's
        {"utm.tif", true, false},    {"cut.tif", false, true},
        {"noise.tif", false, true},  {"missing.tif", false, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        std::string error = "stale";
        const std::unique_ptr<CTilePyramid> pyramid = OpenTiffPyramid(File(c.file), error);
        EXPECT_EQ(pyramid != nullptr, c.pyramid);
        EXPECT_EQ(!error.empty(), c.error) << error;
    }
}

// A file cut short after it was opened: the tiles that are gone fail with a message.
TEST_F(GeoTiffFile, TruncatedUnderTheReader)
{
    ASSERT_TRUE(Shell("cp " + Quote(File("utm.tif")) + " " + Quote(File("shrinking.tif"))));
    std::string error;
    const std::unique_ptr<CTilePyramid> pyramid = OpenTiffPyramid(File("shrinking.tif"), error);
    ASSERT_NE(pyramid, nullptr) << error;
    fs::resize_file(File("shrinking.tif"), fs::file_size(File("shrinking.tif")) / 2);
    const CTileLevel &level = pyramid->GetLevels().front();
    int failed = 0;
    for (int row = 0; row <= level.lastRow; ++row)
        for (int column = 0; column <= level.lastColumn; ++column) {
            CTileData tile;
            error.clear();
            if (pyramid->ReadTile(0, column, row, tile, error) == TileRead::Failed) {
                ++failed;
                EXPECT_FALSE(error.empty());
                EXPECT_TRUE(tile.IsEmpty());
            }
        }
    EXPECT_GT(failed, 0);
}

// Four threads read every tile of every level at once, the coarse levels (made on the first
// read) included, and get what one thread reads alone.
TEST_F(GeoTiffFile, TilesUnderSeveralThreads)
{
    for (const char *file : {"overviews.tif", "bare.tif"}) {
        SCOPED_TRACE(file);
        std::string error;
        std::unique_ptr<CTilePyramid> alone = OpenTiffPyramid(File(file), error);
        std::unique_ptr<CTilePyramid> shared = OpenTiffPyramid(File(file), error);
        ASSERT_TRUE(alone && shared) << error;
        struct Key {
            std::size_t level;
            int column, row;
        };
        std::vector<Key> keys;
        std::vector<std::vector<std::uint32_t>> expected;
        const std::vector<CTileLevel> &levels = alone->GetLevels();
        for (std::size_t level = levels.size(); level-- > 0;)
            for (int row = 0; row <= levels[level].lastRow; ++row)
                for (int column = 0; column <= levels[level].lastColumn; ++column) {
                    CTileData tile;
                    ASSERT_EQ(alone->ReadTile(level, column, row, tile, error), TileRead::Ok);
                    keys.push_back({level, column, row});
                    expected.push_back(std::move(tile.argb));
                }
        std::atomic<int> mismatches{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                for (std::size_t k = 0; k < keys.size(); ++k) {
                    const std::size_t i = (k + static_cast<std::size_t>(t) * 7) % keys.size();
                    CTileData tile;
                    std::string threadError;
                    if (shared->ReadTile(keys[i].level, keys[i].column, keys[i].row, tile,
                                         threadError)
                            != TileRead::Ok
                        || tile.argb != expected[i])
                        ++mismatches;
                }
            });
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(mismatches.load(), 0);
    }
}

// veloran-cli maps add on the same files: the keys calibrate unless --ref is given.
TEST_F(GeoTiffFile, CommandLineAdd)
{
    const std::string cli = Quote(VELORAN_CLI);
    const std::string db = " --db " + Quote(File("maps.gdb"));
    struct Case {
        std::string arguments;
        bool ok;
        const char *output; // a line the output holds
        const char *error;  // a line standard error holds, or ""
    };
    const Case cases[] = {
        {"utm.tif", true, "map 0 added: utm.tif, 456x667, calibrated\n",
         "veloran-cli: warning: the georeferencing of '"},
        {"region.tif", true, "calibration from the GeoTIFF: worst misfit 0.00 pixels, 0.0 m\n", ""},
        {"plain.tif", true, "map 2 added: plain.tif, 2048x1024, uncalibrated\n", ""},
        {"laea.tif", false, "", "laea.tif': projection EPSG:3035 is not UTM on WGS 84\n"},
        {"laea.tif --ref A:0,0:50,6 --ref B:100,100:49,7", true,
         "map 3 added: laea.tif, 232x330, calibrated\n", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.arguments);
        std::string out;
        const bool ok = Shell("cd " + Quote(*s_dir) + " && " + cli + " maps add " + c.arguments + db
                                  + " 2>stderr.txt",
                              &out);
        EXPECT_EQ(ok, c.ok);
        EXPECT_NE(out.find(c.output), std::string::npos) << out;
        std::ifstream in(File("stderr.txt"));
        const std::string error((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        EXPECT_EQ(error.empty(), *c.error == '\0') << error;
        EXPECT_NE(error.find(c.error), std::string::npos) << error;
    }
    std::string list;
    ASSERT_TRUE(Shell(cli + " maps list --json" + db, &list));
    EXPECT_NE(list.find("\"name\":\"A\",\"x\":0,\"y\":0,\"lat\":50"), std::string::npos) << list;
}

// Damaged copies of a GeoTIFF with overviews: bytes changed in the header, the directories and
// the tiles. Each is read whole (keys, every tile of every level) without a crash, and a tile
// that cannot be read says why.
TEST_F(GeoTiffFile, DamagedCopiesNeverCrash)
{
    std::ifstream in(File("overviews.tif"), std::ios::binary);
    const std::string original((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    ASSERT_GT(original.size(), 1000u);
    std::uint32_t seed = 12345;
    const auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
    for (int copy = 0; copy < 60; ++copy) {
        std::string bytes = original;
        // The first copies hit the first 600 bytes (header and first directory) only.
        const std::size_t span = copy < 30 ? 600 : bytes.size();
        for (int change = 0; change < 1 + copy % 8; ++change)
            bytes[next() % span] = static_cast<char>(next() >> 24);
        if (copy % 5 == 4)
            bytes.resize(next() % bytes.size());
        const std::string path = File("damaged.tif");
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        SCOPED_TRACE(copy);
        bool georeferenced = false;
        const CCalibrationImport import = ImportGeoTiffFile(path, georeferenced);
        EXPECT_TRUE(import.ok || !import.error.empty());
        std::string error;
        const std::unique_ptr<CTilePyramid> pyramid = OpenTiffPyramid(path, error);
        if (!pyramid)
            continue;
        const std::vector<CTileLevel> &levels = pyramid->GetLevels();
        for (std::size_t level = 0; level < levels.size(); ++level)
            for (int row = 0; row <= std::min(levels[level].lastRow, 20); ++row)
                for (int column = 0; column <= std::min(levels[level].lastColumn, 20); ++column) {
                    CTileData tile;
                    error.clear();
                    if (pyramid->ReadTile(level, column, row, tile, error) == TileRead::Failed) {
                        EXPECT_FALSE(error.empty());
                    }
                }
    }
}

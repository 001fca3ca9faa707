#include "maps/TileCover.h"

#include <gtest/gtest.h>
#include <set>

namespace
{

// A tile source's pyramid as the readers lay it out: zooms 10 down to 6 of a source whose map
// pixels start at global pixel (1000, 2000) of zoom 10, 256-pixel tiles.
std::vector<CTileLevel> Pyramid(int levels = 5)
{
    std::vector<CTileLevel> pyramid;
    for (int i = 0; i < levels; ++i) {
        CTileLevel level;
        level.scale = 1 << i;
        level.originX = -1000.0;
        level.originY = -2000.0;
        const int tiles = 1 << (10 - i);
        level.firstColumn = 3 >> i;
        level.lastColumn = std::min(tiles - 1, 20 >> i);
        level.firstRow = 7 >> i;
        level.lastRow = std::min(tiles - 1, 30 >> i);
        pyramid.push_back(level);
    }
    return pyramid;
}

} // namespace

TEST(TileCover, LevelForZoom)
{
    struct Case {
        const char *legend;
        double zoom;
        std::size_t level;
    };
    const Case cases[] = {
        {"enlarged below the finest scale", 0.5, 0},
        {"one map pixel a device pixel", 1.0, 0},
        {"shrunk towards the next level", 1.99, 0},
        {"the next level from its scale on", 2.0, 1},
        {"a rounding error below 2 still picks it", 2.0 - 1e-12, 1},
        {"between 4 and 8", 5.7, 2},
        {"the coarsest level", 16.0, 4},
        {"beyond the coarsest: it is shrunk", 100.0, 4},
    };
    const std::vector<CTileLevel> levels = Pyramid();
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(LevelForZoom(levels, c.zoom), c.level);
    }
    EXPECT_EQ(LevelForZoom({}, 3.0), 0u);
}

TEST(TileCover, TilesCoveringAViewport)
{
    struct Case {
        const char *legend;
        std::size_t level;
        CTileRect area;
        CTileRange range;
    };
    // Tile (c, r) of level 0 covers map x from 256c - 1000 and y from 256r - 2000.
    const Case cases[] = {
        {"inside one tile",
         0,
         {-1000 + 256 * 5 + 10, -2000 + 256 * 9 + 10, -1000 + 256 * 5 + 20, -2000 + 256 * 9 + 20},
         {5, 5, 9, 9}},
        {"an edge touched from outside needs no tile",
         0,
         {-1000 + 256 * 5, -2000 + 256 * 9, -1000 + 256 * 6, -2000 + 256 * 10},
         {5, 5, 9, 9}},
        {"one pixel over the edge",
         0,
         {-1000 + 256 * 5 - 1, -2000 + 256 * 9, -1000 + 256 * 6 + 1, -2000 + 256 * 10},
         {4, 6, 9, 9}},
        {"clamped to the level's range", 0, {-5000, -5000, 50000, 50000}, {3, 20, 7, 30}},
        {"a coarser level", 2, {0, 0, 2048, 1024}, {0, 2, 1, 2}},
        {"outside the range entirely", 0, {-5000, -5000, -4000, -4000}, {}},
        {"an empty area", 0, {100, 100, 100, 200}, {}},
    };
    const std::vector<CTileLevel> levels = Pyramid();
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(TilesCovering(levels[c.level], c.area), c.range);
    }
}

TEST(TileCover, TileAreaInMapPixels)
{
    const std::vector<CTileLevel> levels = Pyramid();
    EXPECT_EQ(TileArea(levels[0], 4, 8), (CTileRect{24, 48, 280, 304}));
    EXPECT_EQ(TileArea(levels[3], 1, 1), (CTileRect{1048, 48, 3096, 2096}));
}

TEST(TileCover, FallbackWhileATileLoads)
{
    const std::vector<CTileLevel> levels = Pyramid();
    struct Case {
        const char *legend;
        CTileKey missing;
        std::set<CTileKey> loaded;
        std::vector<CTilePiece> pieces;
    };
    const Case cases[] = {
        {"nothing loaded", {0, 10, 10}, {}, {}},
        {"the parent's quarter",
         {0, 11, 10},
         {{1, 5, 5}},
         {{{1, 5, 5}, {128, 0, 256, 128}, TileArea(levels[0], 11, 10)}}},
        {"the nearest loaded ancestor wins",
         {0, 11, 10},
         {{2, 2, 2}, {3, 1, 1}},
         {{{2, 2, 2}, {192, 128, 256, 192}, TileArea(levels[0], 11, 10)}}},
        {"a grandparent's sixteenth",
         {0, 11, 10},
         {{3, 1, 1}},
         {{{3, 1, 1}, {96, 64, 128, 96}, TileArea(levels[0], 11, 10)}}},
        {"four loaded children beat the parent",
         {1, 5, 5},
         {{0, 10, 10}, {0, 11, 10}, {0, 10, 11}, {0, 11, 11}, {2, 2, 2}},
         {{{0, 10, 10}, {0, 0, 256, 256}, TileArea(levels[0], 10, 10)},
          {{0, 11, 10}, {0, 0, 256, 256}, TileArea(levels[0], 11, 10)},
          {{0, 10, 11}, {0, 0, 256, 256}, TileArea(levels[0], 10, 11)},
          {{0, 11, 11}, {0, 0, 256, 256}, TileArea(levels[0], 11, 11)}}},
        {"some children without a parent: those there are",
         {1, 5, 5},
         {{0, 11, 10}},
         {{{0, 11, 10}, {0, 0, 256, 256}, TileArea(levels[0], 11, 10)}}},
        {"a tile outside the pyramid", {7, 0, 0}, {{4, 0, 0}}, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::vector<CTilePiece> pieces = TileFallback(
            levels, c.missing, [&](const CTileKey &key) { return c.loaded.contains(key); });
        ASSERT_EQ(pieces.size(), c.pieces.size());
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            EXPECT_EQ(pieces[i].key, c.pieces[i].key);
            EXPECT_EQ(pieces[i].source, c.pieces[i].source);
            EXPECT_EQ(pieces[i].target, c.pieces[i].target);
        }
    }
}

// Overview levels of a large image need not halve exactly, nor line up with the finer grid.
TEST(TileCover, FallbackFromAnUnalignedLevel)
{
    std::vector<CTileLevel> levels(2);
    levels[0].lastColumn = levels[0].lastRow = 9;
    levels[1].scale = 3.0;
    levels[1].tileWidth = levels[1].tileHeight = 100;
    levels[1].lastColumn = levels[1].lastRow = 9;
    // Tile (1, 0) of level 0 covers x 256..512: level 1's columns 0 (0..300) and 1 (300..600).
    const std::set<CTileKey> loaded{{1, 0, 0}, {1, 1, 0}};
    const auto has = [&](const CTileKey &key) { return loaded.contains(key); };
    const std::vector<CTilePiece> pieces = TileFallback(levels, {0, 1, 0}, has);
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pieces[0].target, (CTileRect{256, 0, 300, 256}));
    EXPECT_NEAR(pieces[0].source.left, 256.0 / 3, 1e-9);
    EXPECT_EQ(pieces[1].target, (CTileRect{300, 0, 512, 256}));
    EXPECT_NEAR(pieces[1].source.right, 212.0 / 3, 1e-9);
    // One of the two missing: no coarser cover, and nothing finer exists.
    EXPECT_TRUE(TileFallback(levels, {0, 1, 0}, [](const CTileKey &key) {
                    return key == CTileKey{1, 0, 0};
                }).empty());
}

TEST(TileCover, ZoomRange)
{
    struct Case {
        const char *legend;
        int levels;
        int mapWidth, mapHeight, clientWidth, clientHeight;
        double largest;
    };
    const Case cases[] = {
        {"the whole map fits at 8", 5, 6400, 3200, 800, 480, 8.0},
        {"no further out than twice the coarsest scale", 3, 64000, 3200, 800, 480, 8.0},
        {"a map smaller than the window: the finest scale", 5, 100, 100, 800, 480, 1.0},
        {"no client size yet", 5, 6400, 3200, 0, 0, 1.0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CZoomRange range = TileZoomRange(Pyramid(c.levels), c.mapWidth, c.mapHeight,
                                               c.clientWidth, c.clientHeight);
        EXPECT_DOUBLE_EQ(range.smallest, 0.5);
        EXPECT_DOUBLE_EQ(range.largest, c.largest);
    }
}

TEST(TileLru, EvictsTheLeastRecentlyUsedBeyondTheLimit)
{
    CTileLru lru(1000);
    EXPECT_TRUE(lru.Insert({0, 0, 0}, 400).empty());
    EXPECT_TRUE(lru.Insert({0, 1, 0}, 400).empty());
    EXPECT_TRUE(lru.Touch({0, 0, 0}));
    // (0, 1) is now the oldest.
    EXPECT_EQ(lru.Insert({0, 2, 0}, 400), (std::vector<CTileKey>{{0, 1, 0}}));
    EXPECT_EQ(lru.GetBytes(), 800u);
    EXPECT_FALSE(lru.Contains({0, 1, 0}));
    EXPECT_FALSE(lru.Touch({0, 1, 0}));
    // Replacing a tile counts its new size only.
    EXPECT_TRUE(lru.Insert({0, 2, 0}, 100).empty());
    EXPECT_EQ(lru.GetBytes(), 500u);
    // A tile larger than the whole limit stays alone rather than vanishing at once.
    EXPECT_EQ(lru.Insert({1, 0, 0}, 5000), (std::vector<CTileKey>{{0, 0, 0}, {0, 2, 0}}));
    EXPECT_EQ(lru.GetCount(), 1u);
    lru.Insert({1, 1, 0}, 10);
    EXPECT_EQ(lru.GetCount(), 1u);
    EXPECT_TRUE(lru.Contains({1, 1, 0}));
    // A lower limit trims at once, oldest first.
    lru.Clear();
    for (int i = 0; i < 5; ++i)
        lru.Insert({0, i, 0}, 100);
    lru.Touch({0, 0, 0});
    lru.SetLimit(250);
    EXPECT_EQ(lru.Trim(), (std::vector<CTileKey>{{0, 1, 0}, {0, 2, 0}, {0, 3, 0}}));
    EXPECT_EQ(lru.GetBytes(), 200u);
}

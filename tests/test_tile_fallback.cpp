#include "geo/WebMercator.h"
#include "maps/TileFallback.h"

#include <gtest/gtest.h>
#include <map>
#include <tuple>

namespace
{

// The levels of a tile source of zooms 3 to 5 whose pixel (0, 0) is global pixel (100, 200) of
// zoom 5, and which stores only the tiles it is given.
class CFakePyramid : public CTilePyramid
{
public:
    CFakePyramid()
    {
        for (int zoom = 5; zoom >= 3; --zoom)
            m_levels.push_back(TileSourceLevel(zoom, 5, 100.0, 200.0));
    }
    [[nodiscard]] const std::vector<CTileLevel> &GetLevels() const override { return m_levels; }
    TileRead ReadTile(std::size_t level, int column, int row, CTileData &tile,
                      std::string &error) override
    {
        const auto found = m_stored.find({level, column, row});
        if (found == m_stored.end())
            return TileRead::Absent;
        if (found->second == "fail") {
            error = "damaged";
            return TileRead::Failed;
        }
        tile.encoded = found->second;
        return TileRead::Ok;
    }
    std::map<std::tuple<std::size_t, int, int>, std::string> m_stored;

private:
    std::vector<CTileLevel> m_levels;
};

TEST(TileFallback, ParentWindowIsTheQuarterOfTheQuarter)
{
    CFakePyramid pyramid;
    const std::vector<CTileLevel> &levels = pyramid.GetLevels();
    struct Case {
        const char *legend;
        std::size_t level;
        int column, row;
        std::size_t parent;
        CTileWindow window;
    };
    const Case cases[] = {
        {"itself", 0, 16, 11, 0, {0, 16, 11, 0.0, 0.0, 256.0, 256.0}},
        {"one up, even", 0, 16, 10, 1, {1, 8, 5, 0.0, 0.0, 128.0, 128.0}},
        {"one up, odd", 0, 17, 11, 1, {1, 8, 5, 128.0, 128.0, 128.0, 128.0}},
        {"two up", 0, 19, 10, 2, {2, 4, 2, 192.0, 128.0, 64.0, 64.0}},
        {"level 1 one up", 1, 9, 4, 2, {2, 4, 2, 128.0, 0.0, 128.0, 128.0}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(ParentTileWindow(levels, c.level, c.column, c.row, c.parent), c.window);
    }
    // Zoom 7, beyond the most detailed: a sixteenth of a zoom 5 tile.
    const CTileLevel zoom7 = TileSourceLevel(7, 5, 100.0, 200.0);
    EXPECT_EQ(ParentTileWindow(zoom7, 66, 45, levels[0], 0),
              (CTileWindow{0, 16, 11, 128.0, 64.0, 64.0, 64.0}));
}

TEST(TileFallback, NearestStoredParentWins)
{
    struct Case {
        const char *legend;
        std::map<std::tuple<std::size_t, int, int>, std::string> stored;
        TileRead result;
        std::string data;
        std::size_t level;
    };
    const Case cases[] = {
        {"stored", {{{0, 17, 11}, "z5"}, {{1, 8, 5}, "z4"}}, TileRead::Ok, "z5", 0},
        {"parent", {{{1, 8, 5}, "z4"}, {{2, 4, 2}, "z3"}}, TileRead::Ok, "z4", 1},
        {"grandparent", {{{2, 4, 2}, "z3"}, {{1, 9, 5}, "another z4"}}, TileRead::Ok, "z3", 2},
        {"none", {{{0, 16, 11}, "a neighbour"}}, TileRead::Absent, "", 0},
        {"a failure stops the search",
         {{{1, 8, 5}, "fail"}, {{2, 4, 2}, "z3"}},
         TileRead::Failed,
         "",
         0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CFakePyramid pyramid;
        pyramid.m_stored = c.stored;
        CTileWindow window;
        CTileData tile;
        std::string error;
        EXPECT_EQ(ReadTileOrParent(pyramid, 0, 17, 11, window, tile, error), c.result);
        EXPECT_EQ(tile.encoded, c.data);
        if (c.result == TileRead::Ok) {
            EXPECT_EQ(window.level, c.level);
        }
        EXPECT_EQ(error.empty(), c.result != TileRead::Failed);
    }
    // A zoom past the most detailed starts at the most detailed.
    CFakePyramid pyramid;
    pyramid.m_stored = {{{0, 16, 11}, "z5"}};
    CTileWindow window;
    CTileData tile;
    std::string error;
    EXPECT_EQ(
        ReadTileOrParent(pyramid, TileSourceLevel(6, 5, 100.0, 200.0), 33, 22, window, tile, error),
        TileRead::Ok);
    EXPECT_EQ(window, (CTileWindow{0, 16, 11, 128.0, 0.0, 128.0, 128.0}));
}

TEST(TileFallback, TileOfPosition)
{
    struct Case {
        const char *legend;
        double latitude, longitude;
        int zoom;
        bool ok;
        CTileAddress address;
    };
    const Case cases[] = {
        {"north-west corner", kMercatorMaxLatitude, -180.0, 0, true, {0, 0, 0, 0, 0}},
        {"south-east corner belongs to the last tile",
         -kMercatorMaxLatitude,
         180.0,
         2,
         true,
         {2, 3, 3, 255, 255}},
        {"origin", 0.0, 0.0, 1, true, {1, 1, 1, 0, 0}},
        {"just west and north of the origin", 1e-9, -1e-9, 1, true, {1, 0, 0, 255, 255}},
        {"beyond the square world", 85.06, 0.0, 3, false, {}},
        {"zoom too deep", 0.0, 0.0, kMaxTileZoom + 1, false, {}},
        {"deepest zoom", 0.0, 0.0, kMaxTileZoom, true, {kMaxTileZoom, 1 << 21, 1 << 21, 0, 0}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CTileAddress address;
        EXPECT_EQ(TileOfPosition(c.latitude, c.longitude, c.zoom, address), c.ok);
        if (c.ok) {
            EXPECT_EQ(address, c.address);
        }
    }
}

} // namespace

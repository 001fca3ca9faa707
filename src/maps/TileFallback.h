#pragma once

#include "maps/TilePyramid.h"

#include <cstddef>
#include <string>
#include <vector>

/// Where a tile's pixels come from: a tile of some level and the rectangle of it, in that tile's
/// own pixels, that covers the wanted tile. For the tile itself the rectangle is the whole tile.
struct CTileWindow {
    std::size_t level = 0;
    int column = 0;
    int row = 0;
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;

    bool operator==(const CTileWindow &) const = default;
};

/// The tile of level `parent` (at or above `level` in `levels`) holding the top-left corner of
/// tile (column, row) of `level`, and the tile's rectangle in it. In a pyramid of halving levels
/// (tile sources) the rectangle lies wholly in that parent: 256 / 2^k pixels square at
/// ((column mod 2^k) · 256 / 2^k, (row mod 2^k) · 256 / 2^k) for a parent k levels up.
CTileWindow ParentTileWindow(const std::vector<CTileLevel> &levels, std::size_t level, int column,
                             int row, std::size_t parent);

/// The tile (column, row) of `level` as stored, else the nearest less detailed level's tile that
/// covers it, scaled up: what is drawn while a tile is missing. Ok with `window` and `tile` set;
/// Absent when no level up to the least detailed holds it; Failed with `error` at the first read
/// that fails.
TileRead ReadTileOrParent(CTilePyramid &pyramid, std::size_t level, int column, int row,
                          CTileWindow &window, CTileData &tile, std::string &error);

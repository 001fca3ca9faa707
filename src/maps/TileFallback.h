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

/// The same for a tile of any level geometry `from`, e.g. a zoom beyond the pyramid's most
/// detailed; the window names level `parentIndex`, whose geometry `to` is.
CTileWindow ParentTileWindow(const CTileLevel &from, int column, int row, const CTileLevel &to,
                             std::size_t parentIndex);

/// The tile (column, row) of `level` as stored, else the nearest less detailed level's tile that
/// covers it, scaled up: what is drawn while a tile is missing. Ok with `window` and `tile` set;
/// Absent when no level up to the least detailed holds it; Failed with `error` at the first read
/// that fails.
TileRead ReadTileOrParent(CTilePyramid &pyramid, std::size_t level, int column, int row,
                          CTileWindow &window, CTileData &tile, std::string &error);

/// The same for a tile of a level the pyramid need not have (`wanted`: a zoom more detailed than
/// its most detailed, or between its levels): the levels no more detailed than `wanted` are tried,
/// most detailed first.
TileRead ReadTileOrParent(CTilePyramid &pyramid, const CTileLevel &wanted, int column, int row,
                          CTileWindow &window, CTileData &tile, std::string &error);

/// A position's tile at a Web Mercator zoom (XYZ column and row) and its pixel in that tile.
struct CTileAddress {
    int zoom = 0;
    int column = 0;
    int row = 0;
    int pixelX = 0;
    int pixelY = 0;

    bool operator==(const CTileAddress &) const = default;
};

/// False for a latitude beyond the square world's (±85.0511°), a longitude outside ±180 or a
/// zoom outside 0..kMaxTileZoom. The eastern and southern edges belong to the last tile.
bool TileOfPosition(double latitude, double longitude, int zoom, CTileAddress &address);

/// The geometry of zoom `zoom` laid over the pixels of a tile source's record whose most
/// detailed zoom is `maxZoom` and whose pixel (0, 0) is global pixel (offsetX, offsetY): what
/// level maxZoom − zoom of its pyramid is, and what a zoom past maxZoom would be.
CTileLevel TileSourceLevel(int zoom, int maxZoom, double offsetX, double offsetY);

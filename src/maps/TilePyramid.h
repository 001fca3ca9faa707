#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// One level of a tile pyramid: a grid of equal tiles laid over the map's pixels.
struct CTileLevel {
    int tileWidth = 256;
    int tileHeight = 256;
    /// The tiles that may exist, inclusive; any other tile is absent without a read.
    int firstColumn = 0;
    int lastColumn = -1;
    int firstRow = 0;
    int lastRow = -1;
    /// Map pixels per pixel of this level (1 at the most detailed level, 2 one level up...).
    double scale = 1.0;
    /// The map pixel at the top-left corner of tile (0, 0).
    double originX = 0.0;
    double originY = 0.0;
};

/// A tile as read: encoded image bytes (PNG, JPEG, WebP...), or raw pixels.
struct CTileData {
    std::string encoded;
    /// 0xAARRGGBB, not premultiplied, row by row; `width` × `height` of them.
    std::vector<std::uint32_t> argb;
    int width = 0;
    int height = 0;

    [[nodiscard]] bool IsEmpty() const { return encoded.empty() && argb.empty(); }
};

enum class TileRead { Ok, Absent, Failed };

/// A raster read piecewise: tile sources (MBTiles, tile folders) and large tiled images. The
/// Map page holds only the tiles it shows, read on worker threads.
class CTilePyramid
{
public:
    virtual ~CTilePyramid() = default;
    /// Most detailed first; never empty for an open pyramid.
    [[nodiscard]] virtual const std::vector<CTileLevel> &GetLevels() const = 0;
    /// Safe to call from several threads at once. Failed sets `error` to a line for the user.
    virtual TileRead ReadTile(std::size_t level, int column, int row, CTileData &tile,
                              std::string &error) = 0;
};

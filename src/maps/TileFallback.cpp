#include "maps/TileFallback.h"

#include "geo/WebMercator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

CTileWindow ParentTileWindow(const std::vector<CTileLevel> &levels, std::size_t level, int column,
                             int row, std::size_t parent)
{
    return ParentTileWindow(levels.at(level), column, row, levels.at(parent), parent);
}

CTileWindow ParentTileWindow(const CTileLevel &from, int column, int row, const CTileLevel &to,
                             std::size_t parentIndex)
{
    // The tile's corner and size in map pixels, then in the parent level's pixels.
    const double left = from.originX + static_cast<double>(column) * from.tileWidth * from.scale;
    const double top = from.originY + static_cast<double>(row) * from.tileHeight * from.scale;
    const double x = (left - to.originX) / to.scale;
    const double y = (top - to.originY) / to.scale;
    CTileWindow window;
    window.level = parentIndex;
    window.column = static_cast<int>(std::floor(x / to.tileWidth));
    window.row = static_cast<int>(std::floor(y / to.tileHeight));
    window.x = x - static_cast<double>(window.column) * to.tileWidth;
    window.y = y - static_cast<double>(window.row) * to.tileHeight;
    window.width = from.tileWidth * from.scale / to.scale;
    window.height = from.tileHeight * from.scale / to.scale;
    return window;
}

TileRead ReadTileOrParent(CTilePyramid &pyramid, std::size_t level, int column, int row,
                          CTileWindow &window, CTileData &tile, std::string &error)
{
    const std::vector<CTileLevel> &levels = pyramid.GetLevels();
    for (std::size_t parent = level; parent < levels.size(); ++parent) {
        const CTileWindow w = ParentTileWindow(levels, level, column, row, parent);
        const TileRead read = pyramid.ReadTile(parent, w.column, w.row, tile, error);
        if (read == TileRead::Absent)
            continue;
        if (read == TileRead::Ok)
            window = w;
        return read;
    }
    return TileRead::Absent;
}

TileRead ReadTileOrParent(CTilePyramid &pyramid, const CTileLevel &wanted, int column, int row,
                          CTileWindow &window, CTileData &tile, std::string &error)
{
    const std::vector<CTileLevel> &levels = pyramid.GetLevels();
    for (std::size_t parent = 0; parent < levels.size(); ++parent) {
        if (levels[parent].scale < wanted.scale)
            continue;
        const CTileWindow w = ParentTileWindow(wanted, column, row, levels[parent], parent);
        const TileRead read = pyramid.ReadTile(parent, w.column, w.row, tile, error);
        if (read == TileRead::Absent)
            continue;
        if (read == TileRead::Ok)
            window = w;
        return read;
    }
    return TileRead::Absent;
}

bool TileOfPosition(double latitude, double longitude, int zoom, CTileAddress &address)
{
    if (!(std::fabs(latitude) <= kMercatorMaxLatitude) || !(std::fabs(longitude) <= 180.0)
        || zoom < 0 || zoom > kMaxTileZoom)
        return false;
    const double last = MercatorWorldPixels(zoom) - 1.0;
    const auto x =
        static_cast<std::int64_t>(std::clamp(std::floor(MercatorX(longitude, zoom)), 0.0, last));
    const auto y =
        static_cast<std::int64_t>(std::clamp(std::floor(MercatorY(latitude, zoom)), 0.0, last));
    address.zoom = zoom;
    address.column = static_cast<int>(x / kTilePixels);
    address.row = static_cast<int>(y / kTilePixels);
    address.pixelX = static_cast<int>(x % kTilePixels);
    address.pixelY = static_cast<int>(y % kTilePixels);
    return true;
}

CTileLevel TileSourceLevel(int zoom, int maxZoom, double offsetX, double offsetY)
{
    CTileLevel level;
    level.tileWidth = level.tileHeight = kTilePixels;
    level.scale = std::ldexp(1.0, maxZoom - zoom);
    level.originX = -offsetX;
    level.originY = -offsetY;
    level.firstColumn = level.firstRow = 0;
    level.lastColumn = level.lastRow =
        static_cast<int>(MercatorWorldPixels(zoom) / kTilePixels) - 1;
    return level;
}

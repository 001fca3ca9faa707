#include "maps/TileFallback.h"

#include <cmath>

CTileWindow ParentTileWindow(const std::vector<CTileLevel> &levels, std::size_t level, int column,
                             int row, std::size_t parent)
{
    const CTileLevel &from = levels.at(level);
    const CTileLevel &to = levels.at(parent);
    // The tile's corner and size in map pixels, then in the parent level's pixels.
    const double left = from.originX + static_cast<double>(column) * from.tileWidth * from.scale;
    const double top = from.originY + static_cast<double>(row) * from.tileHeight * from.scale;
    const double x = (left - to.originX) / to.scale;
    const double y = (top - to.originY) / to.scale;
    CTileWindow window;
    window.level = parent;
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

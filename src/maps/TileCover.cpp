#include "maps/TileCover.h"

#include <algorithm>
#include <cmath>

namespace
{

// Zooms that differ by rounding alone pick the same level.
constexpr double kScaleSlack = 1e-9;

CTileRect Intersected(const CTileRect &a, const CTileRect &b)
{
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
            std::min(a.bottom, b.bottom)};
}

int FloorToInt(double value)
{
    return static_cast<int>(std::clamp(std::floor(value), -2147483648.0, 2147483647.0));
}

std::vector<CTilePiece> Pieces(const std::vector<CTileLevel> &levels, std::size_t level,
                               const CTileRange &range, const CTileRect &area,
                               const std::function<bool(const CTileKey &)> &loaded)
{
    std::vector<CTilePiece> pieces;
    const CTileLevel &l = levels[level];
    for (int row = range.firstRow; row <= range.lastRow; ++row) {
        for (int column = range.firstColumn; column <= range.lastColumn; ++column) {
            const CTileKey key{level, column, row};
            if (!loaded(key))
                continue;
            const CTileRect tile = TileArea(l, column, row);
            const CTileRect shared = Intersected(area, tile);
            if (shared.IsEmpty())
                continue;
            pieces.push_back(
                {key,
                 {(shared.left - tile.left) / l.scale, (shared.top - tile.top) / l.scale,
                  (shared.right - tile.left) / l.scale, (shared.bottom - tile.top) / l.scale},
                 shared});
        }
    }
    return pieces;
}

} // namespace

std::size_t LevelForZoom(const std::vector<CTileLevel> &levels, double zoom)
{
    std::size_t chosen = 0;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        if (levels[i].scale <= zoom * (1.0 + kScaleSlack))
            chosen = i;
    }
    return chosen;
}

CTileRect TileArea(const CTileLevel &level, int column, int row)
{
    const double w = level.tileWidth * level.scale;
    const double h = level.tileHeight * level.scale;
    const double left = level.originX + column * w;
    const double top = level.originY + row * h;
    return {left, top, left + w, top + h};
}

CTileRange TilesCovering(const CTileLevel &level, const CTileRect &area)
{
    if (area.IsEmpty() || level.tileWidth <= 0 || level.tileHeight <= 0 || !(level.scale > 0.0))
        return {};
    const double w = level.tileWidth * level.scale;
    const double h = level.tileHeight * level.scale;
    CTileRange range;
    range.firstColumn = std::max(level.firstColumn, FloorToInt((area.left - level.originX) / w));
    range.firstRow = std::max(level.firstRow, FloorToInt((area.top - level.originY) / h));
    // The right and bottom edges are exclusive: a tile that only touches them is not needed.
    range.lastColumn =
        std::min(level.lastColumn, FloorToInt(std::ceil((area.right - level.originX) / w)) - 1);
    range.lastRow =
        std::min(level.lastRow, FloorToInt(std::ceil((area.bottom - level.originY) / h)) - 1);
    if (range.IsEmpty())
        return {};
    return range;
}

std::vector<CTilePiece> TileFallback(const std::vector<CTileLevel> &levels, const CTileKey &missing,
                                     const std::function<bool(const CTileKey &)> &loaded)
{
    if (missing.level >= levels.size())
        return {};
    const CTileRect area = TileArea(levels[missing.level], missing.column, missing.row);
    const auto allLoaded = [&](std::size_t level, const CTileRange &range) {
        for (int row = range.firstRow; row <= range.lastRow; ++row) {
            for (int column = range.firstColumn; column <= range.lastColumn; ++column) {
                if (!loaded({level, column, row}))
                    return false;
            }
        }
        return true;
    };
    // Zooming out, the finer tiles are there and sharper than any parent.
    CTileRange finer;
    if (missing.level > 0) {
        finer = TilesCovering(levels[missing.level - 1], area);
        if (!finer.IsEmpty() && allLoaded(missing.level - 1, finer))
            return Pieces(levels, missing.level - 1, finer, area, loaded);
    }
    for (std::size_t level = missing.level + 1; level < levels.size(); ++level) {
        const CTileRange coarser = TilesCovering(levels[level], area);
        if (!coarser.IsEmpty() && allLoaded(level, coarser))
            return Pieces(levels, level, coarser, area, loaded);
    }
    if (!finer.IsEmpty())
        return Pieces(levels, missing.level - 1, finer, area, loaded);
    return {};
}

CZoomRange TileZoomRange(const std::vector<CTileLevel> &levels, int mapWidth, int mapHeight,
                         int clientWidth, int clientHeight)
{
    if (levels.empty())
        return {};
    const double finest = levels.front().scale;
    const double coarsest = levels.back().scale;
    double whole = finest;
    if (clientWidth > 0 && clientHeight > 0)
        whole = std::max(static_cast<double>(mapWidth) / clientWidth,
                         static_cast<double>(mapHeight) / clientHeight);
    return {finest * 0.5, std::max(finest, std::min(whole, coarsest * 2.0))};
}

bool CTileLru::Touch(const CTileKey &key)
{
    const auto it = m_entries.find(key);
    if (it == m_entries.end())
        return false;
    m_order.splice(m_order.begin(), m_order, it->second.position);
    return true;
}

std::vector<CTileKey> CTileLru::Insert(const CTileKey &key, std::size_t bytes)
{
    Remove(key);
    m_order.push_front(key);
    m_entries.emplace(key, CEntry{bytes, m_order.begin()});
    m_bytes += bytes;
    return Trim();
}

std::vector<CTileKey> CTileLru::Trim()
{
    std::vector<CTileKey> evicted;
    while (m_bytes > m_limit && m_order.size() > 1) {
        const CTileKey oldest = m_order.back();
        evicted.push_back(oldest);
        Remove(oldest);
    }
    return evicted;
}

void CTileLru::Remove(const CTileKey &key)
{
    const auto it = m_entries.find(key);
    if (it == m_entries.end())
        return;
    m_bytes -= it->second.bytes;
    m_order.erase(it->second.position);
    m_entries.erase(it);
}

void CTileLru::Clear()
{
    m_order.clear();
    m_entries.clear();
    m_bytes = 0;
}

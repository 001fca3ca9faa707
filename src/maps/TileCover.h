#pragma once

#include "maps/TilePyramid.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <unordered_map>
#include <vector>

/// One tile of a pyramid.
struct CTileKey {
    std::size_t level = 0;
    int column = 0;
    int row = 0;

    auto operator<=>(const CTileKey &) const = default;
};

struct CTileKeyHash {
    std::size_t operator()(const CTileKey &key) const
    {
        const auto c = static_cast<std::uint32_t>(key.column);
        const auto r = static_cast<std::uint32_t>(key.row);
        return std::hash<std::uint64_t>()((static_cast<std::uint64_t>(c) << 32) ^ r)
               ^ (key.level * 0x9e3779b97f4a7c15ULL);
    }
};

/// A rectangle in map pixels, or in a tile's own pixels; right and bottom exclusive.
struct CTileRect {
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;

    [[nodiscard]] bool IsEmpty() const { return !(right > left && bottom > top); }
    bool operator==(const CTileRect &) const = default;
};

/// The tiles of one level, inclusive; empty when last < first.
struct CTileRange {
    int firstColumn = 0;
    int lastColumn = -1;
    int firstRow = 0;
    int lastRow = -1;

    [[nodiscard]] bool IsEmpty() const { return lastColumn < firstColumn || lastRow < firstRow; }
    [[nodiscard]] std::size_t Count() const
    {
        return IsEmpty() ? 0
                         : static_cast<std::size_t>(lastColumn - firstColumn + 1)
                               * static_cast<std::size_t>(lastRow - firstRow + 1);
    }
    bool operator==(const CTileRange &) const = default;
};

/// The level to draw at `zoom` (map pixels per device pixel): the coarsest whose scale is not
/// above the zoom, so a tile is shrunk at most by half and never stretched, except below the
/// most detailed level's scale, where that level is drawn enlarged.
std::size_t LevelForZoom(const std::vector<CTileLevel> &levels, double zoom);

/// A tile's area in map pixels.
CTileRect TileArea(const CTileLevel &level, int column, int row);

/// The tiles of `level` that `area` (map pixels) touches, within the level's range.
CTileRange TilesCovering(const CTileLevel &level, const CTileRect &area);

/// A piece of another tile standing in for one not loaded yet: the part of `key` (its own
/// pixels) that falls on the missing tile, and where that lies on the map.
struct CTilePiece {
    CTileKey key;
    CTileRect source; ///< pixels of the tile `key`
    CTileRect target; ///< map pixels
};

/// What to draw in place of `missing` while it loads: the nearest coarser level whose tiles over
/// it are all loaded, else the loaded tiles of the next finer level (which may leave holes);
/// empty when nothing fits. `loaded` tells whether a tile is in memory.
std::vector<CTilePiece> TileFallback(const std::vector<CTileLevel> &levels, const CTileKey &missing,
                                     const std::function<bool(const CTileKey &)> &loaded);

/// The zoom range of a tile pyramid's map: out until the whole map fits the client area, but
/// not beyond twice the coarsest level's scale (the tiles would get too many), and in to half a
/// map pixel per device pixel.
struct CZoomRange {
    double smallest = 0.0;
    double largest = 0.0;
};
CZoomRange TileZoomRange(const std::vector<CTileLevel> &levels, int mapWidth, int mapHeight,
                         int clientWidth, int clientHeight);

/// The accounting of a memory-bounded cache of tiles, least recently used first out. It holds
/// only keys and sizes; the owner keeps the pixels and drops what Insert evicts.
class CTileLru
{
public:
    explicit CTileLru(std::size_t limitBytes)
        : m_limit(limitBytes)
    {
    }

    void SetLimit(std::size_t limitBytes) { m_limit = limitBytes; }
    [[nodiscard]] std::size_t GetLimit() const { return m_limit; }
    [[nodiscard]] std::size_t GetBytes() const { return m_bytes; }
    [[nodiscard]] std::size_t GetCount() const { return m_entries.size(); }
    [[nodiscard]] bool Contains(const CTileKey &key) const { return m_entries.contains(key); }

    /// Marks `key` as just used; false when it is not held.
    bool Touch(const CTileKey &key);
    /// Adds (or replaces) `key` as the most recently used and returns the tiles evicted to stay
    /// within the limit, oldest first. The newest tile stays even when alone above the limit.
    std::vector<CTileKey> Insert(const CTileKey &key, std::size_t bytes);
    /// Evicts down to the limit (after SetLimit), oldest first.
    std::vector<CTileKey> Trim();
    void Remove(const CTileKey &key);
    void Clear();

private:
    struct CEntry {
        std::size_t bytes;
        std::list<CTileKey>::iterator position;
    };
    std::size_t m_limit;
    std::size_t m_bytes = 0;
    std::list<CTileKey> m_order; // most recent first
    std::unordered_map<CTileKey, CEntry, CTileKeyHash> m_entries;
};

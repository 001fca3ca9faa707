#pragma once

#include "maps/PositionPair.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// How a map's pixels relate to positions.
enum class MapProjection {
    PlateCarree, ///< a sheet: longitude linear in x, latitude linear in y
    WebMercator, ///< a tile source: the pixels of its most detailed zoom level, shifted
};

/// Where a tile source's tiles are: an MBTiles file, or a folder of z/x/y tiles written as a
/// template with "{z}", "{x}" and "{y}" (rows from the north) or "{-y}" (TMS rows, from the
/// south), e.g. "/maps/alps/{z}/{x}/{y}.png".
enum class TileSourceKind { None, MBTiles, Folder };
TileSourceKind TileSourceKindOfPath(std::string_view file);

/// A raster map: its bitmap file and size, a display name and the reference pairs that calibrate
/// it. A sheet is a plate carrée of the area it covers: longitude maps to x and latitude to y,
/// each axis on its own, from the first and the last pair of the list.
///
/// A tile source (its file an MBTiles file or a tile folder template) is Web Mercator instead:
/// its pixels are the global pixels of its most detailed zoom level less an offset, its size the
/// extent of its bounds there, its two pairs the corners (0, 0) and (width, height). The zoom and
/// the offset follow from the pairs, so the database record needs nothing more.
class CMapInfo
{
public:
    std::string m_name;
    std::int32_t m_width = 0;
    std::int32_t m_height = 0;
    double m_originLongitude = 0.0; ///< of pixel column 0
    double m_originLatitude = 0.0;  ///< of pixel row 0
    double m_xScale = 0.0;          ///< pixels per degree of longitude
    double m_yScale = 0.0;          ///< pixels per degree of latitude (negative when north is up)
    std::vector<CPositionPair> m_pairs;
    std::string m_file;
    /// Set by Calibrate from the file.
    MapProjection m_projection = MapProjection::PlateCarree;
    /// Web Mercator only: the tile zoom whose pixels these are, and the global pixel of (0, 0).
    int m_tileZoom = 0;
    std::int32_t m_offsetX = 0;
    std::int32_t m_offsetY = 0;

    /// More than one pair, and a transform from them: pairs that cannot define a scale leave
    /// the map uncalibrated.
    [[nodiscard]] bool IsCalibrated() const
    {
        return m_pairs.size() > 1 && m_xScale != 0.0 && m_yScale != 0.0;
    }
    /// Recomputes the transform from the first and the last pair; false (nothing changed) with
    /// fewer than two. Pairs that give no usable scale (the same x, y, latitude or longitude at
    /// both ends, a value that is no number) set all four values to 0 and give false.
    ///
    /// When the longitudes run the other way round from x and lie more than 180° apart, the map
    /// crosses the antimeridian: the eastern point's longitude is taken 360° further east.
    ///
    /// A tile source takes its zoom and offset from the pairs (the nearest whole values); pairs
    /// that give no zoom in 0..kMaxTileZoom leave it uncalibrated.
    bool Calibrate();
    /// Truncates toward zero; false with `pixel` untouched when uncalibrated. On a map whose
    /// longitudes run past 180, a longitude is taken 360° further east when that lies nearer
    /// the map's middle.
    bool PositionToPixel(const CGeoPosition &position, CMapPoint &pixel) const;
    /// Writes only latitude and longitude, a longitude past 180 as its value in [-180, 180];
    /// false with `position` untouched when uncalibrated.
    bool PixelToPosition(const CMapPoint &pixel, CGeoPosition &position) const;
    /// 0 ≤ x ≤ width and 0 ≤ y ≤ height, both bounds inclusive.
    [[nodiscard]] bool ContainsPosition(const CGeoPosition &position) const;

    bool operator==(const CMapInfo &) const = default;
};

/// A tile source's record: name, file, and the pixels of `maxZoom` covering the bounds (whole
/// pixels outward, clamped to the Mercator world), calibrated. Bounds beyond the world's
/// latitudes are clamped; `maxZoom` must be in 0..kMaxTileZoom.
CMapInfo MakeTileSourceMap(std::string name, std::string file, double west, double south,
                           double east, double north, int maxZoom);

/// The map database in memory, in file order.
using CMapList = std::vector<CMapInfo>;

/// Why `pairs` cannot calibrate a map (their first and last pair give no scale), in a few words
/// for the user; empty when they can or when there are fewer than two (simply uncalibrated).
std::string CalibrationProblem(const std::vector<CPositionPair> &pairs);

/// A double truncated toward zero into 32 bits. NaN and values beyond the range become
/// INT32_MIN, a pixel left of every map.
std::int32_t TruncateToPixel(double value);

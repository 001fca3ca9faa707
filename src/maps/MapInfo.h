#pragma once

#include "maps/PositionPair.h"

#include <cstdint>
#include <string>
#include <vector>

/// A raster map: its bitmap file and size, a display name and the reference pairs that calibrate
/// it. The map is a plate carrée of the area it covers: longitude maps to x and latitude to y,
/// each axis on its own, from the first and the last pair of the list.
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

/// The map database in memory, in file order.
using CMapList = std::vector<CMapInfo>;

/// Why `pairs` cannot calibrate a map (their first and last pair give no scale), in a few words
/// for the user; empty when they can or when there are fewer than two (simply uncalibrated).
std::string CalibrationProblem(const std::vector<CPositionPair> &pairs);

/// A double truncated toward zero into 32 bits. NaN and values beyond the range become
/// INT32_MIN, a pixel left of every map.
std::int32_t TruncateToPixel(double value);

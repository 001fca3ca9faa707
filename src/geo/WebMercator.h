#pragma once

/// Spherical ("Web") Mercator, EPSG:3857, in the pixels of a tile pyramid: at zoom z the world is
/// W = 256 · 2^z pixels square, x growing east from 180° W and y south from the northern edge.
///   x = (λ + 180) / 360 · W
///   y = (1 − ln(tan φ + sec φ) / π) / 2 · W
/// and back
///   λ = x / W · 360 − 180
///   φ = atan(sinh(π · (1 − 2 · y / W)))
/// Tiles are 256 pixels: tile column ⌊x / 256⌋, row ⌊y / 256⌋ (XYZ order, row 0 north); TMS
/// counts rows from the south, row' = 2^z − 1 − row.

inline constexpr int kTilePixels = 256;
/// 256 · 2^22 = 2^30: every pixel of the most detailed level still fits 32 bits.
inline constexpr int kMaxTileZoom = 22;
/// atan(sinh(π)): the latitude of the square world's edges.
inline constexpr double kMercatorMaxLatitude = 85.05112877980659;

/// 256 · 2^zoom.
double MercatorWorldPixels(int zoom);
/// Longitude to global pixel x at `zoom`, not wrapped.
double MercatorX(double longitude, int zoom);
/// Latitude to global pixel y at `zoom`; latitudes beyond ±kMercatorMaxLatitude are clamped.
double MercatorY(double latitude, int zoom);
double MercatorLongitude(double x, int zoom);
double MercatorLatitude(double y, int zoom);
/// XYZ row to TMS row and back (the same formula both ways).
inline int FlipTileRow(int zoom, int row)
{
    return (1 << zoom) - 1 - row;
}

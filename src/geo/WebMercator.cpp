#include "geo/WebMercator.h"

#include <algorithm>
#include <cmath>
#include <numbers>

double MercatorWorldPixels(int zoom)
{
    return std::ldexp(static_cast<double>(kTilePixels), zoom);
}

double MercatorX(double longitude, int zoom)
{
    return (longitude + 180.0) / 360.0 * MercatorWorldPixels(zoom);
}

double MercatorY(double latitude, int zoom)
{
    const double phi = std::clamp(latitude, -kMercatorMaxLatitude, kMercatorMaxLatitude)
                       * std::numbers::pi / 180.0;
    // asinh(tan φ) is ln(tan φ + sec φ) without the cancellation near the poles.
    return (1.0 - std::asinh(std::tan(phi)) / std::numbers::pi) / 2.0 * MercatorWorldPixels(zoom);
}

double MercatorLongitude(double x, int zoom)
{
    return x / MercatorWorldPixels(zoom) * 360.0 - 180.0;
}

double MercatorLatitude(double y, int zoom)
{
    const double n = std::numbers::pi * (1.0 - 2.0 * y / MercatorWorldPixels(zoom));
    return std::atan(std::sinh(n)) * 180.0 / std::numbers::pi;
}

#include "maps/MapInfo.h"

#include <algorithm>
#include <cmath>
#include <limits>

std::int32_t TruncateToPixel(double value)
{
    // Converting a NaN or an out-of-range double to int is undefined behaviour.
    constexpr double kLow = static_cast<double>(std::numeric_limits<std::int32_t>::min());
    constexpr double kHigh = static_cast<double>(std::numeric_limits<std::int32_t>::max());
    if (!(value > kLow - 1.0 && value < kHigh + 1.0))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

namespace
{

struct Transform {
    double originLongitude = 0.0;
    double originLatitude = 0.0;
    double xScale = 0.0;
    double yScale = 0.0;
};

// The transform of the first and the last pair, or the reason they give none.
const char *ComputeTransform(const CPositionPair &a, const CPositionPair &b, Transform &t)
{
    // In double: pixels of a damaged file can lie 2^32 apart.
    const double dx = static_cast<double>(b.m_point.x) - a.m_point.x;
    const double dy = static_cast<double>(b.m_point.y) - a.m_point.y;
    double aLongitude = a.m_position.m_longitude;
    double bLongitude = b.m_position.m_longitude;
    const double dLatitude = b.m_position.m_latitude - a.m_position.m_latitude;
    if (!std::isfinite(aLongitude) || !std::isfinite(bLongitude) || !std::isfinite(dLatitude))
        return "a reference point's position is no number";
    if (dx == 0.0)
        return "the first and last reference points have the same x (pixel column)";
    if (dy == 0.0)
        return "the first and last reference points have the same y (pixel row)";
    if (dLatitude == 0.0)
        return "the first and last reference points have the same latitude";
    if (bLongitude == aLongitude)
        return "the first and last reference points have the same longitude";
    // East to the right, across the antimeridian: the eastern point lies past 180.
    if ((bLongitude - aLongitude) * dx < 0.0 && std::fabs(bLongitude - aLongitude) > 180.0) {
        if (dx > 0.0)
            bLongitude += 360.0;
        else
            aLongitude += 360.0;
    }
    t.xScale = dx / (bLongitude - aLongitude);
    t.yScale = dy / dLatitude;
    t.originLongitude = aLongitude - a.m_point.x / t.xScale;
    t.originLatitude = a.m_position.m_latitude - a.m_point.y / t.yScale;
    if (!std::isfinite(t.xScale) || !std::isfinite(t.yScale) || t.xScale == 0.0 || t.yScale == 0.0
        || !std::isfinite(t.originLongitude) || !std::isfinite(t.originLatitude))
        return "the reference points give no usable scale";
    return nullptr;
}

} // namespace

std::string CalibrationProblem(const std::vector<CPositionPair> &pairs)
{
    Transform t;
    if (pairs.size() < 2)
        return {};
    const char *problem = ComputeTransform(pairs.front(), pairs.back(), t);
    return problem == nullptr ? std::string() : std::string(problem);
}

bool CMapInfo::Calibrate()
{
    if (m_pairs.size() < 2)
        return false;
    Transform t;
    if (ComputeTransform(m_pairs.front(), m_pairs.back(), t) != nullptr)
        t = Transform(); // never an infinite or NaN scale: the map stays uncalibrated
    m_originLongitude = t.originLongitude;
    m_originLatitude = t.originLatitude;
    m_xScale = t.xScale;
    m_yScale = t.yScale;
    return IsCalibrated();
}

bool CMapInfo::PositionToPixel(const CGeoPosition &position, CMapPoint &pixel) const
{
    if (!IsCalibrated())
        return false;
    double longitude = position.m_longitude;
    // A map running past the antimeridian holds -175 as 185.
    const double edgeAt0 = m_originLongitude;
    const double edgeAtWidth = m_originLongitude + m_width / m_xScale;
    const double east = std::max(edgeAt0, edgeAtWidth);
    const double west = std::min(edgeAt0, edgeAtWidth);
    const double middle = 0.5 * (west + east);
    if (east > 180.0 && std::fabs(longitude + 360.0 - middle) < std::fabs(longitude - middle))
        longitude += 360.0;
    pixel.x = TruncateToPixel((longitude - m_originLongitude) * m_xScale);
    pixel.y = TruncateToPixel((position.m_latitude - m_originLatitude) * m_yScale);
    return true;
}

bool CMapInfo::PixelToPosition(const CMapPoint &pixel, CGeoPosition &position) const
{
    if (!IsCalibrated())
        return false;
    position.m_longitude = pixel.x / m_xScale + m_originLongitude;
    if (position.m_longitude > 180.0 && position.m_longitude - 360.0 >= -180.0)
        position.m_longitude -= 360.0;
    position.m_latitude = pixel.y / m_yScale + m_originLatitude;
    return true;
}

bool CMapInfo::ContainsPosition(const CGeoPosition &position) const
{
    CMapPoint pixel;
    if (!PositionToPixel(position, pixel))
        return false;
    return pixel.x >= 0 && pixel.x <= m_width && pixel.y >= 0 && pixel.y <= m_height;
}

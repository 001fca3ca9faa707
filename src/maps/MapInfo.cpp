#include "maps/MapInfo.h"

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

bool CMapInfo::Calibrate()
{
    if (!IsCalibrated())
        return false;
    const CPositionPair &a = m_pairs.front();
    const CPositionPair &b = m_pairs.back();
    // In double: pixels of a damaged file can lie 2^32 apart.
    m_xScale = (static_cast<double>(b.m_point.x) - a.m_point.x)
               / (b.m_position.m_longitude - a.m_position.m_longitude);
    m_originLongitude = a.m_position.m_longitude - a.m_point.x / m_xScale;
    m_yScale = (static_cast<double>(b.m_point.y) - a.m_point.y)
               / (b.m_position.m_latitude - a.m_position.m_latitude);
    m_originLatitude = a.m_position.m_latitude - a.m_point.y / m_yScale;
    return true;
}

bool CMapInfo::PositionToPixel(const CGeoPosition &position, CMapPoint &pixel) const
{
    if (!IsCalibrated())
        return false;
    pixel.x = TruncateToPixel((position.m_longitude - m_originLongitude) * m_xScale);
    pixel.y = TruncateToPixel((position.m_latitude - m_originLatitude) * m_yScale);
    return true;
}

bool CMapInfo::PixelToPosition(const CMapPoint &pixel, CGeoPosition &position) const
{
    if (!IsCalibrated())
        return false;
    position.m_longitude = pixel.x / m_xScale + m_originLongitude;
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

#pragma once

#include "base/GeoPosition.h"

#include <cstdint>
#include <string>

/// A pixel of a map bitmap: origin at the top-left corner, y growing downward.
struct CMapPoint {
    std::int32_t x = 0;
    std::int32_t y = 0;

    bool operator==(const CMapPoint &) const = default;
};

/// A calibration point: a map pixel and the position it shows. Only latitude and longitude of
/// the position belong to the pair.
class CPositionPair
{
public:
    std::string m_name = "Reference";
    CMapPoint m_point;
    CGeoPosition m_position;

    bool operator==(const CPositionPair &other) const
    {
        return m_name == other.m_name && m_point == other.m_point
               && m_position.m_latitude == other.m_position.m_latitude
               && m_position.m_longitude == other.m_position.m_longitude;
    }
};

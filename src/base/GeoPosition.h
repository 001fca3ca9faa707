#pragma once

/// A WGS84 position: signed decimal degrees (north and east positive) and height in metres.
class CGeoPosition
{
public:
    CGeoPosition() = default;
    CGeoPosition(double latitude, double longitude, double height)
        : m_latitude(latitude)
        , m_longitude(longitude)
        , m_height(height)
    {
    }

    double m_latitude = 0.0;
    double m_longitude = 0.0;
    double m_height = 0.0;

    bool operator==(const CGeoPosition &) const = default;
};

#pragma once

#include "base/GeoPosition.h"

/// A latitude a position can have: finite, in [-90, 90]. NaN fails every comparison.
[[nodiscard]] inline bool IsValidLatitude(double degrees)
{
    return degrees >= -90.0 && degrees <= 90.0;
}

/// A longitude a position can have: finite, in [-180, 180] (both ends, the same meridian).
[[nodiscard]] inline bool IsValidLongitude(double degrees)
{
    return degrees >= -180.0 && degrees <= 180.0;
}

/// Whether a position read from outside (a file, a dialog, the command line) may be kept.
[[nodiscard]] inline bool IsValidCoordinate(double latitude, double longitude)
{
    return IsValidLatitude(latitude) && IsValidLongitude(longitude);
}

[[nodiscard]] inline bool IsValidPosition(const CGeoPosition &position)
{
    return IsValidCoordinate(position.m_latitude, position.m_longitude);
}

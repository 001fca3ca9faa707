#pragma once

#include <cstdint>
#include <optional>

/// The sun's height above the horizon in degrees at a place (WGS84 degrees, north and east
/// positive) and a moment (seconds since 1970 UTC); the low-precision formulas of the
/// astronomical almanac, good to about a minute of sunrise and sunset.
[[nodiscard]] double SunElevationDegrees(double latitude, double longitude,
                                         std::int64_t unixSeconds);

/// Whether it is night there and then: the sun's centre below the horizon with refraction and
/// its radius, -0.833 degrees, as sunrise and sunset are reckoned.
[[nodiscard]] bool IsDarkAt(double latitude, double longitude, std::int64_t unixSeconds);

/// Night mode that follows the sun: it tells of each sunset and sunrise once, so that the
/// user's own switch holds until the next one.
class CSunWatch
{
public:
    /// The night mode to take now, or nothing while it is the same side of sunset as before.
    [[nodiscard]] std::optional<bool> Update(double latitude, double longitude,
                                             std::int64_t unixSeconds);
    /// Forget the last side: the next Update tells it (following was switched on).
    void Restart() { m_dark.reset(); }

private:
    std::optional<bool> m_dark;
};

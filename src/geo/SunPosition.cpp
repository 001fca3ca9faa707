#include "geo/SunPosition.h"

#include <cmath>
#include <numbers>

namespace
{

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kUnixEpochJulianDay = 2440587.5;
constexpr double kJ2000 = 2451545.0;
constexpr double kSunriseElevation = -0.833;

} // namespace

double SunElevationDegrees(double latitude, double longitude, std::int64_t unixSeconds)
{
    const double days = static_cast<double>(unixSeconds) / 86400.0 + kUnixEpochJulianDay - kJ2000;
    const double meanLongitude = std::fmod(280.460 + 0.9856474 * days, 360.0);
    const double meanAnomaly = std::fmod(357.528 + 0.9856003 * days, 360.0) * kDegree;
    const double eclipticLongitude =
        (meanLongitude + 1.915 * std::sin(meanAnomaly) + 0.020 * std::sin(2 * meanAnomaly))
        * kDegree;
    const double obliquity = (23.439 - 0.0000004 * days) * kDegree;
    const double rightAscension =
        std::atan2(std::cos(obliquity) * std::sin(eclipticLongitude), std::cos(eclipticLongitude));
    const double declination = std::asin(std::sin(obliquity) * std::sin(eclipticLongitude));
    // Greenwich mean sidereal time, then the sun's hour angle at the place.
    const double siderealDegrees = std::fmod(280.46061837 + 360.98564736629 * days, 360.0);
    const double hourAngle = (siderealDegrees + longitude) * kDegree - rightAscension;
    const double phi = latitude * kDegree;
    const double sine = std::sin(phi) * std::sin(declination)
                        + std::cos(phi) * std::cos(declination) * std::cos(hourAngle);
    return std::asin(std::fmax(-1.0, std::fmin(1.0, sine))) / kDegree;
}

bool IsDarkAt(double latitude, double longitude, std::int64_t unixSeconds)
{
    return SunElevationDegrees(latitude, longitude, unixSeconds) < kSunriseElevation;
}

std::optional<bool> CSunWatch::Update(double latitude, double longitude, std::int64_t unixSeconds)
{
    const bool dark = IsDarkAt(latitude, longitude, unixSeconds);
    if (m_dark == dark)
        return std::nullopt;
    m_dark = dark;
    return dark;
}

#include "geo/Distance.h"

#include "base/Numbers.h"
#include "geo/GeoConstants.h"

#include <cmath>

namespace
{

// The International (1924) radius, not WGS84, on purpose: every distance in the program, the
// proximity alarm included, is measured with it and must keep agreeing.
constexpr double kSphereRadius = 6378388.0;

// Above this many metres, metric and imperial switch to the larger unit.
constexpr double kSwitchOver = 10000.0;
constexpr double kKilometresPerMetre = 0.001;
// A mile of 1609.3 m rather than 1609.344, to agree with the speed and goto displays.
constexpr double kMilesPerMetre = 0.0006213881811967936;
constexpr double kFeetPerMetre = 3.28084;
constexpr double kNauticalMilesPerMetre = 0.0005399568034557236;

} // namespace

double Distance(const CGeoPosition &from, const CGeoPosition &to)
{
    const double phi1 = from.m_latitude * kDegToRad;
    const double phi2 = to.m_latitude * kDegToRad;
    const double dlambda = (to.m_longitude - from.m_longitude) * kDegToRad;
    const double angle = std::acos(std::cos(dlambda) * std::cos(phi2) * std::cos(phi1)
                                   + std::sin(phi2) * std::sin(phi1));
    const double distance = (std::fabs(to.m_height - from.m_height) * 0.5 + kSphereRadius) * angle;
    // Rounding can push the cosine past 1 for nearby points, and acos then gives NaN.
    return distance > 0.0 ? distance : 0.0;
}

CDistance::CDistance(double metres)
    : m_metres(metres)
{
}

void CDistance::Format(std::string &out, UnitSystem unitSystem) const
{
    const double d = m_metres;
    const auto text = [unitSystem](double value, UnitQuantity quantity) {
        return FormatC("%.5g ", value).append(UnitLabel(quantity, unitSystem));
    };
    switch (unitSystem) {
    case UnitSystem::Metric:
        out = d > kSwitchOver ? text(d * kKilometresPerMetre, UnitQuantity::Distance)
                              : text(d, UnitQuantity::ShortDistance);
        break;
    case UnitSystem::Imperial:
        out = d > kSwitchOver ? text(d * kMilesPerMetre, UnitQuantity::Distance)
                              : text(d * kFeetPerMetre, UnitQuantity::ShortDistance);
        break;
    case UnitSystem::Nautic:
        // No smaller unit at sea: short distances stay fractions of a nautical mile.
        out = text(d * kNauticalMilesPerMetre, UnitQuantity::Distance);
        break;
    default:
        break;
    }
}

#include "dashboard/TripTexts.h"

#include "base/Numbers.h"
#include "dashboard/CompassMath.h"
#include "dashboard/SpeedAlarm.h"

#include <cmath>

namespace
{

// The distance texts' mile, so the trip agrees with the mileage counter.
constexpr double kMetresPerMile = 1609.3;
constexpr double kMetresPerNauticalMile = 1852.0;
constexpr double kFeetPerMetre = 3.280839895013123;
constexpr double kSecondsPerHour = 3600.0;

std::string Unit(UnitQuantity quantity, UnitSystem units)
{
    return std::string(UnitLabel(quantity, units));
}

CTripText Distance(const char *caption, double metres, UnitSystem units)
{
    double value = metres / 1000.0;
    if (units == UnitSystem::Imperial)
        value = metres / kMetresPerMile;
    else if (units == UnitSystem::Nautic)
        value = metres / kMetresPerNauticalMile;
    // A tenth is worth reading on a short trip, noise on a long one.
    return {caption, FormatC(value < 999.95 ? "%.1f" : "%.0f", value),
            Unit(UnitQuantity::Distance, units)};
}

CTripText Speed(const char *caption, double kmh, UnitSystem units)
{
    return {caption, FormatC("%.1f", SpeedInUnits(kmh, units)), Unit(UnitQuantity::Speed, units)};
}

CTripText Height(const char *caption, double metres, UnitSystem units)
{
    const double value = units == UnitSystem::Metric ? metres : metres * kFeetPerMetre;
    return {caption, FormatC("%.0f", value), Unit(UnitQuantity::Height, units)};
}

CTripText Duration(const char *caption, double seconds)
{
    const auto whole = static_cast<long long>(std::floor(std::max(0.0, seconds)));
    if (whole < static_cast<long long>(kSecondsPerHour))
        return {caption, FormatC("%lld:%02lld", whole / 60, whole % 60), "min"};
    const long long minutes = whole / 60;
    return {caption, FormatC("%lld:%02lld", minutes / 60, minutes % 60), "h"};
}

CTripText Empty(const char *caption)
{
    return {caption, "---", "", true};
}

} // namespace

std::vector<CTripText> TripTexts(const CTripFigures &f, CTripUnits units,
                                 const std::optional<CTripTarget> &target)
{
    std::vector<CTripText> texts;
    texts.push_back(Distance("Trip", f.distanceMetres, units.distance));
    texts.push_back(Duration("Moving", f.movingSeconds));
    texts.push_back(Duration("Stopped", f.stoppedSeconds));
    texts.push_back(f.movingSeconds > 0.0 ? Speed("Average", f.AverageMovingKmh(), units.speed)
                                          : Empty("Average"));
    texts.push_back(Speed("Max", f.maxSpeedKmh, units.speed));
    texts.push_back(Height("Ascent", f.gainMetres, units.height));
    texts.push_back(Height("Descent", f.lossMetres, units.height));
    if (!target) {
        texts.push_back(Empty("No goto waypoint"));
        return texts;
    }
    if (!target->way) {
        texts.push_back(Empty(""));
        texts.back().caption = "To " + target->name;
        texts.push_back(Empty("Bearing"));
        texts.push_back(Empty("ETA"));
        return texts;
    }
    const CTripGoto &way = *target->way;
    texts.push_back(Distance("", way.distanceMetres, units.distance));
    texts.back().caption = "To " + target->name;
    texts.push_back({"Bearing", std::to_string(WholeDegrees(way.bearingDegrees)) + "\u00B0",
                     CompassPoint(way.bearingDegrees)});
    texts.push_back(way.etaSeconds ? Duration("ETA", *way.etaSeconds) : Empty("ETA"));
    return texts;
}

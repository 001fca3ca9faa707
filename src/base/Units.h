#pragma once

#include <optional>
#include <string_view>

/// The unit system of Tools > Units. The numbers are the stored ones ("OperationMode", the
/// dashboard's modes); everything else uses the names.
enum class UnitSystem : int { Metric = 1, Imperial = 2, Nautic = 3 };

/// The stored number as a unit system; empty for any other number.
[[nodiscard]] constexpr std::optional<UnitSystem> UnitSystemFromNumber(int number)
{
    if (number < static_cast<int>(UnitSystem::Metric)
        || number > static_cast<int>(UnitSystem::Nautic))
        return std::nullopt;
    return static_cast<UnitSystem>(number);
}

[[nodiscard]] constexpr int ToNumber(UnitSystem units)
{
    return static_cast<int>(units);
}

/// What follows a number of each kind, by unit system: the one list of the labels the
/// instruments, the digital dashboard, the List page and the distance texts write.
enum class UnitQuantity : int {
    Speed,
    Height,        ///< feet at sea too: nautical miles would be useless for an altitude
    Distance,      ///< trips and distances beyond a few kilometres
    ShortDistance, ///< a distance text's smaller unit; at sea there is none below the nm
};

[[nodiscard]] constexpr std::string_view UnitLabel(UnitQuantity quantity, UnitSystem units)
{
    constexpr std::string_view kLabels[4][3] = {
        {"km/h", "mph", "knots"},
        {"m", "ft", "ft"},
        {"km", "miles", "nm"},
        {"m", "feet", "nm"},
    };
    return kLabels[static_cast<int>(quantity)][ToNumber(units) - ToNumber(UnitSystem::Metric)];
}

/// Speeds travel in km/h. The mile is the 1609.3 m one of the distance texts, so speeds and
/// distances agree; converting back uses the exact 1.609344.
inline constexpr double kMphPerKmh = 0.6213881811967936;
inline constexpr double kKnotsPerKmh = 0.5399568034557235;
inline constexpr double kKmhPerMph = 1.609344;
inline constexpr double kKmhPerKnot = 1.852;

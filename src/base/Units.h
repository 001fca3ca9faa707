#pragma once

#include <optional>

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

/// Speeds travel in km/h. The mile is the 1609.3 m one of the distance texts, so speeds and
/// distances agree; converting back uses the exact 1.609344.
inline constexpr double kMphPerKmh = 0.6213881811967936;
inline constexpr double kKnotsPerKmh = 0.5399568034557235;
inline constexpr double kKmhPerMph = 1.609344;
inline constexpr double kKmhPerKnot = 1.852;

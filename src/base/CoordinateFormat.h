#pragma once

#include <optional>

/// The coordinate notation chosen in the Coordinates menu; the numbers are the stored
/// "Projection" values.
enum class CoordinateFormat : int { DD = 1, DDMM = 2, DDMMSS = 3, UTM = 4 };

/// The stored number as a format; empty for any other number.
[[nodiscard]] constexpr std::optional<CoordinateFormat> CoordinateFormatFromNumber(int number)
{
    if (number < static_cast<int>(CoordinateFormat::DD)
        || number > static_cast<int>(CoordinateFormat::UTM))
        return std::nullopt;
    return static_cast<CoordinateFormat>(number);
}

[[nodiscard]] constexpr int ToNumber(CoordinateFormat format)
{
    return static_cast<int>(format);
}

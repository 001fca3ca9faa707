#pragma once

#include <cstdint>
#include <optional>

/// How night mode colours the window: red on black, which keeps the eyes adapted to the dark,
/// or every instrument's colours inverted as the first versions did.
enum class NightColours : std::uint8_t { Red = 0, Inverted = 1 };

/// How the Map page shows the map at night in the red colours: dimmed and red, or only dimmed
/// (a map's colours carry meaning some users would rather keep).
enum class NightMap : std::uint8_t { RedDimmed = 0, Dimmed = 1 };

[[nodiscard]] constexpr std::optional<NightColours> NightColoursFromNumber(std::int32_t n)
{
    if (n == 0)
        return NightColours::Red;
    if (n == 1)
        return NightColours::Inverted;
    return std::nullopt;
}

[[nodiscard]] constexpr std::optional<NightMap> NightMapFromNumber(std::int32_t n)
{
    if (n == 0)
        return NightMap::RedDimmed;
    if (n == 1)
        return NightMap::Dimmed;
    return std::nullopt;
}

[[nodiscard]] constexpr std::int32_t ToNumber(NightColours colours)
{
    return static_cast<std::int32_t>(colours);
}

[[nodiscard]] constexpr std::int32_t ToNumber(NightMap map)
{
    return static_cast<std::int32_t>(map);
}

#pragma once

#include <array>
#include <cstdint>

/// A colour of the marker, of track points and of signal bars.
struct CRgb {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;

    bool operator==(const CRgb &) const = default;
};

/// The quality ramp of signal bars and reception colours: red, orange, yellow, yellow-green,
/// green at 0, 1/4, 1/2, 3/4 and 1.
inline constexpr std::array<CRgb, 5> kQualityStops = {{
    {255, 0, 0},
    {255, 102, 0},
    {255, 255, 0},
    {102, 255, 0},
    {0, 255, 0},
}};

#include "maps/ReceptionColour.h"

namespace
{

constexpr double kHighest = 0.999;

std::uint8_t Blend(std::uint8_t low, std::uint8_t high, float fraction)
{
    const float value = static_cast<float>(low) + static_cast<float>(high - low) * fraction;
    return static_cast<std::uint8_t>(value);
}

} // namespace

CRgb ReceptionColour(double ratio)
{
    // NaN would reach the integer conversion below; treat it like no reception.
    if (!(ratio >= 0.0))
        ratio = 0.0;
    else if (ratio >= 1.0)
        ratio = kHighest;
    const double scaled = ratio * (kQualityStops.size() - 1);
    const int i = static_cast<int>(scaled);
    const auto fraction = static_cast<float>(scaled - i);
    const CRgb &low = kQualityStops[static_cast<std::size_t>(i)];
    const CRgb &high = kQualityStops[static_cast<std::size_t>(i) + 1];
    return {Blend(low.r, high.r, fraction), Blend(low.g, high.g, fraction),
            Blend(low.b, high.b, fraction)};
}

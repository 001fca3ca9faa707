#include "dashboard/GaugeMath.h"

#include "base/Numbers.h"

#include <array>
#include <cmath>
#include <numbers>

namespace
{

constexpr double kPi = std::numbers::pi;

// log10 where it can: log(1000) / log(10) is 2.9999999999999996.
double LogBase(double x, int base)
{
    return base == 10 ? std::log10(x) : std::log(x) / std::log(static_cast<double>(base));
}

} // namespace

int RoundHalfUp(double x)
{
    return static_cast<int>(std::floor(x + 0.5));
}

TickKind TickKindAt(int index, int group)
{
    if (group <= 0 || index % group == 0)
        return TickKind::Major;
    const int middle = group % 3 != 0 ? group / 2 : group / 3;
    return middle > 0 && index % middle == 0 ? TickKind::Middle : TickKind::Minor;
}

CTick TickAt(int index, int count, int radius, int group)
{
    const int c = radius;
    const double r = radius - 1;
    const TickKind kind = TickKindAt(index, group);
    const double length = RoundHalfUp(kind == TickKind::Major ? r / 9 : r / 14);
    const double a = index * (-kPi / count);
    const double s = std::sin(a);
    const double k = std::cos(a);
    return {{c + RoundHalfUp(r * s), c + RoundHalfUp(r * k)},
            {c + RoundHalfUp((r - length) * s), c + RoundHalfUp((r - length) * k)},
            kind};
}

CRgb SignalColour(double x)
{
    if (!(x > 0.0))
        x = 0.0;
    const double t = 4.0 * x;
    // The ramp ends at green: a signal above 50 dB is as good as it gets.
    if (t >= 4.0)
        return kQualityStops.back();
    const auto k = static_cast<std::size_t>(t);
    const double f = t - static_cast<double>(k);
    const CRgb &a = kQualityStops[k];
    const CRgb &b = kQualityStops[k + 1];
    const auto mix = [f](std::uint8_t from, std::uint8_t to) {
        return static_cast<std::uint8_t>(from + (to - from) * f);
    };
    return {mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b)};
}

std::string GaugeValueText(double value)
{
    if (value < 1)
        return FormatC("%.2f", value);
    if (value < 10000)
        return FormatC("%.4g", value);
    return FormatC("%.0f", value);
}

std::string GaugeDigitalText(double value)
{
    if (value < 10)
        return FormatC("%.3f", value);
    if (value < 100)
        return FormatC("%.2f", value);
    if (value < 1000)
        return FormatC("%.1f", value);
    return FormatC("%.0f", value);
}

CScaleRange CScaleRange::Make(int range, int second, int group)
{
    return {range, second, (-2 * kPi / group) / range};
}

bool CScaleRange::Adapt(double value, int group)
{
    const double magnitude = std::floor(LogBase(value, group));
    if (LogBase(range, group) + 1 == magnitude)
        return false;
    range = value > 1000 ? static_cast<int>(std::pow(group, magnitude - 1)) : 10;
    second = 10;
    anglePerUnit = (-2 * kPi / group) / range;
    return true;
}

CNeedle NeedleAt(double value, const CScaleRange &scale, int group, int radius)
{
    const int c = radius;
    const double theta = value * scale.anglePerUnit;
    const double length = 0.85 * radius;
    const double tail = 0.2 * length;
    CNeedle n;
    n.tip = {c + RoundHalfUp(length * std::sin(theta)), c + RoundHalfUp(length * std::cos(theta))};
    n.tail = {c - RoundHalfUp(tail * std::sin(theta)), c - RoundHalfUp(tail * std::cos(theta))};
    const double perTurn = static_cast<double>(scale.range) * group;
    const double turns = std::trunc(value / perTurn);
    n.turns = std::isfinite(turns) ? static_cast<int>(turns) : 0;
    const double direction = n.turns * scale.range * scale.anglePerUnit;
    const double at = 0.75 * radius - 1;
    n.turnLabel = {c + RoundHalfUp(at * std::sin(direction)),
                   c + RoundHalfUp(at * std::cos(direction))};
    return n;
}

bool NeedleMoves(double from, double to, const CScaleRange &scale, int group, int radius)
{
    return NeedleAt(from, scale, group, radius) != NeedleAt(to, scale, group, radius);
}

CPoint SkyOffset(int elevation, int azimuth, int radius)
{
    const double d = std::floor((90 - elevation) * static_cast<double>(radius) / 90 + 0.5);
    const double theta = kPi - azimuth * kPi / 180;
    return {RoundHalfUp(d * std::sin(theta)), RoundHalfUp(d * std::cos(theta))};
}

CMenuOutcome ResolveMenuChoice(int id, int currentMode, int modeCount, bool digitalCapable)
{
    CMenuOutcome o;
    if (id != currentMode && id <= modeCount && id != 0)
        o.mode = id;
    if (digitalCapable && id - modeCount > 0 && id - modeCount < 3)
        o.digital = id - modeCount - 1 != 0;
    o.action = static_cast<std::int8_t>(id - (digitalCapable ? 2 : 0) - modeCount);
    return o;
}

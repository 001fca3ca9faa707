#include "dashboard/CompassMath.h"

#include "base/Numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace
{

constexpr double kDegToRad = std::numbers::pi / 180.0;

double Wrap(double value, double period)
{
    if (!std::isfinite(value))
        return 0.0;
    const double r = std::fmod(value, period);
    const double wrapped = r < 0.0 ? r + period : r;
    // -1e-17 + 360 is 360 in doubles.
    return wrapped >= period ? 0.0 : wrapped;
}

// Slow out of the old course and into the new one: no jerk at either end.
double Ease(double t)
{
    return 0.5 - 0.5 * std::cos(std::numbers::pi * t);
}

} // namespace

double NormaliseDegrees(double degrees)
{
    return Wrap(degrees, 360.0) + 0.0; // no -0
}

double ShortestTurn(double from, double to)
{
    const double turn = NormaliseDegrees(to - from);
    return turn > 180.0 ? turn - 360.0 : turn;
}

int WholeDegrees(double degrees)
{
    return static_cast<int>(std::lround(NormaliseDegrees(degrees))) % 360;
}

const char *CompassPoint(double degrees)
{
    static constexpr std::array<const char *, 8> kPoints = {"N", "NE", "E", "SE",
                                                            "S", "SW", "W", "NW"};
    const auto index =
        static_cast<std::size_t>(std::floor((NormaliseDegrees(degrees) + 22.5) / 45));
    return kPoints[index % kPoints.size()];
}

CCardOffset CardOffset(double bearing, double shown, double distance)
{
    const double a = (bearing - shown) * kDegToRad;
    return {distance * std::sin(a), -distance * std::cos(a)};
}

void CCardTurn::Jump(double degrees)
{
    m_from = m_target = NormaliseDegrees(degrees);
    m_turn = 0.0;
    m_elapsed = kDurationMs;
}

void CCardTurn::TurnTo(double degrees)
{
    const double target = NormaliseDegrees(degrees);
    if (target == m_target)
        return;
    m_from = GetShown();
    m_target = target;
    m_turn = ShortestTurn(m_from, target);
    m_elapsed = std::abs(m_turn) < kSmallestTurn ? kDurationMs : 0.0;
}

bool CCardTurn::Advance(double ms)
{
    if (ms > 0.0)
        m_elapsed = std::min(kDurationMs, m_elapsed + ms);
    return IsTurning();
}

double CCardTurn::GetShown() const
{
    if (!IsTurning())
        return m_target;
    return NormaliseDegrees(m_from + m_turn * Ease(m_elapsed / kDurationMs));
}

double NormaliseTimeOfDay(double seconds)
{
    return Wrap(seconds, kSecondsPerDay) + 0.0;
}

std::string FormatTimeOfDay(double seconds)
{
    if (!std::isfinite(seconds))
        return "--:--:--";
    const auto s = static_cast<long>(std::floor(NormaliseTimeOfDay(seconds)));
    return FormatC("%02ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
}

long LocalOffsetSeconds(std::time_t at)
{
    // localtime_r need not look at TZ again; tzset does.
    tzset();
    std::tm local{};
    if (localtime_r(&at, &local) == nullptr)
        return 0;
    return static_cast<long>(timegm(&local) - at);
}

CHandAngles HandAngles(double secondsOfDay)
{
    const double s = NormaliseTimeOfDay(secondsOfDay);
    return {std::fmod(s, 43200.0) / 120.0, std::fmod(s, 3600.0) / 10.0,
            std::floor(std::fmod(s, 60.0)) * 6.0};
}

#include "dashboard/SpeedAlarm.h"

#include "base/Numbers.h"

#include <cmath>

CSpeedAlarmStep CSpeedAlarm::SetSettings(const CSpeedAlarmSettings &settings)
{
    m_settings = settings;
    // A new limit is judged from the next sample on.
    m_overSince.reset();
    if (!m_settings.on)
        return Clear();
    return {};
}

CSpeedAlarmStep CSpeedAlarm::Update(double seconds, double speedKmh)
{
    CSpeedAlarmStep step;
    if (!m_settings.on)
        return step;
    if (m_lastTime && seconds < *m_lastTime) {
        m_overSince.reset();
        m_lastSound = seconds - kRepeatSeconds;
    }
    m_lastTime = seconds;
    const bool over = speedKmh > m_settings.limitKmh + m_settings.toleranceKmh;
    if (!over) {
        m_overSince.reset();
        if (m_warning && speedKmh <= m_settings.limitKmh - kClearBelowKmh) {
            m_warning = false;
            step.changed = true;
        }
        return step;
    }
    if (!m_overSince)
        m_overSince = seconds;
    if (!m_warning) {
        if (seconds - *m_overSince >= m_settings.delaySeconds) {
            m_warning = true;
            step.changed = true;
            step.sound = true;
            m_lastSound = seconds;
        }
        return step;
    }
    if (seconds - m_lastSound >= kRepeatSeconds) {
        step.sound = true;
        m_lastSound = seconds;
    }
    return step;
}

void CSpeedAlarm::Interrupt()
{
    m_overSince.reset();
}

CSpeedAlarmStep CSpeedAlarm::Clear()
{
    m_overSince.reset();
    m_lastTime.reset();
    CSpeedAlarmStep step;
    step.changed = m_warning;
    m_warning = false;
    return step;
}

double SpeedInUnits(double kmh, UnitSystem units)
{
    switch (units) {
    case UnitSystem::Imperial:
        return kmh * kMphPerKmh;
    case UnitSystem::Nautic:
        return kmh * kKnotsPerKmh;
    case UnitSystem::Metric:
        break;
    }
    return kmh;
}

double SpeedFromUnits(double value, UnitSystem units)
{
    switch (units) {
    case UnitSystem::Imperial:
        return value * kKmhPerMph;
    case UnitSystem::Nautic:
        return value * kKmhPerKnot;
    case UnitSystem::Metric:
        break;
    }
    return value;
}

std::string SpeedText(double kmh, UnitSystem units)
{
    const double value = std::round(SpeedInUnits(kmh, units) * 10.0) / 10.0;
    const std::string unit(UnitLabel(UnitQuantity::Speed, units));
    if (value == std::round(value))
        return FormatC("%.0f ", value) + unit;
    return FormatC("%.1f ", value) + unit;
}

std::string SpeedWarningText(double limitKmh, UnitSystem units)
{
    return "Over speed limit " + SpeedText(limitKmh, units);
}

#include "dashboard/Speedometer.h"

#include "base/Numbers.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>

CSpeedometer::CSpeedometer(QWidget *parent)
    : CScaleGauge(tr("Speed"), parent)
{
    SetScale(10, 10, 10);
    StoreMode(ToNumber(UnitSystem::Metric));
    SetDigitalCapable(true);
    SetDigital(true);
    SetUnitLabel(UnitLabelText(UnitQuantity::Speed, UnitSystem::Metric));
    SetModeNames({tr("Metric"), tr("Imperial"), tr("Nautic")});
    SetActionNames({tr("Speed Alarm...")});
    SetShowsFix(true);
}

void CSpeedometer::OnAction(int index)
{
    if (index == kActionSpeedAlarm)
        emit SpeedAlarmChosen();
}

std::optional<UnitSystem> CSpeedometer::Units() const
{
    return UnitSystemFromNumber(GetMode());
}

void CSpeedometer::SetValue(double kmh)
{
    double shown = kmh;
    if (Units() == UnitSystem::Imperial)
        shown = kmh * kMphPerKmh;
    else if (Units() == UnitSystem::Nautic)
        shown = kmh * kKnotsPerKmh;
    CScaleGauge::SetValue(shown);
}

void CSpeedometer::SetMode(int mode)
{
    if (mode == 0)
        return;
    const int oldMode = GetMode();
    const std::optional<UnitSystem> old = Units();
    CScaleGauge::SetMode(mode);
    // The page sets the unit system it already shows too: nothing to convert then.
    if (mode == oldMode || mode > ToNumber(UnitSystem::Nautic))
        return;
    SetUnitLabelFor(mode);
    // Back to km/h with the exact factors, not the inverses of the forward ones: 100 km/h seen
    // in mph comes back as 100.0027 km/h. A number below the systems' (a damaged settings file)
    // converts as knots would.
    double kmh = GetValue();
    switch (UnitSystemFromNumber(mode).value_or(UnitSystem::Nautic)) {
    case UnitSystem::Metric:
        kmh *= old == UnitSystem::Imperial ? kKmhPerMph : kKmhPerKnot;
        break;
    case UnitSystem::Imperial:
        if (old != UnitSystem::Metric)
            kmh *= kKmhPerKnot;
        break;
    case UnitSystem::Nautic:
        if (old == UnitSystem::Imperial)
            kmh *= kKmhPerMph;
        break;
    }
    SetValue(kmh);
}

void CSpeedometer::SetModeQuiet(int mode)
{
    CScaleGauge::SetModeQuiet(mode);
    SetUnitLabelFor(mode);
}

QString CSpeedometer::GetValueText() const
{
    // One decimal, as on the dial's digits. Any number beyond the three reads as knots.
    return QString::fromStdString(FormatC("%.1f ", GetValue()))
           + UnitLabelText(UnitQuantity::Speed, Units().value_or(UnitSystem::Nautic));
}

QString CSpeedometer::FormatDigital() const
{
    return QString::fromStdString(FormatC("%3.1f", GetValue()));
}

void CSpeedometer::SetUnitLabelFor(int mode)
{
    if (const std::optional<UnitSystem> units = UnitSystemFromNumber(mode))
        SetUnitLabel(UnitLabelText(UnitQuantity::Speed, *units));
}

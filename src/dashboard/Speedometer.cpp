#include "dashboard/Speedometer.h"

#include "base/Numbers.h"
#include "base/Units.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>

CSpeedometer::CSpeedometer(QWidget *parent)
    : CScaleGauge(tr("Speed"), parent)
{
    SetScale(10, 10, 10);
    StoreMode(kModeMetric);
    SetDigitalCapable(true);
    SetDigital(true);
    SetUnitLabel(QStringLiteral("km/h"));
    SetModeNames({tr("Metric"), tr("Imperial"), tr("Nautic")});
    SetShowsFix(true);
}

void CSpeedometer::SetValue(double kmh)
{
    double shown = kmh;
    if (GetMode() == kModeImperial)
        shown = kmh * kMphPerKmh;
    else if (GetMode() == kModeNautic)
        shown = kmh * kKnotsPerKmh;
    CScaleGauge::SetValue(shown);
}

void CSpeedometer::SetMode(int mode)
{
    if (mode == 0)
        return;
    const int old = GetMode();
    CScaleGauge::SetMode(mode);
    // The page sets the unit system it already shows too: nothing to convert then.
    if (mode == old || mode > kModeNautic)
        return;
    SetUnitLabelFor(mode);
    // Back to km/h with the exact factors, not the inverses of the forward ones: 100 km/h seen
    // in mph comes back as 100.0027 km/h.
    double kmh = GetValue();
    switch (mode) {
    case kModeMetric:
        kmh *= old == kModeImperial ? kKmhPerMph : kKmhPerKnot;
        break;
    case kModeImperial:
        if (old != kModeMetric)
            kmh *= kKmhPerKnot;
        break;
    default:
        if (old == kModeImperial)
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
    const double v = GetValue();
    switch (GetMode()) {
    case kModeMetric:
        return QString::fromStdString(FormatC("%0.6g km/h", v));
    case kModeImperial:
        return QString::fromStdString(FormatC("%.6g mph", v));
    default:
        return QString::fromStdString(FormatC("%.6g knots", v));
    }
}

QString CSpeedometer::FormatDigital() const
{
    return QString::fromStdString(FormatC("%3.1f", GetValue()));
}

void CSpeedometer::SetUnitLabelFor(int mode)
{
    switch (mode) {
    case kModeMetric:
        SetUnitLabel(QStringLiteral("km/h"));
        break;
    case kModeImperial:
        SetUnitLabel(QStringLiteral("mph"));
        break;
    case kModeNautic:
        SetUnitLabel(QStringLiteral("knots"));
        break;
    default:
        break;
    }
}

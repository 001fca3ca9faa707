#include "dashboard/Speedometer.h"

CSpeedometer::CSpeedometer(QWidget *parent)
    : CScaleGauge(tr("Speed"), parent)
{
    SetScale(10, 10, 10);
}

void CSpeedometer::SetValue(double kmh)
{
    CScaleGauge::SetValue(kmh);
}

void CSpeedometer::SetMode(int mode)
{
    CScaleGauge::SetMode(mode);
}

void CSpeedometer::SetModeQuiet(int mode)
{
    CScaleGauge::SetModeQuiet(mode);
}

QString CSpeedometer::GetValueText() const
{
    return CScaleGauge::GetValueText();
}

QString CSpeedometer::FormatDigital() const
{
    return CScaleGauge::FormatDigital();
}

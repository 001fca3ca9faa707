#include "dashboard/Altimeter.h"

CAltimeter::CAltimeter(QWidget *parent)
    : CScaleGauge(tr("Altitude"), parent)
{
    SetScale(10, 10, 10);
}

void CAltimeter::SetValue(double metres)
{
    m_metres = metres;
    CScaleGauge::SetValue(metres + m_offset);
}

void CAltimeter::SetMode(int mode)
{
    CScaleGauge::SetMode(mode);
}

void CAltimeter::SetModeQuiet(int mode)
{
    CScaleGauge::SetModeQuiet(mode);
}

void CAltimeter::SetOffset(double metres)
{
    m_offset = metres;
}

void CAltimeter::OnAction(int) {}

QString CAltimeter::GetValueText() const
{
    return CScaleGauge::GetValueText();
}

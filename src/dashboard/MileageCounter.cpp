#include "dashboard/MileageCounter.h"

CMileageCounter::CMileageCounter(QWidget *parent)
    : CScaleGauge(tr("Mileage"), parent)
{
    SetScale(100, 10, 10);
}

void CMileageCounter::AddSample(const CGeoPosition &position, std::time_t time, double speedKmh,
                                bool replay)
{
    m_mileage.AddSample(position, time, speedKmh, replay);
}

void CMileageCounter::SetMode(int mode)
{
    CScaleGauge::SetMode(mode);
}

void CMileageCounter::SetModeQuiet(int mode)
{
    CScaleGauge::SetModeQuiet(mode);
}

void CMileageCounter::SetTotal(double metres)
{
    m_mileage.SetTotal(metres);
}

void CMileageCounter::OnAction(int) {}

void CMileageCounter::Reset() {}

QString CMileageCounter::GetValueText() const
{
    return CScaleGauge::GetValueText();
}

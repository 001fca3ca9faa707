#include "dashboard/Clock.h"

CClock::CClock(QWidget *parent)
    : CGauge(tr("Time"), parent)
{
}

void CClock::SetTimeOfDay(double seconds)
{
    SetValue(seconds);
}

double CClock::GetShownSeconds() const
{
    return GetValue();
}

QString CClock::FormatDigital() const
{
    return QString::number(GetValue());
}

QString CClock::GetValueText() const
{
    return FormatDigital();
}

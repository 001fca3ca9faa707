#include "dashboard/Compass.h"

CCompass::CCompass(QWidget *parent)
    : CGauge(tr("Heading"), parent)
{
}

void CCompass::SetCourse(double course, double bearing, double distanceMetres)
{
    m_bearing = bearing;
    m_distance = distanceMetres;
    SetValue(course);
}

void CCompass::SetUnits(UnitSystem units)
{
    m_units = units;
}

QString CCompass::FormatDigital() const
{
    return QString::number(GetValue(), 'f', 0);
}

QString CCompass::GetValueText() const
{
    return FormatDigital();
}

#include "dashboard/Mileage.h"

void CMileage::AddSample(const CGeoPosition &position, std::time_t, double, bool)
{
    m_last = position;
}

void CMileage::ResetTrip()
{
    m_trip = 0.0;
}

void CMileage::ResetTotal()
{
    m_total = 0.0;
}

void CMileage::SetTotal(double metres)
{
    m_total = metres;
}

#include "dashboard/Mileage.h"

#include "geo/Distance.h"

namespace
{

// 0 is the time of a sample whose time or date did not read.
bool Older(std::time_t time, std::time_t than)
{
    return time != 0 && than != 0 && time < than;
}

} // namespace

void CMileage::AddSample(const CGeoPosition &position, std::time_t time, double speedKmh,
                         bool replay)
{
    // The jump between a log and the receiver, or between two logs, was never driven.
    const bool leg = m_last && m_last->replay == replay && !Older(time, m_last->time);
    if (leg && speedKmh >= kMovingKmh) {
        const double metres = Distance(m_last->position, position);
        m_trip += metres;
        if (!replay)
            m_total += metres;
    }
    m_last = Anchor{position, time, replay};
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

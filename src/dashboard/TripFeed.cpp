#include "dashboard/TripFeed.h"

#include "receiver/ReceiverSession.h"

CSpeedAlarmStep FeedTrip(const CReceiverUpdate &u, CTripComputer &trip, CSpeedAlarm &alarm)
{
    CSpeedAlarmStep step;
    if (u.Changed(kChangePosition) && u.Changed(kChangeAltitude))
        trip.AddAltitude(u.altitude);
    if (u.Changed(kChangeMileage)) {
        trip.AddSample(u.samplePosition, u.sampleTime, u.speedKmh, u.replay);
        // Without the date there is no clock to time the delay by.
        if (u.sampleTime != 0)
            step = alarm.Update(static_cast<double>(u.sampleTime), u.speedKmh);
    }
    if (u.Happened(kEventFixLost))
        alarm.Interrupt();
    return step;
}

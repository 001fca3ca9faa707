#include "receiver/FixEvents.h"

#include "nmea/NMEAParser.h"
#include "waypoints/WaypointNavigator.h"

CFixActions CFixEvents::OnRMC(const CNMEAParser &parser, bool playSound, bool autoSync,
                              bool livePort, const CWaypoint *target)
{
    CFixActions a;
    // RMC carries no quality of its own; the fix is what the last GGA said.
    if (parser.m_gga.m_quality < 1) {
        a.speedKmh = 0.0;
        if (m_fixHeld) {
            m_fixHeld = false;
            a.fixLost = true;
            if (playSound)
                a.sound = CFixActions::Sound::FixLost;
        }
        return a;
    }

    const CRMCSentence &rmc = parser.m_rmc;
    if (!m_fixHeld) {
        m_fixHeld = true;
        a.fixGained = true;
        if (autoSync && livePort)
            a.setClockUtc = RMCTimeAsUTC(rmc);
        if (playSound)
            a.sound = CFixActions::Sound::FixGained;
    }
    if (rmc.m_speedKmh > kCompassMinSpeedKmh) {
        a.updateCompass = true;
        a.course = rmc.m_course;
        if (target != nullptr) {
            a.bearing = BearingToWaypoint(rmc.m_position, *target);
            a.distance = DistanceToWaypoint(rmc.m_position, *target, std::nullopt);
        }
    }
    a.speedKmh = rmc.m_speedKmh;
    a.mileageSample = true;
    a.updateList = true;
    return a;
}

CFixActions CFixEvents::OnReceiverLost(bool playSound)
{
    CFixActions a;
    if (m_fixHeld) {
        m_fixHeld = false;
        a.fixLost = true;
        if (playSound)
            a.sound = CFixActions::Sound::FixLost;
    }
    a.updateList = true;
    return a;
}

std::time_t RMCTimeAsUTC(const CRMCSentence &rmc)
{
    std::tm fields{};
    if (localtime_r(&rmc.m_dateTime, &fields) == nullptr)
        return rmc.m_dateTime;
    return timegm(&fields);
}

#include "receiver/FixEvents.h"

#include "nmea/NMEAParser.h"

CFixActions CFixEvents::OnRMC(const CNMEAParser &parser, bool playSound, bool autoSync,
                              bool livePort, const GotoTarget &gotoTarget)
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
        if (gotoTarget) {
            const auto [bearing, distance] = gotoTarget(rmc.m_position);
            a.bearing = bearing;
            a.distance = distance;
            m_lastBearing = bearing;
        }
        m_lastCourse = rmc.m_course;
    }
    a.speedKmh = rmc.m_speedKmh;
    a.mileageSample = true;
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

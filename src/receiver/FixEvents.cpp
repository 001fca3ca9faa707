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

void ForgetLiveFix(CNMEAParser &parser)
{
    parser.m_gga.m_quality = 0;
    parser.m_gga.m_satellites = 0;
    parser.m_gsa.m_fixMode = 1;
    parser.m_gsa.m_used.Clear();
    parser.m_gsv.m_inView = 0;
    parser.m_gsv.m_moreToCome = false;
    parser.m_sky.Reset();
    parser.m_rmc.m_status.assign(1, 'V'); // not = "V": g++ 12 warns falsely (-Wrestrict)
    parser.m_rmc.m_speedKnots = 0.0;
    parser.m_rmc.m_speedKmh = 0.0;
}

std::time_t RMCTimeAsUTC(const CRMCSentence &rmc)
{
    std::tm fields{};
    if (localtime_r(&rmc.m_dateTime, &fields) == nullptr)
        return rmc.m_dateTime;
    return timegm(&fields);
}

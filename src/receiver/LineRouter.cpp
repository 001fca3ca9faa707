#include "receiver/LineRouter.h"

#include "base/Numbers.h"
#include "nmea/NMEAParser.h"

#include <string_view>

CLineRoute RouteLine(int type, const CNMEAParser &parser)
{
    CLineRoute r;
    // Another talker's copy of the followed fix: nothing new to show.
    if (!parser.WasUsed())
        return r;
    const bool allSystems = parser.GetMode() == GnssMode::AllSystems;
    switch (type) {
    case kSentenceGGA: {
        const CGGASentence &gga = parser.m_gga;
        r.navigation = true;
        r.altitude = gga.m_altitude - gga.m_geoidSeparation;
        r.timeOfDay = SecondsOfDay(gga.m_time);
        if (gga.m_quality != 0)
            r.fix = gga.m_position;
        break;
    }
    case kSentenceRMC:
        r.fixEvents = true;
        break;
    default:
        break;
    }
    // All systems: the sky is complete when the run of GSVs has ended, whatever ended it.
    r.satellites =
        allSystems ? parser.SkyChanged() : type == kSentenceGSV && parser.m_gsv.IsGroupComplete();
    if (r.satellites && parser.GetSatellitesInView() != 0)
        r.reception =
            static_cast<double>(parser.GetSatellitesInUse()) / parser.GetSatellitesInView();
    if (type == kSentenceGGA || type == kSentenceRMC)
        r.fixLost = parser.m_gga.m_quality == 0 || parser.m_rmc.m_status == "V";
    return r;
}

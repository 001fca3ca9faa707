#include "app/LineRouter.h"

#include "nmea/NMEAParser.h"
#include "nmea/Numbers.h"

#include <string_view>

CLineRoute RouteLine(int type, const CNMEAParser &parser)
{
    CLineRoute r;
    switch (type) {
    case kSentenceGGA: {
        const CGGASentence &gga = parser.m_gga;
        r.navigation = true;
        r.altitude = gga.m_altitude - gga.m_geoidSeparation;
        if (gga.m_time.size() >= 6) {
            // hhmmss.ss: whole hours and minutes, the seconds with their fraction.
            const std::string_view time = gga.m_time;
            const double hours = ToInt(time.substr(0, 2));
            const double minutes = ToInt(time.substr(2, 2));
            r.timeOfDay = (hours * 60 + minutes) * 60 + ToDouble(time.substr(4));
        }
        if (gga.m_quality != 0)
            r.fix = gga.m_position;
        break;
    }
    case kSentenceGSV:
        if (parser.m_gsv.IsGroupComplete()) {
            r.satellites = true;
            if (parser.m_gsv.m_inView != 0)
                r.reception =
                    static_cast<double>(parser.m_gga.m_satellites) / parser.m_gsv.m_inView;
        }
        break;
    case kSentenceRMC:
        r.fixEvents = true;
        break;
    default:
        break;
    }
    if (type == kSentenceGGA || type == kSentenceRMC)
        r.fixLost = parser.m_gga.m_quality == 0 || parser.m_rmc.m_status == "V";
    return r;
}

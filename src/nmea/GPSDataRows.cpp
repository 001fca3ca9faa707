#include "GPSDataRows.h"

#include "NMEAParser.h"
#include "Numbers.h"
#include "geo/CoordinateFormat.h"
#include "geo/Distance.h"
#include "geo/UTM.h"

#include <utility>

namespace
{

// The same 1609.3 m mile the distance texts use, so speed and distance agree.
constexpr double kMphPerKmh = 0.6213881811967936;

const char *FixQualityText(int quality)
{
    switch (quality) {
    case 0:
        return "no fix";
    case 1:
        return "GPS fix";
    case 2:
        return "DGPS fix";
    default:
        return "?";
    }
}

const char *FixModeText(int fixMode)
{
    switch (fixMode) {
    case 1:
        return "n.a.";
    case 2:
        return "2D";
    case 3:
        return "3D";
    default:
        return nullptr;
    }
}

std::string DilutionText(double value, double average)
{
    return FormatC("%05.2lf %05.2lf", value, average);
}

// Heights go out in feet at sea: nautical miles would be useless for an altitude.
int AltitudeUnitSystem(int unitMode)
{
    switch (unitMode) {
    case kUnitModeMetric:
        return 1;
    case kUnitModeImperial:
    case kUnitModeNautical:
        return 2;
    default:
        return 0;
    }
}

} // namespace

CDataRows BuildReceptionRows(const CNMEAParser &parser)
{
    std::string quality = FixQualityText(parser.m_gga.m_quality);
    if (const char *mode = FixModeText(parser.m_gsa.m_fixMode))
        quality.append(" / ").append(mode);
    return {
        {"Satellites in use:",
         FormatC("%d of %d sats", parser.m_gga.m_satellites, parser.m_gsv.m_inView)},
        {"Quality of fix:", std::move(quality)},
    };
}

CDataRows BuildDilutionRows(const CNMEAParser &parser)
{
    const CGSASentence &gsa = parser.m_gsa;
    // An empty history has a zero sum; so does one fed only zero HDOPs, and both hide all three.
    const bool haveAverages = gsa.m_hdopHistory.GetSum() != 0.0;
    return {
        {"Position DOP:", DilutionText(gsa.m_pdop, haveAverages ? gsa.GetAveragePDOP() : 0.0)},
        {"Horizontal DOP:", DilutionText(gsa.m_hdop, haveAverages ? gsa.GetAverageHDOP() : 0.0)},
        {"Vertical DOP:", DilutionText(gsa.m_vdop, haveAverages ? gsa.GetAverageVDOP() : 0.0)},
    };
}

CDataRows BuildPositionRows(const CNMEAParser &parser, int coordinateFormat, int unitMode)
{
    const CGGASentence &gga = parser.m_gga;
    CDataRows rows;
    if (coordinateFormat == kFormatUTM) {
        double northing = 0.0;
        double easting = 0.0;
        std::string zone;
        LatLonToUTM(gga.m_position, northing, easting, zone);
        rows.push_back({"Easting Zone:", FormatC("%.2f %s", easting, zone.c_str())});
        rows.push_back({"Northing:", FormatC("%.2f", northing)});
    } else {
        rows.push_back({"Latitude:", FormatLatitude(gga.m_position, coordinateFormat, true)});
        rows.push_back({"Longitude:", FormatLongitude(gga.m_position, coordinateFormat, true)});
    }
    std::string altitude;
    CDistance(gga.m_altitude - gga.m_geoidSeparation)
        .Format(altitude, AltitudeUnitSystem(unitMode));
    // Without a separation the text is the receiver's sea-level height unchanged.
    const char *label = gga.m_geoidSeparation == 0.0 ? "Altitude (geoid):" : "Altitude (corr.):";
    rows.push_back({label, std::move(altitude)});
    return rows;
}

CDataRows BuildHeadingRows(const CNMEAParser &parser, int unitMode)
{
    const CRMCSentence &rmc = parser.m_rmc;
    std::string speed;
    switch (unitMode) {
    case kUnitModeMetric:
        speed = FormatC("%.1lf km/h", rmc.m_speedKmh);
        break;
    case kUnitModeImperial:
        speed = FormatC("%.1lf mph", rmc.m_speedKmh * kMphPerKmh);
        break;
    case kUnitModeNautical:
        speed = FormatC("%.1lf knots", rmc.m_speedKnots);
        break;
    default:
        break;
    }
    return {
        {"Speed:", std::move(speed)},
        {"Heading:", FormatC("%.1lf", rmc.m_course)},
    };
}

#include "GPSDataRows.h"

#include "NMEAParser.h"
#include "base/Numbers.h"
#include "geo/CoordinateFormat.h"
#include "geo/Distance.h"
#include "geo/UTM.h"

#include <utility>

namespace
{

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
    return FormatC("%.2lf (avg %.2lf)", value, average);
}

// Heights go out in feet at sea: nautical miles would be useless for an altitude.
UnitSystem AltitudeUnitSystem(UnitSystem units)
{
    return units == UnitSystem::Metric ? UnitSystem::Metric : UnitSystem::Imperial;
}

} // namespace

CDataRows BuildReceptionRows(const CNMEAParser &parser)
{
    std::string quality = FixQualityText(parser.m_gga.m_quality);
    if (const char *mode = FixModeText(parser.m_gsa.m_fixMode))
        quality.append(" / ").append(mode);
    CDataRows rows = {
        {"Satellites in use:",
         FormatC("%d of %d sats", parser.GetSatellitesInUse(), parser.GetSatellitesInView())},
        {"Quality of fix:", std::move(quality)},
    };
    if (parser.GetMode() == GnssMode::AllSystems)
        for (const CSystemCount &c : parser.m_sky.GetSystemCounts())
            rows.push_back({std::string(GnssSystemName(c.system)) + ':',
                            FormatC("%d of %d sats", c.inUse, c.inView)});
    return rows;
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

CDataRows BuildPositionRows(const CNMEAParser &parser, CoordinateFormat coordinateFormat,
                            UnitSystem units)
{
    const CGGASentence &gga = parser.m_gga;
    CDataRows rows;
    if (coordinateFormat == CoordinateFormat::UTM) {
        double northing = 0.0;
        double easting = 0.0;
        std::string zone;
        LatLonToUTM(gga.m_position, northing, easting, zone);
        rows.push_back({"Easting Zone:", FormatC("%.2f %s", easting, zone.c_str())});
        rows.push_back({"Northing:", FormatC("%.2f", northing)});
    } else {
        rows.push_back({"Latitude:", DisplayLatitude(gga.m_position, coordinateFormat)});
        rows.push_back({"Longitude:", DisplayLongitude(gga.m_position, coordinateFormat)});
    }
    std::string altitude;
    CDistance(gga.m_altitude - gga.m_geoidSeparation).Format(altitude, AltitudeUnitSystem(units));
    // Without a separation the text is the receiver's sea-level height unchanged.
    const char *label = gga.m_geoidSeparation == 0.0 ? "Altitude (geoid):" : "Altitude (corr.):";
    rows.push_back({label, std::move(altitude)});
    return rows;
}

CDataRows BuildHeadingRows(const CNMEAParser &parser, UnitSystem units)
{
    const CRMCSentence &rmc = parser.m_rmc;
    double shown = rmc.m_speedKmh;
    if (units == UnitSystem::Imperial)
        shown = rmc.m_speedKmh * kMphPerKmh;
    else if (units == UnitSystem::Nautic)
        shown = rmc.m_speedKnots;
    return {
        {"Speed:", FormatC("%.1lf ", shown).append(UnitLabel(UnitQuantity::Speed, units))},
        {"Heading:", FormatC("%.1lf", rmc.m_course).append(kDegreeSign)},
    };
}

#include "waypoints/WaypointFields.h"

#include "geo/UTM.h"
#include "nmea/Numbers.h"

#include <cmath>

namespace
{

constexpr std::uint32_t kFirstZone = 1;
constexpr std::uint32_t kLastZone = 60;

// The converter takes any text and reads garbage as some far-off zone; a typo must not move the
// waypoint to the other side of the globe. The band letter is upper-cased: the converter decides
// the hemisphere by comparing bytes, and "55h" is as southern as "55H".
bool ReadZone(const std::string &text, std::string &zone)
{
    std::uint32_t number = 0;
    std::size_t end = 0;
    if (ScanUnsigned(text, number, &end) != 1 || number < kFirstZone || number > kLastZone
        || end >= text.size())
        return false;
    char letter = text[end];
    if (letter >= 'a' && letter <= 'z')
        letter = static_cast<char>(letter - 'a' + 'A');
    if (letter < 'C' || letter > 'X')
        return false;
    zone = text.substr(0, end) + letter;
    return true;
}

} // namespace

CWaypointFields FieldsOfWaypoint(const CWaypoint &waypoint, CoordinateFormat format)
{
    CWaypointFields fields;
    fields.m_name = waypoint.m_name;
    const CGeoPosition &position = waypoint.m_position;
    if (format == CoordinateFormat::UTM) {
        double northing = 0.0;
        double easting = 0.0;
        LatLonToUTM(position, northing, easting, fields.m_zone);
        fields.m_first = FormatC("%.2f", northing);
        fields.m_second = FormatC("%.2f", easting);
    } else {
        // Below zero, not the suffix rule: 0.0 is shown as East and North here.
        fields.m_first = FormatLongitude(position, format, false);
        fields.m_firstHemisphere = position.m_longitude < 0.0 ? 1 : 0;
        fields.m_second = FormatLatitude(position, format, false);
        fields.m_secondHemisphere = position.m_latitude < 0.0 ? 1 : 0;
    }
    fields.m_radius = FormatC("%.1lf", waypoint.m_radius);
    fields.m_description = waypoint.m_description;
    fields.m_type = waypoint.m_type;
    fields.m_action = waypoint.m_action;
    return fields;
}

CWaypointFields FieldsOfPosition(const CGeoPosition &position, CoordinateFormat format)
{
    CWaypoint waypoint;
    waypoint.m_position = position;
    return FieldsOfWaypoint(waypoint, format);
}

bool ApplyFields(const CWaypointFields &fields, CoordinateFormat format, CWaypoint &waypoint)
{
    bool positionRead = true;
    if (format == CoordinateFormat::UTM) {
        double northing = 0.0;
        double easting = 0.0;
        std::string zone;
        positionRead = ScanDouble(fields.m_first, northing) == 1
                       && ScanDouble(fields.m_second, easting) == 1 && std::isfinite(northing)
                       && std::isfinite(easting) && ReadZone(fields.m_zone, zone);
        if (positionRead)
            UTMToLatLon(waypoint.m_position, northing, easting, zone);
    } else {
        ParsePosition(waypoint.m_position, fields.m_first, fields.m_firstHemisphere,
                      fields.m_second, fields.m_secondHemisphere, format);
    }
    waypoint.m_name = fields.m_name;
    // "nan" and "inf" scan as numbers, but no proximity test could ever use them.
    double radius = 0.0;
    if (ScanDouble(fields.m_radius, radius) == 1 && std::isfinite(radius))
        waypoint.m_radius = radius;
    waypoint.m_description = fields.m_description;
    waypoint.m_type = fields.m_type;
    waypoint.m_action = fields.m_action;
    return positionRead;
}

std::pair<std::string, std::string> RowTexts(const CWaypoint &waypoint, CoordinateFormat format)
{
    return {waypoint.m_name, FormatPosition(waypoint.m_position, " : ", format)};
}

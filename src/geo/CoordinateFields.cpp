#include "geo/CoordinateFields.h"

#include "base/Numbers.h"
#include "geo/CoordinateRange.h"
#include "geo/UTM.h"

#include <cmath>
#include <cstdint>

namespace
{

constexpr std::uint32_t kFirstZone = 1;
constexpr std::uint32_t kLastZone = 60;

// The converter takes any text and reads garbage as some far-off zone; a typo must not move the
// position to the other side of the globe. The band letter is upper-cased: the converter decides
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

CCoordinateFields CoordinateFieldsOf(const CGeoPosition &position, CoordinateFormat format)
{
    CCoordinateFields fields;
    if (format == CoordinateFormat::UTM) {
        double northing = 0.0;
        double easting = 0.0;
        LatLonToUTM(position, northing, easting, fields.m_zone);
        fields.m_longitude = FormatC("%.2f", easting);
        fields.m_latitude = FormatC("%.2f", northing);
    } else {
        // Below zero, not the suffix rule: 0.0 is shown as East and North here.
        fields.m_longitude = FormatLongitude(position, format, false);
        fields.m_longitudeHemisphere = position.m_longitude < 0.0 ? 1 : 0;
        fields.m_latitude = FormatLatitude(position, format, false);
        fields.m_latitudeHemisphere = position.m_latitude < 0.0 ? 1 : 0;
    }
    return fields;
}

namespace
{

// The position the texts make, or the message why they make none.
const char *Read(const CCoordinateFields &fields, CoordinateFormat format, CGeoPosition &position)
{
    CGeoPosition typed = position;
    if (format != CoordinateFormat::UTM) {
        ParsePosition(typed, fields.m_longitude, fields.m_longitudeHemisphere, fields.m_latitude,
                      fields.m_latitudeHemisphere, format);
    } else {
        double northing = 0.0;
        double easting = 0.0;
        std::string zone;
        if (ScanDouble(fields.m_latitude, northing) != 1
            || ScanDouble(fields.m_longitude, easting) != 1 || !std::isfinite(northing)
            || !std::isfinite(easting) || !ReadZone(fields.m_zone, zone))
            return kUnreadableUtmMessage;
        UTMToLatLon(typed, northing, easting, zone);
    }
    if (!IsValidPosition(typed))
        return kCoordinateRangeMessage;
    position = typed;
    return nullptr;
}

} // namespace

bool ReadCoordinateFields(const CCoordinateFields &fields, CoordinateFormat format,
                          CGeoPosition &position)
{
    return Read(fields, format, position) == nullptr;
}

const char *CoordinateFieldsProblem(const CCoordinateFields &fields, CoordinateFormat format,
                                    const CGeoPosition &position)
{
    CGeoPosition copy = position;
    return Read(fields, format, copy);
}

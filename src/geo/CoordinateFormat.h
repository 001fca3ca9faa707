#pragma once

#include "nmea/GeoPosition.h"

#include <string>
#include <string_view>

/// The coordinate notation chosen in the Coordinates menu.
enum CoordinateFormat : int { kFormatDD = 1, kFormatDDMM = 2, kFormatDDMMSS = 3, kFormatUTM = 4 };

/// Text of the absolute angle in DD, DDMM or DDMMSS notation; other formats leave `out` as it was.
void FormatAngle(std::string &out, double value, int format);

/// Latitude angle text, with " N" (above 0.0) or " S" (0.0 and below) when withSuffix is set.
std::string FormatLatitude(const CGeoPosition &position, int format, bool withSuffix);

/// Longitude angle text, with " E" (above 0.0) or " W" (0.0 and below) when withSuffix is set.
std::string FormatLongitude(const CGeoPosition &position, int format, bool withSuffix);

/// Latitude, separator, longitude; in UTM easting, separator, northing, separator, zone. An
/// unknown format gives the separator alone.
std::string FormatPosition(const CGeoPosition &position, std::string_view separator, int format);

/// Sets longitude, then latitude, from typed DD, DDMM or DDMMSS text; hemisphere 1 is S or W,
/// 0 N or E. Text that is no number leaves its coordinate. Returns 1, or 0 for any other format.
int ParsePosition(CGeoPosition &position, std::string_view longitudeText, int longitudeHemisphere,
                  std::string_view latitudeText, int latitudeHemisphere, int format);

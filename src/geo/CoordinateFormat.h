#pragma once

#include "base/CoordinateFormat.h"
#include "base/GeoPosition.h"

#include <string>
#include <string_view>

/// What a coordinate that is no number (or, in UTM, a position off the earth) shows.
inline constexpr const char *kNoCoordinate = "---";

/// Text of the absolute angle in DD, DDMM or DDMMSS notation, kNoCoordinate for NaN or an
/// infinity (and no hemisphere suffix below); other formats leave `out` as it was.
void FormatAngle(std::string &out, double value, CoordinateFormat format);

/// Latitude angle text, with " N" (above 0.0) or " S" (0.0 and below) when withSuffix is set.
std::string FormatLatitude(const CGeoPosition &position, CoordinateFormat format, bool withSuffix);

/// Longitude angle text, with " E" (above 0.0) or " W" (0.0 and below) when withSuffix is set.
std::string FormatLongitude(const CGeoPosition &position, CoordinateFormat format, bool withSuffix);

/// Latitude, separator, longitude; in UTM easting, separator, northing, separator, zone, or
/// kNoCoordinate for a position out of range. An unknown format gives the separator alone.
std::string FormatPosition(const CGeoPosition &position, std::string_view separator,
                           CoordinateFormat format);

/// The degree, prime and double prime signs (U+00B0, U+2032, U+2033) in UTF-8.
inline constexpr const char *kDegreeSign = "\u00B0";
inline constexpr const char *kMinuteSign = "\u2032";
inline constexpr const char *kSecondSign = "\u2033";

/// The on-screen text of the absolute angle: "48.140233°", "48° 08.4140′", "48° 08′ 24.84″",
/// rounded with the carry ("47° 60.0000′" reads "48° 00.0000′"). kNoCoordinate for NaN or an
/// infinity; empty for other formats. Files and the command line keep FormatAngle's digits;
/// ParsePosition reads both.
std::string DisplayAngle(double value, CoordinateFormat format);

/// DisplayAngle with the hemisphere, by FormatLatitude's and FormatLongitude's rule.
std::string DisplayLatitude(const CGeoPosition &position, CoordinateFormat format);
std::string DisplayLongitude(const CGeoPosition &position, CoordinateFormat format);

/// FormatPosition for the screen: DisplayLatitude, separator, DisplayLongitude; UTM and unknown
/// formats as FormatPosition has them.
std::string DisplayPosition(const CGeoPosition &position, std::string_view separator,
                            CoordinateFormat format);

/// Sets longitude, then latitude, from typed DD, DDMM or DDMMSS text; hemisphere 1 is S or W,
/// 0 N or E. Text with a degree sign is read as DisplayAngle writes it, whatever the format
/// ("48° 08.4140′"; ' and " do for the primes). Text that is no number, or signed text of
/// another shape, leaves its coordinate. Returns 1, or 0 for any other format.
int ParsePosition(CGeoPosition &position, std::string_view longitudeText, int longitudeHemisphere,
                  std::string_view latitudeText, int latitudeHemisphere, CoordinateFormat format);

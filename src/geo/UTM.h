#pragma once

#include "base/GeoPosition.h"

#include <string>
#include <string_view>

/// Truncation toward zero to int, defined for every double: out-of-range values saturate at
/// INT_MIN/INT_MAX and NaN gives 0.
int TruncToInt(double value);

/// WGS84 position to UTM easting and northing (metres) and zone text such as "32U".
void LatLonToUTM(const CGeoPosition &position, double &northing, double &easting,
                 std::string &zone);

/// UTM northing, easting and zone text back to latitude and longitude; the height is kept.
void UTMToLatLon(CGeoPosition &position, double northing, double easting, std::string_view zone);

/// UTM latitude band letter; 'Z' outside the UTM latitude range (above 84 or below -80).
char UTMLetterDesignator(double latitude);

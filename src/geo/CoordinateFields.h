#pragma once

#include "base/GeoPosition.h"
#include "geo/CoordinateFormat.h"

#include <string>

/// A position as the coordinate edits of a form show it. In UTM easting, northing and zone;
/// otherwise longitude and latitude without sign, the hemisphere choices carrying it (0 East or
/// North, 1 West or South).
struct CCoordinateFields {
    std::string m_longitude; ///< or the easting
    int m_longitudeHemisphere = 0;
    std::string m_latitude; ///< or the northing
    int m_latitudeHemisphere = 0;
    std::string m_zone;

    bool operator==(const CCoordinateFields &) const = default;
};

/// The edits' texts for `position`: UTM metres with two decimals; the hemisphere choices West and
/// South only below zero.
[[nodiscard]] CCoordinateFields CoordinateFieldsOf(const CGeoPosition &position,
                                                   CoordinateFormat format);

/// Writes the typed coordinates into `position`. A DD, DDMM or DDMMSS text that is no number
/// keeps its coordinate; in UTM an unreadable easting, northing or zone keeps the whole position,
/// and the result is false. So does a position off the earth (a latitude beyond ±90, a
/// longitude beyond ±180, NaN or infinity typed as text).
bool ReadCoordinateFields(const CCoordinateFields &fields, CoordinateFormat format,
                          CGeoPosition &position);

/// Why ReadCoordinateFields would keep the position, as a sentence for the user; nullptr when
/// it would take the texts.
[[nodiscard]] const char *CoordinateFieldsProblem(const CCoordinateFields &fields,
                                                  CoordinateFormat format,
                                                  const CGeoPosition &position);

inline constexpr const char *kUnreadableUtmMessage =
    "The easting, northing or zone cannot be read.";
inline constexpr const char *kCoordinateRangeMessage =
    "The latitude must lie between -90 and 90 degrees and the longitude between -180 and 180 "
    "degrees.";

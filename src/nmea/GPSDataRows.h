#pragma once

#include "base/Units.h"
#include "geo/CoordinateFormat.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

class CNMEAParser;

/// One line of the GPS values page: a label and its value text.
struct CDataRow {
    std::string label;
    std::string value;
};
using CDataRows = std::vector<CDataRow>;

/// Section captions in drawing order.
inline constexpr std::array<std::string_view, 4> kDataSectionCaptions = {"Reception", "Dilution",
                                                                         "Position", "Heading"};

/// Satellites in use of those in view, and the fix quality with the GSA fix mode; with all
/// systems, then a row per system.
CDataRows BuildReceptionRows(const CNMEAParser &parser);

/// PDOP, HDOP and VDOP, each with its average over the GSA history.
CDataRows BuildDilutionRows(const CNMEAParser &parser);

/// The GGA position in `coordinateFormat` (UTM gives easting and northing) and the altitude in
/// metres or, at sea too, feet.
CDataRows BuildPositionRows(const CNMEAParser &parser, CoordinateFormat coordinateFormat,
                            UnitSystem units);

/// Speed in km/h, mph or knots, and the course.
CDataRows BuildHeadingRows(const CNMEAParser &parser, UnitSystem units);

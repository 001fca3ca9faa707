#pragma once

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

/// Unit modes of the page: 1 metric (km/h), 2 imperial (mph), 3 nautical (knots).
enum DataUnitMode : int { kUnitModeMetric = 1, kUnitModeImperial = 2, kUnitModeNautical = 3 };

/// Section captions in drawing order.
inline constexpr std::array<std::string_view, 4> kDataSectionCaptions = {"Reception", "Dilution",
                                                                         "Position", "Heading"};

/// Satellites in use of those in view, and the fix quality with the GSA fix mode.
CDataRows BuildReceptionRows(const CNMEAParser &parser);

/// PDOP, HDOP and VDOP, each with its average over the GSA history.
CDataRows BuildDilutionRows(const CNMEAParser &parser);

/// The GGA position in `coordinateFormat` (UTM gives easting and northing) and the altitude.
/// An unknown unit mode leaves the altitude text empty.
CDataRows BuildPositionRows(const CNMEAParser &parser, int coordinateFormat, int unitMode);

/// Speed in the unit mode (empty text for an unknown mode) and the course.
CDataRows BuildHeadingRows(const CNMEAParser &parser, int unitMode);

#pragma once

#include "base/Units.h"
#include "maps/MapInfo.h"

#include <optional>
#include <string>
#include <vector>

/// A point of the window in device pixels.
using CScreenPoint = CMapPoint;

/// What a drag with the distance tool measured, in metres.
struct CDistanceMeasure {
    double airLineMetres = 0.0; ///< first to last point of the path
    double groundMetres = 0.0;  ///< along the path
};

/// The distances of a drag over the map view whose top-left map pixel is `viewOrigin` at `zoom`
/// map pixels per screen pixel. A screen point S lies on map pixel origin + trunc(S × zoom).
/// Nothing is measured for a tap (fewer than 4 points and `up` less than a pixel from `down`),
/// an empty path or an uncalibrated map. Repeated screen points add nothing to the ground.
std::optional<CDistanceMeasure> MeasureDrag(const std::vector<CScreenPoint> &path,
                                            CScreenPoint down, CScreenPoint up,
                                            CMapPoint viewOrigin, double zoom, const CMapInfo &map);

/// "air-line:  D1\nground: D2" in the unit system.
std::string DistanceMeasureText(const CDistanceMeasure &measure, UnitSystem units);

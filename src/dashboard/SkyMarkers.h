#pragma once

#include "base/Rgb.h"
#include "nmea/GnssSystem.h"

#include <cstdint>
#include <vector>

struct CSkyView;

/// The outline of a satellite's marker on the sky plot.
enum class SkyMarkerShape : std::uint8_t {
    Circle,
    Square,
    Diamond,
    Triangle,
    InvertedTriangle,
    Hexagon,
    Star,
};

/// How the sky plot tells a system's satellites apart: the shape first, so the systems read in
/// grey and to every eye; the colour (Okabe-Ito, safe for colour-blind eyes) as a second cue.
struct CSkyMarkerStyle {
    SkyMarkerShape shape = SkyMarkerShape::Circle;
    CRgb colour;
};

/// GPS circle, GLONASS square, Galileo diamond, BeiDou triangle, QZSS inverted triangle, SBAS
/// hexagon, NavIC star, others circle.
[[nodiscard]] CSkyMarkerStyle SkyMarkerStyleOf(GnssSystem system);

struct CMarkerVertex {
    double x = 0.0;
    double y = 0.0;
};

/// The corners of the marker around (0, 0), y down, for a satellite whose disc has radius `h`,
/// grown by `grow` pixels (scaled, for all but the square). The shapes are about as heavy as the
/// disc. Empty for the circle.
[[nodiscard]] std::vector<CMarkerVertex> SkyMarkerCorners(SkyMarkerShape shape, int h, double grow);

/// The distance from the centre to the nearest edge of the corners (their inradius); `size`
/// when there are none (the circle).
[[nodiscard]] double SkyMarkerInradius(const std::vector<CMarkerVertex> &corners, double size);

/// The systems of the satellites in view, in GnssSystem order; empty while they are all GPS, so
/// a GPS sky looks as it always has.
[[nodiscard]] std::vector<GnssSystem> SkyLegendSystems(const CSkyView &view);

#include "dashboard/SkyMarkers.h"

#include "dashboard/GaugeMath.h"
#include "dashboard/SkyView.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace
{

// Okabe-Ito, without the black the used outline is drawn in. Night mode inverts them, so each
// must stand out on white and, inverted, on black: the yellow is darkened for that. The most
// common system has the lighter blue, so that the used outline shows beside its rim.
constexpr std::array<CSkyMarkerStyle, kGnssSystemCount> kStyles = {{
    {SkyMarkerShape::Circle, {86, 180, 233}},          // GPS: sky blue
    {SkyMarkerShape::Hexagon, {0, 114, 178}},          // SBAS: blue
    {SkyMarkerShape::Square, {213, 94, 0}},            // GLONASS: vermillion
    {SkyMarkerShape::Diamond, {204, 121, 167}},        // Galileo: reddish purple
    {SkyMarkerShape::Triangle, {0, 158, 115}},         // BeiDou: bluish green
    {SkyMarkerShape::InvertedTriangle, {230, 159, 0}}, // QZSS: orange
    {SkyMarkerShape::Star, {150, 140, 0}},             // NavIC: dark yellow
    {SkyMarkerShape::Circle, {120, 120, 120}},         // others: grey
}};

// Regular polygons and the star, corner 0 straight up (or down), scaled to about the area of
// the disc: the sharper the shape, the further its corners reach.
std::vector<CMarkerVertex> Polygon(int corners, double radius, double startDegrees)
{
    std::vector<CMarkerVertex> v;
    for (int i = 0; i < corners; ++i) {
        const double a = (startDegrees + 360.0 * i / corners) * std::numbers::pi / 180;
        v.push_back({radius * std::sin(a), -radius * std::cos(a)});
    }
    return v;
}

} // namespace

CSkyMarkerStyle SkyMarkerStyleOf(GnssSystem system)
{
    const auto i = static_cast<std::size_t>(system);
    return i < kStyles.size() ? kStyles[i] : kStyles.back();
}

std::vector<CMarkerVertex> SkyMarkerCorners(SkyMarkerShape shape, int h, double grow)
{
    const double scale = h > 0 ? (h + grow) / h : 1.0;
    switch (shape) {
    case SkyMarkerShape::Circle:
        return {};
    case SkyMarkerShape::Square: {
        // Whole pixels, so that its edges stay sharp at a pixel ratio of 1.
        const double s = RoundHalfUp(0.9 * h) + grow;
        return {{-s, -s}, {s, -s}, {s, s}, {-s, s}};
    }
    case SkyMarkerShape::Diamond:
        return Polygon(4, 1.25 * h * scale, 0);
    case SkyMarkerShape::Triangle:
        return Polygon(3, 1.45 * h * scale, 0);
    case SkyMarkerShape::InvertedTriangle:
        return Polygon(3, 1.45 * h * scale, 180);
    case SkyMarkerShape::Hexagon:
        return Polygon(6, 1.0 * h * scale, 30);
    case SkyMarkerShape::Star: {
        std::vector<CMarkerVertex> v = Polygon(10, 1.5 * h * scale, 0);
        for (std::size_t i = 1; i < v.size(); i += 2)
            v[i] = {v[i].x * 0.5, v[i].y * 0.5};
        return v;
    }
    }
    return {};
}

double SkyMarkerInradius(const std::vector<CMarkerVertex> &corners, double size)
{
    if (corners.empty())
        return size;
    double nearest = size * 1e9;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const CMarkerVertex &a = corners[i];
        const CMarkerVertex &b = corners[(i + 1) % corners.size()];
        const double length = std::hypot(b.x - a.x, b.y - a.y);
        if (length > 0)
            nearest = std::min(nearest, std::abs(a.x * b.y - a.y * b.x) / length);
    }
    return nearest;
}

std::vector<GnssSystem> SkyLegendSystems(const CSkyView &view)
{
    std::array<bool, kGnssSystemCount> seen{};
    for (const CSkySatellite &s : view.satellites) {
        const auto i = static_cast<std::size_t>(s.system);
        seen[i < seen.size() ? i : seen.size() - 1] = true;
    }
    std::vector<GnssSystem> systems;
    for (std::size_t i = 0; i < seen.size(); ++i)
        if (seen[i])
            systems.push_back(static_cast<GnssSystem>(i));
    if (systems.size() == 1 && systems.front() == GnssSystem::GPS)
        systems.clear();
    return systems;
}

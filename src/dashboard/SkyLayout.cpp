#include "dashboard/SkyLayout.h"

#include "dashboard/GaugeMath.h"
#include "dashboard/SkyMarkers.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace
{

// The design's sky: a disc of radius / 11 for each of 12 satellites.
constexpr int kDesignSatellites = 12;
constexpr int kDesignDivisor = 11;
// Each round pushes every overlapping pair apart; a sky settles in a few dozen.
constexpr int kNudgeRounds = 200;

struct Spot {
    double x, y;
};

// Inside the circle of `limit` about the centre.
void PullInside(Spot &p, double limit)
{
    const double d = std::hypot(p.x, p.y);
    if (d > limit && d > 0) {
        p.x *= limit / d;
        p.y *= limit / d;
    }
}

// Which way to push two markers on the same spot: along the rim where they are (they may not go
// out, and in would leave the horizon), to the right at the zenith.
Spot Tangent(const Spot &p)
{
    const double d = std::hypot(p.x, p.y);
    if (d < 1e-9)
        return {1.0, 0.0};
    return {-p.y / d, p.x / d};
}

} // namespace

int SkyMarkerHalf(std::size_t count, int radius, int minimum)
{
    const int design = radius / kDesignDivisor;
    int half = design;
    if (count > static_cast<std::size_t>(kDesignSatellites))
        half = static_cast<int>(
            std::floor(design * std::sqrt(kDesignSatellites / static_cast<double>(count))));
    return std::min(design, std::max({half, minimum, 2}));
}

bool SkyLabelsFit(std::size_t count, int radius, int labelled)
{
    const double open = std::max(0, radius - labelled - 1);
    const double marker = labelled + 1.0;
    return static_cast<double>(count) * marker * marker <= open * open / 3;
}

double SkyMarkerReach(GnssSystem system, int half, bool shapes)
{
    // Markers are drawn half a pixel larger than their half size, so they meet their outline.
    constexpr double grow = 0.5;
    if (!shapes)
        return half + grow;
    double reach = half + grow;
    for (const CMarkerVertex &v : SkyMarkerCorners(SkyMarkerStyleOf(system).shape, half, grow))
        reach = std::max(reach, std::hypot(v.x, v.y));
    return reach;
}

CSkyLayout LayoutSky(const std::vector<CSkySatellite> &satellites, int radius, int minimum,
                     bool shapes, const std::vector<CSkyKeepOut> &keepOut)
{
    CSkyLayout layout;
    layout.half = SkyMarkerHalf(satellites.size(), radius, minimum);
    const std::size_t n = satellites.size();
    std::vector<Spot> at(n);
    std::vector<Spot> anchor(n);
    std::vector<double> limit(n);
    layout.markers.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        const CSkySatellite &s = satellites[i];
        const CPoint p = SkyOffset(s.elevation, s.azimuth, radius);
        layout.markers[i].trueX = p.x;
        layout.markers[i].trueY = p.y;
        // Whole pixels, and one to spare for rounding the nudged ones to whole pixels at the end.
        limit[i] =
            std::max(0.0, std::floor(radius - SkyMarkerReach(s.system, layout.half, shapes) - 1.0));
        at[i] = {static_cast<double>(p.x), static_cast<double>(p.y)};
        PullInside(at[i], limit[i]);
        anchor[i] = at[i];
    }
    // Discs that just touch, and a pixel between them; the sharper shapes keep a little more
    // room, half way to their corners, which seldom point at each other.
    std::vector<double> room(n);
    for (std::size_t i = 0; i < n; ++i)
        room[i] = (layout.half + SkyMarkerReach(satellites[i].system, layout.half, shapes)) / 2;
    for (int round = 0; round < kNudgeRounds; ++round) {
        bool moved = false;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i + 1; j < n; ++j) {
                const double dx = at[j].x - at[i].x;
                const double dy = at[j].y - at[i].y;
                const double d = std::hypot(dx, dy);
                const double spacing = room[i] + room[j] + 1.0;
                if (d >= spacing)
                    continue;
                Spot way = d > 1e-9 ? Spot{dx / d, dy / d} : Tangent(at[i]);
                const double push = (spacing - d) / 2 + 0.01;
                at[i] = {at[i].x - way.x * push, at[i].y - way.y * push};
                at[j] = {at[j].x + way.x * push, at[j].y + way.y * push};
                PullInside(at[i], limit[i]);
                PullInside(at[j], limit[j]);
                moved = true;
            }
        for (std::size_t i = 0; i < n; ++i)
            for (const CSkyKeepOut &k : keepOut) {
                const double dx = at[i].x - k.x;
                const double dy = at[i].y - k.y;
                const double d = std::hypot(dx, dy);
                const double need = room[i] + k.radius;
                if (d >= need)
                    continue;
                Spot way = d > 1e-9 ? Spot{dx / d, dy / d} : Tangent(at[i]);
                // Held against the rim: round it along the rim instead, on its own side.
                const bool outward = way.x * at[i].x + way.y * at[i].y > 0;
                if (outward && std::hypot(at[i].x, at[i].y) >= limit[i] - 0.5) {
                    way = Tangent(at[i]);
                    if (way.x * dx + way.y * dy < 0)
                        way = {-way.x, -way.y};
                }
                const double push = need - d + 0.01;
                at[i] = {at[i].x + way.x * push, at[i].y + way.y * push};
                PullInside(at[i], limit[i]);
                moved = true;
            }
        if (!moved)
            break;
    }
    for (std::size_t i = 0; i < n; ++i) {
        CSkyMarkerPlace &m = layout.markers[i];
        m.x = RoundHalfUp(at[i].x);
        m.y = RoundHalfUp(at[i].y);
        m.leader = std::hypot(at[i].x - anchor[i].x, at[i].y - anchor[i].y) > layout.half;
    }
    return layout;
}

std::vector<CSkyGridLabel> SkyGridLabels(int radius)
{
    std::vector<CSkyGridLabel> labels;
    const double out = 5.0 * radius / 6;
    for (const auto &[azimuth, text] :
         {std::pair{0, "N"}, std::pair{90, "E"}, std::pair{180, "S"}, std::pair{270, "W"}}) {
        const double a = azimuth * std::numbers::pi / 180;
        labels.push_back({text, out * std::sin(a), -out * std::cos(a), false});
    }
    const double a = kSkyRingLabelAzimuth * std::numbers::pi / 180;
    const double third = radius / 3.0;
    for (const auto &[distance, text] : {std::pair{third, "60"}, std::pair{2 * third, "30"}})
        labels.push_back({text, distance * std::sin(a), -distance * std::cos(a), true});
    return labels;
}

bool SkyLabelsShowNumbers(int mode, bool multiSystem)
{
    if (mode == 1)
        return false;
    if (mode == 2)
        return true;
    return multiSystem;
}

std::vector<CSkyBox> SkyLegendBoxes(std::size_t count, double entry, double row, double side,
                                    double margin)
{
    std::vector<CSkyBox> boxes;
    if (count == 0)
        return boxes;
    // At the design sizes one entry fits a corner beside the rim, and the common skies have
    // four systems at most.
    const std::size_t perCorner = (count + 3) / 4;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t corner = i / perCorner;
        const auto rank = static_cast<double>(i % perCorner);
        const auto rows = static_cast<double>(std::min(perCorner, count - corner * perCorner));
        const double x = corner % 2 == 1 ? side - margin - entry : margin;
        const double y = corner >= 2 ? side - margin - (rows - rank) * row : margin + rank * row;
        boxes.push_back({x, y, entry, row});
    }
    return boxes;
}

bool SkyLegendClearOfDial(const std::vector<CSkyBox> &boxes, double radius)
{
    for (const CSkyBox &b : boxes) {
        const double x = std::clamp(radius, b.left, b.left + b.width);
        const double y = std::clamp(radius, b.top, b.top + b.height);
        if (std::hypot(x - radius, y - radius) < radius)
            return false;
    }
    return true;
}

int SkyLegendEntryAt(const std::vector<CSkyBox> &boxes, double x, double y)
{
    for (std::size_t i = 0; i < boxes.size(); ++i)
        if (boxes[i].Contains(x, y))
            return static_cast<int>(i);
    return -1;
}

#include "maps/DistanceTool.h"

#include "geo/Distance.h"

#include <cmath>

namespace
{

CGeoPosition ScreenToPosition(CScreenPoint screen, CMapPoint origin, double zoom,
                              const CMapInfo &map)
{
    // Summed in double: an absurd zoom must not overflow the 32 bits.
    const CMapPoint pixel{TruncateToPixel(origin.x + std::trunc(screen.x * zoom)),
                          TruncateToPixel(origin.y + std::trunc(screen.y * zoom))};
    CGeoPosition position;
    map.PixelToPosition(pixel, position);
    return position;
}

} // namespace

std::optional<CDistanceMeasure> MeasureDrag(const std::vector<CScreenPoint> &path,
                                            CScreenPoint down, CScreenPoint up,
                                            CMapPoint viewOrigin, double zoom, const CMapInfo &map)
{
    const double dx = static_cast<double>(up.x) - down.x;
    const double dy = static_cast<double>(up.y) - down.y;
    if ((path.size() < 4 && std::sqrt(dx * dx + dy * dy) < 1.0) || path.empty()
        || !map.IsCalibrated())
        return std::nullopt;
    CDistanceMeasure measure;
    CGeoPosition previous = ScreenToPosition(path.front(), viewOrigin, zoom, map);
    for (std::size_t i = 1; i < path.size(); ++i) {
        if (path[i] == path[i - 1])
            continue;
        const CGeoPosition next = ScreenToPosition(path[i], viewOrigin, zoom, map);
        measure.groundMetres += Distance(previous, next);
        previous = next;
    }
    measure.airLineMetres = Distance(ScreenToPosition(path.front(), viewOrigin, zoom, map),
                                     ScreenToPosition(path.back(), viewOrigin, zoom, map));
    return measure;
}

std::string DistanceMeasureText(const CDistanceMeasure &measure, UnitSystem units)
{
    std::string airLine;
    std::string ground;
    CDistance(measure.airLineMetres).Format(airLine, units);
    CDistance(measure.groundMetres).Format(ground, units);
    return "air-line:  " + airLine + "\nground: " + ground;
}

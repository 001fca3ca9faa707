#include "dashboard/SkyMarkerPainter.h"

#include "dashboard/SkyMarkers.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace
{

// The marker's outline shrunk by `inset` pixels towards its centre.
QPainterPath MarkerPath(const QPointF &centre, SkyMarkerShape shape, int h, double grow,
                        double inset)
{
    const std::vector<CMarkerVertex> corners = SkyMarkerCorners(shape, h, grow);
    const double reach = SkyMarkerInradius(corners, h + grow);
    const double scale = std::max(0.0, reach - inset) / reach;
    QPainterPath path;
    if (corners.empty()) {
        path.addEllipse(centre, reach * scale, reach * scale);
        return path;
    }
    path.moveTo(centre + QPointF(corners.front().x, corners.front().y) * scale);
    for (const CMarkerVertex &v : corners)
        path.lineTo(centre + QPointF(v.x, v.y) * scale);
    path.closeSubpath();
    return path;
}

} // namespace

QColor SkySystemColour(GnssSystem system)
{
    const CRgb rgb = SkyMarkerStyleOf(system).colour;
    return {rgb.r, rgb.g, rgb.b};
}

void PaintSkyMarker(QPainter &painter, const QPointF &centre, GnssSystem system, int half,
                    const QColor &fill, double rimWidth, double outline)
{
    PaintSkyMarker(painter, centre, system, half, fill, rimWidth, outline, SkySystemColour(system),
                   Qt::black);
}

void PaintSkyMarker(QPainter &painter, const QPointF &centre, GnssSystem system, int half,
                    const QColor &fill, double rimWidth, double outline, const QColor &rim,
                    const QColor &outlineColour)
{
    const SkyMarkerShape shape = SkyMarkerStyleOf(system).shape;
    painter.save();
    painter.setPen(Qt::NoPen);
    double inset = 0;
    if (outline > 0) {
        painter.setBrush(outlineColour);
        painter.drawPath(MarkerPath(centre, shape, half, 0.5, 0));
        inset = outline;
    }
    painter.setBrush(rim);
    painter.drawPath(MarkerPath(centre, shape, half, 0.5, inset));
    painter.setBrush(fill);
    painter.drawPath(MarkerPath(centre, shape, half, 0.5, inset + rimWidth));
    painter.restore();
}

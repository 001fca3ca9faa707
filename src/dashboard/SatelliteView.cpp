#include "dashboard/SatelliteView.h"

#include "dashboard/SkyMarkers.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace
{

// The plot's coordinates name pixels, as the sky offsets do; a 1-pixel line through a pixel's
// centre stays sharp.
QPointF Pixel(double x, double y)
{
    return {x + 0.5, y + 0.5};
}

// Text over the grid: the lines stop short of it.
void DrawLabel(QPainter &painter, const QRectF &box, const QString &text, const QColor &ground)
{
    const QRectF bounds =
        painter.fontMetrics().boundingRect(box.toRect(), Qt::AlignCenter, text).toRectF();
    painter.fillRect(bounds.adjusted(-1, 0, 1, 0), ground);
    painter.drawText(box, Qt::AlignCenter, text);
}

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

// A marker of a system: the used outline on its outermost pixels when used, a rim of the
// system's colour inside it, the fill within. Nested areas rather than pens keep the rings even
// on every shape.
void DrawMarker(QPainter &painter, const QPointF &centre, SkyMarkerShape shape, int h,
                const QColor &fill, const QColor &rim, double rimWidth, double outline,
                const QColor &outlineColour)
{
    painter.setPen(Qt::NoPen);
    double inset = 0;
    if (outline > 0) {
        painter.setBrush(outlineColour);
        painter.drawPath(MarkerPath(centre, shape, h, 0.5, 0));
        inset = outline;
    }
    painter.setBrush(rim);
    painter.drawPath(MarkerPath(centre, shape, h, 0.5, inset));
    painter.setBrush(fill);
    painter.drawPath(MarkerPath(centre, shape, h, 0.5, inset + rimWidth));
}

} // namespace

CSatelliteView::CSatelliteView(QWidget *parent)
    : CGauge(tr("Satellites"), parent)
{
    StoreMode(kModeSignal);
    SetModeNames({tr("Signal To Noise Ratio"), tr("Pseudo Random Noise ID")});
}

void CSatelliteView::SetSatellites(const CSkyView &view)
{
    m_view = view;
    update();
}

void CSatelliteView::Reset()
{
    m_view.reset();
    update();
}

QString CSatelliteView::GetValueText() const
{
    return m_view ? tr("%1 of %2 sats in use").arg(m_view->inUse).arg(m_view->inView)
                  : tr("No Satellites in view");
}

int CSatelliteView::GridLabelPoints() const
{
    return RoundHalfUp(std::sqrt(DesignRadius()));
}

int CSatelliteView::SatelliteLabelPoints() const
{
    return RoundHalfUp(std::sqrt(DesignRadius()) - 2);
}

CSkyColours CSatelliteView::Colours() const
{
    return CSkyColours(IsNightRed(), GetFreshness() != GaugeFreshness::Live);
}

void CSatelliteView::DrawBackground(QPainter &painter)
{
    const CSkyColours colours = Colours();
    CopyPageBackground(painter);
    const int radius = GetRadius();
    const int c = radius;
    painter.save();
    painter.setPen(QPen(colours.Grid(), 1));
    painter.setBrush(Qt::NoBrush);
    // Elevation 60 and 30.
    for (int k = 1; k <= 2; ++k) {
        const double r = k * (radius / 3);
        painter.drawEllipse(Pixel(c, c), std::floor(r + 0.5), std::floor(r + 0.5));
    }
    // Spokes every 30 degrees.
    for (int j = 0; j < 6; ++j) {
        const double a = j * (-std::numbers::pi / 6);
        const int dx = RoundHalfUp(radius * std::sin(a));
        const int dy = RoundHalfUp(radius * std::cos(a));
        painter.drawLine(Pixel(c + dx, c + dy), Pixel(c - dx, c - dy));
    }
    const int points = GridLabelPoints();
    if (points >= kSmallestLabel) {
        painter.setFont(GaugeFont(points));
        painter.setPen(colours.Label());
        const double half = painter.fontMetrics().height() / 2.0;
        // Tens of degrees of azimuth, on every other spoke at 5/6 of the radius; the ends at
        // j x -30 degrees, and their mirrors, are these azimuths.
        struct Ends {
            int j;
            const char *near, *far;
        };
        constexpr Ends ends[] = {{0, "S", "N"}, {2, "24", "6"}, {4, "30", "12"}};
        for (const Ends &e : ends) {
            const double a = e.j * (-std::numbers::pi / 6);
            const double dx = 5.0 * radius / 6 * std::sin(a);
            const double dy = 5.0 * radius / 6 * std::cos(a);
            for (const auto &[sign, text] : {std::pair{1, e.near}, std::pair{-1, e.far}}) {
                const QPointF at = Pixel(c + sign * dx, c + sign * dy);
                DrawLabel(painter, QRectF(at.x() - radius, at.y() - half, 2.0 * radius, 2 * half),
                          QString::fromLatin1(text), colours.LabelGround());
            }
        }
        // Elevations of the rings, on the west spoke.
        const double third = radius / 3.0;
        for (const auto &[distance, text] : {std::pair{third, "60"}, std::pair{2 * third, "30"}}) {
            const QPointF at = Pixel(c - distance, c);
            DrawLabel(painter, QRectF(at.x() - third, at.y() - half, 2 * third, 2 * half),
                      QString::fromLatin1(text), colours.LabelGround());
        }
    }
    painter.restore();
}

void CSatelliteView::DrawAnalog(QPainter &painter)
{
    if (!m_view)
        return;
    const int radius = GetRadius();
    const int c = radius;
    const int h = radius / 11;
    const bool labels = SatelliteLabelPoints() >= kSmallestLabel;
    const std::vector<GnssSystem> systems = SkyLegendSystems(*m_view);
    painter.save();
    // Under the satellites: a legend may hide the horizon of its corner, never a satellite.
    if (!systems.empty() && labels)
        DrawLegend(painter, systems);
    if (labels)
        painter.setFont(GaugeFont(SatelliteLabelPoints()));
    // Only the signal greys when the report is old: which satellites were used, their systems
    // and labels stay readable on the grey.
    const CSkyColours colours = Colours();
    const QPen outline(colours.UsedOutline(), 1);
    const double rimWidth = std::max(1.5, h / 5.0);
    const double usedWidth = std::max(1.0, h / 7.0);
    for (const CSkySatellite &s : m_view->satellites) {
        const CPoint at = SkyOffset(s.elevation, s.azimuth, radius);
        const QColor fill = colours.SignalFill(s.snr);
        if (systems.empty()) {
            painter.setBrush(fill);
            painter.setPen(s.used ? outline : Qt::NoPen);
            // The pen runs along the disc's outermost pixels; without it the fill reaches them.
            const double r = s.used ? h : h + 0.5;
            painter.drawEllipse(Pixel(c + at.x, c + at.y), r, r);
        } else {
            const CSkyMarkerStyle style = SkyMarkerStyleOf(s.system);
            DrawMarker(painter, Pixel(c + at.x, c + at.y), style.shape, h, fill,
                       colours.SystemRim(s.system), rimWidth, s.used ? usedWidth : 0,
                       colours.UsedOutline());
        }
        if (labels) {
            painter.setPen(colours.MarkerLabel());
            painter.drawText(QRectF(c + at.x - h, c + at.y - h, 2 * h + 2, 2 * h + 1),
                             Qt::AlignCenter,
                             QString::number(GetMode() == kModeNumber ? s.prn : s.snr));
        }
    }
    painter.restore();
}

void CSatelliteView::DrawLegend(QPainter &painter, const std::vector<GnssSystem> &systems) const
{
    const CSkyColours colours = Colours();
    painter.save();
    painter.setFont(GaugeFont(SatelliteLabelPoints()));
    const QFontMetricsF metrics(painter.font());
    double textWidth = 0;
    for (const GnssSystem system : systems)
        textWidth = std::max(
            textWidth, metrics.horizontalAdvance(QString::fromLatin1(GnssSystemShortName(system))));
    const double row = metrics.height();
    const int h = std::max(2, RoundHalfUp(row / 3));
    const double glyph = 3.0 * h + 1; // the star reaches furthest: 1.5 h
    const double gap = row / 4;
    const double entry = glyph + gap + textWidth;
    const double margin = std::max(1.0, GetRadius() / 40.0);
    // The corners, where the page lies outside the sky, in reading order: at the design sizes
    // one entry fits beside the rim, and the common skies have four systems at most.
    const std::size_t perCorner = (systems.size() + 3) / 4;
    for (std::size_t i = 0; i < systems.size(); ++i) {
        const std::size_t corner = i / perCorner;
        const auto rank = static_cast<double>(i % perCorner);
        const auto rows =
            static_cast<double>(std::min(perCorner, systems.size() - corner * perCorner));
        const double x = corner % 2 == 1 ? width() - margin - entry : margin;
        const double y =
            corner >= 2 ? height() - margin - (rows - rank) * row : margin + rank * row;
        const CSkyMarkerStyle style = SkyMarkerStyleOf(systems[i]);
        DrawMarker(painter, QPointF(std::floor(x + glyph / 2) + 0.5, std::floor(y + row / 2) + 0.5),
                   style.shape, h, colours.LegendFill(), colours.SystemRim(systems[i]),
                   std::max(1.5, h / 2.5), 0, colours.UsedOutline());
        painter.setPen(colours.Label());
        painter.drawText(QRectF(x + glyph + gap, y, textWidth, row),
                         Qt::AlignLeft | Qt::AlignVCenter,
                         QString::fromLatin1(GnssSystemShortName(systems[i])));
    }
    painter.restore();
}

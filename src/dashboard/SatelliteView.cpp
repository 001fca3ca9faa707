#include "dashboard/SatelliteView.h"

#include "dashboard/SkyMarkerPainter.h"
#include "dashboard/SkyMarkers.h"

#include <QFontMetricsF>
#include <QPainter>

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

bool MultiSystem(const CSkyView &view)
{
    return !SkyLegendSystems(view).empty();
}

} // namespace

CSatelliteView::CSatelliteView(QWidget *parent)
    : CGauge(tr("Satellites"), parent)
{
    StoreMode(kModeAutomatic);
    SetModeNames({tr("Signal To Noise Ratio"), tr("Pseudo Random Noise ID")});
    m_paceClock.start();
    m_paceTimer.setSingleShot(true);
    connect(&m_paceTimer, &QTimer::timeout, this, [this] {
        m_pace.Shown(m_paceClock.elapsed());
        update();
    });
}

void CSatelliteView::SetSatellites(const CSkyView &view)
{
    m_view = view;
    m_layoutDirty = true;
    if (m_paceTimer.isActive())
        return;
    const qint64 wait = m_pace.Offer(m_paceClock.elapsed());
    if (wait == 0)
        update();
    else
        m_paceTimer.start(static_cast<int>(wait));
}

void CSatelliteView::Reset()
{
    m_view.reset();
    m_layoutDirty = true;
    m_pace.Forget();
    m_paceTimer.stop();
    update();
}

void CSatelliteView::SetModeQuiet(int mode)
{
    StoreMode(mode == kModeSignal || mode == kModeNumber ? mode : kModeAutomatic);
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

QFont CSatelliteView::GridFont() const
{
    // A small dial drawn large would have letters as large as the markers are apart.
    QFont font = GaugeFont(GridLabelPoints());
    const int most =
        std::max(PointsToPixels(GridLabelPoints()), std::max(kSmallestLabel + 1, GetRadius() / 9));
    font.setPixelSize(std::min(font.pixelSize(), most));
    return font;
}

std::vector<CSkyKeepOut> CSatelliteView::GridKeepOut() const
{
    // N, E, S and W stay readable; the rings' numbers may hide under a satellite.
    std::vector<CSkyKeepOut> keepOut;
    if (!GridLabelsRead())
        return keepOut;
    const double reach = 0.7 * GridFont().pixelSize(); // W is nearly an em wide
    for (const CSkyGridLabel &label : SkyGridLabels(GetRadius()))
        if (!label.elevation)
            keepOut.push_back({label.x, label.y, reach});
    return keepOut;
}

bool CSatelliteView::GridLabelsRead() const
{
    return GridFont().pixelSize() >= kSmallestLabel;
}

bool CSatelliteView::SatelliteLabelsRead() const
{
    return GaugeFont(SatelliteLabelPoints()).pixelSize() >= kSmallestLabel;
}

bool CSatelliteView::ShowsNumbers() const
{
    return SkyLabelsShowNumbers(GetMode(), m_view && MultiSystem(*m_view));
}

int CSatelliteView::CheckedMode() const
{
    return ShowsNumbers() ? kModeNumber : kModeSignal;
}

bool CSatelliteView::IsSystemShown(GnssSystem system) const
{
    const auto i = static_cast<std::size_t>(system);
    return i >= m_hidden.size() || !m_hidden[i];
}

void CSatelliteView::SetSystemShown(GnssSystem system, bool shown)
{
    const auto i = static_cast<std::size_t>(system);
    if (i >= m_hidden.size() || m_hidden[i] == !shown)
        return;
    m_hidden[i] = !shown;
    m_layoutDirty = true;
    update();
}

std::vector<CSkySatellite> CSatelliteView::ShownSatellites() const
{
    std::vector<CSkySatellite> shown;
    if (!m_view)
        return shown;
    for (const CSkySatellite &s : m_view->satellites)
        if (IsSystemShown(s.system))
            shown.push_back(s);
    return shown;
}

std::vector<GnssSystem> CSatelliteView::LegendSystems() const
{
    if (!m_view || !SatelliteLabelsRead())
        return {};
    return SkyLegendSystems(*m_view);
}

std::vector<CSkyBox> CSatelliteView::LegendBoxesIn(const QFont &font) const
{
    const std::vector<GnssSystem> systems = LegendSystems();
    if (systems.empty())
        return {};
    const QFontMetricsF metrics(font);
    double textWidth = 0;
    for (const GnssSystem system : systems)
        textWidth = std::max(
            textWidth, metrics.horizontalAdvance(QString::fromLatin1(GnssSystemName(system))));
    const double row = metrics.height();
    const int h = std::max(2, RoundHalfUp(row / 3));
    const double glyph = 3.0 * h + 1; // the star reaches furthest: 1.5 h
    const double gap = row / 4;
    return SkyLegendBoxes(systems.size(), glyph + gap + textWidth, row, width(),
                          std::max(1.0, GetRadius() / 40.0));
}

QFont CSatelliteView::LegendFont() const
{
    QFont font = GaugeFont(SatelliteLabelPoints());
    while (font.pixelSize() > kSmallestLabelPixels
           && !SkyLegendClearOfDial(LegendBoxesIn(font), GetRadius()))
        font.setPixelSize(font.pixelSize() - 1);
    return font;
}

std::vector<CSkyBox> CSatelliteView::LegendBoxes() const
{
    return LegendBoxesIn(LegendFont());
}

bool CSatelliteView::TapAt(const QPoint &position)
{
    const int entry = SkyLegendEntryAt(LegendBoxes(), position.x(), position.y());
    if (entry < 0)
        return false;
    const GnssSystem system = LegendSystems()[static_cast<std::size_t>(entry)];
    SetSystemShown(system, !IsSystemShown(system));
    return true;
}

int CSatelliteView::SmallestLabelledHalf() const
{
    const int natural = GaugeFont(SatelliteLabelPoints()).pixelSize();
    // Room for two digits inside the rim and the used outline.
    return RoundHalfUp(0.7 * std::min(natural, kSmallestLabelPixels));
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
    if (GridLabelsRead()) {
        painter.setFont(GridFont());
        painter.setPen(colours.Label());
        const double half = painter.fontMetrics().height() / 2.0;
        const double third = radius / 3.0;
        for (const CSkyGridLabel &label : SkyGridLabels(radius)) {
            const QPointF at = Pixel(c + label.x, c + label.y);
            const double room = label.elevation ? third : radius;
            DrawLabel(painter, QRectF(at.x() - room, at.y() - half, 2 * room, 2 * half),
                      QString::fromStdString(label.text), colours.LabelGround());
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
    const std::vector<CSkySatellite> shown = ShownSatellites();
    // A sky too full for labels of a readable size is drawn without, its markers smaller.
    const bool legend = SatelliteLabelsRead();
    const bool labels = legend && SkyLabelsFit(shown.size(), radius, SmallestLabelledHalf());
    const std::vector<GnssSystem> systems = SkyLegendSystems(*m_view);
    // Laid out again only when the sky, the systems shown or the dial changed: at 10 Hz with
    // forty satellites most paints are for the freshness badge or a neighbour.
    const int minimum = labels ? SmallestLabelledHalf() : kSkySmallestMarker;
    const int gridPixels = GridLabelsRead() ? GridFont().pixelSize() : 0;
    if (m_layoutDirty || radius != m_layoutRadius || minimum != m_layoutMinimum
        || gridPixels != m_layoutGridPixels) {
        m_layout = LayoutSky(shown, radius, minimum, !systems.empty(), GridKeepOut());
        m_layoutDirty = false;
        m_layoutRadius = radius;
        m_layoutMinimum = minimum;
        m_layoutGridPixels = gridPixels;
    }
    const int h = m_layout.half;
    const CSkyColours colours = Colours();
    painter.save();
    // Under the satellites: a legend may hide the horizon of its corner, never a satellite.
    if (!systems.empty() && legend)
        DrawLegend(painter, systems);
    // Leaders under every marker, so no line crosses one's label.
    painter.setPen(QPen(PartColour(colours.Leader()), 1));
    painter.setBrush(PartColour(colours.Leader()));
    const double dot = 1.5;
    for (const CSkyMarkerPlace &m : m_layout.markers)
        if (m.leader) {
            // A spot on the horizon has its dot just inside the rim.
            const double out = std::hypot(m.trueX, m.trueY);
            const double in = out > radius - dot - 1 ? (radius - dot - 1) / out : 1.0;
            const QPointF spot = Pixel(c + m.trueX * in, c + m.trueY * in);
            painter.drawLine(Pixel(c + m.x, c + m.y), spot);
            painter.drawEllipse(spot, dot, dot);
        }
    QFont labelFont;
    if (labels) {
        // As large as the design's while the markers are; with them down to the smallest size.
        QFont font = GaugeFont(SatelliteLabelPoints());
        const int fitted = std::max(kSmallestLabelPixels, static_cast<int>(1.6 * h));
        font.setPixelSize(std::min(font.pixelSize(), fitted));
        labelFont = font;
        painter.setFont(font);
    }
    const bool numbers = ShowsNumbers();
    // Only the signal greys when the report is old: which satellites were used, their systems
    // and labels stay readable on the grey.
    const QPen outline(colours.UsedOutline(), 1);
    const double rimWidth = std::max(1.5, h / 5.0);
    const double usedWidth = std::max(1.0, h / 7.0);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const CSkySatellite &s = shown[i];
        const CSkyMarkerPlace &m = m_layout.markers[i];
        const QColor fill = colours.SignalFill(s.snr);
        if (systems.empty()) {
            painter.setBrush(fill);
            painter.setPen(s.used ? outline : Qt::NoPen);
            // The pen runs along the disc's outermost pixels; without it the fill reaches them.
            const double r = s.used ? h : h + 0.5;
            painter.drawEllipse(Pixel(c + m.x, c + m.y), r, r);
        } else {
            PaintSkyMarker(painter, Pixel(c + m.x, c + m.y), s.system, h, fill, rimWidth,
                           s.used ? usedWidth : 0, colours.SystemRim(s.system),
                           colours.UsedOutline());
        }
        if (labels) {
            const QString text = QString::number(numbers ? s.prn : s.snr);
            // Three digits (SBAS numbers) narrower, to stay on the marker as two do.
            const double wide = QFontMetricsF(painter.font()).horizontalAdvance(text);
            const bool narrowed = text.size() > 2 && wide > 2 * h;
            if (narrowed) {
                QFont narrow = painter.font();
                narrow.setPixelSize(std::max(kSmallestLabel - 1,
                                             static_cast<int>(narrow.pixelSize() * 2 * h / wide)));
                painter.setFont(narrow);
            }
            painter.setPen(colours.MarkerLabel());
            painter.drawText(QRectF(c + m.x - h, c + m.y - h, 2 * h + 2, 2 * h + 1),
                             Qt::AlignCenter, text);
            if (narrowed)
                painter.setFont(labelFont);
        }
    }
    painter.restore();
}

void CSatelliteView::DrawLegend(QPainter &painter, const std::vector<GnssSystem> &systems) const
{
    const QFont legendFont = LegendFont();
    const std::vector<CSkyBox> boxes = LegendBoxesIn(legendFont);
    if (boxes.size() != systems.size())
        return;
    const bool overDial = !SkyLegendClearOfDial(boxes, GetRadius());
    const CSkyColours colours = Colours();
    painter.save();
    painter.setFont(legendFont);
    const QFontMetricsF metrics(painter.font());
    const double row = metrics.height();
    const int h = std::max(2, RoundHalfUp(row / 3));
    const double glyph = 3.0 * h + 1;
    const double gap = row / 4;
    for (std::size_t i = 0; i < systems.size(); ++i) {
        const CSkyBox &box = boxes[i];
        const bool shown = IsSystemShown(systems[i]);
        const QPointF centre(std::floor(box.left + glyph / 2) + 0.5,
                             std::floor(box.top + row / 2) + 0.5);
        const double rim = std::max(1.5, h / 2.5);
        const QColor system = colours.SystemRim(systems[i]);
        if (shown)
            PaintSkyMarker(painter, centre, systems[i], h, colours.LegendFill(), rim, 0, system,
                           colours.UsedOutline());
        else
            PaintSkyMarker(painter, centre, systems[i], h, colours.LabelGround(), 1.0, 0, system,
                           colours.UsedOutline());
        painter.setPen(shown ? colours.Label() : colours.Hidden());
        QFont font = painter.font();
        font.setStrikeOut(!shown);
        painter.setFont(font);
        const QRectF textBox(box.left + glyph + gap, box.top, box.width - glyph - gap, row);
        const QString name = QString::fromLatin1(GnssSystemName(systems[i]));
        // On a dial too small to keep the legend off it, the grid stops short of the names.
        if (overDial)
            painter.fillRect(
                QFontMetricsF(font).boundingRect(textBox, Qt::AlignLeft | Qt::AlignVCenter, name),
                colours.LabelGround());
        painter.drawText(textBox, Qt::AlignLeft | Qt::AlignVCenter, name);
    }
    painter.restore();
}

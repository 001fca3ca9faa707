#include "maps/MapPainter.h"

#include "maps/TileLayer.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace
{

constexpr QColor kBackground(43, 47, 51);
constexpr QColor kBandColour(0, 0, 0, 150);

QColor ToQColor(CRgb rgb)
{
    return {rgb.r, rgb.g, rgb.b};
}

// Overlays grow with the window from the 240-pixel page, but not beyond twice its size.
double OverlayScale(const QSize &size)
{
    return std::clamp(std::min(size.width(), size.height()) / 240.0, 1.0, 2.0);
}

// Black text in a white halo `reach` pixels wide. Glyphs come from the painter's cache and the
// halo is the text spread by hand: stroking the outline of every name costs ten times more.
QImage LabelImage(const QString &name, const QFont &font, const QSize &size,
                  const QPointF &baseline, int reach)
{
    QImage text(size, QImage::Format_ARGB32_Premultiplied);
    text.fill(Qt::transparent);
    {
        QPainter p(&text);
        p.setFont(font);
        p.setPen(Qt::black);
        p.drawText(baseline, name);
    }
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    const int w = size.width();
    const int h = size.height();
    for (int y = 0; y < h; ++y) {
        auto *out = reinterpret_cast<QRgb *>(image.scanLine(y));
        const auto *ink = reinterpret_cast<const QRgb *>(text.constScanLine(y));
        for (int x = 0; x < w; ++x) {
            int spread = 0;
            for (int dy = std::max(0, y - reach); dy <= std::min(h - 1, y + reach); ++dy) {
                const auto *line = reinterpret_cast<const QRgb *>(text.constScanLine(dy));
                for (int dx = std::max(0, x - reach); dx <= std::min(w - 1, x + reach); ++dx)
                    spread = std::max(spread, qAlpha(line[dx]));
            }
            const int a = qAlpha(ink[x]);
            const int white = spread * 220 / 255 * (255 - a) / 255;
            out[x] = qRgba(white, white, white, a + white);
        }
    }
    return image;
}

} // namespace

void CMapPainter::WaypointsChanged()
{
    m_waypointLayer.Invalidate();
    ForgetLabels();
    m_frameValid = false;
}

void CMapPainter::ForgetLabels()
{
    m_labels.clear();
    m_labelWidths.clear();
    m_shownLabels.clear();
}

void CMapPainter::Paint(QPainter &painter, const CMapScene &scene)
{
    const CMapPageModel &model = scene.model;
    if (!m_frameValid) {
        Compose(scene);
    } else if (model.m_settings.showTrack && m_composedSegments < model.GetTrack().size()) {
        QPainter frame(&m_frame);
        DrawTrack(frame, model, m_composedSegments > 0 ? m_composedSegments : 0);
        m_composedSegments = model.GetTrack().size();
    }
    const double dpr = scene.dpr;
    const QRectF area(QPointF(0, 0), QSizeF(scene.size));
    painter.drawImage(area, m_frame);
    if (scene.night)
        painter.fillRect(area, QColor(0, 0, 0, 110));

    const CMapViewport &vp = model.Viewport();
    const QPointF centre(vp.ScreenX(vp.GetCentre().x) / dpr, vp.ScreenY(vp.GetCentre().y) / dpr);
    if (scene.drag.size() > 1) {
        QPolygonF path;
        for (const CMapPoint &p : scene.drag)
            path << QPointF(p.x / dpr, p.y / dpr);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(QColor(255, 0, 0), 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(path);
        painter.setRenderHint(QPainter::Antialiasing, false);
    }
    DrawBands(painter, scene, centre);
    if (model.GetCurrentMap() == nullptr || (scene.bitmap.IsNull() && scene.tiles == nullptr)) {
        painter.setPen(QColor(200, 200, 200));
        painter.drawText(area, Qt::AlignCenter,
                         scene.loading ? tr("Loading map...")
                                       : tr("No map. Press and hold for the map menu."));
        return;
    }
    DrawMarker(painter, scene, centre);
}

// The bearing (with its line from the marker) and the coordinates in the top band, the map's
// name in the bottom right corner; the painter keeps their font.
void CMapPainter::DrawBands(QPainter &painter, const CMapScene &scene, const QPointF &centre)
{
    const CMapPageModel &model = scene.model;
    const CMapViewport &vp = model.Viewport();
    const CMapPageSettings &s = model.m_settings;
    const double dpr = scene.dpr;
    const double scale = OverlayScale(scene.size);
    const int width = scene.size.width();
    const int height = scene.size.height();
    QStringList lines;
    if (s.showBearing) {
        const CBearingOverlay bearing = model.Bearing(scene.selected, scene.heading);
        if (!bearing.text.empty())
            lines << QString::fromStdString(bearing.text);
        if (bearing.target) {
            painter.save();
            painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
            painter.setPen(QPen(Qt::white, 1.0 / dpr));
            painter.drawLine(centre, QPointF(vp.ScreenX(bearing.target->x) / dpr,
                                             vp.ScreenY(bearing.target->y) / dpr));
            painter.restore();
        }
    }
    if (s.showCoordinates && model.GetCurrentMap() != nullptr)
        lines << QString::fromStdString(model.CoordinatesText(scene.projection));

    QFont font = painter.font();
    font.setPixelSize(static_cast<int>(std::lround(11 * scale)));
    font.setBold(true);
    painter.setFont(font);
    const int lineHeight = painter.fontMetrics().height() + static_cast<int>(2 * scale);
    const int pad = static_cast<int>(4 * scale);
    // Both lines share the top band; stacked so the coordinates never cover the bearing.
    if (!lines.isEmpty()) {
        painter.fillRect(QRectF(0, 0, width, lineHeight * lines.size() + 2), kBandColour);
        painter.setPen(Qt::white);
        for (int i = 0; i < lines.size(); ++i)
            painter.drawText(QRectF(pad, i * lineHeight + 1, width - 2 * pad, lineHeight),
                             Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, lines[i]);
    }
    if (s.showMapName && model.GetCurrentMap() != nullptr) {
        const QString name = QString::fromStdString(model.GetCurrentMap()->m_name);
        const int textWidth = painter.fontMetrics().horizontalAdvance(name) + 2 * pad;
        const QRectF band(width - textWidth, height - lineHeight, textWidth, lineHeight);
        painter.fillRect(band, kBandColour);
        painter.setPen(Qt::white);
        painter.drawText(band.adjusted(pad, 0, -pad, 0),
                         Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, name);
    }
}

void CMapPainter::DrawMarker(QPainter &painter, const CMapScene &scene, const QPointF &centre)
{
    const double scale = OverlayScale(scene.size);
    if (scene.model.m_settings.outline) {
        const double r = 14.5 * scale;
        painter.save();
        painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
        painter.setPen(QPen(Qt::white, scale));
        painter.drawEllipse(centre, r, r);
        painter.restore();
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(ToQColor(scene.model.GetMarkerColour()));
    painter.drawEllipse(centre, 3.5 * scale, 3.5 * scale);
    painter.setBrush(Qt::NoBrush);
    painter.setRenderHint(QPainter::Antialiasing, false);
}

void CMapPainter::Compose(const CMapScene &scene)
{
    const CMapPageModel &model = scene.model;
    const CMapViewport &vp = model.Viewport();
    const QSize size(vp.GetClientWidth(), vp.GetClientHeight());
    if (m_frame.size() != size)
        m_frame = QImage(size.expandedTo(QSize(1, 1)), QImage::Format_RGB32);
    const double zoom = vp.GetZoom();
    const QRectF source(vp.GetOrigin().x, vp.GetOrigin().y, size.width() * zoom,
                        size.height() * zoom);
    // The background shows only where the view reaches beyond the sheet, or where tiles are
    // still loading or absent.
    if (scene.tiles != nullptr
        || !QRectF(QPointF(0, 0), QSizeF(scene.bitmap.GetSize())).contains(source))
        m_frame.fill(kBackground);
    QPainter painter(&m_frame);
    if (scene.tiles != nullptr)
        DrawTiles(painter, *scene.tiles, vp);
    else
        scene.bitmap.Draw(painter, QRectF(0, 0, size.width(), size.height()), source, zoom);
    if (model.m_settings.showTrack)
        DrawTrack(painter, model, 0);
    m_composedSegments = model.GetTrack().size();
    if (model.m_settings.showWaypoints)
        DrawWaypoints(painter, scene);
    m_frameValid = true;
}

// Segments in each point's colour, 4 map pixels wide but never under 2 screen pixels, culled to
// the view; points closer than a pixel to the last one drawn are merged into it.
void CMapPainter::DrawTrack(QPainter &painter, const CMapPageModel &model, std::size_t from) const
{
    const std::vector<CTrackSegment> &track = model.GetTrack();
    if (from >= track.size() || !model.IsCurrentCalibrated())
        return;
    const CMapViewport &vp = model.Viewport();
    const double zoom = vp.GetZoom();
    const double width = std::max(4.0 / zoom, 2.0);
    const double margin = width * zoom;
    const double left = vp.GetOrigin().x - margin;
    const double top = vp.GetOrigin().y - margin;
    const double right = vp.GetOrigin().x + vp.GetClientWidth() * zoom + margin;
    const double bottom = vp.GetOrigin().y + vp.GetClientHeight() * zoom + margin;

    // Smoothing a line two device pixels wide costs more than it shows.
    painter.setRenderHint(QPainter::Antialiasing, width > 2.0);
    // Separate square-capped lines go to the painter's line rasterizer; a round-joined polyline
    // goes through its path stroker, four times slower with thousands of segments in view. The
    // square ends fill the joins.
    QPen pen(Qt::black, width, Qt::SolidLine, Qt::SquareCap);
    QPolygonF line;
    QList<QLineF> lines;
    CRgb colour{};
    const auto flush = [&] {
        if (line.size() > 1) {
            lines.clear();
            for (qsizetype k = 1; k < line.size(); ++k)
                lines.append(QLineF(line[k - 1], line[k]));
            pen.setColor(ToQColor(colour));
            painter.setPen(pen);
            painter.drawLines(lines);
        }
        line.clear();
    };
    const CMapPoint *end = nullptr;
    for (std::size_t i = from; i < track.size(); ++i) {
        const CTrackSegment &s = track[i];
        const bool outside =
            (s.from.x < left && s.to.x < left) || (s.from.x > right && s.to.x > right)
            || (s.from.y < top && s.to.y < top) || (s.from.y > bottom && s.to.y > bottom);
        if (outside) {
            flush();
            end = nullptr;
            continue;
        }
        const QPointF a(vp.ScreenX(s.from.x), vp.ScreenY(s.from.y));
        const QPointF b(vp.ScreenX(s.to.x), vp.ScreenY(s.to.y));
        if (end == nullptr || *end != s.from || !(colour == s.colour)) {
            flush();
            colour = s.colour;
            line << a;
        }
        const QPointF d = b - line.back();
        if (std::abs(d.x()) >= 1.0 || std::abs(d.y()) >= 1.0 || i + 1 == track.size())
            line << b;
        end = &s.to;
    }
    flush();
    painter.setRenderHint(QPainter::Antialiasing, false);
}

// Circles and names come from the layer, which looks only at the waypoints near the view and
// picks the names that fit; a name drawn is kept as an image and then only copied.
void CMapPainter::DrawWaypoints(QPainter &painter, const CMapScene &scene)
{
    const CWaypointList *waypoints = scene.waypoints;
    const CMapInfo *map = scene.model.GetCurrentMap();
    if (waypoints == nullptr || map == nullptr || !map->IsCalibrated())
        return;
    // Edits come with WaypointsChanged; a list loaded or replaced behind the page's back shows
    // in its address or size.
    if (!m_waypointLayer.IsBuiltFor(*map) || waypoints->data() != m_layerList
        || waypoints->size() != m_layerListSize) {
        m_waypointLayer.Build(*waypoints, *map);
        m_layerList = waypoints->data();
        m_layerListSize = waypoints->size();
        ForgetLabels();
    }
    const double dpr = scene.dpr;
    QFont font = painter.font();
    font.setPixelSize(static_cast<int>(11 * dpr * OverlayScale(scene.size) / 1.5));
    if (font != m_labelFont) {
        m_labelFont = font;
        ForgetLabels();
    }
    if (m_labels.size() > kLabelCacheSize)
        m_labels.clear();
    m_labelWidths.resize(waypoints->size(), -1.0);
    const double halo = 1.5 * dpr;
    const QFontMetricsF metrics(font);
    CWaypointStyle style;
    style.dotRadius = 3.0 * dpr;
    style.labelGap = 3.0 * dpr - halo;
    style.labelHeight = std::ceil(metrics.height() + 2 * halo);
    const auto label = [&](std::size_t index) -> const QImage & {
        auto found = m_labels.find(index);
        if (found != m_labels.end())
            return *found;
        const QString name = QString::fromStdString((*waypoints)[index].m_name);
        const QSize box(static_cast<int>(std::ceil(metrics.horizontalAdvance(name) + 2 * halo)),
                        static_cast<int>(style.labelHeight));
        return *m_labels.insert(index, LabelImage(name, font, box.expandedTo(QSize(1, 1)),
                                                  QPointF(halo, halo + metrics.ascent()),
                                                  static_cast<int>(std::lround(halo))));
    };
    const CWaypointFrame frame = m_waypointLayer.Compose(
        scene.model.Viewport(), style,
        [&](std::size_t index) {
            double &width = m_labelWidths[index];
            if (width < 0) {
                const QString name = QString::fromStdString((*waypoints)[index].m_name);
                width = std::ceil(metrics.horizontalAdvance(name) + 2 * halo);
            }
            return width;
        },
        m_shownLabels);
    m_shownLabels.clear();
    for (const CWaypointLabel &l : frame.labels)
        m_shownLabels.push_back(l.waypoint);
    std::sort(m_shownLabels.begin(), m_shownLabels.end());
    const QPen pen(Qt::black, dpr);
    const QColor fill(255, 255, 0, 150);
    // Circles up to a size are copied from an image made once per size (one per radius in the
    // list, mostly): many times faster than filling and stroking each.
    if (m_dotSprites.size() > kDotSpriteCount)
        m_dotSprites.clear();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(pen);
    painter.setBrush(fill);
    for (const CWaypointDot &d : frame.dots) {
        if (d.radiusX > kDotSpriteRadius || d.radiusY > kDotSpriteRadius) {
            painter.drawEllipse(QPointF(d.x, d.y), d.radiusX, d.radiusY);
            continue;
        }
        // Quarter pixels: a size that differs less does not show.
        const int qx = static_cast<int>(std::lround(d.radiusX * 4));
        const int qy = static_cast<int>(std::lround(d.radiusY * 4));
        QImage &sprite = m_dotSprites[qx * 4096 + qy];
        if (sprite.isNull()) {
            const double rx = qx / 4.0;
            const double ry = qy / 4.0;
            sprite = QImage(static_cast<int>(std::ceil(2 * (rx + dpr))),
                            static_cast<int>(std::ceil(2 * (ry + dpr))),
                            QImage::Format_ARGB32_Premultiplied);
            sprite.fill(Qt::transparent);
            QPainter p(&sprite);
            p.setRenderHint(QPainter::Antialiasing);
            p.setPen(pen);
            p.setBrush(fill);
            p.drawEllipse(QPointF(sprite.width() / 2.0, sprite.height() / 2.0), rx, ry);
        }
        painter.drawImage(QPointF(std::round(d.x - sprite.width() / 2.0),
                                  std::round(d.y - sprite.height() / 2.0)),
                          sprite);
    }
    painter.setBrush(Qt::NoBrush);
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (const CWaypointLabel &l : frame.labels)
        painter.drawImage(QPointF(std::round(l.x), std::round(l.y - style.labelHeight / 2)),
                          label(l.waypoint));
}

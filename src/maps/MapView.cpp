#include "maps/MapView.h"

#include "maps/CalibrationImport.h"
#include "maps/DistanceTool.h"
#include "maps/MapDatabase.h"
#include "maps/MapDialogs.h"
#include "maps/TrackLoader.h"
#include "settings/DataDirectory.h"
#include "settings/SettingsKey.h"
#include "storage/AtomicFile.h"
#include "waypoints/WaypointBook.h"
#include "widgets/FileDialogs.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImageReader>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QStyleHints>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{

constexpr QColor kBackground(43, 47, 51);
constexpr QColor kBandColour(0, 0, 0, 150);
constexpr int kWheelStep = 120;

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

struct CMapView::CDecodeJob {
    QString path;
    CMapBitmap bitmap;
    QString error;
    std::function<void(bool)> done;
    std::atomic<bool> cancel{false};
};

// What a decoding thread shares with the page: the page may be gone when the thread ends.
struct CMapView::CDecodeLink {
    std::mutex mutex;
    std::condition_variable idle;
    CMapView *view = nullptr;
    int running = 0;
    std::vector<std::shared_ptr<CDecodeJob>> finished;
};

std::atomic<int> CMapView::s_abandoned{0};

CMapView::CMapView(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("mapPage"));
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_hold = new QTimer(this);
    m_hold->setSingleShot(true);
    connect(m_hold, &QTimer::timeout, this, [this] {
        m_suppressTap = true;
        m_measuring = false;
        m_dragPath.clear();
        ShowMenu(m_holdGlobal);
    });
    m_link = std::make_shared<CDecodeLink>();
    m_link->view = this;
    ReadSettings();
}

CMapView::~CMapView()
{
    WriteSettings();
    if (m_job != nullptr)
        m_job->cancel = true;
    {
        // A decode of a regular file ends soon once cancelled; one stuck in a slow file system
        // is left behind rather than keeping the window open.
        std::unique_lock lock(m_link->mutex);
        m_link->view = nullptr;
        if (!m_link->idle.wait_for(lock, std::chrono::milliseconds(kDecodeGraceMs),
                                   [this] { return m_link->running == 0; }))
            s_abandoned += m_link->running;
    }
    if (m_waitCursor)
        QApplication::restoreOverrideCursor();
}

void CMapView::ReadSettings()
{
    CSettingsKey key;
    key.Open(kSettingsKey, true);
    CMapPageSettings &s = m_model.m_settings;
    const auto flag = [&key](const char *name, bool &value) {
        std::int32_t number = 0;
        if (key.ReadNumber(name, number))
            value = number != 0;
    };
    flag("TrackPosition", s.trackPosition);
    flag("ShowCoordinates", s.showCoordinates);
    flag("ShowBearing", s.showBearing);
    flag("ShowWaypoints", s.showWaypoints);
    flag("ShowMapName", s.showMapName);
    flag("ShowTrack", s.showTrack);
    flag("AutoSelectMap", s.autoSelectMap);
    flag("ColorCodeReception", s.colourReception);
    flag("Outline", s.outline);
    std::int32_t mode = 0;
    if (key.ReadNumber("OperationMode", mode) && UnitSystemFromNumber(mode))
        s.units = *UnitSystemFromNumber(mode);
    std::array<int, 3> marker{};
    if (key.ReadColor("MarkerColor", marker)) {
        for (std::size_t i = 0; i < 3; ++i) {
            if ((marker[i] != 0) != s.markerFlags[i])
                m_model.ToggleMarkerFlag(static_cast<int>(i));
        }
    }
}

void CMapView::WriteSettings() const
{
    CSettingsKey key;
    if (!key.Open(kSettingsKey, true))
        return;
    const CMapPageSettings &s = m_model.m_settings;
    key.WriteNumber("TrackPosition", s.trackPosition);
    key.WriteNumber("ShowCoordinates", s.showCoordinates);
    key.WriteNumber("ShowBearing", s.showBearing);
    key.WriteNumber("ShowWaypoints", s.showWaypoints);
    key.WriteNumber("ShowMapName", s.showMapName);
    key.WriteNumber("ShowTrack", s.showTrack);
    key.WriteNumber("AutoSelectMap", s.autoSelectMap);
    key.WriteNumber("OperationMode", ToNumber(s.units));
    key.WriteNumber("ColorCodeReception", s.colourReception);
    key.WriteNumber("Outline", s.outline);
    key.WriteColor("MarkerColor",
                   {s.markerFlags[0] ? 1 : 0, s.markerFlags[1] ? 1 : 0, s.markerFlags[2] ? 1 : 0});
}

QString CMapView::WorldMapImagePath()
{
    const QString installed = QCoreApplication::applicationDirPath() + QStringLiteral("/../")
                              + QStringLiteral(VELORAN_INSTALL_DATADIR)
                              + QStringLiteral("/maps/world.jpg");
    if (QFileInfo::exists(installed))
        return QDir::cleanPath(installed);
    return QStringLiteral(VELORAN_WORLD_IMAGE);
}

void CMapView::Start(const QString &directory, bool quiet, CWaypointBook *waypoints)
{
    m_directory = directory;
    m_waypoints = waypoints;
    // The factory world map, put in place once. With it, a new user's view follows the fix
    // (on a whole-earth sheet a pixel is 20 km: a track alone would show nothing for long).
    const QString world = WorldMapImagePath();
    const QSize worldSize = QImageReader(world).size();
    bool installed = false;
    if (worldSize.isValid())
        InstallWorldMapDatabase(directory.toStdString(), world.toStdString(), worldSize.width(),
                                worldSize.height(), &installed);
    std::int32_t stored = 0;
    CSettingsKey key;
    if (installed && !(key.Open(kSettingsKey, false) && key.ReadNumber("TrackPosition", stored)))
        m_model.m_settings.trackPosition = true;
    CMapLoad load = LoadMapDatabase(directory.toStdString());
    if (load.damaged || (!load.opened && !quiet))
        ShowError(this, QString::fromLatin1(kMapDatabaseMessage),
                  QString::fromStdString(load.detail));
    m_savedMaps = load.maps;
    m_mapStamp = load.path == JoinDatabasePath(directory.toStdString(), kMapFileName)
                     ? load.stamp
                     : CDatabaseStamp{};
    Apply(m_model.SetMaps(std::move(load.maps)));
}

void CMapView::Apply(unsigned changes)
{
    if (changes & kMapSwitched)
        LoadCurrentBitmap();
    if (changes & kMapViewMoved)
        m_frameValid = false;
    if (changes != kMapUnchanged)
        update();
}

void CMapView::Redraw()
{
    m_frameValid = false;
    update();
}

void CMapView::SetPosition(const CGeoPosition &position)
{
    m_feed.position = position;
    ++m_feed.positionUpdates;
    Apply(m_model.NewPosition(position));
}

void CMapView::SetFix(bool fix)
{
    m_feed.fix = fix;
    ++m_feed.fixChanges;
    m_model.SetReceiving(fix);
}

void CMapView::ClearPointList()
{
    ++m_feed.pointListClears;
    m_model.DiscardTrackEnd();
}

bool CMapView::ShowsReceptionIndicator() const
{
    return m_model.m_settings.colourReception;
}

void CMapView::SetReception(double ratio)
{
    m_feed.reception = ratio;
    m_model.SetReception(ratio);
}

void CMapView::SetHeading(double heading)
{
    if (heading == m_heading)
        return;
    m_heading = heading;
    if (m_model.m_settings.showBearing)
        update();
}

void CMapView::SetProjection(CoordinateFormat projection)
{
    m_projection = projection;
    if (m_model.m_settings.showCoordinates && m_model.IsCurrentCalibrated())
        update();
}

void CMapView::SetUnits(UnitSystem units)
{
    m_model.m_settings.units = units;
    update();
}

void CMapView::WaypointsChanged()
{
    m_waypointLayer.Invalidate();
    m_labels.clear();
    m_labelWidths.clear();
    m_shownLabels.clear();
    Redraw();
}

void CMapView::SetNightMode(bool night)
{
    if (night != m_night) {
        m_night = night;
        Redraw();
    }
}

bool CMapView::GetCursorPosition(CGeoPosition &position) const
{
    return m_model.GetCursorPosition(position);
}

void CMapView::ZoomIn()
{
    m_model.Viewport().ZoomIn();
    Apply(kMapViewMoved);
}

void CMapView::ZoomOut()
{
    m_model.Viewport().ZoomOut();
    Apply(kMapViewMoved);
}

void CMapView::ToggleTrackPosition()
{
    Apply(m_model.ToggleTrackPosition());
}

const CWaypointList *CMapView::Waypoints() const
{
    return m_waypoints != nullptr ? &m_waypoints->GetWaypoints() : nullptr;
}

const CWaypoint *CMapView::SelectedWaypoint() const
{
    if (m_waypoints == nullptr)
        return nullptr;
    return m_waypoints->GetNavigator().GetTargetWaypoint(m_waypoints->GetWaypoints());
}

// ---- bitmaps -------------------------------------------------------------------------------

void CMapView::LoadCurrentBitmap()
{
    m_bitmap = CMapBitmap();
    m_frameValid = false;
    const CMapInfo *map = m_model.GetCurrentMap();
    if (map == nullptr)
        return;
    LoadBitmap(QString::fromStdString(map->m_file), [this](bool ok) {
        if (ok) {
            const QSize size = m_bitmap.GetSize();
            m_model.SetBitmapSize(size.width(), size.height());
        }
    });
}

void CMapView::LoadBitmap(const QString &path, std::function<void(bool)> done)
{
    auto job = std::make_shared<CDecodeJob>();
    job->path = path;
    job->done = std::move(done);
    m_bitmap = CMapBitmap();
    m_frameValid = false;
    if (!m_waitCursor) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        m_waitCursor = true;
    }
    // The older request is stale: it stops at its next step, or finishes unheard.
    if (m_job != nullptr)
        m_job->cancel = true;
    m_job = job;
    {
        std::lock_guard lock(m_link->mutex);
        ++m_link->running;
    }
    std::thread([job, link = m_link] {
        job->bitmap = CMapBitmap::Decode(job->path, &job->error, &job->cancel);
        std::lock_guard lock(link->mutex);
        // The job goes over under the lock; the call posted carries nothing of this thread's
        // making that the window's thread would read before taking it.
        if (link->view != nullptr) {
            link->finished.push_back(job);
            QMetaObject::invokeMethod(link->view, "TakeDecodedBitmaps", Qt::QueuedConnection);
        }
        --link->running;
        link->idle.notify_all();
    }).detach();
}

void CMapView::TakeDecodedBitmaps()
{
    std::vector<std::shared_ptr<CDecodeJob>> finished;
    {
        std::lock_guard lock(m_link->mutex);
        finished.swap(m_link->finished);
    }
    for (const std::shared_ptr<CDecodeJob> &job : finished)
        BitmapDecoded(job);
}

// Hands over a finished decode unless a newer one was asked for since.
void CMapView::BitmapDecoded(const std::shared_ptr<CDecodeJob> &job)
{
    if (job != m_job)
        return;
    m_job.reset();
    if (m_waitCursor) {
        QApplication::restoreOverrideCursor();
        m_waitCursor = false;
    }
    const bool ok = !job->bitmap.IsNull();
    if (ok)
        m_bitmap = std::move(job->bitmap);
    else
        ShowError(this, QString::fromLatin1(kLoadFailedMessage),
                  job->path + QStringLiteral(": ") + job->error);
    if (job->done)
        job->done(ok);
    Redraw();
}

bool CMapView::WaitForBitmap(int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (m_job != nullptr) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return true;
}

// ---- drawing -------------------------------------------------------------------------------

QPointF CMapView::DevicePoint(const QPointF &logical) const
{
    return logical * devicePixelRatioF();
}

void CMapView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    SyncClientSize();
}

// A hidden page gets no resize events: the size is taken again before anything is drawn.
void CMapView::SyncClientSize()
{
    const double dpr = devicePixelRatioF();
    const int w = static_cast<int>(std::lround(width() * dpr));
    const int h = static_cast<int>(std::lround(height() * dpr));
    const CMapViewport &vp = m_model.Viewport();
    if (w != vp.GetClientWidth() || h != vp.GetClientHeight()) {
        m_model.SetClientSize(w, h);
        m_frameValid = false;
    }
}

void CMapView::Compose()
{
    const CMapViewport &vp = m_model.Viewport();
    const QSize size(vp.GetClientWidth(), vp.GetClientHeight());
    if (m_frame.size() != size)
        m_frame = QImage(size.expandedTo(QSize(1, 1)), QImage::Format_RGB32);
    const double zoom = vp.GetZoom();
    const QRectF source(vp.GetOrigin().x, vp.GetOrigin().y, size.width() * zoom,
                        size.height() * zoom);
    // The background shows only where the view reaches beyond the sheet.
    if (!QRectF(QPointF(0, 0), QSizeF(m_bitmap.GetSize())).contains(source))
        m_frame.fill(kBackground);
    QPainter painter(&m_frame);
    m_bitmap.Draw(painter, QRectF(0, 0, size.width(), size.height()), source, zoom);
    if (m_model.m_settings.showTrack)
        DrawTrack(painter, 0);
    m_composedSegments = m_model.GetTrack().size();
    if (m_model.m_settings.showWaypoints)
        DrawWaypoints(painter);
    m_frameValid = true;
}

// Segments in each point's colour, 4 map pixels wide but never under 2 screen pixels, culled to
// the view; points closer than a pixel to the last one drawn are merged into it.
void CMapView::DrawTrack(QPainter &painter, std::size_t from) const
{
    const std::vector<CTrackSegment> &track = m_model.GetTrack();
    if (from >= track.size() || !m_model.IsCurrentCalibrated())
        return;
    const CMapViewport &vp = m_model.Viewport();
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
void CMapView::DrawWaypoints(QPainter &painter)
{
    const CWaypointList *waypoints = Waypoints();
    const CMapInfo *map = m_model.GetCurrentMap();
    if (waypoints == nullptr || map == nullptr || !map->IsCalibrated())
        return;
    // Edits come with WaypointsChanged; a list loaded or replaced behind the page's back shows
    // in its address or size.
    if (!m_waypointLayer.IsBuiltFor(*map) || waypoints->data() != m_layerList
        || waypoints->size() != m_layerListSize) {
        m_waypointLayer.Build(*waypoints, *map);
        m_layerList = waypoints->data();
        m_layerListSize = waypoints->size();
        m_labels.clear();
        m_labelWidths.clear();
        m_shownLabels.clear();
    }
    const double dpr = devicePixelRatioF();
    QFont font = painter.font();
    font.setPixelSize(static_cast<int>(11 * dpr * OverlayScale(size()) / 1.5));
    if (font != m_labelFont) {
        m_labelFont = font;
        m_labels.clear();
        m_labelWidths.clear();
        m_shownLabels.clear();
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
        m_model.Viewport(), style,
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

QImage CMapView::Render()
{
    const double dpr = devicePixelRatioF();
    QImage image(size() * dpr, QImage::Format_RGB32);
    image.setDevicePixelRatio(dpr);
    QPainter painter(&image);
    PaintOverlays(painter);
    return image;
}

void CMapView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    PaintOverlays(painter);
}

void CMapView::PaintOverlays(QPainter &painter)
{
    SyncClientSize();
    if (!m_frameValid) {
        Compose();
    } else if (m_model.m_settings.showTrack && m_composedSegments < m_model.GetTrack().size()) {
        QPainter frame(&m_frame);
        DrawTrack(frame, m_composedSegments > 0 ? m_composedSegments : 0);
        m_composedSegments = m_model.GetTrack().size();
    }
    const double dpr = devicePixelRatioF();
    const QRectF area(0, 0, width(), height());
    painter.drawImage(area, m_frame);
    if (m_night)
        painter.fillRect(area, QColor(0, 0, 0, 110));

    const CMapViewport &vp = m_model.Viewport();
    const CMapPageSettings &s = m_model.m_settings;
    const double scale = OverlayScale(size());
    const QPointF centre(vp.ScreenX(vp.GetCentre().x) / dpr, vp.ScreenY(vp.GetCentre().y) / dpr);

    if (m_measuring && m_dragPath.size() > 1) {
        QPolygonF path;
        for (const CMapPoint &p : m_dragPath)
            path << QPointF(p.x / dpr, p.y / dpr);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(QColor(255, 0, 0), 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(path);
        painter.setRenderHint(QPainter::Antialiasing, false);
    }

    QStringList lines;
    if (s.showBearing) {
        const CBearingOverlay bearing = m_model.Bearing(SelectedWaypoint(), m_heading);
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
    if (s.showCoordinates && m_model.GetCurrentMap() != nullptr)
        lines << QString::fromStdString(m_model.CoordinatesText(m_projection));

    QFont font = painter.font();
    font.setPixelSize(static_cast<int>(std::lround(11 * scale)));
    font.setBold(true);
    painter.setFont(font);
    const int lineHeight = painter.fontMetrics().height() + static_cast<int>(2 * scale);
    const int pad = static_cast<int>(4 * scale);
    // Both lines share the top band; stacked so the coordinates never cover the bearing.
    if (!lines.isEmpty()) {
        painter.fillRect(QRectF(0, 0, width(), lineHeight * lines.size() + 2), kBandColour);
        painter.setPen(Qt::white);
        for (int i = 0; i < lines.size(); ++i)
            painter.drawText(QRectF(pad, i * lineHeight + 1, width() - 2 * pad, lineHeight),
                             Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, lines[i]);
    }
    if (s.showMapName && m_model.GetCurrentMap() != nullptr) {
        const QString name = QString::fromStdString(m_model.GetCurrentMap()->m_name);
        const int textWidth = painter.fontMetrics().horizontalAdvance(name) + 2 * pad;
        const QRectF band(width() - textWidth, height() - lineHeight, textWidth, lineHeight);
        painter.fillRect(band, kBandColour);
        painter.setPen(Qt::white);
        painter.drawText(band.adjusted(pad, 0, -pad, 0),
                         Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, name);
    }
    if (m_model.GetCurrentMap() == nullptr || m_bitmap.IsNull()) {
        painter.setPen(QColor(200, 200, 200));
        painter.drawText(area, Qt::AlignCenter,
                         m_job != nullptr ? tr("Loading map...")
                                          : tr("No map. Press and hold for the map menu."));
        return;
    }
    if (s.outline) {
        const double r = 14.5 * scale;
        painter.save();
        painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
        painter.setPen(QPen(Qt::white, scale));
        painter.drawEllipse(centre, r, r);
        painter.restore();
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(ToQColor(m_model.GetMarkerColour()));
    painter.drawEllipse(centre, 3.5 * scale, 3.5 * scale);
    painter.setBrush(Qt::NoBrush);
    painter.setRenderHint(QPainter::Antialiasing, false);
}

// ---- input ---------------------------------------------------------------------------------

void CMapView::mousePressEvent(QMouseEvent *event)
{
    m_suppressTap = false;
    if (event->button() == Qt::MiddleButton) {
        m_panning = true;
        m_panFrom = event->position().toPoint();
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    m_holdGlobal = event->globalPosition().toPoint();
    m_hold->start(QApplication::styleHints()->mousePressAndHoldInterval());
    const QPointF p = DevicePoint(event->position());
    m_downPoint = {TruncateToPixel(p.x()), TruncateToPixel(p.y())};
    m_dragPath = {m_downPoint};
    m_measuring = false;
}

void CMapView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_panning) {
        const QPoint delta = event->position().toPoint() - m_panFrom;
        m_panFrom = event->position().toPoint();
        CMapViewport &vp = m_model.Viewport();
        const double k = devicePixelRatioF() * vp.GetZoom();
        vp.SetCentre(
            {std::clamp(vp.GetCentre().x - TruncateToPixel(delta.x() * k), 0, vp.GetBitmapWidth()),
             std::clamp(vp.GetCentre().y - TruncateToPixel(delta.y() * k), 0,
                        vp.GetBitmapHeight())});
        Apply(kMapViewMoved);
        return;
    }
    if (!(event->buttons() & Qt::LeftButton) || m_dragPath.empty() || m_suppressTap
        || !m_model.IsCurrentCalibrated())
        return;
    const QPointF p = DevicePoint(event->position());
    const CMapPoint point{TruncateToPixel(p.x()), TruncateToPixel(p.y())};
    if (!m_measuring) {
        // A finger that trembles while tapping is no measurement.
        const double slack = QApplication::startDragDistance() * devicePixelRatioF();
        if (std::hypot(point.x - m_downPoint.x, point.y - m_downPoint.y) < slack)
            return;
        m_hold->stop();
        m_measuring = true;
    }
    m_dragPath.push_back(point);
    update();
}

void CMapView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::MiddleButton) {
        m_panning = false;
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    m_hold->stop();
    if (m_suppressTap) {
        m_suppressTap = false;
        return;
    }
    if (m_measuring) {
        const QPointF p = DevicePoint(event->position());
        const QString text = Measure(m_dragPath, {TruncateToPixel(p.x()), TruncateToPixel(p.y())});
        m_measuring = false;
        m_dragPath.clear();
        update();
        if (!text.isEmpty())
            ShowMessage(this, {tr("Distance"), text, QMessageBox::Information, {}});
        return;
    }
    m_dragPath.clear();
    TapReleased(event->position().toPoint());
}

void CMapView::TapReleased(const QPoint &pos)
{
    const QPointF p = DevicePoint(pos);
    Apply(m_model.TapAt(p.x(), p.y()));
    const CWaypointList *waypoints = Waypoints();
    if (!m_model.m_settings.showWaypoints || waypoints == nullptr)
        return;
    const int hit = m_model.HitWaypoint(*waypoints);
    if (hit < 0)
        return;
    const CWaypoint &w = (*waypoints)[static_cast<std::size_t>(hit)];
    ShowMessage(this, {QStringLiteral("Waypoint "),
                       QString::fromStdString(w.m_name + "\n"
                                              + FormatPosition(w.m_position, "\n", m_projection)),
                       QMessageBox::Information,
                       {}});
}

QString CMapView::Measure(const std::vector<CMapPoint> &path, const CMapPoint &up)
{
    SyncClientSize();
    const CMapInfo *map = m_model.GetCurrentMap();
    if (map == nullptr || !map->IsCalibrated())
        return {};
    const CMapViewport &vp = m_model.Viewport();
    const auto measure = MeasureDrag(path, m_downPoint, up, vp.GetOrigin(), vp.GetZoom(), *map);
    if (!measure)
        return {};
    return QString::fromStdString(DistanceMeasureText(*measure, m_model.m_settings.units));
}

void CMapView::wheelEvent(QWheelEvent *event)
{
    const int steps = event->angleDelta().y() / kWheelStep;
    for (int i = 0; i < std::abs(steps); ++i)
        steps > 0 ? m_model.Viewport().ZoomIn() : m_model.Viewport().ZoomOut();
    if (steps != 0)
        Apply(kMapViewMoved);
    event->accept();
}

void CMapView::keyPressEvent(QKeyEvent *event)
{
    std::optional<ScrollDirection> direction;
    switch (event->key()) {
    case Qt::Key_Left:
        direction = ScrollDirection::Left;
        break;
    case Qt::Key_Right:
        direction = ScrollDirection::Right;
        break;
    case Qt::Key_Up:
        direction = ScrollDirection::Up;
        break;
    case Qt::Key_Down:
        direction = ScrollDirection::Down;
        break;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        ZoomIn();
        return;
    case Qt::Key_Minus:
        ZoomOut();
        return;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    if (m_model.Viewport().Scroll(*direction))
        Apply(kMapViewMoved);
}

void CMapView::contextMenuEvent(QContextMenuEvent *event)
{
    m_hold->stop();
    m_dragPath.clear();
    m_measuring = false;
    ShowMenu(event->globalPos());
}

// ---- the map menu --------------------------------------------------------------------------

void CMapView::ShowMenu(const QPoint &globalPos)
{
    std::unique_ptr<QMenu> menu(CreateMapMenu());
    menu->exec(globalPos);
}

QMenu *CMapView::CreateMapMenu()
{
    auto *menu = new QMenu(this);
    CMapPageSettings &s = m_model.m_settings;
    const auto check = [](QAction *action, bool checked) {
        action->setCheckable(true);
        action->setChecked(checked);
        return action;
    };
    check(menu->addAction(tr("Track Position"), this, [this] { ToggleTrackPosition(); }),
          s.trackPosition);
    QMenu *show = menu->addMenu(tr("Show"));
    const auto toggle = [this](bool &flag) {
        return [this, &flag] {
            flag = !flag;
            Redraw();
        };
    };
    check(show->addAction(tr("Coordinates"), this, toggle(s.showCoordinates)), s.showCoordinates);
    check(show->addAction(tr("Bearing"), this, toggle(s.showBearing)), s.showBearing);
    check(show->addAction(tr("Track"), this, toggle(s.showTrack)), s.showTrack);
    check(show->addAction(tr("Waypoints"), this, toggle(s.showWaypoints)), s.showWaypoints);
    check(show->addAction(tr("Mapname"), this, toggle(s.showMapName)), s.showMapName);
    QMenu *marker = menu->addMenu(tr("Marker Color"));
    const char *channels[] = {"Red", "Green", "Blue"};
    for (int i = 0; i < 3; ++i) {
        check(marker->addAction(tr(channels[i]), this,
                                [this, i] {
                                    m_model.ToggleMarkerFlag(i);
                                    update();
                                }),
              s.markerFlags[static_cast<std::size_t>(i)]);
    }
    check(marker->addAction(tr("Reception"), this,
                            [this] { Apply(m_model.ToggleColourReception()); }),
          s.colourReception);
    check(marker->addAction(tr("Outline"), this, toggle(s.outline)), s.outline);
    QAction *gotoWaypoint = menu->addAction(tr("Goto Waypoint"), this, [this] {
        m_waypoints->SelectGoto(m_projection);
        update();
    });
    gotoWaypoint->setEnabled(m_waypoints != nullptr);
    menu->addAction(tr("Load Track..."), this, [this] {
        const QString path =
            ChooseOpenFile(this, m_advancedFileSelector, tr("Select log file..."),
                           tr("NMEA Logs (*.nmea)"), QStringLiteral("*.nmea"), m_directory);
        if (!path.isEmpty())
            LoadTrackFile(path);
    });
    menu->addAction(tr("References..."), this, [this] { EditReferences(); })
        ->setEnabled(m_model.GetCurrentMap() != nullptr);
    check(menu->addAction(
              tr("Auto Select Map"), this,
              [this] { m_model.m_settings.autoSelectMap = !m_model.m_settings.autoSelectMap; }),
          s.autoSelectMap);
    menu->addAction(tr("Select Map..."), this, [this] { SelectMap(); });
    menu->addAction(tr("Add New Map..."), this, [this] {
        const QString path = ChooseOpenFile(this, m_advancedFileSelector, tr("Select log file..."),
                                            ImageFileFilter(), QStringLiteral("*"), m_directory);
        if (!path.isEmpty())
            AddMapFile(path);
    });
    return menu;
}

void CMapView::LoadTrackFile(const QString &path)
{
    const CMapInfo *map = m_model.GetCurrentMap();
    if (map == nullptr)
        return;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    std::vector<CTrackPoint> points;
    const int error = ::LoadTrackFile(path.toStdString(), *map, m_model.m_settings.colourReception,
                                      m_model.GetMarkerColour(), points, m_gnssMode);
    QApplication::restoreOverrideCursor();
    if (error != 0) {
        ShowError(this, QStringLiteral("failed to open file."),
                  QString::fromStdString(DescribeFileError(path.toStdString(), error)));
        return;
    }
    Apply(m_model.AppendTrack(points));
}

void CMapView::EditReferences()
{
    const CMapInfo *map = m_model.GetCurrentMap();
    if (map == nullptr)
        return;
    CReferencePointsDialog dialog(map->m_pairs, m_model.ProposedPair(), m_projection, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_model.SetCurrentPairs(dialog.GetPairs());
    SaveMaps();
    Redraw();
}

void CMapView::SelectMap()
{
    CSelectMapDialog dialog(m_model.GetMaps(), m_advancedFileSelector, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    Apply(m_model.ReplaceMaps(dialog.GetMaps(), dialog.GetChosenIndex()));
}

void CMapView::AddMapFile(const QString &path)
{
    LoadBitmap(path, [this, path](bool ok) {
        if (!ok) {
            // Nothing is added; the map shown before comes back.
            LoadCurrentBitmap();
            return;
        }
        const QSize size = m_bitmap.GetSize();
        Apply(m_model.AddMap(QFileInfo(path).absoluteFilePath().toStdString(), size.width(),
                             size.height())
              & ~kMapSwitched);
        OfferCalibration(path);
    });
}

void CMapView::OfferCalibration(const QString &imagePath)
{
    const QSize size = m_bitmap.GetSize();
    const std::vector<std::string> found = FindCalibrationFiles(imagePath.toStdString());
    QString file;
    if (!found.empty()) {
        file = QString::fromStdString(found.front());
        if (!AskQuestion(this, tr("Calibration"),
                         tr("Import the calibration in %1?").arg(QFileInfo(file).fileName())))
            return;
    } else {
        if (!AskQuestion(this, tr("Calibration"),
                         tr("No calibration file lies beside this map.\nImport one (.map, world "
                            "file or KML)?")))
            return;
        file = ChooseOpenFile(this, m_advancedFileSelector, tr("Select calibration file..."),
                              tr("Calibrations (*.map *.jgw *.pgw *.tfw *.gfw *.wld *.kml)"),
                              QStringLiteral("*"), QFileInfo(imagePath).absolutePath());
        if (file.isEmpty())
            return;
    }
    const CCalibrationImport import =
        ImportCalibrationFile(file.toStdString(), size.width(), size.height());
    if (!import.ok) {
        ShowError(this, tr("Unable to import the calibration."),
                  file + QStringLiteral(": ") + QString::fromStdString(import.error));
        return;
    }
    if (NeedsConfirmation(import)
        && !AskQuestion(
            this, tr("Calibration"),
            tr("This map is not a plain latitude/longitude grid: positions on it may be off "
               "by up to %1 m (%2 pixels).\nUse the calibration anyway?")
                .arg(import.maxErrorMetres, 0, 'f', 0)
                .arg(import.maxErrorPixels, 0, 'f', 1)))
        return;
    m_model.SetCurrentPairs(import.pairs);
    SaveMaps();
    Redraw();
}

namespace
{

// The position in `maps` of the map shown before, else the nearest index still there.
int IndexOfShownMap(const CMapList &maps, const CMapInfo *shown, int current)
{
    for (std::size_t i = 0; shown != nullptr && i < maps.size(); ++i)
        if (maps[i].m_file == shown->m_file && maps[i].m_name == shown->m_name)
            return static_cast<int>(i);
    return maps.empty() ? -1 : std::min(current, static_cast<int>(maps.size()) - 1);
}

} // namespace

bool CMapView::SaveMaps()
{
    const std::string path = JoinDatabasePath(m_directory.toStdString(), kMapFileName);
    const CMapList mine = m_model.GetMaps();
    const CChangeSet<CMapInfo> changes = DiffLists(m_savedMaps, mine);
    CDatabaseSave<CMapInfo> save = SaveDatabaseChanges(path, m_mapStamp, mine, changes, MapCodec());
    if (save.outcome == SaveOutcome::Conflict) {
        const DatabaseConflictChoice choice =
            AskDatabaseConflict(this, QString::fromLatin1(kMapConflictText));
        if (choice == DatabaseConflictChoice::Cancel)
            return false;
        if (choice == DatabaseConflictChoice::KeepMine)
            save = SaveDatabaseChanges(path, m_mapStamp, mine, changes, MapCodec(), true);
    }
    if (save.outcome == SaveOutcome::Failed) {
        ShowError(this, QString::fromLatin1(kMapDatabaseMessage),
                  QString::fromStdString(save.detail));
        return false;
    }
    m_savedMaps = save.items;
    m_mapStamp = save.stamp;
    if (save.outcome != SaveOutcome::Saved) {
        const int index =
            IndexOfShownMap(save.items, m_model.GetCurrentMap(), m_model.GetCurrentIndex());
        Apply(m_model.ReplaceMaps(std::move(save.items), index));
    }
    return save.outcome != SaveOutcome::Conflict;
}

bool CMapView::CheckOutsideChange()
{
    const std::string path = JoinDatabasePath(m_directory.toStdString(), kMapFileName);
    CDatabaseStamp now;
    if (m_model.GetMaps() != m_savedMaps || ReadDatabaseStamp(path, kMaxMapFileBytes, now) != 0
        || now == m_mapStamp)
        return false;
    CMapLoad load = LoadMapDatabase(m_directory.toStdString());
    if (!load.opened || load.damaged)
        return false;
    m_savedMaps = load.maps;
    m_mapStamp = load.path == path ? load.stamp : CDatabaseStamp{};
    const int index =
        IndexOfShownMap(load.maps, m_model.GetCurrentMap(), m_model.GetCurrentIndex());
    Apply(m_model.ReplaceMaps(std::move(load.maps), index));
    return true;
}

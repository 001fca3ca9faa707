#include "maps/MapView.h"

#include "maps/MapDatabase.h"
#include "maps/TileSources.h"
#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"
#include "waypoints/WaypointBook.h"
#include "widgets/MessageBox.h"
#include "widgets/NightPalette.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QPainter>

#include <cmath>

CMapView::CMapView(QWidget *parent)
    : QWidget(parent)
    , m_loader(this)
    , m_openPyramid(OpenTilePyramid)
    , m_menu(*this, m_model, m_loader, m_options,
             {.apply = [this](unsigned changes) { Apply(changes); },
              .loadBitmap =
                  [this](const QString &path, std::function<void(bool)> done) {
                      LoadBitmap(path, std::move(done));
                  }})
    , m_input(*this, m_model, m_options,
              {.apply = [this](unsigned changes) { Apply(changes); },
               .syncClientSize = [this] { SyncClientSize(); },
               .openMenu = [this](const QPoint &globalPos) { m_menu.Show(globalPos); }})
{
    setObjectName(QStringLiteral("mapPage"));
    setAccessibleName(tr("Map"));
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    ReadSettings();
    connect(&m_tiles, &CTileCache::TileArrived, this, [this] {
        m_painter.Invalidate();
        update();
    });
}

CMapView::~CMapView()
{
    WriteSettings();
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
    std::int32_t cacheMB = kTileCacheSetting.fallback;
    if (CSettingsKey tiles; tiles.Open(kTileCacheSetting.key, true))
        tiles.ReadNumber(kTileCacheSetting.name, cacheMB);
    constexpr std::int32_t kSmallestCacheMB = 16;
    m_tiles.SetLimitBytes(static_cast<std::size_t>(std::max(cacheMB, kSmallestCacheMB)) * 1024
                          * 1024);
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
    m_options.waypoints = waypoints;
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
    m_menu.Open(directory, quiet);
}

void CMapView::Apply(unsigned changes)
{
    if (changes & kMapSwitched)
        LoadCurrentBitmap();
    if (changes & kMapViewMoved)
        m_painter.Invalidate();
    if (changes != kMapUnchanged)
        update();
}

void CMapView::SetPosition(const CGeoPosition &position)
{
    Apply(m_model.NewPosition(position));
}

void CMapView::SetFix(bool fix)
{
    m_model.SetReceiving(fix);
}

void CMapView::ClearPointList()
{
    m_model.DiscardTrackEnd();
}

bool CMapView::ShowsReceptionIndicator() const
{
    return m_model.m_settings.colourReception;
}

void CMapView::SetReception(double ratio)
{
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
    m_options.projection = projection;
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
    m_painter.WaypointsChanged();
    update();
}

void CMapView::SetNightMode(bool night)
{
    if (night != m_night) {
        m_night = night;
        Redraw();
    }
}

void CMapView::SetNightRed(bool red)
{
    if (red != m_nightRed) {
        m_nightRed = red;
        update();
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
    return m_options.waypoints != nullptr ? &m_options.waypoints->GetWaypoints() : nullptr;
}

const CWaypoint *CMapView::SelectedWaypoint() const
{
    if (m_options.waypoints == nullptr)
        return nullptr;
    return m_options.waypoints->GetNavigator().GetTargetWaypoint(
        m_options.waypoints->GetWaypoints());
}

void CMapView::LoadCurrentBitmap()
{
    m_loader.Cancel();
    m_loader.Clear();
    m_tiles.SetPyramid(nullptr);
    emit MapLoadedChanged();
    m_painter.Invalidate();
    const CMapInfo *map = m_model.GetCurrentMap();
    if (map == nullptr || OpenPyramid(*map))
        return;
    LoadBitmap(QString::fromStdString(map->m_file), [this](bool ok) {
        if (ok) {
            const QSize size = m_loader.GetBitmap().GetSize();
            m_model.SetBitmapSize(size.width(), size.height());
        }
    });
}

// True when the map is drawn from tiles, or failed to open as such (and is not drawn at all).
bool CMapView::OpenPyramid(const CMapInfo &map)
{
    if (!m_openPyramid)
        return false;
    std::string error;
    std::unique_ptr<CTilePyramid> pyramid = m_openPyramid(map, error);
    if (pyramid == nullptr && error.empty())
        return false;
    if (pyramid == nullptr || pyramid->GetLevels().empty()) {
        ShowError(this, QString::fromLatin1(CMapBitmapLoader::kLoadFailedMessage),
                  QString::fromStdString(map.m_file + ": " + error));
        return true;
    }
    m_model.SetTileLevels(pyramid->GetLevels());
    m_tiles.SetPyramid(std::move(pyramid));
    Redraw();
    emit MapLoadedChanged();
    return true;
}

bool CMapView::WaitForTiles(int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        (void)Render();
        if (!m_tiles.IsReading())
            return true;
        if (!m_tiles.WaitIdle(std::max(0, timeoutMs - static_cast<int>(timer.elapsed()))))
            return false;
    }
}

void CMapView::LoadBitmap(const QString &path, std::function<void(bool)> done)
{
    m_painter.Invalidate();
    m_loader.Load(path, [this, done = std::move(done)](bool ok) {
        if (done)
            done(ok);
        Redraw();
        emit MapLoadedChanged();
    });
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
        m_painter.Invalidate();
    }
}

QImage CMapView::Render()
{
    const double dpr = devicePixelRatioF();
    QImage image(size() * dpr, QImage::Format_RGB32);
    image.setDevicePixelRatio(dpr);
    QPainter painter(&image);
    Paint(painter);
    return image;
}

void CMapView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    Paint(painter);
}

void CMapView::Paint(QPainter &painter)
{
    SyncClientSize();
    if (m_night && m_nightRed) {
        // Bands, marker and waypoints too: everything on the page turns red, light staying light;
        // the tint dims it, keeping more contrast than the day's picture under a dark veil.
        const qreal ratio = painter.device()->devicePixelRatioF();
        QImage page(size() * ratio, QImage::Format_RGB32);
        page.setDevicePixelRatio(ratio);
        page.fill(Qt::black);
        QPainter day(&page);
        day.setRenderHints(painter.renderHints());
        PaintScene(day);
        day.end();
        CNightPalette::Tint(page);
        painter.drawImage(0, 0, page);
        return;
    }
    PaintScene(painter);
}

void CMapView::PaintScene(QPainter &painter)
{
    m_painter.Paint(painter, {.model = m_model,
                              .bitmap = m_loader.GetBitmap(),
                              .tiles = m_tiles.GetPyramid() != nullptr ? &m_tiles : nullptr,
                              .waypoints = Waypoints(),
                              .selected = SelectedWaypoint(),
                              .heading = m_heading,
                              .projection = m_options.projection,
                              .night = m_night && !m_nightRed,
                              .loading = m_loader.IsDecoding(),
                              .drag = m_input.MeasuredPath(),
                              .size = size(),
                              .dpr = devicePixelRatioF()});
}

void CMapView::mousePressEvent(QMouseEvent *event)
{
    m_input.Press(event);
}

void CMapView::mouseMoveEvent(QMouseEvent *event)
{
    m_input.Move(event);
}

void CMapView::mouseReleaseEvent(QMouseEvent *event)
{
    m_input.Release(event);
}

void CMapView::wheelEvent(QWheelEvent *event)
{
    m_input.Wheel(event);
}

void CMapView::keyPressEvent(QKeyEvent *event)
{
    if (!m_input.Key(event))
        QWidget::keyPressEvent(event);
}

void CMapView::contextMenuEvent(QContextMenuEvent *event)
{
    m_input.ContextMenu(event);
}

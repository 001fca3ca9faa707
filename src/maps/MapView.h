#pragma once

#include "base/GeoPosition.h"
#include "base/Units.h"
#include "geo/CoordinateFormat.h"
#include "maps/MapBitmap.h"
#include "maps/MapPageModel.h"
#include "maps/WaypointLayer.h"
#include "nmea/GnssSystem.h"
#include "storage/DatabaseFile.h"

#include <QFont>
#include <QHash>
#include <QImage>
#include <QPoint>
#include <QWidget>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

class CWaypointBook;
class QMenu;
class QTimer;

/// What the window has handed to the map page.
struct CMapFeed {
    CGeoPosition position;
    int positionUpdates = 0;
    bool fix = false;
    int fixChanges = 0;
    int pointListClears = 0;
    double reception = 0.0;
};

/// The "Map" page: the current map of the database around the view centre, with the track,
/// the waypoints, the marker and the text overlays. Tap centres, a drag measures, press-and-hold
/// (or right-click, or the Menu key) opens the map menu; the wheel zooms and a middle-button
/// drag pans.
class CMapView : public QWidget
{
    Q_OBJECT
public:
    static constexpr const char *kSettingsKey = "Software/Veloran/Maps";
    static constexpr const char *kLoadFailedMessage = "Failed to load mapfile.";

    explicit CMapView(QWidget *parent = nullptr);
    ~CMapView() override;

    /// The world image installed with the program, else the system's copy.
    static QString WorldMapImagePath();

    /// Reads the map database in `directory` and shows its first map. Neither file opening is
    /// reported when `quiet` (a first start).
    void Start(const QString &directory, bool quiet, CWaypointBook *waypoints);

    void SetPosition(const CGeoPosition &position);
    /// Receiving fixes; when it stops, the next fix begins a new piece of track.
    void SetFix(bool fix);
    /// Forgets where the track was, so the next fix does not join it.
    void ClearPointList();
    [[nodiscard]] bool ShowsReceptionIndicator() const;
    /// Satellites used / in view.
    void SetReception(double ratio);
    /// Course over ground in degrees; negative when unknown.
    void SetHeading(double heading);
    void SetProjection(CoordinateFormat projection);
    void SetAdvancedFileSelector(bool advanced) { m_advancedFileSelector = advanced; }
    void SetUnits(UnitSystem units);
    /// The waypoint list or the goto target changed.
    void WaypointsChanged();
    /// Writes the maps without losing another program's changes to the database since it was
    /// read (see CWaypointBook::Save); a failure is shown. Returns whether it was written.
    bool SaveMaps();
    /// Reloads the maps when another program saved the database meanwhile and this page has
    /// nothing unsaved. Returns whether it did (the caller says so: kMapReloadedText).
    bool CheckOutsideChange();
    void SetNightMode(bool night);
    /// How Load Track reads a log: as the receiver connection does.
    void SetGnssMode(GnssMode mode) { m_gnssMode = mode; }

    [[nodiscard]] bool IsMapLoaded() const { return !m_bitmap.IsNull(); }
    /// The view centre's position on a calibrated map.
    bool GetCursorPosition(CGeoPosition &position) const;
    void ZoomIn();
    void ZoomOut();
    void ToggleTrackPosition();

    /// Decoding threads still running when their page went: the process must not wait for
    /// them, nor run its exit handlers under them.
    static int AbandonedDecodes() { return s_abandoned.load(); }

    /// Blocks until the bitmap being decoded is there (tests, screenshots); false on time-out.
    bool WaitForBitmap(int timeoutMs);
    /// The page as it paints, into an image of its size (device pixels).
    [[nodiscard]] QImage Render();

    [[nodiscard]] const CMapFeed &GetFeed() const { return m_feed; }
    [[nodiscard]] CoordinateFormat GetProjection() const { return m_projection; }
    [[nodiscard]] bool GetAdvancedFileSelector() const { return m_advancedFileSelector; }
    [[nodiscard]] UnitSystem GetUnits() const { return m_model.m_settings.units; }
    [[nodiscard]] CMapPageModel &GetModel() { return m_model; }
    [[nodiscard]] const CMapBitmap &GetBitmap() const { return m_bitmap; }

    /// The map menu's commands, also for tests.
    void LoadTrackFile(const QString &path);
    void EditReferences();
    void SelectMap();
    void AddMapFile(const QString &path);
    /// Measures a drag over `path` (device pixels) ending at `up`; returns the box's text.
    QString Measure(const std::vector<CMapPoint> &path, const CMapPoint &up);
    [[nodiscard]] QMenu *CreateMapMenu();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    /// Called (by name, queued) when a decoding thread has handed over its job.
    Q_INVOKABLE void TakeDecodedBitmaps();
    void ReadSettings();
    void WriteSettings() const;
    void Apply(unsigned changes);
    void LoadCurrentBitmap();
    void LoadBitmap(const QString &path, std::function<void(bool)> done);
    struct CDecodeJob;
    void BitmapDecoded(const std::shared_ptr<CDecodeJob> &job);
    void SyncClientSize();
    void Compose();
    void DrawTrack(QPainter &painter, std::size_t from) const;
    void DrawWaypoints(QPainter &painter);
    void PaintOverlays(QPainter &painter);
    void ShowMenu(const QPoint &globalPos);
    void TapReleased(const QPoint &pos);
    void OfferCalibration(const QString &imagePath);
    void Redraw();
    [[nodiscard]] QPointF DevicePoint(const QPointF &logical) const;
    [[nodiscard]] const CWaypoint *SelectedWaypoint() const;
    [[nodiscard]] const CWaypointList *Waypoints() const;

    CMapFeed m_feed;
    CMapPageModel m_model;
    CMapBitmap m_bitmap;
    QString m_directory;
    CMapList m_savedMaps;      ///< the database as last read or written
    CDatabaseStamp m_mapStamp; ///< of that file
    CWaypointBook *m_waypoints = nullptr;
    CoordinateFormat m_projection = CoordinateFormat::DD;
    bool m_advancedFileSelector = false;
    bool m_night = false;
    GnssMode m_gnssMode = GnssMode::AllSystems;
    double m_heading = -1.0;

    // Decoding runs on a thread of its own per request; a newer request makes an older one
    // stale. Nothing ever waits on one for long: a file can be slow, or stuck.
    struct CDecodeLink;
    static constexpr int kDecodeGraceMs = 500;
    static std::atomic<int> s_abandoned;
    std::shared_ptr<CDecodeJob> m_job;
    std::shared_ptr<CDecodeLink> m_link;
    bool m_waitCursor = false;

    CWaypointLayer m_waypointLayer;
    const CWaypoint *m_layerList = nullptr; // the list the layer was built from
    std::size_t m_layerListSize = 0;
    static constexpr qsizetype kLabelCacheSize = 4096;
    QFont m_labelFont;
    QHash<std::size_t, QImage> m_labels;    // waypoint names as drawn, in m_labelFont
    std::vector<double> m_labelWidths;      // their widths, -1 until measured
    std::vector<std::size_t> m_shownLabels; // the waypoints named in the last frame, ascending
    static constexpr double kDotSpriteRadius = 32.0;
    static constexpr qsizetype kDotSpriteCount = 256;
    QHash<int, QImage> m_dotSprites; // waypoint circles by size, in quarter pixels

    QImage m_frame; // map, track and waypoints of the current view
    bool m_frameValid = false;
    std::size_t m_composedSegments = 0;

    std::vector<CMapPoint> m_dragPath; // device pixels
    CMapPoint m_downPoint;
    bool m_measuring = false;
    bool m_suppressTap = false;
    bool m_panning = false;
    QPoint m_panFrom;
    QTimer *m_hold = nullptr;
    QPoint m_holdGlobal;
};

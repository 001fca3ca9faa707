#pragma once

#include "base/GeoPosition.h"
#include "base/Units.h"
#include "geo/CoordinateFormat.h"
#include "maps/MapBitmapLoader.h"
#include "maps/MapInput.h"
#include "maps/MapMenu.h"
#include "maps/MapPageModel.h"
#include "maps/MapPageOptions.h"
#include "maps/MapPainter.h"
#include "maps/TileCache.h"
#include "nmea/GnssSystem.h"

#include <QImage>
#include <QWidget>

#include <functional>
#include <memory>
#include <string>
#include <vector>

class CWaypointBook;

/// The "Map" page: the current map of the database around the view centre, with the track,
/// the waypoints, the marker and the text overlays. The widget owns the page's parts and hands
/// them its paints and input: the painter draws, the input turns gestures into model changes,
/// the menu carries out the map commands, the loader decodes bitmaps.
class CMapView : public QWidget
{
    Q_OBJECT
public:
    static constexpr const char *kSettingsKey = "Software/Veloran/Maps";
    /// Opens a map's tile pyramid: nullptr and an error when it cannot, nullptr and no error
    /// for a sheet (drawn from its bitmap).
    using CPyramidOpener =
        std::function<std::unique_ptr<CTilePyramid>(const CMapInfo &map, std::string &error)>;

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
    void SetAdvancedFileSelector(bool advanced) { m_options.advancedFileSelector = advanced; }
    void SetUnits(UnitSystem units);
    /// The waypoint list or the goto target changed.
    void WaypointsChanged();
    /// Writes the maps without losing another program's changes to the database since it was
    /// read (see CWaypointBook::Save); a failure is shown. Returns whether it was written.
    bool SaveMaps() { return m_menu.SaveMaps(); }
    /// Reloads the maps when another program saved the database meanwhile and this page has
    /// nothing unsaved. Returns whether it did (the caller says so: kMapReloadedText).
    bool CheckOutsideChange() { return m_menu.CheckOutsideChange(); }
    void SetNightMode(bool night);
    /// At night, the whole page in the night palette's reds as well as dimmed.
    void SetNightRed(bool red);
    /// How Load Track reads a log: as the receiver connection does.
    void SetGnssMode(GnssMode mode) { m_options.gnssMode = mode; }
    void SetTrackExport(std::function<void()> exportTrack)
    {
        m_options.exportTrack = std::move(exportTrack);
    }

    [[nodiscard]] bool IsMapLoaded() const
    {
        return !m_loader.GetBitmap().IsNull() || m_tiles.GetPyramid() != nullptr;
    }
    /// How maps are opened as tile pyramids (tests put doubles in); the next map shown uses it.
    void SetPyramidOpener(CPyramidOpener opener) { m_openPyramid = std::move(opener); }
    /// Paints until every tile the view wants is read (tests, screenshots, benchmarks); false
    /// on time-out.
    bool WaitForTiles(int timeoutMs);
    [[nodiscard]] CTileCache &GetTiles() { return m_tiles; }
    /// The view centre's position on a calibrated map.
    bool GetCursorPosition(CGeoPosition &position) const;
    void ZoomIn();
    void ZoomOut();
    void ToggleTrackPosition();

    /// Decoding threads still running when their page went: the process must not wait for
    /// them, nor run its exit handlers under them.
    static int AbandonedDecodes() { return CMapBitmapLoader::AbandonedDecodes(); }

    /// Blocks until the bitmap being decoded is there (tests, screenshots); false on time-out.
    bool WaitForBitmap(int timeoutMs) { return m_loader.WaitForBitmap(timeoutMs); }
    /// The page as it paints, into an image of its size (device pixels).
    [[nodiscard]] QImage Render();

    [[nodiscard]] CMapPageModel &GetModel() { return m_model; }
    [[nodiscard]] const CMapPageOptions &GetOptions() const { return m_options; }
    [[nodiscard]] const CMapBitmap &GetBitmap() const { return m_loader.GetBitmap(); }

    /// Map menu commands, for tests.
    void LoadTrackFile(const QString &path) { m_menu.LoadTrackFile(path); }
    void AddMapFile(const QString &path) { m_menu.AddMapFile(path); }
    /// Measures a drag over `path` (device pixels) ending at `up`; returns the box's text.
    QString Measure(const std::vector<CMapPoint> &path, const CMapPoint &up)
    {
        return m_input.Measure(path, up);
    }

signals:
    /// A map image finished loading, or was put away: the zoom commands follow.
    void MapLoadedChanged();

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
    void ReadSettings();
    void WriteSettings() const;
    void Apply(unsigned changes);
    void Redraw() { Apply(kMapViewMoved); }
    void LoadCurrentBitmap();
    bool OpenPyramid(const CMapInfo &map);
    void LoadBitmap(const QString &path, std::function<void(bool)> done);
    void SyncClientSize();
    void Paint(QPainter &painter);
    void PaintScene(QPainter &painter);
    [[nodiscard]] const CWaypointList *Waypoints() const;
    [[nodiscard]] const CWaypoint *SelectedWaypoint() const;

    CMapPageModel m_model;
    CMapPageOptions m_options;
    bool m_night = false;
    bool m_nightRed = false;
    double m_heading = -1.0;
    CMapPainter m_painter;
    CMapBitmapLoader m_loader;
    CTileCache m_tiles;
    CPyramidOpener m_openPyramid;
    CMapMenu m_menu;
    CMapInput m_input;
};

#pragma once

#include "maps/MapInfo.h"
#include "maps/MapPageOptions.h"
#include "maps/TileSources.h"
#include "storage/DatabaseFile.h"

#include <QCoreApplication>
#include <QPoint>
#include <QSize>
#include <QString>

#include <functional>

struct CCalibrationImport;

class CMapBitmapLoader;
class CMapPageModel;
class QMenu;
class QWidget;

/// The map menu and its commands, and the map database they change: read when the page starts,
/// written after an edit without losing another program's changes, read again when another
/// program saved it.
class CMapMenu
{
    Q_DECLARE_TR_FUNCTIONS(CMapMenu)
public:
    /// What the commands ask of their page.
    struct CHooks {
        std::function<void(unsigned)> apply; ///< model changes (MapChange) to show
        /// Drops the bitmap shown and decodes `path`; then `done(ok)` as CMapBitmapLoader::Load.
        std::function<void(const QString &path, std::function<void(bool)> done)> loadBitmap;
    };

    CMapMenu(QWidget &page, CMapPageModel &model, const CMapBitmapLoader &bitmaps,
             const CMapPageOptions &options, CHooks hooks);

    /// Reads the map database in `directory` and shows its first map. Failing to open it is
    /// not reported when `quiet` (a first start).
    void Open(const QString &directory, bool quiet);
    void Show(const QPoint &globalPos);

    void LoadTrackFile(const QString &path);
    void EditReferences();
    void SelectMap();
    /// A bitmap, or an MBTiles file (a folder: AddTileFolder with the detected row order).
    void AddMapFile(const QString &path);
    /// A folder of z/x/y tiles; Detect takes the order the folder suggests.
    void AddTileFolder(const QString &path, TileRowOrder order);
    /// Writes the maps without losing another program's changes to the database since it was
    /// read (see CWaypointBook::Save); a failure is shown. Returns whether it was written.
    bool SaveMaps();
    /// Reloads the maps when another program saved the database meanwhile and this page has
    /// nothing unsaved. Returns whether it did.
    bool CheckOutsideChange();

private:
    [[nodiscard]] QMenu *Create();
    /// `size`: the image's, in pixels.
    void OfferCalibration(const QString &imagePath, QSize size);
    /// Adds a tiled TIFF without decoding it; false for a TIFF in strips (or no TIFF).
    bool AddTiledTiff(const QString &path);
    /// The georeferencing inside a GeoTIFF, taken as an imported calibration file's would be;
    /// false when there is none to take, so that a calibration file is offered.
    bool UseGeoTiffCalibration(const QString &imagePath);
    /// Asks before a calibration that misses a point by more than two pixels is used.
    bool AcceptMisfit(const CCalibrationImport &import);
    void AddTileSource(const CTileSourceInfo &info);

    QWidget &m_page;
    CMapPageModel &m_model;
    const CMapBitmapLoader &m_bitmaps;
    const CMapPageOptions &m_options;
    CHooks m_hooks;
    QString m_directory;
    CMapList m_savedMaps;      ///< the database as last read or written
    CDatabaseStamp m_mapStamp; ///< of that file
};

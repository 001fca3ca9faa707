#include "maps/MapMenu.h"

#include "maps/CalibrationImport.h"
#include "maps/GeoTiff.h"
#include "maps/MapBitmapLoader.h"
#include "maps/MapDatabase.h"
#include "maps/MapDialogs.h"
#include "maps/MapPageModel.h"
#include "maps/TrackLoader.h"
#include "storage/AtomicFile.h"
#include "storage/ProgramDatabases.h"
#include "waypoints/WaypointBook.h"
#include "widgets/FileDialogs.h"
#include "widgets/FormWidgets.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QImageReader>
#include <QMenu>
#include <QWidget>

#include <algorithm>
#include <memory>
#include <optional>

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

CMapMenu::CMapMenu(QWidget &page, CMapPageModel &model, const CMapBitmapLoader &bitmaps,
                   const CMapPageOptions &options, CHooks hooks)
    : m_page(page)
    , m_model(model)
    , m_bitmaps(bitmaps)
    , m_options(options)
    , m_hooks(std::move(hooks))
{
    // Before the first GeoTIFF is drawn, or Qt's reader warns of its tags on every load.
    RegisterGeoTiffTags();
}

void CMapMenu::Open(const QString &directory, bool quiet)
{
    m_directory = directory;
    CMapLoad load = LoadMapDatabase(directory.toStdString());
    if (load.damaged || (!load.opened && !quiet))
        ShowError(&m_page, QString::fromLatin1(kMapDatabaseMessage),
                  QString::fromStdString(load.detail));
    m_savedMaps = load.maps;
    m_mapStamp = load.path == JoinDatabasePath(directory.toStdString(), kMapFileName)
                     ? load.stamp
                     : CDatabaseStamp{};
    m_hooks.apply(m_model.SetMaps(std::move(load.maps)));
}

void CMapMenu::Show(const QPoint &globalPos)
{
    std::unique_ptr<QMenu> menu(Create());
    menu->exec(globalPos);
}

QMenu *CMapMenu::Create()
{
    auto *menu = new QMenu(&m_page);
    CMapPageSettings &s = m_model.m_settings;
    const auto check = [](QAction *action, bool checked) {
        action->setCheckable(true);
        action->setChecked(checked);
        return action;
    };
    check(menu->addAction(tr("Track Position"), &m_page,
                          [this] { m_hooks.apply(m_model.ToggleTrackPosition()); }),
          s.trackPosition);
    QMenu *show = menu->addMenu(tr("Show"));
    const auto toggle = [this](bool &flag) {
        return [this, &flag] {
            flag = !flag;
            m_hooks.apply(kMapViewMoved);
        };
    };
    check(show->addAction(tr("Coordinates"), &m_page, toggle(s.showCoordinates)),
          s.showCoordinates);
    check(show->addAction(tr("Bearing"), &m_page, toggle(s.showBearing)), s.showBearing);
    check(show->addAction(tr("Track"), &m_page, toggle(s.showTrack)), s.showTrack);
    check(show->addAction(tr("Waypoints"), &m_page, toggle(s.showWaypoints)), s.showWaypoints);
    check(show->addAction(tr("Mapname"), &m_page, toggle(s.showMapName)), s.showMapName);
    QMenu *marker = menu->addMenu(tr("Marker Color"));
    const char *channels[] = {"Red", "Green", "Blue"};
    for (int i = 0; i < 3; ++i) {
        check(marker->addAction(tr(channels[i]), &m_page,
                                [this, i] {
                                    m_model.ToggleMarkerFlag(i);
                                    m_page.update();
                                }),
              s.markerFlags[static_cast<std::size_t>(i)]);
    }
    check(marker->addAction(tr("Reception"), &m_page,
                            [this] { m_hooks.apply(m_model.ToggleColourReception()); }),
          s.colourReception);
    check(marker->addAction(tr("Outline"), &m_page, toggle(s.outline)), s.outline);
    QAction *gotoWaypoint = menu->addAction(tr("Goto Waypoint"), &m_page, [this] {
        m_options.waypoints->SelectGoto(m_options.projection);
        m_page.update();
    });
    gotoWaypoint->setEnabled(m_options.waypoints != nullptr);
    menu->addAction(tr("Load Track..."), &m_page, [this] {
        const QString path = ChooseOpenFile(
            &m_page, m_options.advancedFileSelector, tr("Load track from NMEA log"),
            tr("NMEA Logs (*.nmea);;All files (*)"), QStringLiteral("*.nmea"), m_directory);
        if (!path.isEmpty())
            LoadTrackFile(path);
    });
    if (m_options.exportTrack)
        menu->addAction(tr("Export Track as GPX..."), &m_page, m_options.exportTrack);
    menu->addAction(tr("References..."), &m_page, [this] { EditReferences(); })
        ->setEnabled(m_model.GetCurrentMap() != nullptr);
    check(menu->addAction(
              tr("Auto Select Map"), &m_page,
              [this] { m_model.m_settings.autoSelectMap = !m_model.m_settings.autoSelectMap; }),
          s.autoSelectMap);
    menu->addAction(tr("Select Map..."), &m_page, [this] { SelectMap(); });
    menu->addAction(tr("Add New Map..."), &m_page, [this] {
        const QString path =
            ChooseOpenFile(&m_page, m_options.advancedFileSelector, tr("Select map image"),
                           ImageFileFilter(), QStringLiteral("*"), m_directory);
        if (!path.isEmpty())
            AddMapFile(path);
    });
    menu->addAction(tr("Add Tile Folder..."), &m_page, [this] {
        const QString folder = QFileDialog::getExistingDirectory(
            &m_page, tr("Select a folder of z/x/y tiles"), m_directory);
        if (folder.isEmpty())
            return;
        const CTileSourceInfo found = DescribeTileSource(folder.toStdString());
        if (!found.ok) {
            AddTileSource(found);
            return;
        }
        const std::optional<TileRowOrder> order = ChooseTileRowOrder(
            &m_page,
            found.file.find("{-y}") != std::string::npos ? TileRowOrder::TMS : TileRowOrder::XYZ);
        if (order)
            AddTileFolder(folder, *order);
    });
    GiveMnemonics(*menu);
    return menu;
}

void CMapMenu::LoadTrackFile(const QString &path)
{
    const CMapInfo *map = m_model.GetCurrentMap();
    if (map == nullptr)
        return;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    std::vector<CTrackPoint> points;
    const int error = ::LoadTrackFile(path.toStdString(), *map, m_model.m_settings.colourReception,
                                      m_model.GetMarkerColour(), points, m_options.gnssMode);
    QApplication::restoreOverrideCursor();
    if (error != 0) {
        ShowError(&m_page, QStringLiteral("failed to open file."),
                  QString::fromStdString(DescribeFileError(path.toStdString(), error)));
        return;
    }
    m_hooks.apply(m_model.AppendTrack(points));
}

void CMapMenu::EditReferences()
{
    const CMapInfo *map = m_model.GetCurrentMap();
    if (map == nullptr)
        return;
    CReferencePointsDialog dialog(map->m_pairs, m_model.ProposedPair(), m_options.projection,
                                  &m_page);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_model.SetCurrentPairs(dialog.GetPairs());
    SaveMaps();
    m_hooks.apply(kMapViewMoved);
}

void CMapMenu::SelectMap()
{
    CSelectMapDialog dialog(m_model.GetMaps(), m_options.advancedFileSelector, &m_page);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_hooks.apply(m_model.ReplaceMaps(dialog.GetMaps(), dialog.GetChosenIndex()));
}

void CMapMenu::AddMapFile(const QString &path)
{
    if (QFileInfo(path).isDir()) {
        AddTileFolder(path, TileRowOrder::Detect);
        return;
    }
    if (TileSourceKindOfPath(path.toStdString()) != TileSourceKind::None) {
        AddTileSource(DescribeTileSource(QFileInfo(path).absoluteFilePath().toStdString()));
        return;
    }
    if (IsTiffPath(path.toStdString()) && AddTiledTiff(path))
        return;
    m_hooks.loadBitmap(path, [this, path](bool ok) {
        if (!ok) {
            // Nothing is added; the map shown before comes back.
            m_hooks.apply(kMapSwitched);
            return;
        }
        const QSize size = m_bitmaps.GetBitmap().GetSize();
        m_hooks.apply(m_model.AddMap(QFileInfo(path).absoluteFilePath().toStdString(), size.width(),
                                     size.height())
                      & ~kMapSwitched);
        OfferCalibration(path, size);
    });
}

// A tiled TIFF can be far larger than memory: it is never decoded whole, not even to be added.
// Its size comes from its header, and the page opens it as a tile pyramid once it is current.
bool CMapMenu::AddTiledTiff(const QString &path)
{
    const std::string file = QFileInfo(path).absoluteFilePath().toStdString();
    std::string error;
    if (OpenTiffPyramid(file, error) == nullptr) {
        if (error.empty())
            return false; // in strips: decoded whole as any image
        ShowError(&m_page, QString::fromLatin1(CMapBitmapLoader::kLoadFailedMessage),
                  QFileInfo(path).fileName() + QStringLiteral(": ")
                      + QString::fromStdString(error));
        return true;
    }
    RegisterGeoTiffTags();
    const QSize size = QImageReader(path).size();
    if (!size.isValid())
        return false;
    m_hooks.apply(m_model.AddMap(file, size.width(), size.height()));
    OfferCalibration(path, size);
    return true;
}

void CMapMenu::AddTileFolder(const QString &path, TileRowOrder order)
{
    AddTileSource(DescribeTileSource(QFileInfo(path).absoluteFilePath().toStdString(), order));
}

// A tile source needs no calibration: its positions follow from the tiles' numbering.
void CMapMenu::AddTileSource(const CTileSourceInfo &info)
{
    if (!info.ok) {
        ShowError(&m_page, QString::fromLatin1(CMapBitmapLoader::kLoadFailedMessage),
                  QString::fromStdString(info.error));
        return;
    }
    m_hooks.apply(m_model.AddMap(TileSourceMap(info)));
    SaveMaps();
}

void CMapMenu::OfferCalibration(const QString &imagePath, QSize size)
{
    if (IsTiffPath(imagePath.toStdString()) && UseGeoTiffCalibration(imagePath))
        return;
    const std::vector<std::string> found = FindCalibrationFiles(imagePath.toStdString());
    QString file;
    if (!found.empty()) {
        file = QString::fromStdString(found.front());
        if (!AskQuestion(&m_page, tr("Calibration"),
                         tr("Import the calibration in %1?").arg(QFileInfo(file).fileName())))
            return;
    } else {
        if (!AskQuestion(&m_page, tr("Calibration"),
                         tr("No calibration file lies beside this map.\nImport one (.map, world "
                            "file or KML)?")))
            return;
        file = ChooseOpenFile(&m_page, m_options.advancedFileSelector, tr("Import calibration"),
                              tr("Calibrations (*.map *.jgw *.pgw *.tfw *.gfw *.wld *.kml)"),
                              QStringLiteral("*"), QFileInfo(imagePath).absolutePath());
        if (file.isEmpty())
            return;
    }
    const CCalibrationImport import =
        ImportCalibrationFile(file.toStdString(), size.width(), size.height());
    if (!import.ok) {
        ShowError(&m_page, tr("Unable to import the calibration."),
                  file + QStringLiteral(": ") + QString::fromStdString(import.error));
        return;
    }
    if (!AcceptMisfit(import))
        return;
    m_model.SetCurrentPairs(import.pairs);
    SaveMaps();
    m_hooks.apply(kMapViewMoved);
}

bool CMapMenu::UseGeoTiffCalibration(const QString &imagePath)
{
    bool georeferenced = false;
    const CCalibrationImport import = ImportGeoTiffFile(imagePath.toStdString(), georeferenced);
    if (!georeferenced)
        return false;
    if (!import.ok) {
        ShowError(&m_page, tr("Unable to use the georeferencing in this GeoTIFF."),
                  QFileInfo(imagePath).fileName() + QStringLiteral(": ")
                      + QString::fromStdString(import.error));
        return false;
    }
    if (AcceptMisfit(import)) {
        m_model.SetCurrentPairs(import.pairs);
        SaveMaps();
        m_hooks.apply(kMapViewMoved);
    }
    return true;
}

bool CMapMenu::AcceptMisfit(const CCalibrationImport &import)
{
    return !NeedsConfirmation(import)
           || AskQuestion(
               &m_page, tr("Calibration"),
               tr("This map is not a plain latitude/longitude grid: positions on it may be off "
                  "by up to %1 m (%2 pixels).\nUse the calibration anyway?")
                   .arg(import.maxErrorMetres, 0, 'f', 0)
                   .arg(import.maxErrorPixels, 0, 'f', 1));
}

bool CMapMenu::SaveMaps()
{
    const std::string path = JoinDatabasePath(m_directory.toStdString(), kMapFileName);
    const CMapList mine = m_model.GetMaps();
    const CChangeSet<CMapInfo> changes = DiffLists(m_savedMaps, mine);
    CDatabaseSave<CMapInfo> save = SaveDatabaseChanges(path, m_mapStamp, mine, changes, MapCodec());
    if (save.outcome == SaveOutcome::Conflict) {
        const DatabaseConflictChoice choice =
            AskDatabaseConflict(&m_page, QString::fromLatin1(kMapConflictText));
        if (choice == DatabaseConflictChoice::Cancel)
            return false;
        if (choice == DatabaseConflictChoice::KeepMine)
            save = SaveDatabaseChanges(path, m_mapStamp, mine, changes, MapCodec(), true);
    }
    if (save.outcome == SaveOutcome::Failed) {
        ShowError(&m_page, QString::fromLatin1(kMapDatabaseMessage),
                  QString::fromStdString(save.detail));
        return false;
    }
    m_savedMaps = save.items;
    m_mapStamp = save.stamp;
    if (save.outcome != SaveOutcome::Saved) {
        const int index =
            IndexOfShownMap(save.items, m_model.GetCurrentMap(), m_model.GetCurrentIndex());
        m_hooks.apply(m_model.ReplaceMaps(std::move(save.items), index));
    }
    return save.outcome != SaveOutcome::Conflict;
}

bool CMapMenu::CheckOutsideChange()
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
    m_hooks.apply(m_model.ReplaceMaps(std::move(load.maps), index));
    return true;
}

#pragma once

#include "geo/CoordinateFormat.h"
#include "storage/DatabaseFile.h"
#include "waypoints/WaypointExchange.h"
#include "waypoints/WaypointNavigator.h"

#include <QString>

#include <functional>
#include <optional>

class QWidget;

/// The answers to "The waypoint database was changed by another program." (and the map
/// database's same question).
enum class DatabaseConflictChoice { Reload, KeepMine, Cancel };
inline constexpr const char *kWaypointConflictText =
    "The waypoint database was changed by another program.";
inline constexpr const char *kMapConflictText = "The map database was changed by another program.";
inline constexpr const char *kWaypointReloadedText =
    "The waypoint database was changed by another program and has been reloaded.";
inline constexpr const char *kMapReloadedText =
    "The map database was changed by another program and has been reloaded.";
/// Asks with the buttons Reload, Keep mine and Cancel; an unattended run cancels.
DatabaseConflictChoice AskDatabaseConflict(QWidget *parent, const QString &text);
/// Tests answer the question in advance; nullopt shows it again.
void SetDatabaseConflictAnswer(std::optional<DatabaseConflictChoice> answer);

/// The window's waypoint database and goto target, and the commands that work on them: the
/// dialogs, import and export, with their messages.
class CWaypointBook
{
public:
    /// Boxes show over `window`.
    explicit CWaypointBook(QWidget *window);

    /// Reads the database in `directory`, after putting the factory "Worldpoints.wdb" there when
    /// neither file is. Neither file opening is reported, unless `firstStart` (the directory was
    /// only just made, so there is nothing to lose); a damaged file is.
    void Load(const QString &directory, bool firstStart);
    /// Writes the list in memory; a failure is shown and the list kept. Another program's
    /// changes since the load are kept, the list's changes applied on top where they can be
    /// told apart, else the user is asked.
    bool Save();

    /// "Edit Waypoints...": on OK the list is replaced, the goto target cleared, and saved.
    void Edit(CoordinateFormat format, const CGeoPosition &proposed);
    /// What Edit does with the dialog's list on OK: `before` is what the dialog was given (read
    /// from the file of `stamp`), `after` what it handed back.
    bool ApplyEdit(const CWaypointList &before, const CDatabaseStamp &stamp,
                   const CWaypointList &after);
    /// Reloads the list when another program saved the database meanwhile and nothing here is
    /// unsaved. Returns whether it did (the caller says so: kWaypointReloadedText).
    bool CheckOutsideChange();
    /// "Select Waypoint...": the goto target.
    void SelectGoto(CoordinateFormat format);
    /// The select dialog's choice: the waypoint at `index`; outside the list, no change.
    bool SetGotoTarget(int index);
    void Import(WaypointFileType type, bool advancedSelector);
    void Export();

    /// Imports `path` as the command does once the file is chosen; returns the count.
    int ImportFile(const QString &path, WaypointFileType type);
    /// Exports to `path` as the command does once the name is chosen.
    bool ExportFile(const QString &path);

    [[nodiscard]] const CWaypointList &GetWaypoints() const { return m_waypoints; }
    [[nodiscard]] const CWaypointNavigator &GetNavigator() const { return m_navigator; }
    /// The receiver's proximity alarm and compass follow the goto target through this.
    [[nodiscard]] CWaypointNavigator &GetNavigator() { return m_navigator; }
    [[nodiscard]] QString GetDatabasePath() const;

private:
    // Saves `mine`, which is `changes` applied to the list read from the file of `stamp`.
    bool SaveChanges(const CWaypointList &mine, const CDatabaseStamp &stamp,
                     const CChangeSet<CWaypoint> &changes);
    void TakeOver(CWaypointList waypoints, const CDatabaseStamp &stamp);

    QWidget *m_window;
    QString m_directory;
    CWaypointList m_waypoints;
    CDatabaseStamp m_stamp; ///< of the file the list came from (or was last saved to)
    bool m_dirty = false;   ///< the list holds changes that are not saved
    CWaypointNavigator m_navigator;
};

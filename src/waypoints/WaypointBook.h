#pragma once

#include "geo/CoordinateFormat.h"
#include "receiver/FixEvents.h"
#include "waypoints/WaypointExchange.h"
#include "waypoints/WaypointNavigator.h"

#include <QString>

class QWidget;

/// The window's waypoint database and goto target, and the commands that work on them: the
/// dialogs, import and export, with their messages.
class CWaypointBook
{
public:
    /// Boxes show over `window`.
    explicit CWaypointBook(QWidget *window);

    /// Reads the database in `directory`. Neither file opening is reported, unless `firstStart`
    /// (the directory was only just made, so there is nothing to lose); a damaged file is.
    void Load(const QString &directory, bool firstStart);
    /// Writes the database; a failure is shown and the list in memory kept.
    bool Save();

    /// "Edit Waypoints...": on OK the list is replaced, the goto target cleared, and saved.
    void Edit(CoordinateFormat format, const CGeoPosition &proposed);
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

    /// After a GGA with a fix: the "Waypoint reached" box (shown once the line is handled) when
    /// an approach begins. Returns whether it alerted.
    bool CheckProximity(const CGeoPosition &position);
    /// Bearing and distance to the target for the compass; empty without a target.
    [[nodiscard]] CFixEvents::GotoTarget GetGotoTarget() const;

    [[nodiscard]] const CWaypointList &GetWaypoints() const { return m_waypoints; }
    [[nodiscard]] const CWaypointNavigator &GetNavigator() const { return m_navigator; }
    [[nodiscard]] QString GetDatabasePath() const;

private:
    QWidget *m_window;
    QString m_directory;
    CWaypointList m_waypoints;
    CWaypointNavigator m_navigator;
};

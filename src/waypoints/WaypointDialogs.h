#pragma once

#include "base/GeoPosition.h"
#include "geo/CoordinateFormat.h"
#include "waypoints/Waypoint.h"
#include "waypoints/WaypointFields.h"

#include <QDialog>

#include <cstdint>
#include <string>

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

/// "Edit Waypoints...": adds, updates and removes waypoints of a working copy of the list, with
/// positions typed in the user's coordinate format. The caller takes GetWaypoints() on OK.
class CWaypointEditDialog : public QDialog
{
    Q_OBJECT

public:
    CWaypointEditDialog(const CWaypointList &waypoints, CoordinateFormat format,
                        const CGeoPosition &proposed, QWidget *parent = nullptr);

    /// The working copy, in stored order whatever the list view is sorted by.
    [[nodiscard]] const CWaypointList &GetWaypoints() const { return m_waypoints; }

private:
    void ShowFields(const CWaypointFields &fields);
    [[nodiscard]] CWaypointFields ReadFields() const;
    void OnSelectionChanged();
    void OnAdd();
    void OnUpdate();
    void OnRemove();
    void OnDescription();
    void AfterListChange();

    CWaypointList m_waypoints;
    CoordinateFormat m_format;
    // Edited through the description dialog only; applied with the rest on Update or Add.
    std::string m_description;
    std::int32_t m_type = 0;
    std::int32_t m_action = 0;

    QLineEdit *m_name = nullptr;
    QLineEdit *m_first = nullptr;
    QComboBox *m_firstHemisphere = nullptr;
    QLineEdit *m_second = nullptr;
    QComboBox *m_secondHemisphere = nullptr;
    QLineEdit *m_zone = nullptr;
    QComboBox *m_radius = nullptr;
    QPushButton *m_update = nullptr;
    QPushButton *m_remove = nullptr;
    QTreeWidget *m_list = nullptr;
};

/// "Waypoint Description": the description text and the type and action codes.
class CWaypointDescriptionDialog : public QDialog
{
    Q_OBJECT

public:
    CWaypointDescriptionDialog(const std::string &description, std::int32_t type,
                               std::int32_t action, QWidget *parent = nullptr);

    [[nodiscard]] std::string GetDescription() const;
    [[nodiscard]] std::int32_t GetType() const;
    [[nodiscard]] std::int32_t GetAction() const;

private:
    std::string m_original;
    QPlainTextEdit *m_text = nullptr;
    QComboBox *m_type = nullptr;
    QComboBox *m_action = nullptr;
};

/// "Select Waypoint...": picks one waypoint of the list, for the goto command.
class CWaypointSelectDialog : public QDialog
{
    Q_OBJECT

public:
    CWaypointSelectDialog(const CWaypointList &waypoints, CoordinateFormat format,
                          QWidget *parent = nullptr);

    /// Index into the list given, whatever the view is sorted by; -1 without a selection.
    [[nodiscard]] int GetSelectedIndex() const;

private:
    void OnSelectionChanged();

    // A copy: the caller's list may change while the dialog is open.
    CWaypointList m_waypoints;
    QTreeWidget *m_list = nullptr;
    QPlainTextEdit *m_description = nullptr;
    QPushButton *m_ok = nullptr;
};

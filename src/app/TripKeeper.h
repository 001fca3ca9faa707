#pragma once

#include "base/Units.h"
#include "dashboard/SpeedAlarm.h"
#include "dashboard/TripComputer.h"
#include "dashboard/TripTexts.h"

#include <QElapsedTimer>
#include <QObject>

#include <optional>

class CFixSound;
class CWaypointBook;
struct CReceiverUpdate;
class QTimer;
class QWidget;

/// The window's trip computer and speed alarm: fed with the receiver session's updates, the
/// figures and the alarm's settings kept in the settings file, the alarm made heard. The
/// figures are written when the trip is reset, when the vehicle stops (unless they were written
/// in the last 10 s), when the source closes, at most once a minute while they change, and at
/// the end; never at every fix.
class CTripKeeper : public QObject
{
    Q_OBJECT
public:
    /// Reads the stored trip and alarm. `sound` and `waypoints` outlive the keeper.
    CTripKeeper(CFixSound &sound, const CWaypointBook &waypoints, QObject *parent = nullptr);
    /// Writes the figures.
    ~CTripKeeper() override;

    /// One update of the receiver session.
    void Take(const CReceiverUpdate &update);
    /// The source closed or the replay ended: no speed, no warning.
    void SourceClosed();
    /// "Reset Trip": every figure of the trip computer at once.
    void ResetTrip();
    /// The Speed Alarm dialog over `parent`, in `units`; OK stores its values.
    void EditSpeedAlarm(QWidget *parent, UnitSystem units);
    void SetSpeedAlarm(const CSpeedAlarmSettings &settings);

    [[nodiscard]] const CTripComputer &GetTrip() const { return m_trip; }
    [[nodiscard]] const CSpeedAlarm &GetSpeedAlarm() const { return m_alarm; }
    /// The goto waypoint and the way to it; none without one.
    [[nodiscard]] std::optional<CTripTarget> GetTarget() const;
    /// The warning in `units` while it shows, else empty.
    [[nodiscard]] QString WarningText(UnitSystem units) const;
    /// Writes the figures now.
    void Store();

    /// A replay starts: the figures as they are now are where a seek back starts over.
    void BeginReplay() { m_replayStart = m_trip; }
    /// The replay starts again from its first line: the figures go back to the replay's start.
    void RewindReplay();
    /// While a replay catches up to a seek, the alarm follows the speeds but makes no sound.
    void SetQuiet(bool quiet) { m_quiet = quiet; }

signals:
    /// A figure changed.
    void TripChanged();
    /// The warning came or went.
    void WarningChanged();

private:
    void Carry(const CSpeedAlarmStep &step);

    CFixSound &m_sound;
    const CWaypointBook &m_waypoints;
    CTripComputer m_trip;
    CSpeedAlarm m_alarm;
    std::optional<CTripComputer> m_replayStart;
    bool m_quiet = false;
    QTimer *m_storeTimer = nullptr;
    unsigned long m_storedChanges = 0;
    QElapsedTimer m_sinceStore;
};

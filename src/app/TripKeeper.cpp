#include "app/TripKeeper.h"

#include "dashboard/SpeedAlarmDialog.h"
#include "dashboard/TripFeed.h"
#include "dashboard/TripStore.h"
#include "receiver/FixSound.h"
#include "receiver/ReceiverSession.h"
#include "waypoints/WaypointBook.h"

#include <QTimer>

namespace
{
// Often enough that a crash loses little, seldom enough that a card's flash does not mind.
constexpr int kStoreEveryMs = 60 * 1000;
// A stop is written at once, unless the last write was this recent (a replay at full speed
// passes a stop every few milliseconds).
constexpr qint64 kStopStoreAfterMs = 10 * 1000;
} // namespace

CTripKeeper::CTripKeeper(CFixSound &sound, const CWaypointBook &waypoints, QObject *parent)
    : QObject(parent)
    , m_sound(sound)
    , m_waypoints(waypoints)
{
    m_trip.Restore(LoadTripFigures());
    m_alarm.SetSettings(LoadSpeedAlarm());
    m_storedChanges = m_trip.GetChangeCount();
    m_sinceStore.start();
    m_storeTimer = new QTimer(this);
    m_storeTimer->setInterval(kStoreEveryMs);
    connect(m_storeTimer, &QTimer::timeout, this, [this] {
        if (m_trip.GetChangeCount() != m_storedChanges)
            Store();
    });
    m_storeTimer->start();
}

CTripKeeper::~CTripKeeper()
{
    Store();
}

void CTripKeeper::Take(const CReceiverUpdate &update)
{
    const unsigned long before = m_trip.GetChangeCount();
    const bool wasMoving = m_trip.IsMoving();
    Carry(FeedTrip(update, m_trip, m_alarm));
    if (wasMoving && !m_trip.IsMoving() && m_sinceStore.elapsed() >= kStopStoreAfterMs)
        Store();
    if (m_trip.GetChangeCount() != before || update.Changed(kChangeMileage))
        emit TripChanged();
}

void CTripKeeper::Carry(const CSpeedAlarmStep &step)
{
    if (step.sound && !m_quiet)
        m_sound.Play(CFixSound::Kind::SpeedAlarm);
    if (step.changed)
        emit WarningChanged();
}

void CTripKeeper::SourceClosed()
{
    Carry(m_alarm.Clear());
    Store();
}

void CTripKeeper::RewindReplay()
{
    if (m_replayStart)
        m_trip = *m_replayStart;
    const bool quiet = m_quiet;
    m_quiet = true;
    Carry(m_alarm.Clear());
    m_quiet = quiet;
    emit TripChanged();
}

void CTripKeeper::ResetTrip()
{
    m_trip.Reset();
    Store();
    emit TripChanged();
}

void CTripKeeper::EditSpeedAlarm(QWidget *parent, UnitSystem units)
{
    CSpeedAlarmDialog dialog(m_alarm.GetSettings(), units, parent);
    if (dialog.exec() == QDialog::Accepted)
        SetSpeedAlarm(dialog.GetSettings());
}

void CTripKeeper::SetSpeedAlarm(const CSpeedAlarmSettings &settings)
{
    StoreSpeedAlarm(settings);
    Carry(m_alarm.SetSettings(settings));
    // A new limit shows in the warning's text at once.
    emit WarningChanged();
}

std::optional<CTripTarget> CTripKeeper::GetTarget() const
{
    const CWaypoint *target =
        m_waypoints.GetNavigator().GetTargetWaypoint(m_waypoints.GetWaypoints());
    if (target == nullptr)
        return std::nullopt;
    return CTripTarget{target->m_name, m_trip.Goto(*target)};
}

QString CTripKeeper::WarningText(UnitSystem units) const
{
    if (!m_alarm.IsWarning())
        return {};
    return QString::fromStdString(SpeedWarningText(m_alarm.GetSettings().limitKmh, units));
}

void CTripKeeper::Store()
{
    StoreTripFigures(m_trip.GetFigures());
    m_storedChanges = m_trip.GetChangeCount();
    m_sinceStore.start();
}

#include "app/TrackLogSwitch.h"

#include "receiver/ReceiverSession.h"
#include "receiver/TrackExportDialog.h"
#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"
#include "widgets/MessageBox.h"

#include <QCoreApplication>

namespace
{

constexpr const char *kTrackFolder = "Tracks";

std::int32_t Read(const CSettingsKey &key, const CStoredNumber &value)
{
    std::int32_t number = value.fallback;
    key.ReadNumber(value.name, number);
    return number;
}

} // namespace

CTrackLogSwitch::CTrackLogSwitch(CReceiverSession &session, QWidget &window,
                                 std::function<double()> altitudeOffset)
    : m_session(session)
    , m_window(window)
    , m_altitudeOffset(std::move(altitudeOffset))
{
}

void CTrackLogSwitch::Load(const QString &dataDirectory)
{
    m_dataDirectory = dataDirectory;
    CSettingsKey key;
    key.Open(kAppKey, true);
    m_on = Read(key, kTrackLogSetting) != 0;
    m_session.SetTrackReplays(Read(key, kTrackReplaysSetting) != 0);
    m_rate = Read(key, kTrackRateSetting);
    Apply();
}

void CTrackLogSwitch::Store() const
{
    CSettingsKey key;
    if (!key.Open(kAppKey, true))
        return;
    key.WriteNumber(kTrackLogSetting.name, m_on ? 1 : 0);
    key.WriteNumber(kTrackReplaysSetting.name, m_session.TracksReplays() ? 1 : 0);
    key.WriteNumber(kTrackRateSetting.name, m_rate);
}

void CTrackLogSwitch::Apply()
{
    CTrackLog &log = m_session.GetTrackLog();
    log.GetRules().SetRate(TrackRateOfSetting(m_rate));
    log.GetRules().SetAltitudeOffset(m_altitudeOffset());
    if (m_on && !log.IsOn())
        log.Start((m_dataDirectory + QLatin1Char('/') + QLatin1String(kTrackFolder)).toStdString());
    else if (!m_on && log.IsOn())
        log.Stop();
}

bool CTrackLogSwitch::Run(int id, bool advancedSelector, GnssMode mode)
{
    if (const std::optional<std::int32_t> rate = TrackRateOfCommand(id)) {
        m_rate = *rate;
    } else if (id == kCmdTrackLog) {
        m_on = !m_on;
    } else if (id == kCmdTrackReplays) {
        m_session.SetTrackReplays(!m_session.TracksReplays());
    } else if (id == kCmdExportTrack) {
        ExportTrackAsGpx(&m_window, advancedSelector, m_dataDirectory, mode,
                         TrackRateOfSetting(m_rate), m_altitudeOffset());
        return true;
    } else {
        return false;
    }
    Apply();
    Store();
    AfterBatch(); // turning it off may have failed to write the last points
    return true;
}

void CTrackLogSwitch::Fill(CFrameState &state) const
{
    state.trackLog = m_on;
    state.trackReplays = m_session.TracksReplays();
    state.trackRate = m_rate;
}

void CTrackLogSwitch::AfterBatch()
{
    // The altimeter's correction may have changed since; it costs nothing to take it again.
    m_session.GetTrackLog().GetRules().SetAltitudeOffset(m_altitudeOffset());
    const std::optional<std::string> error = m_session.TakeTrackError();
    if (!error)
        return;
    m_on = false;
    Store();
    ShowErrorLater(&m_window,
                   QCoreApplication::translate("CTrackLogSwitch",
                                               "Failed to write the track log; it has stopped."),
                   QString::fromStdString(*error));
}

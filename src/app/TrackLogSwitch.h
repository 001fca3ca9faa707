#pragma once

#include "app/CommandTable.h"

#include <QString>

#include <cstdint>
#include <functional>

class CReceiverSession;
class QWidget;

/// The window's side of the GPX track log: its commands (Track Log, Include Replays in Track,
/// Track Rate, Export Track as GPX), their stored settings, and the message when the log fails.
/// The session's CTrackLog makes every decision.
class CTrackLogSwitch
{
public:
    /// `altitudeOffset` gives the altimeter's correction, which the points carry as it shows.
    CTrackLogSwitch(CReceiverSession &session, QWidget &window,
                    std::function<double()> altitudeOffset);

    /// Reads the settings and starts the log when it is on.
    void Load(const QString &dataDirectory);
    void Store() const;
    /// Runs a track command; false for any other id.
    bool Run(int id, bool advancedSelector, GnssMode mode);
    void Fill(CFrameState &state) const;
    /// After each batch of lines: a failed log shows its message and stays off.
    void AfterBatch();

private:
    void Apply();

    CReceiverSession &m_session;
    QWidget &m_window;
    std::function<double()> m_altitudeOffset;
    QString m_dataDirectory;
    bool m_on = false;
    std::int32_t m_rate = 1;
};

#pragma once

#include "receiver/SourceAddress.h"

#include <optional>
#include <string>

/// What the window does when its data source ends by itself, and the retrying of a receiver
/// that went away: a live port that fails (unplugged, read error) is opened again, with the waits
/// of CBackoff, until it is back or the user picks a source of their own. The settings never
/// change by this.
class CReceiverWatch
{
public:
    /// How long the notice of a receiver that came back stays up.
    static constexpr int kBackNoticeMs = 5000;

    enum class State { Closed, Live, Replaying, Reconnecting };

    /// The source ended by itself: what to carry out.
    struct CEndActions {
        bool replayEnded = false;  ///< the replay is over, cleanly or not (quit, screenshot)
        bool replayFailed = false; ///< a read error in the replay file: an error box
        bool receiverLost = false; ///< the notice, the fix shown as lost
        bool retry = false;        ///< start opening the port again
    };

    /// A port was opened, by the user or by a retry.
    void OnPortOpened(const std::string &device);
    /// The user opened a live source (a port, a network source): after a replay that takes its
    /// place, it is the one to open again.
    void RememberLiveSource(const CSourceAddress &source);
    /// The live source a replay took the place of, while no live source is open.
    [[nodiscard]] std::optional<CSourceAddress> SourceBeforeReplay() const;
    void OnReplayStarted();
    /// The user closed the source or chose another one: no more retries.
    void OnClosedByUser();
    /// `errorCode` as the data source reports it: 0 for the end of a replay file.
    CEndActions OnSourceEnded(int errorCode);

    [[nodiscard]] State GetState() const { return m_state; }
    [[nodiscard]] bool IsReconnecting() const { return m_state == State::Reconnecting; }
    /// The port being watched or retried.
    [[nodiscard]] const std::string &GetDevice() const { return m_device; }

    /// "Receiver disconnected: <device>: <reason>. Reconnecting..."
    [[nodiscard]] std::string LostNotice(const std::string &reason) const;
    /// "Receiver connected again: <device>"
    [[nodiscard]] std::string BackNotice() const;

private:
    State m_state = State::Closed;
    std::string m_device;
    std::optional<CSourceAddress> m_live;
    std::optional<CSourceAddress> m_beforeReplay;
};

#include "receiver/ReceiverWatch.h"

void CReceiverWatch::OnPortOpened(const std::string &device)
{
    m_state = State::Live;
    m_device = device;
}

void CReceiverWatch::RememberLiveSource(const CSourceAddress &source)
{
    m_live = source;
    m_beforeReplay.reset();
}

std::optional<CSourceAddress> CReceiverWatch::SourceBeforeReplay() const
{
    return m_state == State::Live ? std::nullopt : m_beforeReplay;
}

void CReceiverWatch::OnReplayStarted()
{
    // A receiver being retried was still the user's choice; a second replay keeps the first's.
    if (m_state == State::Live || m_state == State::Reconnecting)
        m_beforeReplay = m_live;
    m_state = State::Replaying;
}

void CReceiverWatch::OnClosedByUser()
{
    // Closing the receiver itself is a choice against it; closing a replay is not.
    if (m_state == State::Live || m_state == State::Reconnecting)
        m_beforeReplay.reset();
    m_state = State::Closed;
}

CReceiverWatch::CEndActions CReceiverWatch::OnSourceEnded(int errorCode)
{
    CEndActions a;
    switch (m_state) {
    case State::Replaying:
        a.replayEnded = true;
        a.replayFailed = errorCode != 0;
        m_state = State::Closed;
        break;
    case State::Live:
        // A port never ends cleanly: whatever the reason, the receiver is gone for now.
        a.receiverLost = true;
        a.retry = true;
        m_state = State::Reconnecting;
        break;
    case State::Closed:
    case State::Reconnecting:
        break;
    }
    return a;
}

std::string CReceiverWatch::LostNotice(const std::string &reason) const
{
    return "Receiver disconnected: " + m_device + ": " + reason + ". Reconnecting...";
}

std::string CReceiverWatch::BackNotice() const
{
    return "Receiver connected again: " + m_device;
}

#include "receiver/BaudHunt.h"

#include <algorithm>

CBaudHunt::CBaudHunt(std::optional<int> lastGoodSpeed, bool highSpeeds)
{
    const auto add = [this](int speed) {
        if (std::find(m_order.begin(), m_order.end(), speed) == m_order.end())
            m_order.push_back(speed);
    };
    if (lastGoodSpeed && *lastGoodSpeed > 0)
        add(*lastGoodSpeed);
    for (const int speed : kSpeeds)
        add(speed);
    if (highSpeeds) {
        for (const int speed : kHighSpeeds)
            add(speed);
    }
}

int CBaudHunt::GetSpeed() const
{
    return m_state == State::Hunting ? m_order[m_next] : 0;
}

void CBaudHunt::Report(StreamKind kind)
{
    if (m_state != State::Hunting)
        return;
    m_tries.push_back({m_order[m_next], kind});
    if (kind == StreamKind::Nmea || kind == StreamKind::SirfBinary || kind == StreamKind::Ubx) {
        m_state = State::Locked;
        return;
    }
    Skip();
}

void CBaudHunt::Skip()
{
    if (m_state != State::Hunting)
        return;
    if (++m_next == m_order.size())
        m_state = State::Exhausted;
}

int CBaudHunt::GetLockedSpeed() const
{
    return m_state == State::Locked ? m_tries.back().speed : 0;
}

StreamKind CBaudHunt::GetLockedKind() const
{
    return m_state == State::Locked ? m_tries.back().kind : StreamKind::Silence;
}

bool CBaudHunt::HeardBytes() const
{
    return std::any_of(m_tries.begin(), m_tries.end(),
                       [](const CBaudTry &t) { return t.kind != StreamKind::Silence; });
}

std::string BaudTryText(int speed)
{
    return "Trying " + std::to_string(speed) + " baud\u2026";
}

#include "dashboard/RepaintPace.h"

std::int64_t CRepaintPace::Offer(std::int64_t now)
{
    // A clock that went back (or a first change) draws at once rather than wait for ever.
    if (m_shown < 0 || now < m_shown || now - m_shown >= m_interval) {
        m_shown = now;
        return 0;
    }
    return m_interval - (now - m_shown);
}

void CRepaintPace::Shown(std::int64_t now)
{
    m_shown = now;
}

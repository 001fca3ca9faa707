#include "dashboard/Freshness.h"

#include <cmath>

namespace
{

constexpr double kDaySeconds = 86400.0;

} // namespace

void CFeedAges::SetReplaying(bool replaying)
{
    if (replaying == m_replaying)
        return;
    m_replaying = replaying;
    m_logTime = kNever;
    Forget();
}

void CFeedAges::EndReplay()
{
    if (!m_replaying)
        return;
    const double logNow = Now();
    for (double &fed : m_fed)
        if (fed != kNever)
            fed = m_wallTime - (logNow - fed);
    m_replaying = false;
    m_logTime = kNever;
}

void CFeedAges::SetWallTime(double seconds)
{
    m_wallTime = seconds;
}

void CFeedAges::OnLogTimeOfDay(double seconds)
{
    // A live receiver's times say nothing about the wall clock the feeds age by.
    if (!m_replaying || !std::isfinite(seconds))
        return;
    if (m_logTime == kNever) {
        // Feeds that came before the log told its time arrived at its start.
        for (double &fed : m_fed)
            if (fed != kNever)
                fed = seconds;
        m_logTime = seconds;
        return;
    }
    // The time of day nearest to the clock's: the same day, the next one just after midnight,
    // or the previous one for a log that steps back a little.
    const double day = std::floor(m_logTime / kDaySeconds) * kDaySeconds;
    double t = day + seconds;
    if (t - m_logTime > kDaySeconds / 2)
        t -= kDaySeconds;
    else if (m_logTime - t > kDaySeconds / 2)
        t += kDaySeconds;
    // A log that goes back in time (two logs joined) does not make the feeds younger.
    if (t > m_logTime)
        m_logTime = t;
}

void CFeedAges::Fed(GaugeFeed feed)
{
    m_fed[static_cast<std::size_t>(feed)] = Now();
}

void CFeedAges::Forget()
{
    m_fed.fill(kNever);
}

double CFeedAges::Age(GaugeFeed feed) const
{
    const double fed = m_fed[static_cast<std::size_t>(feed)];
    if (fed == kNever)
        return std::numeric_limits<double>::infinity();
    const double age = Now() - fed;
    return age > 0.0 ? age : 0.0;
}

double CFeedAges::Now() const
{
    if (!m_replaying)
        return m_wallTime;
    return m_logTime == kNever ? 0.0 : m_logTime;
}

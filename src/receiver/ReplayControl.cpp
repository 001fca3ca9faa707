#include "receiver/ReplayControl.h"

#include <cmath>

void CReplayControl::Start(CReplayIndex index)
{
    m_index = std::move(index);
    m_active = true;
    m_paused = false;
    Rewound();
}

void CReplayControl::Stop()
{
    m_active = false;
    m_paused = false;
    m_index = CReplayIndex();
    Rewound();
}

void CReplayControl::TakeLine(std::string_view line)
{
    if (!m_active)
        return;
    if (const std::optional<double> seconds = m_cutter.Take(line)) {
        m_epoch = m_epoch ? *m_epoch + 1 : 0;
        m_seconds = seconds;
    }
}

void CReplayControl::Rewound()
{
    m_cutter.Reset();
    m_epoch.reset();
    m_seconds.reset();
}

std::optional<CReplaySeek> CReplayControl::SeekToEpoch(std::size_t epoch) const
{
    if (!CanSeek() || epoch >= m_index.GetSize() || m_epoch == epoch)
        return std::nullopt;
    return CReplaySeek{m_index.EndOf(epoch), m_epoch && epoch < *m_epoch, epoch};
}

std::optional<CReplaySeek> CReplayControl::SeekBy(double seconds) const
{
    if (!CanSeek())
        return std::nullopt;
    const std::size_t from = m_epoch.value_or(0);
    const double base = m_index.GetEpoch(from).seconds;
    std::size_t to = m_index.EpochAt(base + seconds);
    if (seconds > 0 && to <= from && m_epoch)
        to = from + 1;
    else if (seconds < 0 && to >= from && from > 0)
        to = from - 1;
    if (to >= m_index.GetSize())
        return std::nullopt;
    return SeekToEpoch(to);
}

std::string CReplayControl::TimeText() const
{
    return (m_seconds ? LogTimeText(*m_seconds) : std::string("--:--:--")) + " UTC";
}

namespace
{

std::string Duration(double seconds)
{
    const long s = std::lround(seconds < 0 ? 0 : seconds);
    const std::string sec = std::to_string(s % 60);
    std::string text = std::to_string(s / 60) + ":" + (sec.size() < 2 ? "0" : "") + sec;
    if (s >= 3600) {
        const std::string min = std::to_string(s / 60 % 60);
        text = std::to_string(s / 3600) + ":" + (min.size() < 2 ? "0" : "") + min + ":"
               + (sec.size() < 2 ? "0" : "") + sec;
    }
    return text;
}

} // namespace

std::string CReplayControl::ProgressText() const
{
    if (m_index.IsEmpty())
        return {};
    const double first = m_index.GetEpoch(0).seconds;
    const double last = m_index.GetEpoch(m_index.GetSize() - 1).seconds;
    return Duration(m_seconds.value_or(first) - first) + " / " + Duration(last - first);
}

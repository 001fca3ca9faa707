#include "dashboard/SignalHistory.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr double kSecondsPerDay = 86400.0;

} // namespace

CSignalHistory::CSignalHistory() = default;

void CSignalHistory::Clear()
{
    m_count = 0;
    m_newest = 0;
    m_dayOffset = 0.0;
}

const CSignalHistory::Slot &CSignalHistory::At(std::size_t age) const
{
    return m_slots[(m_newest + kSlots - age) % kSlots];
}

void CSignalHistory::Add(double secondsOfDay, const CSkyView &view)
{
    if (!std::isfinite(secondsOfDay))
        return;
    double t = secondsOfDay + m_dayOffset;
    if (m_count > 0) {
        const auto newest = static_cast<double>(At(0).second);
        // Half a day back is the next day; a minute back a new source.
        if (t < newest - kSecondsPerDay / 2) {
            m_dayOffset += kSecondsPerDay;
            t += kSecondsPerDay;
        } else if (t < newest - kRestartSeconds) {
            Clear();
            t = secondsOfDay;
        }
    }
    auto second = static_cast<std::int64_t>(std::floor(t));
    if (m_count > 0 && second < At(0).second)
        second = At(0).second; // a late sentence counts with the newest second

    if (m_count == 0 || second != At(0).second) {
        // Seconds without a sky stay empty: the window is measured in time, not in slots.
        const std::int64_t oldestKept = second - kWindowSeconds + 1;
        while (m_count > 0 && At(m_count - 1).second < oldestKept)
            --m_count;
        m_newest = (m_newest + 1) % kSlots;
        m_count = std::min(m_count + 1, kSlots);
        Slot &slot = m_slots[m_newest];
        slot = Slot{};
        slot.second = second;
    }
    Slot &slot = m_slots[m_newest];
    for (const CSkySatellite &s : view.satellites) {
        const auto i = static_cast<std::size_t>(s.system);
        if (i >= kGnssSystemCount)
            continue;
        slot.present[i] = true;
        if (s.snr <= 0)
            continue;
        slot.sum[i] += s.snr;
        ++slot.tracked[i];
        slot.best[i] = std::max<std::int16_t>(slot.best[i], static_cast<std::int16_t>(s.snr));
    }
}

std::vector<CSignalSample> CSignalHistory::GetSamples() const
{
    std::vector<CSignalSample> samples;
    samples.reserve(m_count);
    for (std::size_t age = m_count; age-- > 0;) {
        const Slot &slot = At(age);
        CSignalSample &sample = samples.emplace_back();
        sample.second = slot.second;
        for (std::size_t i = 0; i < kGnssSystemCount; ++i) {
            CSystemSignal &s = sample.systems[i];
            s.present = slot.present[i];
            s.best = slot.best[i];
            s.average =
                slot.tracked[i] > 0 ? static_cast<double>(slot.sum[i]) / slot.tracked[i] : 0.0;
        }
    }
    return samples;
}

std::int64_t CSignalHistory::GetNewestSecond() const
{
    return m_count > 0 ? At(0).second : 0;
}

std::vector<GnssSystem> CSignalHistory::GetSystems() const
{
    std::array<bool, kGnssSystemCount> seen{};
    for (std::size_t age = 0; age < m_count; ++age)
        for (std::size_t i = 0; i < kGnssSystemCount; ++i)
            seen[i] = seen[i] || At(age).present[i];
    std::vector<GnssSystem> systems;
    for (std::size_t i = 0; i < kGnssSystemCount; ++i)
        if (seen[i])
            systems.push_back(static_cast<GnssSystem>(i));
    return systems;
}

#include "GnssSky.h"

#include "GnssSignal.h"
#include "NMEAFields.h"
#include "base/Numbers.h"

#include <algorithm>

namespace
{

constexpr double kSecondsPerDay = 86400.0;

std::size_t IndexOf(GnssSystem system)
{
    return static_cast<std::size_t>(system);
}

// Elevation and azimuth: a number, else unknown.
std::int32_t ReadAngle(const CNMEAFields &fields, int index)
{
    std::int32_t value = -1;
    return fields.ReadInt(index, value) == 1 ? value : -1;
}

// A signal sent twice (a GN talker and a system's own) counts once, at its best.
void AddSignal(CSkyEntry &entry, CSignalLevel level)
{
    const auto end = entry.levels.begin() + entry.levelCount;
    const auto same = std::find_if(entry.levels.begin(), end,
                                   [&](const CSignalLevel &s) { return s.signal == level.signal; });
    if (same != end)
        same->snr = std::max(same->snr, level.snr);
    else if (entry.levelCount < CSkyEntry::kMaxLevels)
        entry.levels[entry.levelCount++] = level;
}

} // namespace

void CGnssSky::Reset()
{
    *this = CGnssSky();
}

bool CGnssSky::OnGSA(const std::vector<std::int32_t> &numbers, GnssSystem hint)
{
    const bool starts = !m_inGsaRun;
    if (starts)
        m_used.clear();
    m_inGsaRun = true;
    for (const std::int32_t number : numbers) {
        if (number <= 0)
            continue;
        const CSatelliteId id = NormaliseSatellite(hint, number);
        const auto at = std::lower_bound(m_used.begin(), m_used.end(), id);
        if (at == m_used.end() || *at != id)
            m_used.insert(at, id);
    }
    return starts;
}

CGnssSky::Group &CGnssSky::GroupOf(std::string_view talker, GnssSystem system)
{
    const std::array<char, 2> key{talker[0], talker[1]};
    for (Group &g : m_groups)
        if (g.talker == key && g.system == system)
            return g;
    Group &g = m_groups.emplace_back();
    g.talker = key;
    g.system = system;
    return g;
}

void CGnssSky::OnGSV(const CNMEAFields &fields, std::string_view talker)
{
    m_inGsaRun = false;
    m_inGsvRun = true;
    m_message = Message{};
    const int data = fields.GetCount() - 1;
    if (data < 3 || talker.size() != 2)
        return;
    // Four fields per satellite; after them NMEA 4.10's signal ID, and Quectel's system ID.
    const int blocks = (data - 3) / 4;
    const int extras = (data - 3) % 4;
    const int after = 4 + 4 * blocks;
    std::int32_t systemId = 0;
    if (extras >= 1)
        m_message.signal = ReadSignalId(fields.FieldView(after));
    if (extras == 2)
        fields.ReadInt(after + 1, systemId);
    GnssSystem hint = SystemOfTalker(talker);
    if (extras == 2 && SystemOfNmeaId(systemId) != GnssSystem::Unknown)
        hint = SystemOfNmeaId(systemId);
    m_message.system = hint;

    for (int b = 0; b < blocks; ++b) {
        const int f = 4 + 4 * b;
        std::int32_t number = 0;
        if (fields.ReadInt(f, number) != 1 || number <= 0)
            continue;
        CSkyEntry e;
        e.id = NormaliseSatellite(hint, number);
        e.elevation = ReadAngle(fields, f + 1);
        e.azimuth = ReadAngle(fields, f + 2);
        const int snr = fields.ReadInt(f + 3, e.snr);
        if (snr == kScanEnd)
            e.snr = 0;
        else if (snr != 1)
            e.snr = -1;
        e.levels[0] = {static_cast<std::int16_t>(m_message.signal),
                       static_cast<std::int16_t>(std::clamp(e.snr, -1, 99))};
        e.levelCount = 1;
        m_message.entries.push_back(e);
    }

    std::int32_t count = 0;
    std::int32_t number = 0;
    fields.ReadInt(1, count);
    fields.ReadInt(2, number);
    Group &g = GroupOf(talker, hint);
    if (number == 1) {
        g.entries.clear();
        g.count = count;
        g.next = 1;
    }
    if (g.next == 0 || number != g.next || count != g.count || count < 1) {
        g.next = 0; // a message missing: the group is lost until its next part 1
        return;
    }
    g.entries.insert(g.entries.end(), m_message.entries.begin(), m_message.entries.end());
    if (number < count) {
        ++g.next;
        return;
    }
    g.next = 0;
    CloseGroup(g);
}

void CGnssSky::CloseGroup(const Group &group)
{
    const auto report = [this](GnssSystem system) {
        const std::size_t i = IndexOf(system);
        if (!m_reportedInRun[i]) {
            m_reportedInRun[i] = true;
            m_run[i].entries.clear();
        }
    };
    // A talker's system is reported even by an empty group; a GN-like talker only for the
    // systems its satellites belong to.
    if (group.system != GnssSystem::Unknown)
        report(group.system);
    for (const CSkyEntry &e : group.entries) {
        report(e.id.system);
        std::vector<CSkyEntry> &run = m_run[IndexOf(e.id.system)].entries;
        const auto same =
            std::find_if(run.begin(), run.end(), [&](const CSkyEntry &r) { return r.id == e.id; });
        if (same == run.end()) {
            run.push_back(e);
            continue;
        }
        // The same satellite on another signal: one satellite, its best signal.
        same->snr = std::max(same->snr, e.snr);
        AddSignal(*same, e.levels[0]);
        if (same->elevation < 0 || same->azimuth < 0) {
            same->elevation = e.elevation;
            same->azimuth = e.azimuth;
        }
    }
}

bool CGnssSky::EndGsvRun()
{
    if (!m_inGsvRun)
        return false;
    m_inGsvRun = false;
    for (std::size_t i = 0; i < m_sky.size(); ++i) {
        if (!m_reportedInRun[i])
            continue;
        m_reportedInRun[i] = false;
        SystemSky &sky = m_sky[i];
        sky.entries.swap(m_run[i].entries);
        m_run[i].entries.clear();
        sky.present = true;
        sky.reportedAt = m_now;
    }
    DropSilentSystems();
    return true;
}

bool CGnssSky::SetTime(double secondsOfDay)
{
    m_now = secondsOfDay;
    return DropSilentSystems();
}

bool CGnssSky::DropSilentSystems()
{
    bool dropped = false;
    for (SystemSky &sky : m_sky) {
        if (!sky.present || m_now < 0.0)
            continue;
        if (sky.reportedAt < 0.0) {
            sky.reportedAt = m_now; // reported before the receiver told the time
            continue;
        }
        double age = m_now - sky.reportedAt;
        if (age < 0.0)
            age += kSecondsPerDay;
        if (age > kHoldSeconds) {
            sky = SystemSky{};
            dropped = true;
        }
    }
    return dropped;
}

bool CGnssSky::IsUsed(CSatelliteId id) const
{
    return std::binary_search(m_used.begin(), m_used.end(), id);
}

std::vector<CSkyEntry> CGnssSky::GetSatellites() const
{
    std::vector<CSkyEntry> all;
    all.reserve(static_cast<std::size_t>(GetInViewCount()));
    for (const SystemSky &sky : m_sky)
        all.insert(all.end(), sky.entries.begin(), sky.entries.end());
    return all;
}

int CGnssSky::GetInViewCount() const
{
    std::size_t n = 0;
    for (const SystemSky &sky : m_sky)
        n += sky.entries.size();
    return static_cast<int>(n);
}

int CGnssSky::GetInViewCount(GnssSystem system) const
{
    return static_cast<int>(m_sky[IndexOf(system)].entries.size());
}

std::vector<CSystemCount> CGnssSky::GetSystemCounts() const
{
    std::vector<CSystemCount> counts;
    for (int i = 0; i < kGnssSystemCount; ++i) {
        const auto system = static_cast<GnssSystem>(i);
        const auto inUse = std::count_if(m_used.begin(), m_used.end(), [&](const CSatelliteId &id) {
            return id.system == system;
        });
        const int inView = GetInViewCount(system);
        if (inUse != 0 || inView != 0)
            counts.push_back({system, static_cast<int>(inUse), inView});
    }
    return counts;
}

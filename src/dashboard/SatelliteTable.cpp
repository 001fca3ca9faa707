#include "dashboard/SatelliteTable.h"

#include "nmea/GnssSignal.h"

#include <algorithm>
#include <tuple>

namespace
{

// Unreadable SNRs (letters) sort with the untracked.
int Strength(int snr)
{
    return std::max(snr, 0);
}

// Negative when a comes first in the key's natural order.
int Compare(const CSatelliteRow &a, const CSatelliteRow &b, SatelliteSort key)
{
    const auto cmp = [](auto x, auto y) { return x < y ? -1 : (y < x ? 1 : 0); };
    switch (key) {
    case SatelliteSort::System:
        return cmp(a.system, b.system);
    case SatelliteSort::Number:
        return cmp(a.number, b.number);
    case SatelliteSort::Elevation:
        return cmp(b.elevation, a.elevation);
    case SatelliteSort::Azimuth:
        return cmp(a.azimuth, b.azimuth);
    case SatelliteSort::Signal:
        return cmp(Strength(b.snr), Strength(a.snr));
    case SatelliteSort::Used:
        return cmp(b.used, a.used);
    }
    return 0;
}

} // namespace

std::vector<CSatelliteRow> SatelliteRowsOf(const CSkyView &view,
                                           const std::vector<CSkyEntry> &entries)
{
    std::vector<CSatelliteRow> rows;
    rows.reserve(view.satellites.size());
    for (const CSkySatellite &s : view.satellites) {
        CSatelliteRow row{s.system, s.prn, s.elevation, s.azimuth, s.snr, s.used, {}};
        const auto entry = std::find_if(entries.begin(), entries.end(), [&](const CSkyEntry &e) {
            return e.id.system == s.system && e.id.number == s.prn;
        });
        if (entry != entries.end())
            for (std::size_t i = 0; i < entry->levelCount; ++i) {
                const CSignalLevel &level = entry->levels[i];
                row.bars.push_back(
                    {std::string(GnssSignalName(s.system, level.signal)), level.snr});
            }
        if (row.bars.empty())
            row.bars.push_back({std::string(), s.snr});
        rows.push_back(std::move(row));
    }
    return rows;
}

void SortSatelliteRows(std::vector<CSatelliteRow> &rows, SatelliteSort key, bool reversed)
{
    std::stable_sort(rows.begin(), rows.end(), [&](const CSatelliteRow &a, const CSatelliteRow &b) {
        if (const int c = Compare(a, b, key); c != 0)
            return reversed ? c > 0 : c < 0;
        return std::tie(a.system, a.number) < std::tie(b.system, b.number);
    });
}

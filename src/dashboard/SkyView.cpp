#include "dashboard/SkyView.h"

#include "nmea/NMEAParser.h"

#include <algorithm>

namespace
{

CSkyView GpsOnlySky(const CNMEAParser &parser)
{
    const CGSVSentence &gsv = parser.m_gsv;
    CSkyView view;
    view.inUse = parser.m_gga.m_satellites;
    view.inView = gsv.m_inView;
    // The table keeps entries of earlier, longer groups behind the current ones, and a receiver
    // may count more satellites than it has room for.
    const int count = std::clamp(gsv.m_inView, 0, CGSVSentence::kEntries);
    view.satellites.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const CSatelliteInfo &s = gsv.m_satellites[static_cast<std::size_t>(i)];
        view.satellites.push_back({s.m_prn, s.m_elevation, s.m_azimuth, s.m_snr,
                                   parser.m_gsa.m_used.Contains(s.m_prn), GnssSystem::GPS});
    }
    return view;
}

} // namespace

CSkyView SkyViewOf(const CNMEAParser &parser)
{
    if (parser.GetMode() == GnssMode::GpsOnly)
        return GpsOnlySky(parser);
    const CGnssSky &sky = parser.m_sky;
    CSkyView view;
    view.inUse = sky.GetUsedCount();
    view.inView = sky.GetInViewCount();
    view.systems = sky.GetSystemCounts();
    // Satellites the receiver has no position for yet count in view but have no place.
    for (const CSkyEntry &e : sky.GetSatellites())
        if (e.elevation >= 0 && e.azimuth >= 0)
            view.satellites.push_back(
                {e.id.number, e.elevation, e.azimuth, e.snr, sky.IsUsed(e.id), e.id.system});
    return view;
}

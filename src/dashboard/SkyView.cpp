#include "dashboard/SkyView.h"

#include "nmea/NMEAParser.h"

#include <algorithm>

CSkyView SkyViewOf(const CNMEAParser &parser)
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
        view.satellites.push_back(
            {s.m_prn, s.m_elevation, s.m_azimuth, s.m_snr, parser.m_gsa.m_used.Contains(s.m_prn)});
    }
    return view;
}

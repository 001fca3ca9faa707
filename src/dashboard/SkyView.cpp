#include "dashboard/SkyView.h"

#include "nmea/NMEAParser.h"

CSkyView SkyViewOf(const CNMEAParser &parser)
{
    CSkyView view;
    view.inUse = parser.m_gga.m_satellites;
    view.inView = parser.m_gsv.m_inView;
    return view;
}

#pragma once

#include "dashboard/SkyView.h"

#include <vector>

inline CSkySatellite SkySat(GnssSystem system, int number, int elevation, int azimuth)
{
    return {number, elevation, azimuth, 40, false, system};
}

// A multi-system sky of 40 as a four-system receiver with SBAS and QZSS reports it at mid
// latitudes: most satellites low, the BeiDou and QZSS ones bunched over Asia, and clusters where
// the plot crowds them: two on one spot, a knot of four, a run along the horizon.
inline std::vector<CSkySatellite> FortySatellites()
{
    using G = GnssSystem;
    return {
        SkySat(G::GPS, 4, 36, 326),      SkySat(G::GPS, 12, 3, 126),
        SkySat(G::GPS, 13, 56, 68),      SkySat(G::GPS, 14, 8, 358),
        SkySat(G::GPS, 15, 5, 303),      SkySat(G::GPS, 16, 12, 103),
        SkySat(G::GPS, 17, 6, 24),       SkySat(G::GPS, 18, 48, 87),
        SkySat(G::GPS, 19, 72, 328),     SkySat(G::GPS, 22, 64, 295),
        SkySat(G::GPS, 24, 9, 213),      SkySat(G::GPS, 25, 53, 304),
        SkySat(G::SBAS, 123, 30, 196),   SkySat(G::SBAS, 136, 30, 198),
        SkySat(G::GLONASS, 1, 45, 120),  SkySat(G::GLONASS, 7, 46, 122),
        SkySat(G::GLONASS, 8, 44, 119),  SkySat(G::GLONASS, 11, 0, 300),
        SkySat(G::GLONASS, 12, 1, 305),  SkySat(G::GLONASS, 13, 2, 310),
        SkySat(G::GLONASS, 22, 70, 210), SkySat(G::GLONASS, 23, 20, 250),
        SkySat(G::Galileo, 4, 45, 121),  SkySat(G::Galileo, 9, 0, 0),
        SkySat(G::Galileo, 10, 0, 1),    SkySat(G::Galileo, 14, 33, 160),
        SkySat(G::Galileo, 21, 88, 40),  SkySat(G::Galileo, 26, 15, 275),
        SkySat(G::Galileo, 30, 60, 10),  SkySat(G::Galileo, 31, 25, 95),
        SkySat(G::BeiDou, 9, 40, 100),   SkySat(G::BeiDou, 21, 40, 100),
        SkySat(G::BeiDou, 23, 50, 110),  SkySat(G::BeiDou, 24, 10, 140),
        SkySat(G::BeiDou, 26, 65, 170),  SkySat(G::BeiDou, 27, 5, 80),
        SkySat(G::BeiDou, 41, 90, 0),    SkySat(G::QZSS, 2, 89, 180),
        SkySat(G::QZSS, 3, 20, 130),     SkySat(G::GPS, 31, 0, 299),
    };
}

#pragma once

#include "nmea/GnssSky.h"

#include <vector>

class CNMEAParser;

/// One satellite of the sky plot.
struct CSkySatellite {
    int prn = 0;       ///< as sent (GPS only), or the number within `system`
    int elevation = 0; ///< degrees
    int azimuth = 0;   ///< degrees
    int snr = 0;       ///< dB
    bool used = false; ///< used in the fix
    GnssSystem system = GnssSystem::GPS;
};

/// A complete set of satellites in view, of any length.
struct CSkyView {
    int inUse = 0;
    int inView = 0;
    std::vector<CSkySatellite> satellites;
    /// All satellite systems: every system in use or in view, in GnssSystem order. Empty when
    /// reading GPS only.
    std::vector<CSystemCount> systems;
};

/// GPS only: the satellites of the parser's last complete GSV group, each marked used when the
/// GSA lists it; the count in use is the GGA's. All systems: the last complete sky of every
/// system, used as the last run of GSAs says, and the count in use is that run's.
[[nodiscard]] CSkyView SkyViewOf(const CNMEAParser &parser);

#pragma once

#include <vector>

class CNMEAParser;

/// One satellite of the sky plot.
struct CSkySatellite {
    int prn = 0;
    int elevation = 0; ///< degrees
    int azimuth = 0;   ///< degrees
    int snr = 0;       ///< dB
    bool used = false; ///< used in the fix
};

/// A complete set of satellites in view, of any length.
struct CSkyView {
    int inUse = 0;
    int inView = 0;
    std::vector<CSkySatellite> satellites;
};

/// The satellites of the parser's last complete GSV group, each marked used when the GSA lists
/// it; the count in use is the GGA's.
[[nodiscard]] CSkyView SkyViewOf(const CNMEAParser &parser);

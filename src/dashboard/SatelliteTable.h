#pragma once

#include "dashboard/SkyView.h"

#include <cstdint>
#include <string>
#include <vector>

struct CSkyEntry;

/// One signal's column entry of the satellites table.
struct CSignalBar {
    std::string name; ///< "L1", "E5a"...; empty when the receiver names no signal
    int snr = 0;      ///< dB; 0 not tracked
};

/// One row of the Satellites page.
struct CSatelliteRow {
    GnssSystem system = GnssSystem::GPS;
    int number = 0;
    int elevation = 0; ///< degrees
    int azimuth = 0;   ///< degrees
    int snr = 0;       ///< the best signal's, as the sky view shows it
    bool used = false;
    std::vector<CSignalBar> bars; ///< at least one
};

/// The columns the table sorts by. Each has its natural order: systems and numbers up,
/// elevation and signal strongest first, used satellites first.
enum class SatelliteSort : std::uint8_t { System, Number, Elevation, Azimuth, Signal, Used };

/// The satellites of `view`, one row each, in its order, with their signals from `entries` (the
/// multi-system sky's satellites; empty when reading GPS only, when each row has the one signal
/// of the sky view).
[[nodiscard]] std::vector<CSatelliteRow> SatelliteRowsOf(const CSkyView &view,
                                                         const std::vector<CSkyEntry> &entries);

/// Sorts by `key` in its natural order, or the other way round; ties by system, then number.
void SortSatelliteRows(std::vector<CSatelliteRow> &rows, SatelliteSort key, bool reversed = false);

#pragma once

#include "geo/CoordinateFormat.h"
#include "nmea/GnssSystem.h"

#include <functional>

class CWaypointBook;

/// What the window tells the Map page besides fixes, for the page's parts to read.
struct CMapPageOptions {
    CWaypointBook *waypoints = nullptr; ///< none before the page starts
    CoordinateFormat projection = CoordinateFormat::DD;
    bool advancedFileSelector = false;
    /// How Load Track reads a log: as the receiver connection does.
    GnssMode gnssMode = GnssMode::AllSystems;
    /// The window's "Export Track as GPX...", offered beside Load Track; none: not offered.
    std::function<void()> exportTrack;
};

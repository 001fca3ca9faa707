#pragma once

#include "base/GeoPosition.h"

#include <optional>

class CNMEAParser;

/// What the window does with one parsed line before the Data page and the recording see it:
/// the steps of the data-line handler by sentence type, in the order the window carries them
/// out.
struct CLineRoute {
    bool navigation = false;         ///< GGA: the idle timer, then (last) the List page
    std::optional<double> altitude;  ///< GGA: metres, the altitude less the geoid separation
    std::optional<double> timeOfDay; ///< GGA with a time text of 6+ characters: UTC seconds
    std::optional<CGeoPosition> fix; ///< GGA with a fix: map position and proximity check
    bool satellites = false;         ///< a GSV group (all systems: run) is complete: the sky view
    std::optional<double> reception; ///< with it: satellites used / in view (none: empty)
    bool fixEvents = false;          ///< RMC
    /// GGA and RMC: whether the receiver says it has no fix (quality 0 or status V).
    std::optional<bool> fixLost;
};

/// `type` as the parser returned it for the line, with the parser's state after it.
[[nodiscard]] CLineRoute RouteLine(int type, const CNMEAParser &parser);

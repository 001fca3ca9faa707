#pragma once

#include "base/Units.h"
#include "dashboard/TripComputer.h"

#include <optional>
#include <string>
#include <vector>

/// One figure of the trip computer as it is shown: "Moving", "1:23", "h".
struct CTripText {
    std::string caption;
    std::string value;
    std::string unit;
    /// Nothing to show yet ("---"): drawn dim.
    bool empty = false;

    bool operator==(const CTripText &) const = default;
};

/// The units of the figures: the speedometer's, the mileage counter's and the altimeter's.
struct CTripUnits {
    UnitSystem speed = UnitSystem::Metric;
    UnitSystem distance = UnitSystem::Metric;
    UnitSystem height = UnitSystem::Metric;
};

/// The goto waypoint's name and the way to it, when there is one.
struct CTripTarget {
    std::string name;
    std::optional<CTripGoto> way; ///< none before the first fix
};

/// The trip page's figures in reading order: trip, moving and stopped time, average and maximum
/// speed, ascent, descent, then distance, bearing and ETA of the goto waypoint, or a single
/// "No goto waypoint" without one (the figures get the room). Times read "m:ss" min below an
/// hour, "h:mm" h above; the ETA is the time to go.
[[nodiscard]] std::vector<CTripText> TripTexts(const CTripFigures &figures, CTripUnits units,
                                               const std::optional<CTripTarget> &target);

#pragma once

#include "base/Units.h"

#include <optional>

/// The units the Dashboard's speedometer, altimeter and mileage counter show, as they reported
/// them. Each keeps a unit of its own from its pop-up menu; Tools > Units sets them all.
struct CInstrumentUnits {
    /// Empty for a speedometer mode outside the unit systems (a damaged setting): km/h then.
    std::optional<UnitSystem> speed = UnitSystem::Metric;
    UnitSystem altitude = UnitSystem::Metric;
    UnitSystem trip = UnitSystem::Metric;

    /// The unit system they agree on, which the Units menu checks; empty when they do not. The
    /// altimeter has no nautical mode and keeps its unit at sea: speed and trip decide there.
    [[nodiscard]] std::optional<UnitSystem> Agreed() const;
};

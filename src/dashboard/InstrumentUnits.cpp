#include "dashboard/InstrumentUnits.h"

std::optional<UnitSystem> CInstrumentUnits::Agreed() const
{
    if (speed == UnitSystem::Nautic && trip == UnitSystem::Nautic)
        return UnitSystem::Nautic;
    if (speed == altitude && speed == trip)
        return speed;
    return std::nullopt;
}

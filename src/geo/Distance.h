#pragma once

#include "base/GeoPosition.h"
#include "base/Units.h"

#include <string>

/// Great-circle distance in metres on a sphere of the International ellipsoid's radius enlarged
/// by half the height difference; never negative, 0.0 where rounding gives no number.
double Distance(const CGeoPosition &from, const CGeoPosition &to);

/// A distance in metres, printed in the user's unit system.
class CDistance
{
public:
    /// Holds `metres` unchanged.
    explicit CDistance(double metres);
    virtual ~CDistance() = default;

    /// Writes the distance in the unit system; a value outside the enumeration leaves `out` as
    /// it was.
    void Format(std::string &out, UnitSystem unitSystem) const;

private:
    double m_metres;
};

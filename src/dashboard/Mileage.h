#pragma once

#include "nmea/GeoPosition.h"

#include <ctime>
#include <optional>

/// Trip and total distance from position samples, without a window. Only movement counts: a
/// sample at a standstill (the receiver's speed below kMovingKmh) adds nothing, so a parked
/// car's jitter never adds up; replayed samples add to the trip, never to the total.
class CMileage
{
public:
    static constexpr double kMovingKmh = 1.0;

    /// A sample with a fix.
    void AddSample(const CGeoPosition &position, std::time_t time, double speedKmh, bool replay);
    void ResetTrip();
    void ResetTotal();
    void SetTotal(double metres);
    [[nodiscard]] double GetTripMetres() const { return m_trip; }
    [[nodiscard]] double GetTotalMetres() const { return m_total; }

private:
    std::optional<CGeoPosition> m_last;
    double m_trip = 0.0;
    double m_total = 0.0;
};

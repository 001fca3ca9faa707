#pragma once

#include "base/GeoPosition.h"

#include <ctime>
#include <optional>

/// Trip and total distance from position samples, without a window. Only movement counts: a
/// sample at a standstill (the receiver's speed below kMovingKmh) adds nothing, so a parked
/// car's jitter never adds up; replayed samples add to the trip, never to the total.
class CMileage
{
public:
    static constexpr double kMovingKmh = 1.0;

    /// A sample with a fix. The leg from the previous sample counts when this one moves; a
    /// sample from another kind of source (live after replayed or back), or one older than the
    /// previous (another log), starts afresh without a leg.
    void AddSample(const CGeoPosition &position, std::time_t time, double speedKmh, bool replay);
    void ResetTrip();
    void ResetTotal();
    void SetTotal(double metres);
    [[nodiscard]] double GetTripMetres() const { return m_trip; }
    [[nodiscard]] double GetTotalMetres() const { return m_total; }

private:
    struct Anchor {
        CGeoPosition position;
        std::time_t time = 0;
        bool replay = false;
    };
    std::optional<Anchor> m_last;
    double m_trip = 0.0;
    double m_total = 0.0;
};

#pragma once

#include "base/GeoPosition.h"
#include "waypoints/Waypoint.h"

#include <ctime>
#include <optional>

/// The trip's figures; what a restart keeps.
struct CTripFigures {
    double distanceMetres = 0.0;
    double movingSeconds = 0.0;
    double stoppedSeconds = 0.0;
    double maxSpeedKmh = 0.0;
    double gainMetres = 0.0;
    double lossMetres = 0.0;

    /// Distance over moving time; 0 before the first moving leg.
    [[nodiscard]] double AverageMovingKmh() const;
    bool operator==(const CTripFigures &) const = default;
};

/// The way to the goto waypoint from the last fix.
struct CTripGoto {
    double distanceMetres = 0.0;
    /// As the compass shows it (BearingToWaypoint).
    double bearingDegrees = 0.0;
    /// At the trip's average moving speed; none before the trip has one.
    std::optional<double> etaSeconds;
};

/// Trip figures from the receiver's fixes, without a window. A leg runs from one RMC sample to
/// the next; it is a moving leg when the later sample's speed is at least kMovingKmh, and then
/// adds its great-circle length (Distance) and its time, else it adds stopped time only. Legs are
/// the mileage counter's, so the two trips agree as long as they were reset together, except
/// that a leg over a gap longer than kMaxLegSeconds (the receiver was off, not in a tunnel) adds
/// neither distance nor time here: what happened meanwhile is unknown.
class CTripComputer
{
public:
    static constexpr double kMovingKmh = 1.0;
    static constexpr double kMaxLegSeconds = 60.0;
    /// A GPS altitude wanders by a few metres at a standstill: a climb or a descent counts once
    /// it reaches this much from the last counted altitude, so noise smaller than it adds
    /// nothing.
    static constexpr double kElevationStepMetres = 5.0;

    /// An RMC with a fix: its position, date and time and speed. A sample from another kind of
    /// source (a replay after live data or back), or an older one (another log), starts afresh
    /// without a leg; so does a sample without a time.
    void AddSample(const CGeoPosition &position, std::time_t time, double speedKmh, bool replay);
    /// A GGA with a fix: metres above the geoid. Counted only while moving, so a parked
    /// receiver's drift never adds up.
    void AddAltitude(double metres);
    /// Every figure back to 0 together; the next sample starts afresh.
    void Reset();
    /// Figures kept from the last run; the next sample starts afresh.
    void Restore(const CTripFigures &figures);

    [[nodiscard]] const CTripFigures &GetFigures() const { return m_figures; }
    /// Whether the last sample moved.
    [[nodiscard]] bool IsMoving() const { return m_moving; }
    /// Distance, bearing and ETA to `target` from the last sample; none before one.
    [[nodiscard]] std::optional<CTripGoto> Goto(const CWaypoint &target) const;
    /// Counts every change of the figures, for their owner to store them now and then.
    [[nodiscard]] unsigned long GetChangeCount() const { return m_changes; }

private:
    struct Anchor {
        CGeoPosition position;
        std::time_t time = 0;
        bool replay = false;
    };
    std::optional<Anchor> m_last;
    std::optional<CGeoPosition> m_position; // the last fix, with or without a time
    std::optional<double> m_altitudeBase;   // the last counted altitude
    bool m_moving = false;
    CTripFigures m_figures;
    unsigned long m_changes = 0;
};

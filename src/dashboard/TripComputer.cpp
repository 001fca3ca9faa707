#include "dashboard/TripComputer.h"

#include "geo/Distance.h"
#include "waypoints/WaypointNavigator.h"

#include <algorithm>

namespace
{
constexpr double kSecondsPerHour = 3600.0;
constexpr double kMetresPerKilometre = 1000.0;
} // namespace

double CTripFigures::AverageMovingKmh() const
{
    if (movingSeconds <= 0.0)
        return 0.0;
    return distanceMetres / kMetresPerKilometre / (movingSeconds / kSecondsPerHour);
}

void CTripComputer::AddSample(const CGeoPosition &position, std::time_t time, double speedKmh,
                              bool replay)
{
    m_moving = speedKmh >= kMovingKmh;
    m_position = position;
    if (speedKmh > m_figures.maxSpeedKmh) {
        m_figures.maxSpeedKmh = speedKmh;
        ++m_changes;
    }
    if (time == 0) {
        m_last.reset();
        return;
    }
    if (m_last && m_last->replay == replay && time >= m_last->time) {
        const auto seconds = static_cast<double>(time - m_last->time);
        if (seconds <= kMaxLegSeconds) {
            if (m_moving) {
                m_figures.distanceMetres += Distance(m_last->position, position);
                m_figures.movingSeconds += seconds;
            } else {
                m_figures.stoppedSeconds += seconds;
            }
            ++m_changes;
        }
    }
    m_last = Anchor{position, time, replay};
}

void CTripComputer::AddAltitude(double metres)
{
    if (!m_altitudeBase || !m_moving) {
        // Where the trip goes on from: a stop's drift is not climbed.
        if (!m_altitudeBase)
            m_altitudeBase = metres;
        return;
    }
    const double change = metres - *m_altitudeBase;
    if (change >= kElevationStepMetres)
        m_figures.gainMetres += change;
    else if (change <= -kElevationStepMetres)
        m_figures.lossMetres -= change;
    else
        return;
    m_altitudeBase = metres;
    ++m_changes;
}

void CTripComputer::Reset()
{
    Restore({});
}

void CTripComputer::Restore(const CTripFigures &figures)
{
    m_figures = figures;
    m_figures.maxSpeedKmh = std::max(0.0, m_figures.maxSpeedKmh);
    m_last.reset();
    m_altitudeBase.reset();
    m_moving = false;
    ++m_changes;
}

std::optional<CTripGoto> CTripComputer::Goto(const CWaypoint &target) const
{
    if (!m_position)
        return std::nullopt;
    CTripGoto way;
    way.distanceMetres = DistanceToWaypoint(*m_position, target, std::nullopt);
    way.bearingDegrees = BearingToWaypoint(*m_position, target);
    const double kmh = m_figures.AverageMovingKmh();
    if (kmh > 0.0)
        way.etaSeconds = way.distanceMetres / kMetresPerKilometre / kmh * kSecondsPerHour;
    return way;
}

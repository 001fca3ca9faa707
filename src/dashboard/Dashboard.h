#pragma once

#include "geo/Units.h"
#include "nmea/GeoPosition.h"

#include <QWidget>

#include <ctime>
#include <optional>

class CNMEAParser;

/// What the window has handed to the dashboard's instruments, as they last received it.
struct CDashboardFeed {
    double speedKmh = 0.0;
    double course = 0.0;
    double bearing = -1.0; ///< -1: no target
    double distance = -1.0;
    double altitude = 0.0;  ///< metres
    double timeOfDay = 0.0; ///< seconds since midnight UTC
    int satellitesInView = 0;
    int satellitesUsed = 0;
    CGeoPosition mileagePosition;
    std::time_t mileageTime = 0;
    bool mileageReplay = false;
    // How often each instrument was fed, for the data-line routing.
    int speedUpdates = 0;
    int compassUpdates = 0;
    int altitudeUpdates = 0;
    int clockUpdates = 0;
    int satelliteUpdates = 0;
    int mileageSamples = 0;
};

/// The "Dashboard" page. Its instruments come later; until then it keeps what the window feeds
/// them through the operations below and draws only its caption.
class CDashboard : public QWidget
{
    Q_OBJECT
public:
    /// Reads the page's settings ("Software/Veloran/Dashboard"): night mode so far.
    explicit CDashboard(QWidget *parent = nullptr);
    /// Writes them back.
    ~CDashboard() override;

    void SetSpeed(double speedKmh);
    /// Course, and bearing and distance to the goto waypoint (-1 without one).
    void SetCompass(double course, double bearing, double distance);
    void SetAltitude(double metres);
    void SetTimeOfDay(double seconds);
    /// A complete set of satellites.
    void UpdateSatellites(const CNMEAParser &parser);
    void AddMileageSample(const CGeoPosition &position, std::time_t time, bool replay);

    /// For the speedometer and the mileage counter; the altimeter takes it only when
    /// `altimeterToo` (it has no nautical mode).
    void SetUnits(UnitSystem units, bool altimeterToo);
    /// The unit system the instruments agree on; empty when they do not.
    [[nodiscard]] std::optional<UnitSystem> GetUnits() const;
    void SetNightMode(bool night, bool redraw);
    [[nodiscard]] bool IsNightMode() const { return m_night; }

    [[nodiscard]] const CDashboardFeed &GetFeed() const { return m_feed; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    CDashboardFeed m_feed;
    UnitSystem m_speedUnits = UnitSystem::Metric;
    UnitSystem m_altimeterUnits = UnitSystem::Metric;
    UnitSystem m_mileageUnits = UnitSystem::Metric;
    bool m_night = false;
};

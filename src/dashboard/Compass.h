#pragma once

#include "dashboard/Gauge.h"
#include "geo/Units.h"

/// The course ("Heading"): a card that turns with the course, the short way round; with a goto
/// target a second marker for its bearing and the distance to it.
class CCompass : public CGauge
{
    Q_OBJECT
public:
    explicit CCompass(QWidget *parent = nullptr);

    /// Course in degrees; bearing and distance (metres) to the goto target, -1 without one.
    void SetCourse(double course, double bearing, double distanceMetres);
    /// The unit of the distance text.
    void SetUnits(UnitSystem units);
    [[nodiscard]] double GetCourse() const { return GetValue(); }
    [[nodiscard]] double GetBearing() const { return m_bearing; }
    [[nodiscard]] double GetDistance() const { return m_distance; }
    /// The course in degrees.
    [[nodiscard]] QString FormatDigital() const override;
    [[nodiscard]] QString GetValueText() const override;

private:
    double m_bearing = -1.0;
    double m_distance = -1.0;
    UnitSystem m_units = UnitSystem::Metric;
};

#pragma once

#include "base/Units.h"
#include "dashboard/CompassMath.h"
#include "dashboard/Gauge.h"

#include <QElapsedTimer>

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
    /// The course in degrees.
    [[nodiscard]] QString FormatDigital() const override;
    [[nodiscard]] QString GetValueText() const override;
    /// The value text, and the goto target's bearing and distance when there is one.
    [[nodiscard]] QStringList InfoItems() const override;
    void Reset() override;

    /// The angle the card shows under the lubber mark now; it trails the course while turning.
    [[nodiscard]] double GetShownCourse() const { return m_card.GetShown(); }
    [[nodiscard]] bool IsTurning() const { return m_card.IsTurning(); }
    /// Moves the card's turn on by `milliseconds` (its timer does so with the time that passed).
    void Advance(double milliseconds);
    [[nodiscard]] bool HasTarget() const { return m_bearing >= 0.0; }
    /// The distance to the target in the units' text ("1.2345 km"); empty without one.
    [[nodiscard]] QString DistanceText() const;

protected:
    void DrawBackground(QPainter &painter) override;
    void DrawAnalog(QPainter &painter) override;
    void DrawDigital(QPainter &painter) override;

private:
    void DrawCard(QPainter &painter, double shown);
    void DrawTarget(QPainter &painter, double shown);
    void DrawLubber(QPainter &painter);
    /// A moving part's colour by day, the one it shows at night once the face is inverted, or
    /// its red night colour.
    [[nodiscard]] QColor Accent(const QColor &day, const QColor &night,
                                const QColor &nightRed) const;

    double m_bearing = -1.0;
    double m_distance = -1.0;
    UnitSystem m_units = UnitSystem::Metric;
    CCardTurn m_card;
    bool m_fed = false;
    QTimer *m_turnTimer = nullptr;
    QElapsedTimer m_turnClock;
};

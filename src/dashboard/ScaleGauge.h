#pragma once

#include "base/Units.h"
#include "dashboard/Gauge.h"
#include "dashboard/GaugeMath.h"

#include <QString>

/// The label of a quantity in a unit system, as the instruments write it.
[[nodiscard]] QString UnitLabelText(UnitQuantity quantity, UnitSystem units);

/// A dial with a self-ranging numbered scale and a needle: one turn is group x range units.
class CScaleGauge : public CGauge
{
    Q_OBJECT
public:
    using CGauge::CGauge;

    /// Tick group, range and the needle's angle per unit.
    void SetScale(int range, int second, int group);
    [[nodiscard]] const CScaleRange &GetScale() const { return m_scale; }
    [[nodiscard]] const QString &GetUnitLabel() const { return m_unitLabel; }

    /// Re-ranges for the value (a new face when the range changes, or for a value that fits
    /// none), then stores it.
    void SetValue(double value) override;

protected:
    [[nodiscard]] bool Redraws(double from, double to) const override;
    void DrawBackground(QPainter &painter) override;
    void DrawAnalog(QPainter &painter) override;
    /// The numbers of the ring for the current range.
    virtual void DrawScale(QPainter &painter);
    /// The needle at the value, with the count of completed turns and the hub.
    virtual void DrawNeedle(QPainter &painter, int variant);
    /// The digital face: caption above the centre, unit label below.
    void DrawDigitalFace(QPainter &painter);

    void SetUnitLabel(const QString &label) { m_unitLabel = label; }

private:
    QString m_unitLabel;
    CScaleRange m_scale = CScaleRange::Make(10, 10, 10);
};

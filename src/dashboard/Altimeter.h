#pragma once

#include "dashboard/Gauge.h"

/// Height above sea level plus the user's correction ("Altitude"), in metres or feet.
class CAltimeter : public CScaleGauge
{
    Q_OBJECT
public:
    explicit CAltimeter(QWidget *parent = nullptr);

    /// Height in metres, as the receiver gives it; shown with the offset, in the mode's unit.
    void SetValue(double metres) override;
    void SetMode(int mode) override;
    void SetModeQuiet(int mode) override;
    /// The correction added to every height, in metres ("AltimeterOffset").
    void SetOffset(double metres);
    [[nodiscard]] double GetOffset() const { return m_offset; }
    /// "Correction Offset": a small dialog for the offset.
    void OnAction(int index) override;
    [[nodiscard]] QString GetValueText() const override;

private:
    double m_offset = 0.0;
    double m_metres = 0.0;
};

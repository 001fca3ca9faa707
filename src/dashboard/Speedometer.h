#pragma once

#include "dashboard/Gauge.h"

/// Ground speed in km/h, mph or knots ("Speed"): a self-ranging scale gauge that starts with its
/// digital read-out.
class CSpeedometer : public CScaleGauge
{
    Q_OBJECT
public:
    enum Mode { kModeMetric = 1, kModeImperial = 2, kModeNautic = 3 };

    explicit CSpeedometer(QWidget *parent = nullptr);

    /// Speed in km/h, shown in the mode's unit.
    void SetValue(double kmh) override;
    /// Converts the shown value back to km/h and shows it in the new mode's unit.
    void SetMode(int mode) override;
    void SetModeQuiet(int mode) override;
    [[nodiscard]] QString GetValueText() const override;
    [[nodiscard]] QString FormatDigital() const override;

private:
    void SetUnitLabelFor(int mode);
};

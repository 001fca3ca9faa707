#pragma once

#include "base/Units.h"
#include "dashboard/ScaleGauge.h"

#include <optional>

/// Ground speed in km/h, mph or knots ("Speed"): a self-ranging scale gauge that starts with its
/// digital read-out. Its modes are the unit systems' numbers.
class CSpeedometer : public CScaleGauge
{
    Q_OBJECT
public:
    enum Action { kActionSpeedAlarm = 1 };

    explicit CSpeedometer(QWidget *parent = nullptr);

    /// Speed in km/h, shown in the mode's unit.
    void SetValue(double kmh) override;
    /// Converts the shown value back to km/h and shows it in the new mode's unit. Any other
    /// number is stored as it came: the value stays in km/h, the label as it was.
    void SetMode(int mode) override;
    void SetModeQuiet(int mode) override;
    [[nodiscard]] QString GetValueText() const override;
    [[nodiscard]] QString FormatDigital() const override;
    /// "Speed Alarm...".
    void OnAction(int index) override;

signals:
    /// The menu's "Speed Alarm...": the window opens the dialog.
    void SpeedAlarmChosen();

private:
    /// The mode's unit system; empty for a number outside them.
    [[nodiscard]] std::optional<UnitSystem> Units() const;
    void SetUnitLabelFor(int mode);
};

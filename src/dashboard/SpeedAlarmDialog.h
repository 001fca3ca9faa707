#pragma once

#include "base/Units.h"
#include "dashboard/SpeedAlarm.h"

#include <QDialog>

class QCheckBox;
class QDoubleSpinBox;
class QSpinBox;

/// "Speed Alarm": on or off, the limit and the tolerance in the unit system shown, and the
/// delay in seconds.
class CSpeedAlarmDialog : public QDialog
{
    Q_OBJECT
public:
    CSpeedAlarmDialog(const CSpeedAlarmSettings &settings, UnitSystem units,
                      QWidget *parent = nullptr);

    /// What the dialog shows, in km/h; a value typed in the unit shown and not changed comes back
    /// exactly as it went in.
    [[nodiscard]] CSpeedAlarmSettings GetSettings() const;

private:
    CSpeedAlarmSettings m_settings;
    UnitSystem m_units;
    double m_shownLimit = 0.0;
    double m_shownTolerance = 0.0;
    QCheckBox *m_on = nullptr;
    QDoubleSpinBox *m_limit = nullptr;
    QDoubleSpinBox *m_tolerance = nullptr;
    QSpinBox *m_delay = nullptr;
};

#include "dashboard/SpeedAlarmDialog.h"

#include "dashboard/ScaleGauge.h"
#include "widgets/FormWidgets.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QSpinBox>
#include <QVBoxLayout>

#include <cmath>

namespace
{

constexpr double kMostSpeed = 999.0;
constexpr double kMostTolerance = 50.0;
constexpr int kMostDelaySeconds = 60;

double Shown(double kmh, UnitSystem units)
{
    return std::round(SpeedInUnits(kmh, units) * 10.0) / 10.0;
}

QDoubleSpinBox *SpeedBox(const char *name, double most, double value, const QString &unit,
                         QWidget *parent)
{
    auto *box = new QDoubleSpinBox(parent);
    box->setObjectName(QLatin1String(name));
    box->setDecimals(1);
    box->setRange(0.0, most);
    box->setSingleStep(1.0);
    box->setSuffix(QLatin1Char(' ') + unit);
    box->setValue(value);
    return box;
}

} // namespace

CSpeedAlarmDialog::CSpeedAlarmDialog(const CSpeedAlarmSettings &settings, UnitSystem units,
                                     QWidget *parent)
    : QDialog(parent)
    , m_settings(settings)
    , m_units(units)
    , m_shownLimit(Shown(settings.limitKmh, units))
    , m_shownTolerance(Shown(settings.toleranceKmh, units))
{
    setObjectName(QStringLiteral("speedAlarmDialog"));
    setWindowTitle(tr("Speed Alarm"));
    const QString unit = UnitLabelText(UnitQuantity::Speed, units);
    m_on = new QCheckBox(tr("Warn when driving too fast"), this);
    m_on->setObjectName(QStringLiteral("checkOn"));
    m_on->setChecked(settings.on);
    m_limit = SpeedBox("limit", kMostSpeed, m_shownLimit, unit, this);
    m_limit->setMinimum(1.0);
    m_tolerance = SpeedBox("tolerance", kMostTolerance, m_shownTolerance, unit, this);
    m_delay = new QSpinBox(this);
    m_delay->setObjectName(QStringLiteral("delay"));
    m_delay->setRange(0, kMostDelaySeconds);
    m_delay->setSuffix(QStringLiteral(" s"));
    m_delay->setValue(static_cast<int>(std::lround(settings.delaySeconds)));

    auto *form = new QFormLayout;
    form->addRow(tr("Limit:"), m_limit);
    form->addRow(tr("Tolerance:"), m_tolerance);
    form->addRow(tr("Delay:"), m_delay);
    for (QWidget *field : {static_cast<QWidget *>(m_limit), static_cast<QWidget *>(m_tolerance),
                           static_cast<QWidget *>(m_delay)}) {
        field->setEnabled(settings.on);
        connect(m_on, &QCheckBox::toggled, field, &QWidget::setEnabled);
    }
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_on);
    layout->addLayout(form);
    layout->addStretch(1);
    layout->addWidget(MakeOkCancel(this));
    GiveMnemonics(*this);
}

CSpeedAlarmSettings CSpeedAlarmDialog::GetSettings() const
{
    CSpeedAlarmSettings s = m_settings;
    s.on = m_on->isChecked();
    // Rounded for the box: only a changed value is taken back, so 120 km/h seen in mph stays 120.
    if (m_limit->value() != m_shownLimit)
        s.limitKmh = SpeedFromUnits(m_limit->value(), m_units);
    if (m_tolerance->value() != m_shownTolerance)
        s.toleranceKmh = SpeedFromUnits(m_tolerance->value(), m_units);
    s.delaySeconds = m_delay->value();
    return s;
}

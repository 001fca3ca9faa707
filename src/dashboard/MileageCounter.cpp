#include "dashboard/MileageCounter.h"

#include "base/Numbers.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>

namespace
{

constexpr double kKilometresPerMetre = 0.001;
// The 1609.3 m mile of the distance texts, so the counter agrees with them.
constexpr double kMilesPerMetre = 0.0006213881811967936;
constexpr double kNauticalMilesPerMetre = 0.0005399568034557236;

} // namespace

CMileageCounter::CMileageCounter(QWidget *parent)
    : CScaleGauge(tr("Mileage"), parent)
{
    SetScale(100, 10, 10);
    StoreMode(ToNumber(UnitSystem::Metric));
    SetDigitalCapable(true);
    SetUnitLabel(UnitLabelText(UnitQuantity::Distance, UnitSystem::Metric));
    SetModeNames({tr("Metric"), tr("Imperial"), tr("Nautic")});
    SetActionNames({tr("Reset Trip"), tr("Reset Total")});
    SetShowsFix(true);
}

void CMileageCounter::AddSample(const CGeoPosition &position, std::time_t time, double speedKmh,
                                bool replay)
{
    m_mileage.AddSample(position, time, speedKmh, replay);
    Show();
}

void CMileageCounter::SetMode(int mode)
{
    if (!UnitSystemFromNumber(mode))
        return;
    SetModeQuiet(mode);
    CScaleGauge::SetMode(mode);
    Show();
}

void CMileageCounter::SetModeQuiet(int mode)
{
    if (!UnitSystemFromNumber(mode))
        return;
    CScaleGauge::SetModeQuiet(mode);
    SetUnitLabel(UnitLabelText(UnitQuantity::Distance, Units()));
}

void CMileageCounter::SetTotal(double metres)
{
    m_mileage.SetTotal(metres);
}

void CMileageCounter::OnAction(int index)
{
    if (index == kActionResetTrip) {
        m_mileage.ResetTrip();
        Show();
    } else if (index == kActionResetTotal) {
        m_mileage.ResetTotal();
    }
}

void CMileageCounter::Reset() {}

QString CMileageCounter::GetValueText() const
{
    return tr("Trip %1").arg(DistanceText(m_mileage.GetTripMetres()));
}

QStringList CMileageCounter::InfoItems() const
{
    return {GetValueText(), tr("Total %1").arg(DistanceText(m_mileage.GetTotalMetres()))};
}

UnitSystem CMileageCounter::Units() const
{
    return UnitSystemFromNumber(GetMode()).value_or(UnitSystem::Metric);
}

double CMileageCounter::InUnit(double metres) const
{
    switch (Units()) {
    case UnitSystem::Imperial:
        return metres * kMilesPerMetre;
    case UnitSystem::Nautic:
        return metres * kNauticalMilesPerMetre;
    case UnitSystem::Metric:
        break;
    }
    return metres * kKilometresPerMetre;
}

void CMileageCounter::Show()
{
    CScaleGauge::SetValue(InUnit(m_mileage.GetTripMetres()));
}

QString CMileageCounter::DistanceText(double metres) const
{
    return QString::fromStdString(FormatC("%.2f ", InUnit(metres))) + GetUnitLabel();
}

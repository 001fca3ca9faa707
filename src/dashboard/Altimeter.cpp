#include "dashboard/Altimeter.h"

#include "base/Numbers.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFontMetricsF>
#include <QFormLayout>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace
{

const char *const kOffsetBox = "offset";
const char *const kShownOffset = "shownOffset";

// Far beyond any error of a receiver's height, and still a short number in the box.
constexpr double kOffsetLimit = 9999.9;

// No nautical heights: the altimeter keeps its unit at sea.
bool IsAltimeterMode(int mode)
{
    return mode == ToNumber(UnitSystem::Metric) || mode == ToNumber(UnitSystem::Imperial);
}

} // namespace

CAltimeter::CAltimeter(QWidget *parent)
    : CScaleGauge(tr("Altitude"), parent)
{
    SetScale(10, 10, 10);
    StoreMode(ToNumber(UnitSystem::Metric));
    SetDigitalCapable(true);
    SetUnitLabel(UnitLabelText(UnitQuantity::Height, UnitSystem::Metric));
    SetModeNames({tr("Metric"), tr("Imperial")});
    SetActionNames({tr("Correction Offset")});
    SetShowsFix(true);
}

void CAltimeter::SetValue(double metres)
{
    m_metres = metres;
    Show();
}

void CAltimeter::SetMode(int mode)
{
    if (!IsAltimeterMode(mode))
        return;
    SetModeQuiet(mode);
    CScaleGauge::SetMode(mode);
    Show();
}

void CAltimeter::SetModeQuiet(int mode)
{
    if (!IsAltimeterMode(mode))
        return;
    CScaleGauge::SetModeQuiet(mode);
    SetUnitLabel(UnitLabelText(UnitQuantity::Height, Units()));
}

void CAltimeter::SetOffset(double metres)
{
    m_offset = metres;
    Show();
}

void CAltimeter::OnAction(int index)
{
    if (index != 1)
        return;
    const std::unique_ptr<QDialog> dialog = CreateOffsetDialog(this);
    if (dialog->exec() == QDialog::Accepted)
        AcceptOffsetDialog(*dialog);
}

QString CAltimeter::GetValueText() const
{
    return QString::fromStdString(FormatC("%.1f ", GetValue())) + GetUnitLabel();
}

QStringList CAltimeter::InfoItems() const
{
    QStringList items{GetValueText()};
    if (m_offset != 0.0)
        items << tr("Offset %1 %2")
                     .arg(QString::fromStdString(FormatC("%+.1f", InUnit(m_offset))),
                          GetUnitLabel());
    return items;
}

QString CAltimeter::FormatDigital() const
{
    const double v = GetValue();
    return QString::fromStdString(FormatC(std::fabs(v) < 1000 ? "%.1f" : "%.0f", v));
}

std::unique_ptr<QDialog> CAltimeter::CreateOffsetDialog(QWidget *parent) const
{
    auto dialog = std::make_unique<QDialog>(parent);
    dialog->setWindowTitle(tr("Correction Offset"));
    auto *box = new QDoubleSpinBox(dialog.get());
    box->setObjectName(QString::fromLatin1(kOffsetBox));
    box->setDecimals(1);
    box->setRange(-kOffsetLimit, kOffsetLimit);
    box->setSingleStep(1.0);
    box->setSuffix(QLatin1Char(' ') + GetUnitLabel());
    box->setValue(InUnit(m_offset));
    box->setProperty(kShownOffset, box->value());
    auto *buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog.get());
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog.get(), &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog.get(), &QDialog::reject);
    auto *layout = new QFormLayout(dialog.get());
    layout->addRow(tr("Added to the height:"), box);
    layout->addRow(buttons);
    return dialog;
}

void CAltimeter::AcceptOffsetDialog(const QDialog &dialog)
{
    const auto *box = dialog.findChild<QDoubleSpinBox *>(QString::fromLatin1(kOffsetBox));
    if (box == nullptr)
        return;
    // Confirmed unchanged, an offset that had more decimals than the box keeps them.
    const double value = box->value();
    if (value == box->property(kShownOffset).toDouble())
        return;
    SetOffset(Units() == UnitSystem::Imperial ? value * kMetresPerFoot : value);
}

UnitSystem CAltimeter::Units() const
{
    return GetMode() == ToNumber(UnitSystem::Imperial) ? UnitSystem::Imperial : UnitSystem::Metric;
}

double CAltimeter::InUnit(double metres) const
{
    return Units() == UnitSystem::Imperial ? metres / kMetresPerFoot : metres;
}

void CAltimeter::Show()
{
    CScaleGauge::SetValue(InUnit(m_metres + m_offset));
}

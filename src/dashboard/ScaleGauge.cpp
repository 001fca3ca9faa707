#include "dashboard/ScaleGauge.h"

#include "widgets/NightPalette.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace
{

const QColor kNeedle(0, 0, 0);
const QColor kHub(255, 255, 0);
const QColor kTurnNumber(255, 0, 0);
const QColor kDigitalFaceText(0, 102, 204);
// The radius of the dials in the top row of the design page is 39, of the large one 79.
constexpr int kSmallDialRadius = 60;

} // namespace

QString UnitLabelText(UnitQuantity quantity, UnitSystem units)
{
    const std::string_view label = UnitLabel(quantity, units);
    return QString::fromLatin1(label.data(), static_cast<qsizetype>(label.size()));
}

void CScaleGauge::SetScale(int range, int second, int group)
{
    SetTickGroup(group);
    m_scale = CScaleRange::Make(range, second, group);
    InvalidateBackground();
}

void CScaleGauge::SetValue(double value)
{
    // Below the group's first power the range is set anew for every value, to the same one:
    // the face stays as it is unless the range really changed.
    const CScaleRange before = m_scale;
    if (m_scale.Adapt(value, GetTickGroup()) && m_scale != before)
        InvalidateBackground();
    CGauge::SetValue(value);
}

bool CScaleGauge::Redraws(double from, double to) const
{
    return IsDigital() || NeedleMoves(from, to, m_scale, GetTickGroup(), GetRadius());
}

void CScaleGauge::DrawBackground(QPainter &painter)
{
    CopyPageBackground(painter);
    DrawDial(painter);
    if (IsDigital())
        DrawDigitalFace(painter);
    else
        DrawScale(painter);
}

void CScaleGauge::DrawAnalog(QPainter &painter)
{
    DrawNeedle(painter, 0);
}

void CScaleGauge::DrawScale(QPainter &painter)
{
    // The number of each major tick well inside the ring, clear of the count of turns the
    // needle draws at 0.75 of the radius; the unit below the hub. Longer numbers, smaller type.
    const int r = GetRadius();
    const int group = GetTickGroup();
    const int digits = QString::number((group - 1) * m_scale.range).size();
    const double perDigit = digits <= 2 ? 6.5 : digits == 3 ? 8.5 : 10.5;
    const int points = RoundHalfUp(DesignRadius() / perDigit);
    if (points < 5)
        return;
    painter.save();
    painter.setFont(GaugeFont(points));
    painter.setPen(Ink(Qt::black));
    const double at = 0.55 * r;
    const int box = r / 3;
    // A small dial has room for every other number only.
    const int step = DesignRadius() < kSmallDialRadius ? 2 : 1;
    for (int k = 0; k < group; k += step) {
        const double a = k * m_scale.range * m_scale.anglePerUnit;
        const QPointF centre(r + at * std::sin(a), r + at * std::cos(a));
        painter.drawText(QRectF(centre.x() - box, centre.y() - box / 2.0, 2 * box, box),
                         Qt::AlignCenter, QString::number(k * m_scale.range));
    }
    painter.setFont(GaugeFont(std::max(4, RoundHalfUp(DesignRadius() / 8.0))));
    painter.drawText(QRect(0, r + r / 8, 2 * r + 1, r / 4), Qt::AlignCenter, m_unitLabel);
    painter.restore();
}

void CScaleGauge::DrawNeedle(QPainter &painter, int)
{
    const int r = GetRadius();
    const CNeedle n = NeedleAt(GetValue(), m_scale, GetTickGroup(), r);
    painter.save();
    painter.setFont(GaugeFont(static_cast<int>(std::floor(std::sqrt(DesignRadius()) + 1.5)), 600));
    painter.setPen(IsNightRed() ? RedPart(CNightPalette::Amber()) : PartColour(kTurnNumber));
    const int box = r / 4;
    painter.drawText(QRect(n.turnLabel.x - box, n.turnLabel.y - box, 2 * box, 2 * box),
                     Qt::AlignCenter, QString::number(n.turns));
    painter.setPen(DialPen(PartColour(kNeedle), std::max(1, r / 30)));
    painter.drawLine(n.tail.x, n.tail.y, n.tip.x, n.tip.y);
    const double hub = r / 11;
    painter.setPen(QPen(PartColour(kNeedle), 1));
    painter.setBrush(IsNightRed() ? RedPart(CNightPalette::DimAmber()) : PartColour(kHub));
    painter.drawEllipse(QPointF(r, r), hub, hub);
    painter.restore();
}

void CScaleGauge::DrawDigitalFace(QPainter &painter)
{
    const int r = GetRadius();
    painter.save();
    painter.setFont(GaugeFont(static_cast<int>(std::floor(DesignRadius() / 5.0 + 0.5))));
    painter.setPen(Ink(kDigitalFaceText));
    painter.drawText(QRect(0, 0, width(), r - r / 8 + 1), Qt::AlignCenter | Qt::TextSingleLine,
                     GetCaption());
    painter.drawText(QRect(0, r + r / 8, width(), height() - (r + r / 8)),
                     Qt::AlignCenter | Qt::TextSingleLine, m_unitLabel);
    painter.restore();
}

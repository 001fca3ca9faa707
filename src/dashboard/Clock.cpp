#include "dashboard/Clock.h"

#include "dashboard/CompassMath.h"
#include "widgets/NightPalette.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <numbers>

namespace
{

const QColor kHand(0, 0, 0);
const QColor kSecondHand(210, 0, 0);
const QColor kMinuteMark(90, 90, 90);
const QColor kFaceText(0, 102, 204);
// Wanted at night after the gauge's inversion: red stays red instead of turning cyan.
const QColor kNightSecondHand(200, 40, 30);

constexpr double kDegToRad = std::numbers::pi / 180.0;

// The point `length` (a fraction of the radius) from the centre towards `degrees` clockwise
// from twelve; a negative length is the hand's tail.
QPointF HandPoint(double radius, double degrees, double length)
{
    const double a = degrees * kDegToRad;
    return {radius + length * radius * std::sin(a), radius - length * radius * std::cos(a)};
}

void DrawHand(QPainter &painter, double radius, double degrees, double tail, double length,
              const QColor &colour, double width)
{
    painter.setPen(QPen(colour, width, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(HandPoint(radius, degrees, -tail), HandPoint(radius, degrees, length));
}

} // namespace

CClock::CClock(QWidget *parent)
    : CGauge(tr("Time"), parent)
{
    StoreMode(kModeUTC);
    SetModeNames({tr("UTC"), tr("Local")});
    SetDigitalCapable(true);
}

void CClock::SetTimeOfDay(double seconds)
{
    SetValue(seconds);
}

double CClock::GetShownSeconds() const
{
    if (GetMode() != kModeLocal)
        return NormaliseTimeOfDay(GetValue());
    // The fed time has no date: today's offset, summer time included.
    return NormaliseTimeOfDay(GetValue()
                              + static_cast<double>(LocalOffsetSeconds(std::time(nullptr))));
}

QString CClock::FormatDigital() const
{
    return QString::fromStdString(FormatTimeOfDay(GetShownSeconds()));
}

QString CClock::GetValueText() const
{
    return QStringLiteral("%1 %2").arg(FormatDigital(), GetZoneCaption());
}

void CClock::SetModeQuiet(int mode)
{
    CGauge::SetModeQuiet(mode);
    InvalidateBackground();
}

QString CClock::GetZoneCaption() const
{
    return GetMode() == kModeLocal ? tr("Local") : tr("UTC");
}

void CClock::DrawBackground(QPainter &painter)
{
    CopyPageBackground(painter);
    const int r = GetRadius();
    painter.save();
    painter.setPen(Ink(kFaceText));
    if (IsDigital()) {
        painter.setFont(GaugeFont(RoundHalfUp(DesignRadius() / 5.0)));
        painter.drawText(QRect(0, 0, width(), r - r / 8 + 1), Qt::AlignCenter | Qt::TextSingleLine,
                         GetCaption());
        painter.drawText(QRect(0, r + r / 8, width(), height() - (r + r / 8)),
                         Qt::AlignCenter | Qt::TextSingleLine, GetZoneCaption());
    } else {
        DrawHourMarks(painter);
        painter.setPen(Ink(kFaceText));
        painter.setFont(GaugeFont(std::max(5, RoundHalfUp(DesignRadius() / 7.0))));
        painter.drawText(QRectF(0.5 * r, 0.52 * r, r, 0.24 * r),
                         Qt::AlignCenter | Qt::TextSingleLine, GetZoneCaption());
    }
    painter.restore();
}

void CClock::DrawHourMarks(QPainter &painter)
{
    const double r = GetRadius();
    const double edge = (r - 1) / r;
    // On a small dial the minute marks would only blur the hours.
    const bool minutes = DesignRadius() >= 60;
    for (int minute = 0; minute < 60; ++minute) {
        const double degrees = minute * 6.0;
        if (minute % 5 != 0) {
            if (!minutes)
                continue;
            painter.setPen(
                QPen(Ink(kMinuteMark), std::max(1.0, r / 90), Qt::SolidLine, Qt::FlatCap));
            painter.drawLine(HandPoint(r, degrees, edge), HandPoint(r, degrees, edge - 0.05));
            continue;
        }
        const bool quarter = minute % 15 == 0;
        painter.setPen(QPen(Ink(kHand), quarter ? std::max(2.0, r / 16) : std::max(1.5, r / 26),
                            Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(HandPoint(r, degrees, edge),
                         HandPoint(r, degrees, edge - (quarter ? 0.15 : 0.12)));
    }
    const int points = RoundHalfUp(DesignRadius() / 7.0);
    if (points < 8)
        return;
    painter.setFont(GaugeFont(points));
    painter.setPen(Ink(kHand));
    for (int hour = 1; hour <= 12; ++hour) {
        const QPointF at = HandPoint(r, hour * 30.0, 0.745);
        painter.drawText(QRectF(at.x() - 0.15 * r, at.y() - 0.12 * r, 0.3 * r, 0.24 * r),
                         Qt::AlignCenter | Qt::TextSingleLine, QString::number(hour));
    }
}

void CClock::DrawAnalog(QPainter &painter)
{
    const double r = GetRadius();
    const CHandAngles hands = HandAngles(GetShownSeconds());
    const QColor night(255 - kNightSecondHand.red(), 255 - kNightSecondHand.green(),
                       255 - kNightSecondHand.blue());
    const QColor second = IsNightRed() ? RedPart(CNightPalette::Amber())
                                       : PartColour(IsNight() ? night : kSecondHand);
    painter.save();
    DrawHand(painter, r, hands.hour, 0.10, 0.48, PartColour(kHand), std::max(2.0, r / 11));
    DrawHand(painter, r, hands.minute, 0.10, 0.80, PartColour(kHand), std::max(1.5, r / 17));
    DrawHand(painter, r, hands.second, 0.20, 0.88, second, std::max(1.0, r / 45));
    painter.setPen(Qt::NoPen);
    painter.setBrush(second);
    const double hub = std::max(2.0, r / 16);
    painter.drawEllipse(QPointF(r, r), hub, hub);
    painter.setBrush(PartColour(kHand));
    painter.drawEllipse(QPointF(r, r), hub / 2.5, hub / 2.5);
    painter.restore();
}

void CClock::DrawDigital(QPainter &painter)
{
    // As large as eight characters fit across the middle of the dial; sized for the widest
    // time, so the digits keep their size from second to second.
    const QFont font = FittedFont(QStringLiteral("00:00:00"), RoundHalfUp(DesignRadius() * 0.32),
                                  1.6 * GetRadius());
    painter.save();
    painter.setFont(font);
    painter.setPen(PartColour(kHand));
    painter.drawText(rect(), Qt::AlignCenter, FormatDigital());
    painter.restore();
}

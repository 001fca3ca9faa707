#include "dashboard/Compass.h"

#include "geo/Distance.h"
#include "widgets/NightPalette.h"

#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <string>

namespace
{

const QColor kCardMark(0, 0, 0);
const QColor kCardMinor(110, 110, 110);
const QColor kNorth(215, 25, 25);
const QColor kTarget(20, 90, 215);
const QColor kLubber(235, 120, 0);
// The gauge inverts every colour at night, which would turn red into cyan: these are the
// colours wanted after the inversion, reds and ambers that keep eyes adapted to the dark.
const QColor kNightNorth(215, 50, 35);
const QColor kNightTarget(230, 160, 40);
const QColor kNightLubber(170, 170, 170);
const QColor kBezel(150, 150, 150);
const QColor kFaceText(0, 102, 204);

// A repaint per display frame while the card turns.
constexpr int kTurnFrameMs = 16;

// Radii as fractions of the gauge's: the card inside a fixed bezel that carries the lubber
// mark and the target's marker.
constexpr double kCardEdge = 0.86;
constexpr double kLetterRing = 0.59;
constexpr double kNorthBase = 0.72;
constexpr double kTargetTip = 0.80;
constexpr double kTargetBase = 0.985;
constexpr double kLubberTip = 0.84;

QPointF At(double radius, double bearing, double shown, double distance)
{
    const CCardOffset o = CardOffset(bearing, shown, distance * radius);
    return {radius + o.x, radius + o.y};
}

// A wedge along the card's radius at `bearing`: tip and base as fractions of the radius.
QPolygonF Wedge(double radius, double bearing, double shown, double tip, double base,
                double halfWidth)
{
    const CCardOffset side = CardOffset(bearing + 90.0, shown, halfWidth * radius);
    const QPointF b = At(radius, bearing, shown, base);
    return QPolygonF({At(radius, bearing, shown, tip), b + QPointF(side.x, side.y),
                      b - QPointF(side.x, side.y)});
}

QRectF Box(const QPointF &centre, double halfWidth, double halfHeight)
{
    return {centre.x() - halfWidth, centre.y() - halfHeight, 2 * halfWidth, 2 * halfHeight};
}

QColor Inverted(const QColor &colour)
{
    return {255 - colour.red(), 255 - colour.green(), 255 - colour.blue()};
}

// Smaller type is not read at a glance from the driver's seat.
constexpr int kSmallestPoints = 6;

} // namespace

CCompass::CCompass(QWidget *parent)
    : CGauge(tr("Heading"), parent)
{
    SetDigitalCapable(true);
    SetShowsFix(true);
    m_turnTimer = new QTimer(this);
    m_turnTimer->setInterval(kTurnFrameMs);
    connect(m_turnTimer, &QTimer::timeout, this,
            [this] { Advance(static_cast<double>(m_turnClock.restart())); });
}

void CCompass::SetCourse(double course, double bearing, double distanceMetres)
{
    if (bearing != m_bearing || distanceMetres != m_distance)
        update();
    m_bearing = bearing;
    m_distance = distanceMetres;
    // The first course after a start or a reset is shown at once: there is none to turn from.
    if (!m_fed || IsDigital())
        m_card.Jump(course);
    else
        m_card.TurnTo(course);
    m_fed = true;
    if (m_card.IsTurning() && !m_turnTimer->isActive()) {
        m_turnClock.start();
        m_turnTimer->start();
    }
    SetValue(course);
}

void CCompass::SetUnits(UnitSystem units)
{
    if (units == m_units)
        return;
    m_units = units;
    if (HasTarget())
        update();
}

void CCompass::Advance(double milliseconds)
{
    if (!m_card.Advance(milliseconds))
        m_turnTimer->stop();
    update();
}

void CCompass::Reset()
{
    m_bearing = -1.0;
    m_distance = -1.0;
    m_fed = false;
    m_card.Jump(0.0);
    m_turnTimer->stop();
    CGauge::Reset();
    update();
}

QString CCompass::FormatDigital() const
{
    return QStringLiteral("%1°").arg(WholeDegrees(GetValue()));
}

QString CCompass::GetValueText() const
{
    return QStringLiteral("%1 %2").arg(FormatDigital(), QLatin1String(CompassPoint(GetValue())));
}

QStringList CCompass::InfoItems() const
{
    QStringList items = CGauge::InfoItems();
    if (HasTarget())
        items << tr("Waypoint %1° %2").arg(WholeDegrees(m_bearing)).arg(DistanceText());
    return items;
}

QString CCompass::DistanceText() const
{
    if (!HasTarget() || !(m_distance >= 0.0))
        return {};
    std::string text;
    CDistance(m_distance).Format(text, m_units);
    return QString::fromStdString(text);
}

void CCompass::DrawBackground(QPainter &painter)
{
    CopyPageBackground(painter);
    const int r = GetRadius();
    painter.save();
    if (IsDigital()) {
        painter.setFont(GaugeFont(RoundHalfUp(DesignRadius() / 5.0)));
        painter.setPen(Ink(kFaceText));
        painter.drawText(QRect(0, 0, width(), r - r / 8 + 1), Qt::AlignCenter | Qt::TextSingleLine,
                         GetCaption());
        painter.restore();
        return;
    }
    // The bezel does not turn: marks every 45 degrees from the bow, and the card's edge.
    painter.setPen(QPen(Ink(kBezel), std::max(1.0, r / 40.0), Qt::SolidLine, Qt::RoundCap));
    for (int k = 1; k < 8; ++k)
        painter.drawLine(At(r, 45.0 * k, 0.0, 0.90), At(r, 45.0 * k, 0.0, 0.97));
    painter.setPen(QPen(Ink(kBezel), 1.0));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QPointF(r, r), kCardEdge * r, kCardEdge * r);
    painter.restore();
}

QColor CCompass::Accent(const QColor &day, const QColor &night, const QColor &nightRed) const
{
    if (IsNightRed())
        return RedPart(nightRed);
    return PartColour(IsNight() ? Inverted(night) : day);
}

void CCompass::DrawAnalog(QPainter &painter)
{
    const double shown = m_card.GetShown();
    DrawCard(painter, shown);
    DrawTarget(painter, shown);
    DrawLubber(painter);
}

void CCompass::DrawCard(QPainter &painter, double shown)
{
    const double r = GetRadius();
    const bool small = DesignRadius() < 60;
    painter.save();
    // Every 5 degrees, longer every 10 and 30; a small card only every 10. North has its own
    // red wedge.
    for (int degrees = small ? 10 : 5; degrees < 360; degrees += small ? 10 : 5) {
        const bool major = degrees % 30 == 0;
        const bool middle = degrees % 10 == 0;
        const double length = major ? 0.13 : middle ? 0.09 : 0.05;
        const double width = major ? std::max(1.5, r / 30) : middle ? std::max(1.0, r / 55) : 1.0;
        painter.setPen(QPen(PartColour(major || middle ? kCardMark : kCardMinor), width,
                            Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(At(r, degrees, shown, kCardEdge - 0.005),
                         At(r, degrees, shown, kCardEdge - length));
    }
    const QColor north = Accent(kNorth, kNightNorth, CNightPalette::Text());
    painter.setPen(Qt::NoPen);
    painter.setBrush(north);
    painter.drawPolygon(Wedge(r, 0.0, shown, kCardEdge - 0.01, kNorthBase, 0.075));

    // Upright letters read at a glance at any heading; the numbers between them only where
    // they are large enough to read.
    const int letterPoints = RoundHalfUp(DesignRadius() / 5.5) + 2;
    const int numberPoints = RoundHalfUp(DesignRadius() / 8.5);
    const QFont letters = GaugeFont(letterPoints, 600);
    const QFont numbers = GaugeFont(numberPoints);
    for (int degrees = 0; degrees < 360; degrees += 30) {
        const bool cardinal = degrees % 90 == 0;
        if (!cardinal && numberPoints < 7)
            continue;
        const QString text = cardinal ? QString(QLatin1String(CompassPoint(degrees)))
                                      : QString::number(degrees / 10);
        painter.setFont(cardinal ? letters : numbers);
        painter.setPen(degrees == 0 ? north : PartColour(kCardMark));
        painter.drawText(Box(At(r, degrees, shown, kLetterRing), 0.2 * r, 0.16 * r),
                         Qt::AlignCenter | Qt::TextSingleLine, text);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(PartColour(kCardMark));
    const double hub = std::max(1.5, r / 25);
    painter.drawEllipse(QPointF(r, r), hub, hub);
    painter.restore();
}

void CCompass::DrawTarget(QPainter &painter, double shown)
{
    if (!HasTarget())
        return;
    const double r = GetRadius();
    const QColor target = Accent(kTarget, kNightTarget, CNightPalette::Amber());
    painter.save();
    painter.setPen(QPen(target.darker(150), std::max(1.0, r / 80)));
    painter.setBrush(target);
    painter.drawPolygon(Wedge(r, m_bearing, shown, kTargetTip, kTargetBase, 0.085));
    // Below the hub, inside the ring of letters whatever the card's angle.
    const QString distance = DistanceText();
    const int points = RoundHalfUp(DesignRadius() / 8.0);
    if (!distance.isEmpty() && points >= kSmallestPoints) {
        painter.setFont(FittedFont(distance, points, 0.8 * r));
        painter.setPen(target);
        painter.drawText(QRectF(r - 0.45 * r, r + 0.10 * r, 0.9 * r, 0.20 * r),
                         Qt::AlignCenter | Qt::TextSingleLine, distance);
    }
    painter.restore();
}

void CCompass::DrawLubber(QPainter &painter)
{
    const double r = GetRadius();
    const QColor lubber = IsNightRed() ? CNightPalette::DimAmber()
                          : IsNight()  ? Inverted(kNightLubber)
                                       : kLubber;
    painter.save();
    painter.setPen(QPen(lubber.darker(200), std::max(1.0, r / 80)));
    painter.setBrush(lubber);
    painter.drawPolygon(Wedge(r, 0.0, 0.0, kLubberTip, 0.99, 0.07));
    painter.restore();
}

void CCompass::DrawDigital(QPainter &painter)
{
    const int r = GetRadius();
    painter.save();
    painter.setFont(GaugeFont(DesignRadius() / 2));
    painter.setPen(PartColour(Qt::black));
    painter.drawText(rect(), Qt::AlignCenter, FormatDigital());
    painter.setFont(GaugeFont(RoundHalfUp(DesignRadius() / 5.0)));
    painter.setPen(PartColour(kFaceText));
    painter.drawText(QRectF(0, r + 0.30 * r, width(), 0.25 * r),
                     Qt::AlignCenter | Qt::TextSingleLine, QLatin1String(CompassPoint(GetValue())));
    const int points = RoundHalfUp(DesignRadius() / 8.0);
    if (HasTarget() && points >= kSmallestPoints) {
        const QString text =
            QStringLiteral("%1° %2").arg(WholeDegrees(m_bearing)).arg(DistanceText());
        painter.setFont(FittedFont(text, points, 1.3 * r));
        painter.setPen(Accent(kTarget, kNightTarget, CNightPalette::Amber()));
        painter.drawText(QRectF(0, r + 0.58 * r, width(), 0.2 * r),
                         Qt::AlignCenter | Qt::TextSingleLine, text);
    }
    painter.restore();
}

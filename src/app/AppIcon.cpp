#include "app/AppIcon.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>
#include <QRadialGradient>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>

namespace
{

constexpr int kCmdDisplayMode = 32907;
constexpr int kCmdStepUp = 32833;
constexpr int kCmdStepDown = 32834;
constexpr int kCmdAbout = 57664;

/// Dial angle in degrees (0 = east, counter-clockwise) to a point at `radius` from `centre`.
/// Screen y grows downwards, hence the minus.
QPointF Polar(QPointF centre, double radius, double degrees)
{
    const double a = degrees * std::numbers::pi / 180.0;
    return {centre.x() + radius * std::cos(a), centre.y() - radius * std::sin(a)};
}

QImage Render(int size, const std::function<void(QPainter &, const QRectF &)> &paint)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paint(painter, QRectF(0, 0, size, size));
    return image;
}

QColor GlyphColor()
{
    // Follow the theme so the buttons stay visible on dark tool bars.
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return QGuiApplication::palette().color(QPalette::Active, QPalette::ButtonText);
    return QColor(0x2f, 0x3b, 0x48);
}

void PaintCommandGlyph(QPainter &p, const QRectF &r, int commandId, const QColor &ink)
{
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    const double s = std::min(r.width(), r.height());
    const QPointF c = r.center();
    // Strokes on whole pixels at 16 and 32 px keep the glyphs sharp.
    const double stroke = std::max(1.0, std::round(s / 8.0));

    switch (commandId) {
    case kCmdDisplayMode: {
        // Day/night: a disc, its left half dark.
        const double radius = s * 0.5 - stroke;
        QRectF disc(c.x() - radius, c.y() - radius, 2 * radius, 2 * radius);
        p.setPen(Qt::NoPen);
        p.setBrush(ink);
        p.drawPie(disc, 90 * 16, 180 * 16);
        p.setPen(QPen(ink, stroke));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(disc.adjusted(stroke / 2, stroke / 2, -stroke / 2, -stroke / 2));
        break;
    }
    case kCmdStepUp:
    case kCmdStepDown: {
        // Even bar widths and whole-pixel arms put every edge on a pixel boundary.
        const double arm = std::round(s * 0.34);
        const double w = 2.0 * std::max(1.0, std::round(s / 12.0));
        p.setPen(Qt::NoPen);
        p.setBrush(ink);
        p.drawRect(QRectF(c.x() - arm, c.y() - w / 2, 2 * arm, w));
        if (commandId == kCmdStepUp)
            p.drawRect(QRectF(c.x() - w / 2, c.y() - arm, w, 2 * arm));
        break;
    }
    case kCmdAbout: {
        const double radius = s * 0.5 - 0.5;
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0x2a, 0x6f, 0xdb));
        p.drawEllipse(c, radius, radius);
        // The "i" is drawn, not typeset: no font is needed and it looks the same everywhere.
        p.setBrush(Qt::white);
        const double w = std::max(2.0, std::round(s / 7.0));
        p.drawEllipse(QPointF(c.x(), c.y() - s * 0.22), w * 0.62, w * 0.62);
        p.drawRoundedRect(QRectF(c.x() - w / 2, c.y() - s * 0.08, w, s * 0.36), w * 0.3, w * 0.3);
        break;
    }
    default:
        break;
    }
    p.restore();
}

} // namespace

void PaintAppIcon(QPainter &painter, const QRectF &rect)
{
    const double side = std::min(rect.width(), rect.height());
    if (side <= 0.0)
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QPointF c = rect.center();
    const bool small = side < 40.0; // fine detail only blurs below this

    // Bezel.
    const double outer = side * 0.48;
    QLinearGradient rim(c.x(), c.y() - outer, c.x(), c.y() + outer);
    rim.setColorAt(0.0, QColor(0x9a, 0xa8, 0xb6));
    rim.setColorAt(1.0, QColor(0x2b, 0x34, 0x40));
    painter.setPen(Qt::NoPen);
    painter.setBrush(rim);
    painter.drawEllipse(c, outer, outer);

    // Face.
    const double face = side * (small ? 0.42 : 0.41);
    QRadialGradient faceFill(c.x(), c.y() - face * 0.3, face * 1.3);
    faceFill.setColorAt(0.0, QColor(0x2c, 0x6c, 0xa8));
    faceFill.setColorAt(1.0, QColor(0x0b, 0x1f, 0x36));
    painter.setBrush(faceFill);
    painter.drawEllipse(c, face, face);

    // Scale: 270 degrees from lower left over the top to lower right, the last stretch in orange.
    constexpr double kStart = 225.0;
    constexpr double kSweep = 270.0;
    const int majors = small ? 4 : 8;
    const int minorPerMajor = side >= 96.0 ? 4 : (small ? 1 : 2);
    const int steps = majors * minorPerMajor;
    for (int i = 0; i <= steps; ++i) {
        const bool major = i % minorPerMajor == 0;
        const double angle = kStart - kSweep * i / steps;
        const double inner = face * (major ? 0.72 : 0.82);
        const double width = side * (major ? (small ? 0.07 : 0.035) : 0.018);
        const bool hot = i > steps * 3 / 4;
        painter.setPen(QPen(hot ? QColor(0xff, 0x8a, 0x3d) : QColor(0xe8, 0xf0, 0xf8), width,
                            Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(Polar(c, inner, angle), Polar(c, face * 0.94, angle));
    }

    // Satellite in the upper left of the face, with its signal when there is room to show it.
    const QPointF sat = Polar(c, face * 0.52, 128.0);
    const double satRadius = side * (small ? 0.085 : 0.06);
    if (!small) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(
            QPen(QColor(0x7c, 0xf0, 0x8a, 200), side * 0.02, Qt::SolidLine, Qt::RoundCap));
        for (int k = 1; k <= 2; ++k) {
            const double r = satRadius * (1.0 + 0.9 * k);
            QRectF arc(sat.x() - r, sat.y() - r, 2 * r, 2 * r);
            // Waves open towards the hub (down and to the right).
            painter.drawArc(arc, (-45 - 40) * 16, 80 * 16);
        }
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0x5c, 0xe6, 0x6e));
    painter.drawEllipse(sat, satRadius, satRadius);

    // Needle, pointing into the upper right, tapered from the hub.
    const double needleAngle = 52.0;
    const double length = face * 0.86;
    const double base = side * (small ? 0.065 : 0.045);
    QPainterPath needle;
    needle.moveTo(Polar(c, length, needleAngle));
    needle.lineTo(Polar(c, base, needleAngle + 90.0));
    needle.lineTo(Polar(c, face * 0.18, needleAngle + 180.0));
    needle.lineTo(Polar(c, base, needleAngle - 90.0));
    needle.closeSubpath();
    painter.setBrush(QColor(0xff, 0x5a, 0x1f));
    painter.drawPath(needle);

    // Hub.
    const double hub = side * (small ? 0.09 : 0.065);
    painter.setBrush(QColor(0xee, 0xf2, 0xf6));
    painter.drawEllipse(c, hub, hub);
    if (!small) {
        painter.setBrush(QColor(0x3a, 0x46, 0x54));
        painter.drawEllipse(c, hub * 0.4, hub * 0.4);
    }
    painter.restore();
}

QIcon AppIcon()
{
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256})
        icon.addPixmap(QPixmap::fromImage(
            Render(size, [](QPainter &p, const QRectF &r) { PaintAppIcon(p, r); })));
    return icon;
}

QIcon CommandIcon(int commandId)
{
    switch (commandId) {
    case kCmdDisplayMode:
    case kCmdStepUp:
    case kCmdStepDown:
    case kCmdAbout:
        break;
    default:
        return {};
    }
    const QColor ink = GlyphColor();
    QIcon icon;
    for (int size : {16, 32})
        icon.addPixmap(QPixmap::fromImage(Render(
            size, [&](QPainter &p, const QRectF &r) { PaintCommandGlyph(p, r, commandId, ink); })));
    return icon;
}

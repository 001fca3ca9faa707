#include "widgets/NightPalette.h"

#include <QApplication>
#include <QIcon>
#include <QImage>
#include <QPalette>
#include <QPixmap>

#include <algorithm>
#include <array>

namespace
{

// The ramp every mapped colour lies on, from black to the brightest red: blue <= green <= red
// holds at every step.
QRgb Ramp(int level, int alpha)
{
    const QColor top = CNightPalette::Text();
    return qRgba(top.red() * level / 255, top.green() * level / 255, top.blue() * level / 255,
                 alpha);
}

int Luma(QRgb rgb)
{
    return (qRed(rgb) * 77 + qGreen(rgb) * 150 + qBlue(rgb) * 29) >> 8;
}

using Table = std::array<QRgb, 256>;

const Table &InvertedRamp()
{
    static const Table table = [] {
        Table t{};
        for (int i = 0; i < 256; ++i)
            t[static_cast<std::size_t>(i)] = Ramp(255 - i, 255);
        return t;
    }();
    return table;
}

void Map(QImage &image, const Table &table)
{
    if (image.format() != QImage::Format_ARGB32 && image.format() != QImage::Format_RGB32)
        image.convertTo(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = line[x];
            line[x] = (table[static_cast<std::size_t>(Luma(p))] & 0x00ffffffU)
                      | (static_cast<QRgb>(qAlpha(p)) << 24);
        }
    }
}

} // namespace

QColor CNightPalette::FromDay(const QColor &day)
{
    const QRgb mapped = InvertedRamp()[static_cast<std::size_t>(Luma(day.rgb()))];
    QColor night(mapped);
    night.setAlpha(day.alpha());
    return night;
}

void CNightPalette::Redden(QImage &image)
{
    Map(image, InvertedRamp());
}

void CNightPalette::Tint(QImage &image)
{
    // The paper at three quarters of the brightest red: a map is the largest bright area on the
    // screen. Colour turns towards amber, so that a track or a park still stands apart from the
    // paper once the hues are gone. Tables: this runs over the whole Map page at every paint.
    struct Tables {
        std::array<int, 256> red{}, blue{}, amber{};
    };
    static const Tables t = [] {
        Tables t;
        const QColor top = Text();
        for (int i = 0; i < 256; ++i) {
            const auto k = static_cast<std::size_t>(i);
            t.red[k] = top.red() * i * 3 / (4 * 255);
            t.blue[k] = t.red[k] * top.blue() / top.red();
            t.amber[k] = 51 + 102 * i / 255; // green per 256 of red, by the colour's chroma
        }
        return t;
    }();
    if (image.format() != QImage::Format_ARGB32 && image.format() != QImage::Format_RGB32)
        image.convertTo(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = line[x];
            const int r = qRed(p);
            const int g = qGreen(p);
            const int b = qBlue(p);
            const int high = r > g ? (r > b ? r : b) : (g > b ? g : b);
            const int low = r < g ? (r < b ? r : b) : (g < b ? g : b);
            const auto luma = static_cast<std::size_t>(Luma(p));
            const int red = t.red[luma];
            const int green = (red * t.amber[static_cast<std::size_t>(high - low)]) >> 8;
            const int blue = std::min(t.blue[luma], green);
            line[x] = qRgba(red, green, blue, qAlpha(p));
        }
    }
}

QIcon CNightPalette::Tinted(const QIcon &icon)
{
    QIcon tinted;
    for (const QSize &size : icon.availableSizes()) {
        QImage image = icon.pixmap(size).toImage();
        Tint(image);
        tinted.addPixmap(QPixmap::fromImage(image));
    }
    return tinted;
}

QPalette CNightPalette::Chrome()
{
    const QColor window(28, 4, 0);
    const QColor button(44, 6, 0);
    const QColor text = DimText();
    const QColor disabled(90, 16, 6);
    QPalette p;
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        p.setColor(group, QPalette::Window, window);
        p.setColor(group, QPalette::WindowText, text);
        p.setColor(group, QPalette::Base, Background());
        p.setColor(group, QPalette::AlternateBase, QColor(20, 2, 0));
        p.setColor(group, QPalette::ToolTipBase, button);
        p.setColor(group, QPalette::ToolTipText, text);
        p.setColor(group, QPalette::PlaceholderText, disabled);
        p.setColor(group, QPalette::Text, text);
        p.setColor(group, QPalette::Button, button);
        p.setColor(group, QPalette::ButtonText, text);
        p.setColor(group, QPalette::BrightText, Text());
        p.setColor(group, QPalette::Light, QColor(80, 12, 2));
        p.setColor(group, QPalette::Midlight, QColor(60, 8, 0));
        p.setColor(group, QPalette::Mid, QColor(36, 4, 0));
        p.setColor(group, QPalette::Dark, QColor(16, 2, 0));
        p.setColor(group, QPalette::Shadow, QColor(0, 0, 0));
        p.setColor(group, QPalette::Highlight, QColor(110, 20, 0));
        p.setColor(group, QPalette::HighlightedText, Text());
        p.setColor(group, QPalette::Link, Amber());
        p.setColor(group, QPalette::LinkVisited, DimAmber());
    }
    p.setColor(QPalette::Disabled, QPalette::Window, window);
    p.setColor(QPalette::Disabled, QPalette::Base, Background());
    p.setColor(QPalette::Disabled, QPalette::Button, button);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::PlaceholderText,
          QPalette::ToolTipText, QPalette::BrightText, QPalette::HighlightedText})
        p.setColor(QPalette::Disabled, role, disabled);
    for (const QPalette::ColorRole role :
         {QPalette::Light, QPalette::Midlight, QPalette::Mid, QPalette::Dark, QPalette::Shadow,
          QPalette::Highlight, QPalette::AlternateBase, QPalette::ToolTipBase, QPalette::Link,
          QPalette::LinkVisited})
        p.setColor(QPalette::Disabled, role, p.color(QPalette::Active, role));
    return p;
}

namespace
{

bool g_applied = false;

} // namespace

bool CNightPalette::IsApplied()
{
    return g_applied;
}

void CNightPalette::ApplyToApplication(bool night)
{
    // Only a palette set here is taken back: day leaves the desktop's alone.
    if (!night && !g_applied)
        return;
    g_applied = night;
    // An empty palette hands the colours back to the style and the desktop theme.
    QApplication::setPalette(night ? Chrome() : QPalette());
}

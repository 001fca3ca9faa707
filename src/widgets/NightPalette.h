#pragma once

#include <QColor>

class QIcon;
class QImage;
class QPalette;

/// The colours of night mode, red on black: no blue or green light and nothing brighter than
/// a red of 200, which keeps a driver's eyes adapted to the dark. Every colour here, and every
/// mix of two of them, has blue <= green <= red.
struct CNightPalette {
    static QColor Background() { return {0, 0, 0}; }
    /// Caption bands and the notice above the pages.
    static QColor Band() { return {60, 0, 0}; }
    static QColor Text() { return {200, 40, 16}; }
    static QColor DimText() { return {150, 30, 12}; }
    /// What must stand apart from the reds: a goto target, the strongest signals.
    static QColor Amber() { return {200, 110, 0}; }
    static QColor DimAmber() { return {140, 76, 0}; }
    /// Lines that structure a face without drawing the eye.
    static QColor Grid() { return {96, 16, 6}; }

    /// The night colour of a colour drawn for the day on a light face: dark turns bright and
    /// light turns black, as the inversion did, but always red.
    static QColor FromDay(const QColor &day);
    /// FromDay for every pixel; alpha is kept.
    static void Redden(QImage &image);
    /// A picture (a map) kept as it is but in dimmed reds: light stays light.
    static void Tint(QImage &image);
    /// Tint for each of the icon's pictures.
    static QIcon Tinted(const QIcon &icon);
    /// The window's own colours at night: menus, tool bar, tabs, dialogs.
    static QPalette Chrome();
    /// Puts the application's palette to Chrome, or back to the style's and the desktop's.
    /// Every widget follows at once; the style (large controls) is kept.
    static void ApplyToApplication(bool night);
    /// Whether the application's palette is Chrome now.
    static bool IsApplied();
};

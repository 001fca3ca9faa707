#pragma once

#include <QColor>

/// The colours of night mode on every page that is not a gauge (the gauges invert their faces):
/// nothing bright, and red, which keeps a driver's eyes adapted to the dark.
struct CNightPalette {
    static QColor Background() { return {0, 0, 0}; }
    /// Caption bands and the notice above the pages.
    static QColor Band() { return {60, 0, 0}; }
    static QColor Text() { return {230, 60, 40}; }
    static QColor DimText() { return {170, 40, 30}; }
};

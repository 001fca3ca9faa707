#pragma once

#include "dashboard/TripTexts.h"

#include <QRectF>

#include <vector>

class QPainter;
struct CDigiPalette;

/// The digital dashboard's trip computer page: the figures in a grid whose number of columns
/// gives the digits the most room, all at one size so that the page reads calmly.
struct CTripPageLayout {
    std::vector<QRectF> cells;
    double valuePixels = 0.0;
};

/// Cells for `count` figures in `area`.
[[nodiscard]] CTripPageLayout LayoutTripPage(const QRectF &area, int count);
/// Draws `texts` into `area`.
void DrawTripPage(QPainter &painter, const QRectF &area, const std::vector<CTripText> &texts,
                  const CDigiPalette &palette);

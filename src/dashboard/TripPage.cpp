#include "dashboard/TripPage.h"

#include "dashboard/DigiPalette.h"
#include "widgets/DialFont.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace
{

// The widest value and unit a figure usually has; a wider one is shrunk on its own.
constexpr const char *kValueTemplate = "888.8";
constexpr const char *kUnitTemplate = "miles";
constexpr double kUnitScale = 0.42;
constexpr double kUnitGap = 0.15;
constexpr double kCaptionShare = 0.27;
constexpr int kMostColumns = 5;

double Advance(double pixels, bool bold, const QString &text)
{
    return QFontMetricsF(DialFont(pixels, bold)).horizontalAdvance(text);
}

struct CParts {
    QRectF caption;
    QRectF value;
};

CParts Split(const QRectF &box)
{
    const double pad = 0.06 * std::min(box.width(), box.height());
    const QRectF inner = box.adjusted(pad, pad * 0.6, -pad, -pad * 0.6);
    const double band = kCaptionShare * inner.height();
    return {QRectF(inner.left(), inner.top(), inner.width(), band),
            QRectF(inner.left(), inner.top() + band, inner.width(), inner.height() - band)};
}

double FitPixels(const QRectF &box)
{
    constexpr double probe = 100.0;
    const QRectF area = Split(box).value;
    const QFontMetricsF metrics(DialFont(probe, true));
    const double byHeight = 0.8 * area.height() / (metrics.capHeight() / probe);
    const double across = (Advance(probe, true, QLatin1String(kValueTemplate)) + kUnitGap * probe
                           + Advance(probe * kUnitScale, false, QLatin1String(kUnitTemplate)))
                          / probe;
    return std::max(1.0, std::min(byHeight, area.width() / across));
}

} // namespace

CTripPageLayout LayoutTripPage(const QRectF &area, int count)
{
    CTripPageLayout best;
    if (count <= 0)
        return best;
    const double gap = 0.012 * std::min(area.width(), area.height());
    for (int columns = 1; columns <= std::min(count, kMostColumns); ++columns) {
        const int rows = (count + columns - 1) / columns;
        const double w = area.width() / columns;
        const double h = area.height() / rows;
        CTripPageLayout layout;
        for (int i = 0; i < count; ++i) {
            // A last row that is not full is centred under the others.
            const int row = i / columns;
            const int inRow = row == rows - 1 ? count - row * columns : columns;
            const double indent = (columns - inRow) * w / 2;
            const QRectF box(area.left() + indent + (i % columns) * w, area.top() + row * h, w, h);
            layout.cells.push_back(box.adjusted(gap, gap, -gap, -gap));
        }
        layout.valuePixels = FitPixels(layout.cells.front());
        if (layout.valuePixels > best.valuePixels)
            best = std::move(layout);
    }
    return best;
}

void DrawTripPage(QPainter &painter, const QRectF &area, const std::vector<CTripText> &texts,
                  const CDigiPalette &palette)
{
    const CTripPageLayout layout = LayoutTripPage(area, static_cast<int>(texts.size()));
    const double pixels = layout.valuePixels;
    // The caption's band is a share of the cell: its letters, descenders included, fit it.
    const double band = layout.cells.empty() ? 0.0 : Split(layout.cells.front()).caption.height();
    const QFont captionFont = DialFont(std::max(9.0, std::min(0.42 * pixels, 0.78 * band)), false);
    const QFont unitFont = DialFont(kUnitScale * pixels, false);
    const double slot = Advance(pixels, true, QLatin1String(kValueTemplate));
    const double capHeight = QFontMetricsF(DialFont(pixels, true)).capHeight();
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const CTripText &t = texts[i];
        const QRectF &box = layout.cells[i];
        const double corner = 0.05 * std::min(box.width(), box.height());
        painter.setPen(QPen(palette.cellEdge, 1.0));
        painter.setBrush(palette.cellFill);
        painter.drawRoundedRect(box, corner, corner);
        const CParts parts = Split(box);

        const QString caption = QString::fromStdString(t.caption);
        painter.setFont(captionFont);
        painter.setPen(palette.caption);
        painter.drawText(
            parts.caption, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
            QFontMetricsF(captionFont).elidedText(caption, Qt::ElideRight, parts.caption.width()));

        const QString value = QString::fromStdString(t.value);
        const QString unit = QString::fromStdString(t.unit);
        double valuePixels = pixels;
        double valueWidth = Advance(valuePixels, true, value);
        if (valueWidth > slot) {
            valuePixels *= slot / valueWidth;
            valueWidth = Advance(valuePixels, true, value);
        }
        const double unitWidth =
            unit.isEmpty() ? 0.0 : QFontMetricsF(unitFont).horizontalAdvance(unit);
        const double gap = unit.isEmpty() ? 0.0 : kUnitGap * pixels;
        // Right-aligned in a slot of fixed width, so digits stay put as the value changes.
        const double left = parts.value.center().x()
                            - (slot + kUnitGap * pixels
                               + Advance(kUnitScale * pixels, false, QLatin1String(kUnitTemplate)))
                                  / 2;
        const double baseline = parts.value.center().y() + capHeight / 2;
        const double x =
            t.empty ? parts.value.center().x() - valueWidth / 2 : left + slot - valueWidth;
        painter.setFont(DialFont(valuePixels, true));
        painter.setPen(t.empty ? palette.dim : palette.value);
        painter.drawText(QPointF(x, baseline), value);
        if (!t.empty && unitWidth > 0.0) {
            painter.setFont(unitFont);
            painter.setPen(palette.unit);
            painter.drawText(QPointF(left + slot + gap, baseline), unit);
        }
    }
}

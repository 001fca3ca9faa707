#include "dashboard/PageArtwork.h"

#include "dashboard/DashboardLayout.h"
#include "dashboard/GaugePage.h"

#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>

namespace
{

const QColor kPanel(222, 226, 231);
const QColor kPanelEdge(196, 202, 210);
const QColor kRim(70, 76, 84);

// A white face inscribed in the slot, its edge where the gauge's ticks start, on a soft
// shadow and a dark rim.
void PaintFace(QPainter &painter, const CSlotRect &slot)
{
    const double radius = slot.Width() / 2.0 - 1;
    const QPointF centre(slot.left + radius, slot.top + radius);
    QRadialGradient shadow(centre + QPointF(0, 0.8), radius + 1.6);
    shadow.setColorAt(0.9, QColor(0, 0, 0, 70));
    shadow.setColorAt(1.0, QColor(0, 0, 0, 0));
    painter.setPen(Qt::NoPen);
    painter.setBrush(shadow);
    painter.drawEllipse(centre + QPointF(0, 0.8), radius + 1.6, radius + 1.6);
    painter.setBrush(Qt::white);
    painter.setPen(QPen(kRim, 1.0));
    painter.drawEllipse(centre, radius - 0.5, radius - 0.5);
}

void PaintPanel(QPainter &painter, int height)
{
    // The faces end 3 design pixels above the page's foot, on either page.
    const int facesEnd = height - 3;
    QLinearGradient panel(0, 0, 0, height);
    panel.setColorAt(0.0, kPanel.lighter(104));
    panel.setColorAt(1.0, kPanel.darker(104));
    painter.fillRect(QRectF(0, 0, kDashboardDesignWidth, height), panel);
    // The strips above and below the faces.
    painter.fillRect(QRectF(0, 0, kDashboardDesignWidth, 4), kPanelEdge);
    painter.fillRect(QRectF(0, facesEnd, kDashboardDesignWidth, height - facesEnd), kPanelEdge);
}

void PaintDigitalPanel(QPainter &painter)
{
    constexpr int height = 246;
    QLinearGradient panel(0, 0, 0, height);
    panel.setColorAt(0.0, QColor(34, 38, 44));
    panel.setColorAt(1.0, QColor(16, 18, 22));
    painter.fillRect(QRectF(0, 0, kDashboardDesignWidth, height), panel);
}

} // namespace

void PaintPagePicture(QPainter &painter, int picture)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    switch (picture) {
    case kPictureDigital:
        PaintDigitalPanel(painter);
        break;
    case kPictureExclusive:
        PaintPanel(painter, kDashboardDesignHeight);
        PaintFace(painter, kDashboardSlots[kExclusiveSlot]);
        break;
    case kPictureExclusiveWide:
        PaintPanel(painter, kLandscapePage.height);
        PaintFace(painter, kLandscapePage.rects[kExclusiveSlot]);
        break;
    case kPictureDashboardWide:
        PaintPanel(painter, kLandscapePage.height);
        for (int slot = 0; slot < kExclusiveSlot; ++slot)
            PaintFace(painter, kLandscapePage.rects[static_cast<std::size_t>(slot)]);
        break;
    default:
        PaintPanel(painter, kDashboardDesignHeight);
        for (int slot = 0; slot < kExclusiveSlot; ++slot)
            PaintFace(painter, kDashboardSlots[static_cast<std::size_t>(slot)]);
        break;
    }
    painter.restore();
}

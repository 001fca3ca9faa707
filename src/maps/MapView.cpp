#include "maps/MapView.h"

#include <QPainter>

CMapView::CMapView(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("mapPage"));
}

void CMapView::SetPosition(const CGeoPosition &position)
{
    m_feed.position = position;
    ++m_feed.positionUpdates;
}

void CMapView::SetFix(bool fix)
{
    m_feed.fix = fix;
    ++m_feed.fixChanges;
}

void CMapView::ClearPointList()
{
    ++m_feed.pointListClears;
}

void CMapView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().window().color());
    painter.setPen(palette().windowText().color());
    painter.drawText(rect(), Qt::AlignCenter, tr("Map"));
}

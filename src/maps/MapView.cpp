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

void CMapView::SetNightMode(bool night)
{
    m_night = night;
    update();
}

void CMapView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), m_night ? Qt::black : palette().window().color());
    painter.setPen(m_night ? QColor(200, 40, 40) : palette().windowText().color());
    painter.drawText(rect(), Qt::AlignCenter, tr("Map"));
}

#include "dashboard/DigiDash.h"

#include "dashboard/Dashboard.h"

#include <QPainter>

CDigiDash::CDigiDash(const CDashboard &dashboard, QWidget *parent)
    : QWidget(parent)
    , m_dashboard(dashboard)
{
}

void CDigiDash::Refresh()
{
    update();
}

void CDigiDash::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
}

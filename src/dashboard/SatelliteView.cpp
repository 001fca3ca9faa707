#include "dashboard/SatelliteView.h"

CSatelliteView::CSatelliteView(QWidget *parent)
    : CGauge(tr("Satellites"), parent)
{
}

void CSatelliteView::SetSatellites(const CSkyView &view)
{
    m_view = view;
    update();
}

void CSatelliteView::Reset()
{
    m_view.reset();
    update();
}

QString CSatelliteView::GetValueText() const
{
    return m_view ? tr("%1 of %2 sats in use").arg(m_view->inUse).arg(m_view->inView)
                  : tr("No Satellites in view");
}

void CSatelliteView::DrawBackground(QPainter &painter)
{
    CopyPageBackground(painter);
}

void CSatelliteView::DrawAnalog(QPainter &) {}

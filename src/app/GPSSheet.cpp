#include "app/GPSSheet.h"

CGPSSheet::CGPSSheet(QWidget *parent)
    : QTabWidget(parent)
{
    setObjectName(QStringLiteral("sheet"));
    setTabPosition(QTabWidget::South);
    setDocumentMode(true);
    setUsesScrollButtons(false);
    // Five tabs of touch size are wider than a small portrait screen: they shorten their texts
    // rather than run off its edge.
    setElideMode(Qt::ElideRight);
}

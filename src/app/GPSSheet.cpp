#include "app/GPSSheet.h"

CGPSSheet::CGPSSheet(QWidget *parent)
    : QTabWidget(parent)
{
    setObjectName(QStringLiteral("sheet"));
    setTabPosition(QTabWidget::South);
    setDocumentMode(true);
    setUsesScrollButtons(false);
}

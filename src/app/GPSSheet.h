#pragma once

#include <QTabWidget>

/// The frame's single client pane: the pages with their tabs at the bottom, where a thumb on a
/// small touch screen finds them.
class CGPSSheet : public QTabWidget
{
    Q_OBJECT
public:
    explicit CGPSSheet(QWidget *parent = nullptr);
};

#pragma once

#include <QIcon>

class QPainter;
class QRectF;

/// The program's picture: a round dial with a needle and a satellite. Drawn as vectors, so it is
/// sharp at any size; it fills the largest square centred in `rect`. The painter's state is
/// left as it was.
void PaintAppIcon(QPainter &painter, const QRectF &rect);

/// The window and desktop icon: PaintAppIcon rendered at 16 to 256 pixels.
QIcon AppIcon();

/// The tool-bar buttons: 32907 display mode (day/night), 32833 "+", 32834 "-", 57664 About.
/// 16 x 16 with 32 x 32 for high-density screens; an empty icon for any other command.
QIcon CommandIcon(int commandId);

#pragma once

#include "nmea/GnssSystem.h"

#include <QColor>
#include <QPointF>

class QPainter;

/// The colour the sky gives a system's markers: the rim of each marker and its legend glyph.
[[nodiscard]] QColor SkySystemColour(GnssSystem system);

/// Draws one marker of `system`'s shape centred on `centre`, of half size `half` (the disc's
/// radius): from the outside in, a dark outline of `outline` pixels (none at 0; the sky draws
/// it for satellites used in the fix), a rim of the system's colour `rimWidth` wide, `fill`
/// within. Nested areas rather than pens keep the rings even on every shape. The sky, its
/// legend and any list of satellites draw the systems with it, so they look alike.
void PaintSkyMarker(QPainter &painter, const QPointF &centre, GnssSystem system, int half,
                    const QColor &fill, double rimWidth, double outline);
/// As above, in the colours a palette gives the rim and the outline (the red night's).
void PaintSkyMarker(QPainter &painter, const QPointF &centre, GnssSystem system, int half,
                    const QColor &fill, double rimWidth, double outline, const QColor &rim,
                    const QColor &outlineColour);

#pragma once

#include "maps/PositionPair.h"

enum class ScrollDirection { Left, Up, Right, Down };

/// Which part of the map bitmap the page shows: a centre in map pixels, a zoom in map pixels
/// per screen pixel, and the top-left map pixel that follows from them, the window size and the
/// bitmap size. Screen sizes are in device pixels, so zoom 1.0 is one map pixel per pixel.
class CMapViewport
{
public:
    void SetClientSize(int width, int height);
    /// Recomputes the origin; the centre stays.
    void SetBitmapSize(int width, int height);
    void SetCentre(const CMapPoint &centre);
    /// The bitmap's middle in integer division.
    void CentreOnBitmap();

    /// A quarter of the visible area; a step that would cross the edge does nothing.
    bool Scroll(ScrollDirection direction);
    /// × √0.5 and ÷ √0.5, snapping to exactly 1.0 when within 0.1.
    void ZoomIn();
    void ZoomOut();
    void SetZoom(double zoom);
    /// Keeps the zoom within [smallest, largest] from now on (a tile source's levels); 0 and 0:
    /// any zoom, as on a sheet.
    void SetZoomRange(double smallest, double largest);

    /// The new centre for a tap: trunc(tap × zoom + origin).
    [[nodiscard]] CMapPoint TapToCentre(double x, double y) const;
    /// Screen position of a map pixel, in device pixels.
    [[nodiscard]] double ScreenX(double mapX) const { return (mapX - m_origin.x) / m_zoom; }
    [[nodiscard]] double ScreenY(double mapY) const { return (mapY - m_origin.y) / m_zoom; }

    [[nodiscard]] const CMapPoint &GetCentre() const { return m_centre; }
    [[nodiscard]] const CMapPoint &GetOrigin() const { return m_origin; }
    [[nodiscard]] double GetZoom() const { return m_zoom; }
    [[nodiscard]] int GetClientWidth() const { return m_clientWidth; }
    [[nodiscard]] int GetClientHeight() const { return m_clientHeight; }
    [[nodiscard]] int GetBitmapWidth() const { return m_bitmapWidth; }
    [[nodiscard]] int GetBitmapHeight() const { return m_bitmapHeight; }

private:
    void UpdateOrigin();

    int m_clientWidth = 0;
    int m_clientHeight = 0;
    int m_bitmapWidth = 0;
    int m_bitmapHeight = 0;
    CMapPoint m_centre;
    CMapPoint m_origin;
    double m_zoom = 1.0;
    double m_smallestZoom = 0.0;
    double m_largestZoom = 0.0;
};

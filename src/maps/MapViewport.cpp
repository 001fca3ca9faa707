#include "maps/MapViewport.h"

#include "maps/MapInfo.h"

#include <algorithm>
#include <cmath>

namespace
{

// The origin along one axis: the map never leaves room left of or above itself, and a map
// smaller than the window sits in its corner.
std::int32_t AxisOrigin(std::int32_t centre, int window, int bitmap, double zoom)
{
    const double visible = window * zoom;
    const double half = visible * 0.5;
    if (centre <= half)
        return 0;
    if (centre < bitmap - half)
        return centre - TruncateToPixel(half);
    return bitmap - TruncateToPixel(visible);
}

} // namespace

void CMapViewport::SetClientSize(int width, int height)
{
    m_clientWidth = width;
    m_clientHeight = height;
    UpdateOrigin();
}

void CMapViewport::SetBitmapSize(int width, int height)
{
    m_bitmapWidth = width;
    m_bitmapHeight = height;
    UpdateOrigin();
}

void CMapViewport::SetCentre(const CMapPoint &centre)
{
    m_centre = centre;
    UpdateOrigin();
}

void CMapViewport::CentreOnBitmap()
{
    SetCentre({m_bitmapWidth / 2, m_bitmapHeight / 2});
}

bool CMapViewport::Scroll(ScrollDirection direction)
{
    const std::int32_t stepX = TruncateToPixel(m_clientWidth * m_zoom * 0.25);
    const std::int32_t stepY = TruncateToPixel(m_clientHeight * m_zoom * 0.25);
    CMapPoint centre = m_centre;
    switch (direction) {
    case ScrollDirection::Left:
        if (!(centre.x > stepX))
            return false;
        centre.x -= stepX;
        break;
    case ScrollDirection::Up:
        if (!(centre.y > stepY))
            return false;
        centre.y -= stepY;
        break;
    case ScrollDirection::Right:
        if (!(m_bitmapWidth > static_cast<std::int64_t>(centre.x) + stepX))
            return false;
        centre.x += stepX;
        break;
    case ScrollDirection::Down:
        if (!(m_bitmapHeight > static_cast<std::int64_t>(centre.y) + stepY))
            return false;
        centre.y += stepY;
        break;
    }
    SetCentre(centre);
    return true;
}

void CMapViewport::SetZoom(double zoom)
{
    m_zoom = zoom;
    if ((m_zoom - 1.0) * (m_zoom - 1.0) < 0.01)
        m_zoom = 1.0;
    if (m_largestZoom > 0.0)
        m_zoom = std::clamp(m_zoom, m_smallestZoom, m_largestZoom);
    UpdateOrigin();
}

void CMapViewport::SetZoomRange(double smallest, double largest)
{
    m_smallestZoom = smallest;
    m_largestZoom = std::max(smallest, largest);
    SetZoom(m_zoom);
}

void CMapViewport::ZoomIn()
{
    SetZoom(m_zoom * std::sqrt(0.5));
}

void CMapViewport::ZoomOut()
{
    SetZoom(m_zoom / std::sqrt(0.5));
}

CMapPoint CMapViewport::TapToCentre(double x, double y) const
{
    return {TruncateToPixel(x * m_zoom + m_origin.x), TruncateToPixel(y * m_zoom + m_origin.y)};
}

void CMapViewport::UpdateOrigin()
{
    m_origin.x = AxisOrigin(m_centre.x, m_clientWidth, m_bitmapWidth, m_zoom);
    m_origin.y = AxisOrigin(m_centre.y, m_clientHeight, m_bitmapHeight, m_zoom);
}

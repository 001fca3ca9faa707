#pragma once

#include "geo/CoordinateFormat.h"
#include "maps/MapBitmap.h"
#include "maps/MapPageModel.h"
#include "maps/WaypointLayer.h"
#include "waypoints/Waypoint.h"

#include <QCoreApplication>
#include <QFont>
#include <QHash>
#include <QImage>
#include <QSize>

#include <cstddef>
#include <span>
#include <vector>

class CTileCache;
class QPainter;

/// What one paint of the Map page shows: its model and bitmap, and what the page holds beside.
struct CMapScene {
    const CMapPageModel &model;
    const CMapBitmap &bitmap;
    CTileCache *tiles;              ///< the map's tiles when it is drawn from a pyramid; else none
    const CWaypointList *waypoints; ///< none without a waypoint book
    const CWaypoint *selected;      ///< the goto target, if any
    double heading;                 ///< course over ground in degrees; negative when unknown
    CoordinateFormat projection;
    bool night;
    bool loading;                    ///< a bitmap is being decoded
    std::span<const CMapPoint> drag; ///< the distance drag's path (device pixels); else empty
    QSize size;                      ///< logical pixels
    double dpr;                      ///< device pixels per logical pixel
};

/// Draws the Map page into any painter: the map around the view centre with the track and the
/// waypoints, kept as a frame until the view moves, and over it the drag, the text bands and the
/// marker.
class CMapPainter
{
    Q_DECLARE_TR_FUNCTIONS(CMapPainter)
public:
    /// The map, the track and the waypoints are drawn again at the next paint.
    void Invalidate() { m_frameValid = false; }
    /// The waypoint list or the goto target changed: circles and names are placed anew.
    void WaypointsChanged();
    void Paint(QPainter &painter, const CMapScene &scene);

private:
    void Compose(const CMapScene &scene);
    void DrawTrack(QPainter &painter, const CMapPageModel &model, std::size_t from) const;
    void DrawWaypoints(QPainter &painter, const CMapScene &scene);
    void ForgetLabels();
    static void DrawBands(QPainter &painter, const CMapScene &scene, const QPointF &centre);
    static void DrawMarker(QPainter &painter, const CMapScene &scene, const QPointF &centre);

    QImage m_frame; // map, track and waypoints of the current view
    bool m_frameValid = false;
    std::size_t m_composedSegments = 0;

    CWaypointLayer m_waypointLayer;
    const CWaypoint *m_layerList = nullptr; // the list the layer was built from
    std::size_t m_layerListSize = 0;
    static constexpr qsizetype kLabelCacheSize = 4096;
    QFont m_labelFont;
    QHash<std::size_t, QImage> m_labels;    // waypoint names as drawn, in m_labelFont
    std::vector<double> m_labelWidths;      // their widths, -1 until measured
    std::vector<std::size_t> m_shownLabels; // the waypoints named in the last frame, ascending
    static constexpr double kDotSpriteRadius = 32.0;
    static constexpr qsizetype kDotSpriteCount = 256;
    QHash<int, QImage> m_dotSprites; // waypoint circles by size, in quarter pixels
};

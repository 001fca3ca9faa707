#pragma once

#include "maps/MapInfo.h"
#include "maps/MapViewport.h"
#include "waypoints/Waypoint.h"

#include <cstddef>
#include <functional>
#include <vector>

/// A waypoint's circle on the screen, device pixels.
struct CWaypointDot {
    std::size_t waypoint = 0; ///< index in the list
    double x = 0.0;
    double y = 0.0;
    double radiusX = 0.0;
    double radiusY = 0.0;
};

/// A name to draw: its box's left and vertical middle, device pixels.
struct CWaypointLabel {
    std::size_t waypoint = 0;
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
};

/// How the page draws waypoints, device pixels.
struct CWaypointStyle {
    double dotRadius = 3.0; ///< the smallest circle drawn
    double labelGap = 3.0;  ///< between a circle and its name
    double labelHeight = 12.0;
    int labelBudget = 60;  ///< names per frame at most
    double maxCover = 1.0; ///< circles covering the view more often than this are thinned
};

struct CWaypointFrame {
    std::vector<CWaypointDot> dots;
    std::vector<CWaypointLabel> labels;
};

/// The waypoints placed on one map, in a grid of map-pixel cells, so that a frame looks only at
/// those near the view: a database of tens of thousands costs a frame little more than a few.
class CWaypointLayer
{
public:
    /// Side of a grid cell in map pixels.
    static constexpr int kCellSide = 64;
    /// Circles wider than this (map pixels) are kept apart and looked at in every frame.
    static constexpr double kWideRadius = 256.0;
    /// Names measured per name drawn at most: those refused for overlap cost a measure each.
    static constexpr int kLabelTriesPerLabel = 8;

    /// Places the waypoints lying on `map`; an uncalibrated map holds none.
    void Build(const CWaypointList &waypoints, const CMapInfo &map);
    [[nodiscard]] bool IsBuiltFor(const CMapInfo &map) const { return m_built && m_map == map; }
    void Invalidate() { m_built = false; }
    [[nodiscard]] std::size_t GetCount() const { return m_marks.size(); }

    /// The circles and names of the view. Dots that would cover a drawn one exactly are left
    /// out, and where circles would cover the view over and over, one of a size per square of
    /// its area is kept; names go nearest the view centre first, never over another name, wholly
    /// inside the view, at most the budget; those of `previous` (waypoint indices, ascending)
    /// before any other, so that names stay put while the view moves. `measure` gives a waypoint's
    /// name width in device pixels.
    [[nodiscard]] CWaypointFrame Compose(const CMapViewport &view, const CWaypointStyle &style,
                                         const std::function<double(std::size_t)> &measure,
                                         const std::vector<std::size_t> &previous = {}) const;

private:
    struct CMark {
        std::size_t waypoint;
        CMapPoint pixel;
        double radiusX; ///< map pixels
        double radiusY;
    };

    void Candidates(double left, double top, double right, double bottom,
                    std::vector<const CMark *> &out) const;

    bool m_built = false;
    CMapInfo m_map;
    int m_columns = 0;
    int m_rows = 0;
    std::vector<CMark> m_marks;           ///< by cell, list order within a cell
    std::vector<std::size_t> m_cellStart; ///< m_columns × m_rows + 1 offsets into m_marks
    std::vector<CMark> m_wide;            ///< circles wider than kWideRadius: always looked at
    double m_reach = 0.0;                 ///< the widest circle in the grid, map pixels
};

/// Which names of `candidates` (anchors: left end and vertical middle) to draw: in the order
/// given, each wholly inside width × height and overlapping no name taken before, until
/// `budget` are taken or `tries` were measured; of anchors in the same square of `labelHeight`
/// only the first is tried. Returns indices into `candidates`.
std::vector<std::size_t> PlaceLabels(const std::vector<CWaypointLabel> &candidates, double width,
                                     double height, double labelHeight, int budget, int tries,
                                     const std::function<double(std::size_t)> &measure);

#include "maps/WaypointLayer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <unordered_set>

namespace
{

// Candidates for names put in order by distance; beyond this many only the nearest are.
constexpr std::size_t kLabelPool = 4096;
// Farther than any distance on a screen, squared: a new name comes after every kept one.
constexpr double kNewLabel = 1e18;

} // namespace

void CWaypointLayer::Build(const CWaypointList &waypoints, const CMapInfo &map)
{
    m_built = true;
    m_map = map;
    m_marks.clear();
    m_wide.clear();
    m_reach = 0.0;
    m_columns = std::max(1, (map.m_width + kCellSide) / kCellSide);
    m_rows = std::max(1, (map.m_height + kCellSide) / kCellSide);
    m_cellStart.assign(static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(m_rows) + 1,
                       0);
    if (!map.IsCalibrated())
        return;
    std::vector<std::pair<std::size_t, CMark>> placed; // cell, mark
    for (std::size_t i = 0; i < waypoints.size(); ++i) {
        const CWaypoint &w = waypoints[i];
        CMapPoint pixel;
        if (!map.ContainsPosition(w.m_position) || !map.PositionToPixel(w.m_position, pixel))
            continue;
        const CMark mark{i, pixel, std::abs(map.m_xScale) * w.m_radius / 3600.0,
                         std::abs(map.m_yScale) * w.m_radius / 3600.0};
        if (mark.radiusX > kWideRadius || mark.radiusY > kWideRadius) {
            m_wide.push_back(mark);
            continue;
        }
        m_reach = std::max({m_reach, mark.radiusX, mark.radiusY});
        const int column = std::clamp(pixel.x / kCellSide, 0, m_columns - 1);
        const int row = std::clamp(pixel.y / kCellSide, 0, m_rows - 1);
        placed.emplace_back(static_cast<std::size_t>(row) * static_cast<std::size_t>(m_columns)
                                + static_cast<std::size_t>(column),
                            mark);
    }
    // Waypoints on the same pixel with the same circle look the same at every zoom: the first
    // in the list stands for them all.
    const auto key = [](const std::pair<std::size_t, CMark> &p) {
        return std::tuple(p.first, p.second.pixel.y, p.second.pixel.x, p.second.radiusX,
                          p.second.radiusY, p.second.waypoint);
    };
    std::sort(placed.begin(), placed.end(),
              [&key](const auto &a, const auto &b) { return key(a) < key(b); });
    const auto same = [](const auto &a, const auto &b) {
        return a.first == b.first && a.second.pixel == b.second.pixel
               && a.second.radiusX == b.second.radiusX && a.second.radiusY == b.second.radiusY;
    };
    placed.erase(std::unique(placed.begin(), placed.end(), same), placed.end());
    m_marks.reserve(placed.size());
    for (const auto &[cell, mark] : placed) {
        ++m_cellStart[cell + 1];
        m_marks.push_back(mark);
    }
    for (std::size_t c = 1; c < m_cellStart.size(); ++c)
        m_cellStart[c] += m_cellStart[c - 1];
}

void CWaypointLayer::Candidates(double left, double top, double right, double bottom,
                                std::vector<const CMark *> &out) const
{
    // Centres as far outside as the widest circle in the grid reaches.
    const auto cellOf = [](double v, int count) {
        return std::clamp(static_cast<int>(std::floor(v / kCellSide)), 0, count - 1);
    };
    const int c0 = cellOf(left - m_reach, m_columns);
    const int c1 = cellOf(right + m_reach, m_columns);
    const int r0 = cellOf(top - m_reach, m_rows);
    const int r1 = cellOf(bottom + m_reach, m_rows);
    for (int r = r0; r <= r1; ++r) {
        const std::size_t row = static_cast<std::size_t>(r) * static_cast<std::size_t>(m_columns);
        for (std::size_t k = m_cellStart[row + static_cast<std::size_t>(c0)];
             k < m_cellStart[row + static_cast<std::size_t>(c1) + 1]; ++k)
            out.push_back(&m_marks[k]);
    }
    for (const CMark &mark : m_wide)
        out.push_back(&mark);
}

CWaypointFrame CWaypointLayer::Compose(const CMapViewport &view, const CWaypointStyle &style,
                                       const std::function<double(std::size_t)> &measure,
                                       const std::vector<std::size_t> &previous) const
{
    CWaypointFrame frame;
    if (!m_built || (m_marks.empty() && m_wide.empty()))
        return frame;
    const double zoom = view.GetZoom();
    const int width = view.GetClientWidth();
    const int height = view.GetClientHeight();
    if (width <= 0 || height <= 0)
        return frame;
    // The smallest dot reaches this far in map pixels.
    const double dot = style.dotRadius * zoom;
    const double left = view.GetOrigin().x - dot;
    const double top = view.GetOrigin().y - dot;
    const double right = view.GetOrigin().x + width * zoom + dot;
    const double bottom = view.GetOrigin().y + height * zoom + dot;
    std::vector<const CMark *> marks;
    Candidates(left, top, right, bottom, marks);

    // Smallest dots already drawn, by the screen pixel of their centre.
    std::vector<bool> covered(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (const CMark *mark : marks) {
        const CWaypointDot d{mark->waypoint, view.ScreenX(mark->pixel.x),
                             view.ScreenY(mark->pixel.y),
                             std::max(mark->radiusX / zoom, style.dotRadius),
                             std::max(mark->radiusY / zoom, style.dotRadius)};
        if (d.x + d.radiusX < 0 || d.x - d.radiusX > width || d.y + d.radiusY < 0
            || d.y - d.radiusY > height)
            continue;
        if (d.radiusX == style.dotRadius && d.radiusY == style.dotRadius) {
            const long px = std::lround(d.x);
            const long py = std::lround(d.y);
            if (px >= 0 && py >= 0 && px < width && py < height) {
                const std::size_t at =
                    static_cast<std::size_t>(py) * static_cast<std::size_t>(width)
                    + static_cast<std::size_t>(px);
                if (covered[at])
                    continue;
                covered[at] = true;
            }
        }
        frame.dots.push_back(d);
    }
    // A crowd that would cover the view several times over shows as a crowd with fewer circles:
    // of circles of one size, one per square of its own area.
    double cover = 0.0;
    for (const CWaypointDot &d : frame.dots)
        cover += 4.0 * d.radiusX * d.radiusY;
    if (cover > style.maxCover * width * height) {
        std::unordered_set<std::uint64_t> taken;
        taken.reserve(frame.dots.size());
        std::vector<CWaypointDot> thinned;
        // Squares fixed on the map, not on the screen: the same circles stay as the view moves.
        for (const CWaypointDot &d : frame.dots) {
            const double side = 2.0 * std::sqrt(d.radiusX * d.radiusY);
            const double mapSide = side * zoom;
            const double mapX = view.GetOrigin().x + d.x * zoom;
            const double mapY = view.GetOrigin().y + d.y * zoom;
            const auto cellX = static_cast<std::uint64_t>(std::floor(mapX / mapSide) + 65536);
            const auto cellY = static_cast<std::uint64_t>(std::floor(mapY / mapSide) + 65536);
            const auto size = static_cast<std::uint64_t>(std::lround(side * 4)) & 0xFFFF;
            if (taken.insert(size << 48 | (cellY & 0xFFFFFF) << 24 | (cellX & 0xFFFFFF)).second)
                thinned.push_back(d);
        }
        frame.dots = std::move(thinned);
    }
    // Drawn in list order, as the list would draw them.
    std::sort(frame.dots.begin(), frame.dots.end(),
              [](const CWaypointDot &a, const CWaypointDot &b) { return a.waypoint < b.waypoint; });

    // Names shown before keep their place while they fit; then the nearest the view centre
    // first: those are the ones looked at.
    std::vector<CWaypointLabel> anchors;
    anchors.reserve(frame.dots.size());
    for (const CWaypointDot &d : frame.dots)
        anchors.push_back({d.waypoint, d.x + d.radiusX + style.labelGap, d.y, 0.0});
    const double cx = view.ScreenX(view.GetCentre().x);
    const double cy = view.ScreenY(view.GetCentre().y);
    std::vector<std::pair<double, std::size_t>> order; // squared distance, anchor
    order.reserve(anchors.size());
    for (std::size_t i = 0; i < anchors.size(); ++i) {
        const double dx = anchors[i].x - cx;
        const double dy = anchors[i].y - cy;
        const bool kept = std::binary_search(previous.begin(), previous.end(), anchors[i].waypoint);
        order.emplace_back(dx * dx + dy * dy + (kept ? 0.0 : kNewLabel), i);
    }
    if (order.size() > kLabelPool) {
        std::nth_element(order.begin(), order.begin() + kLabelPool, order.end());
        order.resize(kLabelPool);
    }
    std::sort(order.begin(), order.end());
    std::vector<CWaypointLabel> nearest;
    nearest.reserve(order.size());
    for (const auto &entry : order)
        nearest.push_back(anchors[entry.second]);
    anchors = std::move(nearest);
    const std::vector<std::size_t> chosen =
        PlaceLabels(anchors, width, height, style.labelHeight, style.labelBudget,
                    style.labelBudget * kLabelTriesPerLabel,
                    [&anchors, &measure](std::size_t i) { return measure(anchors[i].waypoint); });
    for (std::size_t i : chosen)
        frame.labels.push_back(anchors[i]);
    return frame;
}

std::vector<std::size_t> PlaceLabels(const std::vector<CWaypointLabel> &candidates, double width,
                                     double height, double labelHeight, int budget, int tries,
                                     const std::function<double(std::size_t)> &measure)
{
    struct CBox {
        double left, top, right, bottom;
    };
    std::vector<CBox> taken;
    std::vector<std::size_t> chosen;
    const double half = labelHeight / 2.0;
    const auto overlaps = [&taken](const CBox &box) {
        return std::any_of(taken.begin(), taken.end(), [&box](const CBox &t) {
            return box.left < t.right && t.left < box.right && box.top < t.bottom
                   && t.top < box.bottom;
        });
    };
    // One try per square of the label's height: in a crowd, the neighbours of a name that did
    // not fit would not fit either.
    const double cell = std::max(labelHeight, 1.0);
    const auto columns = static_cast<std::size_t>(std::max(width, 0.0) / cell) + 1;
    const auto rows = static_cast<std::size_t>(std::max(height, 0.0) / cell) + 1;
    std::vector<bool> tried(columns * rows);
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (static_cast<int>(chosen.size()) >= budget || tries <= 0)
            break;
        const CWaypointLabel &c = candidates[i];
        // Refused unmeasured when even an empty name would not fit.
        const CBox start{c.x, c.y - half, c.x, c.y + half};
        if (start.left < 0 || start.top < 0 || start.bottom > height || start.left >= width
            || overlaps({start.left, start.top, start.left + 1.0, start.bottom}))
            continue;
        const std::size_t square =
            static_cast<std::size_t>(c.y / cell) * columns + static_cast<std::size_t>(c.x / cell);
        if (tried[square])
            continue;
        tried[square] = true;
        --tries;
        const double w = measure(i);
        const CBox box{c.x, start.top, c.x + w, start.bottom};
        if (box.right > width || overlaps(box))
            continue;
        taken.push_back(box);
        chosen.push_back(i);
    }
    return chosen;
}

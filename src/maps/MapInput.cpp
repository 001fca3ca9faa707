#include "maps/MapInput.h"

#include "maps/DistanceTool.h"
#include "maps/MapPageModel.h"
#include "waypoints/WaypointBook.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QStyleHints>
#include <QWheelEvent>
#include <QWidget>

#include <algorithm>
#include <cmath>
#include <optional>

namespace
{

constexpr int kWheelStep = 120;

CMapPoint Truncated(const QPointF &p)
{
    return {TruncateToPixel(p.x()), TruncateToPixel(p.y())};
}

} // namespace

CMapInput::CMapInput(QWidget &page, CMapPageModel &model, const CMapPageOptions &options,
                     CHooks hooks)
    : m_page(page)
    , m_model(model)
    , m_options(options)
    , m_hooks(std::move(hooks))
{
    m_hold.setSingleShot(true);
    QObject::connect(&m_hold, &QTimer::timeout, &m_hold, [this] {
        m_suppressTap = true;
        m_measuring = false;
        m_dragPath.clear();
        m_hooks.openMenu(m_holdGlobal);
    });
}

QPointF CMapInput::DevicePoint(const QPointF &logical) const
{
    return logical * m_page.devicePixelRatioF();
}

std::span<const CMapPoint> CMapInput::MeasuredPath() const
{
    if (!m_measuring)
        return {};
    return m_dragPath;
}

void CMapInput::Press(QMouseEvent *event)
{
    m_suppressTap = false;
    if (event->button() == Qt::MiddleButton) {
        m_panning = true;
        m_panFrom = event->position().toPoint();
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    m_holdGlobal = event->globalPosition().toPoint();
    m_hold.start(QApplication::styleHints()->mousePressAndHoldInterval());
    m_downPoint = Truncated(DevicePoint(event->position()));
    m_dragPath = {m_downPoint};
    m_measuring = false;
}

void CMapInput::Move(QMouseEvent *event)
{
    if (m_panning) {
        const QPoint delta = event->position().toPoint() - m_panFrom;
        m_panFrom = event->position().toPoint();
        CMapViewport &vp = m_model.Viewport();
        const double k = m_page.devicePixelRatioF() * vp.GetZoom();
        vp.SetCentre(
            {std::clamp(vp.GetCentre().x - TruncateToPixel(delta.x() * k), 0, vp.GetBitmapWidth()),
             std::clamp(vp.GetCentre().y - TruncateToPixel(delta.y() * k), 0,
                        vp.GetBitmapHeight())});
        m_hooks.apply(kMapViewMoved);
        return;
    }
    if (!(event->buttons() & Qt::LeftButton) || m_dragPath.empty() || m_suppressTap
        || !m_model.IsCurrentCalibrated())
        return;
    const CMapPoint point = Truncated(DevicePoint(event->position()));
    if (!m_measuring) {
        // A finger that trembles while tapping is no measurement.
        const double slack = QApplication::startDragDistance() * m_page.devicePixelRatioF();
        if (std::hypot(point.x - m_downPoint.x, point.y - m_downPoint.y) < slack)
            return;
        m_hold.stop();
        m_measuring = true;
    }
    m_dragPath.push_back(point);
    m_page.update();
}

void CMapInput::Release(QMouseEvent *event)
{
    if (event->button() == Qt::MiddleButton) {
        m_panning = false;
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    m_hold.stop();
    if (m_suppressTap) {
        m_suppressTap = false;
        return;
    }
    if (m_measuring) {
        const QString text = Measure(m_dragPath, Truncated(DevicePoint(event->position())));
        m_measuring = false;
        m_dragPath.clear();
        m_page.update();
        if (!text.isEmpty())
            ShowMessage(&m_page, {tr("Distance"), text, QMessageBox::Information, {}});
        return;
    }
    m_dragPath.clear();
    Tapped(event->position().toPoint());
}

void CMapInput::Tapped(const QPoint &pos)
{
    const QPointF p = DevicePoint(pos);
    m_hooks.apply(m_model.TapAt(p.x(), p.y()));
    if (!m_model.m_settings.showWaypoints || m_options.waypoints == nullptr)
        return;
    const CWaypointList &waypoints = m_options.waypoints->GetWaypoints();
    const int hit = m_model.HitWaypoint(waypoints);
    if (hit < 0)
        return;
    const CWaypoint &w = waypoints[static_cast<std::size_t>(hit)];
    ShowMessage(&m_page,
                {QStringLiteral("Waypoint "),
                 QString::fromStdString(
                     w.m_name + "\n" + DisplayPosition(w.m_position, "\n", m_options.projection)),
                 QMessageBox::Information,
                 {}});
}

QString CMapInput::Measure(const std::vector<CMapPoint> &path, const CMapPoint &up)
{
    m_hooks.syncClientSize();
    const CMapInfo *map = m_model.GetCurrentMap();
    if (map == nullptr || !map->IsCalibrated())
        return {};
    const CMapViewport &vp = m_model.Viewport();
    const auto measure = MeasureDrag(path, m_downPoint, up, vp.GetOrigin(), vp.GetZoom(), *map);
    if (!measure)
        return {};
    return QString::fromStdString(DistanceMeasureText(*measure, m_model.m_settings.units));
}

void CMapInput::Wheel(QWheelEvent *event)
{
    const int steps = event->angleDelta().y() / kWheelStep;
    for (int i = 0; i < std::abs(steps); ++i)
        steps > 0 ? m_model.Viewport().ZoomIn() : m_model.Viewport().ZoomOut();
    if (steps != 0)
        m_hooks.apply(kMapViewMoved);
    event->accept();
}

bool CMapInput::Key(QKeyEvent *event)
{
    std::optional<ScrollDirection> direction;
    switch (event->key()) {
    case Qt::Key_Left:
        direction = ScrollDirection::Left;
        break;
    case Qt::Key_Right:
        direction = ScrollDirection::Right;
        break;
    case Qt::Key_Up:
        direction = ScrollDirection::Up;
        break;
    case Qt::Key_Down:
        direction = ScrollDirection::Down;
        break;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        m_model.Viewport().ZoomIn();
        m_hooks.apply(kMapViewMoved);
        return true;
    case Qt::Key_Minus:
        m_model.Viewport().ZoomOut();
        m_hooks.apply(kMapViewMoved);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        // The keyboard's tap: the arrows bring a waypoint to the centre, Enter names it.
        m_hooks.syncClientSize();
        Tapped(QPoint(m_page.width() / 2, m_page.height() / 2));
        return true;
    default:
        return false;
    }
    if (m_model.Viewport().Scroll(*direction))
        m_hooks.apply(kMapViewMoved);
    return true;
}

void CMapInput::ContextMenu(QContextMenuEvent *event)
{
    m_hold.stop();
    m_dragPath.clear();
    m_measuring = false;
    // The Menu key's event points at a text cursor the page does not have.
    m_hooks.openMenu(event->reason() == QContextMenuEvent::Keyboard
                         ? m_page.mapToGlobal(m_page.rect().center())
                         : event->globalPos());
}

#pragma once

#include "maps/MapPageOptions.h"
#include "maps/PositionPair.h"

#include <QCoreApplication>
#include <QPoint>
#include <QString>
#include <QTimer>

#include <functional>
#include <span>
#include <vector>

class CMapPageModel;
class QContextMenuEvent;
class QKeyEvent;
class QMouseEvent;
class QWheelEvent;
class QWidget;

/// The Map page's mouse, wheel and keys. A tap centres the view there and names a waypoint it
/// hits; a drag measures; press-and-hold (or right-click, or the Menu key) opens the map menu;
/// the wheel and +/- zoom, the arrows scroll, Enter or Space taps the centre and a middle-button
/// drag pans.
class CMapInput
{
    Q_DECLARE_TR_FUNCTIONS(CMapInput)
public:
    /// What the input asks of its page.
    struct CHooks {
        std::function<void(unsigned)> apply;          ///< model changes (MapChange) to show
        std::function<void()> syncClientSize;         ///< before device pixels meet the model
        std::function<void(const QPoint &)> openMenu; ///< at a global position
    };

    CMapInput(QWidget &page, CMapPageModel &model, const CMapPageOptions &options, CHooks hooks);

    void Press(QMouseEvent *event);
    void Move(QMouseEvent *event);
    void Release(QMouseEvent *event);
    void Wheel(QWheelEvent *event);
    /// False for a key the page leaves to its parent.
    bool Key(QKeyEvent *event);
    void ContextMenu(QContextMenuEvent *event);

    /// Measures a drag over `path` (device pixels) ending at `up`; returns the box's text.
    QString Measure(const std::vector<CMapPoint> &path, const CMapPoint &up);
    /// The path of the drag being measured, in device pixels; empty when none is.
    [[nodiscard]] std::span<const CMapPoint> MeasuredPath() const;

private:
    void Tapped(const QPoint &pos);
    [[nodiscard]] QPointF DevicePoint(const QPointF &logical) const;

    QWidget &m_page;
    CMapPageModel &m_model;
    const CMapPageOptions &m_options;
    CHooks m_hooks;

    std::vector<CMapPoint> m_dragPath; // device pixels
    CMapPoint m_downPoint;
    bool m_measuring = false;
    bool m_suppressTap = false;
    bool m_panning = false;
    QPoint m_panFrom;
    QTimer m_hold;
    QPoint m_holdGlobal;
};

#pragma once

#include "dashboard/Freshness.h"

#include <QRectF>
#include <QWidget>

#include <array>

class CDashboard;
class CDisplaySettings;

/// The digital dashboard: big read-outs of speed, heading, altitude, time and trip, from the
/// dashboard's instruments in their units, full screen, readable from two metres; night mode
/// from the display settings. Esc or a tap returns.
class CDigiDash : public QWidget
{
    Q_OBJECT
public:
    enum Field { kSpeed, kHeading, kAltitude, kTime, kTrip };
    static constexpr int kFieldCount = 5;

    /// One read-out as it is drawn: "---" for an instrument whose feed is gone.
    struct CReadOut {
        QString caption;
        QString value;
        QString unit;
        GaugeFreshness freshness = GaugeFreshness::Live;
    };
    /// Where a read-out goes and the pixel size of its digits.
    struct CCell {
        QRectF box;
        double valuePixels = 0.0;
    };
    using CLayout = std::array<CCell, kFieldCount>;

    CDigiDash(const CDashboard &dashboard, const CDisplaySettings &display,
              QWidget *parent = nullptr);

    /// Reads the instruments again and repaints (the dashboard calls it when they change).
    void Refresh();

    [[nodiscard]] CReadOut GetReadOut(Field field) const;
    /// The grid that gives the digits the most room in `size`: two columns with the speed
    /// across the top, one column of rows, or three columns with the speed down the left.
    [[nodiscard]] CLayout Layout(const QSizeF &size) const;
    /// Draws the read-outs over the whole widget.
    void Render(QPainter &painter);

signals:
    /// Esc, a tap or any other close: the window returns to the pages.
    void Closed();

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void DrawReadOut(QPainter &painter, const CCell &cell, const CReadOut &readOut, Field field,
                     double valuePixels) const;

    const CDashboard &m_dashboard;
    const CDisplaySettings &m_display;
    bool m_pressed = false;
};

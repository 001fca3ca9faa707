#pragma once

#include "dashboard/Freshness.h"
#include "dashboard/TripTexts.h"

#include <QRectF>
#include <QWidget>

#include <array>
#include <functional>
#include <optional>
#include <vector>

class CDashboard;
class CDisplaySettings;
class CTripComputer;
struct CDigiPalette;
class QTimer;

/// The digital dashboard: big read-outs of speed, heading, altitude, time and trip, from the
/// dashboard's instruments in their units, full screen, readable from two metres; night mode
/// from the display settings. A second page shows the trip computer; Tab turns the page, and
/// the menu (right button, a long press or the Menu key) turns it too, resets the trip and
/// sets the speed alarm. The speed alarm's warning runs across the top of either page. Esc or
/// a tap returns. As a head-up display (H, or the menu) both pages are mirrored left to right
/// on black, for a phone or tablet whose reflection in the windscreen is read.
class CDigiDash : public QWidget
{
    Q_OBJECT
public:
    enum Field { kSpeed, kHeading, kAltitude, kTime, kTrip };
    enum Page { kPageReadOuts, kPageTrip };
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
    /// Draws the page over the whole widget, mirrored as a head-up display.
    void Render(QPainter &painter);
    /// Draws the page as it reads: as a head-up display, as its reflection shows it.
    void RenderFace(QPainter &painter);

    /// Mirrored left to right on black, or upright on the panel; stored for the next time.
    void SetHeadUp(bool on);
    [[nodiscard]] bool IsHeadUp() const { return m_headUp; }
    /// The pixel of the page as it reads that shows under a point of the widget.
    [[nodiscard]] QPoint FacePixel(const QPointF &point) const;

    /// Where the trip page reads its figures and the goto waypoint; both outlive the widget.
    void SetTrip(const CTripComputer *trip, std::function<std::optional<CTripTarget>()> target);
    /// The trip page's figures as they are drawn.
    [[nodiscard]] std::vector<CTripText> GetTripTexts() const;
    /// The speed alarm's warning; empty: none.
    void SetSpeedWarning(const QString &text);
    [[nodiscard]] const QString &GetSpeedWarning() const { return m_warning; }
    /// The page shown; stored for the next time.
    void SetPage(Page page);
    [[nodiscard]] Page GetPage() const { return m_page; }
    /// The menu's entries, in order: "Read-outs", "Trip Computer", "Reset Trip", "Speed Alarm...",
    /// "Head-Up Display (Mirrored)".
    [[nodiscard]] QStringList MenuTexts() const;
    /// Carries out the menu entry at `index` of MenuTexts.
    void ApplyMenuChoice(int index);

signals:
    /// Esc, a tap or any other close: the window returns to the pages.
    void Closed();
    /// The menu's "Reset Trip".
    void ResetTripChosen();
    /// The menu's "Speed Alarm...".
    void SpeedAlarmChosen();

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    /// Tab turns the page: there is no other widget to move the focus to.
    bool focusNextPrevChild(bool next) override;

private:
    void ShowMenu(const QPoint &position);
    void DrawWarning(QPainter &painter) const;
    void DrawReadOut(QPainter &painter, const CCell &cell, const CReadOut &readOut, Field field,
                     double valuePixels) const;

    /// The part of the widget below the warning.
    [[nodiscard]] QRectF PageArea() const;
    [[nodiscard]] QRectF WarningArea() const;
    [[nodiscard]] CDigiPalette Palette() const;

    const CDashboard &m_dashboard;
    const CDisplaySettings &m_display;
    const CTripComputer *m_trip = nullptr;
    std::function<std::optional<CTripTarget>()> m_target;
    QString m_warning;
    Page m_page = kPageReadOuts;
    bool m_headUp = false;
    bool m_pressed = false;
    QPoint m_pressAt;
    QTimer *m_longPress = nullptr;
};

#pragma once

#include "base/NightColours.h"
#include "dashboard/Freshness.h"
#include "dashboard/GaugeMath.h"
#include "dashboard/GaugePage.h"

#include <QPen>
#include <QPixmap>
#include <QStringList>
#include <QWidget>

#include <vector>

class QTimer;

/// One entry of a gauge's pop-up menu.
struct CGaugeMenuEntry {
    int id = 0;
    QString text;
    bool checkable = false;
    bool checked = false;
    bool separatorBefore = false;
};

/// A round instrument of the Dashboard page. The static face (page background, dial) is drawn
/// once into a pixmap at the screen's pixel ratio and kept until size, mode, face or range
/// change; the moving parts are antialiased vectors drawn at every paint. Night mode draws in
/// reds on black (Ink) or, in the inverted night colours, inverts every colour of the gauge,
/// page background included.
///
/// Subclasses override the value and drawing operations; all drawing goes through a QPainter
/// in the gauge's own coordinates, so Render() draws into any image.
class CGauge : public QWidget
{
    Q_OBJECT
public:
    explicit CGauge(const QString &caption, QWidget *parent = nullptr);
    ~CGauge() override;

    [[nodiscard]] const QString &GetCaption() const { return m_caption; }
    [[nodiscard]] int GetRadius() const { return GaugeRadius(width()); }
    [[nodiscard]] double GetValue() const { return m_value; }
    [[nodiscard]] int GetMode() const { return m_mode; }
    [[nodiscard]] bool IsDigital() const { return m_digital; }
    [[nodiscard]] bool IsNight() const { return m_night; }
    [[nodiscard]] NightColours GetNightColours() const { return m_nightColours; }
    /// Night mode in the red colours: every colour goes through Ink.
    [[nodiscard]] bool IsNightRed() const { return m_night && m_nightColours == NightColours::Red; }
    [[nodiscard]] int GetTickGroup() const { return m_tickGroup; }

    /// The page slot the gauge occupies; -1 before the page placed it.
    [[nodiscard]] int GetPosition() const { return m_position; }
    void SetPosition(int slot) { m_position = slot; }
    void SetPicture(int picture);
    [[nodiscard]] int GetPicture() const { return m_picture; }
    void SetPage(const CGaugePage *page);
    /// The gauge's width on the 240-pixel page it was designed for (80 small, 160 large, 240
    /// alone). Text sizes are computed for that width and grow with the gauge; 0: its width.
    void SetDesignWidth(int width);

    void SetNight(bool night, bool redraw);
    void SetNightColours(NightColours colours, bool redraw);
    void SetDigital(bool digital);
    /// Stores the mode without redrawing (settings being loaded).
    virtual void SetModeQuiet(int mode);

    /// How current the gauge's feed is; `noFix` is shown by the gauges whose value needs one.
    void SetFreshness(GaugeFreshness freshness, int ageSeconds, bool noFix);
    [[nodiscard]] GaugeFreshness GetFreshness() const { return m_freshness; }

    /// Items added at the end of the pop-up menu; by default the value text.
    [[nodiscard]] virtual QStringList InfoItems() const;
    /// An action of the menu, 1-based; every menu outcome reports one, often out of range.
    virtual void OnAction(int index);
    /// The Reset Gauges command.
    virtual void Reset();
    [[nodiscard]] virtual QString GetValueText() const;
    /// Stores the value and redraws when the face it shows changed.
    virtual void SetValue(double value);
    /// 0 is ignored.
    virtual void SetMode(int mode);
    [[nodiscard]] virtual QString FormatDigital() const;

    /// The pop-up menu: modes, "Analog"/"Digital", actions, then the info items.
    [[nodiscard]] std::vector<CGaugeMenuEntry> MenuEntries() const;
    /// Carries out the menu's outcome for the chosen identifier (0: dismissed).
    void ApplyMenuChoice(int id);
    /// Opens the pop-up menu at `position` (gauge coordinates) and carries out the choice.
    void ShowContextMenu(const QPoint &position);

    /// Draws the gauge as it appears on screen.
    void Render(QPainter &painter);

    /// Hands the value text to screen readers as the gauge's accessible description; only a
    /// changed text is handed on.
    void Describe();

signals:
    /// A tap (press and release without the pop-up menu): the page swaps slots.
    void Tapped(CGauge *gauge);
    /// The mode was stored anew, from the menu, the settings or the page; the page keeps the
    /// instruments' units from it.
    void ModeChanged(int mode);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

    /// The tick ring; by default group squared, halved, ticks per half circle.
    virtual void DrawDial(QPainter &painter);
    /// The value as text over the whole gauge.
    virtual void DrawDigital(QPainter &painter);
    /// The static face: page background, then the dial.
    virtual void DrawBackground(QPainter &painter);
    /// The moving parts of the analog face.
    virtual void DrawAnalog(QPainter &painter);

    /// Whether the face drawn for value `to` differs from the one for `from`; by default always.
    [[nodiscard]] virtual bool Redraws(double, double) const { return true; }
    /// The mode the menu shows checked; by default the stored one.
    [[nodiscard]] virtual int CheckedMode() const { return m_mode; }
    /// A tap at `position` that the gauge takes itself, instead of the page's swap; none by
    /// default.
    virtual bool TapAt(const QPoint &) { return false; }

    void DrawTicks(QPainter &painter, int count);
    void CopyPageBackground(QPainter &painter);
    /// A font of `points` on the design page, scaled with the gauge; weight 400 or 600.
    [[nodiscard]] QFont GaugeFont(int points, int weight = 400) const;
    /// GaugeFont(points, weight), smaller where needed for `text` to fit `room` pixels.
    [[nodiscard]] QFont FittedFont(const QString &text, int points, double room,
                                   int weight = 400) const;
    /// The radius the gauge has on its design page; point sizes are computed from it.
    [[nodiscard]] int DesignRadius() const;
    /// A moving part's colour: as given while the feed is live, grey once it is stale; through
    /// Ink.
    [[nodiscard]] QColor PartColour(const QColor &colour) const;
    /// A colour chosen for the day's light face as it is drawn now: itself, or its red at night.
    [[nodiscard]] QColor Ink(const QColor &day) const;
    /// A moving part's own colour of the red night, grey once the feed is stale.
    [[nodiscard]] QColor RedPart(const QColor &nightRed) const;
    /// The face must be drawn anew at the next paint.
    void InvalidateBackground();
    /// Pens of the dials end round, so short ticks do not look clipped.
    [[nodiscard]] static QPen DialPen(const QColor &colour, double width);

    void SetModeNames(const QStringList &names) { m_modeNames = names; }
    void SetActionNames(const QStringList &names) { m_actionNames = names; }
    void SetDigitalCapable(bool capable) { m_digitalCapable = capable; }
    void SetTickGroup(int group) { m_tickGroup = group; }
    /// Gauges whose value needs a fix show its loss.
    void SetShowsFix(bool shows) { m_showsFix = shows; }
    /// Every change of the mode goes through here.
    void StoreMode(int mode);

private:
    void DrawStatus(QPainter &painter);
    void DrawFocus(QPainter &painter);
    /// The next (or previous) instrument shown beside this one, reading order, wrapping round.
    [[nodiscard]] CGauge *Neighbour(bool forward) const;

    QString m_caption;
    int m_picture = kPictureDashboard;
    int m_position = -1;
    int m_mode = 0;
    bool m_night = false;
    NightColours m_nightColours = NightColours::Red;
    bool m_digitalCapable = false;
    bool m_digital = false;
    QStringList m_actionNames;
    QStringList m_modeNames;
    int m_tickGroup = 10;
    int m_radius = 0;
    double m_value = 0.0;
    QPixmap m_background;
    bool m_backgroundDirty = true;

    const CGaugePage *m_page = nullptr;
    int m_designWidth = 0;
    GaugeFreshness m_freshness = GaugeFreshness::Live;
    int m_ageSeconds = 0;
    bool m_noFix = false;
    bool m_showsFix = false;
    QTimer *m_hold = nullptr;
    bool m_menuShownByHold = false;
    QString m_described;
};

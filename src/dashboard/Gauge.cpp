#include "dashboard/Gauge.h"

#include "base/Mnemonic.h"
#include "widgets/DialFont.h"
#include "widgets/NightPalette.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QImage>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleHints>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <string>

namespace
{

const QColor kMajorTick(0, 0, 0);
const QColor kMiddleTick(0, 0, 255);
const QColor kMinorTick(170, 170, 170);
const QColor kStalePart(150, 150, 150);
const QColor kNoFix(200, 90, 0);

QString Text(const std::string &s)
{
    return QString::fromStdString(s);
}

} // namespace

CGauge::CGauge(const QString &caption, QWidget *parent)
    : QWidget(parent)
    , m_caption(caption)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    // Tab and the arrow keys reach every instrument; Space taps it, the Menu key opens its menu.
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(caption);
    m_hold = new QTimer(this);
    m_hold->setSingleShot(true);
    connect(m_hold, &QTimer::timeout, this, [this] {
        m_menuShownByHold = true;
        ShowContextMenu(mapFromGlobal(QCursor::pos()));
    });
}

CGauge::~CGauge() = default;

void CGauge::SetPicture(int picture)
{
    if (picture == m_picture)
        return;
    m_picture = picture;
    InvalidateBackground();
}

void CGauge::SetPage(const CGaugePage *page)
{
    m_page = page;
    InvalidateBackground();
}

void CGauge::SetDesignWidth(int width)
{
    if (width == m_designWidth)
        return;
    m_designWidth = width;
    InvalidateBackground();
}

void CGauge::SetNight(bool night, bool redraw)
{
    m_night = night;
    // The red face is drawn in its own colours; the inverted one is the day's.
    m_backgroundDirty = true;
    if (redraw)
        update();
}

void CGauge::SetNightColours(NightColours colours, bool redraw)
{
    m_nightColours = colours;
    m_backgroundDirty = true;
    if (redraw)
        update();
}

void CGauge::SetDigital(bool digital)
{
    if (digital == m_digital)
        return;
    m_digital = digital;
    InvalidateBackground();
}

void CGauge::SetModeQuiet(int mode)
{
    StoreMode(mode);
}

void CGauge::StoreMode(int mode)
{
    if (mode == m_mode)
        return;
    m_mode = mode;
    emit ModeChanged(mode);
}

void CGauge::SetFreshness(GaugeFreshness freshness, int ageSeconds, bool noFix)
{
    noFix = noFix && m_showsFix;
    // The age is shown only while stale; a live gauge is not redrawn for its age.
    if (freshness != GaugeFreshness::Stale)
        ageSeconds = 0;
    if (freshness == m_freshness && ageSeconds == m_ageSeconds && noFix == m_noFix)
        return;
    m_freshness = freshness;
    m_ageSeconds = ageSeconds;
    m_noFix = noFix;
    update();
}

QStringList CGauge::InfoItems() const
{
    return {GetValueText()};
}

void CGauge::OnAction(int) {}

void CGauge::Reset()
{
    SetValue(0.0);
}

QString CGauge::GetValueText() const
{
    return Text(GaugeValueText(m_value));
}

void CGauge::SetValue(double value)
{
    if (value == m_value)
        return;
    const double shown = m_value;
    m_value = value;
    if (Redraws(shown, value))
        update();
}

void CGauge::SetMode(int mode)
{
    if (mode == 0)
        return;
    StoreMode(mode);
    InvalidateBackground();
}

QString CGauge::FormatDigital() const
{
    return Text(GaugeDigitalText(m_value));
}

std::vector<CGaugeMenuEntry> CGauge::MenuEntries() const
{
    std::vector<CGaugeMenuEntry> entries;
    int id = 1;
    bool separator = false;
    const auto add = [&](const QString &text, bool checkable, bool checked) {
        entries.push_back({id++, text, checkable, checked, separator});
        separator = false;
    };
    for (const QString &name : m_modeNames)
        add(name, true, id == CheckedMode());
    separator = !m_modeNames.isEmpty();
    if (m_digitalCapable) {
        add(tr("Analog"), true, !m_digital);
        add(tr("Digital"), true, m_digital);
        separator = true;
    }
    for (const QString &name : m_actionNames)
        add(name, false, false);
    separator = separator || !m_actionNames.isEmpty();
    for (const QString &item : InfoItems())
        add(item, false, false);
    return entries;
}

void CGauge::ApplyMenuChoice(int id)
{
    const CMenuOutcome o =
        ResolveMenuChoice(id, m_mode, static_cast<int>(m_modeNames.size()), m_digitalCapable);
    if (o.mode)
        SetMode(*o.mode);
    if (o.digital)
        SetDigital(*o.digital);
    OnAction(o.action);
    Describe();
}

void CGauge::Describe()
{
    const QString text = GetValueText();
    if (text == m_described)
        return;
    m_described = text;
    setAccessibleDescription(text);
}

void CGauge::ShowContextMenu(const QPoint &position)
{
    QMenu menu(this);
    const std::vector<CGaugeMenuEntry> entries = MenuEntries();
    // The value texts at the end only inform; each choice before them gets a keyboard letter.
    const std::size_t choices =
        entries.size() - std::min(entries.size(), static_cast<std::size_t>(InfoItems().size()));
    std::string taken;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const CGaugeMenuEntry &entry = entries[i];
        if (entry.separatorBefore)
            menu.addSeparator();
        QAction *action = menu.addAction(
            i < choices ? QString::fromStdString(AddMnemonic(entry.text.toStdString(), taken))
                        : entry.text);
        action->setData(entry.id);
        action->setCheckable(entry.checkable);
        action->setChecked(entry.checked);
    }
    const QAction *chosen = menu.exec(mapToGlobal(position));
    ApplyMenuChoice(chosen != nullptr ? chosen->data().toInt() : 0);
}

void CGauge::Render(QPainter &painter)
{
    // A gauge drawn before it was ever shown has had no resize event.
    if (GaugeRadius(width()) != m_radius) {
        m_radius = GaugeRadius(width());
        m_backgroundDirty = true;
    }
    const qreal ratio = painter.device()->devicePixelRatioF();
    const QSize pixels = size() * ratio;
    if (m_backgroundDirty || m_background.size() != pixels
        || m_background.devicePixelRatio() != ratio) {
        m_background = QPixmap(pixels);
        m_background.setDevicePixelRatio(ratio);
        m_background.fill(Ink(Qt::white));
        QPainter face(&m_background);
        face.setRenderHint(QPainter::Antialiasing);
        face.setRenderHint(QPainter::TextAntialiasing);
        DrawBackground(face);
        m_backgroundDirty = false;
    }
    painter.save();
    painter.drawPixmap(0, 0, m_background);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setPen(Ink(Qt::black));
    if (m_freshness != GaugeFreshness::Gone) {
        if (m_digital)
            DrawDigital(painter);
        else
            DrawAnalog(painter);
    }
    DrawStatus(painter);
    if (m_night && !IsNightRed()) {
        // White minus every colour: a white face turns black, black marks white.
        painter.setCompositionMode(QPainter::CompositionMode_Difference);
        painter.fillRect(rect(), Qt::white);
    }
    painter.restore();
}

void CGauge::DrawStatus(QPainter &painter)
{
    const int r = m_radius;
    if (m_freshness == GaugeFreshness::Gone) {
        painter.setFont(GaugeFont(DesignRadius() / 2));
        painter.setPen(Ink(kStalePart));
        painter.drawText(rect(), Qt::AlignCenter, QStringLiteral("---"));
        return;
    }
    QStringList words;
    if (m_noFix)
        words << tr("NO FIX");
    if (m_freshness == GaugeFreshness::Stale)
        words << tr("%1 s").arg(m_ageSeconds);
    if (words.isEmpty())
        return;
    // One opaque badge low on the face, over whatever lies there: a fault must read at a glance.
    const QString text = words.join(QStringLiteral("  "));
    const QFont font = FittedFont(text, std::max(4, DesignRadius() / 6), 1.2 * r, 600);
    const QFontMetricsF metrics(font);
    const double w = metrics.horizontalAdvance(text) + metrics.height();
    const double h = metrics.height() * 1.2;
    const QRectF badge(r + 1 - w / 2, r + 0.45 * r - h / 2, w, h);
    const QColor colour =
        m_noFix ? (IsNightRed() ? CNightPalette::Amber() : kNoFix) : Ink(kStalePart);
    painter.setPen(QPen(colour, std::max(1.0, r / 60.0)));
    painter.setBrush(Ink(Qt::white));
    painter.drawRoundedRect(badge, h / 3, h / 3);
    painter.setFont(font);
    painter.drawText(badge, Qt::AlignCenter, text);
}

void CGauge::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    Render(painter);
    DrawFocus(painter);
}

void CGauge::DrawFocus(QPainter &painter)
{
    // As the styles do: only once the keyboard moved the focus, never after a tap.
    if (!hasFocus() || !window()->testAttribute(Qt::WA_KeyboardFocusChange))
        return;
    const double width = std::max(2.0, m_radius / 40.0);
    painter.setPen(QPen(palette().color(QPalette::Highlight), width));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(QRectF(rect()).adjusted(width / 2, width / 2, -width / 2, -width / 2));
}

void CGauge::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_radius = GaugeRadius(width());
    m_backgroundDirty = true;
}

void CGauge::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        // Press and hold opens the menu, as a tap-and-hold does on a touch screen.
        m_menuShownByHold = false;
        m_hold->start(QApplication::styleHints()->mousePressAndHoldInterval());
    }
    QWidget::mousePressEvent(event);
}

void CGauge::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        m_hold->stop();
        const QPoint at = event->position().toPoint();
        if (!m_menuShownByHold && rect().contains(at) && !TapAt(at))
            emit Tapped(this);
        m_menuShownByHold = false;
    }
    QWidget::mouseReleaseEvent(event);
}

void CGauge::contextMenuEvent(QContextMenuEvent *event)
{
    // Right button and the Menu key.
    m_hold->stop();
    const QPoint at =
        event->reason() == QContextMenuEvent::Keyboard ? QPoint(m_radius, m_radius) : event->pos();
    ShowContextMenu(at);
}

void CGauge::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (event->modifiers() == Qt::NoModifier || event->modifiers() == Qt::KeypadModifier) {
            emit Tapped(this);
            return;
        }
        break;
    case Qt::Key_Left:
    case Qt::Key_Up:
    case Qt::Key_Right:
    case Qt::Key_Down:
        if (event->modifiers() == Qt::NoModifier || event->modifiers() == Qt::KeypadModifier) {
            const bool forward = event->key() == Qt::Key_Right || event->key() == Qt::Key_Down;
            if (CGauge *next = Neighbour(forward))
                next->setFocus(forward ? Qt::TabFocusReason : Qt::BacktabFocusReason);
            return;
        }
        break;
    default:
        break;
    }
    QWidget::keyPressEvent(event);
}

CGauge *CGauge::Neighbour(bool forward) const
{
    std::vector<CGauge *> shown;
    if (parentWidget() != nullptr)
        for (CGauge *gauge : parentWidget()->findChildren<CGauge *>(Qt::FindDirectChildrenOnly))
            if (gauge->isVisible())
                shown.push_back(gauge);
    const auto readingOrder = [](const CGauge *a, const CGauge *b) {
        const QPoint p = a->geometry().center(), q = b->geometry().center();
        return p.y() != q.y() ? p.y() < q.y() : p.x() < q.x();
    };
    std::sort(shown.begin(), shown.end(), readingOrder);
    const auto self = std::find(shown.begin(), shown.end(), this);
    if (self == shown.end() || shown.size() < 2)
        return nullptr;
    const auto index = static_cast<std::size_t>(self - shown.begin());
    return shown[(index + (forward ? 1 : shown.size() - 1)) % shown.size()];
}

void CGauge::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    update();
}

void CGauge::focusOutEvent(QFocusEvent *event)
{
    QWidget::focusOutEvent(event);
    update();
}

void CGauge::DrawDial(QPainter &painter)
{
    DrawTicks(painter, m_tickGroup * m_tickGroup / 2);
}

void CGauge::DrawDigital(QPainter &painter)
{
    const QString text = FormatDigital();
    painter.setFont(FittedFont(text, DesignRadius() / 2, 1.6 * m_radius));
    painter.setPen(PartColour(Qt::black));
    painter.drawText(rect(), Qt::AlignCenter, text);
}

QFont CGauge::FittedFont(const QString &text, int points, double room, int weight) const
{
    // The read-out's type is sized for four characters; longer texts must stay off the ticks.
    QFont font = GaugeFont(points, weight);
    const double width = QFontMetricsF(font).horizontalAdvance(text);
    if (width > room)
        font.setPixelSize(std::max(1, static_cast<int>(font.pixelSize() * room / width)));
    return font;
}

void CGauge::DrawBackground(QPainter &painter)
{
    CopyPageBackground(painter);
    DrawDial(painter);
}

void CGauge::DrawAnalog(QPainter &) {}

void CGauge::DrawTicks(QPainter &painter, int count)
{
    if (count <= 0)
        return;
    const int c = m_radius;
    const double heavy = std::max(1, m_radius / 30);
    const QPen pens[] = {DialPen(Ink(kMajorTick), heavy), DialPen(Ink(kMiddleTick), heavy),
                         DialPen(Ink(kMinorTick), 1)};
    painter.save();
    for (int i = 0; i < count; ++i) {
        const CTick t = TickAt(i, count, m_radius, m_tickGroup);
        painter.setPen(pens[static_cast<int>(t.kind)]);
        painter.drawLine(t.outer.x, t.outer.y, t.inner.x, t.inner.y);
        painter.drawLine(2 * c - t.outer.x, 2 * c - t.outer.y, 2 * c - t.inner.x,
                         2 * c - t.inner.y);
    }
    painter.restore();
}

void CGauge::CopyPageBackground(QPainter &painter)
{
    if (m_page == nullptr) {
        painter.fillRect(rect(), Ink(Qt::white));
        return;
    }
    if (IsNightRed()) {
        // The page's picture has gradients and shadows: reddened pixel by pixel, once per face.
        const qreal ratio = painter.device()->devicePixelRatioF();
        QImage picture(size() * ratio, QImage::Format_RGB32);
        picture.setDevicePixelRatio(ratio);
        picture.fill(Qt::white);
        QPainter page(&picture);
        page.setRenderHints(painter.renderHints());
        m_page->PaintBackground(page, geometry(), m_picture);
        page.end();
        CNightPalette::Redden(picture);
        painter.drawImage(0, 0, picture);
        return;
    }
    painter.save();
    m_page->PaintBackground(painter, geometry(), m_picture);
    painter.restore();
}

QFont CGauge::GaugeFont(int points, int weight) const
{
    const double scale = static_cast<double>(m_radius) / std::max(1, DesignRadius());
    return DialFont(static_cast<double>(std::lround(PointsToPixels(points) * scale)),
                    weight >= 600);
}

int CGauge::DesignRadius() const
{
    return m_designWidth > 0 ? GaugeRadius(m_designWidth) : m_radius;
}

QColor CGauge::PartColour(const QColor &colour) const
{
    return Ink(m_freshness == GaugeFreshness::Live ? colour : kStalePart);
}

QColor CGauge::RedPart(const QColor &nightRed) const
{
    return m_freshness == GaugeFreshness::Live ? nightRed : Ink(kStalePart);
}

QColor CGauge::Ink(const QColor &day) const
{
    return IsNightRed() ? CNightPalette::FromDay(day) : day;
}

void CGauge::InvalidateBackground()
{
    m_backgroundDirty = true;
    update();
}

QPen CGauge::DialPen(const QColor &colour, double width)
{
    QPen pen(colour, width);
    pen.setCapStyle(Qt::RoundCap);
    return pen;
}

#include "dashboard/DigiDash.h"

#include "dashboard/Altimeter.h"
#include "dashboard/Clock.h"
#include "dashboard/Compass.h"
#include "dashboard/CompassMath.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DigiPalette.h"
#include "dashboard/GaugePage.h"
#include "dashboard/HeadUpPalette.h"
#include "dashboard/MileageCounter.h"
#include "dashboard/PageArtwork.h"
#include "dashboard/Speedometer.h"
#include "dashboard/TripComputer.h"
#include "dashboard/TripPage.h"
#include "dashboard/TripStore.h"
#include "settings/DisplaySettings.h"
#include "widgets/DialFont.h"

#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QImage>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

namespace
{

// Metres per trip unit; the mile is the distance texts' one.
double MetresPer(UnitSystem units)
{
    switch (units) {
    case UnitSystem::Imperial:
        return 1609.3;
    case UnitSystem::Nautic:
        return 1852.0;
    case UnitSystem::Metric:
        break;
    }
    return 1000.0;
}

// Sizes come from the widest value a read-out usually has, so the digits keep their size as
// the value changes; a wider one is shrunk on its own.
const char *const kValueTemplates[CDigiDash::kFieldCount] = {"888.8", "888°", "8888", "88:88:88",
                                                             "888.8"};
// The unit each read-out is sized for, for the same reason: the nautical ones, though the trip's
// "miles" is wider than reckoned.
constexpr std::string_view kUnitTemplates[CDigiDash::kFieldCount] = {
    UnitLabel(UnitQuantity::Speed, UnitSystem::Nautic), "NW",
    UnitLabel(UnitQuantity::Height, UnitSystem::Imperial), "",
    UnitLabel(UnitQuantity::Distance, UnitSystem::Nautic)};

constexpr double kUnitScale = 0.42; // the unit's size against the digits'
constexpr double kUnitGap = 0.18;   // between digits and unit, in digit sizes
constexpr double kCaptionShare = 0.2;
// The speed stays the largest read-out even where another's cell would allow more.
constexpr double kOthersAtMost = 0.85;
// The warning's band: a share of the height, never less than a line can be read in.
constexpr double kWarningShare = 0.12;
constexpr double kWarningLeast = 30.0;
// A finger held this long opens the menu instead of closing the page.
constexpr int kLongPressMs = 600;

// The time's zone is no unit: it goes beside the caption, and the digits get the width.
bool UnitInCaption(CDigiDash::Field field)
{
    return field == CDigiDash::kTime;
}

struct CCellParts {
    QRectF caption;
    QRectF value;
};

CCellParts Split(const QRectF &box)
{
    const double pad = 0.07 * std::min(box.width(), box.height());
    const QRectF inner = box.adjusted(pad, pad, -pad, -pad);
    const double band = kCaptionShare * inner.height();
    return {QRectF(inner.left(), inner.top(), inner.width(), band),
            QRectF(inner.left(), inner.top() + band, inner.width(), inner.height() - band)};
}

double Advance(double pixels, bool bold, const QString &text)
{
    return QFontMetricsF(DialFont(pixels, bold)).horizontalAdvance(text);
}

// The largest digits whose template and unit fit the cell's value area.
double FitPixels(const QRectF &box, CDigiDash::Field field)
{
    constexpr double probe = 100.0;
    const QRectF area = Split(box).value;
    const QFontMetricsF metrics(DialFont(probe, true));
    const double byHeight = 0.85 * area.height() / (metrics.capHeight() / probe);
    double across = Advance(probe, true, QString::fromUtf8(kValueTemplates[field])) / probe;
    if (!UnitInCaption(field))
        across +=
            kUnitGap
            + Advance(probe * kUnitScale, false,
                      QString::fromLatin1(kUnitTemplates[field].data(),
                                          static_cast<qsizetype>(kUnitTemplates[field].size())))
                  / probe;
    return std::max(1.0, std::min(byHeight, area.width() / across));
}

// Cells as fractions of the page: x, y, width, height.
struct CFraction {
    double x, y, w, h;
};
using CGrid = std::array<CFraction, CDigiDash::kFieldCount>;
constexpr CGrid kGrids[] = {
    // two columns, the speed across the top
    {{{0, 0, 1, 0.4},
      {0, 0.4, 0.5, 0.3},
      {0.5, 0.4, 0.5, 0.3},
      {0, 0.7, 0.5, 0.3},
      {0.5, 0.7, 0.5, 0.3}}},
    // one column of rows, for a screen held upright
    {{{0, 0, 1, 0.28},
      {0, 0.28, 1, 0.18},
      {0, 0.46, 1, 0.18},
      {0, 0.64, 1, 0.18},
      {0, 0.82, 1, 0.18}}},
    // three columns, the speed down the left, for a wide strip
    {{{0, 0, 0.4, 1},
      {0.4, 0, 0.3, 0.5},
      {0.7, 0, 0.3, 0.5},
      {0.4, 0.5, 0.3, 0.5},
      {0.7, 0.5, 0.3, 0.5}}},
};

} // namespace

CDigiDash::CDigiDash(const CDashboard &dashboard, const CDisplaySettings &display, QWidget *parent)
    : QWidget(parent)
    , m_dashboard(dashboard)
    , m_display(display)
{
    setObjectName(QStringLiteral("digitalDashboard"));
    setWindowTitle(tr("Digital Dashboard"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    // Night mode, and units the instruments have just taken.
    connect(&m_display, &CDisplaySettings::Changed, this, [this] { update(); });
    m_page = LoadDigitalPage() == kPageTrip ? kPageTrip : kPageReadOuts;
    m_headUp = LoadHeadUp();
    m_longPress = new QTimer(this);
    m_longPress->setSingleShot(true);
    m_longPress->setInterval(kLongPressMs);
    connect(m_longPress, &QTimer::timeout, this, [this] {
        if (!m_pressed)
            return;
        m_pressed = false; // the release that follows is no tap
        ShowMenu(m_pressAt);
    });
}

void CDigiDash::SetTrip(const CTripComputer *trip,
                        std::function<std::optional<CTripTarget>()> target)
{
    m_trip = trip;
    m_target = std::move(target);
    update();
}

std::vector<CTripText> CDigiDash::GetTripTexts() const
{
    const CInstrumentUnits &units = m_dashboard.GetInstrumentUnits();
    const CTripUnits shown{units.speed.value_or(UnitSystem::Metric), units.trip, units.altitude};
    const CTripFigures figures = m_trip != nullptr ? m_trip->GetFigures() : CTripFigures{};
    return TripTexts(figures, shown, m_target ? m_target() : std::nullopt);
}

void CDigiDash::SetSpeedWarning(const QString &text)
{
    if (text == m_warning)
        return;
    m_warning = text;
    update();
}

void CDigiDash::SetPage(Page page)
{
    if (page == m_page)
        return;
    m_page = page;
    StoreDigitalPage(page);
    update();
}

QStringList CDigiDash::MenuTexts() const
{
    return {tr("Read-outs"), tr("Trip Computer"), tr("Reset Trip"), tr("Speed Alarm..."),
            tr("Head-Up Display (Mirrored)")};
}

void CDigiDash::ApplyMenuChoice(int index)
{
    switch (index) {
    case 0:
        SetPage(kPageReadOuts);
        break;
    case 1:
        SetPage(kPageTrip);
        break;
    case 2:
        emit ResetTripChosen();
        break;
    case 3:
        emit SpeedAlarmChosen();
        break;
    case 4:
        SetHeadUp(!m_headUp);
        break;
    default:
        break;
    }
}

void CDigiDash::ShowMenu(const QPoint &position)
{
    QMenu menu(this);
    const QStringList texts = MenuTexts();
    for (int i = 0; i < texts.size(); ++i) {
        if (i == 2 || i == 4)
            menu.addSeparator();
        QAction *action = menu.addAction(texts[i]);
        action->setData(i);
        action->setCheckable(i < 2 || i == 4);
        action->setChecked(i == m_page || (i == 4 && m_headUp));
    }
    if (const QAction *chosen = menu.exec(mapToGlobal(position)))
        ApplyMenuChoice(chosen->data().toInt());
}

QRectF CDigiDash::WarningArea() const
{
    if (m_warning.isEmpty())
        return {};
    const double band = std::max(kWarningLeast, kWarningShare * height());
    return {0.0, 0.0, static_cast<double>(width()), std::min(band, 0.3 * height())};
}

QRectF CDigiDash::PageArea() const
{
    const QRectF warning = WarningArea();
    return QRectF(0.0, warning.height(), width(), height() - warning.height());
}

void CDigiDash::DrawWarning(QPainter &painter) const
{
    const QRectF band = WarningArea();
    if (band.isEmpty())
        return;
    const CDigiPalette &palette = Palette();
    painter.fillRect(band, palette.warningFill);
    QFont font = DialFont(0.5 * band.height(), true);
    const double room = 0.94 * band.width();
    const double wide = QFontMetricsF(font).horizontalAdvance(m_warning);
    if (wide > room)
        font.setPixelSize(std::max(1, static_cast<int>(font.pixelSize() * room / wide)));
    painter.setFont(font);
    painter.setPen(palette.warningText);
    painter.drawText(band, Qt::AlignCenter | Qt::TextSingleLine, m_warning);
}

void CDigiDash::Refresh()
{
    update();
}

CDigiDash::CReadOut CDigiDash::GetReadOut(Field field) const
{
    const CInstrumentUnits &units = m_dashboard.GetInstrumentUnits();
    CReadOut out;
    switch (field) {
    case kSpeed: {
        // A speedometer mode outside the unit systems shows km/h.
        const CSpeedometer &speed = *m_dashboard.GetSpeedometer();
        out = {speed.GetCaption(), QString::number(speed.GetValue(), 'f', 1),
               UnitLabelText(UnitQuantity::Speed, units.speed.value_or(UnitSystem::Metric)),
               speed.GetFreshness()};
        break;
    }
    case kHeading: {
        const CCompass &compass = *m_dashboard.GetCompass();
        out = {compass.GetCaption(), QStringLiteral("%1°").arg(WholeDegrees(compass.GetCourse())),
               QLatin1String(CompassPoint(compass.GetCourse())), compass.GetFreshness()};
        break;
    }
    case kAltitude: {
        const CAltimeter &altitude = *m_dashboard.GetAltimeter();
        out = {altitude.GetCaption(), QString::number(std::lround(altitude.GetValue())),
               UnitLabelText(UnitQuantity::Height, units.altitude), altitude.GetFreshness()};
        break;
    }
    case kTime: {
        const CClock &clock = *m_dashboard.GetClock();
        out = {clock.GetCaption(), clock.FormatDigital(), clock.GetZoneCaption(),
               clock.GetFreshness()};
        break;
    }
    case kTrip: {
        const CMileageCounter &mileage = *m_dashboard.GetMileageCounter();
        out = {
            tr("Trip"),
            QString::number(mileage.GetMileage().GetTripMetres() / MetresPer(units.trip), 'f', 1),
            UnitLabelText(UnitQuantity::Distance, units.trip), mileage.GetFreshness()};
        break;
    }
    }
    if (out.freshness == GaugeFreshness::Gone)
        out.value = QStringLiteral("---");
    return out;
}

CDigiDash::CLayout CDigiDash::Layout(const QSizeF &size) const
{
    const double margin = 0.02 * std::min(size.width(), size.height());
    const QRectF page = QRectF(QPointF(0, 0), size).adjusted(margin, margin, -margin, -margin);
    CLayout best{};
    double bestScore = -1.0;
    for (const CGrid &grid : kGrids) {
        CLayout layout{};
        for (int i = 0; i < kFieldCount; ++i) {
            const CFraction &f = grid[static_cast<std::size_t>(i)];
            const QRectF box(page.left() + f.x * page.width(), page.top() + f.y * page.height(),
                             f.w * page.width(), f.h * page.height());
            CCell &cell = layout[static_cast<std::size_t>(i)];
            cell.box = box.adjusted(margin / 2, margin / 2, -margin / 2, -margin / 2);
            cell.valuePixels = FitPixels(cell.box, static_cast<Field>(i));
        }
        double smallest = layout[kSpeed].valuePixels;
        for (int i = kSpeed + 1; i < kFieldCount; ++i) {
            CCell &cell = layout[static_cast<std::size_t>(i)];
            cell.valuePixels =
                std::min(cell.valuePixels, kOthersAtMost * layout[kSpeed].valuePixels);
            smallest = std::min(smallest, cell.valuePixels);
        }
        if (smallest > bestScore) {
            bestScore = smallest;
            best = layout;
        }
    }
    return best;
}

void CDigiDash::SetHeadUp(bool on)
{
    if (on == m_headUp)
        return;
    m_headUp = on;
    StoreHeadUp(on);
    update();
}

CDigiPalette CDigiDash::Palette() const
{
    const bool night = m_display.IsNightMode();
    return m_headUp ? HeadUpPalette(night) : CDigiPalette::Of(night);
}

QPoint CDigiDash::FacePixel(const QPointF &point) const
{
    // Column by column, as the page is flipped: mirroring the coordinate instead would move a
    // mouse's whole-pixel position onto the next column.
    const QPoint pixel(static_cast<int>(std::floor(point.x())),
                       static_cast<int>(std::floor(point.y())));
    return m_headUp ? QPoint(width() - 1 - pixel.x(), pixel.y()) : pixel;
}

void CDigiDash::Render(QPainter &painter)
{
    if (!m_headUp) {
        RenderFace(painter);
        return;
    }
    // Drawn upright and flipped whole: under a mirroring transform glyphs and antialiased
    // edges would fall on other pixels, and the reflection would not be the page.
    const qreal ratio = painter.device() != nullptr ? painter.device()->devicePixelRatioF() : 1.0;
    // Opaque, as the page is: a plain copy to the screen.
    QImage face((QSizeF(size()) * ratio).toSize(), QImage::Format_RGB32);
    face.setDevicePixelRatio(ratio);
    QPainter facePainter(&face);
    RenderFace(facePainter);
    facePainter.end();
    QImage mirrored = std::move(face).mirrored(true, false);
    mirrored.setDevicePixelRatio(ratio);
    painter.drawImage(QPointF(0, 0), mirrored);
}

void CDigiDash::RenderFace(QPainter &painter)
{
    const bool night = m_display.IsNightMode();
    const CDigiPalette &palette = Palette();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    if (night || m_headUp) {
        painter.fillRect(rect(), palette.background);
    } else {
        painter.save();
        painter.scale(width() / 240.0, height() / 246.0);
        PaintPagePicture(painter, kPictureDigital);
        painter.restore();
    }
    DrawWarning(painter);
    const QRectF area = PageArea();
    if (m_page == kPageTrip) {
        const double margin = 0.015 * std::min(area.width(), area.height());
        DrawTripPage(painter, area.adjusted(margin, margin, -margin, -margin), GetTripTexts(),
                     palette);
        painter.restore();
        return;
    }
    painter.translate(area.topLeft());
    const CLayout layout = Layout(area.size());
    for (int i = 0; i < kFieldCount; ++i) {
        const auto field = static_cast<Field>(i);
        const CCell &cell = layout[static_cast<std::size_t>(i)];
        const double corner = 0.05 * std::min(cell.box.width(), cell.box.height());
        painter.setPen(QPen(palette.cellEdge, 1.0));
        painter.setBrush(palette.cellFill);
        painter.drawRoundedRect(cell.box, corner, corner);
        DrawReadOut(painter, cell, GetReadOut(field), field, cell.valuePixels);
    }
    painter.restore();
}

void CDigiDash::DrawReadOut(QPainter &painter, const CCell &cell, const CReadOut &readOut,
                            Field field, double valuePixels) const
{
    const CDigiPalette &palette = Palette();
    const bool live = readOut.freshness == GaugeFreshness::Live;
    const CCellParts parts = Split(cell.box);

    painter.setFont(DialFont(0.8 * parts.caption.height(), false));
    painter.setPen(palette.caption);
    painter.drawText(parts.caption, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     readOut.caption);
    if (UnitInCaption(field))
        painter.drawText(parts.caption, Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine,
                         readOut.unit);

    const QString digitsTemplate = QString::fromUtf8(kValueTemplates[field]);
    const double slot = Advance(valuePixels, true, digitsTemplate);
    double pixels = valuePixels;
    double valueWidth = Advance(pixels, true, readOut.value);
    if (valueWidth > slot) {
        pixels *= slot / valueWidth;
        valueWidth = Advance(pixels, true, readOut.value);
    }
    const QFont unitFont = DialFont(kUnitScale * valuePixels, false);
    const bool unitAfter = !UnitInCaption(field) && !readOut.unit.isEmpty();
    const double unitWidth =
        unitAfter ? QFontMetricsF(unitFont).horizontalAdvance(readOut.unit) : 0;
    const double gap = unitAfter ? kUnitGap * valuePixels : 0.0;
    const double left = parts.value.center().x() - (slot + gap + unitWidth) / 2;
    const QFont valueFont = DialFont(pixels, true);
    const double baseline =
        parts.value.center().y() + QFontMetricsF(DialFont(valuePixels, true)).capHeight() / 2;

    // Digits right-aligned in their slot, so they stay put as the value changes; "---" centred.
    const bool gone = readOut.freshness == GaugeFreshness::Gone;
    const double x = gone ? left + (slot - valueWidth) / 2 : left + slot - valueWidth;
    painter.setFont(valueFont);
    painter.setPen(live ? palette.value : palette.dim);
    painter.drawText(QPointF(x, baseline), readOut.value);
    if (unitAfter) {
        painter.setFont(unitFont);
        painter.setPen(live ? palette.unit : palette.dim);
        painter.drawText(QPointF(left + slot + gap, baseline), readOut.unit);
    }
}

void CDigiDash::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    Render(painter);
}

void CDigiDash::keyPressEvent(QKeyEvent *event)
{
    // F11 as on the main window: full screen off, which for this window means gone.
    if (event->key() == Qt::Key_Escape || event->key() == Qt::Key_F11) {
        close();
        return;
    }
    if (event->key() == Qt::Key_Tab || event->key() == Qt::Key_Backtab) {
        SetPage(m_page == kPageTrip ? kPageReadOuts : kPageTrip);
        return;
    }
    if (event->key() == Qt::Key_H && event->modifiers() == Qt::NoModifier) {
        SetHeadUp(!m_headUp);
        return;
    }
    if (event->key() == Qt::Key_Menu) {
        ShowMenu(rect().center());
        return;
    }
    QWidget::keyPressEvent(event);
}

void CDigiDash::mousePressEvent(QMouseEvent *event)
{
    m_pressed = event->button() == Qt::LeftButton;
    if (m_pressed) {
        m_pressAt = event->position().toPoint();
        m_longPress->start();
    }
    QWidget::mousePressEvent(event);
}

void CDigiDash::mouseReleaseEvent(QMouseEvent *event)
{
    // A tap anywhere returns; a press that began elsewhere does not.
    const bool tap = m_pressed && event->button() == Qt::LeftButton
                     && rect().contains(FacePixel(event->position()));
    m_pressed = false;
    m_longPress->stop();
    if (tap)
        close();
    else
        QWidget::mouseReleaseEvent(event);
}

bool CDigiDash::focusNextPrevChild(bool)
{
    return false;
}

void CDigiDash::contextMenuEvent(QContextMenuEvent *event)
{
    m_pressed = false;
    m_longPress->stop();
    ShowMenu(event->pos());
}

void CDigiDash::closeEvent(QCloseEvent *event)
{
    QWidget::closeEvent(event);
    if (event->isAccepted())
        emit Closed();
}

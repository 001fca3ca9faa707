#include "app/StatusLine.h"

#include "settings/DisplaySettings.h"
#include "widgets/NightPalette.h"

#include <QPainter>

#include <algorithm>

namespace
{

constexpr int kMinPixels = 11;
constexpr int kMaxPixels = 24;
// One line of this many font heights fills the window's shorter side.
constexpr int kLinesPerSide = 40;
const QString kGap = QStringLiteral("   ");

QString Text(const std::string &text)
{
    return QString::fromStdString(text);
}

} // namespace

CStatusLine::CStatusLine(const CDisplaySettings &display, QWidget *parent)
    : QWidget(parent)
    , m_display(display)
{
    setObjectName(QStringLiteral("statusLine"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    connect(&m_display, &CDisplaySettings::Changed, this, [this](DisplaySetting what) {
        if (what == DisplaySetting::NightMode)
            update();
    });
    FitTo(QSize(480, 640));
}

void CStatusLine::SetTexts(const CStatusTexts &texts)
{
    if (texts == m_texts)
        return;
    m_texts = texts;
    setAccessibleName(GetText());
    update();
}

QString CStatusLine::GetText() const
{
    QStringList parts;
    for (const std::string *part :
         {&m_texts.source, &m_texts.fix, &m_texts.recording, &m_texts.alarm})
        if (!part->empty())
            parts << Text(*part);
    return parts.join(kGap);
}

void CStatusLine::FitTo(const QSize &windowSize)
{
    const int side = std::min(windowSize.width(), windowSize.height());
    QFont f = font();
    f.setPixelSize(std::clamp(side / kLinesPerSide, kMinPixels, kMaxPixels));
    setFont(f);
    const int pad = std::max(2, f.pixelSize() / 5);
    setFixedHeight(QFontMetrics(f).height() + 2 * pad);
    update();
}

void CStatusLine::paintEvent(QPaintEvent *)
{
    ++m_paints;
    const bool night = m_display.IsNightMode();
    const QColor background = night ? CNightPalette::Background() : QColor(232, 232, 232);
    const QColor ink = night ? CNightPalette::Text() : QColor(26, 26, 26);
    const QColor rule = night ? CNightPalette::Band() : QColor(190, 190, 190);
    // Red by day stands out; at night everything is red already, so an alarm is bold only.
    const QColor alert = night ? CNightPalette::Text() : QColor(192, 0, 0);

    QPainter painter(this);
    painter.fillRect(rect(), background);
    painter.setPen(rule);
    painter.drawLine(0, 0, width(), 0);

    QFont bold = font();
    bold.setBold(true);
    const QFontMetrics plain(font());
    const QFontMetrics strong(bold);
    const int pad = std::max(2, font().pixelSize() / 3);
    const QRect area = rect().adjusted(pad, 1, -pad, 0);

    // The alarm keeps the right-hand end; the fix and recording follow the source, which gives
    // way first on a narrow window (a long path or file name).
    const QString alarm = Text(m_texts.alarm);
    const int alarmWidth = alarm.isEmpty() ? 0 : strong.horizontalAdvance(alarm);
    QString middle;
    for (const std::string *part : {&m_texts.fix, &m_texts.recording})
        if (!part->empty())
            middle += kGap + Text(*part);
    const int room =
        area.width() - alarmWidth - (alarm.isEmpty() ? 0 : plain.horizontalAdvance(kGap));
    const int sourceRoom = std::max(0, room - plain.horizontalAdvance(middle));
    const QString source = plain.elidedText(Text(m_texts.source), Qt::ElideMiddle, sourceRoom);
    const QString left = plain.elidedText(source + middle, Qt::ElideRight, std::max(0, room));

    painter.setFont(font());
    painter.setPen(ink);
    painter.drawText(area, Qt::AlignLeft | Qt::AlignVCenter, left);
    if (!alarm.isEmpty()) {
        painter.setFont(bold);
        painter.setPen(alert);
        painter.drawText(area, Qt::AlignRight | Qt::AlignVCenter,
                         strong.elidedText(alarm, Qt::ElideRight, area.width()));
    }
}

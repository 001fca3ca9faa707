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

    // The alarm keeps the right-hand end and the fix is never cut; the source and the recording
    // share what is left, each giving way in its middle (a long device path or file name), the
    // longer one first.
    const QString alarm = Text(m_texts.alarm);
    const int alarmWidth = alarm.isEmpty() ? 0 : strong.horizontalAdvance(alarm + kGap);
    const QString fix = m_texts.fix.empty() ? QString() : kGap + Text(m_texts.fix);
    QString source = Text(m_texts.source);
    QString recording = m_texts.recording.empty() ? QString() : kGap + Text(m_texts.recording);
    const int room = std::max(0, area.width() - alarmWidth - plain.horizontalAdvance(fix));
    int sourceRoom = plain.horizontalAdvance(source);
    int recordingRoom = plain.horizontalAdvance(recording);
    if (sourceRoom + recordingRoom > room) {
        const int half = room / 2;
        if (sourceRoom <= half)
            recordingRoom = room - sourceRoom;
        else if (recordingRoom <= half)
            sourceRoom = room - recordingRoom;
        else
            sourceRoom = recordingRoom = half;
        source = plain.elidedText(source, Qt::ElideMiddle, sourceRoom);
        recording = plain.elidedText(recording, Qt::ElideMiddle, recordingRoom);
    }
    const QString left = source + fix + recording;

    painter.setFont(font());
    painter.setPen(ink);
    painter.drawText(area, Qt::AlignLeft | Qt::AlignVCenter,
                     plain.elidedText(left, Qt::ElideRight, area.width() - alarmWidth));
    if (!alarm.isEmpty()) {
        painter.setFont(bold);
        painter.setPen(alert);
        painter.drawText(area, Qt::AlignRight | Qt::AlignVCenter,
                         strong.elidedText(alarm, Qt::ElideRight, area.width()));
    }
}

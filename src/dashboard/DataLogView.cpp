#include "dashboard/DataLogView.h"

#include "settings/DisplaySettings.h"
#include "settings/SettingsKey.h"
#include "widgets/NightPalette.h"

#include <QCheckBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPainter>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace
{

constexpr std::array<const char *, CDataLogView::kFilterCount> kFilterNames = {
    "GGA", "GSA", "GSV", "RMC", "VTG", "others"};
constexpr std::array<const char *, CDataLogView::kFilterCount> kFilterValues = {
    "ShowGGA", "ShowGSA", "ShowGSV", "ShowRMC", "ShowVTG", "ShowOthers"};
// Repaint at most this often: a fast replay brings thousands of lines a second.
constexpr int kRefreshMs = 50;

std::string_view WithoutLineEnd(std::string_view line)
{
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.remove_suffix(1);
    return line;
}

} // namespace

CLineHistory::CLineHistory(std::size_t capacity)
    : m_lines(std::max<std::size_t>(capacity, 1))
{
}

void CLineHistory::Add(std::string_view line)
{
    std::size_t slot;
    if (m_size < m_lines.size()) {
        slot = (m_first + m_size) % m_lines.size();
        ++m_size;
    } else {
        slot = m_first;
        m_first = (m_first + 1) % m_lines.size();
        ++m_dropped;
    }
    m_lines[slot].assign(line); // reuses the slot's buffer
}

const std::string &CLineHistory::At(std::size_t index) const
{
    return m_lines[(m_first + index) % m_lines.size()];
}

CLineView::CLineView(const CLineHistory &history, const CDisplaySettings &display, QWidget *parent)
    : QAbstractScrollArea(parent)
    , m_history(history)
    , m_display(display)
{
    setObjectName(QStringLiteral("dataLines"));
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setStyleHint(QFont::Monospace);
    setFont(font);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    verticalScrollBar()->setSingleStep(1);
    connect(&m_display, &CDisplaySettings::Changed, this, [this](DisplaySetting what) {
        if (what == DisplaySetting::NightMode)
            viewport()->update();
    });
}

int CLineView::LineHeight() const
{
    return std::max(1, fontMetrics().lineSpacing());
}

int CLineView::VisibleLines() const
{
    return std::max(1, viewport()->height() / LineHeight());
}

void CLineView::Refresh(bool follow, std::size_t droppedSinceLast)
{
    QScrollBar *bar = verticalScrollBar();
    const int lines = static_cast<int>(m_history.Size());
    const int maximum = std::max(0, lines - VisibleLines());
    // While not following, keep the same lines in view when old ones scroll away.
    const int value = follow ? maximum : bar->value() - static_cast<int>(droppedSinceLast);
    bar->setPageStep(VisibleLines());
    bar->setRange(0, maximum);
    bar->setValue(std::clamp(value, 0, maximum));
    viewport()->update();
}

void CLineView::paintEvent(QPaintEvent *)
{
    QPainter painter(viewport());
    const bool night = m_display.IsNightMode();
    painter.fillRect(viewport()->rect(),
                     night ? CNightPalette::Background() : QColor(255, 255, 255));
    painter.setPen(night ? CNightPalette::Text() : QColor(0, 0, 0));
    const int height = LineHeight();
    const int ascent = fontMetrics().ascent();
    const std::size_t first = static_cast<std::size_t>(verticalScrollBar()->value());
    const std::size_t end = std::min(m_history.Size(), first + VisibleLines() + 1);
    int y = 0;
    for (std::size_t i = first; i < end; ++i, y += height) {
        const std::string_view line = WithoutLineEnd(m_history.At(i));
        painter.drawText(2, y + ascent,
                         QString::fromLatin1(line.data(), static_cast<qsizetype>(line.size())));
    }
}

void CLineView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    const bool atEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    Refresh(atEnd, 0);
}

CDataLogView::CDataLogView(const CDisplaySettings &display, QWidget *parent)
    : QWidget(parent)
    , m_history(kHistoryLines)
{
    setObjectName(QStringLiteral("dataPage"));
    setAccessibleName(tr("Data"));
    m_show.fill(true);
    CSettingsKey key;
    if (key.Open(kSettingsKey, true)) {
        for (int i = 0; i < kFilterCount; ++i) {
            std::int32_t value = 1;
            if (key.ReadNumber(kFilterValues[i], value))
                m_show[i] = value != 0;
        }
    }

    auto *filters = new QHBoxLayout;
    filters->setContentsMargins(4, 2, 4, 2);
    for (int i = 0; i < kFilterCount; ++i) {
        m_boxes[i] = new QCheckBox(QString::fromLatin1(kFilterNames[i]), this);
        m_boxes[i]->setObjectName(QStringLiteral("show") + QString::fromLatin1(kFilterNames[i]));
        m_boxes[i]->setChecked(m_show[i]);
        const int type = i < kFilterCount - 1 ? i : -1;
        connect(m_boxes[i], &QCheckBox::toggled, this,
                [this, type](bool on) { SetShown(type, on); });
        filters->addWidget(m_boxes[i]);
    }
    filters->addStretch();
    m_pause = new QCheckBox(tr("Pause"), this);
    m_pause->setObjectName(QStringLiteral("pause"));
    m_pause->setToolTip(tr("Stop following the newest line"));
    connect(m_pause, &QCheckBox::toggled, this, [this] { Refresh(); });
    filters->addWidget(m_pause);

    m_view = new CLineView(m_history, display, this);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(filters);
    layout->addWidget(m_view, 1);

    m_refresh = new QTimer(this);
    m_refresh->setSingleShot(true);
    m_refresh->setInterval(kRefreshMs);
    connect(m_refresh, &QTimer::timeout, this, [this] { Refresh(); });
}

void CDataLogView::AddLine(int type, std::string_view line)
{
    if (!m_show[FilterIndex(type)])
        return;
    m_history.Add(line);
    if (!m_refresh->isActive())
        m_refresh->start();
}

void CDataLogView::SetShown(int type, bool shown)
{
    const int index = FilterIndex(type);
    m_show[index] = shown;
    if (m_boxes[index]->isChecked() != shown)
        m_boxes[index]->setChecked(shown);
    // Kept at once: a filter is a choice the user expects to find again.
    CSettingsKey key;
    if (key.Open(kSettingsKey, true))
        key.WriteNumber(kFilterValues[index], shown ? 1 : 0);
}

bool CDataLogView::IsPaused() const
{
    return m_pause->isChecked();
}

void CDataLogView::Refresh()
{
    const std::size_t dropped = m_history.Dropped() - m_droppedShown;
    m_droppedShown = m_history.Dropped();
    m_view->Refresh(!IsPaused(), dropped);
}

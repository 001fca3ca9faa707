#include "app/ReplayBar.h"

#include "receiver/DataSource.h"
#include "settings/DisplaySettings.h"
#include "widgets/NightPalette.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace
{

constexpr int kTickMs = 250;
constexpr int kMinPixels = 12;
constexpr int kMaxPixels = 26;
// The bar's text against the window's shorter side, a little larger than the status line's:
// it is read and touched while driving.
constexpr int kLinesPerSide = 34;

QString Text(const std::string &text)
{
    return QString::fromStdString(text);
}

} // namespace

CReplayBar::CReplayBar(const CDisplaySettings &display, CDataSource &source, QWidget *parent)
    : QWidget(parent)
    , m_display(display)
    , m_source(source)
{
    setObjectName(QStringLiteral("replayBar"));
    setAutoFillBackground(true);
    auto *rows = new QVBoxLayout(this);
    auto *top = new QHBoxLayout;
    rows->addLayout(top);
    m_play = new QToolButton(this);
    m_play->setObjectName(QStringLiteral("replayPlay"));
    m_time = new QLabel(this);
    m_time->setObjectName(QStringLiteral("replayTime"));
    m_progress = new QLabel(this);
    m_progress->setObjectName(QStringLiteral("replayProgress"));
    m_speed = new QComboBox(this);
    m_speed->setObjectName(QStringLiteral("replaySpeed"));
    m_speed->setAccessibleName(tr("Replay speed"));
    for (const CReplaySpeed &speed : kReplaySpeeds)
        m_speed->addItem(Text(ReplaySpeedText(speed.delayMs)), speed.delayMs);
    m_loop = new QToolButton(this);
    m_loop->setObjectName(QStringLiteral("replayLoop"));
    m_loop->setText(tr("Loop"));
    m_loop->setCheckable(true);
    top->addWidget(m_play);
    top->addWidget(m_time);
    top->addWidget(m_progress, 1);
    top->addWidget(m_speed);
    top->addWidget(m_loop);
    m_slider = new QSlider(Qt::Horizontal, this);
    m_slider->setObjectName(QStringLiteral("replaySlider"));
    m_slider->setAccessibleName(tr("Replay position"));
    rows->addWidget(m_slider);
    // The window's keys (Space, arrows, Page Up and Down) stay the replay's: the bar is worked by
    // pointer and touch.
    for (QWidget *w : {static_cast<QWidget *>(m_play), static_cast<QWidget *>(m_speed),
                       static_cast<QWidget *>(m_loop), static_cast<QWidget *>(m_slider)})
        w->setFocusPolicy(Qt::NoFocus);

    connect(m_play, &QToolButton::clicked, this, [this] { TogglePause(); });
    connect(m_loop, &QToolButton::clicked, this, [this] { ToggleLoop(); });
    connect(m_speed, &QComboBox::activated, this,
            [this](int i) { emit SpeedChosen(m_speed->itemData(i).toUInt()); });
    connect(m_slider, &QSlider::sliderMoved, this, [this](int epoch) {
        const CReplayIndex &index = m_control.GetIndex();
        if (epoch >= 0 && static_cast<std::size_t>(epoch) < index.GetSize())
            m_time->setText(Text(LogTimeText(index.GetEpoch(epoch).seconds) + " UTC"));
    });
    connect(m_slider, &QSlider::sliderReleased, this,
            [this] { SeekToEpoch(static_cast<std::size_t>(m_slider->value())); });
    connect(m_slider, &QSlider::valueChanged, this, [this](int epoch) {
        // A click on the groove; a drag seeks once, when let go.
        if (!m_refreshing && !m_slider->isSliderDown())
            SeekToEpoch(static_cast<std::size_t>(epoch));
    });
    m_tick = new QTimer(this);
    m_tick->setInterval(kTickMs);
    connect(m_tick, &QTimer::timeout, this, [this] { Refresh(); });
    connect(&m_display, &CDisplaySettings::Changed, this, [this](DisplaySetting what) {
        if (what == DisplaySetting::NightMode)
            Restyle();
    });
    hide();
    Restyle();
}

void CReplayBar::Started(const std::string &path)
{
    m_control.Start(CReplayIndex::BuildFromFile(path));
    m_source.PauseReplay(false);
    m_source.SetReplayLoop(m_control.IsLooping());
    {
        const QSignalBlocker block(m_slider);
        m_slider->setRange(0,
                           std::max<int>(0, static_cast<int>(m_control.GetIndex().GetSize()) - 1));
        m_slider->setPageStep(std::max(1, static_cast<int>(CReplayControl::kSeekStepSeconds)));
    }
    m_slider->setEnabled(m_control.CanSeek());
    show();
    m_tick->start();
    Refresh();
}

void CReplayBar::Stopped()
{
    const bool loop = m_control.IsLooping();
    m_control.Stop();
    m_control.SetLooping(loop);
    m_tick->stop();
    hide();
    emit ControlsChanged();
}

void CReplayBar::TogglePause()
{
    if (!m_control.IsActive())
        return;
    m_control.SetPaused(!m_control.IsPaused());
    m_source.PauseReplay(m_control.IsPaused());
    Refresh();
    emit ControlsChanged();
}

void CReplayBar::Step()
{
    if (m_control.IsActive() && m_control.IsPaused())
        m_source.StepReplay();
}

void CReplayBar::SeekBy(double seconds)
{
    Seek(m_control.SeekBy(seconds));
}

void CReplayBar::SeekToEpoch(std::size_t epoch)
{
    Seek(m_control.SeekToEpoch(epoch));
}

void CReplayBar::Seek(const std::optional<CReplaySeek> &seek)
{
    if (seek)
        m_source.SeekReplay(seek->until, seek->rewind);
    Refresh();
}

void CReplayBar::ToggleLoop()
{
    m_control.SetLooping(!m_control.IsLooping());
    m_source.SetReplayLoop(m_control.IsLooping());
    Refresh();
    emit ControlsChanged();
}

QString CReplayBar::GetTimeText() const
{
    return m_time->text();
}

void CReplayBar::Refresh()
{
    m_refreshing = true;
    m_play->setText(m_control.IsPaused() ? tr("Play") : tr("Pause"));
    m_play->setToolTip(m_control.IsPaused() ? tr("Resume the replay (Space)")
                                            : tr("Pause the replay (Space)"));
    m_loop->setChecked(m_control.IsLooping());
    const int rung = static_cast<int>(ReplaySpeedRung(m_source.GetReplayDelay()));
    if (m_speed->currentIndex() != rung)
        m_speed->setCurrentIndex(rung);
    if (!m_slider->isSliderDown()) {
        m_time->setText(Text(m_control.TimeText()));
        if (const std::optional<std::size_t> epoch = m_control.GetEpoch())
            m_slider->setValue(static_cast<int>(*epoch));
        else
            m_slider->setValue(0);
    }
    m_progress->setText(Text(m_control.ProgressText()));
    m_refreshing = false;
}

void CReplayBar::FitTo(const QSize &windowSize)
{
    m_pixels = std::clamp(std::min(windowSize.width(), windowSize.height()) / kLinesPerSide,
                          kMinPixels, kMaxPixels);
    Restyle();
}

void CReplayBar::Restyle()
{
    QFont f = font();
    f.setPixelSize(m_pixels);
    setFont(f);
    QFont bold = f;
    bold.setBold(true);
    m_time->setFont(bold);
    // A finger's worth of height to grab, whatever the style draws.
    m_slider->setMinimumHeight(2 * m_pixels);
    const int pad = std::max(2, m_pixels / 4);
    layout()->setContentsMargins(pad, pad, pad, pad);
    layout()->setSpacing(pad);
    QPalette p = QWidget::palette();
    if (m_display.IsNightMode()) {
        for (QPalette::ColorRole role : {QPalette::Window, QPalette::Base, QPalette::Button})
            p.setColor(role, role == QPalette::Window ? CNightPalette::Background()
                                                      : CNightPalette::Band());
        for (QPalette::ColorRole role :
             {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
            p.setColor(role, CNightPalette::Text());
        p.setColor(QPalette::Highlight, CNightPalette::DimText());
        setPalette(p);
    } else {
        setPalette(QPalette());
    }
}

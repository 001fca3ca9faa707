#pragma once

#include "receiver/ReplayControl.h"

#include <QWidget>

#include <string>
#include <string_view>

class CDataSource;
class CDisplaySettings;
class QComboBox;
class QLabel;
class QSlider;
class QTimer;
class QToolButton;

/// The bar below the pages while a file replays: the log's UTC time, how far in, a slider to
/// seek, pause and play, speed and loop. It carries out the replay commands on the source; where
/// they go is CReplayControl's decision.
class CReplayBar : public QWidget
{
    Q_OBJECT
public:
    CReplayBar(const CDisplaySettings &display, CDataSource &source, QWidget *parent);

    /// A replay of `path` began: its epochs are indexed and the bar shows.
    void Started(const std::string &path);
    /// The replay ended or was closed: the bar goes.
    void Stopped();
    /// Every line the window handles.
    void TakeLine(std::string_view line) { m_control.TakeLine(line); }
    /// The replay's lines start again from the file's first.
    void Rewound() { m_control.Rewound(); }

    void TogglePause();
    void Step();
    void SeekBy(double seconds);
    void SeekToEpoch(std::size_t epoch);
    void ToggleLoop();

    [[nodiscard]] const CReplayControl &GetControl() const { return m_control; }
    /// The time as the bar shows it.
    [[nodiscard]] QString GetTimeText() const;
    /// Brings the texts, slider and buttons up to date now instead of at the next tick.
    void Refresh();
    /// Its text grows with the window, as the status line's does.
    void FitTo(const QSize &windowSize);

signals:
    /// A speed was chosen on the bar.
    void SpeedChosen(unsigned delayMs);
    /// Pause or loop changed: the commands' checks follow.
    void ControlsChanged();

private:
    void Seek(const std::optional<CReplaySeek> &seek);
    void Restyle();

    const CDisplaySettings &m_display;
    CDataSource &m_source;
    CReplayControl m_control;
    QToolButton *m_play = nullptr;
    QLabel *m_time = nullptr;
    QLabel *m_progress = nullptr;
    QSlider *m_slider = nullptr;
    QComboBox *m_speed = nullptr;
    QToolButton *m_loop = nullptr;
    QTimer *m_tick = nullptr;
    bool m_refreshing = false;
    int m_pixels = 12;
};

#pragma once

#include <QAbstractScrollArea>
#include <QWidget>

#include <array>
#include <string>
#include <string_view>
#include <vector>

class CDisplaySettings;
class QCheckBox;
class QTimer;

/// The lines kept by the data page: a ring of the last `capacity` lines, oldest first.
class CLineHistory
{
public:
    explicit CLineHistory(std::size_t capacity);
    void Add(std::string_view line);
    [[nodiscard]] std::size_t Size() const { return m_size; }
    /// Line `index` counted from the oldest kept one.
    [[nodiscard]] const std::string &At(std::size_t index) const;
    /// Lines dropped at the front since the start.
    [[nodiscard]] std::size_t Dropped() const { return m_dropped; }

private:
    std::vector<std::string> m_lines;
    std::size_t m_first = 0;
    std::size_t m_size = 0;
    std::size_t m_dropped = 0;
};

/// The scrolling monospace view of the history, in the display settings' night mode.
class CLineView : public QAbstractScrollArea
{
    Q_OBJECT
public:
    CLineView(const CLineHistory &history, const CDisplaySettings &display, QWidget *parent);
    /// Brings the scroll bar up to date with the history; to the end when following.
    void Refresh(bool follow, std::size_t droppedSinceLast);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    [[nodiscard]] int LineHeight() const;
    [[nodiscard]] int VisibleLines() const;

    const CLineHistory &m_history;
    const CDisplaySettings &m_display;
};

/// The "Data" page: the received lines as they came, with a filter per sentence kind, a bounded
/// history and a pause for reading while data keeps arriving.
class CDataLogView : public QWidget
{
    Q_OBJECT
public:
    /// Filter order: the sentence types 0-4 (GGA, GSA, GSV, RMC, VTG), then "others".
    static constexpr int kFilterCount = 6;
    static constexpr std::size_t kHistoryLines = 5000;
    static constexpr const char *kSettingsKey = "Software/Veloran/DataLog";

    explicit CDataLogView(const CDisplaySettings &display, QWidget *parent = nullptr);

    /// One received line with its sentence type (-1 or any unknown code: others); kept only when
    /// that kind's filter is on.
    void AddLine(int type, std::string_view line);

    [[nodiscard]] bool IsShown(int type) const { return m_show[FilterIndex(type)]; }
    void SetShown(int type, bool shown);

    [[nodiscard]] const CLineHistory &GetHistory() const { return m_history; }

private:
    static int FilterIndex(int type) { return type >= 0 && type < kFilterCount - 1 ? type : 5; }
    [[nodiscard]] bool IsPaused() const;
    void Refresh();

    CLineHistory m_history;
    std::array<bool, kFilterCount> m_show{};
    std::array<QCheckBox *, kFilterCount> m_boxes{};
    QCheckBox *m_pause = nullptr;
    CLineView *m_view = nullptr;
    QTimer *m_refresh = nullptr;
    std::size_t m_droppedShown = 0;
};

#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// Forward declarations only: moc cannot read the core headers' <compare>.
class CDisplaySettings;
class CSignalHistory;
struct CSatelliteRow;
struct CSkyView;
enum class SatelliteSort : std::uint8_t;
class CSatelliteTableModel;
class CSignalChart;
class QBoxLayout;
class QTableView;
struct CSkyEntry;
enum class DisplaySetting : int;

/// The "Satellites" page: a table of the satellites in view, one row each with its signals as
/// bars, and under it (beside it on a wide page) the chart of each system's signal over the
/// last ten minutes. Rows and history come from core models; the page only draws them, no more
/// often than a person can read.
class CSatellitesPage : public QWidget
{
    Q_OBJECT
public:
    /// Follows `display`, which outlives the page.
    explicit CSatellitesPage(const CDisplaySettings &display, QWidget *parent = nullptr);
    ~CSatellitesPage() override;

    /// A complete sky: `entries` the multi-system sky's satellites with their signals (empty
    /// when reading GPS only); `secondsOfDay` the receiver's UTC time, when it sent one.
    void SetSky(const CSkyView &view, const std::vector<CSkyEntry> &entries,
                std::optional<double> secondsOfDay);
    /// A new source or satellite mode: the table empties and the history starts again.
    void Reset();

    /// The rows as the table shows them, in its order.
    [[nodiscard]] const std::vector<CSatelliteRow> &GetRows() const;
    [[nodiscard]] const CSignalHistory &GetHistory() const { return *m_history; }
    /// Sorts as a click on that column's header does.
    void SortBy(SatelliteSort key, bool reversed);

protected:
    void showEvent(QShowEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void Follow(DisplaySetting what);
    void ApplyColours();
    void FitColumns();
    void Refresh();

    const CDisplaySettings &m_display;
    std::unique_ptr<CSignalHistory> m_history;
    CSatelliteTableModel *m_model;
    QTableView *m_table;
    CSignalChart *m_chart;
    QBoxLayout *m_layout;
    std::vector<CSatelliteRow> m_rows; // in the sky's order
    bool m_rowsChanged = false;
    bool m_historyChanged = false;
    qint64 m_refreshedAt = -1;
    qint64 m_chartDrawnAt = -1; // m_clock's milliseconds; below 0 draw at once
    QElapsedTimer m_clock;      // for receivers that send no time
    QTimer m_refresh;
};

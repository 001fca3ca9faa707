#include "dashboard/SatellitesPage.h"

#include "dashboard/GaugeMath.h"
#include "dashboard/SatelliteTable.h"
#include "dashboard/SignalHistory.h"
#include "dashboard/SkyMarkers.h"
#include "nmea/GnssSky.h"
#include "settings/DisplaySettings.h"
#include "widgets/LargeControlsStyle.h"
#include "widgets/NightPalette.h"

#include <QAbstractTableModel>
#include <QBoxLayout>
#include <QEvent>
#include <QHeaderView>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QStyledItemDelegate>
#include <QTableView>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace
{

// The signals last: they take what width there is.
enum Column { kSystem, kNumber, kElevation, kAzimuth, kUsed, kSignal, kColumns };

constexpr std::array<SatelliteSort, kColumns> kColumnSort = {
    SatelliteSort::System,  SatelliteSort::Number, SatelliteSort::Elevation,
    SatelliteSort::Azimuth, SatelliteSort::Used,   SatelliteSort::Signal};

// Sorts whose natural order reads strongest or highest first show a descending arrow.
bool NaturallyDescending(SatelliteSort key)
{
    return key == SatelliteSort::Elevation || key == SatelliteSort::Signal
           || key == SatelliteSort::Used;
}

// The table repaints a few times a second at most, the chart once a second: a 10 Hz receiver
// changes nothing a reader could follow faster, and the chart moves a pixel a second at most.
constexpr int kTableRefreshMs = 150;
constexpr int kChartRefreshMs = 1000;
// Bars run from 0 to this many dB; stronger signals fill them.
constexpr double kFullBarDb = 50.0;
// The page is this many lines of text wide at least before the chart goes beside the table.
constexpr int kSideBySideLines = 36;
// Below this many lines of text in height a page above each other shows the table alone.
constexpr int kTableAndChartLines = 14;
// A signal's slot in the table is at most this many lines of text wide.
constexpr int kLongestBarLines = 14;
// A second without a sample breaks the chart's lines after this gap.
constexpr std::int64_t kGapSeconds = 3;

QColor ColourOf(const CRgb &rgb)
{
    return {rgb.r, rgb.g, rgb.b};
}

// At night every system is a shade of red or dim amber (their shapes still tell them apart);
// blue and green light would spoil dark-adapted eyes.
QColor NightColourOf(GnssSystem system)
{
    static const std::array<QColor, 4> shades = {CNightPalette::Text(), QColor(200, 110, 0),
                                                 CNightPalette::DimText(), QColor(220, 150, 80)};
    return shades[static_cast<std::size_t>(system) % shades.size()];
}

QColor SystemColour(GnssSystem system, bool night)
{
    return night ? NightColourOf(system) : ColourOf(SkyMarkerStyleOf(system).colour);
}

// Markers beside a line of text: as tall as a capital letter.
int MarkerRadius(int lineHeight)
{
    return std::max(3, lineHeight * 3 / 8);
}

// The sky view's marker of a system, `h` its disc's radius.
void DrawSystemMarker(QPainter &painter, QPointF centre, GnssSystem system, int h, bool night)
{
    const CSkyMarkerStyle style = SkyMarkerStyleOf(system);
    const std::vector<CMarkerVertex> corners = SkyMarkerCorners(style.shape, h, 0.0);
    QPainterPath path;
    if (corners.empty()) {
        path.addEllipse(centre, h, h);
    } else {
        path.moveTo(centre + QPointF(corners.front().x, corners.front().y));
        for (const CMarkerVertex &v : corners)
            path.lineTo(centre + QPointF(v.x, v.y));
        path.closeSubpath();
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(SystemColour(system, night));
    painter.drawPath(path);
    painter.restore();
}

struct PageColours {
    QColor background, text, dim, grid, header, barBack;
};

PageColours ColoursOf(bool night)
{
    if (night)
        return {CNightPalette::Background(), CNightPalette::Text(), CNightPalette::DimText(),
                QColor(70, 10, 5),           CNightPalette::Band(), QColor(40, 5, 0)};
    return {QColor(255, 255, 255), QColor(0, 0, 0),       QColor(90, 90, 90),
            QColor(215, 215, 215), QColor(230, 230, 230), QColor(232, 232, 232)};
}

QColor BarColour(int snr, bool night)
{
    if (night)
        return CNightPalette::Text();
    return ColourOf(SignalColour(std::max(snr, 0) * 0.02));
}

QString DegreesText(int degrees)
{
    return QString::number(degrees) + QChar(0x00B0);
}

} // namespace

/// The rows of the table; the page hands it rows sorted as it shows them.
class CSatelliteTableModel : public QAbstractTableModel
{
public:
    explicit CSatelliteTableModel(QObject *parent)
        : QAbstractTableModel(parent)
    {
    }

    void SetRows(std::vector<CSatelliteRow> rows)
    {
        const int before = static_cast<int>(m_rows.size());
        const int after = static_cast<int>(rows.size());
        if (after < before) {
            beginRemoveRows({}, after, before - 1);
            m_rows.resize(rows.size());
            endRemoveRows();
        } else if (after > before) {
            beginInsertRows({}, before, after - 1);
            m_rows.resize(rows.size());
            endInsertRows();
        }
        m_rows = std::move(rows);
        m_widestSignals = 1;
        for (const CSatelliteRow &row : m_rows)
            m_widestSignals = std::max(m_widestSignals, row.bars.size());
        if (after > 0)
            emit dataChanged(index(0, 0), index(after - 1, kColumns - 1));
    }

    [[nodiscard]] const std::vector<CSatelliteRow> &GetRows() const { return m_rows; }
    /// The most bars of any row: every row's bars share that many slots, so that they line
    /// up down the table.
    [[nodiscard]] std::size_t GetWidestSignals() const { return m_widestSignals; }
    [[nodiscard]] SatelliteSort GetSort() const { return m_sort; }
    [[nodiscard]] bool IsReversed() const { return m_reversed; }
    [[nodiscard]] bool IsCompact() const { return m_compact; }

    int rowCount(const QModelIndex &parent) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
    }
    int columnCount(const QModelIndex &parent) const override
    {
        return parent.isValid() ? 0 : kColumns;
    }

    QVariant data(const QModelIndex &index, int role) const override
    {
        if (!index.isValid() || index.row() >= static_cast<int>(m_rows.size()))
            return {};
        const CSatelliteRow &row = m_rows[static_cast<std::size_t>(index.row())];
        if (role == Qt::TextAlignmentRole)
            return index.column() == kSystem || index.column() == kSignal
                       ? QVariant(Qt::AlignLeft | Qt::AlignVCenter)
                       : QVariant(Qt::AlignRight | Qt::AlignVCenter);
        if (role != Qt::DisplayRole && role != Qt::AccessibleTextRole)
            return {};
        switch (index.column()) {
        case kSystem:
            return QString::fromLatin1(GnssSystemName(row.system));
        case kNumber:
            return row.number;
        case kElevation:
            return DegreesText(row.elevation);
        case kAzimuth:
            return DegreesText(row.azimuth);
        case kSignal: {
            QStringList parts;
            for (const CSignalBar &bar : row.bars) {
                const QString value = bar.snr > 0 ? QString::number(bar.snr) : QStringLiteral("-");
                parts << (bar.name.empty()
                              ? value
                              : QString::fromStdString(bar.name) + QLatin1Char(' ') + value);
            }
            return parts.join(QStringLiteral(", "));
        }
        case kUsed:
            return row.used ? tr("Yes") : tr("No");
        default:
            return {};
        }
    }

    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (orientation != Qt::Horizontal || section < 0 || section >= kColumns)
            return {};
        if (role == Qt::TextAlignmentRole)
            return section == kSystem || section == kSignal
                       ? QVariant(Qt::AlignLeft | Qt::AlignVCenter)
                   : section == kUsed ? QVariant(Qt::AlignCenter)
                                      : QVariant(Qt::AlignRight | Qt::AlignVCenter);
        if (role != Qt::DisplayRole)
            return {};
        static const std::array<const char *, kColumns> shortTitles = {"Sys.", "No.", "El.",
                                                                       "Az.",  "Use", "Signal"};
        if (m_compact)
            return tr(shortTitles[static_cast<std::size_t>(section)]);
        static const std::array<const char *, kColumns> titles = {"System", "No.",  "Elev.",
                                                                  "Azim.",  "Used", "Signal"};
        return tr(titles[static_cast<std::size_t>(section)]);
    }

    /// Short column titles, for a narrow table.
    void SetCompact(bool compact)
    {
        if (compact == m_compact)
            return;
        m_compact = compact;
        emit headerDataChanged(Qt::Horizontal, 0, kColumns - 1);
    }

    void SetSort(SatelliteSort key, bool reversed)
    {
        m_sort = key;
        m_reversed = reversed;
    }

private:
    static QString tr(const char *text) { return CSatellitesPage::tr(text); }

    std::vector<CSatelliteRow> m_rows;
    std::size_t m_widestSignals = 1;
    SatelliteSort m_sort = SatelliteSort::System;
    bool m_reversed = false;
    bool m_compact = false;
};

namespace
{

/// Draws the system's marker beside its name, the signals as bars and the used mark.
class CSatelliteDelegate : public QStyledItemDelegate
{
public:
    CSatelliteDelegate(const CSatelliteTableModel &model, const CDisplaySettings &display,
                       QObject *parent)
        : QStyledItemDelegate(parent)
        , m_model(model)
        , m_display(display)
    {
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        const std::vector<CSatelliteRow> &rows = m_model.GetRows();
        if (index.row() >= static_cast<int>(rows.size()))
            return;
        const CSatelliteRow &row = rows[static_cast<std::size_t>(index.row())];
        const bool night = m_display.IsNightMode();
        const PageColours colours = ColoursOf(night);
        const QRect r = option.rect;
        const QFontMetrics metrics(option.font);
        const int pad = std::max(2, metrics.height() / 5);
        painter->save();
        painter->setFont(option.font);
        painter->setPen(colours.text);
        switch (index.column()) {
        case kSystem: {
            const int h = MarkerRadius(metrics.height());
            const QPointF centre(r.left() + pad + 1.5 * h, r.center().y() + 0.5);
            DrawSystemMarker(*painter, centre, row.system, h, night);
            // A narrow table has room for the marker only.
            const QString name = QString::fromLatin1(GnssSystemName(row.system));
            const QRect text = r.adjusted(pad + 3 * h + pad, 0, 0, 0);
            if (metrics.horizontalAdvance(name) <= text.width())
                painter->drawText(text, Qt::AlignLeft | Qt::AlignVCenter, name);
            break;
        }
        case kSignal:
            PaintSignals(*painter, r, row, metrics, colours, night);
            break;
        case kUsed:
            if (row.used) {
                const int d = std::max(4, metrics.height() / 2);
                painter->setRenderHint(QPainter::Antialiasing);
                painter->setPen(Qt::NoPen);
                painter->setBrush(colours.text);
                painter->drawEllipse(
                    QRectF(r.center().x() + 0.5 - d / 2.0, r.center().y() + 0.5 - d / 2.0, d, d));
            }
            break;
        default:
            painter->drawText(r.adjusted(pad, 0, -pad, 0), Qt::AlignRight | Qt::AlignVCenter,
                              index.data().toString());
            break;
        }
        painter->restore();
    }

private:
    void PaintSignals(QPainter &painter, const QRect &r, const CSatelliteRow &row,
                      const QFontMetrics &metrics, const PageColours &colours, bool night) const
    {
        const int line = metrics.height();
        const int pad = std::max(2, line / 5);
        const int gap = line / 2; // between one signal's value and the next one's name
        const auto slotCount = static_cast<int>(m_model.GetWidestSignals());
        // Bars longer than this read no better on a wide window.
        const int slotWidth =
            std::min((r.width() - pad) / std::max(1, slotCount), kLongestBarLines * line);
        const int nameWidth = metrics.horizontalAdvance(QStringLiteral("E5a")) + pad;
        const int valueWidth = metrics.horizontalAdvance(QStringLiteral("00")) + pad;
        const int barHeight = std::max(4, line * 6 / 10);
        int x = r.left() + pad;
        for (const CSignalBar &bar : row.bars) {
            int left = x;
            if (!bar.name.empty() || slotCount > 1) {
                painter.setPen(colours.dim);
                painter.drawText(QRect(left, r.top(), nameWidth, r.height()),
                                 Qt::AlignLeft | Qt::AlignVCenter,
                                 QString::fromStdString(bar.name));
                left += nameWidth;
            }
            const int barWidth = std::max(0, x + slotWidth - left - valueWidth - pad - gap);
            const QRect back(left, r.center().y() - barHeight / 2, barWidth, barHeight);
            painter.fillRect(back, colours.barBack);
            const double fill = std::clamp(bar.snr / kFullBarDb, 0.0, 1.0);
            painter.fillRect(QRectF(back.left(), back.top(), back.width() * fill, back.height()),
                             BarColour(bar.snr, night));
            painter.setPen(colours.text);
            painter.drawText(QRect(back.right() + pad, r.top(), valueWidth, r.height()),
                             Qt::AlignRight | Qt::AlignVCenter,
                             bar.snr > 0 ? QString::number(bar.snr) : QStringLiteral("-"));
            x += slotWidth;
        }
    }

    const CSatelliteTableModel &m_model;
    const CDisplaySettings &m_display;
};

} // namespace

/// Each system's average signal (solid) and best (thin) over the last ten minutes.
class CSignalChart : public QWidget
{
public:
    CSignalChart(const CSignalHistory &history, const CDisplaySettings &display, QWidget *parent)
        : QWidget(parent)
        , m_history(history)
        , m_display(display)
    {
        setObjectName(QStringLiteral("signalChart"));
        setAccessibleName(CSatellitesPage::tr("Signal history"));
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

    QSize sizeHint() const override
    {
        const int line = fontMetrics().height();
        return {16 * line, 7 * line};
    }
    QSize minimumSizeHint() const override
    {
        const int line = fontMetrics().height();
        return {10 * line, 5 * line};
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const bool night = m_display.IsNightMode();
        const PageColours colours = ColoursOf(night);
        painter.fillRect(rect(), colours.background);
        const QFontMetrics metrics = fontMetrics();
        const int line = metrics.height();
        const int pad = std::max(2, line / 4);

        // Title and legend on top, the scale on the left, the time under the plot.
        painter.setPen(colours.text);
        QFont bold = font();
        bold.setBold(true);
        painter.setFont(bold);
        const QString title = CSatellitesPage::tr("Signal, last 10 min");
        painter.drawText(QRect(pad, 0, width() - 2 * pad, line + pad),
                         Qt::AlignLeft | Qt::AlignVCenter, title);
        int legendX = pad + QFontMetrics(bold).horizontalAdvance(title) + 2 * line;
        painter.setFont(font());
        const std::vector<GnssSystem> systems = m_history.GetSystems();
        int legendY = 0;
        for (GnssSystem system : systems) {
            const QString name = QString::fromLatin1(GnssSystemName(system));
            const int w = line + metrics.horizontalAdvance(name) + line / 2;
            if (legendX + w > width() - pad) {
                legendX = pad;
                legendY += line;
            }
            DrawSystemMarker(painter, QPointF(legendX + line / 2.0, legendY + (line + pad) / 2.0),
                             system, MarkerRadius(line), night);
            painter.setPen(colours.text);
            painter.drawText(QRect(legendX + line, legendY, w, line + pad),
                             Qt::AlignLeft | Qt::AlignVCenter, name);
            legendX += w;
        }
        // What the two lines of a system are.
        const double averagePen = std::max(2.0, line / 7.0);
        for (const auto &[text, dotted] : {std::pair{CSatellitesPage::tr("average"), false},
                                           std::pair{CSatellitesPage::tr("best"), true}}) {
            const int w = 3 * line / 2 + metrics.horizontalAdvance(text) + line / 2;
            if (legendX + w > width() - pad) {
                legendX = pad;
                legendY += line;
            }
            const double y = legendY + (line + pad) / 2.0;
            painter.setPen(dotted ? QPen(colours.text, 1.0, Qt::DotLine)
                                  : QPen(colours.text, averagePen));
            painter.drawLine(QPointF(legendX, y), QPointF(legendX + line, y));
            painter.setPen(colours.text);
            painter.drawText(QRect(legendX + line + pad, legendY, w, line + pad),
                             Qt::AlignLeft | Qt::AlignVCenter, text);
            legendX += w;
        }

        const int scaleWidth = metrics.horizontalAdvance(QStringLiteral("50")) + pad;
        // Room above the plot for half its top label.
        QRect area(pad + scaleWidth + pad, legendY + line + pad + line / 2,
                   width() - 3 * pad - scaleWidth - pad, 0);
        area.setBottom(height() - line - pad);
        if (area.width() < 10 || area.height() < 10)
            return;
        const auto yOf = [&](double db) {
            return area.bottom() - std::clamp(db / kFullBarDb, 0.0, 1.0) * area.height();
        };
        // Labels a line apart at least: every 10 dB, else 10, 30 and 50, else 0 and 50.
        const double perTen = area.height() / 5.0;
        const int labelStep = perTen >= line ? 10 : (2 * perTen >= line ? 20 : 50);
        for (int db = 0; db <= 50; db += 10) {
            painter.setPen(colours.grid);
            painter.drawLine(QPointF(area.left(), yOf(db)), QPointF(area.right(), yOf(db)));
            const bool labelled = labelStep == 20 ? db % 20 == 10 : db % labelStep == 0;
            if (labelled) {
                painter.setPen(colours.dim);
                painter.drawText(QRectF(pad, yOf(db) - line / 2.0, scaleWidth, line),
                                 Qt::AlignRight | Qt::AlignVCenter, QString::number(db));
            }
        }
        painter.setPen(colours.dim);
        const QRect timeRow(area.left(), area.bottom() + 1, area.width(), line);
        painter.drawText(timeRow, Qt::AlignLeft | Qt::AlignVCenter, CSatellitesPage::tr("-10 min"));
        painter.drawText(timeRow, Qt::AlignHCenter | Qt::AlignVCenter,
                         CSatellitesPage::tr("-5 min"));
        painter.drawText(timeRow, Qt::AlignRight | Qt::AlignVCenter, CSatellitesPage::tr("now"));

        const std::vector<CSignalSample> samples = m_history.GetSamples();
        if (samples.empty()) {
            painter.drawText(area, Qt::AlignCenter, CSatellitesPage::tr("No signal yet"));
            return;
        }
        const std::int64_t newest = samples.back().second;
        const auto xOf = [&](std::int64_t second) {
            return area.right()
                   - static_cast<double>(newest - second) / CSignalHistory::kWindowSeconds
                         * area.width();
        };
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setClipRect(area.adjusted(0, -1, 1, 1));
        for (GnssSystem system : systems) {
            const auto i = static_cast<std::size_t>(system);
            QPainterPath average;
            QPainterPath best;
            bool open = false;
            std::int64_t last = 0;
            QPointF end;
            for (const CSignalSample &sample : samples) {
                const CSystemSignal &s = sample.systems[i];
                if (!s.present) {
                    open = false;
                    continue;
                }
                const double x = xOf(sample.second);
                if (!open || sample.second - last > kGapSeconds) {
                    average.moveTo(x, yOf(s.average));
                    best.moveTo(x, yOf(s.best));
                } else {
                    average.lineTo(x, yOf(s.average));
                    best.lineTo(x, yOf(s.best));
                }
                open = true;
                last = sample.second;
                end = QPointF(x, yOf(s.average));
            }
            const QColor colour = SystemColour(system, night);
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(colour, 1.0, Qt::DotLine));
            painter.drawPath(best);
            painter.setPen(QPen(colour, averagePen));
            painter.drawPath(average);
            // The system's marker where its line ends: at night every line is red.
            if (open)
                DrawSystemMarker(painter, end - QPointF(MarkerRadius(line), 0), system,
                                 MarkerRadius(line) * 2 / 3, night);
        }
    }

private:
    const CSignalHistory &m_history;
    const CDisplaySettings &m_display;
};

CSatellitesPage::CSatellitesPage(const CDisplaySettings &display, QWidget *parent)
    : QWidget(parent)
    , m_display(display)
    , m_history(std::make_unique<CSignalHistory>())
    , m_model(new CSatelliteTableModel(this))
    , m_table(new QTableView(this))
    , m_chart(new CSignalChart(*m_history, display, this))
    , m_layout(new QBoxLayout(QBoxLayout::TopToBottom, this))
{
    setObjectName(QStringLiteral("satellitesPage"));
    setAccessibleName(tr("Satellites"));
    m_clock.start();
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    m_layout->addWidget(m_table, 3);
    m_layout->addWidget(m_chart, 1);

    m_table->setObjectName(QStringLiteral("satelliteTable"));
    m_table->viewport()->installEventFilter(this);
    m_table->setModel(m_model);
    m_table->setItemDelegate(new CSatelliteDelegate(*m_model, display, m_table));
    m_table->setSelectionMode(QAbstractItemView::NoSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setShowGrid(false);
    m_table->setWordWrap(false);
    m_table->setFrameShape(QFrame::NoFrame);
    m_table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_table->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    QHeaderView *header = m_table->horizontalHeader();
    header->setHighlightSections(false);
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(kSystem, Qt::AscendingOrder);
    header->setSectionResizeMode(QHeaderView::Fixed);
    header->setSectionResizeMode(kSignal, QHeaderView::Stretch);
    // Clicks rather than the indicator: a narrow table hides it.
    connect(header, &QHeaderView::sectionClicked, this, [this](int column) {
        if (column < 0 || column >= kColumns)
            return;
        const SatelliteSort key = kColumnSort[static_cast<std::size_t>(column)];
        SortBy(key, key == m_model->GetSort() && !m_model->IsReversed());
    });

    m_refresh.setSingleShot(true);
    connect(&m_refresh, &QTimer::timeout, this, &CSatellitesPage::Refresh);
    connect(&m_display, &CDisplaySettings::Changed, this, &CSatellitesPage::Follow);
    ApplyColours();
    FitColumns();
}

CSatellitesPage::~CSatellitesPage() = default;

void CSatellitesPage::SetSky(const CSkyView &view, const std::vector<CSkyEntry> &entries,
                             std::optional<double> secondsOfDay)
{
    m_rows = SatelliteRowsOf(view, entries);
    m_history->Add(secondsOfDay.value_or(static_cast<double>(m_clock.elapsed()) / 1000.0), view);
    m_rowsChanged = true;
    m_historyChanged = true;
    if (!isVisible() || m_refresh.isActive())
        return;
    // At once, unless the last refresh was a moment ago: a 1 Hz receiver's sky shows without
    // delay, a 10 Hz one's a few times a second.
    const qint64 since = m_clock.elapsed() - m_refreshedAt;
    if (m_refreshedAt < 0 || since >= kTableRefreshMs)
        Refresh();
    else
        m_refresh.start(static_cast<int>(kTableRefreshMs - since));
}

void CSatellitesPage::Reset()
{
    m_rows.clear();
    m_history->Clear();
    m_chartDrawnAt = -1;
    m_rowsChanged = true;
    m_historyChanged = true;
    if (isVisible())
        Refresh();
}

const std::vector<CSatelliteRow> &CSatellitesPage::GetRows() const
{
    return m_model->GetRows();
}

void CSatellitesPage::SortBy(SatelliteSort key, bool reversed)
{
    m_model->SetSort(key, reversed);
    const auto column = static_cast<int>(std::find(kColumnSort.begin(), kColumnSort.end(), key)
                                         - kColumnSort.begin());
    const Qt::SortOrder order =
        NaturallyDescending(key) != reversed ? Qt::DescendingOrder : Qt::AscendingOrder;
    QHeaderView *header = m_table->horizontalHeader();
    if (header->sortIndicatorSection() != column || header->sortIndicatorOrder() != order) {
        const QSignalBlocker blocker(header);
        header->setSortIndicator(column, order);
    }
    m_rowsChanged = true;
    Refresh();
}

void CSatellitesPage::Refresh()
{
    m_refreshedAt = m_clock.elapsed();
    if (m_rowsChanged) {
        m_rowsChanged = false;
        std::vector<CSatelliteRow> rows = m_rows;
        SortSatelliteRows(rows, m_model->GetSort(), m_model->IsReversed());
        m_model->SetRows(std::move(rows));
    }
    const qint64 now = m_clock.elapsed();
    if (m_historyChanged && (m_chartDrawnAt < 0 || now - m_chartDrawnAt >= kChartRefreshMs)) {
        m_chartDrawnAt = now;
        m_historyChanged = false;
        m_chart->update();
    }
}

void CSatellitesPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_chartDrawnAt = -1;
    Refresh();
}

void CSatellitesPage::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // A landscape page puts the chart beside the table, so that more rows show; not a narrow
    // one, whose table would then want more width than there is.
    const int line = fontMetrics().height();
    const bool wide = width() > height() * 4 / 3 && width() >= kSideBySideLines * line;
    m_layout->setDirection(wide ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    // The table needs about 600 pixels; a wider window shares evenly.
    m_layout->setStretch(0, wide && width() >= 1200 ? 1 : 3);
    m_layout->setStretch(1, wide ? (width() >= 1200 ? 1 : 2) : 1);
    // A page too short for both keeps the table.
    m_chart->setVisible(wide || height() >= kTableAndChartLines * line);
}

bool CSatellitesPage::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_table->viewport() && event->type() == QEvent::Resize)
        FitColumns();
    return QWidget::eventFilter(watched, event);
}

void CSatellitesPage::Follow(DisplaySetting what)
{
    if (what == DisplaySetting::NightMode) {
        ApplyColours();
        m_table->viewport()->update();
        m_chart->update();
    } else if (what == DisplaySetting::LargeControls) {
        FitColumns();
    }
}

void CSatellitesPage::ApplyColours()
{
    const PageColours colours = ColoursOf(m_display.IsNightMode());
    for (QWidget *w : {static_cast<QWidget *>(m_table), m_table->viewport(),
                       static_cast<QWidget *>(m_table->horizontalHeader())}) {
        QPalette p = w->palette();
        p.setColor(QPalette::Base, colours.background);
        p.setColor(QPalette::Window, colours.background);
        p.setColor(QPalette::Text, colours.text);
        p.setColor(QPalette::WindowText, colours.text);
        p.setColor(QPalette::Button, colours.header);
        p.setColor(QPalette::ButtonText, colours.text);
        w->setPalette(p);
    }
}

void CSatellitesPage::FitColumns()
{
    const QFontMetrics metrics = m_table->fontMetrics();
    const int line = metrics.height();
    const int pad = std::max(2, line / 5);
    int rowHeight = line + 2 * pad + 2;
    int headerHeight = rowHeight;
    if (m_display.IsLargeControls() && screen() != nullptr) {
        // Rows are read, not tapped; the header is tapped to sort.
        const int touch = TouchTargetOf(*screen());
        headerHeight = std::max(headerHeight, touch);
        rowHeight = std::max(rowHeight, touch * 2 / 3);
    }
    m_table->verticalHeader()->setDefaultSectionSize(rowHeight);
    QHeaderView *header = m_table->horizontalHeader();
    header->setMinimumHeight(headerHeight);
    const QFontMetrics headerMetrics = header->fontMetrics();
    const int marker = 3 * MarkerRadius(line) + 3 * pad;
    static const QString kGlonass = QString::fromLatin1(GnssSystemName(GnssSystem::GLONASS));
    // Room for the header's text and its sort arrow, or for the widest value; when that leaves
    // the signals too little, short titles, no room for the arrow, and the systems by their
    // markers alone.
    const auto widths = [&](bool compact) {
        m_model->SetCompact(compact);
        const int arrow = compact ? 2 * pad : line + 2 * pad;
        const auto fit = [&](int column, const QString &widest) {
            const QString title =
                m_model->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
            return std::max(headerMetrics.horizontalAdvance(title) + arrow,
                            metrics.horizontalAdvance(widest) + 2 * pad);
        };
        return std::array<int, kSignal>{
            compact ? std::max(fit(kSystem, {}), marker)
                    : std::max(fit(kSystem, {}), marker + metrics.horizontalAdvance(kGlonass)),
            fit(kNumber, QStringLiteral("000")), fit(kElevation, DegreesText(90)),
            fit(kAzimuth, DegreesText(360)), fit(kUsed, QStringLiteral("0"))};
    };
    std::array<int, kSignal> fixed = widths(false);
    const int signalWidth = metrics.horizontalAdvance(QStringLiteral("E5a 00")) + 6 * line;
    if (std::accumulate(fixed.begin(), fixed.end(), 0) + signalWidth > m_table->viewport()->width())
        fixed = widths(true);
    for (int column = 0; column < kSignal; ++column)
        header->resizeSection(column, fixed[static_cast<std::size_t>(column)]);
    header->setSortIndicatorShown(!m_model->IsCompact());
}

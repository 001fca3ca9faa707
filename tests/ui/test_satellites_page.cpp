#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "dashboard/DataLogView.h"
#include "dashboard/SatelliteTable.h"
#include "dashboard/SatellitesPage.h"
#include "dashboard/SignalHistory.h"
#include "nmea/NMEAParser.h"
#include "settings/DisplaySettings.h"
#include "ui/FrameTest.h"

#include <QHeaderView>
#include <QImage>
#include <QTableView>
#include <QTest>

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <tuple>

namespace
{

class SatellitesPageTest : public CFrameTest
{
protected:
    // The multi-system drive, line by line as a receiver sends it.
    void FeedDrive()
    {
        std::ifstream file(VELORAN_NMEA_DATA "/multi_drive.nmea", std::ios::binary);
        ASSERT_TRUE(file);
        std::string line;
        while (std::getline(file, line))
            if (!line.empty() && line[0] == '$')
                m_frame->HandleLine(line + "\n");
    }
    CSatellitesPage &Page() const { return *m_frame->GetSatellitesPage(); }
    QHeaderView &Header() const
    {
        return *Page()
                    .findChild<QTableView *>(QStringLiteral("satelliteTable"))
                    ->horizontalHeader();
    }
    void ClickHeader(const QString &title)
    {
        QHeaderView &header = Header();
        for (int i = 0; i < header.count(); ++i) {
            if (header.model()->headerData(i, Qt::Horizontal).toString() != title)
                continue;
            const QPoint at(header.sectionViewportPosition(i) + header.sectionSize(i) / 2,
                            header.height() / 2);
            QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, at);
            return;
        }
        ADD_FAILURE() << "no column " << title.toStdString();
    }
};

using Ids = std::set<std::pair<GnssSystem, int>>;

Ids IdsOf(const std::vector<CSatelliteRow> &rows)
{
    Ids ids;
    for (const CSatelliteRow &r : rows)
        ids.insert({r.system, r.number});
    return ids;
}

} // namespace

TEST_F(SatellitesPageTest, BetweenListAndData)
{
    const CGPSSheet &sheet = *m_frame->GetSheet();
    QStringList tabs;
    for (int i = 0; i < sheet.count(); ++i)
        tabs << sheet.tabText(i);
    EXPECT_EQ(tabs.join(QLatin1Char(' ')), QStringLiteral("Dashboard Map List Satellites Data"));
    EXPECT_EQ(sheet.widget(kPageSatellites), m_frame->GetSatellitesPage());
    EXPECT_EQ(sheet.widget(kPageData), static_cast<QWidget *>(m_frame->GetDataPage()));
}

TEST_F(SatellitesPageTest, DriveShownSortedAndDrawn)
{
    m_frame->resize(480, 640);
    m_frame->show();
    m_frame->GetSheet()->setCurrentIndex(kPageSatellites);
    FeedDrive();
    Ids sky;
    for (const CSkySatellite &s : SkyViewOf(m_frame->GetParser()).satellites)
        sky.insert({s.system, s.prn});
    ASSERT_GE(sky.size(), 20u);
    ASSERT_TRUE(ProcessUntil([&] { return IdsOf(Page().GetRows()) == sky; }))
        << "the table shows the sky view's satellites";
    EXPECT_EQ(Page().GetRows().size(), sky.size()) << "once each";
    EXPECT_GE(Page().GetHistory().GetSamples().size(), 60u) << "a 70 s drive";

    const auto strengths = [this] {
        std::vector<int> snr;
        for (const CSatelliteRow &r : Page().GetRows())
            snr.push_back(std::max(r.snr, 0));
        return snr;
    };
    ClickHeader(QStringLiteral("Signal"));
    std::vector<int> snr = strengths();
    EXPECT_TRUE(std::is_sorted(snr.rbegin(), snr.rend())) << "strongest first";
    EXPECT_GT(snr.front(), snr.back());
    ClickHeader(QStringLiteral("Signal"));
    snr = strengths();
    EXPECT_TRUE(std::is_sorted(snr.begin(), snr.end())) << "clicked again: weakest first";
    ClickHeader(QStringLiteral("System"));
    const std::vector<CSatelliteRow> &rows = Page().GetRows();
    EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(), [](const auto &a, const auto &b) {
        return std::tie(a.system, a.number) < std::tie(b.system, b.number);
    }));

    // By day the chart draws each system's line; at night nothing on the page is blue or green.
    QCoreApplication::processEvents();
    const QImage day = Page().grab().toImage().convertToFormat(QImage::Format_RGB32);
    std::set<QRgb> colours;
    for (int y = 0; y < day.height(); ++y)
        for (int x = 0; x < day.width(); ++x)
            colours.insert(day.pixel(x, y));
    EXPECT_GT(colours.size(), 20u);
    m_frame->RunCommand(kCmdDisplayMode);
    ASSERT_TRUE(m_frame->GetDisplaySettings().IsNightMode());
    QCoreApplication::processEvents();
    const QImage night = Page().grab().toImage().convertToFormat(QImage::Format_RGB32);
    int offending = 0;
    for (int y = 0; y < night.height(); ++y)
        for (int x = 0; x < night.width(); ++x) {
            const QRgb p = night.pixel(x, y);
            if (qBlue(p) > qGreen(p) || qGreen(p) > qRed(p))
                ++offending;
        }
    EXPECT_EQ(offending, 0) << "blue above green or green above red at night";
}

// Every column's title fits, and the signals keep room for a bar, from a small portrait screen
// under large controls to a wide one.
TEST_F(SatellitesPageTest, ColumnsFitEverySize)
{
    CDisplaySettings display;
    for (const bool large : {false, true}) {
        display.SetLargeControls(large);
        for (const QSize size :
             {QSize(240, 320), QSize(480, 560), QSize(800, 380), QSize(1920, 980)}) {
            SCOPED_TRACE(std::to_string(size.width()) + "x" + std::to_string(size.height())
                         + (large ? " large" : ""));
            CSatellitesPage page(display);
            page.resize(size);
            page.show();
            QCoreApplication::processEvents();
            const auto *table = page.findChild<QTableView *>(QStringLiteral("satelliteTable"));
            const QHeaderView &header = *table->horizontalHeader();
            const int line = table->fontMetrics().height();
            int total = 0;
            for (int i = 0; i < header.count(); ++i) {
                const QString title = header.model()->headerData(i, Qt::Horizontal).toString();
                EXPECT_LE(header.fontMetrics().horizontalAdvance(title), header.sectionSize(i))
                    << title.toStdString();
                total += header.sectionSize(i);
                if (title == QStringLiteral("Signal")) {
                    EXPECT_GE(header.sectionSize(i), 5 * line) << "room for a bar";
                }
            }
            EXPECT_LE(total, table->viewport()->width());

            // Sorting by a click, with or without the header's sort arrow.
            CSkyView sky;
            sky.satellites = {{3, 40, 10, 20, true, GnssSystem::GPS},
                              {5, 40, 10, 45, true, GnssSystem::GPS}};
            page.SetSky(sky, {}, 0.0);
            const int signal = header.logicalIndexAt(header.width() - 2);
            QTest::mouseClick(
                header.viewport(), Qt::LeftButton, {},
                QPoint(header.sectionViewportPosition(signal) + 4, header.height() / 2));
            ASSERT_EQ(page.GetRows().size(), 2u);
            EXPECT_EQ(page.GetRows().front().snr, 45) << "strongest first";
        }
    }
}

#include "NMEATestUtils.h"
#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "dashboard/Clock.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DigiDash.h"
#include "maps/MapDatabase.h"
#include "maps/MapView.h"
#include "ui/UiTestUtils.h"
#include "widgets/MessageBox.h"
#include "widgets/NightPalette.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QImage>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>
#include <QSettings>
#include <QVBoxLayout>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

namespace
{

// What the red night allows: no blue or green light above the red, nothing brighter than 200.
struct CNightCheck {
    long bad = 0;
    QString first;
};

CNightCheck CheckNight(const QImage &grabbed)
{
    const QImage image = grabbed.convertToFormat(QImage::Format_RGB32);
    CNightCheck check;
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = line[x];
            if (qBlue(p) <= qGreen(p) && qGreen(p) <= qRed(p) && qRed(p) <= 200)
                continue;
            if (check.bad++ == 0)
                check.first = QStringLiteral("(%1, %2) is rgb(%3, %4, %5)")
                                  .arg(x)
                                  .arg(y)
                                  .arg(qRed(p))
                                  .arg(qGreen(p))
                                  .arg(qBlue(p));
        }
    }
    return check;
}

// Reds make up more than a few stray pixels: the page was drawn at all.
long LitPixels(const QImage &grabbed)
{
    const QImage image = grabbed.convertToFormat(QImage::Format_RGB32);
    long lit = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            lit += qRed(image.pixel(x, y)) >= 100 ? 1 : 0;
    return lit;
}

// A frame over a map of every colour a map has (water, woods, roads), the fix in its middle,
// satellites of three systems in view.
class NightColoursTest : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        QImage sheet(1000, 800, QImage::Format_RGB32);
        sheet.fill(QColor(242, 239, 233));
        QPainter paint(&sheet);
        paint.fillRect(0, 0, 300, 800, QColor(170, 211, 223));
        paint.fillRect(300, 0, 300, 400, QColor(173, 209, 158));
        paint.fillRect(0, 380, 1000, 40, QColor(255, 200, 60));
        paint.fillRect(600, 0, 20, 800, QColor(0, 0, 255));
        paint.end();
        ASSERT_TRUE(sheet.save(m_data.filePath(QStringLiteral("colours.png"))));
        CMapInfo map;
        map.m_name = "Colours";
        map.m_file = m_data.filePath(QStringLiteral("colours.png")).toStdString();
        map.m_width = 1000;
        map.m_height = 800;
        map.m_pairs.resize(2);
        map.m_pairs[0].m_position = CGeoPosition(48.5, 11.0, 0.0);
        map.m_pairs[1].m_point = {1000, 800};
        map.m_pairs[1].m_position = CGeoPosition(47.5, 12.0, 0.0);
        map.Calibrate();
        ASSERT_EQ(WriteDatabaseFile(JoinDatabasePath(m_data.path().toStdString(), kMapFileName),
                                    {map}, MapCodec()),
                  0);
        m_frame = std::make_unique<CMainFrame>();
        m_frame->resize(800, 480);
        m_frame->show();
        ASSERT_TRUE(m_frame->GetMapView()->WaitForBitmap(5000));
        for (const std::string &line :
             {Sentence("GPGGA,123519.00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,"),
              Sentence("GNGSA,A,3,04,05,09,12,24,,,,,,,,2.5,1.3,2.1,1"),
              Sentence("GPGSV,1,1,04,04,40,083,46,05,17,308,41,09,07,344,12,12,22,228,30,1"),
              Sentence("GLGSV,1,1,02,70,55,120,38,71,10,200,22,1"),
              Sentence("GAGSV,1,1,02,301,33,090,41,302,65,250,18,7"),
              Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,54.0,84.4,230394,,")})
            m_frame->HandleLine(line);
    }
    void TearDown() override
    {
        m_frame.reset();
        CUiTest::TearDown();
    }

    // The whole window as it shows `page`: menu bar, tool bar, tabs, page and status line.
    QImage Window(int page)
    {
        m_frame->GetSheet()->setCurrentIndex(page);
        QCoreApplication::processEvents();
        return m_frame->grab().toImage();
    }

    static void ExpectNight(const QImage &image, const char *what)
    {
        SCOPED_TRACE(what);
        const CNightCheck check = CheckNight(image);
        EXPECT_EQ(check.bad, 0) << check.bad << " pixels, the first " << check.first.toStdString();
        EXPECT_GT(LitPixels(image), 50) << "drawn in readable reds";
    }

    void Night(bool night)
    {
        if (m_frame->GetDisplaySettings().IsNightMode() == night)
            return;
        m_frame->GetSheet()->setCurrentIndex(kPageDashboard);
        m_frame->RunCommand(kCmdDisplayMode);
    }

    std::unique_ptr<CMainFrame> m_frame;
};

} // namespace

// Every page in the window, the window's own bars, a menu, a dialog and the digital dashboard:
// nothing at night in the red colours lets blue or green light out, nothing glares.
TEST_F(NightColoursTest, RedNightHasNoBlueNoGreenAndNoGlare)
{
    ASSERT_TRUE(m_frame->GetMapView()->IsMapLoaded());
    const QImage dayMap = Window(kPageMap);
    EXPECT_GT(CheckNight(dayMap).bad, 1000) << "the day's map has its colours";

    Night(true);
    ASSERT_EQ(m_frame->GetDisplaySettings().GetNightColours(), NightColours::Red)
        << "red is night's default";
    const struct {
        int page;
        const char *name;
    } pages[] = {
        {kPageDashboard, "Dashboard"}, {kPageMap, "Map"}, {kPageList, "List"}, {kPageData, "Data"}};
    // Plain and touch-size controls: the styles draw the bars and tabs differently.
    for (const bool large : {false, true}) {
        SCOPED_TRACE(large ? "large controls" : "plain controls");
        if (m_frame->GetDisplaySettings().IsLargeControls() != large)
            m_frame->RunCommand(kCmdLargeControls);
        for (const auto &p : pages)
            ExpectNight(Window(p.page), p.name);
    }

    QMenu *tools = m_frame->menuBar()->actions().constLast()->menu();
    ASSERT_NE(tools, nullptr);
    tools->popup(m_frame->mapToGlobal(QPoint(0, 0)));
    QCoreApplication::processEvents();
    ExpectNight(tools->grab().toImage(), "the Tools menu");
    tools->hide();

    QDialog dialog(m_frame.get());
    auto *layout = new QVBoxLayout(&dialog);
    layout->addWidget(new QLineEdit(QStringLiteral("Tower"), &dialog));
    auto *check = new QCheckBox(QStringLiteral("Proximity alarm"), &dialog);
    check->setChecked(true);
    layout->addWidget(check);
    auto *combo = new QComboBox(&dialog);
    combo->addItem(QStringLiteral("metres"));
    layout->addWidget(combo);
    layout->addWidget(
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog));
    dialog.show();
    // Qt draws a text cursor by inverting the pixels under it, whatever the palette: a blinking
    // one-pixel line, left out of the picture.
    check->setFocus();
    QCoreApplication::processEvents();
    ExpectNight(dialog.grab().toImage(), "a dialog");
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Veloran"),
                    QStringLiteral("The log file is full."), QMessageBox::Ok, m_frame.get());
    FollowNight(box);
    box.show();
    QCoreApplication::processEvents();
    ExpectNight(box.grab().toImage(), "a message box");

    m_frame->RunCommand(kCmdDigitalDashboard);
    CDigiDash *digital = m_frame->GetDigitalDashboard();
    ASSERT_NE(digital, nullptr);
    digital->resize(800, 480);
    ExpectNight(digital->grab().toImage(), "the digital dashboard");
    m_frame->RunCommand(kCmdDigitalDashboard);
}

// The map only dimmed keeps its colours; the inverted night turns the instruments over as it
// always did, and day gives the window its own palette back.
TEST_F(NightColoursTest, ChoicesSwitchAtOnce)
{
    const QColor dayWindow = QApplication::palette().color(QPalette::Window);
    Night(true);
    const QColor nightWindow = CNightPalette::Chrome().color(QPalette::Window);
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), nightWindow);
    // Large controls put another style in; the night's palette stays.
    for (int i = 0; i < 2; ++i) {
        m_frame->RunCommand(kCmdLargeControls);
        EXPECT_EQ(QApplication::palette().color(QPalette::Window), nightWindow);
    }
    m_frame->RunCommand(kCmdNightMapDimmed);
    EXPECT_TRUE(m_frame->GetAction(kCmdNightMapDimmed)->isChecked());
    EXPECT_FALSE(m_frame->GetAction(kCmdNightMapRed)->isChecked());
    EXPECT_GT(CheckNight(Window(kPageMap)).bad, 1000) << "a dimmed map keeps its colours";
    m_frame->RunCommand(kCmdNightMapRed);
    EXPECT_EQ(CheckNight(Window(kPageMap)).bad, 0);

    m_frame->RunCommand(kCmdNightInverted);
    EXPECT_TRUE(m_frame->GetAction(kCmdNightInverted)->isChecked());
    EXPECT_FALSE(m_frame->GetAction(kCmdNightMapRed)->isEnabled()) << "no red map then";
    CClock *clock = m_frame->GetDashboard()->GetClock();
    EXPECT_TRUE(clock->IsNight());
    EXPECT_EQ(clock->GetNightColours(), NightColours::Inverted);
    // The face's white page turned black by the inversion, the hour marks white.
    QImage face(clock->size(), QImage::Format_RGB32);
    QPainter painter(&face);
    clock->Render(painter);
    painter.end();
    long white = 0;
    for (int y = 0; y < face.height(); ++y)
        for (int x = 0; x < face.width(); ++x)
            white += face.pixel(x, y) == qRgb(255, 255, 255) ? 1 : 0;
    EXPECT_GT(white, 20) << "inverted marks are white, not red";

    m_frame->RunCommand(kCmdNightRed);
    EXPECT_EQ(clock->GetNightColours(), NightColours::Red);
    Night(false);
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), dayWindow);
}

// Both choices are stored when the window closes and read at the next start.
TEST_F(NightColoursTest, ChoicesAreRemembered)
{
    m_frame->RunCommand(kCmdNightInverted);
    m_frame->RunCommand(kCmdNightMapDimmed);
    m_frame.reset();
    {
        const QSettings ini(QString::fromStdString(CSettingsKey::GetSettingsFile()),
                            QSettings::IniFormat);
        EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/NightColours")).toInt(), 1);
        EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/NightMap")).toInt(), 1);
    }
    m_frame = std::make_unique<CMainFrame>();
    EXPECT_EQ(m_frame->GetDisplaySettings().GetNightColours(), NightColours::Inverted);
    EXPECT_EQ(m_frame->GetDisplaySettings().GetNightMap(), NightMap::Dimmed);
    EXPECT_TRUE(m_frame->GetAction(kCmdNightInverted)->isChecked());
}

namespace
{

// A fix on the equator where the sun stands at noon now (or at midnight, 180 degrees round).
std::string FixWhereTheSunIs(bool noon)
{
    const std::time_t now = std::time(nullptr);
    const double hours = static_cast<double>(now % 86400) / 3600.0;
    double longitude =
        std::fmod((12.0 - hours) * 15.0 + (noon ? 0.0 : 180.0) + 540.0, 360.0) - 180.0;
    const char side = longitude < 0 ? 'W' : 'E';
    longitude = std::fabs(longitude);
    const int degrees = static_cast<int>(longitude);
    char body[96];
    std::snprintf(body, sizeof body,
                  "GPGGA,120000.00,0000.000,N,%03d%06.3f,%c,1,08,0.9,5.0,M,0.0,M,,", degrees,
                  (longitude - degrees) * 60.0, side);
    return Sentence(body);
}

} // namespace

// Following the sun: switched on at noon it turns night off, the user's own switch holds,
// and the next dark (the receiver carried to where it is midnight) turns night on.
TEST_F(NightColoursTest, NightFollowsTheSun)
{
    Night(true);
    m_frame->HandleLine(FixWhereTheSunIs(true));
    m_frame->RunCommand(kCmdNightFollowsSun);
    EXPECT_TRUE(m_frame->GetAction(kCmdNightFollowsSun)->isChecked());
    EXPECT_FALSE(m_frame->GetDisplaySettings().IsNightMode()) << "day where the receiver is";
    Night(true);
    EXPECT_FALSE(ProcessUntil([&] { return !m_frame->GetDisplaySettings().IsNightMode(); }, 1500))
        << "the user's night holds until the sun sets";
    Night(false);
    m_frame->HandleLine(FixWhereTheSunIs(false));
    EXPECT_TRUE(ProcessUntil([&] { return m_frame->GetDisplaySettings().IsNightMode(); }, 3000))
        << "night where it is dark";
    m_frame->RunCommand(kCmdNightFollowsSun);
    Night(false);
    EXPECT_FALSE(ProcessUntil([&] { return m_frame->GetDisplaySettings().IsNightMode(); }, 1500))
        << "switched off: the sun no longer decides";
}

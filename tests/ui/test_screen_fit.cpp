#include "SkyTestUtils.h"
#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DigiDash.h"
#include "dashboard/SatelliteView.h"
#include "maps/MapDialogs.h"
#include "maps/MapView.h"
#include "settings/SettingsTable.h"
#include "ui/UiTestUtils.h"
#include "widgets/WindowPlacement.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QDialog>
#include <QImage>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPainter>
#include <QScreen>
#include <QSettings>
#include <QTimer>
#include <QWindow>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

// Run once per screen size by ctest (window.screen_fit.*), with VELORAN_TEST_SCREEN naming the
// size the offscreen platform was given; run on Qt's default offscreen screen otherwise.

namespace
{

std::string Describe(const QRect &r)
{
    return std::to_string(r.width()) + "x" + std::to_string(r.height()) + "+"
           + std::to_string(r.x()) + "+" + std::to_string(r.y());
}

QRect Available()
{
    return QGuiApplication::primaryScreen()->availableGeometry();
}

// Inside a scroll area's viewport a widget may reach past the screen: it is clipped there.
bool Scrolled(const QWidget *widget, const QWidget *window)
{
    for (const QWidget *w = widget; w != nullptr && w != window; w = w->parentWidget()) {
        const auto *area = qobject_cast<const QAbstractScrollArea *>(w->parentWidget());
        if (area != nullptr && area->viewport() == w)
            return true;
    }
    return false;
}

// The widgets shown in `window`, where the checks look.
std::vector<const QWidget *> ShownWidgets(const QWidget &window)
{
    std::vector<const QWidget *> shown;
    for (const QWidget *w : window.findChildren<QWidget *>())
        if (w->isVisible() && w->window() == &window && !Scrolled(w, &window))
            shown.push_back(w);
    return shown;
}

QRect OnScreen(const QWidget &widget)
{
    return {widget.mapToGlobal(QPoint(0, 0)), widget.size()};
}

// Whether the window has settled inside the screen (window systems move windows later).
bool AllOnScreen(const QWidget &window)
{
    const QRect screen = Available();
    if (!screen.contains(window.frameGeometry()))
        return false;
    for (const QWidget *w : ShownWidgets(window))
        if (!screen.contains(OnScreen(*w)))
            return false;
    return true;
}

// The window with its frame, and every widget shown in it, lie on the screen's free part.
void ExpectOnScreen(const QWidget &window, const std::string &what)
{
    const QRect screen = Available();
    EXPECT_TRUE(screen.contains(window.frameGeometry()))
        << what << " at " << Describe(window.frameGeometry()) << " on " << Describe(screen);
    int checked = 0;
    for (const QWidget *w : ShownWidgets(window)) {
        ++checked;
        const QRect r = OnScreen(*w);
        EXPECT_TRUE(screen.contains(r))
            << what << ": " << w->metaObject()->className() << " '" << w->objectName().toStdString()
            << "' at " << Describe(r) << " on " << Describe(screen);
    }
    EXPECT_GT(checked, 0) << what;
}

class ScreenFit : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        const QByteArray expected = qgetenv("VELORAN_TEST_SCREEN");
        if (!expected.isEmpty()) {
            const QSize size = QGuiApplication::primaryScreen()->size();
            ASSERT_EQ(QStringLiteral("%1x%2").arg(size.width()).arg(size.height()),
                      QString::fromLatin1(expected))
                << "the offscreen platform did not take the screen size";
        }
    }

    // Runs `open`, which opens a modal dialog; checks the dialog on screen and closes it.
    void ExpectModalOnScreen(const std::string &what, const std::function<void()> &open)
    {
        bool seen = false;
        QTimer poll;
        poll.setInterval(10);
        QObject::connect(&poll, &QTimer::timeout, [&] {
            auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            if (dialog == nullptr || !dialog->isVisible())
                return;
            poll.stop();
            seen = true;
            ExpectOnScreen(*dialog, what);
            dialog->reject();
        });
        poll.start();
        open();
        EXPECT_TRUE(seen) << what << ": no dialog opened";
    }
};

} // namespace

TEST_F(ScreenFit, MainWindowAndPages)
{
    CMainFrame frame;
    frame.show();
    ASSERT_TRUE(ProcessUntil([&] { return frame.isVisible(); }));
    const QSize screen = QGuiApplication::primaryScreen()->size();
    const bool small = IsSmallScreen({0, 0, screen.width(), screen.height()});
    EXPECT_EQ(frame.isFullScreen(), small);
    for (int page = 0; page < frame.GetSheet()->count(); ++page) {
        frame.GetSheet()->setCurrentIndex(page);
        ProcessUntil([&] { return AllOnScreen(frame); });
        ExpectOnScreen(frame, "page " + frame.GetSheet()->tabText(page).toStdString());
    }
    // The Dashboard on a page wider than tall takes the landscape layout.
    const CDashboard *dashboard = frame.GetDashboard();
    if (dashboard->width() > dashboard->height()) {
        EXPECT_EQ(dashboard->GetInstrument(Instrument::SatelliteView)->width(),
                  dashboard->GetInstrument(Instrument::Altimeter)->width());
    }

    // F11 toggles full screen on the main window, and back to what it was.
    QAction *fullScreen = frame.GetAction(kCmdFullScreen);
    EXPECT_EQ(fullScreen->shortcut(), QKeySequence(Qt::Key_F11));
    fullScreen->trigger();
    EXPECT_TRUE(ProcessUntil([&] { return frame.isFullScreen() != small; }));
    ProcessUntil([&] { return AllOnScreen(frame); });
    ExpectOnScreen(frame, "toggled full screen");
    fullScreen->trigger();
    EXPECT_TRUE(ProcessUntil([&] { return frame.isFullScreen() == small; }));
}

// A multi-system sky of forty on this screen, wherever the sky view is (large, small,
// filling the page): every marker whole inside the dial, none covering more than a quarter of
// another, as the window sizes the dial.
TEST_F(ScreenFit, SkyOfFortyInEveryPlace)
{
    CMainFrame frame;
    frame.show();
    ASSERT_TRUE(ProcessUntil([&] { return frame.isVisible(); }));
    CDashboard *dashboard = frame.GetDashboard();
    CSatelliteView *view = dashboard->GetSatelliteView();
    CSkyView sky{20, 40, FortySatellites(), {}};
    dashboard->UpdateSatellites(sky);
    const auto check = [&](const std::string &where) {
        SCOPED_TRACE(where + " at " + std::to_string(view->width()) + " px");
        ProcessUntil([&] { return view->isVisible(); });
        QImage image(view->size(), QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&image);
        view->Render(painter);
        const CSkyLayout &layout = view->GetLayout();
        ASSERT_EQ(layout.markers.size(), sky.satellites.size());
        const int r = view->GetRadius();
        for (std::size_t i = 0; i < layout.markers.size(); ++i) {
            const CSkyMarkerPlace &m = layout.markers[i];
            EXPECT_LE(std::hypot(m.x, m.y)
                          + SkyMarkerReach(sky.satellites[i].system, layout.half, true),
                      r)
                << "marker " << i;
            for (std::size_t j = i + 1; j < layout.markers.size(); ++j) {
                const CSkyMarkerPlace &n = layout.markers[j];
                EXPECT_GE(std::hypot(m.x - n.x, m.y - n.y), 1.5 * layout.half)
                    << "markers " << i << " and " << j;
            }
        }
    };
    check("large");
    dashboard->SetExclusive(true);
    check("filling the page");
    dashboard->SetExclusive(false);
    CGauge *altimeter = dashboard->GetInstrument(Instrument::Altimeter);
    emit altimeter->Tapped(altimeter); // the altimeter large, the sky small
    check("small");
}

TEST_F(ScreenFit, DialogsFromTheMenus)
{
    CMainFrame frame;
    frame.show();
    ASSERT_TRUE(ProcessUntil([&] { return frame.isVisible(); }));
    const struct {
        int id;
        const char *what;
    } commands[] = {
        {kCmdConfigure, "GPS > Configure"},
        {kCmdLogSettings, "Log > Settings"},
        {kCmdReplay, "Log > Replay"},
        {kCmdCreateLog, "Log > Create New"},
        {kCmdImportGpx, "Nav > Import Waypoints > GPX"},
        {kCmdImportLoc, "Nav > Import Waypoints > LOC"},
        {kCmdEditWaypoints, "Nav > Edit Waypoints"},
        {kCmdAbout, "Tools > About"},
    };
    for (const auto &c : commands) {
        SCOPED_TRACE(c.what);
        ExpectModalOnScreen(c.what, [&] { frame.RunCommand(c.id); });
    }
    frame.RunCommand(kCmdSelectorAdvanced);
    ExpectModalOnScreen("Log > Replay, advanced file selector",
                        [&] { frame.RunCommand(kCmdReplay); });

    // The map page's dialogs, as its menu opens them.
    ExpectModalOnScreen("Map > Select Map", [&] {
        CSelectMapDialog dialog({}, false, frame.GetMapView());
        dialog.exec();
    });
    ExpectModalOnScreen("Map > References", [&] {
        CReferencePointsDialog dialog({}, CPositionPair(), CoordinateFormat::DDMMSS,
                                      frame.GetMapView());
        dialog.exec();
    });
    ExpectModalOnScreen("a message box with details", [&] {
        QMessageBox box(QMessageBox::Warning, QStringLiteral("Veloran"),
                        QStringLiteral("Unable to open Waypoint-Database. ").repeated(8),
                        QMessageBox::Ok, &frame);
        box.setDetailedText(QStringLiteral("/a/rather/long/path/to/Waypoints.wdb ").repeated(20));
        box.exec();
    });

    frame.RunCommand(kCmdHelp);
    QWidget *help = nullptr;
    ASSERT_TRUE(ProcessUntil([&] {
        for (QWidget *w : QApplication::topLevelWidgets())
            if (w != &frame && w->isVisible() && w->parentWidget() == &frame)
                help = w;
        return help != nullptr;
    }));
    ExpectOnScreen(*help, "Tools > Help");
    help->close();
    EXPECT_TRUE(m_messages.empty()) << m_messages.front().text.toStdString();
}

// A stored window larger than the screen now is fitted to it; what the window was at the end
// is what the next start finds.
TEST_F(ScreenFit, GeometryClampedThenRemembered)
{
    {
        QSettings ini(QString::fromStdString(CSettingsKey::GetSettingsFile()),
                      QSettings::IniFormat);
        const QString key = QString::fromLatin1(kAppKey) + QLatin1Char('/');
        ini.setValue(key + QLatin1String(kWindowLeftSetting.name), -400);
        ini.setValue(key + QLatin1String(kWindowTopSetting.name), 300);
        ini.setValue(key + QLatin1String(kWindowWidthSetting.name), 3000);
        ini.setValue(key + QLatin1String(kWindowHeightSetting.name), 2000);
        ini.setValue(key + QLatin1String(kWindowShowSetting.name), 0);
    }
    const QRect screen = Available();
    const QRect smaller(screen.x() + 10, screen.y() + 20, screen.width() - 20,
                        screen.height() * 3 / 4);
    {
        CMainFrame frame;
        frame.show();
        ASSERT_TRUE(ProcessUntil([&] { return frame.isVisible(); }));
        EXPECT_FALSE(frame.isFullScreen()) << "the stored state wins over the small screen";
        // With the frame the window manager adds: the offscreen platform draws one too.
        EXPECT_TRUE(ProcessUntil([&] { return frame.frameGeometry() == screen; }))
            << Describe(frame.frameGeometry());
        ExpectOnScreen(frame, "the stored window");
        // The user makes it smaller; it is closed.
        frame.setGeometry(smaller);
        QCoreApplication::processEvents();
        ASSERT_EQ(frame.geometry(), smaller) << "above the window's least size";
        frame.close();
    }
    auto again = std::make_unique<CMainFrame>();
    again->show();
    ASSERT_TRUE(ProcessUntil([&] { return again->isVisible(); }));
    EXPECT_EQ(again->geometry(), smaller);
    EXPECT_FALSE(again->isFullScreen());

    // Full screen is remembered too, and so is the size it returns to.
    again->ToggleFullScreen();
    ASSERT_TRUE(ProcessUntil([&] { return again->isFullScreen(); }));
    again.reset();
    CMainFrame third;
    third.show();
    ASSERT_TRUE(ProcessUntil([&] { return third.isFullScreen(); }));
    third.ToggleFullScreen();
    ASSERT_TRUE(ProcessUntil([&] { return !third.isFullScreen(); }));
    EXPECT_EQ(third.geometry(), smaller);
}

// The digital dashboard keeps F11 for itself: it closes, the main window stays as it was.
TEST_F(ScreenFit, DigitalDashboardClosesOnItsF11)
{
    CMainFrame frame;
    frame.show();
    ASSERT_TRUE(ProcessUntil([&] { return frame.isVisible(); }));
    const bool wasFullScreen = frame.isFullScreen();
    frame.RunCommand(kCmdDigitalDashboard);
    CDigiDash *digital = frame.GetDigitalDashboard();
    ASSERT_NE(digital, nullptr);
    ASSERT_TRUE(ProcessUntil([&] { return digital->isVisible(); }));
    QKeyEvent f11(QEvent::KeyPress, Qt::Key_F11, Qt::NoModifier);
    QApplication::sendEvent(digital, &f11);
    EXPECT_FALSE(digital->isVisible());
    EXPECT_EQ(frame.isFullScreen(), wasFullScreen);
    EXPECT_EQ(frame.GetAction(kCmdDigitalDashboard)->shortcut(),
              QKeySequence(Qt::CTRL | Qt::Key_D));
}

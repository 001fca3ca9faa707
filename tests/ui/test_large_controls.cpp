#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DataLogView.h"
#include "dashboard/Gauge.h"
#include "maps/MapView.h"
#include "settings/SettingsKey.h"
#include "ui/UiTestUtils.h"
#include "widgets/LargeControlsStyle.h"

#include <QAbstractSpinBox>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDialog>
#include <QFile>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QRadioButton>
#include <QScreen>
#include <QTabBar>
#include <QTimer>
#include <QToolBar>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

// These tests run once on the platform's own screen and once per screen size of
// tests/CMakeLists.txt (ui.large_controls.*).

namespace
{

// Every control a finger uses that `top` shows, by a name a reader finds it by, with its height:
// menu bar items and tabs one by one.
std::map<std::string, int> ControlHeights(QWidget &top)
{
    std::map<std::string, int> heights;
    const auto add = [&heights](const QWidget *w, const QString &part, int height) {
        std::string name = w->metaObject()->className();
        if (!w->objectName().isEmpty())
            name += " " + w->objectName().toStdString();
        if (!part.isEmpty())
            name += " '" + part.toStdString() + "'";
        // Two nameless controls of a kind: the second keeps its own entry.
        while (heights.count(name) != 0)
            name += "+";
        heights[name] = height;
    };
    for (QWidget *w : top.findChildren<QWidget *>()) {
        if (!w->isVisible() || w->window() != top.window())
            continue;
        if (auto *bar = qobject_cast<QMenuBar *>(w)) {
            for (QAction *action : bar->actions())
                if (action->isVisible() && !action->isSeparator())
                    add(w, action->text(), bar->actionGeometry(action).height());
        } else if (auto *tabs = qobject_cast<QTabBar *>(w)) {
            for (int i = 0; i < tabs->count(); ++i)
                add(w, tabs->tabText(i), tabs->tabRect(i).height());
        } else if (auto *button = qobject_cast<QAbstractButton *>(w)) {
            add(w, button->text(), w->height());
        } else if (qobject_cast<QComboBox *>(w) != nullptr
                   || qobject_cast<QAbstractSpinBox *>(w) != nullptr) {
            add(w, {}, w->height());
        } else if (qobject_cast<QLineEdit *>(w) != nullptr) {
            // The field inside a spin box or an editable combo box is as tall as its owner.
            if (qobject_cast<QAbstractSpinBox *>(w->parentWidget()) == nullptr
                && qobject_cast<QComboBox *>(w->parentWidget()) == nullptr)
                add(w, {}, w->height());
        }
    }
    return heights;
}

std::map<std::string, int> ItemHeights(QMenu &menu)
{
    std::map<std::string, int> heights;
    for (QAction *action : menu.actions())
        if (action->isVisible() && !action->isSeparator())
            heights[menu.title().toStdString() + " > " + action->text().toStdString()] =
                menu.actionGeometry(action).height();
    return heights;
}

// The entries under `minimum`, for a message that names them.
std::string Short(const std::map<std::string, int> &heights, int minimum)
{
    std::string names;
    for (const auto &[name, height] : heights)
        if (height < minimum)
            names += "\n  " + name + ": " + std::to_string(height) + " px";
    return names;
}

void Settle()
{
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
}

// Runs `open`, which shows a modal dialog or pop-up menu; `look` sees it once it shows, then it
// is closed. Returns whether one showed.
bool WhileShown(const std::function<void()> &open, const std::function<void(QWidget &)> &look)
{
    bool shown = false;
    QTimer poll;
    poll.setInterval(10);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        QWidget *top = QApplication::activePopupWidget();
        if (top == nullptr)
            top = QApplication::activeModalWidget();
        if (top == nullptr || !top->isVisible())
            return;
        poll.stop();
        shown = true;
        Settle();
        look(*top);
        if (auto *dialog = qobject_cast<QDialog *>(top))
            dialog->reject();
        else
            top->close();
    });
    poll.start();
    open();
    poll.stop();
    return shown;
}

class LargeControls : public CUiTest
{
protected:
    void TearDown() override
    {
        m_frame.reset();
        // One application for every test of the run: the next one starts with the plain style.
        ApplyLargeControls(false, 0);
        CUiTest::TearDown();
    }

    CMainFrame &Frame()
    {
        m_frame = std::make_unique<CMainFrame>();
        m_frame->show();
        ProcessUntil([this] { return m_frame->isVisible(); });
        Settle();
        return *m_frame;
    }
    void SetLarge(bool large)
    {
        if (m_frame->GetDisplaySettings().IsLargeControls() != large)
            m_frame->RunCommand(kCmdLargeControls);
        Settle();
        ASSERT_EQ(m_frame->GetDisplaySettings().IsLargeControls(), large);
    }
    [[nodiscard]] int Target() const { return TouchTargetOf(*m_frame->screen()); }

    // The controls of the window on every page.
    std::map<std::string, int> WindowHeights()
    {
        std::map<std::string, int> heights;
        CGPSSheet &sheet = *m_frame->GetSheet();
        const int shown = sheet.currentIndex();
        for (int page = 0; page < sheet.count(); ++page) {
            sheet.setCurrentIndex(page);
            Settle();
            for (const auto &[name, height] : ControlHeights(*m_frame))
                heights[sheet.tabText(page).toStdString() + ": " + name] = height;
        }
        sheet.setCurrentIndex(shown);
        Settle();
        return heights;
    }

    std::unique_ptr<CMainFrame> m_frame;
};

// The offscreen platform makes a screen's size up at 100 dpi: 7 mm there is the fallback, not
// the 28 px the made-up size would give.
TEST_F(LargeControls, MadeUpScreenSizeTakesTheFallback)
{
    const QScreen &screen = *QApplication::primaryScreen();
    std::printf("screen %dx%d, physical %.1f dpi, logical %.1f dpi, ratio %.2f: 7 mm is %d px\n",
                screen.size().width(), screen.size().height(), screen.physicalDotsPerInchY(),
                screen.logicalDotsPerInchY(), screen.devicePixelRatio(), TouchTargetOf(screen));
    if (QGuiApplication::platformName() != QLatin1String("offscreen"))
        GTEST_SKIP() << "a real screen";
    EXPECT_EQ(TouchTargetOf(screen), 36);
}

// On by itself on a small screen, off on a desktop without a touch screen; a stored choice
// wins on any screen.
TEST_F(LargeControls, DefaultFollowsTheScreenUntilChosen)
{
    const QSize screen = QApplication::primaryScreen()->size();
    const struct {
        QSize size;
        bool large;
    } defaults[] = {
        {{800, 480}, true}, {{480, 640}, true}, {{1920, 1080}, false}, {{800, 800}, false}};
    for (const auto &d : defaults) {
        if (d.size != screen)
            continue;
        SCOPED_TRACE(std::to_string(screen.width()) + "x" + std::to_string(screen.height()));
        EXPECT_EQ(Frame().GetDisplaySettings().IsLargeControls(), d.large);
        EXPECT_EQ(qobject_cast<CLargeControlsStyle *>(QApplication::style()) != nullptr, d.large);
        m_frame.reset();
    }

    for (bool chosen : {false, true}) {
        SCOPED_TRACE(chosen ? "chosen on" : "chosen off");
        {
            CSettingsKey key;
            ASSERT_TRUE(key.Open("Software/Veloran", true));
            key.WriteNumber("LargeControls", chosen ? 1 : 0);
        }
        EXPECT_EQ(Frame().GetDisplaySettings().IsLargeControls(), chosen);
        EXPECT_EQ(m_frame->GetAction(kCmdLargeControls)->isChecked(), chosen);
        m_frame.reset();
    }
}

// The window, its pages, the menus of the menu bar, of the instruments and of the map, and the
// main dialogs: no control a finger uses is under 7 mm.
TEST_F(LargeControls, EveryControlIsATouchTargetHigh)
{
    Frame();
    SetLarge(true);
    const int target = Target();

    const std::map<std::string, int> window = WindowHeights();
    EXPECT_GE(window.size(), 20U) << "the window's controls were found";
    EXPECT_EQ(Short(window, target), "") << "under " << target << " px";

    int menus = 0;
    std::function<void(QMenu &)> open = [&](QMenu &menu) {
        menu.popup(m_frame->mapToGlobal(QPoint(0, 0)));
        Settle();
        ASSERT_TRUE(menu.isVisible()) << menu.title().toStdString();
        ++menus;
        EXPECT_EQ(Short(ItemHeights(menu), target), "") << "under " << target << " px";
        for (QAction *action : menu.actions())
            if (action->menu() != nullptr)
                open(*action->menu());
        menu.close();
        Settle();
    };
    for (QAction *title : m_frame->menuBar()->actions())
        open(*title->menu());
    EXPECT_GE(menus, 10) << "the menus and their submenus";

    // Pop-up menus of the instruments and of the map, opened as a right click opens them.
    CDashboard &dashboard = *m_frame->GetDashboard();
    std::vector<QWidget *> owners;
    m_frame->GetSheet()->setCurrentIndex(kPageDashboard);
    Settle();
    for (CGauge *gauge : dashboard.findChildren<CGauge *>())
        if (gauge->isVisible())
            owners.push_back(gauge);
    EXPECT_GE(owners.size(), 6U);
    owners.push_back(m_frame->GetMapView());
    for (QWidget *owner : owners) {
        SCOPED_TRACE(owner->metaObject()->className());
        m_frame->GetSheet()->setCurrentWidget(owner == m_frame->GetMapView() ? owner : &dashboard);
        Settle();
        const QPoint at = owner->rect().center();
        EXPECT_TRUE(WhileShown(
            [&] {
                QContextMenuEvent event(QContextMenuEvent::Mouse, at, owner->mapToGlobal(at));
                QApplication::sendEvent(owner, &event);
            },
            [&](QWidget &popup) {
                auto *menu = qobject_cast<QMenu *>(&popup);
                ASSERT_NE(menu, nullptr);
                EXPECT_GE(menu->actions().size(), 2);
                EXPECT_EQ(Short(ItemHeights(*menu), target), "") << "under " << target << " px";
            }));
    }

    for (int id : {kCmdConfigure, kCmdLogSettings, kCmdCreateLog, kCmdReplay, kCmdEditWaypoints,
                   kCmdImportGpx, kCmdAbout}) {
        SCOPED_TRACE("command " + std::to_string(id));
        EXPECT_TRUE(WhileShown([&] { m_frame->RunCommand(id); },
                               [&](QWidget &dialog) {
                                   const std::map<std::string, int> controls =
                                       ControlHeights(dialog);
                                   EXPECT_FALSE(controls.empty());
                                   EXPECT_EQ(Short(controls, target), "")
                                       << dialog.windowTitle().toStdString() << ": under " << target
                                       << " px";
                               }));
    }
    EXPECT_TRUE(m_messages.empty());
}

// Switching takes effect at once, and off gives back the window exactly as it was.
TEST_F(LargeControls, SwitchIsImmediateAndOffLeavesTheWindowAsItWas)
{
    Frame();
    SetLarge(false);
    EXPECT_EQ(qobject_cast<CLargeControlsStyle *>(QApplication::style()), nullptr);
    const std::map<std::string, int> plain = WindowHeights();
    const int menuBar = m_frame->menuBar()->height();
    const int toolBar = m_frame->findChild<QToolBar *>()->height();

    SetLarge(true);
    EXPECT_GE(m_frame->menuBar()->height(), Target());
    EXPECT_GT(m_frame->menuBar()->height(), menuBar);
    EXPECT_GE(m_frame->findChild<QToolBar *>()->height(), Target());
    EXPECT_GT(m_frame->findChild<QToolBar *>()->height(), toolBar);
    EXPECT_TRUE(m_frame->GetAction(kCmdLargeControls)->isChecked());

    SetLarge(false);
    EXPECT_EQ(WindowHeights(), plain);
    EXPECT_EQ(m_frame->menuBar()->height(), menuBar);
    EXPECT_EQ(m_frame->findChild<QToolBar *>()->height(), toolBar);
    EXPECT_FALSE(m_frame->GetAction(kCmdLargeControls)->isChecked());
}

// A finger on the row of a check box, above its indicator, still toggles it.
TEST_F(LargeControls, TheWholeRowOfACheckBoxTakesTheTap)
{
    Frame();
    SetLarge(true);
    m_frame->GetSheet()->setCurrentIndex(kPageData);
    Settle();
    auto *box = m_frame->GetDataPage()->findChild<QCheckBox *>(QStringLiteral("showGGA"));
    ASSERT_NE(box, nullptr);
    ASSERT_GE(box->height(), Target());
    const bool before = box->isChecked();
    const QPoint edge(box->style()->pixelMetric(QStyle::PM_IndicatorWidth) / 2, 1);
    QMouseEvent press(QEvent::MouseButtonPress, edge, box->mapToGlobal(edge), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, edge, box->mapToGlobal(edge), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(box, &press);
    QApplication::sendEvent(box, &release);
    EXPECT_NE(box->isChecked(), before);
}

} // namespace

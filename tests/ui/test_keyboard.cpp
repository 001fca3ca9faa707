#include "NMEATestUtils.h"
#include "app/AboutDialog.h"
#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "app/HelpViewer.h"
#include "app/MainFrame.h"
#include "base/Mnemonic.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DataLogView.h"
#include "dashboard/Speedometer.h"
#include "maps/MapDialogs.h"
#include "maps/MapView.h"
#include "nmea/GPSData.h"
#include "receiver/LogSettingsDialog.h"
#include "receiver/RecordingRules.h"
#include "receiver/SerialPortDialog.h"
#include "receiver/SerialSettings.h"
#include "ui/UiTestUtils.h"
#include "waypoints/WaypointDialogs.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QStyle>
#include <QTabBar>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>
#include <QToolBar>

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace
{

// A key for a mnemonic letter or digit, as QTest types a character.
char Letter(std::string_view text)
{
    const char letter = MnemonicOf(text);
    EXPECT_NE(letter, 0) << "no mnemonic in " << text;
    return letter;
}

QWidget *KeyTarget()
{
    if (QWidget *popup = QApplication::activePopupWidget())
        return popup;
    return QApplication::focusWidget();
}

std::vector<std::string> SubmenuPath(std::string_view submenu)
{
    std::vector<std::string> parts;
    while (!submenu.empty()) {
        const std::size_t slash = submenu.find('/');
        parts.emplace_back(submenu.substr(0, slash));
        submenu = slash == std::string_view::npos ? std::string_view() : submenu.substr(slash + 1);
    }
    return parts;
}

std::string TitleOf(std::string_view menu)
{
    for (std::string_view title : kMenuTitles)
        if (StripMnemonic(title) == menu)
            return std::string(title);
    return {};
}

// How many of `texts` mark a letter; no letter is marked twice.
int Letters(const QStringList &texts)
{
    std::set<char> letters;
    for (const QString &text : texts) {
        const char letter = MnemonicOf(text.toStdString());
        EXPECT_TRUE(letter == 0 || letters.insert(letter).second)
            << text.toStdString() << ": its letter is taken";
    }
    return static_cast<int>(letters.size());
}

class KeyboardTest : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        m_frame = std::make_unique<CMainFrame>();
        m_frame->show();
        m_frame->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_frame.get()));
    }
    void TearDown() override
    {
        while (QWidget *popup = QApplication::activePopupWidget())
            popup->close();
        m_frame.reset();
        CUiTest::TearDown();
    }

    // The menus' commands report here instead of running, every one enabled: what is looked at
    // is the way the keyboard reaches them, not their rules or dialogs.
    void RecordCommands()
    {
        for (QMenu *menu : m_frame->findChildren<QMenu *>())
            QObject::disconnect(menu, &QMenu::aboutToShow, m_frame.get(), nullptr);
        for (const CMenuEntry &entry : kMenuEntries) {
            QAction *action = m_frame->GetAction(entry.id);
            QObject::disconnect(action, &QAction::triggered, m_frame.get(), nullptr);
            QObject::connect(action, &QAction::triggered, m_frame.get(),
                             [this, id = entry.id] { m_ran.push_back(id); });
        }
        EnableAll();
    }
    // The window's rules also run on its own events (a database check after the start):
    // enabled anew before every key.
    void EnableAll()
    {
        m_recording = true;
        for (const CMenuEntry &entry : kMenuEntries)
            m_frame->GetAction(entry.id)->setEnabled(true);
    }

    void Click(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QWidget *target = KeyTarget();
        ASSERT_NE(target, nullptr);
        if (m_recording)
            EnableAll();
        QTest::keyClick(target, static_cast<Qt::Key>(key), modifiers);
        QCoreApplication::processEvents();
    }
    void Type(char letter)
    {
        QWidget *target = KeyTarget();
        ASSERT_NE(target, nullptr);
        if (m_recording)
            EnableAll();
        QTest::keyClick(target, letter);
        QCoreApplication::processEvents();
    }

    // Runs `keys`, which opens a pop-up menu, and returns that menu's entries; closes it with
    // Escape (a gauge's and the map's menus wait in their own event loop).
    static QStringList MenuOpenedBy(const std::function<void()> &keys, QWidget **parent = nullptr)
    {
        QStringList texts;
        QWidget *owner = nullptr;
        QTimer::singleShot(0, [&] {
            if (auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget())) {
                for (const QAction *action : menu->actions())
                    texts << action->text();
                owner = menu->parentWidget();
                QTest::keyClick(menu, Qt::Key_Escape);
            }
        });
        QWidget *window = QApplication::activeWindow();
        keys();
        QCoreApplication::processEvents();
        // The offscreen platform leaves no window active once a pop-up closed; a window
        // manager gives it back.
        if (window != nullptr && QApplication::activeWindow() == nullptr) {
            window->activateWindow();
            EXPECT_TRUE(QTest::qWaitForWindowActive(window));
        }
        if (parent != nullptr)
            *parent = owner;
        return texts;
    }

    std::unique_ptr<CMainFrame> m_frame;
    std::vector<int> m_ran;
    bool m_recording = false;
};

TEST_F(KeyboardTest, EveryMenuEntryByItsLetters)
{
    RecordCommands();
    for (const CMenuEntry &entry : kMenuEntries) {
        if (entry.menu.empty())
            continue;
        SCOPED_TRACE(std::string(entry.text));
        EnableAll();
        m_ran.clear();
        QTest::keyClick(m_frame.get(),
                        static_cast<Qt::Key>(std::toupper(Letter(TitleOf(entry.menu)))),
                        Qt::AltModifier);
        QCoreApplication::processEvents();
        ASSERT_NE(qobject_cast<QMenu *>(QApplication::activePopupWidget()), nullptr)
            << "Alt opens " << entry.menu;
        for (const std::string &part : SubmenuPath(entry.submenu))
            Type(Letter(part));
        Type(Letter(entry.text));
        EXPECT_EQ(m_ran, std::vector<int>{entry.id});
        EXPECT_EQ(QApplication::activePopupWidget(), nullptr) << "the menus closed";
    }
}

TEST_F(KeyboardTest, EveryMenuEntryByF10AndArrows)
{
    RecordCommands();
    QMenuBar &bar = *m_frame->menuBar();
    for (const CMenuEntry &entry : kMenuEntries) {
        if (entry.menu.empty())
            continue;
        SCOPED_TRACE(std::string(entry.text));
        EnableAll();
        m_ran.clear();
        QTest::keyClick(m_frame.get(), Qt::Key_F10);
        QCoreApplication::processEvents();
        ASSERT_EQ(bar.activeAction(), bar.actions().first()) << "F10: the first menu";
        ASSERT_NE(QApplication::activePopupWidget(), nullptr) << "F10 opens it";

        // Left walks the menu bar whatever entry is highlighted (Right opens submenus).
        const QString title = QString::fromStdString(TitleOf(entry.menu));
        for (int step = 0; step < bar.actions().size() && bar.activeAction()->text() != title;
             ++step)
            Click(Qt::Key_Left);
        ASSERT_EQ(bar.activeAction()->text(), title);

        QMenu *menu = bar.activeAction()->menu();
        std::vector<QString> path;
        for (const std::string &part : SubmenuPath(entry.submenu))
            path.push_back(QString::fromStdString(part));
        path.push_back(QString::fromLatin1(entry.text.data(), entry.text.size()));
        for (std::size_t level = 0; level < path.size(); ++level) {
            ASSERT_EQ(QApplication::activePopupWidget(), menu);
            for (int step = 0; step <= menu->actions().size()
                               && (menu->activeAction() == nullptr
                                   || menu->activeAction()->text() != path[level]);
                 ++step)
                Click(Qt::Key_Down);
            ASSERT_NE(menu->activeAction(), nullptr);
            ASSERT_EQ(menu->activeAction()->text(), path[level]) << "Down reaches it";
            if (level + 1 < path.size()) {
                QMenu *sub = menu->activeAction()->menu();
                ASSERT_NE(sub, nullptr);
                Click(Qt::Key_Right);
                ProcessUntil([sub] { return QApplication::activePopupWidget() == sub; });
                menu = sub;
            }
        }
        Click(Qt::Key_Return);
        EXPECT_EQ(m_ran, std::vector<int>{entry.id});
        EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    }
}

TEST_F(KeyboardTest, AltAloneSelectsTheMenuBarWhereTheStyleDoes)
{
    if (!m_frame->style()->styleHint(QStyle::SH_MenuBar_AltKeyNavigation, nullptr, m_frame.get()))
        GTEST_SKIP() << "the style leaves Alt alone";
    QMenuBar &bar = *m_frame->menuBar();
    QTest::keyClick(m_frame.get(), Qt::Key_Alt);
    QCoreApplication::processEvents();
    EXPECT_EQ(bar.activeAction(), bar.actions().first());
    Click(Qt::Key_Down);
    EXPECT_EQ(QApplication::activePopupWidget(), bar.actions().first()->menu());
}

TEST_F(KeyboardTest, TabReachesEveryInstrumentAndKeysTapIt)
{
    CDashboard &dash = *m_frame->GetDashboard();
    std::vector<QWidget *> reached;
    for (int i = 0; i < 20; ++i) {
        Click(Qt::Key_Tab);
        if (auto *gauge = qobject_cast<CGauge *>(QApplication::focusWidget()))
            if (std::find(reached.begin(), reached.end(), gauge) == reached.end())
                reached.push_back(gauge);
    }
    EXPECT_EQ(reached.size(), static_cast<std::size_t>(kInstrumentCount));

    // The arrows go round the shown instruments; Space swaps a small one into the large slot.
    CGauge *speed = dash.GetSpeedometer();
    speed->setFocus(Qt::TabFocusReason);
    std::vector<QWidget *> round;
    for (int i = 0; i < kInstrumentCount; ++i) {
        Click(Qt::Key_Right);
        round.push_back(QApplication::focusWidget());
    }
    EXPECT_EQ(round.back(), speed) << "six steps come back";
    EXPECT_EQ(std::set<QWidget *>(round.begin(), round.end()).size(),
              static_cast<std::size_t>(kInstrumentCount));
    Click(Qt::Key_Left);
    EXPECT_EQ(QApplication::focusWidget(), round[kInstrumentCount - 2]);

    CGauge *small = dash.GetInstrument(Instrument::Clock);
    ASSERT_NE(dash.GetLayout().GetPosition(Instrument::Clock), kLargeSlot);
    small->setFocus(Qt::TabFocusReason);
    Click(Qt::Key_Space);
    EXPECT_EQ(dash.GetLayout().GetPosition(Instrument::Clock), kLargeSlot);
    Click(Qt::Key_Return);
    EXPECT_TRUE(dash.IsExclusive()) << "Enter on the large one: exclusive mode";
}

TEST_F(KeyboardTest, MenuKeyAndShiftF10OpenTheFocusedMenu)
{
    CGauge *speed = m_frame->GetDashboard()->GetSpeedometer();
    speed->setFocus(Qt::TabFocusReason);
    QStringList gaugeMenu;
    for (const CGaugeMenuEntry &entry : speed->MenuEntries())
        gaugeMenu << entry.text;
    for (const auto &[key, modifiers] :
         {std::pair{Qt::Key_Menu, Qt::NoModifier}, std::pair{Qt::Key_F10, Qt::ShiftModifier}}) {
        SCOPED_TRACE(key == Qt::Key_Menu ? "Menu" : "Shift+F10");
        QWidget *owner = nullptr;
        QStringList texts = MenuOpenedBy(
            [&] { QTest::keyClick(speed, key, Qt::KeyboardModifiers(modifiers)); }, &owner);
        texts.removeAll(QString());
        EXPECT_EQ(owner, speed);
        QStringList plain;
        for (const QString &text : texts)
            plain << QString::fromStdString(StripMnemonic(text.toStdString()));
        EXPECT_EQ(plain, gaugeMenu);
        EXPECT_EQ(Letters(texts), static_cast<int>(gaugeMenu.size()) - 1)
            << "a letter for each choice, none for the value";
    }

    // The Map page's menu, from the page's own focus.
    m_frame->GetSheet()->setCurrentIndex(kPageMap);
    CMapView *map = m_frame->GetMapView();
    map->setFocus(Qt::TabFocusReason);
    QWidget *owner = nullptr;
    const QStringList mapMenu = MenuOpenedBy([&] { QTest::keyClick(map, Qt::Key_Menu); }, &owner);
    EXPECT_FALSE(mapMenu.isEmpty()) << "the map's menu opened";
    EXPECT_EQ(owner, map);
    EXPECT_EQ(Letters(mapMenu), static_cast<int>(mapMenu.size() - mapMenu.count(QString())))
        << "a letter for each entry";

    // Where nothing has a menu the key does nothing; the window's own menu of tool bars is
    // gone, also where the event lands over the tool bar.
    auto *toolBar = m_frame->findChild<QToolBar *>(QStringLiteral("toolBar"));
    ASSERT_NE(toolBar, nullptr);
    for (QWidget *focus :
         {static_cast<QWidget *>(m_frame->GetSheet()->tabBar()), static_cast<QWidget *>(toolBar)}) {
        SCOPED_TRACE(focus->metaObject()->className());
        focus->setFocus(Qt::TabFocusReason);
        const QStringList texts = MenuOpenedBy([&] { QTest::keyClick(focus, Qt::Key_Menu); });
        EXPECT_TRUE(texts.isEmpty()) << texts.join(QLatin1Char('|')).toStdString();
        EXPECT_TRUE(toolBar->isVisible());
    }
}

TEST_F(KeyboardTest, PagesTurnByKeys)
{
    CGPSSheet &sheet = *m_frame->GetSheet();
    m_frame->GetDashboard()->GetSpeedometer()->setFocus(Qt::TabFocusReason);
    Click(Qt::Key_PageDown, Qt::ControlModifier);
    EXPECT_EQ(sheet.currentIndex(), kPageMap);
    m_frame->GetMapView()->setFocus(Qt::TabFocusReason);
    Click(Qt::Key_Tab, Qt::ControlModifier);
    EXPECT_EQ(sheet.currentIndex(), kPageList);
    Click(Qt::Key_PageDown, Qt::ControlModifier);
    EXPECT_EQ(sheet.currentIndex(), kPageSatellites);
    Click(Qt::Key_PageDown, Qt::ControlModifier);
    EXPECT_EQ(sheet.currentIndex(), kPageData);
    Click(Qt::Key_PageDown, Qt::ControlModifier);
    EXPECT_EQ(sheet.currentIndex(), kPageDashboard) << "round again";
    Click(Qt::Key_PageUp, Qt::ControlModifier);
    EXPECT_EQ(sheet.currentIndex(), kPageData);

    // The Data page's check boxes by Tab and Space.
    QCheckBox *box = nullptr;
    for (int i = 0; i < 10 && box == nullptr; ++i) {
        Click(Qt::Key_Tab);
        box = qobject_cast<QCheckBox *>(QApplication::focusWidget());
    }
    ASSERT_NE(box, nullptr) << "Tab reaches the filters";
    const bool was = box->isChecked();
    Click(Qt::Key_Space);
    EXPECT_NE(box->isChecked(), was);

    // Day and night has no menu entry: it has a key.
    m_frame->GetSheet()->setCurrentIndex(kPageDashboard);
    const bool night = m_frame->GetDisplaySettings().IsNightMode();
    QTest::keyClick(m_frame.get(), Qt::Key_N, Qt::ControlModifier);
    EXPECT_NE(m_frame->GetDisplaySettings().IsNightMode(), night);
}

TEST_F(KeyboardTest, EscapeAndCtrlWCloseTheHelp)
{
    for (const auto &[key, modifiers] :
         {std::pair{Qt::Key_Escape, Qt::NoModifier}, std::pair{Qt::Key_W, Qt::ControlModifier}}) {
        CHelpViewer::ShowHelp(m_frame.get());
        QPointer<CHelpViewer> help = CHelpViewer::Instance();
        ASSERT_NE(help, nullptr);
        ASSERT_TRUE(ProcessUntil([&help] { return QApplication::activeWindow() == help; }));
        QTest::keyClick(help->Browser(), key, Qt::KeyboardModifiers(modifiers));
        EXPECT_FALSE(help->isVisible());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_TRUE(help.isNull());
    }
}

TEST_F(KeyboardTest, ScreenReadersGetTheValues)
{
    for (const std::string &line :
         {Sentence("GPGGA,123519.00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,"),
          Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,54.0,84.4,230394,,")})
        m_frame->HandleLine(line);
    CDashboard &dash = *m_frame->GetDashboard();
    for (const Instrument instrument :
         {Instrument::Speedometer, Instrument::Compass, Instrument::Altimeter, Instrument::Clock}) {
        CGauge *gauge = dash.GetInstrument(instrument);
        SCOPED_TRACE(gauge->GetCaption().toStdString());
        QAccessibleInterface *a = QAccessible::queryAccessibleInterface(gauge);
        ASSERT_NE(a, nullptr);
        EXPECT_EQ(a->text(QAccessible::Name), gauge->GetCaption());
        EXPECT_EQ(a->text(QAccessible::Description), gauge->GetValueText());
    }
    const QString speed = QAccessible::queryAccessibleInterface(dash.GetSpeedometer())
                              ->text(QAccessible::Description);
    EXPECT_TRUE(speed.startsWith(QStringLiteral("100.0"))) << speed.toStdString();
    EXPECT_TRUE(speed.contains(QStringLiteral("km/h"))) << speed.toStdString();

    // A new value reaches the reader; the units follow Tools > Units.
    m_frame->HandleLine(Sentence("GPRMC,123520,A,4807.038,N,01131.000,E,27.0,84.4,230394,,"));
    EXPECT_TRUE(QAccessible::queryAccessibleInterface(dash.GetSpeedometer())
                    ->text(QAccessible::Description)
                    .startsWith(QStringLiteral("50.0")));
    m_frame->RunCommand(kCmdUnitsImperial);
    EXPECT_TRUE(QAccessible::queryAccessibleInterface(dash.GetSpeedometer())
                    ->text(QAccessible::Description)
                    .contains(QStringLiteral("mph")));

    for (QWidget *page :
         {static_cast<QWidget *>(&dash), static_cast<QWidget *>(m_frame->GetMapView()),
          static_cast<QWidget *>(m_frame->GetListPage()),
          static_cast<QWidget *>(m_frame->GetDataPage())})
        EXPECT_FALSE(QAccessible::queryAccessibleInterface(page)->text(QAccessible::Name).isEmpty())
            << page->objectName().toStdString();

    // The List page reads out its rows, position included.
    const QString list = QAccessible::queryAccessibleInterface(m_frame->GetListPage())
                             ->text(QAccessible::Description);
    for (const CDataRow &row : m_frame->GetListPage()->GetRows(CGPSData::kPosition))
        EXPECT_TRUE(list.contains(QString::fromStdString(row.label + ' ' + row.value)))
            << row.label;
}

// Every field, button and box of every dialog has its Alt letter, once per dialog.
TEST_F(KeyboardTest, DialogsHaveUniqueMnemonics)
{
    CSerialSettings serial;
    CRecordingRules rules;
    std::vector<std::pair<const char *, std::unique_ptr<QDialog>>> dialogs;
    dialogs.emplace_back("serial", std::make_unique<CSerialPortDialog>(serial));
    dialogs.emplace_back("log settings", std::make_unique<CLogSettingsDialog>(rules));
    dialogs.emplace_back("edit waypoints",
                         std::make_unique<CWaypointEditDialog>(
                             CWaypointList{}, CoordinateFormat::DD, CGeoPosition()));
    dialogs.emplace_back("edit waypoints, UTM",
                         std::make_unique<CWaypointEditDialog>(
                             CWaypointList{}, CoordinateFormat::UTM, CGeoPosition()));
    dialogs.emplace_back("description", std::make_unique<CWaypointDescriptionDialog>("", 0, 0));
    dialogs.emplace_back("select waypoint", std::make_unique<CWaypointSelectDialog>(
                                                CWaypointList{}, CoordinateFormat::DD));
    dialogs.emplace_back("reference points", std::make_unique<CReferencePointsDialog>(
                                                 std::vector<CPositionPair>{}, CPositionPair{},
                                                 CoordinateFormat::DDMM));
    dialogs.emplace_back("select map", std::make_unique<CSelectMapDialog>(CMapList{}, false));
    dialogs.emplace_back("about", std::make_unique<CAboutDialog>());
    for (const auto &[name, dialog] : dialogs) {
        SCOPED_TRACE(name);
        std::map<char, QString> letters;
        const auto check = [&](const QString &text) {
            // "..." has no letter to give; Tab reaches it.
            if (!std::any_of(text.begin(), text.end(),
                             [](QChar c) { return c.isLetterOrNumber(); }))
                return;
            const char letter = MnemonicOf(text.toStdString());
            EXPECT_NE(letter, 0) << text.toStdString();
            if (letter == 0)
                return;
            const auto [it, fresh] = letters.emplace(letter, text);
            EXPECT_TRUE(fresh) << text.toStdString() << " and " << it->second.toStdString();
        };
        // Every form label leads to its field, rows of a field and a chooser included.
        for (QFormLayout *form : dialog->findChildren<QFormLayout *>()) {
            for (int row = 0; row < form->rowCount(); ++row) {
                QLayoutItem *item = form->itemAt(row, QFormLayout::LabelRole);
                if (auto *label = item ? qobject_cast<QLabel *>(item->widget()) : nullptr) {
                    EXPECT_NE(label->buddy(), nullptr) << label->text().toStdString();
                }
            }
        }
        int controls = 0;
        for (QWidget *w : dialog->findChildren<QWidget *>()) {
            if (auto *label = qobject_cast<QLabel *>(w); label && label->buddy()) {
                check(label->text());
                EXPECT_NE(label->buddy()->focusPolicy() & Qt::TabFocus, 0)
                    << label->text().toStdString() << ": its letter must reach a field";
            } else if (qobject_cast<QPushButton *>(w) || qobject_cast<QCheckBox *>(w)
                       || qobject_cast<QRadioButton *>(w)) {
                check(static_cast<QAbstractButton *>(w)->text());
            } else {
                continue;
            }
            ++controls;
        }
        EXPECT_GT(controls, 0);
    }
}

// The letter of a label moves the focus to its field, as a user types it.
TEST_F(KeyboardTest, LabelLettersReachTheirFields)
{
    CSerialSettings serial;
    CSerialPortDialog dialog(serial);
    dialog.show();
    dialog.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
    int reached = 0;
    for (QLabel *label : dialog.findChildren<QLabel *>()) {
        if (label->buddy() == nullptr || !label->isVisible() || !label->buddy()->isEnabled())
            continue;
        SCOPED_TRACE(label->text().toStdString());
        const char letter = MnemonicOf(label->text().toStdString());
        QTest::keyClick(&dialog, static_cast<Qt::Key>(std::toupper(letter)), Qt::AltModifier);
        EXPECT_EQ(QApplication::focusWidget(), label->buddy());
        ++reached;
    }
    EXPECT_GT(reached, 2);
}

} // namespace

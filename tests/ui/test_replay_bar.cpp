#include "app/CommandTable.h"
#include "app/MainFrame.h"
#include "app/ReplayBar.h"
#include "app/TripKeeper.h"
#include "receiver/ReplayIndex.h"
#include "receiver/ReplaySpeed.h"
#include "ui/FrameTest.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QSlider>
#include <QTest>

#include <string>

namespace
{

// The demo drive, keyed in a real window: the keys go where a keyboard's would, through the
// focused widget and the window's shortcuts.
class ReplayTest : public CFrameTest
{
protected:
    void SetUp() override
    {
        CFrameTest::SetUp();
        m_frame->resize(800, 480);
        m_frame->show();
        m_frame->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_frame.get()));
        ASSERT_EQ(m_index.GetSize(), 300u);
    }

    void Key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QWidget *target = QApplication::focusWidget();
        QTest::keyClick(target != nullptr ? target : m_frame.get(), key, modifiers);
        QCoreApplication::processEvents();
    }

    [[nodiscard]] CReplayBar &Bar() const { return *m_frame->GetReplayBar(); }
    [[nodiscard]] long Epoch() const
    {
        const std::optional<std::size_t> e = Bar().GetControl().GetEpoch();
        return e ? static_cast<long>(*e) : -1;
    }
    // Paused: the epoch reached stays where it is for a while at 1600 %.
    bool SettlesAt(long epoch)
    {
        if (!ProcessUntil([&] { return Epoch() == epoch; }, 5000))
            return false;
        QTest::qWait(400);
        return Epoch() == epoch;
    }
    // What the window shows for the epoch is the log's own time: the bar's text and the
    // parser's last GGA.
    void ExpectShowsEpoch(long epoch)
    {
        const double seconds = m_index.GetEpoch(static_cast<std::size_t>(epoch)).seconds;
        EXPECT_EQ(Bar().GetTimeText().toStdString(), LogTimeText(seconds) + " UTC");
        std::string hhmmss = LogTimeText(seconds);
        hhmmss.erase(5, 1).erase(2, 1);
        EXPECT_EQ(m_frame->GetParser().m_gga.m_time.substr(0, 6), hhmmss);
    }
    [[nodiscard]] CTripFigures Trip() const { return m_frame->GetTrip().GetTrip().GetFigures(); }

    const CReplayIndex m_index = CReplayIndex::BuildFromFile(VELORAN_DEMO_LOG);
};

TEST_F(ReplayTest, PauseStepAndSeekByKeysLandOnTheLogsEpochs)
{
    EXPECT_FALSE(Bar().isVisible()) << "shown only while replaying";
    m_frame->SetReplayDelay(62); // 1600 %
    ASSERT_TRUE(m_frame->ReplayFile(QStringLiteral(VELORAN_DEMO_LOG)));
    EXPECT_TRUE(Bar().isVisible());
    ASSERT_TRUE(ProcessUntil([&] { return Epoch() >= 3; }));

    Key(Qt::Key_Space);
    EXPECT_TRUE(m_frame->GetAction(kCmdPauseReplay)->isChecked());
    ASSERT_TRUE(ProcessUntil([&] { return m_frame->GetSource().IsReplayPaused(); }));
    QTest::qWait(300);
    const long paused = Epoch();
    ASSERT_TRUE(SettlesAt(paused)) << "paused: no epoch comes";
    ExpectShowsEpoch(paused);

    Key(Qt::Key_Right);
    ASSERT_TRUE(SettlesAt(paused + 1)) << "one step, one epoch";
    ExpectShowsEpoch(paused + 1);
    Key(Qt::Key_Right);
    Key(Qt::Key_Right);
    ASSERT_TRUE(SettlesAt(paused + 3));
    const CTripFigures there = Trip();

    Key(Qt::Key_PageDown);
    ASSERT_TRUE(SettlesAt(paused + 63)) << "a minute on";
    ExpectShowsEpoch(paused + 63);
    EXPECT_GT(Trip().distanceMetres, there.distanceMetres);

    Key(Qt::Key_PageUp);
    ASSERT_TRUE(SettlesAt(paused + 3)) << "a minute back";
    ExpectShowsEpoch(paused + 3);
    EXPECT_EQ(Trip(), there) << "the trip is rebuilt to the epoch, not kept";

    // The slider: a click on its groove moves it, and the replay with it.
    auto *slider = Bar().findChild<QSlider *>(QStringLiteral("replaySlider"));
    ASSERT_NE(slider, nullptr);
    slider->setValue(250);
    ASSERT_TRUE(SettlesAt(250));
    ExpectShowsEpoch(250);
    slider->setValue(10);
    ASSERT_TRUE(SettlesAt(10)) << "back by the slider";
    ExpectShowsEpoch(10);
    EXPECT_EQ(slider->value(), 10);

    Key(Qt::Key_Space);
    EXPECT_FALSE(m_frame->GetAction(kCmdPauseReplay)->isChecked());
    EXPECT_TRUE(ProcessUntil([&] { return Epoch() > 15; })) << "playing again";

    m_frame->RunCommand(kCmdStopReplay);
    EXPECT_FALSE(Bar().isVisible());
    EXPECT_FALSE(m_frame->GetAction(kCmdPauseReplay)->isEnabled());
    EXPECT_TRUE(m_messages.empty());
}

TEST_F(ReplayTest, SpeedLadderByKeys)
{
    m_frame->SetReplayDelay(kReplayDelay100Percent);
    ASSERT_TRUE(m_frame->ReplayFile(QStringLiteral(VELORAN_DEMO_LOG)));
    auto *speed = Bar().findChild<QComboBox *>(QStringLiteral("replaySpeed"));
    ASSERT_NE(speed, nullptr);
    // Paused, so that Fastest does not end the replay under the keys.
    Key(Qt::Key_Space);
    struct Step {
        Qt::Key key;
        unsigned delay;
        int command;
        const char *text;
    };
    const Step steps[] = {
        {Qt::Key_BracketRight, 500, kCmdReplaySpeed200, "200 %"},
        {Qt::Key_BracketRight, 250, kCmdReplaySpeed400, "400 %"},
        {Qt::Key_BracketRight, 125, kCmdReplaySpeed800, "800 %"},
        {Qt::Key_BracketRight, 62, kCmdReplaySpeed1600, "1600 %"},
        {Qt::Key_BracketRight, 0, kCmdReplaySpeedFastest, "Fastest"},
        {Qt::Key_BracketRight, 0, kCmdReplaySpeedFastest, "Fastest"}, // held at the top
        {Qt::Key_BracketLeft, 62, kCmdReplaySpeed1600, "1600 %"},
        {Qt::Key_BracketLeft, 125, kCmdReplaySpeed800, "800 %"},
        {Qt::Key_BracketLeft, 250, kCmdReplaySpeed400, "400 %"},
        {Qt::Key_BracketLeft, 500, kCmdReplaySpeed200, "200 %"},
        {Qt::Key_BracketLeft, 1000, kCmdReplaySpeed100, "100 %"},
        {Qt::Key_BracketLeft, 2000, kCmdReplaySpeed50, "50 %"},
        {Qt::Key_BracketLeft, 4000, kCmdReplaySpeed25, "25 %"},
        {Qt::Key_BracketLeft, 4000, kCmdReplaySpeed25, "25 %"}, // held at the bottom
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.text);
        Key(step.key);
        EXPECT_EQ(m_frame->GetSource().GetReplayDelay(), step.delay);
        m_frame->UpdateCommands();
        EXPECT_TRUE(m_frame->GetAction(step.command)->isChecked());
        EXPECT_EQ(speed->currentText().toStdString(), step.text);
    }
    // The menu's commands that were there before set the same speeds.
    m_frame->RunCommand(kCmdReplaySpeed400);
    EXPECT_EQ(m_frame->GetSource().GetReplayDelay(), kReplayDelay400Percent);
    EXPECT_EQ(speed->currentText().toStdString(), "400 %");

    // 25 % waits four seconds an epoch: a change to Fastest ends the wait at once.
    m_frame->RunCommand(kCmdReplaySpeed25);
    Key(Qt::Key_Space);
    const long before = Epoch();
    QTest::qWait(300);
    m_frame->RunCommand(kCmdReplaySpeedFastest);
    EXPECT_TRUE(ProcessUntil([&] { return Epoch() >= before + 100 || !Bar().isVisible(); }, 3000));
}

TEST_F(ReplayTest, LoopStartsAgainUntilTurnedOff)
{
    Key(Qt::Key_L, Qt::ControlModifier);
    EXPECT_TRUE(m_frame->GetAction(kCmdLoopReplay)->isChecked()) << "set before the replay";
    m_frame->SetReplayDelay(0);
    ASSERT_TRUE(m_frame->ReplayFile(QStringLiteral(VELORAN_DEMO_LOG)));
    // Round the end twice: each time the epochs count from the first again.
    long last = -1;
    int rounds = 0;
    ASSERT_TRUE(ProcessUntil(
        [&] {
            const long now = Epoch();
            rounds += now < last;
            last = now;
            return rounds >= 2;
        },
        20000));
    EXPECT_TRUE(m_frame->GetSource().IsReplaying());
    EXPECT_TRUE(Bar().isVisible());
    Key(Qt::Key_L, Qt::ControlModifier);
    EXPECT_FALSE(m_frame->GetAction(kCmdLoopReplay)->isChecked());
    EXPECT_TRUE(ProcessUntil([&] { return !Bar().isVisible(); }, 10000))
        << "without the loop the replay ends at the file's end";
    EXPECT_FALSE(m_frame->GetSource().IsOpen());
    EXPECT_EQ(Epoch(), -1);
}

} // namespace

namespace
{

// Every control of the bar inside it and its text whole, on the small screens as on a large one,
// with large controls and without, day and night. VELORAN_REPLAY_SHOTS names a folder to write
// the window's pictures to, for a look.
TEST_F(ReplayTest, BarFitsTheWindowAtEverySize)
{
    m_frame->SetReplayDelay(62);
    ASSERT_TRUE(m_frame->ReplayFile(QStringLiteral(VELORAN_DEMO_LOG)));
    ASSERT_TRUE(ProcessUntil([&] { return Epoch() >= 20; }));
    Key(Qt::Key_Space);
    const QString shots = qEnvironmentVariable("VELORAN_REPLAY_SHOTS");
    for (const QSize size : {QSize(480, 640), QSize(800, 480), QSize(1920, 1080)}) {
        for (const bool large : {false, true}) {
            for (const bool night : {false, true}) {
                const std::string legend = std::to_string(size.width()) + "x"
                                           + std::to_string(size.height()) + (large ? " large" : "")
                                           + (night ? " night" : "");
                SCOPED_TRACE(legend);
                if (m_frame->GetState().largeControls != large)
                    m_frame->RunCommand(kCmdLargeControls);
                if (m_frame->GetDisplaySettings().IsNightMode() != night)
                    m_frame->RunCommand(kCmdDisplayMode);
                m_frame->resize(size);
                QCoreApplication::processEvents();
                Bar().Refresh();
                QCoreApplication::processEvents();
                ASSERT_TRUE(Bar().isVisible());
                EXPECT_LE(Bar().height(), size.height() / 4) << "leaves the pages room";
                for (QWidget *child : Bar().findChildren<QWidget *>(Qt::FindDirectChildrenOnly)) {
                    if (!child->isVisible())
                        continue;
                    SCOPED_TRACE(child->objectName().toStdString());
                    EXPECT_TRUE(Bar().rect().contains(child->geometry())) << "inside the bar";
                    EXPECT_GE(child->width(), child->minimumSizeHint().width()) << "not squeezed";
                    if (auto *label = qobject_cast<QLabel *>(child)) {
                        EXPECT_GE(label->width(),
                                  label->fontMetrics().horizontalAdvance(label->text()))
                            << "its text whole";
                    }
                }
                if (!shots.isEmpty())
                    m_frame->grab().save(
                        shots + QStringLiteral("/replay-")
                        + QString::fromStdString(legend).replace(QLatin1Char(' '), QLatin1Char('-'))
                        + QStringLiteral(".png"));
            }
        }
    }
}

} // namespace

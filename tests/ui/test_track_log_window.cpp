#include "app/CommandTable.h"
#include "app/MainFrame.h"
#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"
#include "ui/UiTestUtils.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QTimer>

#include <deque>

namespace
{

class TrackLogWindowTest : public CUiTest
{
protected:
    // Runs `command`; the file dialogs it opens get `typed`, one name each, in order.
    QStringList Answer(CMainFrame &frame, int command, std::deque<QString> typed)
    {
        QStringList titles;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, [&] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            if (dialog == nullptr)
                return;
            titles << dialog->windowTitle();
            if (typed.empty()) {
                dialog->reject();
                return;
            }
            dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(typed.front());
            typed.pop_front();
            static_cast<QDialog *>(dialog)->accept();
        });
        poll.start(10);
        frame.RunCommand(command);
        QCoreApplication::processEvents();
        return titles;
    }

    static std::int32_t Stored(const CStoredNumber &value)
    {
        CSettingsKey key;
        key.Open(value.key, false);
        std::int32_t number = -99;
        key.ReadNumber(value.name, number);
        return number;
    }
};

TEST_F(TrackLogWindowTest, CommandsAreCheckedStoredAndReadBack)
{
    {
        CMainFrame frame;
        EXPECT_FALSE(frame.GetAction(kCmdTrackLog)->isChecked());
        EXPECT_TRUE(frame.GetAction(kCmdTrackEverySecond)->isChecked());
        frame.RunCommand(kCmdTrackLog);
        frame.RunCommand(kCmdTrackEvery5Seconds);
        frame.RunCommand(kCmdTrackReplays);
        EXPECT_TRUE(frame.GetAction(kCmdTrackLog)->isChecked());
        EXPECT_TRUE(frame.GetAction(kCmdTrackEvery5Seconds)->isChecked());
        EXPECT_FALSE(frame.GetAction(kCmdTrackEverySecond)->isChecked());
        EXPECT_EQ(Stored(kTrackLogSetting), 1);
        EXPECT_EQ(Stored(kTrackRateSetting), 5);
        EXPECT_EQ(Stored(kTrackReplaysSetting), 1);
    }
    CMainFrame again;
    EXPECT_TRUE(again.GetAction(kCmdTrackLog)->isChecked());
    EXPECT_TRUE(again.GetAction(kCmdTrackReplays)->isChecked());
    EXPECT_TRUE(again.GetAction(kCmdTrackEvery5Seconds)->isChecked());
    again.RunCommand(kCmdTrackLog);
    EXPECT_EQ(Stored(kTrackLogSetting), 0);
}

TEST_F(TrackLogWindowTest, ExportTrackAsGpxAsksForBothFilesAndSaysWhatItWrote)
{
    CMainFrame frame;
    const QString out = m_data.filePath(QStringLiteral("drive.gpx"));
    const QStringList titles =
        Answer(frame, kCmdExportTrack, {QStringLiteral(VELORAN_DEMO_LOG), out});
    EXPECT_EQ(titles, QStringList({QStringLiteral("Export track from NMEA log"),
                                   QStringLiteral("Export Track as GPX")}));
    ASSERT_TRUE(QFile::exists(out));
    ASSERT_FALSE(m_messages.empty());
    // The demo drive: 300 epochs, 18 of them in a tunnel without a fix.
    EXPECT_EQ(m_messages.back().text,
              QStringLiteral("282 points in 2 segments written to drive.gpx."));
    EXPECT_EQ(m_messages.back().icon, QMessageBox::Information);
}

} // namespace

#include "app/CommandTable.h"
#include "app/MainFrame.h"
#include "base/Mnemonic.h"
#include "maps/MapView.h"
#include "receiver/NMEALogFile.h"
#include "ui/UiTestUtils.h"
#include "waypoints/WaypointBook.h"

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QTimer>

#include <memory>
#include <optional>

namespace
{

// What a file dialog showed, and what was done with it.
struct SFileDialogSeen {
    QString title;
    QStringList filters;
};

class FileDialogsTest : public CUiTest
{
protected:
    QString Data(const char *name) const { return m_data.filePath(QString::fromLatin1(name)); }

    // Runs `command` of the frame; the file dialog it opens gets `typed` (or is cancelled when
    // empty) and is described in the result.
    std::optional<SFileDialogSeen> Answer(CMainFrame &frame, int command, const QString &typed)
    {
        std::optional<SFileDialogSeen> seen;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, [&] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            if (dialog == nullptr)
                return;
            seen = SFileDialogSeen{dialog->windowTitle(), dialog->nameFilters()};
            if (typed.isEmpty()) {
                dialog->reject();
                return;
            }
            // Typed into the name edit as a user would: selectFile() did not keep "drive1" once
            // the folder listed drive1.nmea.
            dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(typed);
            static_cast<QDialog *>(dialog)->accept(); // QFileDialog::accept, which checks the name
        });
        poll.start(10);
        frame.RunCommand(command);
        QCoreApplication::processEvents();
        return seen;
    }

    // Opens the Map page's menu, picks `item` and cancels the file dialog it opens.
    std::optional<SFileDialogSeen> FromMapMenu(CMainFrame &frame, const QString &item)
    {
        std::optional<SFileDialogSeen> seen;
        // Two timers: a timer is not called again while its call runs, and the item's dialog
        // opens within the menu timer's call.
        QTimer menuPoll;
        QObject::connect(&menuPoll, &QTimer::timeout, [&] {
            auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
            if (menu == nullptr)
                return;
            for (QAction *action : menu->actions()) {
                if (QString::fromStdString(StripMnemonic(action->text().toStdString())) == item) {
                    menu->hide();
                    action->trigger();
                    return;
                }
            }
            menu->hide(); // no such item: nothing is seen, rather than a menu open for ever
        });
        QTimer dialogPoll;
        QObject::connect(&dialogPoll, &QTimer::timeout, [&] {
            if (auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget())) {
                seen = SFileDialogSeen{dialog->windowTitle(), dialog->nameFilters()};
                dialog->reject();
            }
        });
        menuPoll.start(10);
        dialogPoll.start(10);
        CMapView &map = *frame.GetMapView();
        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5),
                                map.mapToGlobal(QPoint(5, 5)));
        QCoreApplication::sendEvent(&map, &event);
        return seen;
    }
};

} // namespace

TEST_F(FileDialogsTest, RecordingAddsTheLogExtensionAndAsksBeforeReplacingThatFile)
{
    CMainFrame frame;
    const auto seen = Answer(frame, kCmdCreateLog, QStringLiteral("drive1"));
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->title, QStringLiteral("Record NMEA log as"));
    EXPECT_EQ(QString::fromStdString(frame.GetLog().GetPath()), Data("drive1.nmea"));
    EXPECT_TRUE(frame.IsLogOpen());
    frame.RunCommand(kCmdStopLogging);

    // The dialog asked about "drive1", which is not there; "drive1.nmea" is.
    SetQuestionAnswer(true);
    Answer(frame, kCmdCreateLog, QStringLiteral("drive1"));
    SetQuestionAnswer(false);
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_EQ(m_messages[0].icon, QMessageBox::Question);
    EXPECT_EQ(m_messages[0].text,
              QStringLiteral("drive1.nmea already exists.\nDo you want to replace it?"));
    m_messages.clear();
    EXPECT_TRUE(frame.IsLogOpen());
    frame.RunCommand(kCmdStopLogging);

    Answer(frame, kCmdCreateLog, QStringLiteral("trip.v2"));
    EXPECT_EQ(QString::fromStdString(frame.GetLog().GetPath()), Data("trip.v2"))
        << "an extension of the user's own is kept";
    frame.RunCommand(kCmdStopLogging);
    EXPECT_TRUE(m_messages.empty());
}

TEST_F(FileDialogsTest, ExportAddsGpx)
{
    CMainFrame frame;
    QCoreApplication::processEvents();
    const auto seen = Answer(frame, kCmdExportWaypoints, QStringLiteral("points"));
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->title, QStringLiteral("Export waypoints as GPX"));
    EXPECT_TRUE(QFile::exists(Data("points.gpx")));
    EXPECT_FALSE(QFile::exists(Data("points")));
    m_messages.clear(); // "0 waypoints successfully exported."
}

TEST_F(FileDialogsTest, ReplayAlsoListsFilesWithoutTheExtension)
{
    CMainFrame frame;
    const auto seen = Answer(frame, kCmdReplay, QString());
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->title, QStringLiteral("Replay NMEA log"));
    EXPECT_EQ(seen->filters, QStringList({QStringLiteral("NMEA Log Files (*.nmea)"),
                                          QStringLiteral("All files (*)")}));
}

TEST_F(FileDialogsTest, MapMenuDialogsSayWhatTheyAreFor)
{
    CMainFrame frame;
    const auto track = FromMapMenu(frame, QStringLiteral("Load Track..."));
    ASSERT_TRUE(track);
    EXPECT_EQ(track->title, QStringLiteral("Load track from NMEA log"));
    EXPECT_EQ(track->filters,
              QStringList({QStringLiteral("NMEA Logs (*.nmea)"), QStringLiteral("All files (*)")}));
    const auto image = FromMapMenu(frame, QStringLiteral("Add New Map..."));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->title, QStringLiteral("Select map image"));
}

#include "NMEATestUtils.h"
#include "PtyPair.h"
#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "app/StatusLine.h"
#include "dashboard/Dashboard.h"
#include "dashboard/Speedometer.h"
#include "ui/FrameTest.h"
#include "ui/UiTestUtils.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <memory>
#include <string>

namespace
{

const std::string kGga =
    Sentence("GPGGA,123519.00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
const std::string kGgaNoFix = Sentence("GPGGA,123520.00,,,,,0,00,,,M,,M,,");
const std::string kGsa3D = Sentence("GPGSA,A,3,04,05,,09,12,,,24,,,,,2.5,1.3,2.1");

// Epochs of a drive a second apart: GGA, GSA, RMC.
std::string Drive(int epochs)
{
    std::string log;
    for (int i = 0; i < epochs; ++i) {
        const std::string time = "1235" + std::to_string(10 + i);
        log += Sentence("GPGGA," + time + ".00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
        log += kGsa3D;
        log += Sentence("GPRMC," + time + ",A,4807.038,N,01131.000,E,54.0,84.4,230394,,");
    }
    return log;
}

class StatusLineTest : public CFrameTest
{
protected:
    QString WriteLog(const char *name, const std::string &bytes) const
    {
        QFile file(Temp(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes.data(), static_cast<qint64>(bytes.size()));
        return file.fileName();
    }
    const CStatusTexts &Texts() const { return m_frame->GetStatusLine()->GetTexts(); }
    // The texts as the next tick would show them.
    const CStatusTexts &Now()
    {
        m_frame->RefreshStatusLine();
        return Texts();
    }
    bool WaitForReplayEnd()
    {
        bool ended = false;
        QObject::connect(m_frame.get(), &CMainFrame::SourceEnded, m_frame.get(),
                         [&ended](bool wasReplay) { ended = wasReplay; });
        return ProcessUntil([&] { return ended; }, 10000);
    }
};

// A replay says how far it got and at what speed; at its end the line says so and the gauges go
// stale instead of freezing on their last values.
TEST_F(StatusLineTest, ReplayProgressThenReplayEnded)
{
    const QString log = WriteLog("drive1.nmea", Drive(4));
    EXPECT_EQ(Now().source, "No source");
    m_frame->SetReplayDelay(250);
    ASSERT_TRUE(m_frame->ReplayFile(log));
    EXPECT_EQ(Texts().source, "Replay drive1.nmea 0 % 400 %") << "said at once";
    ASSERT_TRUE(ProcessUntil([&] {
        const std::string &s = Now().source;
        return s != "Replay drive1.nmea 0 % 400 %" && s != "Replay drive1.nmea 100 % 400 %"
               && Texts().fix.starts_with("3D fix ");
    }));
    EXPECT_TRUE(Texts().source.starts_with("Replay drive1.nmea ")) << Texts().source;
    ASSERT_TRUE(WaitForReplayEnd());
    EXPECT_EQ(Texts().source, "Replay ended");
    EXPECT_EQ(Texts().fix, "");
    EXPECT_EQ(m_frame->GetStatusLine()->GetText(), "Replay ended");

    const CGauge &speed = *m_frame->GetDashboard()->GetSpeedometer();
    EXPECT_EQ(speed.GetFreshness(), GaugeFreshness::Live) << "the last values stay a moment";
    EXPECT_TRUE(ProcessUntil([&] { return speed.GetFreshness() == GaugeFreshness::Stale; }, 6000))
        << "then go stale as a silent receiver's do";
    EXPECT_NEAR(speed.GetValue(), 100.0, 0.1) << "still the last value";
    EXPECT_TRUE(m_messages.empty());
}

// The recording's file name and size, as the file holds it.
TEST_F(StatusLineTest, RecordingWithFileNameAndSize)
{
    const QString log = WriteLog("in.nmea", Drive(40));
    const QString record = Temp("drive1.nmea");
    m_frame->SetReplayDelay(0);
    ASSERT_TRUE(m_frame->ReplayFile(log));
    ASSERT_TRUE(m_frame->CreateLog(record));
    EXPECT_EQ(Texts().recording, "\u25CF REC drive1.nmea 0 B");
    ASSERT_TRUE(WaitForReplayEnd());
    const qint64 size = QFileInfo(record).size();
    ASSERT_GT(size, 1000);
    EXPECT_EQ(Now().recording,
              "\u25CF REC drive1.nmea " + ByteSizeText(static_cast<std::uint64_t>(size)));
    m_frame->StopLogging();
    EXPECT_EQ(Texts().recording, "");
}

// A serial port: its device and speed, then the fix and its age as the receiver tells it.
TEST_F(StatusLineTest, SerialPortWithFixAndAge)
{
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    std::string error;
    const std::optional<CSourceAddress> source =
        CSourceAddress::Parse("serial:" + pty.SlavePath() + "?baud=9600", error);
    ASSERT_TRUE(source) << error;
    m_frame->SetSourceOverride(*source);
    ASSERT_TRUE(m_frame->OpenPort());
    EXPECT_EQ(Texts().source, pty.SlavePath() + " 9600");
    EXPECT_TRUE(Texts().fix.starts_with("no data ")) << Texts().fix;
    ASSERT_TRUE(pty.Send(kGsa3D + kGga));
    ASSERT_TRUE(ProcessUntil([&] { return Now().fix.starts_with("3D fix "); })) << Texts().fix;
    ASSERT_TRUE(pty.Send(kGgaNoFix));
    ASSERT_TRUE(ProcessUntil([&] { return Now().fix.starts_with("no fix "); })) << Texts().fix;
    // Silent: the reader's time-out lines are no data.
    EXPECT_TRUE(ProcessUntil([&] { return Now().fix.starts_with("no data "); }, 6000))
        << Texts().fix;
    m_frame->CloseSource();
    EXPECT_EQ(Texts().source, "No source");
    EXPECT_TRUE(m_messages.empty());
}

// The port the user had open before a replay is what Plain Connect opens after it, not the
// configured default (here none: the port dialog would come up).
TEST_F(StatusLineTest, PlainConnectReopensTheLiveSourceAfterAReplay)
{
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    m_frame->SetPortOverride(QString::fromStdString(pty.SlavePath()));
    ASSERT_TRUE(m_frame->OpenPort());
    m_frame->SetPortOverride(QString()); // as a --port of an earlier run
    m_frame->SetReplayDelay(0);
    ASSERT_TRUE(m_frame->ReplayFile(WriteLog("drive1.nmea", Drive(3))));
    ASSERT_TRUE(WaitForReplayEnd());
    m_frame->UpdateCommands();
    ASSERT_TRUE(m_frame->GetAction(kCmdPlainConnect)->isEnabled());

    bool dialog = false;
    QTimer guard;
    QObject::connect(&guard, &QTimer::timeout, [&dialog] {
        if (QWidget *modal = QApplication::activeModalWidget()) {
            dialog = true;
            modal->close();
        }
    });
    guard.start(50);
    m_frame->RunCommand(kCmdPlainConnect);
    EXPECT_FALSE(dialog) << "no port dialog";
    EXPECT_TRUE(m_frame->GetSource().IsOpen());
    EXPECT_FALSE(m_frame->GetSource().IsReplaying());
    EXPECT_TRUE(Texts().source.starts_with(pty.SlavePath() + " ")) << Texts().source;
    EXPECT_TRUE(m_messages.empty());
}

// On every page, along the window's bottom; ticking with nothing new repaints nothing.
TEST_F(StatusLineTest, OnEveryPageRepaintedOnlyWhenChanged)
{
    m_frame->show();
    const CStatusLine &line = *m_frame->GetStatusLine();
    for (int page = 0; page < m_frame->GetSheet()->count(); ++page) {
        m_frame->GetSheet()->setCurrentIndex(page);
        ProcessUntil([] { return false; }, 50);
        EXPECT_TRUE(line.isVisible()) << page;
        EXPECT_EQ(line.mapTo(m_frame.get(), line.rect().bottomLeft()).y(), m_frame->height() - 1)
            << page;
    }
    const int paints = line.GetPaintCount();
    ProcessUntil([] { return false; }, 2300);
    EXPECT_EQ(line.GetPaintCount(), paints) << "two ticks, the same texts";
    m_frame->RunCommand(kCmdDisplayMode); // night
    ProcessUntil([] { return false; }, 50);
    EXPECT_GT(line.GetPaintCount(), paints) << "night colours";
}

} // namespace

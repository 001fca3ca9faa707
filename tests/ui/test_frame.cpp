#include "FakeGpsd.h"
#include "NMEATestUtils.h"
#include "PtyPair.h"
#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "dashboard/Altimeter.h"
#include "dashboard/Clock.h"
#include "dashboard/Compass.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DataLogView.h"
#include "dashboard/SatelliteView.h"
#include "dashboard/Speedometer.h"
#include "maps/MapView.h"
#include "nmea/GPSData.h"
#include "receiver/ReceiverBytes.h"
#include "receiver/SirfCommands.h"
#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"
#include "ui/FrameTest.h"
#include "ui/UiTestUtils.h"
#include "widgets/NightPalette.h"

#include <QAction>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QSettings>

#include <arpa/inet.h>
#include <cmath>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

const std::string kGgaFix =
    Sentence("GPGGA,123519.00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
const std::string kGgaNoFix = Sentence("GPGGA,123520.00,,,,,0,00,,,M,,M,,");
// A degree north of kGgaFix: another pixel of the factory world map.
const std::string kGgaFixNorth =
    Sentence("GPGGA,123521.00,4907.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
const std::string kGsa3D = Sentence("GPGSA,A,3,04,05,,09,12,,,24,,,,,2.5,1.3,2.1");
const std::string kRmc100 = Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,54.0,84.4,230394,,");

std::string Gsv(int number, int count)
{
    return Sentence("GPGSV," + std::to_string(count) + "," + std::to_string(number)
                    + ",09,01,40,083,46,02,17,308,41,12,07,344,39,14,22,228,45");
}

// The last fix the map page was given: what its reference dialog offers.
double MapFixLatitude(CMainFrame &frame)
{
    return frame.GetMapView()->GetModel().ProposedPair().m_position.m_latitude;
}

// The map page's track: fixes join while the page hears the fix held.
const std::vector<CTrackSegment> &MapTrack(CMainFrame &frame)
{
    return frame.GetMapView()->GetModel().GetTrack();
}

std::string Row(const CGPSData &page, CGPSData::Section section, const std::string &label)
{
    for (const CDataRow &row : page.GetRows(section))
        if (row.label == label)
            return row.value;
    return "<no row " + label + ">";
}

class FrameTest : public CFrameTest
{
protected:
    void Feed(std::initializer_list<std::string> lines)
    {
        for (const std::string &line : lines)
            m_frame->HandleLine(line);
    }
};

TEST_F(FrameTest, MenusCarryEveryCommandWithItsRule)
{
    for (const CMenuEntry &entry : kMenuEntries) {
        QAction *action = m_frame->GetAction(entry.id);
        ASSERT_NE(action, nullptr) << entry.id;
        EXPECT_EQ(action->text().toStdString(), entry.text);
    }
    m_frame->UpdateCommands();
    EXPECT_FALSE(m_frame->GetAction(kCmdDisconnect)->isEnabled());
    EXPECT_TRUE(m_frame->GetAction(kCmdPlainConnect)->isEnabled());
    EXPECT_TRUE(m_frame->GetAction(kCmdReplaySpeed200)->isChecked());
    m_frame->RunCommand(kCmdReplaySpeed100);
    EXPECT_TRUE(m_frame->GetAction(kCmdReplaySpeed100)->isChecked());
    EXPECT_FALSE(m_frame->GetAction(kCmdReplaySpeed200)->isChecked());
}

TEST_F(FrameTest, GgaRoutingByFixQualityAndTime)
{
    const CDashboard &dash = *m_frame->GetDashboard();

    // Without a fix, not even the position a receiver may still name goes to the map.
    Feed({kGgaNoFix, Sentence("GPGGA,123520.00,4907.038,N,01131.000,E,0,00,,,M,,M,,")});
    EXPECT_EQ(MapFixLatitude(*m_frame), 0.0);
    EXPECT_DOUBLE_EQ(dash.GetClock()->GetValue(), 12 * 3600 + 35 * 60 + 20);

    Feed({kGgaFix});
    EXPECT_NEAR(MapFixLatitude(*m_frame), 48.1173, 1e-4);
    EXPECT_NEAR(dash.GetAltimeter()->GetValue(), 545.4 - 47.3, 1e-9);
    EXPECT_DOUBLE_EQ(dash.GetClock()->GetValue(), 12 * 3600 + 35 * 60 + 19);

    // A time text shorter than six characters leaves the clock alone.
    Feed({Sentence("GPGGA,1235,4807.038,N,01131.000,E,1,08,0.9,600.0,M,47.3,M,,")});
    EXPECT_DOUBLE_EQ(dash.GetClock()->GetValue(), 12 * 3600 + 35 * 60 + 19);
    EXPECT_NEAR(dash.GetAltimeter()->GetValue(), 600.0 - 47.3, 1e-9);
}

TEST_F(FrameTest, SatellitesOnlyForCompleteGroups)
{
    // GPS only: the last message of a group; all systems: once the run of GSVs has ended.
    for (const GnssMode mode : {GnssMode::GpsOnly, GnssMode::AllSystems}) {
        SCOPED_TRACE(mode == GnssMode::GpsOnly ? "GPS only" : "all systems");
        m_frame = std::make_unique<CMainFrame>();
        m_frame->SetGnssModeOverride(mode);
        const CSatelliteView &sky = *m_frame->GetDashboard()->GetSatelliteView();
        Feed({Gsv(1, 3), Gsv(2, 3)});
        EXPECT_FALSE(sky.GetSatellites().has_value());
        Feed({Gsv(3, 3)});
        if (mode == GnssMode::AllSystems) {
            EXPECT_FALSE(sky.GetSatellites().has_value());
            Feed({kGgaFix});
        }
        ASSERT_TRUE(sky.GetSatellites().has_value());
        // GPS only counts what the GSV says; all systems the satellites listed (the same four
        // in every message here).
        EXPECT_EQ(sky.GetSatellites()->inView, mode == GnssMode::GpsOnly ? 9 : 4);
    }
}

TEST_F(FrameTest, FixEventsFeedSpeedMapAndList)
{
    const CDashboard &dash = *m_frame->GetDashboard();
    const std::vector<CTrackSegment> &track = MapTrack(*m_frame);
    Feed({kRmc100}); // no GGA yet: no fix
    EXPECT_DOUBLE_EQ(dash.GetSpeedometer()->GetValue(), 0.0);
    Feed({kGgaFix, kRmc100});
    EXPECT_NEAR(dash.GetSpeedometer()->GetValue(), 100.008, 1e-9);
    EXPECT_DOUBLE_EQ(dash.GetCompass()->GetCourse(), 84.4);
    EXPECT_TRUE(std::isfinite(dash.GetFeedAges().Age(GaugeFeed::Mileage))) << "a sample came";
    Feed({kGgaFixNorth, kRmc100});
    EXPECT_EQ(track.size(), 1u) << "the fix held: the map joins the two";
    Feed({kGgaNoFix, kRmc100});
    EXPECT_DOUBLE_EQ(dash.GetSpeedometer()->GetValue(), 0.0);
    Feed({kGgaFix, kRmc100, kGgaFixNorth, kRmc100});
    EXPECT_EQ(track.size(), 2u) << "the fix was lost between: the map starts a new piece";
}

TEST_F(FrameTest, ListPageTexts)
{
    CGPSData &list = *m_frame->GetListPage();
    EXPECT_EQ(Row(list, CGPSData::kDilution, "Position DOP:"), "0.00 (avg 0.00)");
    Feed({kGgaFix, kGsa3D, kGgaFix});
    EXPECT_EQ(Row(list, CGPSData::kReception, "Quality of fix:"), "GPS fix / 3D");
    EXPECT_EQ(Row(list, CGPSData::kPosition, "Altitude (corr.):"), "498.1 m");
    EXPECT_EQ(Row(list, CGPSData::kDilution, "Horizontal DOP:"), "1.30 (avg 1.30)");

    m_frame->RunCommand(kCmdUnitsImperial);
    Feed({kRmc100});
    EXPECT_EQ(Row(list, CGPSData::kHeading, "Speed:"), "62.1 mph");
    EXPECT_EQ(m_frame->GetState().units, UnitSystem::Imperial);
    m_frame->RunCommand(kCmdUnitsNautic);
    EXPECT_EQ(Row(list, CGPSData::kHeading, "Speed:"), "54.0 knots");
    EXPECT_EQ(m_frame->GetState().units, UnitSystem::Nautic);

    m_frame->RunCommand(kCmdCoordUTM);
    EXPECT_EQ(list.GetRows(CGPSData::kPosition).front().label, "Easting Zone:");
}

TEST_F(FrameTest, DataPageFiltersAndLogOthers)
{
    const QString logPath = Temp("filters.nmea");
    const std::string unknown = Sentence("GPZDA,123519,23,03,1994,,");
    const std::string badChecksum = "$GPGGA,1,2,3*00\r\n";
    CDataLogView &data = *m_frame->GetDataPage();
    data.SetShown(kSentenceGGA, false);
    data.SetShown(kSentenceNone, false);
    m_frame->GetRecordingRules().SetLogOthers(false);
    ASSERT_TRUE(m_frame->CreateLog(logPath));
    Feed({kGgaFix, unknown, badChecksum, kRmc100});
    ASSERT_EQ(data.GetHistory().Size(), 1u);
    EXPECT_EQ(data.GetHistory().At(0), kRmc100);

    data.SetShown(kSentenceNone, true);
    m_frame->GetRecordingRules().SetLogOthers(true);
    Feed({unknown, badChecksum});
    EXPECT_EQ(data.GetHistory().Size(), 3u);
    m_frame->StopLogging();

    QFile log(logPath);
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_EQ(log.readAll().toStdString(), kGgaFix + kRmc100 + unknown + badChecksum);

    // The filters are kept.
    m_frame.reset();
    CDisplaySettings display;
    CDataLogView again(display);
    EXPECT_FALSE(again.IsShown(kSentenceGGA));
    EXPECT_TRUE(again.IsShown(kSentenceNone));
    EXPECT_TRUE(again.IsShown(kSentenceRMC));
}

TEST(LineHistory, KeepsTheNewestLines)
{
    CLineHistory history(3);
    for (const char *line : {"a", "b", "c", "d", "e"})
        history.Add(line);
    ASSERT_EQ(history.Size(), 3u);
    EXPECT_EQ(history.At(0), "c");
    EXPECT_EQ(history.At(2), "e");
    EXPECT_EQ(history.Dropped(), 2u);
}

TEST_F(FrameTest, FailuresShowTheirMessages)
{
    struct Case {
        const char *legend;
        std::function<bool(CMainFrame &)> action;
        std::string text;
    };
    const QString missing = Temp("no/such/dir/file.nmea");
    const Case cases[] = {
        // The test environment shows no serial port at all.
        {"port",
         [&](CMainFrame &f) {
             f.SetPortOverride(missing);
             return f.OpenPort();
         },
         "Failed to open COM Port.\n" + missing.toStdString()
             + " is not there: the receiver is unplugged, or has another name now.\nNo serial "
               "port is plugged in: plug the receiver in and try again."},
        {"replay", [&](CMainFrame &f) { return f.ReplayFile(missing); }, "failed to open file."},
        {"log", [&](CMainFrame &f) { return f.CreateLog(missing); }, "Failed to create log file."},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        m_messages.clear();
        EXPECT_FALSE(c.action(*m_frame));
        ASSERT_EQ(m_messages.size(), 1u);
        EXPECT_EQ(m_messages[0].text.toStdString(), c.text);
        EXPECT_EQ(m_messages[0].caption.toStdString(), "ERROR");
        EXPECT_EQ(m_messages[0].icon, QMessageBox::Critical);
        EXPECT_FALSE(m_messages[0].details.isEmpty());
    }
    EXPECT_FALSE(m_frame->GetSource().IsOpen());
    EXPECT_FALSE(m_frame->IsLogOpen());
}

TEST_F(FrameTest, SettingsDefaultsAndWriteBack)
{
    const CFrameState start = m_frame->GetState();
    EXPECT_FALSE(start.autoConnect);
    EXPECT_FALSE(start.autoSync);
    EXPECT_TRUE(start.playSound);
    EXPECT_FALSE(start.advancedFileSelector);
    EXPECT_EQ(start.projection, CoordinateFormat::DD);

    for (int id :
         {kCmdFixSound, kCmdAutoSync, kCmdCoordDegMinSec, kCmdSelectorAdvanced, kCmdUnitsImperial})
        m_frame->RunCommand(id);
    m_frame.reset();
    QSettings ini(QString::fromStdString(CSettingsKey::GetSettingsFile()), QSettings::IniFormat);
    EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/PlaySound")).toInt(), 0);
    EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/AutoSync")).toInt(), 1);
    EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/AutoConnect")).toInt(), 0);
    EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/Projection")).toInt(), 3);
    EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/AdvancedFileSelector")).toInt(), 1);
    EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/OperationMode")).toInt(), 2);

    CMainFrame again;
    EXPECT_EQ(again.GetState().projection, CoordinateFormat::DDMMSS);
    EXPECT_FALSE(again.GetState().playSound);
    EXPECT_EQ(again.GetDisplaySettings().GetUnits(), UnitSystem::Imperial);
    again.HandleLine(kGgaFix);
    again.HandleLine(kRmc100);
    EXPECT_EQ(Row(*again.GetListPage(), CGPSData::kHeading, "Speed:"), "62.1 mph");
}

// Night mode, units and notation reach every page from one command, are stored where they
// always were and come back with the next start. The Map page keeps units of its own until
// Tools > Units.
TEST_F(FrameTest, DisplaySettingsReachEveryPageAndComeBack)
{
    m_frame.reset();
    {
        CSettingsKey maps;
        ASSERT_TRUE(maps.Open("Software/Veloran/Maps", true));
        maps.WriteNumber("OperationMode", 3);
    }
    m_frame = std::make_unique<CMainFrame>();
    EXPECT_EQ(m_frame->GetMapView()->GetModel().m_settings.units, UnitSystem::Nautic);
    EXPECT_EQ(m_frame->GetDisplaySettings().GetUnits(), UnitSystem::Metric);
    // Tall enough that the corner is page background below the sections.
    const auto listBackground = [this] {
        QImage image(QSize(240, 1000), QImage::Format_RGB32);
        QPainter painter(&image);
        m_frame->GetListPage()->Render(painter, image.size());
        return image.pixelColor(image.width() - 1, image.height() - 1);
    };
    const QColor day = listBackground();

    m_frame->RunCommand(kCmdDisplayMode); // on the Dashboard page: night
    EXPECT_TRUE(m_frame->GetDashboard()->GetClock()->IsNight());
    EXPECT_EQ(listBackground(), CNightPalette::Background());
    m_frame->RunCommand(kCmdUnitsImperial);
    EXPECT_EQ(m_frame->GetMapView()->GetModel().m_settings.units, UnitSystem::Imperial);
    m_frame->RunCommand(kCmdCoordUTM);
    EXPECT_EQ(m_frame->GetMapView()->GetOptions().projection, CoordinateFormat::UTM);
    m_frame->RunCommand(kCmdSelectorAdvanced);
    EXPECT_TRUE(m_frame->GetMapView()->GetOptions().advancedFileSelector);

    m_frame.reset();
    {
        QSettings ini(QString::fromStdString(CSettingsKey::GetSettingsFile()),
                      QSettings::IniFormat);
        EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/Dashboard/NightMode")).toInt(), 1);
        EXPECT_FALSE(ini.contains(QStringLiteral("Software/Veloran/NightMode")));
        EXPECT_EQ(ini.value(QStringLiteral("Software/Veloran/Maps/OperationMode")).toInt(), 2);
    }
    m_frame = std::make_unique<CMainFrame>();
    EXPECT_TRUE(m_frame->GetDashboard()->GetClock()->IsNight());
    EXPECT_EQ(listBackground(), CNightPalette::Background());
    EXPECT_EQ(m_frame->GetMapView()->GetOptions().projection, CoordinateFormat::UTM);
    EXPECT_TRUE(m_frame->GetMapView()->GetOptions().advancedFileSelector);
    m_frame->RunCommand(kCmdDisplayMode);
    EXPECT_FALSE(m_frame->GetDashboard()->GetClock()->IsNight());
    EXPECT_EQ(listBackground(), day);
}

TEST_F(FrameTest, SatelliteSystemsByMenuAndForOneRun)
{
    const std::string gnGga =
        Sentence("GNGGA,123519.00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
    const QString stored = QStringLiteral("Software/Veloran/AllSystems");
    const std::string gnGgaNorth =
        Sentence("GNGGA,123520.00,4907.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
    const CGPSData &list = *m_frame->GetListPage();
    auto quality = [this] {
        return Row(*m_frame->GetListPage(), CGPSData::kReception, "Quality of fix:");
    };
    const std::string noFix = quality();

    // All systems by default: a multi-system receiver's fix shows.
    EXPECT_TRUE(m_frame->GetAction(kCmdGnssAll)->isChecked());
    EXPECT_FALSE(m_frame->GetAction(kCmdGnssGpsOnly)->isChecked());
    Feed({gnGga});
    EXPECT_NE(quality(), noFix);
    EXPECT_EQ(Row(list, CGPSData::kPosition, "Latitude:"), "48.117300\xC2\xB0 N");
    EXPECT_NEAR(MapFixLatitude(*m_frame), 48.1173, 1e-4);

    // GPS only, through the menu entry: stored at once, the old position gone, $GN refused.
    m_frame->GetAction(kCmdGnssGpsOnly)->trigger();
    EXPECT_TRUE(m_frame->GetAction(kCmdGnssGpsOnly)->isChecked());
    EXPECT_FALSE(m_frame->GetAction(kCmdGnssAll)->isChecked());
    {
        QSettings ini(QString::fromStdString(CSettingsKey::GetSettingsFile()),
                      QSettings::IniFormat);
        EXPECT_EQ(ini.value(stored).toInt(), 0);
    }
    EXPECT_EQ(quality(), noFix);
    Feed({gnGgaNorth});
    EXPECT_EQ(quality(), noFix);
    EXPECT_NEAR(MapFixLatitude(*m_frame), 48.1173, 1e-4) << "the map was not given it";
    Feed({kGgaFix});
    EXPECT_NE(quality(), noFix);

    // The command line's choice is for that run only: the stored GPS only comes back.
    m_frame.reset();
    m_frame = std::make_unique<CMainFrame>();
    EXPECT_EQ(m_frame->GetState().gnssMode, GnssMode::GpsOnly);
    m_frame->SetGnssModeOverride(GnssMode::AllSystems);
    EXPECT_TRUE(m_frame->GetAction(kCmdGnssAll)->isChecked());
    Feed({gnGga});
    EXPECT_NE(quality(), noFix);
    m_frame.reset();
    QSettings ini(QString::fromStdString(CSettingsKey::GetSettingsFile()), QSettings::IniFormat);
    EXPECT_EQ(ini.value(stored).toInt(), 0);
}

TEST_F(FrameTest, AutoConnectOpensThePortWhenTheWindowShows)
{
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    m_frame.reset();
    {
        CSettingsKey key;
        ASSERT_TRUE(key.Open("Software/Veloran", true));
        key.WriteNumber("AutoConnect", 1);
        CSettingsKey port;
        ASSERT_TRUE(port.Open("Software/Veloran/SerialPort", true));
        port.WriteText("ComPort", pty.SlavePath());
        port.WriteNumber("BaudRate", 1);
    }
    m_frame = std::make_unique<CMainFrame>();
    EXPECT_FALSE(m_frame->GetSource().IsOpen()) << "opens only once the window exists";
    m_frame->show();
    EXPECT_TRUE(ProcessUntil([&] { return m_frame->GetSource().IsOpen(); }));
    EXPECT_TRUE(m_messages.empty());
}

TEST_F(FrameTest, QuitWhileReplayingEndsWithinTwoSeconds)
{
    m_frame->SetReplayDelay(1000);
    ASSERT_TRUE(m_frame->ReplayFile(QStringLiteral(VELORAN_DEMO_LOG)));
    ASSERT_TRUE(ProcessUntil([&] { return m_frame->GetParser().m_gga.m_quality != 0; }));
    EXPECT_FALSE(m_frame->GetAction(kCmdSyncClock)->isEnabled());
    QElapsedTimer timer;
    timer.start();
    m_frame->RunCommand(kCmdQuit);
    EXPECT_LT(timer.elapsed(), 2000);
    EXPECT_FALSE(m_frame->GetSource().IsOpen());
}

TEST_F(FrameTest, LivePortShowsFixThenTimeout)
{
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    m_frame->SetPortOverride(QString::fromStdString(pty.SlavePath()));
    ASSERT_TRUE(m_frame->OpenPort());
    EXPECT_TRUE(m_frame->GetAction(kCmdDisconnect)->isEnabled());
    ASSERT_TRUE(pty.Send(kGgaFix + kGsa3D + kRmc100 + kGgaFix));
    const CGPSData &list = *m_frame->GetListPage();
    EXPECT_TRUE(ProcessUntil([&] {
        return Row(list, CGPSData::kReception, "Quality of fix:") == "GPS fix / 3D"
               && Row(list, CGPSData::kHeading, "Speed:") == "100.0 km/h";
    }));
    m_frame->UpdateCommands(); // as when the menu opens
    EXPECT_TRUE(m_frame->GetAction(kCmdSyncClock)->isEnabled());
    // The receiver falls silent: about a second later the time-out line arrives.
    const CLineHistory &history = m_frame->GetDataPage()->GetHistory();
    ASSERT_TRUE(ProcessUntil(
        [&] { return history.Size() == 5 && history.At(4) == "A Reception-Timeout occured!\r\n"; },
        4000));
    m_frame->RunCommand(kCmdDisconnect);
    EXPECT_FALSE(m_frame->GetSource().IsOpen());
}

// A stored network source: Plain Connect opens it without the port dialog, the notice says what
// it does, its lines take the serial port's road, and its silence shows the fix lost.
TEST_F(FrameTest, StoredNetworkSourceOpensAndSaysWhatItDoes)
{
    const int udp = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof to;
    ASSERT_EQ(::bind(udp, reinterpret_cast<sockaddr *>(&to), sizeof to), 0);
    ASSERT_EQ(::getsockname(udp, reinterpret_cast<sockaddr *>(&to), &size), 0);
    ::close(udp); // a free port
    const std::string url = "udp://127.0.0.1:" + std::to_string(ntohs(to.sin_port));
    m_frame.reset();
    {
        CSettingsKey key;
        ASSERT_TRUE(key.Open(kSourceSetting.key, true));
        key.WriteText(kSourceSetting.name, url);
    }
    m_frame = std::make_unique<CMainFrame>();
    EXPECT_EQ(m_frame->ConfiguredSource().ToUrl(), url);
    m_frame->UpdateCommands();
    EXPECT_TRUE(m_frame->GetAction(kCmdAutoConnect)->isEnabled()) << "a source is configured";
    m_frame->RunCommand(kCmdPlainConnect); // a dialog would block here
    ASSERT_TRUE(m_frame->GetSource().IsNetwork());
    EXPECT_TRUE(ProcessUntil([&] { return m_frame->GetNotice().startsWith("Waiting for data"); }));
    const int sender = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const std::string lines = kGgaFix + kGsa3D + kRmc100 + kGgaFix;
    ASSERT_EQ(::sendto(sender, lines.data(), lines.size(), 0, reinterpret_cast<sockaddr *>(&to),
                       sizeof to),
              static_cast<ssize_t>(lines.size()));
    ::close(sender);
    const CGPSData &list = *m_frame->GetListPage();
    EXPECT_TRUE(ProcessUntil(
        [&] { return Row(list, CGPSData::kReception, "Quality of fix:") == "GPS fix / 3D"; }));
    EXPECT_TRUE(m_frame->GetNotice().isEmpty()) << "receiving: nothing to say";
    m_frame->UpdateCommands();
    EXPECT_TRUE(m_frame->GetAction(kCmdDisconnect)->isEnabled());
    EXPECT_FALSE(m_frame->GetAction(kCmdProgramChipset)->isEnabled()) << "no port to write to";
    m_frame->RunCommand(kCmdDisconnect);
    EXPECT_FALSE(m_frame->GetSource().IsOpen());
}

// gpsd holds the receiver's port: the box says so and offers gpsd; taken, it is the source from
// now on.
TEST_F(FrameTest, PortHeldByGpsdOffersToReadThroughIt)
{
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    // Another program holds the port (as root, TIOCEXCL does not stop us: its lock does).
    const int holder = ::open(pty.SlavePath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(::flock(holder, LOCK_EX | LOCK_NB), 0);
    CFakeGpsd gpsd(DevicesAnswer(pty.SlavePath()));
    ASSERT_NE(gpsd.GetPort(), 0);
    setenv("VELORAN_GPSD_PORT", std::to_string(gpsd.GetPort()).c_str(), 1);
    // The machine's own /dev and /proc, where the pty and its holder are.
    const char *tree = std::getenv("VELORAN_PORT_ROOT");
    const std::string savedTree = tree != nullptr ? tree : "";
    unsetenv("VELORAN_PORT_ROOT");
    for (const bool yes : {false, true}) {
        SCOPED_TRACE(yes ? "taken" : "declined");
        m_messages.clear();
        SetQuestionAnswer(yes);
        m_frame->SetPortOverride(QString::fromStdString(pty.SlavePath()));
        EXPECT_EQ(m_frame->OpenPort(), yes);
        ASSERT_EQ(m_messages.size(), 1U);
        EXPECT_EQ(m_messages[0].icon, QMessageBox::Question);
        EXPECT_TRUE(m_messages[0].text.startsWith("Failed to open COM Port.\n"));
        EXPECT_TRUE(m_messages[0].text.contains("in use by gpsd"));
        EXPECT_EQ(m_frame->GetSource().IsNetwork(), yes);
        EXPECT_EQ(m_frame->ConfiguredSource().ToUrl(),
                  yes ? "gpsd://localhost:2947" : "serial:" + pty.SlavePath());
    }
    m_frame->CloseSource();
    unsetenv("VELORAN_GPSD_PORT");
    if (!savedTree.empty())
        setenv("VELORAN_PORT_ROOT", savedTree.c_str(), 1);
    ::close(holder);
    CSettingsKey key;
    ASSERT_TRUE(key.Open(kSourceSetting.key, false));
    EXPECT_EQ(key.ReadText(kSourceSetting.name, ""), "gpsd://localhost:2947") << "stored";
}

// A SiRF receiver left in binary mode: found at its speed, offered the switch, told in its own
// protocol, and read in NMEA once it answers so.
TEST_F(FrameTest, SirfBinaryReceiverIsSwitchedToNmea)
{
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    std::string error;
    m_frame->SetSourceOverride(
        *CSourceAddress::Parse("serial:" + pty.SlavePath() + "?baud=auto", error));
    SetQuestionAnswer(true);
    // The test keeps sending while it waits: a full pty must not block it (the reader may be
    // waiting for the window meanwhile).
    ::fcntl(pty.Master(), F_SETFL, ::fcntl(pty.Master(), F_GETFL) | O_NONBLOCK);
    ASSERT_TRUE(m_frame->OpenPort());
    // Measure Navigation Data Out frames, as a SiRF receiver sends them every second.
    const std::string binary = SirfBinaryFrame(std::string("\x02", 1) + std::string(40, '\x01'));
    const std::string wanted = SirfSwitchToNmeaFrame(kSirfNmeaBaudRate);
    std::string heard;
    const bool switched = ProcessUntil(
        [&] {
            pty.Send(binary);
            char block[256];
            for (pollfd p{pty.Master(), POLLIN, 0}; ::poll(&p, 1, 0) == 1;) {
                const ssize_t n = ::read(pty.Master(), block, sizeof block);
                if (n <= 0)
                    break;
                heard.append(block, static_cast<std::size_t>(n));
            }
            return heard.find(wanted) != std::string::npos;
        },
        10000);
    ASSERT_TRUE(switched) << "the switch was never sent";
    ASSERT_FALSE(m_messages.empty());
    EXPECT_EQ(m_messages.back().icon, QMessageBox::Question);
    EXPECT_TRUE(m_messages.back().text.startsWith(
        QString::fromStdString("The receiver on " + pty.SlavePath() + " sends SiRF binary")));
    // Now in NMEA: its speed found again, and read.
    EXPECT_TRUE(ProcessUntil(
        [&] {
            pty.Send(kGgaFix + kGsa3D + kRmc100 + kGgaFix);
            return m_frame->GetNotice().startsWith("Receiver found on");
        },
        10000));
    const CGPSData &list = *m_frame->GetListPage();
    EXPECT_TRUE(ProcessUntil(
        [&] {
            pty.Send(kGgaFix + kGsa3D + kRmc100 + kGgaFix);
            return Row(list, CGPSData::kReception, "Quality of fix:") == "GPS fix / 3D";
        },
        5000));
    m_frame->CloseSource();
}

// Unplugged: said at once without a box, the fix shown as lost; re-plugged at a new device behind
// the same name, reception resumes by itself. A Disconnect ends the retries. No setting changes.
TEST_F(FrameTest, ReceiverUnpluggedIsShownLostAndComesBackByItself)
{
    const QString link = Temp("gps");
    auto pty = std::make_unique<CPtyPair>();
    ASSERT_TRUE(QFile::link(QString::fromStdString(pty->SlavePath()), link));
    m_frame->SetPortOverride(link);
    ASSERT_TRUE(m_frame->OpenPort());
    const CGPSData &list = *m_frame->GetListPage();
    const auto quality = [&] { return Row(list, CGPSData::kReception, "Quality of fix:"); };
    const auto unplug = [&] {
        pty->ReleaseSlave();
        pty->CloseMaster();
        QElapsedTimer timer;
        timer.start();
        EXPECT_TRUE(ProcessUntil([&] { return !m_frame->GetNotice().isEmpty(); }, 2000));
        EXPECT_LT(timer.elapsed(), 2000);
    };
    const auto replug = [&] {
        pty = std::make_unique<CPtyPair>();
        QFile::remove(link);
        ASSERT_TRUE(QFile::link(QString::fromStdString(pty->SlavePath()), link));
    };
    const std::vector<CTrackSegment> &track = MapTrack(*m_frame);
    ASSERT_TRUE(pty->Send(kGsa3D + kGgaFix + kRmc100 + kGgaFixNorth + kRmc100));
    ASSERT_TRUE(ProcessUntil([&] { return quality() == "GPS fix / 3D" && !track.empty(); }));
    EXPECT_EQ(track.size(), 1u) << "the fix held: the map joins the two";

    unplug();
    EXPECT_TRUE(m_frame->GetNotice().startsWith("Receiver disconnected: " + link + ": "))
        << m_frame->GetNotice().toStdString();
    EXPECT_EQ(quality(), "no fix / n.a.");
    EXPECT_EQ(Row(list, CGPSData::kHeading, "Speed:"), "0.0 km/h");
    EXPECT_DOUBLE_EQ(m_frame->GetDashboard()->GetSpeedometer()->GetValue(), 0.0);
    EXPECT_TRUE(m_messages.empty()) << "a notice, not a box";
    m_frame->UpdateCommands();
    EXPECT_TRUE(m_frame->GetAction(kCmdDisconnect)->isEnabled()) << "ends the retries";

    replug();
    ASSERT_TRUE(ProcessUntil([&] { return m_frame->GetSource().IsOpen(); }, 5000));
    EXPECT_TRUE(m_frame->GetNotice().startsWith("Receiver connected again: " + link));
    ASSERT_TRUE(pty->Send(kGsa3D + kGgaFix + kRmc100));
    EXPECT_TRUE(ProcessUntil([&] { return quality() == "GPS fix / 3D"; }));
    EXPECT_EQ(track.size(), 1u) << "the fix was lost between: the map starts a new piece";

    unplug();
    m_frame->RunCommand(kCmdDisconnect);
    EXPECT_TRUE(m_frame->GetNotice().isEmpty());
    replug();
    ProcessUntil([] { return false; }, 2500);
    EXPECT_FALSE(m_frame->GetSource().IsOpen()) << "no retry after Disconnect";
    EXPECT_TRUE(m_messages.empty());
    m_frame.reset();
    const QSettings ini(QString::fromStdString(CSettingsKey::GetSettingsFile()),
                        QSettings::IniFormat);
    EXPECT_FALSE(ini.contains(QStringLiteral("Software/Veloran/SerialPort/ComPort")));
}

// A replay and a recording never share a file; a replay that fails to read says so.
TEST_F(FrameTest, ReplayAndRecordingNeverShareAFile)
{
    const QString log = Temp("shared.nmea");
    struct Case {
        const char *legend;
        std::function<bool(CMainFrame &)> action;
        const char *text, *details;
        bool recorded; // the log was opened on it, and emptied
    };
    const Case cases[] = {
        {"record the file being replayed",
         [&](CMainFrame &f) { return f.ReplayFile(log) && f.CreateLog(log); },
         "Failed to create log file.", "it is the file being replayed", false},
        {"replay the file being recorded",
         [&](CMainFrame &f) { return f.CreateLog(log) && f.ReplayFile(log); },
         "failed to open file.", "it is the file being recorded", true},
        {"a replay that fails to read",
         [&](CMainFrame &f) {
             ProcessUntil([] { return false; }, 100);
             return !f.ReplayFile(QStringLiteral("/proc/self/mem"))
                    || !ProcessUntil([&] { return !m_messages.empty(); });
         },
         "failed to read file.", "/proc/self/mem: Input/output error", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        QFile::remove(log);
        ASSERT_TRUE(QFile::copy(QStringLiteral(VELORAN_DEMO_LOG), log));
        m_frame = std::make_unique<CMainFrame>();
        m_frame->SetReplayDelay(1000);
        m_messages.clear();
        EXPECT_FALSE(c.action(*m_frame));
        ASSERT_EQ(m_messages.size(), 1u);
        EXPECT_EQ(m_messages[0].text.toStdString(), c.text);
        EXPECT_TRUE(m_messages[0].details.endsWith(QLatin1String(c.details)))
            << m_messages[0].details.toStdString();
        m_frame.reset();
        QFile file(log);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.size(), c.recorded ? 0 : QFileInfo(QStringLiteral(VELORAN_DEMO_LOG)).size())
            << "emptied only by a recording of its own, never grown by a replay of itself";
    }
}

} // namespace

TEST_F(FrameTest, MapPageCommandsAndTheFactoryWorldMap)
{
    // A new data folder gets the world map, calibrated by its corners.
    m_frame.reset();
    QFile::remove(m_data.filePath(QStringLiteral("Worldmap.gdb")));
    QFile ini(m_config.filePath(QStringLiteral("veloran.ini")));
    ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
    ini.write("[Software]\nVeloran\\SerialPort\\Chipset=1\n");
    ini.close();
    m_frame = std::make_unique<CMainFrame>();
    CMapView *map = m_frame->GetMapView();
    // The decoded image is handed over by the event loop, so the page shows before it loads.
    m_frame->GetSheet()->setCurrentIndex(kPageMap);
    EXPECT_FALSE(m_frame->GetAction(kCmdStepOn)->isEnabled()) << "no map yet";
    ASSERT_TRUE(map->WaitForBitmap(10000));
    EXPECT_TRUE(QFile::exists(m_data.filePath(QStringLiteral("Worldmap.gdb"))));
    EXPECT_FALSE(QFile::exists(m_data.filePath(QStringLiteral("MapInfo.gdb"))));
    ASSERT_TRUE(map->IsMapLoaded());
    CGeoPosition cursor;
    ASSERT_TRUE(map->GetCursorPosition(cursor));
    EXPECT_NEAR(cursor.m_latitude, 0.0, 1e-9);

    EXPECT_TRUE(m_frame->GetAction(kCmdStepOn)->isEnabled()) << "zoom as soon as the map is in";
    EXPECT_TRUE(m_frame->GetAction(kCmdHotConnect)->isEnabled()) << "SIRF and a calibrated map";
    EXPECT_FALSE(m_frame->GetAction(kCmdProgramChipset)->isEnabled()) << "no port open";
    m_frame->RunCommand(kCmdStepOn);
    EXPECT_NEAR(map->GetModel().Viewport().GetZoom(), std::sqrt(0.5), 1e-12);
    EXPECT_TRUE(map->GetModel().m_settings.trackPosition) << "new with the world map";
    m_frame->RunCommand(kCmdDisplayMode);
    EXPECT_FALSE(map->GetModel().m_settings.trackPosition);
    m_frame->RunCommand(kCmdDisplayMode);

    // A fix moves the followed view; the waypoint dialog is then offered the map's cursor.
    Feed({Sentence("GPGGA,093000.00,4808.9498,N,01136.5546,E,1,08,1.0,520.0,M,47.0,M,,")});
    ASSERT_TRUE(map->GetCursorPosition(cursor));
    EXPECT_NEAR(cursor.m_latitude, 48.149, 0.1);
    EXPECT_NEAR(cursor.m_longitude, 11.609, 0.1);
    EXPECT_TRUE(m_messages.empty());
}

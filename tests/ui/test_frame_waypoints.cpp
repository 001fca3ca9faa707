#include "NMEATestUtils.h"
#include "app/CommandTable.h"
#include "app/MainFrame.h"
#include "dashboard/Compass.h"
#include "dashboard/Dashboard.h"
#include "ui/UiTestUtils.h"
#include "waypoints/WaypointBook.h"
#include "waypoints/WaypointDatabase.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QTimer>

#include <algorithm>
#include <memory>

namespace
{

const std::string kGgaFix =
    Sentence("GPGGA,123519.00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
const std::string kGgaFar =
    Sentence("GPGGA,123520.00,4808.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
const std::string kGgaNoFix = Sentence("GPGGA,123521.00,4807.038,N,01131.000,E,0,00,,,M,,M,,");
const std::string kRmc = Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,54.0,84.4,230394,,");

CWaypointList Gate()
{
    CWaypoint w;
    w.m_name = "Gate";
    w.m_position = CGeoPosition(48.1173, 11.5166667, 0.0);
    w.m_radius = 10.0;
    return {w};
}

class FrameWaypointsTest : public CUiTest
{
protected:
    QString Data(const char *name) const { return m_data.filePath(QString::fromLatin1(name)); }
    void WriteFile(const char *name, const std::string &bytes) const
    {
        QFile file(Data(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes.data(), static_cast<qint64>(bytes.size()));
    }
    std::unique_ptr<CMainFrame> Frame()
    {
        auto frame = std::make_unique<CMainFrame>();
        QCoreApplication::processEvents();
        return frame;
    }
    std::vector<std::string> Texts()
    {
        QCoreApplication::processEvents();
        std::vector<std::string> texts;
        for (const CMessage &m : m_messages)
            texts.push_back((m.caption + QLatin1Char('|') + m.text).toStdString());
        m_messages.clear();
        return texts;
    }
    using Texts_t = std::vector<std::string>;
};

} // namespace

TEST_F(FrameWaypointsTest, ProximityOncePerApproachAndTheCompassBearing)
{
    WriteFile("Waypoints.wdb", EncodeWaypoints(Gate()));
    auto frame = Frame();
    ASSERT_TRUE(frame->GetWaypoints().SetGotoTarget(0));
    for (const std::string &line : {kGgaNoFix, kGgaFix, kGgaFix, kGgaFar, kGgaFix})
        frame->HandleLine(line);
    const Texts_t texts = Texts();
    ASSERT_EQ(texts.size(), 2u) << "no fix, reached, inside, left, reached again";
    EXPECT_EQ(texts[0].rfind("Waypoint reached|Gate\n48.117300", 0), 0u) << texts[0];

    frame->HandleLine(kRmc);
    EXPECT_TRUE(frame->GetDashboard()->GetCompass()->HasTarget());
}

TEST_F(FrameWaypointsTest, EditOkReplacesTheListSavesAndClearsTheTarget)
{
    ASSERT_TRUE(QFile::remove(Data("Waypoints.wdb")));
    WriteFile("Worldpoints.wdb", EncodeWaypoints(Gate()));
    auto frame = Frame();
    EXPECT_TRUE(Texts().empty()) << "the fallback opened";
    ASSERT_TRUE(frame->GetWaypoints().SetGotoTarget(0));
    QTimer::singleShot(0, [] {
        if (auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget()))
            dialog->accept();
    });
    frame->RunCommand(kCmdEditWaypoints);
    EXPECT_EQ(frame->GetWaypoints().GetNavigator().GetTargetWaypoint(
                  frame->GetWaypoints().GetWaypoints()),
              nullptr);
    const CWaypointLoad saved = LoadWaypointDatabase(m_data.path().toStdString());
    EXPECT_EQ(saved.path, Data("Waypoints.wdb").toStdString());
    EXPECT_EQ(saved.waypoints, Gate());
}

TEST_F(FrameWaypointsTest, ImportSavesExportSaysHowMany)
{
    const std::string gpx = R"(<?xml version="1.0"?><gpx version="1.0">
        <wpt lat="1.5" lon="2.5"><name>A &amp; B</name></wpt><wpt lat="-3" lon="4"/></gpx>)";
    WriteFile("in.gpx", gpx);
    auto frame = Frame();
    CWaypointBook &book = frame->GetWaypoints();
    EXPECT_EQ(book.ImportFile(Data("in.gpx"), WaypointFileType::GPX), 2);
    EXPECT_EQ(Texts(), Texts_t{"|2 waypoint(s) successfully imported."});
    EXPECT_EQ(LoadWaypointDatabase(m_data.path().toStdString()).waypoints.size(), 2u);

    EXPECT_TRUE(book.ExportFile(Data("out.gpx")));
    EXPECT_EQ(Texts(), Texts_t{"|2 waypoints successfully exported."});
    EXPECT_FALSE(book.ExportFile(Data("missing/out.gpx")));
    EXPECT_EQ(Texts(), Texts_t{"ERROR|Unable to write\nthe GPX file."});

    // A database that cannot be written: said, and the imported waypoints stay in memory.
    ASSERT_TRUE(QFile::remove(Data("Waypoints.wdb")));
    ASSERT_TRUE(QDir(m_data.path()).mkdir(QStringLiteral("Waypoints.wdb")));
    EXPECT_EQ(book.ImportFile(Data("in.gpx"), WaypointFileType::GPX), 2);
    EXPECT_EQ(Texts(), (Texts_t{"ERROR|Unable to open\nWaypoint-Database.",
                                "|2 waypoint(s) successfully imported."}));
    EXPECT_EQ(book.GetWaypoints().size(), 4u);

    EXPECT_EQ(book.ImportFile(Data("nowhere.gpx"), WaypointFileType::GPX), 0);
    EXPECT_EQ(Texts(),
              (Texts_t{"ERROR|failed to load file!", "|0 waypoint(s) successfully imported."}));
}

// A later start with no database of the user's: the factory cities, no box, and the user's own
// database still comes first once there.
TEST_F(FrameWaypointsTest, StartWithoutADatabaseLoadsTheFactoryCities)
{
    ASSERT_TRUE(QFile::remove(Data("Waypoints.wdb")));
    {
        auto frame = Frame();
        EXPECT_EQ(Texts(), Texts_t{});
        const CWaypointList &cities = frame->GetWaypoints().GetWaypoints();
        EXPECT_GT(cities.size(), 100u);
        EXPECT_TRUE(std::any_of(cities.begin(), cities.end(), [](const CWaypoint &w) {
            return w.m_name == "Berlin" && w.m_description == "Germany";
        }));
        EXPECT_TRUE(QFile::exists(Data("Worldpoints.wdb")));
        EXPECT_FALSE(QFile::exists(Data("Waypoints.wdb"))) << "the user's file is not made";
    }
    auto again = Frame();
    EXPECT_EQ(Texts(), Texts_t{});
    EXPECT_GT(again->GetWaypoints().GetWaypoints().size(), 100u);

    WriteFile("Waypoints.wdb", EncodeWaypoints(Gate()));
    EXPECT_EQ(Frame()->GetWaypoints().GetWaypoints(), Gate());
    EXPECT_EQ(Texts(), Texts_t{});
}

TEST_F(FrameWaypointsTest, StartWithAnUnreadableOrDamagedDatabase)
{
    // There, but no file: no factory file replaces it, and the box says so.
    ASSERT_TRUE(QFile::remove(Data("Waypoints.wdb")));
    ASSERT_TRUE(QDir(m_data.path()).mkdir(QStringLiteral("Worldpoints.wdb")));
    Frame();
    EXPECT_EQ(Texts(), Texts_t{"ERROR|Unable to open\nWaypoint-Database."});
    ASSERT_TRUE(QDir(m_data.path()).rmdir(QStringLiteral("Worldpoints.wdb")));

    std::string bytes = EncodeWaypoints({Gate()[0], Gate()[0]});
    bytes.resize(bytes.size() - 3);
    WriteFile("Waypoints.wdb", bytes);
    auto frame = Frame();
    EXPECT_EQ(Texts(), Texts_t{"ERROR|Unable to open\nWaypoint-Database."});
    EXPECT_EQ(frame->GetWaypoints().GetWaypoints(), Gate()) << "the whole first one is kept";
}

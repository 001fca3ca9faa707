#include "WaypointTestUtils.h"
#include "app/MainFrame.h"
#include "maps/MapDatabase.h"
#include "maps/MapView.h"
#include "ui/UiTestUtils.h"
#include "waypoints/WaypointBook.h"
#include "waypoints/WaypointDatabase.h"
#include "waypoints/WaypointExchange.h"

#include <QDir>
#include <QLabel>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace
{

class DatabaseChangesTest : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        ASSERT_EQ(WriteDatabaseFile(Path(), WaypointsNamed({"a", "b"}), WaypointCodec()), 0);
    }
    void TearDown() override
    {
        SetDatabaseConflictAnswer(std::nullopt);
        CUiTest::TearDown();
    }
    std::string Path(const char *name = "Waypoints.wdb") const
    {
        return m_data.filePath(QString::fromLatin1(name)).toStdString();
    }
    std::string OnDisk() const { return NamesOf(LoadWaypointFile(Path()).waypoints); }
    // What the command line does while the window holds the list: appends under the lock.
    void OtherProgramSaves(const CWaypointList &list) const
    {
        const CDatabaseLock lock(Path());
        ASSERT_EQ(WriteDatabaseFile(Path(), list, WaypointCodec()), 0);
    }
    std::vector<std::string> Texts()
    {
        std::vector<std::string> texts;
        for (const CMessage &m : m_messages)
            texts.push_back((m.caption + QLatin1Char('|') + m.text).toStdString());
        m_messages.clear();
        return texts;
    }
};

} // namespace

TEST_F(DatabaseChangesTest, EditOkKeepsAnImportMadeMeanwhile)
{
    CWaypointBook book(nullptr);
    book.Load(m_data.path(), false);
    const CWaypointList before = book.GetWaypoints();
    const CDatabaseStamp stamp = LoadWaypointFile(Path()).stamp;

    OtherProgramSaves(WaypointsNamed({"a", "b", "imported"}));
    // The dialog changed both in place; the other program appended one.
    EXPECT_TRUE(book.ApplyEdit(before, stamp, WaypointsNamed({"B", "new"})));
    EXPECT_EQ(OnDisk(), "B new imported");
    EXPECT_EQ(NamesOf(book.GetWaypoints()), "B new imported");
    EXPECT_TRUE(Texts().empty());
}

TEST_F(DatabaseChangesTest, ConflictAnsweredEachWay)
{
    const struct {
        DatabaseConflictChoice answer;
        bool saved;
        const char *disk, *memory;
    } cases[] = {
        {DatabaseConflictChoice::Reload, false, "a c", "a c"},
        {DatabaseConflictChoice::KeepMine, true, "a B", "a B"},
        {DatabaseConflictChoice::Cancel, false, "a c", "a B"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.disk + std::string(" / ") + c.memory);
        ASSERT_EQ(WriteDatabaseFile(Path(), WaypointsNamed({"a", "b"}), WaypointCodec()), 0);
        CWaypointBook book(nullptr);
        book.Load(m_data.path(), false);
        const CWaypointList before = book.GetWaypoints();
        const CDatabaseStamp stamp = LoadWaypointFile(Path()).stamp;
        // The other program renamed the waypoint this one edits.
        OtherProgramSaves(WaypointsNamed({"a", "c"}));
        SetDatabaseConflictAnswer(c.answer);
        EXPECT_EQ(book.ApplyEdit(before, stamp, WaypointsNamed({"a", "B"})), c.saved);
        EXPECT_EQ(OnDisk(), c.disk);
        EXPECT_EQ(NamesOf(book.GetWaypoints()), c.memory);
        // Unsaved changes are not dropped by a reload behind the user's back.
        EXPECT_FALSE(book.CheckOutsideChange());
        EXPECT_TRUE(Texts().empty());
    }
}

TEST_F(DatabaseChangesTest, OutsideChangesAreReloadedWhileIdle)
{
    CWaypointBook book(nullptr);
    book.Load(m_data.path(), false);
    EXPECT_FALSE(book.CheckOutsideChange());
    OtherProgramSaves(WaypointsNamed({"a", "b", "c"}));
    EXPECT_TRUE(book.CheckOutsideChange());
    EXPECT_EQ(NamesOf(book.GetWaypoints()), "a b c");
    EXPECT_FALSE(book.CheckOutsideChange());
    // Its own save is no outside change.
    EXPECT_EQ(book.ImportFile(QString(), WaypointFileType::GPX), 0);
    Texts();
    EXPECT_TRUE(book.ApplyEdit(book.GetWaypoints(), LoadWaypointFile(Path()).stamp,
                               WaypointsNamed({"a", "b"})));
    EXPECT_FALSE(book.CheckOutsideChange());
}

TEST_F(DatabaseChangesTest, TheWindowSaysWhenItReloaded)
{
    CMainFrame frame;
    QCoreApplication::processEvents();
    Texts();
    auto *notice = frame.findChild<QLabel *>(QStringLiteral("notice"));
    ASSERT_NE(notice, nullptr);
    OtherProgramSaves(WaypointsNamed({"a", "b", "from the command line"}));
    EXPECT_TRUE(ProcessUntil([&] { return frame.GetWaypoints().GetWaypoints().size() == 3; }));
    EXPECT_EQ(notice->text().toStdString(), kWaypointReloadedText);
    EXPECT_TRUE(Texts().empty());
}

TEST_F(DatabaseChangesTest, ExportRefusesDatabasesAndDevices)
{
    CWaypointBook book(nullptr);
    book.Load(m_data.path(), false);
    const std::string bytes = OnDisk();
    const QDir data(m_data.path());
    ASSERT_TRUE(QFile::link(data.filePath(QStringLiteral("Waypoints.wdb")),
                            data.filePath(QStringLiteral("link.gpx"))));
    if (::mknod(data.filePath(QStringLiteral("null")).toLocal8Bit().constData(), S_IFCHR | 0600,
                ::makedev(1, 3))
        != 0)
        GTEST_SKIP() << "no device nodes here";
    for (const char *name : {"Waypoints.wdb", "link.gpx", "MapInfo.gdb", "null"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(book.ExportFile(data.filePath(QString::fromLatin1(name))));
        const std::vector<std::string> texts = Texts();
        ASSERT_EQ(texts.size(), 1u);
        EXPECT_EQ(texts[0], "ERROR|Unable to write\nthe GPX file.");
    }
    EXPECT_EQ(OnDisk(), bytes);
    EXPECT_FALSE(QFileInfo::exists(data.filePath(QStringLiteral("MapInfo.gdb"))));
    EXPECT_TRUE(QFileInfo(data.filePath(QStringLiteral("null"))).exists());
}

TEST_F(DatabaseChangesTest, ImportSaysWhatItSkipped)
{
    QFile gpx(m_data.filePath(QStringLiteral("in.gpx")));
    ASSERT_TRUE(gpx.open(QIODevice::WriteOnly));
    gpx.write("<gpx><wpt lat='1' lon='2'/><wpt lat='nan' lon='2'/><wpt lat='1' lon='1e400'/>"
              "<wpt lat='-91' lon='2'/></gpx>");
    gpx.close();
    CWaypointBook book(nullptr);
    book.Load(m_data.path(), false);
    EXPECT_EQ(book.ImportFile(gpx.fileName(), WaypointFileType::GPX), 1);
    EXPECT_EQ(Texts(),
              std::vector<std::string>{"|1 waypoint(s) successfully imported.\n3 "
                                       "waypoint(s) with impossible coordinates skipped."});
    EXPECT_EQ(OnDisk(), "a b unnamed");
}

TEST_F(DatabaseChangesTest, AGpxInTheDatabasesPlaceIsNeverSavedOver)
{
    const std::string gpx = ExportGPX(WaypointsNamed({"mine"}));
    {
        QFile file(QString::fromStdString(Path()));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(gpx.data(), static_cast<qint64>(gpx.size()));
    }
    CWaypointBook book(nullptr);
    book.Load(m_data.path(), false);
    EXPECT_TRUE(book.GetWaypoints().empty());
    EXPECT_EQ(Texts(), std::vector<std::string>{"ERROR|Unable to open\nWaypoint-Database."});
    EXPECT_FALSE(book.ApplyEdit({}, LoadWaypointFile(Path()).stamp, WaypointsNamed({"new"})));
    EXPECT_EQ(Texts(), std::vector<std::string>{"ERROR|Unable to open\nWaypoint-Database."});
    QFile file(QString::fromStdString(Path()));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll().toStdString(), gpx);
}

TEST_F(DatabaseChangesTest, TheMapPageKeepsMapsAddedMeanwhile)
{
    const std::string maps = Path("MapInfo.gdb");
    CMapInfo a;
    a.m_name = "a";
    a.m_file = "/nowhere/a.png";
    a.m_width = 100;
    a.m_height = 100;
    CMapInfo b = a;
    b.m_name = "b";
    CMapInfo c = a;
    c.m_name = "c";
    ASSERT_EQ(WriteDatabaseFile(maps, {a}, MapCodec()), 0);
    CMapView view;
    view.Start(m_data.path(), false, nullptr);
    m_messages.clear(); // the missing image

    // Another program adds "b": reloaded while idle.
    ASSERT_EQ(WriteDatabaseFile(maps, {a, b}, MapCodec()), 0);
    EXPECT_TRUE(view.CheckOutsideChange());
    EXPECT_EQ(view.GetModel().GetMaps().size(), 2u);
    EXPECT_FALSE(view.CheckOutsideChange());

    // It adds "c" while the page calibrates "a": both kept.
    ASSERT_EQ(WriteDatabaseFile(maps, {a, b, c}, MapCodec()), 0);
    std::vector<CPositionPair> pairs(2);
    pairs[0].m_position = CGeoPosition(47.0, 8.0, 0.0);
    pairs[1].m_point = {100, 100};
    pairs[1].m_position = CGeoPosition(46.0, 9.0, 0.0);
    view.GetModel().ShowMap(0);
    view.GetModel().SetCurrentPairs(pairs);
    EXPECT_TRUE(view.SaveMaps());
    const CMapLoad load = LoadMapFile(maps);
    ASSERT_EQ(load.maps.size(), 3u);
    EXPECT_TRUE(load.maps[0].IsCalibrated());
    EXPECT_EQ(load.maps[2].m_name, "c");
    EXPECT_EQ(view.GetModel().GetMaps(), load.maps);
    m_messages.clear();
}

#include "FileTestUtils.h"
#include "WaypointTestUtils.h"
#include "maps/MapDatabase.h"
#include "storage/AtomicFile.h"
#include "storage/DatabaseFile.h"
#include "waypoints/WaypointDatabase.h"
#include "waypoints/WaypointExchange.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <thread>
#include <utime.h>

namespace
{

namespace fs = std::filesystem;

CWaypoint Make(const std::string &name, double lat, double lon)
{
    CWaypoint w;
    w.m_name = name;
    w.m_position.m_latitude = lat;
    w.m_position.m_longitude = lon;
    return w;
}

mode_t TypeOf(const std::string &path)
{
    struct stat st {
    };
    return ::lstat(path.c_str(), &st) == 0 ? (st.st_mode & S_IFMT) : 0;
}

void Age(const std::string &path, int seconds)
{
    const std::time_t then = std::time(nullptr) - seconds;
    const utimbuf times{then, then};
    ASSERT_EQ(::utime(path.c_str(), &times), 0);
}

} // namespace

TEST(ExportTarget, RefusesDatabasesAndWhatIsNoFile)
{
    CTempDir dir;
    const std::string db = dir / "Waypoints.wdb";
    ASSERT_EQ(WriteDatabaseFile(db, WaypointsNamed({"a"}), WaypointCodec()), 0);
    const std::string bytes = ReadFile(db);
    ASSERT_EQ(::symlink(db.c_str(), (dir / "link.gpx").c_str()), 0);
    ASSERT_EQ(::link(db.c_str(), (dir / "hard.gpx").c_str()), 0);
    ASSERT_EQ(::symlink((dir / "MapInfo.gdb").c_str(), (dir / "dangling.gpx").c_str()), 0);
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    if (::mknod((dir / "null").c_str(), S_IFCHR | 0600, ::makedev(1, 3)) != 0)
        GTEST_SKIP() << "no device nodes here: " << std::strerror(errno);
    fs::create_directory(dir / "folder");
    WriteFile(dir / "other.gpx", "old");
    const std::vector<std::string> databases = ProgramDatabasePaths(dir.m_path);
    const struct {
        std::string target;
        const char *problem; // a part of the refusal, or empty: allowed
    } cases[] = {
        {db, "database"},
        {dir.m_path + "/./Waypoints.wdb", "database"},
        {dir / "link.gpx", "database"},
        {dir / "hard.gpx", "database"},
        {dir / "dangling.gpx", "database"}, // would create MapInfo.gdb
        {dir / "Worldmap.gdb", "database"}, // not there yet, still the program's
        {dir / "fifo", "not a regular file"},
        {dir / "null", "not a regular file"},
        {dir / "folder", "folder"},
        {dir / "other.gpx", ""},
        {dir / "new.gpx", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.target);
        const std::string problem = ExportTargetProblem(c.target, databases);
        if (*c.problem == '\0')
            EXPECT_EQ(problem, "");
        else
            EXPECT_NE(problem.find(c.problem), std::string::npos) << problem;
    }
    // A --db file elsewhere is protected when it is named.
    EXPECT_NE(ExportTargetProblem(dir / "hard.gpx", {dir / "hard.gpx"}), "");
    EXPECT_EQ(ReadFile(db), bytes);
}

TEST(AtomicFile, ReplacesOnlyRegularFiles)
{
    CTempDir dir;
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    if (::mknod((dir / "null").c_str(), S_IFCHR | 0600, ::makedev(1, 3)) != 0)
        GTEST_SKIP() << "no device nodes here: " << std::strerror(errno);
    fs::create_directory(dir / "folder");
    ASSERT_EQ(::symlink((dir / "fifo").c_str(), (dir / "to-fifo").c_str()), 0);
    const struct {
        std::string path;
        int error;
        mode_t type; // of what stays at the path
    } cases[] = {
        {dir / "fifo", EINVAL, S_IFIFO},   {dir / "null", EINVAL, S_IFCHR},
        {dir / "folder", EISDIR, S_IFDIR}, {dir / "to-fifo", EINVAL, S_IFLNK},
        {dir / "new", 0, S_IFREG},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(ReplaceFileAtomically(c.path, "text"), c.error);
        EXPECT_EQ(TypeOf(c.path), c.type);
    }
    EXPECT_EQ(TypeOf(dir / "fifo"), S_IFIFO);
    // Nothing left behind by the refusals.
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto &entry : fs::directory_iterator(dir.m_path))
        ++entries;
    EXPECT_EQ(entries, 5u);
    EXPECT_EQ(DescribeFileError("x", EINVAL), "x: not a regular file");
}

TEST(WaypointDatabaseFile, TextIsNoDatabase)
{
    CWaypointList many(0x3F3C, Make("m", 1.0, 2.0)); // counts like "<?" would
    const std::string gpx = ExportGPX(WaypointsNamed({"a", "b"}));
    const struct {
        std::string bytes;
        bool text;
        const char *legend;
    } cases[] = {
        {gpx, true, "a GPX file"},
        {"\xEF\xBB\xBF" + gpx, true, "with a UTF-8 byte-order mark"},
        {std::string("\xFF\xFE<\0?\0x\0m\0l\0", 12), true, "UTF-16 text"},
        {"name,lat,lon\nA,1,2\n", true, "CSV"},
        {EncodeWaypoints({}), false, "an empty database"},
        {EncodeWaypoints(WaypointsNamed({"a"})) + gpx, false, "a database with an old tail"},
        {EncodeWaypoints(many), false, "16188 waypoints"},
        {EncodeWaypoints(CWaypointList(0xFEFF, Make("x", 3.0, 4.0))), false, "65279 waypoints"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(LooksLikeText(c.bytes), c.text);
        CWaypointList back;
        EXPECT_EQ(DecodeWaypoints(c.bytes, back), !c.text);
        if (c.text) {
            EXPECT_TRUE(back.empty());
            CMapList maps;
            EXPECT_FALSE(DecodeMaps(c.bytes, maps));
        }
    }

    // A GPX renamed to the database: damaged, nothing read, and no save goes over it.
    CTempDir dir;
    WriteFile(dir / kWaypointFileName, gpx);
    const CWaypointLoad load = LoadWaypointDatabase(dir.m_path);
    EXPECT_TRUE(load.opened);
    EXPECT_TRUE(load.damaged);
    EXPECT_TRUE(load.waypoints.empty());
    EXPECT_NE(load.detail.find("not a waypoint database"), std::string::npos) << load.detail;
    WriteFile(dir / kMapFileName, gpx);
    const CMapLoad maps = LoadMapDatabase(dir.m_path);
    EXPECT_TRUE(maps.damaged);
    EXPECT_TRUE(maps.maps.empty());
}

TEST(WaypointDatabaseFile, LimitsOfWhatIsWritten)
{
    CTempDir dir;
    const std::string db = dir / "db.wdb";
    ASSERT_EQ(WriteDatabaseFile(db, WaypointsNamed({"kept"}), WaypointCodec()), 0);
    const std::string before = ReadFile(db);
    {
        CWaypointList full(kMaxWaypoints);
        EXPECT_EQ(CheckWaypointLimits(full), 0);
        full.emplace_back();
        EXPECT_EQ(CheckWaypointLimits(full), EFBIG);
        EXPECT_EQ(WriteDatabaseFile(db, full, WaypointCodec()), EFBIG);
    }
    {
        // Few waypoints, too many bytes: the size is reckoned without encoding.
        CWaypointList big(1);
        big[0].m_name.assign(kMaxWaypointFileBytes / 2, 'x');
        std::size_t bytes = 0;
        EXPECT_EQ(CheckWaypointLimits(big, &bytes), EFBIG);
        EXPECT_GT(bytes, kMaxWaypointFileBytes);
        big[0].m_name.resize(1000);
        EXPECT_EQ(CheckWaypointLimits(big, &bytes), 0);
        EXPECT_EQ(bytes, EncodeWaypoints(big).size());
    }
    EXPECT_EQ(ReadFile(db), before);

    CMapList maps(kMaxMaps + 1);
    EXPECT_EQ(CheckMapLimits(maps), EFBIG);
    maps.resize(1);
    maps[0].m_pairs.resize(kMaxMapPairs + 1);
    EXPECT_EQ(CheckMapLimits(maps), EFBIG);
    EXPECT_EQ(WriteDatabaseFile(dir / "maps.gdb", maps, MapCodec()), EFBIG);
    EXPECT_FALSE(fs::exists(dir / "maps.gdb"));
}

TEST(WaypointExchange, ImportRefusesMoreThanTheLimitBeforeParsing)
{
    std::string empties = "<gpx>";
    for (std::size_t i = 0; i <= kMaxImportWaypoints; ++i)
        empties += "<wpt/>";
    empties += "</gpx>";
    const struct {
        std::string text;
        std::size_t max;
        ImportStatus status;
        std::size_t count;
    } cases[] = {
        {empties, kMaxImportWaypoints, ImportStatus::TooMany, 0},
        {"<gpx><wpt/><wpt lat='1'/><wpt\n/></gpx>", 3, ImportStatus::Ok, 3},
        {"<gpx><wpt/><wpt lat='1'/><wpt\n/></gpx>", 2, ImportStatus::TooMany, 0},
        {"<gpx><wpts/><wpt/></gpx>", 1, ImportStatus::Ok, 1},
        {"<loc><waypoint/><waypoint/></loc>", 1, ImportStatus::TooMany, 0},
    };
    for (const auto &c : cases) {
        const CImportResult result = ImportWaypointsFromText(
            c.text, c.text.starts_with("<loc") ? WaypointFileType::LOC : WaypointFileType::GPX,
            c.max);
        EXPECT_EQ(result.status, c.status) << c.text.substr(0, 60);
        EXPECT_EQ(result.waypoints.size(), c.count) << c.text.substr(0, 60);
    }
}

TEST(WaypointExchange, ImpossibleCoordinatesAreSkippedAndCounted)
{
    const struct {
        const char *attributes;
        bool kept;
    } cases[] = {
        {"lat='45' lon='7'", true},       {"lat='90' lon='-180'", true},
        {"lat='-90' lon='180'", true},    {"", true}, // missing: 0, 0
        {"lat='abc' lon='x'", true},                  // unreadable: 0, 0
        {"lat='nan' lon='7'", false},     {"lat='45' lon='NaN'", false},
        {"lat='inf' lon='7'", false},     {"lat='-infinity' lon='7'", false},
        {"lat='1e400' lon='7'", false},   {"lat='45' lon='-1e400'", false},
        {"lat='90.0001' lon='7'", false}, {"lat='45' lon='180.5'", false},
    };
    std::string gpx = "<gpx>";
    std::string loc = "<loc>";
    int kept = 0;
    for (const auto &c : cases) {
        gpx += std::string("<wpt ") + c.attributes + "/>";
        loc += std::string("<waypoint><coord ") + c.attributes + "/></waypoint>";
        kept += c.kept ? 1 : 0;
        const CImportResult one = ImportWaypointsFromText(
            std::string("<gpx><wpt ") + c.attributes + "/></gpx>", WaypointFileType::GPX);
        EXPECT_EQ(one.waypoints.size(), c.kept ? 1u : 0u) << c.attributes;
        EXPECT_EQ(one.skipped, c.kept ? 0 : 1) << c.attributes;
    }
    for (const auto &[text, type] : {std::pair(gpx + "</gpx>", WaypointFileType::GPX),
                                     std::pair(loc + "</loc>", WaypointFileType::LOC)}) {
        const CImportResult all = ImportWaypointsFromText(text, type);
        EXPECT_EQ(all.status, ImportStatus::Ok);
        EXPECT_EQ(static_cast<int>(all.waypoints.size()), kept);
        EXPECT_EQ(all.skipped, static_cast<int>(std::size(cases)) - kept);
    }
    EXPECT_EQ(SkippedMessage(2), "2 waypoint(s) with impossible coordinates skipped.");

    // A database that already holds such values exports the rest, never "nan".
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const CWaypointList stored = {Make("good", 1.0, 2.0), Make("n", nan, 2.0), Make("i", 1.0, -inf),
                                  Make("far", 95.0, 2.0)};
    int skipped = 0;
    const std::string exported = ExportGPX(stored, &skipped);
    EXPECT_EQ(skipped, 3);
    EXPECT_EQ(exported.find("nan"), std::string::npos);
    EXPECT_EQ(exported.find("inf"), std::string::npos);
    const CImportResult back = ImportWaypointsFromText(exported, WaypointFileType::GPX);
    EXPECT_EQ(NamesOf(back.waypoints), "good");
}

TEST(AtomicFile, StaleTemporariesAreRemoved)
{
    CTempDir dir;
    const std::string db = dir / kWaypointFileName;
    ASSERT_EQ(WriteDatabaseFile(db, WaypointsNamed({"a"}), WaypointCodec()), 0);
    const struct {
        const char *name;
        int age;
        bool removed;
    } cases[] = {
        {".Waypoints.wdb.Ab3xYz", 120, true},
        {".Waypoints.wdb.000000", 61, true},
        {".Waypoints.wdb.Ab3xYz2", 120, false}, // not six
        {".Waypoints.wdb.Ab3xY", 120, false},
        {".Waypoints.wdb.Ab-xYz", 120, false},
        {".Waypoints.wdb.lock", 120, false},
        {".Worldpoints.wdb.Ab3xYz", 120, false}, // another file's
        {"Waypoints.wdb.Ab3xYz", 120, false},
        {".Waypoints.wdb.Young1", 5, false}, // a save may be under way
    };
    const auto make = [&] {
        for (const auto &c : cases) {
            WriteFile(dir / c.name, "partial");
            Age(dir / c.name, c.age);
        }
    };
    for (const char *when : {"load", "save"}) {
        SCOPED_TRACE(when);
        make();
        if (std::string(when) == "load")
            EXPECT_TRUE(LoadWaypointFile(db).opened);
        else
            EXPECT_EQ(WriteDatabaseFile(db, WaypointsNamed({"b"}), WaypointCodec()), 0);
        for (const auto &c : cases)
            EXPECT_EQ(fs::exists(dir / c.name), !c.removed) << c.name;
    }
    // A directory of that name is no temporary file.
    fs::remove(dir / ".Waypoints.wdb.Ab3xYz");
    fs::create_directory(dir / ".Waypoints.wdb.Ab3xYz");
    Age(dir / ".Waypoints.wdb.Ab3xYz", 120);
    EXPECT_EQ(RemoveStaleTemporaries(db), 0);
    EXPECT_TRUE(fs::is_directory(dir / ".Waypoints.wdb.Ab3xYz"));
}

TEST(DatabaseChanges, DiffAndApply)
{
    const struct {
        CWaypointList before, after, fresh;
        std::optional<std::string> merged; // empty: the changes do not apply
        const char *legend;
    } cases[] = {
        {WaypointsNamed({"a", "b"}), WaypointsNamed({"a", "b", "c"}),
         WaypointsNamed({"a", "b", "x"}), "a b x c", "both appended"},
        {WaypointsNamed({"a", "b", "c"}), WaypointsNamed({"a", "c"}),
         WaypointsNamed({"a", "b", "c", "x"}), "a c x", "deleted here, appended there"},
        {WaypointsNamed({"a", "b", "c"}), WaypointsNamed({"a", "B", "c"}),
         WaypointsNamed({"x", "a", "b", "c"}), "x a B c", "edited here, inserted before it there"},
        {WaypointsNamed({"a", "b", "c", "d"}), WaypointsNamed({"b", "D"}),
         WaypointsNamed({"a", "b", "c", "d", "e"}), "b D e", "several changes"},
        {WaypointsNamed({"a", "b"}), WaypointsNamed({"a", "B"}), WaypointsNamed({"a"}),
         std::nullopt, "edited here, deleted there"},
        {WaypointsNamed({"a", "b"}), WaypointsNamed({"a"}), WaypointsNamed({"a", "B"}),
         std::nullopt, "deleted here, edited there"},
        {WaypointsNamed({"a", "b", "c"}), WaypointsNamed({"a", "c"}),
         WaypointsNamed({"c", "a", "b", "b"}), std::nullopt,
         "the item moved and has a twin: ambiguous"},
        {WaypointsNamed({"a", "b", "c"}), WaypointsNamed({"a", "c"}),
         WaypointsNamed({"c", "b", "a"}), "c a", "the item moved, but only one is left"},
        {WaypointsNamed({"a"}), WaypointsNamed({"a"}), WaypointsNamed({"z"}), "z",
         "nothing changed here"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const CChangeSet<CWaypoint> changes = DiffLists(c.before, c.after);
        CWaypointList same = c.before;
        ASSERT_TRUE(ApplyChanges(same, changes));
        EXPECT_EQ(NamesOf(same), NamesOf(c.after));
        CWaypointList fresh = c.fresh;
        EXPECT_EQ(ApplyChanges(fresh, changes), c.merged.has_value());
        EXPECT_EQ(NamesOf(fresh), c.merged ? *c.merged : NamesOf(c.fresh));
    }
    CChangeSet<CWaypoint> unknown;
    unknown.known = false;
    CWaypointList list = WaypointsNamed({"a"});
    EXPECT_FALSE(ApplyChanges(list, unknown));
}

TEST(DatabaseChanges, SaveKeepsAnotherProgramsChanges)
{
    CTempDir dir;
    const std::string db = dir / kWaypointFileName;
    ASSERT_EQ(WriteDatabaseFile(db, WaypointsNamed({"a", "b"}), WaypointCodec()), 0);
    const CWaypointLoad mine = LoadWaypointFile(db);
    ASSERT_TRUE(mine.stamp.exists);

    // Unchanged on disk: saved as it is.
    CWaypointList edited = WaypointsNamed({"a", "B"});
    auto save = SaveDatabaseChanges(db, mine.stamp, edited, DiffLists(mine.waypoints, edited),
                                    WaypointCodec());
    EXPECT_EQ(save.outcome, SaveOutcome::Saved);
    EXPECT_EQ(NamesOf(LoadWaypointFile(db).waypoints), "a B");

    // The other program appends meanwhile; an edit here is applied to its version. A change of
    // the same size and time shows by content.
    const CDatabaseStamp stamp = save.stamp;
    ASSERT_EQ(WriteDatabaseFile(db, WaypointsNamed({"a", "B", "x"}), WaypointCodec()), 0);
    edited = WaypointsNamed({"A", "B"});
    save = SaveDatabaseChanges(db, stamp, edited, DiffLists(WaypointsNamed({"a", "B"}), edited),
                               WaypointCodec());
    EXPECT_EQ(save.outcome, SaveOutcome::Merged);
    EXPECT_EQ(NamesOf(save.items), "A B x");
    EXPECT_EQ(NamesOf(LoadWaypointFile(db).waypoints), "A B x");
    EXPECT_EQ(save.stamp, LoadWaypointFile(db).stamp);

    // It deletes what is edited here: nothing written until told.
    const std::string before = ReadFile(db);
    CDatabaseStamp old = save.stamp;
    ASSERT_EQ(WriteDatabaseFile(db, WaypointsNamed({"B", "x"}), WaypointCodec()), 0);
    const std::string theirs = ReadFile(db);
    edited = WaypointsNamed({"a", "B", "x"});
    const auto changes = DiffLists(WaypointsNamed({"A", "B", "x"}), edited);
    save = SaveDatabaseChanges(db, old, edited, changes, WaypointCodec());
    EXPECT_EQ(save.outcome, SaveOutcome::Conflict);
    EXPECT_EQ(NamesOf(save.items), "B x");
    EXPECT_EQ(ReadFile(db), theirs);
    save = SaveDatabaseChanges(db, old, edited, changes, WaypointCodec(), true);
    EXPECT_EQ(save.outcome, SaveOutcome::Saved);
    EXPECT_EQ(NamesOf(LoadWaypointFile(db).waypoints), "a B x");
    EXPECT_NE(before, ReadFile(db));

    // Replaced by something that is no database: never merged into nor written over.
    old = save.stamp;
    WriteFile(db, ExportGPX(WaypointsNamed({"g"})));
    const std::string gpx = ReadFile(db);
    save = SaveDatabaseChanges(db, old, edited, changes, WaypointCodec());
    EXPECT_EQ(save.outcome, SaveOutcome::Failed);
    EXPECT_EQ(ReadFile(db), gpx);
}

TEST(DatabaseLock, SerialisesSaves)
{
    CTempDir dir;
    const std::string db = dir / kMapFileName;
    std::atomic<bool> second{false};
    std::optional<CDatabaseLock> first(std::in_place, db);
    ASSERT_EQ(first->GetError(), 0);
    std::thread other([&] {
        const CDatabaseLock lock(db);
        EXPECT_EQ(lock.GetError(), 0);
        second = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(second);
    first.reset();
    other.join();
    EXPECT_TRUE(second);
    EXPECT_TRUE(fs::exists(dir / ".MapInfo.gdb.lock"));
    EXPECT_FALSE(fs::exists(db));
}

TEST(DatabaseChanges, MapSaveKeepsAMapAddedMeanwhile)
{
    CTempDir dir;
    const std::string db = dir / kMapFileName;
    CMapInfo a;
    a.m_name = "a";
    a.m_file = "/maps/a.png";
    CMapInfo b = a;
    b.m_name = "b";
    ASSERT_EQ(WriteDatabaseFile(db, {a}, MapCodec()), 0);
    const CMapLoad window = LoadMapFile(db);

    // The command line adds a map; the window has calibrated "a" meanwhile.
    ASSERT_EQ(WriteDatabaseFile(db, {a, b}, MapCodec()), 0);
    CMapList mine = window.maps;
    mine[0].m_pairs.resize(2);
    mine[0].m_pairs[1].m_point = {100, 100};
    mine[0].m_pairs[1].m_position = CGeoPosition(46.0, 9.0, 0.0);
    mine[0].m_pairs[0].m_position = CGeoPosition(47.0, 8.0, 0.0);
    mine[0].Calibrate();
    const auto save =
        SaveDatabaseChanges(db, window.stamp, mine, DiffLists(window.maps, mine), MapCodec());
    EXPECT_EQ(save.outcome, SaveOutcome::Merged);
    const CMapLoad after = LoadMapFile(db);
    ASSERT_EQ(after.maps.size(), 2u);
    EXPECT_TRUE(after.maps[0].IsCalibrated());
    EXPECT_EQ(after.maps[1].m_name, "b");
}

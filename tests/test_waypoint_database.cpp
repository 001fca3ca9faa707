#include "storage/Archive.h"
#include "storage/AtomicFile.h"
#include "waypoints/WaypointDatabase.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace
{

namespace fs = std::filesystem;

// A folder of the test's own, removed with everything in it (read-only or not).
struct CTempDir {
    CTempDir() { EXPECT_NE(::mkdtemp(m_path.data()), nullptr); }
    ~CTempDir()
    {
        std::error_code ignored;
        fs::permissions(m_path, fs::perms::owner_all, ignored);
        fs::remove_all(m_path, ignored);
    }
    std::string operator/(const std::string &name) const { return m_path + "/" + name; }
    std::string m_path = ::testing::TempDir() + "veloran-wdb-XXXXXX";
};

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string &path, const std::string &bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

// How many entries a folder holds: a temporary file left behind shows.
long Count(const std::string &directory)
{
    return std::distance(fs::directory_iterator(directory), fs::directory_iterator());
}

// "01 FF" as bytes; "01 FF ..." the same, the start of something longer.
std::string FromHex(std::string_view hex)
{
    std::string out;
    for (std::size_t i = 0; i + 1 < hex.size() && hex[i] != '.'; i += 3)
        out += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    return out;
}

// Waypoints like a user's: names and descriptions of varying length and script, all fields set
// (but the height, which the file does not keep).
CWaypointList MakeList(std::size_t count)
{
    const char *const names[] = {"Gasthof Zur Post", "Zürich 東京 😀", "A", ""};
    CWaypointList list;
    for (std::size_t i = 0; i < count; ++i)
        list.push_back({names[i % 4] + std::to_string(i),
                        CGeoPosition(47.0 + i * 1e-4, -8.5 - i * 1e-5, 0.0), 1.0 + i % 7,
                        i % 3 ? "Parkplatz; ♨ " + std::to_string(i) : "",
                        static_cast<std::int32_t>(i % 5) - 1, static_cast<std::int32_t>(i % 4)});
    return list;
}

CWaypoint Named(std::string name)
{
    CWaypoint w;
    w.m_name = std::move(name);
    return w;
}

} // namespace

TEST(WaypointArchive, WrittenStringsReadBack)
{
    const struct {
        std::string utf8;
        const char *start, *back, *legend; // back: nullptr when the text itself
    } cases[] = {
        {"", "FF FE FF 00", nullptr, "empty"},
        {std::string(254, 'x'), "FF FE FF FE", nullptr, "longest one-byte length"},
        {std::string(255, 'x'), "FF FE FF FF FF 00", nullptr, "255 escapes to 16 bits"},
        {std::string(0xFFFD, 'x'), "FF FE FF FF FD FF", nullptr, "longest 16-bit length"},
        {std::string(0xFFFE, 'x'), "FF FE FF FF FF FF FE FF 00 00", nullptr, "0xFFFE: 32 bits"},
        {"Zürich 東京 😀", "FF FE FF 0C 5A 00 FC 00", nullptr, "beyond Latin-1, a surrogate pair"},
        {"a\xFFz", "FF FE FF 03", "a\uFFFDz", "invalid UTF-8 byte"},
        {"\xE0\x80", "FF FE FF 02", "\uFFFD\uFFFD", "overlong: each byte on its own"},
        {"\xED\xA0\x80z", "FF FE FF 04", "\uFFFD\uFFFD\uFFFDz", "an encoded surrogate"},
        {"\xF0\x9F\x98", "FF FE FF 01", "\uFFFD", "cut short"},
        {"\xF4\x90\x80\x80", "FF FE FF 04", "\uFFFD\uFFFD\uFFFD\uFFFD", "past U+10FFFF"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CArchiveWriter writer;
        writer.WriteString(c.utf8);
        EXPECT_EQ(writer.GetBytes().substr(0, FromHex(c.start).size()), FromHex(c.start));
        CArchiveReader reader(writer.GetBytes());
        std::string back;
        EXPECT_TRUE(reader.ReadString(back) && reader.GetRemaining() == 0);
        EXPECT_EQ(back, c.back ? c.back : c.utf8);
    }
}

TEST(WaypointArchive, ReadsStoredTextForms)
{
    const struct {
        const char *bytes;
        bool ok;
        const char *utf8, *legend;
    } cases[] = {
        {"03 61 E9 62", true, "a\u00E9b", "narrow string: 8-bit characters are Latin-1"},
        {"FF 03 00 41 42 43", true, "ABC", "narrow, 16-bit length"},
        {"FF FF FF 02 00 00 00 41 42", true, "AB", "narrow, 32-bit length"},
        {"FF FE FF 02 3D D8 41 00", true, "\uFFFDA", "high surrogate alone"},
        {"FF FE FF 01 00 DC", true, "\uFFFD", "low surrogate alone"},
        {"FF FE FF FF FF FF FF FF FF 7F", false, "kept", "2^31 units in ten bytes"},
        {"FF FE FF FF FF FF FF FF FF FF 01 00 00 00 00 00 00 00 41 00", true, "A", "64-bit length"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string bytes = FromHex(c.bytes);
        CArchiveReader reader(bytes);
        std::string text = "kept";
        EXPECT_EQ(reader.ReadString(text), c.ok);
        EXPECT_EQ(reader.Failed(), !c.ok);
        EXPECT_EQ(text, c.utf8);
    }
}

TEST(WaypointDatabase, FileBytesAndRoundTrip)
{
    CWaypoint a = Named("A");
    a.m_position = CGeoPosition(1.0, 2.0, 0.0);
    const struct {
        CWaypointList list;
        const char *bytes, *legend;
    } cases[] = {
        {{}, "00 00", "empty list"},
        {{a},
         "01 00 FF FE FF 01 41 00 00 00 00 00 00 00 00 40 00 00 00 00 00 00 F0 3F "
         "00 00 00 00 00 00 F0 3F FF FE FF 00 00 00 00 00 00 00 00 00",
         "\"A\": longitude before latitude"},
        {{Named(std::string(300, 'n'))}, "01 00 FF FE FF FF 2C 01 6E 00 ...", "300"},
        {CWaypointList(65534), "FE FF FF FE FF 07 ...", "largest 16-bit count"},
        {CWaypointList(65535), "FF FF FF FF 00 00 ...", "65535 escapes to 32 bits"},
        {MakeList(70000), "FF FF 70 11 01 00 ...", "70,000"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string bytes = EncodeWaypoints(c.list), start = FromHex(c.bytes);
        const bool whole = !std::string_view(c.bytes).ends_with("...");
        EXPECT_EQ(whole ? bytes : bytes.substr(0, start.size()), start);
        CWaypointList back;
        EXPECT_TRUE(DecodeWaypoints(bytes, back));
        EXPECT_TRUE(back == c.list);
    }
}

TEST(WaypointDatabase, DamageKeepsTheCompleteWaypoints)
{
    CWaypointList list = MakeList(4);
    list[2].m_name.assign(300, 'L');
    const std::string bytes = EncodeWaypoints(list);
    std::vector<std::size_t> ends; // where each waypoint's bytes end
    for (std::size_t k = 1; k <= list.size(); ++k)
        ends.push_back(EncodeWaypoints(CWaypointList(list.begin(), list.begin() + k)).size());
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        CWaypointList back;
        ASSERT_FALSE(DecodeWaypoints(std::string_view(bytes).substr(0, cut), back)) << cut;
        const auto complete = std::upper_bound(ends.begin(), ends.end(), cut) - ends.begin();
        ASSERT_TRUE(back == CWaypointList(list.begin(), list.begin() + complete)) << cut;
    }

    // Counts beyond the bytes: nothing is reserved for them. Beyond what any database may hold
    // nothing is read at all.
    const std::string one = bytes.substr(2, ends[0] - 2);
    const std::pair<std::string, std::size_t> overcounted[] = {
        {FromHex("FF FF 40 42 0F 00") + one, 1},
        {FromHex("03 00") + one + one, 2},
        {FromHex("FF FF 41 42 0F 00") + one, 0},
        {FromHex("FF FF FF FF FF FF") + one, 0}};
    for (const auto &[damaged, kept] : overcounted) {
        CWaypointList back;
        EXPECT_FALSE(DecodeWaypoints(damaged, back));
        EXPECT_EQ(back.size(), kept);
        EXPECT_LE(back.capacity(), 16u);
    }
}

TEST(WaypointDatabaseFile, WorldpointsStandInUntilTheFirstSave)
{
    CTempDir dir;
    const std::string primary = dir / kWaypointFileName, world = dir / kWorldpointFileName;
    const std::string worldBytes = EncodeWaypoints(MakeList(3));
    WriteFile(world, worldBytes);
    CWaypointLoad load = LoadWaypointDatabase(dir.m_path);
    EXPECT_EQ(load.path, world);
    EXPECT_TRUE(load.waypoints == MakeList(3));

    CWaypointList edited = load.waypoints;
    edited.insert(edited.begin(), Named("new"));
    ASSERT_EQ(WriteDatabaseFile(dir / kWaypointFileName, edited, WaypointCodec()), 0);
    EXPECT_EQ(ReadFile(primary), EncodeWaypoints(edited));
    EXPECT_EQ(ReadFile(world), worldBytes);
    EXPECT_EQ(LoadWaypointDatabase(dir.m_path).path, primary);

    // A damaged primary: what it held is kept, the fallback does not stand in.
    WriteFile(primary, EncodeWaypoints(edited).substr(0, EncodeWaypoints(edited).size() - 1));
    load = LoadWaypointDatabase(dir.m_path);
    EXPECT_TRUE(load.damaged && load.path == primary && load.waypoints.size() == 3);
    EXPECT_NE(load.detail.find("damaged after 3 waypoints"), std::string::npos) << load.detail;
}

TEST(WaypointDatabaseFile, SaveOverAnOldFile)
{
    // A shorter list leaves the old file's tail, as an overwrite in place would; a write that
    // fails after any number of bytes leaves the old file and no temporary one.
    CTempDir dir;
    const CWaypointList five = MakeList(5), two(five.begin() + 3, five.end());
    ASSERT_EQ(WriteDatabaseFile(dir / kWaypointFileName, five, WaypointCodec()), 0);
    const std::string old = ReadFile(dir / kWaypointFileName);
    for (std::size_t n = 0; n < old.size(); ++n) {
        const CWriteFault fault{n, n % 2 ? ENOSPC : EIO};
        ASSERT_EQ(WriteDatabaseFile(dir / kWaypointFileName, two, WaypointCodec(), &fault),
                  fault.error)
            << n;
        ASSERT_EQ(ReadFile(dir / kWaypointFileName), old) << n;
        ASSERT_EQ(Count(dir.m_path), 1) << n;
    }
    ASSERT_EQ(WriteDatabaseFile(dir / kWaypointFileName, two, WaypointCodec()), 0);
    const std::string shortBytes = EncodeWaypoints(two);
    EXPECT_EQ(ReadFile(dir / kWaypointFileName), shortBytes + old.substr(shortBytes.size()));
    const CWaypointLoad load = LoadWaypointDatabase(dir.m_path);
    EXPECT_TRUE(!load.damaged && load.waypoints == two);
}

TEST(WaypointDatabaseFile, ModeAndSymlinkKept)
{
    CTempDir dir;
    const std::string file = dir / kWaypointFileName;
    const mode_t mask = ::umask(027);
    ASSERT_EQ(WriteDatabaseFile(dir / kWaypointFileName, MakeList(1), WaypointCodec()), 0);
    ::umask(mask);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640)) << "a new file: 0666 less umask";
    ASSERT_EQ(::chmod(file.c_str(), 0604), 0);
    ASSERT_EQ(WriteDatabaseFile(dir / kWaypointFileName, MakeList(2), WaypointCodec()), 0);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0604)) << "an old file's mode is kept";

    // Through a relative link to a file, and through one whose file does not exist yet.
    ASSERT_EQ(::mkdir((dir / "real").c_str(), 0700), 0);
    WriteFile(dir / "real/kept.wdb", "");
    for (const char *target : {"real/kept.wdb", "real/new.wdb"}) {
        SCOPED_TRACE(target);
        ASSERT_EQ(::unlink(file.c_str()), 0);
        ASSERT_EQ(::symlink(target, file.c_str()), 0);
        ASSERT_EQ(WriteDatabaseFile(dir / kWaypointFileName, MakeList(1), WaypointCodec()), 0);
        EXPECT_TRUE(fs::is_symlink(file));
        EXPECT_EQ(ReadFile(dir / target), EncodeWaypoints(MakeList(1)));
    }
    EXPECT_EQ(Count(dir / "real"), 2);
}

TEST(WaypointDatabaseFile, ReadOnlyFolderRefusesTheSave)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only folders";
    CTempDir dir;
    ASSERT_EQ(WriteDatabaseFile(dir / kWaypointFileName, MakeList(2), WaypointCodec()), 0);
    const std::string old = ReadFile(dir / kWaypointFileName);
    ASSERT_EQ(::chmod(dir.m_path.c_str(), 0500), 0);
    EXPECT_EQ(WriteDatabaseFile(dir / kWaypointFileName, MakeList(5), WaypointCodec()), EACCES);
    ::chmod(dir.m_path.c_str(), 0700);
    EXPECT_EQ(ReadFile(dir / kWaypointFileName), old);
    EXPECT_EQ(Count(dir.m_path), 1);
}

TEST(WaypointDatabaseFile, FullFileSystemKeepsTheOldFile)
{
    // A child mounts a 64 KB tmpfs over the folder in a mount namespace of its own (and a user
    // namespace when not root), so the mount goes with it. It writes what went wrong beside the
    // folder.
    CTempDir dir;
    const std::string reportFile = dir.m_path + ".report";
    const pid_t pid = ::fork();
    if (pid == 0) {
        const auto run = [&]() -> std::string {
            const uid_t uid = ::geteuid();
            const gid_t gid = ::getegid();
            if (::unshare(CLONE_NEWNS | (uid != 0 ? CLONE_NEWUSER : 0)) != 0)
                return std::string("skip: unshare: ") + std::strerror(errno);
            if (uid != 0) {
                WriteFile("/proc/self/setgroups", "deny");
                WriteFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
                WriteFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
            }
            if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
                || ::mount("tmpfs", dir.m_path.c_str(), "tmpfs", 0, "size=64k") != 0)
                return std::string("skip: mount: ") + std::strerror(errno);
            if (WriteDatabaseFile(dir / kWaypointFileName, MakeList(2), WaypointCodec()) != 0)
                return "first save failed";
            const std::string old = ReadFile(dir / kWaypointFileName);
            WriteFile(dir / "filler", std::string(64 << 10, 'f')); // as much as fits
            const int error =
                WriteDatabaseFile(dir / kWaypointFileName, MakeList(200), WaypointCodec());
            if (error != ENOSPC || ReadFile(dir / kWaypointFileName) != old
                || Count(dir.m_path) != 2)
                return "save gave " + std::to_string(error) + ", old file or folder changed";
            return {};
        };
        WriteFile(reportFile, run());
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    const std::string report = ReadFile(reportFile);
    ::unlink(reportFile.c_str());
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child crashed";
    if (report.starts_with("skip: "))
        GTEST_SKIP() << report;
    EXPECT_EQ(report, "");
}

TEST(AtomicFile, ReadWholeFileRefusals)
{
    CTempDir dir;
    WriteFile(dir / "ten", "0123456789");
    const auto read = [](const std::string &path, std::size_t maxBytes, bool opened) {
        std::string bytes = "stale";
        const int error = ReadWholeFile(path, bytes, maxBytes, opened);
        return std::tuple{error, opened, bytes};
    };
    using R = std::tuple<int, bool, std::string>;
    EXPECT_EQ(read(dir / "ten", 10, false), R(0, true, "0123456789")) << "exactly the limit";
    EXPECT_EQ(read(dir / "ten", 9, false), R(EFBIG, true, "")) << "one byte over: opened";
    EXPECT_EQ(read(dir / "none", 10, true), R(ENOENT, false, ""));
    EXPECT_EQ(read(dir.m_path, 10, true), R(EISDIR, false, "")) << "a folder does not open";
    EXPECT_EQ(read("/dev/zero", 10, true), R(EINVAL, false, "")) << "nor another kind of file";
}

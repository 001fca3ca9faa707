#include "waypoints/Archive.h"
#include "waypoints/AtomicFile.h"
#include "waypoints/WaypointDatabase.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

namespace fs = std::filesystem;

// A folder of the test's own under the test temporary directory, removed with everything in it.
class CTempDir
{
public:
    CTempDir()
    {
        std::string pattern = ::testing::TempDir() + "veloran-wdb-XXXXXX";
        if (::mkdtemp(pattern.data()) != nullptr)
            m_path = pattern;
    }
    ~CTempDir()
    {
        std::error_code ignored;
        fs::permissions(m_path, fs::perms::owner_all, ignored);
        fs::remove_all(m_path, ignored);
    }
    CTempDir(const CTempDir &) = delete;
    CTempDir &operator=(const CTempDir &) = delete;

    [[nodiscard]] const std::string &Path() const { return m_path; }
    [[nodiscard]] std::string operator/(const char *name) const { return m_path + "/" + name; }

private:
    std::string m_path;
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

std::vector<std::string> Entries(const std::string &directory)
{
    std::vector<std::string> names;
    for (const fs::directory_entry &e : fs::directory_iterator(directory))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string Hex(std::string_view bytes)
{
    std::string out;
    char digits[4];
    for (const char c : bytes) {
        std::snprintf(digits, sizeof digits, "%02X ", static_cast<unsigned char>(c));
        out += digits;
    }
    if (!out.empty())
        out.pop_back();
    return out;
}

std::string FromHex(std::string_view hex)
{
    std::string out;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 3)
        out += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    return out;
}

// Waypoints like a user's: names and descriptions of varying length and script, all fields
// set, a height that the file does not keep.
CWaypointList MakeList(std::size_t count)
{
    const char *const names[] = {"Gasthof Zur Post", "Zürich 東京 😀", "A", "",
                                 "Col du Galibier (2642 m)"};
    CWaypointList list(count);
    for (std::size_t i = 0; i < count; ++i) {
        CWaypoint &w = list[i];
        w.m_name = names[i % std::size(names)] + std::to_string(i);
        w.m_position = CGeoPosition(47.0 + i * 1e-4, -8.5 - i * 1e-5, 400.0 + i);
        w.m_radius = 1.0 + i % 7;
        w.m_description = i % 3 ? "Parkplatz, Quelle; ♨ " + std::to_string(i) : "";
        w.m_type = static_cast<std::int32_t>(i % 5) - 1;
        w.m_action = static_cast<std::int32_t>(i % 4);
    }
    return list;
}

CWaypointList WithoutHeights(CWaypointList list)
{
    for (CWaypoint &w : list)
        w.m_position.m_height = 0.0;
    return list;
}

CWaypoint Named(std::string name)
{
    CWaypoint w;
    w.m_name = std::move(name);
    return w;
}

} // namespace

TEST(WaypointArchive, StringLengthForms)
{
    const struct {
        std::size_t units;
        const char *header, *legend;
    } cases[] = {
        {0, "FF FE FF 00", "empty"},
        {254, "FF FE FF FE", "longest one-byte length"},
        {255, "FF FE FF FF FF 00", "255 escapes to 16 bits"},
        {300, "FF FE FF FF 2C 01", "300"},
        {0xFFFD, "FF FE FF FF FD FF", "longest 16-bit length"},
        {0xFFFE, "FF FE FF FF FF FF FE FF 00 00", "0xFFFE escapes to 32 bits"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string text(c.units, 'x');
        CArchiveWriter writer;
        writer.WriteString(text);
        const std::string &bytes = writer.GetBytes();
        const std::string header = FromHex(c.header);
        ASSERT_EQ(bytes.size(), header.size() + 2 * c.units);
        EXPECT_EQ(Hex(bytes.substr(0, header.size())), c.header);
        CArchiveReader reader(bytes);
        std::string back;
        EXPECT_TRUE(reader.ReadString(back));
        EXPECT_EQ(back, text);
        EXPECT_EQ(reader.GetRemaining(), 0u);
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
        {"FF FE FF 02 3D D8 00 DE", true, "\U0001F600", "surrogate pair"},
        {"FF FE FF 02 3D D8 41 00", true, "\uFFFDA", "high surrogate alone"},
        {"FF FE FF 01 00 DC", true, "\uFFFD", "low surrogate alone"},
        {"FF FE FF 05 41 00", false, "kept", "length beyond the end"},
        {"FF FE FF FF FF FF FF FF FF 7F", false, "kept", "2^31 units in ten bytes"},
        {"FF FE FF FF FF FF FF FF FF FF 01 00 00 00 00 00 00 00 41 00", true, "A", "64-bit length"},
        {"FF FE", false, "kept", "header cut short"},
        {"", false, "kept", "nothing"},
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

TEST(WaypointArchive, InvalidUtf8IsWrittenAsReplacement)
{
    const struct {
        const char *utf8, *back;
    } cases[] = {
        {"a\xFF"
         "b",
         "a\uFFFDb"},
        {"\xE0\x80", "\uFFFD\uFFFD"},                     // overlong: each byte on its own
        {"\xED\xA0\x80z", "\uFFFD\uFFFD\uFFFDz"},         // an encoded surrogate
        {"\xF0\x9F\x98", "\uFFFD"},                       // cut short
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}, // past U+10FFFF
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(Hex(c.utf8));
        CArchiveWriter writer;
        writer.WriteString(c.utf8);
        CArchiveReader reader(writer.GetBytes());
        std::string back;
        EXPECT_TRUE(reader.ReadString(back));
        EXPECT_EQ(back, c.back);
    }
}

TEST(WaypointDatabase, FileBytesAndRoundTrip)
{
    CWaypoint a = Named("A");
    a.m_position = CGeoPosition(1.0, 2.0, 0.0);
    const struct {
        CWaypointList list;
        const char *start;
        bool whole;
        const char *legend;
    } cases[] = {
        {{}, "00 00", true, "empty list"},
        {{a},
         "01 00 FF FE FF 01 41 00 00 00 00 00 00 00 00 40 00 00 00 00 00 00 F0 3F "
         "00 00 00 00 00 00 F0 3F FF FE FF 00 00 00 00 00 00 00 00 00",
         true,
         "\"A\": longitude before latitude"},
        {{Named(std::string(300, 'n'))}, "01 00 FF FE FF FF 2C 01 6E 00", false, "300 characters"},
        {{Named(std::string(0x10000, 'n'))},
         "01 00 FF FE FF FF FF FF 00 00 01 00 6E 00",
         false,
         "65536 characters"},
        {{Named("Zürich 東京 😀")}, "01 00 FF FE FF 0C 5A 00 FC 00", false, "beyond Latin-1"},
        {CWaypointList(65534), "FE FF FF FE FF 07", false, "largest 16-bit count"},
        {CWaypointList(65535), "FF FF FF FF 00 00", false, "65535 escapes to 32 bits"},
        {MakeList(70000), "FF FF 70 11 01 00", false, "70,000"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string bytes = EncodeWaypoints(c.list);
        if (c.whole)
            EXPECT_EQ(Hex(bytes), c.start);
        else
            EXPECT_EQ(Hex(bytes.substr(0, FromHex(c.start).size())), c.start);
        CWaypointList back;
        EXPECT_TRUE(DecodeWaypoints(bytes, back));
        EXPECT_TRUE(back == WithoutHeights(c.list));
    }
}

TEST(WaypointDatabase, CutAtEveryByteKeepsTheCompleteWaypoints)
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
        ASSERT_TRUE(back == WithoutHeights(CWaypointList(list.begin(), list.begin() + complete)))
            << "cut at " << cut;
    }
    CWaypointList back;
    EXPECT_TRUE(DecodeWaypoints(bytes + "trailing bytes", back));
    EXPECT_EQ(back.size(), list.size());
}

TEST(WaypointDatabase, CountBeyondTheBytesIsDamage)
{
    const std::string one = EncodeWaypoints({Named("x")}).substr(2);
    const struct {
        std::string bytes;
        std::size_t kept;
        const char *legend;
    } cases[] = {
        {FromHex("FF FF FF FF FF FF") + one, 1, "4294967295 waypoints, one there"},
        {FromHex("FF FF"), 0, "32-bit count missing"},
        {FromHex("03 00") + one + one, 2, "three counted, two there"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CWaypointList back;
        EXPECT_FALSE(DecodeWaypoints(c.bytes, back));
        EXPECT_EQ(back.size(), c.kept);
        EXPECT_LE(back.capacity(), 16u) << "reserved by the count";
    }
}

TEST(WaypointDatabaseFile, ShorterSaveKeepsTheOldTail)
{
    CTempDir dir;
    const CWaypointList five = MakeList(5);
    const CWaypointList two(five.begin() + 3, five.end());
    ASSERT_EQ(SaveWaypointDatabase(dir.Path(), five), 0);
    const std::string old = ReadFile(dir / kWaypointFileName);
    ASSERT_EQ(old, EncodeWaypoints(five));

    ASSERT_EQ(SaveWaypointDatabase(dir.Path(), two), 0);
    const std::string shortBytes = EncodeWaypoints(two);
    const std::string saved = ReadFile(dir / kWaypointFileName);
    EXPECT_EQ(saved, shortBytes + old.substr(shortBytes.size()));

    const CWaypointLoad load = LoadWaypointDatabase(dir.Path());
    EXPECT_TRUE(load.opened);
    EXPECT_FALSE(load.damaged);
    EXPECT_TRUE(load.waypoints == WithoutHeights(two));
}

TEST(WaypointDatabaseFile, WorldpointsStandInUntilTheFirstSave)
{
    CTempDir dir;
    const std::string primary = dir / kWaypointFileName;
    const std::string world = dir / kWorldpointFileName;

    CWaypointLoad load = LoadWaypointDatabase(dir.Path());
    EXPECT_FALSE(load.opened);
    EXPECT_TRUE(load.path.empty());
    EXPECT_NE(load.detail.find(std::strerror(ENOENT)), std::string::npos) << load.detail;

    const CWaypointList worldList = WithoutHeights(MakeList(3));
    WriteFile(world, EncodeWaypoints(worldList));
    const std::string worldBytes = ReadFile(world);
    ASSERT_EQ(::mkdir(primary.c_str(), 0700), 0); // a folder in its place does not open either
    load = LoadWaypointDatabase(dir.Path());
    EXPECT_EQ(load.path, world);
    EXPECT_TRUE(load.waypoints == worldList);
    ASSERT_EQ(::rmdir(primary.c_str()), 0);

    CWaypointList edited = load.waypoints;
    edited.insert(edited.begin(), Named("new"));
    ASSERT_EQ(SaveWaypointDatabase(dir.Path(), edited), 0);
    EXPECT_EQ(ReadFile(primary), EncodeWaypoints(edited));
    EXPECT_EQ(ReadFile(world), worldBytes);
    load = LoadWaypointDatabase(dir.Path());
    EXPECT_EQ(load.path, primary);
    EXPECT_TRUE(load.waypoints == edited);

    // A damaged primary opened: what it held is kept, the secondary does not stand in.
    WriteFile(primary, EncodeWaypoints(edited).substr(0, EncodeWaypoints(edited).size() - 1));
    load = LoadWaypointDatabase(dir.Path());
    EXPECT_EQ(load.path, primary);
    EXPECT_TRUE(load.damaged);
    EXPECT_EQ(load.waypoints.size(), 3u);
    EXPECT_NE(load.detail.find("damaged after 3 waypoints"), std::string::npos) << load.detail;
}

TEST(WaypointDatabaseFile, FailedWriteAtEveryByteKeepsTheOldFile)
{
    CTempDir dir;
    ASSERT_EQ(SaveWaypointDatabase(dir.Path(), MakeList(3)), 0);
    const std::string old = ReadFile(dir / kWaypointFileName);
    const CWaypointList longer = MakeList(4);
    const std::size_t size = EncodeWaypoints(longer).size();
    for (std::size_t n = 0; n < size; ++n) {
        const CWriteFault fault{n, n % 2 ? ENOSPC : EIO};
        ASSERT_EQ(SaveWaypointDatabase(dir.Path(), longer, &fault), fault.error) << n;
        ASSERT_EQ(ReadFile(dir / kWaypointFileName), old) << n;
        ASSERT_EQ(Entries(dir.Path()), std::vector<std::string>{kWaypointFileName}) << n;
    }
    const CWriteFault late{size, EIO};
    EXPECT_EQ(SaveWaypointDatabase(dir.Path(), longer, &late), 0);
}

TEST(WaypointDatabaseFile, ModeAndSymlinkKept)
{
    CTempDir dir;
    const mode_t mask = ::umask(027);
    ASSERT_EQ(SaveWaypointDatabase(dir.Path(), MakeList(1)), 0);
    ::umask(mask);
    struct stat st {
    };
    ASSERT_EQ(::stat((dir / kWaypointFileName).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u) << "a new file: 0666 less the umask";
    ASSERT_EQ(::chmod((dir / kWaypointFileName).c_str(), 0604), 0);
    ASSERT_EQ(SaveWaypointDatabase(dir.Path(), MakeList(2)), 0);
    ASSERT_EQ(::stat((dir / kWaypointFileName).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0604u) << "an old file's mode is kept";

    // Through a relative link to a file, and through one whose file does not exist yet.
    ASSERT_EQ(::mkdir((dir / "real").c_str(), 0700), 0);
    for (const char *target : {"real/kept.wdb", "real/dangling.wdb"}) {
        SCOPED_TRACE(target);
        ASSERT_EQ(::unlink((dir / kWaypointFileName).c_str()), 0);
        ASSERT_EQ(::symlink(target, (dir / kWaypointFileName).c_str()), 0);
        if (std::string(target) == "real/kept.wdb")
            WriteFile(dir / target, EncodeWaypoints(MakeList(9)));
        ASSERT_EQ(SaveWaypointDatabase(dir.Path(), MakeList(1)), 0);
        EXPECT_TRUE(fs::is_symlink(dir / kWaypointFileName));
        EXPECT_EQ(ReadFile(dir / target).substr(0, EncodeWaypoints(MakeList(1)).size()),
                  EncodeWaypoints(MakeList(1)));
        EXPECT_EQ(Entries(dir / "real").size(), 1u + (target[5] == 'd'));
    }
}

TEST(WaypointDatabaseFile, ReadOnlyFolderRefusesTheSave)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only folders";
    CTempDir dir;
    ASSERT_EQ(SaveWaypointDatabase(dir.Path(), MakeList(2)), 0);
    const std::string old = ReadFile(dir / kWaypointFileName);
    ASSERT_EQ(::chmod(dir.Path().c_str(), 0500), 0);
    EXPECT_EQ(SaveWaypointDatabase(dir.Path(), MakeList(5)), EACCES);
    ::chmod(dir.Path().c_str(), 0700);
    EXPECT_EQ(ReadFile(dir / kWaypointFileName), old);
    EXPECT_EQ(Entries(dir.Path()), std::vector<std::string>{kWaypointFileName});
}

namespace
{

// Runs `body` in a child process with a 64 KB tmpfs mounted on `directory` in a mount
// namespace of its own (and a user namespace when not root), so the mount goes with the child.
// Returns what the child reports: empty when all went well, "skip: ..." or a failure.
std::string WithSmallFileSystem(const std::string &directory,
                                const std::function<std::string()> &body)
{
    int channel[2];
    if (::pipe(channel) != 0)
        return "pipe failed";
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(channel[0]);
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
                || ::mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=64k") != 0)
                return std::string("skip: mount: ") + std::strerror(errno);
            return body();
        };
        const std::string report = run();
        [[maybe_unused]] const ssize_t n = ::write(channel[1], report.data(), report.size());
        ::_exit(0);
    }
    ::close(channel[1]);
    std::string report;
    char buffer[256];
    for (ssize_t n; (n = ::read(channel[0], buffer, sizeof buffer)) != 0;) {
        if (n > 0)
            report.append(buffer, static_cast<std::size_t>(n));
        else if (errno != EINTR)
            break;
    }
    ::close(channel[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? report : "child crashed";
}

} // namespace

TEST(WaypointDatabaseFile, FullFileSystemKeepsTheOldFile)
{
    CTempDir dir;
    const std::string report = WithSmallFileSystem(dir.Path(), [&]() -> std::string {
        if (SaveWaypointDatabase(dir.Path(), MakeList(2)) != 0)
            return "first save failed";
        const std::string old = ReadFile(dir / kWaypointFileName);
        std::ofstream filler(dir / "filler", std::ios::binary);
        const std::string block(4096, 'f');
        for (int i = 0; i < 64 && filler.write(block.data(), block.size()); ++i)
            filler.flush();
        filler.close();
        const int error = SaveWaypointDatabase(dir.Path(), MakeList(200));
        if (error != ENOSPC)
            return "save gave " + std::to_string(error) + " instead of ENOSPC";
        if (ReadFile(dir / kWaypointFileName) != old)
            return "old file changed";
        if (Entries(dir.Path()) != std::vector<std::string>{kWaypointFileName, "filler"})
            return "temporary file left behind";
        return {};
    });
    if (report.starts_with("skip: "))
        GTEST_SKIP() << report;
    EXPECT_EQ(report, "");
}

TEST(AtomicFile, ReadWholeFileRefusals)
{
    CTempDir dir;
    WriteFile(dir / "ten", "0123456789");
    const struct {
        std::string path;
        std::size_t max;
        int error;
        bool opened;
        const char *legend;
    } cases[] = {
        {dir / "ten", 10, 0, true, "exactly the limit"},
        {dir / "ten", 9, EFBIG, true, "one byte over"},
        {dir / "none", 10, ENOENT, false, "missing"},
        {dir.Path(), 10, EISDIR, false, "a folder"},
        {"/dev/zero", 10, EINVAL, false, "not a regular file"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        std::string bytes = "stale";
        bool opened = !c.opened;
        EXPECT_EQ(ReadWholeFile(c.path, bytes, c.max, opened), c.error);
        EXPECT_EQ(opened, c.opened);
        EXPECT_EQ(bytes, c.error ? "" : "0123456789");
    }
}

#include "FakeGpsd.h"
#include "FakePortTree.h"
#include "FileTestUtils.h"
#include "receiver/PortInspector.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char **environ;

namespace
{

// The user and group CI's root becomes to be refused like anyone else.
constexpr uid_t kNobody = 65534;
constexpr const char *kHolderName = "gps-logger";
constexpr const char *kIndent = "               ";

struct CRun {
    int status = -1;
    std::string out;
};

// Runs `args` (found on PATH) with `env` added to ours; standard output comes back.
CRun RunProgram(const std::vector<std::string> &args, const std::vector<std::string> &env)
{
    CRun run;
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0)
        return run;
    std::vector<char *> argv;
    for (const std::string &a : args)
        argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    std::vector<char *> envp;
    for (const std::string &e : env)
        envp.push_back(const_cast<char *>(e.c_str()));
    for (char **e = environ; *e != nullptr; ++e)
        envp.push_back(*e);
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    pid_t pid = -1;
    const int spawned = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    if (spawned == 0) {
        char block[4096];
        for (ssize_t n; (n = ::read(out[0], block, sizeof block)) != 0;) {
            if (n > 0)
                run.out.append(block, static_cast<std::size_t>(n));
            else if (errno != EINTR)
                break;
        }
        int status = 0;
        ::waitpid(pid, &status, 0);
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    ::close(out[0]);
    return run;
}

std::vector<std::string> Environment(const CFakePortTree &tree, int gpsdPort = 0)
{
    return {"VELORAN_PORT_ROOT=" + tree.Root(), "VELORAN_GPSD_PORT=" + std::to_string(gpsdPort)};
}

/// Another program on the device: a child process named gps-logger that opens it and holds it
/// (TIOCEXCL, or flock as we lock), until the test ends it.
class CHolder
{
public:
    enum class Hold { Exclusive, Lock, Nothing };

    /// `asGroup` >= 0: runs as nobody with that group besides.
    CHolder(const std::string &device, Hold hold, gid_t asGroup = static_cast<gid_t>(-1))
    {
        int ready[2];
        int stay[2];
        if (::pipe2(ready, O_CLOEXEC) != 0 || ::pipe2(stay, O_CLOEXEC) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(ready[0]);
            ::close(stay[1]);
            char status = 'y';
            if (asGroup != static_cast<gid_t>(-1)
                && (::setgroups(1, &asGroup) != 0 || ::setresgid(kNobody, kNobody, kNobody) != 0
                    || ::setresuid(kNobody, kNobody, kNobody) != 0))
                status = 'u';
            // Changing user made us undumpable: /proc would hide our descriptors even from
            // our own user.
            ::prctl(PR_SET_DUMPABLE, 1);
            ::prctl(PR_SET_NAME, kHolderName);
            if (hold != Hold::Nothing) {
                const int fd = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
                if (fd < 0)
                    status = 'o';
                else if (hold == Hold::Exclusive ? ::ioctl(fd, TIOCEXCL) != 0
                                                 : ::flock(fd, LOCK_EX | LOCK_NB) != 0)
                    status = 'x';
            }
            (void)!::write(ready[1], &status, 1);
            char end;
            (void)!::read(stay[0], &end, 1);
            ::_exit(0);
        }
        ::close(ready[1]);
        ::close(stay[0]);
        m_stay = stay[1];
        char status = 0;
        if (m_pid > 0 && ::read(ready[0], &status, 1) == 1)
            m_status = status;
        ::close(ready[0]);
    }
    ~CHolder()
    {
        if (m_stay >= 0)
            ::close(m_stay);
        if (m_pid > 0)
            ::waitpid(m_pid, nullptr, 0);
    }
    CHolder(const CHolder &) = delete;
    CHolder &operator=(const CHolder &) = delete;

    /// 'y' when it holds the device; else what failed.
    [[nodiscard]] char GetStatus() const { return m_status; }
    [[nodiscard]] pid_t GetPid() const { return m_pid; }

private:
    pid_t m_pid = -1;
    int m_stay = -1;
    char m_status = 0;
};

const char *const kProlificBlock =
    "/dev/ttyUSB0: Prolific Technology Inc. USB-Serial Controller\n"
    "  USB          067b:2303\n"
    "  receiver     likely: PL2303 USB-serial bridge, as in many GPS mice\n";

// As root every open succeeds; the refusals are checked as nobody, through setpriv.
class PortAccessTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "needs root to become another user (CI runs as root)";
        if (RunProgram({"setpriv", "--version"}, {}).status != 0)
            GTEST_SKIP() << "setpriv (util-linux) is not installed";
        const group *dialout = ::getgrnam("dialout");
        if (dialout == nullptr)
            GTEST_SKIP() << "no group dialout on this system";
        m_group = dialout->gr_gid;
        m_tree.AddUsb("ttyUSB0", "1-3", "067b", "2303", "Prolific Technology Inc.",
                      "USB-Serial Controller");
        m_tree.OpenToAll();
        m_slave = ::realpath((m_tree.Root() + "/dev/ttyUSB0").c_str(), nullptr);
        ASSERT_NE(m_slave, nullptr);
        // Our own pty: owned by the test, handed to the group of serial ports.
        ASSERT_EQ(::chown(m_slave, 0, m_group), 0);
        ASSERT_EQ(::chmod(m_slave, 0660), 0);
    }
    void TearDown() override { std::free(m_slave); }

    CRun PortsAs(const std::vector<std::string> &identity)
    {
        std::vector<std::string> args{"setpriv", "--reuid=" + std::to_string(kNobody)};
        args.insert(args.end(), identity.begin(), identity.end());
        args.insert(args.end(), {VELORAN_CLI, "ports"});
        return RunProgram(args, Environment(m_tree));
    }

    CTempDir m_dir;
    CFakePortTree m_tree{m_dir.m_path};
    gid_t m_group = 0;
    char *m_slave = nullptr;
};

} // namespace

TEST_F(PortAccessTest, AUserOutsideTheGroupIsToldToJoinIt)
{
    const CRun refused = PortsAs({"--regid=65534", "--clear-groups"});
    EXPECT_EQ(refused.status, 0);
    EXPECT_EQ(refused.out,
              std::string(kProlificBlock)
                  + "  opens        no: You may not open /dev/ttyUSB0: it belongs to the group "
                    "dialout, and you are not a member.\n"
                  + kIndent
                  + "Join the group with 'sudo adduser $USER dialout', then log out and in "
                    "again.\n");

    const std::string group = std::to_string(m_group);
    for (const std::vector<std::string> &member :
         {std::vector<std::string>{"--regid=65534", "--groups=" + group},
          std::vector<std::string>{"--regid=" + group, "--clear-groups"}}) {
        SCOPED_TRACE(member[0] + " " + member[1]);
        const CRun opened = PortsAs(member);
        EXPECT_EQ(opened.status, 0);
        EXPECT_EQ(opened.out, std::string(kProlificBlock) + "  opens        yes\n");
    }
}

TEST_F(PortAccessTest, AnExclusiveHolderIsNamed)
{
    const CHolder holder(m_slave, CHolder::Hold::Exclusive, m_group);
    ASSERT_EQ(holder.GetStatus(), 'y');
    // Root ignores TIOCEXCL: only an ordinary user is refused.
    const CRun busy = PortsAs({"--regid=65534", "--groups=" + std::to_string(m_group)});
    EXPECT_EQ(busy.status, 0);
    EXPECT_EQ(busy.out, std::string(kProlificBlock)
                            + "  opens        no: /dev/ttyUSB0 is in use by " + kHolderName
                            + " (process " + std::to_string(holder.GetPid()) + ").\n" + kIndent
                            + "Close that program and try again.\n");
}

TEST(PortInspectorTest, GpsdHoldingTheDeviceIsNamedAndOffered)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    CPtyPair &pty =
        tree.AddUsb("ttyACM0", "1-2", "1546", "01a7", "u-blox AG", "u-blox 7 - GPS/GNSS Receiver");
    const CHolder holder(pty.SlavePath(), CHolder::Hold::Lock);
    ASSERT_EQ(holder.GetStatus(), 'y');
    pty.ReleaseSlave(); // the holder alone has it open

    struct Case {
        const char *legend;
        std::string gpsdDevice;
        std::string why;
        bool readThroughGpsd;
    } cases[] = {
        {"gpsd has it", pty.SlavePath(), "/dev/ttyACM0 is in use by gpsd, the GPS service.", true},
        {"gpsd names it as we do", tree.Root() + "/dev/ttyACM0",
         "/dev/ttyACM0 is in use by gpsd, the GPS service.", true},
        {"gpsd has another", "/dev/ttyUSB9",
         "/dev/ttyACM0 is in use by " + std::string(kHolderName) + " (process "
             + std::to_string(holder.GetPid()) + ").",
         false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CFakeGpsd gpsd(DevicesAnswer(c.gpsdDevice));
        ASSERT_NE(gpsd.GetPort(), 0);
        CPortInspector inspector(tree.Roots(), gpsd.GetPort());
        const CPortDiagnosis diagnosis = inspector.Diagnose("/dev/ttyACM0");
        EXPECT_EQ(diagnosis.why, c.why);
        EXPECT_EQ(diagnosis.readThroughGpsd, c.readThroughGpsd);
        EXPECT_EQ(gpsd.GetQuestions(), 1);
    }
}

TEST(PortInspectorTest, ALiveLockFileNamesItsOwner)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    CPtyPair &pty = tree.AddUsb("ttyUSB0", "1-3", "067b", "2303", "", "");
    pty.ReleaseSlave();
    const CHolder owner("", CHolder::Hold::Nothing);
    ASSERT_EQ(owner.GetStatus(), 'y');
    const std::int32_t binaryPid = owner.GetPid();
    char padded[16];
    std::snprintf(padded, sizeof padded, "%10d\n", owner.GetPid());

    struct Case {
        const char *legend;
        const char *lockName;
        std::string content;
        long owner;
    } cases[] = {
        {"ten digits", "LCK..ttyUSB0", padded, owner.GetPid()},
        {"a binary pid", "LCK..ttyUSB0",
         std::string(reinterpret_cast<const char *>(&binaryPid), sizeof binaryPid), owner.GetPid()},
        {"the pty's own name", nullptr, padded, owner.GetPid()},
        {"stale: its owner is gone", "LCK..ttyUSB0", "2147483000\n", 0},
        {"another device's", "LCK..ttyUSB1", padded, 0},
        {"garbage", "LCK..ttyUSB0", "me\n", 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string slaveName = pty.SlavePath().substr(pty.SlavePath().rfind('/') + 1);
        const std::string lock =
            tree.Root() + "/run/lock/" + (c.lockName != nullptr ? c.lockName : "LCK.." + slaveName);
        WriteFile(lock, c.content);
        CPortInspector inspector(tree.Roots(), 0);
        const CPortFacts facts =
            inspector.Examine("/dev/ttyUSB0", tree.Root() + "/dev/ttyUSB0", EBUSY);
        EXPECT_TRUE(facts.holders.empty());
        EXPECT_EQ(facts.lockOwner.pid, c.owner);
        EXPECT_EQ(facts.lockOwner.name, c.owner != 0 ? kHolderName : "");
        if (c.owner != 0) {
            EXPECT_EQ(DiagnosePort(facts).why, "/dev/ttyUSB0 is locked by "
                                                   + std::string(kHolderName) + " (process "
                                                   + std::to_string(c.owner) + ").");
        }
        std::remove(lock.c_str());
    }
}

TEST(PortInspectorTest, ProbeOpensAsThePortWould)
{
    CTempDir dir;
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    WriteFile(dir / "plain", "");
    const int locked = ::open(pty.SlavePath().c_str(), O_RDWR | O_NOCTTY);
    CPtyPair free;

    struct Case {
        const char *legend;
        std::string path;
        int error;
    } cases[] = {
        {"missing", dir / "ttyUSB0", ENOENT},   {"below a file", dir / "plain/ttyUSB0", ENOTDIR},
        {"no terminal", dir / "plain", ENOTTY}, {"locked by another open", pty.SlavePath(), EBUSY},
        {"free", free.SlavePath(), 0},
    };
    ASSERT_EQ(::flock(locked, LOCK_EX | LOCK_NB), 0);
    for (const Case &c : cases)
        EXPECT_EQ(CPortInspector::ProbeOpen(c.path), c.error) << c.legend;
    ::close(locked);
    EXPECT_EQ(CPortInspector::ProbeOpen(pty.SlavePath()), 0) << "the lock went with its holder";
    EXPECT_EQ(CPortInspector::ProbeAccess(free.SlavePath()), 0);
    EXPECT_EQ(CPortInspector::ProbeAccess(dir / "ttyUSB0"), ENOENT);
}

TEST(PortInspectorTest, NothingThereListsWhatIs)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    tree.AddUsb("ttyACM0", "1-2", "1546", "01a7", "u-blox AG", "u-blox 7 - GPS/GNSS Receiver",
                "usb-u-blox_AG_u-blox_7-if00");
    CPortInspector inspector(tree.Roots(), 0);
    EXPECT_EQ(inspector.Diagnose("/dev/ttyUSB0").GetText(),
              "/dev/ttyUSB0 is not there: the receiver is unplugged, or has another name now.\n"
              "Serial ports found:\n"
              "  /dev/serial/by-id/usb-u-blox_AG_u-blox_7-if00 (/dev/ttyACM0): u-blox AG u-blox 7 "
              "- GPS/GNSS Receiver");
    EXPECT_EQ(inspector.Diagnose("/dev/ttyACM0").GetText(), "") << "it opens";
}

TEST(PortsCommandTest, ListsEveryPortAsTextAndJson)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    tree.AddUsb("ttyACM0", "1-2", "1546", "01a7", "u-blox AG", "u-blox 7 - GPS/GNSS Receiver",
                "usb-u-blox_AG_u-blox_7-if00");
    tree.AddUart("ttyS0", false, true, 4);
    tree.AddBluetooth("rfcomm0", "00:1A:7D:DA:71:13", 1);

    const CRun text = RunProgram({VELORAN_CLI, "ports"}, Environment(tree));
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out, "/dev/ttyACM0: u-blox AG u-blox 7 - GPS/GNSS Receiver\n"
                        "  stable name  /dev/serial/by-id/usb-u-blox_AG_u-blox_7-if00\n"
                        "  USB          1546:01a7\n"
                        "  receiver     likely: u-blox GNSS receiver\n"
                        "  opens        yes\n"
                        "/dev/rfcomm0: Bluetooth link to 00:1A:7D:DA:71:13, channel 1\n"
                        "  opens        yes, as far as its permissions say\n"
                        "/dev/ttyS0: Serial port\n"
                        "  opens        yes\n");

    const CRun json = RunProgram({VELORAN_CLI, "ports", "--json"}, Environment(tree));
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(
        json.out,
        R"({"device":"/dev/ttyACM0","stableName":"/dev/serial/by-id/usb-u-blox_AG_u-blox_7-if00",)"
        R"("kind":"usb-acm","usb":{"vendor":"1546","product":"01a7","manufacturer":"u-blox AG",)"
        R"("name":"u-blox 7 - GPS/GNSS Receiver"},"name":"u-blox AG u-blox 7 - GPS/GNSS Receiver",)"
        R"("likely":"u-blox GNSS receiver","opens":true,"tried":true,"why":null,"whatToDo":null,)"
        R"("gpsd":false})"
        "\n"
        R"({"device":"/dev/rfcomm0","stableName":null,"kind":"bluetooth","usb":null,)"
        R"("name":"Bluetooth link to 00:1A:7D:DA:71:13, channel 1","likely":null,"opens":true,)"
        R"("tried":false,"why":null,"whatToDo":null,"gpsd":false})"
        "\n"
        R"({"device":"/dev/ttyS0","stableName":null,"kind":"uart","usb":null,"name":"Serial port",)"
        R"("likely":null,"opens":true,"tried":true,"why":null,"whatToDo":null,"gpsd":false})"
        "\n");
}

TEST(PortsCommandTest, NoPortNoOutputButTheWord)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    const CRun text = RunProgram({VELORAN_CLI, "ports"}, Environment(tree));
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out, "No serial port found.\n");
    const CRun json = RunProgram({VELORAN_CLI, "ports", "--json"}, Environment(tree));
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.out, "");
}

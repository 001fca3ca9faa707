#include "PtyPair.h"
#include "receiver/DataSource.h"
#include "receiver/SirfCommands.h"
#include "receiver/SirfSender.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <vector>

extern char **environ;

namespace
{

constexpr std::time_t kWeek1024 = 935280000; // 1999-08-22 00:00:00 UTC: week 1024, tow 0
const std::string kHotConnectLine = "$PSRF104,48.150000,11.620000,500,0,0,1024,12,3*2C\r\n";

std::string Join(const std::vector<std::string> &lines)
{
    std::string all;
    for (const std::string &line : lines)
        all += line;
    return all;
}

// What arrives at the receiver's end until `wanted` bytes or `silenceMs` without any.
std::string ReadAtReceiver(const CPtyPair &pty, std::size_t wanted, int silenceMs = 2000)
{
    std::string data;
    char buffer[512];
    pollfd p{pty.Master(), POLLIN, 0};
    while (data.size() < wanted && ::poll(&p, 1, silenceMs) > 0) {
        const ssize_t n = ::read(pty.Master(), buffer, sizeof buffer);
        if (n <= 0)
            break;
        data.append(buffer, static_cast<std::size_t>(n));
    }
    return data;
}

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace

// The commands go out while the reader goes on reading the same port.
TEST(SirfSender, CommandsReachTheReceiverWhileItTalks)
{
    const struct {
        std::function<void(CDataSource &)> send;
        std::string expected;
        const char *legend;
    } cases[] = {
        {[](CDataSource &s) { SendProgramChipset(s); }, Join(ProgramChipsetCommands()),
         "Program CS: five rate commands"},
        {[](CDataSource &s) { SendHotConnect(s, 48.15, 11.62, kWeek1024); },
         kHotConnectLine + kHotConnectLine, "Hot Connect: twice"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CPtyPair pty;
        std::vector<std::string> lines;
        CDataSource source([&](std::string_view line) { lines.emplace_back(line); });
        std::string error;
        ASSERT_TRUE(source.OpenPort(pty.SlavePath(), 4800, error)) << error;
        ASSERT_TRUE(pty.Send("$GPGGA,1\r\n"));
        c.send(source);
        EXPECT_EQ(ReadAtReceiver(pty, c.expected.size()), c.expected);
        pollfd wake{source.GetWakeHandle(), POLLIN, 0};
        for (int polls = 0; lines.empty() && polls < 40; ++polls) {
            ::poll(&wake, 1, 50);
            source.ProcessPending();
        }
        EXPECT_EQ(lines, std::vector<std::string>{"$GPGGA,1\r\n"});
    }
}

TEST(SirfSender, NothingWrittenWhileClosedOrReplaying)
{
    const std::string log = ::testing::TempDir() + "sirf-replay.nmea";
    std::string logBytes;
    for (int i = 0; i < 20; ++i)
        logBytes += "$GPGGA," + std::to_string(i) + "\r\n";
    std::ofstream(log, std::ios::binary) << logBytes;

    const struct {
        std::function<bool(CDataSource &, const CPtyPair &)> open;
        bool replaying;
        const char *legend;
    } cases[] = {
        {[](CDataSource &, const CPtyPair &) { return true; }, false, "never opened"},
        {[](CDataSource &s, const CPtyPair &pty) {
             std::string error;
             const bool opened = s.OpenPort(pty.SlavePath(), 4800, error);
             s.Close();
             return opened;
         },
         false, "port opened and closed"},
        {[](CDataSource &s, const CPtyPair &pty) {
             std::string error;
             return s.OpenReplay(pty.SlavePath(), error);
         },
         true, "replaying the receiver's own device"},
        {[&](CDataSource &s, const CPtyPair &) {
             std::string error;
             return s.OpenReplay(log, error);
         },
         true, "replaying a log file"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CPtyPair pty;
        CDataSource source([](std::string_view) {});
        ASSERT_TRUE(c.open(source, pty));
        EXPECT_EQ(source.IsReplaying(), c.replaying);
        EXPECT_FALSE(source.Write("$PSRF103,00,00,01,01*25\r\n"));
        SendProgramChipset(source);
        SendHotConnect(source, 48.15, 11.62, kWeek1024);
        EXPECT_EQ(ReadAtReceiver(pty, 1, 200), "");
        EXPECT_EQ(ReadFile(log), logBytes);
    }
}

// The command line opens the port itself and writes the same bytes.
TEST(SirfSender, CommandLine)
{
    const struct {
        std::vector<std::string> args; // --port PTY is added unless the row has a --port
        int status;
        std::string written;
        const char *legend;
    } cases[] = {
        {{"rates"}, 0, Join(ProgramChipsetCommands()), "rates"},
        {{"hotstart", "48.15", "11.62", "--time", "935280000"},
         0,
         kHotConnectLine + kHotConnectLine,
         "hotstart at a fixed clock"},
        {{"rates", "--port", "/nonexistent/tty"}, 1, "", "no such device"},
        {{"hotstart", "91", "11.62"}, 2, "", "latitude out of range"},
        {{"rates", "--baud", "fast"}, 2, "", "bad baud rate"},
        {{"rates", "extra"}, 2, "", "unexpected argument"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CPtyPair pty;
        std::vector<std::string> args = {VELORAN_CLI, "sirf"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        if (std::find(args.begin(), args.end(), "--port") == args.end())
            args.insert(args.end(), {"--port", pty.SlavePath()});
        std::vector<char *> argv;
        for (std::string &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        pid_t pid = -1;
        ASSERT_EQ(posix_spawn(&pid, VELORAN_CLI, &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        int status = -1;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), c.status);
        EXPECT_EQ(ReadAtReceiver(pty, c.written.size() + 1, 200), c.written);
    }
}

#include "FileTestUtils.h"
#include "PtyPair.h"
#include "UartSimulator.h"
#include "receiver/BaudRateHunt.h"
#include "receiver/HuntPort.h"
#include "receiver/SerialHuntPort.h"
#include "receiver/SerialPort.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <set>
#include <string>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

using namespace std::chrono_literals;

const std::string kData = VELORAN_AUTOBAUD_DATA;
// Short waits: the fake port has nothing to settle, and hands over its bytes at once.
const CHuntTiming kQuick{1ms, 40ms};

std::string Repeated(const std::string &file, int times)
{
    std::string bytes;
    for (int i = 0; i < times; ++i)
        bytes += ReadFile(kData + "/" + file);
    return bytes;
}

// An eventfd for the stop request, as the reader's session has.
struct CStopEvent {
    CStopEvent()
        : fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }
    ~CStopEvent() { ::close(fd); }
    CStopEvent(const CStopEvent &) = delete;
    CStopEvent &operator=(const CStopEvent &) = delete;
    void Signal() const
    {
        const std::uint64_t one = 1;
        EXPECT_EQ(::write(fd, &one, sizeof one), static_cast<ssize_t>(sizeof one));
    }
    const int fd;
};

// A receiver behind a port that honours speeds, unlike a pseudo-terminal: at its own speed it
// sends `sent` as it is, at any other what a UART at that speed makes of it (joined in the
// middle of a byte), in 64-byte pieces; then nothing until the deadline.
class CFakeReceiverPort final : public CHuntPort
{
public:
    CFakeReceiverPort(std::string sent, int ownSpeed)
        : m_sent(std::move(sent))
        , m_ownSpeed(ownSpeed)
    {
    }

    bool SetSpeed(int speed) override
    {
        m_log.push_back("speed " + std::to_string(speed));
        if (m_refused.count(speed) != 0) {
            errno = EINVAL;
            return false;
        }
        m_speed = speed;
        CUartLink link{m_ownSpeed, speed, 30, 25};
        m_pending = speed == m_ownSpeed ? m_sent : link.Hear(m_sent);
        m_reads = 0;
        return true;
    }
    void Flush() override { m_log.push_back("flush"); }
    Wait Read(std::string &bytes, Clock::time_point deadline, int stopFd) override
    {
        if (m_log.back() != "read")
            m_log.push_back("read");
        ++m_reads;
        if (m_speed == m_unpluggedAt) {
            errno = EIO;
            return Wait::Failed;
        }
        if (!m_pending.empty()) {
            const std::size_t n = std::min<std::size_t>(64, m_pending.size());
            bytes.append(m_pending, 0, n);
            m_pending.erase(0, n);
            return Wait::Data;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd stop{stopFd, POLLIN, 0};
        const int r = ::poll(&stop, stopFd >= 0 ? 1 : 0,
                             static_cast<int>(std::max<long long>(0, left.count())));
        return r > 0 ? Wait::Stopped : Wait::TimedOut;
    }

    std::string m_sent;
    int m_ownSpeed;
    std::set<int> m_refused;
    int m_unpluggedAt = 0;
    int m_speed = 0;
    int m_reads = 0; // at the last speed set
    std::string m_pending;
    std::vector<std::string> m_log;
};

struct CHuntRun {
    CHuntResult result;
    std::vector<int> progress;
};

CHuntRun Hunt(CHuntPort &port, CBaudHunt hunt, const CHuntTiming &timing = kQuick, int stopFd = -1,
              const std::function<void(int)> &onProgress = {})
{
    CHuntRun run;
    run.result = HuntBaudRate(
        port, hunt, stopFd,
        [&](int speed) {
            run.progress.push_back(speed);
            if (onProgress)
                onProgress(speed);
        },
        timing);
    return run;
}

std::vector<int> Speeds(const std::vector<CBaudTry> &tries)
{
    std::vector<int> speeds;
    for (const CBaudTry &t : tries)
        speeds.push_back(t.speed);
    return speeds;
}

std::string Kinds(const std::vector<CBaudTry> &tries)
{
    std::string kinds;
    for (const CBaudTry &t : tries)
        kinds += std::string(kinds.empty() ? "" : " ") + StreamKindName(t.kind);
    return kinds;
}

} // namespace

// Each speed of the hunt as the receiver's own: every speed before it heard as garbage, the
// progress told before each try, the steps of a try in order, and the listening cut short once
// NMEA is heard.
TEST(BaudRateHunt, LocksAtTheReceiversSpeed)
{
    const std::vector<int> order{9600, 4800, 38400, 115200, 57600, 19200, 230400, 460800, 921600};
    for (std::size_t i = 0; i < order.size(); ++i) {
        SCOPED_TRACE(order[i]);
        const std::string sent = Repeated(i % 2 == 0 ? "nmea-gps.nmea" : "nmea-multi.nmea", 2);
        CFakeReceiverPort port(sent, order[i]);
        const CHuntRun run = Hunt(port, CBaudHunt(std::nullopt, true));
        ASSERT_TRUE(run.result.IsLocked()) << Kinds(run.result.tries);
        EXPECT_EQ(run.result.speed, order[i]);
        EXPECT_EQ(run.result.kind, StreamKind::Nmea);
        const std::vector<int> tried(order.begin(), order.begin() + static_cast<long>(i) + 1);
        EXPECT_EQ(Speeds(run.result.tries), tried);
        EXPECT_EQ(run.progress, tried);
        std::string kinds;
        for (std::size_t k = 0; k < i; ++k)
            kinds += "garbage ";
        EXPECT_EQ(Kinds(run.result.tries), kinds + "NMEA");
        std::vector<std::string> steps;
        for (const int speed : tried)
            steps.insert(steps.end(), {"speed " + std::to_string(speed), "flush", "flush", "read"});
        EXPECT_EQ(port.m_log, steps);
        EXPECT_LT(port.m_reads, static_cast<int>(sent.size() / 64) / 2) << "stopped early";
    }
}

TEST(BaudRateHunt, TriesTheLastGoodSpeedFirst)
{
    CFakeReceiverPort port(Repeated("nmea-gps.nmea", 1), 38400);
    const CHuntRun run = Hunt(port, CBaudHunt(38400));
    EXPECT_TRUE(run.result.IsLocked());
    EXPECT_EQ(run.progress, std::vector<int>{38400});
}

// A SiRF receiver left in binary mode and a u-blox one sending UBX are found as such; a u-blox
// one sending both is taken for NMEA even when a frame comes first.
TEST(BaudRateHunt, BinaryReceivers)
{
    const struct {
        const char *file;
        int speed;
        StreamKind kind;
    } cases[] = {
        {"sirf-mid2.sirf", 57600, StreamKind::SirfBinary},
        {"ubx-nav-pvt.ubx", 9600, StreamKind::Ubx},
        {"ubx-and-nmea.bin", 115200, StreamKind::Nmea},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.file);
        CFakeReceiverPort port(Repeated(c.file, 3), c.speed);
        const CHuntRun run = Hunt(port, CBaudHunt());
        ASSERT_TRUE(run.result.IsLocked()) << Kinds(run.result.tries);
        EXPECT_EQ(run.result.speed, c.speed);
        EXPECT_EQ(run.result.kind, c.kind);
    }
}

TEST(BaudRateHunt, SilenceAndGarbageEverywhere)
{
    CFakeReceiverPort silent("", 9600);
    const CHuntRun quiet = Hunt(silent, CBaudHunt());
    EXPECT_EQ(quiet.result.end, HuntEnd::Silence);
    EXPECT_EQ(quiet.progress.size(), 7u);
    EXPECT_EQ(Kinds(quiet.result.tries), "silence silence silence silence silence silence silence");

    // 14400 is no speed the hunt tries.
    CFakeReceiverPort odd(Repeated("nmea-gps.nmea", 2), 14400);
    const CHuntRun garbage = Hunt(odd, CBaudHunt());
    EXPECT_EQ(garbage.result.end, HuntEnd::Garbage);
    EXPECT_EQ(garbage.result.speed, 0);
    EXPECT_EQ(Kinds(garbage.result.tries),
              "garbage garbage garbage garbage garbage garbage garbage");
}

// Speeds the adapter refuses are passed over; a port that takes none, or goes away, ends the
// hunt at once with the reason.
TEST(BaudRateHunt, RefusedSpeedsAndAPortThatGoes)
{
    CFakeReceiverPort picky(Repeated("nmea-gps.nmea", 2), 921600);
    picky.m_refused = {4800, 460800};
    const CHuntRun run = Hunt(picky, CBaudHunt(std::nullopt, true));
    EXPECT_TRUE(run.result.IsLocked());
    EXPECT_EQ(Speeds(run.result.tries),
              (std::vector<int>{9600, 38400, 115200, 57600, 19200, 230400, 921600}));
    EXPECT_EQ(run.progress.size(), 9u) << "told before each attempt";

    CFakeReceiverPort stubborn("", 9600);
    stubborn.m_refused.insert(CBaudHunt::kSpeeds.begin(), CBaudHunt::kSpeeds.end());
    const CHuntRun none = Hunt(stubborn, CBaudHunt());
    EXPECT_EQ(none.result.end, HuntEnd::PortFailed);
    EXPECT_EQ(none.result.errorNumber, EINVAL);

    CFakeReceiverPort unplugged(Repeated("nmea-gps.nmea", 2), 115200);
    unplugged.m_unpluggedAt = 38400;
    const CHuntRun gone = Hunt(unplugged, CBaudHunt());
    EXPECT_EQ(gone.result.end, HuntEnd::PortFailed);
    EXPECT_EQ(gone.result.errorNumber, EIO);
    EXPECT_EQ(gone.progress, (std::vector<int>{9600, 4800, 38400}));
}

// A stop between tries, while settling and while listening: the hunt ends at once, whatever is
// left of the windows.
TEST(BaudRateHunt, StopsWhenAsked)
{
    {
        SCOPED_TRACE("between tries");
        const CStopEvent stop;
        CFakeReceiverPort port("", 9600);
        const CHuntRun run = Hunt(port, CBaudHunt(), kQuick, stop.fd, [&](int speed) {
            if (speed == 38400)
                stop.Signal();
        });
        EXPECT_EQ(run.result.end, HuntEnd::Stopped);
        EXPECT_EQ(run.progress, (std::vector<int>{9600, 4800, 38400}));
        EXPECT_EQ(Speeds(run.result.tries), (std::vector<int>{9600, 4800}));
    }
    const CHuntTiming longSettle{60s, 1ms};
    const CHuntTiming longListen{1ms, 60s};
    for (const CHuntTiming &timing : {longSettle, longListen}) {
        SCOPED_TRACE(timing.settle == longSettle.settle ? "settling" : "listening");
        const CStopEvent stop;
        CFakeReceiverPort port("", 9600);
        const auto begin = std::chrono::steady_clock::now();
        std::thread stopper([&] {
            std::this_thread::sleep_for(50ms);
            stop.Signal();
        });
        const CHuntRun run = Hunt(port, CBaudHunt(), timing, stop.fd);
        stopper.join();
        EXPECT_EQ(run.result.end, HuntEnd::Stopped);
        EXPECT_EQ(run.progress, std::vector<int>{9600});
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
    }
}

// On a real device (a pseudo-terminal, which takes every speed and ignores it): the first try
// hears the receiver; an unplugged one fails the hunt instead of walking every speed.
TEST(BaudRateHunt, OnASerialPort)
{
    const std::string nmea = Repeated("nmea-gps.nmea", 1);
    CPtyPair pty;
    CSerialPort serial;
    ASSERT_TRUE(serial.Open(pty.SlavePath(), 4800)) << serial.GetErrorText();
    pty.ReleaseSlave();
    ASSERT_EQ(::fcntl(pty.Master(), F_SETFL, O_NONBLOCK), 0); // what the port drops is lost
    std::atomic<bool> done{false};
    std::thread receiver([&] {
        while (!done) {
            pty.Send(nmea);
            std::this_thread::sleep_for(20ms);
        }
    });
    CSerialHuntPort port(serial);
    const CHuntRun run = Hunt(port, CBaudHunt(), CHuntTiming{20ms, 5s});
    done = true;
    receiver.join();
    EXPECT_TRUE(run.result.IsLocked()) << Kinds(run.result.tries);
    EXPECT_EQ(run.result.speed, 9600);
    EXPECT_EQ(run.result.kind, StreamKind::Nmea);
    EXPECT_EQ(serial.GetBaudRate(), 9600);

    pty.CloseMaster();
    const auto begin = std::chrono::steady_clock::now();
    const CHuntRun gone = Hunt(port, CBaudHunt(), CHuntTiming{20ms, 5s});
    EXPECT_EQ(gone.result.end, HuntEnd::PortFailed);
    EXPECT_NE(gone.result.errorNumber, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 4s) << "not a wait at every speed";
}

#include "ConsumerLoop.h"
#include "receiver/SourceAddress.h"

#include <arpa/inet.h>
#include <chrono>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;

namespace
{

const std::string kGga = "$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47\r\n";
const std::string kRmc = "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A\r\n";
const std::string kGsaLf = "$GNGSA,A,3,04,05,,09,12,,,24,,,,,2.5,1.3,2.1*21\n";

// A loopback socket of the test's own, closed at the end.
struct CSocket {
    explicit CSocket(int type)
        : fd(::socket(AF_INET, type | SOCK_CLOEXEC, 0))
    {
    }
    ~CSocket()
    {
        if (fd >= 0)
            ::close(fd);
    }
    CSocket(const CSocket &) = delete;
    CSocket &operator=(const CSocket &) = delete;

    // Closed, and a new socket of `type` in its place.
    void Renew(int type)
    {
        Close();
        fd = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
    }
    void Close()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }

    // Binds to 127.0.0.1:`port` (0: any free one) and returns the port.
    int Bind(int port = 0)
    {
        const int on = 1;
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(static_cast<std::uint16_t>(port));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof a;
        if (::bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0
            || ::getsockname(fd, reinterpret_cast<sockaddr *>(&a), &size) != 0)
            return -1;
        return ntohs(a.sin_port);
    }
    int fd;
};

// A TCP server on loopback that takes connections one after the other and counts them.
struct CTcpServer {
    CTcpServer()
    {
        port = listener.Bind();
        ::listen(listener.fd, 4);
    }
    // The next connection, waited for while `loop` keeps the source going.
    int Accept(CConsumerLoop &loop, std::chrono::milliseconds limit = 10s)
    {
        int fd = -1;
        loop.PumpUntil(
            [&] {
                pollfd p{listener.fd, POLLIN, 0};
                if (::poll(&p, 1, 0) > 0)
                    fd = ::accept4(listener.fd, nullptr, nullptr, SOCK_CLOEXEC);
                return fd >= 0;
            },
            limit);
        if (fd >= 0)
            ++accepted;
        return fd;
    }
    CSocket listener{SOCK_STREAM};
    int port = 0;
    int accepted = 0;
};

void Send(int fd, const std::string &bytes)
{
    ASSERT_EQ(::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

std::string Joined(const std::vector<std::string> &lines)
{
    std::string all;
    for (const std::string &line : lines)
        all += line;
    return all;
}

CSourceAddress Address(const std::string &url)
{
    std::string error;
    return *CSourceAddress::Parse(url, error);
}

std::vector<CSourceStatus::Kind> Kinds(const std::vector<CSourceStatus> &statuses)
{
    std::vector<CSourceStatus::Kind> kinds;
    for (const CSourceStatus &s : statuses)
        kinds.push_back(s.kind);
    return kinds;
}

bool Said(const CConsumerLoop &loop, CSourceStatus::Kind kind)
{
    for (const CSourceStatus &s : loop.statuses)
        if (s.kind == kind)
            return true;
    return false;
}

} // namespace

// However the stream is cut into segments, the lines come out whole and every byte in order:
// a recording of them is what was sent.
TEST(NetworkSource, TcpLinesWholeWhateverTheSegments)
{
    const std::string stream = kGga + kRmc + kGsaLf + kGga + "$GPZZZ,noise\r\n" + kRmc;
    const struct {
        std::vector<std::size_t> cuts; // segment lengths, the rest in the last
        const char *legend;
    } cases[] = {
        {{}, "one segment, several lines"},
        {{1, 1, 1}, "a byte at a time at first"},
        {{kGga.size() - 1, 2}, "a CR LF cut in two"},
        {{10, 70, 33, 5}, "cuts anywhere"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CTcpServer server;
        CConsumerLoop loop;
        std::string error;
        ASSERT_TRUE(loop.source.OpenNetwork(
            Address("tcp://127.0.0.1:" + std::to_string(server.port)), error))
            << error;
        const int peer = server.Accept(loop);
        ASSERT_GE(peer, 0);
        std::size_t at = 0;
        for (const std::size_t n : c.cuts) {
            Send(peer, stream.substr(at, n));
            at += n;
            std::this_thread::sleep_for(5ms); // its own segment
        }
        Send(peer, stream.substr(at));
        ASSERT_TRUE(loop.PumpLines(6));
        EXPECT_EQ(Joined(loop.lines), stream);
        EXPECT_EQ(Kinds(loop.statuses),
                  (std::vector{CSourceStatus::Kind::Connecting, CSourceStatus::Kind::Receiving}));
        ::close(peer);
    }
}

// A server that falls silent is left for a new connection; one that goes away is waited for,
// ever longer, and reached once it is back, by one new connection.
TEST(NetworkSource, TcpReconnectsAfterSilenceAndLoss)
{
    CTcpServer server;
    CConsumerLoop loop;
    loop.source.SetNoDataWatchdog(300);
    std::string error;
    const std::string url = "tcp://127.0.0.1:" + std::to_string(server.port);
    ASSERT_TRUE(loop.source.OpenNetwork(Address(url), error)) << error;
    int peer = server.Accept(loop);
    ASSERT_GE(peer, 0);
    Send(peer, kGga);
    ASSERT_TRUE(loop.PumpLines(1));

    // Silent past the watchdog: the source says so and connects anew.
    const int again = server.Accept(loop, 5s);
    ASSERT_GE(again, 0);
    EXPECT_TRUE(Said(loop, CSourceStatus::Kind::NoData));
    ::close(peer);
    Send(again, kRmc);
    ASSERT_TRUE(loop.PumpLines(2));
    EXPECT_EQ(loop.statuses.back().kind, CSourceStatus::Kind::Back);
    EXPECT_EQ(loop.statuses.back().text, "Receiver connected again: " + url);

    // The server goes away: refused connections, then its return.
    ::close(again);
    const int port = server.port;
    server.listener.Renew(SOCK_STREAM);
    ASSERT_TRUE(loop.PumpUntil([&] { return Said(loop, CSourceStatus::Kind::Failed); }, 5s));
    ASSERT_EQ(server.listener.Bind(port), port);
    ::listen(server.listener.fd, 4);
    const int accepted = server.accepted;
    peer = server.Accept(loop, 10s);
    ASSERT_GE(peer, 0);
    Send(peer, kGga);
    ASSERT_TRUE(loop.PumpLines(3));
    EXPECT_EQ(server.accepted, accepted + 1);
    EXPECT_EQ(loop.statuses.back().kind, CSourceStatus::Kind::Back);
    // No storm meanwhile: nothing more waits to be taken.
    pollfd p{server.listener.fd, POLLIN, 0};
    EXPECT_EQ(::poll(&p, 1, 200), 0);
    ::close(peer);
}

// Datagrams hold several sentences or half of one; the lines come out whole and in order.
TEST(NetworkSource, UdpDatagramsWithSeveralAndHalfSentences)
{
    CSocket probe(SOCK_DGRAM);
    const int port = probe.Bind();
    probe.Close();
    CConsumerLoop loop;
    std::string error;
    ASSERT_TRUE(loop.source.OpenNetwork(Address("udp://127.0.0.1:" + std::to_string(port)), error))
        << error;
    CSocket sender(SOCK_DGRAM);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(port));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const std::vector<std::string> datagrams = {
        kGga + kRmc, kGsaLf.substr(0, 20), kGsaLf.substr(20) + kGga.substr(0, 3), kGga.substr(3)};
    for (const std::string &d : datagrams)
        ASSERT_EQ(::sendto(sender.fd, d.data(), d.size(), 0, reinterpret_cast<sockaddr *>(&to),
                           sizeof to),
                  static_cast<ssize_t>(d.size()));
    ASSERT_TRUE(loop.PumpLines(4));
    EXPECT_EQ(Joined(loop.lines), kGga + kRmc + kGsaLf + kGga);
    EXPECT_EQ(Kinds(loop.statuses),
              (std::vector{CSourceStatus::Kind::Waiting, CSourceStatus::Kind::Receiving}));
}

// Two programs listen on one port; a broadcast on the loopback network reaches both.
TEST(NetworkSource, UdpListenersShareThePortForBroadcasts)
{
    CSocket probe(SOCK_DGRAM);
    const int port = probe.Bind();
    probe.Close();
    CConsumerLoop first;
    CConsumerLoop second;
    std::string error;
    const CSourceAddress address = Address("udp://:" + std::to_string(port));
    ASSERT_TRUE(first.source.OpenNetwork(address, error)) << error;
    ASSERT_TRUE(second.source.OpenNetwork(address, error)) << "the port is shared: " << error;
    CSocket sender(SOCK_DGRAM);
    const int on = 1;
    ASSERT_EQ(::setsockopt(sender.fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on), 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(port));
    ASSERT_EQ(::inet_pton(AF_INET, "127.255.255.255", &to.sin_addr), 1);
    ASSERT_EQ(::sendto(sender.fd, kGga.data(), kGga.size(), 0, reinterpret_cast<sockaddr *>(&to),
                       sizeof to),
              static_cast<ssize_t>(kGga.size()));
    ASSERT_TRUE(first.PumpLines(1));
    ASSERT_TRUE(second.PumpLines(1));
    EXPECT_EQ(first.lines.front(), kGga);
    EXPECT_EQ(second.lines.front(), kGga);
}

// The device connects to us; a second device after the first left is taken too.
TEST(NetworkSource, TcpListenTakesTheDeviceThatConnects)
{
    CSocket probe(SOCK_STREAM);
    const int port = probe.Bind();
    probe.Close();
    CConsumerLoop loop;
    std::string error;
    const CSourceAddress address = Address("tcp-listen://127.0.0.1:" + std::to_string(port));
    ASSERT_TRUE(loop.source.OpenNetwork(address, error)) << error;
    CConsumerLoop other;
    EXPECT_FALSE(other.source.OpenNetwork(address, error)) << "one listener per port";
    EXPECT_FALSE(error.empty());
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(port));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (const std::string &line : {kGga, kRmc}) {
        CSocket device(SOCK_STREAM);
        ASSERT_EQ(::connect(device.fd, reinterpret_cast<sockaddr *>(&to), sizeof to), 0);
        Send(device.fd, line);
        const std::size_t before = loop.lines.size();
        ASSERT_TRUE(loop.PumpLines(before + 1));
        EXPECT_EQ(loop.lines.back(), line);
    }
    EXPECT_TRUE(loop.PumpUntil([&] { return Said(loop, CSourceStatus::Kind::Back); }, 5s));
}

// gpsd over a plain TCP server that speaks its part: the watch command asked for, its reports
// kept from the lines, "no receiver" said and the fix shown lost, then the receiver back.
TEST(NetworkSource, GpsdReportsNeverReachTheLines)
{
    CTcpServer server;
    CConsumerLoop loop;
    std::string error;
    ASSERT_TRUE(loop.source.OpenNetwork(
        Address("gpsd://127.0.0.1:" + std::to_string(server.port) + "/dev/ttyACM0"), error))
        << error;
    const int peer = server.Accept(loop);
    ASSERT_GE(peer, 0);
    std::string asked;
    ASSERT_TRUE(loop.PumpUntil(
        [&] {
            char block[256];
            pollfd p{peer, POLLIN, 0};
            if (::poll(&p, 1, 0) == 1) {
                const ssize_t n = ::recv(peer, block, sizeof block, 0);
                if (n > 0)
                    asked.append(block, static_cast<std::size_t>(n));
            }
            return asked.find('\n') != std::string::npos;
        },
        5s));
    EXPECT_EQ(asked, "?WATCH={\"enable\":true,\"nmea\":true,\"device\":\"/dev/ttyACM0\"}\n");
    // A long report the line assembler would cut, split across segments.
    const std::string devices =
        R"({"class":"DEVICES","devices":[{"class":"DEVICE","path":"/dev/ttyUSB0","activated":)"
        R"("2026-11-25T16:28:34.379Z","native":0,"bps":38400,"parity":"N","stopbits":1}]})"
        "\r\n";
    Send(peer, R"({"class":"VERSION","release":"3.22"})"
               "\r\n"
                   + devices.substr(0, 50));
    Send(peer, devices.substr(50));
    ASSERT_TRUE(loop.PumpUntil([&] { return Said(loop, CSourceStatus::Kind::NoReceiver); }, 5s));
    EXPECT_EQ(loop.statuses.back().text, "gpsd: no receiver at /dev/ttyACM0");
    Send(peer, R"({"class":"DEVICE","path":"/dev/ttyACM0","activated":"2026-11-25T16:30:00.000Z"})"
               "\r\n"
                   + kGga + kRmc);
    ASSERT_TRUE(loop.PumpLines(2));
    EXPECT_EQ(Joined(loop.lines), kGga + kRmc) << "only the NMEA lines";
    ::close(peer);
}

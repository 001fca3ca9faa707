#include "receiver/SourceAddress.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

// Every way a source is written: what it reads as, and the URL it is stored as (read back to
// the same address).
TEST(SourceAddress, ReadsAndWritesEveryKind)
{
    using K = SourceKind;
    const std::optional<int> keep;
    const struct {
        const char *text;
        K kind;
        const char *device, *host;
        int port;
        std::optional<int> baud;
        const char *url;
    } cases[] = {
        {"/dev/ttyUSB0", K::Serial, "/dev/ttyUSB0", "", 0, keep, "serial:/dev/ttyUSB0"},
        {"COM3", K::Serial, "COM3", "", 0, keep, "serial:COM3"},
        {"serial:/dev/serial/by-id/usb-u-blox_GNSS-if00?baud=auto", K::Serial,
         "/dev/serial/by-id/usb-u-blox_GNSS-if00", "", 0, 0,
         "serial:/dev/serial/by-id/usb-u-blox_GNSS-if00?baud=auto"},
        {"serial:///dev/ttyACM0?baud=115200", K::Serial, "/dev/ttyACM0", "", 0, 115200,
         "serial:/dev/ttyACM0?baud=115200"},
        {"gpsd://", K::Gpsd, "", "localhost", 2947, keep, "gpsd://localhost:2947"},
        {"gpsd://localhost:2947", K::Gpsd, "", "localhost", 2947, keep, "gpsd://localhost:2947"},
        {"gpsd://127.0.0.2:3000/dev/ttyACM0", K::Gpsd, "/dev/ttyACM0", "127.0.0.2", 3000, keep,
         "gpsd://127.0.0.2:3000/dev/ttyACM0"},
        {"gpsd://[::1]/dev/ttyUSB1", K::Gpsd, "/dev/ttyUSB1", "::1", 2947, keep,
         "gpsd://[::1]:2947/dev/ttyUSB1"},
        {"tcp://127.0.0.3:10110", K::Tcp, "", "127.0.0.3", 10110, keep, "tcp://127.0.0.3:10110"},
        {"tcp://boat.local", K::Tcp, "", "boat.local", 10110, keep, "tcp://boat.local:10110"},
        {"tcp-listen://:10110", K::TcpListen, "", "", 10110, keep, "tcp-listen://:10110"},
        {"tcp-listen://127.0.0.1:5000", K::TcpListen, "", "127.0.0.1", 5000, keep,
         "tcp-listen://127.0.0.1:5000"},
        {"udp://:10110", K::Udp, "", "", 10110, keep, "udp://:10110"},
        {"udp://", K::Udp, "", "", 10110, keep, "udp://:10110"},
        {"udp://127.0.0.1:2000", K::Udp, "", "127.0.0.1", 2000, keep, "udp://127.0.0.1:2000"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        std::string error;
        const std::optional<CSourceAddress> a = CSourceAddress::Parse(c.text, error);
        ASSERT_TRUE(a) << error;
        EXPECT_EQ(a->kind, c.kind);
        EXPECT_EQ(a->device, c.device);
        EXPECT_EQ(a->host, c.host);
        EXPECT_EQ(a->port, c.port);
        EXPECT_EQ(a->baudRate, c.baud);
        EXPECT_EQ(a->ToUrl(), c.url);
        EXPECT_EQ(CSourceAddress::Parse(a->ToUrl(), error), a) << "read back";
    }
}

TEST(SourceAddress, RefusesWithAReason)
{
    const struct {
        const char *text, *reason;
    } cases[] = {
        {"", "an empty source"},
        {"ftp://host", "unknown source type 'ftp'"},
        {"serial:", "needs a device"},
        {"serial:/dev/ttyS0?baud=fast", "baud must be auto or a speed, not 'fast'"},
        {"serial:/dev/ttyS0?parity=none", "unknown option 'parity=none'"},
        {"tcp://", "needs a host"},
        {"tcp://:10110", "needs a host"},
        {"tcp://host:0", "from 1 to 65535, not '0'"},
        {"tcp://host:65536", "not '65536'"},
        {"udp://:port", "not 'port'"},
        {"tcp://host:", "a ':' without a port"},
        {"tcp://host:10110/x", "has no path"},
        {"gpsd://::1", "IPv6 address goes in brackets"},
        {"gpsd://[::1", "without its ']'"},
        {"gpsd://[::1]x", "'x' after the address"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        std::string error;
        EXPECT_FALSE(CSourceAddress::Parse(c.text, error));
        EXPECT_NE(error.find(c.reason), std::string::npos) << error;
    }
}

TEST(SourceAddress, DescribedForNotices)
{
    std::string error;
    const auto describe = [&](const char *text) {
        return CSourceAddress::Parse(text, error)->Describe();
    };
    EXPECT_EQ(describe("gpsd://"), "gpsd at localhost:2947");
    EXPECT_EQ(describe("gpsd://h:1/dev/ttyACM0"), "gpsd at h:1 (/dev/ttyACM0)");
    EXPECT_EQ(describe("serial:/dev/ttyUSB0?baud=auto"), "/dev/ttyUSB0");
    EXPECT_EQ(describe("udp://:10110"), "udp://:10110");
}

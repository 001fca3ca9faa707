#include "PtyPair.h"
#include "receiver/SerialPort.h"
#include "receiver/SerialSettings.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <numeric>
#include <poll.h>
#include <string>

namespace
{

// A second handle on the slave, the way another program sees the line.
struct CProbe {
    explicit CProbe(const std::string &path)
        : fd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
    }
    ~CProbe() { ::close(fd); }
    const int fd;
};

std::string ReadAvailable(int fd, std::size_t wanted)
{
    std::string data;
    char buffer[512];
    for (int polls = 0; data.size() < wanted && polls < 40; ++polls) { // 2 s of silence
        pollfd p{fd, POLLIN, 0};
        const ssize_t n = ::poll(&p, 1, 50) > 0 ? ::read(fd, buffer, sizeof buffer) : 0;
        if (n > 0)
            data.append(buffer, static_cast<std::size_t>(n));
    }
    return data;
}

} // namespace

// Whatever another program left the line set to: the port opens raw 8N1 and non-blocking at
// every table rate (14400, 56000, 128000 and 256000 through termios2), every byte passes
// unchanged (any one cooked flag left on would change some), and Close puts the settings back.
TEST(SerialPort, EveryRateRawWhileOpenAndRestoredOnClose)
{
    std::string bytes(256, '\0'); // CR, LF, XON, XOFF, ^C, erase, kill, bit 7 among them
    std::iota(bytes.begin(), bytes.end(), '\0');
    for (const int rate : kBaudRates) {
        SCOPED_TRACE(rate);
        CPtyPair pty;
        const CProbe probe(pty.SlavePath());
        termios before{};
        ASSERT_EQ(::tcgetattr(probe.fd, &before), 0);
        before.c_iflag |= ICRNL | INLCR | IGNCR | ISTRIP | IXON | IXOFF;
        before.c_lflag |= ICANON | ECHO | ISIG;
        before.c_oflag |= OPOST | ONLCR;
        before.c_cflag |= CSTOPB | CRTSCTS;
        cfsetspeed(&before, B9600);
        ASSERT_EQ(::tcsetattr(probe.fd, TCSANOW, &before), 0);
        ASSERT_EQ(::tcgetattr(probe.fd, &before), 0); // as the pty took it

        CSerialPort port;
        ASSERT_TRUE(port.Open(pty.SlavePath(), rate)) << port.GetErrorText();
        EXPECT_EQ(port.GetBaudRate(), rate);
        EXPECT_NE(::fcntl(port.GetHandle(), F_GETFL) & O_NONBLOCK, 0);
        termios line{};
        ASSERT_EQ(::tcgetattr(port.GetHandle(), &line), 0);
        EXPECT_EQ(line.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS | CLOCAL | CREAD),
                  tcflag_t(CS8 | CLOCAL | CREAD));
        ASSERT_TRUE(pty.Send(bytes));
        EXPECT_EQ(ReadAvailable(port.GetHandle(), bytes.size()), bytes);

        port.Close();
        EXPECT_EQ(port.GetHandle(), -1);
        termios after{};
        ASSERT_EQ(::tcgetattr(probe.fd, &after), 0);
        EXPECT_EQ(std::memcmp(&after, &before, sizeof after), 0) << "flags or control characters";
        EXPECT_EQ(cfgetospeed(&after), speed_t(B9600));
    }
}

// A second open of a held device is Busy until the first closes; the others say why.
TEST(SerialPort, ReportsWhyADeviceDoesNotOpen)
{
    QTemporaryDir dir;
    const std::string base = dir.path().toStdString();
    QFile file(dir.filePath("capture.nmea"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_TRUE(file.setPermissions(QFileDevice::Permissions()));
    CPtyPair pty;
    CSerialPort first;
    ASSERT_TRUE(first.Open(pty.SlavePath(), 4800)) << first.GetErrorText();

    struct Case {
        std::string device;
        SerialError error;
        std::string text; // within the error text
        const char *legend;
    };
    const Case cases[] = {
        {pty.SlavePath(), SerialError::Busy, pty.SlavePath() + " is in use", "held by a port"},
        {base + "/ttyUSB0", SerialError::NotFound, "No such device: " + base, "unplugged"},
        {base + "/capture.nmea/tty", SerialError::NotFound, "No such device", "through a file"},
        {base, SerialError::Other, "Cannot open " + base, "a directory"},
        {base + "/capture.nmea", SerialError::PermissionDenied, "'dialout' group",
         "no access (root has it anyway)"},
        {"/dev/null", SerialError::NotATerminal, "Not a serial device: /dev/null", "no terminal"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        if (c.error == SerialError::PermissionDenied && ::getuid() == 0)
            continue;
        CSerialPort port;
        EXPECT_FALSE(port.Open(c.device, 4800));
        EXPECT_EQ(port.GetError(), c.error);
        EXPECT_NE(port.GetErrorText().find(c.text), std::string::npos) << port.GetErrorText();
        EXPECT_EQ(port.GetHandle(), -1);
    }
    EXPECT_TRUE(first.IsOpen());
    first.Close();
    CSerialPort second;
    EXPECT_TRUE(second.Open(pty.SlavePath(), 4800)) << second.GetErrorText();
}

// The baud-rate hunt changes the speed of the open port: every rate it tries and a custom one
// take, the line stays raw 8N1 with every byte passing, and a rate the device refuses leaves
// the port open.
TEST(SerialPort, ChangesSpeedWhileOpen)
{
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    CPtyPair pty;
    CSerialPort port;
    ASSERT_TRUE(port.Open(pty.SlavePath(), 4800)) << port.GetErrorText();
    for (const int rate : {9600, 38400, 115200, 57600, 19200, 230400, 460800, 921600, 14400}) {
        SCOPED_TRACE(rate);
        ASSERT_TRUE(pty.Send("left over at the last speed"));
        pollfd arrived{port.GetHandle(), POLLIN, 0};
        ASSERT_EQ(::poll(&arrived, 1, 2000), 1);
        ASSERT_TRUE(port.SetBaudRate(rate));
        EXPECT_EQ(port.GetBaudRate(), rate);
        termios line{};
        ASSERT_EQ(::tcgetattr(port.GetHandle(), &line), 0);
        EXPECT_EQ(line.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS | CLOCAL | CREAD),
                  tcflag_t(CS8 | CLOCAL | CREAD));
        EXPECT_EQ(line.c_lflag & ICANON, 0u);
        ASSERT_TRUE(pty.Send(bytes));
        EXPECT_EQ(ReadAvailable(port.GetHandle(), bytes.size()), bytes) << "flushed, then raw";
    }
    EXPECT_FALSE(port.SetBaudRate(0));
    EXPECT_TRUE(port.IsOpen());
    EXPECT_EQ(port.GetBaudRate(), 14400);
    port.Close();
    EXPECT_FALSE(port.SetBaudRate(9600)) << "closed";
}

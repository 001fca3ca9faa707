#include "PtyPair.h"
#include "receiver/SerialPort.h"
#include "receiver/SerialSettings.h"

#include <QFile>
#include <QTemporaryDir>

#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/stat.h>

namespace
{

// A second handle on the slave, the way another program sees the line.
class CProbe
{
public:
    explicit CProbe(const std::string &path)
        : m_fd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
    }
    ~CProbe()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    CProbe(const CProbe &) = delete;
    CProbe &operator=(const CProbe &) = delete;
    [[nodiscard]] int Fd() const { return m_fd; }

private:
    int m_fd;
};

std::string ReadAvailable(int fd, std::size_t wanted)
{
    std::string data;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (data.size() < wanted && std::chrono::steady_clock::now() < deadline) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 50) <= 0)
            continue;
        char buffer[512];
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0)
            data.append(buffer, static_cast<std::size_t>(n));
    }
    return data;
}

void ExpectSameLineSettings(const termios &want, const termios &got)
{
    EXPECT_EQ(got.c_iflag, want.c_iflag);
    EXPECT_EQ(got.c_oflag, want.c_oflag);
    EXPECT_EQ(got.c_cflag, want.c_cflag);
    EXPECT_EQ(got.c_lflag, want.c_lflag);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(got.c_cc), NCCS),
              std::string(reinterpret_cast<const char *>(want.c_cc), NCCS));
    EXPECT_EQ(cfgetospeed(&got), cfgetospeed(&want));
}

} // namespace

// 14400, 56000, 128000 and 256000 have no Bnnnn constant: they go through termios2.
TEST(SerialPort, OpensAtEveryTableRateAndReadsItBack)
{
    for (const int rate : kBaudRates) {
        SCOPED_TRACE(rate);
        CPtyPair pty;
        ASSERT_TRUE(pty.IsValid());
        CSerialPort port;
        ASSERT_TRUE(port.Open(pty.SlavePath(), rate)) << port.GetErrorText();
        EXPECT_EQ(port.GetBaudRate(), rate);
        EXPECT_NE(::fcntl(port.GetHandle(), F_GETFL) & O_NONBLOCK, 0);
    }
}

TEST(SerialPort, PassesEveryByteUnchangedWhateverTheLineWasSetTo)
{
    struct Case {
        const char *legend;
        tcflag_t iflag;
        tcflag_t lflag;
        tcflag_t cflag;
    };
    const Case cases[] = {
        {"ICRNL turns CR into LF", ICRNL, 0, 0},
        {"INLCR turns LF into CR", INLCR, 0, 0},
        {"IGNCR drops CR", IGNCR, 0, 0},
        {"ISTRIP clears bit 7", ISTRIP, 0, 0},
        {"IXON swallows XON/XOFF and stops on XOFF", IXON | IXOFF, 0, 0},
        {"ICANON holds lines and applies erase and kill", 0, ICANON | ECHO, 0},
        {"ISIG swallows ^C, ^Z and ^\\", 0, ISIG, 0},
        {"two stop bits, RTS/CTS (a pty forces CS8, no parity)", 0, 0,
         CS7 | PARENB | CSTOPB | CRTSCTS},
    };
    std::string bytes = "$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47\r\n";
    for (int b = 0; b < 256; ++b)
        bytes += static_cast<char>(b);
    bytes += "\r\n\n\r";

    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CPtyPair pty;
        ASSERT_TRUE(pty.IsValid());
        const CProbe probe(pty.SlavePath());
        termios cooked{};
        ASSERT_EQ(::tcgetattr(probe.Fd(), &cooked), 0);
        cooked.c_iflag |= c.iflag;
        cooked.c_lflag |= c.lflag;
        if (c.cflag != 0)
            cooked.c_cflag = (cooked.c_cflag & ~CSIZE) | c.cflag;
        ASSERT_EQ(::tcsetattr(probe.Fd(), TCSANOW, &cooked), 0);

        CSerialPort port;
        ASSERT_TRUE(port.Open(pty.SlavePath(), 4800)) << port.GetErrorText();
        termios line{};
        ASSERT_EQ(::tcgetattr(port.GetHandle(), &line), 0);
        EXPECT_EQ(line.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), tcflag_t(CS8));
        EXPECT_EQ(line.c_cflag & (CLOCAL | CREAD), tcflag_t(CLOCAL | CREAD));

        ASSERT_TRUE(pty.Send(bytes));
        EXPECT_EQ(ReadAvailable(port.GetHandle(), bytes.size()), bytes);
    }
}

TEST(SerialPort, CloseRestoresTheLineSettingsItFound)
{
    struct Case {
        const char *legend;
        bool cooked;
        speed_t originalSpeed;
        int openRate;
    };
    const Case cases[] = {
        {"cooked at 9600, opened at 4800", true, B9600, 4800},
        {"cooked at 9600, opened at a custom 256000", true, B9600, 256000},
        {"raw at 115200, opened at a custom 14400", false, B115200, 14400},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CPtyPair pty;
        ASSERT_TRUE(pty.IsValid());
        const CProbe probe(pty.SlavePath());
        termios before{};
        ASSERT_EQ(::tcgetattr(probe.Fd(), &before), 0);
        if (c.cooked) {
            before.c_iflag |= ICRNL | IXON | ISTRIP;
            before.c_lflag |= ICANON | ECHO | ISIG;
            before.c_oflag |= OPOST | ONLCR;
            before.c_cflag |= CSTOPB | CRTSCTS;
            before.c_cc[VMIN] = 1;
            before.c_cc[VTIME] = 5;
        }
        cfsetspeed(&before, c.originalSpeed);
        ASSERT_EQ(::tcsetattr(probe.Fd(), TCSANOW, &before), 0);
        ASSERT_EQ(::tcgetattr(probe.Fd(), &before), 0);

        CSerialPort port;
        ASSERT_TRUE(port.Open(pty.SlavePath(), c.openRate)) << port.GetErrorText();
        port.Close();
        EXPECT_FALSE(port.IsOpen());
        EXPECT_EQ(port.GetHandle(), -1);
        termios after{};
        ASSERT_EQ(::tcgetattr(probe.Fd(), &after), 0);
        ExpectSameLineSettings(before, after);
    }
}

TEST(SerialPort, SecondOpenOfAnOpenDeviceIsBusyUntilTheFirstCloses)
{
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    CSerialPort first;
    ASSERT_TRUE(first.Open(pty.SlavePath(), 4800)) << first.GetErrorText();

    CSerialPort second;
    EXPECT_FALSE(second.Open(pty.SlavePath(), 4800));
    EXPECT_EQ(second.GetError(), SerialError::Busy);
    EXPECT_EQ(second.GetErrorText().rfind(pty.SlavePath() + " is in use", 0), 0u);
    EXPECT_TRUE(first.IsOpen());

    first.Close();
    EXPECT_TRUE(second.Open(pty.SlavePath(), 4800)) << second.GetErrorText();
}

TEST(SerialPort, ReportsWhyADeviceDoesNotOpen)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const std::string base = dir.path().toStdString();
    QFile file(dir.filePath("capture.nmea"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();

    struct Case {
        const char *legend;
        std::string device;
        SerialError error;
        std::string textStart;
    };
    const Case cases[] = {
        {"receiver unplugged", base + "/ttyUSB0", SerialError::NotFound,
         "No such device: " + base + "/ttyUSB0"},
        {"path through a regular file", base + "/capture.nmea/tty", SerialError::NotFound,
         "No such device: " + base + "/capture.nmea/tty"},
        {"a log file instead of a port", base + "/capture.nmea", SerialError::NotATerminal,
         "Not a serial device: " + base + "/capture.nmea"},
        {"a character device that is no terminal", "/dev/null", SerialError::NotATerminal,
         "Not a serial device: /dev/null"},
        {"a directory", base, SerialError::Other, "Cannot open " + base},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CSerialPort port;
        EXPECT_FALSE(port.Open(c.device, 4800));
        EXPECT_EQ(port.GetError(), c.error);
        EXPECT_EQ(port.GetErrorText().rfind(c.textStart, 0), 0u) << port.GetErrorText();
        EXPECT_EQ(port.GetHandle(), -1);
    }
}

TEST(SerialPort, PermissionDeniedTellsAboutTheDialoutGroup)
{
    if (::getuid() == 0)
        GTEST_SKIP() << "root opens the device whatever its mode";
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath("ttyUSB0");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    ASSERT_EQ(::chmod(path.toLocal8Bit().constData(), 0), 0);

    CSerialPort port;
    EXPECT_FALSE(port.Open(path.toStdString(), 4800));
    EXPECT_EQ(port.GetError(), SerialError::PermissionDenied);
    EXPECT_NE(port.GetErrorText().find("'dialout' group"), std::string::npos)
        << port.GetErrorText();
}

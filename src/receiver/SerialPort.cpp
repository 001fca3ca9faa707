#include "receiver/SerialPort.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

// CustomBaud.cpp: the kernel's termios2 cannot share a file with <termios.h>. Both leave errno
// set on failure.
bool SetCustomBaudRate(int fd, int baudRate);
int ReadDeviceBaudRate(int fd);

namespace
{

constexpr std::array<std::pair<int, speed_t>, 11> kStandardSpeeds{{
    {1200, B1200},
    {2400, B2400},
    {4800, B4800},
    {9600, B9600},
    {19200, B19200},
    {38400, B38400},
    {57600, B57600},
    {115200, B115200},
    {230400, B230400},
    {460800, B460800},
    {921600, B921600},
}};

// A UART divides its clock: a custom rate may come out slightly off (14400 as 14399). The
// kernel itself treats 2 % as the same speed.
constexpr long long kSpeedTolerancePercent = 2;

speed_t StandardSpeed(int baudRate)
{
    for (const auto &[rate, code] : kStandardSpeeds) {
        if (rate == baudRate)
            return code;
    }
    return B0;
}

bool CloseEnough(int actual, int requested)
{
    return std::llabs(static_cast<long long>(actual) - requested) * 100
           <= static_cast<long long>(requested) * kSpeedTolerancePercent;
}

// Pseudo-terminals and some USB adapters have no modem lines.
bool SetModemLine(int fd, unsigned long request, int line)
{
    return ::ioctl(fd, request, &line) == 0 || errno == ENOTTY || errno == EINVAL;
}

SerialError OpenError(int errorNumber)
{
    switch (errorNumber) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case ENOTDIR:
    case EIO: // a ttyS without a UART, a pty whose master is gone
        return SerialError::NotFound;
    case EACCES:
    case EPERM:
        return SerialError::PermissionDenied;
    case EBUSY: // TIOCEXCL of another program
        return SerialError::Busy;
    default:
        return SerialError::Other;
    }
}

std::string OpenErrorReason(SerialError error, const std::string &device)
{
    switch (error) {
    case SerialError::NotFound:
        return "No such device: " + device + " (is the receiver plugged in?)";
    case SerialError::PermissionDenied:
        return "Permission denied: " + device
               + ". Add your user to the 'dialout' group (sudo usermod -aG dialout $USER) and "
                 "log in again.";
    case SerialError::Busy:
        return device + " is in use by another program";
    default:
        return "Cannot open " + device;
    }
}

} // namespace

CSerialPort::CSerialPort() = default;

CSerialPort::~CSerialPort()
{
    Close();
}

bool CSerialPort::Open(const std::string &device, int baudRate)
{
    Close();
    m_error = SerialError::None;
    m_errorText.clear();

    // Non-blocking: a port without carrier would otherwise hang the open, and the reader polls.
    const int fd = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        const int errorNumber = errno;
        const SerialError error = OpenError(errorNumber);
        return Fail(error, errorNumber, OpenErrorReason(error, device));
    }
    if (!::isatty(fd)) {
        const int errorNumber = errno;
        ::close(fd);
        return Fail(SerialError::NotATerminal, errorNumber, "Not a serial device: " + device);
    }
    // TIOCEXCL does not stop root; the lock also keeps out programs that lock the same way.
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int errorNumber = errno;
        ::close(fd);
        if (errorNumber == EWOULDBLOCK)
            return Fail(SerialError::Busy, EBUSY, OpenErrorReason(SerialError::Busy, device));
        return Fail(SerialError::Other, errorNumber, OpenErrorReason(SerialError::Other, device));
    }
    auto original = std::make_unique<termios>();
    if (::ioctl(fd, TIOCEXCL) != 0 || ::tcgetattr(fd, original.get()) != 0) {
        const int errorNumber = errno;
        ::ioctl(fd, TIOCNXCL);
        ::close(fd);
        return Fail(SerialError::Configuration, errorNumber, "Cannot set up " + device);
    }
    m_original = std::move(original);
    m_originalSpeed = ReadDeviceBaudRate(fd);

    if (!Configure(fd, baudRate)) {
        const int errorNumber = errno;
        Restore(fd);
        m_original.reset();
        ::ioctl(fd, TIOCNXCL);
        ::close(fd);
        return Fail(SerialError::Configuration, errorNumber,
                    "Cannot set " + device + " to " + std::to_string(baudRate) + " baud 8N1");
    }
    m_fd.store(fd, std::memory_order_release);
    return true;
}

void CSerialPort::Close()
{
    const int fd = m_fd.exchange(-1, std::memory_order_acq_rel);
    if (fd < 0)
        return;
    Restore(fd);
    m_original.reset();
    // A pty or a port someone else still holds keeps TIOCEXCL past our close; closing drops
    // the flock.
    ::ioctl(fd, TIOCNXCL);
    ::close(fd);
}

bool CSerialPort::SetBaudRate(int baudRate)
{
    const int fd = GetHandle();
    if (fd < 0 || !m_original) {
        errno = EBADF;
        return false;
    }
    return Configure(fd, baudRate);
}

int CSerialPort::GetBaudRate() const
{
    const int fd = GetHandle();
    return fd < 0 ? 0 : ReadDeviceBaudRate(fd);
}

bool CSerialPort::Fail(SerialError error, int errorNumber, const std::string &reason)
{
    m_error = error;
    m_errorText = reason + " [" + std::generic_category().message(errorNumber) + "]";
    return false;
}

bool CSerialPort::Configure(int fd, int baudRate)
{
    if (baudRate <= 0) {
        errno = EINVAL;
        return false;
    }
    // Drop whatever the receiver sent before we were listening.
    ::tcflush(fd, TCIOFLUSH);

    termios settings = *m_original;
    settings.c_iflag &= ~(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF
                          | IXANY | INPCK | IMAXBEL);
    settings.c_oflag &= ~OPOST;
    settings.c_lflag &= ~(ECHO | ECHOE | ECHOK | ECHONL | ICANON | ISIG | IEXTEN);
    settings.c_cflag &= ~(CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS);
    settings.c_cflag |= CS8 | CLOCAL | CREAD;
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 0;
    const speed_t code = StandardSpeed(baudRate);
    if (code != B0 && (::cfsetispeed(&settings, code) != 0 || ::cfsetospeed(&settings, code) != 0))
        return false;
    if (::tcsetattr(fd, TCSANOW, &settings) != 0)
        return false;
    if (code == B0 && !SetCustomBaudRate(fd, baudRate))
        return false;

    // tcsetattr reports success when any part of the change took; check the parts that matter.
    termios applied{};
    if (::tcgetattr(fd, &applied) != 0)
        return false;
    if ((applied.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS)) != CS8
        || (applied.c_iflag & (IXON | IXOFF | ISTRIP | ICRNL)) != 0
        || (applied.c_lflag & ICANON) != 0 || !CloseEnough(ReadDeviceBaudRate(fd), baudRate)) {
        errno = EINVAL;
        return false;
    }

    // Some receivers take their power from DTR; RTS stays low as no flow control is used.
    if (!SetModemLine(fd, TIOCMBIS, TIOCM_DTR) || !SetModemLine(fd, TIOCMBIC, TIOCM_RTS))
        return false;
    ::tcflush(fd, TCIOFLUSH);
    return true;
}

void CSerialPort::Restore(int fd)
{
    if (!m_original)
        return;
    ::tcsetattr(fd, TCSANOW, m_original.get());
    // tcsetattr cannot carry a custom rate (BOTHER) back; put the exact one back by itself.
    if (m_originalSpeed > 0 && ReadDeviceBaudRate(fd) != m_originalSpeed)
        SetCustomBaudRate(fd, m_originalSpeed);
}

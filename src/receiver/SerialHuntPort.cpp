#include "receiver/SerialHuntPort.h"

#include "receiver/SerialPort.h"

#include <cerrno>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr std::size_t kReadBlock = 4096;

} // namespace

bool CSerialHuntPort::SetSpeed(int speed)
{
    return m_port.SetBaudRate(speed);
}

void CSerialHuntPort::Flush()
{
    const int fd = m_port.GetHandle();
    if (fd >= 0)
        ::tcflush(fd, TCIOFLUSH);
}

CHuntPort::Wait CSerialHuntPort::Read(std::string &bytes, Clock::time_point deadline, int stopFd)
{
    const int fd = m_port.GetHandle();
    if (fd < 0) {
        errno = EBADF;
        return Wait::Failed;
    }
    pollfd fds[2] = {{fd, POLLIN, 0}, {stopFd, POLLIN, 0}};
    const nfds_t count = stopFd >= 0 ? 2 : 1;
    bool hungUp = false;
    for (;;) {
        if (!hungUp) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0)
                return Wait::TimedOut;
            const int r = ::poll(fds, count, static_cast<int>(left.count()));
            if (r < 0 && errno == EINTR)
                continue;
            if (r < 0)
                return Wait::Failed;
            if (count == 2 && fds[1].revents != 0)
                return Wait::Stopped;
            if (r == 0)
                return Wait::TimedOut;
            // Readable, hung up or failed: the read tells which.
            hungUp = (fds[0].revents & POLLIN) == 0;
        }
        char block[kReadBlock];
        const ssize_t n = ::read(fd, block, sizeof block);
        if (n > 0) {
            bytes.append(block, static_cast<std::size_t>(n));
            return Wait::Data;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN && !hungUp)
            continue;
        // Unplugged: EIO, or a zero read; a hang-up with nothing left may answer EAGAIN forever.
        if (n == 0 || errno == EAGAIN)
            errno = ENODEV;
        return Wait::Failed;
    }
}

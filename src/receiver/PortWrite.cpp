#include "receiver/PortWrite.h"

#include "receiver/SerialPort.h"

#include <cerrno>
#include <chrono>
#include <poll.h>
#include <unistd.h>

bool WritePort(const CSerialPort &port, std::string_view bytes)
{
    using Clock = std::chrono::steady_clock;
    const int fd = port.GetHandle();
    if (fd < 0)
        return false;
    const auto deadline =
        Clock::now()
        + std::chrono::milliseconds(kPortWriteTimeoutMs
                                    + kPortWriteTimeoutPerByteMs * static_cast<long>(bytes.size()));
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno != EAGAIN)
            return false;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return false;
        pollfd p{fd, POLLOUT, 0};
        if (::poll(&p, 1, static_cast<int>(left.count())) < 0 && errno != EINTR)
            return false;
    }
    return true;
}

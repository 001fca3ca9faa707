#include "receiver/NetworkSocket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

// Keep-alive probes after 10 s of silence, every 5 s, three of them: a peer that is gone is
// noticed within half a minute even when the watchdog is not looking.
constexpr int kKeepIdleSeconds = 10;
constexpr int kKeepIntervalSeconds = 5;
constexpr int kKeepCount = 3;

struct AddrInfoFree {
    void operator()(addrinfo *a) const { ::freeaddrinfo(a); }
};
using AddrInfoPtr = std::unique_ptr<addrinfo, AddrInfoFree>;

AddrInfoPtr Resolve(const std::string &host, int port, int type, bool passive, std::string &error,
                    int family = AF_UNSPEC)
{
    addrinfo hints{};
    hints.ai_family = family;
    hints.ai_socktype = type;
    hints.ai_flags = passive ? AI_PASSIVE : AI_ADDRCONFIG;
    addrinfo *found = nullptr;
    const std::string service = std::to_string(port);
    const int r =
        ::getaddrinfo(host.empty() ? nullptr : host.c_str(), service.c_str(), &hints, &found);
    if (r != 0) {
        error = r == EAI_SYSTEM ? std::strerror(errno) : ::gai_strerror(r);
        return nullptr;
    }
    return AddrInfoPtr(found);
}

// Waits for `events` on `fd` or the stop event: 1 ready, 0 timed out, -1 stopped or failed.
int WaitFor(int fd, short events, int stopFd, int timeoutMs)
{
    pollfd fds[2] = {{fd, events, 0}, {stopFd, POLLIN, 0}};
    for (;;) {
        const int r = ::poll(fds, 2, timeoutMs);
        if (r < 0 && errno == EINTR)
            continue;
        if (r < 0 || (fds[1].revents & POLLIN) != 0)
            return -1;
        return r == 0 ? 0 : 1;
    }
}

void KeepAlive(int fd)
{
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &kKeepIdleSeconds, sizeof kKeepIdleSeconds);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &kKeepIntervalSeconds,
                 sizeof kKeepIntervalSeconds);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &kKeepCount, sizeof kKeepCount);
}

int Bound(const std::string &host, int port, int type, std::string &error)
{
    // NMEA datagrams come over IPv4, broadcasts included, which only an IPv4 socket gets.
    const int family = host.empty() && type == SOCK_DGRAM ? AF_INET : AF_UNSPEC;
    const AddrInfoPtr found = Resolve(host, port, type, true, error, family);
    if (!found)
        return -1;
    // With no host, prefer the IPv6 wildcard for a stream: it takes IPv4 too.
    const addrinfo *pick = found.get();
    for (const addrinfo *a = found.get(); a != nullptr; a = a->ai_next)
        if (host.empty() && a->ai_family == AF_INET6)
            pick = a;
    int fd = ::socket(pick->ai_family, pick->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK,
                      pick->ai_protocol);
    if (fd < 0) {
        error = std::strerror(errno);
        return -1;
    }
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (pick->ai_family == AF_INET6) {
        const int off = 0;
        ::setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    }
    if (::bind(fd, pick->ai_addr, pick->ai_addrlen) != 0
        || (type == SOCK_STREAM && ::listen(fd, 1) != 0)) {
        error = std::strerror(errno);
        ::close(fd);
        return -1;
    }
    return fd;
}

} // namespace

int ConnectTcp(const std::string &host, int port, int timeoutMs, int stopFd, std::string &error)
{
    const AddrInfoPtr found = Resolve(host, port, SOCK_STREAM, false, error);
    if (!found)
        return -1;
    for (const addrinfo *a = found.get(); a != nullptr; a = a->ai_next) {
        const int fd =
            ::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, a->ai_protocol);
        if (fd < 0) {
            error = std::strerror(errno);
            continue;
        }
        int result = ::connect(fd, a->ai_addr, a->ai_addrlen) == 0 ? 0 : errno;
        if (result == EINPROGRESS) {
            const int ready = WaitFor(fd, POLLOUT, stopFd, timeoutMs);
            if (ready < 0) {
                ::close(fd);
                error.clear();
                return -1;
            }
            socklen_t size = sizeof result;
            if (ready == 0)
                result = ETIMEDOUT;
            else if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &result, &size) != 0)
                result = errno;
        }
        if (result == 0) {
            KeepAlive(fd);
            return fd;
        }
        error = std::strerror(result);
        ::close(fd);
    }
    return -1;
}

int ListenTcp(const std::string &host, int port, std::string &error)
{
    return Bound(host, port, SOCK_STREAM, error);
}

int AcceptTcp(int listenFd, int stopFd, std::string &error)
{
    for (;;) {
        if (WaitFor(listenFd, POLLIN, stopFd, -1) < 0) {
            error.clear();
            return -1;
        }
        const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd >= 0) {
            KeepAlive(fd);
            return fd;
        }
        // A client that gave up before we took it: wait for the next.
        if (errno != EAGAIN && errno != ECONNABORTED && errno != EINTR) {
            error = std::strerror(errno);
            return -1;
        }
    }
}

int BindUdp(const std::string &host, int port, std::string &error)
{
    return Bound(host, port, SOCK_DGRAM, error);
}

bool SendAll(int fd, const std::string &bytes)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN) {
            pollfd p{fd, POLLOUT, 0};
            if (::poll(&p, 1, 1000) <= 0)
                return false;
            continue;
        }
        if (n <= 0)
            return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

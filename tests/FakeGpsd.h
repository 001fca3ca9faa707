#pragma once

#include <arpa/inet.h>
#include <atomic>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

/// gpsd as far as ?DEVICES; goes, on a free loopback port: the banner, then `answer`.
class CFakeGpsd
{
public:
    explicit CFakeGpsd(std::string answer)
        : m_answer(std::move(answer))
    {
        m_listen = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (::bind(m_listen, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0
            || ::listen(m_listen, 4) != 0
            || ::getsockname(m_listen, reinterpret_cast<sockaddr *>(&address), &size) != 0)
            return;
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { Serve(); });
    }
    ~CFakeGpsd()
    {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
        ::close(m_listen);
    }
    CFakeGpsd(const CFakeGpsd &) = delete;
    CFakeGpsd &operator=(const CFakeGpsd &) = delete;

    [[nodiscard]] int GetPort() const { return m_port; }
    [[nodiscard]] int GetQuestions() const { return m_questions; }

private:
    void Serve()
    {
        while (!m_stop) {
            pollfd entry{m_listen, POLLIN, 0};
            if (::poll(&entry, 1, 50) != 1)
                continue;
            const int client = ::accept4(m_listen, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0)
                continue;
            const std::string banner = "{\"class\":\"VERSION\",\"release\":\"3.22\",\"rev\":"
                                       "\"3.22\",\"proto_major\":3,\"proto_minor\":14}\n";
            (void)!::send(client, banner.data(), banner.size(), MSG_NOSIGNAL);
            std::string asked;
            char block[256];
            for (pollfd c{client, POLLIN, 0};
                 asked.find("?DEVICES;") == std::string::npos && ::poll(&c, 1, 2000) == 1;) {
                const ssize_t n = ::recv(client, block, sizeof block, 0);
                if (n <= 0)
                    break;
                asked.append(block, static_cast<std::size_t>(n));
            }
            if (asked.find("?DEVICES;") != std::string::npos) {
                ++m_questions;
                (void)!::send(client, m_answer.data(), m_answer.size(), MSG_NOSIGNAL);
            }
            ::close(client);
        }
    }

    std::string m_answer;
    int m_listen = -1;
    int m_port = 0;
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_questions{0};
    std::thread m_thread;
};

/// gpsd's answer to ?DEVICES; with `path` its one device.
inline std::string DevicesAnswer(const std::string &path)
{
    return "{\"class\":\"DEVICES\",\"devices\":[{\"class\":\"DEVICE\",\"path\":\"" + path
           + "\",\"driver\":\"u-blox\",\"activated\":\"2024-05-01T10:00:00.000Z\",\"flags\":1,"
             "\"native\":1,\"bps\":9600,\"parity\":\"N\",\"stopbits\":1,\"cycle\":1.00}]}\n";
}

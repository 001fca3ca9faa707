#pragma once

#include <cerrno>
#include <pty.h>
#include <string>
#include <string_view>
#include <termios.h>
#include <unistd.h>

/// A pseudo-terminal: the code under test opens the slave by its path like any serial device,
/// the test writes at the master ("the receiver's end").
class CPtyPair
{
public:
    CPtyPair()
    {
        int slave = -1;
        char name[256] = {};
        if (openpty(&m_master, &slave, name, nullptr, nullptr) != 0)
            return;
        m_slavePath = name;
        // Raw on both sides, so bytes pass unchanged (no CR/LF mapping, no echo).
        termios t{};
        tcgetattr(slave, &t);
        cfmakeraw(&t);
        tcsetattr(slave, TCSANOW, &t);
        // Keep the slave open until the code under test has opened it; closing our handle early
        // would hang up the line.
        m_slave = slave;
    }
    ~CPtyPair()
    {
        CloseMaster();
        if (m_slave >= 0)
            ::close(m_slave);
    }
    CPtyPair(const CPtyPair &) = delete;
    CPtyPair &operator=(const CPtyPair &) = delete;

    [[nodiscard]] bool IsValid() const { return m_master >= 0; }
    [[nodiscard]] const std::string &SlavePath() const { return m_slavePath; }
    [[nodiscard]] int Master() const { return m_master; }

    /// Writes all of `bytes` at the receiver's end.
    bool Send(std::string_view bytes) const
    {
        while (!bytes.empty()) {
            const ssize_t n = ::write(m_master, bytes.data(), bytes.size());
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return false;
            bytes.remove_prefix(static_cast<std::size_t>(n));
        }
        return true;
    }

    /// Drops the test's own slave handle (once the code under test holds the device).
    void ReleaseSlave()
    {
        if (m_slave >= 0)
            ::close(m_slave);
        m_slave = -1;
    }

    /// Unplugs the receiver: reads at the slave then fail.
    void CloseMaster()
    {
        if (m_master >= 0)
            ::close(m_master);
        m_master = -1;
    }

private:
    int m_master = -1;
    int m_slave = -1;
    std::string m_slavePath;
};

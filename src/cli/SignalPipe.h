#pragma once

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

/// SIGTERM, SIGINT and SIGHUP end a replay or a listen the way the end of its source does: the
/// recording closed with every handled line. Readable once one came; one pipe per process.
class CSignalPipe
{
public:
    CSignalPipe()
    {
        if (::pipe2(s_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
            return;
        struct sigaction action = {};
        action.sa_handler = OnSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        for (const int signal : kSignals)
            sigaction(signal, &action, nullptr);
    }
    ~CSignalPipe()
    {
        for (const int signal : kSignals)
            std::signal(signal, SIG_DFL);
        for (int &fd : s_pipe) {
            if (fd >= 0)
                ::close(fd);
            fd = -1;
        }
    }
    CSignalPipe(const CSignalPipe &) = delete;
    CSignalPipe &operator=(const CSignalPipe &) = delete;

    [[nodiscard]] int GetHandle() const { return s_pipe[0]; }
    /// The signal that arrived, 0 for none.
    [[nodiscard]] int Received() const
    {
        unsigned char signal = 0;
        return ::read(s_pipe[0], &signal, 1) == 1 ? signal : 0;
    }

private:
    static constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
    static void OnSignal(int signal)
    {
        const auto byte = static_cast<unsigned char>(signal);
        [[maybe_unused]] const ssize_t n = ::write(s_pipe[1], &byte, 1);
    }
    static inline int s_pipe[2] = {-1, -1};
};

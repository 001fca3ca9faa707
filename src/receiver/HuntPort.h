#pragma once

#include <chrono>
#include <string>

/// What the baud-rate hunt needs of a port, so that it can be tested on a port that honours
/// speeds: pseudo-terminals ignore them.
class CHuntPort
{
public:
    enum class Wait { Data, TimedOut, Stopped, Failed };
    using Clock = std::chrono::steady_clock;

    CHuntPort() = default;
    virtual ~CHuntPort() = default;
    CHuntPort(const CHuntPort &) = delete;
    CHuntPort &operator=(const CHuntPort &) = delete;
    CHuntPort(CHuntPort &&) = delete;
    CHuntPort &operator=(CHuntPort &&) = delete;

    /// Raw 8N1 without flow control at `speed`; false when the device refuses the speed.
    virtual bool SetSpeed(int speed) = 0;
    /// Drops what waits to be read or sent.
    virtual void Flush() = 0;
    /// Waits for bytes until `deadline` and appends what came to `bytes` (Data); Stopped as
    /// soon as `stopFd`, an eventfd (-1 for none), is readable; Failed with errno set when the
    /// port is gone.
    virtual Wait Read(std::string &bytes, Clock::time_point deadline, int stopFd) = 0;
};
